#include "ScalingList.h"

#include "SyntaxRead.h"

namespace h265_codec {

using namespace syntax;

namespace {

// The default matrix of [ sizeId ][ matrixId ], 7.4.5. Two sizes more than exist, all null.
// clang-format off
constexpr const unsigned char* g_scalingListDefaultEntry[6][6] = {
    {g_deQuantSLDefault4x4, g_deQuantSLDefault4x4, g_deQuantSLDefault4x4,
     g_deQuantSLDefault4x4, g_deQuantSLDefault4x4, g_deQuantSLDefault4x4},
    {g_deQuantSLIntraDefault8x8, g_deQuantSLIntraDefault8x8, g_deQuantSLIntraDefault8x8,
     g_deQuantSLInterDefault8x8, g_deQuantSLInterDefault8x8, g_deQuantSLInterDefault8x8},
    {g_deQuantSLIntraDefault16x16, g_deQuantSLIntraDefault16x16, g_deQuantSLIntraDefault16x16,
     g_deQuantSLInterDefault16x16, g_deQuantSLInterDefault16x16, g_deQuantSLInterDefault16x16},
    {g_deQuantSLIntraDefault32x32, g_deQuantSLInterDefault32x32, nullptr,
     g_deQuantSLInterDefault32x32, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on

// One coded coefficient at its place: an r x r block of the full-size matrix.
void writeBlock(unsigned char* pCoef, unsigned uiRow, unsigned uiCol, unsigned uiRatio, unsigned uiSide,
                unsigned char ucValue) noexcept
{
    unsigned char* pBlock = pCoef + uiRow * uiRatio * uiSide + uiCol * uiRatio;
    for (unsigned j = 0; j < uiRatio; ++j, pBlock += uiSide)
        std::memset(pBlock, ucValue, uiRatio);
}

// 7.3.4, one matrix with scaling_list_pred_mode_flag equal to 1
template <class TReader>
int readExplicit(ScalingListMatrix& slMat, TReader* pBS, int iSizeId) noexcept
{
    const unsigned uiLog2Coded = iSizeId == 0 ? 2 : 3; // coded as 4x4 or 8x8
    const unsigned uiSide = 1U << (iSizeId + 2);
    const unsigned uiRatio = uiSide >> uiLog2Coded;

    int nextCoef = 8;
    if (iSizeId > 1) {
        int scaling_list_dc_coef_minus8 = 0;
        const int iResult = read(pBS, se(scaling_list_dc_coef_minus8));
        if (iResult != 0)
            return iResult;
        nextCoef = static_cast<int>(static_cast<unsigned>(scaling_list_dc_coef_minus8) + 8);
    }
    const unsigned char ucDc = static_cast<unsigned char>(nextCoef);

    slMat.pCoef = slMat.aucCoef;
    const std::int16_t* const pScan = g_pScanDiag[uiLog2Coded - 2];
    const unsigned coefNum = 1U << (2 * uiLog2Coded);
    for (unsigned i = 0; i < coefNum; ++i) {
        int scaling_list_delta_coef = 0;
        const int iResult = read(pBS, se(scaling_list_delta_coef));
        if (iResult != 0)
            return iResult;
        nextCoef =
            static_cast<int>((static_cast<unsigned>(nextCoef) & 255) + static_cast<unsigned>(scaling_list_delta_coef));
        const unsigned uiPos = static_cast<unsigned>(pScan[i]);
        const unsigned uiRow = uiPos >> uiLog2Coded;
        writeBlock(slMat.aucCoef,
                   uiRow,
                   uiPos - (uiRow << uiLog2Coded),
                   uiRatio,
                   uiSide,
                   static_cast<unsigned char>(nextCoef));
    }
    if (iSizeId > 1)
        slMat.aucCoef[0] = ucDc;
    return 0;
}

// 7.3.4 scaling_list_data( ); 32x32 matrices count as matrixId 0 and 1, and so do their deltas
template <class TReader>
int readScalingListData(ScalingListData* pSLD, TReader* pBS) noexcept
{
    for (int sizeId = 0; sizeId < 4; ++sizeId) {
        ScalingListMatrix* const aMatrix = pSLD->aList[sizeId].aMatrix;
        for (int matrixId = 0; matrixId < g_scalingListNum[sizeId]; ++matrixId) {
            bool scaling_list_pred_mode_flag = false;
            int iResult = read(pBS, flag(scaling_list_pred_mode_flag));
            if (iResult != 0)
                return iResult;
            if (scaling_list_pred_mode_flag) {
                // Ignored on purpose: a matrix cut short stays half-filled and reading goes on.
                (void)readExplicitScalingList(aMatrix[matrixId], pBS, sizeId);
                continue;
            }
            unsigned char scaling_list_pred_matrix_id_delta = 0;
            iResult = read(pBS, ue(scaling_list_pred_matrix_id_delta));
            if (iResult != 0)
                return iResult;
            if (scaling_list_pred_matrix_id_delta > matrixId)
                return E_BS_NOT_ENOUGH_BITS;
            aMatrix[matrixId].pCoef = scaling_list_pred_matrix_id_delta == 0
                                          ? g_scalingListDefaultEntry[sizeId][matrixId]
                                          : aMatrix[matrixId - scaling_list_pred_matrix_id_delta].pCoef;
        }
    }
    // The inter 32x32 matrix is also found under the standard's matrixId 3.
    pSLD->aList[3].aMatrix[3].pCoef = pSLD->aList[3].aMatrix[1].pCoef;
    return 0;
}

} // namespace

void setDefaultScalingList(ScalingListData* pSLD) noexcept
{
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        for (unsigned matrixId = 0; matrixId < 6; ++matrixId)
            pSLD->aList[sizeId].aMatrix[matrixId].pCoef = g_scalingListDefaultEntry[sizeId][matrixId];
    }
}

int readScalingList(ScalingListData* pSLD, CBitStreamReader* pBS) noexcept
{
    return readScalingListData(pSLD, pBS);
}

int readScalingList(ScalingListData* pSLD, CRbspReader* pBS) noexcept
{
    return readScalingListData(pSLD, pBS);
}

int readExplicitScalingList(ScalingListMatrix& slMat, CBitStreamReader* pBS, int iSizeId) noexcept
{
    return readExplicit(slMat, pBS, iSizeId);
}

int readExplicitScalingList(ScalingListMatrix& slMat, CRbspReader* pBS, int iSizeId) noexcept
{
    return readExplicit(slMat, pBS, iSizeId);
}

} // namespace h265_codec
