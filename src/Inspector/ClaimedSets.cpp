#include "ClaimedSets.h"

#include <utility>

namespace h265_inspect {

using namespace h265_syntax;

Content contentOf(std::span<const unsigned char> bytes)
{
    constexpr std::uint64_t FNV_BASIS = 0xcbf29ce484222325;
    constexpr std::uint64_t FNV_PRIME = 0x100000001b3;
    std::uint64_t ulHash = FNV_BASIS;
    for (const unsigned char ucByte : bytes)
        ulHash = (ulHash ^ ucByte) * FNV_PRIME;
    return {ulHash, bytes.size()};
}

std::string ReadSet::name() const
{
    return say(SET_NAMES[nal_unit_type - VPS_NUT], " ", uiId);
}

namespace {

void readVps(ReadSet& set, const CNalUnit& nalUnit)
{
    VideoParameterSet vps;
    set.bWhole = read(vps, nalUnit);
    set.uiId = vps.vps_video_parameter_set_id;
    set.timing = {vps.vps_timing_info_present_flag,
                  vps.vps_num_units_in_tick,
                  vps.vps_time_scale,
                  vps.vps_poc_proportional_to_timing_flag,
                  vps.vps_num_ticks_poc_diff_one_minus1};
}

SequenceGist gistWith(const SequenceParameterSet& sps, const VpsTiming& timing, std::span<const unsigned char> rbsp)
{
    VideoParameterSet vps;
    vps.vps_timing_info_present_flag = timing.vps_timing_info_present_flag;
    vps.vps_num_units_in_tick = timing.vps_num_units_in_tick;
    vps.vps_time_scale = timing.vps_time_scale;
    vps.vps_poc_proportional_to_timing_flag = timing.vps_poc_proportional_to_timing_flag;
    vps.vps_num_ticks_poc_diff_one_minus1 = timing.vps_num_ticks_poc_diff_one_minus1;
    return gistOf(sps, &vps, rbsp);
}

// 7.3.2.2.1: profile_tier_level( ) begins with the second byte.
ClaimedProfile profileOf(const ProfileTierLevel& ptl, std::span<const unsigned char> rbsp)
{
    constexpr std::size_t COMPATIBILITY = 2;
    constexpr std::size_t CONSTRAINTS = COMPATIBILITY + 4;
    constexpr std::size_t LEVEL = CONSTRAINTS + 6;
    ClaimedProfile profile{
        ptl.general_profile_space, ptl.general_tier_flag, ptl.general_profile_idc, ptl.general_level_idc};
    for (std::size_t i = COMPATIBILITY; i < LEVEL && i < rbsp.size(); ++i) {
        if (i < CONSTRAINTS)
            profile.uiCompatibility = profile.uiCompatibility << 8 | rbsp[i];
        else
            profile.ulConstraints = profile.ulConstraints << 8 | rbsp[i];
    }
    return profile;
}

void readSps(ReadSet& set, const CNalUnit& nalUnit, std::span<const VpsTiming> timings)
{
    SequenceParameterSet sps;
    set.bWhole = read(sps, nalUnit);
    set.uiId = sps.sps_seq_parameter_set_id;
    if (!set.bWhole)
        return;
    const VpsTiming& timing = timings[sps.sps_video_parameter_set_id % timings.size()];
    SpsValues values;
    values.profile_tier_level = profileOf(sps.profile_tier_level, nalUnit.rbsp());
    values.sps_seq_parameter_set_id = sps.sps_seq_parameter_set_id;
    values.sps_max_sub_layers_minus1 = sps.sps_max_sub_layers_minus1;
    values.sps_temporal_id_nesting_flag = sps.sps_temporal_id_nesting_flag;
    values.chroma_format_idc = sps.chroma_format_idc;
    values.pic_width_in_luma_samples = sps.pic_width_in_luma_samples;
    values.pic_height_in_luma_samples = sps.pic_height_in_luma_samples;
    values.bit_depth_luma_minus8 = sps.bit_depth_luma_minus8;
    values.bit_depth_chroma_minus8 = sps.bit_depth_chroma_minus8;
    values.vui_parameters_present_flag = sps.vui_parameters_present_flag;
    values.vps_time_scale = timing.vps_time_scale;
    set.gist = gistWith(sps, timing, nalUnit.rbsp());
    if (sps.vui_parameters_present_flag) {
        VuiParameters& vui = sps.vui_parameters;
        values.sub_pic_hrd_params_present_flag =
            vui.vui_hrd_parameters_present_flag && std::as_const(vui.hrd_parameters)->sub_pic_hrd_params_present_flag;
        vui.hrd_parameters = {};
        values.vui_parameters = std::move(vui);
    }
    set.sps = std::move(values);
}

void readPps(ReadSet& set, const CNalUnit& nalUnit)
{
    PictureParameterSet pps;
    set.bWhole = read(pps, nalUnit);
    set.uiId = pps.pps_pic_parameter_set_id;
    set.bTiles = pps.tiles_enabled_flag;
    set.bWavefront = pps.entropy_coding_sync_enabled_flag;
}

} // namespace

ReadSet readClaimedSet(unsigned nal_unit_type, const CNalUnit& nalUnit, const Content& content,
                       std::span<const VpsTiming> timings)
{
    ReadSet set;
    set.content = content;
    set.nal_unit_type = nal_unit_type;
    if (set.nal_unit_type == VPS_NUT)
        readVps(set, nalUnit);
    else if (set.nal_unit_type == SPS_NUT)
        readSps(set, nalUnit, timings);
    else
        readPps(set, nalUnit);
    return set;
}

} // namespace h265_inspect
