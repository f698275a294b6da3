#include "JsonOutput.h"

#include <optional>

#include "ErrorLine.h"
#include "FailureReason.h"
#include "JsonRecord.h"
#include "JsonSet.h"
#include "JsonSyntax.h"
#include "SetNames.h"

namespace h265ps {

using h265_stream::ParameterSetEvent;

namespace {

void writeWarning(CJsonWriter& json, const h265_stream::StalePps& stale)
{
    json.openObject();
    json.key("type");
    json.text("stale_pps");
    writeNumber(json, "sps", stale.uiSpsId);
    writeNumber(json, "sps_offset", stale.ulSpsOffset);
    json.key("pps");
    json.openArray();
    for (const unsigned uiId : stale.ppsIds)
        json.number(std::uint64_t{uiId});
    json.closeArray();
    json.closeObject();
}

} // namespace

void CJsonReport::begin(const std::string& file, const CVerdict& /* verdict */, EPace /* ePace */)
{
    m_findings.clear();
    m_json.begin();
    m_json.openObject();
    m_json.key("file");
    m_json.text(file);
    m_json.key("parameter_sets");
    m_json.openArray();
}

void CJsonReport::add(const ParameterSetEvent& event, const h265_inspect::InspectedSet& set, bool bShown)
{
    if (!bShown)
        return;
    m_json.openObject();
    writeSetHeader(event, m_json);
    writeOptional(m_json, "read", event.iRead);
    writeOptional(m_json, "verify", event.iVerify);
    writeOptional(m_json, "read_at", event.ulReadAt);
    const std::optional<std::uint64_t> ulSameAs = m_options.bShowRepeats ? std::nullopt : event.ulSameAs;
    writeOptional(m_json, "same_as", ulSameAs);
    m_json.key("error");
    if (isFailure(event))
        m_json.text(failureReason(event, m_options.eReader).text());
    else
        m_json.null();
    m_json.key("log");
    m_json.openArray();
    for (const std::string& line : event.logLines)
        m_json.text(line);
    m_json.closeArray();
    m_json.key("record");
    if (ulSameAs)
        m_json.null();
    else
        writeRecord(event, m_options.bTables, m_json);
    m_json.key("syntax");
    if (set.hasSyntax()) {
        m_tree.build(set);
        writeSyntax(m_tree, m_json);
    } else {
        m_json.null();
    }
    m_json.key("findings");
    m_json.openArray();
    writeFindings(set, event.ulOffset, m_json);
    m_json.closeArray();
    m_json.closeObject();
}

void CJsonReport::addFinding(const h265_syntax::SetFinding& finding)
{
    m_findings.push_back(finding);
}

void CJsonReport::error(std::string_view line)
{
    writeLine(line, m_output);
}

bool CJsonReport::end(const CVerdict& verdict, std::uint64_t ulBytes)
{
    m_json.closeArray();
    writeNumber(m_json, "bytes", ulBytes);
    m_json.key("findings");
    m_json.openArray();
    for (const h265_syntax::SetFinding& found : m_findings)
        writeFinding(found.finding, found.ulOffset, m_json);
    m_json.closeArray();
    m_json.key("warnings");
    m_json.openArray();
    for (const h265_stream::StalePps& stale : verdict.stale())
        writeWarning(m_json, stale);
    m_json.closeArray();
    m_json.key("gist");
    if (verdict.gist())
        writeGist(*verdict.gist(), verdict.counts(), m_json);
    else
        m_json.null();
    m_json.key("verdict");
    m_json.text(verdict.text());
    m_json.key("exit_code");
    m_json.number(std::int64_t{verdict.exitCode()});
    m_json.closeObject();
    m_output.append("\n");
    return true;
}

} // namespace h265ps
