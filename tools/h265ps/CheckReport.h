#pragma once

#include <string>

#include "JsonWriter.h"
#include "OutputStream.h"
#include "Report.h"
#include "ToldFindings.h"

namespace h265ps {

/// The findings alone, a line for each, as compilers print them; or a JSON document for each stream.
class CCheckReport : public CReport
{
public:
    CCheckReport(COutputStream& output, bool bJson) : m_output(output), m_json(output), m_bJson(bJson) {}

    void begin(const std::string& file, const CFileVerdict& verdict, EPace ePace) override;
    void add(const h265_inspect::FileSet& told, bool bShown) override;
    void addFinding(const h265_inspect::FileFinding& finding) override;
    void error(std::string_view line) override;
    void stall() override { m_output.flush(); }
    [[nodiscard]] bool end(const CFileVerdict& verdict, std::uint64_t ulBytes) override;
    [[nodiscard]] EExitCode exitCode(const CFileVerdict& verdict) const override;

private:
    void tell(const h265_inspect::FileFinding& finding);

    COutputStream& m_output;
    CJsonWriter m_json;
    const bool m_bJson;
    std::string m_file;   // as it is printed
    CToldFindings m_told; // as text: a document has each with its track
    bool m_bErrors = false;
};

} // namespace h265ps
