#include "ParameterSetStream.h"

#include "ByteSource.h"
#include "NalUnitFinder.h"
#include "ParameterSetTables.h"

namespace h265_stream {

namespace {

// Hands the parameter sets of one stream to the tables, and what became of them to the sink.
class CStreamReading : public CNalUnitSink
{
public:
    CStreamReading(CParameterSetTables& tables, const ParameterSetSink& sink) : m_tables(tables), m_sink(sink) {}

    bool onNalUnit(const NalUnit& unit) override
    {
        ++m_summary.ulNalUnits;
        if (!isParameterSet(unit.header.nal_unit_type))
            return true;
        ParameterSetEvent event = m_tables.readNalUnit(unit.bytes);
        event.ulOffset = unit.ulOffset;
        event.ulSize = unit.ulSize;
        count(event);
        m_summary.bStopped = !m_sink(event);
        return !m_summary.bStopped;
    }

    StreamSummary m_summary;

private:
    void count(const ParameterSetEvent& event)
    {
        ++m_summary.ulParameterSets;
        if (event.header.forbidden_zero_bit || event.iRead.value_or(0) != 0)
            ++m_summary.ulNotRead;
        else if (event.bPassedOver)
            ++m_summary.ulPassedOver;
        else if (event.iVerify != 0)
            ++m_summary.ulNotSupported;
    }

    CParameterSetTables& m_tables;
    const ParameterSetSink& m_sink;
};

} // namespace

class CParameterSetStream::Impl
{
public:
    explicit Impl(const StreamOptions& options) : m_tables(options) {}

    StreamSummary read(CByteSource& source, const ParameterSetSink& sink)
    {
        m_tables.clear();
        m_finder.reset();
        CStreamReading reading(m_tables, sink);
        for (auto piece = source.next(); !piece.empty(); piece = source.next()) {
            reading.m_summary.ulBytes += piece.size();
            if (!m_finder.feed(piece, reading))
                return reading.m_summary;
        }
        (void)m_finder.finish(reading); // the end either way
        return reading.m_summary;
    }

private:
    CParameterSetTables m_tables;
    CNalUnitFinder m_finder;
};

CParameterSetStream::CParameterSetStream(const StreamOptions& options) : m_pImpl(std::make_unique<Impl>(options)) {}

CParameterSetStream::~CParameterSetStream() = default;

StreamSummary CParameterSetStream::read(CByteSource& source, const ParameterSetSink& sink)
{
    return m_pImpl->read(source, sink);
}

} // namespace h265_stream
