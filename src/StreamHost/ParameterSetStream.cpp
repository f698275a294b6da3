#include "ParameterSetStream.h"

#include <optional>
#include <utility>

#include "ByteSource.h"
#include "NalUnitFinder.h"
#include "ParameterSetTables.h"

namespace h265_stream {

namespace {

// Hands the parameter sets of one stream to the tables, and what became of them to the sink.
class CStreamReading : public CNalUnitSink
{
public:
    CStreamReading(CParameterSetTables& tables, const ParameterSetSink& sink, const OtherUnitSink& otherSink)
        : m_tables(tables), m_sink(sink), m_otherSink(otherSink)
    {}

    bool onNalUnit(const NalUnit& unit) override
    {
        ++m_summary.ulNalUnits;
        const bool bSet = isParameterSet(unit.header.nal_unit_type);
        const std::uint64_t ulEnd = unit.ulOffset + unit.ulSize;
        m_tables.skipBytes(ulEnd - m_ulEnd - (bSet ? unit.bytes.size() : 0));
        m_ulEnd = ulEnd;
        if (!bSet) {
            if (m_otherSink)
                m_otherSink(unit);
            return true;
        }
        ParameterSetEvent event = m_tables.readNalUnit(unit.bytes, unit.ulOffset);
        event.ulSize = unit.ulSize;
        if (event.bWaiting && m_otherSink)
            m_otherSink(unit);
        if (!event.bWaiting && !deliver(event))
            return false;
        while (const std::optional<ParameterSetEvent> waiting = m_tables.nextWaiting()) {
            if (!deliver(*waiting))
                return false;
        }
        return true;
    }

    // Nothing more comes: the PPSs that still wait for their SPS. False when the sink said so.
    bool deliverWithoutSps()
    {
        while (const std::optional<ParameterSetEvent> event = m_tables.nextWithoutSps()) {
            if (!deliver(*event))
                return false;
        }
        return true;
    }

    StreamSummary m_summary;

private:
    bool deliver(const ParameterSetEvent& event)
    {
        count(event);
        m_summary.bStopped = !m_sink(event);
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
    const ParameterSetSink& m_sink;
    const OtherUnitSink& m_otherSink;
    std::uint64_t m_ulEnd = 0; // of the unit before
};

} // namespace

class CParameterSetStream::Impl
{
public:
    explicit Impl(const StreamOptions& options) : m_tables(options) {}

    StreamSummary read(CByteSource& source, const ParameterSetSink& sink, const OtherUnitSink& otherSink)
    {
        m_tables.clear();
        m_finder.reset();
        CStreamReading reading(m_tables, sink, otherSink);
        try {
            readTo(reading, source);
        } catch (const CSourceError&) {
            (void)reading.deliverWithoutSps(); // the error goes on either way
            throw;
        }
        reading.m_summary.stale = m_tables.stalePps();
        return std::move(reading.m_summary);
    }

private:
    void readTo(CStreamReading& reading, CByteSource& source)
    {
        for (auto piece = source.next(); !piece.empty(); piece = source.next()) {
            reading.m_summary.ulBytes += piece.size();
            if (!m_finder.feed(piece, reading))
                return;
        }
        if (m_finder.finish(reading))
            (void)reading.deliverWithoutSps(); // the end either way
    }

    CParameterSetTables m_tables;
    CNalUnitFinder m_finder;
};

CParameterSetStream::CParameterSetStream(const StreamOptions& options) : m_pImpl(std::make_unique<Impl>(options)) {}

CParameterSetStream::~CParameterSetStream() = default;

StreamSummary CParameterSetStream::read(CByteSource& source, const ParameterSetSink& sink,
                                        const OtherUnitSink& otherSink)
{
    return m_pImpl->read(source, sink, otherSink);
}

} // namespace h265_stream
