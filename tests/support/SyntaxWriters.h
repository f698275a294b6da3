#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "BitWriter.h"

// The syntax structures of 7.3 as plain values and as bits. Every default is valid: a test takes the
// defaults, changes one value, writes the structure and expects one thing. What is written follows the
// tables as they are printed, not what a reader makes of them.

namespace h265_test {

/// 7.3.3, the part of one sub-layer.
struct SubLayerSyntax
{
    bool sub_layer_profile_present_flag = false;
    bool sub_layer_level_present_flag = false;
    unsigned sub_layer_profile_space = 0;
    bool sub_layer_tier_flag = false;
    unsigned sub_layer_profile_idc = 1;
    std::uint32_t sub_layer_profile_compatibility_flags = 0x60000000; // j = 0 is the top bit
    bool sub_layer_progressive_source_flag = true;
    bool sub_layer_interlaced_source_flag = false;
    bool sub_layer_non_packed_constraint_flag = false;
    bool sub_layer_frame_only_constraint_flag = true;
    std::uint64_t sub_layer_reserved_zero_44bits = 0;
    unsigned sub_layer_level_idc = 93;
};

/// 7.3.3 profile_tier_level( 1, maxNumSubLayersMinus1 ).
struct ProfileTierLevelSyntax
{
    unsigned general_profile_space = 0;
    bool general_tier_flag = false;
    unsigned general_profile_idc = 1;
    std::uint32_t general_profile_compatibility_flags = 0x60000000; // j = 0 is the top bit
    bool general_progressive_source_flag = true;
    bool general_interlaced_source_flag = false;
    bool general_non_packed_constraint_flag = false;
    bool general_frame_only_constraint_flag = true;
    std::uint64_t general_reserved_zero_44bits = 0;
    unsigned general_level_idc = 93;
    std::array<SubLayerSyntax, 7> sub_layer = {}; // the first maxNumSubLayersMinus1 of them are written
    unsigned reserved_zero_2bits = 0;             // each pair
};

inline CBitWriter write(const SubLayerSyntax& s)
{
    CBitWriter writer;
    if (s.sub_layer_profile_present_flag) {
        writer.u(2, s.sub_layer_profile_space).flag(s.sub_layer_tier_flag).u(5, s.sub_layer_profile_idc);
        writer.u(32, s.sub_layer_profile_compatibility_flags);
        writer.flag(s.sub_layer_progressive_source_flag).flag(s.sub_layer_interlaced_source_flag);
        writer.flag(s.sub_layer_non_packed_constraint_flag).flag(s.sub_layer_frame_only_constraint_flag);
        writer.u(44, s.sub_layer_reserved_zero_44bits);
    }
    if (s.sub_layer_level_present_flag)
        writer.u(8, s.sub_layer_level_idc);
    return writer;
}

inline CBitWriter write(const ProfileTierLevelSyntax& s, unsigned maxNumSubLayersMinus1)
{
    CBitWriter writer;
    writer.u(2, s.general_profile_space).flag(s.general_tier_flag).u(5, s.general_profile_idc);
    writer.u(32, s.general_profile_compatibility_flags);
    writer.flag(s.general_progressive_source_flag).flag(s.general_interlaced_source_flag);
    writer.flag(s.general_non_packed_constraint_flag).flag(s.general_frame_only_constraint_flag);
    writer.u(44, s.general_reserved_zero_44bits);
    writer.u(8, s.general_level_idc);
    for (unsigned i = 0; i < maxNumSubLayersMinus1; ++i) {
        writer.flag(s.sub_layer.at(i).sub_layer_profile_present_flag);
        writer.flag(s.sub_layer.at(i).sub_layer_level_present_flag);
    }
    for (unsigned i = maxNumSubLayersMinus1; maxNumSubLayersMinus1 != 0 && i < 8; ++i)
        writer.u(2, s.reserved_zero_2bits);
    for (unsigned i = 0; i < maxNumSubLayersMinus1; ++i)
        writer.append(write(s.sub_layer.at(i)));
    return writer;
}

/// The three ue(v) of one sub-layer's ordering information, in VPS and SPS.
struct SubLayerOrderingSyntax
{
    std::uint64_t max_dec_pic_buffering_minus1 = 4;
    std::uint64_t max_num_reorder_pics = 2;
    std::uint64_t max_latency_increase_plus1 = 0;
};

inline CBitWriter write(const std::array<SubLayerOrderingSyntax, 8>& ordering, bool bAll, unsigned uiHighest)
{
    CBitWriter writer;
    for (unsigned i = bAll ? 0 : uiHighest; i <= uiHighest; ++i) {
        writer.ue(ordering.at(i).max_dec_pic_buffering_minus1);
        writer.ue(ordering.at(i).max_num_reorder_pics);
        writer.ue(ordering.at(i).max_latency_increase_plus1);
    }
    return writer;
}

/// 7.3.2.1 video_parameter_set_rbsp( ).
struct VpsSyntax
{
    unsigned vps_video_parameter_set_id = 0;
    unsigned vps_reserved_three_2bits = 3;
    unsigned vps_max_layers_minus1 = 0;
    unsigned vps_max_sub_layers_minus1 = 0;
    bool vps_temporal_id_nesting_flag = true;
    unsigned vps_reserved_0xffff_16bits = 0xffff;
    ProfileTierLevelSyntax ptl = {};
    bool vps_sub_layer_ordering_info_present_flag = true;
    std::array<SubLayerOrderingSyntax, 8> ordering = {};
    unsigned vps_max_layer_id = 0;
    std::uint64_t vps_num_layer_sets_minus1 = 0;
    CBitWriter layer_id_included_flags = {}; // as they stand
    bool vps_timing_info_present_flag = false;
    CBitWriter timing_info = {}; // everything between the two flags, as it stands
    bool vps_extension_flag = false;
    CBitWriter extension = {};
    bool rbsp_trailing_bits = true;
};

inline CBitWriter write(const VpsSyntax& s)
{
    CBitWriter writer;
    writer.u(4, s.vps_video_parameter_set_id).u(2, s.vps_reserved_three_2bits).u(6, s.vps_max_layers_minus1);
    writer.u(3, s.vps_max_sub_layers_minus1).flag(s.vps_temporal_id_nesting_flag);
    writer.u(16, s.vps_reserved_0xffff_16bits);
    writer.append(write(s.ptl, s.vps_max_sub_layers_minus1));
    writer.flag(s.vps_sub_layer_ordering_info_present_flag);
    writer.append(write(s.ordering, s.vps_sub_layer_ordering_info_present_flag, s.vps_max_sub_layers_minus1));
    writer.u(6, s.vps_max_layer_id).ue(s.vps_num_layer_sets_minus1).append(s.layer_id_included_flags);
    writer.flag(s.vps_timing_info_present_flag).append(s.timing_info);
    writer.flag(s.vps_extension_flag).append(s.extension);
    return s.rbsp_trailing_bits ? writer.trailing() : writer;
}

/// 7.3.4, one matrix.
struct ScalingMatrixSyntax
{
    bool scaling_list_pred_mode_flag = false;
    unsigned scaling_list_pred_matrix_id_delta = 0;         // pred_mode_flag 0 only; 0: the default matrix
    std::int64_t scaling_list_dc_coef_minus8 = 0;           // pred_mode_flag 1 and sizeId above 1 only
    std::vector<std::int64_t> scaling_list_delta_coef = {}; // missing ones, up to coefNum, are written as 0
};

/// 7.3.4 scaling_list_data( ): 6, 6, 6 and 2 matrices.
struct ScalingListDataSyntax
{
    std::array<std::vector<ScalingMatrixSyntax>, 4> matrix = {std::vector<ScalingMatrixSyntax>(6),
                                                              std::vector<ScalingMatrixSyntax>(6),
                                                              std::vector<ScalingMatrixSyntax>(6),
                                                              std::vector<ScalingMatrixSyntax>(2)};
};

/// An explicit matrix from scaling_list_dc_coef_minus8 (from 16x16 on) to the last coefficient.
inline CBitWriter writeExplicit(const ScalingMatrixSyntax& s, unsigned sizeId)
{
    CBitWriter writer;
    if (sizeId > 1)
        writer.se(s.scaling_list_dc_coef_minus8);
    const std::size_t coefNum = sizeId == 0 ? 16 : 64;
    for (std::size_t i = 0; i < coefNum; ++i)
        writer.se(i < s.scaling_list_delta_coef.size() ? s.scaling_list_delta_coef[i] : 0);
    return writer;
}

inline CBitWriter write(const ScalingListDataSyntax& s)
{
    CBitWriter writer;
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        for (const ScalingMatrixSyntax& matrix : s.matrix[sizeId]) {
            writer.flag(matrix.scaling_list_pred_mode_flag);
            if (matrix.scaling_list_pred_mode_flag)
                writer.append(writeExplicit(matrix, sizeId));
            else
                writer.ue(matrix.scaling_list_pred_matrix_id_delta);
        }
    }
    return writer;
}

/// 7.3.7, one picture of an explicit set.
struct RefPicSyntax
{
    std::uint64_t delta_poc_minus1 = 0; // delta_poc_s0_minus1 or delta_poc_s1_minus1
    bool used_by_curr_pic_flag = true;
};

/// 7.3.7, the flags j of a predicted set.
struct RefPicFlagsSyntax
{
    bool used_by_curr_pic_flag = true;
    bool use_delta_flag = true; // written only behind a used_by_curr_pic_flag of 0
};

/// 7.3.7 st_ref_pic_set( stRpsIdx ).
struct StRefPicSetSyntax
{
    bool inter_ref_pic_set_prediction_flag = false; // not written for stRpsIdx 0
    unsigned delta_idx_minus1 = 0;                  // written only for the set of a slice header
    bool delta_rps_sign = false;
    unsigned abs_delta_rps_minus1 = 0;
    std::vector<RefPicFlagsSyntax> flags = {}; // one for each picture of the reference set, and one more
    std::vector<RefPicSyntax> s0 = {};
    std::vector<RefPicSyntax> s1 = {};
    std::optional<unsigned> num_negative_pics = {}; // what is coded; else the size of s0
    std::optional<unsigned> num_positive_pics = {}; // likewise of s1
};

inline CBitWriter write(const StRefPicSetSyntax& s, unsigned stRpsIdx, unsigned num_short_term_ref_pic_sets)
{
    CBitWriter writer;
    if (stRpsIdx != 0)
        writer.flag(s.inter_ref_pic_set_prediction_flag);
    if (s.inter_ref_pic_set_prediction_flag) {
        if (stRpsIdx == num_short_term_ref_pic_sets)
            writer.ue(s.delta_idx_minus1);
        writer.flag(s.delta_rps_sign).ue(s.abs_delta_rps_minus1);
        for (const RefPicFlagsSyntax& flags : s.flags) {
            writer.flag(flags.used_by_curr_pic_flag);
            if (!flags.used_by_curr_pic_flag)
                writer.flag(flags.use_delta_flag);
        }
        return writer;
    }
    writer.ue(s.num_negative_pics.value_or(static_cast<unsigned>(s.s0.size())));
    writer.ue(s.num_positive_pics.value_or(static_cast<unsigned>(s.s1.size())));
    for (const std::vector<RefPicSyntax>* const pPics : {&s.s0, &s.s1}) {
        for (const RefPicSyntax& pic : *pPics)
            writer.ue(pic.delta_poc_minus1).flag(pic.used_by_curr_pic_flag);
    }
    return writer;
}

/// 7.3.2.2, the PCM parameters.
struct PcmSyntax
{
    unsigned pcm_sample_bit_depth_luma_minus1 = 7;
    unsigned pcm_sample_bit_depth_chroma_minus1 = 7;
    std::uint64_t log2_min_pcm_luma_coding_block_size_minus3 = 0;
    std::uint64_t log2_diff_max_min_pcm_luma_coding_block_size = 2;
    bool pcm_loop_filter_disabled_flag = false;
};

/// 7.3.2.2, one long-term picture.
struct LongTermRefPicSyntax
{
    std::uint64_t lt_ref_pic_poc_lsb_sps = 0;
    bool used_by_curr_pic_lt_sps_flag = false;
};

/// 7.3.2.2 seq_parameter_set_rbsp( ): 1920x1080, 4:2:0, 8 bits, CTBs of 64x64.
struct SpsSyntax
{
    unsigned sps_video_parameter_set_id = 0;
    unsigned sps_max_sub_layers_minus1 = 0;
    bool sps_temporal_id_nesting_flag = true;
    ProfileTierLevelSyntax ptl = {};
    std::uint64_t sps_seq_parameter_set_id = 0;
    std::uint64_t chroma_format_idc = 1;
    bool separate_colour_plane_flag = false; // written only with chroma_format_idc 3
    std::uint64_t pic_width_in_luma_samples = 1920;
    std::uint64_t pic_height_in_luma_samples = 1080;
    bool conformance_window_flag = false;
    std::uint64_t conf_win_left_offset = 0; // the four only with the flag
    std::uint64_t conf_win_right_offset = 0;
    std::uint64_t conf_win_top_offset = 0;
    std::uint64_t conf_win_bottom_offset = 4;
    std::uint64_t bit_depth_luma_minus8 = 0;
    std::uint64_t bit_depth_chroma_minus8 = 0;
    std::uint64_t log2_max_pic_order_cnt_lsb_minus4 = 4;
    bool sps_sub_layer_ordering_info_present_flag = true;
    std::array<SubLayerOrderingSyntax, 8> ordering = {};
    std::uint64_t log2_min_luma_coding_block_size_minus3 = 0;
    std::uint64_t log2_diff_max_min_luma_coding_block_size = 3;
    std::uint64_t log2_min_luma_transform_block_size_minus2 = 0;
    std::uint64_t log2_diff_max_min_luma_transform_block_size = 3;
    std::uint64_t max_transform_hierarchy_depth_inter = 1;
    std::uint64_t max_transform_hierarchy_depth_intra = 2;
    bool scaling_list_enabled_flag = false;
    std::optional<ScalingListDataSyntax> scaling_list_data = {}; // written only with the flag
    bool amp_enabled_flag = true;
    bool sample_adaptive_offset_enabled_flag = true;
    std::optional<PcmSyntax> pcm = {}; // also pcm_enabled_flag
    std::vector<StRefPicSetSyntax> st_ref_pic_set = {};
    std::optional<std::uint64_t> num_short_term_ref_pic_sets = {}; // what is coded; else the size of the list
    bool long_term_ref_pics_present_flag = false;
    std::vector<LongTermRefPicSyntax> long_term_ref_pic = {};
    std::optional<std::uint64_t> num_long_term_ref_pics_sps = {}; // what is coded; else the size of the list
    bool sps_temporal_mvp_enabled_flag = true;
    bool strong_intra_smoothing_enabled_flag = true;
    bool vui_parameters_present_flag = false;
    CBitWriter vui_parameters = {}; // as it stands
    bool sps_extension_present_flag = false;
    CBitWriter extension = {};
    bool rbsp_trailing_bits = true;
};

/// Up to and including sps_sub_layer_ordering_info_present_flag and its values.
inline CBitWriter writeSpsFormat(const SpsSyntax& s)
{
    CBitWriter writer;
    writer.u(4, s.sps_video_parameter_set_id).u(3, s.sps_max_sub_layers_minus1).flag(s.sps_temporal_id_nesting_flag);
    writer.append(write(s.ptl, s.sps_max_sub_layers_minus1));
    writer.ue(s.sps_seq_parameter_set_id).ue(s.chroma_format_idc);
    if (s.chroma_format_idc == 3)
        writer.flag(s.separate_colour_plane_flag);
    writer.ue(s.pic_width_in_luma_samples).ue(s.pic_height_in_luma_samples).flag(s.conformance_window_flag);
    if (s.conformance_window_flag) {
        writer.ue(s.conf_win_left_offset).ue(s.conf_win_right_offset);
        writer.ue(s.conf_win_top_offset).ue(s.conf_win_bottom_offset);
    }
    writer.ue(s.bit_depth_luma_minus8).ue(s.bit_depth_chroma_minus8).ue(s.log2_max_pic_order_cnt_lsb_minus4);
    writer.flag(s.sps_sub_layer_ordering_info_present_flag);
    return writer.append(write(s.ordering, s.sps_sub_layer_ordering_info_present_flag, s.sps_max_sub_layers_minus1));
}

/// The coding block sizes up to the PCM parameters.
inline CBitWriter writeSpsCodingTools(const SpsSyntax& s)
{
    CBitWriter writer;
    writer.ue(s.log2_min_luma_coding_block_size_minus3).ue(s.log2_diff_max_min_luma_coding_block_size);
    writer.ue(s.log2_min_luma_transform_block_size_minus2).ue(s.log2_diff_max_min_luma_transform_block_size);
    writer.ue(s.max_transform_hierarchy_depth_inter).ue(s.max_transform_hierarchy_depth_intra);
    writer.flag(s.scaling_list_enabled_flag);
    if (s.scaling_list_enabled_flag) {
        writer.flag(s.scaling_list_data.has_value());
        if (s.scaling_list_data)
            writer.append(write(*s.scaling_list_data));
    }
    writer.flag(s.amp_enabled_flag).flag(s.sample_adaptive_offset_enabled_flag).flag(s.pcm.has_value());
    if (s.pcm) {
        writer.u(4, s.pcm->pcm_sample_bit_depth_luma_minus1).u(4, s.pcm->pcm_sample_bit_depth_chroma_minus1);
        writer.ue(s.pcm->log2_min_pcm_luma_coding_block_size_minus3);
        writer.ue(s.pcm->log2_diff_max_min_pcm_luma_coding_block_size).flag(s.pcm->pcm_loop_filter_disabled_flag);
    }
    return writer;
}

/// The reference pictures, without long_term_ref_pics_present_flag's inference.
inline CBitWriter writeSpsRefPics(const SpsSyntax& s)
{
    CBitWriter writer;
    const std::uint64_t ulSets = s.num_short_term_ref_pic_sets.value_or(s.st_ref_pic_set.size());
    writer.ue(ulSets);
    for (unsigned i = 0; i < s.st_ref_pic_set.size(); ++i)
        writer.append(write(s.st_ref_pic_set[i], i, static_cast<unsigned>(ulSets)));
    writer.flag(s.long_term_ref_pics_present_flag);
    if (s.long_term_ref_pics_present_flag) {
        writer.ue(s.num_long_term_ref_pics_sps.value_or(s.long_term_ref_pic.size()));
        for (const LongTermRefPicSyntax& pic : s.long_term_ref_pic) {
            writer.u(static_cast<unsigned>(s.log2_max_pic_order_cnt_lsb_minus4 + 4), pic.lt_ref_pic_poc_lsb_sps);
            writer.flag(pic.used_by_curr_pic_lt_sps_flag);
        }
    }
    return writer;
}

inline CBitWriter write(const SpsSyntax& s)
{
    CBitWriter writer = writeSpsFormat(s);
    writer.append(writeSpsCodingTools(s)).append(writeSpsRefPics(s));
    writer.flag(s.sps_temporal_mvp_enabled_flag).flag(s.strong_intra_smoothing_enabled_flag);
    writer.flag(s.vui_parameters_present_flag).append(s.vui_parameters);
    writer.flag(s.sps_extension_present_flag).append(s.extension);
    return s.rbsp_trailing_bits ? writer.trailing() : writer;
}

/// 7.3.2.3, the tile parameters.
struct TilesSyntax
{
    std::uint64_t num_tile_columns_minus1 = 1;
    std::uint64_t num_tile_rows_minus1 = 1;
    bool uniform_spacing_flag = true;
    std::vector<std::uint64_t> column_width_minus1 = {}; // both lists only without uniform spacing, all of them
    std::vector<std::uint64_t> row_height_minus1 = {};
    bool loop_filter_across_tiles_enabled_flag = true; // left out where the table's single tile is not allowed
};

/// 7.3.2.3, the deblocking parameters.
struct DeblockingSyntax
{
    bool deblocking_filter_override_enabled_flag = false;
    bool pps_deblocking_filter_disabled_flag = false;
    std::int64_t pps_beta_offset_div2 = 0; // this and the next only when not disabled
    std::int64_t pps_tc_offset_div2 = 0;
};

/// 7.3.2.3 pic_parameter_set_rbsp( ).
struct PpsSyntax
{
    std::uint64_t pps_pic_parameter_set_id = 0;
    std::uint64_t pps_seq_parameter_set_id = 0;
    bool dependent_slice_segments_enabled_flag = false;
    bool output_flag_present_flag = false;
    unsigned num_extra_slice_header_bits = 0;
    bool sign_data_hiding_enabled_flag = true;
    bool cabac_init_present_flag = false;
    std::uint64_t num_ref_idx_l0_default_active_minus1 = 0;
    std::uint64_t num_ref_idx_l1_default_active_minus1 = 0;
    std::int64_t init_qp_minus26 = 0;
    bool constrained_intra_pred_flag = false;
    bool transform_skip_enabled_flag = false;
    std::optional<std::uint64_t> diff_cu_qp_delta_depth = {}; // also cu_qp_delta_enabled_flag
    std::int64_t pps_cb_qp_offset = 0;
    std::int64_t pps_cr_qp_offset = 0;
    bool pps_slice_chroma_qp_offsets_present_flag = false;
    bool weighted_pred_flag = false;
    bool weighted_bipred_flag = false;
    bool transquant_bypass_enabled_flag = false;
    std::optional<TilesSyntax> tiles = {}; // also tiles_enabled_flag
    bool entropy_coding_sync_enabled_flag = false;
    bool pps_loop_filter_across_slices_enabled_flag = true;
    std::optional<DeblockingSyntax> deblocking = {};             // also deblocking_filter_control_present_flag
    std::optional<ScalingListDataSyntax> scaling_list_data = {}; // also pps_scaling_list_data_present_flag
    bool lists_modification_present_flag = false;
    std::uint64_t log2_parallel_merge_level_minus2 = 0;
    bool slice_segment_header_extension_present_flag = false;
    bool pps_extension_present_flag = false;
    CBitWriter extension = {}; // as it stands
    bool rbsp_trailing_bits = true;
};

inline CBitWriter write(const TilesSyntax& s)
{
    CBitWriter writer;
    writer.ue(s.num_tile_columns_minus1).ue(s.num_tile_rows_minus1).flag(s.uniform_spacing_flag);
    if (!s.uniform_spacing_flag) {
        for (const std::uint64_t column_width_minus1 : s.column_width_minus1)
            writer.ue(column_width_minus1);
        for (const std::uint64_t row_height_minus1 : s.row_height_minus1)
            writer.ue(row_height_minus1);
    }
    if (s.num_tile_columns_minus1 != 0 || s.num_tile_rows_minus1 != 0)
        writer.flag(s.loop_filter_across_tiles_enabled_flag);
    return writer;
}

/// Up to and including the tiles.
inline CBitWriter writePpsFront(const PpsSyntax& s)
{
    CBitWriter writer;
    writer.ue(s.pps_pic_parameter_set_id).ue(s.pps_seq_parameter_set_id);
    writer.flag(s.dependent_slice_segments_enabled_flag).flag(s.output_flag_present_flag);
    writer.u(3, s.num_extra_slice_header_bits).flag(s.sign_data_hiding_enabled_flag).flag(s.cabac_init_present_flag);
    writer.ue(s.num_ref_idx_l0_default_active_minus1).ue(s.num_ref_idx_l1_default_active_minus1);
    writer.se(s.init_qp_minus26).flag(s.constrained_intra_pred_flag).flag(s.transform_skip_enabled_flag);
    writer.flag(s.diff_cu_qp_delta_depth.has_value());
    if (s.diff_cu_qp_delta_depth)
        writer.ue(*s.diff_cu_qp_delta_depth);
    writer.se(s.pps_cb_qp_offset).se(s.pps_cr_qp_offset).flag(s.pps_slice_chroma_qp_offsets_present_flag);
    writer.flag(s.weighted_pred_flag).flag(s.weighted_bipred_flag).flag(s.transquant_bypass_enabled_flag);
    writer.flag(s.tiles.has_value()).flag(s.entropy_coding_sync_enabled_flag);
    return s.tiles ? writer.append(write(*s.tiles)) : writer;
}

inline CBitWriter write(const PpsSyntax& s)
{
    CBitWriter writer = writePpsFront(s);
    writer.flag(s.pps_loop_filter_across_slices_enabled_flag).flag(s.deblocking.has_value());
    if (s.deblocking) {
        writer.flag(s.deblocking->deblocking_filter_override_enabled_flag);
        writer.flag(s.deblocking->pps_deblocking_filter_disabled_flag);
        if (!s.deblocking->pps_deblocking_filter_disabled_flag)
            writer.se(s.deblocking->pps_beta_offset_div2).se(s.deblocking->pps_tc_offset_div2);
    }
    writer.flag(s.scaling_list_data.has_value());
    if (s.scaling_list_data)
        writer.append(write(*s.scaling_list_data));
    writer.flag(s.lists_modification_present_flag).ue(s.log2_parallel_merge_level_minus2);
    writer.flag(s.slice_segment_header_extension_present_flag);
    writer.flag(s.pps_extension_present_flag).append(s.extension);
    return s.rbsp_trailing_bits ? writer.trailing() : writer;
}

/// Lays bits out for CBitStreamReader, which delivers each eight bytes as 32 zero bits and the first
/// four bytes: 32 bits of every 64 must be zero and are left out. Null when they are not.
inline std::optional<std::vector<unsigned char>> layOutForDecoderReader(const CBitWriter& wanted)
{
    constexpr unsigned char NEVER_DELIVERED = 0xff;
    std::vector<unsigned char> payload;
    for (std::size_t uiWord = 0; uiWord < wanted.size(); uiWord += 64) {
        CBitWriter delivered;
        for (std::size_t i = 0; i < 64; ++i) {
            const bool bBit = uiWord + i < wanted.size() && wanted.allBits()[uiWord + i];
            if (i >= 32)
                delivered.flag(bBit);
            else if (bBit)
                return std::nullopt;
        }
        const std::vector<unsigned char> bytes = delivered.bytes();
        payload.insert(payload.end(), bytes.begin(), bytes.end());
        payload.insert(payload.end(), 4, NEVER_DELIVERED);
    }
    return payload;
}

/// The other way: the bits that CBitStreamReader delivers of a payload of whole eight-byte words.
inline CBitWriter deliveredByDecoderReader(const std::vector<unsigned char>& payload)
{
    CBitWriter delivered;
    for (std::size_t uiWord = 0; uiWord < payload.size(); uiWord += 8) {
        delivered.u(32, 0);
        for (std::size_t i = 0; i < 4; ++i)
            delivered.u(8, payload.at(uiWord + i));
    }
    return delivered;
}

} // namespace h265_test
