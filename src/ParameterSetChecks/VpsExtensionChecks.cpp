#include "VpsExtensionChecks.h"

#include <algorithm>

#include "ProfileTierLevelChecks.h"
#include "SequenceParameterSetChecks.h"

namespace h265_syntax {

namespace {

// F.7.4.3.1.1: the layers and their numbers.
void checkLayers(const VideoParameterSet& vps, CChecks& checks)
{
    const VpsExtension& s = *vps.vps_extension;
    const unsigned MaxLayersMinus1 = vps.layers->MaxLayersMinus1;
    for (unsigned i = 4; i < 16; ++i) {
        if (s.scalability_mask_flag[i])
            checks.reserved(BLAME_1(scalability_mask_flag, i), "F.7.4.3.1.1", "0");
    }
    for (unsigned i = 1; s.vps_nuh_layer_id_present_flag && i <= MaxLayersMinus1; ++i)
        SHALL(s.layer_id_in_nuh[i] > s.layer_id_in_nuh[i - 1],
              BLAME_1(layer_id_in_nuh, i),
              "F.7.4.3.1.1",
              say("above ", s.layer_id_in_nuh[i - 1]),
              "the nuh_layer_id values of the layers do not rise");
    for (unsigned i = vps.vps_base_layer_internal_flag ? 0 : 1;
         s.vps_sub_layers_max_minus1_present_flag && i <= MaxLayersMinus1;
         ++i)
        RANGE_1(sub_layers_vps_max_minus1, i, 0, vps.vps_max_sub_layers_minus1, "F.7.4.3.1.1");
}

// F.7.4.3.1.1: profiles, and the layer sets that are output.
void checkOutputLayerSets(const VideoParameterSet& vps, CChecks& checks)
{
    const VpsExtension& s = *vps.vps_extension;
    RANGE(num_add_layer_sets, 0, 1023, "F.7.4.3.1.1");
    RANGE(vps_num_profile_tier_level_minus1, 0, 63, "F.7.4.3.1.1");
    const unsigned uiFirstCoded = vps.vps_base_layer_internal_flag ? 2 : 1;
    for (unsigned i = uiFirstCoded;
         i <= std::min(s.vps_num_profile_tier_level_minus1, 63U) && i < s.profile_tier_level.size();
         ++i)
        checkProfileTierLevel(s.profile_tier_level[i],
                              vps.vps_max_sub_layers_minus1,
                              checks.inside("profile_tier_level", i),
                              s.vps_profile_present_flag[i]);
    RANGE(num_add_olss, 0, 1023, "F.7.4.3.1.1");
    if (s.default_output_layer_idc == 3)
        checks.reserved(BLAME(default_output_layer_idc), "F.7.4.3.1.1", "0 to 2");
    const LayerVariables& layers = *vps.layers;
    const std::int64_t iLeast = vps.vps_base_layer_internal_flag ? 0 : 1;
    const auto uiSets = static_cast<unsigned>(std::min<std::size_t>({layers.NumOutputLayerSets,
                                                                     layers.aOls.size(),
                                                                     s.profile_tier_level_idx.size(),
                                                                     s.layer_set_idx_for_ols_minus1.size()}));
    for (unsigned i = 1; i < uiSets; ++i) {
        if (layers.NumLayerSets > 2 && i >= layers.NumLayerSets)
            RANGE_1(layer_set_idx_for_ols_minus1, i, 0, layers.NumLayerSets - std::int64_t{2}, "F.7.4.3.1.1");
        const OutputLayers& ols = layers.aOls[i];
        if (ols.OlsIdxToLsIdx >= layers.LayerSetLayerIdList.size())
            continue;
        for (unsigned j = 0; j < layers.LayerSetLayerIdList[ols.OlsIdxToLsIdx].uiCount; ++j) {
            const bool bCoded = (ols.uiNecessaryLayerFlags >> j & 1) != 0 && s.vps_num_profile_tier_level_minus1 > 0;
            if (bCoded)
                RANGE_2(profile_tier_level_idx, i, j, iLeast, s.vps_num_profile_tier_level_minus1, "F.7.4.3.1.1");
        }
    }
}

// F.7.4.3.1.2
void checkRepFormat(const RepFormat& s, bool bFirst, CChecks checks)
{
    SHALL(!bFirst || s.chroma_and_bit_depth_vps_present_flag,
          BLAME(chroma_and_bit_depth_vps_present_flag),
          "F.7.4.3.1.2",
          "1",
          "the first representation format has to say chroma format and bit depths");
    SHALL(s.pic_width_vps_in_luma_samples != 0,
          BLAME(pic_width_vps_in_luma_samples),
          "F.7.4.3.1.2",
          "above 0",
          "the picture has no width");
    SHALL(s.pic_height_vps_in_luma_samples != 0,
          BLAME(pic_height_vps_in_luma_samples),
          "F.7.4.3.1.2",
          "above 0",
          "the picture has no height");
    RANGE(bit_depth_vps_luma_minus8, 0, 8, "F.7.4.3.1.2");
    RANGE(bit_depth_vps_chroma_minus8, 0, 8, "F.7.4.3.1.2");
    if (!s.conformance_window_vps_flag)
        return;
    const ChromaFormat format = chromaFormat(s.chroma_format_vps_idc, s.separate_colour_plane_vps_flag);
    const std::uint64_t ulColumns =
        format.SubWidthC * (std::uint64_t{s.conf_win_vps_left_offset} + s.conf_win_vps_right_offset);
    const std::uint64_t ulRows =
        format.SubHeightC * (std::uint64_t{s.conf_win_vps_top_offset} + s.conf_win_vps_bottom_offset);
    SHALL(ulColumns < s.pic_width_vps_in_luma_samples,
          BLAME(conf_win_vps_right_offset),
          "F.7.4.3.1.2",
          say("together less than ", s.pic_width_vps_in_luma_samples, " samples"),
          "the conformance window cuts ",
          ulColumns,
          " columns off a picture of ",
          s.pic_width_vps_in_luma_samples,
          ": nothing is left");
    SHALL(ulRows < s.pic_height_vps_in_luma_samples,
          BLAME(conf_win_vps_bottom_offset),
          "F.7.4.3.1.2",
          say("together less than ", s.pic_height_vps_in_luma_samples, " samples"),
          "the conformance window cuts ",
          ulRows,
          " rows off a picture of ",
          s.pic_height_vps_in_luma_samples,
          ": nothing is left");
}

void checkRepFormats(const VideoParameterSet& vps, CChecks& checks)
{
    const VpsExtension& s = *vps.vps_extension;
    RANGE(vps_num_rep_formats_minus1, 0, 255, "F.7.4.3.1.1");
    for (unsigned i = 0; i <= s.vps_num_rep_formats_minus1 && i < s.rep_format.size(); ++i)
        checkRepFormat(s.rep_format[i], i == 0, checks.inside("rep_format", i));
    for (unsigned i = vps.vps_base_layer_internal_flag ? 1 : 0;
         s.rep_format_idx_present_flag && i <= vps.layers->MaxLayersMinus1;
         ++i)
        RANGE_1(vps_rep_format_idx, i, 0, s.vps_num_rep_formats_minus1, "F.7.4.3.1.1");
}

// I.7.4.3.1.7
void check3d(const Vps3dExtension& s, CChecks checks)
{
    RANGE(cp_precision, 0, 5, "I.7.4.3.1.7");
}

} // namespace

void checkVpsExtension(const VideoParameterSet& vps, CChecks checks)
{
    CChecks inside = checks.inside("vps_extension");
    checkLayers(vps, inside);
    checkOutputLayerSets(vps, inside);
    checkRepFormats(vps, inside);
    if (vps.vps_extension->vps_vui_present_flag)
        checkVpsVui(vps, inside);
    if (vps.vps_3d_extension_flag)
        check3d(*vps.vps_3d_extension, checks.inside("vps_3d_extension"));
    {
        const VpsExtension& s = *vps.vps_extension;
        inside.range(BLAME(vps_non_vui_extension_length), 0, 4096, "F.7.4.3.1.1");
    }
}

} // namespace h265_syntax
