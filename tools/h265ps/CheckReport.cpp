#include "CheckReport.h"

#include <fmt/format.h>

#include "ErrorLine.h"
#include "FindingText.h"
#include "JsonSet.h"
#include "TextOutput.h"

namespace h265ps {

using h265_syntax::ESeverity;
using h265_syntax::Finding;

void CCheckReport::begin(const std::string& file, const CVerdict& /* verdict */, EPace /* ePace */)
{
    m_bErrors = false;
    m_file = printable(file);
    if (!m_bJson)
        return;
    m_json.begin();
    m_json.openObject();
    writeText(m_json, "file", file);
    m_json.key("findings");
    m_json.openArray();
}

void CCheckReport::add(const h265_stream::ParameterSetEvent& event, const h265_inspect::InspectedSet& set,
                       bool /* bShown */)
{
    for (const Finding& finding : set.findings)
        tell(finding, event.ulOffset);
    if (set.uiMoreFindings != 0)
        tell(moreFindings(set.uiMoreFindings), event.ulOffset);
}

void CCheckReport::tell(const Finding& finding, std::uint64_t ulOffset)
{
    m_bErrors = m_bErrors || finding.eSeverity == ESeverity::Error;
    if (m_bJson)
        return writeFinding(finding, ulOffset, m_json);
    std::string line = fmt::format("{}:{}", m_file, ulOffset);
    if (finding.ulBit)
        line += fmt::format(".{}", *finding.ulBit);
    m_output.append(line + ": " + findingText(finding, true) + "\n");
}

void CCheckReport::addFinding(const h265_syntax::SetFinding& finding)
{
    tell(finding.finding, finding.ulOffset);
}

void CCheckReport::error(std::string_view line)
{
    writeLine(line, m_output);
}

bool CCheckReport::end(const CVerdict& /* verdict */, std::uint64_t /* ulBytes */)
{
    if (m_bJson) {
        m_json.closeArray();
        m_json.closeObject();
        m_output.append("\n");
    }
    return true;
}

EExitCode CCheckReport::exitCode(const CVerdict& verdict) const
{
    if (verdict.exitCode() == EXIT_FILE_ERROR)
        return EXIT_FILE_ERROR;
    return m_bErrors ? EXIT_SET_FAILED : EXIT_ALL_READ;
}

} // namespace h265ps
