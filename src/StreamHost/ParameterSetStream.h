#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "NalUnit.h"

namespace h265_codec {
struct VPS;
struct SPS;
struct PPS;
} // namespace h265_codec

namespace h265_stream {

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
};

/// One VPS, SPS or PPS NAL unit, in stream order, and what became of it. Valid during the call only.
struct ParameterSetEvent
{
    NalUnitHeader header;   // nal_unit_type is VPS_NUT, SPS_NUT or PPS_NUT
    std::uint64_t ulOffset; // of the NAL unit header in the stream
    std::uint64_t ulSize;   // bytes, header included; neither start code nor trailing zero bytes
    bool bPassedOver;       // of another layer, or damaged (forbidden_zero_bit is set): not read
    bool bRepeat;     // the same bytes as the set in force under its id (of a PPS: and the same SPS): not read again
    bool bSeenBefore; // of one that did not come into force: the same bytes came to the same end before. Read again
    std::uint64_t ulReading;    // number of the reading that made the record: the same for its repeats, new for each
                                // other one; 0 when passed over
    std::optional<int> iRead;   // result of readVPS, readSPS or readPPS; none when passed over
    std::optional<int> iVerify; // result of verify…; none unless iRead is 0
    std::span<const std::string> logLines; // of the module, without their newlines; a repeat's are those of its reading
    std::string_view lastMessage; // the module's last line without its level, whatever the log level; empty without any
    const h265_codec::VPS* vps;   // the record of the matching type when iRead is 0, else all null
    const h265_codec::SPS* sps;
    const h265_codec::PPS* pps;
    const h265_codec::SPS* spsOfPps; // of a PPS: the SPS that it was read against
};

/// What a stream held, after its end.
struct StreamSummary
{
    std::uint64_t ulBytes = 0;         // of the whole stream
    std::uint64_t ulNalUnits = 0;      // of any type
    std::uint64_t ulParameterSets = 0; // events delivered
    std::uint64_t ulPassedOver = 0;    // of another layer
    std::uint64_t ulNotRead = 0;       // iRead is not 0, or forbidden_zero_bit is set
    std::uint64_t ulNotSupported = 0;  // iRead is 0, iVerify is not
    bool bStopped = false;             // the sink asked for an end
};

/// Receives the parameter sets of a stream; false ends the reading.
using ParameterSetSink = std::function<bool(const ParameterSetEvent&)>;

class CByteSource;

/// Reads the parameter sets of Annex B byte streams. Owns the tables, their records and their pool,
/// and holds them while it lives; each stream starts with empty tables. Memory does not grow with the
/// stream. Not for use by two threads at once: the module's log sink is redirected while it reads.
class CParameterSetStream
{
public:
    explicit CParameterSetStream(const StreamOptions& options);
    ~CParameterSetStream();
    CParameterSetStream(const CParameterSetStream&) = delete;
    CParameterSetStream& operator=(const CParameterSetStream&) = delete;

    /// Reads the source to its end and hands every parameter set to the sink, in stream order.
    /// Throws CSourceError when the source cannot be read on.
    StreamSummary read(CByteSource& source, const ParameterSetSink& sink);

private:
    class Impl;
    std::unique_ptr<Impl> m_pImpl;
};

} // namespace h265_stream
