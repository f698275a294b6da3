#include "VpsExtensionChecks.h"

#include <algorithm>

#include "ProfileChecks.h"
#include "ProfileTierLevelChecks.h"
#include "SequenceParameterSetChecks.h"

namespace h265_syntax {

namespace {

// F.7.4.3.1.1: what tells the layers apart.
void checkDimensions(const VideoParameterSet& vps, CChecks& checks)
{
    constexpr unsigned AUXILIARY = 3; // Table F.1
    const VpsExtension& s = *vps.vps_extension;
    const unsigned NumScalabilityTypes = vps.layers->NumScalabilityTypes;
    unsigned uiBits = 0; // dimBitOffset
    for (unsigned j = 0; s.splitting_flag && j + 1 < NumScalabilityTypes; ++j) {
        uiBits += s.dimension_id_len_minus1[j] + 1U;
        if (uiBits < 6)
            continue;
        checks.error(BLAME_1(dimension_id_len_minus1, j),
                     "F.7.4.3.1.1",
                     "less than 6 bits together",
                     say("the dimensions take ", uiBits, " of the 6 bits of nuh_layer_id and leave none for the last"));
        break;
    }
    if (s.splitting_flag || !s.scalability_mask_flag[AUXILIARY])
        return;
    unsigned uiAuxiliary = 0;
    for (unsigned j = 0; j < AUXILIARY; ++j)
        uiAuxiliary += s.scalability_mask_flag[j] ? 1 : 0;
    for (unsigned i = 1; i <= vps.layers->MaxLayersMinus1; ++i) {
        const unsigned AuxId = s.dimension_id[i][uiAuxiliary]; // Table F.2
        if (AuxId > 2 && (AuxId < 128 || AuxId > 159))
            checks.reserved(BLAME_2(dimension_id, i, uiAuxiliary), "F.7.4.3.1.1", "0 to 2 or 128 to 159");
    }
}

// F.7.4.3.1.1: layers that no dimension tells apart.
void checkDistinctLayers(const VideoParameterSet& vps, CChecks& checks)
{
    const VpsExtension& s = *vps.vps_extension;
    const LayerVariables& layers = *vps.layers;
    for (unsigned i = 1; i <= layers.MaxLayersMinus1; ++i) {
        for (unsigned k = 0; k < i; ++k) {
            bool bSame = true;
            for (unsigned j = 0; j < layers.NumScalabilityTypes; ++j)
                bSame = bSame && s.dimension_id[i][j] == s.dimension_id[k][j];
            if (!bSame)
                continue;
            checks.warning("F.7.4.3.1.1",
                           say("no scalability dimension tells layer ", i, " of the VPS from its layer ", k));
            return;
        }
    }
}

// F.7.4.3.1.1: the layers and their numbers.
void checkLayers(const VideoParameterSet& vps, CChecks& checks)
{
    const VpsExtension& s = *vps.vps_extension;
    const unsigned MaxLayersMinus1 = vps.layers->MaxLayersMinus1;
    for (unsigned i = 4; i < 16; ++i) {
        if (s.scalability_mask_flag[i])
            checks.reserved(BLAME_1(scalability_mask_flag, i), "F.7.4.3.1.1", "0");
    }
    checkDimensions(vps, checks);
    checkDistinctLayers(vps, checks);
    for (unsigned i = 1; s.vps_nuh_layer_id_present_flag && i <= MaxLayersMinus1; ++i) {
        RANGE_1(layer_id_in_nuh, i, 0, 62, "F.7.4.3.1.1");
        SHALL(s.layer_id_in_nuh[i] > s.layer_id_in_nuh[i - 1],
              BLAME_1(layer_id_in_nuh, i),
              "F.7.4.3.1.1",
              say("above ", s.layer_id_in_nuh[i - 1]),
              "the nuh_layer_id values of the layers do not rise");
    }
    for (unsigned i = vps.vps_base_layer_internal_flag ? 0 : 1;
         s.vps_sub_layers_max_minus1_present_flag && i <= MaxLayersMinus1;
         ++i)
        RANGE_1(sub_layers_vps_max_minus1, i, 0, vps.vps_max_sub_layers_minus1, "F.7.4.3.1.1");
}

// F.7.4.3.1.1: layer sets made of trees of layers that depend on each other.
void checkAddedLayerSets(const VideoParameterSet& vps, CChecks& checks)
{
    const VpsExtension& s = *vps.vps_extension;
    const LayerVariables& layers = *vps.layers;
    RANGE(num_add_layer_sets, 0, 1023, "F.7.4.3.1.1");
    for (unsigned i = 0; i < s.num_add_layer_sets && i < s.highest_layer_idx_plus1.size(); ++i) {
        bool bAny = layers.NumIndependentLayers < 2;
        for (unsigned j = 1; j < layers.NumIndependentLayers && j < layers.TreePartitionLayerIdList.size(); ++j) {
            RANGE_2(highest_layer_idx_plus1, i, j, 0, layers.TreePartitionLayerIdList[j].uiCount, "F.7.4.3.1.1");
            bAny = bAny || s.highest_layer_idx_plus1[i][j] != 0;
        }
        SHALL(bAny,
              BLAME_2(highest_layer_idx_plus1, i, 1U),
              "F.7.4.3.1.1",
              "a layer at least",
              "additional layer set ",
              i,
              " has no layer");
    }
}

// F.7.4.3.1.1: profiles, and the layer sets that are output.
void checkOutputLayerSets(const VideoParameterSet& vps, CChecks& checks)
{
    const VpsExtension& s = *vps.vps_extension;
    checkAddedLayerSets(vps, checks);
    // The second one is there whenever there are layers.
    RANGE(vps_num_profile_tier_level_minus1, vps.vps_max_layers_minus1 > 0 ? 1 : 0, 63, "F.7.4.3.1.1");
    const unsigned uiFirstCoded = vps.vps_base_layer_internal_flag ? 2 : 1;
    if (vps.vps_max_layers_minus1 > 0 && vps.vps_base_layer_internal_flag && s.profile_tier_level.size() > 1)
        checkProfileTierLevel(
            s.profile_tier_level[1], vps.vps_max_sub_layers_minus1, checks.inside("profile_tier_level", 1), false);
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
        if (ols.OlsIdxToLsIdx >= layers.LayerSetLayerIdList.size() ||
            layers.LayerSetLayerIdList[ols.OlsIdxToLsIdx].uiCount == 0)
            continue;
        SHOULD(ols.uiOutputLayerFlags != 0,
               Blamed{},
               "F.7.4.3.1.1",
               "an output layer at least",
               "output layer set ",
               i,
               " outputs no layer");
        for (unsigned j = 0; j < layers.LayerSetLayerIdList[ols.OlsIdxToLsIdx].uiCount; ++j) {
            const bool bCoded = (ols.uiNecessaryLayerFlags >> j & 1) != 0 && s.vps_num_profile_tier_level_minus1 > 0;
            if (bCoded)
                RANGE_2(profile_tier_level_idx, i, j, iLeast, s.vps_num_profile_tier_level_minus1, "F.7.4.3.1.1");
        }
    }
}

// F.7.4.3.1.2
void checkRepFormat(const RepFormat& s, bool bFirst, bool bChromaKnown, CChecks checks)
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
    if (!s.conformance_window_vps_flag || !bChromaKnown)
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
    bool bChromaKnown = false; // this format's own, or that of one before it
    for (unsigned i = 0; i <= s.vps_num_rep_formats_minus1 && i < s.rep_format.size(); ++i) {
        bChromaKnown = bChromaKnown || s.rep_format[i].chroma_and_bit_depth_vps_present_flag;
        checkRepFormat(s.rep_format[i], i == 0, bChromaKnown, checks.inside("rep_format", i));
    }
    for (unsigned i = vps.vps_base_layer_internal_flag ? 1 : 0;
         s.rep_format_idx_present_flag && i <= vps.layers->MaxLayersMinus1;
         ++i)
        RANGE_1(vps_rep_format_idx, i, 0, s.vps_num_rep_formats_minus1, "F.7.4.3.1.1");
}

// F.7.4.3.1.3: by output layer set i, layer k of it and sub-layer j.
void checkDpbSize(const VideoParameterSet& vps, CChecks checks)
{
    constexpr std::int64_t MAX_DPB_SIZE = 16; // A.4.2: of any level
    const DpbSize& s = vps.vps_extension->dpb_size;
    const LayerVariables& layers = *vps.layers;
    const std::size_t uiSets =
        std::min<std::size_t>({layers.NumOutputLayerSets, layers.aOls.size(), s.max_vps_num_reorder_pics.size()});
    for (unsigned i = 1; i < uiSets; ++i) {
        const unsigned currLsIdx = layers.aOls[i].OlsIdxToLsIdx;
        const unsigned uiLayers =
            currLsIdx < layers.LayerSetLayerIdList.size() ? layers.LayerSetLayerIdList[currLsIdx].uiCount : 0;
        const unsigned uiHighest =
            currLsIdx < layers.MaxSubLayersInLayerSetMinus1.size() ? layers.MaxSubLayersInLayerSetMinus1[currLsIdx] : 0;
        unsigned uiBelow = 0; // the sub-layer that what is absent is inferred from
        for (unsigned j = 0; j <= uiHighest; ++j) {
            if (!s.sub_layer_dpb_info_present_flag[i][j])
                continue;
            std::uint32_t uiLargest = 0;
            bool bAny = false;
            for (unsigned k = 0; k < uiLayers && k < s.max_vps_dec_pic_buffering_minus1[i].size(); ++k) {
                if ((layers.aOls[i].uiNecessaryLayerFlags >> k & 1) == 0 ||
                    (!vps.vps_base_layer_internal_flag && layers.LayerSetLayerIdList[currLsIdx].id[k] == 0))
                    continue;
                const std::uint32_t uiSize = s.max_vps_dec_pic_buffering_minus1[i][k][j];
                bAny = true;
                uiLargest = std::max(uiLargest, uiSize);
                RANGE_3(max_vps_dec_pic_buffering_minus1, i, k, j, 0, MAX_DPB_SIZE - 1, "F.7.4.3.1.3");
                SHALL(j == 0 || uiSize >= s.max_vps_dec_pic_buffering_minus1[i][k][uiBelow],
                      BLAME_3(max_vps_dec_pic_buffering_minus1, i, k, j),
                      "F.7.4.3.1.3",
                      say("at least ", s.max_vps_dec_pic_buffering_minus1[i][k][uiBelow]),
                      "a higher sub-layer needs no smaller picture buffer than the one below it");
            }
            // Of access units, whose pictures stand in several buffers: no bound, but one does not expect more.
            SHOULD(!bAny || s.max_vps_num_reorder_pics[i][j] <= uiLargest,
                   BLAME_2(max_vps_num_reorder_pics, i, j),
                   "F.7.4.3.1.3",
                   say("0 to ", uiLargest),
                   "output layer set ",
                   i,
                   " reorders ",
                   s.max_vps_num_reorder_pics[i][j],
                   " pictures, its largest picture buffer holds ",
                   uiLargest,
                   " besides the current one");
            SHALL(j == 0 || s.max_vps_num_reorder_pics[i][j] >= s.max_vps_num_reorder_pics[i][uiBelow],
                  BLAME_2(max_vps_num_reorder_pics, i, j),
                  "F.7.4.3.1.3",
                  say("at least ", s.max_vps_num_reorder_pics[i][uiBelow]),
                  "a higher sub-layer reorders no fewer pictures than the one below it");
            uiBelow = j;
        }
    }
}

// F.7.4.3.1.1, I.7.4.3.1.1: how layers depend on each other. The third bit is that of 3D.
void checkDependencyTypes(const VideoParameterSet& vps, CChecks& checks)
{
    const VpsExtension& s = *vps.vps_extension;
    const bool b3d = s.scalability_mask_flag[0] || (vps.vps_extension2_flag && vps.vps_3d_extension_flag);
    const std::int64_t iMost = b3d ? 6 : 2;
    if (s.direct_dep_type_len_minus2 > 30)
        RANGE(direct_dep_type_len_minus2, 0, 30, "F.7.4.3.1.1");
    else if (s.direct_dep_type_len_minus2 > (b3d ? 1U : 0U))
        checks.reserved(BLAME(direct_dep_type_len_minus2), "F.7.4.3.1.1", b3d ? "0 or 1" : "0");
    const auto check = [&](const Blamed& blamed) {
        if (blamed.iValue > iMost)
            checks.reserved(blamed, "F.7.4.3.1.1", say("0 to ", iMost));
    };
    if (s.direct_dependency_all_layers_flag)
        return check(BLAME(direct_dependency_all_layers_type));
    const unsigned uiFirst = vps.vps_base_layer_internal_flag ? 0 : 1;
    for (unsigned i = uiFirst + 1; i <= vps.layers->MaxLayersMinus1; ++i) {
        for (unsigned j = uiFirst; j < i; ++j) {
            if (s.direct_dependency_flag[i][j])
                check(BLAME_2(direct_dependency_type, i, j));
        }
    }
}

// I.7.4.3.1.7
void check3d(const Vps3dExtension& s, unsigned NumViews, CChecks checks)
{
    RANGE(cp_precision, 0, 5, "I.7.4.3.1.7");
    for (unsigned n = 1; n < NumViews && n < MAX_LAYERS; ++n) {
        const std::vector<std::uint32_t>& refs = s.cp_ref_voi[n];
        for (unsigned m = 1; m < s.num_cp[n] && m < refs.size(); ++m) {
            const auto position = refs.begin() + static_cast<std::ptrdiff_t>(m);
            SHALL(std::find(refs.begin(), position, *position) == position,
                  BLAME_2(cp_ref_voi, n, m),
                  "I.7.4.3.1.7",
                  "a view that is not named before",
                  "view ",
                  n,
                  " has two sets of camera parameters for view order index ",
                  *position);
        }
    }
}

} // namespace

void checkVpsExtension(const VideoParameterSet& vps, CChecks checks)
{
    CChecks inside = checks.inside("vps_extension");
    checkLayers(vps, inside);
    checkOutputLayerSets(vps, inside);
    checkRepFormats(vps, inside);
    checkDpbSize(vps, inside.inside("dpb_size"));
    checkProfilesOfLayers(vps, inside);
    checkDependencyTypes(vps, inside);
    inside.range(Blamed("vps_non_vui_extension_length", vps.vps_extension->vps_non_vui_extension_length),
                 0,
                 4096,
                 "F.7.4.3.1.1");
    if (vps.vps_extension->vps_vui_present_flag)
        checkVpsVui(vps, inside);
    if (vps.vps_extension2_flag && vps.vps_3d_extension_flag)
        check3d(*vps.vps_3d_extension, vps.layers->NumViews, checks.inside("vps_3d_extension"));
    if (vps.vps_extension2_flag && vps.vps_extension3_flag)
        checks.reserved(Blamed("vps_extension3_flag", 1), "I.7.4.3.1", "0");
}

} // namespace h265_syntax
