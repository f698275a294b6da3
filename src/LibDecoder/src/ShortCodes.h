#pragma once

#include <bit>
#include <cstdint>

#include "BitStreamReader.h"

// Exp-Golomb codes of a few bits, decoded by table (9.2). Not installed.

namespace h265_codec::syntax {

/// The short Exp-Golomb codes by their first eight bits: 256 entries that decode every code of up to
/// 7 bits at once; longer ones have the length 255, which no count exceeds.
struct alignas(4) ShortCode
{
    unsigned char ucLength;
    unsigned char ucValue; // as ue(v)
    signed char scSigned;  // as se(v)
};
struct ShortCodeTable
{
    ShortCode aCode[256];
};

consteval ShortCodeTable makeShortCodeTable() noexcept
{
    ShortCodeTable table{};
    for (unsigned uiBits = 0; uiBits < 256; ++uiBits) {
        const unsigned uiLength = 2 * static_cast<unsigned>(std::countl_zero(static_cast<unsigned char>(uiBits))) + 1;
        const unsigned uiValue = uiLength <= 8 ? (uiBits >> (8 - uiLength)) - 1 : 0;
        table.aCode[uiBits] = {static_cast<unsigned char>(uiLength <= 8 ? uiLength : 255),
                               static_cast<unsigned char>(uiValue),
                               static_cast<signed char>(signedOfCode(uiValue))};
    }
    return table;
}

inline constexpr ShortCodeTable SHORT_CODES = makeShortCodeTable();

/// The one or two se(v) codes that end within the first ten bits of a word; ucLength is 255 where none
/// does. Buys half of the instructions of a coefficient list.
struct alignas(4) ShortCodePair
{
    unsigned char ucLength; // of all
    unsigned char ucCount;  // 1 or 2
    signed char scFirst;
    signed char scSum; // of all
};

inline constexpr unsigned SHORT_CODE_PAIR_BITS = 10;

struct ShortCodePairTable
{
    ShortCodePair aPair[1U << SHORT_CODE_PAIR_BITS];
};

consteval ShortCodePairTable makeShortCodePairTable() noexcept
{
    ShortCodePairTable table{};
    for (unsigned uiBits = 0; uiBits < 1U << SHORT_CODE_PAIR_BITS; ++uiBits) {
        const unsigned uiFirst = lengthOfCode(std::uint64_t{uiBits} << (64 - SHORT_CODE_PAIR_BITS));
        ShortCodePair& pair = table.aPair[uiBits];
        pair = {255, 1, 0, 0};
        if (uiFirst > SHORT_CODE_PAIR_BITS)
            continue;
        const std::uint64_t ulRest = std::uint64_t{uiBits} << (64 - SHORT_CODE_PAIR_BITS) << uiFirst;
        const int iFirst = signedOfCode((uiBits >> (SHORT_CODE_PAIR_BITS - uiFirst)) - 1);
        pair = {
            static_cast<unsigned char>(uiFirst), 1, static_cast<signed char>(iFirst), static_cast<signed char>(iFirst)};
        const unsigned uiBoth = uiFirst + lengthOfCode(ulRest);
        if (uiBoth > SHORT_CODE_PAIR_BITS)
            continue;
        const int iSecond = signedOfCode(valueOfCode(ulRest, uiBoth - uiFirst));
        pair = {static_cast<unsigned char>(uiBoth),
                2,
                static_cast<signed char>(iFirst),
                static_cast<signed char>(iFirst + iSecond)};
    }
    return table;
}

inline constexpr ShortCodePairTable SHORT_CODE_PAIRS = makeShortCodePairTable();

} // namespace h265_codec::syntax
