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

/// What stands at the front of a text that is shown to people: a character, or a byte that begins none.
struct PrintablePiece
{
    std::size_t uiLength;
    bool bControl; // C0, C1 or DEL, which could forge lines or colours
};

/// Of a text that is not empty.
constexpr PrintablePiece printablePiece(std::string_view text)
{
    const auto at = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const auto isControl = [](unsigned char c) { return c < ' ' || (c >= 0x7f && c < 0xa0); };
    const std::size_t uiLength = utf8Length(at(0));
    bool bSequence = uiLength > 1 && text.size() >= uiLength;
    for (std::size_t i = 1; bSequence && i < uiLength; ++i)
        bSequence = isUtf8Continuation(at(i));
    if (!bSequence)
        return {1, isControl(at(0))};
    return {uiLength, at(0) == 0xc2 && isControl(at(1))}; // C1 controls are the sequences C2 80 to C2 9F
}

} // namespace h265ps
