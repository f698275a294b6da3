#include "ScalingListDataChecks.h"

#include <algorithm>

namespace h265_syntax {

namespace {

// 7.3.4, 7.4.5: the coefficients are sums modulo 256, and none of them is 0.
void checkCoefficients(const ScalingListDataSyntax& s, unsigned sizeId, unsigned matrixId, CChecks& checks)
{
    int nextCoef = 8;
    if (sizeId > 1) {
        RANGE_2(scaling_list_dc_coef_minus8, sizeId - 2, matrixId, -7, 247, "7.4.5");
        nextCoef = s.scaling_list_dc_coef_minus8[sizeId - 2][matrixId] % 256 + 8;
    }
    const unsigned coefNum = std::min(64U, 1U << (4 + (sizeId << 1)));
    for (unsigned i = 0; i < coefNum; ++i) {
        const Blamed blamed = BLAME_3(scaling_list_delta_coef, sizeId, matrixId, i);
        checks.range(blamed, -128, 127, "7.4.5");
        nextCoef = (nextCoef + static_cast<int>(blamed.iValue % 256) + 512) % 256;
        SHALL(nextCoef != 0,
              blamed,
              "7.4.5",
              "a sum that is no multiple of 256",
              "a coefficient of the scaling list is 0; all are 1 to 255");
    }
}

} // namespace

void checkScalingListData(const ScalingListDataSyntax& s, CChecks checks)
{
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        const unsigned uiStep = sizeId == 3 ? 3 : 1;
        for (unsigned matrixId = 0; matrixId < 6; matrixId += uiStep) {
            if (s.scaling_list_pred_mode_flag[sizeId][matrixId])
                checkCoefficients(s, sizeId, matrixId, checks);
            else
                RANGE_2(scaling_list_pred_matrix_id_delta, sizeId, matrixId, 0, matrixId / uiStep, "7.4.5");
        }
    }
}

} // namespace h265_syntax
