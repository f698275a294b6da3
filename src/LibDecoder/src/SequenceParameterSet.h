#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "H265psExport.h"
#include "ProfileTierLevel.h"
#include "ScalingList.h"
#include "ShortTermRefPicSet.h"
#include "tq_util.h"

namespace H265PS_EXPORT h265_codec {

/// Long-term pictures that an SPS keeps; further ones are read and dropped.
inline constexpr unsigned MAX_LONG_TERM_REF_PICS = 16;

/// 7.3.2.2.1 seq_parameter_set_rbsp( ) up to its VUI, and the picture sizes of 7.4.3.2.1. Fields that a
/// reading does not reach keep their earlier values. Owns the blocks behind its two pointers.
struct SPS
{
    unsigned char sps_video_parameter_set_id; // u(4)
    unsigned char sps_max_sub_layers_minus1;  // u(3)
    bool sps_temporal_id_nesting_flag;
    unsigned char sps_seq_parameter_set_id; // kept modulo 256
    unsigned char chroma_format_idc;        // kept modulo 256
    bool separate_colour_plane_flag;        // read only when chroma_format_idc is 3
    profile_tile_level ptl;
    unsigned short pic_width_in_luma_samples;  // kept modulo 65536
    unsigned short pic_height_in_luma_samples; // kept modulo 65536
    bool conformance_window_flag;
    unsigned short conf_win_left_offset; // in chroma units; all four only with the flag
    unsigned short conf_win_right_offset;
    unsigned short conf_win_top_offset;
    unsigned short conf_win_bottom_offset;
    unsigned char BitDepthY;             // bit_depth_luma_minus8 + 8
    unsigned char BitDepthC;             // bit_depth_chroma_minus8 + 8
    unsigned log2_max_pic_order_cnt_lsb; // log2_max_pic_order_cnt_lsb_minus4 + 4
    bool sps_sub_layer_ordering_info_present_flag;
    unsigned sps_max_dec_pic_buffering_minus1[MAX_SUB_LAYERS]; // only the highest sub-layer's without the flag above
    unsigned sps_max_num_reorder_pics[MAX_SUB_LAYERS];
    unsigned sps_max_latency_increase_plus1[MAX_SUB_LAYERS];
    unsigned short MinCbLog2SizeY;
    unsigned short CtbLog2SizeY;
    unsigned short MinTbLog2SizeY;
    unsigned short MaxTbLog2SizeY;
    unsigned char max_transform_hierarchy_depth_inter;
    unsigned char max_transform_hierarchy_depth_intra;
    bool scaling_list_enabled_flag;
    bool sps_scaling_list_data_present_flag; // read only with scaling_list_enabled_flag
    ScalingListData* pScalingList;           // owned; null until lists are first enabled
    bool amp_enabled_flag;
    bool sample_adaptive_offset_enabled_flag;
    bool pcm_enabled_flag;
    bool pcm_loop_filter_disabled_flag;               // this and the next four: only with pcm_enabled_flag
    unsigned char pcm_sample_bit_depth_luma_minus1;   // u(4), as coded
    unsigned char pcm_sample_bit_depth_chroma_minus1; // u(4), as coded
    int Log2MinIpcmCbSizeY;
    int Log2MaxIpcmCbSizeY;
    unsigned char PcmCbSizeMask;               // bit k set for each allowed log2 size k; 0 without PCM
    unsigned char num_short_term_ref_pic_sets; // kept modulo 256
    ShortTermRefPicSet* pShortTermRefPicSet;   // owned; num_short_term_ref_pic_sets entries
    bool long_term_ref_pics_present_flag;
    unsigned char num_long_term_ref_pics_sps; // kept modulo 256
    unsigned lt_ref_pic_poc_lsb_sps[MAX_LONG_TERM_REF_PICS];
    unsigned char used_by_curr_pic_lt_sps_flag[MAX_LONG_TERM_REF_PICS]; // 0 or 1
    bool sps_temporal_mvp_enabled_flag;
    bool strong_intra_smoothing_enabled_flag;
    bool vui_parameters_present_flag; // the VUI itself is not parsed
    bool sps_extension_present_flag;  // the bit behind vui_parameters_present_flag: the VUI's first when there is one
    unsigned char LastCtbWidthY;      // luma samples of the last CTB column
    unsigned char LastCtbHeightY;     // luma samples of the last CTB row
    int PicWidthInCtbsY;
    int PicHeightInCtbsY;
    int PicSizeInCtbsY;
    int SliceSegmentAddressBits; // Ceil( Log2( PicSizeInCtbsY ) )
    tq_util::atomic_t refCount;  // the host's; zeroed by createSPS only
    unsigned char reserved[9];   // the host's; zeroed by createSPS only
    /// Entries that pShortTermRefPicSet was made for, plus 1; 0: made by somebody else.
    std::uint16_t uiShortTermRefPicSetRoomPlus1;
};
static_assert(std::is_trivially_copyable_v<SPS> && std::is_standard_layout_v<SPS>);
static_assert(offsetof(SPS, ptl) == 6 && offsetof(SPS, pic_width_in_luma_samples) == 256);
static_assert(offsetof(SPS, conf_win_left_offset) == 262 && offsetof(SPS, BitDepthY) == 270);
static_assert(offsetof(SPS, log2_max_pic_order_cnt_lsb) == 272 &&
              offsetof(SPS, sps_max_dec_pic_buffering_minus1) == 280);
static_assert(offsetof(SPS, MinCbLog2SizeY) == 340 && offsetof(SPS, scaling_list_enabled_flag) == 350);
#if UINTPTR_MAX == UINT64_MAX // the offsets behind the first pointer, promised for pointers of 64 bits only
static_assert(offsetof(SPS, pScalingList) == 352 && offsetof(SPS, pcm_loop_filter_disabled_flag) == 363);
static_assert(offsetof(SPS, Log2MinIpcmCbSizeY) == 368 && offsetof(SPS, PcmCbSizeMask) == 376);
static_assert(offsetof(SPS, pShortTermRefPicSet) == 384 && offsetof(SPS, lt_ref_pic_poc_lsb_sps) == 396);
static_assert(offsetof(SPS, sps_extension_present_flag) == 479 && offsetof(SPS, LastCtbWidthY) == 480);
static_assert(offsetof(SPS, PicWidthInCtbsY) == 484 && offsetof(SPS, SliceSegmentAddressBits) == 496);
static_assert(offsetof(SPS, refCount) == 504 && offsetof(SPS, reserved) == 512 && sizeof(SPS) == 528);
// What the module notes for itself lies in the tail padding behind reserved.
static_assert(offsetof(SPS, uiShortTermRefPicSetRoomPlus1) >= offsetof(SPS, reserved) + 9);
static_assert(offsetof(SPS, reserved) + 9 + alignof(SPS) > sizeof(SPS));
#endif

/// Takes a zeroed record from the pool; the caller owns it until destroySPS. Null, after an ERROR
/// line, when the pool gives none.
[[nodiscard]] SPS* createSPS(tq_util::TMemPool* pMemPool) noexcept;

/// Releases the record and its side blocks, whatever state a reading left it in. Accepts null.
void destroySPS(SPS* sps) noexcept;

/// Tells whether the decoder supports the sequence: 0, or E_BS_NOT_ENOUGH_BITS and an ERROR line when
/// it is not 4:2:0 in one colour plane or not 8-bit.
int verifySPS(SPS* sps) noexcept;

/// Reads 7.3.2.2.1 into a record from createSPS, in place; side blocks are taken from pMemPool when
/// first needed and reused after. pBS stands behind the NAL unit header. Returns 0;
/// E_BS_NOT_ENOUGH_BITS when the payload runs out; E_NO_MEMORY when the pool gives no block. After a
/// failure the record is fit only for destroySPS or another reading.
int readSPS(SPS* sps, CBitStreamReader* pBS, tq_util::TMemPool* pMemPool) noexcept;
int readSPS(SPS* sps, CRbspReader* pBS, tq_util::TMemPool* pMemPool) noexcept;

} // namespace h265_codec
