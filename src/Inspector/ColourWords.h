#pragma once

#include <string>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_inspect {

/// What the three colour elements of a VUI say together, as people do: "BT.709", "BT.2020 PQ", "sRGB". A
/// transfer or a matrix that goes with the primaries is not told. Empty when all are unspecified.
std::string colourWords(unsigned colour_primaries, unsigned transfer_characteristics, unsigned matrix_coeffs);

} // namespace h265_inspect
