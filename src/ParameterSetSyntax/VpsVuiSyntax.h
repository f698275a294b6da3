#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "H265psExport.h"
#include "HrdSyntax.h"

namespace H265PS_EXPORT h265_syntax {

inline constexpr unsigned MAX_LAYERS = 63; // F.7.4.3.1.1: MaxLayersMinus1 is at most 62

/// F.7.3.2.1.5 video_signal_info( )
struct VideoSignalInfo
{
    std::uint16_t video_vps_format = 0; // u(3)
    bool video_full_range_vps_flag = false;
    std::uint16_t colour_primaries_vps = 0;         // u(8)
    std::uint16_t transfer_characteristics_vps = 0; // u(8)
    std::uint16_t matrix_coeffs_vps = 0;            // u(8)
};

/// F.7.3.2.1.6 vps_vui_bsp_hrd_params( ). The lists of HRDs begin with those of the VPS itself, whose
/// entries stay empty. The outer index of the others is h, the output layer set.
struct VpsVuiBspHrdParams
{
    std::uint32_t vps_num_add_hrd_params = 0; // ue(v)
    std::vector<unsigned char> cprms_add_present_flag;
    std::vector<std::uint32_t> num_sub_layer_hrd_minus1; // ue(v), 0 to 6
    std::vector<HrdParameters> hrd_parameters;
    template <class T>
    using List = std::vector<T>;
    List<std::uint32_t> num_signalled_partitioning_schemes;                          // [h] ue(v)
    List<List<std::uint32_t>> num_partitions_in_scheme_minus1;                       // [h][j] ue(v)
    List<List<List<List<unsigned char>>>> layer_included_in_partition_flag;          // [h][j][k][r]
    List<List<std::array<std::uint32_t, MAX_SUB_LAYERS>>> num_bsp_schedules_minus1;  // [h][i][t] ue(v)
    List<List<std::array<List<List<std::uint32_t>>, MAX_SUB_LAYERS>>> bsp_hrd_idx;   // [h][i][t][j][k] u(v)
    List<List<std::array<List<List<std::uint32_t>>, MAX_SUB_LAYERS>>> bsp_sched_idx; // [h][i][t][j][k] ue(v)
};

/// F.7.3.2.1.4 vps_vui( )
struct VpsVui
{
    bool cross_layer_pic_type_aligned_flag = false;
    bool cross_layer_irap_aligned_flag = false;
    bool all_layers_idr_aligned_flag = false;
    bool bit_rate_present_vps_flag = false;
    bool pic_rate_present_vps_flag = false;
    // By layer set and sub-layer.
    std::vector<std::array<bool, MAX_SUB_LAYERS>> bit_rate_present_flag;
    std::vector<std::array<bool, MAX_SUB_LAYERS>> pic_rate_present_flag;
    std::vector<std::array<std::uint16_t, MAX_SUB_LAYERS>> avg_bit_rate;          // u(16)
    std::vector<std::array<std::uint16_t, MAX_SUB_LAYERS>> max_bit_rate;          // u(16)
    std::vector<std::array<std::uint16_t, MAX_SUB_LAYERS>> constant_pic_rate_idc; // u(2)
    std::vector<std::array<std::uint16_t, MAX_SUB_LAYERS>> avg_pic_rate;          // u(16)
    bool video_signal_info_idx_present_flag = false;
    std::uint16_t vps_num_video_signal_info_minus1 = 0; // u(4), or inferred
    VideoSignalInfo video_signal_info[MAX_LAYERS];
    std::uint16_t vps_video_signal_info_idx[MAX_LAYERS] = {}; // u(4)
    bool tiles_not_in_use_flag = false;
    bool tiles_in_use_flag[MAX_LAYERS] = {};
    bool loop_filter_not_across_tiles_flag[MAX_LAYERS] = {};
    bool tile_boundaries_aligned_flag[MAX_LAYERS][MAX_LAYERS] = {};
    bool wpp_not_in_use_flag = false;
    bool wpp_in_use_flag[MAX_LAYERS] = {};
    bool single_layer_for_non_irap_flag = false;
    bool higher_layer_irap_skip_flag = false;
    bool ilp_restricted_ref_layers_flag = false;
    std::uint32_t min_spatial_segment_offset_plus1[MAX_LAYERS][MAX_LAYERS] = {}; // ue(v)
    bool ctu_based_offset_enabled_flag[MAX_LAYERS][MAX_LAYERS] = {};
    std::uint32_t min_horizontal_ctu_offset_plus1[MAX_LAYERS][MAX_LAYERS] = {}; // ue(v)
    bool vps_vui_bsp_hrd_present_flag = false;
    VpsVuiBspHrdParams vps_vui_bsp_hrd_params;
    bool base_layer_parameter_set_compatibility_flag[MAX_LAYERS] = {};
};

} // namespace h265_syntax
