// What boxes and elements claim of pictures, held against the sets.

#include <gtest/gtest.h>

#include "ClaimedTrack.h"

namespace claim_picture_checks_test {

using namespace h265_container;
using namespace h265_syntax;
using namespace h265_test;

namespace {

constexpr const char* SAR_1_1 = "vui_parameters_present_flag=1 vui_parameters.aspect_ratio_info_present_flag=1 "
                                "vui_parameters.aspect_ratio_idc=1";
constexpr const char* SAR_2_1 = "vui_parameters_present_flag=1 vui_parameters.aspect_ratio_info_present_flag=1 "
                                "vui_parameters.aspect_ratio_idc=16";
constexpr const char* SAR_8_5 = "vui_parameters_present_flag=1 vui_parameters.aspect_ratio_info_present_flag=1 "
                                "vui_parameters.aspect_ratio_idc=255 vui_parameters.sar_width=8 "
                                "vui_parameters.sar_height=5";
constexpr const char* FIELDS = "vui_parameters_present_flag=1 vui_parameters.field_seq_flag=1 "
                               "vui_parameters.frame_field_info_present_flag=1";
constexpr const char* CROPPED = "conformance_window_flag=1 conf_win_right_offset=8 conf_win_bottom_offset=4";

TEST(ClaimPictureChecks, HoldSizesAgainstTheCroppedPicture)
{
    const ClaimRow aRows[] = {
        {"width of the entry",
         [](auto& t) { t.claims.entrySize->value.width = 400; },
         "error pic_width_in_luma_samples [14496-12 12.1.3.3]",
         "the sample entry hvc1 says 400x240, SPS 0's pictures are 416x240"},
        {"height of the entry",
         [](auto& t) { t.claims.entrySize->value.height = 241; },
         "error pic_height_in_luma_samples [14496-12 12.1.3.3]",
         ""},
        {"cropped",
         [](auto& t) {
             applyChanges(t.sps, CROPPED);
             t.claims.entrySize->value = t.claims.trackSize->value = {400, 232};
         },
         "",
         ""},
        {"not cropped",
         [](auto& t) { applyChanges(t.sps, CROPPED); },
         "error pic_width_in_luma_samples [14496-12 12.1.3.3], warning pic_width_in_luma_samples [14496-12 8.3.2.3]",
         "the sample entry hvc1 says 416x240, SPS 0's pictures are 400x232 (cropped from 416x240)"},
        {"frames of fields",
         [](auto& t) {
             applyChanges(t.sps, FIELDS);
             t.claims.entrySize->value = t.claims.trackSize->value = {416, 480};
         },
         "",
         ""},
        {"the largest of two",
         [](auto& t) { t.more = {unitOf(with(t.sps, "sps_seq_parameter_set_id=1 pic_width_in_luma_samples=208"))}; },
         "",
         ""},
        {"not the largest of two",
         [](auto& t) { t.more = {unitOf(with(t.sps, "sps_seq_parameter_set_id=1 pic_width_in_luma_samples=832"))}; },
         "error pic_width_in_luma_samples [14496-12 12.1.3.3], warning pic_width_in_luma_samples [14496-12 8.3.2.3]",
         "the sample entry hvc1 says 416x240, SPS 1's pictures are 832x240"},
        {"tkhd",
         [](auto& t) {
             t.claims.trackSize->value = {416, 120};
         },
         "warning pic_height_in_luma_samples [14496-12 8.3.2.3]",
         "tkhd says 416x120 for display, SPS 0's pictures are 416x240; players scale to the one or the other"},
        {"tkhd with the shape only",
         [](auto& t) {
             t.claims.trackSize->value = {26, 15, true};
         },
         "",
         ""},
        {"tkhd with the shape that pixels draw out",
         [](auto& t) {
             applyChanges(t.sps, SAR_8_5);
             t.claims.trackSize->value = {208, 75, true};
         },
         "",
         ""},
        {"tkhd with another shape",
         [](auto& t) {
             t.claims.trackSize->value = {4, 3, true};
         },
         "warning pic_width_in_luma_samples [14496-12 8.3.2.3]",
         "tkhd says 4x3 as the shape for display, SPS 0's pictures are 416x240; players scale to the one or the other"},
        {"tkhd with no shape",
         [](auto& t) {
             t.claims.trackSize->value = {0, 0, true};
         },
         "warning pic_width_in_luma_samples [14496-12 8.3.2.3]",
         ""},
        {"tkhd of nothing",
         [](auto& t) {
             t.claims.trackSize->value = {0, 0};
         },
         "warning pic_width_in_luma_samples [14496-12 8.3.2.3]",
         ""},
        {"tkhd with pasp",
         [](auto& t) {
             t.claims.pixelShape = {{8, 5}, "pasp", 950};
             t.claims.trackSize->value = {665.6, 240};
         },
         "",
         ""},
        {"tkhd with pasp, fewer lines",
         [](auto& t) {
             t.claims.pixelShape = {{8, 5}, "pasp", 950};
             t.claims.trackSize->value = {416, 150};
         },
         "",
         ""},
        {"tkhd with the VUI's shape",
         [](auto& t) {
             applyChanges(t.sps, SAR_2_1);
             t.claims.trackSize->value = {832, 240};
         },
         "",
         ""},
        {"tkhd of another shape",
         [](auto& t) {
             applyChanges(t.sps, SAR_2_1);
             t.claims.trackSize->value = {600, 240};
         },
         "warning pic_width_in_luma_samples [14496-12 8.3.2.3]",
         "tkhd says 600x240 for display, SPS 0's pictures are 416x240, 832x240 for display; players scale to the one "
         "or "
         "the other"},
        {"tkhd with clap",
         [](auto& t) {
             t.claims.cleanAperture = {{400, 1, 200, 1, 0, 1, 0, 1}, "clap", 960};
             t.claims.trackSize->value = {400, 200};
         },
         "",
         ""},
        {"ispe",
         [](auto& t) {
             t.claims.imageSize = {{416, 240}, "ispe", 970};
         },
         "",
         ""},
        {"another ispe",
         [](auto& t) {
             t.claims.imageSize = {{416, 256}, "ispe", 970};
         },
         "error pic_height_in_luma_samples [23008-12 6.5.3]",
         "ispe says 416x256, SPS 0's picture is 416x240"},
        {"ispe of another width",
         [](auto& t) {
             t.claims.imageSize = {{417, 240}, "ispe", 970};
         },
         "error pic_width_in_luma_samples [23008-12 6.5.3]",
         ""},
    };
    expectClaims(aRows);
}

TEST(ClaimPictureChecks, HoldShapeAndWindowAgainstTheSps)
{
    const ClaimRow aRows[] = {
        {"no shape in the VUI",
         [](auto& t) {
             t.claims.pixelShape = {{1, 1}, "pasp", 950};
         },
         "",
         ""},
        {"the same shape in other numbers",
         [](auto& t) {
             applyChanges(t.sps, SAR_8_5);
             t.claims.pixelShape = {{16, 10}, "pasp", 950};
         },
         "",
         ""},
        {"another shape",
         [](auto& t) {
             applyChanges(t.sps, SAR_2_1);
             t.claims.pixelShape = {{1, 1}, "pasp", 950};
         },
         "warning vui_parameters.aspect_ratio_idc [14496-12 12.1.4.3]",
         "pasp says pixels of 1:1, SPS 0's VUI says 2:1; players go by the one or the other"},
        {"another than the extended one",
         [](auto& t) {
             applyChanges(t.sps, SAR_8_5);
             t.claims.pixelShape = {{1, 1}, "pasp", 950};
         },
         "warning vui_parameters.sar_width [14496-12 12.1.4.3]",
         ""},
        {"no shape at all",
         [](auto& t) {
             applyChanges(t.sps, SAR_2_1);
             t.claims.pixelShape = {{1, 0}, "pasp", 950};
         },
         "warning vui_parameters.aspect_ratio_idc [14496-12 12.1.4.3]",
         "pasp says pixels of 1:0, which is no shape"},
        {"the whole picture",
         [](auto& t) {
             t.claims.cleanAperture = {{416, 1, 240, 1, 0, 1, 0, 1}, "clap", 960};
         },
         "",
         ""},
        {"a window at the edge",
         [](auto& t) {
             t.claims.cleanAperture = {{832, 4, 200, 1, 104, 1, -20, 1}, "clap", 960};
         },
         "",
         ""},
        {"behind the edge",
         [](auto& t) {
             t.claims.cleanAperture = {{400, 1, 240, 1, 17, 2, 0, 1}, "clap", 960};
         },
         "warning pic_width_in_luma_samples [14496-12 12.1.4.3]",
         "clap says a window of 400x240 with its centre 8.5, 0 from the picture's, which reaches out of SPS 0's "
         "416x240"},
        {"above the picture",
         [](auto& t) {
             t.claims.cleanAperture = {{416, 1, 240, 1, 0, 1, -1, 1}, "clap", 960};
         },
         "warning pic_height_in_luma_samples [14496-12 12.1.4.3]",
         ""},
        {"without a denominator",
         [](auto& t) {
             t.claims.cleanAperture = {{416, 1, 240, 1, 0, 1, 0, 0}, "clap", 960};
         },
         "error pic_height_in_luma_samples [14496-12 12.1.4.3]",
         "clap says 416/1 x 240/1 at 0/1, 0/0, which is no window"},
        {"without a width",
         [](auto& t) {
             t.claims.cleanAperture = {{0, 1, 240, 1, 0, 1, 0, 1}, "clap", 960};
         },
         "error pic_width_in_luma_samples [14496-12 12.1.4.3]",
         ""},
    };
    expectClaims(aRows);
}

constexpr const char* PQ = "vui_parameters_present_flag=1 vui_parameters.video_signal_type_present_flag=1 "
                           "vui_parameters.colour_description_present_flag=1 vui_parameters.colour_primaries=9 "
                           "vui_parameters.transfer_characteristics=16 vui_parameters.matrix_coeffs=9";

void claimColour(ClaimedTrack& track, ColourClaim claim)
{
    track.claims.colours = {{std::move(claim), "moov/colr", 980}};
}

TEST(ClaimPictureChecks, HoldColoursAgainstTheVui)
{
    const ClaimRow aRows[] = {
        {"the same",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             claimColour(t, {"nclx", 9, 16, 9, false});
         },
         "",
         ""},
        {"what the VUI leaves open",
         [](auto& t) {
             claimColour(t, {"nclx", 9, 16, 9, true});
         },
         "",
         ""},
        {"primaries",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             claimColour(t, {"nclx", 1, 16, 9, false});
         },
         "warning vui_parameters.colour_primaries [14496-12 12.1.5.3]",
         "colr (nclx) says colour_primaries 1 (BT.709 PQ, BT.2020, non-constant luminance matrix), SPS 0's VUI says 9 "
         "(BT.2020 PQ); players go by the one or the other"},
        {"transfer",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             claimColour(t, {"nclc", 9, 18, 9, std::nullopt});
         },
         "warning vui_parameters.transfer_characteristics [14496-12 12.1.5.3]",
         ""},
        {"the alternative of a transfer",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             applyChanges(t.sps, "vui_parameters.transfer_characteristics=14");
             claimColour(t, {"nclx", 9, 18, 9, false});
         },
         "",
         ""},
        {"the alternative of a transfer, in Matroska",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             applyChanges(t.sps, "vui_parameters.transfer_characteristics=14");
             claimColour(t, {"Colour", {}, 18, {}, {}});
         },
         "",
         ""},
        {"no alternative of a transfer",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             applyChanges(t.sps, "vui_parameters.transfer_characteristics=14");
             claimColour(t, {"nclx", 9, 16, 9, false});
         },
         "warning vui_parameters.transfer_characteristics [14496-12 12.1.5.3]",
         ""},
        {"matrix",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             claimColour(t, {"nclx", 9, 16, 1, false});
         },
         "warning vui_parameters.matrix_coeffs [14496-12 12.1.5.3]",
         ""},
        {"range",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             claimColour(t, {"nclx", 9, 16, 9, true});
         },
         "warning vui_parameters.video_full_range_flag [14496-12 12.1.5.3]",
         "colr (nclx) says full range, SPS 0's VUI says limited range (video_full_range_flag 0); players go by the one "
         "or the other"},
        {"unspecified in colr",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             claimColour(t, {"nclx", 2, 2, 2, false});
         },
         "warning vui_parameters.colour_primaries [14496-12 12.1.5.3], "
         "warning vui_parameters.transfer_characteristics [14496-12 12.1.5.3], "
         "warning vui_parameters.matrix_coeffs [14496-12 12.1.5.3]",
         ""},
        {"another code point of the same",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             applyChanges(t.sps,
                          "vui_parameters.colour_primaries=6 vui_parameters.transfer_characteristics=6 "
                          "vui_parameters.matrix_coeffs=6");
             claimColour(t, {"nclc", 7, 1, 5, std::nullopt});
         },
         "",
         ""},
        {"a profile",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             claimColour(t, {"prof", {}, {}, {}, {}});
         },
         "",
         ""},
        {"Matroska's",
         [](auto& t) {
             applyChanges(t.sps, PQ);
             claimColour(t, {"Colour", {}, 1, {}, true});
         },
         "warning vui_parameters.transfer_characteristics [RFC 9559 5.1.4.1.28], "
         "warning vui_parameters.video_full_range_flag [RFC 9559 5.1.4.1.28]",
         "Colour says transfer_characteristics 1 (BT.709 transfer), SPS 0's VUI says 16 (BT.2020 PQ); players go by "
         "the "
         "one or the other"},
    };
    expectClaims(aRows);
}

TEST(ClaimPictureChecks, HoldTheDepthsOfImagesAgainstTheSps)
{
    const ClaimRow aRows[] = {
        {"right",
         [](auto& t) {
             t.claims.pixelDepths = {{8, 8, 8}, "pixi", 990};
         },
         "",
         ""},
        {"luma",
         [](auto& t) {
             t.claims.pixelDepths = {{10, 8, 8}, "pixi", 990};
         },
         "error bit_depth_luma_minus8 [23008-12 6.5.6]",
         "pixi says 10 bits of luma, SPS 0 says 8 (bit_depth_luma_minus8 0)"},
        {"chroma",
         [](auto& t) {
             t.claims.pixelDepths = {{8, 8, 10}, "pixi", 990};
         },
         "error bit_depth_chroma_minus8 [23008-12 6.5.6]",
         "pixi says 10 bits of chroma, SPS 0 says 8 (bit_depth_chroma_minus8 0)"},
        {"one channel",
         [](auto& t) {
             t.claims.pixelDepths = {{8}, "pixi", 990};
         },
         "error chroma_format_idc [23008-12 6.5.6]",
         "pixi says 1 channel, SPS 0 says chroma_format_idc 1, which has 3"},
        {"one channel of one",
         [](auto& t) {
             applyChanges(t.sps, "chroma_format_idc=0");
             t.hvcC().chroma_format_idc = 0;
             t.claims.pixelDepths = {{8}, "pixi", 990};
         },
         "",
         ""},
    };
    expectClaims(aRows);
}

constexpr const char* TIMING = "vui_parameters_present_flag=1 vui_parameters.vui_timing_info_present_flag=1 "
                               "vui_parameters.vui_num_units_in_tick=1001 vui_parameters.vui_time_scale=24000";

void claimRate(ClaimedTrack& track, std::uint64_t ulPictures, std::uint64_t ulSeconds, const char* pBox = "stbl/stts")
{
    track.claims.constantFrameRate = {{ulPictures, ulSeconds}, pBox, 700};
}

TEST(ClaimPictureChecks, HoldAConstantRateAgainstTheTiming)
{
    const ClaimRow aRows[] = {
        {"no timing", [](auto& t) { claimRate(t, 24, 1); }, "", ""},
        {"rounded",
         [](auto& t) {
             applyChanges(t.sps, TIMING);
             claimRate(t, 1000000000, 41708333);
         },
         "",
         ""},
        {"a thousandth",
         [](auto& t) {
             applyChanges(t.sps, TIMING);
             claimRate(t, 24, 1);
         },
         "warning vui_parameters.vui_time_scale [14496-12 8.6.1.2]",
         "stts says 24 frames a second throughout, SPS 0's VUI says 23.98"},
        {"Matroska's",
         [](auto& t) {
             applyChanges(t.vps, "vps_timing_info_present_flag=1 vps_num_units_in_tick=1 vps_time_scale=50");
             claimRate(t, 1000000000, 40000000, "TrackEntry/DefaultDuration");
         },
         "warning vps_time_scale [RFC 9559 5.1.4.1.13]",
         "DefaultDuration says 25 frames a second throughout, the VPS says 50"},
        {"fields",
         [](auto& t) {
             applyChanges(t.sps, TIMING);
             applyChanges(t.sps, "vui_parameters.field_seq_flag=1 vui_parameters.frame_field_info_present_flag=1");
             claimRate(t, 24000, 1001);
         },
         "",
         ""},
        {"neither fields nor frames of them",
         [](auto& t) {
             applyChanges(t.sps, TIMING);
             applyChanges(t.sps, "vui_parameters.field_seq_flag=1 vui_parameters.frame_field_info_present_flag=1");
             claimRate(t, 25, 1);
         },
         "warning vui_parameters.vui_time_scale [14496-12 8.6.1.2]",
         "stts says 25 pictures a second throughout, SPS 0's VUI says 23.98 fields a second, or 11.99 frames"},
        {"frames of fields",
         [](auto& t) {
             applyChanges(t.sps, TIMING);
             applyChanges(t.sps, "vui_parameters.field_seq_flag=1 vui_parameters.frame_field_info_present_flag=1");
             claimRate(t, 12000, 1001);
         },
         "",
         ""},
    };
    expectClaims(aRows);
}

// A track of Matroska of 416x240.
ClaimedTrack matroskaTrack()
{
    ClaimedTrack track;
    MatroskaVideoClaim video;
    video.ulPixelWidth = 416;
    video.ulPixelHeight = 240;
    track.claims.codec = "V_MPEGH/ISO/HEVC";
    track.claims.matroskaVideo = {video, "Segment/Tracks/TrackEntry/Video", 300};
    return track;
}

MatroskaVideoClaim& video(ClaimedTrack& track)
{
    return track.claims.matroskaVideo->value;
}

TEST(ClaimPictureChecks, HoldMatroskasVideoAgainstTheSps)
{
    const ClaimRow aRows[] = {
        {"right", [](auto&) {}, "", ""},
        {"width",
         [](auto& t) { video(t).ulPixelWidth = 400; },
         "warning pic_width_in_luma_samples [RFC 9559 5.1.4.1.28]",
         "PixelWidth and PixelHeight say 400x240, SPS 0's pictures are 416x240"},
        {"height",
         [](auto& t) { video(t).ulPixelHeight = 238; },
         "warning pic_height_in_luma_samples [RFC 9559 5.1.4.1.28]",
         ""},
        {"fields",
         [](auto& t) {
             applyChanges(t.sps, FIELDS);
             video(t).ulPixelHeight = 480;
         },
         "",
         ""},
        {"nothing is left",
         [](auto& t) { video(t).ulPixelCropTop = 240; },
         "warning pic_height_in_luma_samples [RFC 9559 5.1.4.1.28]",
         "PixelCrop leaves nothing of the picture: 416x0 of 416x240"},
        {"nothing is left across",
         [](auto& t) { video(t).ulPixelCropLeft = video(t).ulPixelCropRight = 210; },
         "warning pic_width_in_luma_samples [RFC 9559 5.1.4.1.28]",
         ""},
        {"shape by pixels",
         [](auto& t) {
             applyChanges(t.sps, SAR_2_1);
             video(t).ulDisplayWidth = 832;
         },
         "",
         ""},
        {"shape by ratio",
         [](auto& t) {
             applyChanges(t.sps, SAR_2_1);
             video(t).ulDisplayWidth = 52;
             video(t).ulDisplayHeight = 15;
             video(t).ulDisplayUnit = 3;
         },
         "",
         ""},
        {"shape of what is cropped",
         [](auto& t) {
             applyChanges(t.sps, SAR_2_1);
             video(t).ulPixelCropBottom = 40;
             video(t).ulDisplayWidth = 832;
             video(t).ulDisplayHeight = 200;
         },
         "",
         ""},
        {"no shape",
         [](auto& t) { applyChanges(t.sps, SAR_2_1); },
         "warning vui_parameters.aspect_ratio_idc [RFC 9559 5.1.4.1.28]",
         "DisplayWidth and DisplayHeight say 416x240, SPS 0's VUI says pixels of 2:1, which is 832x240; players go by "
         "the one or the other"},
        {"another shape",
         [](auto& t) {
             applyChanges(t.sps, SAR_8_5);
             video(t).ulDisplayWidth = 700;
         },
         "warning vui_parameters.sar_width [RFC 9559 5.1.4.1.28]",
         ""},
        {"shape of one view of two",
         [](auto& t) {
             applyChanges(t.sps, SAR_1_1);
             video(t).ulStereoMode = 1;
             video(t).ulDisplayWidth = 208;
         },
         "",
         ""},
        {"shape of one view above the other",
         [](auto& t) {
             applyChanges(t.sps, SAR_1_1);
             video(t).ulStereoMode = 3;
             video(t).ulDisplayHeight = 120;
         },
         "",
         ""},
        {"shape of both views",
         [](auto& t) {
             applyChanges(t.sps, SAR_1_1);
             video(t).ulStereoMode = 11;
         },
         "",
         ""},
        {"half of one view",
         [](auto& t) {
             applyChanges(t.sps, SAR_1_1);
             video(t).ulDisplayWidth = 208;
         },
         "warning vui_parameters.aspect_ratio_idc [RFC 9559 5.1.4.1.28]",
         ""},
        {"unknown shape",
         [](auto& t) {
             applyChanges(t.sps, SAR_2_1);
             video(t).ulDisplayUnit = 4;
         },
         "",
         ""},
        {"depth",
         [](auto& t) { video(t).ulBitsPerChannel = 10; },
         "warning bit_depth_luma_minus8 [RFC 9559 5.1.4.1.28]",
         "BitsPerChannel says 10, SPS 0 says 8 bits (bit_depth_luma_minus8 0)"},
        {"depth untold", [](auto& t) { video(t).ulBitsPerChannel = 0; }, "", ""},
        {"subsampling",
         [](auto& t) { video(t).ulChromaSubsamplingHorz = video(t).ulChromaSubsamplingVert = 1; },
         "",
         ""},
        {"other subsampling",
         [](auto& t) {
             video(t).ulChromaSubsamplingHorz = 1;
             video(t).ulChromaSubsamplingVert = 0;
         },
         "warning chroma_format_idc [RFC 9559 5.1.4.1.28]",
         "ChromaSubsamplingVert says 0, SPS 0 says 4:2:0 (chroma_format_idc 1), which is 1"},
    };
    expectClaims(aRows, matroskaTrack);
}

// The same in hvcC, which is held against the SPS too.
void setSource(ClaimedTrack& track, bool bProgressive, bool bInterlaced)
{
    track.sps.profile_tier_level.general_progressive_source_flag = bProgressive;
    track.sps.profile_tier_level.general_interlaced_source_flag = bInterlaced;
    if (track.claims.hvcC)
        track.hvcC().general_constraint_indicator_flags |=
            (bProgressive ? std::uint64_t{1} << 47 : 0) | (bInterlaced ? std::uint64_t{1} << 46 : 0);
}

Claim<ScanClaim> fiel(bool bInterlaced)
{
    return {{bInterlaced}, "fiel", 970};
}

Claim<ScanClaim> flag(bool bInterlaced)
{
    return {{bInterlaced}, "FlagInterlaced", 970};
}

TEST(ClaimPictureChecks, HoldTheScanAgainstTheSps)
{
    const ClaimRow aRows[] = {
        {"a source that is not known", [](auto& t) { t.claims.scan = fiel(true); }, "", ""},
        {"pictures that say it themselves",
         [](auto& t) {
             setSource(t, true, true);
             t.claims.scan = fiel(true);
         },
         "",
         ""},
        {"a progressive source",
         [](auto& t) {
             setSource(t, true, false);
             t.claims.scan = fiel(false);
         },
         "",
         ""},
        {"an interlaced source",
         [](auto& t) {
             setSource(t, false, true);
             t.claims.scan = flag(true);
         },
         "",
         ""},
        {"progressive and not interlaced",
         [](auto& t) {
             setSource(t, true, false);
             t.claims.scan = fiel(true);
         },
         "warning profile_tier_level.general_progressive_source_flag [QuickTime fiel]",
         "fiel says interlaced, SPS 0 says progressive (general_progressive_source_flag 1); players go by the one or "
         "the other"},
        {"interlaced and not progressive",
         [](auto& t) {
             setSource(t, false, true);
             t.claims.scan = fiel(false);
         },
         "warning profile_tier_level.general_interlaced_source_flag [QuickTime fiel]",
         "fiel says progressive, SPS 0 says interlaced (general_interlaced_source_flag 1); players go by the one or "
         "the other"},
        {"fields",
         [](auto& t) {
             applyChanges(t.sps, FIELDS);
             t.claims.scan = fiel(false);
         },
         "warning vui_parameters.field_seq_flag [QuickTime fiel]",
         "fiel says progressive, SPS 0 says interlaced (field_seq_flag 1); players go by the one or the other"},
        {"Matroska: progressive and not interlaced",
         [](auto& t) {
             setSource(t, true, false);
             t.claims.scan = flag(true);
         },
         "warning profile_tier_level.general_progressive_source_flag [RFC 9559 5.1.4.1.28]",
         ""},
        {"Matroska: interlaced and not progressive",
         [](auto& t) {
             setSource(t, false, true);
             t.claims.scan = flag(false);
         },
         "warning profile_tier_level.general_interlaced_source_flag [RFC 9559 5.1.4.1.28]",
         ""},
        {"Matroska: fields",
         [](auto& t) {
             applyChanges(t.sps, FIELDS);
             t.claims.scan = flag(false);
         },
         "warning vui_parameters.field_seq_flag [RFC 9559 5.1.4.1.28]",
         ""},
    };
    expectClaims(aRows);
}

} // namespace
} // namespace claim_picture_checks_test
