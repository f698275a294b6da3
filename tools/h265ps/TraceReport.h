#pragma once

#include <string>

#include "JsonWriter.h"
#include "OutputStream.h"
#include "Report.h"

namespace h265ps {

/// Every syntax element of the sets, a line for each; or a JSON document for each stream. Written as it is
/// made, without memory for an element.
class CTraceReport : public CReport
{
public:
    struct Options
    {
        bool bJson = false;
        bool bFileHeadings = false; // a line with the file's name in front of each stream
    };

    CTraceReport(COutputStream& output, const Options& options) : m_output(output), m_json(output), m_options(options)
    {}

    void begin(const std::string& file, const CVerdict& verdict, EPace ePace) override;
    void add(const h265_stream::ParameterSetEvent& event, const h265_inspect::InspectedSet& set, bool bShown) override;
    void addFinding(const h265_syntax::SetFinding& /* finding */) override {}
    void error(std::string_view line) override;
    void stall() override { m_output.flush(); }
    [[nodiscard]] bool end(const CVerdict& verdict, std::uint64_t ulBytes) override;
    [[nodiscard]] EExitCode exitCode(const CVerdict& verdict) const override;

private:
    void addText(const h265_stream::ParameterSetEvent& event, const h265_inspect::InspectedSet& set);
    void addJson(const h265_stream::ParameterSetEvent& event, const h265_inspect::InspectedSet& set);

    COutputStream& m_output;
    CJsonWriter m_json;
    const Options m_options;
    bool m_bAnything = false; // was written
    bool m_bStopped = false;  // a set could not be read to its end
    std::uint64_t m_ulRepeats = 0;
};

} // namespace h265ps
