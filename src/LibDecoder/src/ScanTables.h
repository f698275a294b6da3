#pragma once

#include <cstdint>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_codec {

/// Scan tables of the decoder: [diagonal 6.5.3, horizontal 6.5.4, vertical 6.5.5] x [4x4, 8x8, 16x16,
/// 32x32]; entry i is the raster position y * side + x of the i-th coefficient. Constant-initialised, pointers and
/// tables, for g_pScanDiag takes a pointer from here while globals are made; a decoder's own have to be so, too.
extern const std::int16_t* const g_pScanIdx[3][4];

} // namespace h265_codec
