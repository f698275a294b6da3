#include "RandomSource.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CountedText.h"

namespace h265_container {

using h265_stream::CSourceError;

namespace {

std::size_t copyFrom(std::span<const unsigned char> bytes, std::uint64_t ulOffset, std::span<unsigned char> to)
{
    if (ulOffset >= bytes.size() || to.empty())
        return 0;
    const std::size_t uiFirst = static_cast<std::size_t>(ulOffset);
    const std::size_t uiCount = std::min(to.size(), bytes.size() - uiFirst);
    std::memcpy(to.data(), bytes.data() + uiFirst, uiCount);
    return uiCount;
}

class CMemoryRandomSource : public CRandomSource
{
public:
    explicit CMemoryRandomSource(std::span<const unsigned char> bytes) : m_bytes(bytes) {}

    std::size_t read(std::uint64_t ulOffset, std::span<unsigned char> to) override
    {
        return copyFrom(m_bytes, ulOffset, to);
    }
    [[nodiscard]] std::optional<std::uint64_t> size() const override { return m_bytes.size(); }

private:
    const std::span<const unsigned char> m_bytes;
};

// Small windows, so that a table, the lengths of several tracks and their samples are read side by side. What lies
// behind bytes that were read before is read with one call a few hundred entries; a sample far from all others costs
// no more than its head. What is larger than a window is read straight to its place.
class CFileRandomSource : public CRandomSource
{
public:
    CFileRandomSource(int iFd, bool bOwned, std::uint64_t ulBase, std::uint64_t ulSize)
        : m_iFd(iFd), m_bOwned(bOwned), m_ulBase(ulBase), m_ulSize(ulSize)
    {}
    ~CFileRandomSource() override
    {
        if (m_bOwned)
            ::close(m_iFd);
    }
    CFileRandomSource(const CFileRandomSource&) = delete;
    CFileRandomSource& operator=(const CFileRandomSource&) = delete;

    std::size_t read(std::uint64_t ulOffset, std::span<unsigned char> to) override
    {
        const std::uint64_t ulInLast = ulOffset - m_aulBegins[m_uiLast];
        const std::uint64_t ulBytes = m_aulBytes[m_uiLast];
        if (ulInLast < ulBytes && to.size() <= ulBytes - ulInLast) { // nearly always
            std::copy_n(m_bytes[m_uiLast].data() + ulInLast, to.size(), to.data());
            return to.size();
        }
        if (ulOffset >= m_ulSize)
            return 0;
        to = to.first(static_cast<std::size_t>(std::min<std::uint64_t>(to.size(), m_ulSize - ulOffset)));
        if (to.size() > WINDOW_BYTES) {
            readExactly(ulOffset, to);
            return to.size();
        }
        for (std::size_t i = 0; i < to.size();)
            i += copyFrom(windowFrom(ulOffset + i, to.size() - i), 0, to.subspan(i));
        return to.size();
    }
    [[nodiscard]] std::optional<std::uint64_t> size() const override { return m_ulSize; }

private:
    static constexpr std::size_t WINDOW_BYTES = 4096;
    static constexpr std::size_t HEAD_BYTES = 256;
    static constexpr std::size_t WINDOWS = 32;

    // The bytes that a window has from there on.
    std::span<const unsigned char> windowFrom(std::uint64_t ulOffset, std::size_t uiWanted)
    {
        std::size_t uiFound = 0;
        bool bGoesOn = false;
        for (; uiFound < WINDOWS; ++uiFound) {
            const std::uint64_t ulWithin = ulOffset - m_aulBegins[uiFound];
            if (ulWithin >= 2 * WINDOW_BYTES)
                continue; // nearly always
            if (ulWithin < m_aulBytes[uiFound])
                break;
            bGoesOn = bGoesOn || m_aulBytes[uiFound] != 0;
        }
        const bool bHeld = uiFound != WINDOWS;
        m_uiLast = bHeld ? uiFound : fillWindow(ulOffset, bGoesOn ? WINDOW_BYTES : std::max(uiWanted, HEAD_BYTES));
        m_used[m_uiLast] = bHeld;
        const std::size_t uiWithin = static_cast<std::size_t>(ulOffset - m_aulBegins[m_uiLast]);
        return std::span(m_bytes[m_uiLast])
            .subspan(uiWithin, static_cast<std::size_t>(m_aulBytes[m_uiLast]) - uiWithin);
    }

    // Takes the next window that was not used again since its turn was last: tables are, samples are not.
    std::size_t fillWindow(std::uint64_t ulBegin, std::size_t uiBytes)
    {
        while (m_used[m_uiNext]) {
            m_used[m_uiNext] = false;
            m_uiNext = (m_uiNext + 1) % WINDOWS;
        }
        const std::size_t uiWindow = std::exchange(m_uiNext, (m_uiNext + 1) % WINDOWS);
        m_aulBytes[uiWindow] = 0; // when reading throws
        const std::uint64_t ulCount = std::min<std::uint64_t>(uiBytes, m_ulSize - ulBegin);
        readExactly(ulBegin, std::span(m_bytes[uiWindow]).first(static_cast<std::size_t>(ulCount)));
        m_aulBegins[uiWindow] = ulBegin;
        m_aulBytes[uiWindow] = ulCount;
        return uiWindow;
    }

    void readExactly(std::uint64_t ulOffset, std::span<unsigned char> to) const
    {
        for (std::size_t i = 0; i < to.size();) {
            const ssize_t iRead =
                ::pread(m_iFd, to.data() + i, to.size() - i, static_cast<off_t>(m_ulBase + ulOffset + i));
            if (iRead < 0 && errno == EINTR)
                continue;
            if (iRead < 0)
                throw CSourceError(std::generic_category().message(errno), ulOffset + i);
            if (iRead == 0)
                throw CSourceError("the file was cut while it was read: it had " + countedText(m_ulSize, "byte"),
                                   ulOffset + i);
            i += static_cast<std::size_t>(iRead);
        }
    }

    const int m_iFd;
    const bool m_bOwned;
    const std::uint64_t m_ulBase; // where standard input stood
    const std::uint64_t m_ulSize;
    std::array<std::uint64_t, WINDOWS> m_aulBegins{}; // of each window's bytes in the file
    std::array<std::uint64_t, WINDOWS> m_aulBytes{};  // that it has
    std::bitset<WINDOWS> m_used;
    std::size_t m_uiLast = 0;
    std::size_t m_uiNext = 0; // the window whose turn it is
    std::vector<std::array<unsigned char, WINDOW_BYTES>> m_bytes{WINDOWS};
};

class CForwardSource : public CRandomSource
{
public:
    explicit CForwardSource(std::unique_ptr<h265_stream::CByteSource> pSource) : m_pSource(std::move(pSource)) {}

    std::size_t read(std::uint64_t ulOffset, std::span<unsigned char> to) override
    {
        if (const auto held = heldAt(ulOffset, to.size()))
            return copyFrom(*held, 0, to);
        requireWindow(ulOffset);
        while (!m_bEnded && windowEnd() < ulOffset + to.size())
            takePiece(ulOffset);
        return ulOffset < m_ulBegin ? 0 : copyFrom(m_window, ulOffset - m_ulBegin, to);
    }

    std::size_t readSome(std::uint64_t ulOffset, std::span<unsigned char> to) override
    {
        requireWindow(ulOffset);
        while (!m_bEnded && windowEnd() <= ulOffset)
            takePiece(ulOffset);
        return ulOffset < m_ulBegin ? 0 : copyFrom(m_window, ulOffset - m_ulBegin, to);
    }

    [[nodiscard]] std::optional<std::uint64_t> size() const override
    {
        return m_bEnded ? std::optional(windowEnd()) : std::nullopt;
    }

    [[nodiscard]] bool isForwardOnly() const override { return true; }

    [[nodiscard]] bool hold(std::uint64_t ulOffset, std::uint64_t ulSize) override
    {
        if (ulSize > MAX_HELD_BYTES || ulOffset < m_ulBegin)
            return false;
        m_held.clear();
        // Grown as bytes come: a size that is not true takes no room.
        std::vector<unsigned char> piece(std::size_t{64} << 10);
        std::vector<unsigned char> bytes;
        while (bytes.size() < ulSize) {
            const std::size_t uiAsked =
                static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), ulSize - bytes.size()));
            const std::size_t uiRead = read(ulOffset + bytes.size(), std::span(piece).first(uiAsked));
            if (uiRead == 0)
                break;
            bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(uiRead));
        }
        m_held = std::move(bytes);
        m_ulHeldOffset = ulOffset;
        return true;
    }

private:
    [[nodiscard]] std::uint64_t windowEnd() const { return m_ulBegin + m_window.size(); }

    [[nodiscard]] std::optional<std::span<const unsigned char>> heldAt(std::uint64_t ulOffset, std::size_t uiSize) const
    {
        if (ulOffset < m_ulHeldOffset || ulOffset - m_ulHeldOffset > m_held.size() ||
            m_held.size() - (ulOffset - m_ulHeldOffset) < uiSize || uiSize == 0)
            return std::nullopt;
        return std::span(m_held).subspan(static_cast<std::size_t>(ulOffset - m_ulHeldOffset), uiSize);
    }

    void requireWindow(std::uint64_t ulOffset) const
    {
        if (ulOffset < m_ulBegin)
            throw CSourceError("bytes from " + std::to_string(ulOffset) +
                                   " on are wanted again, which a stream cannot give; save it as a file first",
                               ulOffset);
    }

    void takePiece(std::uint64_t ulWanted)
    {
        const std::span<const unsigned char> piece = m_pSource->next();
        m_bEnded = piece.empty();
        const std::uint64_t ulKeepFrom = ulWanted - std::min<std::uint64_t>(ulWanted, FORWARD_WINDOW_BYTES);
        const std::uint64_t ulDrop =
            std::min<std::uint64_t>(ulKeepFrom - std::min(ulKeepFrom, m_ulBegin), m_window.size());
        m_window.erase(m_window.begin(), m_window.begin() + static_cast<std::ptrdiff_t>(ulDrop));
        m_ulBegin += ulDrop;
        m_window.insert(m_window.end(), piece.begin(), piece.end());
    }

    std::unique_ptr<h265_stream::CByteSource> m_pSource;
    std::vector<unsigned char> m_window;
    std::uint64_t m_ulBegin = 0; // of the window in the stream
    bool m_bEnded = false;
    std::vector<unsigned char> m_held;
    std::uint64_t m_ulHeldOffset = 0;
};

} // namespace

std::unique_ptr<CRandomSource> openRandomSource(const std::string& path)
{
    const bool bStandardInput = path == "-";
    const int iFd = bStandardInput ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (iFd < 0)
        throw CSourceError(std::generic_category().message(errno), 0);
    struct stat status = {};
    if (::fstat(iFd, &status) == 0 && S_ISREG(status.st_mode)) {
        const off_t iPosition = bStandardInput ? std::max<off_t>(::lseek(iFd, 0, SEEK_CUR), 0) : 0;
        const off_t iSize = std::max<off_t>(status.st_size - iPosition, 0);
        return std::make_unique<CFileRandomSource>(
            iFd, !bStandardInput, static_cast<std::uint64_t>(iPosition), static_cast<std::uint64_t>(iSize));
    }
    if (!bStandardInput)
        ::close(iFd);
    return makeForwardSource(h265_stream::openByteSource(path));
}

std::unique_ptr<CRandomSource> makeRandomSource(std::span<const unsigned char> bytes)
{
    return std::make_unique<CMemoryRandomSource>(bytes);
}

std::unique_ptr<CRandomSource> makeForwardSource(std::unique_ptr<h265_stream::CByteSource> pSource)
{
    return std::make_unique<CForwardSource>(std::move(pSource));
}

} // namespace h265_container
