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

    void begin(const std::string& file, const CFileVerdict& verdict, EPace ePace) override;
    void add(const h265_inspect::FileSet& told, bool bShown) override;
    void addFinding(const h265_inspect::FileFinding& /* finding */) override {}
    void error(std::string_view line) override;
    void stall() override { m_output.flush(); }
    [[nodiscard]] bool end(const CFileVerdict& verdict, std::uint64_t ulBytes) override;
    [[nodiscard]] EExitCode exitCode(const CFileVerdict& verdict) const override;

private:
    void addText(const h265_inspect::FileSet& told);
    void addJson(const h265_inspect::FileSet& told);

    COutputStream& m_output;
    CJsonWriter m_json;
    const Options m_options;
    bool m_bAnything = false; // was written
    bool m_bStopped = false;  // a set could not be read to its end
    std::uint64_t m_ulRepeats = 0;
};

} // namespace h265ps
