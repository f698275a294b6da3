#include "BitStreamReader.h"

#include <algorithm>
#include <bit>

#include "ModuleServices.h"

namespace h265_codec {

namespace {

// Exp-Golomb prefixes have no upper length; one bit more than readBits accepts fails like any longer one.
constexpr unsigned MAX_COUNTED_ZEROS = 65;

constexpr std::uint64_t shiftLeft(std::uint64_t ulWord, unsigned uiBitCount) noexcept
{
    return uiBitCount < 64 ? ulWord << uiBitCount : 0;
}

// The first uiBitCount (1 … 64) bits of a word, kept to the low 32.
constexpr unsigned topBits(std::uint64_t ulWord, unsigned uiBitCount) noexcept
{
    return static_cast<unsigned>(ulWord >> (64 - uiBitCount));
}

} // namespace

template <class TReader>
int CBitReaderBase<TReader>::readBits(unsigned uiBitCount, unsigned& value) noexcept
{
    value = 0;
    if (uiBitCount == 0)
        return 0;
    if (uiBitCount > 64) {
        logError("ReadBits() error  bs reach end when read bits, not enough bits");
        return E_BS_NOT_ENOUGH_BITS;
    }
    value = topBits(m_ulCache, uiBitCount);
    if (m_uiCachedBits > uiBitCount) {
        m_ulCache <<= uiBitCount;
        m_uiCachedBits -= uiBitCount;
        return 0;
    }

    const unsigned uiNeed = uiBitCount - m_uiCachedBits;
    const std::uint64_t ulBytesLeft = static_cast<std::uint64_t>(m_pBufEnd - m_pCurPos);
    if (ulBytesLeft == 0 || 8 * ulBytesLeft < uiNeed) {
        if (uiNeed != 0) {
            logError("ReadBits() error  bs reach end when read bits, not enough bits");
            return E_BS_NOT_ENOUGH_BITS;
        }
        if constexpr (TReader::CONSUMES_LAST_BITS) {
            m_ulCache = shiftLeft(m_ulCache, uiBitCount);
            m_uiCachedBits = 0;
        }
        return 0;
    }
    refill();
    m_uiCachedBits -= uiNeed;
    if (uiNeed == 0)
        return 0;
    value |= topBits(m_ulCache, uiNeed);
    m_ulCache = shiftLeft(m_ulCache, uiNeed);
    return 0;
}

template <class TReader>
UeCode CBitReaderBase<TReader>::readUeCode() noexcept
{
    if (m_ulTopBitMask != TOP_BIT)
        return readUeBitByBit();

    // A code inside the counted bits, then one that begins there and ends inside the next whole word.
    const unsigned uiLength = lengthOfCode(m_ulCache);
    if (uiLength < m_uiCachedBits) {
        const unsigned uiValue = valueOfCode(m_ulCache, uiLength);
        m_ulCache <<= uiLength;
        m_uiCachedBits -= uiLength;
        return {uiValue, 0};
    }
    if (m_pBufEnd - m_pCurPos >= 8 && m_uiCachedBits != 0 && m_uiCachedBits < 64 && m_ulCache << m_uiCachedBits == 0) {
        const std::uint64_t ulNext = TReader::loadWord(m_pCurPos, 8);
        const std::uint64_t ulBits = m_ulCache | ulNext >> m_uiCachedBits;
        const unsigned uiLengthAcross = lengthOfCode(ulBits);
        if (uiLengthAcross < 64) {
            const unsigned uiNeed = uiLengthAcross - m_uiCachedBits;
            m_pCurPos += 8;
            m_ulCache = ulNext << uiNeed;
            m_uiCachedBits = 64 - uiNeed;
            return {valueOfCode(ulBits, uiLengthAcross), 0};
        }
    }

    unsigned uiLeadingZeros = 0;
    for (;;) {
        if (m_uiCachedBits == 0) {
            logReadFlagError();
            return {0, E_BS_NOT_ENOUGH_BITS};
        }
        const unsigned uiZeros = static_cast<unsigned>(std::countl_zero(m_ulCache));
        if (uiZeros < m_uiCachedBits) {
            m_ulCache <<= uiZeros; // up to the 1 that ends the prefix
            m_uiCachedBits -= uiZeros;
            takeBit();
            return readUeSuffix(std::min(uiLeadingZeros + uiZeros, MAX_COUNTED_ZEROS));
        }
        uiLeadingZeros = std::min(uiLeadingZeros + m_uiCachedBits, MAX_COUNTED_ZEROS);
        refill();
    }
}

// The prefix for any top bit mask, bit by bit.
template <class TReader>
UeCode CBitReaderBase<TReader>::readUeBitByBit() noexcept
{
    unsigned uiLeadingZeros = 0;
    for (;;) {
        if (m_uiCachedBits == 0) {
            logReadFlagError();
            return {0, E_BS_NOT_ENOUGH_BITS};
        }
        if (takeBit())
            return readUeSuffix(uiLeadingZeros);
        uiLeadingZeros = std::min(uiLeadingZeros + 1, MAX_COUNTED_ZEROS);
    }
}

template <class TReader>
UeCode CBitReaderBase<TReader>::readUeSuffix(unsigned uiLeadingZeros) noexcept
{
    if (uiLeadingZeros == 0)
        return {0, 0};
    unsigned uiBits = 0;
    const int iResult = readBits(uiLeadingZeros, uiBits);
    return {(1U << (uiLeadingZeros % 32)) - 1 + uiBits, iResult};
}

template <class TReader>
TakenBits CBitReaderBase<TReader>::takeBitsAcrossRefill(unsigned uiBitCount) noexcept
{
    // Only the plain case: the count runs out in this element, bits follow behind it, and the cache
    // word holds none that it does not count. (A count of 0 wraps.)
    const unsigned uiHeld = m_uiCachedBits;
    const std::uint64_t ulHeldBits = m_ulCache;
    if (uiHeld - 1 >= uiBitCount || ulHeldBits << uiHeld != 0 || m_ulTopBitMask != TOP_BIT)
        return {0, false};
    const unsigned uiNeed = uiBitCount - uiHeld;
    const std::uint64_t ulBytesLeft = static_cast<std::uint64_t>(m_pBufEnd - m_pCurPos);
    if (8 * ulBytesLeft <= uiNeed)
        return {0, false};
    refill();
    const std::uint64_t ulBits = ulHeldBits | m_ulCache >> uiHeld;
    m_ulCache <<= uiNeed;
    m_uiCachedBits -= uiNeed;
    return {ulBits, true};
}

template <class TReader>
void CBitReaderBase<TReader>::logReadFlagError() noexcept
{
    logError("ReadFlag() error  bs reach end when read bits, not enough bits");
}

template class CBitReaderBase<CBitStreamReader>;
template class CBitReaderBase<CRbspReader>;

} // namespace h265_codec
