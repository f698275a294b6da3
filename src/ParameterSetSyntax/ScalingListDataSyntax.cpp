#include "ScalingListDataSyntax.h"

#include <algorithm>

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

// 7.3.4
template <class TUse>
void scaling_list_data(TUse& use, Of<TUse, ScalingListDataSyntax>& s)
{
    const Inside inside(use, "scaling_list_data");
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        for (unsigned matrixId = 0; matrixId < 6; matrixId += (sizeId == 3) ? 3 : 1) {
            FLAG(scaling_list_pred_mode_flag, sizeId, matrixId);
            if (!s.scaling_list_pred_mode_flag[sizeId][matrixId]) {
                UE(scaling_list_pred_matrix_id_delta, sizeId, matrixId);
            } else {
                const unsigned coefNum = std::min(64U, 1U << (4 + (sizeId << 1)));
                if (sizeId > 1)
                    SE(scaling_list_dc_coef_minus8, sizeId - 2, matrixId);
                for (unsigned i = 0; i < use.upTo(coefNum); ++i)
                    SE(scaling_list_delta_coef, sizeId, matrixId, i);
            }
        }
    }
}

#define INSTANTIATE(TUse) template void scaling_list_data(TUse&, Of<TUse, ScalingListDataSyntax>&);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
