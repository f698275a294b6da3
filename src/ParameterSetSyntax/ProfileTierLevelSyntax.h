#pragma once

#include <cstdint>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

inline constexpr unsigned MAX_SUB_LAYERS = 8; // what u(3) can name; 7.4.3.1 allows 7

/// 7.3.3 profile_tier_level( ). The constraint flags are coded by profile; those that a set does not
/// code are 0. Arrays are indexed by sub-layer.
struct ProfileTierLevel
{
    std::uint16_t general_profile_space = 0; // u(2)
    bool general_tier_flag = false;
    std::uint16_t general_profile_idc = 0; // u(5)
    bool general_profile_compatibility_flag[32] = {};
    bool general_progressive_source_flag = false;
    bool general_interlaced_source_flag = false;
    bool general_non_packed_constraint_flag = false;
    bool general_frame_only_constraint_flag = false;
    bool general_max_12bit_constraint_flag = false;
    bool general_max_10bit_constraint_flag = false;
    bool general_max_8bit_constraint_flag = false;
    bool general_max_422chroma_constraint_flag = false;
    bool general_max_420chroma_constraint_flag = false;
    bool general_max_monochrome_constraint_flag = false;
    bool general_intra_constraint_flag = false;
    bool general_one_picture_only_constraint_flag = false;
    bool general_lower_bit_rate_constraint_flag = false;
    bool general_max_14bit_constraint_flag = false;
    std::uint64_t general_reserved_zero_33bits = 0;
    std::uint64_t general_reserved_zero_34bits = 0;
    std::uint16_t general_reserved_zero_7bits = 0;
    std::uint64_t general_reserved_zero_35bits = 0;
    std::uint64_t general_reserved_zero_43bits = 0;
    bool general_inbld_flag = false;
    bool general_reserved_zero_bit = false;
    std::uint16_t general_level_idc = 0; // u(8): 30 times the level number
    bool sub_layer_profile_present_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_level_present_flag[MAX_SUB_LAYERS] = {};
    std::uint16_t reserved_zero_2bits[8] = {};
    std::uint16_t sub_layer_profile_space[MAX_SUB_LAYERS] = {}; // u(2)
    bool sub_layer_tier_flag[MAX_SUB_LAYERS] = {};
    std::uint16_t sub_layer_profile_idc[MAX_SUB_LAYERS] = {}; // u(5)
    bool sub_layer_profile_compatibility_flag[MAX_SUB_LAYERS][32] = {};
    bool sub_layer_progressive_source_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_interlaced_source_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_non_packed_constraint_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_frame_only_constraint_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_max_12bit_constraint_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_max_10bit_constraint_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_max_8bit_constraint_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_max_422chroma_constraint_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_max_420chroma_constraint_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_max_monochrome_constraint_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_intra_constraint_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_one_picture_only_constraint_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_lower_bit_rate_constraint_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_max_14bit_constraint_flag[MAX_SUB_LAYERS] = {};
    std::uint64_t sub_layer_reserved_zero_33bits[MAX_SUB_LAYERS] = {};
    std::uint64_t sub_layer_reserved_zero_34bits[MAX_SUB_LAYERS] = {};
    std::uint16_t sub_layer_reserved_zero_7bits[MAX_SUB_LAYERS] = {};
    std::uint64_t sub_layer_reserved_zero_35bits[MAX_SUB_LAYERS] = {};
    std::uint64_t sub_layer_reserved_zero_43bits[MAX_SUB_LAYERS] = {};
    bool sub_layer_inbld_flag[MAX_SUB_LAYERS] = {};
    bool sub_layer_reserved_zero_bit[MAX_SUB_LAYERS] = {};
    std::uint16_t sub_layer_level_idc[MAX_SUB_LAYERS] = {}; // u(8)
};

} // namespace h265_syntax
