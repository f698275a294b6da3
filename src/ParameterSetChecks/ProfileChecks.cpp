#include "ProfileChecks.h"

#include "Levels.h"
#include "ProfileClaims.h"
#include "SequenceParameterSetChecks.h"
#include "SpsExtensionsChecks.h"

namespace h265_syntax {

namespace {

void checkFormat(const SequenceParameterSet& s, const Claim& claim, CChecks& checks)
{
    checkBitDepth(BLAME(bit_depth_luma_minus8), "luma", claim, checks);
    checkBitDepth(BLAME(bit_depth_chroma_minus8), "chroma", claim, checks);
    const unsigned uiMaxFormat = maxChromaFormat(claim);
    const unsigned uiMinFormat = minChromaFormat(claim);
    SHALL(s.chroma_format_idc > 3 || (s.chroma_format_idc >= uiMinFormat && s.chroma_format_idc <= uiMaxFormat),
          BLAME(chroma_format_idc),
          claim.pClause,
          uiMinFormat == uiMaxFormat ? say(uiMaxFormat) : say(uiMinFormat, " to ", uiMaxFormat),
          "the pictures are ",
          nameOfChromaFormat(s.chroma_format_idc),
          ", ",
          claim.name,
          " allows ",
          uiMinFormat == uiMaxFormat ? "only " : "up to ",
          nameOfChromaFormat(uiMaxFormat));
}

// A.3.5 and others
void checkPlanes(const SequenceParameterSet& s, const Claim& claim, CChecks& checks)
{
    SHALL(!s.separate_colour_plane_flag || maxChromaFormat(claim) < 3,
          BLAME(separate_colour_plane_flag),
          claim.pClause,
          "0",
          "the colour planes are coded separately, which ",
          claim.name,
          " does not allow");
}

// A.3.4, and Main 10 Still Picture of A.3.3
bool isStillPicture(const ProfileTierLevel& s)
{
    return claims(s, PROFILE_MAIN_STILL_PICTURE) ||
           (claims(s, PROFILE_MAIN_10) && s.general_one_picture_only_constraint_flag);
}

void checkStillPicture(const SequenceParameterSet& s, const Claim& claim, CChecks& checks)
{
    const unsigned uiHighest = s.sps_max_sub_layers_minus1;
    const bool bOnePicture = claim.ptl.general_one_picture_only_constraint_flag;
    const bool bStill =
        claim.uiProfile == PROFILE_MAIN_STILL_PICTURE ||
        ((claim.uiProfile == PROFILE_MAIN_10 || claim.uiProfile == PROFILE_RANGE_EXTENSIONS) && bOnePicture);
    if (!bStill || s.sps_max_dec_pic_buffering_minus1[uiHighest] == 0)
        return;
    const Blamed blamed = BLAME_1(sps_max_dec_pic_buffering_minus1, uiHighest);
    std::string message =
        say("the stream is one picture by its profile, ", claim.name, ", and needs no further one in the buffer");
    if (claim.uiProfile == PROFILE_RANGE_EXTENSIONS)
        checks.warning(blamed, claim.pClause, "0", std::move(message));
    else
        checks.error(blamed, claim.pClause, "0", std::move(message));
}

// The flags of sps_range_extension( ), Tables A.2 and others: of Range Extensions those of 4:4:4 and of 16 bits
// have most, those of 16 bits extended precision, High Throughput of 16 bits the alignment.
void checkRangeTools(const SequenceParameterSet& sps, const Claim& claim, CChecks checks)
{
    const SpsRangeExtension& s = sps.sps_range_extension;
    const auto message = [&](const Blamed& blamed) {
        return say(blamed.pName, " is a tool that ", claim.name, " does not have");
    };
    const auto forbid = [&](const Blamed& blamed) {
        SHALL(blamed.iValue == 0, blamed, claim.pClause, "0", message(blamed));
    };
    const bool b16Bit = hasRangeTools(claim.uiProfile) && maxBitDepth(claim) == 16;
    if (!hasGeneralRangeTools(claim)) {
        forbid(BLAME(transform_skip_rotation_enabled_flag));
        forbid(BLAME(transform_skip_context_enabled_flag));
        forbid(BLAME(implicit_rdpcm_enabled_flag));
        forbid(BLAME(explicit_rdpcm_enabled_flag));
        forbid(BLAME(intra_smoothing_disabled_flag));
        forbid(BLAME(persistent_rice_adaptation_enabled_flag));
    }
    if (isHighThroughput(claim.uiProfile) && !b16Bit) {
        // Of no effect, or nearly, in 8 and 10 bits.
        const Blamed aBlamed[] = {BLAME(extended_precision_processing_flag),
                                  BLAME(cabac_bypass_alignment_enabled_flag)};
        for (const Blamed& blamed : aBlamed)
            SHOULD(blamed.iValue == 0, blamed, claim.pClause, "0", message(blamed), " below 16 bits");
        return;
    }
    if (!b16Bit)
        forbid(BLAME(extended_precision_processing_flag));
    if (!isHighThroughput(claim.uiProfile))
        forbid(BLAME(cabac_bypass_alignment_enabled_flag));
    if (!hasRangeTools(claim.uiProfile))
        forbid(BLAME(high_precision_offsets_enabled_flag));
}

void checkSccTools(const SpsSccExtension& s, const Claim& claim, CChecks checks)
{
    if (isScreenContent(claim.uiProfile)) {
        RANGE(palette_max_size, 0, 64, claim.pClause);
        SHALL(PaletteMaxPredictorSize(s) <= 128,
              BLAME(delta_palette_max_predictor_size),
              claim.pClause,
              "a palette predictor of at most 128 entries",
              "the palette predictor has ",
              PaletteMaxPredictorSize(s),
              " entries, ",
              claim.name,
              " allows 128");
        return;
    }
    const auto forbid = [&](const Blamed& blamed) {
        SHALL(blamed.iValue == 0,
              blamed,
              claim.pClause,
              "0",
              blamed.pName,
              " is a tool that ",
              claim.name,
              " does not have");
    };
    forbid(BLAME(sps_curr_pic_ref_enabled_flag));
    forbid(BLAME(palette_mode_enabled_flag));
    forbid(BLAME(motion_vector_resolution_control_idc));
    forbid(BLAME(intra_boundary_filtering_disabled_flag));
}

// Level 8.5 has no limits and is there for pictures that are coded alone. A still picture that conforms to Main as
// well is one all the same.
bool allowsUnlimitedLevel(const ProfileTierLevel& s, const Claim& claim)
{
    return isByFlags(claim.uiProfile) ? s.general_intra_constraint_flag : isStillPicture(s);
}

void checkUnlimitedLevels(const SequenceParameterSet& sps, const Claim& claim, CChecks checks)
{
    const ProfileTierLevel& s = sps.profile_tier_level;
    const auto check = [&](const Blamed& blamed) {
        SHALL(blamed.iValue != LEVEL_8_5_IDC,
              blamed,
              claim.pClause,
              "30 to 186",
              "level 8.5 is for intra and still picture profiles, not for ",
              claim.name);
    };
    check(BLAME(general_level_idc));
    for (unsigned i = 0; i < sps.sps_max_sub_layers_minus1; ++i) {
        if (s.sub_layer_level_present_flag[i])
            check(BLAME_1(sub_layer_level_idc, i));
    }
}

// The pictures of a sub-layer are the whole stream's: a narrower profile of its own must have room for them, too.
void checkSubLayers(const SequenceParameterSet& s, CChecks& checks)
{
    const ProfileTierLevel& ptl = s.profile_tier_level;
    for (unsigned i = 0; i < s.sps_max_sub_layers_minus1; ++i) {
        if (!ptl.sub_layer_profile_present_flag[i])
            continue;
        const ProfileTierLevel own = ofSubLayer(ptl, i);
        forEachClaim(own, [&](Claim claim) {
            if (claims(ptl, claim.uiProfile))
                return; // held against it already
            claim.name += say(" of sub-layer ", i);
            checkFormat(s, claim, checks);
        });
    }
}

} // namespace

void checkBitDepth(const Blamed& blamed, const char* pWhat, const Claim& claim, CChecks& checks)
{
    constexpr std::int64_t MAX_DEPTH_MINUS8 = 8; // above, it is forbidden anyway
    const std::int64_t iMax = std::int64_t{maxBitDepth(claim)} - 8;
    SHALL(blamed.iValue <= iMax || blamed.iValue > MAX_DEPTH_MINUS8,
          blamed,
          claim.pClause,
          say("at most ", iMax),
          pWhat,
          " has ",
          blamed.iValue + 8,
          " bits, ",
          claim.name,
          " allows ",
          iMax + 8);
}

bool hasGeneralRangeTools(const Claim& claim) noexcept
{
    if (claim.uiProfile != PROFILE_RANGE_EXTENSIONS)
        return hasRangeTools(claim.uiProfile);
    return maxBitDepth(claim) == 16 || maxChromaFormat(claim) == 3;
}

void checkToolsOfProfile(const SequenceParameterSet& s, const Claim& claim, const CChecks& checks)
{
    if (s.sps_range_extension_flag)
        checkRangeTools(s, claim, checks.inside("sps_range_extension"));
    if (s.sps_scc_extension_flag)
        checkSccTools(s.sps_scc_extension, claim, checks.inside("sps_scc_extension"));
}

void checkCtbOfProfile(const SequenceParameterSet& s, const Claim& claim, CChecks& checks)
{
    const std::uint64_t CtbLog2SizeY = blockSizes(s).CtbLog2SizeY;
    SHALL(CtbLog2SizeY >= 4 && CtbLog2SizeY <= 6,
          BLAME(log2_diff_max_min_luma_coding_block_size),
          claim.pClause,
          "a CTB of 16, 32 or 64",
          "the CTB is 2^",
          CtbLog2SizeY,
          " samples wide, ",
          claim.name,
          " allows 16, 32 and 64");
}

void checkProfilesOfSps(const SequenceParameterSet& s, CFindings& findings)
{
    if (s.MultiLayerExtSpsFlag)
        return;
    CChecks checks(findings, "");
    const ProfileTierLevel& ptl = s.profile_tier_level;
    bool bLevelTold = false;
    forEachClaim(ptl, [&](const Claim& claim) {
        if (!bLevelTold && !allowsUnlimitedLevel(ptl, claim)) {
            checkUnlimitedLevels(s, claim, checks.inside("profile_tier_level"));
            bLevelTold = true;
        }
        checkFormat(s, claim, checks);
        checkPlanes(s, claim, checks);
        checkCtbOfProfile(s, claim, checks);
        checkStillPicture(s, claim, checks);
        checkToolsOfProfile(s, claim, checks);
    });
    checkSubLayers(s, checks);
}

} // namespace h265_syntax
