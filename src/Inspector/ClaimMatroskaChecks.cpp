#include "ClaimMatroskaChecks.h"

#include <cmath>
#include <cstdlib>

#include "ClaimSizeText.h"

namespace h265_inspect {

using namespace h265_syntax;
using namespace h265_container;

namespace {

// Whether width to height is the same, as exactly as whole pixels can say it.
bool isSameShape(double width, double height, double otherWidth, double otherHeight)
{
    return width > 0 && height > 0 && std::abs(width * otherHeight - otherWidth * height) <= width + height;
}

} // namespace

void checkMatroskaSamples(const Claim<MatroskaVideoClaim>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    const CBoxChecks checks(findings, claim);
    const MatroskaVideoClaim& video = claim.value;
    const SpsValues& s = sps.set;
    SHOULD(video.ulBitsPerChannel.value_or(0) == 0 || *video.ulBitsPerChannel == sps.gist.BitDepthY,
           BLAME(bit_depth_luma_minus8),
           MATROSKA_CLAUSE,
           say(static_cast<std::int64_t>(*video.ulBitsPerChannel) - 8),
           "BitsPerChannel says ",
           *video.ulBitsPerChannel,
           ", ",
           sps.name(),
           " says ",
           sps.gist.BitDepthY,
           " bits (bit_depth_luma_minus8 ",
           s.bit_depth_luma_minus8,
           ")");
    // How many samples are left out for each that stands: Table 6-1.
    const std::uint64_t ulHorz = s.chroma_format_idc == 1 || s.chroma_format_idc == 2 ? 1 : 0;
    const std::uint64_t ulVert = s.chroma_format_idc == 1 ? 1 : 0;
    const bool bChroma = s.chroma_format_idc != 0;
    const auto compare = [&](const char* pName, std::optional<std::uint64_t> ulClaimed, std::uint64_t ulCoded) {
        SHOULD(!ulClaimed || !bChroma || *ulClaimed == ulCoded,
               BLAME(chroma_format_idc),
               MATROSKA_CLAUSE,
               "",
               pName,
               " says ",
               *ulClaimed,
               ", ",
               sps.name(),
               " says ",
               chromaFormatOf(sps.gist),
               " (chroma_format_idc ",
               s.chroma_format_idc,
               "), which is ",
               ulCoded);
    };
    compare("ChromaSubsamplingHorz", video.ulChromaSubsamplingHorz, ulHorz);
    compare("ChromaSubsamplingVert", video.ulChromaSubsamplingVert, ulVert);
}

namespace {

// What is left of a picture behind PixelCrop, and the shape that it is shown in.
void checkDisplay(const MatroskaVideoClaim& video, double left, double lines, const ClaimedSps& sps,
                  const CBoxChecks& checks)
{
    constexpr std::uint64_t UNKNOWN_UNIT = 4;
    if (!sps.gist.sampleAspectRatio || video.ulDisplayUnit.value_or(0) >= UNKNOWN_UNIT)
        return;
    const VuiParameters& s = sps.set.vui_parameters;
    const AspectRatio& ratio = *sps.gist.sampleAspectRatio;
    const double width = video.ulDisplayWidth ? static_cast<double>(*video.ulDisplayWidth) : left;
    const double height = video.ulDisplayHeight ? static_cast<double>(*video.ulDisplayHeight) : lines;
    const double codedWidth = left * ratio.uiWidth / ratio.uiHeight;
    // 18.10: of two views in one picture the shape is that of one, and is often written as that of both.
    const std::uint64_t ulStereo = video.ulStereoMode.value_or(0);
    const double beside = ulStereo == 1 || ulStereo == 11 ? 2 : 1;
    const double above = ulStereo == 2 || ulStereo == 3 ? 2 : 1;
    SHOULD(isSameShape(width, height, codedWidth, lines) ||
               isSameShape(width * beside, height * above, codedWidth, lines),
           s.aspect_ratio_idc == EXTENDED_SAR ? BLAME(sar_width) : BLAME(aspect_ratio_idc),
           MATROSKA_CLAUSE,
           sizeText(width, height),
           "DisplayWidth and DisplayHeight say ",
           sizeText(width, height),
           ", ",
           sps.name(),
           "'s VUI says pixels of ",
           ratio.uiWidth,
           ":",
           ratio.uiHeight,
           ", which is ",
           sizeText(codedWidth, lines),
           "; players go by the one or the other");
}

} // namespace

// 5.1.4.1.28: PixelWidth is what is coded, PixelCrop is taken off it, DisplayWidth is the shape of what is left.
void checkMatroskaPicture(const Claim<MatroskaVideoClaim>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    const CBoxChecks checks(findings, claim);
    const MatroskaVideoClaim& video = claim.value;
    const auto number = [](std::optional<std::uint64_t> value) { return static_cast<double>(value.value_or(0)); };
    const double width = number(video.ulPixelWidth);
    const double height = number(video.ulPixelHeight);
    const double left = width - number(video.ulPixelCropLeft) - number(video.ulPixelCropRight);
    const double lines = height - number(video.ulPixelCropTop) - number(video.ulPixelCropBottom);
    const bool bWidthFits = isNear(width, sps.gist.uiWidth, 0);
    const bool bHeightFits =
        isNear(height, sps.gist.uiHeight, 0) || (sps.gist.bFields && isNear(height, 2.0 * sps.gist.uiHeight, 0));
    SHOULD(bWidthFits && bHeightFits,
           blamedSize(sps, bWidthFits),
           MATROSKA_CLAUSE,
           sizeText(width, height),
           "PixelWidth and PixelHeight say ",
           sizeText(width, height),
           ", ",
           sps.name(),
           "'s pictures are ",
           pictureText(sps));
    if (width <= 0 || height <= 0)
        return;
    SHOULD(left > 0 && lines > 0,
           blamedSize(sps, left > 0),
           MATROSKA_CLAUSE,
           "",
           "PixelCrop leaves nothing of the picture: ",
           sizeText(left, lines),
           " of ",
           sizeText(width, height));
    if (left > 0 && lines > 0)
        checkDisplay(video, left, lines, sps, checks.inside("vui_parameters"));
}

} // namespace h265_inspect
