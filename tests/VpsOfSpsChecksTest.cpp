// What an SPS must be with its VPS: 7.4.3.2.1, 7.4.4, E.3.1.

#include "ChecksTable.h"
#include "SyntaxCorpus.h"

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
    };
    expectRows(
        with(layer, "sps_ext_or_max_sub_layers_minus1=7", context),
        aRows,
        [&layers](const auto& set, const auto& nalUnit, auto& findings) { check(set, nalUnit, &layers, findings); },
        context);
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
        {"scaling_list_enabled_flag=1 sps_infer_scaling_list_flag=1 sps_scaling_list_ref_layer_id=62", ""},
        {"scaling_list_enabled_flag=1 sps_infer_scaling_list_flag=1 sps_scaling_list_ref_layer_id=63",
         "error sps_scaling_list_ref_layer_id [F.7.4.3.2.1]"},
    };
    expectRowsWithVps(with(layer, "sps_ext_or_max_sub_layers_minus1=7"), aRows, formats);
}

} // namespace
