#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "H265psExport.h"
#include "NalUnitFinder.h"
#include "ParameterSetEvent.h"
#include "StalePps.h"
#include "StreamOptions.h"

namespace H265PS_EXPORT h265_stream {

/// What a stream held, after its end.
struct StreamSummary
{
    std::uint64_t ulBytes = 0;         // how far the stream was gone through
    std::uint64_t ulNalUnits = 0;      // of any type
    std::uint64_t ulParameterSets = 0; // events delivered
    std::uint64_t ulVps = 0;           // of layer 0 and sound NAL unit header, read or not
    std::uint64_t ulSps = 0;
    std::uint64_t ulPps = 0;
    std::uint64_t ulPassedOver = 0;   // of another layer
    std::uint64_t ulNotRead = 0;      // iRead is not 0, refused, cut off, or forbidden_zero_bit is set
    std::uint64_t ulNotSupported = 0; // iRead is 0, iVerify is not
    bool bStopped = false;            // the sink asked for an end
    std::vector<StalePps> stale;      // in stream order of the SPSs; 1,024 of them at most
};

/// Receives the parameter sets of a stream; false ends the reading.
using ParameterSetSink = std::function<bool(const ParameterSetEvent&)>;

/// Receives the other NAL units of a stream, in their places between the parameter sets, and so too a PPS that
/// waits for its SPS: its event comes later.
using OtherUnitSink = std::function<void(const NalUnit&)>;

class CByteSource;

/// Reads the parameter sets of one stream whose NAL units were found elsewhere, as those of a file of boxes are.
/// Events, tables and their limits are those of CParameterSetStream; an offset is whatever number the units
/// come with, each larger than the one before.
class CParameterSetUnits
{
public:
    explicit CParameterSetUnits(const StreamOptions& options);
    ~CParameterSetUnits();
    CParameterSetUnits(const CParameterSetUnits&) = delete;
    CParameterSetUnits& operator=(const CParameterSetUnits&) = delete;

    /// The next NAL unit. False when the sink said so. otherSink may be empty.
    bool push(const NalUnit& unit, const ParameterSetSink& sink, const OtherUnitSink& otherSink = {});

    /// Nothing more comes: hands on what still waits for its SPS. ulBytes of the summary are those of the NAL units.
    StreamSummary end(const ParameterSetSink& sink);

private:
    class Impl;
    std::unique_ptr<Impl> m_pImpl;
};

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

    /// Reads the source to its end and hands every parameter set to the sink, in stream order except for
    /// PPSs that come before their SPS: these stand behind it, or at the end when it never comes. Throws
    /// CSourceError when the source cannot be read on; what waits for its SPS is handed on before.
    /// otherSink may be empty.
    /// bHead: ends with the first slice segment, as soon as its header has come.
    StreamSummary read(CByteSource& source, const ParameterSetSink& sink, const OtherUnitSink& otherSink = {},
                       bool bHead = false);

private:
    class Impl;
    std::unique_ptr<Impl> m_pImpl;
};

} // namespace h265_stream
