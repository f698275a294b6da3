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

class CFileDescriptor
{
public:
    explicit CFileDescriptor(const std::string& path)
        : m_bOwned(path != "-"), m_iFd(m_bOwned ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO)
    {
        if (m_iFd < 0)
            throw CSourceError(reasonOf(errno), 0);
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
            throw CSourceError(reasonOf(errno), 0);
        if (S_ISDIR(status.st_mode))
            throw CSourceError(reasonOf(EISDIR), 0);
        if (!S_ISREG(status.st_mode))
            return;
        // Standard input can stand anywhere.
        const off_t iPosition = ::lseek(m_fd.get(), 0, SEEK_CUR);
        if (iPosition >= 0 && status.st_size > iPosition)
            m_ulSize = static_cast<std::uint64_t>(status.st_size - iPosition);
        (void)::posix_fadvise(m_fd.get(), 0, 0, POSIX_FADV_SEQUENTIAL); // advice only
    }

    [[nodiscard]] std::optional<std::uint64_t> size() const override { return m_ulSize; }

    std::span<const unsigned char> next() override
    {
        readHead();
        if (!m_bHeadTaken) {
            m_bHeadTaken = true;
            return {m_pBuffer.get(), m_uiFirst};
        }
        return {m_pBuffer.get(), readSome(0)};
    }

    std::span<const unsigned char> head() override
    {
        readHead();
        return {m_aucHead, std::min(m_uiFirst, HEAD_BYTES)};
    }

private:
    // The first piece is as long as the head at least, however the bytes of a pipe come in.
    void readHead()
    {
        if (m_bHeadRead)
            return;
        std::size_t uiRead = 0;
        while (m_uiFirst < HEAD_BYTES && (uiRead = readSome(m_uiFirst)) != 0)
            m_uiFirst += uiRead;
        std::copy_n(m_pBuffer.get(), std::min(m_uiFirst, HEAD_BYTES), m_aucHead);
        m_bHeadRead = true;
    }

    // Reads behind the first uiKept bytes of the buffer; 0 at the end.
    std::size_t readSome(std::size_t uiKept)
    {
        for (;;) {
            const ssize_t iRead = ::read(m_fd.get(), m_pBuffer.get() + uiKept, PIECE_BYTES - uiKept);
            if (iRead >= 0) {
                m_ulOffset += static_cast<std::uint64_t>(iRead);
                return static_cast<std::size_t>(iRead);
            }
            const int iErrno = errno;
            if (iErrno == EAGAIN || iErrno == EWOULDBLOCK) // coverage: one number with two names on Linux
                waitForBytes();
            else if (iErrno != EINTR)
                throw CSourceError(reasonOf(iErrno), m_ulOffset);
        }
    }

    // Standard input may have been made non-blocking by whoever shares it.
    void waitForBytes()
    {
        pollfd waiting = {.fd = m_fd.get(), .events = POLLIN, .revents = 0};
        if (::poll(&waiting, 1, -1) < 0 && errno != EINTR)
            throw CSourceError(reasonOf(errno), m_ulOffset);
    }

    CFileDescriptor m_fd;
    std::unique_ptr<unsigned char[]> m_pBuffer;
    std::optional<std::uint64_t> m_ulSize;
    std::uint64_t m_ulOffset = 0; // bytes read
    std::size_t m_uiFirst = 0;    // bytes of the first piece
    bool m_bHeadRead = false;
    bool m_bHeadTaken = false; // next has handed the first piece out
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
