#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "SequenceParameterSet.h"
#include "SequenceParameterSetFixture.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace sequence_parameter_set_ref_pics_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

using ReadSPS = SequenceParameterSet;

TEST_F(ReadSPS, FillsTheSetsInOrder)
{
    SpsSyntax syntax;
    syntax.st_ref_pic_set.resize(3);
    syntax.st_ref_pic_set[0].s0 = {{0, true}, {1, true}};
    syntax.st_ref_pic_set[0].s1 = {{2, true}};
    syntax.st_ref_pic_set[1].inter_ref_pic_set_prediction_flag = true; // from the set before
    syntax.st_ref_pic_set[1].delta_rps_sign = true;
    syntax.st_ref_pic_set[1].flags.resize(4);
    syntax.st_ref_pic_set[2].s0 = {{7, false}};
    EXPECT_EQ(read(syntax), 0);
    const ShortTermRefPicSet* const pSets = m_sps->pShortTermRefPicSet;
    EXPECT_EQ(pSets[0].NumDeltaPocs, 3);
    EXPECT_EQ(pSets[1].NumNegativePics, 3);
    EXPECT_EQ(pSets[1].NumPositivePics, 1);
    EXPECT_EQ(pSets[1].DeltaPoc[2], -4);
    EXPECT_EQ(pSets[2].DeltaPoc[0], -8);
    EXPECT_TRUE(m_sps->sps_temporal_mvp_enabled_flag);
    EXPECT_EQ(m_sps->PicSizeInCtbsY, 510);
}

TEST_F(ReadSPS, CallsEverySetWhenThePayloadEndsAtTheirCount)
{
    SpsSyntax syntax;
    syntax.num_short_term_ref_pic_sets = 3;
    CBitWriter bits = writeSpsFormat(syntax);
    bits.append(writeSpsCodingTools(syntax)).ue(3);
    spoilValues();
    EXPECT_EQ(readToTheLastBit(bits), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(m_sps->num_short_term_ref_pic_sets, 3);
    ASSERT_NE(m_sps->pShortTermRefPicSet, nullptr);
    EXPECT_EQ(m_log.lines(), std::vector<std::string>(4, READ_FLAG_ERROR)); // three sets and the flag
    EXPECT_FALSE(m_sps->long_term_ref_pics_present_flag);
    EXPECT_TRUE(isUntouched(m_sps->sps_temporal_mvp_enabled_flag));
    EXPECT_TRUE(areDerivedUntouched(*m_sps));
}

// The default SPS with these bits for its long-term pictures.
CBitWriter withLongTerm(const SpsSyntax& syntax, std::uint64_t num_long_term_ref_pics_sps, const CBitWriter& pictures)
{
    CBitWriter bits = writeSpsFormat(syntax);
    bits.append(writeSpsCodingTools(syntax)).ue(0).flag(true).ue(num_long_term_ref_pics_sps).append(pictures);
    return bits.flag(false).flag(true).flag(false).flag(true).trailing();
}

TEST_F(ReadSPS, DropsLongTermPicturesSixteenAndAbove)
{
    for (const unsigned uiCount : {15U, 16U, 17U, 32U, 255U, 256U + 3}) {
        SCOPED_TRACE(uiCount);
        SpsSyntax syntax;
        syntax.log2_max_pic_order_cnt_lsb_minus4 = 12;
        const unsigned uiRead = uiCount % 256;
        CBitWriter pictures;
        for (unsigned i = 0; i < uiRead; ++i)
            pictures.u(16, 0x1000 + i).flag(i % 3 == 0);
        spoilValues();
        EXPECT_EQ(read(withLongTerm(syntax, uiCount, pictures)), 0);
        EXPECT_EQ(m_sps->num_long_term_ref_pics_sps, uiRead);
        for (unsigned i = 0; i < MAX_LONG_TERM_REF_PICS; ++i) {
            if (i < uiRead) {
                EXPECT_EQ(m_sps->lt_ref_pic_poc_lsb_sps[i], 0x1000 + i);
                EXPECT_EQ(m_sps->used_by_curr_pic_lt_sps_flag[i], i % 3 == 0 ? 1 : 0);
            } else {
                EXPECT_TRUE(isUntouched(m_sps->lt_ref_pic_poc_lsb_sps[i]));
                EXPECT_TRUE(isUntouched(m_sps->used_by_curr_pic_lt_sps_flag[i]));
            }
        }
        EXPECT_FALSE(m_sps->sps_temporal_mvp_enabled_flag);
        EXPECT_TRUE(m_sps->strong_intra_smoothing_enabled_flag);
    }
}

TEST_F(ReadSPS, KeepsTheLast32BitsOfWiderPocLsbs)
{
    for (const unsigned uiWidth : {4U, 31U, 32U, 33U, 40U, 63U, 64U}) {
        SCOPED_TRACE(uiWidth);
        SpsSyntax syntax;
        syntax.log2_max_pic_order_cnt_lsb_minus4 = uiWidth - 4;
        constexpr std::uint64_t LSB = 0xfedcba9889abcdef;
        EXPECT_EQ(read(withLongTerm(syntax, 1, CBitWriter().u(uiWidth, LSB).flag(true))), 0);
        const std::uint64_t ulMask = uiWidth < 32 ? (std::uint64_t{1} << uiWidth) - 1 : 0xffffffff;
        EXPECT_EQ(m_sps->log2_max_pic_order_cnt_lsb, uiWidth);
        EXPECT_EQ(m_sps->lt_ref_pic_poc_lsb_sps[0], LSB & ulMask);
        EXPECT_EQ(m_sps->used_by_curr_pic_lt_sps_flag[0], 1);
        EXPECT_TRUE(m_sps->sps_extension_present_flag);
    }
}

// A picture's two elements are 64 bits; so many sets of three bits put them at every place of a cache word.
TEST_F(ReadSPS, ReadsLongTermPicturesOf64BitsWhereverTheyBegin)
{
    SpsSyntax syntax;
    syntax.log2_max_pic_order_cnt_lsb_minus4 = 59;
    for (unsigned uiSets = 63; uiSets < 63 + 64; ++uiSets) {
        SCOPED_TRACE(uiSets);
        syntax.st_ref_pic_set.assign(uiSets, {});
        CBitWriter bits = writeSpsFormat(syntax);
        bits.append(writeSpsCodingTools(syntax)).ue(uiSets);
        for (unsigned i = 0; i < uiSets; ++i)
            bits.append(write(syntax.st_ref_pic_set[i], i, uiSets));
        bits.flag(true).ue(2).u(63, 0).flag(false).u(63, 0x12345678).flag(true);
        EXPECT_EQ(read(bits.flag(false).flag(true).flag(false).flag(true).trailing()), 0);
        EXPECT_EQ(m_sps->lt_ref_pic_poc_lsb_sps[0], 0U);
        EXPECT_EQ(m_sps->lt_ref_pic_poc_lsb_sps[1], 0x12345678U);
        EXPECT_EQ(m_sps->used_by_curr_pic_lt_sps_flag[0], 0);
        EXPECT_EQ(m_sps->used_by_curr_pic_lt_sps_flag[1], 1);
        EXPECT_TRUE(m_sps->strong_intra_smoothing_enabled_flag);
        EXPECT_TRUE(m_sps->sps_extension_present_flag);
    }
}

TEST_F(ReadSPS, FailsAtPocLsbsOfMoreThan64Bits)
{
    for (const std::uint64_t ulMinus4 : {61U, 1000U, 0xfffffffbU}) {
        SCOPED_TRACE(ulMinus4);
        m_log.forget();
        SpsSyntax syntax;
        syntax.log2_max_pic_order_cnt_lsb_minus4 = ulMinus4;
        spoilValues();
        EXPECT_EQ(read(withLongTerm(syntax, 1, CBitWriter().u(64, ~std::uint64_t{0}).u(64, ~std::uint64_t{0}))),
                  E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(m_sps->lt_ref_pic_poc_lsb_sps[0], 0U);
        EXPECT_TRUE(isUntouched(m_sps->used_by_curr_pic_lt_sps_flag[0]));
        EXPECT_EQ(m_log.lines(), std::vector<std::string>{READ_BITS_ERROR});
    }
}

TEST_F(ReadSPS, TakesNoBitsForPocLsbsOfWidthZero)
{
    SpsSyntax syntax;
    syntax.log2_max_pic_order_cnt_lsb_minus4 = 0xfffffffc; // plus 4 wraps
    spoilValues();
    EXPECT_EQ(read(withLongTerm(syntax, 3, CBitWriter().bits("101")).u(64, ~std::uint64_t{0})), 0);
    EXPECT_EQ(m_sps->log2_max_pic_order_cnt_lsb, 0U);
    for (unsigned i = 0; i < 3; ++i)
        EXPECT_EQ(m_sps->lt_ref_pic_poc_lsb_sps[i], 0U);
    EXPECT_EQ(m_sps->used_by_curr_pic_lt_sps_flag[0], 1);
    EXPECT_EQ(m_sps->used_by_curr_pic_lt_sps_flag[1], 0);
    EXPECT_EQ(m_sps->used_by_curr_pic_lt_sps_flag[2], 1);
    EXPECT_TRUE(m_sps->strong_intra_smoothing_enabled_flag);
}

} // namespace
} // namespace sequence_parameter_set_ref_pics_test
