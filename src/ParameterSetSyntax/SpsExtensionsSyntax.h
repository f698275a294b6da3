#pragma once

#include <cstdint>
#include <vector>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

/// 7.3.2.2.2 sps_range_extension( )
struct SpsRangeExtension
{
    bool transform_skip_rotation_enabled_flag = false;
    bool transform_skip_context_enabled_flag = false;
    bool implicit_rdpcm_enabled_flag = false;
    bool explicit_rdpcm_enabled_flag = false;
    bool extended_precision_processing_flag = false;
    bool intra_smoothing_disabled_flag = false;
    bool high_precision_offsets_enabled_flag = false;
    bool persistent_rice_adaptation_enabled_flag = false;
    bool cabac_bypass_alignment_enabled_flag = false;
};

/// F.7.3.2.2.4 sps_multilayer_extension( )
struct SpsMultilayerExtension
{
    bool inter_view_mv_vert_constraint_flag = false;
};

/// I.7.3.2.2.5 sps_3d_extension( ), indexed by d: 0 texture, 1 depth
struct Sps3dExtension
{
    bool iv_di_mc_enabled_flag[2] = {};
    bool iv_mv_scal_enabled_flag[2] = {};
    std::uint32_t log2_ivmc_sub_pb_size_minus3[2] = {}; // ue(v)
    bool iv_res_pred_enabled_flag[2] = {};
    bool depth_ref_enabled_flag[2] = {};
    bool vsp_mc_enabled_flag[2] = {};
    bool dbbp_enabled_flag[2] = {};
    bool tex_mc_enabled_flag[2] = {};
    std::uint32_t log2_texmc_sub_pb_size_minus3[2] = {}; // ue(v)
    bool intra_contour_enabled_flag[2] = {};
    bool intra_dc_only_wedge_enabled_flag[2] = {};
    bool cqt_cu_part_pred_enabled_flag[2] = {};
    bool inter_dc_only_enabled_flag[2] = {};
    bool skip_intra_enabled_flag[2] = {};
};

/// 7.3.2.2.3 sps_scc_extension( )
struct SpsSccExtension
{
    bool sps_curr_pic_ref_enabled_flag = false;
    bool palette_mode_enabled_flag = false;
    std::uint32_t palette_max_size = 0;                 // ue(v)
    std::uint32_t delta_palette_max_predictor_size = 0; // ue(v)
    bool sps_palette_predictor_initializers_present_flag = false;
    std::uint32_t sps_num_palette_predictor_initializers_minus1 = 0; // ue(v)
    std::vector<std::uint32_t> sps_palette_predictor_initializer[3]; // u(v), by component
    std::uint16_t motion_vector_resolution_control_idc = 0;          // u(2)
    bool intra_boundary_filtering_disabled_flag = false;
};

} // namespace h265_syntax
