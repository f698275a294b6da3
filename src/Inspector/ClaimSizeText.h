#pragma once

#include <string>

#include "ClaimFindings.h"

// Sizes of pictures in words, compared and blamed.

namespace h265_inspect {

/// Without decimals where there are none: "1920", "1466.67".
std::string numberText(double value);

/// "1920x1080"
std::string sizeText(double width, double height);

/// The size of an SPS's pictures: "1920x1080 (cropped from 1920x1088)".
std::string pictureText(const ClaimedSps& sps);

/// Pixels are rounded to one.
bool isNear(double one, double other, double tolerance = 1);

/// The dimension to blame: the first that does not fit.
h265_syntax::Blamed blamedSize(const ClaimedSps& sps, bool bWidthFits);

/// Of the Video element, which has its numbers from Matroska alone.
inline constexpr std::string_view MATROSKA_CLAUSE = "RFC 9559 5.1.4.1.28";

} // namespace h265_inspect
