#pragma once

#include <array>

#include "ModelBits.h"

namespace h265_model {

/// 7.3.3 as kept for five sub-layers.
struct ModelPtl
{
    using PerSubLayer = std::array<Value, 5>;

    Value general_profile_space = 0;
    Value general_tier_flag = 0;
    Value general_profile_idc = 0;
    std::array<Value, 32> general_profile_compatibility_flag{};
    Value general_progressive_source_flag = 0;
    Value general_interlaced_source_flag = 0;
    Value general_non_packed_constraint_flag = 0;
    Value general_frame_only_constraint_flag = 0;
    Value general_level_idc = 0;
    PerSubLayer sub_layer_profile_present_flag{};
    PerSubLayer sub_layer_level_present_flag{};
    PerSubLayer sub_layer_profile_space{};
    PerSubLayer sub_layer_tier_flag{};
    PerSubLayer sub_layer_profile_idc{};
    std::array<std::array<Value, 32>, 5> sub_layer_profile_compatibility_flag{};
    PerSubLayer sub_layer_progressive_source_flag{};
    PerSubLayer sub_layer_interlaced_source_flag{};
    PerSubLayer sub_layer_non_packed_constraint_flag{};
    PerSubLayer sub_layer_frame_only_constraint_flag{};
    PerSubLayer sub_layer_level_idc{};
};

/// 7.3.2.1 as far as it is kept.
struct ModelVps
{
    Value vps_video_parameter_set_id = 0;
    Value vps_reserved_three_2bits = 0;
    Value vps_max_layers_minus1 = 0;
    Value vps_max_sub_layers_minus1 = 0;
    Value vps_max_layer_id = 0;
    Value vps_temporal_id_nesting_flag = 0;
    Value vps_reserved_0xffff_16bits = 0;
    ModelPtl ptl;
    Value vps_sub_layer_ordering_info_present_flag = 0;
    Value vps_timing_info_present_flag = 0;
    Value vps_extension_flag = 0;
    std::array<Value, 5> vps_max_dec_pic_buffering{};
    std::array<Value, 5> vps_max_num_reorder_pics{};
    std::array<Value, 5> vps_max_latency_increase_plus1{};
    Value vps_num_layer_sets_minus1 = 0;
    std::array<Value, 9> reserved{};
};

/// The model's read_profile_tile_level, readVPS and verifyVPS.
int modelReadPtl(ModelPtl& ptl, unsigned max_sub_layers_minus1, CModelBits& bits);
int modelReadVps(ModelVps& vps, CModelBits& bits);
int modelVerifyVps(const ModelVps& vps, CModelHost& host);

} // namespace h265_model
