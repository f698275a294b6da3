#pragma once

#include <cstddef>
#include <type_traits>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_codec {

class CBitStreamReader;
class CRbspReader;

/// Sub-layers that the records keep values for; bits of further sub-layers are read and dropped.
inline constexpr unsigned MAX_SUB_LAYERS = 5;

/// 7.3.3 profile_tier_level( ) with profilePresentFlag equal to 1, as read; nothing is derived or
/// checked. Arrays are indexed by sub-layer.
struct profile_tile_level
{
    unsigned char general_profile_space;         // u(2)
    bool general_tier_flag;                      // u(1)
    unsigned char general_profile_idc;           // u(5)
    bool general_profile_compatibility_flag[32]; // u(1) each, in bitstream order
    bool general_progressive_source_flag;
    bool general_interlaced_source_flag;
    bool general_non_packed_constraint_flag;
    bool general_frame_only_constraint_flag;
    unsigned char general_level_idc; // u(8): 30 times the level number
    bool sub_layer_profile_present_flag[MAX_SUB_LAYERS];
    bool sub_layer_level_present_flag[MAX_SUB_LAYERS];
    unsigned char sub_layer_profile_space[MAX_SUB_LAYERS];
    bool sub_layer_tier_flag[MAX_SUB_LAYERS];
    unsigned char sub_layer_profile_idc[MAX_SUB_LAYERS];
    bool sub_layer_profile_compatibility_flag[MAX_SUB_LAYERS][32];
    bool sub_layer_progressive_source_flag[MAX_SUB_LAYERS];
    bool sub_layer_interlaced_source_flag[MAX_SUB_LAYERS];
    bool sub_layer_non_packed_constraint_flag[MAX_SUB_LAYERS];
    bool sub_layer_frame_only_constraint_flag[MAX_SUB_LAYERS];
    unsigned char sub_layer_level_idc[MAX_SUB_LAYERS];
};
static_assert(std::is_trivially_copyable_v<profile_tile_level> && std::is_standard_layout_v<profile_tile_level>);
static_assert(sizeof(profile_tile_level) == 250);
static_assert(offsetof(profile_tile_level, general_profile_compatibility_flag) == 3);
static_assert(offsetof(profile_tile_level, general_level_idc) == 39);
static_assert(offsetof(profile_tile_level, sub_layer_profile_space) == 50);
static_assert(offsetof(profile_tile_level, sub_layer_profile_compatibility_flag) == 65);
static_assert(offsetof(profile_tile_level, sub_layer_level_idc) == 245);

/// Reads 7.3.3 into *ptl, which is not cleared first. max_sub_layers_minus1 is taken unchecked; the
/// values of sub-layer 5 and above are dropped. Returns 0, or the result of the first failing read
/// (E_BS_NOT_ENOUGH_BITS): fields before it are written, fields behind it untouched.
int read_profile_tile_level(profile_tile_level* ptl, unsigned char max_sub_layers_minus1,
                            CBitStreamReader* pBS) noexcept;
int read_profile_tile_level(profile_tile_level* ptl, unsigned char max_sub_layers_minus1, CRbspReader* pBS) noexcept;

} // namespace h265_codec
