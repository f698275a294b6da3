#include "IsoBaseMedia.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "ImageItems.h"
#include "MovieFragments.h"

namespace h265_container {

namespace {

constexpr std::size_t MAX_MOVIE_TRACKS = 4096;
constexpr std::string_view INIT_FILE = "initialisation segment";

class CIsoReader
{
public:
    CIsoReader(CRandomSource& source, CUnitOutput& output) : m_source(source), m_output(output) {}

    void readInit(CRandomSource& init);
    void read();

private:
    enum class EGoOn
    {
        No,
        Yes
    };

    EGoOn readBox(const Box& box);
    void readMovie(CRandomSource& source, const Box& moov, bool bSamples);
    void leaveInit();
    void addTrack(MovieTrack track);
    void tellSecond(const std::string& what, const Box& box, const char* pClause);
    void readImages(const Box& meta);
    [[nodiscard]] bool holdAhead(const Box& box, const char* pWhat);
    [[nodiscard]] bool allDone() const;
    void tellWhatIsMissing();
    // What is told of the file as a whole leaves something unread.
    void tell(ESeverity eSeverity, std::string box, std::optional<std::uint64_t> ulOffset, std::string message)
    {
        m_output.finding({eSeverity, std::move(box), ulOffset, std::nullopt, std::move(message), true});
    }

    CRandomSource& m_source;
    CUnitOutput& m_output;
    std::vector<MovieTrack> m_tracks;
    std::set<std::pair<std::uint32_t, bool>> m_known; // tracks that were told of, and whether as H.265
    bool m_bMovie = false;
    unsigned m_uiMovies = 0;         // of the file itself
    unsigned m_uiMetas = 0;          // with images
    std::uint64_t m_ulFileBegin = 0; // of a file that is joined to others: its offsets count from there
    bool m_bFragments = false;
    std::optional<std::uint64_t> m_ulEarlyFragment; // in front of the moov
    bool m_bMediaData = false;
    bool m_bMovieFragments = false; // moov says that fragments follow
};

void CIsoReader::addTrack(MovieTrack track)
{
    track.ulFileBegin = m_ulFileBegin;
    const bool bTwice = std::any_of(
        m_tracks.begin(), m_tracks.end(), [&](const MovieTrack& other) { return other.uiTrack == track.uiTrack; });
    if (bTwice || track.uiTrack == 0)
        m_output.finding({ESeverity::Error,
                          track.path,
                          track.ulOffset,
                          track.uiTrack,
                          bTwice ? "track_ID " + std::to_string(track.uiTrack) +
                                       " is that of another track too: both are told as one [14496-12 8.3.2.3]"
                                 : "track_ID is 0, which is no track's [14496-12 8.3.2.3]"});
    if (m_known.emplace(track.uiTrack, track.isH265()).second)
        m_output.track(trackInfo(track));
    m_tracks.push_back(std::move(track));
}

// A later moov, as of segments one behind the other, takes the place of the one before.
void CIsoReader::readMovie(CRandomSource& source, const Box& moov, bool bSamples)
{
    m_bMovie = true;
    m_tracks.clear();
    std::optional<Box> mvex;
    CBoxWalk walk(source, m_output, "moov", moov.ulContent, moov.ulEnd);
    while (const auto box = walk.next()) {
        if (box->uiType == fourCC("trak") && m_tracks.size() == MAX_MOVIE_TRACKS) {
            tell(ESeverity::Error,
                 "moov",
                 box->ulOffset,
                 "more than " + std::to_string(MAX_MOVIE_TRACKS) + " tracks; from here on they are not read");
            break;
        }
        if (box->uiType == fourCC("trak"))
            addTrack(readTrack(source, m_output, *box, walk.pathOf(*box)));
        else if (box->uiType == fourCC("mvex"))
            mvex = box;
        else if (box->uiType == fourCC("cmov"))
            tell(ESeverity::Error, walk.pathOf(*box), box->ulOffset, "is a compressed moov, which is not read");
    }
    m_bMovieFragments = mvex.has_value();
    if (mvex)
        readFragmentDefaults(m_output, source, *mvex, m_tracks);
    if (!bSamples)
        leaveInit();
    for (MovieTrack& track : m_tracks) {
        if (track.isH265() && track.descriptions.front().bIsH265)
            enterDescription(m_output, track, 1, bSamples);
    }
    if (bSamples)
        deliverSamples(m_output, source, m_tracks);
    // What no sample needed is shown too.
    for (MovieTrack& track : m_tracks) {
        for (std::uint32_t i = 0; i < track.descriptions.size(); ++i) {
            if (track.descriptions[i].bIsH265 && !track.descriptions[i].bDelivered)
                enterDescription(m_output, track, i + 1, bSamples);
        }
    }
}

// What its tracks claim from here on, has its place there.
void CIsoReader::leaveInit()
{
    m_output.standIn({});
    for (MovieTrack& track : m_tracks) {
        for (SampleDescription& description : track.descriptions)
            standInOtherFile(description.claims, INIT_FILE);
    }
}

void CIsoReader::readInit(CRandomSource& init)
{
    m_output.standIn(INIT_FILE);
    CBoxWalk walk(init, m_output);
    while (const auto box = walk.next()) {
        if (box->uiType == fourCC("moov")) {
            readMovie(init, *box, false);
            return;
        }
    }
    m_output.standIn({});
    tell(ESeverity::Error, {}, std::nullopt, "the initialisation segment has no moov");
}

bool CIsoReader::holdAhead(const Box& box, const char* pWhat)
{
    if (m_source.hold(box.ulOffset, box.ulEnd - box.ulOffset))
        return true;
    tell(ESeverity::Error,
         pWhat,
         box.ulOffset,
         "is too large to be kept while the stream is read; save it as a file first");
    return false;
}

void CIsoReader::tellSecond(const std::string& what, const Box& box, const char* pClause)
{
    m_output.finding({ESeverity::Warning,
                      what,
                      box.ulOffset,
                      std::nullopt,
                      "a second " + what + (m_ulFileBegin != 0 ? ", of another file that is joined on" : "") +
                          ": most players read the first one only " + pClause});
}

void CIsoReader::readImages(const Box& meta)
{
    auto tracksDone = m_output.exchangeDone({});
    if (deliverImageItems(m_output, m_source, meta, m_ulFileBegin) && ++m_uiMetas == 2)
        tellSecond("meta", meta, "[14496-12 8.11.1]");
    (void)m_output.exchangeDone(std::move(tracksDone)); // the items' list is not needed any more
}

CIsoReader::EGoOn CIsoReader::readBox(const Box& box)
{
    switch (box.uiType) {
    case fourCC("ftyp"):
        if (m_uiMovies != 0 || m_uiMetas != 0)
            m_ulFileBegin = box.ulOffset;
        return EGoOn::Yes;
    case fourCC("moov"):
        if (!holdAhead(box, "moov"))
            return EGoOn::No;
        if (m_ulEarlyFragment && !m_bMovie)
            tell(ESeverity::Error,
                 "moof",
                 m_ulEarlyFragment,
                 "stands in front of the moov that describes its samples: it is not read");
        if (++m_uiMovies == 2)
            tellSecond("moov", box, "[14496-12 8.2.1]");
        readMovie(m_source, box, true);
        return EGoOn::Yes;
    case fourCC("moof"):
        if (m_tracks.empty() && !m_bMovie && !std::exchange(m_bFragments, true))
            m_ulEarlyFragment = box.ulOffset;
        m_bFragments = true;
        if (m_tracks.empty())
            return EGoOn::Yes;
        if (!holdAhead(box, "moof"))
            return EGoOn::No;
        deliverFragment(m_output, m_source, box, m_tracks);
        return EGoOn::Yes;
    case fourCC("meta"):
        if (!holdAhead(box, "meta"))
            return EGoOn::No;
        readImages(box);
        return EGoOn::Yes;
    case fourCC("mdat"):
        m_bMediaData = true;
        if (m_source.isForwardOnly() && !m_bMovie && !m_bFragments && m_uiMetas == 0) {
            tell(ESeverity::Error,
                 "mdat",
                 box.ulOffset,
                 "stands in front of the moov, and a stream cannot be read backwards; save it as a file first");
            return EGoOn::No;
        }
        return EGoOn::Yes;
    default:
        return EGoOn::Yes;
    }
}

bool CIsoReader::allDone() const
{
    if (!m_output.isHead() || !m_bMovie)
        return false;
    // Without fragments all of a track has been read with the moov.
    return std::all_of(m_tracks.begin(), m_tracks.end(), [this](const MovieTrack& track) {
        return !track.isH265() || !m_bMovieFragments || m_output.isTrackDone(track.uiTrack);
    });
}

void CIsoReader::tellWhatIsMissing()
{
    if (m_bMovie || m_uiMetas != 0)
        return;
    if (m_bFragments)
        tell(ESeverity::Error,
             "moof",
             std::nullopt,
             "media segments without the moov of their initialisation segment; give it with --init FILE");
    else
        tell(ESeverity::Error,
             "moov",
             m_source.size(),
             m_bMediaData
                 ? "is missing: the file was not finished, or ends early; nothing in mdat can be found without it"
                 : "is missing: there are no tracks and no images");
}

void CIsoReader::read()
{
    CBoxWalk walk(m_source, m_output);
    while (const auto box = walk.next()) {
        if (readBox(*box) == EGoOn::No)
            return;
        if (m_output.isStopped() || allDone())
            return;
    }
    if (!m_output.isStopped())
        tellWhatIsMissing();
}

} // namespace

void readIsoBaseMedia(CRandomSource& source, const ContainerOptions& options, CContainerSink& sink,
                      CRandomSource* pInit)
{
    CUnitOutput output(sink, options);
    CIsoReader reader(source, output);
    if (pInit != nullptr)
        reader.readInit(*pInit);
    reader.read();
    output.finish();
}

} // namespace h265_container
