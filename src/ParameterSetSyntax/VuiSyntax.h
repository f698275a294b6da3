#pragma once

#include <cstdint>

#include "H265psExport.h"
#include "HrdSyntax.h"
#include "Part.h"

namespace H265PS_EXPORT h265_syntax {

inline constexpr std::uint16_t EXTENDED_SAR = 255; // Table E.1

/// E.2.1 vui_parameters( )
struct VuiParameters
{
    bool aspect_ratio_info_present_flag = false;
    std::uint16_t aspect_ratio_idc = 0; // u(8)
    std::uint16_t sar_width = 0;        // u(16)
    std::uint16_t sar_height = 0;       // u(16)
    bool overscan_info_present_flag = false;
    bool overscan_appropriate_flag = false;
    bool video_signal_type_present_flag = false;
    std::uint16_t video_format = 5; // u(3)
    bool video_full_range_flag = false;
    bool colour_description_present_flag = false;
    std::uint16_t colour_primaries = 2;         // u(8)
    std::uint16_t transfer_characteristics = 2; // u(8)
    std::uint16_t matrix_coeffs = 2;            // u(8)
    bool chroma_loc_info_present_flag = false;
    std::uint32_t chroma_sample_loc_type_top_field = 0;    // ue(v)
    std::uint32_t chroma_sample_loc_type_bottom_field = 0; // ue(v)
    bool neutral_chroma_indication_flag = false;
    bool field_seq_flag = false;
    bool frame_field_info_present_flag = false;
    bool default_display_window_flag = false;
    std::uint32_t def_disp_win_left_offset = 0;   // ue(v)
    std::uint32_t def_disp_win_right_offset = 0;  // ue(v)
    std::uint32_t def_disp_win_top_offset = 0;    // ue(v)
    std::uint32_t def_disp_win_bottom_offset = 0; // ue(v)
    bool vui_timing_info_present_flag = false;
    std::uint32_t vui_num_units_in_tick = 0; // u(32)
    std::uint32_t vui_time_scale = 0;        // u(32)
    bool vui_poc_proportional_to_timing_flag = false;
    std::uint32_t vui_num_ticks_poc_diff_one_minus1 = 0; // ue(v)
    bool vui_hrd_parameters_present_flag = false;
    Part<HrdParameters> hrd_parameters;
    bool bitstream_restriction_flag = false;
    bool tiles_fixed_structure_flag = false;
    bool motion_vectors_over_pic_boundaries_flag = true;
    bool restricted_ref_pic_lists_flag = false;
    std::uint32_t min_spatial_segmentation_idc = 0;   // ue(v)
    std::uint32_t max_bytes_per_pic_denom = 2;        // ue(v)
    std::uint32_t max_bits_per_min_cu_denom = 1;      // ue(v)
    std::uint32_t log2_max_mv_length_horizontal = 15; // ue(v)
    std::uint32_t log2_max_mv_length_vertical = 15;   // ue(v)
};

} // namespace h265_syntax
