// E.3.1: video usability information.

#include "ChecksTable.h"

namespace vui_checks_test {

using namespace h265_test;

namespace {

#define VUI "vui_parameters."

// clang-format off
const ChecksRow ROWS[] = {
    {"", ""},
    {VUI"aspect_ratio_info_present_flag=1 " VUI"aspect_ratio_idc=16", ""},
    {VUI"aspect_ratio_info_present_flag=1 " VUI"aspect_ratio_idc=17", "error vui_parameters.aspect_ratio_idc [E.3.1]"},
    {VUI"aspect_ratio_info_present_flag=1 " VUI"aspect_ratio_idc=254", "error vui_parameters.aspect_ratio_idc [E.3.1]"},
    {VUI"aspect_ratio_info_present_flag=1 " VUI"aspect_ratio_idc=255 " VUI"sar_width=65535 " VUI"sar_height=65534", ""},
    {VUI"aspect_ratio_info_present_flag=1 " VUI"aspect_ratio_idc=255 " VUI"sar_width=4 " VUI"sar_height=6", "error vui_parameters.sar_width [E.3.1]"},
    {VUI"aspect_ratio_info_present_flag=1 " VUI"aspect_ratio_idc=255 " VUI"sar_width=0 " VUI"sar_height=6", "warning vui_parameters.sar_width [E.3.1]"},
    {VUI"aspect_ratio_info_present_flag=1 " VUI"aspect_ratio_idc=255 " VUI"sar_width=6 " VUI"sar_height=0", "warning vui_parameters.sar_height [E.3.1]"},
    {VUI"video_signal_type_present_flag=1 " VUI"video_format=5", ""},
    {VUI"video_signal_type_present_flag=1 " VUI"video_format=6", "error vui_parameters.video_format [E.3.1]"},
    {VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"colour_primaries=12", ""},
    {VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"colour_primaries=22", ""},
    {VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"colour_primaries=0", "error vui_parameters.colour_primaries [E.3.1]"},
    {VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"colour_primaries=13", "error vui_parameters.colour_primaries [E.3.1]"},
    {VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"transfer_characteristics=18", ""},
    {VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"transfer_characteristics=19", "error vui_parameters.transfer_characteristics [E.3.1]"},
    {VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"transfer_characteristics=3", "error vui_parameters.transfer_characteristics [E.3.1]"},
    {VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"matrix_coeffs=14", ""},
    {VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"matrix_coeffs=15", "error vui_parameters.matrix_coeffs [E.3.1]"},
    {VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"matrix_coeffs=3", "error vui_parameters.matrix_coeffs [E.3.1]"},
    // 0 is RGB: 4:4:4 of equal depths
    {"chroma_format_idc=3 " VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"matrix_coeffs=0", ""},
    {"chroma_format_idc=2 " VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"matrix_coeffs=0", "error vui_parameters.matrix_coeffs [E.3.1]"},
    {"chroma_format_idc=3 bit_depth_chroma_minus8=1 " VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"matrix_coeffs=0", "error vui_parameters.matrix_coeffs [E.3.1]"},
    // 8 is YCgCo: equal depths, or one bit more of chroma in 4:4:4
    {VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"matrix_coeffs=8", ""},
    {"chroma_format_idc=3 bit_depth_chroma_minus8=1 " VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"matrix_coeffs=8", ""},
    {"chroma_format_idc=2 bit_depth_chroma_minus8=1 " VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"matrix_coeffs=8", "error vui_parameters.matrix_coeffs [E.3.1]"},
    {"chroma_format_idc=3 bit_depth_luma_minus8=1 " VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"matrix_coeffs=8", "error vui_parameters.matrix_coeffs [E.3.1]"},
    {"chroma_format_idc=3 bit_depth_chroma_minus8=2 " VUI"video_signal_type_present_flag=1 " VUI"colour_description_present_flag=1 " VUI"matrix_coeffs=8", "error vui_parameters.matrix_coeffs [E.3.1]"},
    {VUI"chroma_loc_info_present_flag=1 " VUI"chroma_sample_loc_type_top_field=5 " VUI"chroma_sample_loc_type_bottom_field=5", ""},
    {VUI"chroma_loc_info_present_flag=1 " VUI"chroma_sample_loc_type_top_field=6", "error vui_parameters.chroma_sample_loc_type_top_field [E.3.1]"},
    {VUI"chroma_loc_info_present_flag=1 " VUI"chroma_sample_loc_type_bottom_field=6", "error vui_parameters.chroma_sample_loc_type_bottom_field [E.3.1]"},
    {"chroma_format_idc=2 " VUI"chroma_loc_info_present_flag=1", "warning vui_parameters.chroma_loc_info_present_flag [E.3.1]"},
    {VUI"field_seq_flag=1 " VUI"frame_field_info_present_flag=1", ""},
    {VUI"field_seq_flag=1", "error vui_parameters.frame_field_info_present_flag [E.3.1]"},
    {VUI"field_seq_flag=1 " VUI"frame_field_info_present_flag=1 profile_tier_level.general_frame_only_constraint_flag=1", "error vui_parameters.field_seq_flag [E.3.1]"},
    {"profile_tier_level.general_progressive_source_flag=1 profile_tier_level.general_interlaced_source_flag=1", "error vui_parameters.frame_field_info_present_flag [E.3.1]"},
    {"profile_tier_level.general_progressive_source_flag=1 profile_tier_level.general_interlaced_source_flag=1 " VUI"frame_field_info_present_flag=1", ""},
    {"profile_tier_level.general_interlaced_source_flag=1", ""},
    // The default display window lies in the conformance window.
    {VUI"default_display_window_flag=1 " VUI"def_disp_win_left_offset=100 " VUI"def_disp_win_right_offset=107", ""},
    {VUI"default_display_window_flag=1 " VUI"def_disp_win_left_offset=100 " VUI"def_disp_win_right_offset=108", "error vui_parameters.def_disp_win_right_offset [E.3.1]"},
    {VUI"default_display_window_flag=1 " VUI"def_disp_win_left_offset=208", "error vui_parameters.def_disp_win_left_offset [E.3.1]"},
    {"conformance_window_flag=1 conf_win_left_offset=200 " VUI"default_display_window_flag=1 " VUI"def_disp_win_left_offset=8", "error vui_parameters.def_disp_win_left_offset [E.3.1]"},
    {"conformance_window_flag=1 conf_win_left_offset=200 " VUI"default_display_window_flag=1 " VUI"def_disp_win_left_offset=7", ""},
    {VUI"default_display_window_flag=1 " VUI"def_disp_win_left_offset=4294967294 " VUI"def_disp_win_right_offset=4294967294", "error vui_parameters.def_disp_win_right_offset [E.3.1]"},
    {VUI"default_display_window_flag=1 " VUI"def_disp_win_top_offset=119", ""},
    {VUI"default_display_window_flag=1 " VUI"def_disp_win_top_offset=120", "error vui_parameters.def_disp_win_top_offset [E.3.1]"},
    {VUI"default_display_window_flag=1 " VUI"def_disp_win_bottom_offset=120", "error vui_parameters.def_disp_win_bottom_offset [E.3.1]"},
    {VUI"vui_timing_info_present_flag=1 " VUI"vui_num_units_in_tick=1 " VUI"vui_time_scale=1", ""},
    {VUI"vui_timing_info_present_flag=1 " VUI"vui_num_units_in_tick=0 " VUI"vui_time_scale=25", "error vui_parameters.vui_num_units_in_tick [E.3.1]"},
    {VUI"vui_timing_info_present_flag=1 " VUI"vui_num_units_in_tick=1 " VUI"vui_time_scale=0", "error vui_parameters.vui_time_scale [E.3.1]"},
    {VUI"bitstream_restriction_flag=1 " VUI"min_spatial_segmentation_idc=4095 " VUI"max_bytes_per_pic_denom=16 " VUI"max_bits_per_min_cu_denom=16 "
     VUI"log2_max_mv_length_horizontal=15 " VUI"log2_max_mv_length_vertical=15", ""},
    {VUI"bitstream_restriction_flag=1 " VUI"min_spatial_segmentation_idc=4096", "error vui_parameters.min_spatial_segmentation_idc [E.3.1]"},
    {VUI"bitstream_restriction_flag=1 " VUI"max_bytes_per_pic_denom=17", "error vui_parameters.max_bytes_per_pic_denom [E.3.1]"},
    {VUI"bitstream_restriction_flag=1 " VUI"max_bits_per_min_cu_denom=17", "error vui_parameters.max_bits_per_min_cu_denom [E.3.1]"},
    {VUI"bitstream_restriction_flag=1 " VUI"log2_max_mv_length_horizontal=16", "warning vui_parameters.log2_max_mv_length_horizontal [E.3.1]"},
    {VUI"bitstream_restriction_flag=1 " VUI"log2_max_mv_length_horizontal=17", "error vui_parameters.log2_max_mv_length_horizontal [E.3.1]"},
    {VUI"bitstream_restriction_flag=1 " VUI"log2_max_mv_length_vertical=16", "warning vui_parameters.log2_max_mv_length_vertical [E.3.1]"},
    {VUI"bitstream_restriction_flag=1 " VUI"log2_max_mv_length_vertical=17", "error vui_parameters.log2_max_mv_length_vertical [E.3.1]"},
};
// clang-format on

TEST(VuiChecks, HoldEachConstraint)
{
    expectSpsRows(with(legalSps(), "vui_parameters_present_flag=1"), ROWS);
}

} // namespace
} // namespace vui_checks_test

#undef VUI
