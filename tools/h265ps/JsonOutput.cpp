#include "JsonOutput.h"

#include <optional>

#include "ErrorLine.h"
#include "FailureReason.h"
#include "JsonRecord.h"
#include "JsonSet.h"
#include "JsonSyntax.h"
#include "SetNames.h"

namespace h265ps {

using h265_inspect::FileSet;
using h265_stream::ParameterSetEvent;

namespace {

void writeWarning(CJsonWriter& json, const StaleSet& set)
{
    const h265_stream::StalePps& stale = set.stale;
    json.openObject();
    json.key("type");
    json.text("stale_pps");
    writeNumber(json, "sps", stale.uiSpsId);
    writeOptional(json, "sps_offset", set.place.ulOffset);
    writeOptional(json, "track", set.place.ulTrack);
    writeText(json, "place", set.place.text());
    json.key("pps");
    json.openArray();
    for (const unsigned uiId : stale.ppsIds)
        json.number(std::uint64_t{uiId});
    json.closeArray();
    json.closeObject();
}

void writeTrack(CJsonWriter& json, const TrackVerdict& track)
{
    json.openObject();
    writeNumber(json, "track", track.info.ulTrack);
    writeText(json, "kind", kindOf(track.info));
    writeText(json, "codec", track.info.codec);
    writeText(json, "verdict", track.verdict ? track.verdict->text() : "passed over: " + track.info.reason);
    writeOptional(json, "exit_code", track.verdict ? std::optional<int>(track.verdict->exitCode()) : std::nullopt);
    json.closeObject();
}

} // namespace

void CJsonReport::begin(const std::string& file, const CFileVerdict& /* verdict */, EPace /* ePace */)
{
    m_findings.clear();
    m_json.begin();
    m_json.openObject();
    m_json.key("file");
    m_json.text(file);
    m_json.key("parameter_sets");
    m_json.openArray();
}

void CJsonReport::add(const FileSet& told, bool bShown)
{
    const ParameterSetEvent& event = told.event;
    const h265_inspect::InspectedSet& set = told.set;
    if (!bShown)
        return;
    m_json.openObject();
    writeSetHeader(told, m_json);
    writeOptional(m_json, "read", event.iRead);
    writeOptional(m_json, "verify", event.iVerify);
    writeOptional(m_json, "read_at", told.readAt ? told.readAt->ulOffset : std::nullopt);
    const std::optional<h265_inspect::FilePlace> sameAs = m_options.bShowRepeats ? std::nullopt : told.sameAs;
    writeSameAs(sameAs, m_json);
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
    if (sameAs)
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
    writeFindings(told, m_json);
    m_json.closeArray();
    m_json.closeObject();
}

void CJsonReport::addFinding(const h265_inspect::FileFinding& finding)
{
    m_findings.push_back(finding);
}

void CJsonReport::error(std::string_view line)
{
    writeLine(line, m_output);
}

bool CJsonReport::end(const CFileVerdict& verdict, std::uint64_t ulBytes)
{
    m_json.closeArray();
    writeNumber(m_json, "bytes", ulBytes);
    m_json.key("findings");
    m_json.openArray();
    for (const h265_inspect::FileFinding& finding : m_findings)
        writeFinding(finding, m_json);
    m_json.closeArray();
    m_json.key("warnings");
    m_json.openArray();
    for (const StaleSet& stale : verdict.stale())
        writeWarning(m_json, stale);
    m_json.closeArray();
    m_json.key("gist");
    const CVerdict& first = verdict.first();
    if (first.gist())
        writeGist(*first.gist(), first.counts(), m_json);
    else
        m_json.null();
    m_json.key("tracks");
    m_json.openArray();
    for (const TrackVerdict& track : verdict.tracks())
        writeTrack(m_json, track);
    m_json.closeArray();
    m_json.key("verdict");
    m_json.text(verdict.worst().text());
    m_json.key("exit_code");
    m_json.number(std::int64_t{verdict.exitCode()});
    m_json.closeObject();
    m_output.append("\n");
    return true;
}

} // namespace h265ps
