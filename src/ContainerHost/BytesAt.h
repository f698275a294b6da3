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

} // namespace h265_container
