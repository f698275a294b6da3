#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "H265psExport.h"
#include "ScalingList.h"
#include "tq_util.h"

namespace H265PS_EXPORT h265_codec {

struct SPS;

/// 7.3.2.3.1 pic_parameter_set_rbsp( ) up to its extensions, and the tile tables of 6.5.1. Fields that
/// a reading does not reach keep their earlier values. Owns the five arrays and pScalingListBuf.
struct PPS
{
    unsigned char pps_pic_parameter_set_id; // kept modulo 256
    unsigned char pps_seq_parameter_set_id; // kept modulo 256; index into the host's SPS table
    bool dependent_slice_segments_enabled_flag;
    bool output_flag_present_flag;
    unsigned char num_extra_slice_header_bits; // u(3)
    bool sign_data_hiding_enabled_flag;
    bool cabac_init_present_flag;
    unsigned char num_ref_idx_l0_default_active_minus1; // as coded
    unsigned char num_ref_idx_l1_default_active_minus1; // as coded
    signed char init_qp_minus26;
    bool constrained_intra_pred_flag;
    bool transform_skip_enabled_flag;
    bool cu_qp_delta_enabled_flag;
    unsigned char diff_cu_qp_delta_depth; // only with cu_qp_delta_enabled_flag
    unsigned char Log2MinCuQpDeltaSize;   // CtbLog2SizeY - diff_cu_qp_delta_depth, likewise
    signed char pps_cb_qp_offset;
    signed char pps_cr_qp_offset;
    bool pps_slice_chroma_qp_offsets_present_flag;
    bool weighted_pred_flag;
    bool weighted_bipred_flag;
    bool transquant_bypass_enabled_flag;
    bool tiles_enabled_flag;
    bool entropy_coding_sync_enabled_flag;
    unsigned num_tile_columns_minus1; // this and the tile fields below: only with tiles_enabled_flag
    unsigned num_tile_rows_minus1;
    bool MultipleTilesFlag; // more than one tile; 0 without tiles
    bool uniform_spacing_flag;
    bool loop_filter_across_tiles_enabled_flag; // only with MultipleTilesFlag
    unsigned* CtbAddrTsToRs;                    // owned; PicSizeInCtbsY + 1 entries, the last one 0 (6.5.1)
    unsigned* CtbAddrRsToTs;                    // owned; likewise
    unsigned* TileId;                           // owned; likewise, but indexed by raster-scan address on purpose
    unsigned* colWidth;                         // owned; width of each tile column in CTBs
    unsigned* rowHeight;                        // owned; height of each tile row in CTBs
    bool pps_loop_filter_across_slices_enabled_flag;
    bool deblocking_filter_control_present_flag;
    bool deblocking_filter_override_enabled_flag; // this and the next: only with the control flag
    bool pps_deblocking_filter_disabled_flag;
    signed char pps_beta_offset_div2; // this and the next: only when deblocking is not disabled
    signed char pps_tc_offset_div2;
    bool pps_scaling_list_data_present_flag;
    ScalingListData* pScalingList;    // not owned: pScalingListBuf once a PPS carried lists, else null
    ScalingListData* pScalingListBuf; // owned; taken for the first PPS that carries lists
    bool lists_modification_present_flag;
    unsigned char Log2ParMrgLevel; // log2_parallel_merge_level_minus2 + 2
    bool slice_segment_header_extension_present_flag;
    bool pps_extension_present_flag; // the extension data is not parsed
    tq_util::atomic_t refCount;      // the host's; zeroed by createPPS only
    unsigned char reserved[17];      // the host's; zeroed by createPPS only
    /// Entries of the smallest of the three address tables; 0: made by somebody else.
    std::uint32_t uiAddressTableRoom;
};
static_assert(std::is_trivially_copyable_v<PPS> && std::is_standard_layout_v<PPS>);
static_assert(offsetof(PPS, init_qp_minus26) == 9 && offsetof(PPS, Log2MinCuQpDeltaSize) == 14);
static_assert(offsetof(PPS, entropy_coding_sync_enabled_flag) == 22 && offsetof(PPS, num_tile_columns_minus1) == 24);
static_assert(offsetof(PPS, MultipleTilesFlag) == 32 && offsetof(PPS, loop_filter_across_tiles_enabled_flag) == 34);
#if UINTPTR_MAX == UINT64_MAX // the offsets behind the first pointer, promised for pointers of 64 bits only
static_assert(offsetof(PPS, CtbAddrTsToRs) == 40 && offsetof(PPS, rowHeight) == 72);
static_assert(offsetof(PPS, pps_loop_filter_across_slices_enabled_flag) == 80);
static_assert(offsetof(PPS, pScalingList) == 88 && offsetof(PPS, pScalingListBuf) == 96);
static_assert(offsetof(PPS, lists_modification_present_flag) == 104 && offsetof(PPS, refCount) == 112);
static_assert(offsetof(PPS, reserved) == 120 && sizeof(PPS) == 144);
// What the module notes for itself lies in the tail padding behind reserved.
static_assert(offsetof(PPS, uiAddressTableRoom) >= offsetof(PPS, reserved) + 17);
static_assert(offsetof(PPS, reserved) + 17 + alignof(PPS) > sizeof(PPS));
#endif

/// Takes a zeroed record from the pool; the caller owns it until destroyPPS. Null when the pool gives
/// none.
[[nodiscard]] PPS* createPPS(tq_util::TMemPool* pMemPool) noexcept;

/// Releases the record and its side blocks, whatever state a reading left it in. Accepts null.
void destroyPPS(PPS* pps) noexcept;

/// Always 0: a PPS has nothing that the decoder does not support.
int verifyPPS(PPS* pps) noexcept;

/// Reads 7.3.2.3.1 into a record from createPPS, in place. sps_array: the host's table of 256 SPS
/// records indexed by id, null where empty; it is only read. Returns 0; E_BS_NOT_ENOUGH_BITS when the
/// payload runs out, the SPS is missing (WARN line) or the tile sizes do not fit the picture;
/// E_NO_MEMORY when the pool gives no block. After a failure the record is fit only for destroyPPS or
/// another reading.
int readPPS(PPS* pps, SPS** sps_array, CBitStreamReader* pBS, tq_util::TMemPool* pMemPool) noexcept;
int readPPS(PPS* pps, SPS** sps_array, CRbspReader* pBS, tq_util::TMemPool* pMemPool) noexcept;

} // namespace h265_codec
