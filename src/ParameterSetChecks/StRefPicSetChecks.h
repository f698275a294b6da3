#pragma once

#include <cstdint>

#include "Finding.h"
#include "StRefPicSetSyntax.h"

namespace h265_syntax {

/// 7.4.8: what a reference picture set of an SPS must be. uiMaxPics: the most pictures that it can hold,
/// sps_max_dec_pic_buffering_minus1 of the highest sub-layer.
void checkStRefPicSet(const StRefPicSet& s, std::uint32_t uiMaxPics, CChecks checks);

} // namespace h265_syntax
