#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitReaderFixture.h"
#include "BitStreamReader.h"
#include "BitWriter.h"
#include "TestHost.h"

namespace bit_stream_reader_exp_golomb_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

using BothReaders = testing::Types<CBitStreamReader, CRbspReader>;
TYPED_TEST_SUITE(BitReader, BothReaders);

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

} // namespace
} // namespace bit_stream_reader_exp_golomb_test
