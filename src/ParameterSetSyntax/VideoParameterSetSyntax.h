#pragma once

#include <cstdint>
#include <vector>

#include "H265psExport.h"
#include "HrdSyntax.h"
#include "LayerSets.h"
#include "NalUnitSyntax.h"
#include "Part.h"
#include "ProfileTierLevelSyntax.h"
#include "SyntaxElement.h"
#include "VpsExtensionSyntax.h"

namespace H265PS_EXPORT h265_syntax {

/// 7.3.2.1, F.7.3.2.1 and I.7.3.2.1 video_parameter_set_rbsp( )
struct VideoParameterSet
{
    NalUnitHeader nal_unit_header;
    std::uint16_t vps_video_parameter_set_id = 0; // u(4)
    bool vps_base_layer_internal_flag = true;
    bool vps_base_layer_available_flag = true;
    std::uint16_t vps_max_layers_minus1 = 0;     // u(6)
    std::uint16_t vps_max_sub_layers_minus1 = 0; // u(3)
    bool vps_temporal_id_nesting_flag = false;
    std::uint16_t vps_reserved_0xffff_16bits = 0xFFFF; // u(16)
    ProfileTierLevel profile_tier_level;
    bool vps_sub_layer_ordering_info_present_flag = false;
    // By sub-layer; what is not coded is inferred (7.4.3.1).
    std::uint32_t vps_max_dec_pic_buffering_minus1[MAX_SUB_LAYERS] = {}; // ue(v)
    std::uint32_t vps_max_num_reorder_pics[MAX_SUB_LAYERS] = {};         // ue(v)
    std::uint32_t vps_max_latency_increase_plus1[MAX_SUB_LAYERS] = {};   // ue(v)
    std::uint16_t vps_max_layer_id = 0;                                  // u(6)
    std::uint32_t vps_num_layer_sets_minus1 = 0;                         // ue(v), 0 to 1023
    std::vector<std::array<bool, 64>> layer_id_included_flag;            // by layer set and nuh_layer_id
    bool vps_timing_info_present_flag = false;
    std::uint32_t vps_num_units_in_tick = 0; // u(32)
    std::uint32_t vps_time_scale = 0;        // u(32)
    bool vps_poc_proportional_to_timing_flag = false;
    std::uint32_t vps_num_ticks_poc_diff_one_minus1 = 0; // ue(v)
    std::uint32_t vps_num_hrd_parameters = 0;            // ue(v), 0 to 1024
    std::vector<std::uint32_t> hrd_layer_set_idx;        // ue(v)
    std::vector<unsigned char> cprms_present_flag;
    std::vector<HrdParameters> hrd_parameters;
    bool vps_extension_flag = false;
    bool vps_extension_alignment_bit_equal_to_one[8] = {true, true, true, true, true, true, true, true};
    Part<VpsExtension> vps_extension;
    Part<LayerVariables> layers; // derived, when there is a vps_extension( )
    bool vps_extension2_flag = false;
    bool vps_3d_extension_flag = false;
    Part<Vps3dExtension> vps_3d_extension;
    bool vps_extension3_flag = false;
    std::vector<unsigned char> vps_extension_data_flag; // 0 or 1 each
    RbspTrailing rbsp_trailing;
    Stop stop; // where reading stopped
};

} // namespace h265_syntax
