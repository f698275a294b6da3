#include "ScalingListTables.h"

#include <cstddef>

#include "ScanTables.h"

namespace h265_codec {

namespace {

// Table 7-6, ScalingList[ 1..3 ][ matrixId ][ i ], in coded order, i = 0 … 15, 16 … 31, 32 … 47, 48 … 63.
// clang-format off
constexpr unsigned char INTRA_8X8[64] = { // matrixId 0 … 2
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 17, 16, 17, 16, 17, 18,
    17, 18, 18, 17, 18, 21, 19, 20, 21, 20, 19, 21, 24, 22, 22, 24,
    24, 22, 22, 24, 25, 25, 27, 30, 27, 25, 25, 29, 31, 35, 35, 31,
    29, 36, 41, 44, 41, 36, 47, 54, 54, 47, 65, 70, 65, 88, 88, 115,
};
constexpr unsigned char INTER_8X8[64] = { // matrixId 3 … 5
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 17, 17, 17, 17, 17, 18,
    18, 18, 18, 18, 18, 20, 20, 20, 20, 20, 20, 20, 24, 24, 24, 24,
    24, 24, 24, 24, 25, 25, 25, 25, 25, 25, 25, 28, 28, 28, 28, 28,
    28, 33, 33, 33, 33, 33, 41, 41, 41, 41, 54, 54, 54, 71, 71, 91,
};

// 6.5.3 for an 8x8 block: raster positions y * 8 + x.
constexpr std::int16_t g_scanDiag8x8[64] = {
     0,  8,  1, 16,  9,  2, 24, 17, 10,  3, 32, 25, 18, 11,  4, 40,
    33, 26, 19, 12,  5, 48, 41, 34, 27, 20, 13,  6, 56, 49, 42, 35,
    28, 21, 14,  7, 57, 50, 43, 36, 29, 22, 15, 58, 51, 44, 37, 30,
    23, 59, 52, 45, 38, 31, 60, 53, 46, 39, 61, 54, 47, 62, 55, 63,
};
// clang-format on

constexpr unsigned SIDE_8X8 = 8;

// The coded list at its raster positions.
struct Raster8x8
{
    unsigned char aCoef[64];
};

consteval Raster8x8 placeByScan(const unsigned char (&aCoded)[64]) noexcept
{
    Raster8x8 matrix{};
    for (unsigned i = 0; i < 64; ++i)
        matrix.aCoef[g_scanDiag8x8[i]] = aCoded[i];
    return matrix;
}

constexpr Raster8x8 INTRA_RASTER = placeByScan(INTRA_8X8);
constexpr Raster8x8 INTER_RASTER = placeByScan(INTER_8X8);

// 7.4.5: coefficient i of the matrix in which every 8x8 coefficient is repeated RATIO times both ways.
template <unsigned RATIO>
consteval unsigned char upSampled(const Raster8x8& matrix, unsigned i) noexcept
{
    const unsigned y = i / (SIDE_8X8 * RATIO) / RATIO;
    const unsigned x = i % (SIDE_8X8 * RATIO) / RATIO;
    return matrix.aCoef[y * SIDE_8X8 + x];
}

} // namespace

const int g_scalingListNum[4] = {6, 6, 6, 2};
const int g_scalingListSize[4] = {16, 64, 256, 1024};

// Table 7-5
const unsigned char g_deQuantSLDefault4x4[16] = {16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16};

// Lists the coefficients i … i + 63 (255, 1023) of an up-sampled default, so that the tables are plain
// arrays and still follow from the 8x8 ones.
#define H265_4(matrix, ratio, i)                                                                                       \
    upSampled<ratio>(matrix, i), upSampled<ratio>(matrix, (i) + 1), upSampled<ratio>(matrix, (i) + 2),                 \
        upSampled<ratio>(matrix, (i) + 3)
#define H265_16(matrix, ratio, i)                                                                                      \
    H265_4(matrix, ratio, i), H265_4(matrix, ratio, (i) + 4), H265_4(matrix, ratio, (i) + 8),                          \
        H265_4(matrix, ratio, (i) + 12)
#define H265_64(matrix, ratio, i)                                                                                      \
    H265_16(matrix, ratio, i), H265_16(matrix, ratio, (i) + 16), H265_16(matrix, ratio, (i) + 32),                     \
        H265_16(matrix, ratio, (i) + 48)
#define H265_256(matrix, ratio, i)                                                                                     \
    H265_64(matrix, ratio, i), H265_64(matrix, ratio, (i) + 64), H265_64(matrix, ratio, (i) + 128),                    \
        H265_64(matrix, ratio, (i) + 192)
#define H265_1024(matrix, ratio, i)                                                                                    \
    H265_256(matrix, ratio, i), H265_256(matrix, ratio, (i) + 256), H265_256(matrix, ratio, (i) + 512),                \
        H265_256(matrix, ratio, (i) + 768)

const unsigned char g_deQuantSLIntraDefault8x8[64] = {H265_64(INTRA_RASTER, 1, 0)};
const unsigned char g_deQuantSLInterDefault8x8[64] = {H265_64(INTER_RASTER, 1, 0)};
const unsigned char g_deQuantSLIntraDefault16x16[256] = {H265_256(INTRA_RASTER, 2, 0)};
const unsigned char g_deQuantSLInterDefault16x16[256] = {H265_256(INTER_RASTER, 2, 0)};
const unsigned char g_deQuantSLIntraDefault32x32[1024] = {H265_1024(INTRA_RASTER, 4, 0)};
const unsigned char g_deQuantSLInterDefault32x32[1024] = {H265_1024(INTER_RASTER, 4, 0)};

#undef H265_4
#undef H265_16
#undef H265_64
#undef H265_256
#undef H265_1024

// Set by the module's static initialiser: the 4x4 scan is the decoder's.
const std::int16_t* g_pScanDiag[2] = {g_pScanIdx[0][0], g_scanDiag8x8};

} // namespace h265_codec
