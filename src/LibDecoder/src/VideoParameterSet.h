#pragma once

#include <cstddef>
#include <type_traits>

#include "H265psExport.h"
#include "ProfileTierLevel.h"

namespace H265PS_EXPORT h265_codec {

/// 7.3.2.1 video_parameter_set_rbsp( ), as far as the base layer needs it. Owned by the host; it has
/// no pointers.
struct VPS
{
    unsigned char vps_video_parameter_set_id; // u(4)
    unsigned char vps_reserved_three_2bits;   // u(2), as read
    unsigned char vps_max_layers_minus1;      // u(6); verifyVPS requires 0
    unsigned char vps_max_sub_layers_minus1;  // u(3)
    unsigned char vps_max_layer_id;           // u(6)
    bool vps_temporal_id_nesting_flag;
    unsigned short vps_reserved_0xffff_16bits; // as read
    profile_tile_level ptl;
    bool vps_sub_layer_ordering_info_present_flag;
    bool vps_timing_info_present_flag;                  // the bit behind vps_num_layer_sets_minus1
    bool vps_extension_flag;                            // the bit behind vps_timing_info_present_flag
    unsigned vps_max_dec_pic_buffering[MAX_SUB_LAYERS]; // vps_max_dec_pic_buffering_minus1 + 1
    unsigned vps_max_num_reorder_pics[MAX_SUB_LAYERS];
    unsigned vps_max_latency_increase_plus1[MAX_SUB_LAYERS];
    unsigned vps_num_layer_sets_minus1;
    unsigned char reserved[9]; // the host's
};
static_assert(std::is_trivially_copyable_v<VPS> && std::is_standard_layout_v<VPS>);
static_assert(sizeof(VPS) == 340);
static_assert(offsetof(VPS, vps_max_layer_id) == 4 && offsetof(VPS, vps_reserved_0xffff_16bits) == 6);
static_assert(offsetof(VPS, ptl) == 8 && offsetof(VPS, vps_extension_flag) == 260);
static_assert(offsetof(VPS, vps_max_dec_pic_buffering) == 264 && offsetof(VPS, vps_num_layer_sets_minus1) == 324);
static_assert(offsetof(VPS, reserved) == 328);

/// Reads 7.3.2.1 into the host's *vps, which is not cleared first. pBS stands behind the NAL unit
/// header. Neither the layer sets nor timing and HRD information are parsed: with
/// vps_num_layer_sets_minus1 above 0 or timing information present, the last two flags hold whatever
/// bits stand there. Returns 0, or the result of the first failing read (E_BS_NOT_ENOUGH_BITS).
int readVPS(VPS* vps, CBitStreamReader* pBS) noexcept;
int readVPS(VPS* vps, CRbspReader* pBS) noexcept;

/// Tells whether the decoder supports the stream: 0, or E_BS_NOT_ENOUGH_BITS and an ERROR line when
/// there is more than one layer.
int verifyVPS(VPS* vps) noexcept;

} // namespace h265_codec
