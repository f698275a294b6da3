#include "ShortTermRefPicSet.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "ExactBits.h"
#include "SequenceParameterSet.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace {

using namespace h265_codec;
using namespace h265_test;

/// One entry of a set: its POC delta and whether the current picture uses it.
struct Entry
{
    int iDelta;
    bool bUsed;
};

/// used_by_curr_pic_flag[ j ] and use_delta_flag[ j ], the latter coded only without the former.
struct Flags
{
    bool bUsed;
    bool bUseDelta;
};
constexpr Flags USED = {true, true};
constexpr Flags KEPT = {false, true};
constexpr Flags LEFT_OUT = {false, false};

ShortTermRefPicSet makeSet(const std::vector<int>& negative, const std::vector<int>& positive)
{
    ShortTermRefPicSet set = {};
    unsigned i = 0;
    for (const std::vector<int>* pList : {&negative, &positive}) {
        for (const int iDelta : *pList)
            set.DeltaPoc[i++] = iDelta;
    }
    set.NumNegativePics = static_cast<unsigned char>(negative.size());
    set.NumPositivePics = static_cast<unsigned char>(positive.size());
    set.NumDeltaPocs = static_cast<unsigned char>(i);
    return set;
}

/// 7.3.7 behind inter_ref_pic_set_prediction_flag, explicitly coded.
CBitWriter explicitSet(std::initializer_list<Entry> negative, std::initializer_list<Entry> positive)
{
    CBitWriter writer;
    writer.ue(negative.size()).ue(positive.size());
    int iPrevious = 0;
    for (const Entry& entry : negative) {
        writer.ue(static_cast<unsigned>(iPrevious - entry.iDelta - 1)).flag(entry.bUsed);
        iPrevious = entry.iDelta;
    }
    iPrevious = 0;
    for (const Entry& entry : positive) {
        writer.ue(static_cast<unsigned>(entry.iDelta - iPrevious - 1)).flag(entry.bUsed);
        iPrevious = entry.iDelta;
    }
    return writer;
}

/// 7.3.7 behind delta_idx_minus1, predicted.
CBitWriter predictedSet(int iDeltaRps, const std::vector<Flags>& flags)
{
    CBitWriter writer;
    writer.flag(iDeltaRps < 0).ue(static_cast<unsigned>(std::abs(iDeltaRps) - 1));
    for (const Flags& f : flags) {
        writer.flag(f.bUsed);
        if (!f.bUsed)
            writer.flag(f.bUseDelta);
    }
    return writer;
}

CBitWriter flagThen(bool inter_ref_pic_set_prediction_flag, const CBitWriter& rest)
{
    return CBitWriter().flag(inter_ref_pic_set_prediction_flag).append(rest);
}

CBitWriter shortened(const CBitWriter& writer, std::size_t uiBitCount)
{
    return CBitWriter(writer).cut(uiBitCount);
}

std::vector<int> deltasOf(const ShortTermRefPicSet& set)
{
    return std::vector<int>(set.DeltaPoc, set.DeltaPoc + set.NumDeltaPocs);
}

std::vector<bool> usedOf(const ShortTermRefPicSet& set)
{
    return std::vector<bool>(set.UsedByCurrPic, set.UsedByCurrPic + set.NumDeltaPocs);
}

bool isAllZero(const bool (&aFlags)[MAX_REF_PICS])
{
    return std::none_of(std::begin(aFlags), std::end(aFlags), [](bool bFlag) { return bFlag; });
}

/// An SPS with an array of exactly uiSets sets, so that the sanitizers see each access past it.
class CSets
{
public:
    explicit CSets(std::vector<ShortTermRefPicSet> sets) : m_sets(std::move(sets))
    {
        m_sets.shrink_to_fit();
        m_sps.num_short_term_ref_pic_sets = static_cast<unsigned char>(m_sets.size());
        m_sps.pShortTermRefPicSet = m_sets.data();
    }

    ShortTermRefPicSet& operator[](std::size_t i) { return m_sets[i]; }
    [[nodiscard]] int count() const { return static_cast<int>(m_sets.size()); }

    /// Reads set stRpsIdx of the array.
    template <class TReader>
    int read(const CBitWriter& writer, int stRpsIdx)
    {
        const CExactBits bits(writer);
        TReader bs = bits.reader<TReader>();
        return read_short_term_ref_pic_set(&m_sps, &m_sets[static_cast<std::size_t>(stRpsIdx)], stRpsIdx, &bs);
    }

    /// Reads a set that follows the array, as a slice header codes it.
    template <class TReader>
    int readSlice(const CBitWriter& writer, ShortTermRefPicSet& set)
    {
        const CExactBits bits(writer);
        TReader bs = bits.reader<TReader>();
        const int iResult = read_short_term_ref_pic_set(&m_sps, &set, count(), &bs);
        m_uiBitsLeft = bitsLeft(bs);
        return iResult;
    }

    [[nodiscard]] std::size_t bitsLeftAfterSlice() const { return m_uiBitsLeft; }

private:
    SPS m_sps = {};
    std::vector<ShortTermRefPicSet> m_sets;
    std::size_t m_uiBitsLeft = 0;
};

/// {-1, -3 | 3}
ShortTermRefPicSet smallReference()
{
    return makeSet({-1, -3}, {3});
}

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
        EXPECT_EQ(sets.read<CRbspReader>(shortened(writer, writer.size() - 1), 1), E_BS_NOT_ENOUGH_BITS);
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
    for (std::size_t uiBitCount = 0; uiBitCount < writer.size(); ++uiBitCount) {
        SCOPED_TRACE(uiBitCount);
        const CLogCatcher log;
        CSets sets({{}, {}, {}});
        std::memset(&sets[1], 0xff, sizeof(sets[1]));
        EXPECT_EQ(sets.read<CRbspReader>(shortened(writer, uiBitCount), 1), E_BS_NOT_ENOUGH_BITS);
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
    }
}

TEST(ReadLongShortTermRefPicSet, FailsAtEveryCutOfAPredictedSet)
{
    const CBitWriter writer = CBitWriter().bits("1  010  1 00100  1  01  00  1"); // flag, delta_idx, -4, four flags
    for (std::size_t uiBitCount = 0; uiBitCount < writer.size(); ++uiBitCount) {
        SCOPED_TRACE(uiBitCount);
        const CLogCatcher log;
        CSets sets({smallReference(), {}});
        ShortTermRefPicSet set;
        std::memset(&set, 0xff, sizeof(set));
        EXPECT_EQ(sets.readSlice<CRbspReader>(shortened(writer, uiBitCount), set), E_BS_NOT_ENOUGH_BITS);
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
    }
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

std::vector<int> deltasOf(const std::vector<Entry>& entries)
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
        CSets sets({makeSet(deltasOf(ref.s0), deltasOf(ref.s1)), {}, {}});
        ASSERT_EQ(sets.read<CRbspReader>(flagThen(true, predictedSet(deltaRps, flags)), 1), 0);

        const Derived expected = deriveAsStated(ref, deltaRps, flags);
        std::vector<Entry> joined = expected.s0;
        joined.insert(joined.end(), expected.s1.begin(), expected.s1.end());
        ASSERT_EQ(sets[1].NumNegativePics, expected.s0.size());
        ASSERT_EQ(sets[1].NumPositivePics, expected.s1.size());
        ASSERT_EQ(deltasOf(sets[1]), deltasOf(joined));
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
        std::vector<unsigned char> bytes(256);
        for (unsigned char& ucByte : bytes)
            ucByte = static_cast<unsigned char>(numbers.below(256));
        const CPaddedPayload payload(bytes);
        const CPaddedPayload delivered(deliveredByDecoderReader(bytes).bytes());
        CBitStreamReader decoders = payload.reader<CBitStreamReader>();
        CRbspReader plain = delivered.reader<CRbspReader>();
        // Any first word, or the first code has a prefix of 32 zeros or more.
        decoders.m_ulCache = std::uint64_t{numbers.below(1U << 31)} << 33 | numbers.below(1U << 31);
        plain.m_ulCache = decoders.m_ulCache;

        SPS sps = {};
        ShortTermRefPicSet reference = smallReference();
        sps.pShortTermRefPicSet = &reference;
        sps.num_short_term_ref_pic_sets = 1;
        ShortTermRefPicSet one;
        ShortTermRefPicSet other;
        const int iResult = read_short_term_ref_pic_set(&sps, &one, 1, &decoders);
        const int iPlainResult = read_short_term_ref_pic_set(&sps, &other, 1, &plain);
        if (bitsLeft(plain) == 0)
            continue; // the decoder's reader delivers the very last bits again
        ++uiCompared;
        ASSERT_EQ(iResult, iPlainResult);
        ASSERT_EQ(std::memcmp(&one, &other, sizeof(one)), 0);
        ASSERT_EQ(bitsLeft(decoders), bitsLeft(plain));
    }
    EXPECT_GT(uiCompared, 1000U);
}

} // namespace
