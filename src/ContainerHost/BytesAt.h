#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace h265_container {

/// The number in uiBytes bytes from byte i on, the highest first. They must be there.
inline std::uint64_t uAt(std::span<const unsigned char> bytes, std::size_t i, unsigned uiBytes)
{
    std::uint64_t ulValue = 0;
    for (; uiBytes != 0; --uiBytes)
        ulValue = ulValue << 8 | bytes[i++];
    return ulValue;
}

/// As above, of two bytes.
inline unsigned u16At(std::span<const unsigned char> bytes, std::size_t i)
{
    return static_cast<unsigned>(bytes[i]) << 8 | bytes[i + 1];
}

/// Bytes of a start code (H.265 Annex B) in front: 3, 4, or 0 when there is none.
inline std::size_t startCodeBytes(std::span<const unsigned char> bytes)
{
    const std::size_t uiZeros = bytes.size() >= 3 && bytes[2] == 0 ? 3 : 2;
    const bool bStartCode = bytes.size() > uiZeros && bytes[0] == 0 && bytes[1] == 0 && bytes[uiZeros] == 1;
    return bStartCode ? uiZeros + 1 : 0;
}

} // namespace h265_container
