#include "ParameterSetStream.h"

#include <optional>
#include <utility>

#include "ByteSource.h"
#include "NalUnitFinder.h"
#include "ParameterSetTables.h"

namespace h265_stream {

namespace {

// Hands the parameter sets of one stream to the tables, and what became of them to the sink.
class CSetReading
{
public:
    explicit CSetReading(CParameterSetTables& tables) : m_tables(tables) {}

    // ulBytes: of the stream, up to the end of the unit from the end of the one before.
    bool take(const NalUnit& unit, std::uint64_t ulBytes, const ParameterSetSink& sink, const OtherUnitSink& otherSink)
    {
        ++m_summary.ulNalUnits;
        const bool bSet = isParameterSet(unit.header.nal_unit_type);
        m_tables.skipBytes(ulBytes - (bSet ? unit.bytes.size() : 0));
        if (!bSet) {
            if (otherSink)
                otherSink(unit);
            return true;
        }
        ParameterSetEvent event = m_tables.readNalUnit(unit.bytes, unit.ulOffset);
        event.ulSize = unit.ulSize;
        if (event.bWaiting && otherSink)
            otherSink(unit);
        if (!event.bWaiting && !deliver(event, sink))
            return false;
        while (const std::optional<ParameterSetEvent> waiting = m_tables.nextWaiting()) {
            if (!deliver(*waiting, sink))
                return false;
        }
        return true;
    }

    // Nothing more comes: the PPSs that still wait for their SPS. False when the sink said so.
    bool deliverWithoutSps(const ParameterSetSink& sink)
    {
        while (const std::optional<ParameterSetEvent> event = m_tables.nextWithoutSps()) {
            if (!deliver(*event, sink))
                return false;
        }
        return true;
    }

    StreamSummary m_summary;

private:
    bool deliver(const ParameterSetEvent& event, const ParameterSetSink& sink)
    {
        count(event);
        m_summary.bStopped = !sink(event);
        return !m_summary.bStopped;
    }

    void count(const ParameterSetEvent& event)
    {
        ++m_summary.ulParameterSets;
        if (!event.bPassedOver)
            ++ofType(event.header.nal_unit_type);
        if (event.bCutOff || event.header.forbidden_zero_bit || event.eRefusal != ERefusal::None ||
            event.iRead.value_or(0) != 0)
            ++m_summary.ulNotRead;
        else if (event.bPassedOver)
            ++m_summary.ulPassedOver;
        else if (event.iVerify != 0)
            ++m_summary.ulNotSupported;
    }

    std::uint64_t& ofType(unsigned char nal_unit_type)
    {
        if (nal_unit_type == VPS_NUT)
            return m_summary.ulVps;
        return nal_unit_type == SPS_NUT ? m_summary.ulSps : m_summary.ulPps;
    }

    CParameterSetTables& m_tables;
};

// The NAL units of a byte stream, up to the first slice segment when that is all that is wanted.
class CStreamReading : public CNalUnitSink
{
public:
    CStreamReading(CSetReading& sets, const ParameterSetSink& sink, const OtherUnitSink& otherSink, bool bHead)
        : m_sets(sets), m_sink(sink), m_otherSink(otherSink), m_bHead(bHead)
    {}

    bool onNalUnit(const NalUnit& unit) override
    {
        const std::uint64_t ulEnd = unit.ulOffset + unit.ulSize;
        const std::uint64_t ulBytes = ulEnd - m_ulEnd;
        m_ulEnd = ulEnd;
        m_bHeadRead = m_bHead && unit.header.nal_unit_type < VPS_NUT;
        return m_sets.take(unit, ulBytes, m_sink, m_otherSink) && !m_bHeadRead;
    }

    // Whether the unit that has begun, or the last one, is the slice segment that ends the head.
    [[nodiscard]] bool isHeadRead(const CNalUnitFinder& finder) const
    {
        const std::optional<NalUnitHeader> header = m_bHead ? finder.openUnit() : std::nullopt;
        return m_bHeadRead || (header && header->nal_unit_type < VPS_NUT);
    }

private:
    CSetReading& m_sets;
    const ParameterSetSink& m_sink;
    const OtherUnitSink& m_otherSink;
    const bool m_bHead;
    bool m_bHeadRead = false;
    std::uint64_t m_ulEnd = 0; // of the unit before
};

} // namespace

class CParameterSetUnits::Impl
{
public:
    explicit Impl(const StreamOptions& options) : m_tables(options), m_sets(m_tables) {}

    bool push(const NalUnit& unit, const ParameterSetSink& sink, const OtherUnitSink& otherSink)
    {
        m_sets.m_summary.ulBytes += unit.ulSize;
        return m_sets.take(unit, unit.ulSize, sink, otherSink);
    }

    StreamSummary end(const ParameterSetSink& sink)
    {
        (void)m_sets.deliverWithoutSps(sink); // the end either way
        m_sets.m_summary.stale = m_tables.stalePps();
        return m_sets.m_summary;
    }

private:
    CParameterSetTables m_tables;
    CSetReading m_sets;
};

CParameterSetUnits::CParameterSetUnits(const StreamOptions& options) : m_pImpl(std::make_unique<Impl>(options)) {}

CParameterSetUnits::~CParameterSetUnits() = default;

bool CParameterSetUnits::push(const NalUnit& unit, const ParameterSetSink& sink, const OtherUnitSink& otherSink)
{
    return m_pImpl->push(unit, sink, otherSink);
}

StreamSummary CParameterSetUnits::end(const ParameterSetSink& sink)
{
    return m_pImpl->end(sink);
}

class CParameterSetStream::Impl
{
public:
    explicit Impl(const StreamOptions& options) : m_tables(options) {}

    StreamSummary read(CByteSource& source, const ParameterSetSink& sink, const OtherUnitSink& otherSink, bool bHead)
    {
        m_tables.clear();
        m_finder.reset();
        CSetReading sets(m_tables);
        CStreamReading reading(sets, sink, otherSink, bHead);
        try {
            if (readTo(reading, source, sets.m_summary))
                (void)sets.deliverWithoutSps(sink); // the end either way
        } catch (const CSourceError&) {
            (void)sets.deliverWithoutSps(sink); // the error goes on either way
            throw;
        }
        sets.m_summary.stale = m_tables.stalePps();
        return std::move(sets.m_summary);
    }

private:
    // False when the sink ended it.
    bool readTo(CStreamReading& reading, CByteSource& source, StreamSummary& summary)
    {
        for (auto piece = source.next(); !piece.empty(); piece = source.next()) {
            summary.ulBytes += piece.size();
            const bool bGoesOn = m_finder.feed(piece, reading);
            if (!summary.bStopped && reading.isHeadRead(m_finder))
                return true;
            if (!bGoesOn)
                return false;
        }
        return m_finder.finish(reading) || !summary.bStopped;
    }

    CParameterSetTables m_tables;
    CNalUnitFinder m_finder;
};

CParameterSetStream::CParameterSetStream(const StreamOptions& options) : m_pImpl(std::make_unique<Impl>(options)) {}

CParameterSetStream::~CParameterSetStream() = default;

StreamSummary CParameterSetStream::read(CByteSource& source, const ParameterSetSink& sink,
                                        const OtherUnitSink& otherSink, bool bHead)
{
    return m_pImpl->read(source, sink, otherSink, bHead);
}

} // namespace h265_stream
