#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "ByteSource.h"
#include "H265psExport.h"

namespace H265PS_EXPORT h265_container {

/// The bytes of a file, read where they are wanted: a file, bytes in memory, or a stream that can only be
/// read forward.
class CRandomSource
{
public:
    virtual ~CRandomSource() = default;

    /// Copies the bytes from ulOffset on; returns how many, fewer than asked for only at the end. Throws
    /// h265_stream::CSourceError: what cannot be read, or lies behind a forward source's window.
    virtual std::size_t read(std::uint64_t ulOffset, std::span<unsigned char> to) = 0;

    /// The same, but takes what is there without waiting for more than the first byte: none only at the end.
    virtual std::size_t readSome(std::uint64_t ulOffset, std::span<unsigned char> to) { return read(ulOffset, to); }

    /// Bytes in all; none as long as a forward source has not seen its end.
    [[nodiscard]] virtual std::optional<std::uint64_t> size() const = 0;

    /// Whether bytes far behind the last ones read are gone.
    [[nodiscard]] virtual bool isForwardOnly() const { return false; }

    /// Reads so many bytes ahead and keeps them, instead of those held before. False when a forward source
    /// has not the room: then nothing is kept.
    [[nodiscard]] virtual bool hold(std::uint64_t /*ulOffset*/, std::uint64_t /*ulSize*/) { return true; }
};

/// Bytes behind the last ones read that a forward source still has.
inline constexpr std::size_t FORWARD_WINDOW_BYTES = std::size_t{256} << 10;

/// Bytes that a forward source holds at most.
inline constexpr std::size_t MAX_HELD_BYTES = std::size_t{32} << 20;

/// Opens a file, "-" standing for standard input: a regular file is read where it is wanted, anything else
/// forward. Throws h265_stream::CSourceError.
std::unique_ptr<CRandomSource> openRandomSource(const std::string& path);

/// Bytes in memory, which the caller keeps.
std::unique_ptr<CRandomSource> makeRandomSource(std::span<const unsigned char> bytes);

/// A stream that is read forward only.
std::unique_ptr<CRandomSource> makeForwardSource(std::unique_ptr<h265_stream::CByteSource> pSource);

} // namespace h265_container
