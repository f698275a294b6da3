#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "TestHost.h"

namespace h265_test {

using h265_codec::CBitStreamReader;
using h265_codec::CRbspReader;

inline constexpr std::uint64_t TOP_BIT = std::uint64_t{1} << 63;

// The six fields of a reader.
struct State
{
    const unsigned char* pBufStart;
    const unsigned char* pCurPos;
    const unsigned char* pBufEnd;
    unsigned uiCachedBits;
    std::uint64_t ulCache;
    std::uint64_t ulTopBitMask;

    bool operator==(const State&) const = default;
};

template <class TReader>
State stateOf(const TReader& bs)
{
    return {bs.m_pBufStart, bs.m_pCurPos, bs.m_pBufEnd, bs.m_uiCachedBits, bs.m_ulCache, bs.m_ulTopBitMask};
}

inline std::uint64_t topAligned(const CBitWriter& writer)
{
    std::uint64_t ulWord = 0;
    for (std::size_t i = 0; i < writer.size(); ++i) {
        if (writer.allBits()[i])
            ulWord |= TOP_BIT >> i;
    }
    return ulWord;
}

template <class TReader>
class BitReader : public testing::Test
{
protected:
    // A reader whose cache word holds exactly these bits; the payload's bytes that follow are none.
    TReader holding(const CBitWriter& writer) const
    {
        TReader bs = m_behind.reader<TReader>();
        bs.m_pCurPos = bs.m_pBufEnd;
        bs.m_uiCachedBits = static_cast<unsigned>(writer.size());
        bs.m_ulCache = topAligned(writer);
        return bs;
    }

    TReader holding(const char* pBits) const { return holding(CBitWriter().bits(pBits)); }

    // The same with the whole payload of eight bytes still to come.
    TReader holdingWithMore(const char* pBits) const
    {
        TReader bs = holding(pBits);
        bs.m_pCurPos = bs.m_pBufStart;
        return bs;
    }

    static constexpr bool CONSUMES_LAST = std::is_same_v<TReader, CRbspReader>;
    static constexpr std::uint64_t REFILLED = CONSUMES_LAST ? 0x8123456789abcdef : 0x0000000081234567;

    CPaddedPayload m_behind{{0x81, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef}};
    CLogCatcher m_log;
};

} // namespace h265_test
