#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "DamagedPayloads.h"
#include "ExactBits.h"
#include "SequenceParameterSet.h"
#include "ShortTermRefPicSet.h"
#include "ShortTermRefPicSetFixture.h"
#include "TestHost.h"

namespace short_term_ref_pic_set_long_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

TEST(ReadLongShortTermRefPicSet, AddsCountsInEightBitsBeforeTheEntriesAreRead)
{
    CSets sets({});
    ShortTermRefPicSet set;
    EXPECT_EQ(sets.readSlice<CRbspReader>(CBitWriter().ue(200).ue(100), set), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(set.NumNegativePics, 200);
    EXPECT_EQ(set.NumPositivePics, 100);
    EXPECT_EQ(set.NumDeltaPocs, 44);
}

CBitWriter unitEntries(unsigned uiNegative, unsigned uiPositive, unsigned uiEntries)
{
    CBitWriter writer;
    writer.ue(uiNegative).ue(uiPositive);
    for (unsigned i = 0; i < uiEntries; ++i)
        writer.bits("11");
    return writer;
}

TEST(ReadLongShortTermRefPicSet, ReadsTheLargestCountThatItsIndexCanReach)
{
    CSets sets({});
    ShortTermRefPicSet set;
    EXPECT_EQ(sets.readSlice<CRbspReader>(unitEntries(127, 0, 127).bits("1"), set), 0);
    EXPECT_EQ(sets.bitsLeftAfterSlice(), 1U);
    EXPECT_EQ(set.NumDeltaPocs, 127);
    EXPECT_EQ(set.DeltaPoc[15], -16);
}

TEST(ReadLongShortTermRefPicSet, RunsToTheEndOfThePayloadWhenTheIndexWraps)
{
    struct Case
    {
        const char* pName;
        unsigned uiNegative;
        unsigned uiPositive;
        unsigned uiEntries;
        int iFirst; // DeltaPoc[ 0 ] and [ 15 ]: written again when the index comes round
        int iLast;
    };
    const Case aCases[] = {
        {"128 negative, before the wrap", 128, 0, 128, -1, -16},
        {"128 negative, round once", 128, 0, 272, -257, -272},
        {"255 negative, round twice", 255, 3, 528, -513, -528},
        {"127 and 1, round once", 127, 1, 127 + 145, 130, 145},
        {"100 and 100, round once", 100, 100, 100 + 172, 157, 172},
        {"255 positive, round once", 0, 255, 272, 257, 272},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pName);
        const CLogCatcher log;
        CSets sets({});
        auto pSet = std::make_unique<ShortTermRefPicSet>();
        EXPECT_EQ(sets.readSlice<CRbspReader>(unitEntries(c.uiNegative, c.uiPositive, c.uiEntries), *pSet),
                  E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(sets.bitsLeftAfterSlice(), 0U);
        EXPECT_EQ(pSet->NumNegativePics, c.uiNegative);
        EXPECT_EQ(pSet->NumPositivePics, c.uiPositive);
        EXPECT_EQ(pSet->DeltaPoc[0], c.iFirst);
        EXPECT_EQ(pSet->DeltaPoc[15], c.iLast);
        EXPECT_EQ(log.lines(), (std::vector<std::string>{READ_FLAG_ERROR}));
    }
}

TEST(ReadLongShortTermRefPicSet, WrapsPocSumsIn32Bits)
{
    CSets sets({});
    ShortTermRefPicSet set;
    CBitWriter writer;
    writer.ue(2).ue(2);
    writer.ue(0x7fffffff).flag(true).ue(0).flag(true);
    writer.ue(0x7fffffff).flag(true).ue(0xfffffffe).flag(true);
    EXPECT_EQ(sets.readSlice<CRbspReader>(writer, set), 0);
    EXPECT_EQ(deltasOf(set), (std::vector<int>{-2147483647 - 1, 2147483647, -2147483647 - 1, 2147483647}));
}

TEST(ReadLongShortTermRefPicSet, WrapsDerivedSumsIn32Bits)
{
    const ShortTermRefPicSet extreme = makeSet({-2147483647 - 1, -1}, {1, 2147483647});
    const std::vector<Flags> flags(5, USED);
    CSets sets({extreme, {}, {}});
    EXPECT_EQ(sets.read<CRbspReader>(flagThen(true, predictedSet(-1, flags)), 1), 0);
    EXPECT_EQ(deltasOf(sets[1]), (std::vector<int>{-1, -2, 2147483646})); // the first turns positive
    EXPECT_EQ(sets.read<CRbspReader>(flagThen(true, predictedSet(1, flags)), 1), 0);
    EXPECT_EQ(deltasOf(sets[1]), (std::vector<int>{-2147483647, 1, 2})); // the last turns negative
}

ShortTermRefPicSet fullReference()
{
    std::vector<int> negative;
    for (int i = 1; i <= 16; ++i)
        negative.push_back(-i);
    return makeSet(negative, {});
}

TEST(ReadLongShortTermRefPicSet, DerivesASeventeenthEntryWithoutStoringIt)
{
    CSets sets({fullReference(), {}, {}});
    EXPECT_EQ(sets.read<CRbspReader>(flagThen(true, predictedSet(-1, std::vector<Flags>(17, USED))), 1), 0);
    EXPECT_EQ(sets[1].NumNegativePics, 17);
    EXPECT_EQ(sets[1].NumDeltaPocs, 17);
    EXPECT_EQ(sets[1].DeltaPoc[0], -1);
    EXPECT_EQ(sets[1].DeltaPoc[15], -16);
    const ShortTermRefPicSet untouched = {};
    EXPECT_EQ(std::memcmp(&sets[2], &untouched, sizeof(untouched)), 0);
}

TEST(ReadLongShortTermRefPicSet, LetsTheSeventeenthFlagsSteerTheReferenceItself)
{
    for (const Flags& own : {USED, KEPT, LEFT_OUT}) {
        CSets sets({fullReference(), {}, {}});
        std::vector<Flags> flags(16, LEFT_OUT);
        flags.push_back(own);
        EXPECT_EQ(sets.read<CRbspReader>(flagThen(true, predictedSet(-9, flags)), 1), 0);
        EXPECT_EQ(sets[1].NumDeltaPocs, own.bUseDelta ? 1 : 0);
        EXPECT_EQ(sets[1].DeltaPoc[0], own.bUseDelta ? -9 : 0);
        EXPECT_EQ(sets[1].UsedByCurrPic[0], own.bUsed);
        EXPECT_TRUE(isAllZero(sets[1].used_by_curr_pic_flag));
        EXPECT_TRUE(isAllZero(sets[1].use_delta_flag));
    }
}

TEST(ReadLongShortTermRefPicSet, TakesNoEntriesFromBehindTheReferencesSixteen)
{
    ShortTermRefPicSet reference = fullReference();
    reference.NumPositivePics = 30;
    reference.NumDeltaPocs = 46;
    for (const int iDeltaRps : {-40, 40}) {
        SCOPED_TRACE(iDeltaRps);
        CSets sets({reference, {}, {}});
        const CBitWriter writer = flagThen(true, predictedSet(iDeltaRps, std::vector<Flags>(47, USED)));
        EXPECT_EQ(sets.read<CRbspReader>(writer, 1), 0);
        EXPECT_EQ(sets[1].NumDeltaPocs, 17); // the sixteen and the reference itself
        EXPECT_EQ(sets.read<CRbspReader>(CBitWriter(writer).cut(writer.size() - 1), 1), E_BS_NOT_ENOUGH_BITS);
    }
}

// A set whose reading failed keeps counts that contradict each other; it can still be referred to.
TEST(ReadLongShortTermRefPicSet, CountsFlagsBehindNumDeltaPocsOfTheReferenceAsZero)
{
    ShortTermRefPicSet reference = fullReference();
    reference.NumNegativePics = 250;
    reference.NumPositivePics = 8;
    reference.NumDeltaPocs = 2; // 258 in 8 bits
    CSets sets({reference, {}, {}});
    EXPECT_EQ(sets.read<CRbspReader>(flagThen(true, predictedSet(-1, {USED, LEFT_OUT, USED})), 1), 0);
    // The reference itself, and entries 0 and 2; the flags of entry 2 are those of the reference itself.
    EXPECT_EQ(deltasOf(sets[1]), (std::vector<int>{-1, -2, -4}));
}

TEST(ReadLongShortTermRefPicSet, FailsAtEveryCutOfAnExplicitSet)
{
    const CBitWriter writer = flagThen(false, explicitSet({{-2, true}, {-9, false}}, {{30, true}}));
    forEachCut(writer, [](std::size_t uiBitCount, const CBitWriter& bits) {
        const CLogCatcher log;
        CSets sets({{}, {}, {}});
        std::memset(&sets[1], 0xff, sizeof(sets[1]));
        EXPECT_EQ(sets.read<CRbspReader>(bits, 1), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(log.lines().size(), 1U);
        const ShortTermRefPicSet& set = sets[1];
        EXPECT_EQ(set.NumNegativePics, uiBitCount >= 4 ? 2 : 0); // flag and ue(2)
        EXPECT_EQ(set.NumPositivePics, uiBitCount >= 7 ? 1 : 0); // ue(1)
        EXPECT_EQ(set.NumDeltaPocs, uiBitCount >= 7 ? 3 : 0);
        EXPECT_EQ(set.DeltaPoc[0], uiBitCount >= 10 ? -2 : 0); // ue(1)
        EXPECT_EQ(set.UsedByCurrPic[0], uiBitCount >= 11);
        EXPECT_EQ(set.DeltaPoc[1], uiBitCount >= 16 ? -9 : 0); // ue(6)
        EXPECT_FALSE(set.UsedByCurrPic[1]);
        EXPECT_EQ(set.DeltaPoc[2], uiBitCount >= 26 ? 30 : 0); // ue(29)
        EXPECT_FALSE(set.UsedByCurrPic[2]);
    });
}

TEST(ReadLongShortTermRefPicSet, FailsAtEveryCutOfAPredictedSet)
{
    const CBitWriter writer = CBitWriter().bits("1  010  1 00100  1  01  00  1"); // flag, delta_idx, -4, four flags
    forEachCut(writer, [](std::size_t uiBitCount, const CBitWriter& bits) {
        const CLogCatcher log;
        CSets sets({smallReference(), {}});
        ShortTermRefPicSet set;
        std::memset(&set, 0xff, sizeof(set));
        EXPECT_EQ(sets.readSlice<CRbspReader>(bits, set), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(log.lines().size(), 1U);
        EXPECT_EQ(set.inter_ref_pic_set_prediction_flag, uiBitCount >= 1);
        EXPECT_EQ(set.delta_idx, uiBitCount >= 4 ? 2 : 0);
        EXPECT_EQ(set.deltaRps, uiBitCount >= 10 ? -4 : 0);
        EXPECT_EQ(set.used_by_curr_pic_flag[0], uiBitCount >= 11);
        EXPECT_EQ(set.use_delta_flag[0], uiBitCount >= 11);
        EXPECT_FALSE(set.used_by_curr_pic_flag[1]);
        EXPECT_EQ(set.use_delta_flag[1], uiBitCount >= 13);
        EXPECT_FALSE(set.use_delta_flag[2]);
        EXPECT_FALSE(set.use_delta_flag[3]);
        EXPECT_EQ(set.NumNegativePics, 0); // derived only behind the last flag
        EXPECT_EQ(set.NumPositivePics, 0);
        EXPECT_EQ(set.NumDeltaPocs, 0);
        EXPECT_EQ(set.DeltaPoc[0], 0);
    });
}

TEST(ReadLongShortTermRefPicSet, LogsTheKindOfReadThatFailed)
{
    struct Case
    {
        const char* pBits;
        const char* pLine;
    };
    const Case aCases[] = {
        {"", READ_FLAG_ERROR},              // the prediction flag
        {"1", READ_FLAG_ERROR},             // delta_idx_minus1: no prefix
        {"1 001 0", READ_BITS_ERROR},       // delta_idx_minus1: the suffix is cut
        {"1 1", READ_FLAG_ERROR},           // delta_rps_sign
        {"1 1 1 01", READ_BITS_ERROR},      // abs_delta_rps_minus1
        {"1 1 1 1", READ_FLAG_ERROR},       // used_by_curr_pic_flag
        {"1 1 1 1 0", READ_FLAG_ERROR},     // use_delta_flag
        {"0 00", READ_FLAG_ERROR},          // num_negative_pics
        {"0 1 01", READ_BITS_ERROR},        // num_positive_pics
        {"0 010 1 001", READ_BITS_ERROR},   // delta_poc_s0_minus1
        {"0 010 1 1", READ_FLAG_ERROR},     // used_by_curr_pic_s0_flag
        {"0 1 010 0001 1", READ_BITS_ERROR} // delta_poc_s1_minus1
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pBits);
        const CLogCatcher log;
        CSets sets({smallReference()});
        ShortTermRefPicSet set;
        EXPECT_EQ(sets.readSlice<CRbspReader>(CBitWriter().bits(c.pBits), set), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(log.lines(), (std::vector<std::string>{c.pLine}));
    }
}

// 7.4.8 (7-61) and (7-62) as they stand, with two separate lists.
struct Derived
{
    std::vector<Entry> s0;
    std::vector<Entry> s1;
};

Derived deriveAsStated(const Derived& ref, int deltaRps, const std::vector<Flags>& flags)
{
    const int iNegative = static_cast<int>(ref.s0.size());
    const int iPositive = static_cast<int>(ref.s1.size());
    const auto flagsOf = [&](int j) { return flags[static_cast<std::size_t>(j)]; };
    const auto deltaOf = [](const std::vector<Entry>& list, int j) { return list[static_cast<std::size_t>(j)].iDelta; };
    Derived result;
    for (int j = iPositive - 1; j >= 0; --j) {
        const int dPoc = deltaOf(ref.s1, j) + deltaRps;
        if (dPoc < 0 && flagsOf(iNegative + j).bUseDelta)
            result.s0.push_back({dPoc, flagsOf(iNegative + j).bUsed});
    }
    if (deltaRps < 0 && flagsOf(iNegative + iPositive).bUseDelta)
        result.s0.push_back({deltaRps, flagsOf(iNegative + iPositive).bUsed});
    for (int j = 0; j < iNegative; ++j) {
        const int dPoc = deltaOf(ref.s0, j) + deltaRps;
        if (dPoc < 0 && flagsOf(j).bUseDelta)
            result.s0.push_back({dPoc, flagsOf(j).bUsed});
    }
    for (int j = iNegative - 1; j >= 0; --j) {
        const int dPoc = deltaOf(ref.s0, j) + deltaRps;
        if (dPoc > 0 && flagsOf(j).bUseDelta)
            result.s1.push_back({dPoc, flagsOf(j).bUsed});
    }
    if (deltaRps > 0 && flagsOf(iNegative + iPositive).bUseDelta)
        result.s1.push_back({deltaRps, flagsOf(iNegative + iPositive).bUsed});
    for (int j = 0; j < iPositive; ++j) {
        const int dPoc = deltaOf(ref.s1, j) + deltaRps;
        if (dPoc > 0 && flagsOf(iNegative + j).bUseDelta)
            result.s1.push_back({dPoc, flagsOf(iNegative + j).bUsed});
    }
    return result;
}

std::vector<Entry> randomEntries(CNumbers& numbers, int iSign)
{
    std::vector<Entry> entries(numbers.below(5));
    int iDelta = 0;
    for (Entry& entry : entries) {
        iDelta += iSign * static_cast<int>(1 + numbers.below(4));
        entry = {iDelta, true};
    }
    return entries;
}

std::vector<int> deltasIn(const std::vector<Entry>& entries)
{
    std::vector<int> deltas;
    for (const Entry& entry : entries)
        deltas.push_back(entry.iDelta);
    return deltas;
}

TEST(ReadLongShortTermRefPicSet, DerivesWhatTheStandardsTwoListsHold)
{
    CNumbers numbers(7);
    for (int iRound = 0; iRound < 2000; ++iRound) {
        SCOPED_TRACE(iRound);
        const Derived ref = {randomEntries(numbers, -1), randomEntries(numbers, 1)};
        const int iMagnitude = static_cast<int>(1 + numbers.below(12));
        const int deltaRps = numbers.below(2) != 0 ? -iMagnitude : iMagnitude;
        std::vector<Flags> flags(ref.s0.size() + ref.s1.size() + 1);
        for (Flags& f : flags) {
            const unsigned uiKind = numbers.below(3);
            f = uiKind == 0 ? LEFT_OUT : uiKind == 1 ? KEPT : USED;
        }
        CSets sets({makeSet(deltasIn(ref.s0), deltasIn(ref.s1)), {}, {}});
        ASSERT_EQ(sets.read<CRbspReader>(flagThen(true, predictedSet(deltaRps, flags)), 1), 0);

        const Derived expected = deriveAsStated(ref, deltaRps, flags);
        std::vector<Entry> joined = expected.s0;
        joined.insert(joined.end(), expected.s1.begin(), expected.s1.end());
        ASSERT_EQ(sets[1].NumNegativePics, expected.s0.size());
        ASSERT_EQ(sets[1].NumPositivePics, expected.s1.size());
        ASSERT_EQ(deltasOf(sets[1]), deltasIn(joined));
        for (std::size_t i = 0; i < joined.size(); ++i) {
            ASSERT_EQ(sets[1].UsedByCurrPic[i], joined[i].bUsed);
            ASSERT_TRUE(sets[1].UseDeltaFlagOfPic[i]);
        }
    }
}

// Over any payload the decoder's reader gives the set that its refills spell out.
TEST(ReadLongShortTermRefPicSet, FollowsTheRefillsOfTheDecodersReader)
{
    CNumbers numbers(11);
    unsigned uiCompared = 0;
    for (int iRound = 0; iRound < 2000; ++iRound) {
        SCOPED_TRACE(iRound);
        CAlikeReaders readers(numbers.bytes(256));
        // Any first word, or the first code has a prefix of 32 zeros or more.
        readers.setFirstWord(std::uint64_t{numbers.below(1U << 31)} << 33 | numbers.below(1U << 31));

        SPS sps = {};
        ShortTermRefPicSet reference = smallReference();
        sps.pShortTermRefPicSet = &reference;
        sps.num_short_term_ref_pic_sets = 1;
        ShortTermRefPicSet one;
        ShortTermRefPicSet other;
        const int iResult = read_short_term_ref_pic_set(&sps, &one, 1, &readers.m_decoders);
        const int iPlainResult = read_short_term_ref_pic_set(&sps, &other, 1, &readers.m_plain);
        if (bitsLeft(readers.m_plain) == 0)
            continue; // the decoder's reader delivers the very last bits again
        ++uiCompared;
        ASSERT_EQ(iResult, iPlainResult);
        ASSERT_EQ(std::memcmp(&one, &other, sizeof(one)), 0);
        ASSERT_EQ(bitsLeft(readers.m_decoders), bitsLeft(readers.m_plain));
    }
    EXPECT_GT(uiCompared, 1000U);
}

} // namespace
} // namespace short_term_ref_pic_set_long_test
