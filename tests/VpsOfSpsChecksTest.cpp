// What an SPS must be with its VPS: 7.4.3.2.1, 7.4.4, E.3.1.

#include "ChecksTable.h"
#include "SyntaxCorpus.h"

namespace vps_of_sps_checks_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

#define PTL "profile_tier_level."
#define VUI "vui_parameters."

template <std::size_t N>
void expectRowsWithVps(const SequenceParameterSet& base, const ChecksRow (&aRows)[N], const VideoParameterSet& vps)
{
    expectRows(base, aRows, [&vps](const auto& set, const auto& nalUnit, auto& findings) {
        check(set, nalUnit, &vps, findings);
    });
}

// clang-format off
const ChecksRow ROWS[] = {
    {"", ""},
    {"sps_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=4 sps_max_num_reorder_pics[1]=2", ""},
    {"sps_max_sub_layers_minus1=2 sps_max_dec_pic_buffering_minus1[1]=4 sps_max_num_reorder_pics[1]=2 sps_max_dec_pic_buffering_minus1[2]=4 sps_max_num_reorder_pics[2]=2", "error sps_max_sub_layers_minus1 [7.4.3.2.1]"},
    {"sps_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=4 sps_max_num_reorder_pics[1]=2 sps_temporal_id_nesting_flag=0", "error sps_temporal_id_nesting_flag [7.4.3.2.1]"},
    {"sps_max_dec_pic_buffering_minus1[0]=5", "error sps_max_dec_pic_buffering_minus1[0] [7.4.3.2.1]"},
    {"sps_max_num_reorder_pics[0]=3", "error sps_max_num_reorder_pics[0] [7.4.3.2.1]"},
    {"sps_max_latency_increase_plus1[0]=0", "warning sps_max_latency_increase_plus1[0] [7.4.3.2.1]"},
    {"sps_max_latency_increase_plus1[0]=4", "warning sps_max_latency_increase_plus1[0] [7.4.3.2.1]"},
    // One value for all sub-layers counts for each.
    {"sps_max_sub_layers_minus1=1 sps_sub_layer_ordering_info_present_flag=0 sps_max_dec_pic_buffering_minus1[1]=6 sps_max_num_reorder_pics[1]=2 sps_max_latency_increase_plus1[1]=3", "error sps_max_dec_pic_buffering_minus1[1] [7.4.3.2.1]"},
    {PTL"general_level_idc=183", "warning " PTL"general_level_idc [7.4.4]"},
    {PTL"general_tier_flag=1", "warning " PTL"general_tier_flag [7.4.4]"},
    {PTL"general_profile_compatibility_flag[5]=1", "warning " PTL"general_profile_compatibility_flag[5] [7.4.4]"},
    {PTL"general_profile_idc=5 " PTL"general_profile_compatibility_flag[5]=1", "warning " PTL"general_profile_idc [7.4.4], warning " PTL"general_profile_compatibility_flag[5] [7.4.4]"},
    {PTL"general_progressive_source_flag=1", "warning " PTL"general_progressive_source_flag [7.4.4]"},
    {PTL"general_interlaced_source_flag=1", "warning " PTL"general_interlaced_source_flag [7.4.4]"},
    {PTL"general_non_packed_constraint_flag=1", "warning " PTL"general_non_packed_constraint_flag [7.4.4]"},
    {PTL"general_frame_only_constraint_flag=1", "warning " PTL"general_frame_only_constraint_flag [7.4.4]"},
};

const ChecksRow TIMING_ROWS[] = {
    {"", ""},
    {VUI"vui_num_units_in_tick=2", "error " VUI"vui_num_units_in_tick [E.3.1]"},
    {VUI"vui_time_scale=30", "error " VUI"vui_time_scale [E.3.1]"},
    {VUI"vui_poc_proportional_to_timing_flag=0", "error " VUI"vui_poc_proportional_to_timing_flag [E.3.1]"},
    {VUI"vui_num_ticks_poc_diff_one_minus1=1", "error " VUI"vui_num_ticks_poc_diff_one_minus1 [E.3.1]"},
    {VUI"vui_timing_info_present_flag=0", ""},
};
// clang-format on

SequenceParameterSet sps()
{
    return with(legalSps(), "sps_max_latency_increase_plus1[0]=3");
}

VideoParameterSet vps()
{
    return with(legalVps(),
                "vps_max_sub_layers_minus1=1 vps_max_dec_pic_buffering_minus1[1]=5 vps_max_num_reorder_pics[1]=2 "
                "vps_max_latency_increase_plus1[0]=3 vps_temporal_id_nesting_flag=1");
}

TEST(VpsOfSpsChecks, HoldEachConstraint)
{
    expectRowsWithVps(sps(), ROWS, vps());
}

TEST(VpsOfSpsChecks, HoldTheTiming)
{
    expectRowsWithVps(with(sps(),
                           "vui_parameters_present_flag=1 " VUI "vui_timing_info_present_flag=1 " VUI
                           "vui_num_units_in_tick=1 " VUI "vui_time_scale=25 " VUI
                           "vui_poc_proportional_to_timing_flag=1"),
                      TIMING_ROWS,
                      with(vps(),
                           "vps_timing_info_present_flag=1 vps_num_units_in_tick=1 vps_time_scale=25 "
                           "vps_poc_proportional_to_timing_flag=1"));
}

// 7.4.3.1: level 3.1 has room for 6 pictures of 1280x768, for 8 of 1280x576.
TEST(VpsOfSpsChecks, HoldThePictureBufferOfTheVpsAgainstTheLevel)
{
#define SIZE(W, H) "pic_width_in_luma_samples=" #W " pic_height_in_luma_samples=" #H " "
    const SequenceParameterSet base = with(sps(), PTL "general_level_idc=93");
    VideoParameterSet larger = with(vps(), PTL "general_level_idc=93 vps_max_dec_pic_buffering_minus1[1]=7");
    const ChecksRow aHighest[] = {
        {SIZE(1280, 576), ""},
        {SIZE(1280, 584), "error - [7.4.3.1]"},
    };
    expectRowsWithVps(base, aHighest, larger);
    larger.vps_max_dec_pic_buffering_minus1[0] = 7;
    const ChecksRow aLowest[] = {
        {SIZE(1280, 584), "error - [7.4.3.1]"},
        // The SPS has it too, or its pictures are too large for anything.
        {SIZE(1280, 584) "sps_max_dec_pic_buffering_minus1[0]=7", "error sps_max_dec_pic_buffering_minus1[0] [A.4.2]"},
        {SIZE(1280, 776), "error pic_width_in_luma_samples [A.4.1]"},
    };
    larger.vps_max_dec_pic_buffering_minus1[1] = 5;
    expectRowsWithVps(base, aLowest, larger);
    larger.vps_max_dec_pic_buffering_minus1[0] = 16; // an error of the VPS alone
    const ChecksRow aFar[] = {{SIZE(1280, 584), ""}};
    expectRowsWithVps(base, aFar, larger);
#undef SIZE
}

// G.11.1.1: the profile of a layer is what an output layer set gives it.
TEST(VpsOfSpsChecks, HoldTheCtbOfALayer)
{
    const SyntaxStream stream = syntaxStream("mv_3view_ols");
    VideoParameterSet layers;
    ASSERT_TRUE(read(layers, CNalUnit(stream.nalUnit(stream.sets.at(0)))));
    SequenceParameterSet layer = sps();
    layer.nal_unit_header.nuh_layer_id = 1;
    layer.sps_video_parameter_set_id = layers.vps_video_parameter_set_id;
    Context context;
    context.apVps[layers.vps_video_parameter_set_id] = &layers;
    const ChecksRow aRows[] = {
        {"log2_diff_max_min_luma_coding_block_size=3", ""},
        {"log2_diff_max_min_luma_coding_block_size=0 log2_diff_max_min_luma_transform_block_size=1",
         "error log2_diff_max_min_luma_coding_block_size [G.11.1.1]"},
        // Multiview Main has the tools of Main.
        {"sps_extension_present_flag=1 sps_range_extension_flag=1", ""},
        {"sps_extension_present_flag=1 sps_range_extension_flag=1 sps_range_extension.implicit_rdpcm_enabled_flag=1",
         "error sps_range_extension.implicit_rdpcm_enabled_flag [G.11.1.1]"},
        {"sps_extension_present_flag=1 sps_scc_extension_flag=1 sps_scc_extension.palette_mode_enabled_flag=1",
         "error sps_scc_extension.palette_mode_enabled_flag [G.11.1.1]"},
    };
    expectRows(
        with(layer, "sps_ext_or_max_sub_layers_minus1=7", context),
        aRows,
        [&layers](const auto& set, const auto& nalUnit, auto& findings) { check(set, nalUnit, &layers, findings); },
        context);
}

// A VPS of three views, and an SPS of layer 1 that leaves its format to it.
class VpsOfSpsChecksOfLayers : public testing::Test
{
protected:
    void SetUp() override
    {
        const SyntaxStream stream = syntaxStream("mv_3view_ols");
        ASSERT_TRUE(read(m_vps, CNalUnit(stream.nalUnit(stream.sets.at(0)))));
    }
    template <std::size_t N>
    void expectLayerRows(const ChecksRow (&aRows)[N])
    {
        Context context;
        context.apVps[m_vps.vps_video_parameter_set_id] = &m_vps;
        SequenceParameterSet layer = sps();
        layer.nal_unit_header.nuh_layer_id = 1;
        layer.sps_video_parameter_set_id = m_vps.vps_video_parameter_set_id;
        expectRows(
            with(layer, "sps_ext_or_max_sub_layers_minus1=7", context),
            aRows,
            [this](const auto& set, const auto& nalUnit, auto& findings) { check(set, nalUnit, &m_vps, findings); },
            context);
    }

    VideoParameterSet m_vps;
};

// F.7.4.3.2.1: layer 2 refers to layers 0 and 1, no layer to layer 2.
TEST_F(VpsOfSpsChecksOfLayers, HoldTheLayerOfTheScalingLists)
{
#define LISTS "scaling_list_enabled_flag=1 sps_infer_scaling_list_flag=1 "
    m_vps.layers->DependencyFlag[2] = 0b11;
    const ChecksRow aRows[] = {
        {LISTS "sps_scaling_list_ref_layer_id=0", ""},
        {LISTS "sps_scaling_list_ref_layer_id=1", ""},
        {LISTS "sps_scaling_list_ref_layer_id=2", "error sps_scaling_list_ref_layer_id [F.7.4.3.2.1]"},
        {LISTS "sps_scaling_list_ref_layer_id=62", "error sps_scaling_list_ref_layer_id [F.7.4.3.2.1]"},
        {LISTS "sps_scaling_list_ref_layer_id=63", "error sps_scaling_list_ref_layer_id [F.7.4.3.2.1]"},
    };
    expectLayerRows(aRows);
    m_vps.vps_base_layer_internal_flag = false;
    const ChecksRow aExternalRows[] = {
        {LISTS "sps_scaling_list_ref_layer_id=0", "error sps_scaling_list_ref_layer_id [F.7.4.3.2.1]"},
        {LISTS "sps_scaling_list_ref_layer_id=1", ""},
    };
    expectLayerRows(aExternalRows);
}

// 7.4.3.2.1: the size is the VPS's, the smallest coding block the SPS's.
TEST_F(VpsOfSpsChecksOfLayers, HoldTheSmallestBlockOfALayer)
{
    RepFormat& format = m_vps.vps_extension->rep_format.at(0);
    format.pic_width_vps_in_luma_samples = 64;
    format.pic_height_vps_in_luma_samples = 48;
    const ChecksRow aRows[] = {
        {"log2_min_luma_coding_block_size_minus3=1 log2_diff_max_min_luma_coding_block_size=2", ""},
        {"log2_min_luma_coding_block_size_minus3=2 log2_diff_max_min_luma_coding_block_size=1",
         "error log2_min_luma_coding_block_size_minus3 [7.4.3.2.1]"},
    };
    expectLayerRows(aRows);
}

// A.4.1: level 5 has CTBs of 32 and 64.
TEST_F(VpsOfSpsChecksOfLayers, HoldTheCtbOfALayerAgainstItsLevel)
{
    const ChecksRow aRows[] = {
        {"log2_diff_max_min_luma_coding_block_size=1 log2_diff_max_min_luma_transform_block_size=2", ""},
    };
    for (ProfileTierLevel& ptl : m_vps.vps_extension->profile_tier_level)
        ptl.general_level_idc = 123;
    expectLayerRows(aRows);
    const ChecksRow aHighRows[] = {
        {"log2_diff_max_min_luma_coding_block_size=1 log2_diff_max_min_luma_transform_block_size=2",
         "error log2_diff_max_min_luma_coding_block_size [A.4.1]"},
    };
    for (ProfileTierLevel& ptl : m_vps.vps_extension->profile_tier_level)
        ptl.general_level_idc = 150;
    expectLayerRows(aHighRows);
}

// F.7.4.3.1: the VPS says nothing of a base layer that comes from elsewhere.
TEST_F(VpsOfSpsChecksOfLayers, TakeNothingForABaseLayerFromElsewhere)
{
    SequenceParameterSet base =
        with(sps(), PTL "general_level_idc=93 pic_width_in_luma_samples=1280 pic_height_in_luma_samples=584");
    base.sps_video_parameter_set_id = m_vps.vps_video_parameter_set_id;
    m_vps.profile_tier_level = {};
    const ChecksRow aExternal[] = {{"", ""}};
    m_vps.vps_base_layer_internal_flag = false;
    for (const unsigned vps_max_dec_pic_buffering_minus1 : {0U, 7U}) {
        m_vps.vps_max_dec_pic_buffering_minus1[0] = vps_max_dec_pic_buffering_minus1;
        expectRowsWithVps(base, aExternal, m_vps);
    }
}

// A.4.1: level 3 has two columns and two rows of tiles.
TEST_F(VpsOfSpsChecksOfLayers, HoldTheTilesOfALayer)
{
    RepFormat& format = m_vps.vps_extension->rep_format.at(0);
    format.pic_width_vps_in_luma_samples = 1024;
    format.pic_height_vps_in_luma_samples = 512;
    for (ProfileTierLevel& ptl : m_vps.vps_extension->profile_tier_level)
        ptl.general_level_idc = 90;
    Context context;
    context.apVps[m_vps.vps_video_parameter_set_id] = &m_vps;
    SequenceParameterSet layer = sps();
    layer.nal_unit_header.nuh_layer_id = 1;
    layer.sps_video_parameter_set_id = m_vps.vps_video_parameter_set_id;
    const SequenceParameterSet layerSps = with(layer, "sps_ext_or_max_sub_layers_minus1=7", context);
    PictureParameterSet pps = legalPps();
    pps.nal_unit_header.nuh_layer_id = 1;
    const ChecksRow aRows[] = {
        {"tiles_enabled_flag=1 num_tile_columns_minus1=1 num_tile_rows_minus1=1", ""},
        {"tiles_enabled_flag=1 num_tile_columns_minus1=2", "error num_tile_columns_minus1 [A.4.1]"},
        {"tiles_enabled_flag=1 num_tile_rows_minus1=2", "error num_tile_rows_minus1 [A.4.1]"},
        // G.11.1.1, as in Main
        {"entropy_coding_sync_enabled_flag=1", ""},
        {"tiles_enabled_flag=1 num_tile_columns_minus1=1 entropy_coding_sync_enabled_flag=1",
         "error entropy_coding_sync_enabled_flag [G.11.1.1]"},
        {"pps_extension_present_flag=1 pps_range_extension_flag=1", ""},
        {"pps_extension_present_flag=1 pps_range_extension_flag=1 "
         "pps_range_extension.chroma_qp_offset_list_enabled_flag=1",
         "error pps_range_extension.chroma_qp_offset_list_enabled_flag [G.11.1.1]"},
    };
    expectRows(pps, aRows, [&](const auto& set, const auto& nalUnit, auto& findings) {
        check(set, nalUnit, &layerSps, findings, &m_vps);
    });
}

// An SPS of another layer that has a profile of its own
TEST(VpsOfSpsChecks, HoldTheSubLayersOfALayer)
{
    SequenceParameterSet layer = sps();
    layer.nal_unit_header.nuh_layer_id = 1;
    const ChecksRow aRows[] = {
        {"sps_ext_or_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=4 sps_max_num_reorder_pics[1]=2", ""},
        {"sps_ext_or_max_sub_layers_minus1=2 sps_sub_layer_ordering_info_present_flag=0 "
         "sps_max_dec_pic_buffering_minus1[2]=4 sps_max_num_reorder_pics[2]=2",
         "error sps_ext_or_max_sub_layers_minus1 [7.4.3.2.1]"},
        {"sps_ext_or_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=4 sps_max_num_reorder_pics[1]=2 "
         "sps_temporal_id_nesting_flag=0",
         "error sps_temporal_id_nesting_flag [7.4.3.2.1]"},
    };
    expectRowsWithVps(layer, aRows, vps());
}

// F.7.4.3.2.1
TEST(VpsOfSpsChecks, HoldTheFormatThatALayerNames)
{
    VideoParameterSet formats = vps();
    formats.vps_extension_flag = true;
    formats.vps_extension->rep_format.resize(2);
    formats.vps_extension->vps_num_rep_formats_minus1 = 1;
    SequenceParameterSet layer = sps();
    layer.nal_unit_header.nuh_layer_id = 1;
    const ChecksRow aRows[] = {
        {"update_rep_format_flag=1 sps_rep_format_idx=1", ""},
        {"update_rep_format_flag=1 sps_rep_format_idx=2", "error sps_rep_format_idx [F.7.4.3.2.1]"},
    };
    expectRowsWithVps(with(layer, "sps_ext_or_max_sub_layers_minus1=7"), aRows, formats);
}

// E.3.1: 0 says nothing.
TEST(VpsOfSpsChecks, TakeProportionalCountsThatTheVpsDoesNotTell)
{
    const ChecksRow aRows[] = {
        {VUI "vui_poc_proportional_to_timing_flag=1", ""},
        {VUI "vui_poc_proportional_to_timing_flag=0", ""},
    };
    expectRowsWithVps(with(sps(),
                           "vui_parameters_present_flag=1 " VUI "vui_timing_info_present_flag=1 " VUI
                           "vui_num_units_in_tick=1 " VUI "vui_time_scale=25"),
                      aRows,
                      with(vps(), "vps_timing_info_present_flag=1 vps_num_units_in_tick=1 vps_time_scale=25"));
}

// F.7.4.3.2.1: an SPS with a size of its own, within that of one of the layers that can have it.
TEST_F(VpsOfSpsChecksOfLayers, HoldTheSizeThatTheVpsAnnounces)
{
    VpsExtension& extension = *m_vps.vps_extension;
    extension.rep_format.resize(2, extension.rep_format.at(0));
    extension.vps_num_rep_formats_minus1 = 1;
    extension.rep_format[0].pic_width_vps_in_luma_samples = 416;
    extension.rep_format[0].pic_height_vps_in_luma_samples = 240;
    extension.rep_format[1].pic_width_vps_in_luma_samples = 832;
    extension.rep_format[1].pic_height_vps_in_luma_samples = 480;
    SequenceParameterSet base = sps();
    base.sps_video_parameter_set_id = m_vps.vps_video_parameter_set_id;
    base.profile_tier_level = m_vps.profile_tier_level;
    const auto foundOf = [this](const SequenceParameterSet& set, const char* pChanges) {
        Context context;
        context.apVps[m_vps.vps_video_parameter_set_id] = &m_vps;
        SequenceParameterSet changed = set;
        applyChanges(changed, pChanges, context);
        std::vector<unsigned char> bytes;
        EXPECT_FALSE(write(changed, bytes, context));
        const CNalUnit nalUnit(bytes);
        CFindings findings;
        check(changed, nalUnit, &m_vps, findings);
        std::string found;
        for (const Finding& finding : findings.all())
            found += finding.clause == "F.7.4.3.2.1"
                         ? "error " + finding.element + " [F.7.4.3.2.1]: " + finding.message + '\n'
                         : "";
        return found;
    };
#define SIZE(W, H) "pic_width_in_luma_samples=" #W " pic_height_in_luma_samples=" #H " "
    EXPECT_EQ(foundOf(base, SIZE(416, 240)), "");
    EXPECT_EQ(foundOf(base, SIZE(424, 240)),
              "error pic_width_in_luma_samples [F.7.4.3.2.1]"
              ": the pictures, 424x240, are larger than the VPS announces for the layer, "
              "416x240\n");
    EXPECT_NE(foundOf(base, SIZE(416, 248)), "");
    extension.vps_rep_format_idx[2] = 1; // layer 2 can have an SPS of layer 0, too
    EXPECT_EQ(foundOf(base, SIZE(424, 240)), "");
    EXPECT_EQ(foundOf(base, SIZE(832, 480)), "");
    EXPECT_NE(foundOf(base, SIZE(840, 480)), "");
    m_vps.vps_base_layer_internal_flag = false;
    EXPECT_EQ(foundOf(base, SIZE(840, 480)), "");
    m_vps.vps_base_layer_internal_flag = true;

    SequenceParameterSet layer = base;
    layer.nal_unit_header.nuh_layer_id = 2;
#define NAMED "sps_ext_or_max_sub_layers_minus1=7 update_rep_format_flag=1 sps_rep_format_idx="
    EXPECT_EQ(foundOf(layer, NAMED "1"), "");
    extension.vps_rep_format_idx[2] = 0;
    EXPECT_EQ(foundOf(layer, NAMED "0"), "");
    EXPECT_EQ(foundOf(layer, NAMED "1"),
              "error sps_rep_format_idx [F.7.4.3.2.1]"
              ": the pictures, 832x480, are larger than the VPS announces for the layer, 416x240\n");
#undef NAMED
#undef SIZE
}

} // namespace
} // namespace vps_of_sps_checks_test

#undef PTL
#undef VUI
#undef LISTS
