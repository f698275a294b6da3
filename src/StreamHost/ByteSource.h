#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_stream {

/// A source could not be opened or read: what() says why, ulOffset how far it got.
class CSourceError : public std::runtime_error
{
public:
    CSourceError(const std::string& reason, std::uint64_t ulOffset) : std::runtime_error(reason), m_ulOffset(ulOffset)
    {}

    /// Bytes read before the error.
    [[nodiscard]] std::uint64_t offset() const noexcept { return m_ulOffset; }

private:
    std::uint64_t m_ulOffset;
};

/// The bytes of a stream, front to back, in pieces: a file, a pipe, or bytes in memory.
class CByteSource
{
public:
    virtual ~CByteSource() = default;

    /// The next piece, empty at the end; valid until the next call. Throws CSourceError.
    virtual std::span<const unsigned char> next() = 0;

    /// The first bytes of the stream, up to 4096, to tell what it looks like: those that are there without
    /// waiting for more than the first one, none only of an empty stream. Does not move the source.
    virtual std::span<const unsigned char> head() = 0;

    /// Waits for more of the head. False when it is complete: 4096 bytes, or all that the stream has, or
    /// handed out by next.
    virtual bool growHead() { return false; }

    /// How many bytes there are to be read, as far as that is known in advance: not of a pipe, nor of a
    /// file that is made up as it is read. A file that grows is read to its end; one that is cut while it is
    /// read throws at the place of the cut.
    [[nodiscard]] virtual std::optional<std::uint64_t> size() const { return std::nullopt; }

    /// Whether the next piece has to be waited for: a pipe that has no bytes at the moment.
    [[nodiscard]] virtual bool stalls() { return false; }
};

/// Opens a file, "-" standing for standard input. Throws CSourceError for what cannot be opened or is
/// a directory.
std::unique_ptr<CByteSource> openByteSource(const std::string& path);

/// Bytes in memory, which the caller keeps.
std::unique_ptr<CByteSource> makeByteSource(std::span<const unsigned char> bytes);

} // namespace h265_stream
