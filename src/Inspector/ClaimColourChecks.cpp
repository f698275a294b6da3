#include "ClaimColourChecks.h"

#include "ClaimSizeText.h"
#include "ColourWords.h"

namespace h265_inspect {

using namespace h265_syntax;
using namespace h265_container;

namespace {

constexpr std::string_view COLOUR_CLAUSE = "14496-12 12.1.5.3";

// Code points of ISO/IEC 23091-2 that say the same in other words.
unsigned sameTransfer(unsigned uiTransfer)
{
    return uiTransfer == 6 || uiTransfer == 14 || uiTransfer == 15 ? 1 : uiTransfer;
}

unsigned samePrimaries(unsigned uiPrimaries)
{
    return uiPrimaries == 7 ? 6 : uiPrimaries;
}

unsigned sameMatrix(unsigned uiMatrix)
{
    return uiMatrix == 6 ? 5 : uiMatrix;
}

std::string colourText(unsigned uiPrimaries, unsigned uiTransfer, unsigned uiMatrix)
{
    const std::string words = colourWords(uiPrimaries, uiTransfer, uiMatrix);
    return words.empty() ? "unspecified" : words;
}

} // namespace

void checkColour(const Claim<ColourClaim>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    constexpr unsigned UNSPECIFIED = 2;
    const CBoxChecks checks = CBoxChecks(findings, claim).inside("vui_parameters");
    const ColourClaim& colour = claim.value;
    const VuiParameters& s = sps.set.vui_parameters;
    const std::string_view clause = colour.type == "Colour" ? MATROSKA_CLAUSE : COLOUR_CLAUSE;
    const std::string box = colour.type == "Colour" ? "Colour" : say(checks.box(), " (", colour.type, ")");
    const std::string claimed = colourText(colour.uiPrimaries.value_or(UNSPECIFIED),
                                           colour.uiTransfer.value_or(UNSPECIFIED),
                                           colour.uiMatrix.value_or(UNSPECIFIED));
    const std::string coded = colourText(s.colour_primaries, s.transfer_characteristics, s.matrix_coeffs);
    // E.3.1, D.2.38: for decoders that know no HLG the VUI says 14, and an SEI message of alternative transfer
    // characteristics says 18, which a container may go by.
    constexpr unsigned BT_2020 = 14;
    constexpr unsigned HLG = 18;
    const bool bAlternative = s.transfer_characteristics == BT_2020 && colour.uiTransfer == HLG;
    const auto compare = [&](const Blamed& blamed, std::optional<unsigned> uiClaimed, unsigned (*same)(unsigned)) {
        const auto uiCoded = static_cast<unsigned>(blamed.iValue);
        // What the VUI leaves open, a container may say.
        SHOULD(!uiClaimed || uiCoded == UNSPECIFIED || same(*uiClaimed) == same(uiCoded),
               blamed,
               clause,
               say(*uiClaimed),
               box,
               " says ",
               blamed.pName,
               " ",
               *uiClaimed,
               " (",
               claimed,
               "), ",
               sps.name(),
               "'s VUI says ",
               uiCoded,
               " (",
               coded,
               "); players go by the one or the other");
    };
    if (!sps.set.vui_parameters_present_flag || !s.video_signal_type_present_flag)
        return;
    if (s.colour_description_present_flag) {
        compare(BLAME(colour_primaries), colour.uiPrimaries, samePrimaries);
        if (!bAlternative)
            compare(BLAME(transfer_characteristics), colour.uiTransfer, sameTransfer);
        compare(BLAME(matrix_coeffs), colour.uiMatrix, sameMatrix);
    }
    const auto range = [](bool bFull) { return bFull ? "full range" : "limited range"; };
    SHOULD(!colour.bFullRange || *colour.bFullRange == s.video_full_range_flag,
           BLAME(video_full_range_flag),
           clause,
           say(*colour.bFullRange),
           box,
           " says ",
           range(*colour.bFullRange),
           ", ",
           sps.name(),
           "'s VUI says ",
           range(s.video_full_range_flag),
           " (video_full_range_flag ",
           s.video_full_range_flag,
           "); players go by the one or the other");
}

} // namespace h265_inspect
