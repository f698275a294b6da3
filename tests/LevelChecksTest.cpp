// A.4: what levels allow.

#include "ChecksTable.h"
#include "Levels.h"

namespace level_checks_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

#define PTL "profile_tier_level."
#define SIZE(W, H) "pic_width_in_luma_samples=" #W " pic_height_in_luma_samples=" #H " "
// Level 3.1: 983040 samples, sides up to 2804
// clang-format off
#define CTB_16 "log2_diff_max_min_luma_coding_block_size=1 log2_diff_max_min_luma_transform_block_size=2"
const ChecksRow ROWS[] = {
    {SIZE(1280, 768), ""},
    {SIZE(1280, 776), "error pic_width_in_luma_samples [A.4.1]"},
    {SIZE(2800, 344), ""},
    {SIZE(2808, 344), "error pic_width_in_luma_samples [A.4.1]"},
    {SIZE(344, 2808), "error pic_height_in_luma_samples [A.4.1]"},
    {SIZE(344, 2800), ""},
    // 6 pictures of the full size, 8 of three quarters, 12 of a half, 16 of a quarter
    {SIZE(1280, 768) "sps_max_dec_pic_buffering_minus1[0]=5", ""},
    {SIZE(1280, 768) "sps_max_dec_pic_buffering_minus1[0]=6", "error sps_max_dec_pic_buffering_minus1[0] [A.4.2]"},
    {SIZE(1280, 576) "sps_max_dec_pic_buffering_minus1[0]=7", ""},
    {SIZE(1280, 576) "sps_max_dec_pic_buffering_minus1[0]=8", "error sps_max_dec_pic_buffering_minus1[0] [A.4.2]"},
    {SIZE(1280, 384) "sps_max_dec_pic_buffering_minus1[0]=11", ""},
    {SIZE(1280, 384) "sps_max_dec_pic_buffering_minus1[0]=12", "error sps_max_dec_pic_buffering_minus1[0] [A.4.2]"},
    {SIZE(1280, 192) "sps_max_dec_pic_buffering_minus1[0]=15", ""},
    {SIZE(1280, 200) "sps_max_dec_pic_buffering_minus1[0]=12", "error sps_max_dec_pic_buffering_minus1[0] [A.4.2]"},
    // 33177600 samples a second
    {SIZE(1280, 720) "vui_parameters_present_flag=1 vui_parameters.vui_timing_info_present_flag=1 vui_parameters.vui_num_units_in_tick=1 vui_parameters.vui_time_scale=36", ""},
    {SIZE(1280, 720) "vui_parameters_present_flag=1 vui_parameters.vui_timing_info_present_flag=1 vui_parameters.vui_num_units_in_tick=1 vui_parameters.vui_time_scale=37", "warning vui_parameters.vui_time_scale [A.4.2]"},
    // A picture lasts as long as the sets say; the clock of a system is no rate.
#define CLOCK "vui_parameters_present_flag=1 vui_parameters.vui_timing_info_present_flag=1 vui_parameters.vui_num_units_in_tick=1 vui_parameters.vui_time_scale="
    {SIZE(1280, 720) CLOCK "300", "warning vui_parameters.vui_time_scale [A.4.2]"},
    {SIZE(1280, 720) CLOCK "301", ""},
    {SIZE(1280, 720) CLOCK "90000", ""},
    {SIZE(1280, 720) CLOCK "144 vui_parameters.vui_poc_proportional_to_timing_flag=1 vui_parameters.vui_num_ticks_poc_diff_one_minus1=3", ""},
    {SIZE(1280, 720) CLOCK "145 vui_parameters.vui_poc_proportional_to_timing_flag=1 vui_parameters.vui_num_ticks_poc_diff_one_minus1=3", "warning vui_parameters.vui_time_scale [A.4.2]"},
    {SIZE(1280, 720) CLOCK "72000 vui_parameters.vui_hrd_parameters_present_flag=1 vui_parameters.hrd_parameters.fixed_pic_rate_general_flag[0]=1 vui_parameters.hrd_parameters.elemental_duration_in_tc_minus1[0]=1999", ""},
    {SIZE(1280, 720) CLOCK "74000 vui_parameters.vui_hrd_parameters_present_flag=1 vui_parameters.hrd_parameters.fixed_pic_rate_general_flag[0]=1 vui_parameters.hrd_parameters.elemental_duration_in_tc_minus1[0]=1999", "warning vui_parameters.vui_time_scale [A.4.2]"},
    {SIZE(8192, 8192) PTL"general_level_idc=255", ""},
    // From level 5 on, CTBs of 32 or 64
    {PTL"general_level_idc=123 " CTB_16, ""},
    {PTL"general_level_idc=150 " CTB_16, "error log2_diff_max_min_luma_coding_block_size [A.4.1]"},
    {PTL"general_level_idc=186 " CTB_16, "error log2_diff_max_min_luma_coding_block_size [A.4.1]"},
    {PTL"general_level_idc=255 " CTB_16, ""},
    {PTL"general_level_idc=150 log2_diff_max_min_luma_coding_block_size=2", ""},
};

// Screen content profiles start from seven pictures.
const ChecksRow SCREEN_ROWS[] = {
    {"sps_max_dec_pic_buffering_minus1[0]=6", ""},
    {"sps_max_dec_pic_buffering_minus1[0]=7", "error sps_max_dec_pic_buffering_minus1[0] [A.4.2]"},
    // Main 10 as well
    {PTL"general_profile_compatibility_flag[2]=1 sps_max_dec_pic_buffering_minus1[0]=5", ""},
    {PTL"general_profile_compatibility_flag[2]=1 sps_max_dec_pic_buffering_minus1[0]=6", "error sps_max_dec_pic_buffering_minus1[0] [A.4.2]"},
};

// Main of level 3.1 (10 Mbit/s and a tenth for NAL units) with three sub-layers, of which the middle one has level 2
// (1.5 Mbit/s), and so has the one below it.
#define HRD "vui_parameters.hrd_parameters."
const ChecksRow SUB_LAYER_ROWS[] = {
    {HRD"nal_hrd[0].bit_rate_value_minus1[0]=25780 " HRD"nal_hrd[1].bit_rate_value_minus1[0]=25780 " HRD"nal_hrd[2].bit_rate_value_minus1[0]=171874", ""},
    {HRD"nal_hrd[2].bit_rate_value_minus1[0]=171875", "error " HRD"nal_hrd[2].bit_rate_value_minus1[0] [A.4.2]"},
    {HRD"nal_hrd[1].bit_rate_value_minus1[0]=25781", "error " HRD"nal_hrd[1].bit_rate_value_minus1[0] [A.4.2]"},
    {HRD"nal_hrd[0].bit_rate_value_minus1[0]=25781", "error " HRD"nal_hrd[0].bit_rate_value_minus1[0] [A.4.2]"},
};

// Level 4 with two sub-layers, the lower one of a level of its own. Level 3: 552960 samples, sides up to 2103.
#define SUB PTL"sub_layer_level_present_flag[0]=1 " PTL"sub_layer_level_idc[0]=90 "
const ChecksRow SUB_LAYER_SIZE_ROWS[] = {
    {SUB SIZE(720, 768), ""},
    {SUB SIZE(720, 776), "error " PTL"sub_layer_level_idc[0] [A.4.1]"},
    {SUB SIZE(2096, 256), ""},
    {SUB SIZE(2104, 256), "error " PTL"sub_layer_level_idc[0] [A.4.1]"},
    {PTL"sub_layer_level_present_flag[0]=1 " PTL"sub_layer_level_idc[0]=123 " SIZE(1920, 1080), "warning " PTL"sub_layer_level_idc[0] [7.4.4]"},
    // Six pictures of this size
    {SUB SIZE(720, 768) "sps_max_dec_pic_buffering_minus1[0]=5 sps_max_dec_pic_buffering_minus1[1]=6", ""},
    {SUB SIZE(720, 768) "sps_max_dec_pic_buffering_minus1[0]=6 sps_max_dec_pic_buffering_minus1[1]=6", "error " PTL"sub_layer_level_idc[0] [A.4.2]"},
    // Too large for all
    {SUB SIZE(4096, 2160), "error pic_width_in_luma_samples [A.4.1]"},
};

// Level 3.1: three rows and columns; 832x480 of CTBs of 16
const ChecksRow TILE_ROWS[] = {
    {"tiles_enabled_flag=1 num_tile_columns_minus1=2 num_tile_rows_minus1=2", ""},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=3", "error num_tile_columns_minus1 [A.4.1]"},
    {"tiles_enabled_flag=1 num_tile_rows_minus1=3", "error num_tile_rows_minus1 [A.4.1]"},
};
// clang-format on

TEST(LevelChecks, HoldSizePictureBufferAndRate)
{
    expectSpsRows(with(legalSps(), PTL "general_level_idc=93"), ROWS);
}

TEST(LevelChecks, GiveScreenContentOnePictureMore)
{
    expectSpsRows(with(legalSps(),
                       SIZE(1280, 768) PTL
                       "general_level_idc=93 " PTL "general_profile_compatibility_flag[4]=0 " PTL
                       "general_profile_idc=9 " PTL "general_profile_compatibility_flag[9]=1 " PTL
                       "general_max_14bit_constraint_flag=1 " PTL "general_max_12bit_constraint_flag=1 " PTL
                       "general_max_10bit_constraint_flag=1 " PTL "general_max_8bit_constraint_flag=1 " PTL
                       "general_intra_constraint_flag=0 " PTL "general_lower_bit_rate_constraint_flag=1"),
                  SCREEN_ROWS);
}

// 7.4.4: a sub-layer without a level of its own has that of the one above it.
TEST(LevelChecks, HoldTheRatesOfSubLayers)
{
    expectSpsRows(with(legalSps(),
                       PTL "general_level_idc=93 " PTL "general_profile_compatibility_flag[4]=0 " PTL
                           "general_profile_idc=2 " PTL "general_profile_compatibility_flag[2]=1 "
                           "sps_max_sub_layers_minus1=2 sps_sub_layer_ordering_info_present_flag=0 "
                           "sps_max_dec_pic_buffering_minus1[2]=4 sps_max_num_reorder_pics[2]=2 " PTL
                           "sub_layer_level_present_flag[1]=1 " PTL "sub_layer_level_idc[1]=60 "
                           "vui_parameters_present_flag=1 vui_parameters.vui_timing_info_present_flag=1 "
                           "vui_parameters.vui_num_units_in_tick=1 vui_parameters.vui_time_scale=25 "
                           "vui_parameters.vui_hrd_parameters_present_flag=1 " HRD "nal_hrd_parameters_present_flag=1"),
                  SUB_LAYER_ROWS);
}

// A.4.1: the pictures of a sub-layer are as large as those of the whole stream.
TEST(LevelChecks, HoldTheLevelsOfSubLayers)
{
    expectSpsRows(with(legalSps(),
                       PTL "general_level_idc=120 sps_max_sub_layers_minus1=1 "
                           "sps_max_dec_pic_buffering_minus1[0]=4 sps_max_dec_pic_buffering_minus1[1]=4 "
                           "sps_max_num_reorder_pics[1]=2"),
                  SUB_LAYER_SIZE_ROWS);
}

TEST(LevelChecks, HoldTheTilesOfAPps)
{
    const SequenceParameterSet sps = with(legalSps(), SIZE(1280, 512) PTL "general_level_idc=93");
    expectPpsRows(legalPps(), TILE_ROWS, &sps);
}

TEST(LevelChecks, NameTheLowestLevelThatWouldDo)
{
    SequenceParameterSet sps = with(legalSps(), SIZE(4096, 2160) PTL "general_level_idc=93");
    std::vector<unsigned char> bytes;
    ASSERT_FALSE(write(sps, bytes));
    CFindings findings;
    check(sps, CNalUnit(bytes), nullptr, findings);
    ASSERT_EQ(findings.all().size(), 2U);
    EXPECT_NE(findings.all()[0].message.find("level 5 would do"), std::string::npos) << findings.all()[0].message;
}

// Tables A.8 and A.9, and the side lengths that follow.
TEST(LevelChecks, KnowTheSidesOfLevels)
{
    EXPECT_EQ(maxSideLength(*findLevel(30)), 543U);
    EXPECT_EQ(maxSideLength(*findLevel(120)), 4222U);
    EXPECT_EQ(maxSideLength(*findLevel(186)), 16888U);
    EXPECT_EQ(findLevel(255), nullptr);
    EXPECT_EQ(findLevel(31), nullptr);
}

} // namespace
} // namespace level_checks_test

#undef PTL
#undef SIZE
#undef CTB_16
#undef HRD
#undef SUB
