#pragma once

#include <cstdint>

#include "BoxWriter.h"

namespace h265_test {

/// An id as it is written.
inline Bytes ebmlId(std::uint32_t uiId)
{
    unsigned uiBytes = 1;
    while (uiBytes < 4 && uiId >> 8 * uiBytes != 0)
        ++uiBytes;
    return be(uiBytes, uiId);
}

/// RFC 8794 4: a size of so many bytes.
inline Bytes vint(unsigned uiBytes, std::uint64_t ulValue)
{
    return be(uiBytes, ulValue | std::uint64_t{1} << 7 * uiBytes);
}

inline Bytes element(std::uint32_t uiId, const Bytes& content)
{
    return joined({ebmlId(uiId), vint(4, content.size()), content});
}

inline Bytes element(std::uint32_t uiId, std::initializer_list<Bytes> parts)
{
    return element(uiId, joined(parts));
}

inline Bytes number(std::uint32_t uiId, std::uint64_t ulValue, unsigned uiBytes = 4)
{
    return element(uiId, be(uiBytes, ulValue));
}

/// An element whose size is not known.
inline Bytes openElement(std::uint32_t uiId, std::initializer_list<Bytes> parts)
{
    return joined({ebmlId(uiId), {0xff}, joined(parts)});
}

inline Bytes simpleBlock(unsigned uiTrack, int iTime, const Bytes& data, unsigned uiLacing = 0)
{
    return element(0xa3, {vint(1, uiTrack), be(2, static_cast<std::uint16_t>(iTime)), be(1, uiLacing << 1), data});
}

inline Bytes ebmlHeader(std::string_view type = "matroska")
{
    return element(0x1a45dfa3, {element(0x4282, text(type))});
}

inline Bytes trackEntry(const Bytes& codecPrivate, const Bytes& more = {}, std::string_view codec = "V_MPEGH/ISO/HEVC",
                        unsigned uiTrack = 1, unsigned uiType = 1)
{
    return element(0xae,
                   {number(0xd7, uiTrack, 1),
                    number(0x83, uiType, 1),
                    element(0x86, text(codec)),
                    codecPrivate.empty() ? Bytes{} : element(0x63a2, codecPrivate),
                    more});
}

inline Bytes tracks(std::initializer_list<Bytes> entries)
{
    return element(0x1654ae6b, entries);
}

inline Bytes cluster(std::uint64_t ulTime, std::initializer_list<Bytes> parts)
{
    return element(0x1f43b675, {number(0xe7, ulTime), joined(parts)});
}

inline Bytes segment(std::initializer_list<Bytes> parts)
{
    return joined({ebmlHeader(), element(0x18538067, parts)});
}

} // namespace h265_test
