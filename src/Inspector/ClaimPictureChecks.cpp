#include "ClaimPictureChecks.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "ClaimColourChecks.h"
#include "ClaimMatroskaChecks.h"
#include "ClaimScanChecks.h"
#include "ClaimSizeText.h"

namespace h265_inspect {

using namespace h265_syntax;
using namespace h265_container;

namespace {

constexpr std::string_view ENTRY_SIZE_CLAUSE = "14496-12 12.1.3.3";
constexpr std::string_view TRACK_SIZE_CLAUSE = "14496-12 8.3.2.3";
constexpr std::string_view SHAPE_CLAUSE = "14496-12 12.1.4.3";
constexpr std::string_view IMAGE_SIZE_CLAUSE = "23008-12 6.5.3";
constexpr std::string_view IMAGE_DEPTH_CLAUSE = "23008-12 6.5.6";
constexpr std::string_view RATE_CLAUSE = "14496-12 8.6.1.2";

// 12.1.4: what is shown of a picture, in its samples.
struct Shown
{
    double width;
    double height;
};

Shown shownOf(const ContainerClaims& claims, const ClaimedSps& sps)
{
    Shown shown{static_cast<double>(sps.gist.uiWidth), static_cast<double>(sps.gist.uiHeight)};
    if (claims.cleanAperture) {
        const CleanApertureClaim& clap = claims.cleanAperture->value;
        if (clap.uiWidthD != 0 && clap.uiHeightD != 0)
            shown = {static_cast<double>(clap.uiWidthN) / clap.uiWidthD,
                     static_cast<double>(clap.uiHeightN) / clap.uiHeightD};
    }
    return shown;
}

// The shape of a sample as the container says it, else as the VUI does.
double shapeOf(const ContainerClaims& claims, const ClaimedSps& sps)
{
    if (claims.pixelShape && claims.pixelShape->value.uiHorizontal != 0 && claims.pixelShape->value.uiVertical != 0)
        return static_cast<double>(claims.pixelShape->value.uiHorizontal) / claims.pixelShape->value.uiVertical;
    if (sps.gist.sampleAspectRatio)
        return static_cast<double>(sps.gist.sampleAspectRatio->uiWidth) / sps.gist.sampleAspectRatio->uiHeight;
    return 1;
}

// tkhd has the size for display: the picture's, drawn out in one direction by the shape of its samples, or as it is.
bool isDisplaySize(const SizeClaim& size, const Shown& shown, double shape)
{
    // Of a shape alone, to a pixel of the picture: 16:9 of 1366x768.
    if (size.bShapeOnly)
        return size.width > 0 && size.height > 0 &&
               (isNear(size.width / size.height * shown.height, shown.width * shape) ||
                isNear(size.height / size.width * shown.width * shape, shown.height));
    return (isNear(size.width, shown.width) && isNear(size.height, shown.height)) ||
           (isNear(size.width, shown.width * shape) && isNear(size.height, shown.height)) ||
           (isNear(size.width, shown.width) && isNear(size.height, shown.height / shape));
}

void checkTrackSize(const Claim<SizeClaim>& claim, const ContainerClaims& claims, const ClaimedSps& sps,
                    CClaimFindings& findings)
{
    const SizeClaim& size = claim.value;
    Shown shown = shownOf(claims, sps);
    const double shape = shapeOf(claims, sps);
    bool bFits =
        isDisplaySize(size, shown, shape) ||
        isDisplaySize(size, {static_cast<double>(sps.gist.uiWidth), static_cast<double>(sps.gist.uiHeight)}, shape);
    if (sps.gist.bFields)
        bFits = bFits || isDisplaySize(size, {shown.width, 2 * shown.height}, shape);
    const CBoxChecks checks(findings, claim);
    SHOULD(bFits,
           blamedSize(sps, isNear(size.width, shown.width * shape)),
           TRACK_SIZE_CLAUSE,
           sizeText(size.width, size.height),
           checks.box(),
           " says ",
           sizeText(size.width, size.height),
           size.bShapeOnly ? " as the shape for display, " : " for display, ",
           sps.name(),
           "'s pictures are ",
           pictureText(sps),
           isNear(shape, 1, 1e-9) ? "" : say(", ", sizeText(shown.width * shape, shown.height), " for display"),
           "; players scale to the one or the other");
}

void checkShape(const Claim<RatioClaim>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    const CBoxChecks checks = CBoxChecks(findings, claim).inside("vui_parameters");
    const RatioClaim& pasp = claim.value;
    const VuiParameters& s = sps.set.vui_parameters;
    const Blamed blamed = s.aspect_ratio_idc == EXTENDED_SAR ? BLAME(sar_width) : BLAME(aspect_ratio_idc);
    const bool bDefined = pasp.uiHorizontal != 0 && pasp.uiVertical != 0;
    SHOULD(bDefined,
           blamed,
           SHAPE_CLAUSE,
           "",
           checks.box(),
           " says pixels of ",
           pasp.uiHorizontal,
           ":",
           pasp.uiVertical,
           ", which is no shape");
    if (!bDefined || !sps.gist.sampleAspectRatio)
        return;
    const AspectRatio& ratio = *sps.gist.sampleAspectRatio;
    SHOULD(std::uint64_t{pasp.uiHorizontal} * ratio.uiHeight == std::uint64_t{pasp.uiVertical} * ratio.uiWidth,
           blamed,
           SHAPE_CLAUSE,
           say(pasp.uiHorizontal, ":", pasp.uiVertical),
           checks.box(),
           " says pixels of ",
           pasp.uiHorizontal,
           ":",
           pasp.uiVertical,
           ", ",
           sps.name(),
           "'s VUI says ",
           ratio.uiWidth,
           ":",
           ratio.uiHeight,
           "; players go by the one or the other");
}

// 12.1.4.1: offsets are those of the centre.
bool isInside(double size, double offset, double whole)
{
    constexpr double ROUNDING = 1e-6;
    const double begin = offset + (whole - size) / 2;
    return begin >= -ROUNDING && begin + size <= whole + ROUNDING;
}

void checkCleanAperture(const Claim<CleanApertureClaim>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    const CBoxChecks checks(findings, claim);
    const CleanApertureClaim& c = claim.value;
    const bool bDefined = c.uiWidthN != 0 && c.uiWidthD != 0 && c.uiHeightN != 0 && c.uiHeightD != 0 &&
                          c.uiHorizOffD != 0 && c.uiVertOffD != 0;
    SHALL(bDefined,
          blamedSize(sps, c.uiWidthN != 0 && c.uiWidthD != 0 && c.uiHorizOffD != 0),
          SHAPE_CLAUSE,
          "",
          checks.box(),
          " says ",
          c.uiWidthN,
          "/",
          c.uiWidthD,
          " x ",
          c.uiHeightN,
          "/",
          c.uiHeightD,
          " at ",
          c.iHorizOffN,
          "/",
          c.uiHorizOffD,
          ", ",
          c.iVertOffN,
          "/",
          c.uiVertOffD,
          ", which is no window");
    if (!bDefined)
        return;
    const double width = static_cast<double>(c.uiWidthN) / c.uiWidthD;
    const double height = static_cast<double>(c.uiHeightN) / c.uiHeightD;
    const double x = static_cast<double>(c.iHorizOffN) / c.uiHorizOffD;
    const double y = static_cast<double>(c.iVertOffN) / c.uiVertOffD;
    const bool bWidthFits = isInside(width, x, sps.gist.uiWidth);
    SHOULD(bWidthFits && isInside(height, y, sps.gist.uiHeight),
           blamedSize(sps, bWidthFits),
           SHAPE_CLAUSE,
           "a picture that holds the window",
           checks.box(),
           " says a window of ",
           sizeText(width, height),
           " with its centre ",
           numberText(x),
           ", ",
           numberText(y),
           " from the picture's, which reaches out of ",
           sps.name(),
           "'s ",
           pictureText(sps));
}

void checkDepths(const Claim<std::vector<unsigned>>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    const CBoxChecks checks(findings, claim);
    const SpsValues& s = sps.set;
    const std::size_t uiChannels = s.chroma_format_idc == 0 ? 1 : 3;
    SHALL(claim.value.size() == uiChannels,
          BLAME(chroma_format_idc),
          IMAGE_DEPTH_CLAUSE,
          claim.value.size() == 1 ? "0" : "1 to 3",
          checks.box(),
          " says ",
          claim.value.size(),
          claim.value.size() == 1 ? " channel, " : " channels, ",
          sps.name(),
          " says chroma_format_idc ",
          s.chroma_format_idc,
          ", which has ",
          uiChannels);
    if (claim.value.size() != uiChannels)
        return;
    const auto compare = [&](const Blamed& blamed, const char* pChannel, unsigned uiClaimed, unsigned uiCoded) {
        SHALL(uiClaimed == uiCoded,
              blamed,
              IMAGE_DEPTH_CLAUSE,
              say(static_cast<int>(uiClaimed) - 8),
              checks.box(),
              " says ",
              uiClaimed,
              " bits of ",
              pChannel,
              ", ",
              sps.name(),
              " says ",
              uiCoded,
              " (",
              blamed.pName,
              " ",
              blamed.iValue,
              ")");
    };
    compare(BLAME(bit_depth_luma_minus8), "luma", claim.value[0], sps.gist.BitDepthY);
    for (std::size_t i = 1; i < uiChannels; ++i)
        compare(BLAME(bit_depth_chroma_minus8), "chroma", claim.value[i], sps.gist.BitDepthC);
}

// Rates differ when they drift apart by a picture in half a minute of 60 a second.
void checkRate(const Claim<FrameRateClaim>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    constexpr double TOLERANCE = 1.0 / 2000;
    if (!sps.gist.frameRate || claim.value.ulSeconds == 0)
        return;
    const CBoxChecks checks = CBoxChecks(findings, claim).inside(sps.timeStructure());
    const FrameRate& rate = *sps.gist.frameRate;
    const double coded = static_cast<double>(rate.ulNumerator) / static_cast<double>(rate.ulDenominator);
    const double claimed = static_cast<double>(claim.value.ulPictures) / static_cast<double>(claim.value.ulSeconds);
    // A sample can be a frame or one of its fields.
    const bool bFits = isNear(claimed, coded, coded * TOLERANCE) ||
                       (sps.gist.bFields && isNear(claimed, 2 * coded, 2 * coded * TOLERANCE));
    const std::string says = perSecond(numberText(claimed), sps.gist.bFields ? "picture" : "frame");
    const std::string frames = decimalOf(rate.ulNumerator, rate.ulDenominator);
    SHOULD(bFits,
           sps.timeScale(),
           checks.box() == "DefaultDuration" ? "RFC 9559 5.1.4.1.13" : RATE_CLAUSE,
           says,
           checks.box(),
           " says ",
           says,
           " throughout, ",
           sps.rateHolder(),
           " says ",
           sps.gist.bFields
               ? say(decimalOf(2 * rate.ulNumerator, rate.ulDenominator), " fields a second, or ", frames, " frames")
               : frames);
}

void checkImageSize(const Claim<SizeClaim>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    const CBoxChecks checks(findings, claim);
    const bool bWidthFits = isNear(claim.value.width, sps.gist.uiWidth, 0);
    SHALL(bWidthFits && isNear(claim.value.height, sps.gist.uiHeight, 0),
          blamedSize(sps, bWidthFits),
          IMAGE_SIZE_CLAUSE,
          sizeText(claim.value.width, claim.value.height),
          checks.box(),
          " says ",
          sizeText(claim.value.width, claim.value.height),
          ", ",
          sps.name(),
          "'s picture is ",
          pictureText(sps));
}

} // namespace

void checkPicture(const ContainerClaims& claims, const ClaimedSps& sps, CClaimFindings& findings)
{
    if (claims.imageSize)
        checkImageSize(*claims.imageSize, sps, findings);
    if (claims.pixelShape)
        checkShape(*claims.pixelShape, sps, findings);
    if (claims.cleanAperture)
        checkCleanAperture(*claims.cleanAperture, sps, findings);
    for (const Claim<ColourClaim>& colour : claims.colours)
        checkColour(colour, sps, findings);
    if (claims.pixelDepths)
        checkDepths(*claims.pixelDepths, sps, findings);
    if (claims.scan)
        checkScan(*claims.scan, sps, findings);
    if (claims.constantFrameRate)
        checkRate(*claims.constantFrameRate, sps, findings);
    if (claims.matroskaVideo)
        checkMatroskaSamples(*claims.matroskaVideo, sps, findings);
}

namespace {

// 12.1.3.3: the largest size of all pictures, each way.
void checkEntrySize(const Claim<SizeClaim>& claim, std::span<const ClaimedSps> spss, const ClaimedSps& largest,
                    CClaimFindings& findings)
{
    const CBoxChecks checks(findings, claim);
    double width = 0;
    double height = 0;
    for (const ClaimedSps& sps : spss) {
        width = std::max<double>(width, sps.gist.uiWidth);
        height = std::max<double>(height, sps.gist.uiHeight);
    }
    const SizeClaim& size = claim.value;
    const bool bWidthFits = isNear(size.width, width, 0);
    const bool bHeightFits =
        isNear(size.height, height, 0) || (largest.gist.bFields && isNear(size.height, 2 * height, 0));
    SHALL(bWidthFits && bHeightFits,
          blamedSize(largest, bWidthFits),
          ENTRY_SIZE_CLAUSE,
          sizeText(size.width, size.height),
          "the sample entry ",
          checks.box(),
          " says ",
          sizeText(size.width, size.height),
          ", ",
          largest.name(),
          "'s pictures are ",
          pictureText(largest));
}

} // namespace

void checkSizes(const ContainerClaims& claims, std::span<const ClaimedSps> spss, CClaimFindings& findings)
{
    if (spss.empty())
        return;
    // With several sizes the largest one is meant.
    const ClaimedSps& largest = *std::ranges::max_element(
        spss, {}, [](const ClaimedSps& sps) { return std::uint64_t{sps.gist.uiWidth} * sps.gist.uiHeight; });
    if (claims.entrySize)
        checkEntrySize(*claims.entrySize, spss, largest, findings);
    if (claims.trackSize)
        checkTrackSize(*claims.trackSize, claims, largest, findings);
    if (claims.matroskaVideo)
        checkMatroskaPicture(*claims.matroskaVideo, largest, findings);
}

} // namespace h265_inspect
