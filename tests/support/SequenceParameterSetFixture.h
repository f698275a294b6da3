#pragma once

#include <cstdint>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "ElementWalk.h"
#include "SequenceParameterSet.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace h265_test {

using h265_codec::CRbspReader;
using h265_codec::createSPS;
using h265_codec::destroySPS;
using h265_codec::readSPS;
using h265_codec::ScalingListData;
using h265_codec::ShortTermRefPicSet;
using h265_codec::SPS;

/// A record with a pool of its own, whose blocks are all given back at the end.
class SequenceParameterSet : public testing::Test
{
protected:
    SequenceParameterSet() : m_sps(createSPS(m_pool.pool())) { m_pool.forgetCalls(); }

    ~SequenceParameterSet() override
    {
        destroySPS(m_sps);
        EXPECT_EQ(m_pool.blocksInUse(), 0U);
    }

    // Fills everything but the pointers, which own blocks.
    void spoilValues()
    {
        ScalingListData* const pScalingList = m_sps->pScalingList;
        ShortTermRefPicSet* const pShortTermRefPicSet = m_sps->pShortTermRefPicSet;
        const std::uint16_t uiRoomPlus1 = m_sps->uiShortTermRefPicSetRoomPlus1;
        spoil(*m_sps);
        m_sps->pScalingList = pScalingList;
        m_sps->pShortTermRefPicSet = pShortTermRefPicSet;
        m_sps->uiShortTermRefPicSetRoomPlus1 = uiRoomPlus1;
    }

    int read(const CBitWriter& bits)
    {
        const CPaddedPayload payload(bits.bytes());
        CRbspReader bs = payload.reader<CRbspReader>();
        return readSPS(m_sps, &bs, m_pool.pool());
    }

    int read(const SpsSyntax& syntax) { return read(write(syntax)); }

    // A payload that ends with exactly these bits.
    int readToTheLastBit(const CBitWriter& bits)
    {
        const CCutPayload payload(bits);
        CRbspReader bs = payload.reader();
        return readSPS(m_sps, &bs, m_pool.pool());
    }

    // Reads two sets, then is refused room for three.
    void refuseLargerSets(SpsSyntax& syntax)
    {
        syntax.st_ref_pic_set.resize(2);
        EXPECT_EQ(read(syntax), 0);
        syntax.st_ref_pic_set.resize(3);
        m_pool.failTake(1);
        EXPECT_EQ(read(syntax), h265_codec::E_NO_MEMORY);
    }

    CTestPool m_pool;
    CLogCatcher m_log;
    SPS* m_sps;
};

// Every value different from its neighbours', every optional part there.
inline SpsSyntax mixedValues()
{
    SpsSyntax s;
    s.sps_video_parameter_set_id = 11;
    s.sps_max_sub_layers_minus1 = 2;
    s.ptl.general_level_idc = 201;
    s.sps_seq_parameter_set_id = 13;
    s.chroma_format_idc = 3;
    s.separate_colour_plane_flag = true;
    s.pic_width_in_luma_samples = 4104;
    s.pic_height_in_luma_samples = 2184;
    s.conformance_window_flag = true;
    s.conf_win_left_offset = 1;
    s.conf_win_right_offset = 22;
    s.conf_win_top_offset = 333;
    s.conf_win_bottom_offset = 4444;
    s.bit_depth_luma_minus8 = 2;
    s.bit_depth_chroma_minus8 = 4;
    s.log2_max_pic_order_cnt_lsb_minus4 = 7;
    for (unsigned i = 0; i < 8; ++i)
        s.ordering[i] = {20 + i, 300 + i, 4000 + i};
    s.log2_min_luma_coding_block_size_minus3 = 1;
    s.log2_diff_max_min_luma_coding_block_size = 2;
    s.log2_min_luma_transform_block_size_minus2 = 3;
    s.log2_diff_max_min_luma_transform_block_size = 4;
    s.max_transform_hierarchy_depth_inter = 5;
    s.max_transform_hierarchy_depth_intra = 6;
    s.scaling_list_enabled_flag = true;
    s.amp_enabled_flag = false;
    s.pcm = PcmSyntax{6, 9, 1, 3, true};
    s.st_ref_pic_set.resize(2);
    s.st_ref_pic_set[0].s0 = {{0, true}, {1, false}};
    s.st_ref_pic_set[0].s1 = {{2, true}};
    s.long_term_ref_pics_present_flag = true;
    s.long_term_ref_pic = {{0x5a5, true}, {0x3c3, false}, {0x7ff, true}};
    s.sps_temporal_mvp_enabled_flag = true;
    s.strong_intra_smoothing_enabled_flag = false;
    s.vui_parameters_present_flag = true;
    s.sps_extension_present_flag = false;
    return s;
}

inline bool areDerivedUntouched(const SPS& sps)
{
    return isUntouched(sps.LastCtbWidthY) && isUntouched(sps.LastCtbHeightY) && isUntouched(sps.PicWidthInCtbsY) &&
           isUntouched(sps.PicHeightInCtbsY) && isUntouched(sps.PicSizeInCtbsY) &&
           isUntouched(sps.SliceSegmentAddressBits);
}

} // namespace h265_test
