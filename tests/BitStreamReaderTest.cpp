#include "BitStreamReader.h"

#include <algorithm>
#include <random>
#include <type_traits>

#include <gtest/gtest.h>

#include "BitWriter.h"
#include "TestHost.h"

namespace {

using namespace h265_codec;
using namespace h265_test;

constexpr std::uint64_t TOP_BIT = std::uint64_t{1} << 63;
static_assert(E_BS_NOT_ENOUGH_BITS == static_cast<int>(0x80000001U));
static_assert(E_NO_MEMORY == static_cast<int>(0x80000002U));

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

std::uint64_t topAligned(const CBitWriter& writer)
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

TYPED_TEST(BitReader, TestsExpGolombPrefixesWithItsMask)
{
    TypeParam bs = this->holding("0010 1101");
    bs.m_ulTopBitMask = TOP_BIT >> 2; // sees each bit two bits early
    unsigned value = 99;
    EXPECT_EQ(bs.readUe(value), 0); // the very first bit counts as the 1
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(bs.m_uiCachedBits, 7U);
    EXPECT_EQ(bs.readUe(value), 0); // a zero, a one, and the suffix as it stands
    EXPECT_EQ(value, 1U);
    EXPECT_EQ(bs.m_uiCachedBits, 4U);
}

TYPED_TEST(BitReader, NeverEndsAnExpGolombPrefixWithoutAMask)
{
    TypeParam bs = this->holding("1111 1111");
    bs.m_ulTopBitMask = 0;
    unsigned value = 99;
    EXPECT_EQ(bs.readUe(value), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(value, 99U);
    EXPECT_EQ(bs.m_uiCachedBits, 0U);
    EXPECT_EQ(this->m_log.lines(), std::vector<std::string>{READ_FLAG_ERROR});
}

struct UeCase
{
    const char* pName;
    const char* pBits;
    int iResult;
    unsigned uiValue; // 99: untouched
    unsigned uiBitsLeft;
    const char* pLine; // null: none
};

constexpr UeCase UE_CASES[] = {
    {"one", "1", 0, 0, 0, nullptr},
    {"one, more behind", "10", 0, 0, 1, nullptr},
    {"1", "010 1", 0, 1, 1, nullptr},
    {"2", "011 1", 0, 2, 1, nullptr},
    {"3", "00100 1", 0, 3, 1, nullptr},
    {"6", "00111 0", 0, 6, 1, nullptr},
    {"7", "0001000 0", 0, 7, 1, nullptr},
    {"14", "0001111 0", 0, 14, 1, nullptr},
    {"nothing", "", E_BS_NOT_ENOUGH_BITS, 99, 0, READ_FLAG_ERROR},
    {"zeros only", "000", E_BS_NOT_ENOUGH_BITS, 99, 0, READ_FLAG_ERROR},
    {"suffix missing", "01", E_BS_NOT_ENOUGH_BITS, 99, 0, READ_BITS_ERROR},
    {"suffix is cut", "00010 1", E_BS_NOT_ENOUGH_BITS, 99, 2, READ_BITS_ERROR},
};

TYPED_TEST(BitReader, ReadsUnsignedExpGolombCodes)
{
    for (const UeCase& c : UE_CASES) {
        SCOPED_TRACE(c.pName);
        this->m_log.forget();
        TypeParam bs = this->holding(c.pBits);
        unsigned value = 99;
        EXPECT_EQ(bs.readUe(value), c.iResult);
        EXPECT_EQ(value, c.uiValue);
        EXPECT_EQ(bs.m_uiCachedBits, c.uiBitsLeft);
        EXPECT_EQ(this->m_log.lines(), c.pLine ? std::vector<std::string>{c.pLine} : std::vector<std::string>{});
    }
}

TYPED_TEST(BitReader, LeavesAFieldOfEveryWidthAloneWhenACodeFails)
{
    TypeParam bs = this->holding("00010");
    unsigned char uiByte = 99;
    EXPECT_EQ(bs.readUe(uiByte), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(uiByte, 99);
    bs = this->holding("00");
    unsigned short uiShort = 9999;
    EXPECT_EQ(bs.readUe(uiShort), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(uiShort, 9999);
}

TYPED_TEST(BitReader, WrapsCodesAtTheWidthOfTheField)
{
    struct Case
    {
        std::uint64_t ulCode;
        unsigned char uiByte;
        unsigned short uiShort;
        unsigned uiWord;
    };
    const Case aCases[] = {
        {255, 255, 255, 255},
        {256, 0, 256, 256},
        {511, 255, 511, 511},
        {65535, 255, 65535, 65535},
        {65536, 0, 0, 65536},
        {0x12345678, 0x78, 0x5678, 0x12345678},
        {0x7fffffff, 255, 65535, 0x7fffffff},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.ulCode);
        const CBitWriter code = CBitWriter().ue(c.ulCode).bits("1");
        unsigned char uiByte = 0;
        unsigned short uiShort = 0;
        unsigned uiWord = 0;
        TypeParam bs = this->holding(code);
        EXPECT_EQ(bs.readUe(uiByte), 0);
        EXPECT_EQ(uiByte, c.uiByte);
        EXPECT_EQ(bs.m_uiCachedBits, 1U);
        bs = this->holding(code);
        EXPECT_EQ(bs.readUe(uiShort), 0);
        EXPECT_EQ(uiShort, c.uiShort);
        bs = this->holding(code);
        EXPECT_EQ(bs.readUe(uiWord), 0);
        EXPECT_EQ(uiWord, c.uiWord);
    }
}

TEST(RbspReader, ComputesCodesOf32AndMoreLeadingZerosModulo32)
{
    struct Case
    {
        unsigned uiLeadingZeros;
        unsigned uiPower; // 1 shifted by the zeros modulo 32
    };
    for (const Case& c :
         {Case{31, 0x80000000}, Case{32, 1}, Case{33, 2}, Case{40, 256}, Case{63, 0x80000000}, Case{64, 1}}) {
        SCOPED_TRACE(c.uiLeadingZeros);
        CBitWriter writer;
        writer.u(c.uiLeadingZeros, 0).flag(true);
        if (c.uiLeadingZeros > 32)
            writer.u(c.uiLeadingZeros - 32, ~std::uint64_t{0}); // dropped
        writer.u(std::min(c.uiLeadingZeros, 32U), 0x01234567).bits("1010 1010");
        const CPaddedPayload payload(writer.bytes());
        CRbspReader bs = payload.reader<CRbspReader>();
        unsigned value = 0;
        EXPECT_EQ(bs.readUe(value), 0);
        EXPECT_EQ(value, c.uiPower - 1 + 0x01234567);
        unsigned uiBehind = 0;
        EXPECT_EQ(bs.readBits(8, uiBehind), 0);
        EXPECT_EQ(uiBehind, 0xaaU);
    }
}

TEST(RbspReader, RefusesCodesOfMoreThan64LeadingZeros)
{
    for (const unsigned uiLeadingZeros : {65U, 66U, 128U, 200U, 2000U}) {
        SCOPED_TRACE(uiLeadingZeros);
        const CLogCatcher log;
        CBitWriter writer;
        for (unsigned i = 0; i < uiLeadingZeros; ++i)
            writer.flag(false);
        writer.flag(true);
        for (unsigned i = 0; i < uiLeadingZeros; ++i)
            writer.flag(true);
        const CPaddedPayload payload(writer.bytes());
        CRbspReader bs = payload.reader<CRbspReader>();
        unsigned value = 99;
        EXPECT_EQ(bs.readUe(value), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(value, 99U);
        EXPECT_EQ(log.lines(), std::vector<std::string>{READ_BITS_ERROR});
        // The prefix and its 1 are consumed, the suffix is not.
        const std::uint64_t ulRead = static_cast<std::uint64_t>(bs.m_pCurPos - bs.m_pBufStart) * 8 - bs.m_uiCachedBits;
        EXPECT_EQ(ulRead, uiLeadingZeros + 1U);
    }
}

TEST(DecoderReader, ComputesCodesOf32LeadingZerosAsTheirSuffix)
{
    // Each word brings 32 zeros of its own.
    const CPaddedPayload payload({0x80, 0x12, 0x34, 0x56, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    CBitStreamReader bs = payload.reader<CBitStreamReader>();
    unsigned value = 0;
    EXPECT_EQ(bs.readUe(value), 0);
    EXPECT_EQ(value, 0x00123456U << 1);
    EXPECT_EQ(bs.m_uiCachedBits, 63U);
}

TEST(DecoderReader, RefusesCodesOfMoreThan64LeadingZeros)
{
    const CPaddedPayload payload({0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0});
    const CLogCatcher log;
    CBitStreamReader bs = payload.reader<CBitStreamReader>();
    unsigned value = 99;
    EXPECT_EQ(bs.readUe(value), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(value, 99U);
    EXPECT_EQ(bs.m_uiCachedBits, 31U);
    EXPECT_EQ(log.lines(), std::vector<std::string>{READ_BITS_ERROR});
}

TEST(RbspReader, CountsLeadingZerosAcrossARefill)
{
    for (unsigned uiInFront = 50; uiInFront < 72; ++uiInFront) {
        SCOPED_TRACE(uiInFront);
        CBitWriter writer;
        for (unsigned i = 0; i < uiInFront; ++i)
            writer.flag(true);
        const CPaddedPayload payload(writer.ue(1234).bits("101").bytes());
        CRbspReader bs = payload.reader<CRbspReader>();
        unsigned value = 0;
        EXPECT_EQ(bs.readBits(uiInFront - 40, value), 0);
        EXPECT_EQ(bs.readBits(40, value), 0);
        EXPECT_EQ(bs.readUe(value), 0);
        EXPECT_EQ(value, 1234U);
        EXPECT_EQ(bs.readBits(3, value), 0);
        EXPECT_EQ(value, 5U);
    }
}

TYPED_TEST(BitReader, ReadsSignedExpGolombCodes)
{
    struct Case
    {
        std::uint64_t ulCode;
        int iValue;
    };
    const Case aCases[] = {
        {0, 0},
        {1, 1},
        {2, -1},
        {3, 2},
        {4, -2},
        {5, 3},
        {6, -3},
        {254, -127},
        {255, 128},
        {0x7ffffffe, -0x3fffffff},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.ulCode);
        TypeParam bs = this->holding(CBitWriter().ue(c.ulCode).bits("1"));
        int iValue = 99;
        EXPECT_EQ(bs.readSe(iValue), 0);
        EXPECT_EQ(iValue, c.iValue);
        EXPECT_EQ(bs.m_uiCachedBits, 1U);
    }
}

TEST(RbspReader, WrapsTheLargestSignedCodes)
{
    struct Case
    {
        std::uint64_t ulCode;
        int iValue;
    };
    for (const Case& c : {Case{0xfffffffd, 0x7fffffff},
                          Case{0xfffffffe, -0x7fffffff},
                          Case{0xffffffff, 0},
                          Case{0x1fffffffd, -0x7fffffff},
                          Case{0x1fffffffe, 0}}) {
        SCOPED_TRACE(c.ulCode);
        const CPaddedPayload payload(CBitWriter().ue(c.ulCode).bytes());
        CRbspReader bs = payload.reader<CRbspReader>();
        int iValue = 99;
        EXPECT_EQ(bs.readSe(iValue), 0);
        EXPECT_EQ(iValue, c.iValue);
    }
}

TYPED_TEST(BitReader, LeavesZeroWhenASignedCodeFails)
{
    for (const char* const pBits : {"", "00", "0001"}) {
        SCOPED_TRACE(pBits);
        TypeParam bs = this->holding(pBits);
        int iValue = 99;
        EXPECT_EQ(bs.readSe(iValue), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(iValue, 0);
    }
    EXPECT_EQ(this->m_log.lines(), (std::vector<std::string>{READ_FLAG_ERROR, READ_FLAG_ERROR, READ_BITS_ERROR}));
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
