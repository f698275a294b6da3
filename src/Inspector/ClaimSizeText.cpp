#include "ClaimSizeText.h"

#include <cmath>
#include <cstdlib>

namespace h265_inspect {

using namespace h265_syntax;

std::string numberText(double value)
{
    constexpr double HUNDREDTHS = 100;
    if (!(value >= 0) || value > UINT32_MAX)
        return value < 0 ? "-" + numberText(-value) : "more than 4294967295";
    return decimalOf(static_cast<std::uint64_t>(std::llround(value * HUNDREDTHS)), 100);
}

std::string sizeText(double width, double height)
{
    return numberText(width) + "x" + numberText(height);
}

std::string pictureText(const ClaimedSps& sps)
{
    std::string text = sizeText(sps.gist.uiWidth, sps.gist.uiHeight);
    if (sps.gist.uiWidth != sps.gist.uiCodedWidth || sps.gist.uiHeight != sps.gist.uiCodedHeight)
        text += " (cropped from " + sizeText(sps.gist.uiCodedWidth, sps.gist.uiCodedHeight) + ")";
    return text;
}

bool isNear(double one, double other, double tolerance)
{
    return std::abs(one - other) <= tolerance;
}

Blamed blamedSize(const ClaimedSps& sps, bool bWidthFits)
{
    const SpsValues& s = sps.set;
    return bWidthFits ? BLAME(pic_height_in_luma_samples) : BLAME(pic_width_in_luma_samples);
}

} // namespace h265_inspect
