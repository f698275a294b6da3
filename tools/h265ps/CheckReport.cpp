#include "CheckReport.h"

#include "ErrorLine.h"
#include "FindingText.h"
#include "FormattedText.h"
#include "JsonSet.h"
#include "TextOutput.h"

namespace h265ps {

using h265_inspect::FileFinding;
using h265_syntax::ESeverity;
using h265_syntax::Finding;

void CCheckReport::begin(const std::string& file, const CFileVerdict& /* verdict */, EPace /* ePace */)
{
    m_bErrors = false;
    m_told = {};
    m_file = printable(file);
    if (!m_bJson)
        return;
    m_json.begin();
    m_json.openObject();
    writeText(m_json, "file", file);
    m_json.key("findings");
    m_json.openArray();
}

void CCheckReport::add(const h265_inspect::FileSet& told, bool /* bShown */)
{
    for (const Finding& finding : told.set.findings)
        tell(findingOf(told, finding));
    if (told.set.uiMoreFindings != 0)
        tell(findingOf(told, moreFindings(told.set.uiMoreFindings)));
}

void CCheckReport::tell(const FileFinding& finding)
{
    m_bErrors = m_bErrors || finding.finding.eSeverity == ESeverity::Error;
    if (m_bJson)
        return writeFinding(finding, m_json);
    if (!m_told.isNew(finding))
        return;
    std::string line = m_file;
    if (finding.ulOffset)
        line += formatted(":{}", *finding.ulOffset);
    else if (!finding.place.empty())
        line += ": " + finding.place;
    if (finding.finding.ulBit)
        line += formatted("{}{}", finding.ulOffset ? "." : ", bit ", *finding.finding.ulBit);
    m_output.append(line + ": " + findingText(finding) + "\n");
}

void CCheckReport::addFinding(const FileFinding& finding)
{
    tell(finding);
}

void CCheckReport::error(std::string_view line)
{
    writeLine(line, m_output);
}

bool CCheckReport::end(const CFileVerdict& /* verdict */, std::uint64_t /* ulBytes */)
{
    if (m_bJson) {
        m_json.closeArray();
        m_json.closeObject();
        m_output.append("\n");
    }
    return true;
}

EExitCode CCheckReport::exitCode(const CFileVerdict& verdict) const
{
    if (verdict.exitCode() == EXIT_FILE_ERROR)
        return EXIT_FILE_ERROR;
    return m_bErrors ? EXIT_SET_FAILED : EXIT_ALL_READ;
}

} // namespace h265ps
