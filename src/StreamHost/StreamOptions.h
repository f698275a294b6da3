#pragma once

#include <cstddef>
#include <cstdint>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_stream {

/// Which of the module's bit readers reads the payloads.
enum class EBitReader
{
    Rbsp,   // CRbspReader: every bit in order, for streams as encoders write them
    Decoder // CBitStreamReader: the decoder's own, its refill included
};

/// How parameter sets are read and kept.
struct StreamOptions
{
    EBitReader eReader = EBitReader::Rbsp;
    int iLogLevel = 0;            // of the lines that events have: 0 and 1 all, 2 errors, 3 none
    bool bEnterUnverified = true; // enter sets that the decoder does not support into the tables too
    std::uint64_t ulPoolBytes = std::uint64_t{256} << 20; // budget of the records' pool, 0: none
    std::uint32_t uiMaxCtbs = 1'114'112; // of a picture that tile tables are built for: twice the largest
                                         // picture of any level (A.4.1) in CTBs of 16
};

} // namespace h265_stream
