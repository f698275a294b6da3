// What decoder configuration records and descriptors claim, held against the sets.

#include <gtest/gtest.h>

#include "ClaimedTrack.h"

namespace claim_configuration_checks_test {

using namespace h265_container;
using namespace h265_syntax;
using namespace h265_test;

namespace {

TEST(ClaimConfigurationChecks, FindNothingWhereTheRecordIsRight)
{
    EXPECT_EQ(toldOf(foundOf(rightTrack())), "");
}

TEST(ClaimConfigurationChecks, HoldEachFieldAgainstTheSps)
{
    const ClaimRow aRows[] = {
        {"space",
         [](auto& t) { t.hvcC().general_profile_space = 1; },
         "error profile_tier_level.general_profile_space [14496-15 8.3.2.1.1]",
         "hvcC says general_profile_space 1, SPS 0 says 0"},
        {"another profile",
         [](auto& t) { t.hvcC().general_profile_idc = 2; },
         "error profile_tier_level.general_profile_idc [14496-15 8.3.2.1.1]",
         "hvcC says general_profile_idc 2, SPS 0 says 4 (Main 4:4:4 16 Intra) and is not compatible with it"},
        {"a profile that the SPS is compatible with",
         [](auto& t) {
             applyChanges(t.sps, "profile_tier_level.general_profile_compatibility_flag[2]=1");
             t.hvcC().general_profile_compatibility_flags |= std::uint32_t{1} << 29;
             t.hvcC().general_profile_idc = 2;
         },
         "",
         ""},
        {"tier too low",
         [](auto& t) { applyChanges(t.sps, "profile_tier_level.general_tier_flag=1"); },
         "error profile_tier_level.general_tier_flag [14496-15 8.3.2.1.1]",
         "hvcC says Main tier (general_tier_flag 0), SPS 0 says High tier (1)"},
        {"tier higher",
         [](auto& t) { t.hvcC().general_tier_flag = true; },
         "warning profile_tier_level.general_tier_flag [14496-15 8.3.2.1.1]",
         "hvcC says High tier (general_tier_flag 1), the SPS says Main tier"},
        {"compatible with more",
         [](auto& t) { t.hvcC().general_profile_compatibility_flags |= std::uint32_t{3} << 29; },
         "error profile_tier_level.general_profile_compatibility_flag[1] [14496-15 8.3.2.1.1]",
         "hvcC sets general_profile_compatibility_flag[1], [2] (0x68000000), SPS 0 does not (0x08000000)"},
        {"compatible with less",
         [](auto& t) { t.hvcC().general_profile_compatibility_flags = 0; },
         "warning profile_tier_level.general_profile_compatibility_flag[4] [14496-15 8.3.2.1.1]",
         "hvcC leaves out general_profile_compatibility_flag[4] (0x00000000), which every SPS sets (0x08000000)"},
        {"more constraints",
         [](auto& t) { t.hvcC().general_constraint_indicator_flags |= std::uint64_t{1} << 47; },
         "error profile_tier_level.general_progressive_source_flag [14496-15 8.3.2.1.1]",
         "hvcC says general_constraint_indicator_flags 0x802000000000, SPS 0 says 0x002000000000, with fewer of them "
         "set"},
        {"fewer constraints",
         [](auto& t) { t.hvcC().general_constraint_indicator_flags = 0; },
         "warning profile_tier_level.general_constraint_indicator_flags [14496-15 8.3.2.1.1]",
         "hvcC says general_constraint_indicator_flags 0x000000000000, every SPS sets 0x002000000000"},
        {"interlaced",
         [](auto& t) { t.hvcC().general_constraint_indicator_flags |= std::uint64_t{1} << 46; },
         "error profile_tier_level.general_interlaced_source_flag [14496-15 8.3.2.1.1]",
         ""},
        {"non packed",
         [](auto& t) { t.hvcC().general_constraint_indicator_flags |= std::uint64_t{1} << 45; },
         "error profile_tier_level.general_non_packed_constraint_flag [14496-15 8.3.2.1.1]",
         ""},
        {"frames only",
         [](auto& t) { t.hvcC().general_constraint_indicator_flags |= std::uint64_t{1} << 44; },
         "error profile_tier_level.general_frame_only_constraint_flag [14496-15 8.3.2.1.1]",
         ""},
        {"a flag without a name",
         [](auto& t) { t.hvcC().general_constraint_indicator_flags |= 2; },
         "error profile_tier_level.general_constraint_indicator_flags [14496-15 8.3.2.1.1]",
         ""},
        {"level too low",
         [](auto& t) { t.hvcC().general_level_idc = 120; },
         "error profile_tier_level.general_level_idc [14496-15 8.3.2.1.1]",
         "hvcC says level 4 (general_level_idc 120), SPS 0 says level 6.2 (general_level_idc 186)"},
        {"level 0",
         [](auto& t) { t.hvcC().general_level_idc = 0; },
         "error profile_tier_level.general_level_idc [14496-15 8.3.2.1.1]",
         "hvcC says no level (general_level_idc 0), SPS 0 says level 6.2 (general_level_idc 186)"},
        {"level higher",
         [](auto& t) { t.hvcC().general_level_idc = 187; },
         "warning profile_tier_level.general_level_idc [14496-15 8.3.2.1.1]",
         "hvcC says level_idc 187, the SPS says level 6.2 (general_level_idc 186); a player that ends below the level "
         "that is claimed refuses it"},
        {"chroma format",
         [](auto& t) { t.hvcC().chroma_format_idc = 3; },
         "error chroma_format_idc [14496-15 8.3.2.1.1]",
         "hvcC says chroma_format_idc 3, SPS 0 says 1 (4:2:0)"},
        {"luma",
         [](auto& t) { t.hvcC().bit_depth_luma_minus8 = 2; },
         "error bit_depth_luma_minus8 [14496-15 8.3.2.1.1]",
         "hvcC says 10 bits of luma (bit_depth_luma_minus8 2), SPS 0 says 8 (0)"},
        {"chroma",
         [](auto& t) { applyChanges(t.sps, "bit_depth_chroma_minus8=1"); },
         "error bit_depth_chroma_minus8 [14496-15 8.3.2.1.1]",
         "hvcC says 8 bits of chroma (bit_depth_chroma_minus8 0), SPS 0 says 9 (1)"},
        {"reserved rate",
         [](auto& t) { t.hvcC().constantFrameRate = 3; },
         "error vui_parameters.constantFrameRate [14496-15 8.3.2.1.3]",
         "hvcC says constantFrameRate 3, which is reserved"},
    };
    expectClaims(aRows);
}

TEST(ClaimConfigurationChecks, HoldLayersAndSegmentationAgainstTheSets)
{
    const ClaimRow aRows[] = {
        {"nested",
         [](auto& t) { applyChanges(t.sps, "sps_temporal_id_nesting_flag=0"); },
         "error sps_temporal_id_nesting_flag [14496-15 8.3.2.1.3]",
         "hvcC says temporalIdNested 1, SPS 0 says sps_temporal_id_nesting_flag 0"},
        {"not nested claims nothing", [](auto& t) { t.hvcC().temporalIdNested = false; }, "", ""},
        {"unknown layers", [](auto& t) { t.hvcC().numTemporalLayers = 0; }, "", ""},
        {"more layers than the SPS allows",
         [](auto& t) { t.hvcC().numTemporalLayers = 2; },
         "error sps_max_sub_layers_minus1 [14496-15 8.3.2.1.3]",
         "hvcC says 2 temporal layers (numTemporalLayers), the SPS allows 1 (sps_max_sub_layers_minus1 0)"},
        {"fewer layers than the stream has",
         [](auto& t) {
             t.hvcC().arrays[1].array_completeness = false; // all is looked at in the end
             t.claims.codec = "hev1";
             t.samples = {sliceOf(), sliceOf(1)};
         },
         "error sps_max_sub_layers_minus1 [14496-15 8.3.2.1.3]",
         "hvcC says numTemporalLayers 1, the stream has 2"},
        {"segmentation that the SPS does not have",
         [](auto& t) { t.hvcC().min_spatial_segmentation_idc = 4; },
         "error vui_parameters.min_spatial_segmentation_idc [14496-15 8.3.2.1.1]",
         "hvcC says min_spatial_segmentation_idc 4, SPS 0 has none, which means 0"},
        {"more segmentation",
         [](auto& t) {
             applyChanges(t.sps,
                          "vui_parameters_present_flag=1 vui_parameters.bitstream_restriction_flag=1 "
                          "vui_parameters.min_spatial_segmentation_idc=3");
             t.hvcC().min_spatial_segmentation_idc = 4;
         },
         "error vui_parameters.min_spatial_segmentation_idc [14496-15 8.3.2.1.1]",
         "hvcC says min_spatial_segmentation_idc 4, SPS 0 says 3"},
        {"less segmentation",
         [](auto& t) {
             applyChanges(t.sps,
                          "vui_parameters_present_flag=1 vui_parameters.bitstream_restriction_flag=1 "
                          "vui_parameters.min_spatial_segmentation_idc=5");
             t.hvcC().min_spatial_segmentation_idc = 4;
         },
         "",
         ""},
        {"tiles",
         [](auto& t) { t.hvcC().parallelismType = 2; },
         "error tiles_enabled_flag [14496-15 8.3.2.1.3]",
         "hvcC says that pictures are cut into tiles (parallelismType 2), PPS 0 says tiles_enabled_flag 0"},
        {"wavefronts",
         [](auto& t) { t.hvcC().parallelismType = 3; },
         "error entropy_coding_sync_enabled_flag [14496-15 8.3.2.1.3]",
         "hvcC says wavefronts (parallelismType 3), PPS 0 says entropy_coding_sync_enabled_flag 0"},
        {"wavefronts that are there",
         [](auto& t) {
             applyChanges(t.pps, "entropy_coding_sync_enabled_flag=1");
             t.hvcC().parallelismType = 3;
         },
         "",
         ""},
        {"slices", [](auto& t) { t.hvcC().parallelismType = 1; }, "", ""},
    };
    expectClaims(aRows);
}

constexpr const char* TIMING = "vui_parameters_present_flag=1 vui_parameters.vui_timing_info_present_flag=1 "
                               "vui_parameters.vui_num_units_in_tick=1 vui_parameters.vui_time_scale=25";

TEST(ClaimConfigurationChecks, HoldTheAverageRateAgainstTheTiming)
{
    const ClaimRow aRows[] = {
        {"the same",
         [](auto& t) {
             applyChanges(t.sps, TIMING);
             t.hvcC().avgFrameRate = 25 * 256;
         },
         "",
         ""},
        {"nearly the same",
         [](auto& t) {
             applyChanges(t.sps, TIMING);
             t.hvcC().avgFrameRate = 25 * 256 - 40;
         },
         "",
         ""},
        {"untold", [](auto& t) { applyChanges(t.sps, TIMING); }, "", ""},
        {"another",
         [](auto& t) {
             applyChanges(t.sps, TIMING);
             t.hvcC().avgFrameRate = 50 * 256;
             t.hvcC().constantFrameRate = 1;
         },
         "warning vui_parameters.vui_time_scale [14496-15 8.3.2.1.3]",
         "hvcC says 50 frames a second (avgFrameRate 12800, constant), SPS 0's VUI says 25"},
        {"another than the VPS",
         [](auto& t) {
             applyChanges(t.vps, "vps_timing_info_present_flag=1 vps_num_units_in_tick=1 vps_time_scale=30");
             t.hvcC().avgFrameRate = 25 * 256;
         },
         "warning vps_time_scale [14496-15 8.3.2.1.3]",
         "hvcC says 25 frames a second (avgFrameRate 6400), the VPS says 30"},
    };
    expectClaims(aRows);
}

// With a second SPS, of level 4.1 and without general_intra_constraint_flag.
ClaimedTrack twoSpss()
{
    ClaimedTrack track = rightTrack();
    SequenceParameterSet second = track.sps;
    applyChanges(second,
                 "sps_seq_parameter_set_id=1 profile_tier_level.general_level_idc=123 "
                 "profile_tier_level.general_intra_constraint_flag=0");
    track.more = {unitOf(second)};
    track.hvcC().arrays[1].numNalus = 2;
    track.hvcC().general_constraint_indicator_flags = 0;
    return track;
}

TEST(ClaimConfigurationChecks, AreMetByAllSpssTogether)
{
    const ClaimRow aRows[] = {
        {"the highest level, the common flags", [](auto&) {}, "", ""},
        {"a flag of one of them",
         [](auto& t) { t.hvcC().general_constraint_indicator_flags = std::uint64_t{1} << 37; },
         "error profile_tier_level.general_constraint_indicator_flags [14496-15 8.3.2.1.1]",
         ""},
        {"the level of the second",
         [](auto& t) { t.hvcC().general_level_idc = 123; },
         "error profile_tier_level.general_level_idc [14496-15 8.3.2.1.1]",
         "hvcC says level 4.1 (general_level_idc 123), SPS 0 says level 6.2 (general_level_idc 186)"},
        {"a level above both",
         [](auto& t) { t.hvcC().general_level_idc = 255; },
         "warning profile_tier_level.general_level_idc [14496-15 8.3.2.1.1]",
         "hvcC says level_idc 255, no SPS says more than level 6.2 (general_level_idc 186); a player that ends below "
         "the level that is claimed refuses it"},
    };
    expectClaims(aRows, twoSpss);
}

TEST(ClaimConfigurationChecks, HoldTheArraysAgainstTheSampleEntry)
{
    const ClaimRow aRows[] = {
        {"no hvcC",
         [](auto& t) { t.claims.hvcC.reset(); },
         "error - [14496-15 8.4.1.1]",
         "the sample entry hvc1 has no hvcC: players cannot tell what is in it"},
        {"no sets",
         [](auto& t) {
             t.hvcC().arrays.clear();
             t.hvcC().numOfArrays = 0;
             t.bInRecord = false;
         },
         "error numOfArrays [14496-15 8.4.1.1]",
         "hvcC has no parameter sets, and hvc1 has them there only: players find nothing to decode with"},
        {"an empty record",
         [](auto& t) {
             t.hvcC() = DecoderConfiguration();
             t.claims.codec = "hev1";
             t.bInRecord = false;
         },
         "",
         ""},
        {"no arrays of hev1",
         [](auto& t) {
             t.hvcC().arrays.clear();
             t.claims.codec = "hev1";
             t.bInRecord = false;
         },
         "",
         ""},
        {"an empty array",
         [](auto& t) { t.hvcC().arrays[2].numNalus = 0; },
         "error numNalus [14496-15 8.4.1.1]",
         "hvcC has no PPS, and hvc1 has its sets there only"},
        {"an incomplete array",
         [](auto& t) { t.hvcC().arrays[0].array_completeness = false; },
         "warning array_completeness [14496-15 8.4.1.1]",
         "hvcC says that more sets may stand in the stream (array_completeness 0 of VPS), which hvc1 rules out"},
        {"arrays of other types",
         [](auto& t) {
             t.hvcC().arrays.push_back({false, 39, 1, 0});
         },
         "",
         ""},
    };
    expectClaims(aRows);
}

TEST(ClaimConfigurationChecks, TellOfDifferentSetsWithOneIdInTheRecord)
{
    const ClaimRow aRows[] = {
        {"the same SPS again", [](auto& t) { t.more = {unitOf(t.sps)}; }, "", ""},
        {"a VPS",
         [](auto& t) {
             VideoParameterSet other = t.vps;
             applyChanges(other, "vps_timing_info_present_flag=1 vps_num_units_in_tick=1 vps_time_scale=50");
             t.more = {unitOf(other)};
         },
         "warning NAL_unit_type [14496-15 8.3.2.1.3]",
         "hvcC has different VPSs with the id 0: the one that stands last counts, and other players take the first"},
        {"an SPS",
         [](auto& t) {
             SequenceParameterSet other = t.sps;
             applyChanges(other, "amp_enabled_flag=1");
             t.more = {unitOf(other)};
         },
         "warning NAL_unit_type [14496-15 8.3.2.1.3]",
         "hvcC has different SPSs with the id 0: the one that stands last counts, and other players take the first"},
        {"three PPSs",
         [](auto& t) {
             PictureParameterSet other = t.pps;
             applyChanges(other, "init_qp_minus26=3");
             t.more = {unitOf(other)};
             applyChanges(other, "init_qp_minus26=4");
             t.more.push_back(unitOf(other));
         },
         "warning NAL_unit_type [14496-15 8.3.2.1.3]",
         "hvcC has different PPSs with the id 0: the one that stands last counts, and other players take the first"},
        {"a PPS of another id",
         [](auto& t) {
             PictureParameterSet other = t.pps;
             applyChanges(other, "pps_pic_parameter_set_id=1");
             t.more = {unitOf(other)};
         },
         "",
         ""},
    };
    expectClaims(aRows);
}

TEST(ClaimConfigurationChecks, TellOfSetsInTheStream)
{
    const ClaimRow aRows[] = {
        {"the same one in hvc1",
         [](auto& t) {
             t.samples = {unitOf(t.sps), sliceOf(), unitOf(t.sps)};
         },
         "warning array_completeness [14496-15 8.4.1.1]",
         "SPS 0 of hvcC also stands in the stream (track 1, sample 1 at 0 s), although hvc1 has its sets there only; "
         "it "
         "is the same, and most players read on"},
        {"the same one in hev1 that is complete",
         [](auto& t) {
             t.claims.codec = "hev1";
             t.samples = {unitOf(t.pps)};
         },
         "warning array_completeness [14496-15 8.3.2.1.3]",
         "PPS 0 of hvcC also stands in the stream (track 1, sample 1 at 0 s), although array_completeness 1 says that "
         "all PPSs stand there; it is the same, and most players read on"},
        {"any in hev1 that is not complete",
         [](auto& t) {
             t.claims.codec = "hev1";
             for (ConfigurationArray& array : t.hvcC().arrays)
                 array.array_completeness = false;
             t.samples = {unitOf(t.pps), unitOf(with(t.pps, "init_qp_minus26=1"))};
         },
         "",
         ""},
        {"another one in hvc1",
         [](auto& t) {
             t.samples = {sliceOf(), unitOf(with(t.pps, "init_qp_minus26=1")), sliceOf()};
         },
         "error array_completeness [14496-15 8.4.1.1]",
         "PPS 0 changes in the stream (track 1, sample 2 at 0.04 s): hvcC has another one, and hvc1 has its sets there "
         "only; a player that goes by hvcC decodes what follows with the wrong one"},
        {"one that is in no array",
         [](auto& t) { t.samples = {unitOf(with(t.pps, "pps_pic_parameter_set_id=1"))}; },
         "error array_completeness [14496-15 8.4.1.1]",
         "PPS 1 stands in the stream (track 1, sample 1 at 0 s) and in no array of hvcC, although hvc1 has its sets "
         "there only"},
        {"CodecPrivate that is complete",
         [](auto& t) {
             t.claims.codec = "V_MPEGH/ISO/HEVC";
             t.claims.hvcC->box = "Segment/Tracks/TrackEntry/CodecPrivate";
             t.configuration = "CodecPrivate";
             t.samples = {unitOf(t.vps)};
         },
         "warning array_completeness [14496-15 8.3.2.1.3]",
         "VPS 0 of CodecPrivate also stands in the stream (track 1, sample 1 at 0 s), although array_completeness 1 "
         "says "
         "that all VPSs stand there; it is the same, and most players read on"},
    };
    expectClaims(aRows);
}

// A stream of a program map: the descriptor says what the sets do.
ClaimedTrack rightProgram()
{
    ClaimedTrack track;
    HevcDescriptorClaim d{};
    d.profile_idc = 4;
    d.profile_compatibility_indication = std::uint32_t{1} << (31 - 4);
    d.copied_44bits = std::uint64_t{1} << (47 - 10);
    d.level_idc = 186;
    d.HDR_WCG_idc = 3;
    track.claims.codec = "0x24";
    track.claims.hevcDescriptor = {d, "PMT/HEVC_video_descriptor", 188};
    track.bInRecord = false;
    return track;
}

constexpr const char* PQ = "vui_parameters_present_flag=1 vui_parameters.video_signal_type_present_flag=1 "
                           "vui_parameters.colour_description_present_flag=1 vui_parameters.colour_primaries=9 "
                           "vui_parameters.transfer_characteristics=16 vui_parameters.matrix_coeffs=9";

TEST(ClaimConfigurationChecks, HoldTheDescriptorAgainstTheSps)
{
    const ClaimRow aRows[] = {
        {"right", [](auto&) {}, "", ""},
        {"space",
         [](auto& t) { t.claims.hevcDescriptor->value.profile_space = 1; },
         "error profile_tier_level.general_profile_space [H.222.0 2.6.95]",
         "the descriptor says profile_space 1, SPS 0 says 0"},
        {"profile",
         [](auto& t) { t.claims.hevcDescriptor->value.profile_idc = 1; },
         "error profile_tier_level.general_profile_idc [H.222.0 2.6.95]",
         "the descriptor says profile_idc 1, SPS 0 says 4 (Main 4:4:4 16 Intra) and is not compatible with it"},
        {"a profile that the SPS is compatible with",
         [](auto& t) {
             applyChanges(t.sps, "profile_tier_level.general_profile_compatibility_flag[2]=1");
             t.claims.hevcDescriptor->value.profile_compatibility_indication |= std::uint32_t{1} << 29;
             t.claims.hevcDescriptor->value.profile_idc = 2;
         },
         "",
         ""},
        {"tier too low",
         [](auto& t) { applyChanges(t.sps, "profile_tier_level.general_tier_flag=1"); },
         "error profile_tier_level.general_tier_flag [H.222.0 2.6.95]",
         "the descriptor says Main tier, SPS 0 says High tier"},
        {"tier higher",
         [](auto& t) { t.claims.hevcDescriptor->value.tier_flag = true; },
         "warning profile_tier_level.general_tier_flag [H.222.0 2.6.95]",
         "the descriptor says High tier, the SPS says Main tier"},
        {"tier higher and level lower",
         [](auto& t) {
             t.claims.hevcDescriptor->value.tier_flag = true;
             t.claims.hevcDescriptor->value.level_idc = 183;
         },
         "warning profile_tier_level.general_tier_flag [H.222.0 2.6.95]",
         ""},
        {"compatible with more",
         [](auto& t) { t.claims.hevcDescriptor->value.profile_compatibility_indication |= std::uint32_t{1} << 29; },
         "error profile_tier_level.general_profile_compatibility_flag[2] [H.222.0 2.6.95]",
         "the descriptor says profile_compatibility_indication 0x28000000, SPS 0 says 0x08000000, with fewer of them "
         "set"},
        {"compatible with less",
         [](auto& t) { t.claims.hevcDescriptor->value.profile_compatibility_indication = 0; },
         "warning profile_tier_level.general_profile_compatibility_flag[4] [H.222.0 2.6.95]",
         "the descriptor says profile_compatibility_indication 0x00000000, every SPS sets 0x08000000"},
        {"more constraints",
         [](auto& t) { t.claims.hevcDescriptor->value.progressive_source_flag = true; },
         "error profile_tier_level.general_progressive_source_flag [H.222.0 2.6.95]",
         "the descriptor says constraint flags 0x802000000000, SPS 0 says 0x002000000000, with fewer of them set"},
        {"fewer constraints",
         [](auto& t) { t.claims.hevcDescriptor->value.copied_44bits = 0; },
         "warning profile_tier_level.general_constraint_indicator_flags [H.222.0 2.6.95]",
         "the descriptor says constraint flags 0x000000000000, every SPS sets 0x002000000000"},
        {"interlaced",
         [](auto& t) { t.claims.hevcDescriptor->value.interlaced_source_flag = true; },
         "error profile_tier_level.general_interlaced_source_flag [H.222.0 2.6.95]",
         ""},
        {"non packed",
         [](auto& t) { t.claims.hevcDescriptor->value.non_packed_constraint_flag = true; },
         "error profile_tier_level.general_non_packed_constraint_flag [H.222.0 2.6.95]",
         ""},
        {"frames only",
         [](auto& t) { t.claims.hevcDescriptor->value.frame_only_constraint_flag = true; },
         "error profile_tier_level.general_frame_only_constraint_flag [H.222.0 2.6.95]",
         ""},
        {"44 bits",
         [](auto& t) { t.claims.hevcDescriptor->value.copied_44bits |= 2; },
         "error profile_tier_level.general_constraint_indicator_flags [H.222.0 2.6.95]",
         ""},
        {"level too low",
         [](auto& t) { t.claims.hevcDescriptor->value.level_idc = 93; },
         "error profile_tier_level.general_level_idc [H.222.0 2.6.95]",
         "the descriptor says level 3.1 (general_level_idc 93), SPS 0 says level 6.2 (general_level_idc 186)"},
        {"level higher",
         [](auto& t) { t.claims.hevcDescriptor->value.level_idc = 255; },
         "warning profile_tier_level.general_level_idc [H.222.0 2.6.95]",
         "the descriptor says level_idc 255, the SPS says level 6.2 (general_level_idc 186); a player that ends below "
         "the level that is claimed refuses it"},
        {"of several SPSs, of which one needs all of it",
         [](auto& t) {
             SequenceParameterSet sps = with(t.sps, "sps_seq_parameter_set_id=1");
             applyChanges(sps, "profile_tier_level.general_level_idc=93");
             applyChanges(sps, "profile_tier_level.general_profile_compatibility_flag[5]=1");
             t.more = {unitOf(sps)};
         },
         "",
         ""},
        {"of several SPSs, of which none does",
         [](auto& t) {
             t.more = {unitOf(with(t.sps, "sps_seq_parameter_set_id=1"))};
             t.claims.hevcDescriptor->value.tier_flag = true;
         },
         "warning profile_tier_level.general_tier_flag [H.222.0 2.6.95]",
         "the descriptor says High tier, no SPS says more than Main tier"},
        {"of a temporal part",
         [](auto& t) {
             t.claims.hevcDescriptor->value.level_idc = 93;
             t.claims.hevcDescriptor->value.temporal_layer_subset_flag = true;
         },
         "",
         ""},
        {"high dynamic range that is none",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             applyChanges(t.sps, "vui_parameters.transfer_characteristics=1");
             t.claims.hevcDescriptor->value.HDR_WCG_idc = 2;
         },
         "warning vui_parameters.transfer_characteristics [H.222.0 2.6.95]",
         "the descriptor says HDR_WCG_idc 2 (high dynamic range), SPS 0 says transfer_characteristics 1 (BT.2020)"},
        {"high dynamic range",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             t.claims.hevcDescriptor->value.HDR_WCG_idc = 2;
         },
         "",
         ""},
        {"high dynamic range beside an alternative transfer",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             applyChanges(t.sps, "vui_parameters.transfer_characteristics=14");
             t.claims.hevcDescriptor->value.HDR_WCG_idc = 2;
         },
         "",
         ""},
        {"wide gamut alone",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             applyChanges(t.sps, "vui_parameters.transfer_characteristics=14");
             t.claims.hevcDescriptor->value.HDR_WCG_idc = 1;
         },
         "",
         ""},
        {"without high dynamic range",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             t.claims.hevcDescriptor->value.HDR_WCG_idc = 0;
         },
         "warning vui_parameters.transfer_characteristics [H.222.0 2.6.95]",
         ""},
        {"sub-picture HRD",
         [](auto& t) {
             applyChanges(t.sps,
                          "vui_parameters_present_flag=1 vui_parameters.vui_timing_info_present_flag=1 "
                          "vui_parameters.vui_hrd_parameters_present_flag=1 "
                          "vui_parameters.hrd_parameters.nal_hrd_parameters_present_flag=1 "
                          "vui_parameters.hrd_parameters.sub_pic_hrd_params_present_flag=1");
             t.claims.hevcDescriptor->value.sub_pic_hrd_params_not_present_flag = true;
         },
         "error vui_parameters.hrd_parameters.sub_pic_hrd_params_present_flag [H.222.0 2.6.95]",
         "the descriptor says sub_pic_hrd_params_not_present_flag 1, SPS 0 has sub-picture HRD parameters"},
    };
    expectClaims(aRows, rightProgram);
}

ClaimedTrack rightSession()
{
    ClaimedTrack track;
    SessionClaim c;
    c.profile_space = 0;
    c.profile_id = 4;
    c.tier_flag = 0;
    c.level_id = 186;
    c.profile_compatibility_indicator = std::uint32_t{1} << (31 - 4);
    c.interop_constraints = std::uint64_t{1} << (47 - 10);
    track.claims.codec = "H265";
    track.claims.session = {c, "media 1, a=fmtp", 100};
    track.bInRecord = false;
    return track;
}

TEST(ClaimConfigurationChecks, HoldWhatASessionSaysAgainstTheSps)
{
    const ClaimRow aRows[] = {
        {"right", [](auto&) {}, "", ""},
        {"nothing", [](auto& t) { t.claims.session->value = {}; }, "", ""},
        {"space",
         [](auto& t) { t.claims.session->value.profile_space = 1; },
         "error profile_tier_level.general_profile_space [RFC 7798 7.1]",
         "a=fmtp says profile-space 1, SPS 0 says 0"},
        {"profile",
         [](auto& t) { t.claims.session->value.profile_id = 1; },
         "error profile_tier_level.general_profile_idc [RFC 7798 7.1]",
         "a=fmtp says profile-id 1, SPS 0 says 4 (Main 4:4:4 16 Intra)"},
        {"profile beside one that it is compatible with",
         [](auto& t) { t.claims.session->value.profile_id = 5; },
         "error profile_tier_level.general_profile_idc [RFC 7798 7.1]",
         "a=fmtp says profile-id 5, SPS 0 says 4 (Main 4:4:4 16 Intra)"},
        {"profile that it is compatible with",
         [](auto& t) {
             t.claims.session->value.profile_id = 5;
             t.sps.profile_tier_level.general_profile_compatibility_flag[5] = true;
         },
         "",
         ""},
        {"compatibility",
         [](auto& t) { t.claims.session->value.profile_compatibility_indicator = 0x48000000; },
         "error profile_tier_level.general_profile_compatibility_flag[1] [RFC 7798 7.1]",
         "a=fmtp says profile-compatibility-indicator 0x48000000, SPS 0 says 0x08000000"},
        {"less compatibility", [](auto& t) { t.claims.session->value.profile_compatibility_indicator = 0; }, "", ""},
        {"constraints",
         [](auto& t) { *t.claims.session->value.interop_constraints |= std::uint64_t{1} << 47; },
         "error profile_tier_level.general_progressive_source_flag [RFC 7798 7.1]",
         "a=fmtp says interop-constraints 0x802000000000, SPS 0 says 0x002000000000"},
        {"less constraints", [](auto& t) { t.claims.session->value.interop_constraints = 0; }, "", ""},
        {"tier",
         [](auto& t) { t.sps.profile_tier_level.general_tier_flag = true; },
         "error profile_tier_level.general_tier_flag [RFC 7798 7.1]",
         "a=fmtp says Main tier, SPS 0 says High tier"},
        {"higher tier", [](auto& t) { t.claims.session->value.tier_flag = 1; }, "", ""},
        {"level",
         [](auto& t) { t.claims.session->value.level_id = 183; },
         "error profile_tier_level.general_level_idc [RFC 7798 7.1]",
         "a=fmtp says level 6.1 (general_level_idc 183), SPS 0 says level 6.2 (general_level_idc 186)"},
        {"higher level", [](auto& t) { t.claims.session->value.level_id = 255; }, "", ""},
    };
    expectClaims(aRows, rightSession);
}

TEST(ClaimConfigurationChecks, AreMadeAgainWhenClaimsComeLater)
{
    ClaimedTrack track = rightProgram();
    h265_inspect::CClaimChecks checks;
    feed(checks, unitOf(track.sps), {}, 1);
    checks.onClaims(track.claims);
    EXPECT_TRUE(checks.newFindings().empty());
    feed(checks, unitOf(track.sps), {}, 2); // known
    EXPECT_TRUE(checks.newFindings().empty());
}

// What stands in front of a map that changes was held against the one before.
TEST(ClaimConfigurationChecks, AreMadeAgainOfWhatStandsBehindOtherClaims)
{
    ClaimedTrack track = rightProgram();
    h265_inspect::CClaimChecks checks;
    checks.onClaims(track.claims);
    feed(checks, unitOf(track.sps), {}, 1);
    track.claims.hevcDescriptor->value.level_idc = 93;
    checks.onClaims(track.claims);
    EXPECT_TRUE(checks.newFindings().empty());
    feed(checks, unitOf(track.sps), {}, 2);
    EXPECT_EQ(checks.newFindings().size(), 1U);
    feed(checks, unitOf(track.sps), {}, 3);
    EXPECT_TRUE(checks.newFindings().empty());
    // More than all in front of it need is told there, whatever comes behind.
    track.claims.hevcDescriptor->value.level_idc = 255;
    checks.onClaims(track.claims);
    feed(checks, unitOf(track.sps), {}, 4);
    EXPECT_TRUE(checks.newFindings().empty());
    track.claims.hevcDescriptor->value.level_idc = 186;
    checks.onClaims(track.claims);
    EXPECT_EQ(checks.newFindings().size(), 1U);
    feed(checks, unitOf(track.sps), {}, 5);
    checks.onEnd();
    EXPECT_TRUE(checks.newFindings().empty());
}

TEST(ClaimConfigurationChecks, HoldASecondRecordAgainstItsOwnSets)
{
    ClaimedTrack first = rightTrack();
    ClaimedTrack second = rightTrack();
    applyChanges(second.sps, "profile_tier_level.general_level_idc=123");
    second.hvcC().general_level_idc = 123;
    h265_inspect::CClaimChecks checks;
    for (ClaimedTrack* const pTrack : {&first, &second}) {
        checks.onClaims(pTrack->claims);
        for (const Bytes& bytes : {unitOf(pTrack->vps), unitOf(pTrack->sps), unitOf(pTrack->pps)})
            feed(checks, bytes, "hvcC");
    }
    checks.onEnd();
    EXPECT_TRUE(checks.newFindings().empty());
    // What is wrong with the first one is told before.
    ClaimedTrack wrong = rightTrack();
    wrong.hvcC().general_level_idc = 255;
    h265_inspect::CClaimChecks others;
    others.onClaims(wrong.claims);
    feed(others, unitOf(wrong.sps), "hvcC");
    others.onClaims(first.claims);
    EXPECT_EQ(others.newFindings().size(), 1U);
}

TEST(ClaimConfigurationChecks, PassOverSetsThatCannotBeReadWhole)
{
    ClaimedTrack track = rightTrack();
    track.hvcC().general_level_idc = 0;
    h265_inspect::CClaimChecks checks;
    checks.onClaims(track.claims);
    Bytes sps = unitOf(track.sps);
    sps.resize(sps.size() - 4);
    feed(checks, sps, "hvcC");
    feed(checks, {0x42, 0x01}, "hvcC");
    feed(checks, {0x42, 0x09, 0x01}, "hvcC"); // of another layer
    checks.onEnd();
    EXPECT_TRUE(checks.newFindings().empty());
}

TEST(ClaimConfigurationChecks, TellOnceOfASetThatChangesAgainAndAgain)
{
    ClaimedTrack track = rightTrack();
    for (unsigned i = 0; i < 500; ++i) {
        PictureParameterSet pps = track.pps;
        pps.num_ref_idx_l0_default_active_minus1 = 1 + i % 8;
        track.samples.push_back(unitOf(pps));
    }
    EXPECT_EQ(toldOf(foundOf(track)), "error array_completeness [14496-15 8.4.1.1]");
}

TEST(ClaimConfigurationChecks, EndBeforeTheFindingsFillTheMemory)
{
    ClaimedTrack track = rightProgram();
    h265_inspect::CClaimChecks checks;
    std::size_t uiFindings = 0;
    for (unsigned i = 0; i < 5000; ++i) {
        track.claims.hevcDescriptor->value.profile_compatibility_indication = i;
        checks.onClaims(track.claims);
        feed(checks, unitOf(track.sps), {}, 1);
        uiFindings += checks.newFindings().size();
    }
    EXPECT_EQ(uiFindings, h265_inspect::CClaimChecks::MAX_FINDINGS);
}

} // namespace
} // namespace claim_configuration_checks_test
