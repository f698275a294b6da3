#pragma once

#include <cstddef>
#include <type_traits>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_codec {

class CBitStreamReader;
class CRbspReader;
struct SPS;

/// Entries of a set that the record keeps; further ones are consumed and dropped.
inline constexpr unsigned MAX_REF_PICS = 16;

/// 7.3.7 st_ref_pic_set( ) and the lists of 7.4.8, negative entries first. The lists are parallel.
struct ShortTermRefPicSet
{
    bool inter_ref_pic_set_prediction_flag; // 0 for the first set
    unsigned char delta_idx;                // delta_idx_minus1 + 1 where coded, else 0
    signed char deltaRps;                   // 7.4.8 (7-60), kept in 8 bits; 0 for an explicit set
    unsigned char NumNegativePics;
    unsigned char NumPositivePics;
    unsigned char NumDeltaPocs;               // their sum, kept in 8 bits
    int DeltaPoc[MAX_REF_PICS];               // DeltaPocS0, then DeltaPocS1, nearest first
    bool UsedByCurrPic[MAX_REF_PICS];         // UsedByCurrPicS0, then UsedByCurrPicS1
    bool UseDeltaFlagOfPic[MAX_REF_PICS];     // the use_delta_flag that admitted the entry; 0 in an explicit set
    bool used_by_curr_pic_flag[MAX_REF_PICS]; // as coded, j = 0 … NumDeltaPocs of the reference set
    bool use_delta_flag[MAX_REF_PICS];        // likewise; 1 where not coded
};
static_assert(std::is_trivially_copyable_v<ShortTermRefPicSet> && std::is_standard_layout_v<ShortTermRefPicSet>);
static_assert(sizeof(ShortTermRefPicSet) == 136);
static_assert(offsetof(ShortTermRefPicSet, NumDeltaPocs) == 5 && offsetof(ShortTermRefPicSet, DeltaPoc) == 8);
static_assert(offsetof(ShortTermRefPicSet, UsedByCurrPic) == 72);
static_assert(offsetof(ShortTermRefPicSet, used_by_curr_pic_flag) == 104);

/// Reads 7.3.7 and derives 7.4.8 into *strps, which is cleared first and may stand in the array of
/// *sps. stRpsIdx: 0 … num_short_term_ref_pic_sets; the last value means a set coded in a slice
/// header. The sets below stRpsIdx must be filled. Returns 0, or E_BS_NOT_ENOUGH_BITS with the record
/// partly filled: the payload ran out, or delta_idx points before the first set (then no log line).
int read_short_term_ref_pic_set(SPS* sps, ShortTermRefPicSet* strps, int stRpsIdx, CBitStreamReader* pBS) noexcept;
int read_short_term_ref_pic_set(SPS* sps, ShortTermRefPicSet* strps, int stRpsIdx, CRbspReader* pBS) noexcept;

} // namespace h265_codec
