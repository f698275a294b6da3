#pragma once

#include <cstdint>
#include <vector>

#include "H265psExport.h"
#include "NalUnitSyntax.h"
#include "Part.h"
#include "PpsExtensionsSyntax.h"
#include "ScalingListDataSyntax.h"
#include "SyntaxElement.h"

namespace H265PS_EXPORT h265_syntax {

/// 7.3.2.3 pic_parameter_set_rbsp( )
struct PictureParameterSet
{
    NalUnitHeader nal_unit_header;
    std::uint32_t pps_pic_parameter_set_id = 0; // ue(v)
    std::uint32_t pps_seq_parameter_set_id = 0; // ue(v)
    bool dependent_slice_segments_enabled_flag = false;
    bool output_flag_present_flag = false;
    std::uint16_t num_extra_slice_header_bits = 0; // u(3)
    bool sign_data_hiding_enabled_flag = false;
    bool cabac_init_present_flag = false;
    std::uint32_t num_ref_idx_l0_default_active_minus1 = 0; // ue(v)
    std::uint32_t num_ref_idx_l1_default_active_minus1 = 0; // ue(v)
    std::int32_t init_qp_minus26 = 0;                       // se(v)
    bool constrained_intra_pred_flag = false;
    bool transform_skip_enabled_flag = false;
    bool cu_qp_delta_enabled_flag = false;
    std::uint32_t diff_cu_qp_delta_depth = 0; // ue(v)
    std::int32_t pps_cb_qp_offset = 0;        // se(v)
    std::int32_t pps_cr_qp_offset = 0;        // se(v)
    bool pps_slice_chroma_qp_offsets_present_flag = false;
    bool weighted_pred_flag = false;
    bool weighted_bipred_flag = false;
    bool transquant_bypass_enabled_flag = false;
    bool tiles_enabled_flag = false;
    bool entropy_coding_sync_enabled_flag = false;
    std::uint32_t num_tile_columns_minus1 = 0; // ue(v)
    std::uint32_t num_tile_rows_minus1 = 0;    // ue(v)
    bool uniform_spacing_flag = true;
    std::vector<std::uint32_t> column_width_minus1; // ue(v)
    std::vector<std::uint32_t> row_height_minus1;   // ue(v)
    bool loop_filter_across_tiles_enabled_flag = true;
    bool pps_loop_filter_across_slices_enabled_flag = false;
    bool deblocking_filter_control_present_flag = false;
    bool deblocking_filter_override_enabled_flag = false;
    bool pps_deblocking_filter_disabled_flag = false;
    std::int32_t pps_beta_offset_div2 = 0; // se(v)
    std::int32_t pps_tc_offset_div2 = 0;   // se(v)
    bool pps_scaling_list_data_present_flag = false;
    Part<ScalingListDataSyntax> scaling_list_data;
    bool lists_modification_present_flag = false;
    std::uint32_t log2_parallel_merge_level_minus2 = 0; // ue(v)
    bool slice_segment_header_extension_present_flag = false;
    bool pps_extension_present_flag = false;
    bool pps_range_extension_flag = false;
    bool pps_multilayer_extension_flag = false;
    bool pps_3d_extension_flag = false;
    bool pps_scc_extension_flag = false;
    std::uint16_t pps_extension_4bits = 0; // u(4)
    PpsRangeExtension pps_range_extension;
    Part<PpsMultilayerExtension> pps_multilayer_extension;
    Part<Pps3dExtension> pps_3d_extension;
    PpsSccExtension pps_scc_extension;
    std::vector<unsigned char> pps_extension_data_flag; // 0 or 1 each
    RbspTrailing rbsp_trailing;
    Stop stop; // where reading stopped
};

} // namespace h265_syntax
