#pragma once

#include <cstdint>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

/// 7.3.4 scaling_list_data( ), indexed by sizeId and matrixId; of size 3 (32x32) matrixId 0 and 3 are coded.
struct ScalingListDataSyntax
{
    bool scaling_list_pred_mode_flag[4][6] = {};
    std::uint32_t scaling_list_pred_matrix_id_delta[4][6] = {}; // ue(v)
    std::int32_t scaling_list_dc_coef_minus8[2][6] = {};        // se(v), indexed by sizeId - 2
    std::int32_t scaling_list_delta_coef[4][6][64] = {};        // se(v)
};

} // namespace h265_syntax
