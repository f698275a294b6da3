#include "ByteSource.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace h265_stream {

namespace {

constexpr std::size_t HEAD_BYTES = 4096;

// A piece stays in the second-level cache between being read and being searched. A gibibyte takes 1.1 to
// 1.2 times as long as cat does; mapping it in populated windows saves a sixth of that, but a file that
// is cut while it is mapped kills the process.
constexpr std::size_t PIECE_BYTES = std::size_t{256} << 10;

std::string reasonOf(int iErrno)
{
    return std::generic_category().message(iErrno);
}

// errno is handed in: making the exception can change it, when memory is refused.
[[noreturn]] void throwError(int iErrno)
{
    throw CSourceError(reasonOf(iErrno), 0);
}

class CFileDescriptor
{
public:
    explicit CFileDescriptor(const std::string& path)
        : m_bOwned(path != "-"), m_iFd(m_bOwned ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO)
    {
        if (m_iFd < 0)
            throwError(errno);
    }
    ~CFileDescriptor()
    {
        if (m_bOwned)
            ::close(m_iFd);
    }
    CFileDescriptor(const CFileDescriptor&) = delete;
    CFileDescriptor& operator=(const CFileDescriptor&) = delete;

    [[nodiscard]] int get() const noexcept { return m_iFd; }

private:
    const bool m_bOwned;
    const int m_iFd;
};

// A file, a pipe or a device, read piece by piece into one buffer.
class CDescriptorSource : public CByteSource
{
public:
    explicit CDescriptorSource(const std::string& path)
        : m_fd(path), m_pBuffer(std::make_unique_for_overwrite<unsigned char[]>(PIECE_BYTES))
    {
        struct stat status = {};
        if (::fstat(m_fd.get(), &status) != 0)
            throwError(errno);
        if (S_ISDIR(status.st_mode))
            throwError(EISDIR);
        m_bRegular = S_ISREG(status.st_mode);
        if (!m_bRegular)
            return;
        // Standard input can stand anywhere.
        static_assert(sizeof(off_t) == 8, "files of more than 2 GiB: compile with _FILE_OFFSET_BITS=64");
        const off_t iPosition = ::lseek(m_fd.get(), 0, SEEK_CUR);
        if (iPosition >= 0 && status.st_size > iPosition)
            m_ulSize = static_cast<std::uint64_t>(status.st_size - iPosition);
        m_iFileSize = status.st_size;
        (void)::posix_fadvise(m_fd.get(), 0, 0, POSIX_FADV_SEQUENTIAL); // advice only
    }

    [[nodiscard]] std::optional<std::uint64_t> size() const override { return m_ulSize; }

    std::span<const unsigned char> next() override
    {
        if (m_bHeadTaken)
            m_uiFilled = 0;
        fill();
        keepHead();
        m_bHeadTaken = true;
        return {m_pBuffer.get(), m_uiFilled};
    }

    std::span<const unsigned char> head() override
    {
        if (m_uiFilled == 0)
            (void)growHead();
        return {m_aucHead, m_uiHead};
    }

    bool growHead() override
    {
        if (m_bHeadTaken || m_uiHead == HEAD_BYTES || !readSome(EWait::Yes))
            return false;
        keepHead();
        return true;
    }

    [[nodiscard]] bool stalls() override
    {
        const bool bHeadIsNext = !m_bHeadTaken && m_uiFilled != 0;
        return !bHeadIsNext && !m_bRegular && !m_bEnded && m_failure.empty() && !bytesAreThere();
    }

private:
    enum class EWait
    {
        No,
        Yes
    };

    void keepHead()
    {
        if (m_bHeadTaken)
            return;
        m_uiHead = std::min(m_uiFilled, HEAD_BYTES);
        std::copy_n(m_pBuffer.get(), m_uiHead, m_aucHead);
    }

    // Waits for the first bytes, and takes along what comes without waiting: a pipe that is written to in
    // small pieces is searched in large ones.
    void fill()
    {
        bool bMore = m_uiFilled != 0 || readSome(EWait::Yes);
        while (bMore && !m_bRegular && m_uiFilled < PIECE_BYTES)
            bMore = bytesAreThere() && readSome(EWait::No);
    }

    // Reads behind what the buffer holds: false at the end, or when that has to be waited for. What fails
    // behind bytes that are held is thrown when they are handed out.
    bool readSome(EWait eWait)
    {
        while (m_failure.empty() && !m_bEnded) {
            const ssize_t iRead = ::read(m_fd.get(), m_pBuffer.get() + m_uiFilled, PIECE_BYTES - m_uiFilled);
            const int iErrno = errno;
            if (iRead > 0) {
                m_uiFilled += static_cast<std::size_t>(iRead);
                m_ulOffset += static_cast<std::uint64_t>(iRead);
                return true;
            }
            if (iRead == 0)
                end();
            else if (iErrno == EAGAIN || iErrno == EWOULDBLOCK) { // coverage: one number with two names on Linux
                if (eWait == EWait::No)
                    return false;
                waitForBytes();
            } else if (iErrno != EINTR)
                m_failure = reasonOf(iErrno);
        }
        if (!m_failure.empty() && m_uiFilled == 0)
            throw CSourceError(m_failure, m_ulOffset);
        return false;
    }

    // Files of the kernel's own can end in front of the size that they tell, and keep telling it.
    void end()
    {
        m_bEnded = true;
        struct stat status = {};
        if (m_ulOffset < m_ulSize.value_or(0) && ::fstat(m_fd.get(), &status) == 0 && status.st_size < m_iFileSize)
            m_failure = "the file was cut while it was read: it had " + std::to_string(m_iFileSize) + " bytes, now " +
                        std::to_string(status.st_size);
    }

    [[nodiscard]] bool bytesAreThere() const
    {
        pollfd asked = {.fd = m_fd.get(), .events = POLLIN, .revents = 0};
        return ::poll(&asked, 1, 0) > 0;
    }

    // Standard input may have been made non-blocking by whoever shares it.
    void waitForBytes()
    {
        pollfd waiting = {.fd = m_fd.get(), .events = POLLIN, .revents = 0};
        if (::poll(&waiting, 1, -1) < 0 && errno != EINTR)
            m_failure = reasonOf(errno);
    }

    CFileDescriptor m_fd;
    std::unique_ptr<unsigned char[]> m_pBuffer;
    std::size_t m_uiFilled = 0; // bytes in it
    bool m_bRegular = false;
    off_t m_iFileSize = 0; // of a regular file, when it was opened
    std::optional<std::uint64_t> m_ulSize;
    std::uint64_t m_ulOffset = 0; // bytes read
    bool m_bEnded = false;
    std::string m_failure;     // why there are no more bytes; empty as long as nothing failed
    bool m_bHeadTaken = false; // next has handed the first piece out
    std::size_t m_uiHead = 0;
    unsigned char m_aucHead[HEAD_BYTES];
};

class CMemorySource : public CByteSource
{
public:
    explicit CMemorySource(std::span<const unsigned char> bytes) : m_bytes(bytes), m_left(bytes) {}

    std::span<const unsigned char> next() override { return std::exchange(m_left, {}); }

    std::span<const unsigned char> head() override { return m_bytes.first(std::min(m_bytes.size(), HEAD_BYTES)); }

    [[nodiscard]] std::optional<std::uint64_t> size() const override { return m_bytes.size(); }

private:
    const std::span<const unsigned char> m_bytes;
    std::span<const unsigned char> m_left;
};

} // namespace

std::unique_ptr<CByteSource> openByteSource(const std::string& path)
{
    return std::make_unique<CDescriptorSource>(path);
}

std::unique_ptr<CByteSource> makeByteSource(std::span<const unsigned char> bytes)
{
    return std::make_unique<CMemorySource>(bytes);
}

} // namespace h265_stream
