#pragma once

#include <bit>
#include <cstdint>

#include "BitStreamReader.h"
#include "ShortCodes.h"

// A bit reader's state in registers, for the readers of this module. Not installed.

#define H265_ALWAYS_INLINE [[gnu::always_inline]] inline

namespace h265_codec::syntax {

/// The reader's cache word and count, in registers: a reader function opens a window over its reader,
/// reads its runs through it, and must close it (end its scope) before it hands the reader on.
///
/// A count of 0 says that nothing was taken since the window last looked at the reader: it is at its
/// end, or its top bit mask is not bit 63 and only its own operations know what to do.
template <class TReader>
class CBitWindow
{
public:
    H265_ALWAYS_INLINE explicit CBitWindow(TReader* pBS) noexcept : m_pBS(pBS)
    {
        load();
#ifdef __clang__
        // Keeps clang from a second copy of the first run's way to the reader's own operations, for which it
        // would compute every field's address beforehand: a PPS takes 8 % fewer instructions.
        __asm__("" : "+r"(m_uiCachedBits));
#endif
    }
    H265_ALWAYS_INLINE ~CBitWindow()
    {
        giveBack();
    }
    CBitWindow(const CBitWindow&) = delete;
    CBitWindow& operator=(const CBitWindow&) = delete;

    /// Takes uiWidth (1 … 63) bits to the top of ulBits; false, with nothing taken, when that is left to
    /// the reader's own operations.
    H265_ALWAYS_INLINE bool take(unsigned uiWidth, std::uint64_t& ulBits) noexcept
    {
        if (uiWidth < m_uiCachedBits) [[likely]] {
            ulBits = m_ulCache;
            drop(uiWidth);
            return true;
        }
        giveBack();
        const TakenBits taken = m_pBS->takeBitsAcrossRefill(uiWidth);
        load();
        ulBits = taken.ulBits;
        return taken.bTaken;
    }

    /// ue(v): a code that lies inside the counted bits is looked up, or found by its leading zeros; any
    /// other is read by the reader.
    H265_ALWAYS_INLINE UeCode takeUe() noexcept
    {
        const ShortCode code = SHORT_CODES.aCode[m_ulCache >> 56];
        if (code.ucLength < m_uiCachedBits) [[likely]] {
            drop(code.ucLength);
            return {code.ucValue, 0};
        }
        return takeLongUe();
    }

    /// se(v) likewise; value is 0 on failure.
    H265_ALWAYS_INLINE int takeSe(int& value) noexcept
    {
        const ShortCode code = SHORT_CODES.aCode[m_ulCache >> 56];
        if (code.ucLength < m_uiCachedBits) [[likely]] {
            drop(code.ucLength);
            value = code.scSigned;
            return 0;
        }
        const UeCode longCode = takeLongUe();
        value = longCode.iResult == 0 ? signedOfCode(longCode.uiValue) : 0;
        return longCode.iResult;
    }

    /// The next 64 bits, across the coming refill, without taking them; false where fewer than 64
    /// follow or that is left to the reader's own operations.
    H265_ALWAYS_INLINE bool peek(std::uint64_t& ulBits) const noexcept
    {
        if (m_uiCachedBits == 0 || m_uiCachedBits == 64 || m_pBS->m_pBufEnd - m_pBS->m_pCurPos < 8 ||
            m_ulCache << m_uiCachedBits != 0)
            return false;
        ulBits = m_ulCache | TReader::loadWord(m_pBS->m_pCurPos, 8) >> m_uiCachedBits;
        return true;
    }

    /// Takes uiWidth (0 … 64) of the bits that peek showed.
    H265_ALWAYS_INLINE void dropPeeked(unsigned uiWidth) noexcept
    {
        if (uiWidth < m_uiCachedBits) {
            drop(uiWidth);
            return;
        }
        const unsigned uiNeed = uiWidth - m_uiCachedBits;
        m_ulCache = TReader::loadWord(m_pBS->m_pCurPos, 8) << uiNeed;
        m_uiCachedBits = 64 - uiNeed;
        m_pBS->m_pCurPos += 8;
    }

    /// Lets an element read itself with the reader's own operations.
    template <class TElement>
    H265_ALWAYS_INLINE int step(const TElement& element) noexcept
    {
        giveBack();
        const int iResult = element.readStep(m_pBS);
        load();
        return iResult;
    }

private:
    H265_ALWAYS_INLINE UeCode takeLongUe() noexcept
    {
        giveBack();
        const UeCode code = m_pBS->readUeCode();
        load();
        return code;
    }

    H265_ALWAYS_INLINE void drop(unsigned uiWidth) noexcept
    {
        m_ulCache <<= uiWidth;
        m_uiCachedBits -= uiWidth;
    }
    H265_ALWAYS_INLINE void load() noexcept
    {
        m_ulCache = m_pBS->m_ulCache;
        m_uiCachedBits = m_pBS->m_ulTopBitMask == TReader::TOP_BIT ? m_pBS->m_uiCachedBits : 0;
    }
    H265_ALWAYS_INLINE void giveBack() noexcept
    {
        if (m_uiCachedBits == 0)
            return;
        m_pBS->m_ulCache = m_ulCache;
        m_pBS->m_uiCachedBits = m_uiCachedBits;
    }

    TReader* m_pBS;
    std::uint64_t m_ulCache;
    unsigned m_uiCachedBits;
};

} // namespace h265_codec::syntax
