#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "RandomSource.h"
#include "StreamEdit.h"

namespace h265_inspect {

/// Bytes of a file that others stand for, and the file written with them. Patches do not overlap.
class CFilePatches
{
public:
    /// ulSize bytes at ulOffset become these; a second one at the same place counts.
    void replace(std::uint64_t ulOffset, std::uint64_t ulSize, std::vector<unsigned char> bytes);

    /// An integer in its place.
    void replaceInteger(std::uint64_t ulOffset, unsigned uiBytes, std::uint64_t ulValue);

    [[nodiscard]] bool isEmpty() const noexcept { return m_patches.empty(); }
    /// Whether a patch begins in a range.
    [[nodiscard]] bool isPatched(std::uint64_t ulBegin, std::uint64_t ulEnd) const;

    /// Writes a range of the file, patched. A patch of 0 bytes belongs to the range that it begins.
    void write(h265_container::CRandomSource& source, std::uint64_t ulBegin, std::uint64_t ulEnd,
               CEditOutput& output) const;

private:
    struct Patch
    {
        std::uint64_t ulSize;
        std::vector<unsigned char> bytes;
    };
    std::map<std::uint64_t, Patch> m_patches;
};

/// Big-endian integers, as boxes and EBML have them.
std::uint64_t integerAt(std::span<const unsigned char> bytes, std::size_t uiOffset, unsigned uiBytes);
void appendInteger(std::vector<unsigned char>& to, unsigned uiBytes, std::uint64_t ulValue);

/// Bytes of a file, as many as there are.
std::vector<unsigned char> bytesOf(h265_container::CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulSize);

} // namespace h265_inspect
