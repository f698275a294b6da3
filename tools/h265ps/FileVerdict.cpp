#include "FileVerdict.h"

#include <algorithm>

#include "FormattedText.h"

namespace h265ps {

using h265_container::ContainerTrack;
using h265_container::ETrackKind;

namespace {

bool isSame(const ContainerTrack& a, const ContainerTrack& b)
{
    return a.ulTrack == b.ulTrack && a.holder == b.holder && a.codec == b.codec;
}

std::string reasonOf(const h265_inspect::FileFinding& finding)
{
    return finding.box.empty() ? finding.finding.message : finding.box + ": " + finding.finding.message;
}

} // namespace

std::string nameOf(const ContainerTrack& track)
{
    const std::string name = formatted("{} {}", track.holder, track.ulTrack);
    return track.codec.empty() ? name : name + ", " + track.codec;
}

const char* kindOf(const ContainerTrack& track)
{
    switch (track.eKind) {
    case ETrackKind::Video:
        return "video";
    case ETrackKind::Audio:
        return "audio";
    case ETrackKind::Text:
        return "text";
    case ETrackKind::Image:
        return "image";
    default:
        return "other";
    }
}

CVerdict& CFileVerdict::stream()
{
    if (!m_stream)
        m_stream.emplace(m_eReader);
    return *m_stream;
}

void CFileVerdict::addTrack(const ContainerTrack& track)
{
    m_tracks.push_back({track, std::nullopt});
    if (!track.bIsH265)
        return;
    m_tracks.back().verdict.emplace(m_eReader);
    if (track.bSetsAlone)
        m_tracks.back().verdict->standAlone();
    if (m_interruption)
        m_tracks.back().verdict->interrupt(*m_interruption);
}

CVerdict& CFileVerdict::of(const ContainerTrack& track)
{
    const auto found = std::find_if(m_tracks.rbegin(), m_tracks.rend(), [&](const TrackVerdict& one) {
        return one.verdict && isSame(one.info, track);
    });
    return found != m_tracks.rend() ? *found->verdict : stream();
}

void CFileVerdict::addFinding(const h265_inspect::FileFinding& finding)
{
    if (!finding.bNote && m_counted.isNew(finding))
        ++(finding.finding.eSeverity == h265_syntax::ESeverity::Error ? m_ulErrors : m_ulWarnings);
    if (!finding.bUnread)
        return;
    const auto found = std::find_if(m_tracks.rbegin(), m_tracks.rend(), [&](const TrackVerdict& one) {
        return one.verdict && finding.ulTrack == one.info.ulTrack;
    });
    if (found != m_tracks.rend())
        found->verdict->interrupt(reasonOf(finding));
    else if (!finding.ulTrack)
        interrupt(reasonOf(finding));
}

void CFileVerdict::interrupt(const std::string& reason)
{
    if (!m_interruption)
        m_interruption = reason;
    if (m_stream)
        m_stream->interrupt(reason);
    for (TrackVerdict& track : m_tracks) {
        if (track.verdict)
            track.verdict->interrupt(reason);
    }
}

bool CFileVerdict::failEmpty()
{
    const bool bEmpty = std::ranges::all_of(m_tracks, [](const TrackVerdict& track) {
        return !track.verdict || (track.verdict->isAlone() && track.verdict->isEmpty());
    });
    for (TrackVerdict& track : m_tracks) {
        if (bEmpty && track.verdict)
            track.verdict->failEmpty();
    }
    return bEmpty && h265Tracks() != 0;
}

std::size_t CFileVerdict::h265Tracks() const
{
    return static_cast<std::size_t>(std::count_if(
        m_tracks.begin(), m_tracks.end(), [](const TrackVerdict& one) { return one.verdict.has_value(); }));
}

const CVerdict& CFileVerdict::worst() const
{
    const CVerdict* pWorst = m_stream ? &*m_stream : nullptr;
    for (const TrackVerdict& track : m_tracks) {
        if (track.verdict && (pWorst == nullptr || track.verdict->exitCode() > pWorst->exitCode()))
            pWorst = &*track.verdict;
    }
    return pWorst != nullptr ? *pWorst : m_worst;
}

const CVerdict& CFileVerdict::first() const
{
    if (m_stream)
        return *m_stream;
    const auto found = std::find_if(
        m_tracks.begin(), m_tracks.end(), [](const TrackVerdict& one) { return one.verdict && one.verdict->gist(); });
    return found != m_tracks.end() ? *found->verdict : worst();
}

std::vector<StaleSet> CFileVerdict::stale() const
{
    std::vector<StaleSet> all;
    if (m_stream)
        all = m_stream->stale();
    for (const TrackVerdict& track : m_tracks) {
        if (track.verdict)
            all.insert(all.end(), track.verdict->stale().begin(), track.verdict->stale().end());
    }
    return all;
}

EExitCode CFileVerdict::exitCode() const
{
    return m_interruption ? EXIT_FILE_ERROR : worst().exitCode();
}

std::string CFileVerdict::containerProblems() const
{
    const std::string text = countedProblems(m_ulErrors, m_ulWarnings);
    return text.empty() ? text : "the container: " + text + " found";
}

std::uint64_t CFileVerdict::findings() const
{
    std::uint64_t ulAll = m_ulErrors + m_ulWarnings;
    if (m_stream)
        ulAll += m_stream->counts().ulErrors + m_stream->counts().ulWarnings;
    for (const TrackVerdict& track : m_tracks) {
        if (track.verdict)
            ulAll += track.verdict->counts().ulErrors + track.verdict->counts().ulWarnings;
    }
    return ulAll;
}

} // namespace h265ps
