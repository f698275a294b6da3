#include "StreamGist.h"

#include <array>
#include <string>

#include <gtest/gtest.h>

#include "ColourWords.h"

namespace stream_gist_test {

using namespace h265_inspect;
using namespace h265_syntax;

namespace {

// An SPS of 1920x1080 cropped from 1088 lines, Main, level 4.1, without a VUI.
SequenceParameterSet plainSps()
{
    SequenceParameterSet sps;
    sps.profile_tier_level.general_profile_idc = 1;
    sps.profile_tier_level.general_progressive_source_flag = true;
    sps.profile_tier_level.general_level_idc = 123;
    sps.chroma_format_idc = 1;
    sps.pic_width_in_luma_samples = 1920;
    sps.pic_height_in_luma_samples = 1088;
    sps.conformance_window_flag = true;
    sps.conf_win_bottom_offset = 4;
    return sps;
}

SequenceParameterSet timedSps(std::uint32_t vui_time_scale, std::uint32_t vui_num_units_in_tick)
{
    SequenceParameterSet sps = plainSps();
    sps.vui_parameters_present_flag = true;
    sps.vui_parameters.vui_timing_info_present_flag = true;
    sps.vui_parameters.vui_time_scale = vui_time_scale;
    sps.vui_parameters.vui_num_units_in_tick = vui_num_units_in_tick;
    return sps;
}

std::string textOf(const SequenceParameterSet& sps, const VideoParameterSet* pVps = nullptr)
{
    return textOf(gistOf(sps, pVps, {}));
}

const std::string PLAIN = "1920x1080 (coded 1920x1088), 8-bit 4:2:0, Main, level 4.1";

TEST(StreamGist, SaysSizeSamplesProfileAndLevel)
{
    EXPECT_EQ(textOf(plainSps()), PLAIN);
    SequenceParameterSet sps = plainSps();
    sps.conformance_window_flag = false;
    sps.profile_tier_level.general_tier_flag = true;
    EXPECT_EQ(textOf(sps), "1920x1088, 8-bit 4:2:0, Main, level 4.1 High tier");
}

TEST(StreamGist, CropsInChromaSamplesAndNeverToNothing)
{
    SequenceParameterSet sps = plainSps();
    sps.chroma_format_idc = 3;
    EXPECT_EQ(gistOf(sps, nullptr, {}).uiHeight, 1084U);
    sps.chroma_format_idc = 2;
    sps.conf_win_left_offset = 10;
    EXPECT_EQ(gistOf(sps, nullptr, {}).uiWidth, 1900U);
    EXPECT_EQ(gistOf(sps, nullptr, {}).uiHeight, 1084U);
    sps.conf_win_top_offset = UINT32_MAX; // the sum needs more than 32 bits
    EXPECT_TRUE(gistOf(sps, nullptr, {}).bEmptyWindow);
    EXPECT_EQ(gistOf(sps, nullptr, {}).uiHeight, 1088U);
}

TEST(StreamGist, NamesProfilesByTheirConstraintFlags)
{
    SequenceParameterSet sps = plainSps();
    sps.profile_tier_level.general_profile_idc = 4;
    sps.profile_tier_level.general_max_12bit_constraint_flag = true;
    sps.profile_tier_level.general_max_10bit_constraint_flag = true;
    sps.profile_tier_level.general_max_422chroma_constraint_flag = true;
    sps.profile_tier_level.general_lower_bit_rate_constraint_flag = true;
    EXPECT_EQ(gistOf(sps, nullptr, {}).profile, "Main 4:2:2 10");
    sps.profile_tier_level.general_profile_space = 1;
    EXPECT_EQ(gistOf(sps, nullptr, {}).profile, "profile 4");
    sps.profile_tier_level.general_profile_space = 0;
    sps.profile_tier_level.general_profile_idc = 31;
    EXPECT_EQ(gistOf(sps, nullptr, {}).profile, "profile 31");
}

TEST(StreamGist, SaysALevelWithoutANameAsItIs)
{
    SequenceParameterSet sps = plainSps();
    sps.profile_tier_level.general_level_idc = 124;
    EXPECT_EQ(textOf(sps), "1920x1080 (coded 1920x1088), 8-bit 4:2:0, Main, level_idc 124");
    sps.profile_tier_level.general_level_idc = 255;
    EXPECT_EQ(gistOf(sps, nullptr, {}).level, "8.5");
}

TEST(StreamGist, TakesTheFrameRateFromTheVuiElseFromTheVps)
{
    VideoParameterSet vps;
    vps.vps_timing_info_present_flag = true;
    vps.vps_time_scale = 24;
    vps.vps_num_units_in_tick = 1;
    EXPECT_EQ(textOf(timedSps(60000, 1001), &vps), PLAIN + ", 59.94 frames a second (VUI)");
    EXPECT_EQ(textOf(plainSps(), &vps), PLAIN + ", 24 frames a second (VPS)");
    EXPECT_EQ(textOf(timedSps(1, 1)), PLAIN + ", 1 frame a second (VUI)");
    EXPECT_EQ(textOf(timedSps(2, 3)), PLAIN + ", a frame every 1.5 seconds (VUI)");
    EXPECT_EQ(textOf(timedSps(0, 1)), PLAIN);
    EXPECT_EQ(textOf(timedSps(25, 0)), PLAIN);
}

TEST(StreamGist, HalvesTheRateOfFields)
{
    SequenceParameterSet sps = timedSps(50, 1);
    sps.vui_parameters.field_seq_flag = true;
    EXPECT_EQ(textOf(sps), PLAIN + ", 25 frames a second in fields (VUI), interlaced");
}

TEST(StreamGist, CountsTheTicksOfAPicture)
{
    SequenceParameterSet sps = timedSps(50, 1);
    sps.vui_parameters.vui_poc_proportional_to_timing_flag = true;
    sps.vui_parameters.vui_num_ticks_poc_diff_one_minus1 = 1;
    EXPECT_EQ(textOf(sps), PLAIN + ", 25 frames a second (VUI)");
    sps.vui_parameters.vui_hrd_parameters_present_flag = true;
    sps.vui_parameters.hrd_parameters->fixed_pic_rate_within_cvs_flag[0] = true;
    sps.vui_parameters.hrd_parameters->elemental_duration_in_tc_minus1[0] = 4;
    EXPECT_EQ(textOf(sps), PLAIN + ", 10 frames a second (VUI)");
    sps.vui_parameters.hrd_parameters->elemental_duration_in_tc_minus1[0] = UINT32_MAX - 1;
    EXPECT_EQ(textOf(sps), PLAIN);
}

TEST(StreamGist, SaysWhatTheVuiShows)
{
    SequenceParameterSet sps = plainSps();
    sps.vui_parameters_present_flag = true;
    VuiParameters& vui = sps.vui_parameters;
    vui.video_signal_type_present_flag = true;
    EXPECT_EQ(textOf(sps), PLAIN + ", limited range");
    vui.video_full_range_flag = true;
    vui.colour_description_present_flag = true;
    vui.colour_primaries = 9;
    vui.transfer_characteristics = 16;
    vui.matrix_coeffs = 9;
    EXPECT_EQ(textOf(sps), PLAIN + ", BT.2020 PQ, full range");
    vui.aspect_ratio_info_present_flag = true;
    vui.aspect_ratio_idc = 1;
    EXPECT_EQ(textOf(sps), PLAIN + ", BT.2020 PQ, full range");
    vui.aspect_ratio_idc = 14;
    EXPECT_EQ(textOf(sps), PLAIN + ", BT.2020 PQ, full range, pixels 4:3");
    vui.aspect_ratio_idc = EXTENDED_SAR;
    vui.sar_width = 64;
    vui.sar_height = 45;
    EXPECT_EQ(textOf(sps), PLAIN + ", BT.2020 PQ, full range, pixels 64:45");
    vui.aspect_ratio_idc = 17;
    EXPECT_EQ(gistOf(sps, nullptr, {}).sampleAspectRatio.has_value(), false);
    // What is not present is not looked at.
    sps.vui_parameters_present_flag = false;
    EXPECT_EQ(textOf(sps), PLAIN);
}

TEST(StreamGist, CountsLayersAndViews)
{
    VideoParameterSet vps;
    vps.vps_max_layers_minus1 = 1;
    EXPECT_EQ(textOf(plainSps(), &vps), PLAIN + ", 2 layers");
    vps.vps_extension_flag = true;
    vps.layers->NumViews = 2;
    EXPECT_EQ(textOf(plainSps(), &vps), PLAIN + ", 2 layers, 2 views");
}

TEST(StreamGist, MakesTheCodecStringOfTheRbsp)
{
    const std::array<unsigned char, 14> rbsp = {1, 0x02, 0x20, 0, 0, 0, 0xB0, 0, 0, 0, 0, 0, 153, 0xA0};
    EXPECT_EQ(gistOf(plainSps(), nullptr, rbsp).codecs, "hvc1.2.4.L153.B0");
    EXPECT_EQ(gistOf(plainSps(), nullptr, std::span(rbsp).first(13)).codecs, "hvc1.2.4.L153.B0");
    EXPECT_EQ(gistOf(plainSps(), nullptr, std::span(rbsp).first(12)).codecs, "");
}

TEST(StreamGist, SaysBothDepthsWhenTheyDiffer)
{
    SequenceParameterSet sps = plainSps();
    sps.bit_depth_chroma_minus8 = 2;
    EXPECT_EQ(samplesOf(gistOf(sps, nullptr, {})), "8-bit luma, 10-bit chroma 4:2:0");
    sps.chroma_format_idc = 0;
    EXPECT_EQ(samplesOf(gistOf(sps, nullptr, {})), "8-bit 4:0:0");
    sps.chroma_format_idc = 7;
    sps.separate_colour_plane_flag = true;
    EXPECT_EQ(chromaFormatOf(gistOf(sps, nullptr, {})), "chroma_format_idc 7 in three planes");
}

TEST(StreamGist, RoundsToHundredths)
{
    EXPECT_EQ(decimalOf(24000, 1001), "23.98");
    EXPECT_EQ(decimalOf(25, 2), "12.5");
    EXPECT_EQ(decimalOf(1, 100), "0.01");
    EXPECT_EQ(decimalOf(1999999, 1000), "2000");
    EXPECT_EQ(decimalOf(1001, 1000), "1");
    EXPECT_EQ(decimalOf(105, 100), "1.05");
}

TEST(ColourWords, SayWhatPeopleSay)
{
    struct Case
    {
        unsigned aColour[3];
        const char* pWords;
    };
    const Case aCases[] = {
        {{1, 1, 1}, "BT.709"},
        {{1, 6, 1}, "BT.709"},
        {{9, 16, 9}, "BT.2020 PQ"},
        {{9, 18, 9}, "BT.2020 HLG"},
        {{9, 14, 9}, "BT.2020"},
        {{9, 16, 10}, "BT.2020 PQ, BT.2020, constant luminance matrix"},
        {{1, 13, 0}, "BT.709 sRGB, RGB"},
        {{6, 6, 6}, "BT.601, 525 lines"},
        {{1, 1, 6}, "BT.709, BT.601, 525 lines matrix"},
        {{2, 2, 2}, ""},
        {{2, 16, 2}, "PQ transfer"},
        {{2, 2, 1}, "BT.709 matrix"},
        {{12, 16, 9}, "Display P3 PQ, BT.2020, non-constant luminance matrix"},
        {{3, 2, 2}, "reserved colour_primaries 3"},
        {{255, 255, 255},
         "reserved colour_primaries 255 reserved transfer_characteristics 255, reserved matrix_coeffs 255 matrix"},
    };
    for (const Case& c : aCases)
        EXPECT_EQ(colourWords(c.aColour[0], c.aColour[1], c.aColour[2]), c.pWords);
}

} // namespace
} // namespace stream_gist_test
