#pragma once

#include <cstdint>
#include <vector>

#include "H265psExport.h"
#include "NalUnitSyntax.h"
#include "Part.h"
#include "ProfileTierLevelSyntax.h"
#include "ScalingListDataSyntax.h"
#include "SpsExtensionsSyntax.h"
#include "StRefPicSetSyntax.h"
#include "SyntaxElement.h"
#include "VuiSyntax.h"

namespace H265PS_EXPORT h265_syntax {

struct VideoParameterSet;

/// What a set needs of others, by their ids; null where there is none. Only an SPS of a layer above the
/// base layer that leaves its sub-layers and its format to the VPS (MultiLayerExtSpsFlag) needs anything.
struct Context
{
    const VideoParameterSet* apVps[16] = {};
};

/// 7.3.2.2 and F.7.3.2.2 seq_parameter_set_rbsp( )
struct SequenceParameterSet
{
    NalUnitHeader nal_unit_header;
    std::uint16_t sps_video_parameter_set_id = 0;       // u(4)
    std::uint16_t sps_max_sub_layers_minus1 = 0;        // u(3)
    std::uint16_t sps_ext_or_max_sub_layers_minus1 = 0; // u(3), of nuh_layer_id above 0
    bool MultiLayerExtSpsFlag = false;                  // derived, F.7.3.2.2.1
    bool bSubLayersKnown = true;                        // false: they are the VPS's, which is not known
    bool bFormatKnown = true;                           // false: it is the VPS's, which is not known
    bool sps_temporal_id_nesting_flag = false;
    ProfileTierLevel profile_tier_level;
    std::uint32_t sps_seq_parameter_set_id = 0; // ue(v)
    bool update_rep_format_flag = false;
    std::uint16_t sps_rep_format_idx = 0; // u(8)
    std::uint32_t chroma_format_idc = 0;  // ue(v)
    bool separate_colour_plane_flag = false;
    std::uint32_t pic_width_in_luma_samples = 0;  // ue(v)
    std::uint32_t pic_height_in_luma_samples = 0; // ue(v)
    bool conformance_window_flag = false;
    std::uint32_t conf_win_left_offset = 0;              // ue(v)
    std::uint32_t conf_win_right_offset = 0;             // ue(v)
    std::uint32_t conf_win_top_offset = 0;               // ue(v)
    std::uint32_t conf_win_bottom_offset = 0;            // ue(v)
    std::uint32_t bit_depth_luma_minus8 = 0;             // ue(v)
    std::uint32_t bit_depth_chroma_minus8 = 0;           // ue(v)
    std::uint32_t log2_max_pic_order_cnt_lsb_minus4 = 0; // ue(v)
    bool sps_sub_layer_ordering_info_present_flag = false;
    // By sub-layer; what is not coded is inferred (7.4.3.2.1).
    std::uint32_t sps_max_dec_pic_buffering_minus1[MAX_SUB_LAYERS] = {}; // ue(v)
    std::uint32_t sps_max_num_reorder_pics[MAX_SUB_LAYERS] = {};         // ue(v)
    std::uint32_t sps_max_latency_increase_plus1[MAX_SUB_LAYERS] = {};   // ue(v)
    std::uint32_t log2_min_luma_coding_block_size_minus3 = 0;            // ue(v)
    std::uint32_t log2_diff_max_min_luma_coding_block_size = 0;          // ue(v)
    std::uint32_t log2_min_luma_transform_block_size_minus2 = 0;         // ue(v)
    std::uint32_t log2_diff_max_min_luma_transform_block_size = 0;       // ue(v)
    std::uint32_t max_transform_hierarchy_depth_inter = 0;               // ue(v)
    std::uint32_t max_transform_hierarchy_depth_intra = 0;               // ue(v)
    bool scaling_list_enabled_flag = false;
    bool sps_infer_scaling_list_flag = false;
    std::uint16_t sps_scaling_list_ref_layer_id = 0; // u(6)
    bool sps_scaling_list_data_present_flag = false;
    Part<ScalingListDataSyntax> scaling_list_data;
    bool amp_enabled_flag = false;
    bool sample_adaptive_offset_enabled_flag = false;
    bool pcm_enabled_flag = false;
    std::uint16_t pcm_sample_bit_depth_luma_minus1 = 0;           // u(4)
    std::uint16_t pcm_sample_bit_depth_chroma_minus1 = 0;         // u(4)
    std::uint32_t log2_min_pcm_luma_coding_block_size_minus3 = 0; // ue(v)
    std::uint32_t log2_diff_max_min_pcm_luma_coding_block_size = 0;
    bool pcm_loop_filter_disabled_flag = false;
    std::uint32_t num_short_term_ref_pic_sets = 0; // ue(v), 0 to 64
    std::vector<StRefPicSet> st_ref_pic_set;       // at least so many
    bool long_term_ref_pics_present_flag = false;
    std::uint32_t num_long_term_ref_pics_sps = 0;  // ue(v), 0 to 32
    std::uint32_t lt_ref_pic_poc_lsb_sps[32] = {}; // u(v)
    bool used_by_curr_pic_lt_sps_flag[32] = {};
    bool sps_temporal_mvp_enabled_flag = false;
    bool strong_intra_smoothing_enabled_flag = false;
    bool vui_parameters_present_flag = false;
    VuiParameters vui_parameters;
    bool sps_extension_present_flag = false;
    bool sps_range_extension_flag = false;
    bool sps_multilayer_extension_flag = false;
    bool sps_3d_extension_flag = false;
    bool sps_scc_extension_flag = false;
    std::uint16_t sps_extension_4bits = 0; // u(4)
    SpsRangeExtension sps_range_extension;
    SpsMultilayerExtension sps_multilayer_extension;
    Sps3dExtension sps_3d_extension;
    SpsSccExtension sps_scc_extension;
    std::vector<unsigned char> sps_extension_data_flag; // 0 or 1 each
    RbspTrailing rbsp_trailing;
    Stop stop; // where reading stopped
};

} // namespace h265_syntax
