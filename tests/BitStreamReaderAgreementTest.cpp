#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "BitReaderFixture.h"
#include "BitStreamReader.h"
#include "BitWriter.h"
#include "TestHost.h"

namespace bit_stream_reader_agreement_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

using BothReaders = testing::Types<CBitStreamReader, CRbspReader>;
TYPED_TEST_SUITE(BitReader, BothReaders);

// Each operation spelled out bit by bit, over the same six fields: slow, and nothing to get wrong.
template <bool CONSUMES_LAST_BITS>
class CSlowReader
{
public:
    State m_state;
    std::vector<std::string> m_lines;

    int readBits(unsigned uiBitCount, unsigned& value)
    {
        value = 0;
        if (uiBitCount == 0)
            return 0;
        if (uiBitCount > 64)
            return fail(READ_BITS_ERROR);
        value = static_cast<unsigned>(m_state.ulCache >> (64 - uiBitCount));
        if (m_state.uiCachedBits > uiBitCount) {
            drop(uiBitCount);
            return 0;
        }
        const unsigned uiNeed = uiBitCount - m_state.uiCachedBits;
        const std::ptrdiff_t iLeft = m_state.pBufEnd - m_state.pCurPos;
        if (iLeft <= 0 || 8 * iLeft < static_cast<std::ptrdiff_t>(uiNeed)) {
            if (uiNeed != 0)
                return fail(READ_BITS_ERROR);
            if (CONSUMES_LAST_BITS)
                drop(uiBitCount);
            return 0;
        }
        refill();
        if (uiNeed == 0)
            return 0;
        value |= static_cast<unsigned>(m_state.ulCache >> (64 - uiNeed));
        drop(uiNeed);
        return 0;
    }

    int readFlag(bool& flag)
    {
        if (m_state.uiCachedBits == 0) {
            flag = false;
            return fail(READ_FLAG_ERROR);
        }
        flag = (m_state.ulCache & m_state.ulTopBitMask) != 0;
        drop(1);
        if (m_state.uiCachedBits == 0)
            refill();
        return 0;
    }

    template <class T>
    int readUe(T& value)
    {
        unsigned uiLeadingZeros = 0;
        for (bool bBit = false; !bBit;) {
            if (readFlag(bBit) != 0)
                return E_BS_NOT_ENOUGH_BITS;
            uiLeadingZeros += bBit ? 0 : 1;
        }
        unsigned uiBits = 0;
        if (uiLeadingZeros != 0 && readBits(uiLeadingZeros, uiBits) != 0)
            return E_BS_NOT_ENOUGH_BITS;
        value = static_cast<T>((1U << uiLeadingZeros % 32) - 1 + uiBits);
        return 0;
    }

    int readSe(int& value)
    {
        value = 0;
        unsigned uiCode = 0;
        if (readUe(uiCode) != 0)
            return E_BS_NOT_ENOUGH_BITS;
        const std::int64_t iHalf = static_cast<unsigned>(uiCode + 1) / 2;
        value = static_cast<int>(uiCode % 2 == 1 ? iHalf : -iHalf);
        return 0;
    }

    void readTailing()
    {
        if (m_state.uiCachedBits == 0) {
            fail(READ_FLAG_ERROR);
            return;
        }
        drop(1);
        if (m_state.uiCachedBits == 0)
            refill();
        drop(m_state.uiCachedBits % 8);
        if (m_state.uiCachedBits == 0)
            refill();
    }

private:
    int fail(const char* pLine)
    {
        m_lines.emplace_back(pLine);
        return E_BS_NOT_ENOUGH_BITS;
    }

    void drop(unsigned uiBitCount)
    {
        for (unsigned i = 0; i < uiBitCount; ++i)
            m_state.ulCache <<= 1;
        m_state.uiCachedBits -= uiBitCount;
    }

    void refill()
    {
        const unsigned uiLeft = static_cast<unsigned>(std::min<std::ptrdiff_t>(8, m_state.pBufEnd - m_state.pCurPos));
        m_state.ulCache = 0;
        for (unsigned i = 0; i < (CONSUMES_LAST_BITS ? 8 : 4); ++i)
            m_state.ulCache = m_state.ulCache << 8 | (CONSUMES_LAST_BITS && i >= uiLeft ? 0 : m_state.pCurPos[i]);
        m_state.pCurPos += uiLeft;
        m_state.uiCachedBits = 8 * uiLeft;
    }
};

// Runs one operation on both readers and compares results and values.
template <class TReader, class TSlow>
void stepBoth(unsigned uiOperation, unsigned uiBitCount, TReader& bs, TSlow& slow)
{
    const auto compare = [&](auto iInitial, const auto& operation) {
        auto value = iInitial;
        auto slowValue = iInitial;
        EXPECT_EQ(operation(bs, value), operation(slow, slowValue));
        EXPECT_EQ(value, slowValue);
    };
    switch (uiOperation) {
    case 0:
        compare(true, [](auto& reader, auto& value) { return reader.readFlag(value); });
        break;
    case 1:
        compare(static_cast<unsigned char>(77), [](auto& reader, auto& value) { return reader.readUe(value); });
        break;
    case 2:
        compare(static_cast<unsigned short>(7777), [](auto& reader, auto& value) { return reader.readUe(value); });
        break;
    case 3:
        compare(77777777U, [](auto& reader, auto& value) { return reader.readUe(value); });
        break;
    case 4:
        compare(-7, [](auto& reader, auto& value) { return reader.readSe(value); });
        break;
    case 5:
        bs.readTailing();
        slow.readTailing();
        break;
    default:
        compare(7U, [&](auto& reader, auto& value) { return reader.readBits(uiBitCount, value); });
    }
}

TYPED_TEST(BitReader, AgreesWithABitByBitReaderOnAnything)
{
    std::mt19937 random(20);
    for (int iPayload = 0; iPayload < 3000; ++iPayload) {
        SCOPED_TRACE(iPayload);
        std::vector<unsigned char> bytes(random() % 40);
        const unsigned uiDensity = random() % 4; // from all zeros to random
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random() % 4 < uiDensity ? random() : 0);
        const CPaddedPayload payload(bytes, static_cast<unsigned char>(random()));
        TypeParam bs = payload.reader<TypeParam>();
        if (iPayload % 10 == 0)
            bs.m_ulTopBitMask = TOP_BIT >> random() % 64 | TOP_BIT >> random() % 64;
        CSlowReader<std::is_same_v<TypeParam, CRbspReader>> slow{stateOf(bs), {}};
        this->m_log.forget();
        for (int iStep = 0; iStep < 40 && !testing::Test::HasFailure(); ++iStep) {
            const unsigned uiBitCount =
                iStep % 3 == 0 ? static_cast<unsigned>(random() % 68) : static_cast<unsigned>(1 + random() % 12);
            stepBoth(static_cast<unsigned>(random() % 12), uiBitCount, bs, slow);
            ASSERT_EQ(stateOf(bs), slow.m_state);
        }
        ASSERT_EQ(this->m_log.lines(), slow.m_lines);
    }
}

// A decoder may leave the public fields in any state: any count, uncounted bits behind the counted ones.
template <class TReader>
TReader inAnyState(const CPaddedPayload& payload, std::mt19937& random)
{
    TReader bs = payload.reader<TReader>();
    bs.m_pCurPos = bs.m_pBufStart + random() % static_cast<std::size_t>(bs.m_pBufEnd - bs.m_pBufStart + 1);
    bs.m_uiCachedBits = static_cast<unsigned>(random() % 4 == 0 ? random() % 65 : random() % 10);
    bs.m_ulCache = (std::uint64_t{random()} << 32 | random()) >> random() % 64;
    if (random() % 2 == 0)
        bs.m_ulCache =
            bs.m_uiCachedBits == 0 ? 0 : bs.m_ulCache >> (64 - bs.m_uiCachedBits) << (64 - bs.m_uiCachedBits);
    if (random() % 8 == 0)
        bs.m_ulTopBitMask = TOP_BIT >> random() % 64;
    return bs;
}

TYPED_TEST(BitReader, AgreesWithABitByBitReaderFromAnyState)
{
    std::mt19937 random(21);
    for (int iRound = 0; iRound < 20000; ++iRound) {
        SCOPED_TRACE(iRound);
        std::vector<unsigned char> bytes(random() % 20);
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random() % 4 == 0 ? random() : 0);
        const CPaddedPayload payload(bytes);
        TypeParam bs = inAnyState<TypeParam>(payload, random);
        CSlowReader<std::is_same_v<TypeParam, CRbspReader>> slow{stateOf(bs), {}};
        this->m_log.forget();
        stepBoth(static_cast<unsigned>(random() % 7), static_cast<unsigned>(random() % 68), bs, slow);
        ASSERT_EQ(stateOf(bs), slow.m_state);
        ASSERT_EQ(this->m_log.lines(), slow.m_lines);
    }
}

TYPED_TEST(BitReader, TakesBitsAcrossARefillAsReadBitsDoesOrNotAtAll)
{
    std::mt19937 random(22);
    unsigned uiTaken = 0;
    for (int iRound = 0; iRound < 20000; ++iRound) {
        SCOPED_TRACE(iRound);
        std::vector<unsigned char> bytes(random() % 20);
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random());
        const CPaddedPayload payload(bytes);
        TypeParam bs = inAnyState<TypeParam>(payload, random);
        const State before = stateOf(bs);
        const unsigned uiBitCount = static_cast<unsigned>(1 + random() % 63);
        const TakenBits taken = bs.takeBitsAcrossRefill(uiBitCount);
        if (!taken.bTaken) {
            ASSERT_EQ(stateOf(bs), before);
            continue;
        }
        ++uiTaken;
        ASSERT_NE(before.uiCachedBits, 0U); // where a flag fails
        // A run stores several fields from the bits: none that the cache word did not count may be among them.
        ASSERT_EQ(before.ulCache << before.uiCachedBits, 0U);
        CSlowReader<std::is_same_v<TypeParam, CRbspReader>> slow{before, {}};
        unsigned value = 0;
        ASSERT_EQ(slow.readBits(uiBitCount, value), 0);
        ASSERT_EQ(static_cast<unsigned>(taken.ulBits >> (64 - uiBitCount)), value);
        ASSERT_EQ(stateOf(bs), slow.m_state);
    }
    EXPECT_GT(uiTaken, 1000U);
}

} // namespace
} // namespace bit_stream_reader_agreement_test
