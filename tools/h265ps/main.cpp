#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <new>

#include <fcntl.h>
#include <unistd.h>

#include "ErrorLine.h"
#include "MemoryRefusals.h"
#include "OutputStream.h"
#include "Verbs.h"
#include "Verdict.h"

namespace h265ps {

namespace {

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
    (CErrorLine() << "standard output: ").systemReason(output.error());
    return EXIT_FILE_ERROR;
}

int runOrSayWhyNot(int argc, char** argv, COutputStream& output)
{
    try {
        return runVerb({argv + 1, static_cast<std::size_t>(std::max(argc, 1) - 1)}, output);
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
        (CErrorLine() << "/dev/null, in the place of a closed standard stream: ").systemReason(errno);
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
