#include <algorithm>
#include <cctype>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include <unistd.h>

#include "FileRun.h"
#include "FormattedText.h"
#include "SetNames.h"

namespace h265ps {

using namespace h265_container;
using namespace h265_inspect;
using h265_stream::CByteSource;
using h265_stream::CSourceError;

// A pipe: knows what was taken from it, and tells the report when it stalls.
class CFileRun::CStallingSource : public CByteSource
{
public:
    CStallingSource(std::unique_ptr<CByteSource> pSource, CFileRun& run) : m_pSource(std::move(pSource)), m_run(run) {}

    std::span<const unsigned char> next() override
    {
        if (m_run.m_bBegun && m_pSource->stalls())
            m_run.m_report.stall();
        const std::span<const unsigned char> piece = m_pSource->next();
        m_run.m_ulTaken += piece.size();
        return piece;
    }
    std::span<const unsigned char> head() override { return m_pSource->head(); }

private:
    std::unique_ptr<CByteSource> m_pSource;
    CFileRun& m_run;
};

// Shows the tracks of a file.
class CFileRun::CTracks : public CFileSink
{
public:
    explicit CTracks(CFileRun& run) : m_run(run) {}

    void onTrack(const ContainerTrack& track) override
    {
        m_run.m_verdict.addTrack(track);
        if (!track.bIsH265)
            return;
        m_run.beginReport();
        for (const FileFinding& finding : std::exchange(m_early, {}))
            m_run.m_report.addFinding(finding);
    }

    bool onSet(const FileTrack& track, const FileSet& set) override
    {
        return m_run.showSet(set, m_run.m_verdict.of(track.info), track.counts);
    }

    void onFinding(const FileTrack* pTrack, const FileFinding& finding) override
    {
        if (finding.set.empty())
            m_run.m_verdict.addFinding(finding);
        if (pTrack != nullptr)
            m_run.m_verdict.of(pTrack->info).count(pTrack->counts);
        if (m_run.m_bBegun)
            m_run.m_report.addFinding(finding);
        else
            m_early.push_back(finding);
        if (!finding.bUnread)
            return;
        m_bUnread = true;
        m_run.fail(finding.ulOffset,
                   finding.box.empty() ? finding.finding.message : finding.box + ": " + finding.finding.message);
    }

    void onTrackEnd(const FileTrack& track, const FileTrackEnd& end) override
    {
        CVerdict& verdict = m_run.m_verdict.of(track.info);
        verdict.count(track.counts);
        verdict.end(end);
        if (m_run.m_options.bDecoder)
            m_run.tellEnd(verdict, formatted("{} {}", track.info.holder, track.info.ulTrack));
    }

    /// An error line says that something was not read.
    [[nodiscard]] bool hasUnread() const { return m_bUnread; }

private:
    CFileRun& m_run;
    std::vector<FileFinding> m_early; // in front of the first track of H.265; bounded by who finds them
    bool m_bUnread = false;
};

namespace {

// "track 1, avc1 (video); track 2, mp4a (audio)"
std::string tracksOf(const CFileVerdict& verdict)
{
    constexpr std::size_t MOST = 8;
    std::string text;
    std::size_t uiTracks = 0;
    for (const TrackVerdict& track : verdict.tracks()) {
        if (++uiTracks <= MOST)
            text += formatted("{}{} ({})", text.empty() ? "" : "; ", nameOf(track.info), kindOf(track.info));
    }
    if (uiTracks > MOST)
        text += formatted("; and {} more", uiTracks - MOST);
    return text.empty() ? "it has no tracks" : "it has " + text;
}

// One of H.265 that is passed over; null when there is none.
const TrackVerdict* unreadTrack(const CFileVerdict& verdict)
{
    const auto found =
        std::ranges::find_if(verdict.tracks(), [](const TrackVerdict& track) { return track.info.bUnreadH265; });
    return found == verdict.tracks().end() ? nullptr : &*found;
}

// Why there is none of H.265, in a file that was read.
std::string noTrackReason(const CFileVerdict& verdict)
{
    const TrackVerdict* const pUnread = unreadTrack(verdict);
    if (pUnread == nullptr)
        return "no track of H.265 in it: " + tracksOf(verdict);
    return formatted("no track of H.265 in it that can be read: {} {}: {}",
                     pUnread->info.holder,
                     pUnread->info.ulTrack,
                     pUnread->info.reason);
}

// A track that is cut short does not.
bool saysWhatItHolds(const CFileVerdict& verdict)
{
    return !verdict.tracks().empty() &&
           std::ranges::none_of(verdict.tracks(), [](const TrackVerdict& track) { return track.info.codec.empty(); });
}

// Digits of base64 are all bytes, those of hexadecimal among them.
bool isHexInBase64(const std::string& text, ETextForm eForm)
{
    return eForm == ETextForm::Base64 && std::ranges::all_of(text, [](unsigned char c) {
               return std::isxdigit(c) != 0 || std::isspace(c) != 0 || c == ',';
           });
}

// All of it, as far as it is read as text.
std::string standardInput()
{
    const std::unique_ptr<CByteSource> pSource = h265_stream::openByteSource("-");
    std::string text;
    for (auto piece = pSource->next(); !piece.empty() && text.size() <= MAX_SET_TEXT_BYTES; piece = pSource->next())
        text.append(piece.begin(), piece.end());
    return text;
}

} // namespace

std::unique_ptr<CRandomSource> CFileRun::openTracks(std::unique_ptr<CByteSource> pSource)
{
    if (!pSource->size())
        return makeForwardSource(std::make_unique<CStallingSource>(std::move(pSource), *this));
    pSource.reset();
    if (m_file == "-" && ::lseek(STDIN_FILENO, m_iStart, SEEK_SET) < 0)
        throw CSourceError(std::generic_category().message(errno), 0);
    return openRandomSource(m_file);
}

std::unique_ptr<CRandomSource> CFileRun::openInit() const
{
    if (m_options.init.empty())
        return nullptr;
    if (m_kind.eKind != EFileKind::IsoBaseMedia)
        throw std::runtime_error("--init is for media segments (MP4), and this looks like " + std::string(m_kind.name));
    const std::string init = "--init " + m_options.init + ": ";
    try {
        std::unique_ptr<CRandomSource> pInit = openRandomSource(m_options.init);
        std::vector<unsigned char> head(FILE_KIND_BYTES);
        head.resize(pInit->read(0, head));
        if (head.empty())
            throw std::runtime_error(init + "the file is empty");
        if (const FileKind kind = fileKind(head); kind.eKind != EFileKind::IsoBaseMedia)
            throw std::runtime_error(init + "is no initialisation segment (MP4)" +
                                     (kind.name.empty() ? "" : ": it looks like " + std::string(kind.name)));
        return pInit;
    } catch (const CSourceError& error) {
        throw std::runtime_error(init + error.what());
    }
}

EExitCode CFileRun::readTracks(std::unique_ptr<CByteSource> pSource, EPace ePace)
{
    beginReading(ePace);
    const std::unique_ptr<CRandomSource> pInit = openInit();
    const std::unique_ptr<CRandomSource> pFile = openTracks(std::move(pSource));
    CTracks tracks(*this);
    const FileOptions options{m_options.stream, m_options.inspect, m_options.bHead, pInit.get()};
    readGuarded([&] { readFileTracks(m_kind.eKind, *pFile, options, tracks); });
    return closeTracks(tracks, pFile->size().value_or(m_ulTaken));
}

EExitCode CFileRun::readText(const GivenSets& sets)
{
    beginReading(EPace::Whole);
    m_kind = {};
    CTracks tracks(*this);
    const std::string text = sets.text == "-" ? standardInput() : sets.text;
    const FileOptions options{m_options.stream, m_options.inspect, m_options.bHead, nullptr};
    readGuarded([&] { readSetTracks(text, sets.eForm, options, tracks); });
    return closeTracks(
        tracks, text.size(), isHexInBase64(text, sets.eForm) ? ": it looks like hexadecimal (--hex)" : "");
}

EExitCode CFileRun::closeTracks(const CTracks& tracks, std::uint64_t ulBytes, const std::string& hint)
{
    if (m_interruption) {
        m_verdict.interrupt(*m_interruption);
        if (!m_bOutOfMemory)
            fail(ulBytes, *m_interruption);
    } else if (!m_bBegun && !tracks.hasUnread()) {
        fail(std::nullopt, noTrackReason(m_verdict));
    }
    m_bUnknown =
        !m_bBegun && (unreadTrack(m_verdict) != nullptr || (tracks.hasUnread() && !saysWhatItHolds(m_verdict)));
    if (!m_bBegun)
        return EXIT_FILE_ERROR;
    if (!m_interruption && m_verdict.failEmpty() && !tracks.hasUnread())
        fail(std::nullopt, NO_SET + hint);
    m_bAgain = !m_report.end(m_verdict, ulBytes);
    return m_report.exitCode(m_verdict);
}

} // namespace h265ps
