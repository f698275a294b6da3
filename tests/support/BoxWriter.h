#pragma once

#include <cstdint>
#include <string_view>

#include "NalUnitWriter.h"

namespace h265_test {

/// An integer of so many bytes, big-endian.
inline Bytes be(unsigned uiBytes, std::uint64_t ulValue)
{
    Bytes bytes;
    while (uiBytes-- != 0)
        bytes.push_back(static_cast<unsigned char>(ulValue >> 8 * uiBytes));
    return bytes;
}

inline Bytes text(std::string_view characters)
{
    return {characters.begin(), characters.end()};
}

/// ISO/IEC 14496-12 4.2: a box of the parts.
inline Bytes box(std::string_view type, std::initializer_list<Bytes> parts)
{
    const Bytes content = joined(parts);
    return joined({be(4, 8 + content.size()), text(type), content});
}

/// A box with a size of 64 bits.
inline Bytes largeBox(std::string_view type, std::initializer_list<Bytes> parts)
{
    const Bytes content = joined(parts);
    return joined({be(4, 1), text(type), be(8, 16 + content.size()), content});
}

inline Bytes fullBox(std::string_view type, unsigned uiVersion, std::uint32_t uiFlags,
                     std::initializer_list<Bytes> parts)
{
    return box(type, {be(1, uiVersion), be(3, uiFlags), joined(parts)});
}

inline Bytes zeros(std::size_t uiCount)
{
    return Bytes(uiCount, 0);
}

/// NAL units for samples: each behind its length.
inline Bytes prefixed(const std::vector<Bytes>& units, unsigned uiLengthBytes = 4)
{
    Bytes result;
    for (const Bytes& unit : units)
        result = joined({result, be(uiLengthBytes, unit.size()), unit});
    return result;
}

/// Content of an hvcC with one array for each NAL unit.
inline Bytes hvcCContent(const std::vector<Bytes>& units, unsigned uiLengthBytes = 4, bool array_completeness = true)
{
    Bytes result = joined({be(1, 1),
                           be(1, 1),
                           be(4, 0x60000000),
                           be(6, 0x900000000000),
                           be(1, 93),
                           be(2, 0xf000),
                           be(1, 0xfc),
                           be(1, 0xfd),
                           be(1, 0xf8),
                           be(1, 0xf8),
                           be(2, 0),
                           be(1, 0x0cU | (uiLengthBytes - 1)),
                           be(1, units.size())});
    for (const Bytes& unit : units)
        result = joined({result,
                         be(1, (array_completeness ? 0x80U : 0U) | (unit[0] >> 1 & 0x3fU)),
                         be(2, 1),
                         be(2, unit.size()),
                         unit});
    return result;
}

/// ISO/IEC 14496-12 12.1.3: a visual sample entry.
inline Bytes visualEntry(std::string_view type, std::initializer_list<Bytes> boxes, unsigned uiWidth = 64,
                         unsigned uiHeight = 48, unsigned uiReference = 1)
{
    return box(type,
               {zeros(6), be(2, uiReference), zeros(16), be(2, uiWidth), be(2, uiHeight), zeros(50), joined(boxes)});
}

} // namespace h265_test
