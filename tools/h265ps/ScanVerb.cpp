#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "ErrorLine.h"
#include "FileRun.h"
#include "FolderWalk.h"
#include "FormattedText.h"
#include "Options.h"
#include "ScanProgress.h"
#include "ScanReport.h"
#include "TextOutput.h"
#include "Verbs.h"
#include "WorkerPool.h"

namespace h265ps {

namespace {

constexpr VerbUsage SCAN_USAGE = {"h265ps scan",
                                  "One line for each H.265 stream in many files and folders.",
                                  R"(
Examples:
  h265ps scan movies                       a table of all that is in the folder
  h265ps scan --json movies > movies.json  a JSON document a line, one for each track
  h265ps scan --head /archive              up to the first picture of each track only

The columns are the cropped size, frame rate (of VUI or VPS), profile, level, codecs
parameter, bit depth, colour, tiles (columns x rows), the number of VPSs, SPSs and PPSs,
and how many errors and warnings h265ps check has. Folders are gone through by name;
links are followed, each folder once. FIFOs, sockets and devices are passed over.

Files are read by several processes at a time (--jobs). The lines come in the order of
the files all the same. Files that are no H.265 are named behind the last line, on
standard error.

Exit codes:
  0  every file could be read
  2  a file or folder could not be read (to its end), wrong usage, or output that cannot
     be written)"};

constexpr unsigned MAX_JOBS = 1024;
constexpr std::size_t MAX_AHEAD = 100'000;                      // files that the walk is ahead of the workers
constexpr std::uint64_t MAX_WAITING = 4096;                     // answers that wait for one in front of them
constexpr std::size_t MAX_BATCH = 16;                           // files that a worker is given at once
constexpr std::size_t MAX_BATCH_BYTES = 32U << 10;              // of their names: less than a pipe holds
constexpr std::size_t MAX_OTHERS_BYTES = std::size_t{16} << 20; // names of files that are no H.265

// What a worker answers: a letter, lines for standard output, a zero byte, lines for standard error.
enum EAnswer : char
{
    ANSWER_LINES = 'L', // and there may be error lines too
    ANSWER_OTHER = 'O', // no H.265: the error line says what it is
    ANSWER_FAILED = 'F' // not read, or not to its end
};

struct ScanArguments
{
    Options options;
    std::size_t uiJobs = std::max(1U, std::thread::hardware_concurrency());
};

void declareOptions(CCommandLine& commandLine, ScanArguments& arguments)
{
    commandLine.addWords("FILE", "Files and folders; - is standard input", arguments.options.files);
    addJson(commandLine, arguments.options);
    addReading(commandLine, arguments.options);
    commandLine.addNumber({"--jobs", "N", "Processes that read files at a time (default: one for each core)"},
                          1,
                          MAX_JOBS,
                          [&arguments](unsigned uiJobs) { arguments.uiJobs = uiJobs; });
}

// The signals that end a program: the first one ends the scan between two lines, another of its kind the program.
class CInterruption
{
public:
    CInterruption()
    {
        if (::pipe(m_aiWakeUp.data()) != 0)
            throw std::system_error(errno, std::generic_category(), "no pipe");
        for (const int iFile : m_aiWakeUp)
            (void)::fcntl(iFile, F_SETFL, ::fcntl(iFile, F_GETFL) | O_NONBLOCK);
        g_iWakeUp = m_aiWakeUp[1];
        for (const int iSignal : {SIGHUP, SIGINT, SIGTERM}) {
            struct sigaction action = {};
            if (::sigaction(iSignal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
                continue;
            action = {};
            action.sa_handler = note;
            action.sa_flags = static_cast<int>(SA_RESETHAND);
            (void)::sigaction(iSignal, &action, nullptr);
        }
    }

    [[nodiscard]] static int signal() noexcept { return g_iSignal; }
    [[nodiscard]] int wakeUp() const noexcept { return m_aiWakeUp[0]; }

private:
    static void note(int iSignal)
    {
        const int iErrno = errno;
        g_iSignal = iSignal;
        (void)!::write(g_iWakeUp, "", 1);
        errno = iErrno;
    }

    static inline volatile std::sig_atomic_t g_iSignal = 0;
    static inline volatile std::sig_atomic_t g_iWakeUp = -1;
    std::array<int, 2> m_aiWakeUp{};
};

// Reads one file after another, in a worker.
class CFileScan
{
public:
    explicit CFileScan(const Options& options) : m_report(options.bJson), m_run(options, m_output, m_report) {}

    std::string operator()(const std::string& file)
    {
        const EExitCode eExitCode = m_run.run(file);
        const std::string lines = m_report.takeLines();
        const bool bOther = lines.empty() && eExitCode != EXIT_ALL_READ && m_run.wasRead();
        const char cAnswer = bOther ? ANSWER_OTHER : eExitCode == EXIT_FILE_ERROR ? ANSWER_FAILED : ANSWER_LINES;
        return cAnswer + lines + '\0' + m_report.takeErrors();
    }

private:
    COutputStream m_output{-1, {}}; // nothing is written to it
    CScanReport m_report;
    CFileRun m_run;
};

class CScan
{
public:
    CScan(const ScanArguments& arguments, COutputStream& output)
        : m_options(arguments.options), m_uiJobs(arguments.uiJobs), m_output(output), m_walk(arguments.options.files),
          m_pool(arguments.uiJobs, [this](const std::string& file) { return read(file); })
    {}

    int run()
    {
        while (!isDone() && CInterruption::signal() == 0 && !m_output.failed()) {
            walkOn();
            giveTasks();
            m_pool.wait(
                patience(), m_interruption.wakeUp(), [this](std::uint64_t ulTask, std::string answer, bool bLost) {
                    take(ulTask, std::move(answer), bLost);
                });
            tell();
        }
        m_progress.hide();
        if (CInterruption::signal() == 0 && !m_output.failed())
            tellOthers();
        return m_iExitCode;
    }

private:
    std::string read(const std::string& file)
    {
        if (!m_fileScan)
            m_fileScan.emplace(m_options);
        return (*m_fileScan)(file);
    }

    [[nodiscard]] bool isDone() const { return m_bWalked && m_ahead.empty() && !m_pool.isBusy() && m_answers.empty(); }

    // Milliseconds that there is nothing else to do for.
    [[nodiscard]] int patience() const
    {
        constexpr int TICK = 100; // of the progress
        if ((!m_bWalked && m_ahead.size() < MAX_AHEAD) || !m_pool.isBusy())
            return 0;
        return m_progress.isWanted() ? TICK : -1;
    }

    // Ahead of the workers, which gives the number of files soon, too.
    void walkOn()
    {
        constexpr std::size_t STEP = 256;
        for (std::size_t i = 0; i < STEP && !m_bWalked && m_ahead.size() < MAX_AHEAD; ++i) {
            if (std::optional<WalkedFile> file = m_walk.next())
                m_ahead.push_back(*std::move(file));
            else
                m_bWalked = true;
        }
    }

    void giveTasks()
    {
        while (!m_ahead.empty() && m_ulNext - m_ulTold < MAX_WAITING) {
            if (!m_ahead.front().error.empty()) {
                const std::string line =
                    formatted("h265ps: error: {}: {}\n", printable(m_ahead.front().path), m_ahead.front().error);
                m_answers.emplace(m_ulNext++, std::string{ANSWER_FAILED, '\0'} + line);
                m_ahead.pop_front();
                continue;
            }
            if (!m_pool.hasIdle())
                return;
            // Few files are spread over all workers.
            const std::size_t uiMost = std::clamp<std::size_t>(m_ahead.size() / (4 * m_uiJobs), 1, MAX_BATCH);
            std::vector<std::string> tasks;
            for (std::size_t uiBytes = 0; tasks.size() < uiMost && !m_ahead.empty() && m_ahead.front().error.empty();) {
                uiBytes += m_ahead.front().path.size();
                if (uiBytes > MAX_BATCH_BYTES && !tasks.empty())
                    break;
                tasks.push_back(std::move(m_ahead.front().path));
                m_ahead.pop_front();
            }
            const std::uint64_t ulFirst = m_ulNext;
            m_ulNext += tasks.size();
            m_pool.give(ulFirst, tasks);
        }
    }

    void take(std::uint64_t ulTask, std::string answer, bool bLost)
    {
        if (bLost)
            answer = std::string{ANSWER_FAILED, '\0'} + "h265ps: error: " + printable(answer) + "\n";
        m_answers.emplace(ulTask, std::move(answer));
    }

    // What has come, as far as nothing is missing in front of it.
    void tell()
    {
        const std::uint64_t ulBefore = m_ulTold;
        for (auto answer = m_answers.begin(); answer != m_answers.end() && answer->first == m_ulTold;
             answer = m_answers.erase(answer)) {
            ++m_ulTold;
            tell(answer->second);
        }
        if (m_ulTold != ulBefore && m_bTerminal)
            m_output.flush();
        m_progress.show(m_ulTold, m_bWalked ? std::optional(m_ulNext + m_ahead.size()) : std::nullopt);
    }

    void tell(const std::string& answer)
    {
        const std::size_t uiZero = answer.find('\0');
        const std::string_view lines = std::string_view(answer).substr(1, uiZero - 1);
        const std::string_view errors = std::string_view(answer).substr(uiZero + 1);
        if (answer[0] == ANSWER_OTHER)
            return addOther(errors);
        if (answer[0] == ANSWER_FAILED)
            m_iExitCode = EXIT_FILE_ERROR;
        if (!lines.empty()) {
            if (m_bTerminal)
                m_progress.hide();
            if (!m_options.bJson && !std::exchange(m_bHeading, true))
                m_output.append(scanHeading());
            m_output.append(lines);
        }
        if (!errors.empty()) {
            m_progress.hide();
            writeLine(errors, m_output);
        }
    }

    // The error lines that it would have been told with.
    void addOther(std::string_view errors)
    {
        constexpr std::string_view FRONT = "h265ps: error: ";
        ++m_ulOthers;
        if (m_others.size() > MAX_OTHERS_BYTES)
            return;
        if (errors.starts_with(FRONT))
            errors.remove_prefix(FRONT.size());
        m_others += "h265ps: no H.265: ";
        m_others += errors.substr(0, errors.find('\n'));
        m_others += '\n';
        ++m_ulOthersKept;
    }

    void tellOthers()
    {
        m_output.flush();
        std::string text = std::move(m_others);
        if (m_ulOthers != m_ulOthersKept)
            text += formatted("h265ps: no H.265: {} more files\n", m_ulOthers - m_ulOthersKept);
        if (const std::uint64_t ulPassed = m_walk.passedOver(); ulPassed != 0)
            text += formatted(
                "h265ps: passed over: {} that {} neither file nor folder\n", ulPassed, ulPassed == 1 ? "is" : "are");
        writeLine(text, m_output);
    }

    const Options& m_options;
    const std::size_t m_uiJobs;
    COutputStream& m_output;
    CFolderWalk m_walk;
    CInterruption m_interruption;
    std::optional<CFileScan> m_fileScan; // of a worker
    CWorkerPool m_pool;
    CScanProgress m_progress;
    const bool m_bTerminal = ::isatty(STDOUT_FILENO) != 0;
    std::deque<WalkedFile> m_ahead;
    bool m_bWalked = false;
    std::uint64_t m_ulNext = 0; // number of the next file that is given
    std::uint64_t m_ulTold = 0;
    std::map<std::uint64_t, std::string> m_answers; // that wait for those in front of them
    bool m_bHeading = false;
    std::string m_others; // lines about files that are no H.265
    std::uint64_t m_ulOthers = 0;
    std::uint64_t m_ulOthersKept = 0;
    int m_iExitCode = EXIT_ALL_READ;
};

} // namespace

int runScan(std::span<char* const> arguments, COutputStream& output)
{
    ScanArguments wanted;
    CCommandLine commandLine(SCAN_USAGE);
    declareOptions(commandLine, wanted);
    if (const std::optional<EarlyEnd> end = parseFiles(commandLine, arguments, wanted.options))
        return endEarly(*end, output);
    wanted.options.bDecoder = false;
    const int iExitCode = CScan(wanted, output).run();
    if (const int iSignal = CInterruption::signal(); iSignal != 0) {
        output.flush();
        (void)std::signal(iSignal, SIG_DFL);
        (void)std::raise(iSignal);
    }
    return iExitCode;
}

} // namespace h265ps
