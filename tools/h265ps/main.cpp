#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string_view>

#include <unistd.h>

#include "FileRun.h"
#include "JsonOutput.h"
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
        return std::make_unique<CJsonReport>(output);
    return std::make_unique<CTextReport>(
        output,
        CTextReport::Options{
            options.bAll, options.files.size() > 1, options.stream.eReader, wantsColour() ? COLOURED : TextStyle{}});
}

// Writes what is left. A reader that has gone away is no error; anything else is.
int finish(COutputStream& output, int iExitCode)
{
    output.flush();
    if (!output.failed() || output.error() == EPIPE)
        return iExitCode;
    writeError(std::string("standard output: ") + std::strerror(output.error()));
    return EXIT_FILE_ERROR;
}

int run(int argc, char** argv)
{
    COutputStream output(STDOUT_FILENO);
    Options options;
    if (const std::optional<EarlyEnd> end = parseCommandLine(argc, argv, options)) {
        if (!end->error.empty())
            writeError(end->error);
        output.append(end->output);
        return finish(output, end->eExitCode);
    }
    const std::unique_ptr<CReport> pReport = makeReport(options, output);
    CFileRun fileRun(options, output, *pReport);
    int iExitCode = EXIT_ALL_READ;
    for (const std::string& file : options.files) {
        iExitCode = std::max<int>(iExitCode, fileRun.run(file));
        if (output.failed())
            break;
    }
    return finish(output, iExitCode);
}

} // namespace

} // namespace h265ps

int main(int argc, char** argv)
{
    // A closed pipe is seen at the write that fails.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return h265ps::run(argc, argv);
    } catch (const std::exception& error) {
        h265ps::writeError(error.what());
        return h265ps::EXIT_FILE_ERROR;
    }
}
