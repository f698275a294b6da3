#include "FileRun.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "ByteSource.h"
#include "ErrorLine.h"
#include "FailureReason.h"
#include "FormattedText.h"
#include "InputStream.h"
#include "MemoryRefusals.h"
#include "SetNames.h"
#include "StreamLooks.h"
#include "TextOutput.h"

namespace h265ps {

using namespace h265_stream;

namespace {

// So many slices of another format in the guise of parameter sets, and none of layer 0 among them, leave no doubt.
constexpr std::size_t ENOUGH_HELD = 1000;

// Their bytes. Real sets are small; what is larger has no syntax then.
constexpr std::size_t MAX_HELD_BYTES = std::size_t{16} << 20;

std::string lineOf(std::string_view kind, std::string_view message)
{
    return formatted("h265ps: {}: {}\n", kind, printable(std::string(message)));
}

// Why a stream that was read to its end had no parameter set.
std::string emptyReason(const StreamSummary& summary, bool bText)
{
    if (summary.ulNalUnits == 0)
        return bText ? "no start code in it: it looks like a text file, not like an Annex B byte stream"
                     : "no start code (00 00 01) in it: not an Annex B byte stream";
    return formatted("no parameter set in it: {} NAL unit{}, no VPS, SPS or PPS",
                     summary.ulNalUnits,
                     summary.ulNalUnits == 1 ? "" : "s");
}

} // namespace

// Passes a source on, knows what was taken from it, and tells the report when it stalls.
class CFileRun::CWatchedSource : public CByteSource
{
public:
    CWatchedSource(CByteSource& source, CFileRun& run) : m_source(source), m_run(run) {}

    std::span<const unsigned char> next() override
    {
        if (m_run.m_bBegun && m_source.stalls())
            m_run.m_report.stall();
        if (!m_run.m_held.empty())
            (void)isMpegVideo();
        m_mpegSearch.keepEnd(m_piece);
        m_piece = m_source.next();
        m_bJudged = false;
        m_run.m_ulTaken += m_piece.size();
        return m_piece;
    }
    std::span<const unsigned char> head() override { return m_source.head(); }

    // Judged by the pieces behind the first set that is held back, up to the one that is being read.
    bool isMpegVideo()
    {
        m_bMpegVideo = m_bMpegVideo || (!m_bJudged && m_mpegSearch.isIn(m_piece));
        m_bJudged = true;
        return m_bMpegVideo;
    }

private:
    CByteSource& m_source;
    CFileRun& m_run;
    std::span<const unsigned char> m_piece;
    CMpegSequenceSearch m_mpegSearch;
    bool m_bJudged = false; // the piece was
    bool m_bMpegVideo = false;
};

CFileRun::CFileRun(const Options& options, COutputStream& output, CReport& report)
    : m_options(options), m_output(output), m_report(report), m_stream(options.stream),
      m_verdict(options.stream.eReader)
{}

EExitCode CFileRun::run(const std::string& file)
{
    return runGuarded(file, [this] { return readFile(); });
}

EExitCode CFileRun::run(const GivenSets& sets)
{
    return runGuarded(sets.name, [&] { return readText(sets); });
}

EExitCode CFileRun::runGuarded(const std::string& file, const std::function<EExitCode()>& read)
{
    m_firstVerdict.reset();
    m_ulTaken = 0;
    m_bOutOfMemory = false;
    m_bBegun = false;
    m_bUnknown = false;
    m_bRead = false;
    m_interruption.reset();
    try {
        m_file = file;
        const EExitCode eExitCode = read();
        if (m_bOutOfMemory || wasMemoryRefused())
            return failForMemory(file);
        m_bRead = !m_interruption && !m_bUnknown;
        return eExitCode;
    } catch (const CSourceError& error) {
        return fail(error.offset(), inSentence(error.what()));
    } catch (const std::bad_alloc&) {
        return failForMemory(file);
    } catch (const std::exception& error) {
        return fail(std::nullopt, error.what());
    }
}

EExitCode CFileRun::readFile()
{
    m_iStart = m_file == "-" ? ::lseek(STDIN_FILENO, 0, SEEK_CUR) : 0;
    std::unique_ptr<CByteSource> pSource = open();
    m_kind = kindOf(*pSource);
    if (pSource->head().empty())
        return fail(std::nullopt, "the file is empty");
    if (!h265_inspect::hasTracks(m_kind.eKind)) {
        if (const auto reason = foreignReason(m_kind, pSource->head()))
            return fail(0, *reason);
        if (!m_options.init.empty())
            return fail(std::nullopt, "--init is for media segments (MP4), and this is a byte stream");
    }
    const EPace ePace = pSource->size() ? EPace::Whole : EPace::AsItComes;
    const EExitCode eExitCode = readOnce(std::move(pSource), ePace);
    if (!m_bAgain)
        return eExitCode;
    if (m_file == "-" && ::lseek(STDIN_FILENO, m_iStart, SEEK_SET) < 0)
        throw CSourceError(std::generic_category().message(errno), 0);
    m_firstVerdict = m_verdict;
    pSource = open();
    (void)kindOf(*pSource); // for its head
    return std::max(eExitCode, readOnce(std::move(pSource), EPace::Again));
}

EExitCode CFileRun::readOnce(std::unique_ptr<CByteSource> pSource, EPace ePace)
{
    return h265_inspect::hasTracks(m_kind.eKind) ? readTracks(std::move(pSource), ePace) : readAs(*pSource, ePace);
}

std::unique_ptr<CByteSource> CFileRun::open() const
{
    try {
        return openByteSource(m_file);
    } catch (const CSourceError& error) {
        throw std::runtime_error(inSentence(error.what()));
    }
}

void CFileRun::beginReading(EPace ePace)
{
    m_ePace = ePace;
    m_verdict = CFileVerdict(m_options.stream.eReader);
    m_interruption.reset();
    m_ulTaken = 0;
    m_bBegun = false;
    m_bAgain = false;
}

EExitCode CFileRun::readAs(CByteSource& source, EPace ePace)
{
    beginReading(ePace);
    m_foreign.reset();
    m_held.clear();
    m_uiHeldBytes = 0;
    m_inspector.emplace(m_options.inspect);
    m_bHolding = true;
    m_bResemblesH264 = resemblesH264(source.head());
    CWatchedSource watched(source, *this);
    const StreamSummary summary = readStream(watched);
    if (m_bHolding && !m_held.empty() && watched.isMpegVideo())
        m_foreign = MPEG_VIDEO;
    else if (m_bHolding && m_bResemblesH264)
        m_foreign = RAW_H264;
    if (m_foreign)
        return fail(0, formatted("not an Annex B byte stream of H.265: it looks like {}", *m_foreign));
    if (m_bHolding)
        (void)showHeld();
    if (m_bBegun)
        return closeReport(summary);
    if (m_bOutOfMemory)
        return EXIT_FILE_ERROR;
    return fail(summary.ulBytes, m_interruption ? *m_interruption : emptyReason(summary, looksLikeText(source.head())));
}

// Whatever ends the reading, what was read counts.
void CFileRun::readGuarded(const std::function<void()>& read)
{
    try {
        read();
    } catch (const CSourceError& error) {
        m_interruption = inSentence(error.what());
    } catch (const std::bad_alloc&) {
        m_bOutOfMemory = true; // told at the end, without memory
        m_interruption = "out of memory, what follows is not read";
    } catch (const std::exception& error) {
        m_interruption = error.what();
    }
}

StreamSummary CFileRun::readStream(CWatchedSource& source)
{
    std::optional<StreamSummary> summary;
    readGuarded([&] {
        summary = m_stream.read(
            source,
            [&](const ParameterSetEvent& event) { return take(event, source); },
            [&](const NalUnit& unit) { takeOther(unit); },
            m_options.bHead);
    });
    if (!summary)
        summary.emplace().ulBytes = m_ulTaken;
    return *summary;
}

EExitCode CFileRun::closeReport(const StreamSummary& summary)
{
    CVerdict& verdict = m_verdict.stream();
    if (m_interruption) {
        verdict.interrupt(*m_interruption);
        if (!m_bOutOfMemory)
            fail(summary.ulBytes, *m_interruption);
    } else if (!summary.bStopped) { // else nobody reads the output
        h265_inspect::FileTrackEnd end{summary, {}};
        for (const StalePps& stale : summary.stale)
            end.stalePlaces.push_back(h265_inspect::placeInStream(stale.ulSpsOffset));
        verdict.end(end);
        m_inspector->onEnd();
        tellSetFindings();
        if (m_options.bDecoder)
            tellEnd(verdict, "");
    }
    m_bAgain = !m_report.end(m_verdict, summary.ulBytes);
    return m_report.exitCode(m_verdict);
}

// What the stream lacks, known at its end.
void CFileRun::tellEnd(const CVerdict& verdict, const std::string& track)
{
    if (const std::string missing = verdict.missing(); !missing.empty())
        failAt(track, "cannot be decoded: " + missing);
    for (const StaleSet& stale : verdict.stale())
        tell("warning", track, textOf(stale) + ": still of the old SPS");
}

bool CFileRun::take(const ParameterSetEvent& event, CWatchedSource& source)
{
    if (!m_bHolding || !event.bPassedOver)
        return showHeld() && show(event);
    hold(event);
    if (source.isMpegVideo())
        m_foreign = MPEG_VIDEO;
    else if (m_held.size() == ENOUGH_HELD && m_bResemblesH264)
        m_foreign = RAW_H264;
    if (m_foreign)
        return false;
    return m_held.size() < ENOUGH_HELD || showHeld();
}

// Slices tell which sets are in use. What stands behind sets that are held back cannot be told yet.
void CFileRun::takeOther(const NalUnit& unit)
{
    if (!m_held.empty())
        return;
    m_inspector->onOtherUnit(unit);
    if (m_bBegun)
        tellSetFindings();
}

void CFileRun::tellSetFindings()
{
    for (const h265_syntax::SetFinding& finding : m_inspector->newSetFindings())
        m_report.addFinding(fileFinding(finding, h265_inspect::placeInStream(finding.ulOffset)));
    m_verdict.stream().count(m_inspector->counts());
}

// With the bytes, as many as there is room for.
void CFileRun::hold(const ParameterSetEvent& event)
{
    Held held{event, {}};
    if (m_uiHeldBytes + event.bytes.size() <= MAX_HELD_BYTES)
        held.bytes.assign(event.bytes.begin(), event.bytes.end());
    m_uiHeldBytes += held.bytes.size();
    m_held.push_back(std::move(held));
}

bool CFileRun::showHeld()
{
    m_bHolding = false;
    bool bGoOn = true;
    for (Held& held : std::exchange(m_held, {})) {
        held.event.bytes = held.bytes;
        bGoOn = bGoOn && show(held.event);
    }
    return bGoOn;
}

bool CFileRun::show(const ParameterSetEvent& event)
{
    using h265_inspect::placeInStream;
    const h265_inspect::InspectedSet set = m_inspector->onSet(event);
    h265_inspect::FileSet told{event, set, placeInStream(event.ulOffset), std::nullopt, std::nullopt};
    if (event.ulSameAs)
        told.sameAs = placeInStream(*event.ulSameAs);
    if (event.ulReadAt)
        told.readAt = placeInStream(*event.ulReadAt);
    return showSet(told, m_verdict.stream(), m_inspector->counts());
}

void CFileRun::beginReport()
{
    if (!m_bBegun)
        m_report.begin(m_file, m_ePace == EPace::Again ? *m_firstVerdict : m_verdict, m_ePace);
    m_bBegun = true;
}

bool CFileRun::showSet(const h265_inspect::FileSet& told, CVerdict& verdict, const h265_inspect::StreamCounts& counts)
{
    const ParameterSetEvent& event = told.event;
    verdict.add(told, counts);
    beginReport();
    m_report.add(told, m_options.shows(event));
    if (!told.place.ulTrack)
        tellSetFindings();
    if (!m_options.bDecoder || !isFailure(event) || event.bRepeat || event.bSeenBefore)
        return !m_output.failed();
    if (verdict.isAlone() && event.missingSps)
        tell("warning",
             atPlace(told.place),
             formatted("{}: {}; its syntax is shown alone",
                       nameOf(event),
                       failureReason(event, m_options.stream.eReader).text()));
    else
        failAt(atPlace(told.place),
               formatted("{} {}: {}",
                         nameOf(event),
                         isNotRead(event) ? "not read" : "not supported",
                         failureReason(event, m_options.stream.eReader).text()));
    return !m_output.failed();
}

// Without any memory, whatever the report makes of what it has.
EExitCode CFileRun::failForMemory(std::string_view file) const noexcept
{
    CErrorLine() << file << ": at byte " << m_ulTaken << ": out of memory, not all of it is shown";
    (void)wasMemoryRefused(); // it has been told
    return EXIT_FILE_ERROR;
}

EExitCode CFileRun::fail(std::optional<std::uint64_t> ulOffset, std::string_view reason)
{
    return failAt(ulOffset ? formatted("at byte {}", *ulOffset) : "", reason);
}

EExitCode CFileRun::failAt(const std::string& place, std::string_view reason)
{
    tell("error", place, reason);
    return EXIT_FILE_ERROR;
}

void CFileRun::tell(std::string_view kind, const std::string& place, std::string_view reason)
{
    const std::string line = lineOf(kind, formatted("{}: {}{}{}", m_file, place, place.empty() ? "" : ": ", reason));
    if (m_bBegun)
        m_report.error(line);
    else
        m_report.errorOutside(line);
}

int runFiles(const Options& options, COutputStream& output, CReport& report)
{
    CFileRun fileRun(options, output, report);
    int iExitCode = EXIT_ALL_READ;
    for (const GivenSets& sets : options.sets)
        iExitCode = std::max<int>(iExitCode, fileRun.run(sets));
    for (const std::string& file : options.files) {
        iExitCode = std::max<int>(iExitCode, fileRun.run(file));
        if (output.failed())
            break;
    }
    return iExitCode;
}

} // namespace h265ps
