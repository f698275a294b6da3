#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "DecParameterSetReader.h"

// Where the records hold the syntax elements and derived variables of H.265, by their names.

namespace h265_test {

using h265_codec::PPS;
using h265_codec::ShortTermRefPicSet;
using h265_codec::SPS;
using h265_codec::VPS;

// What a record holds for a syntax element; i is the element's first index.
template <class TRecord>
using Field = std::int64_t (*)(const TRecord& r, unsigned i);
template <class TRecord>
using FieldMap = std::map<std::string, Field<TRecord>, std::less<>>;

#define HELD_AS(TRecord, name, expression)                                                                             \
    {                                                                                                                  \
        name, [](const TRecord& r, [[maybe_unused]] unsigned i) -> std::int64_t { return (expression); }               \
    }
#define HELD(TRecord, field) HELD_AS(TRecord, #field, r.field)
#define HELD_ARRAY(TRecord, field) HELD_AS(TRecord, #field, r.field[i])

// 7.3.3, of a record with a ptl
#define HELD_PROFILE_TIER_LEVEL(TRecord)                                                                               \
    HELD_AS(TRecord, "general_profile_space", r.ptl.general_profile_space),                                            \
        HELD_AS(TRecord, "general_tier_flag", r.ptl.general_tier_flag),                                                \
        HELD_AS(TRecord, "general_profile_idc", r.ptl.general_profile_idc),                                            \
        HELD_AS(TRecord, "general_profile_compatibility_flag", r.ptl.general_profile_compatibility_flag[i]),           \
        HELD_AS(TRecord, "general_progressive_source_flag", r.ptl.general_progressive_source_flag),                    \
        HELD_AS(TRecord, "general_interlaced_source_flag", r.ptl.general_interlaced_source_flag),                      \
        HELD_AS(TRecord, "general_non_packed_constraint_flag", r.ptl.general_non_packed_constraint_flag),              \
        HELD_AS(TRecord, "general_frame_only_constraint_flag", r.ptl.general_frame_only_constraint_flag),              \
        HELD_AS(TRecord, "general_level_idc", r.ptl.general_level_idc),                                                \
        HELD_AS(TRecord, "sub_layer_profile_present_flag", r.ptl.sub_layer_profile_present_flag[i]),                   \
        HELD_AS(TRecord, "sub_layer_level_present_flag", r.ptl.sub_layer_level_present_flag[i]),                       \
        HELD_AS(TRecord, "sub_layer_profile_space", r.ptl.sub_layer_profile_space[i]),                                 \
        HELD_AS(TRecord, "sub_layer_tier_flag", r.ptl.sub_layer_tier_flag[i]),                                         \
        HELD_AS(TRecord, "sub_layer_profile_idc", r.ptl.sub_layer_profile_idc[i]),                                     \
        HELD_AS(TRecord, "sub_layer_progressive_source_flag", r.ptl.sub_layer_progressive_source_flag[i]),             \
        HELD_AS(TRecord, "sub_layer_interlaced_source_flag", r.ptl.sub_layer_interlaced_source_flag[i]),               \
        HELD_AS(TRecord, "sub_layer_non_packed_constraint_flag", r.ptl.sub_layer_non_packed_constraint_flag[i]),       \
        HELD_AS(TRecord, "sub_layer_frame_only_constraint_flag", r.ptl.sub_layer_frame_only_constraint_flag[i]),       \
        HELD_AS(TRecord, "sub_layer_level_idc", r.ptl.sub_layer_level_idc[i])

// Elements of 7.3.3 that the records do not hold, without the "general_" or "sub_layer_" before them.
inline const std::set<std::string, std::less<>> NOT_HELD = {
    "max_14bit_constraint_flag",
    "max_12bit_constraint_flag",
    "max_10bit_constraint_flag",
    "max_8bit_constraint_flag",
    "max_422chroma_constraint_flag",
    "max_420chroma_constraint_flag",
    "max_monochrome_constraint_flag",
    "intra_constraint_flag",
    "one_picture_only_constraint_flag",
    "lower_bit_rate_constraint_flag",
    "inbld_flag",
    "reserved_zero_7bits",
    "reserved_zero_33bits",
    "reserved_zero_34bits",
    "reserved_zero_35bits",
    "reserved_zero_43bits",
    "reserved_zero_bit",
    "reserved_zero_2bits",
};

inline bool isNotHeld(std::string_view name)
{
    for (const std::string_view front : {"general_", "sub_layer_"}) {
        if (name.starts_with(front) && NOT_HELD.contains(name.substr(front.size())))
            return true;
    }
    return name == "reserved_zero_2bits";
}

// Elements that are compared by what becomes of them, the scaling matrices.
inline const std::set<std::string, std::less<>> COMPARED_AS_MATRICES = {
    "scaling_list_pred_mode_flag",
    "scaling_list_pred_matrix_id_delta",
    "scaling_list_dc_coef_minus8",
    "scaling_list_delta_coef",
};

inline const FieldMap<VPS> VPS_FIELDS = {
    HELD(VPS, vps_video_parameter_set_id),
    HELD_AS(VPS, "vps_base_layer_internal_flag", r.vps_reserved_three_2bits >> 1),
    HELD_AS(VPS, "vps_base_layer_available_flag", r.vps_reserved_three_2bits & 1),
    HELD(VPS, vps_max_layers_minus1),
    HELD(VPS, vps_max_sub_layers_minus1),
    HELD(VPS, vps_temporal_id_nesting_flag),
    HELD(VPS, vps_reserved_0xffff_16bits),
    HELD_PROFILE_TIER_LEVEL(VPS),
    HELD(VPS, vps_sub_layer_ordering_info_present_flag),
    HELD_AS(VPS, "vps_max_dec_pic_buffering_minus1", std::int64_t{r.vps_max_dec_pic_buffering[i]} - 1),
    HELD_ARRAY(VPS, vps_max_num_reorder_pics),
    HELD_ARRAY(VPS, vps_max_latency_increase_plus1),
    HELD(VPS, vps_max_layer_id),
    HELD(VPS, vps_num_layer_sets_minus1),
    HELD(VPS, vps_timing_info_present_flag),
    HELD(VPS, vps_extension_flag),
};

inline const FieldMap<SPS> SPS_FIELDS = {
    HELD(SPS, sps_video_parameter_set_id),
    HELD(SPS, sps_max_sub_layers_minus1),
    HELD(SPS, sps_temporal_id_nesting_flag),
    HELD_PROFILE_TIER_LEVEL(SPS),
    HELD(SPS, sps_seq_parameter_set_id),
    HELD(SPS, chroma_format_idc),
    HELD(SPS, separate_colour_plane_flag),
    HELD(SPS, pic_width_in_luma_samples),
    HELD(SPS, pic_height_in_luma_samples),
    HELD(SPS, conformance_window_flag),
    HELD(SPS, conf_win_left_offset),
    HELD(SPS, conf_win_right_offset),
    HELD(SPS, conf_win_top_offset),
    HELD(SPS, conf_win_bottom_offset),
    HELD_AS(SPS, "bit_depth_luma_minus8", r.BitDepthY - 8),
    HELD_AS(SPS, "bit_depth_chroma_minus8", r.BitDepthC - 8),
    HELD_AS(SPS, "log2_max_pic_order_cnt_lsb_minus4", std::int64_t{r.log2_max_pic_order_cnt_lsb} - 4),
    HELD(SPS, sps_sub_layer_ordering_info_present_flag),
    HELD_ARRAY(SPS, sps_max_dec_pic_buffering_minus1),
    HELD_ARRAY(SPS, sps_max_num_reorder_pics),
    HELD_ARRAY(SPS, sps_max_latency_increase_plus1),
    HELD_AS(SPS, "log2_min_luma_coding_block_size_minus3", r.MinCbLog2SizeY - 3),
    HELD_AS(SPS, "log2_diff_max_min_luma_coding_block_size", r.CtbLog2SizeY - r.MinCbLog2SizeY),
    HELD_AS(SPS, "log2_min_luma_transform_block_size_minus2", r.MinTbLog2SizeY - 2),
    HELD_AS(SPS, "log2_diff_max_min_luma_transform_block_size", r.MaxTbLog2SizeY - r.MinTbLog2SizeY),
    HELD(SPS, max_transform_hierarchy_depth_inter),
    HELD(SPS, max_transform_hierarchy_depth_intra),
    HELD(SPS, scaling_list_enabled_flag),
    HELD(SPS, sps_scaling_list_data_present_flag),
    HELD(SPS, amp_enabled_flag),
    HELD(SPS, sample_adaptive_offset_enabled_flag),
    HELD(SPS, pcm_enabled_flag),
    HELD(SPS, pcm_sample_bit_depth_luma_minus1),
    HELD(SPS, pcm_sample_bit_depth_chroma_minus1),
    HELD_AS(SPS, "log2_min_pcm_luma_coding_block_size_minus3", r.Log2MinIpcmCbSizeY - 3),
    HELD_AS(SPS, "log2_diff_max_min_pcm_luma_coding_block_size", r.Log2MaxIpcmCbSizeY - r.Log2MinIpcmCbSizeY),
    HELD(SPS, pcm_loop_filter_disabled_flag),
    HELD(SPS, num_short_term_ref_pic_sets),
    HELD(SPS, long_term_ref_pics_present_flag),
    HELD(SPS, num_long_term_ref_pics_sps),
    HELD_ARRAY(SPS, lt_ref_pic_poc_lsb_sps),
    HELD_ARRAY(SPS, used_by_curr_pic_lt_sps_flag),
    HELD(SPS, sps_temporal_mvp_enabled_flag),
    HELD(SPS, strong_intra_smoothing_enabled_flag),
    HELD(SPS, vui_parameters_present_flag),
    HELD(SPS, sps_extension_present_flag),
};

// 7.4.3.2.1 and what else the values files derive of an SPS in one number
inline const FieldMap<SPS> SPS_DERIVED = {
    HELD(SPS, PicWidthInCtbsY),
    HELD(SPS, PicHeightInCtbsY),
    HELD(SPS, MinCbLog2SizeY),
    HELD(SPS, CtbLog2SizeY),
    HELD(SPS, MinTbLog2SizeY),
    HELD(SPS, MaxTbLog2SizeY),
    HELD(SPS, BitDepthY),
    HELD(SPS, BitDepthC),
    HELD_AS(SPS, "ChromaArrayType", r.separate_colour_plane_flag ? 0 : r.chroma_format_idc),
    HELD_AS(SPS, "MaxPicOrderCntLsb", std::int64_t{1} << r.log2_max_pic_order_cnt_lsb),
};

// 7.3.7
inline const FieldMap<ShortTermRefPicSet> SHORT_TERM_FIELDS = {
    HELD(ShortTermRefPicSet, inter_ref_pic_set_prediction_flag),
    HELD_AS(ShortTermRefPicSet, "delta_rps_sign", r.deltaRps < 0 ? 1 : 0),
    HELD_AS(ShortTermRefPicSet, "abs_delta_rps_minus1", (r.deltaRps < 0 ? -r.deltaRps : r.deltaRps) - 1),
    HELD_ARRAY(ShortTermRefPicSet, used_by_curr_pic_flag),
    HELD_ARRAY(ShortTermRefPicSet, use_delta_flag),
    HELD_AS(ShortTermRefPicSet, "num_negative_pics", r.NumNegativePics),
    HELD_AS(ShortTermRefPicSet, "num_positive_pics", r.NumPositivePics),
    HELD_AS(ShortTermRefPicSet, "delta_poc_s0_minus1", (i == 0 ? 0 : r.DeltaPoc[i - 1]) - r.DeltaPoc[i] - 1),
    HELD_AS(ShortTermRefPicSet, "used_by_curr_pic_s0_flag", r.UsedByCurrPic[i]),
    HELD_AS(ShortTermRefPicSet, "delta_poc_s1_minus1",
            r.DeltaPoc[r.NumNegativePics + i] - (i == 0 ? 0 : r.DeltaPoc[r.NumNegativePics + i - 1]) - 1),
    HELD_AS(ShortTermRefPicSet, "used_by_curr_pic_s1_flag", r.UsedByCurrPic[r.NumNegativePics + i]),
};

inline const FieldMap<PPS> PPS_FIELDS = {
    HELD(PPS, pps_pic_parameter_set_id),
    HELD(PPS, pps_seq_parameter_set_id),
    HELD(PPS, dependent_slice_segments_enabled_flag),
    HELD(PPS, output_flag_present_flag),
    HELD(PPS, num_extra_slice_header_bits),
    HELD(PPS, sign_data_hiding_enabled_flag),
    HELD(PPS, cabac_init_present_flag),
    HELD(PPS, num_ref_idx_l0_default_active_minus1),
    HELD(PPS, num_ref_idx_l1_default_active_minus1),
    HELD(PPS, init_qp_minus26),
    HELD(PPS, constrained_intra_pred_flag),
    HELD(PPS, transform_skip_enabled_flag),
    HELD(PPS, cu_qp_delta_enabled_flag),
    HELD(PPS, diff_cu_qp_delta_depth),
    HELD(PPS, pps_cb_qp_offset),
    HELD(PPS, pps_cr_qp_offset),
    HELD(PPS, pps_slice_chroma_qp_offsets_present_flag),
    HELD(PPS, weighted_pred_flag),
    HELD(PPS, weighted_bipred_flag),
    HELD(PPS, transquant_bypass_enabled_flag),
    HELD(PPS, tiles_enabled_flag),
    HELD(PPS, entropy_coding_sync_enabled_flag),
    HELD(PPS, num_tile_columns_minus1),
    HELD(PPS, num_tile_rows_minus1),
    HELD(PPS, uniform_spacing_flag),
    HELD_AS(PPS, "column_width_minus1", std::int64_t{r.colWidth[i]} - 1),
    HELD_AS(PPS, "row_height_minus1", std::int64_t{r.rowHeight[i]} - 1),
    HELD(PPS, loop_filter_across_tiles_enabled_flag),
    HELD(PPS, pps_loop_filter_across_slices_enabled_flag),
    HELD(PPS, deblocking_filter_control_present_flag),
    HELD(PPS, deblocking_filter_override_enabled_flag),
    HELD(PPS, pps_deblocking_filter_disabled_flag),
    HELD(PPS, pps_beta_offset_div2),
    HELD(PPS, pps_tc_offset_div2),
    HELD(PPS, pps_scaling_list_data_present_flag),
    HELD(PPS, lists_modification_present_flag),
    HELD_AS(PPS, "log2_parallel_merge_level_minus2", r.Log2ParMrgLevel - 2),
    HELD(PPS, slice_segment_header_extension_present_flag),
    HELD(PPS, pps_extension_present_flag),
};

#undef HELD_PROFILE_TIER_LEVEL
#undef HELD_ARRAY
#undef HELD
#undef HELD_AS

} // namespace h265_test
