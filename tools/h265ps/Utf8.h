#pragma once

#include <cstddef>

namespace h265ps {

/// The bytes of a UTF-8 sequence that begins with the byte; 0 when none does.
constexpr std::size_t utf8Length(unsigned char ucByte)
{
    if (ucByte < 0x80)
        return 1;
    if (ucByte >= 0xc2 && ucByte < 0xe0)
        return 2;
    if (ucByte >= 0xe0 && ucByte < 0xf0)
        return 3;
    return ucByte >= 0xf0 && ucByte < 0xf5 ? 4 : 0;
}

/// Whether the byte stands inside a UTF-8 sequence.
constexpr bool isUtf8Continuation(unsigned char ucByte)
{
    return (ucByte & 0xc0) == 0x80;
}

} // namespace h265ps
