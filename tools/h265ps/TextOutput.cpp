#include "TextOutput.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "FailureReason.h"
#include "FindingText.h"
#include "FormattedText.h"
#include "SetNames.h"
#include "TextRecord.h"
#include "TextSyntax.h"
#include "UnreadParts.h"
#include "Utf8.h"

namespace h265ps {

using h265_inspect::FileSet;
using h265_stream::ParameterSetEvent;

namespace {

// In front of its first SPS and PPS a live stream can have any number of sets.
constexpr std::size_t MAX_WAITING = std::size_t{1} << 20;

constexpr std::size_t MAX_LISTED_FINDINGS = 200;

// Tracks that are passed over.
constexpr std::size_t MAX_LISTED_TRACKS = 8;

// So many streams of which the same is to be said are each told of.
constexpr std::size_t FEW_TRACKS = 4;

std::string resultOf(const ParameterSetEvent& event, h265_stream::EBitReader eReader, const TextStyle& style)
{
    if (isNotRead(event))
        return formatted("{}NOT READ: {}{}", style.pBad, failureReason(event, eReader).text(), style.pEnd);
    if (event.bPassedOver)
        return formatted("passed over: of layer {}, only layer 0 is read", event.header.nuh_layer_id);
    if (event.iVerify != 0)
        return formatted("read; {}NOT SUPPORTED: {}{}", style.pBad, failureReason(event, eReader).text(), style.pEnd);
    if (!event.logLines.empty())
        return formatted("read; the decoder's own checks pass, {}but with the messages below: values can be wrong{}",
                         style.pBad,
                         style.pEnd);
    return formatted("{}read; the decoder's own checks pass{}", style.pGood, style.pEnd);
}

// The module's lines, equal neighbours once.
std::string logOf(const ParameterSetEvent& event)
{
    std::string text;
    for (auto line = event.logLines.begin(); line != event.logLines.end();) {
        const auto other = std::find_if(line, event.logLines.end(), [&](const auto& l) { return l != *line; });
        text += other - line == 1 ? formatted("  log: {}\n", *line)
                                  : formatted("  log: {} ({} times)\n", *line, other - line);
        line = other;
    }
    return text;
}

// What repeats are counted under: sets that were read by their id, the others together.
CTextReport::RepeatKey repeatKey(const ParameterSetEvent& event)
{
    if (isNotRead(event))
        return {event.header.nal_unit_type, CTextReport::ERepeats::NotRead, 0U};
    if (const std::optional<unsigned> uiId = idOf(event))
        return {event.header.nal_unit_type, CTextReport::ERepeats::OfId, *uiId};
    return {event.header.nal_unit_type, CTextReport::ERepeats::OfLayer, event.header.nuh_layer_id};
}

std::string repeatName(const CTextReport::RepeatKey& key)
{
    const auto& [nal_unit_type, eRepeats, uiNumber] = key;
    if (eRepeats == CTextReport::ERepeats::NotRead)
        return formatted("{} not read", typeName(nal_unit_type));
    return formatted(
        "{} {}{}", typeName(nal_unit_type), eRepeats == CTextReport::ERepeats::OfLayer ? "of layer " : "", uiNumber);
}

const char* whereOf(const CFileVerdict& verdict)
{
    return verdict.containerProblems().empty() ? "" : " in the sets";
}

} // namespace

std::string printable(const std::string& name)
{
    std::string text;
    for (std::string_view left = name; !left.empty();) {
        const PrintablePiece piece = printablePiece(left);
        text += piece.bControl ? std::string_view("?") : left.substr(0, piece.uiLength);
        left.remove_prefix(piece.uiLength);
    }
    return text;
}

void CTextReport::begin(const std::string& file, const CFileVerdict& verdict, EPace ePace)
{
    if (ePace != EPace::Again) {
        m_heading = m_options.bFileHeadings ? formatted("{}{}==> {} <=={}\n",
                                                        m_bFirstFile ? "" : "\n",
                                                        m_options.style.pHeading,
                                                        printable(file),
                                                        m_options.style.pEnd)
                                            : "";
        m_bFirstFile = false;
    }
    if (ePace != EPace::Again) {
        m_headErrors.clear();
        m_headWarnings.clear();
    }
    m_ePace = ePace;
    m_pVerdict = &verdict;
    m_bHeadShown = false;
    m_bSpsCame = false;
    m_repeats.clear();
    m_sharedOffsets.clear();
    m_findings.clear();
    m_told = {};
    m_ulToldBefore = 0;
    m_ulShown = 0;
    m_bAnySet = false;
    if (ePace == EPace::Again)
        showHead(verdict, "");
    else
        m_output.hold();
}

void CTextReport::add(const FileSet& told, bool bShown)
{
    const ParameterSetEvent& event = told.event;
    noteFindings(told);
    m_bAnySet = true;
    if (bShown) {
        ++m_ulShown;
        if ((event.bRepeat || event.bSeenBefore || isShared(told)) && !m_options.bShowRepeats)
            ++m_repeats[repeatKey(event)];
        else if (!m_output.hasLost())
            m_output.append(block(told));
    }
    if (m_ePace == EPace::AsItComes && !m_bHeadShown)
        noteForHead(event);
}

// Items of an image share the sets that one hvcC holds: these are shown once.
bool CTextReport::isShared(const FileSet& told)
{
    constexpr std::size_t MAX_SHARED = std::size_t{1} << 16;
    if (told.place.unit.holder != "item" || !told.place.ulOffset || m_sharedOffsets.size() == MAX_SHARED)
        return false;
    return !m_sharedOffsets.insert(*told.place.ulOffset).second;
}

// What comes live has its head as soon as an SPS and a PPS came.
void CTextReport::noteForHead(const ParameterSetEvent& event)
{
    const bool bReady = m_bSpsCame && !event.bPassedOver && event.header.nal_unit_type == h265_stream::PPS_NUT;
    m_bSpsCame = m_bSpsCame || (!event.bPassedOver && event.header.nal_unit_type == h265_stream::SPS_NUT);
    if (bReady || m_output.size() > MAX_WAITING)
        showHead(*m_pVerdict, "so far: ");
}

std::string CTextReport::title(const FileSet& told) const
{
    const ParameterSetEvent& event = told.event;
    std::string text = formatted("{}{}{} {}, {} byte{}",
                                 m_options.style.pHeading,
                                 nameOf(event, told.set),
                                 m_options.style.pEnd,
                                 atPlace(told.place),
                                 event.ulSize,
                                 event.ulSize == 1 ? "" : "s");
    if (told.readAt)
        text += formatted(", read at the SPS {}", atPlace(*told.readAt));
    text += ": " + resultOf(event, m_options.eReader, m_options.style);
    if (event.bRepeat || event.bSeenBefore)
        text += " (repeat)";
    return text;
}

std::string CTextReport::block(const FileSet& told)
{
    const ParameterSetEvent& event = told.event;
    std::string text = formatted("\n{}\n", title(told));
    if (!event.bCutOff && event.header.nuh_temporal_id_plus1 != 1)
        text += formatted("  nuh_temporal_id_plus1 {}\n", event.header.nuh_temporal_id_plus1);
    if (told.sameAs && !m_options.bShowRepeats)
        return text + formatted("  the same as {} (--all shows it)\n", atPlace(*told.sameAs));
    text += logOf(event);
    if (m_options.bRecord)
        return text + recordText(event, unreadPartsText(told.set), m_options.style);
    if (!told.set.hasSyntax())
        return text;
    m_tree.build(told.set);
    return text + syntaxText(event, told.set, m_tree, m_options.style);
}

void CTextReport::noteFindings(const FileSet& told)
{
    for (const h265_syntax::Finding& finding : told.set.findings) {
        if (!m_told.isNew(findingOf(told, finding)))
            ++m_ulToldBefore;
        else if (m_findings.size() < MAX_LISTED_FINDINGS)
            m_findings.push_back(formatted("  {} {}{}: {}\n",
                                           nameOf(told.event, told.set),
                                           atPlace(told.place),
                                           finding.ulBit ? formatted(", bit {}", *finding.ulBit) : "",
                                           findingText(finding, true)));
    }
}

// Of the container among the first lines, or in its place, where the sets around it tell what it is about.
void CTextReport::addFinding(const h265_inspect::FileFinding& finding)
{
    if (!m_told.isNew(finding)) {
        m_ulToldBefore += finding.set.empty() ? 0 : 1;
        return;
    }
    std::string place = finding.set;
    if (!finding.place.empty())
        place += (finding.ulTrack ? " in " : " at ") + finding.place;
    else if (finding.ulOffset)
        place += formatted("{}at byte {}", place.empty() ? "" : " ", *finding.ulOffset);
    else if (finding.ulTrack)
        place += formatted("{}track {}", place.empty() ? "" : " ", *finding.ulTrack);
    if (!finding.set.empty() && finding.finding.ulBit)
        place += formatted(", bit {}", *finding.finding.ulBit);
    const std::string line = (place.empty() ? place : place + ": ") + findingText(finding) + "\n";
    if (finding.set.empty() && !m_options.bRecord && !m_output.hasLost() && !isForHead(finding, line))
        m_output.append("\n" + line);
    if (m_findings.size() < MAX_LISTED_FINDINGS && !finding.bNote)
        m_findings.push_back("  " + line);
}

// What is wrong with a container is why somebody looks: the first of it stands in front of everything.
bool CTextReport::isForHead(const h265_inspect::FileFinding& finding, const std::string& line)
{
    constexpr std::size_t MOST_ERRORS = 4;
    constexpr std::size_t MOST_WARNINGS = 4;
    const bool bError = finding.finding.eSeverity == h265_syntax::ESeverity::Error;
    std::vector<std::string>& lines = bError ? m_headErrors : m_headWarnings;
    if (m_bHeadShown || finding.bNote || lines.size() == (bError ? MOST_ERRORS : MOST_WARNINGS))
        return false;
    lines.push_back("  " + line);
    return true;
}

// All together, behind the sets.
void CTextReport::showFindings(const CFileVerdict& verdict)
{
    if (m_findings.empty() || m_options.bRecord)
        return;
    std::string text = "\nproblems\n";
    for (const std::string& line : m_findings)
        text += line;
    const std::uint64_t ulAll = verdict.findings() - m_ulToldBefore;
    if (ulAll > m_findings.size())
        text += formatted("  and {} more (h265ps check lists them)\n", ulAll - m_findings.size());
    m_output.append(text);
}

// pWhere: of what its problems are, where the container has some too.
std::string CTextReport::streamHead(const CVerdict& verdict, const std::string& prefix, const char* pWhere) const
{
    std::string text;
    for (const std::string& line : verdict.sequences())
        text += formatted("{}{}{}{}\n", prefix, m_options.style.pHeading, line, m_options.style.pEnd);
    text += formatted("{}{}{}\n", prefix, verdict.inspection(), pWhere);
    const char* const pColour = verdict.exitCode() == EXIT_ALL_READ ? m_options.style.pGood : m_options.style.pBad;
    return text + formatted("{}{}{}{}\n", prefix, pColour, verdict.text(), m_options.style.pEnd);
}

// Streams of which the same is to be said, as those of the pieces of an image, once.
std::string CTextReport::tracksHead(const CFileVerdict& verdict, const std::string& prefix) const
{
    std::string text;
    std::map<std::string, std::size_t> more; // by what is said
    const auto saidOf = [](const CVerdict& one) {
        return (one.gist() ? textOf(*one.gist()) : "") + one.inspection() + std::to_string(one.exitCode());
    };
    for (const TrackVerdict& track : verdict.tracks()) {
        if (track.verdict)
            ++more[saidOf(*track.verdict)];
    }
    for (const TrackVerdict& track : verdict.tracks()) {
        const auto said = track.verdict ? more.find(saidOf(*track.verdict)) : more.end();
        if (said == more.end())
            continue;
        const bool bMany = said->second > FEW_TRACKS;
        text += formatted("{}{}{}:\n",
                          prefix,
                          printable(nameOf(track.info)),
                          bMany ? formatted(", and {} more like it", said->second - 1) : "");
        text += streamHead(*track.verdict, prefix + "  ", whereOf(verdict));
        if (bMany)
            more.erase(said);
    }
    return text;
}

std::string CTextReport::head(const CFileVerdict& verdict, const std::string& prefix) const
{
    std::string text =
        verdict.h265Tracks() > 1 ? tracksHead(verdict, prefix) : streamHead(verdict.worst(), prefix, whereOf(verdict));
    if (const std::string problems = verdict.containerProblems(); !problems.empty())
        text += prefix + problems + "\n";
    if (!m_bHeadShown) {
        for (const std::vector<std::string>* const pLines : {&m_headErrors, &m_headWarnings})
            text = std::accumulate(pLines->begin(), pLines->end(), std::move(text));
    }
    std::string others;
    std::size_t uiOthers = 0;
    for (const TrackVerdict& track : verdict.tracks()) {
        if (!track.verdict && ++uiOthers <= MAX_LISTED_TRACKS)
            others += formatted("{}{} ({}: {})",
                                others.empty() ? "" : "; ",
                                printable(nameOf(track.info)),
                                kindOf(track.info),
                                printable(track.info.reason));
    }
    if (uiOthers > MAX_LISTED_TRACKS)
        others += formatted("; and {} more", uiOthers - MAX_LISTED_TRACKS);
    return others.empty() ? text : text + prefix + "passed over: " + others + "\n";
}

void CTextReport::showHead(const CFileVerdict& verdict, const char* pPrefix)
{
    m_stdout.append(m_heading + head(verdict, pPrefix));
    m_output.release();
    m_bHeadShown = true;
}

void CTextReport::error(std::string_view line)
{
    m_output.error(line);
}

void CTextReport::stall()
{
    if (!m_bHeadShown)
        showHead(*m_pVerdict, "so far: ");
    m_stdout.flush();
}

bool CTextReport::end(const CFileVerdict& verdict, std::uint64_t /* ulBytes */)
{
    const bool bLost = !m_bHeadShown && m_output.hasLost();
    if (bLost)
        return false;
    if (!m_bHeadShown)
        showHead(verdict, "");
    if (m_ulShown == 0 && m_bAnySet)
        m_output.append("\nno parameter set of the wanted type and id\n");
    std::string repeats;
    for (const auto& [set, ulCount] : m_repeats)
        repeats += formatted("{}{} {}x", repeats.empty() ? "" : ", ", repeatName(set), ulCount);
    if (!repeats.empty())
        m_output.append(formatted("\nrepeats not shown: {} (--all shows them)\n", repeats));
    showFindings(verdict);
    m_output.append("\n" + head(verdict, ""));
    return true;
}

} // namespace h265ps
