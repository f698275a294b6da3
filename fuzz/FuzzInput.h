#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "BitStreamReader.h"
#include "BitWriter.h"

namespace h265_fuzz {

/// Ends the process with the broken promise in words, which makes the input a finding.
inline void check(bool bHolds, const char* pPromise)
{
    if (bHolds)
        return;
    std::fprintf(stderr, "broken: %s\n", pPromise);
    std::abort();
}

/// The bytes of one fuzz case, taken front to back; zeros where they ran out.
class CFuzzInput
{
public:
    CFuzzInput(const unsigned char* pData, std::size_t uiSize) : m_pPos(pData), m_pEnd(pData + uiSize) {}

    [[nodiscard]] bool isEmpty() const { return m_pPos == m_pEnd; }

    unsigned u8() { return isEmpty() ? 0 : *m_pPos++; }
    unsigned u16()
    {
        const unsigned uiHigh = u8();
        return uiHigh << 8 | u8();
    }
    unsigned u32()
    {
        const unsigned uiHigh = u16();
        return uiHigh << 16 | u16();
    }

    /// 0 … uiBound - 1, uiBound up to 256.
    unsigned below(unsigned uiBound) { return u8() % uiBound; }

    /// A size in four forms: a byte, two bytes, a byte times 2^10, four bytes.
    unsigned size()
    {
        switch (below(4)) {
        case 0:
            return u8();
        case 1:
            return u16();
        case 2:
            return u8() << 10;
        default:
            return u32();
        }
    }

    /// Two bytes that say how many, then so many (fewer at the end).
    std::vector<unsigned char> bytes()
    {
        const std::size_t uiAsked = u16();
        return take(std::min(uiAsked, static_cast<std::size_t>(m_pEnd - m_pPos)));
    }

    /// All that are left.
    std::vector<unsigned char> rest() { return take(static_cast<std::size_t>(m_pEnd - m_pPos)); }

private:
    std::vector<unsigned char> take(std::size_t uiCount)
    {
        std::vector<unsigned char> taken(m_pPos, m_pPos + uiCount);
        m_pPos += uiCount;
        return taken;
    }

    const unsigned char* m_pPos;
    const unsigned char* m_pEnd;
};

/// One payload and the bit reader that reads it. It lies twice in heap blocks of its own, with two
/// different paddings, on which no successful reading may depend.
class CFuzzPayload
{
public:
    explicit CFuzzPayload(CFuzzInput& input)
        : m_bDecoder(input.below(2) != 0), m_ucPadding(static_cast<unsigned char>(input.u8())),
          m_payload(input.bytes(), m_ucPadding), m_samePayload({m_payload.data(), m_payload.data() + m_payload.size()},
                                                               static_cast<unsigned char>(~m_ucPadding))
    {}

    /// Runs call(pBS) over the payload and checks what must hold after every reading.
    template <class TCall>
    int read(TCall call) const
    {
        return m_bDecoder ? readWith<h265_codec::CBitStreamReader>(m_payload, call)
                          : readWith<h265_codec::CRbspReader>(m_payload, call);
    }

    /// The same over the other padding.
    template <class TCall>
    int readAgain(TCall call) const
    {
        return m_bDecoder ? readWith<h265_codec::CBitStreamReader>(m_samePayload, call)
                          : readWith<h265_codec::CRbspReader>(m_samePayload, call);
    }

private:
    template <class TReader, class TCall>
    static int readWith(const h265_test::CPaddedPayload& payload, TCall call)
    {
        TReader bs = payload.reader<TReader>();
        const int iResult = call(&bs);
        check(iResult == 0 || iResult == h265_codec::E_BS_NOT_ENOUGH_BITS || iResult == h265_codec::E_NO_MEMORY,
              "a reader returns one of three results");
        check(bs.m_pBufStart == payload.data() && bs.m_pBufEnd == payload.data() + payload.size(),
              "the payload stays where it is");
        check(bs.m_pCurPos >= bs.m_pBufStart && bs.m_pCurPos <= bs.m_pBufEnd, "the reader stays in its payload");
        check(bs.m_uiCachedBits <= 64, "the cache word counts at most 64 bits");
        check(bs.m_ulTopBitMask == TReader::TOP_BIT, "the mask stays as it is");
        return iResult;
    }

    bool m_bDecoder;
    unsigned char m_ucPadding;
    h265_test::CPaddedPayload m_payload;
    h265_test::CPaddedPayload m_samePayload;
};

} // namespace h265_fuzz
