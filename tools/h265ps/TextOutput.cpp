#include "TextOutput.h"

#include <algorithm>

#include <fmt/format.h>

#include "FailureReason.h"
#include "FindingText.h"
#include "SetNames.h"
#include "TextRecord.h"
#include "TextSyntax.h"
#include "UnreadParts.h"
#include "Utf8.h"

namespace h265ps {

using h265_stream::ParameterSetEvent;

namespace {

// In front of its first SPS and PPS a live stream can have any number of sets.
constexpr std::size_t MAX_WAITING = std::size_t{1} << 20;

constexpr std::size_t MAX_LISTED_FINDINGS = 200;

std::string resultOf(const ParameterSetEvent& event, h265_stream::EBitReader eReader, const TextStyle& style)
{
    if (isNotRead(event))
        return fmt::format("{}NOT READ: {}{}", style.pBad, failureReason(event, eReader).text(), style.pEnd);
    if (event.bPassedOver)
        return fmt::format("passed over: of layer {}, only layer 0 is read", event.header.nuh_layer_id);
    if (event.iVerify != 0)
        return fmt::format("read; {}NOT SUPPORTED: {}{}", style.pBad, failureReason(event, eReader).text(), style.pEnd);
    if (!event.logLines.empty())
        return fmt::format("read; the decoder's own checks pass, {}but with the messages below: values can be wrong{}",
                           style.pBad,
                           style.pEnd);
    return fmt::format("{}read; the decoder's own checks pass{}", style.pGood, style.pEnd);
}

// The module's lines, equal neighbours once.
std::string logOf(const ParameterSetEvent& event)
{
    std::string text;
    for (auto line = event.logLines.begin(); line != event.logLines.end();) {
        const auto other = std::find_if(line, event.logLines.end(), [&](const auto& l) { return l != *line; });
        text += other - line == 1 ? fmt::format("  log: {}\n", *line)
                                  : fmt::format("  log: {} ({} times)\n", *line, other - line);
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
        return fmt::format("{} not read", typeName(nal_unit_type));
    return fmt::format(
        "{} {}{}", typeName(nal_unit_type), eRepeats == CTextReport::ERepeats::OfLayer ? "of layer " : "", uiNumber);
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

void CTextReport::begin(const std::string& file, const CVerdict& verdict, EPace ePace)
{
    if (ePace != EPace::Again) {
        m_heading = m_options.bFileHeadings ? fmt::format("{}{}==> {} <=={}\n",
                                                          m_bFirstFile ? "" : "\n",
                                                          m_options.style.pHeading,
                                                          printable(file),
                                                          m_options.style.pEnd)
                                            : "";
        m_bFirstFile = false;
    }
    m_ePace = ePace;
    m_pVerdict = &verdict;
    m_bHeadShown = false;
    m_bSpsCame = false;
    m_repeats.clear();
    m_findings.clear();
    m_ulShown = 0;
    if (ePace == EPace::Again)
        showHead(verdict, "");
    else
        m_output.hold();
}

void CTextReport::add(const ParameterSetEvent& event, const h265_inspect::InspectedSet& set, bool bShown)
{
    noteFindings(event, set);
    if (bShown) {
        ++m_ulShown;
        if ((event.bRepeat || event.bSeenBefore) && !m_options.bShowRepeats)
            ++m_repeats[repeatKey(event)];
        else if (!m_output.hasLost())
            m_output.append(block(event, set));
    }
    if (m_ePace == EPace::AsItComes && !m_bHeadShown)
        noteForHead(event);
}

// What comes live has its head as soon as an SPS and a PPS came.
void CTextReport::noteForHead(const ParameterSetEvent& event)
{
    const bool bReady = m_bSpsCame && !event.bPassedOver && event.header.nal_unit_type == h265_stream::PPS_NUT;
    m_bSpsCame = m_bSpsCame || (!event.bPassedOver && event.header.nal_unit_type == h265_stream::SPS_NUT);
    if (bReady || m_output.size() > MAX_WAITING)
        showHead(*m_pVerdict, "so far: ");
}

std::string CTextReport::title(const ParameterSetEvent& event, const h265_inspect::InspectedSet& set) const
{
    std::string text = fmt::format("{}{}{} at byte {}, {} byte{}",
                                   m_options.style.pHeading,
                                   nameOf(event, set),
                                   m_options.style.pEnd,
                                   event.ulOffset,
                                   event.ulSize,
                                   event.ulSize == 1 ? "" : "s");
    if (event.ulReadAt)
        text += fmt::format(", read at the SPS at byte {}", *event.ulReadAt);
    text += ": " + resultOf(event, m_options.eReader, m_options.style);
    if (event.bRepeat || event.bSeenBefore)
        text += " (repeat)";
    return text;
}

std::string CTextReport::block(const ParameterSetEvent& event, const h265_inspect::InspectedSet& set)
{
    std::string text = fmt::format("\n{}\n", title(event, set));
    if (!event.bCutOff && event.header.nuh_temporal_id_plus1 != 1)
        text += fmt::format("  nuh_temporal_id_plus1 {}\n", event.header.nuh_temporal_id_plus1);
    if (event.ulSameAs && !m_options.bShowRepeats)
        return text + fmt::format("  the same as at byte {} (--all shows it)\n", *event.ulSameAs);
    text += logOf(event);
    if (m_options.bRecord)
        return text + recordText(event, unreadPartsText(set), m_options.style);
    if (!set.hasSyntax())
        return text;
    m_tree.build(set);
    return text + syntaxText(event, set, m_tree, m_options.style);
}

void CTextReport::noteFindings(const ParameterSetEvent& event, const h265_inspect::InspectedSet& set)
{
    for (const h265_syntax::Finding& finding : set.findings) {
        if (m_findings.size() == MAX_LISTED_FINDINGS)
            return;
        m_findings.push_back(fmt::format("  {} at byte {}{}: {}\n",
                                         nameOf(event, set),
                                         event.ulOffset,
                                         finding.ulBit ? fmt::format(", bit {}", *finding.ulBit) : "",
                                         findingText(finding, true)));
    }
}

void CTextReport::addFinding(const h265_syntax::SetFinding& finding)
{
    if (m_findings.size() < MAX_LISTED_FINDINGS)
        m_findings.push_back(fmt::format("  {} {} at byte {}: {}\n",
                                         typeName(static_cast<unsigned char>(finding.nal_unit_type)),
                                         finding.uiId,
                                         finding.ulOffset,
                                         findingText(finding.finding, true)));
}

// All together, behind the sets.
void CTextReport::showFindings(const CVerdict& verdict)
{
    if (m_findings.empty() || m_options.bRecord)
        return;
    std::string text = "\nproblems\n";
    for (const std::string& line : m_findings)
        text += line;
    const std::uint64_t ulAll = verdict.counts().ulErrors + verdict.counts().ulWarnings;
    if (ulAll > m_findings.size())
        text += fmt::format("  and {} more (h265ps check lists them)\n", ulAll - m_findings.size());
    m_output.append(text);
}

std::string CTextReport::head(const CVerdict& verdict, const char* pPrefix) const
{
    std::string text;
    for (const std::string& line : verdict.sequences())
        text += fmt::format("{}{}{}{}\n", pPrefix, m_options.style.pHeading, line, m_options.style.pEnd);
    text += fmt::format("{}{}\n", pPrefix, verdict.inspection());
    const char* const pColour = verdict.exitCode() == EXIT_ALL_READ ? m_options.style.pGood : m_options.style.pBad;
    return text + fmt::format("{}{}{}{}\n", pPrefix, pColour, verdict.text(), m_options.style.pEnd);
}

void CTextReport::showHead(const CVerdict& verdict, const char* pPrefix)
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

bool CTextReport::end(const CVerdict& verdict, std::uint64_t /* ulBytes */)
{
    const bool bLost = !m_bHeadShown && m_output.hasLost();
    if (bLost)
        return false;
    if (!m_bHeadShown)
        showHead(verdict, "");
    if (m_ulShown == 0)
        m_output.append("\nno parameter set of the wanted type and id\n");
    std::string repeats;
    for (const auto& [set, ulCount] : m_repeats)
        repeats += fmt::format("{}{} {}x", repeats.empty() ? "" : ", ", repeatName(set), ulCount);
    if (!repeats.empty())
        m_output.append(fmt::format("\nrepeats not shown: {} (--all shows them)\n", repeats));
    showFindings(verdict);
    m_output.append("\n" + head(verdict, ""));
    return true;
}

} // namespace h265ps
