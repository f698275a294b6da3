#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "ErrorLine.h"
#include "FileRun.h"
#include "JsonOutput.h"
#include "MemoryRefusals.h"
#include "Options.h"
#include "OutputStream.h"
#include "TextOutput.h"

namespace h265ps {

namespace {

bool wantsColour()
{
    const char* const pNoColour = std::getenv("NO_COLOR");
    const char* const pTerminal = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) != 0 && (pNoColour == nullptr || *pNoColour == '\0') &&
           (pTerminal == nullptr || std::string_view(pTerminal) != "dumb");
}

std::unique_ptr<CReport> makeReport(const Options& options, COutputStream& output)
{
    if (options.bJson)
        return std::make_unique<CJsonReport>(
            output, CJsonReport::Options{options.bAll, options.bTables, options.stream.eReader});
    return std::make_unique<CTextReport>(
        output,
        CTextReport::Options{
            options.bAll, options.files.size() > 1, options.stream.eReader, wantsColour() ? COLOURED : TextStyle{}});
}

// A file must not get the number of a standard stream that whoever started the program closed: errors would
// be written into it. /dev/null takes the place, opened so that use of the stream is still the error that
// it was: input cannot be read, nor output written.
bool openMissingStreams()
{
    constexpr std::array STREAMS = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
    return std::all_of(STREAMS.begin(), STREAMS.end(), [](int iStream) {
        const bool bMissing = ::fcntl(iStream, F_GETFD) < 0 && errno == EBADF;
        return !bMissing || ::open("/dev/null", iStream == STDIN_FILENO ? O_WRONLY : O_RDONLY) == iStream;
    });
}

// Writes what is left. A reader that has gone away is no error; anything else is.
int finish(COutputStream& output, int iExitCode)
{
    output.flush();
    if (wasMemoryRefused()) {
        writeError("out of memory: what was written can lack something");
        iExitCode = EXIT_FILE_ERROR;
    }
    if (!output.failed() || output.error() == EPIPE)
        return iExitCode;
    CErrorLine() << "standard output: " << std::strerror(output.error());
    return EXIT_FILE_ERROR;
}

int run(int argc, char** argv, COutputStream& output)
{
    Options options;
    if (const std::optional<EarlyEnd> end = parseCommandLine(argc, argv, options)) {
        if (!end->error.empty())
            writeError(end->error);
        output.append(end->output);
        return end->eExitCode;
    }
    const std::unique_ptr<CReport> pReport = makeReport(options, output);
    CFileRun fileRun(options, output, *pReport);
    int iExitCode = EXIT_ALL_READ;
    for (const std::string& file : options.files) {
        iExitCode = std::max<int>(iExitCode, fileRun.run(file));
        if (output.failed())
            break;
    }
    return iExitCode;
}

int runOrSayWhyNot(int argc, char** argv, COutputStream& output)
{
    try {
        return run(argc, argv, output);
    } catch (const std::bad_alloc&) {
        writeError("out of memory");
        (void)wasMemoryRefused(); // it has been told
    } catch (const std::exception& error) {
        writeError(error.what());
    }
    return EXIT_FILE_ERROR;
}

} // namespace

} // namespace h265ps

int main(int argc, char** argv)
{
    using namespace h265ps;
    static char acBuffer[std::size_t{256} << 10];
    if (!openMissingStreams()) {
        CErrorLine() << "/dev/null, in the place of a closed standard stream: " << std::strerror(errno);
        return EXIT_FILE_ERROR;
    }
    // A closed pipe, or a file that may not grow on, is seen at the write that fails.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    COutputStream output(STDOUT_FILENO, acBuffer);
    writeAtLast(&output);
    const int iExitCode = finish(output, runOrSayWhyNot(argc, argv, output));
    writeAtLast(nullptr);
    return iExitCode;
}
