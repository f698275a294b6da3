#include "Verdict.h"

#include "DecParameterSetReader.h"
#include "FailureReason.h"
#include "FormattedText.h"
#include "SetNames.h"

namespace h265ps {

using h265_stream::ParameterSetEvent;

namespace {

// With them, a heading, the line of those left out, that of what is wrong and the verdict, the head is ten lines long
// at most: what head shows.
constexpr std::size_t MAX_SEQUENCES = 6;

constexpr std::size_t MAX_LISTED_IDS = 8;

// Whether it was told before.
bool isKnown(const ParameterSetEvent& event)
{
    return event.bRepeat || event.bSeenBefore || event.ulSameAs.has_value();
}

} // namespace

void CVerdict::add(const h265_inspect::FileSet& told, const h265_inspect::StreamCounts& counts)
{
    const ParameterSetEvent& event = told.event;
    const h265_inspect::InspectedSet& set = told.set;
    m_counts = counts;
    m_bAnySet = true;
    if (!event.bPassedOver)
        m_abThere[event.header.nal_unit_type - h265_stream::VPS_NUT] = true;
    m_bSpsRead = m_bSpsRead || event.sps != nullptr;
    m_bPpsRead = m_bPpsRead || event.pps != nullptr;
    if (isFailure(event) && !(m_bAlone && event.missingSps))
        addFailure(told);
    if (event.bPassedOver || set.pGist == nullptr || (event.sps == nullptr && set.stop()) || isKnown(event))
        return;
    if (!m_gist)
        m_gist = *set.pGist;
    if (m_sequences.size() < MAX_SEQUENCES)
        m_sequences.push_back(formatted("{} ({} {})", textOf(*set.pGist), nameOf(event, set), atPlace(told.place)));
    else
        ++m_ulMoreSequences;
}

void CVerdict::addFailure(const h265_inspect::FileSet& told)
{
    const ParameterSetEvent& event = told.event;
    if (event.bRepeat || event.bSeenBefore)
        return;
    Failures& failures = isNotRead(event) ? m_notRead : m_notSupported;
    if (failures.ulCount++ != 0)
        return;
    const FailureReason reason = failureReason(event, m_eReader);
    if (isNotRead(event))
        failures.first = formatted("{} was not read: {}", placeOf(told), reason.text());
    else
        failures.first = formatted("{} ({}: {})", reason.words, placeOf(told), reason.message);
}

void CVerdict::end(const h265_inspect::FileTrackEnd& end)
{
    m_bEnded = true;
    m_stale.clear();
    for (std::size_t i = 0; i < end.summary.stale.size(); ++i)
        m_stale.push_back({end.summary.stale[i], end.stalePlaces.at(i)});
}

void CVerdict::interrupt(const std::string& reason)
{
    if (!m_interruption)
        m_interruption = reason;
}

std::vector<std::string> CVerdict::sequences() const
{
    std::vector<std::string> lines = m_sequences;
    if (m_ulMoreSequences != 0)
        lines.push_back(formatted("and {} more SPS{}", m_ulMoreSequences, m_ulMoreSequences == 1 ? "" : "s"));
    if (lines.empty() && m_bAnySet)
        lines.emplace_back("no SPS was read");
    return lines;
}

std::string CVerdict::inspection() const
{
    constexpr const char* aTypes[] = {"VPS", "SPS", "PPS"};
    std::string text = m_gist ? m_gist->codecs + "; " : "";
    for (std::size_t i = 0; i < std::size(aTypes); ++i)
        text += formatted("{} {}{}", m_counts.aulSets[i], aTypes[i], i + 1 < std::size(aTypes) ? ", " : "; ");
    return text + problems();
}

std::string CVerdict::problems() const
{
    const std::string text = countedProblems(m_counts.ulErrors, m_counts.ulWarnings);
    return (text.empty() ? "no problems" : text) + " found";
}

std::string CVerdict::missing() const
{
    if (!m_bEnded || m_bAlone)
        return "";
    constexpr const char* aNames[] = {"no VPS", "no SPS", "no PPS"};
    std::vector<const char*> names;
    for (std::size_t i = 0; i < std::size(aNames); ++i) {
        if (!m_abThere[i])
            names.push_back(aNames[i]);
    }
    if (names.size() == std::size(aNames))
        return "no VPS, SPS or PPS of layer 0";
    return joined(names, " and ");
}

// The worst comes first, without the number of the others.
std::string CVerdict::answer() const
{
    if (m_interruption)
        return "not read to its end: " + *m_interruption;
    if (m_notSupported.ulCount != 0)
        return "not supported: " + m_notSupported.first;
    if (const std::string types = missing(); !types.empty())
        return "cannot be decoded: " + types;
    if (m_notRead.ulCount != 0)
        return (m_bSpsRead && m_bPpsRead ? "cannot be decoded in full: " : "cannot be decoded: ") + m_notRead.first;
    if (m_bAlone && !m_bAnySet)
        return NO_SET;
    if (m_bAlone && !m_bSpsRead)
        return "the decoder's own checks need an SPS";
    return "the decoder's own checks pass";
}

std::string CVerdict::text() const
{
    const std::uint64_t ulErrors = m_notSupported.ulCount + m_notRead.ulCount + (missing().empty() ? 0U : 1U) +
                                   (m_interruption.has_value() ? 1U : 0U);
    std::string verdict = answer();
    if (ulErrors > 1)
        verdict += formatted("; {} more error{}", ulErrors - 1, ulErrors == 2 ? "" : "s");
    if (!m_stale.empty())
        verdict += "; warning: " + textOf(m_stale.front());
    if (m_stale.size() > 1)
        verdict += formatted("; {} more warning{}", m_stale.size() - 1, m_stale.size() == 2 ? "" : "s");
    return verdict;
}

EExitCode CVerdict::exitCode() const
{
    if (m_interruption || m_bFailedEmpty)
        return EXIT_FILE_ERROR;
    return m_notSupported.ulCount + m_notRead.ulCount != 0 || !missing().empty() ? EXIT_SET_FAILED : EXIT_ALL_READ;
}

std::string countedProblems(std::uint64_t ulErrors, std::uint64_t ulWarnings)
{
    const auto counted = [](std::uint64_t ulCount, const char* pNoun) {
        return ulCount == 0 ? std::string() : formatted("{} {}{}", ulCount, pNoun, ulCount == 1 ? "" : "s");
    };
    return counted(ulErrors, "error") + (ulErrors == 0 || ulWarnings == 0 ? "" : " and ") +
           counted(ulWarnings, "warning");
}

std::string textOf(const StaleSet& set)
{
    const h265_stream::StalePps& stale = set.stale;
    const std::size_t uiListed = std::min(stale.ppsIds.size(), MAX_LISTED_IDS);
    const std::size_t uiMore = stale.ppsIds.size() - uiListed;
    return formatted("SPS {} {} took the place of another, and PPS {}{} {} not sent again behind it",
                     stale.uiSpsId,
                     atPlace(set.place),
                     joined(std::span(stale.ppsIds).first(uiListed), ", "),
                     uiMore != 0 ? formatted(" and {} more", uiMore) : "",
                     stale.ppsIds.size() == 1 ? "was" : "were");
}

} // namespace h265ps
