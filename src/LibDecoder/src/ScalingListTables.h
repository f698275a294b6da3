#pragma once

#include <cstdint>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_codec {

/// Matrices coded for each sizeId; the 32x32 ones count as matrixId 0 and 1.
extern const int g_scalingListNum[4];

/// Coefficients of a full-size matrix of each sizeId.
extern const int g_scalingListSize[4];

/// Table 7-5: the flat 4x4 default.
extern const unsigned char g_deQuantSLDefault4x4[16];

/// Table 7-6, matrixId 0 … 2 (intra) and 3 … 5 (inter), in raster order.
extern const unsigned char g_deQuantSLIntraDefault8x8[64];
extern const unsigned char g_deQuantSLInterDefault8x8[64];

/// The 8x8 defaults up-sampled by 2 and by 4 (7.4.5), in raster order.
extern const unsigned char g_deQuantSLIntraDefault16x16[256];
extern const unsigned char g_deQuantSLInterDefault16x16[256];
extern const unsigned char g_deQuantSLIntraDefault32x32[1024];
extern const unsigned char g_deQuantSLInterDefault32x32[1024];

/// 6.5.3: the up-right diagonal scans of a 4x4 and an 8x8 block, as raster positions. Set before main.
extern const std::int16_t* g_pScanDiag[2];

} // namespace h265_codec
