#pragma once

#include <cstdint>

#include "H265psExport.h"
#include "Part.h"
#include "ProfileTierLevelSyntax.h"

namespace H265PS_EXPORT h265_syntax {

inline constexpr unsigned MAX_CPBS = 32; // E.3.2: cpb_cnt_minus1 is at most 31

/// E.2.3 sub_layer_hrd_parameters( ), indexed by CPB
struct SubLayerHrd
{
    std::uint32_t bit_rate_value_minus1[MAX_CPBS] = {};
    std::uint32_t cpb_size_value_minus1[MAX_CPBS] = {};
    std::uint32_t cpb_size_du_value_minus1[MAX_CPBS] = {};
    std::uint32_t bit_rate_du_value_minus1[MAX_CPBS] = {};
    bool cbr_flag[MAX_CPBS] = {};
};

/// E.2.2 hrd_parameters( )
struct HrdParameters
{
    bool nal_hrd_parameters_present_flag = false;
    bool vcl_hrd_parameters_present_flag = false;
    bool sub_pic_hrd_params_present_flag = false;
    std::uint16_t tick_divisor_minus2 = 0;                          // u(8)
    std::uint16_t du_cpb_removal_delay_increment_length_minus1 = 0; // u(5)
    bool sub_pic_cpb_params_in_pic_timing_sei_flag = false;
    std::uint16_t dpb_output_delay_du_length_minus1 = 0;        // u(5)
    std::uint16_t bit_rate_scale = 0;                           // u(4)
    std::uint16_t cpb_size_scale = 0;                           // u(4)
    std::uint16_t cpb_size_du_scale = 0;                        // u(4)
    std::uint16_t initial_cpb_removal_delay_length_minus1 = 23; // u(5)
    std::uint16_t au_cpb_removal_delay_length_minus1 = 23;      // u(5)
    std::uint16_t dpb_output_delay_length_minus1 = 23;          // u(5)
    // Indexed by sub-layer.
    bool fixed_pic_rate_general_flag[MAX_SUB_LAYERS] = {};
    bool fixed_pic_rate_within_cvs_flag[MAX_SUB_LAYERS] = {};
    std::uint32_t elemental_duration_in_tc_minus1[MAX_SUB_LAYERS] = {}; // ue(v)
    bool low_delay_hrd_flag[MAX_SUB_LAYERS] = {};
    std::uint32_t cpb_cnt_minus1[MAX_SUB_LAYERS] = {}; // ue(v), 0 to 31
    PartArray<SubLayerHrd, MAX_SUB_LAYERS> nal_hrd;
    PartArray<SubLayerHrd, MAX_SUB_LAYERS> vcl_hrd;
};

} // namespace h265_syntax
