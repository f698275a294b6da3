#include "ChildProcess.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Close
{
    void operator()(std::FILE* pFile) const { std::fclose(pFile); }
};
using File = std::unique_ptr<std::FILE, Close>;

File temporaryFile()
{
    File pFile(std::tmpfile());
    if (pFile == nullptr)
        throw std::runtime_error("no temporary file");
    return pFile;
}

std::string contentOf(std::FILE* pFile)
{
    std::string content;
    std::rewind(pFile);
    char acPiece[65536];
    while (const std::size_t uiRead = std::fread(acPiece, 1, sizeof(acPiece), pFile))
        content.append(acPiece, uiRead);
    return content;
}

// Everything that comes out of a pseudo-terminal until its other end is closed.
std::string contentOfTerminal(int iTerminal)
{
    std::string content;
    char acPiece[4096];
    for (ssize_t iRead = 0; (iRead = ::read(iTerminal, acPiece, sizeof(acPiece))) > 0;)
        content.append(acPiece, static_cast<std::size_t>(iRead));
    return content;
}

int check(int iResult, const char* pWhat)
{
    if (iResult < 0)
        throw std::runtime_error(std::string(pWhat) + ": " + std::strerror(errno));
    return iResult;
}

std::vector<std::string> environmentOf(const ChildSetup& setup)
{
    std::vector<std::string> environment = setup.environment;
    for (char** pEntry = environ; *pEntry != nullptr; ++pEntry) {
        const std::string_view entry = *pEntry;
        if (!entry.starts_with("NO_COLOR=") && !entry.starts_with("TERM="))
            environment.emplace_back(entry);
    }
    return environment;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// The child's end of a new pseudo-terminal; iOurEnd is set to ours.
int openTerminal(int& iOurEnd)
{
    iOurEnd = check(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "posix_openpt");
    check(::grantpt(iOurEnd), "grantpt");
    check(::unlockpt(iOurEnd), "unlockpt");
    return check(::open(::ptsname(iOurEnd), O_RDWR | O_NOCTTY), "pseudo-terminal");
}

// The child's end of its standard output; iOurEnd is set to ours where there is one.
int openOutput(EChildOutput eOutput, std::FILE* pCapture, int& iOurEnd)
{
    switch (eOutput) {
    case EChildOutput::Captured:
        return check(::dup(::fileno(pCapture)), "dup");
    case EChildOutput::FullDevice:
        return check(::open("/dev/full", O_WRONLY), "/dev/full");
    case EChildOutput::ClosedPipe: {
        int aEnds[2];
        check(::pipe(aEnds), "pipe");
        ::close(aEnds[0]);
        return aEnds[1];
    }
    case EChildOutput::Terminal:
        break;
    }
    return openTerminal(iOurEnd);
}

// Between fork and exec: calls that are safe there only.
[[noreturn]] void becomeProgram(const char* pProgram, char* const* ppArguments, char* const* ppEnvironment,
                                const ChildSetup& setup, int iInput, int iOutput, int iError)
{
    const bool bReady = (setup.directory.empty() || ::chdir(setup.directory.c_str()) == 0) &&
                        ::dup2(iInput, STDIN_FILENO) >= 0 && ::dup2(iOutput, STDOUT_FILENO) >= 0 &&
                        ::dup2(iError, STDERR_FILENO) >= 0;
    takeSignalsAsUsual();
    if (bReady)
        ::execve(pProgram, ppArguments, ppEnvironment);
    ::_exit(127);
}

} // namespace

bool hasPseudoTerminals()
{
    int iOurEnd = -1;
    int iTheirEnd = -1;
    try {
        iTheirEnd = openTerminal(iOurEnd);
    } catch (const std::runtime_error&) {
        // told by iTheirEnd
    }
    if (iOurEnd >= 0)
        ::close(iOurEnd);
    if (iTheirEnd >= 0)
        ::close(iTheirEnd);
    return iTheirEnd >= 0;
}

void takeSignalsAsUsual()
{
    for (const int iSignal : {SIGHUP, SIGINT, SIGPIPE, SIGQUIT, SIGTERM})
        std::signal(iSignal, SIG_DFL);
}

ChildResult runChild(const std::string& program, const std::vector<std::string>& arguments, const ChildSetup& setup)
{
    std::vector<std::string> argumentTexts = {program};
    argumentTexts.insert(argumentTexts.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environmentTexts = environmentOf(setup);
    const std::vector<char*> argumentPointers = pointersTo(argumentTexts);
    const std::vector<char*> environmentPointers = pointersTo(environmentTexts);

    const File pOutput = temporaryFile();
    const File pError = temporaryFile();
    int iOurEnd = -1;
    const int iInput = check(::open(setup.input.c_str(), O_RDONLY | O_CLOEXEC), setup.input.c_str());
    const int iOutput = openOutput(setup.eOutput, pOutput.get(), iOurEnd);
    const pid_t iChild = check(::fork(), "fork");
    if (iChild == 0)
        becomeProgram(program.c_str(),
                      argumentPointers.data(),
                      environmentPointers.data(),
                      setup,
                      iInput,
                      iOutput,
                      ::fileno(pError.get()));
    ::close(iInput);
    ::close(iOutput);
    const std::string terminal = iOurEnd >= 0 ? contentOfTerminal(iOurEnd) : "";
    if (iOurEnd >= 0)
        ::close(iOurEnd);
    int iStatus = 0;
    check(::waitpid(iChild, &iStatus, 0), "waitpid");
    const int iExitCode = WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
    const std::string output = iOurEnd >= 0 ? terminal : contentOf(pOutput.get());
    return {iExitCode, output, contentOf(pError.get())};
}
