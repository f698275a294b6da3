#include "ConfigurationSets.h"

#include <algorithm>
#include <cstddef>
#include <span>

namespace h265_inspect {

using namespace h265_container;
using namespace h265_syntax;

SpsForConfiguration forConfiguration(const SequenceParameterSet& sps, const CNalUnit& nalUnit)
{
    // The flags as they stand: profile_tier_level( ) begins with the second byte (7.3.2.2.1), they with its second.
    constexpr std::size_t COMPATIBILITY = 2;
    constexpr std::size_t CONSTRAINTS = COMPATIBILITY + 4;
    constexpr std::size_t LEVEL = CONSTRAINTS + 6;
    constexpr std::uint32_t MOST_SEGMENTATION = 4095; // E.3.1
    const ProfileTierLevel& ptl = sps.profile_tier_level;
    const VuiParameters& vui = sps.vui_parameters;
    const std::span<const unsigned char> rbsp = nalUnit.rbsp();
    SpsForConfiguration c;
    c.general_profile_space = static_cast<unsigned char>(ptl.general_profile_space);
    c.general_tier_flag = ptl.general_tier_flag;
    c.general_profile_idc = static_cast<unsigned char>(ptl.general_profile_idc);
    for (std::size_t i = COMPATIBILITY; i < CONSTRAINTS; ++i)
        c.general_profile_compatibility_flags = c.general_profile_compatibility_flags << 8 | rbsp[i];
    for (std::size_t i = CONSTRAINTS; i < LEVEL; ++i)
        c.general_constraint_indicator_flags = c.general_constraint_indicator_flags << 8 | rbsp[i];
    c.general_level_idc = static_cast<unsigned char>(ptl.general_level_idc);
    c.chroma_format_idc = static_cast<unsigned char>(sps.chroma_format_idc & 3);
    c.bit_depth_luma_minus8 = static_cast<unsigned char>(sps.bit_depth_luma_minus8 & 7);
    c.bit_depth_chroma_minus8 = static_cast<unsigned char>(sps.bit_depth_chroma_minus8 & 7);
    c.sps_max_sub_layers_minus1 = static_cast<unsigned char>(sps.sps_max_sub_layers_minus1);
    c.sps_temporal_id_nesting_flag = sps.sps_temporal_id_nesting_flag;
    if (sps.vui_parameters_present_flag && vui.bitstream_restriction_flag)
        c.min_spatial_segmentation_idc =
            static_cast<std::uint16_t>(std::min(vui.min_spatial_segmentation_idc, MOST_SEGMENTATION));
    return c;
}

PpsForConfiguration forConfiguration(const PictureParameterSet& pps)
{
    return {pps.tiles_enabled_flag, pps.entropy_coding_sync_enabled_flag};
}

} // namespace h265_inspect
