#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "RandomSource.h"

namespace h265_container {

// How the frames of a Matroska track are packed (RFC 9559 5.1.4.1.31.6).

/// Unpacked bytes in the place of a file; they count for as much of the file as the packed ones.
class CUnpackedSource : public CRandomSource
{
public:
    CUnpackedSource(const CRandomSource& file, const std::vector<unsigned char>& bytes) : m_file(file), m_bytes(bytes)
    {}

    std::size_t read(std::uint64_t ulOffset, std::span<unsigned char> to) override;
    [[nodiscard]] std::optional<std::uint64_t> size() const override { return m_file.size(); }

private:
    const CRandomSource& m_file;
    const std::vector<unsigned char>& m_bytes;
};

/// A frame whose first bytes stand with the track only; ulOffset: where the others stand.
class CStrippedSource : public CRandomSource
{
public:
    CStrippedSource(CRandomSource& file, const std::vector<unsigned char>& header, std::uint64_t ulOffset)
        : m_file(file), m_header(header), m_ulOffset(ulOffset)
    {}

    std::size_t read(std::uint64_t ulOffset, std::span<unsigned char> to) override;
    [[nodiscard]] std::optional<std::uint64_t> size() const override { return m_file.size(); }

private:
    CRandomSource& m_file;
    const std::vector<unsigned char>& m_header;
    const std::uint64_t m_ulOffset;
};

/// Unpacks a zlib stream (RFC 1950), 16 MiB at most. What could be unpacked in front of an error is kept.
/// Returns why not all of it could be, or nullptr.
[[nodiscard]] const char* unpack(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulSize,
                                 std::vector<unsigned char>& to);

} // namespace h265_container
