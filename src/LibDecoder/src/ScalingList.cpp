#include "ScalingList.h"

#include <cstdint>
#include <cstring>

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

// The coded coefficients of one matrix, placed by their scan: 4x4 or 8x8 in raster order.
struct CodedMatrix
{
    unsigned char aucCoef[64];
    unsigned uiRead; // how many arrived
};

// 7.3.4, the part of the coefficient loop that lies in the next 64 bits: from *pPlace on, short codes two
// at a time. Takes nothing where that is left to the loop below.
template <class TReader>
[[gnu::always_inline]] inline const std::int16_t* readPeekedCoefficients(CodedMatrix& coded, const std::int16_t* pPlace,
                                                                         const std::int16_t* pEnd, unsigned& nextCoef,
                                                                         CBitWindow<TReader>& bits) noexcept
{
    std::uint64_t ulBits = 0;
    if (!bits.peek(ulBits))
        return pPlace;
    const std::int16_t* const pLast = pEnd - 1;
    unsigned uiUsed = 0;
    while (pPlace < pLast && uiUsed <= 64 - SHORT_CODE_PAIR_BITS) {
        const ShortCodePair pair = SHORT_CODE_PAIRS.aPair[ulBits >> (64 - SHORT_CODE_PAIR_BITS)];
        unsigned uiLength = pair.ucLength;
        if (uiLength <= SHORT_CODE_PAIR_BITS) [[likely]] {
            // Both places are written; the second is written again when there was one code only.
            coded.aucCoef[pPlace[0]] = static_cast<unsigned char>(nextCoef + static_cast<unsigned>(pair.scFirst));
            nextCoef += static_cast<unsigned>(pair.scSum);
            coded.aucCoef[pPlace[1]] = static_cast<unsigned char>(nextCoef);
            pPlace += pair.ucCount;
        } else {
            uiLength = lengthOfCode(ulBits);
            if (uiUsed + uiLength > 63)
                break;
            nextCoef += static_cast<unsigned>(signedOfCode(valueOfCode(ulBits, uiLength)));
            coded.aucCoef[*pPlace++] = static_cast<unsigned char>(nextCoef);
        }
        ulBits <<= uiLength;
        uiUsed += uiLength;
    }
    bits.dropPeeked(uiUsed);
    return pPlace;
}

// 7.3.4, the coefficient loop: the predictor is kept modulo 256.
template <class TReader>
int readCoefficients(CodedMatrix& coded, const std::int16_t* pScan, unsigned coefNum, unsigned nextCoef,
                     TReader* pBS) noexcept
{
    CBitWindow<TReader> bits(pBS);
    int iResult = 0;
    const std::int16_t* const pEnd = pScan + coefNum;
    const std::int16_t* pPlace = pScan; // of the next coefficient
    while (pPlace != pEnd) {
        const std::int16_t* const pBefore = pPlace;
        pPlace = readPeekedCoefficients(coded, pPlace, pEnd, nextCoef, bits);
        if (pPlace != pBefore)
            continue;
        int scaling_list_delta_coef = 0;
        iResult = bits.takeSe(scaling_list_delta_coef);
        if (iResult != 0)
            break;
        nextCoef += static_cast<unsigned>(scaling_list_delta_coef);
        coded.aucCoef[*pPlace++] = static_cast<unsigned char>(nextCoef);
    }
    coded.uiRead = static_cast<unsigned>(pPlace - pScan);
    return iResult;
}

// 7.4.5: each coefficient repeated two or four times both ways, a row of eight at a time.
using Bytes = unsigned char __attribute__((vector_size(16)));
using Pairs = unsigned short __attribute__((vector_size(16)));
using Words = std::uint64_t __attribute__((vector_size(16)));

// The vector is no result: processors without vectors of 16 bytes have no one way to return it.
inline void loadDoubled(const unsigned char* pRow, Bytes& doubled) noexcept
{
    std::uint64_t ulRow = 0;
    std::memcpy(&ulRow, pRow, sizeof(ulRow));
    const Bytes row = reinterpret_cast<Bytes>(Words{ulRow, 0});
    doubled = __builtin_shufflevector(row, row, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}

void upSampleBy2(unsigned char* pCoef, const unsigned char* pCoded) noexcept
{
    for (unsigned y = 0; y < 8; ++y, pCoded += 8, pCoef += 2 * 16) {
        Bytes row{};
        loadDoubled(pCoded, row);
        std::memcpy(pCoef, &row, sizeof(row));
        std::memcpy(pCoef + 16, &row, sizeof(row));
    }
}

void upSampleBy4(unsigned char* pCoef, const unsigned char* pCoded) noexcept
{
    for (unsigned y = 0; y < 8; ++y, pCoded += 8, pCoef += 4 * 32) {
        Bytes doubled{};
        loadDoubled(pCoded, doubled);
        const Pairs row = reinterpret_cast<Pairs>(doubled);
        const Pairs left = __builtin_shufflevector(row, row, 0, 8, 1, 9, 2, 10, 3, 11);
        const Pairs right = __builtin_shufflevector(row, row, 4, 12, 5, 13, 6, 14, 7, 15);
        for (unsigned j = 0; j < 4; ++j) {
            std::memcpy(pCoef + j * 32, &left, sizeof(left));
            std::memcpy(pCoef + j * 32 + 16, &right, sizeof(right));
        }
    }
}

void placeWholeMatrix(unsigned char* pCoef, const CodedMatrix& coded, int iSizeId) noexcept
{
    switch (iSizeId) {
    case 0:
        std::memcpy(pCoef, coded.aucCoef, 16);
        break;
    case 1:
        std::memcpy(pCoef, coded.aucCoef, 64);
        break;
    case 2:
        upSampleBy2(pCoef, coded.aucCoef);
        break;
    default:
        upSampleBy4(pCoef, coded.aucCoef);
        break;
    }
}

// What arrived of a matrix whose payload ran out: only its blocks are written.
void placePartOfMatrix(unsigned char* pCoef, const CodedMatrix& coded, const std::int16_t* pScan, int iSizeId) noexcept
{
    const unsigned uiLog2Coded = iSizeId == 0 ? 2 : 3;
    const unsigned uiSide = 1U << (iSizeId + 2);
    const unsigned uiRatio = uiSide >> uiLog2Coded;
    for (unsigned i = 0; i < coded.uiRead; ++i) {
        const unsigned uiPos = static_cast<unsigned>(pScan[i]);
        const unsigned y = (uiPos >> uiLog2Coded) * uiRatio;
        const unsigned x = (uiPos & ((1U << uiLog2Coded) - 1)) * uiRatio;
        for (unsigned j = 0; j < uiRatio; ++j)
            std::memset(pCoef + (y + j) * uiSide + x, coded.aucCoef[uiPos], uiRatio);
    }
}

// 7.3.4, one matrix with scaling_list_pred_mode_flag equal to 1
template <class TReader>
int readExplicit(ScalingListMatrix& slMat, TReader* pBS, int iSizeId) noexcept
{
    unsigned char nextCoef = 8;
    if (iSizeId > 1) {
        int scaling_list_dc_coef_minus8 = 0;
        const int iResult = read(pBS, se(scaling_list_dc_coef_minus8));
        if (iResult != 0)
            return iResult;
        nextCoef = static_cast<unsigned char>(static_cast<unsigned>(scaling_list_dc_coef_minus8) + 8);
    }
    slMat.pCoef = slMat.aucCoef;

    const std::int16_t* const pScan = g_pScanDiag[iSizeId == 0 ? 0 : 1];
    CodedMatrix coded;
    const int iResult = readCoefficients(coded, pScan, iSizeId == 0 ? 16 : 64, nextCoef, pBS);
    if (iResult != 0) {
        placePartOfMatrix(slMat.aucCoef, coded, pScan, iSizeId);
        return iResult;
    }
    placeWholeMatrix(slMat.aucCoef, coded, iSizeId);
    if (iSizeId > 1)
        slMat.aucCoef[0] = nextCoef; // the DC
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
