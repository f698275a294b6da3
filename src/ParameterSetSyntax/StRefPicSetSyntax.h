#pragma once

#include <cstdint>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

inline constexpr unsigned MAX_NUM_PICS = 16; // 7.4.8: of each list, as no DPB holds more (A.4.2)
inline constexpr unsigned MAX_DELTA_POCS = 2 * MAX_NUM_PICS;

/// 7.3.7 st_ref_pic_set( stRpsIdx )
struct StRefPicSet
{
    bool inter_ref_pic_set_prediction_flag = false;
    std::uint32_t delta_idx_minus1 = 0; // ue(v), in slice headers only
    bool delta_rps_sign = false;
    std::uint32_t abs_delta_rps_minus1 = 0; // ue(v)
    bool used_by_curr_pic_flag[MAX_DELTA_POCS + 1] = {};
    bool use_delta_flag[MAX_DELTA_POCS + 1] = {};
    std::uint32_t num_negative_pics = 0; // ue(v)
    std::uint32_t num_positive_pics = 0; // ue(v)
    std::uint32_t delta_poc_s0_minus1[MAX_NUM_PICS] = {};
    bool used_by_curr_pic_s0_flag[MAX_NUM_PICS] = {};
    std::uint32_t delta_poc_s1_minus1[MAX_NUM_PICS] = {};
    bool used_by_curr_pic_s1_flag[MAX_NUM_PICS] = {};

    // Derived, 7.4.8 (7-61) to (7-71); sums of POC deltas wrap in 32 bits.
    std::uint32_t NumNegativePics = 0;
    std::uint32_t NumPositivePics = 0;
    std::uint32_t NumDeltaPocs = 0;
    std::int32_t DeltaPocS0[MAX_NUM_PICS] = {};
    bool UsedByCurrPicS0[MAX_NUM_PICS] = {};
    std::int32_t DeltaPocS1[MAX_NUM_PICS] = {};
    bool UsedByCurrPicS1[MAX_NUM_PICS] = {};
};

} // namespace h265_syntax
