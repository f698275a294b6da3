#pragma once

#include <cstdint>
#include <vector>

#include "ColourMappingSyntax.h"
#include "DepthLookupSyntax.h"
#include "H265psExport.h"
#include "Part.h"

namespace H265PS_EXPORT h265_syntax {

/// 7.3.2.3.2 pps_range_extension( )
struct PpsRangeExtension
{
    std::uint32_t log2_max_transform_skip_block_size_minus2 = 0; // ue(v)
    bool cross_component_prediction_enabled_flag = false;
    bool chroma_qp_offset_list_enabled_flag = false;
    std::uint32_t diff_cu_chroma_qp_offset_depth = 0;   // ue(v)
    std::uint32_t chroma_qp_offset_list_len_minus1 = 0; // ue(v), 0 to 5
    std::int32_t cb_qp_offset_list[6] = {};             // se(v)
    std::int32_t cr_qp_offset_list[6] = {};             // se(v)
    std::uint32_t log2_sao_offset_scale_luma = 0;       // ue(v)
    std::uint32_t log2_sao_offset_scale_chroma = 0;     // ue(v)
};

inline constexpr unsigned MAX_REF_LOC_OFFSETS = 62; // F.7.4.3.3.4: at most vps_max_layers_minus1

/// F.7.3.2.3.4 pps_multilayer_extension( ). Arrays are indexed by i, in coding order; the table indexes
/// the offsets and phases by ref_loc_offset_layer_id[ i ], and so do their names in a trace.
struct PpsMultilayerExtension
{
    bool poc_reset_info_present_flag = false;
    bool pps_infer_scaling_list_flag = false;
    std::uint16_t pps_scaling_list_ref_layer_id = 0;                 // u(6)
    std::uint32_t num_ref_loc_offsets = 0;                           // ue(v), 0 to 62
    std::uint16_t ref_loc_offset_layer_id[MAX_REF_LOC_OFFSETS] = {}; // u(6)
    bool scaled_ref_layer_offset_present_flag[MAX_REF_LOC_OFFSETS] = {};
    std::int32_t scaled_ref_layer_left_offset[MAX_REF_LOC_OFFSETS] = {};   // se(v)
    std::int32_t scaled_ref_layer_top_offset[MAX_REF_LOC_OFFSETS] = {};    // se(v)
    std::int32_t scaled_ref_layer_right_offset[MAX_REF_LOC_OFFSETS] = {};  // se(v)
    std::int32_t scaled_ref_layer_bottom_offset[MAX_REF_LOC_OFFSETS] = {}; // se(v)
    bool ref_region_offset_present_flag[MAX_REF_LOC_OFFSETS] = {};
    std::int32_t ref_region_left_offset[MAX_REF_LOC_OFFSETS] = {};   // se(v)
    std::int32_t ref_region_top_offset[MAX_REF_LOC_OFFSETS] = {};    // se(v)
    std::int32_t ref_region_right_offset[MAX_REF_LOC_OFFSETS] = {};  // se(v)
    std::int32_t ref_region_bottom_offset[MAX_REF_LOC_OFFSETS] = {}; // se(v)
    bool resample_phase_set_present_flag[MAX_REF_LOC_OFFSETS] = {};
    std::uint32_t phase_hor_luma[MAX_REF_LOC_OFFSETS] = {};         // ue(v)
    std::uint32_t phase_ver_luma[MAX_REF_LOC_OFFSETS] = {};         // ue(v)
    std::uint32_t phase_hor_chroma_plus8[MAX_REF_LOC_OFFSETS] = {}; // ue(v)
    std::uint32_t phase_ver_chroma_plus8[MAX_REF_LOC_OFFSETS] = {}; // ue(v)
    bool colour_mapping_enabled_flag = false;
    ColourMappingTable colour_mapping_table;
};

/// I.7.3.2.3.7 pps_3d_extension( ), indexed by depth layer
struct Pps3dExtension
{
    bool dlts_present_flag = false;
    std::uint16_t pps_depth_layers_minus1 = 0;               // u(6)
    std::uint16_t pps_bit_depth_for_depth_layers_minus8 = 0; // u(4)
    bool dlt_flag[64] = {};
    bool dlt_pred_flag[64] = {};
    bool dlt_val_flags_present_flag[64] = {};
    std::vector<unsigned char> dlt_value_flag[64]; // 0 or 1 each
    DeltaLookupTable delta_lookup_table[64];
};

/// 7.3.2.3.3 pps_scc_extension( )
struct PpsSccExtension
{
    bool pps_curr_pic_ref_enabled_flag = false;
    bool residual_adaptive_colour_transform_enabled_flag = false;
    bool pps_slice_act_qp_offsets_present_flag = false;
    std::int32_t pps_act_y_qp_offset_plus5 = 0;  // se(v)
    std::int32_t pps_act_cb_qp_offset_plus5 = 0; // se(v)
    std::int32_t pps_act_cr_qp_offset_plus3 = 0; // se(v)
    bool pps_palette_predictor_initializers_present_flag = false;
    std::uint32_t pps_num_palette_predictor_initializers = 0; // ue(v)
    bool monochrome_palette_flag = false;
    std::uint32_t luma_bit_depth_entry_minus8 = 0;                   // ue(v)
    std::uint32_t chroma_bit_depth_entry_minus8 = 0;                 // ue(v)
    std::vector<std::uint32_t> pps_palette_predictor_initializer[3]; // u(v), by component
};

} // namespace h265_syntax
