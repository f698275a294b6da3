#pragma once

#include <cstdint>
#include <vector>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_stream {

/// An SPS was replaced by another one, and PPSs that were read against the old one were not sent again.
struct StalePps
{
    unsigned uiSpsId;
    std::uint64_t ulSpsOffset;    // of the SPS that took the place
    std::vector<unsigned> ppsIds; // ascending; their tile tables are of the old picture
};

} // namespace h265_stream
