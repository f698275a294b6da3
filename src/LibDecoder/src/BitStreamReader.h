#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_codec {

/// The payload ran out. The verify functions also return it for an unsupported stream, readPPS for a
/// missing SPS.
inline constexpr int E_BS_NOT_ENOUGH_BITS = -2147483647;

/// The pool gave no block.
inline constexpr int E_NO_MEMORY = -2147483646;

/// Eight bytes at pPos, which needs no alignment, as one big-endian number.
inline std::uint64_t loadBigEndian64(const unsigned char* pPos) noexcept
{
    std::uint64_t ulWord = 0;
    std::memcpy(&ulWord, pPos, sizeof(ulWord));
    if constexpr (std::endian::native == std::endian::little)
        ulWord = __builtin_bswap64(ulWord);
    return ulWord;
}

/// 9.2.2, Table 9-3: the signed value of a ue(v) code, computed in 32 bits (the largest code gives 0).
constexpr int signedOfCode(unsigned uiCode) noexcept
{
    const unsigned k = uiCode + 1;
    return static_cast<int>((k & 1) != 0 ? 0U - (k >> 1) : k >> 1);
}

/// 9.2: the length of the ue(v) code at the top of a word; more than 63 when it has no end there.
constexpr unsigned lengthOfCode(std::uint64_t ulWord) noexcept
{
    return 2 * static_cast<unsigned>(std::countl_zero(ulWord | 1)) + 1;
}

/// 9.2: its value; uiLength: up to 63.
constexpr unsigned valueOfCode(std::uint64_t ulWord, unsigned uiLength) noexcept
{
    return static_cast<unsigned>(ulWord >> (64 - uiLength)) - 1;
}

/// An Exp-Golomb code, or the result of the read that failed.
struct UeCode
{
    unsigned uiValue;
    int iResult;
};

/// Bits delivered at the top of a word; bTaken false: nothing was consumed.
struct TakenBits
{
    std::uint64_t ulBits;
    bool bTaken;
};

/// What the two bit readers share: their six fields and every operation. They differ in
/// TReader's constant and function only: how a refill builds the cache word, and whether readBits
/// consumes the very last bits of a payload.
///
/// A reader goes forward over one RBSP (emulation prevention removed, NAL unit header passed), most
/// significant bit first. It does not own the payload, which must stay readable for eight bytes past
/// its end. A read returns 0, or E_BS_NOT_ENOUGH_BITS after one ERROR line.
template <class TReader>
class CBitReaderBase
{
public:
    const unsigned char* m_pBufStart; // first byte of the payload; not used by any operation
    const unsigned char* m_pCurPos;   // next byte that a refill loads
    const unsigned char* m_pBufEnd;   // one past the last byte
    std::uint32_t m_uiCachedBits;     // undelivered bits that the cache word counts, 0 … 64
    std::uint64_t m_ulCache;          // the next bit is bit 63
    std::uint64_t m_ulTopBitMask;     // tests the next bit: bit 63

    /// Sets the reader up over uiByteCount bytes at pBuf.
    void init(const unsigned char* pBuf, unsigned uiByteCount) noexcept
    {
        m_pBufStart = pBuf;
        m_pCurPos = pBuf;
        m_pBufEnd = pBuf + uiByteCount;
        m_ulTopBitMask = TOP_BIT;
        refill();
    }

    /// u(n), 7.2: the next uiBitCount bits (1 … 32; of 33 … 64 the last 32 are delivered, 0 gives 0).
    /// On failure nothing is consumed and value holds the top bits of the cache word as they stand; a
    /// count above 64 fails with value 0.
    int readBits(unsigned uiBitCount, unsigned& value) noexcept;

    /// u(1): the next bit. False on failure.
    int readFlag(bool& flag) noexcept
    {
        if (m_uiCachedBits == 0) {
            logReadFlagError();
            flag = false;
            return E_BS_NOT_ENOUGH_BITS;
        }
        flag = takeBit();
        return 0;
    }

    /// ue(v), 9.2: kept modulo 2 to the power of T's width. On failure value is left as it was.
    template <class T>
    int readUe(T& value) noexcept
    {
        static_assert(std::is_same_v<T, unsigned char> || std::is_same_v<T, unsigned short> ||
                      std::is_same_v<T, unsigned>);
        const UeCode code = readUeCode();
        if (code.iResult == 0)
            value = static_cast<T>(code.uiValue);
        return code.iResult;
    }

    /// se(v), 9.2.2. value is 0 on failure.
    int readSe(int& value) noexcept
    {
        const UeCode code = readUeCode();
        value = code.iResult == 0 ? signedOfCode(code.uiValue) : 0;
        return code.iResult;
    }

    /// 7.3.2.11 rbsp_trailing_bits( ): drops the stop bit, unseen, and the bits up to the next byte
    /// boundary.
    void readTailing() noexcept
    {
        if (m_uiCachedBits == 0) {
            logReadFlagError();
            return;
        }
        // Both in one step, which saves a refill; behind a single bit counted, the next word begins with a byte.
        const unsigned uiDropped = 1 + (m_uiCachedBits - 1) % 8;
        m_ulCache <<= uiDropped;
        m_uiCachedBits -= uiDropped;
        if (m_uiCachedBits == 0)
            refill();
    }

    /// The mask that m_ulTopBitMask is set up with.
    static constexpr std::uint64_t TOP_BIT = std::uint64_t{1} << 63;

    /// For the module's own readers: any ue(v), however it lies across refills.
    UeCode readUeCode() noexcept;

    /// For the module's own readers: uiBitCount (m_uiCachedBits … 63) bits that reach into the next refill, at the top
    /// of a word. Takes none when they reach to the end of the payload or past it.
    TakenBits takeBitsAcrossRefill(unsigned uiBitCount) noexcept;

private:
    void refill() noexcept
    {
        const std::uint64_t ulLeft = static_cast<std::uint64_t>(m_pBufEnd - m_pCurPos);
        if (ulLeft >= 8) { // the usual case apart: its shifts are constants
            m_ulCache = TReader::loadWord(m_pCurPos, 8);
            m_pCurPos += 8;
            m_uiCachedBits = 64;
            return;
        }
        const unsigned uiAdvance = static_cast<unsigned>(ulLeft);
        m_ulCache = TReader::loadWord(m_pCurPos, uiAdvance);
        m_pCurPos = m_pBufEnd;
        m_uiCachedBits = 8 * uiAdvance;
    }

    bool takeBit() noexcept
    {
        const bool bBit = (m_ulCache & m_ulTopBitMask) != 0;
        m_ulCache <<= 1;
        if (--m_uiCachedBits == 0)
            refill();
        return bBit;
    }

    UeCode readUeBitByBit() noexcept;
    UeCode readUeSuffix(unsigned uiLeadingZeros) noexcept;

    static void logReadFlagError() noexcept;
};

/// The decoder's own reader. Its refill puts the first four of eight bytes into the lower half of the
/// cache word and passes over the other four, so a payload longer than one cache word is delivered
/// with gaps; and readBits of exactly the last bits does not consume them. Decoders
/// rely on both. For streams as encoders write them use CRbspReader.
class CBitStreamReader : public CBitReaderBase<CBitStreamReader>
{
public:
    /// readBits of exactly the last bits leaves them in place.
    static constexpr bool CONSUMES_LAST_BITS = false;

    /// The cache word of a refill at pPos: the first four bytes in the lower half, however many count.
    static std::uint64_t loadWord(const unsigned char* pPos, unsigned /* uiByteCount */) noexcept
    {
        return loadBigEndian64(pPos) >> 32;
    }
};

/// Delivers every bit of the payload in order: the same fields, operations, results and messages as
/// CBitStreamReader, with a refill of all eight bytes, and a read past the end always fails.
class CRbspReader : public CBitReaderBase<CRbspReader>
{
public:
    /// readBits of exactly the last bits takes them.
    static constexpr bool CONSUMES_LAST_BITS = true;

    /// The cache word of a refill at pPos: eight bytes, those behind the first uiByteCount as zero.
    static std::uint64_t loadWord(const unsigned char* pPos, unsigned uiByteCount) noexcept
    {
        const std::uint64_t ulWord = loadBigEndian64(pPos);
        if (uiByteCount == 8)
            return ulWord;
        return ulWord & ~(~std::uint64_t{0} >> (8 * uiByteCount));
    }
};

extern template class CBitReaderBase<CBitStreamReader>;
extern template class CBitReaderBase<CRbspReader>;

} // namespace h265_codec
