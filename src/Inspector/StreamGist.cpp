#include "StreamGist.h"

#include <cmath>
#include <iterator>
#include <numeric>
#include <string_view>

#include "CodecString.h"
#include "ColourWords.h"
#include "Levels.h"
#include "Profiles.h"

namespace h265_inspect {

using namespace h265_syntax;

namespace {

void setProfileAndLevel(SequenceGist& gist, const ProfileTierLevel& s)
{
    const auto digit = [](bool bFlag) { return bFlag ? '1' : '0'; };
    const ConstraintFlags flags = {{digit(s.general_max_14bit_constraint_flag),
                                    digit(s.general_max_12bit_constraint_flag),
                                    digit(s.general_max_10bit_constraint_flag),
                                    digit(s.general_max_8bit_constraint_flag),
                                    digit(s.general_max_422chroma_constraint_flag),
                                    digit(s.general_max_420chroma_constraint_flag),
                                    digit(s.general_max_monochrome_constraint_flag),
                                    digit(s.general_intra_constraint_flag),
                                    digit(s.general_one_picture_only_constraint_flag),
                                    digit(s.general_lower_bit_rate_constraint_flag)}};
    const bool bNamed = s.general_profile_space == 0;
    const Profile* const pProfile = bNamed ? findProfile(s.general_profile_idc, flags) : nullptr;
    const char* const pGroup = bNamed ? profileGroupName(s.general_profile_idc) : nullptr;
    if (pProfile != nullptr)
        gist.profile = pProfile->pName;
    else
        gist.profile = pGroup != nullptr ? pGroup : "profile " + std::to_string(s.general_profile_idc);

    gist.general_level_idc = s.general_level_idc;
    gist.general_tier_flag = s.general_tier_flag;
    const Level* const pLevel = findLevel(s.general_level_idc);
    if (pLevel != nullptr)
        gist.level = pLevel->pName;
    else if (s.general_level_idc == LEVEL_8_5_IDC)
        gist.level = "8.5";
}

// 6.2, Table 6-1: the conformance window is in chroma samples.
void setSize(SequenceGist& gist, const SequenceParameterSet& s)
{
    const bool bSubsampled = !s.separate_colour_plane_flag;
    const std::uint64_t SubWidthC = bSubsampled && (s.chroma_format_idc == 1 || s.chroma_format_idc == 2) ? 2 : 1;
    const std::uint64_t SubHeightC = bSubsampled && s.chroma_format_idc == 1 ? 2 : 1;
    const std::uint64_t ulOffWidth =
        SubWidthC * (std::uint64_t{s.conf_win_left_offset} + std::uint64_t{s.conf_win_right_offset});
    const std::uint64_t ulOffHeight =
        SubHeightC * (std::uint64_t{s.conf_win_top_offset} + std::uint64_t{s.conf_win_bottom_offset});
    gist.uiWidth = gist.uiCodedWidth = s.pic_width_in_luma_samples;
    gist.uiHeight = gist.uiCodedHeight = s.pic_height_in_luma_samples;
    if (!s.conformance_window_flag)
        return;
    gist.bEmptyWindow = ulOffWidth >= gist.uiCodedWidth || ulOffHeight >= gist.uiCodedHeight;
    if (gist.bEmptyWindow)
        return;
    gist.uiWidth = static_cast<std::uint32_t>(gist.uiCodedWidth - ulOffWidth);
    gist.uiHeight = static_cast<std::uint32_t>(gist.uiCodedHeight - ulOffHeight);
}

// E.3.1, E.3.2: how many ticks a picture lasts, as far as the sets tell; of the highest sub-layer.
std::uint64_t ticksOfPicture(bool bProportional, std::uint32_t uiTicksMinus1, const HrdParameters* pHrd, unsigned uiTop)
{
    if (pHrd != nullptr && pHrd->fixed_pic_rate_within_cvs_flag[uiTop])
        return std::uint64_t{pHrd->elemental_duration_in_tc_minus1[uiTop]} + 1;
    return bProportional ? std::uint64_t{uiTicksMinus1} + 1 : 1;
}

void setFrameRate(SequenceGist& gist, const SequenceParameterSet& s, const VideoParameterSet* pVps)
{
    const VuiParameters& vui = s.vui_parameters;
    FrameRate rate;
    std::uint64_t ulTicks = 1;
    if (s.vui_parameters_present_flag && vui.vui_timing_info_present_flag) {
        const unsigned uiTop = s.sps_max_sub_layers_minus1 % MAX_SUB_LAYERS;
        ulTicks = ticksOfPicture(vui.vui_poc_proportional_to_timing_flag,
                                 vui.vui_num_ticks_poc_diff_one_minus1,
                                 vui.vui_hrd_parameters_present_flag ? &*vui.hrd_parameters : nullptr,
                                 uiTop);
        rate = {vui.vui_time_scale, vui.vui_num_units_in_tick, false};
    } else if (pVps != nullptr && pVps->vps_timing_info_present_flag) {
        ulTicks = ticksOfPicture(
            pVps->vps_poc_proportional_to_timing_flag, pVps->vps_num_ticks_poc_diff_one_minus1, nullptr, 0);
        rate = {pVps->vps_time_scale, pVps->vps_num_units_in_tick, true};
    }
    if (rate.ulNumerator == 0 || rate.ulDenominator == 0)
        return;
    // Both have 32 bits, ticks 33: ticks of more than 2^31 do not come from any clock.
    if (ulTicks > UINT32_MAX / 2)
        return;
    rate.ulDenominator *= ulTicks * (gist.bFields ? 2 : 1);
    const std::uint64_t ulCommon = std::gcd(rate.ulNumerator, rate.ulDenominator);
    rate.ulNumerator /= ulCommon;
    rate.ulDenominator /= ulCommon;
    gist.frameRate = rate;
}

// Table E.1
void setAspectRatio(SequenceGist& gist, const VuiParameters& vui)
{
    constexpr AspectRatio RATIOS[] = {{0, 0},
                                      {1, 1},
                                      {12, 11},
                                      {10, 11},
                                      {16, 11},
                                      {40, 33},
                                      {24, 11},
                                      {20, 11},
                                      {32, 11},
                                      {80, 33},
                                      {18, 11},
                                      {15, 11},
                                      {64, 33},
                                      {160, 99},
                                      {4, 3},
                                      {3, 2},
                                      {2, 1}};
    AspectRatio ratio{0, 0};
    if (vui.aspect_ratio_info_present_flag && vui.aspect_ratio_idc == EXTENDED_SAR)
        ratio = {vui.sar_width, vui.sar_height};
    else if (vui.aspect_ratio_info_present_flag && vui.aspect_ratio_idc < std::size(RATIOS))
        ratio = RATIOS[vui.aspect_ratio_idc];
    if (ratio.uiWidth != 0 && ratio.uiHeight != 0)
        gist.sampleAspectRatio = ratio;
}

void setColour(SequenceGist& gist, const VuiParameters& vui)
{
    if (!vui.video_signal_type_present_flag)
        return;
    gist.bFullRange = vui.video_full_range_flag;
    if (!vui.colour_description_present_flag)
        return;
    gist.colour_primaries = vui.colour_primaries;
    gist.transfer_characteristics = vui.transfer_characteristics;
    gist.matrix_coeffs = vui.matrix_coeffs;
    gist.colour = colourWords(vui.colour_primaries, vui.transfer_characteristics, vui.matrix_coeffs);
}

std::string sizeOf(const SequenceGist& gist)
{
    const auto size = [](std::uint32_t uiWidth, std::uint32_t uiHeight) {
        return std::to_string(uiWidth) + "x" + std::to_string(uiHeight);
    };
    std::string text = size(gist.uiWidth, gist.uiHeight);
    if (gist.bEmptyWindow)
        text += " (conformance window is empty)";
    else if (gist.uiWidth != gist.uiCodedWidth || gist.uiHeight != gist.uiCodedHeight)
        text += " (coded " + size(gist.uiCodedWidth, gist.uiCodedHeight) + ")";
    return text;
}

std::string rateOf(const SequenceGist& gist)
{
    const FrameRate& rate = *gist.frameRate;
    const std::string decimal = decimalOf(rate.ulNumerator, rate.ulDenominator);
    if (rate.ulNumerator < rate.ulDenominator)
        return "a frame every " + decimalOf(rate.ulDenominator, rate.ulNumerator) + " seconds" +
               (rate.bFromVps ? " (VPS)" : " (VUI)");
    std::string text = perSecond(decimal, "frame");
    if (gist.bFields)
        text += " in fields";
    return text + (rate.bFromVps ? " (VPS)" : " (VUI)");
}

} // namespace

SequenceGist gistOf(const SequenceParameterSet& sps, const VideoParameterSet* pVps, std::span<const unsigned char> rbsp)
{
    SequenceGist gist;
    setSize(gist, sps);
    setProfileAndLevel(gist, sps.profile_tier_level);
    gist.BitDepthY = sps.bit_depth_luma_minus8 + 8;
    gist.BitDepthC = sps.bit_depth_chroma_minus8 + 8;
    gist.chroma_format_idc = sps.chroma_format_idc;
    gist.separate_colour_plane_flag = sps.separate_colour_plane_flag;
    const VuiParameters absent;
    const VuiParameters& vui = sps.vui_parameters_present_flag ? sps.vui_parameters : absent;
    gist.bFields = vui.field_seq_flag;
    gist.bInterlaced = vui.field_seq_flag || (sps.profile_tier_level.general_interlaced_source_flag &&
                                              !sps.profile_tier_level.general_progressive_source_flag);
    setFrameRate(gist, sps, pVps);
    setAspectRatio(gist, vui);
    setColour(gist, vui);
    if (pVps != nullptr) {
        gist.uiLayers = pVps->vps_max_layers_minus1 + 1U;
        gist.uiViews = pVps->vps_extension_flag ? pVps->layers->NumViews : 1;
    }
    // 7.3.2.2.1: one byte stands in front of profile_tier_level( ).
    if (rbsp.size() > GENERAL_PTL_BYTES)
        gist.codecs = codecString("hvc1", rbsp.subspan<1, GENERAL_PTL_BYTES>());
    return gist;
}

std::string chromaFormatOf(const SequenceGist& gist)
{
    constexpr const char* FORMATS[] = {"4:0:0", "4:2:0", "4:2:2", "4:4:4"};
    const std::uint32_t uiFormat = gist.chroma_format_idc;
    return (uiFormat < std::size(FORMATS) ? FORMATS[uiFormat] : "chroma_format_idc " + std::to_string(uiFormat)) +
           (gist.separate_colour_plane_flag ? " in three planes" : "");
}

std::string samplesOf(const SequenceGist& gist)
{
    const std::string luma = std::to_string(gist.BitDepthY) + "-bit ";
    if (gist.chroma_format_idc == 0 || gist.BitDepthY == gist.BitDepthC)
        return luma + chromaFormatOf(gist);
    return luma + "luma, " + std::to_string(gist.BitDepthC) + "-bit chroma " + chromaFormatOf(gist);
}

std::string perSecond(const std::string& number, const char* pNoun)
{
    return number + ' ' + pNoun + (number == "1" ? "" : "s") + " a second";
}

std::string decimalOf(std::uint64_t ulNumerator, std::uint64_t ulDenominator)
{
    constexpr std::uint64_t HUNDREDTHS = 100;
    const std::uint64_t ulWhole = ulNumerator / ulDenominator;
    const std::uint64_t ulRest = ulNumerator % ulDenominator;
    // The rest has 35 bits at most: the product fits.
    const std::uint64_t ulRounded =
        ulWhole * HUNDREDTHS + static_cast<std::uint64_t>(std::llround(static_cast<double>(ulRest) * 100.0 /
                                                                       static_cast<double>(ulDenominator)));
    std::string text = std::to_string(ulRounded / HUNDREDTHS);
    if (const std::uint64_t ulDecimals = ulRounded % HUNDREDTHS; ulDecimals != 0) {
        text += ulDecimals < 10 ? ".0" : ".";
        text += std::to_string(ulDecimals);
        if (text.back() == '0')
            text.pop_back();
    }
    return text;
}

std::string vuiTextOf(const SequenceGist& gist)
{
    std::string text;
    const auto add = [&](const std::string& words) { text += (text.empty() ? "" : ", ") + words; };
    if (gist.frameRate)
        add(rateOf(gist));
    if (gist.bInterlaced)
        add("interlaced");
    if (!gist.colour.empty())
        add(gist.colour);
    if (gist.bFullRange)
        add(*gist.bFullRange ? "full range" : "limited range");
    if (gist.sampleAspectRatio && gist.sampleAspectRatio->uiWidth != gist.sampleAspectRatio->uiHeight)
        add("pixels " + std::to_string(gist.sampleAspectRatio->uiWidth) + ":" +
            std::to_string(gist.sampleAspectRatio->uiHeight));
    return text;
}

std::string textOf(const SequenceGist& gist)
{
    std::string text = sizeOf(gist) + ", " + samplesOf(gist) + ", " + gist.profile;
    text += gist.level.empty() ? ", level_idc " + std::to_string(gist.general_level_idc) : ", level " + gist.level;
    if (gist.general_tier_flag)
        text += " High tier";
    if (const std::string vui = vuiTextOf(gist); !vui.empty())
        text += ", " + vui;
    if (gist.uiLayers > 1)
        text += ", " + std::to_string(gist.uiLayers) + " layers";
    if (gist.uiViews > 1)
        text += ", " + std::to_string(gist.uiViews) + " views";
    return text;
}

} // namespace h265_inspect
