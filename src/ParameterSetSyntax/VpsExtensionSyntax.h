#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "H265psExport.h"
#include "HrdSyntax.h"
#include "LayerSets.h"
#include "Part.h"
#include "ProfileTierLevelSyntax.h"
#include "VpsVuiSyntax.h"

namespace H265PS_EXPORT h265_syntax {

/// F.7.3.2.1.2 rep_format( )
struct RepFormat
{
    std::uint16_t pic_width_vps_in_luma_samples = 0;  // u(16)
    std::uint16_t pic_height_vps_in_luma_samples = 0; // u(16)
    bool chroma_and_bit_depth_vps_present_flag = false;
    std::uint16_t chroma_format_vps_idc = 0; // u(2)
    bool separate_colour_plane_vps_flag = false;
    std::uint16_t bit_depth_vps_luma_minus8 = 0;   // u(4)
    std::uint16_t bit_depth_vps_chroma_minus8 = 0; // u(4)
    bool conformance_window_vps_flag = false;
    std::uint32_t conf_win_vps_left_offset = 0;   // ue(v)
    std::uint32_t conf_win_vps_right_offset = 0;  // ue(v)
    std::uint32_t conf_win_vps_top_offset = 0;    // ue(v)
    std::uint32_t conf_win_vps_bottom_offset = 0; // ue(v)
};

/// F.7.3.2.1.3 dpb_size( ), by output layer set, then layer of its layer set (k) and sub-layer (j)
struct DpbSize
{
    std::vector<unsigned char> sub_layer_flag_info_present_flag;
    std::vector<std::array<bool, MAX_SUB_LAYERS>> sub_layer_dpb_info_present_flag;
    std::vector<std::vector<std::array<std::uint32_t, MAX_SUB_LAYERS>>> max_vps_dec_pic_buffering_minus1; // ue(v)
    std::vector<std::array<std::uint32_t, MAX_SUB_LAYERS>> max_vps_num_reorder_pics;                      // ue(v)
    std::vector<std::array<std::uint32_t, MAX_SUB_LAYERS>> max_vps_latency_increase_plus1;                // ue(v)
};

/// F.7.3.2.1.1 vps_extension( )
struct VpsExtension
{
    bool splitting_flag = false;
    bool scalability_mask_flag[16] = {};
    std::uint16_t dimension_id_len_minus1[16] = {}; // u(3)
    bool vps_nuh_layer_id_present_flag = false;
    std::uint16_t layer_id_in_nuh[MAX_LAYERS] = {};  // u(6)
    std::uint16_t dimension_id[MAX_LAYERS][16] = {}; // u(v)
    std::uint16_t view_id_len = 0;                   // u(4)
    std::uint32_t view_id_val[MAX_LAYERS] = {};      // u(v)
    bool direct_dependency_flag[MAX_LAYERS][MAX_LAYERS] = {};
    std::uint32_t num_add_layer_sets = 0;                                       // ue(v), 0 to 1023
    std::vector<std::array<std::uint16_t, MAX_LAYERS>> highest_layer_idx_plus1; // u(v)
    bool vps_sub_layers_max_minus1_present_flag = false;
    std::uint16_t sub_layers_vps_max_minus1[MAX_LAYERS] = {}; // u(3)
    bool max_tid_ref_present_flag = false;
    std::uint16_t max_tid_il_ref_pics_plus1[MAX_LAYERS][MAX_LAYERS] = {}; // u(3)
    bool default_ref_layers_active_flag = false;
    std::uint32_t vps_num_profile_tier_level_minus1 = 0; // ue(v), 0 to 63
    bool vps_profile_present_flag[64] = {};
    std::vector<ProfileTierLevel> profile_tier_level; // by number; 0 is the VPS's own, 1 of the base layer
    std::uint32_t num_add_olss = 0;                   // ue(v), 0 to 1023
    std::uint16_t default_output_layer_idc = 0;       // u(2)
    // By output layer set, then layer of its layer set.
    std::vector<std::uint32_t> layer_set_idx_for_ols_minus1; // u(v)
    std::vector<std::array<bool, 64>> output_layer_flag;
    std::vector<std::array<std::uint16_t, 64>> profile_tier_level_idx; // u(v)
    std::vector<unsigned char> alt_output_layer_flag;
    std::uint32_t vps_num_rep_formats_minus1 = 0; // ue(v), 0 to 255
    std::vector<RepFormat> rep_format;
    bool rep_format_idx_present_flag = false;
    std::uint16_t vps_rep_format_idx[MAX_LAYERS] = {}; // u(v)
    bool max_one_active_ref_layer_flag = false;
    bool vps_poc_lsb_aligned_flag = false;
    bool poc_lsb_not_present_flag[MAX_LAYERS] = {};
    DpbSize dpb_size;
    std::uint32_t direct_dep_type_len_minus2 = 0; // ue(v)
    bool direct_dependency_all_layers_flag = false;
    std::uint32_t direct_dependency_all_layers_type = 0;               // u(v)
    std::uint32_t direct_dependency_type[MAX_LAYERS][MAX_LAYERS] = {}; // u(v)
    std::uint32_t vps_non_vui_extension_length = 0;                    // ue(v), 0 to 4096
    std::vector<std::uint16_t> vps_non_vui_extension_data_byte;        // u(8); entry 0 is not coded
    bool vps_vui_present_flag = false;
    bool vps_vui_alignment_bit_equal_to_one[8] = {true, true, true, true, true, true, true, true};
    Part<VpsVui> vps_vui;
};

/// I.7.3.2.1.7 vps_3d_extension( ). Arrays are indexed by view n and by m, in coding order; the table
/// indexes the scales and offsets by n and cp_ref_voi[ n ][ m ], and so do their names in a trace.
struct Vps3dExtension
{
    std::uint32_t cp_precision = 0;        // ue(v)
    std::uint16_t num_cp[MAX_LAYERS] = {}; // u(6)
    bool cp_in_slice_segment_header_flag[MAX_LAYERS] = {};
    std::vector<std::uint32_t> cp_ref_voi[MAX_LAYERS];                 // ue(v)
    std::vector<std::int32_t> vps_cp_scale[MAX_LAYERS];                // se(v)
    std::vector<std::int32_t> vps_cp_off[MAX_LAYERS];                  // se(v)
    std::vector<std::int32_t> vps_cp_inv_scale_plus_scale[MAX_LAYERS]; // se(v)
    std::vector<std::int32_t> vps_cp_inv_off_plus_off[MAX_LAYERS];     // se(v)
};

} // namespace h265_syntax
