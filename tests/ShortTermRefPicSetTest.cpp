#include "ShortTermRefPicSet.h"

#include <cstddef>
#include <cstring>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "ExactBits.h"
#include "SequenceParameterSet.h"
#include "ShortTermRefPicSetFixture.h"
#include "TestHost.h"

namespace short_term_ref_pic_set_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

// What both readers deliver alike: a payload within one cache word, with a stop bit.
template <class TReader>
class ReadShortTermRefPicSet : public testing::Test
{
protected:
    CLogCatcher m_log;

    /// Predicts a set from one reference, as set 1 of two.
    static ShortTermRefPicSet predict(const ShortTermRefPicSet& reference, int iDeltaRps,
                                      const std::vector<Flags>& flags)
    {
        CSets sets({reference, {}, {}});
        EXPECT_EQ(sets.read<TReader>(flagThen(true, predictedSet(iDeltaRps, flags)).trailing(), 1), 0);
        return sets[1];
    }
};
using Readers = testing::Types<CBitStreamReader, CRbspReader>;
TYPED_TEST_SUITE(ReadShortTermRefPicSet, Readers);

TYPED_TEST(ReadShortTermRefPicSet, TakesNoFlagForTheFirstSet)
{
    CSets sets({{}, {}});
    std::memset(&sets[0], 0xff, sizeof(sets[0]));
    EXPECT_EQ(sets.read<TypeParam>(CBitWriter().bits("1 1 1"), 0), 0);
    const ShortTermRefPicSet empty = {};
    EXPECT_EQ(std::memcmp(&sets[0], &empty, sizeof(empty)), 0);
}

TYPED_TEST(ReadShortTermRefPicSet, JoinsTheExplicitLists)
{
    CSets sets({{}, {}});
    // num_negative_pics 2, num_positive_pics 1; 0 used, 1 unused; 2 used
    EXPECT_EQ(sets.read<TypeParam>(CBitWriter().bits("011 010  1 1  010 0  011 1  1"), 0), 0);
    const ShortTermRefPicSet& set = sets[0];
    EXPECT_EQ(set.NumNegativePics, 2);
    EXPECT_EQ(set.NumPositivePics, 1);
    EXPECT_EQ(set.NumDeltaPocs, 3);
    EXPECT_EQ(deltasOf(set), (std::vector<int>{-1, -3, 3}));
    EXPECT_EQ(usedOf(set), (std::vector<bool>{true, false, true}));
}

TYPED_TEST(ReadShortTermRefPicSet, LeavesPredictionFieldsZeroInAnExplicitSet)
{
    CSets sets({smallReference(), {}, {}});
    std::memset(&sets[1], 0xff, sizeof(sets[1]));
    EXPECT_EQ(sets.read<TypeParam>(flagThen(false, explicitSet({{-2, true}}, {{5, true}})).trailing(), 1), 0);
    const ShortTermRefPicSet& set = sets[1];
    EXPECT_FALSE(set.inter_ref_pic_set_prediction_flag);
    EXPECT_EQ(set.delta_idx, 0);
    EXPECT_EQ(set.deltaRps, 0);
    EXPECT_EQ(deltasOf(set), (std::vector<int>{-2, 5}));
    EXPECT_TRUE(isAllZero(set.UseDeltaFlagOfPic));
    EXPECT_TRUE(isAllZero(set.used_by_curr_pic_flag));
    EXPECT_TRUE(isAllZero(set.use_delta_flag));
    for (unsigned i = 2; i < MAX_REF_PICS; ++i)
        EXPECT_EQ(set.DeltaPoc[i], 0);
}

TYPED_TEST(ReadShortTermRefPicSet, StartsThePositiveDeltasAtZeroAgain)
{
    CSets sets({{}, {}});
    EXPECT_EQ(sets.read<TypeParam>(explicitSet({{-1, true}, {-2, false}}, {{1, false}, {2, true}}).trailing(), 0), 0);
    EXPECT_EQ(deltasOf(sets[0]), (std::vector<int>{-1, -2, 1, 2}));
    EXPECT_EQ(usedOf(sets[0]), (std::vector<bool>{true, false, false, true}));
}

TYPED_TEST(ReadShortTermRefPicSet, ReadsSetsOfOneSign)
{
    CSets sets({{}, {}});
    EXPECT_EQ(sets.read<TypeParam>(explicitSet({{-4, true}, {-6, true}}, {}).trailing(), 0), 0);
    EXPECT_EQ(deltasOf(sets[0]), (std::vector<int>{-4, -6}));
    EXPECT_EQ(sets.read<TypeParam>(explicitSet({}, {{4, true}, {6, true}}).trailing(), 0), 0);
    EXPECT_EQ(sets[0].NumNegativePics, 0);
    EXPECT_EQ(deltasOf(sets[0]), (std::vector<int>{4, 6}));
}

TYPED_TEST(ReadShortTermRefPicSet, DerivesInTheOrderOfTheSixSteps)
{
    struct Case
    {
        const char* pName;
        ShortTermRefPicSet reference;
        int iDeltaRps;
        int iNegative;
        std::vector<int> deltas;
    };
    const Case aCases[] = {
        {"positive entry stays positive", smallReference(), -1, 3, {-1, -2, -4, 2}},
        {"positive entry turns negative", smallReference(), -4, 4, {-1, -4, -5, -7}},
        {"farthest positive entry first", makeSet({-1}, {1, 2}), -3, 4, {-1, -2, -3, -4}},
        {"one negative entry turns positive", smallReference(), 2, 1, {-1, 1, 2, 5}},
        {"farthest negative entry first", makeSet({-1, -2}, {1}), 3, 0, {1, 2, 3, 4}},
        {"a sum of 0 is left out, delta +1", makeSet({-1}, {1}), 1, 0, {1, 2}},
        {"a sum of 0 is left out, delta -1", makeSet({-1}, {1}), -1, 2, {-1, -2}},
        {"empty reference, delta -5", makeSet({}, {}), -5, 1, {-5}},
        {"empty reference, delta +5", makeSet({}, {}), 5, 0, {5}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pName);
        const std::vector<Flags> flags(c.reference.NumDeltaPocs + 1U, USED);
        const ShortTermRefPicSet set = this->predict(c.reference, c.iDeltaRps, flags);
        EXPECT_TRUE(set.inter_ref_pic_set_prediction_flag);
        EXPECT_EQ(set.delta_idx, 0);
        EXPECT_EQ(set.deltaRps, c.iDeltaRps);
        EXPECT_EQ(set.NumNegativePics, c.iNegative);
        EXPECT_EQ(set.NumPositivePics, static_cast<int>(c.deltas.size()) - c.iNegative);
        EXPECT_EQ(deltasOf(set), c.deltas);
    }
}

TYPED_TEST(ReadShortTermRefPicSet, TakesEachEntrysFlagsFromItsReference)
{
    // {-1, -3 | 3} - 1: the reference itself comes first and has the last flags
    const ShortTermRefPicSet set = this->predict(smallReference(), -1, {KEPT, LEFT_OUT, USED, KEPT});
    EXPECT_EQ(deltasOf(set), (std::vector<int>{-1, -2, 2}));
    EXPECT_EQ(usedOf(set), (std::vector<bool>{false, false, true}));
    EXPECT_EQ(set.NumNegativePics, 2);
    EXPECT_EQ(std::vector<bool>(set.UseDeltaFlagOfPic, set.UseDeltaFlagOfPic + 4),
              (std::vector<bool>{true, true, true, false}));
}

TYPED_TEST(ReadShortTermRefPicSet, KeepsTheRawFlagsByReferenceIndex)
{
    const ShortTermRefPicSet set = this->predict(smallReference(), -1, {KEPT, LEFT_OUT, USED, KEPT});
    EXPECT_EQ(std::vector<bool>(set.used_by_curr_pic_flag, set.used_by_curr_pic_flag + 5),
              (std::vector<bool>{false, false, true, false, false}));
    EXPECT_EQ(std::vector<bool>(set.use_delta_flag, set.use_delta_flag + 5),
              (std::vector<bool>{true, false, true, true, false}));
}

TYPED_TEST(ReadShortTermRefPicSet, LeavesEachEntryOutThatItsFlagRefuses)
{
    struct Case
    {
        int iDeltaRps;
        std::vector<std::vector<int>> deltasWithout; // without entry 0, 1, …, and the reference itself
    };
    // {-1 | 1} and deltas that reach every one of the six steps
    const Case aCases[] = {
        {-2, {{-1, -2}, {-2, -3}, {-1, -3}}},
        {2, {{2, 3}, {1, 2}, {1, 3}}},
        {-3, {{-2, -3}, {-3, -4}, {-2, -4}}},
    };
    for (const Case& c : aCases) {
        for (std::size_t uiOut = 0; uiOut < c.deltasWithout.size(); ++uiOut) {
            SCOPED_TRACE(testing::Message() << "delta " << c.iDeltaRps << " without " << uiOut);
            std::vector<Flags> flags(3, USED);
            flags[uiOut] = LEFT_OUT;
            EXPECT_EQ(deltasOf(this->predict(makeSet({-1}, {1}), c.iDeltaRps, flags)), c.deltasWithout[uiOut]);
        }
    }
}

TYPED_TEST(ReadShortTermRefPicSet, KeepsDeltaRpsInEightBits)
{
    struct Case
    {
        bool delta_rps_sign;
        unsigned abs_delta_rps_minus1;
        int iDeltaRps;
        std::vector<int> deltas; // from {-1, -3 | 3}
    };
    const Case aCases[] = {
        {false, 126, 127, {124, 126, 127, 130}},
        {false, 127, -128, {-125, -128, -129, -131}},
        {true, 127, -128, {-125, -128, -129, -131}},
        {false, 128, -127, {-124, -127, -128, -130}},
        {true, 128, 127, {124, 126, 127, 130}},
        {false, 254, -1, {-1, -2, -4, 2}},
        {true, 254, 1, {-2, 1, 4}},
        {false, 255, 0, {-1, -3, 3}},
        {true, 255, 0, {-1, -3, 3}},
        {false, 256, 1, {-2, 1, 4}},
        {true, 256, -1, {-1, -2, -4, 2}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(testing::Message() << "sign " << c.delta_rps_sign << ", " << c.abs_delta_rps_minus1);
        CSets sets({smallReference(), {}, {}});
        CBitWriter writer;
        writer.flag(true).flag(c.delta_rps_sign).ue(c.abs_delta_rps_minus1).bits("1111").trailing();
        EXPECT_EQ(sets.read<TypeParam>(writer, 1), 0);
        EXPECT_EQ(sets[1].deltaRps, c.iDeltaRps);
        EXPECT_EQ(deltasOf(sets[1]), c.deltas);
    }
}

TYPED_TEST(ReadShortTermRefPicSet, PredictsFromTheSetBefore)
{
    CSets sets({makeSet({-7}, {}), makeSet({-1}, {}), {}, {}});
    EXPECT_EQ(sets.read<TypeParam>(flagThen(true, predictedSet(-1, {USED, USED})).trailing(), 2), 0);
    EXPECT_EQ(deltasOf(sets[2]), (std::vector<int>{-1, -2}));
    EXPECT_EQ(sets[2].delta_idx, 0);
}

TYPED_TEST(ReadShortTermRefPicSet, ReadsDeltaIdxInASliceHeaderOnly)
{
    CSets sets({makeSet({-7}, {}), makeSet({-1}, {})});
    ShortTermRefPicSet slice;
    CBitWriter last;
    last.flag(true).ue(0).append(predictedSet(-1, {USED, USED})).trailing();
    EXPECT_EQ(sets.readSlice<TypeParam>(last, slice), 0);
    EXPECT_EQ(slice.delta_idx, 1);
    EXPECT_EQ(deltasOf(slice), (std::vector<int>{-1, -2}));

    CBitWriter first;
    first.flag(true).ue(1).append(predictedSet(-1, {USED, USED})).trailing();
    EXPECT_EQ(sets.readSlice<TypeParam>(first, slice), 0);
    EXPECT_EQ(slice.delta_idx, 2);
    EXPECT_EQ(deltasOf(slice), (std::vector<int>{-1, -8}));
}

TYPED_TEST(ReadShortTermRefPicSet, ReadsAnExplicitSliceSetWithoutDeltaIdx)
{
    CSets sets({smallReference()});
    ShortTermRefPicSet slice;
    EXPECT_EQ(sets.readSlice<TypeParam>(flagThen(false, explicitSet({{-2, true}}, {})).trailing(), slice), 0);
    EXPECT_EQ(slice.delta_idx, 0);
    EXPECT_EQ(deltasOf(slice), (std::vector<int>{-2}));
}

TYPED_TEST(ReadShortTermRefPicSet, ReadsASliceSetOfAnSpsWithoutSets)
{
    CSets sets({});
    ShortTermRefPicSet slice;
    EXPECT_EQ(sets.readSlice<TypeParam>(explicitSet({{-2, true}}, {}).trailing(), slice), 0);
    EXPECT_EQ(deltasOf(slice), (std::vector<int>{-2}));
}

TYPED_TEST(ReadShortTermRefPicSet, RefusesAReferenceBeforeTheFirstSetRightBehindDeltaIdx)
{
    for (const unsigned delta_idx_minus1 : {2U, 3U, 254U}) {
        SCOPED_TRACE(delta_idx_minus1);
        CSets sets({smallReference(), smallReference()});
        ShortTermRefPicSet slice;
        const CBitWriter rest = predictedSet(-1, {USED, USED, USED, USED});
        EXPECT_EQ(sets.readSlice<TypeParam>(CBitWriter().flag(true).ue(delta_idx_minus1).append(rest), slice),
                  E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(slice.delta_idx, delta_idx_minus1 + 1);
        EXPECT_EQ(slice.deltaRps, 0);
        EXPECT_EQ(sets.bitsLeftAfterSlice(), rest.size());
        EXPECT_TRUE(this->m_log.lines().empty());
    }
}

TYPED_TEST(ReadShortTermRefPicSet, TakesTheSetItselfAsEmptyReferenceWhenDeltaIdxWraps)
{
    CSets sets({smallReference()});
    ShortTermRefPicSet slice = smallReference();
    CBitWriter writer;
    writer.flag(true).ue(255).append(predictedSet(-6, {USED})).trailing();
    EXPECT_EQ(sets.readSlice<TypeParam>(writer, slice), 0);
    EXPECT_EQ(slice.delta_idx, 0);
    EXPECT_EQ(deltasOf(slice), (std::vector<int>{-6}));
}

TYPED_TEST(ReadShortTermRefPicSet, TakesTheSetItselfAndNotWhatTheArrayHoldsBehindItsEnd)
{
    ShortTermRefPicSet aSets[2] = {smallReference(), smallReference()};
    SPS sps = {};
    sps.num_short_term_ref_pic_sets = 1;
    sps.pShortTermRefPicSet = aSets;
    ShortTermRefPicSet slice;
    const CExactBits bits(CBitWriter().flag(true).ue(255).append(predictedSet(-6, {USED})).trailing());
    TypeParam bs = bits.reader<TypeParam>();
    EXPECT_EQ(read_short_term_ref_pic_set(&sps, &slice, 1, &bs), 0);
    EXPECT_EQ(deltasOf(slice), (std::vector<int>{-6}));
}

TYPED_TEST(ReadShortTermRefPicSet, KeepsDeltaIdxInEightBits)
{
    CSets sets({smallReference()});
    ShortTermRefPicSet slice;
    CBitWriter writer;
    writer.flag(true).ue(256).append(predictedSet(-1, {USED, USED, USED, USED})).trailing();
    EXPECT_EQ(sets.readSlice<TypeParam>(writer, slice), 0);
    EXPECT_EQ(slice.delta_idx, 1);
    EXPECT_EQ(deltasOf(slice), (std::vector<int>{-1, -2, -4, 2}));
}

TYPED_TEST(ReadShortTermRefPicSet, ReadsOverItsOwnReferenceAsAnEmptyOne)
{
    CSets sets({smallReference()});
    CBitWriter writer;
    writer.flag(true).ue(0).append(predictedSet(2, {KEPT})).trailing();
    EXPECT_EQ(sets.readSlice<TypeParam>(writer, sets[0]), 0);
    EXPECT_EQ(deltasOf(sets[0]), (std::vector<int>{2}));
    EXPECT_EQ(usedOf(sets[0]), (std::vector<bool>{false}));
}

TYPED_TEST(ReadShortTermRefPicSet, ConsumesEntriesThatTheRecordHasNoRoomFor)
{
    auto pSet = std::make_unique<ShortTermRefPicSet>();
    CSets sets({});
    // 10 negative and 10 positive entries, each the code 1 and a flag 1
    EXPECT_EQ(sets.readSlice<TypeParam>(
                  CBitWriter().ue(10).ue(10).bits("1111111111 1111111111 1111111111 1111111111").bits("1"), *pSet),
              0);
    EXPECT_EQ(sets.bitsLeftAfterSlice(), 1U);
    EXPECT_EQ(pSet->NumNegativePics, 10);
    EXPECT_EQ(pSet->NumPositivePics, 10);
    EXPECT_EQ(pSet->NumDeltaPocs, 20);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(pSet->DeltaPoc[i], -1 - i);
    for (int i = 10; i < 16; ++i)
        EXPECT_EQ(pSet->DeltaPoc[i], i - 9);
    EXPECT_TRUE(pSet->UsedByCurrPic[15]);
    EXPECT_TRUE(isAllZero(pSet->UseDeltaFlagOfPic));
}

TYPED_TEST(ReadShortTermRefPicSet, KeepsCountsModulo256)
{
    CSets sets({});
    ShortTermRefPicSet set;
    EXPECT_EQ(sets.readSlice<TypeParam>(CBitWriter().ue(256).ue(257).bits("1 1 1"), set), 0);
    EXPECT_EQ(set.NumNegativePics, 0);
    EXPECT_EQ(set.NumPositivePics, 1);
    EXPECT_EQ(deltasOf(set), (std::vector<int>{1}));
}

// Longer payloads, where the two readers part: every bit in order.

} // namespace
} // namespace short_term_ref_pic_set_test
