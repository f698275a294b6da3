#include "ProfileChecks.h"

#include "Levels.h"
#include "PictureParameterSetChecks.h"
#include "ProfileTierLevelChecks.h"
#include "SequenceParameterSetChecks.h"
#include "SpsExtensionsChecks.h"

namespace h265_syntax {

namespace {

// A claim: the profile's number, and how the sentence names it.
struct Claim
{
    unsigned uiProfile;
    std::string name;
    const char* pClause;
};

constexpr const char* CLAUSES[] = {
    "", "A.3.2", "A.3.3", "A.3.4", "A.3.5", "A.3.6", "G.11.1.1", "H.11.1.1", "I.11.1.1", "A.3.7", "H.11.1.2", "A.3.8"};

// In a multilayer profile the base layer is what its own claims of Main or Main 10 say.
bool isOfOneLayer(unsigned uiProfile)
{
    return uiProfile < PROFILE_MULTIVIEW_MAIN || uiProfile == PROFILE_SCREEN_EXTENDED ||
           uiProfile == PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED;
}

template <class TCheck>
void forEachClaim(const ProfileTierLevel& ptl, TCheck check)
{
    for (unsigned uiProfile = PROFILE_MAIN; uiProfile <= PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED; ++uiProfile) {
        if (!claims(ptl, uiProfile) || !isOfOneLayer(uiProfile))
            continue;
        std::string name = profileGroupName(uiProfile);
        if (ptl.general_profile_idc != uiProfile)
            name += say(" (by general_profile_compatibility_flag[", uiProfile, "])");
        check(Claim{uiProfile, std::move(name), CLAUSES[uiProfile]});
    }
}

bool isByFlags(unsigned uiProfile)
{
    return uiProfile >= PROFILE_RANGE_EXTENSIONS;
}

unsigned maxBitDepth(const ProfileTierLevel& ptl, unsigned uiProfile)
{
    if (!isByFlags(uiProfile))
        return uiProfile == PROFILE_MAIN_10 ? 10 : 8;
    return ptl.general_max_8bit_constraint_flag    ? 8
           : ptl.general_max_10bit_constraint_flag ? 10
           : ptl.general_max_12bit_constraint_flag ? 12
           : isMax14Bit(ptl)                       ? 14
                                                   : 16;
}

unsigned maxChromaFormat(const ProfileTierLevel& ptl, unsigned uiProfile)
{
    if (!isByFlags(uiProfile))
        return 1;
    return ptl.general_max_monochrome_constraint_flag  ? 0
           : ptl.general_max_420chroma_constraint_flag ? 1
           : ptl.general_max_422chroma_constraint_flag ? 2
                                                       : 3;
}

void checkFormat(const SequenceParameterSet& s, const Claim& claim, CChecks& checks)
{
    constexpr unsigned MAX_DEPTH_MINUS8 = 8; // above, it is forbidden anyway
    const unsigned uiMaxDepth = maxBitDepth(s.profile_tier_level, claim.uiProfile) - 8;
    SHALL(s.bit_depth_luma_minus8 <= uiMaxDepth || s.bit_depth_luma_minus8 > MAX_DEPTH_MINUS8,
          BLAME(bit_depth_luma_minus8),
          claim.pClause,
          say("at most ", uiMaxDepth),
          "luma has ",
          s.bit_depth_luma_minus8 + std::uint64_t{8},
          " bits, ",
          claim.name,
          " allows ",
          uiMaxDepth + 8);
    SHALL(s.bit_depth_chroma_minus8 <= uiMaxDepth || s.bit_depth_chroma_minus8 > MAX_DEPTH_MINUS8,
          BLAME(bit_depth_chroma_minus8),
          claim.pClause,
          say("at most ", uiMaxDepth),
          "chroma has ",
          s.bit_depth_chroma_minus8 + std::uint64_t{8},
          " bits, ",
          claim.name,
          " allows ",
          uiMaxDepth + 8);
    constexpr const char* FORMATS[] = {"4:0:0", "4:2:0", "4:2:2", "4:4:4"};
    const unsigned uiMaxFormat = maxChromaFormat(s.profile_tier_level, claim.uiProfile);
    const unsigned uiMinFormat = isByFlags(claim.uiProfile) ? 0 : 1;
    SHALL(s.chroma_format_idc > 3 || (s.chroma_format_idc >= uiMinFormat && s.chroma_format_idc <= uiMaxFormat),
          BLAME(chroma_format_idc),
          claim.pClause,
          uiMinFormat == uiMaxFormat ? say(uiMaxFormat) : say(uiMinFormat, " to ", uiMaxFormat),
          "the pictures are ",
          FORMATS[s.chroma_format_idc],
          ", ",
          claim.name,
          " allows ",
          uiMinFormat == uiMaxFormat ? "only " : "up to ",
          FORMATS[uiMaxFormat]);
}

// A.3.5 and others
void checkPlanes(const SequenceParameterSet& s, const Claim& claim, CChecks& checks)
{
    SHALL(!s.separate_colour_plane_flag || maxChromaFormat(s.profile_tier_level, claim.uiProfile) < 3,
          BLAME(separate_colour_plane_flag),
          claim.pClause,
          "0",
          "the colour planes are coded separately, which ",
          claim.name,
          " does not allow");
}

void checkCtb(const SequenceParameterSet& s, const Claim& claim, CChecks& checks)
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

// A.3.4, and Main 10 Still Picture of A.3.3
bool isStillPicture(const ProfileTierLevel& s, unsigned uiProfile)
{
    return uiProfile == PROFILE_MAIN_STILL_PICTURE ||
           (uiProfile == PROFILE_MAIN_10 && s.general_one_picture_only_constraint_flag);
}

void checkStillPicture(const SequenceParameterSet& s, const Claim& claim, CChecks& checks)
{
    const unsigned uiHighest = s.sps_max_sub_layers_minus1;
    SHALL(!isStillPicture(s.profile_tier_level, claim.uiProfile) || s.sps_max_dec_pic_buffering_minus1[uiHighest] == 0,
          BLAME_1(sps_max_dec_pic_buffering_minus1, uiHighest),
          claim.pClause,
          "0",
          "the stream is one picture by its profile, ",
          claim.name,
          ", and needs no further one in the buffer");
}

// The flags of sps_range_extension( ): 4:4:4 and 16-bit profiles have most, 16-bit ones extended precision,
// High Throughput of 16 bits the alignment.
void checkRangeTools(const SequenceParameterSet& sps, const Claim& claim, CChecks checks)
{
    const SpsRangeExtension& s = sps.sps_range_extension;
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
    const ProfileTierLevel& ptl = sps.profile_tier_level;
    const bool b16Bit = isByFlags(claim.uiProfile) && maxBitDepth(ptl, claim.uiProfile) == 16;
    const bool bRange = claim.uiProfile == PROFILE_RANGE_EXTENSIONS && maxChromaFormat(ptl, claim.uiProfile) < 3;
    if (!b16Bit && (bRange || !isByFlags(claim.uiProfile))) {
        forbid(BLAME(transform_skip_rotation_enabled_flag));
        forbid(BLAME(transform_skip_context_enabled_flag));
        forbid(BLAME(implicit_rdpcm_enabled_flag));
        forbid(BLAME(explicit_rdpcm_enabled_flag));
        forbid(BLAME(intra_smoothing_disabled_flag));
        forbid(BLAME(persistent_rice_adaptation_enabled_flag));
    }
    if (!b16Bit) {
        forbid(BLAME(extended_precision_processing_flag));
        forbid(BLAME(cabac_bypass_alignment_enabled_flag));
    } else if (claim.uiProfile != PROFILE_HIGH_THROUGHPUT) {
        forbid(BLAME(cabac_bypass_alignment_enabled_flag));
    }
    if (!isByFlags(claim.uiProfile))
        forbid(BLAME(high_precision_offsets_enabled_flag));
}

bool isScreenContent(unsigned uiProfile)
{
    return uiProfile == PROFILE_SCREEN_EXTENDED || uiProfile == PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED;
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

// Level 8.5 has no limits and is there for pictures that are coded alone.
bool allowsUnlimitedLevel(const ProfileTierLevel& s, const Claim& claim)
{
    return isStillPicture(s, claim.uiProfile) || (isByFlags(claim.uiProfile) && s.general_intra_constraint_flag);
}

// A.3.5 to A.3.8: which combinations of the flags name a profile.
void checkFlags(const ProfileTierLevel& s, CChecks checks)
{
    if (!isByFlags(s.general_profile_idc) || !isOfOneLayer(s.general_profile_idc) || profileOf(s) != nullptr)
        return;
    checks.error(BLAME(general_profile_idc),
                 CLAUSES[s.general_profile_idc],
                 "flags of a profile",
                 say("the constraint flags name none of the profiles of ", profileGroupName(s.general_profile_idc)));
}

} // namespace

const Profile* profileOf(const ProfileTierLevel& s) noexcept
{
    return s.general_profile_space == 0 ? findProfile(s.general_profile_idc, constraintFlags(s)) : nullptr;
}

void checkProfilesOfSps(const SequenceParameterSet& s, CFindings& findings)
{
    if (s.MultiLayerExtSpsFlag)
        return;
    CChecks checks(findings, "");
    const ProfileTierLevel& ptl = s.profile_tier_level;
    if (ptl.general_profile_space == 0 && ptl.general_profile_idc <= PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED)
        checkFlags(ptl, checks.inside("profile_tier_level"));
    bool bLevelTold = ptl.general_level_idc != LEVEL_8_5_IDC;
    forEachClaim(ptl, [&](const Claim& claim) {
        if (!bLevelTold && !allowsUnlimitedLevel(ptl, claim)) {
            checks.inside("profile_tier_level")
                .error(Blamed("general_level_idc", ptl.general_level_idc),
                       claim.pClause,
                       "30 to 186",
                       say("level 8.5 is for intra and still picture profiles, not for ", claim.name));
            bLevelTold = true;
        }
        checkFormat(s, claim, checks);
        checkPlanes(s, claim, checks);
        checkCtb(s, claim, checks);
        checkStillPicture(s, claim, checks);
        if (s.sps_range_extension_flag)
            checkRangeTools(s, claim, checks.inside("sps_range_extension"));
        if (s.sps_scc_extension_flag)
            checkSccTools(s.sps_scc_extension, claim, checks.inside("sps_scc_extension"));
    });
}

namespace {

// A.3.2 and others: the sizes count whole CTBs, also where the picture ends inside one.
void checkTileSizes(const PictureParameterSet& s, const SequenceParameterSet& sps, const Claim& claim, CChecks& checks)
{
    constexpr std::uint64_t MIN_WIDTH = 256;
    constexpr std::uint64_t MIN_HEIGHT = 64;
    const std::uint64_t CtbLog2SizeY = blockSizes(sps).CtbLog2SizeY;
    const auto [PicWidthInCtbsY, PicHeightInCtbsY] = pictureInCtbs(sps);
    const std::uint64_t ulColumns = std::uint64_t{s.num_tile_columns_minus1} + 1;
    const std::uint64_t ulRows = std::uint64_t{s.num_tile_rows_minus1} + 1;
    if ((s.stop && !s.uniform_spacing_flag) || CtbLog2SizeY > 6 || ulColumns > PicWidthInCtbsY ||
        ulRows > PicHeightInCtbsY)
        return; // told elsewhere, or not all there
    for (std::uint64_t i = 0; ulColumns > 1 && i < ulColumns; ++i) {
        const std::uint64_t ulWidth =
            tileSize(s.uniform_spacing_flag, s.column_width_minus1, ulColumns, PicWidthInCtbsY, i) << CtbLog2SizeY;
        if (ulWidth >= MIN_WIDTH || ulWidth == 0)
            continue;
        const bool bOwn = !s.uniform_spacing_flag && i + 1 < ulColumns;
        checks.error(bOwn ? BLAME_1(column_width_minus1, static_cast<unsigned>(i)) : BLAME(num_tile_columns_minus1),
                     claim.pClause,
                     "tile columns of at least 256 samples",
                     say("tile column ", i, " is ", ulWidth, " samples wide, ", claim.name, " asks for at least 256"));
        break;
    }
    for (std::uint64_t i = 0; ulRows > 1 && i < ulRows; ++i) {
        const std::uint64_t ulHeight =
            tileSize(s.uniform_spacing_flag, s.row_height_minus1, ulRows, PicHeightInCtbsY, i) << CtbLog2SizeY;
        if (ulHeight >= MIN_HEIGHT || ulHeight == 0)
            continue;
        const bool bOwn = !s.uniform_spacing_flag && i + 1 < ulRows;
        checks.error(bOwn ? BLAME_1(row_height_minus1, static_cast<unsigned>(i)) : BLAME(num_tile_rows_minus1),
                     claim.pClause,
                     "tile rows of at least 64 samples",
                     say("tile row ", i, " is ", ulHeight, " samples high, ", claim.name, " asks for at least 64"));
        break;
    }
}

void checkPpsTools(const PictureParameterSet& pps, const Claim& claim, const CChecks& checks)
{
    const auto forbid = [&](const CChecks& where, const Blamed& blamed) {
        CChecks inside = where;
        if (blamed.iValue != 0)
            inside.error(
                blamed, claim.pClause, "0", say(blamed.pName, " is a tool that ", claim.name, " does not have"));
    };
    if (pps.pps_range_extension_flag && !isByFlags(claim.uiProfile)) {
        const PpsRangeExtension& s = pps.pps_range_extension;
        forbid(checks.inside("pps_range_extension"), BLAME(log2_max_transform_skip_block_size_minus2));
        forbid(checks.inside("pps_range_extension"), BLAME(chroma_qp_offset_list_enabled_flag));
    }
    if (pps.pps_scc_extension_flag && !isScreenContent(claim.uiProfile)) {
        const PpsSccExtension& s = pps.pps_scc_extension;
        forbid(checks.inside("pps_scc_extension"), BLAME(pps_curr_pic_ref_enabled_flag));
        forbid(checks.inside("pps_scc_extension"), BLAME(residual_adaptive_colour_transform_enabled_flag));
    }
}

} // namespace

void checkProfilesOfPps(const PictureParameterSet& s, const SequenceParameterSet& sps, CFindings& findings)
{
    if (sps.MultiLayerExtSpsFlag)
        return;
    CChecks checks(findings, "");
    forEachClaim(sps.profile_tier_level, [&](const Claim& claim) {
        const bool bThroughput =
            claim.uiProfile == PROFILE_HIGH_THROUGHPUT || claim.uiProfile == PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED;
        SHALL(bThroughput || !s.tiles_enabled_flag || !s.entropy_coding_sync_enabled_flag,
              BLAME(entropy_coding_sync_enabled_flag),
              claim.pClause,
              "0 with tiles",
              claim.name,
              " does not allow tiles and wavefronts together");
        if (s.tiles_enabled_flag)
            checkTileSizes(s, sps, claim, checks);
        checkPpsTools(s, claim, checks);
    });
}

} // namespace h265_syntax
