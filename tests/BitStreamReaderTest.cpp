#include "BitStreamReader.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitReaderFixture.h"
#include "BitWriter.h"
#include "TestHost.h"

namespace bit_stream_reader_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

static_assert(E_BS_NOT_ENOUGH_BITS == static_cast<int>(0x80000001U));
static_assert(E_NO_MEMORY == static_cast<int>(0x80000002U));

using BothReaders = testing::Types<CBitStreamReader, CRbspReader>;
TYPED_TEST_SUITE(BitReader, BothReaders);

TYPED_TEST(BitReader, IsSetUpOverAPayloadWithItsFirstWordLoaded)
{
    const TypeParam bs = this->m_behind.template reader<TypeParam>();
    const unsigned char* const pStart = this->m_behind.data();
    EXPECT_EQ(stateOf(bs), (State{pStart, pStart + 8, pStart + 8, 64, this->REFILLED, TOP_BIT}));
}

TYPED_TEST(BitReader, IsSetUpOverAnEmptyPayloadWithoutABit)
{
    TypeParam bs;
    bs.init(this->m_behind.data(), 0);
    EXPECT_EQ(bs.m_uiCachedBits, 0U);
    EXPECT_EQ(bs.m_pCurPos, this->m_behind.data());
    EXPECT_EQ(bs.m_pBufEnd, this->m_behind.data());
    bool flag = true;
    EXPECT_EQ(bs.readFlag(flag), E_BS_NOT_ENOUGH_BITS);
    EXPECT_FALSE(flag);
    EXPECT_EQ(this->m_log.lines(), std::vector<std::string>{READ_FLAG_ERROR});
}

TYPED_TEST(BitReader, AdvancesByTheBytesThatAreLeft)
{
    for (unsigned uiSize = 0; uiSize <= 8; ++uiSize) {
        SCOPED_TRACE(uiSize);
        TypeParam bs;
        bs.init(this->m_behind.data(), uiSize);
        EXPECT_EQ(bs.m_uiCachedBits, 8 * uiSize);
        EXPECT_EQ(bs.m_pCurPos, bs.m_pBufEnd);
    }
}

TYPED_TEST(BitReader, ReadsBitsMostSignificantFirst)
{
    TypeParam bs = this->holding("1011 0010 1");
    unsigned value = 99;
    EXPECT_EQ(bs.readBits(3, value), 0);
    EXPECT_EQ(value, 5U);
    EXPECT_EQ(bs.m_uiCachedBits, 6U);
    EXPECT_EQ(bs.m_ulCache, topAligned(CBitWriter().bits("100101")));
    EXPECT_EQ(bs.readBits(5, value), 0);
    EXPECT_EQ(value, 18U);
    EXPECT_EQ(bs.m_uiCachedBits, 1U);
    EXPECT_TRUE(this->m_log.lines().empty());
}

TYPED_TEST(BitReader, ReadsEveryWidthUpTo32FromTheCacheAlone)
{
    for (unsigned uiWidth = 1; uiWidth <= 32; ++uiWidth) {
        SCOPED_TRACE(uiWidth);
        TypeParam bs = this->holdingWithMore("1");
        bs.m_ulCache = 0x9e3779b97f4a7c15;
        bs.m_uiCachedBits = 33;
        unsigned value = 0;
        EXPECT_EQ(bs.readBits(uiWidth, value), 0);
        EXPECT_EQ(value, static_cast<unsigned>(0x9e3779b97f4a7c15 >> (64 - uiWidth)));
        EXPECT_EQ(bs.m_ulCache, 0x9e3779b97f4a7c15 << uiWidth);
        EXPECT_EQ(bs.m_uiCachedBits, 33 - uiWidth);
        EXPECT_EQ(bs.m_pCurPos, bs.m_pBufStart);
    }
}

TYPED_TEST(BitReader, ReadsNoBitsAsZero)
{
    for (const char* const pBits : {"", "1", "10101"}) {
        TypeParam bs = this->holdingWithMore(pBits);
        const State before = stateOf(bs);
        unsigned value = 99;
        EXPECT_EQ(bs.readBits(0, value), 0);
        EXPECT_EQ(value, 0U);
        EXPECT_EQ(stateOf(bs), before);
    }
    EXPECT_TRUE(this->m_log.lines().empty());
}

TYPED_TEST(BitReader, DeliversTheLast32Of33To64Bits)
{
    for (unsigned uiWidth = 33; uiWidth < 64; ++uiWidth) {
        SCOPED_TRACE(uiWidth);
        TypeParam bs = this->holding("1");
        bs.m_ulCache = 0x9e3779b97f4a7c15;
        bs.m_uiCachedBits = 64;
        unsigned value = 0;
        EXPECT_EQ(bs.readBits(uiWidth, value), 0);
        EXPECT_EQ(value, static_cast<unsigned>(0x9e3779b97f4a7c15 >> (64 - uiWidth)));
        EXPECT_EQ(bs.m_uiCachedBits, 64 - uiWidth);
        EXPECT_EQ(bs.m_ulCache, 0x9e3779b97f4a7c15 << uiWidth);
    }
}

TYPED_TEST(BitReader, Delivers64BitsAcrossARefill)
{
    TypeParam bs = this->holdingWithMore("1");
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(64, value), 0);
    EXPECT_EQ(value, static_cast<unsigned>(this->REFILLED >> 1)); // 63 bits of the new word
    EXPECT_EQ(bs.m_uiCachedBits, 1U);
    EXPECT_EQ(bs.m_ulCache, this->REFILLED << 63);
}

TYPED_TEST(BitReader, Takes64BitsOfAFreshWordWithAnEmptyCache)
{
    TypeParam bs = this->holdingWithMore("");
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(64, value), 0);
    EXPECT_EQ(value, static_cast<unsigned>(this->REFILLED));
    EXPECT_EQ(bs.m_uiCachedBits, 0U);
    EXPECT_EQ(bs.m_ulCache, 0U);
    EXPECT_EQ(bs.m_pCurPos, bs.m_pBufEnd);
}

TYPED_TEST(BitReader, RefusesMoreThan64Bits)
{
    for (const unsigned uiWidth : {65U, 66U, 96U, 128U, 0x80000000U, 0xfffffffeU, 0xffffffffU}) {
        SCOPED_TRACE(uiWidth);
        this->m_log.forget();
        TypeParam bs = this->holdingWithMore("1011");
        const State before = stateOf(bs);
        unsigned value = 99;
        EXPECT_EQ(bs.readBits(uiWidth, value), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(value, 0U);
        EXPECT_EQ(stateOf(bs), before);
        EXPECT_EQ(this->m_log.lines(), std::vector<std::string>{READ_BITS_ERROR});
    }
}

TYPED_TEST(BitReader, JoinsHeldBitsWithThoseOfTheNextWord)
{
    TypeParam bs = this->holdingWithMore("101");
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(5, value), 0);
    EXPECT_EQ(value, 0b10100U | static_cast<unsigned>(this->REFILLED >> 62));
    EXPECT_EQ(bs.m_uiCachedBits, 62U);
    EXPECT_EQ(bs.m_ulCache, this->REFILLED << 2);
    EXPECT_EQ(bs.m_pCurPos, bs.m_pBufEnd);
}

TYPED_TEST(BitReader, RefillsAtOnceWhenExactlyTheHeldBitsAreRead)
{
    TypeParam bs = this->holdingWithMore("101");
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(3, value), 0);
    EXPECT_EQ(value, 5U);
    EXPECT_EQ(bs.m_uiCachedBits, 64U);
    EXPECT_EQ(bs.m_ulCache, this->REFILLED);
}

TYPED_TEST(BitReader, ReadsBitsUpToTheVeryEndAcrossARefill)
{
    TypeParam bs = this->holdingWithMore("101");
    bs.m_pBufEnd = bs.m_pBufStart + 1;
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(11, value), 0);
    EXPECT_EQ(value, this->CONSUMES_LAST ? 0b101'1000'0001U : 0b101'0000'0000U);
    EXPECT_EQ(bs.m_uiCachedBits, 0U);
    EXPECT_EQ(bs.m_pCurPos, bs.m_pBufEnd);
}

TYPED_TEST(BitReader, FailsWithTheBitsThatWereLeftFollowedByZeros)
{
    TypeParam bs = this->holding("1101");
    const State before = stateOf(bs);
    unsigned value = 99;
    EXPECT_EQ(bs.readBits(7, value), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(value, 0b1101000U);
    EXPECT_EQ(stateOf(bs), before);
    EXPECT_EQ(this->m_log.lines(), std::vector<std::string>{READ_BITS_ERROR});
}

TYPED_TEST(BitReader, FailsWithoutTouchingBytesThatDoNotSuffice)
{
    TypeParam bs = this->holdingWithMore("11");
    bs.m_pBufEnd = bs.m_pBufStart + 1;
    const State before = stateOf(bs);
    unsigned value = 99;
    EXPECT_EQ(bs.readBits(11, value), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(value, 0b110'0000'0000U);
    EXPECT_EQ(stateOf(bs), before);
    EXPECT_EQ(this->m_log.lines(), std::vector<std::string>{READ_BITS_ERROR});
}

TYPED_TEST(BitReader, FailsToReadBitsWhenNoneAreLeft)
{
    TypeParam bs = this->holding("");
    unsigned value = 99;
    EXPECT_EQ(bs.readBits(1, value), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(this->m_log.lines(), std::vector<std::string>{READ_BITS_ERROR});
}

TYPED_TEST(BitReader, ReadsFlags)
{
    TypeParam bs = this->holding("101");
    bool flag = false;
    EXPECT_EQ(bs.readFlag(flag), 0);
    EXPECT_TRUE(flag);
    EXPECT_EQ(bs.m_uiCachedBits, 2U);
    EXPECT_EQ(bs.m_ulCache, topAligned(CBitWriter().bits("01")));
    EXPECT_EQ(bs.readFlag(flag), 0);
    EXPECT_FALSE(flag);
    EXPECT_EQ(bs.readFlag(flag), 0);
    EXPECT_TRUE(flag);
    EXPECT_EQ(bs.m_uiCachedBits, 0U);
    EXPECT_TRUE(this->m_log.lines().empty());

    EXPECT_EQ(bs.readFlag(flag), E_BS_NOT_ENOUGH_BITS);
    EXPECT_FALSE(flag);
    EXPECT_EQ(this->m_log.lines(), std::vector<std::string>{READ_FLAG_ERROR});
}

TYPED_TEST(BitReader, RefillsAtOnceWhenAFlagTakesTheLastHeldBit)
{
    TypeParam bs = this->holdingWithMore("1");
    bool flag = false;
    EXPECT_EQ(bs.readFlag(flag), 0);
    EXPECT_TRUE(flag);
    EXPECT_EQ(bs.m_uiCachedBits, 64U);
    EXPECT_EQ(bs.m_ulCache, this->REFILLED);
    EXPECT_EQ(bs.m_pCurPos, bs.m_pBufEnd);
}

TYPED_TEST(BitReader, TestsTheNextBitWithItsMask)
{
    struct Case
    {
        const char* pName;
        std::uint64_t ulMask;
        bool bFirst;
    };
    const Case aCases[] = {
        {"bit 63", TOP_BIT, false},
        {"bit 62", TOP_BIT >> 1, true},
        {"the upper two bits", TOP_BIT | TOP_BIT >> 1, true},
        {"bit 0", 1, false},
        {"no bit", 0, false},
        {"every bit", ~std::uint64_t{0}, true},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pName);
        TypeParam bs = this->holding("0100");
        bs.m_ulTopBitMask = c.ulMask;
        bool flag = !c.bFirst;
        EXPECT_EQ(bs.readFlag(flag), 0);
        EXPECT_EQ(flag, c.bFirst);
        EXPECT_EQ(bs.m_uiCachedBits, 3U);
        EXPECT_EQ(bs.m_ulTopBitMask, c.ulMask);
    }
}

TYPED_TEST(BitReader, DropsTrailingBitsUpToTheByteBoundary)
{
    for (unsigned uiHeld = 1; uiHeld <= 64; ++uiHeld) {
        SCOPED_TRACE(uiHeld);
        TypeParam bs = this->holdingWithMore("");
        bs.m_ulCache = 0x9e3779b97f4a7c15;
        bs.m_uiCachedBits = uiHeld;
        bs.readTailing();
        const unsigned uiLeft = (uiHeld - 1) / 8 * 8;
        EXPECT_EQ(bs.m_uiCachedBits, uiLeft == 0 ? 64 : uiLeft);
        if (uiLeft == 0) {
            EXPECT_EQ(bs.m_ulCache, this->REFILLED);
        } else {
            EXPECT_EQ(bs.m_ulCache, 0x9e3779b97f4a7c15 << (uiHeld - uiLeft));
        }
        EXPECT_EQ(bs.m_pCurPos, uiLeft == 0 ? bs.m_pBufEnd : bs.m_pBufStart);
    }
    EXPECT_TRUE(this->m_log.lines().empty());
}

TYPED_TEST(BitReader, DropsTheStopBitUnseen)
{
    for (const char* const pBits : {"1 1111 0000 0000", "0 1111 0000 0000"}) {
        SCOPED_TRACE(pBits);
        TypeParam bs = this->holding(pBits);
        bs.readTailing();
        EXPECT_EQ(bs.m_uiCachedBits, 8U);
        EXPECT_EQ(bs.m_ulCache, 0U);
    }
}

TYPED_TEST(BitReader, DropsTheLastTrailingBitWithoutAFailure)
{
    TypeParam bs = this->holding("1");
    bs.readTailing();
    EXPECT_EQ(bs.m_uiCachedBits, 0U);
    EXPECT_EQ(bs.m_pCurPos, bs.m_pBufEnd);
    EXPECT_TRUE(this->m_log.lines().empty());
}

TYPED_TEST(BitReader, ReportsMissingTrailingBits)
{
    TypeParam bs = this->holding("");
    const State before = stateOf(bs);
    bs.readTailing();
    EXPECT_EQ(stateOf(bs), before);
    EXPECT_EQ(this->m_log.lines(), std::vector<std::string>{READ_FLAG_ERROR});
}

TYPED_TEST(BitReader, FailsTheSameWayWhenTheLogIsQuiet)
{
    for (const int iLevel : {2, 3, 4}) {
        const CLogCatcher log(iLevel);
        TypeParam bs = this->holding("");
        bool flag = true;
        unsigned value = 99;
        EXPECT_EQ(bs.readFlag(flag), E_BS_NOT_ENOUGH_BITS);
        EXPECT_FALSE(flag);
        EXPECT_EQ(bs.readBits(1, value), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(log.lines().size(), iLevel < 3 ? 2U : 0U);
    }
}

TEST(DecoderReader, DeliversEachWordAs32ZerosAndItsFirstFourBytes)
{
    const CPaddedPayload payload(
        {0x80, 0x12, 0x34, 0x56, 0xff, 0xff, 0xff, 0xff, 0x9a, 0xbc, 0xde, 0xf1, 0xff, 0xff, 0xff, 0xff});
    CBitStreamReader bs = payload.reader<CBitStreamReader>();
    for (const unsigned uiExpected : {0U, 0x80123456U, 0U, 0x9abcdef1U}) {
        unsigned value = 99;
        EXPECT_EQ(bs.readBits(32, value), 0);
        EXPECT_EQ(value, uiExpected);
    }
    EXPECT_EQ(bs.m_pCurPos, bs.m_pBufEnd);
}

TEST(DecoderReader, StepsEightBytesPerRefill)
{
    const CPaddedPayload payload(std::vector<unsigned char>(20, 0xff));
    CBitStreamReader bs = payload.reader<CBitStreamReader>();
    EXPECT_EQ(bs.m_pCurPos - bs.m_pBufStart, 8);
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(32, value), 0);
    EXPECT_EQ(bs.readBits(32, value), 0); // exactly the held bits: the next word comes at once
    EXPECT_EQ(bs.m_pCurPos - bs.m_pBufStart, 16);
    EXPECT_EQ(bs.m_uiCachedBits, 64U);
    EXPECT_EQ(bs.readBits(32, value), 0);
    EXPECT_EQ(bs.readBits(32, value), 0);
    EXPECT_EQ(bs.m_pCurPos, bs.m_pBufEnd);
    EXPECT_EQ(bs.m_uiCachedBits, 32U);
}

TEST(DecoderReader, CountsOnlyTheBytesLeftOfALastWord)
{
    // The word holds the first four bytes it loaded, padding included; the count covers its top.
    for (unsigned uiSize = 0; uiSize < 8; ++uiSize) {
        SCOPED_TRACE(uiSize);
        const CPaddedPayload payload(std::vector<unsigned char>(uiSize, 0x3c), 0xa5);
        const CBitStreamReader bs = payload.reader<CBitStreamReader>();
        std::uint64_t ulWord = 0;
        for (unsigned i = 0; i < 4; ++i)
            ulWord = ulWord << 8 | (i < uiSize ? 0x3c : 0xa5);
        EXPECT_EQ(bs.m_ulCache, ulWord);
        EXPECT_EQ(bs.m_uiCachedBits, 8 * uiSize);
    }
}

TEST(DecoderReader, LeavesUncountedBitsOfALastWordInAFailedRead)
{
    // 40 bits count: 32 zeros and one byte. The three bytes behind stand in the word all the same.
    const CPaddedPayload payload({0x12, 0x34, 0x56, 0x78, 0x9a});
    const CLogCatcher log;
    CBitStreamReader bs = payload.reader<CBitStreamReader>();
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(32, value), 0);
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(bs.m_uiCachedBits, 8U);
    EXPECT_EQ(bs.readBits(16, value), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(value, 0x1234U);
    EXPECT_EQ(bs.m_uiCachedBits, 8U);
}

TYPED_TEST(BitReader, ConsumesTheVeryLastBitsOrNot)
{
    TypeParam bs = this->holding("1011");
    const State before = stateOf(bs);
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(4, value), 0);
    EXPECT_EQ(value, 0b1011U);
    EXPECT_TRUE(this->m_log.lines().empty());
    if (!this->CONSUMES_LAST) {
        EXPECT_EQ(stateOf(bs), before);
        EXPECT_EQ(bs.readBits(4, value), 0); // delivered again
        EXPECT_EQ(value, 0b1011U);
        EXPECT_TRUE(this->m_log.lines().empty());
        return;
    }
    EXPECT_EQ(bs.m_uiCachedBits, 0U);
    EXPECT_EQ(bs.m_ulCache, 0U);
    EXPECT_EQ(bs.readBits(4, value), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(this->m_log.lines(), std::vector<std::string>{READ_BITS_ERROR});
}

TYPED_TEST(BitReader, ConsumesAWholeLastWordOrNot)
{
    TypeParam bs = this->m_behind.template reader<TypeParam>();
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(64, value), 0);
    EXPECT_EQ(value, static_cast<unsigned>(this->REFILLED));
    EXPECT_EQ(bs.m_uiCachedBits, this->CONSUMES_LAST ? 0U : 64U);
    EXPECT_EQ(bs.m_ulCache, this->CONSUMES_LAST ? 0U : this->REFILLED);
}

TEST(RbspReader, DeliversEveryBitInOrder)
{
    CBitWriter writer;
    for (unsigned i = 0; i < 20; ++i)
        writer.u(13, i * 37);
    const CPaddedPayload payload(writer.bytes());
    CRbspReader bs = payload.reader<CRbspReader>();
    for (unsigned i = 0; i < 20; ++i) {
        unsigned value = 0;
        EXPECT_EQ(bs.readBits(13, value), 0);
        EXPECT_EQ(value, i * 37);
    }
}

TEST(RbspReader, LoadsBytesPastTheEndAsZero)
{
    for (unsigned uiSize = 0; uiSize < 8; ++uiSize) {
        SCOPED_TRACE(uiSize);
        const CPaddedPayload payload(std::vector<unsigned char>(uiSize, 0x3c), 0xff);
        const CRbspReader bs = payload.reader<CRbspReader>();
        EXPECT_EQ(bs.m_ulCache, uiSize == 0 ? 0 : 0x3c3c3c3c3c3c3c3c & ~std::uint64_t{0} << (64 - 8 * uiSize));
        EXPECT_EQ(bs.m_uiCachedBits, 8 * uiSize);
    }
}

TEST(RbspReader, NeverDeliversPaddingInAFailedRead)
{
    const CPaddedPayload payload({0x12}, 0xff);
    const CLogCatcher log;
    CRbspReader bs = payload.reader<CRbspReader>();
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(12, value), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(value, 0x120U);
}

TEST(RbspReader, FailsEveryReadPastTheEnd)
{
    const CPaddedPayload payload({0xff, 0xff, 0xff}, 0xff);
    const CLogCatcher log;
    CRbspReader bs = payload.reader<CRbspReader>();
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(24, value), 0);
    for (int i = 0; i < 3; ++i) {
        bool flag = true;
        EXPECT_EQ(bs.readFlag(flag), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(bs.readBits(1, value), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(bs.readUe(value), E_BS_NOT_ENOUGH_BITS);
    }
    EXPECT_EQ(log.lines().size(), 9U);
}

} // namespace
} // namespace bit_stream_reader_test
