#include "ReplacedFile.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <unistd.h>

#include "ErrorLine.h"
#include "OutputStream.h"

namespace h265ps {

namespace {

constexpr std::array ENDING_SIGNALS = {SIGHUP, SIGINT, SIGTERM};

// What is to be removed when a signal ends the program.
char* volatile g_pUnfinished = nullptr;

extern "C" void removeAndEnd(int iSignal)
{
    char* const pUnfinished = g_pUnfinished;
    if (pUnfinished != nullptr)
        ::unlink(pUnfinished);
    (void)std::signal(iSignal, SIG_DFL); // what it was; the signal comes again behind this function
    (void)std::raise(iSignal);
}

void catchSignals()
{
    for (const int iSignal : ENDING_SIGNALS) {
        if (std::signal(iSignal, removeAndEnd) == SIG_IGN)
            (void)std::signal(iSignal, SIG_IGN); // as whoever started the program wants it
    }
}

mode_t creationMask()
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return mask;
}

} // namespace

CReplacedFile::CReplacedFile(const std::string& path, const std::string& input) : m_path(path)
{
    struct stat inputStatus = {};
    const bool bStandardInput = input == "-";
    if ((bStandardInput ? ::fstat(STDIN_FILENO, &inputStatus) : ::stat(input.c_str(), &inputStatus)) != 0)
        throw CFileError(input + ": " + systemReason(errno));
    if (path == "-")
        throw CFileError("standard output: what is written goes to a file, which can be left alone when there is an "
                         "error; -o - is not one");
    judge(inputStatus);
    open();
}

CReplacedFile::~CReplacedFile()
{
    if (m_iFile >= 0)
        ::close(m_iFile);
    if (!m_beside.empty())
        ::unlink(m_beside.c_str());
    g_pUnfinished = nullptr;
}

void CReplacedFile::fail(int iErrno) const
{
    throw CFileError(m_path + ": " + systemReason(iErrno));
}

void CReplacedFile::judge(const struct stat& input)
{
    m_target = m_path;
    if (::stat(m_path.c_str(), &m_replaced) != 0) {
        if (errno != ENOENT)
            fail(errno);
        struct stat link = {};
        if (::lstat(m_path.c_str(), &link) == 0)
            throw CFileError(m_path + ": it is a link to a file that is not there");
        const mode_t readAndWrite = 0666;
        m_mode = (S_ISREG(input.st_mode) ? input.st_mode & readAndWrite : readAndWrite) & ~creationMask();
        return;
    }
    if (S_ISDIR(m_replaced.st_mode))
        fail(EISDIR);
    if (!S_ISREG(m_replaced.st_mode))
        throw CFileError(m_path + ": it is no regular file, which can be left alone when there is an error");
    if (m_replaced.st_dev == input.st_dev && m_replaced.st_ino == input.st_ino)
        throw CFileError(m_path + ": it is the file that is read; what is written goes to another one");
    if (::access(m_path.c_str(), W_OK) != 0)
        fail(errno);
    const std::unique_ptr<char, decltype(&std::free)> pTarget(::realpath(m_path.c_str(), nullptr), &std::free);
    if (pTarget == nullptr)
        fail(errno);
    m_target = pTarget.get();
    m_bReplaces = true;
    m_mode = m_replaced.st_mode & 07777U;
}

void CReplacedFile::open()
{
    const std::size_t uiSlash = m_target.rfind('/');
    m_beside = m_target.substr(0, uiSlash == std::string::npos ? 0 : uiSlash + 1) + ".h265ps-XXXXXX";
    g_pUnfinished = nullptr;
    catchSignals();
    m_iFile = ::mkstemp(m_beside.data());
    if (m_iFile < 0) {
        m_beside.clear();
        fail(errno);
    }
    g_pUnfinished = m_beside.data();
}

void CReplacedFile::write(std::span<const unsigned char> bytes)
{
    while (!bytes.empty()) {
        const ssize_t iWritten = ::write(m_iFile, bytes.data(), bytes.size());
        if (iWritten > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(iWritten));
        else if (iWritten == 0)
            fail(EIO); // what takes nothing would be asked for ever
        else if (!mayWriteAgain(m_iFile))
            fail(errno);
    }
}

void CReplacedFile::commit()
{
    // Another owner is kept where that is allowed; else it is the file of who runs the program.
    if (m_bReplaces && ::fchown(m_iFile, m_replaced.st_uid, m_replaced.st_gid) != 0)
        m_mode &= 0777U;
    if (::fchmod(m_iFile, m_mode) != 0)
        fail(errno);
    const int iFile = m_iFile;
    m_iFile = -1;
    if (::close(iFile) != 0 || std::rename(m_beside.c_str(), m_target.c_str()) != 0)
        fail(errno);
    g_pUnfinished = nullptr;
    m_beside.clear();
}

} // namespace h265ps
