#include "Gist.h"

#include <cstdint>

#include "FormattedText.h"

namespace h265ps {

using namespace h265_codec;

namespace {

const char* titleOf(EGroup eGroup)
{
    switch (eGroup) {
    case EGroup::Identity:
        return "ids and format";
    case EGroup::Layers:
        return "layers";
    case EGroup::ProfileTierLevel:
        return "profile, tier, level";
    case EGroup::SubLayers:
        return "picture order and buffering";
    case EGroup::PresenceFlags:
        return "presence flags";
    case EGroup::Picture:
        return "picture";
    case EGroup::CodingBlocks:
        return "coding blocks";
    case EGroup::ScalingLists:
        return "scaling lists";
    case EGroup::Tools:
        return "tools";
    case EGroup::Pcm:
        return "PCM";
    case EGroup::ShortTermRefPicSets:
        return "short-term reference picture sets";
    case EGroup::LongTermRefPics:
        return "long-term reference pictures";
    case EGroup::Extensions:
        return "extensions";
    case EGroup::DerivedSizes:
        return "picture in CTBs";
    case EGroup::SliceHeaders:
        return "slices";
    case EGroup::Quantisation:
        return "quantisation";
    case EGroup::Tiles:
        return "tiles and wavefronts";
    case EGroup::LoopFilters:
        return "loop filters";
    }
    return "";
}

// A.3
std::string profileName(const profile_tile_level& ptl)
{
    constexpr const char* aNames[] = {nullptr,
                                      "Main",
                                      "Main 10",
                                      "Main Still Picture",
                                      "Range Extensions",
                                      "High Throughput",
                                      "Multiview Main",
                                      "Scalable Main",
                                      "3D Main",
                                      "Screen Content Coding",
                                      "Scalable Range Extensions",
                                      "High Throughput Screen Content Coding"};
    const unsigned uiProfile = ptl.general_profile_idc;
    if (ptl.general_profile_space == 0 && uiProfile != 0 && uiProfile < std::size(aNames))
        return aNames[uiProfile];
    return formatted("profile {}", uiProfile);
}

// A.4: general_level_idc is 30 times the level number.
std::string levelName(unsigned uiLevel)
{
    if (uiLevel % 3 != 0)
        return formatted("level_idc {}", uiLevel);
    if (uiLevel % 30 == 0)
        return formatted("level {}", uiLevel / 30);
    return formatted("level {}.{}", uiLevel / 30, uiLevel % 30 / 3);
}

std::string profileAndLevel(const profile_tile_level& ptl)
{
    return formatted(
        "{}, {}{}", profileName(ptl), levelName(ptl.general_level_idc), ptl.general_tier_flag ? " High tier" : "");
}

// 6.2, Table 6-1: the conformance window is in chroma samples.
std::string pictureSize(const SPS& sps)
{
    const bool bSubsampled = !sps.separate_colour_plane_flag;
    const int SubWidthC = bSubsampled && (sps.chroma_format_idc == 1 || sps.chroma_format_idc == 2) ? 2 : 1;
    const int SubHeightC = bSubsampled && sps.chroma_format_idc == 1 ? 2 : 1;
    const int iWidth = sps.pic_width_in_luma_samples;
    const int iHeight = sps.pic_height_in_luma_samples;
    if (!sps.conformance_window_flag)
        return formatted("{}x{}", iWidth, iHeight);
    const int iOutputWidth = iWidth - SubWidthC * (sps.conf_win_left_offset + sps.conf_win_right_offset);
    const int iOutputHeight = iHeight - SubHeightC * (sps.conf_win_top_offset + sps.conf_win_bottom_offset);
    if (iOutputWidth <= 0 || iOutputHeight <= 0)
        return formatted("{}x{} (conformance window is empty)", iWidth, iHeight);
    if (iOutputWidth == iWidth && iOutputHeight == iHeight)
        return formatted("{}x{}", iWidth, iHeight);
    return formatted("{}x{} (coded {}x{})", iOutputWidth, iOutputHeight, iWidth, iHeight);
}

std::string counted(std::uint64_t ulCount, const char* pNoun)
{
    return formatted("{} {}{}", ulCount, pNoun, ulCount == 1 ? "" : "s");
}

std::string tiles(const PPS& pps)
{
    if (!pps.tiles_enabled_flag)
        return "no tiles";
    return formatted("{} x {}, {} spacing",
                     counted(std::uint64_t{pps.num_tile_columns_minus1} + 1, "column"),
                     counted(std::uint64_t{pps.num_tile_rows_minus1} + 1, "row"),
                     pps.uniform_spacing_flag ? "uniform" : "explicit");
}

std::string side(unsigned uiLog2)
{
    return uiLog2 < 32 ? std::to_string(1U << uiLog2) : formatted("2^{}", uiLog2);
}

} // namespace

std::string bitDepthOf(const SPS& sps)
{
    return sps.chroma_format_idc == 0 || sps.BitDepthY == sps.BitDepthC
               ? formatted("{}-bit", sps.BitDepthY)
               : formatted("{}-bit luma, {}-bit chroma", sps.BitDepthY, sps.BitDepthC);
}

std::string chromaFormatOf(const SPS& sps)
{
    constexpr const char* aFormats[] = {"4:0:0", "4:2:0", "4:2:2", "4:4:4"};
    const unsigned uiFormat = sps.chroma_format_idc;
    const std::string format = uiFormat < 4 ? aFormats[uiFormat] : formatted("chroma_format_idc {}", uiFormat);
    return format + (sps.separate_colour_plane_flag ? " in three planes" : "");
}

std::string samplesOf(const SPS& sps)
{
    return bitDepthOf(sps) + " " + chromaFormatOf(sps);
}

std::string summaryOf(const SPS& sps)
{
    return formatted("{}, {}, {}", pictureSize(sps), samplesOf(sps), profileAndLevel(sps.ptl));
}

GroupGist CGist::of(EGroup eGroup) const
{
    if (eGroup == EGroup::ProfileTierLevel)
        return {titleOf(eGroup), profileTierLevel()};
    if (m_pPps != nullptr)
        return {titleOf(eGroup), ofPps(eGroup)};
    if (m_pSps != nullptr)
        return {titleOf(eGroup), ofSps(eGroup)};
    return {titleOf(eGroup), ""};
}

std::string CGist::profileTierLevel() const
{
    const profile_tile_level& ptl = m_pSps != nullptr ? m_pSps->ptl : m_pVps->ptl;
    const unsigned uiSubLayers =
        m_pSps != nullptr ? m_pSps->sps_max_sub_layers_minus1 : m_pVps->vps_max_sub_layers_minus1;
    return formatted(
        "{}{}", profileAndLevel(ptl), uiSubLayers != 0 ? formatted(", {} sub-layers", uiSubLayers + 1) : "");
}

std::string CGist::ofSps(EGroup eGroup) const
{
    const SPS& sps = *m_pSps;
    switch (eGroup) {
    case EGroup::Picture:
        return formatted("{}, {}", pictureSize(sps), samplesOf(sps));
    case EGroup::CodingBlocks:
        return formatted("CTB {}, coding blocks from {}, transform blocks {} to {}",
                         side(sps.CtbLog2SizeY),
                         side(sps.MinCbLog2SizeY),
                         side(sps.MinTbLog2SizeY),
                         side(sps.MaxTbLog2SizeY));
    case EGroup::ScalingLists:
        return !sps.scaling_list_enabled_flag           ? "off"
               : sps.sps_scaling_list_data_present_flag ? "coded here"
                                                        : "default";
    case EGroup::Pcm:
        return !sps.pcm_enabled_flag ? "off"
                                     : formatted("{} to {} samples, {}-bit luma, {}-bit chroma",
                                                 side(static_cast<unsigned>(sps.Log2MinIpcmCbSizeY)),
                                                 side(static_cast<unsigned>(sps.Log2MaxIpcmCbSizeY)),
                                                 sps.pcm_sample_bit_depth_luma_minus1 + 1,
                                                 sps.pcm_sample_bit_depth_chroma_minus1 + 1);
    case EGroup::Extensions:
        return sps.vui_parameters_present_flag  ? "VUI, not parsed"
               : sps.sps_extension_present_flag ? "no VUI; an extension, not parsed"
                                                : "no VUI";
    case EGroup::LongTermRefPics:
        return sps.long_term_ref_pics_present_flag ? "" : "off";
    case EGroup::DerivedSizes:
        return formatted("{}x{}", sps.PicWidthInCtbsY, sps.PicHeightInCtbsY);
    default:
        return "";
    }
}

// The SPS can switch off what the PPS codes.
std::string CGist::ofPpsScalingLists() const
{
    const bool bOff = m_pSps != nullptr && !m_pSps->scaling_list_enabled_flag;
    if (m_pPps->pps_scaling_list_data_present_flag)
        return bOff ? "coded here, but off in the SPS" : "coded here";
    return bOff ? "off in the SPS" : "those of the SPS";
}

std::string CGist::ofPps(EGroup eGroup) const
{
    const PPS& pps = *m_pPps;
    switch (eGroup) {
    case EGroup::Tiles:
        return tiles(pps) + (pps.entropy_coding_sync_enabled_flag ? "; wavefronts on" : "");
    case EGroup::Quantisation:
        return formatted("initial QP {}", 26 + pps.init_qp_minus26);
    case EGroup::ScalingLists:
        return ofPpsScalingLists();
    case EGroup::Extensions:
        return pps.pps_extension_present_flag ? "an extension, not parsed" : "none";
    case EGroup::LoopFilters:
        return pps.pps_deblocking_filter_disabled_flag ? "deblocking off" : "deblocking on";
    default:
        return "";
    }
}

} // namespace h265ps
