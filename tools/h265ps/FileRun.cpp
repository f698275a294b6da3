#include "FileRun.h"

#include <cstdio>
#include <exception>
#include <new>
#include <utility>

#include <unistd.h>

#include <fmt/format.h>

#include "ByteSource.h"
#include "FailureReason.h"
#include "SetNames.h"
#include "StreamLooks.h"
#include "TextOutput.h"

namespace h265ps {

using namespace h265_stream;

namespace {

// So many slices of H.264 in the guise of parameter sets, and none of layer 0 among them, leave no doubt.
constexpr std::size_t ENOUGH_HELD = 1000;

// Passes a source on, counts what was taken from it, and has what was found shown before it is waited for.
class CCountingSource : public CByteSource
{
public:
    CCountingSource(CByteSource& source, std::uint64_t& ulTaken, COutputStream& output)
        : m_source(source), m_ulTaken(ulTaken), m_output(output)
    {}

    std::span<const unsigned char> next() override
    {
        if (m_source.stalls())
            m_output.flush();
        const std::span<const unsigned char> piece = m_source.next();
        m_ulTaken += piece.size();
        return piece;
    }
    std::span<const unsigned char> head() override { return m_source.head(); }

private:
    CByteSource& m_source;
    std::uint64_t& m_ulTaken;
    COutputStream& m_output;
};

// Why a stream that was read to its end had no parameter set.
std::string emptyReason(const StreamSummary& summary, bool bText)
{
    if (summary.ulNalUnits == 0)
        return bText ? "no start code in it: it looks like a text file, not like an Annex B byte stream"
                     : "no start code (00 00 01) in it: not an Annex B byte stream";
    return fmt::format("no parameter set in it: {} NAL unit{}, no VPS, SPS or PPS",
                       summary.ulNalUnits,
                       summary.ulNalUnits == 1 ? "" : "s");
}

} // namespace

void writeError(std::string_view message)
{
    const std::string line = "h265ps: error: " + printable(std::string(message)) + "\n";
    (void)std::fwrite(line.data(), 1, line.size(), stderr);
}

CFileRun::CFileRun(const Options& options, COutputStream& output, CReport& report)
    : m_options(options), m_output(output), m_report(report), m_stream(options.stream)
{}

EExitCode CFileRun::run(const std::string& file)
{
    m_file = file;
    m_held.clear();
    m_ulTaken = 0;
    m_bBegun = false;
    try {
        return readFile();
    } catch (const CSourceError& error) {
        return fail(error.offset(), error.what());
    } catch (const std::bad_alloc&) {
        return fail(m_ulTaken, "out of memory, what follows is not read");
    } catch (const std::exception& error) {
        return fail(m_ulTaken, error.what());
    }
}

EExitCode CFileRun::readFile()
{
    const std::unique_ptr<CByteSource> pSource = openByteSource(m_file);
    while (!looksSettled(pSource->head()) && pSource->growHead()) {
    }
    const std::span<const unsigned char> head = pSource->head();
    if (head.empty())
        return fail(0, "the file is empty");
    if (const auto format = foreignFormat(head))
        return fail(0, fmt::format("not an Annex B byte stream: it looks like {}", *format));
    const bool bText = looksLikeText(head);
    m_bHolding = resemblesH264(head);
    m_ulSize = pSource->size();
    const StreamSummary summary = readStream(*pSource);
    if (m_bHolding)
        return fail(0, "not an Annex B byte stream of H.265: it looks like a raw H.264 stream");
    if (summary.ulParameterSets == 0)
        return fail(summary.ulBytes, emptyReason(summary, bText));
    return summary.ulNotRead + summary.ulNotSupported != 0 ? EXIT_SET_FAILED : EXIT_ALL_READ;
}

// Whatever ends the reading, the report of what was read is closed.
StreamSummary CFileRun::readStream(CByteSource& source)
{
    CCountingSource counting(source, m_ulTaken, m_output);
    try {
        const StreamSummary summary =
            m_stream.read(counting, [this](const ParameterSetEvent& event) { return take(event); });
        if (m_bBegun)
            m_report.end(summary.ulBytes);
        return summary;
    } catch (...) {
        if (m_bBegun)
            m_report.end(m_ulTaken);
        throw;
    }
}

bool CFileRun::take(const ParameterSetEvent& event)
{
    if (m_bHolding && event.bPassedOver) {
        m_held.push_back(event);
        return m_held.size() < ENOUGH_HELD;
    }
    m_bHolding = false;
    for (const ParameterSetEvent& held : std::exchange(m_held, {}))
        show(held);
    return show(event);
}

bool CFileRun::show(const ParameterSetEvent& event)
{
    if (!m_bBegun)
        m_report.begin(m_file, m_ulSize);
    m_bBegun = true;
    m_report.add(event, m_options.shows(event));
    if (isFailure(event) && !event.bRepeat && !event.bSeenBefore) {
        const std::optional<unsigned> uiId = idOf(event);
        fail(event.ulOffset,
             fmt::format("{}{} {}: {}",
                         typeName(event.header.nal_unit_type),
                         uiId ? fmt::format(" {}", *uiId) : "",
                         isNotRead(event) ? "not read" : "not supported",
                         failureReason(event, m_options.stream.eReader)));
    }
    return !m_output.failed();
}

EExitCode CFileRun::fail(std::uint64_t ulOffset, std::string_view reason)
{
    // On a terminal the error comes behind what it is about.
    if (::isatty(STDOUT_FILENO) != 0)
        m_output.flush();
    writeError(fmt::format("{}: at byte {}: {}", m_file, ulOffset, reason));
    return EXIT_FILE_ERROR;
}

} // namespace h265ps
