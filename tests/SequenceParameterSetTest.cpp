#include "SequenceParameterSet.h"

#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "DamagedPayloads.h"
#include "ElementWalk.h"
#include "SequenceParameterSetFixture.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace sequence_parameter_set_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

using ReadSPS = SequenceParameterSet;
using ReadSPSDerived = SequenceParameterSet;

CElementWalk headOf(SPS& sps, const SpsSyntax& s)
{
    CElementWalk walk;
    walk.u("sps_video_parameter_set_id", sps.sps_video_parameter_set_id, 4, s.sps_video_parameter_set_id);
    walk.u("sps_max_sub_layers_minus1", sps.sps_max_sub_layers_minus1, 3, s.sps_max_sub_layers_minus1);
    walk.flag("sps_temporal_id_nesting_flag", sps.sps_temporal_id_nesting_flag, s.sps_temporal_id_nesting_flag);
    return walk;
}

void walkFormat(CElementWalk& walk, SPS& sps, const SpsSyntax& s)
{
    walk.ue("sps_seq_parameter_set_id", sps.sps_seq_parameter_set_id, s.sps_seq_parameter_set_id);
    walk.ue("chroma_format_idc", sps.chroma_format_idc, s.chroma_format_idc);
    if (s.chroma_format_idc == 3)
        walk.flag("separate_colour_plane_flag", sps.separate_colour_plane_flag, s.separate_colour_plane_flag);
    walk.ue("pic_width_in_luma_samples", sps.pic_width_in_luma_samples, s.pic_width_in_luma_samples);
    walk.ue("pic_height_in_luma_samples", sps.pic_height_in_luma_samples, s.pic_height_in_luma_samples);
    walk.flag("conformance_window_flag", sps.conformance_window_flag, s.conformance_window_flag);
    if (s.conformance_window_flag) {
        walk.ue("conf_win_left_offset", sps.conf_win_left_offset, s.conf_win_left_offset);
        walk.ue("conf_win_right_offset", sps.conf_win_right_offset, s.conf_win_right_offset);
        walk.ue("conf_win_top_offset", sps.conf_win_top_offset, s.conf_win_top_offset);
        walk.ue("conf_win_bottom_offset", sps.conf_win_bottom_offset, s.conf_win_bottom_offset);
    }
    walk.ue("BitDepthY", sps.BitDepthY, s.bit_depth_luma_minus8, 8);
    walk.ue("BitDepthC", sps.BitDepthC, s.bit_depth_chroma_minus8, 8);
    walk.ue("log2_max_pic_order_cnt_lsb", sps.log2_max_pic_order_cnt_lsb, s.log2_max_pic_order_cnt_lsb_minus4, 4);
    const bool bAll = s.sps_sub_layer_ordering_info_present_flag;
    walk.flag("ordering_info_present", sps.sps_sub_layer_ordering_info_present_flag, bAll);
    for (unsigned i = bAll ? 0 : s.sps_max_sub_layers_minus1; i <= s.sps_max_sub_layers_minus1; ++i) {
        const SubLayerOrderingSyntax& ordering = s.ordering[i];
        walk.ue("buffering", sps.sps_max_dec_pic_buffering_minus1[i], ordering.max_dec_pic_buffering_minus1);
        walk.ue("reorder", sps.sps_max_num_reorder_pics[i], ordering.max_num_reorder_pics);
        walk.ue("latency", sps.sps_max_latency_increase_plus1[i], ordering.max_latency_increase_plus1);
    }
}

void walkCodingTools(CElementWalk& walk, SPS& sps, const SpsSyntax& s)
{
    const unsigned MinCb = static_cast<unsigned>(s.log2_min_luma_coding_block_size_minus3) + 3;
    const unsigned MinTb = static_cast<unsigned>(s.log2_min_luma_transform_block_size_minus2) + 2;
    walk.ue("MinCbLog2SizeY", sps.MinCbLog2SizeY, s.log2_min_luma_coding_block_size_minus3, 3);
    walk.ue("CtbLog2SizeY", sps.CtbLog2SizeY, s.log2_diff_max_min_luma_coding_block_size, MinCb);
    walk.ue("MinTbLog2SizeY", sps.MinTbLog2SizeY, s.log2_min_luma_transform_block_size_minus2, 2);
    walk.ue("MaxTbLog2SizeY", sps.MaxTbLog2SizeY, s.log2_diff_max_min_luma_transform_block_size, MinTb);
    walk.ue("depth_inter", sps.max_transform_hierarchy_depth_inter, s.max_transform_hierarchy_depth_inter);
    walk.ue("depth_intra", sps.max_transform_hierarchy_depth_intra, s.max_transform_hierarchy_depth_intra);
    walk.flag("scaling_list_enabled_flag", sps.scaling_list_enabled_flag, s.scaling_list_enabled_flag);
    if (s.scaling_list_enabled_flag)
        walk.flag("sps_scaling_list_data_present_flag", sps.sps_scaling_list_data_present_flag, false);
    walk.flag("amp_enabled_flag", sps.amp_enabled_flag, s.amp_enabled_flag);
    walk.flag("sao", sps.sample_adaptive_offset_enabled_flag, s.sample_adaptive_offset_enabled_flag);
    walk.flag("pcm_enabled_flag", sps.pcm_enabled_flag, s.pcm.has_value());
    if (s.pcm) {
        const PcmSyntax& pcm = *s.pcm;
        const unsigned MinPcm = static_cast<unsigned>(pcm.log2_min_pcm_luma_coding_block_size_minus3) + 3;
        walk.u("pcm_luma", sps.pcm_sample_bit_depth_luma_minus1, 4, pcm.pcm_sample_bit_depth_luma_minus1);
        walk.u("pcm_chroma", sps.pcm_sample_bit_depth_chroma_minus1, 4, pcm.pcm_sample_bit_depth_chroma_minus1);
        walk.ue("Log2MinIpcmCbSizeY", sps.Log2MinIpcmCbSizeY, pcm.log2_min_pcm_luma_coding_block_size_minus3, 3);
        walk.ue("Log2MaxIpcmCbSizeY", sps.Log2MaxIpcmCbSizeY, pcm.log2_diff_max_min_pcm_luma_coding_block_size, MinPcm);
        walk.flag("pcm_loop", sps.pcm_loop_filter_disabled_flag, pcm.pcm_loop_filter_disabled_flag);
    }
    walk.ue("num_short_term_ref_pic_sets", sps.num_short_term_ref_pic_sets, s.st_ref_pic_set.size());
}

// Behind the short-term reference picture sets.
CElementWalk tailOf(SPS& sps, const SpsSyntax& s)
{
    CElementWalk walk;
    walk.flag("lt_present", sps.long_term_ref_pics_present_flag, s.long_term_ref_pics_present_flag);
    if (s.long_term_ref_pics_present_flag) {
        walk.ue("num_long_term_ref_pics_sps", sps.num_long_term_ref_pics_sps, s.long_term_ref_pic.size());
        const unsigned uiLsbBits = static_cast<unsigned>(s.log2_max_pic_order_cnt_lsb_minus4) + 4;
        for (std::size_t i = 0; i < s.long_term_ref_pic.size(); ++i) {
            const LongTermRefPicSyntax& pic = s.long_term_ref_pic[i];
            walk.u("lt_ref_pic_poc_lsb_sps", sps.lt_ref_pic_poc_lsb_sps[i], uiLsbBits, pic.lt_ref_pic_poc_lsb_sps);
            walk.u("lt_used", sps.used_by_curr_pic_lt_sps_flag[i], 1, pic.used_by_curr_pic_lt_sps_flag ? 1 : 0);
        }
    }
    walk.flag("mvp", sps.sps_temporal_mvp_enabled_flag, s.sps_temporal_mvp_enabled_flag);
    walk.flag("smoothing", sps.strong_intra_smoothing_enabled_flag, s.strong_intra_smoothing_enabled_flag);
    walk.flag("vui", sps.vui_parameters_present_flag, s.vui_parameters_present_flag);
    walk.flag("extension", sps.sps_extension_present_flag, s.sps_extension_present_flag);
    return walk;
}

TEST_F(ReadSPS, StoresEveryElement)
{
    for (const bool bOptional : {true, false}) {
        SpsSyntax syntax = bOptional ? mixedValues() : SpsSyntax{};
        spoilValues();
        EXPECT_EQ(read(syntax), 0);
        const std::size_t uiAll = write(syntax).size();
        headOf(*m_sps, syntax).expectFields(uiAll);
        CElementWalk middle;
        walkFormat(middle, *m_sps, syntax);
        walkCodingTools(middle, *m_sps, syntax);
        middle.expectFields(uiAll);
        tailOf(*m_sps, syntax).expectFields(uiAll);
        EXPECT_EQ(m_sps->ptl.general_level_idc, syntax.ptl.general_level_idc);
        EXPECT_TRUE(isUntouched(m_sps->refCount));
        EXPECT_TRUE(isUntouched(m_sps->reserved));
        EXPECT_TRUE(m_log.lines().empty());
    }
}

TEST_F(ReadSPS, LeavesFieldsThatTheSyntaxSkipsAlone)
{
    spoilValues();
    EXPECT_EQ(read(SpsSyntax{}), 0);
    EXPECT_TRUE(isUntouched(m_sps->separate_colour_plane_flag));
    EXPECT_TRUE(isUntouched(m_sps->conf_win_left_offset));
    EXPECT_TRUE(isUntouched(m_sps->conf_win_bottom_offset));
    EXPECT_TRUE(isUntouched(m_sps->sps_max_num_reorder_pics[1]));
    EXPECT_TRUE(isUntouched(m_sps->sps_scaling_list_data_present_flag));
    EXPECT_EQ(m_sps->pScalingList, nullptr);
    EXPECT_TRUE(isUntouched(m_sps->pcm_sample_bit_depth_luma_minus1));
    EXPECT_TRUE(isUntouched(m_sps->pcm_sample_bit_depth_chroma_minus1));
    EXPECT_TRUE(isUntouched(m_sps->Log2MinIpcmCbSizeY));
    EXPECT_TRUE(isUntouched(m_sps->Log2MaxIpcmCbSizeY));
    EXPECT_TRUE(isUntouched(m_sps->pcm_loop_filter_disabled_flag));
    EXPECT_EQ(m_sps->PcmCbSizeMask, 0); // this one is written
    EXPECT_TRUE(isUntouched(m_sps->num_long_term_ref_pics_sps));
    EXPECT_TRUE(isUntouched(m_sps->lt_ref_pic_poc_lsb_sps));
    EXPECT_TRUE(isUntouched(m_sps->used_by_curr_pic_lt_sps_flag));
}

TEST_F(ReadSPS, StoresEachFlagForItself)
{
    struct Flag
    {
        bool SpsSyntax::*pSyntax;
        bool SPS::*pField;
    };
    const Flag aFlags[] = {
        {&SpsSyntax::sps_temporal_id_nesting_flag, &SPS::sps_temporal_id_nesting_flag},
        {&SpsSyntax::conformance_window_flag, &SPS::conformance_window_flag},
        {&SpsSyntax::sps_sub_layer_ordering_info_present_flag, &SPS::sps_sub_layer_ordering_info_present_flag},
        {&SpsSyntax::scaling_list_enabled_flag, &SPS::scaling_list_enabled_flag},
        {&SpsSyntax::amp_enabled_flag, &SPS::amp_enabled_flag},
        {&SpsSyntax::sample_adaptive_offset_enabled_flag, &SPS::sample_adaptive_offset_enabled_flag},
        {&SpsSyntax::long_term_ref_pics_present_flag, &SPS::long_term_ref_pics_present_flag},
        {&SpsSyntax::sps_temporal_mvp_enabled_flag, &SPS::sps_temporal_mvp_enabled_flag},
        {&SpsSyntax::strong_intra_smoothing_enabled_flag, &SPS::strong_intra_smoothing_enabled_flag},
        {&SpsSyntax::vui_parameters_present_flag, &SPS::vui_parameters_present_flag},
        {&SpsSyntax::sps_extension_present_flag, &SPS::sps_extension_present_flag},
    };
    for (const Flag& set : aFlags) {
        SCOPED_TRACE(&set - aFlags);
        SpsSyntax syntax;
        for (const Flag& flag : aFlags)
            syntax.*flag.pSyntax = &flag == &set;
        EXPECT_EQ(read(syntax), 0);
        for (const Flag& flag : aFlags)
            EXPECT_EQ(m_sps->*flag.pField, &flag == &set);
    }
}

TEST_F(ReadSPS, KeepsValuesInTheWidthOfTheirFields)
{
    SpsSyntax syntax;
    syntax.sps_seq_parameter_set_id = 256 + 7;
    syntax.chroma_format_idc = 256 + 3; // the flag behind it is there, for the value kept
    syntax.pic_width_in_luma_samples = 65536 + 16;
    syntax.pic_height_in_luma_samples = 2 * 65536 + 24;
    syntax.conformance_window_flag = true;
    syntax.conf_win_left_offset = 65536 + 5;
    syntax.conf_win_bottom_offset = 65535;
    syntax.bit_depth_luma_minus8 = 250;
    syntax.bit_depth_chroma_minus8 = 256;
    syntax.log2_max_pic_order_cnt_lsb_minus4 = 1000;
    syntax.max_transform_hierarchy_depth_inter = 256;
    syntax.max_transform_hierarchy_depth_intra = 511;
    CBitWriter bits;
    bits.u(4, 0).u(3, 0).flag(true).append(write(syntax.ptl, 0));
    bits.ue(syntax.sps_seq_parameter_set_id).ue(syntax.chroma_format_idc).flag(true);
    const std::size_t uiCoded = CBitWriter().ue(syntax.sps_seq_parameter_set_id).ue(syntax.chroma_format_idc).size();
    const CBitWriter whole = write(syntax);
    for (std::size_t i = 8 + 96 + uiCoded; i < whole.size(); ++i)
        bits.flag(whole.allBits()[i]);
    EXPECT_EQ(read(bits), 0);
    EXPECT_EQ(m_sps->sps_seq_parameter_set_id, 7);
    EXPECT_EQ(m_sps->chroma_format_idc, 3);
    EXPECT_TRUE(m_sps->separate_colour_plane_flag);
    EXPECT_EQ(m_sps->pic_width_in_luma_samples, 16);
    EXPECT_EQ(m_sps->pic_height_in_luma_samples, 24);
    EXPECT_EQ(m_sps->conf_win_left_offset, 5);
    EXPECT_EQ(m_sps->conf_win_bottom_offset, 65535);
    EXPECT_EQ(m_sps->BitDepthY, 2);
    EXPECT_EQ(m_sps->BitDepthC, 8);
    EXPECT_EQ(m_sps->log2_max_pic_order_cnt_lsb, 1004U);
    EXPECT_EQ(m_sps->max_transform_hierarchy_depth_inter, 0);
    EXPECT_EQ(m_sps->max_transform_hierarchy_depth_intra, 255);
}

TEST_F(ReadSPS, ReadsTheSeparatePlaneFlagOnlyFor444)
{
    for (const unsigned chroma_format_idc : {0U, 1U, 2U, 3U, 4U}) {
        SCOPED_TRACE(chroma_format_idc);
        SpsSyntax syntax;
        syntax.chroma_format_idc = chroma_format_idc;
        syntax.separate_colour_plane_flag = true;
        spoilValues();
        EXPECT_EQ(read(syntax), 0);
        EXPECT_EQ(isUntouched(m_sps->separate_colour_plane_flag), chroma_format_idc != 3);
        EXPECT_EQ(m_sps->pic_width_in_luma_samples, 1920);
    }
}

TEST_F(ReadSPS, ComputesBlockSizesFromCodesOf8Bits)
{
    SpsSyntax syntax;
    syntax.log2_min_luma_coding_block_size_minus3 = 255;
    syntax.log2_diff_max_min_luma_coding_block_size = 255;
    syntax.log2_min_luma_transform_block_size_minus2 = 256 + 5;
    syntax.log2_diff_max_min_luma_transform_block_size = 254;
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_sps->MinCbLog2SizeY, 258);
    EXPECT_EQ(m_sps->CtbLog2SizeY, 513);
    EXPECT_EQ(m_sps->MinTbLog2SizeY, 7);
    EXPECT_EQ(m_sps->MaxTbLog2SizeY, 261);

    syntax.log2_min_luma_coding_block_size_minus3 = 256;
    syntax.log2_diff_max_min_luma_coding_block_size = 256 + 2;
    syntax.log2_diff_max_min_luma_transform_block_size = 256 + 4;
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_sps->MinCbLog2SizeY, 3);
    EXPECT_EQ(m_sps->CtbLog2SizeY, 5);
    EXPECT_EQ(m_sps->MaxTbLog2SizeY, 11);
}

TEST_F(ReadSPS, KeepsLowerSubLayersWhenOrderingInfoIsAbsent)
{
    SpsSyntax syntax;
    syntax.sps_max_sub_layers_minus1 = 2;
    syntax.sps_sub_layer_ordering_info_present_flag = false;
    syntax.ordering[2] = {5, 6, 7};
    EXPECT_EQ(read(syntax), 0);
    for (unsigned i = 0; i < MAX_SUB_LAYERS; ++i) {
        EXPECT_EQ(m_sps->sps_max_dec_pic_buffering_minus1[i], i == 2 ? 5U : 0U);
        EXPECT_EQ(m_sps->sps_max_num_reorder_pics[i], i == 2 ? 6U : 0U);
        EXPECT_EQ(m_sps->sps_max_latency_increase_plus1[i], i == 2 ? 7U : 0U);
    }
}

TEST_F(ReadSPS, DropsTheOrderingOfSubLayersFiveAndAbove)
{
    for (unsigned uiHighest = 4; uiHighest < 8; ++uiHighest) {
        for (const bool bAll : {true, false}) {
            SCOPED_TRACE(testing::Message() << uiHighest << (bAll ? " all" : " highest only"));
            SpsSyntax syntax = mixedValues();
            syntax.sps_max_sub_layers_minus1 = uiHighest;
            syntax.sps_sub_layer_ordering_info_present_flag = bAll;
            spoilValues();
            EXPECT_EQ(read(syntax), 0);
            for (unsigned i = 0; i < MAX_SUB_LAYERS; ++i) {
                EXPECT_EQ(isUntouched(m_sps->sps_max_dec_pic_buffering_minus1[i]), !bAll && i != uiHighest);
                EXPECT_EQ(isUntouched(m_sps->sps_max_num_reorder_pics[i]), !bAll && i != uiHighest);
                EXPECT_EQ(isUntouched(m_sps->sps_max_latency_increase_plus1[i]), !bAll && i != uiHighest);
            }
            EXPECT_EQ(m_sps->MinCbLog2SizeY, 4); // so the bits were consumed
        }
    }
}

TEST_F(ReadSPS, ComputesThePcmSizeMask)
{
    struct Case
    {
        unsigned uiMinMinus3;
        unsigned uiDiff;
        int Log2MinIpcmCbSizeY;
        int Log2MaxIpcmCbSizeY;
        int PcmCbSizeMask;
    };
    const Case aCases[] = {
        {0, 2, 3, 5, 0x38},
        {0, 0, 3, 3, 0x08},
        {0, 1, 3, 4, 0x18},
        {1, 1, 4, 5, 0x30},
        {2, 0, 5, 5, 0x20},
        {4, 0, 7, 7, 0x80},
        {5, 0, 8, 8, 0x00},
        {0, 27, 3, 30, 0xf8},
        {0, 28, 3, 31, 0xf9}, // the shift by 32 is one by 0
        {0, 29, 3, 32, 0xfa},
        {29, 0, 32, 32, 0x01},
        {32, 0, 35, 35, 0x08},
        {255, 0, 258, 258, 0x04},
        {255, 255, 258, 513, 0x00},
        {0, 256 + 1, 3, 4, 0x18},
        {256, 2, 3, 5, 0x38},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(testing::Message() << c.uiMinMinus3 << " and " << c.uiDiff);
        SpsSyntax syntax;
        syntax.pcm = PcmSyntax{7, 5, c.uiMinMinus3, c.uiDiff, true};
        EXPECT_EQ(read(syntax), 0);
        EXPECT_EQ(m_sps->Log2MinIpcmCbSizeY, c.Log2MinIpcmCbSizeY);
        EXPECT_EQ(m_sps->Log2MaxIpcmCbSizeY, c.Log2MaxIpcmCbSizeY);
        EXPECT_EQ(m_sps->PcmCbSizeMask, c.PcmCbSizeMask);
        EXPECT_EQ(m_sps->pcm_sample_bit_depth_luma_minus1, 7); // as coded
        EXPECT_EQ(m_sps->pcm_sample_bit_depth_chroma_minus1, 5);
        EXPECT_TRUE(m_sps->pcm_loop_filter_disabled_flag);
    }
}

TEST_F(ReadSPS, ClearsOnlyThePcmMaskWhenPcmGoes)
{
    SpsSyntax syntax;
    syntax.pcm = PcmSyntax{};
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_sps->PcmCbSizeMask, 0x38);
    EXPECT_EQ(read(SpsSyntax{}), 0);
    EXPECT_FALSE(m_sps->pcm_enabled_flag);
    EXPECT_EQ(m_sps->PcmCbSizeMask, 0);
    EXPECT_EQ(m_sps->Log2MinIpcmCbSizeY, 3);
    EXPECT_EQ(m_sps->Log2MaxIpcmCbSizeY, 5);
    EXPECT_EQ(m_sps->pcm_sample_bit_depth_luma_minus1, 7);
}

TEST_F(ReadSPS, TakesTheFirstBitOfTheVuiForTheExtensionFlag)
{
    for (const bool aspect_ratio_info_present_flag : {true, false}) {
        SpsSyntax syntax;
        syntax.vui_parameters_present_flag = true;
        syntax.vui_parameters.flag(aspect_ratio_info_present_flag).u(8, 1).u(40, 0);
        syntax.sps_extension_present_flag = !aspect_ratio_info_present_flag;
        EXPECT_EQ(read(syntax), 0);
        EXPECT_TRUE(m_sps->vui_parameters_present_flag);
        EXPECT_EQ(m_sps->sps_extension_present_flag, aspect_ratio_info_present_flag);
        EXPECT_EQ(m_sps->PicSizeInCtbsY, 510);
    }
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(ReadSPS, LeavesExtensionDataUnread)
{
    SpsSyntax syntax;
    syntax.sps_extension_present_flag = true;
    syntax.extension.u(64, 0x0123456789abcdef);
    const CPaddedPayload payload(write(syntax).bytes());
    CRbspReader bs = payload.reader<CRbspReader>();
    EXPECT_EQ(readSPS(m_sps, &bs, m_pool.pool()), 0);
    EXPECT_TRUE(m_sps->sps_extension_present_flag);
    EXPECT_GE(static_cast<std::size_t>(bs.m_pBufEnd - bs.m_pCurPos) * 8 + bs.m_uiCachedBits, 56U);
}

TEST_F(ReadSPS, SucceedsWithoutTrailingBitsAfterAnErrorLine)
{
    SpsSyntax syntax;
    syntax.rbsp_trailing_bits = false;
    EXPECT_EQ(readToTheLastBit(write(syntax)), 0);
    EXPECT_EQ(m_sps->PicSizeInCtbsY, 510);
    EXPECT_EQ(m_log.lines(), std::vector<std::string>{READ_FLAG_ERROR});
}

TEST_F(ReadSPS, ConsumesTheTrailingBits)
{
    const CPaddedPayload payload(write(SpsSyntax{}).u(8, 0x77).bytes());
    CRbspReader bs = payload.reader<CRbspReader>();
    EXPECT_EQ(readSPS(m_sps, &bs, m_pool.pool()), 0);
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(8, value), 0);
    EXPECT_EQ(value, 0x77U);
}

TEST_F(ReadSPS, KeepsWhatStoodBeforeTheEndOfThePayloadAndNothingBehind)
{
    for (const bool bOptional : {true, false}) {
        SpsSyntax syntax = bOptional ? mixedValues() : SpsSyntax{};
        syntax.rbsp_trailing_bits = false;
        const CBitWriter bits = write(syntax);
        const CElementWalk head = headOf(*m_sps, syntax);
        CElementWalk middle;
        walkFormat(middle, *m_sps, syntax);
        walkCodingTools(middle, *m_sps, syntax);
        const CElementWalk tail = tailOf(*m_sps, syntax);
        const std::size_t uiPtlEnd = 8 + write(syntax.ptl, syntax.sps_max_sub_layers_minus1).size();
        const std::size_t uiSetsStart = uiPtlEnd + middle.bits().size();
        const std::size_t uiSetsEnd = bits.size() - tail.bits().size();
        forEachCutAndTheWhole(bits, [&](std::size_t uiBitCount, const CBitWriter& first) {
            spoilValues();
            const bool bWhole = uiBitCount == bits.size();
            EXPECT_EQ(readToTheLastBit(first), bWhole ? 0 : E_BS_NOT_ENOUGH_BITS);
            EXPECT_EQ(areDerivedUntouched(*m_sps), !bWhole);
            EXPECT_TRUE(isUntouched(m_sps->reserved));
            head.expectFields(uiBitCount);
            // A cut sub-structure is followed by whatever bits are left of it.
            if (uiBitCount >= uiPtlEnd)
                middle.expectFields(uiBitCount - uiPtlEnd);
            if (uiBitCount >= uiSetsEnd)
                tail.expectFields(uiBitCount - uiSetsEnd);
            if (uiBitCount >= uiPtlEnd && uiBitCount < uiSetsStart) {
                EXPECT_TRUE(isUntouched(m_sps->long_term_ref_pics_present_flag));
            }
        });
    }
}

TEST_F(ReadSPS, KeepsEarlierValuesOfWhatALaterReadingSkips)
{
    EXPECT_EQ(read(mixedValues()), 0);
    EXPECT_EQ(read(SpsSyntax{}), 0);
    EXPECT_EQ(m_sps->chroma_format_idc, 1);
    EXPECT_TRUE(m_sps->separate_colour_plane_flag);
    EXPECT_FALSE(m_sps->conformance_window_flag);
    EXPECT_EQ(m_sps->conf_win_top_offset, 333);
    EXPECT_EQ(m_sps->sps_max_num_reorder_pics[1], 301U);
    EXPECT_FALSE(m_sps->long_term_ref_pics_present_flag);
    EXPECT_EQ(m_sps->num_long_term_ref_pics_sps, 3);
    EXPECT_EQ(m_sps->lt_ref_pic_poc_lsb_sps[2], 0x7ffU);
    EXPECT_EQ(m_sps->PicSizeInCtbsY, 510);
}

TEST_F(ReadSPSDerived, ComputesThePictureInCtbs)
{
    struct Case
    {
        const char* pName;
        unsigned uiWidth;
        unsigned uiHeight;
        unsigned CtbLog2SizeY;
        int LastCtbWidthY;
        int LastCtbHeightY;
        int PicWidthInCtbsY;
        int PicHeightInCtbsY;
        int PicSizeInCtbsY;
        int SliceSegmentAddressBits;
    };
    const Case aCases[] = {
        {"1920x1080", 1920, 1080, 6, 64, 56, 30, 17, 510, 9},
        {"one CTB", 64, 64, 6, 64, 64, 1, 1, 1, 0},
        {"less than one CTB", 8, 16, 6, 8, 16, 1, 1, 1, 0},
        {"two CTBs", 65, 64, 6, 1, 64, 2, 1, 2, 1},
        {"three CTBs", 192, 64, 6, 64, 64, 3, 1, 3, 2},
        {"512 CTBs", 512, 256, 4, 16, 16, 32, 16, 512, 9},
        {"513 CTBs", 513 * 16, 16, 4, 16, 16, 513, 1, 513, 10},
        {"no width", 0, 64, 6, 64, 64, 0, 1, 0, 0},
        {"no height", 64, 0, 6, 64, 64, 1, 0, 0, 0},
        {"no picture", 0, 0, 4, 16, 16, 0, 0, 0, 0},
        {"largest", 65535, 65535, 3, 7, 7, 8192, 8192, 1 << 26, 26},
        {"CTB of 256", 256, 300, 8, 0, 44, 1, 2, 2, 1},
        {"CTB of 65536", 65535, 1, 16, 255, 1, 1, 1, 1, 0},
        {"CTB of 2^30", 500, 0, 30, 244, 0, 1, 0, 0, 0},
        {"CTB of 2^31", 500, 0, 31, 244, 0, 1, 0, 0, 0},
        {"CTB of 2^32, taken as 1", 30, 20, 32, 1, 1, 30, 20, 600, 10},
        {"CTB of 2^38, taken as 64", 1920, 1080, 38, 64, 56, 30, 17, 510, 9},
        {"2^30 CTBs", 32768, 32768, 32, 1, 1, 32768, 32768, 1 << 30, 30},
        {"more than 2^30 CTBs", 40000, 30000, 32, 1, 1, 40000, 30000, 1200000000, 31},
        {"most CTBs", 65535, 32768, 32, 1, 1, 65535, 32768, 2147450880, 31},
        {"a negative size", 46341, 46341, 32, 1, 1, 46341, 46341, -2147479015, 0},
        {"a wrapped size", 65535, 65535, 32, 1, 1, 65535, 65535, -131071, 0},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pName);
        SpsSyntax syntax;
        syntax.pic_width_in_luma_samples = c.uiWidth;
        syntax.pic_height_in_luma_samples = c.uiHeight;
        syntax.log2_diff_max_min_luma_coding_block_size = c.CtbLog2SizeY - 3;
        EXPECT_EQ(read(syntax), 0);
        EXPECT_EQ(m_sps->CtbLog2SizeY, c.CtbLog2SizeY);
        EXPECT_EQ(m_sps->LastCtbWidthY, c.LastCtbWidthY);
        EXPECT_EQ(m_sps->LastCtbHeightY, c.LastCtbHeightY);
        EXPECT_EQ(m_sps->PicWidthInCtbsY, c.PicWidthInCtbsY);
        EXPECT_EQ(m_sps->PicHeightInCtbsY, c.PicHeightInCtbsY);
        EXPECT_EQ(m_sps->PicSizeInCtbsY, c.PicSizeInCtbsY);
        EXPECT_EQ(m_sps->SliceSegmentAddressBits, c.SliceSegmentAddressBits);
    }
}

// Everything of two records but what points at blocks.
void expectSameValues(const SPS& sps, const SPS& other)
{
    SPS one;
    SPS two;
    std::memcpy(&one, &sps, sizeof(SPS));
    std::memcpy(&two, &other, sizeof(SPS));
    one.pScalingList = two.pScalingList = nullptr;
    one.pShortTermRefPicSet = two.pShortTermRefPicSet = nullptr;
    EXPECT_EQ(std::memcmp(&one, &two, sizeof(SPS)), 0);
    EXPECT_EQ(sps.pScalingList == nullptr, other.pScalingList == nullptr);
    ASSERT_EQ(sps.pShortTermRefPicSet == nullptr, other.pShortTermRefPicSet == nullptr);
    if (sps.pShortTermRefPicSet != nullptr) {
        const std::size_t uiBytes = sps.num_short_term_ref_pic_sets * sizeof(ShortTermRefPicSet);
        EXPECT_EQ(std::memcmp(sps.pShortTermRefPicSet, other.pShortTermRefPicSet, uiBytes), 0);
    }
}

TEST_F(ReadSPS, ReadsTheSameBitsThroughBothReaders)
{
    std::mt19937 random(23);
    unsigned uiGood = 0;
    for (int iPayload = 0; iPayload < 300; ++iPayload) {
        SCOPED_TRACE(iPayload);
        // The zeros behind end every code that is under way: at the very end the readers differ on purpose.
        std::vector<unsigned char> bytes(std::size_t{8} * 1000);
        for (std::size_t i = 0; i < 6000; ++i)
            bytes[i] = static_cast<unsigned char>(random() | random());
        CAlikeReaders readers(bytes);
        SPS* const sps = createSPS(m_pool.pool());
        SPS* const other = createSPS(m_pool.pool());
        const int iResult = readSPS(sps, &readers.m_decoders, m_pool.pool());
        EXPECT_EQ(iResult, readSPS(other, &readers.m_plain, m_pool.pool()));
        expectSameValues(*sps, *other);
        uiGood += iResult == 0 ? 1 : 0;
        destroySPS(sps);
        destroySPS(other);
    }
    EXPECT_GT(uiGood, 0U);
}

} // namespace
} // namespace sequence_parameter_set_test
