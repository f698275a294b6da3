#include "ClaimConfigurationChecks.h"

#include <algorithm>
#include <string>

#include "ClaimProfileText.h"

namespace h265_inspect {

using namespace h265_syntax;
using h265_container::Claim;
using h265_container::DecoderConfiguration;

namespace {

void checkProfile(const DecoderConfiguration& c, const ClaimedSps& sps, const CBoxChecks& checks)
{
    const ClaimedProfile& s = sps.set.profile_tier_level;
    SHALL(c.general_profile_space == s.general_profile_space,
          BLAME(general_profile_space),
          RECORD_CLAUSE,
          say(c.general_profile_space),
          checks.box(),
          " says general_profile_space ",
          c.general_profile_space,
          ", ",
          sps.name(),
          " says ",
          s.general_profile_space);
    SHALL(conformsTo(sps, c.general_profile_idc),
          BLAME(general_profile_idc),
          RECORD_CLAUSE,
          say(c.general_profile_idc),
          checks.box(),
          " says general_profile_idc ",
          c.general_profile_idc,
          ", ",
          sps.name(),
          " says ",
          s.general_profile_idc,
          " (",
          sps.gist.profile,
          ") and is not compatible with it");
    SHALL(c.general_tier_flag || !s.general_tier_flag,
          BLAME(general_tier_flag),
          RECORD_CLAUSE,
          say("at most ", 0),
          checks.box(),
          " says Main tier (general_tier_flag 0), ",
          sps.name(),
          " says High tier (1)");
    const std::uint32_t uiTooMany = c.general_profile_compatibility_flags & ~sps.set.profile_tier_level.uiCompatibility;
    SHALL(uiTooMany == 0,
          blamedFlag(uiTooMany, false),
          RECORD_CLAUSE,
          "1",
          checks.box(),
          " sets ",
          flagsText(uiTooMany),
          " (",
          hexText(c.general_profile_compatibility_flags, 8),
          "), ",
          sps.name(),
          " does not (",
          hexText(sps.set.profile_tier_level.uiCompatibility, 8),
          ")");
    const std::uint64_t ulTooMany = c.general_constraint_indicator_flags & ~sps.set.profile_tier_level.ulConstraints;
    SHALL(ulTooMany == 0,
          blamedConstraint(ulTooMany, false),
          RECORD_CLAUSE,
          "1",
          checks.box(),
          " says general_constraint_indicator_flags ",
          constraintsText(c.general_constraint_indicator_flags),
          ", ",
          sps.name(),
          " says ",
          constraintsText(sps.set.profile_tier_level.ulConstraints),
          ", with fewer of them set");
}

void checkLevel(const DecoderConfiguration& c, const ClaimedSps& sps, const CBoxChecks& checks)
{
    const ClaimedProfile& s = sps.set.profile_tier_level;
    // A higher tier reaches further in every level.
    const bool bTierAbove = c.general_tier_flag && !s.general_tier_flag;
    SHALL(bTierAbove || c.general_level_idc >= s.general_level_idc,
          BLAME(general_level_idc),
          RECORD_CLAUSE,
          say("at most ", c.general_level_idc),
          checks.box(),
          " says ",
          c.general_level_idc == 0 ? "no level (general_level_idc 0)" : levelText(c.general_level_idc),
          ", ",
          sps.name(),
          " says ",
          levelText(s.general_level_idc));
}

void checkSamples(const DecoderConfiguration& c, const ClaimedSps& sps, const CBoxChecks& checks)
{
    const SpsValues& s = sps.set;
    SHALL(c.chroma_format_idc == s.chroma_format_idc,
          BLAME(chroma_format_idc),
          RECORD_CLAUSE,
          say(c.chroma_format_idc),
          checks.box(),
          " says chroma_format_idc ",
          c.chroma_format_idc,
          ", ",
          sps.name(),
          " says ",
          s.chroma_format_idc,
          " (",
          chromaFormatOf(sps.gist),
          ")");
    SHALL(c.bit_depth_luma_minus8 == s.bit_depth_luma_minus8,
          BLAME(bit_depth_luma_minus8),
          RECORD_CLAUSE,
          say(c.bit_depth_luma_minus8),
          checks.box(),
          " says ",
          c.bit_depth_luma_minus8 + 8,
          " bits of luma (bit_depth_luma_minus8 ",
          c.bit_depth_luma_minus8,
          "), ",
          sps.name(),
          " says ",
          s.bit_depth_luma_minus8 + 8,
          " (",
          s.bit_depth_luma_minus8,
          ")");
    SHALL(c.bit_depth_chroma_minus8 == s.bit_depth_chroma_minus8,
          BLAME(bit_depth_chroma_minus8),
          RECORD_CLAUSE,
          say(c.bit_depth_chroma_minus8),
          checks.box(),
          " says ",
          c.bit_depth_chroma_minus8 + 8,
          " bits of chroma (bit_depth_chroma_minus8 ",
          c.bit_depth_chroma_minus8,
          "), ",
          sps.name(),
          " says ",
          s.bit_depth_chroma_minus8 + 8,
          " (",
          s.bit_depth_chroma_minus8,
          ")");
}

void checkLayers(const DecoderConfiguration& c, const ClaimedSps& sps, const CBoxChecks& checks)
{
    const SpsValues& s = sps.set;
    SHALL(!c.temporalIdNested || s.sps_temporal_id_nesting_flag,
          BLAME(sps_temporal_id_nesting_flag),
          FIELDS_CLAUSE,
          "1",
          checks.box(),
          " says temporalIdNested 1, ",
          sps.name(),
          " says sps_temporal_id_nesting_flag 0");
}

void checkSegmentation(const DecoderConfiguration& c, const ClaimedSps& sps, const CBoxChecks& checks)
{
    const VuiParameters& vui = sps.set.vui_parameters;
    const bool bCoded = sps.set.vui_parameters_present_flag && vui.bitstream_restriction_flag;
    const std::uint32_t uiCoded = bCoded ? vui.min_spatial_segmentation_idc : 0;
    SHALL(c.min_spatial_segmentation_idc <= uiCoded,
          Blamed("min_spatial_segmentation_idc", uiCoded),
          RECORD_CLAUSE,
          say("at least ", c.min_spatial_segmentation_idc),
          checks.box(),
          " says min_spatial_segmentation_idc ",
          c.min_spatial_segmentation_idc,
          ", ",
          sps.name(),
          bCoded ? " says " : " has none, which means ",
          uiCoded);
}

// 256 pictures in avgFrameRate seconds. A VUI counts ticks, which a stream need not use up: no error.
void checkFrameRate(const DecoderConfiguration& c, const ClaimedSps& sps, const CBoxChecks& checks)
{
    SHALL(c.constantFrameRate != 3,
          Blamed("constantFrameRate", c.constantFrameRate),
          FIELDS_CLAUSE,
          "0 to 2",
          checks.box(),
          " says constantFrameRate 3, which is reserved");
    if (c.avgFrameRate == 0 || !sps.gist.frameRate)
        return;
    constexpr double UNIT = 256;
    const FrameRate& rate = *sps.gist.frameRate;
    const double coded = static_cast<double>(rate.ulNumerator) / static_cast<double>(rate.ulDenominator);
    const double claimed = c.avgFrameRate / UNIT;
    const double difference = claimed > coded ? claimed - coded : coded - claimed;
    SHOULD(difference <= 1 / UNIT + coded / 100,
           sps.timeScale(),
           FIELDS_CLAUSE,
           perSecond(decimalOf(c.avgFrameRate, 256), "frame"),
           checks.box(),
           " says ",
           perSecond(decimalOf(c.avgFrameRate, 256), "frame"),
           " (avgFrameRate ",
           c.avgFrameRate,
           c.constantFrameRate == 0 ? "" : ", constant",
           "), ",
           sps.rateHolder(),
           " says ",
           decimalOf(rate.ulNumerator, rate.ulDenominator));
}

} // namespace

void checkConfiguration(const Claim<DecoderConfiguration>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    const CBoxChecks checks(findings, claim);
    const DecoderConfiguration& c = claim.value;
    checkProfile(c, sps, checks.inside("profile_tier_level"));
    checkLevel(c, sps, checks.inside("profile_tier_level"));
    checkSamples(c, sps, checks);
    checkLayers(c, sps, checks);
    checkSegmentation(c, sps, checks.inside("vui_parameters"));
    checkFrameRate(c, sps, checks.inside(sps.timeStructure()));
}

void checkConfiguration(const Claim<DecoderConfiguration>& claim, const PictureParameterSet& s,
                        CClaimFindings& findings)
{
    constexpr unsigned char TILES = 2;
    constexpr unsigned char WAVEFRONT = 3;
    const DecoderConfiguration& c = claim.value;
    const CBoxChecks checks(findings, claim);
    const auto name = [&] { return say("PPS ", s.pps_pic_parameter_set_id); };
    SHALL(c.parallelismType != TILES || s.tiles_enabled_flag,
          BLAME(tiles_enabled_flag),
          FIELDS_CLAUSE,
          "1",
          checks.box(),
          " says that pictures are cut into tiles (parallelismType 2), ",
          name(),
          " says tiles_enabled_flag 0");
    SHALL(c.parallelismType != WAVEFRONT || s.entropy_coding_sync_enabled_flag,
          BLAME(entropy_coding_sync_enabled_flag),
          FIELDS_CLAUSE,
          "1",
          checks.box(),
          " says wavefronts (parallelismType 3), ",
          name(),
          " says entropy_coding_sync_enabled_flag 0");
}

namespace {

void checkWholeLayers(const DecoderConfiguration& c, const Together& all, unsigned uiTemporalLayers,
                      const CBoxChecks& checks)
{
    const Blamed blamed("sps_max_sub_layers_minus1", static_cast<std::int64_t>(all.uiSubLayers) - 1);
    SHALL(c.numTemporalLayers <= all.uiSubLayers,
          blamed,
          FIELDS_CLAUSE,
          say("at least ", c.numTemporalLayers - 1),
          checks.box(),
          " says ",
          c.numTemporalLayers,
          " temporal layers (numTemporalLayers), the SPS allows ",
          all.uiSubLayers,
          " (sps_max_sub_layers_minus1 ",
          all.uiSubLayers - 1,
          ")");
    SHALL(c.numTemporalLayers == 0 || c.numTemporalLayers >= uiTemporalLayers,
          blamed,
          FIELDS_CLAUSE,
          say("at most ", c.numTemporalLayers - 1),
          checks.box(),
          " says numTemporalLayers ",
          c.numTemporalLayers,
          ", the stream has ",
          uiTemporalLayers);
}

} // namespace

void checkWholeConfiguration(const Claim<DecoderConfiguration>& claim, std::span<const ClaimedSps> spss,
                             unsigned uiTemporalLayers, CClaimFindings& findings)
{
    if (spss.empty())
        return;
    const DecoderConfiguration& c = claim.value;
    const CBoxChecks checks = CBoxChecks(findings, claim).inside("profile_tier_level");
    const Together all = together(spss);
    const char* const pSps = spss.size() == 1 ? "the SPS" : "no SPS";
    const char* const pSays = spss.size() == 1 ? " says " : " says more than ";
    SHOULD(!c.general_tier_flag || all.general_tier_flag,
           Blamed("general_tier_flag", 0),
           RECORD_CLAUSE,
           "1",
           checks.box(),
           " says High tier (general_tier_flag 1), ",
           pSps,
           pSays,
           tierText(false));
    SHOULD(c.general_tier_flag != all.general_tier_flag || c.general_level_idc <= all.general_level_idc,
           Blamed("general_level_idc", all.general_level_idc),
           RECORD_CLAUSE,
           say("at least ", c.general_level_idc),
           checks.box(),
           " says ",
           levelText(c.general_level_idc),
           ", ",
           pSps,
           pSays,
           levelText(all.general_level_idc),
           "; a player that ends below the level that is claimed refuses it");
    const std::uint32_t uiLeftOut = all.uiCompatibility & ~c.general_profile_compatibility_flags;
    SHOULD(uiLeftOut == 0,
           blamedFlag(uiLeftOut, true),
           RECORD_CLAUSE,
           "0",
           checks.box(),
           " leaves out ",
           flagsText(uiLeftOut),
           " (",
           hexText(c.general_profile_compatibility_flags, 8),
           "), which every SPS sets (",
           hexText(all.uiCompatibility, 8),
           ")");
    const std::uint64_t ulLeftOut = all.ulConstraints & ~c.general_constraint_indicator_flags;
    SHOULD(ulLeftOut == 0,
           blamedConstraint(ulLeftOut, true),
           RECORD_CLAUSE,
           "0",
           checks.box(),
           " says general_constraint_indicator_flags ",
           constraintsText(c.general_constraint_indicator_flags),
           ", every SPS sets ",
           constraintsText(all.ulConstraints));
    checkWholeLayers(c, all, uiTemporalLayers, checks.inside(""));
}

} // namespace h265_inspect
