#include "FileTracks.h"

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "ClaimChecks.h"
#include "IsoBaseMedia.h"
#include "Matroska.h"
#include "SessionDescription.h"
#include "TransportStream.h"

namespace h265_inspect {

using namespace h265_container;
using h265_stream::ParameterSetEvent;
using h265_syntax::SetFinding;

namespace {

// The places of NAL units, which StreamHost and Inspector know by their numbers in the file. Of sets that others
// can be the same as the first MAX_FIRST are kept, of all others the last ones.
class CPlaceBook
{
public:
    std::uint64_t enter(const ContainerUnit& unit)
    {
        const std::size_t uiAt = static_cast<std::size_t>(m_ulUnits % MAX_RECENT);
        if (uiAt == m_recent.size())
            m_recent.emplace_back();
        Entry& entry = m_recent[uiAt];
        entry.ulUnit = ++m_ulUnits;
        entry.place.ulTrack = unit.place.ulTrack;
        entry.place.ulOffset = unit.ulOffset;
        entry.place.unit = unit.place;
        return m_ulUnits;
    }

    void keep(std::uint64_t ulUnit)
    {
        const Entry* const pEntry = findRecent(ulUnit);
        if (pEntry != nullptr && m_firsts.size() < MAX_FIRST)
            m_firsts.insert(std::upper_bound(m_firsts.begin(), m_firsts.end(), *pEntry, isBefore), *pEntry);
    }

    /// fallback: what is known without the book.
    [[nodiscard]] FilePlace placeOf(std::uint64_t ulUnit, const FilePlace& fallback) const
    {
        if (const Entry* const pEntry = findRecent(ulUnit))
            return pEntry->place;
        const auto found = std::lower_bound(m_firsts.begin(), m_firsts.end(), Entry{ulUnit, {}}, isBefore);
        return found != m_firsts.end() && found->ulUnit == ulUnit ? found->place : fallback;
    }

private:
    static constexpr std::size_t MAX_RECENT = 1024;
    static constexpr std::size_t MAX_FIRST = std::size_t{1} << 16;

    struct Entry
    {
        std::uint64_t ulUnit = 0; // from 1
        FilePlace place;
    };

    static bool isBefore(const Entry& a, const Entry& b) { return a.ulUnit < b.ulUnit; }

    [[nodiscard]] const Entry* findRecent(std::uint64_t ulUnit) const
    {
        const std::size_t uiAt = static_cast<std::size_t>((ulUnit - 1) % MAX_RECENT);
        return uiAt < m_recent.size() && m_recent[uiAt].ulUnit == ulUnit ? &m_recent[uiAt] : nullptr;
    }

    std::uint64_t m_ulUnits = 0;
    std::vector<Entry> m_recent; // by number, the last ones in place of those before
    std::deque<Entry> m_firsts;
};

// A track of H.265 while it is read.
struct TrackReading
{
    TrackReading(ContainerTrack track, const FileOptions& options)
        : info(std::move(track)), units(options.stream), inspector(options.inspect)
    {}

    [[nodiscard]] FileTrack told() const { return {info, inspector.counts()}; }

    const ContainerTrack info;
    h265_stream::CParameterSetUnits units;
    CInspector inspector;
    CClaimChecks claims;
    bool bUnread = false; // something of it
};

class CTracksReader : public CContainerSink
{
public:
    CTracksReader(FileOptions options, CFileSink& sink) : m_options(std::move(options)), m_sink(sink) {}

    void onTrack(const ContainerTrack& track) override;
    void onClaims(const ContainerClaims& claims) override;
    bool onNalUnit(const ContainerUnit& unit) override;
    void onFinding(const ContainerFinding& finding) override;

    /// The file is read to its end, or could not be read on.
    void end(bool bInterrupted);

private:
    [[nodiscard]] FileOptions optionsOf(const ContainerTrack& track) const;
    [[nodiscard]] TrackReading* readingOf(std::uint64_t ulTrack) const;
    [[nodiscard]] FilePlace placeOf(const TrackReading& track, std::uint64_t ulUnit) const;
    bool deliver(TrackReading& track, const ParameterSetEvent& event);
    void tellSetFindings(TrackReading& track);
    void tellClaimFindings(TrackReading& track);
    void tellNoSets(const TrackReading& track);
    void endTrack(TrackReading& track, bool bInterrupted);

    const FileOptions m_options;
    CFileSink& m_sink;
    CPlaceBook m_places;
    std::vector<std::unique_ptr<TrackReading>> m_readings;
    std::map<std::uint64_t, TrackReading*> m_current; // by number: an image item can have that of a track
    bool m_bUnread = false;                           // something of the file
    bool m_bStopped = false;                          // the sink said so
};

TrackReading* CTracksReader::readingOf(std::uint64_t ulTrack) const
{
    const auto found = m_current.find(ulTrack);
    return found != m_current.end() ? found->second : nullptr;
}

// Memory is shared out: files have one track or two, and grids of images many small ones.
FileOptions CTracksReader::optionsOf(const ContainerTrack& track) const
{
    constexpr std::uint64_t FIRST = std::uint64_t{64} << 20;
    constexpr std::uint64_t LEAST = std::uint64_t{2} << 20;
    constexpr std::uint64_t OF_MANY = std::uint64_t{128} << 10;
    constexpr std::size_t MANY = 64;
    FileOptions options = m_options;
    const std::size_t uiTracks = m_readings.size();
    const std::uint64_t ulShare =
        uiTracks < MANY ? std::max(FIRST >> std::min<std::size_t>(uiTracks, 63), LEAST) : OF_MANY;
    options.stream.ulPoolBytes =
        options.stream.ulPoolBytes == 0 ? ulShare : std::min(options.stream.ulPoolBytes, ulShare);
    constexpr std::size_t FOUR_CHARACTERS = 4;
    if (track.codec.size() == FOUR_CHARACTERS && !track.bSetsAlone) // a sample entry
        options.inspect.sampleEntry = track.codec;
    options.inspect.bAlone = track.bSetsAlone;
    return options;
}

void CTracksReader::onTrack(const ContainerTrack& track)
{
    const TrackReading* const pKnown = readingOf(track.ulTrack);
    if (pKnown != nullptr && pKnown->info.holder == track.holder && pKnown->info.codec == track.codec)
        return;
    if (track.bIsH265 && m_readings.size() == MAX_FILE_TRACKS) {
        ContainerTrack other = track;
        other.bIsH265 = false;
        other.reason = "more than " + std::to_string(MAX_FILE_TRACKS) + " tracks of H.265";
        m_sink.onTrack(other);
        return;
    }
    if (track.bIsH265) {
        m_readings.push_back(std::make_unique<TrackReading>(track, optionsOf(track)));
        m_current[track.ulTrack] = m_readings.back().get();
    }
    m_sink.onTrack(track);
}

void CTracksReader::onClaims(const ContainerClaims& claims)
{
    TrackReading* const pTrack = m_options.inspect.bChecks ? readingOf(claims.ulTrack) : nullptr;
    if (pTrack == nullptr)
        return;
    pTrack->claims.onClaims(claims);
    tellClaimFindings(*pTrack);
}

FilePlace CTracksReader::placeOf(const TrackReading& track, std::uint64_t ulUnit) const
{
    FilePlace fallback;
    fallback.ulTrack = track.info.ulTrack;
    fallback.unit.ulTrack = track.info.ulTrack;
    fallback.unit.holder = track.info.holder;
    return m_places.placeOf(ulUnit, fallback);
}

bool CTracksReader::onNalUnit(const ContainerUnit& unit)
{
    TrackReading* const pTrack = readingOf(unit.place.ulTrack);
    if (pTrack == nullptr || m_bStopped)
        return !m_bStopped;
    const std::uint64_t ulUnit = m_places.enter(unit);
    h265_stream::NalUnit pushed{unit.header, ulUnit, unit.ulSize, unit.bytes};
    if (!h265_stream::isParameterSet(unit.header.nal_unit_type))
        pushed.bytes = unit.bytes.first(std::min(unit.bytes.size(), h265_stream::MAX_OTHER_UNIT_BYTES));
    const bool bGoOn = pTrack->units.push(
        pushed,
        [&](const ParameterSetEvent& event) { return deliver(*pTrack, event); },
        [&](const h265_stream::NalUnit& other) { pTrack->inspector.onOtherUnit(other); });
    tellSetFindings(*pTrack);
    if (m_options.inspect.bChecks && bGoOn) {
        pTrack->claims.onNalUnit(unit);
        tellClaimFindings(*pTrack);
    }
    m_bStopped = m_bStopped || !bGoOn;
    return bGoOn;
}

bool CTracksReader::deliver(TrackReading& track, const ParameterSetEvent& event)
{
    const InspectedSet set = track.inspector.onSet(event);
    if (!event.bRepeat && !event.bSeenBefore)
        m_places.keep(event.ulOffset);
    FileSet told{event, set, placeOf(track, event.ulOffset), std::nullopt, std::nullopt};
    if (event.ulSameAs)
        told.sameAs = placeOf(track, *event.ulSameAs);
    if (event.ulReadAt)
        told.readAt = placeOf(track, *event.ulReadAt);
    m_bStopped = !m_sink.onSet(track.told(), told);
    tellSetFindings(track);
    return !m_bStopped;
}

void CTracksReader::tellSetFindings(TrackReading& track)
{
    const std::span<const SetFinding> news = track.inspector.newSetFindings();
    if (news.empty())
        return; // nearly always
    const FileTrack told = track.told();
    for (const SetFinding& found : news)
        m_sink.onFinding(&told, fileFinding(found, placeOf(track, found.ulOffset)));
}

void CTracksReader::tellClaimFindings(TrackReading& track)
{
    const std::span<const ClaimFinding> news = track.claims.newFindings();
    if (news.empty())
        return;
    const FileTrack told = track.told();
    for (const ClaimFinding& found : news)
        m_sink.onFinding(&told, fileFinding(found, track.info.ulTrack));
}

void CTracksReader::onFinding(const ContainerFinding& finding)
{
    TrackReading* const pTrack = finding.ulTrack ? readingOf(*finding.ulTrack) : nullptr;
    if (finding.bUnread)
        (pTrack != nullptr ? pTrack->bUnread : m_bUnread) = true;
    if (pTrack == nullptr)
        return m_sink.onFinding(nullptr, fileFinding(finding));
    const FileTrack told = pTrack->told();
    m_sink.onFinding(&told, fileFinding(finding));
}

void CTracksReader::endTrack(TrackReading& track, bool bInterrupted)
{
    const auto deliverLate = [&](const ParameterSetEvent& event) { return deliver(track, event); };
    FileTrackEnd end{track.units.end(deliverLate), {}};
    if (bInterrupted || m_bStopped)
        return;
    if (end.summary.ulParameterSets == 0 && !track.info.bSetsAlone)
        tellNoSets(track);
    if (!track.bUnread && !m_bUnread && !track.info.bSetsAlone)
        track.inspector.onEnd();
    if (m_options.inspect.bChecks)
        track.claims.onEnd();
    tellSetFindings(track);
    tellClaimFindings(track);
    for (const h265_stream::StalePps& stale : end.summary.stale)
        end.stalePlaces.push_back(placeOf(track, stale.ulSpsOffset));
    m_sink.onTrackEnd(track.told(), end);
}

void CTracksReader::tellNoSets(const TrackReading& track)
{
    FileFinding finding;
    finding.finding.message = "there is no parameter set in it";
    finding.ulTrack = track.info.ulTrack;
    const FileTrack told = track.told();
    m_sink.onFinding(&told, finding);
}

void CTracksReader::end(bool bInterrupted)
{
    for (const std::unique_ptr<TrackReading>& pTrack : m_readings) {
        if (!m_bStopped)
            endTrack(*pTrack, bInterrupted);
    }
}

void readAs(EFileKind eKind, CRandomSource& source, const FileOptions& options, CContainerSink& sink)
{
    const ContainerOptions containerOptions{options.bHead};
    switch (eKind) {
    case EFileKind::Matroska:
        return readMatroska(source, containerOptions, sink);
    case EFileKind::TransportStream:
        return readTransportStream(source, containerOptions, sink);
    case EFileKind::SessionDescription:
        return readSessionDescription(source, containerOptions, sink);
    default:
        return readIsoBaseMedia(source, containerOptions, sink, options.pInit);
    }
}

} // namespace

void readFileTracks(EFileKind eKind, CRandomSource& source, const FileOptions& options, CFileSink& sink)
{
    CTracksReader reader(options, sink);
    try {
        readAs(eKind, source, options, reader);
    } catch (const h265_stream::CSourceError&) {
        reader.end(true);
        throw;
    }
    reader.end(false);
}

void readSetTracks(std::string_view text, ETextForm eForm, const FileOptions& options, CFileSink& sink)
{
    CTracksReader reader(options, sink);
    readSetText(text, eForm, reader);
    reader.end(false);
}

} // namespace h265_inspect
