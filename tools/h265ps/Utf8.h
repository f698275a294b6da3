#pragma once

#include <cstddef>
#include <string_view>

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

/// The bytes of the UTF-8 sequence at the front of the text; 0 when it is none, or one that UTF-8 forbids:
/// cut, longer than its character needs, a surrogate, or above U+10FFFF.
constexpr std::size_t utf8SequenceLength(std::string_view text)
{
    if (text.empty())
        return 0;
    const unsigned char ucFirst = static_cast<unsigned char>(text[0]);
    const std::size_t uiLength = utf8Length(ucFirst);
    if (uiLength < 2 || text.size() < uiLength)
        return uiLength == 1 ? 1 : 0;
    for (std::size_t i = 1; i < uiLength; ++i) {
        if (!isUtf8Continuation(static_cast<unsigned char>(text[i])))
            return 0;
    }
    const unsigned char ucSecond = static_cast<unsigned char>(text[1]);
    const bool bForbidden = (ucFirst == 0xe0 && ucSecond < 0xa0) || (ucFirst == 0xed && ucSecond >= 0xa0) ||
                            (ucFirst == 0xf0 && ucSecond < 0x90) || (ucFirst == 0xf4 && ucSecond >= 0x90);
    return bForbidden ? 0 : uiLength;
}

} // namespace h265ps
