#include "VpsOfSpsChecks.h"

#include <algorithm>

namespace h265_syntax {

namespace {

// 7.4.3.2.1, F.7.4.3.2.1: also of an SPS of another layer that has a profile of its own.
void checkSubLayerCount(const SequenceParameterSet& s, const VideoParameterSet& vps, CChecks& checks)
{
    SHALL(s.sps_max_sub_layers_minus1 <= vps.vps_max_sub_layers_minus1,
          s.nal_unit_header.nuh_layer_id == 0 ? BLAME(sps_max_sub_layers_minus1)
                                              : BLAME(sps_ext_or_max_sub_layers_minus1),
          "7.4.3.2.1",
          say("at most ", vps.vps_max_sub_layers_minus1),
          "the SPS has ",
          s.sps_max_sub_layers_minus1 + 1,
          " sub-layers, its VPS ",
          vps.vps_max_sub_layers_minus1 + 1);
    SHALL(!vps.vps_temporal_id_nesting_flag || s.sps_temporal_id_nesting_flag,
          BLAME(sps_temporal_id_nesting_flag),
          "7.4.3.2.1",
          "1",
          "the VPS has vps_temporal_id_nesting_flag 1, its SPS has it 0");
}

// 7.4.3.2.1
void checkSubLayers(const SequenceParameterSet& s, const VideoParameterSet& vps, CChecks& checks)
{
    const unsigned uiCommon = std::min(s.sps_max_sub_layers_minus1, vps.vps_max_sub_layers_minus1);
    for (unsigned i = 0; i <= uiCommon; ++i) {
        const unsigned uiCoded = s.sps_sub_layer_ordering_info_present_flag ? i : s.sps_max_sub_layers_minus1;
        const bool bBroken = s.sps_max_dec_pic_buffering_minus1[i] > vps.vps_max_dec_pic_buffering_minus1[i];
        SHALL(!bBroken,
              BLAME_1(sps_max_dec_pic_buffering_minus1, uiCoded),
              "7.4.3.2.1",
              say("at most ", vps.vps_max_dec_pic_buffering_minus1[i]),
              "the SPS needs a picture buffer of ",
              s.sps_max_dec_pic_buffering_minus1[i] + std::uint64_t{1},
              " for sub-layer ",
              i,
              ", its VPS says ",
              vps.vps_max_dec_pic_buffering_minus1[i] + std::uint64_t{1});
        SHALL(s.sps_max_num_reorder_pics[i] <= vps.vps_max_num_reorder_pics[i],
              BLAME_1(sps_max_num_reorder_pics, uiCoded),
              "7.4.3.2.1",
              say("at most ", vps.vps_max_num_reorder_pics[i]),
              "the SPS reorders ",
              s.sps_max_num_reorder_pics[i],
              " pictures of sub-layer ",
              i,
              ", its VPS says ",
              vps.vps_max_num_reorder_pics[i]);
        const std::uint32_t uiLatency = vps.vps_max_latency_increase_plus1[i];
        SHOULD(uiLatency == 0 ||
                   (s.sps_max_latency_increase_plus1[i] != 0 && s.sps_max_latency_increase_plus1[i] <= uiLatency),
               BLAME_1(sps_max_latency_increase_plus1, uiCoded),
               "7.4.3.2.1",
               say("1 to ", uiLatency),
               "the SPS allows more latency to sub-layer ",
               i,
               " than its VPS");
        if (!s.sps_sub_layer_ordering_info_present_flag && bBroken)
            break; // one coded value for all
    }
}

// 7.4.4 gives both the same meaning for a stream of one layer.
void checkProfile(const SequenceParameterSet& sps, const VideoParameterSet& vps, CChecks checks)
{
    const ProfileTierLevel& s = sps.profile_tier_level;
    const ProfileTierLevel& other = vps.profile_tier_level;
    SHOULD(s.general_profile_idc == other.general_profile_idc && s.general_profile_space == other.general_profile_space,
           BLAME(general_profile_idc),
           "7.4.4",
           say(other.general_profile_idc),
           "the SPS is of profile ",
           s.general_profile_idc,
           ", its VPS says ",
           other.general_profile_idc);
    SHOULD(s.general_tier_flag == other.general_tier_flag,
           BLAME(general_tier_flag),
           "7.4.4",
           other.general_tier_flag ? "1" : "0",
           "SPS and VPS differ in the tier");
    SHOULD(s.general_level_idc == other.general_level_idc,
           BLAME(general_level_idc),
           "7.4.4",
           say(other.general_level_idc),
           "the SPS has general_level_idc ",
           s.general_level_idc,
           ", its VPS ",
           other.general_level_idc);
    for (unsigned j = 0; j < 32; ++j) {
        SHOULD(s.general_profile_compatibility_flag[j] == other.general_profile_compatibility_flag[j],
               BLAME_1(general_profile_compatibility_flag, j),
               "7.4.4",
               other.general_profile_compatibility_flag[j] ? "1" : "0",
               "SPS and VPS differ in the compatibility with profile ",
               j);
    }
    const auto same = [&](const Blamed& blamed, bool bOther) {
        SHOULD((blamed.iValue != 0) == bOther,
               blamed,
               "7.4.4",
               bOther ? "1" : "0",
               "SPS and VPS differ in ",
               blamed.pName);
    };
    same(BLAME(general_progressive_source_flag), other.general_progressive_source_flag);
    same(BLAME(general_interlaced_source_flag), other.general_interlaced_source_flag);
    same(BLAME(general_non_packed_constraint_flag), other.general_non_packed_constraint_flag);
    same(BLAME(general_frame_only_constraint_flag), other.general_frame_only_constraint_flag);
}

// E.3.1
void checkTiming(const SequenceParameterSet& sps, const VideoParameterSet& vps, CChecks checks)
{
    const VuiParameters& s = sps.vui_parameters;
    if (!sps.vui_parameters_present_flag || !s.vui_timing_info_present_flag || !vps.vps_timing_info_present_flag)
        return;
    SHALL(s.vui_num_units_in_tick == vps.vps_num_units_in_tick,
          BLAME(vui_num_units_in_tick),
          "E.3.1",
          say(vps.vps_num_units_in_tick),
          "the VUI's clock tick has ",
          s.vui_num_units_in_tick,
          " units, the VPS's has ",
          vps.vps_num_units_in_tick);
    SHALL(s.vui_time_scale == vps.vps_time_scale,
          BLAME(vui_time_scale),
          "E.3.1",
          say(vps.vps_time_scale),
          "the VUI has ",
          s.vui_time_scale,
          " time units a second, the VPS has ",
          vps.vps_time_scale);
    // 0 says nothing of what the picture order counts do.
    SHALL(s.vui_poc_proportional_to_timing_flag || !vps.vps_poc_proportional_to_timing_flag,
          BLAME(vui_poc_proportional_to_timing_flag),
          "E.3.1",
          "1",
          "the VPS says that picture order counts follow time, the VUI does not");
    SHALL(!s.vui_poc_proportional_to_timing_flag || !vps.vps_poc_proportional_to_timing_flag ||
              s.vui_num_ticks_poc_diff_one_minus1 == vps.vps_num_ticks_poc_diff_one_minus1,
          BLAME(vui_num_ticks_poc_diff_one_minus1),
          "E.3.1",
          say(vps.vps_num_ticks_poc_diff_one_minus1),
          "VUI and VPS differ in the ticks between two pictures");
}

// F.7.4.3.2.1: the lists of another layer are those of one that a layer which can have this SPS refers to.
void checkScalingListLayer(const SequenceParameterSet& s, const VideoParameterSet& vps, CChecks& checks)
{
    if (!s.scaling_list_enabled_flag || !s.sps_infer_scaling_list_flag || s.sps_scaling_list_ref_layer_id > 62)
        return;
    SHALL(isReferredTo(vps, s.sps_scaling_list_ref_layer_id, s.nal_unit_header.nuh_layer_id),
          BLAME(sps_scaling_list_ref_layer_id),
          "F.7.4.3.2.1",
          "a reference layer",
          "the scaling lists are to be those of layer ",
          s.sps_scaling_list_ref_layer_id,
          ", which no layer that can have this SPS refers to");
}

// F.7.4.3.2.1: a format of the SPS's own is within what the VPS announces for the layer. Which layers use the SPS only
// the pictures say: it has to be within the format of one of them.
void checkWithinFormats(const SequenceParameterSet& s, const VideoParameterSet& vps, CChecks& checks)
{
    if (!vps.vps_extension_flag || vps.stop || (s.MultiLayerExtSpsFlag && !s.bFormatKnown))
        return;
    // F.7.4.3.1: of a base layer that comes from elsewhere the VPS says nothing.
    if (s.nal_unit_header.nuh_layer_id == 0 && !vps.vps_base_layer_internal_flag)
        return;
    const VpsExtension& extension = *vps.vps_extension;
    const RepFormat* pNearest = nullptr;
    for (unsigned i = vps.vps_base_layer_internal_flag ? 0 : 1; i <= vps.layers->MaxLayersMinus1; ++i) {
        const unsigned uiFormat = i == 0 ? 0 : extension.vps_rep_format_idx[i]; // F.7.4.3.1.1
        if (extension.layer_id_in_nuh[i] < s.nal_unit_header.nuh_layer_id ||
            uiFormat > extension.vps_num_rep_formats_minus1 || uiFormat >= extension.rep_format.size())
            continue;
        const RepFormat& format = extension.rep_format[uiFormat];
        if (pNearest == nullptr)
            pNearest = &format;
        if (s.pic_width_in_luma_samples <= format.pic_width_vps_in_luma_samples &&
            s.pic_height_in_luma_samples <= format.pic_height_vps_in_luma_samples)
            return;
    }
    if (pNearest == nullptr)
        return;
    const std::string format =
        say(pNearest->pic_width_vps_in_luma_samples, "x", pNearest->pic_height_vps_in_luma_samples);
    checks.error(s.MultiLayerExtSpsFlag ? BLAME(sps_rep_format_idx) : BLAME(pic_width_in_luma_samples),
                 "F.7.4.3.2.1",
                 say("at most ", format),
                 say("the pictures, ",
                     s.pic_width_in_luma_samples,
                     "x",
                     s.pic_height_in_luma_samples,
                     ", are larger than the VPS announces for the layer, ",
                     format));
}

} // namespace

bool isReferredTo(const VideoParameterSet& vps, unsigned uiReferred, unsigned uiLowest) noexcept
{
    if (!vps.vps_extension_flag || vps.stop)
        return true; // nobody knows
    if (uiReferred == 0 && !vps.vps_base_layer_internal_flag)
        return false;
    const LayerVariables& layers = *vps.layers;
    for (unsigned i = 0; i <= layers.MaxLayersMinus1; ++i) {
        if (vps.vps_extension->layer_id_in_nuh[i] < uiLowest)
            continue;
        for (unsigned j = 0; j < i; ++j) {
            if ((layers.DependencyFlag[i] >> j & 1) != 0 && vps.vps_extension->layer_id_in_nuh[j] == uiReferred)
                return true;
        }
    }
    return false;
}

void checkVpsOfSps(const SequenceParameterSet& s, const VideoParameterSet& vps, CFindings& findings)
{
    CChecks checks(findings, "");
    if (!s.MultiLayerExtSpsFlag)
        checkSubLayerCount(s, vps, checks);
    // F.7.4.3.1: of a base layer that comes from elsewhere the VPS says nothing.
    if (!s.MultiLayerExtSpsFlag && s.nal_unit_header.nuh_layer_id == 0 && vps.vps_base_layer_internal_flag) {
        checkSubLayers(s, vps, checks);
        checkProfile(s, vps, checks.inside("profile_tier_level"));
    }
    checkTiming(s, vps, checks.inside("vui_parameters"));
    if (s.MultiLayerExtSpsFlag && s.update_rep_format_flag && vps.vps_extension_flag)
        RANGE(sps_rep_format_idx, 0, vps.vps_extension->vps_num_rep_formats_minus1, "F.7.4.3.2.1");
    if (!s.MultiLayerExtSpsFlag || s.update_rep_format_flag)
        checkWithinFormats(s, vps, checks);
    if (s.MultiLayerExtSpsFlag)
        checkScalingListLayer(s, vps, checks);
}

} // namespace h265_syntax
