#include "VpsExtensionSyntax.h"

#include <algorithm>
#include <utility>

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

namespace {

constexpr bool has(std::uint64_t uiFlags, unsigned i)
{
    return (uiFlags >> i & 1) != 0;
}

template <class TUse>
void scalability(TUse& use, Of<TUse, VpsExtension>& s, Of<TUse, VideoParameterSet>& vps)
{
    const LayerVariables& layers = *std::as_const(vps.layers);
    const unsigned MaxLayersMinus1 = std::min<unsigned>(vps.vps_max_layers_minus1, MAX_LAYERS - 1);
    FLAG(splitting_flag);
    for (unsigned i = 0; i < 16; ++i)
        FLAG(scalability_mask_flag, i);
    use.derive(deriveLayerIds, vps);
    for (unsigned j = 0; j + s.splitting_flag < layers.NumScalabilityTypes; ++j)
        U(3, dimension_id_len_minus1, j);
    FLAG(vps_nuh_layer_id_present_flag);
    INFER(layer_id_in_nuh, 0, 0U); // F.7.4.3.1.1
    for (unsigned i = 1; i <= MaxLayersMinus1; ++i) {
        if (s.vps_nuh_layer_id_present_flag)
            U(6, layer_id_in_nuh, i);
        else
            INFER(layer_id_in_nuh, i, i); // F.7.4.3.1.1
        if (!s.splitting_flag) {
            for (unsigned j = 0; j < layers.NumScalabilityTypes; ++j)
                UV(s.dimension_id_len_minus1[j] + 1U, dimension_id, i, j);
        }
    }
    use.derive(deriveLayerIds, vps);
    U(4, view_id_len);
    if (s.view_id_len > 0) {
        for (unsigned i = 0; i < layers.NumViews; ++i)
            UV(s.view_id_len, view_id_val, i);
    }
}

template <class TUse>
void dependencies(TUse& use, Of<TUse, VpsExtension>& s, Of<TUse, VideoParameterSet>& vps)
{
    const LayerVariables& layers = *std::as_const(vps.layers);
    const unsigned MaxLayersMinus1 = layers.MaxLayersMinus1;
    for (unsigned i = 1; i <= MaxLayersMinus1; ++i) {
        for (unsigned j = 0; j < i; ++j)
            FLAG(direct_dependency_flag, i, j);
    }
    use.derive(deriveDependencies, vps);
    if (layers.NumIndependentLayers > 1)
        UE_UPTO(1023, num_add_layer_sets);
    else
        INFER(num_add_layer_sets, 0); // F.7.4.3.1.1
    for (unsigned i = 0; i < use.upTo(s.num_add_layer_sets); ++i) {
        ROOM(highest_layer_idx_plus1, i);
        for (unsigned j = 1; j < layers.NumIndependentLayers; ++j)
            UV(ceilLog2(entryOf(layers.TreePartitionLayerIdList, j).uiCount + 1U), highest_layer_idx_plus1, i, j);
    }
    use.derive(deriveLayerSets, vps);
}

template <class TUse>
void subLayersAndProfiles(TUse& use, Of<TUse, VpsExtension>& s, Of<TUse, VideoParameterSet>& vps)
{
    const unsigned MaxLayersMinus1 = std::as_const(vps.layers)->MaxLayersMinus1;
    FLAG(vps_sub_layers_max_minus1_present_flag);
    for (unsigned i = 0; i <= MaxLayersMinus1; ++i) {
        if (s.vps_sub_layers_max_minus1_present_flag)
            U(3, sub_layers_vps_max_minus1, i);
        else
            INFER(sub_layers_vps_max_minus1, vps.vps_max_sub_layers_minus1, i); // F.7.4.3.1.1
    }
    use.derive(deriveSubLayers, vps);
    FLAG(max_tid_ref_present_flag);
    for (unsigned i = 0; i < MaxLayersMinus1; ++i) {
        for (unsigned j = i + 1; j <= MaxLayersMinus1; ++j) {
            if (s.max_tid_ref_present_flag && s.direct_dependency_flag[j][i])
                U(3, max_tid_il_ref_pics_plus1, i, j);
            else
                INFER(max_tid_il_ref_pics_plus1, 7, i, j); // F.7.4.3.1.1
        }
    }
    FLAG(default_ref_layers_active_flag);
    UE_UPTO(63, vps_num_profile_tier_level_minus1);
    for (unsigned i = vps.vps_base_layer_internal_flag ? 2 : 1;
         i < use.upTo(s.vps_num_profile_tier_level_minus1 + std::uint64_t{1});
         ++i) {
        FLAG(vps_profile_present_flag, i);
        ROOM(profile_tier_level, i);
        const Inside inside(use, "profile_tier_level", i);
        profile_tier_level(
            use, ENTRY(profile_tier_level, i), s.vps_profile_present_flag[i], vps.vps_max_sub_layers_minus1);
    }
}

template <class TUse>
void outputLayerSet(TUse& use, Of<TUse, VpsExtension>& s, Of<TUse, VideoParameterSet>& vps, unsigned i)
{
    const LayerVariables& layers = *std::as_const(vps.layers);
    const unsigned NumLayerSets = layers.NumLayerSets;
    ROOM(layer_set_idx_for_ols_minus1, i);
    ROOM(output_layer_flag, i);
    ROOM(profile_tier_level_idx, i);
    ROOM(alt_output_layer_flag, i);
    if (NumLayerSets > 2 && i >= NumLayerSets)
        UV(ceilLog2(NumLayerSets - 1), layer_set_idx_for_ols_minus1, i);
    else
        INFER(layer_set_idx_for_ols_minus1, 0, i); // F.7.4.3.1.1
    use.derive(deriveLayersOfOls, vps, i);
    const unsigned OlsIdxToLsIdx = entryOf(layers.aOls, i).OlsIdxToLsIdx;
    const unsigned NumLayersInIdList = entryOf(layers.LayerSetLayerIdList, OlsIdxToLsIdx).uiCount;
    if (i > vps.vps_num_layer_sets_minus1 || s.default_output_layer_idc >= 2) {
        for (unsigned j = 0; j < NumLayersInIdList; ++j)
            FLAG(output_layer_flag, i, j);
    }
    use.derive(deriveNecessaryLayers, vps, i);
    const OutputLayers& ols = entryOf(layers.aOls, i);
    for (unsigned j = 0; j < NumLayersInIdList; ++j) {
        if (has(ols.uiNecessaryLayerFlags, j) && s.vps_num_profile_tier_level_minus1 > 0)
            UV(ceilLog2(s.vps_num_profile_tier_level_minus1 + std::uint64_t{1}), profile_tier_level_idx, i, j);
        else
            INFER(profile_tier_level_idx, 0, i, j); // F.7.4.3.1.1
    }
    const unsigned uiHighest = layers.LayerIdxInVps[ols.OlsHighestOutputLayerId];
    if (std::popcount(ols.uiOutputLayerFlags) == 1 && layers.NumDirectRefLayers[uiHighest] > 0)
        FLAG(alt_output_layer_flag, i);
    else
        INFER(alt_output_layer_flag, 0, i); // F.7.4.3.1.1
}

template <class TUse>
void outputLayerSets(TUse& use, Of<TUse, VpsExtension>& s, Of<TUse, VideoParameterSet>& vps)
{
    const unsigned NumLayerSets = std::as_const(vps.layers)->NumLayerSets;
    if (NumLayerSets > 1) {
        UE_UPTO(1023, num_add_olss);
        U(2, default_output_layer_idc);
    } else {
        INFER(num_add_olss, 0);             // F.7.4.3.1.1
        INFER(default_output_layer_idc, 0); // F.7.4.3.1.1
    }
    const unsigned NumOutputLayerSets = s.num_add_olss + NumLayerSets;
    use.derive(deriveFirstOls, vps);
    for (unsigned i = 1; i < use.upTo(NumOutputLayerSets); ++i)
        outputLayerSet(use, s, vps, i);
}

template <class TUse>
void repFormats(TUse& use, Of<TUse, VpsExtension>& s, const VideoParameterSet& vps)
{
    const unsigned MaxLayersMinus1 = vps.layers->MaxLayersMinus1;
    UE_UPTO(255, vps_num_rep_formats_minus1);
    for (unsigned i = 0; i < use.upTo(s.vps_num_rep_formats_minus1 + std::uint64_t{1}); ++i) {
        ROOM(rep_format, i);
        rep_format(use, ENTRY(rep_format, i), i, i == 0 ? nullptr : &ENTRY(rep_format, i - 1));
    }
    if (s.vps_num_rep_formats_minus1 > 0)
        FLAG(rep_format_idx_present_flag);
    else
        INFER(rep_format_idx_present_flag, 0); // F.7.4.3.1.1
    for (unsigned i = vps.vps_base_layer_internal_flag ? 1 : 0; i <= MaxLayersMinus1; ++i) {
        if (s.rep_format_idx_present_flag)
            UV(ceilLog2(s.vps_num_rep_formats_minus1 + std::uint64_t{1}), vps_rep_format_idx, i);
        else
            INFER(vps_rep_format_idx, std::min<std::uint32_t>(i, s.vps_num_rep_formats_minus1), i); // F.7.4.3.1.1
    }
}

template <class TUse>
void dependencyTypes(TUse& use, Of<TUse, VpsExtension>& s, const VideoParameterSet& vps)
{
    const unsigned MaxLayersMinus1 = vps.layers->MaxLayersMinus1;
    const unsigned uiFirst = vps.vps_base_layer_internal_flag ? 0 : 1;
    UE(direct_dep_type_len_minus2);
    const std::uint64_t uiBits = s.direct_dep_type_len_minus2 + std::uint64_t{2};
    FLAG(direct_dependency_all_layers_flag);
    if (s.direct_dependency_all_layers_flag)
        UV(uiBits, direct_dependency_all_layers_type);
    for (unsigned i = uiFirst + 1; i <= MaxLayersMinus1; ++i) {
        for (unsigned j = uiFirst; j < i; ++j) {
            if (!s.direct_dependency_flag[i][j])
                continue;
            if (!s.direct_dependency_all_layers_flag)
                UV(uiBits, direct_dependency_type, i, j);
            else
                INFER(direct_dependency_type, s.direct_dependency_all_layers_type, i, j); // F.7.4.3.1.1
        }
    }
}

} // namespace

// F.7.3.2.1.1
template <class TUse>
void vps_extension(TUse& use, Of<TUse, VideoParameterSet>& vps)
{
    const Inside inside(use, "vps_extension");
    Of<TUse, VpsExtension>& s = *vps.vps_extension;
    Of<TUse, LayerVariables>& layers = *vps.layers;
    if (vps.vps_max_layers_minus1 > 0 && vps.vps_base_layer_internal_flag) {
        ROOM(profile_tier_level, 1);
        const Inside inList(use, "profile_tier_level", 1);
        profile_tier_level(use, ENTRY(profile_tier_level, 1), false, vps.vps_max_sub_layers_minus1);
    }
    scalability(use, s, vps);
    dependencies(use, s, vps);
    subLayersAndProfiles(use, s, vps);
    outputLayerSets(use, s, vps);
    repFormats(use, s, vps);
    FLAG(max_one_active_ref_layer_flag);
    FLAG(vps_poc_lsb_aligned_flag);
    for (unsigned i = 1; i <= layers.MaxLayersMinus1; ++i) {
        if (layers.NumDirectRefLayers[i] == 0)
            FLAG(poc_lsb_not_present_flag, i);
        else
            INFER(poc_lsb_not_present_flag, 0, i); // F.7.4.3.1.1
    }
    dpb_size(use, s.dpb_size, vps);
    dependencyTypes(use, s, vps);
    UE_UPTO(4096, vps_non_vui_extension_length);
    for (unsigned i = 1; i < use.upTo(s.vps_non_vui_extension_length + std::uint64_t{1}); ++i) {
        ROOM(vps_non_vui_extension_data_byte, i);
        U_AS(8, vps_non_vui_extension_data_byte, ENTRY(vps_non_vui_extension_data_byte, i));
    }
    FLAG(vps_vui_present_flag);
    if (s.vps_vui_present_flag) {
        for (unsigned i = 0; !use.isByteAligned() && i < 8; ++i)
            U_AS(1, vps_vui_alignment_bit_equal_to_one, s.vps_vui_alignment_bit_equal_to_one[i]);
        vps_vui(use, *s.vps_vui, vps);
    }
}

const RepFormat NO_FORMAT;

// F.7.3.2.1.2
template <class TUse>
void rep_format(TUse& use, Of<TUse, RepFormat>& s, unsigned i, const RepFormat* pPrevious)
{
    const Inside inside(use, "rep_format", i);
    U(16, pic_width_vps_in_luma_samples);
    U(16, pic_height_vps_in_luma_samples);
    FLAG(chroma_and_bit_depth_vps_present_flag);
    if (s.chroma_and_bit_depth_vps_present_flag) {
        U(2, chroma_format_vps_idc);
        if (s.chroma_format_vps_idc == 3)
            FLAG(separate_colour_plane_vps_flag);
        else
            INFER(separate_colour_plane_vps_flag, 0); // F.7.4.3.1.2
        U(4, bit_depth_vps_luma_minus8);
        U(4, bit_depth_vps_chroma_minus8);
    } else {
        const RepFormat& previous = pPrevious != nullptr ? *pPrevious : NO_FORMAT;      // the first shall have its own
        INFER(chroma_format_vps_idc, previous.chroma_format_vps_idc);                   // F.7.4.3.1.2
        INFER(separate_colour_plane_vps_flag, previous.separate_colour_plane_vps_flag); // F.7.4.3.1.2
        INFER(bit_depth_vps_luma_minus8, previous.bit_depth_vps_luma_minus8);           // F.7.4.3.1.2
        INFER(bit_depth_vps_chroma_minus8, previous.bit_depth_vps_chroma_minus8);       // F.7.4.3.1.2
    }
    FLAG(conformance_window_vps_flag);
    if (s.conformance_window_vps_flag) {
        UE(conf_win_vps_left_offset);
        UE(conf_win_vps_right_offset);
        UE(conf_win_vps_top_offset);
        UE(conf_win_vps_bottom_offset);
    } else {
        INFER(conf_win_vps_left_offset, 0);   // F.7.4.3.1.2
        INFER(conf_win_vps_right_offset, 0);  // F.7.4.3.1.2
        INFER(conf_win_vps_top_offset, 0);    // F.7.4.3.1.2
        INFER(conf_win_vps_bottom_offset, 0); // F.7.4.3.1.2
    }
}

// F.7.3.2.1.3
template <class TUse>
void dpb_size(TUse& use, Of<TUse, DpbSize>& s, const VideoParameterSet& vps)
{
    const Inside inside(use, "dpb_size");
    const LayerVariables& layers = *vps.layers;
    for (unsigned i = 1; i < use.upTo(layers.NumOutputLayerSets); ++i) {
        const OutputLayers& ols = entryOf(layers.aOls, i);
        const unsigned currLsIdx = ols.OlsIdxToLsIdx;
        const LayerIdList& layerSet = entryOf(layers.LayerSetLayerIdList, currLsIdx);
        ROOM(sub_layer_flag_info_present_flag, i);
        ROOM(sub_layer_dpb_info_present_flag, i);
        ROOM(max_vps_dec_pic_buffering_minus1, i);
        ROOM(max_vps_num_reorder_pics, i);
        ROOM(max_vps_latency_increase_plus1, i);
        FLAG(sub_layer_flag_info_present_flag, i);
        for (unsigned j = 0; j <= entryOf(layers.MaxSubLayersInLayerSetMinus1, currLsIdx); ++j) {
            if (j > 0 && ENTRY(sub_layer_flag_info_present_flag, i) != 0)
                FLAG(sub_layer_dpb_info_present_flag, i, j);
            else
                INFER(sub_layer_dpb_info_present_flag, j == 0, i, j); // F.7.4.3.1.3
            if (!ENTRY(sub_layer_dpb_info_present_flag, i, j))
                continue;
            for (unsigned k = 0; k < layerSet.uiCount; ++k) {
                if (has(ols.uiNecessaryLayerFlags, k) && (vps.vps_base_layer_internal_flag || layerSet.id[k] != 0)) {
                    ROOM_IN(max_vps_dec_pic_buffering_minus1, k, i);
                    UE(max_vps_dec_pic_buffering_minus1, i, k, j);
                }
            }
            UE(max_vps_num_reorder_pics, i, j);
            UE(max_vps_latency_increase_plus1, i, j);
        }
    }
}

#define INSTANTIATE(TUse)                                                                                              \
    template void vps_extension(TUse&, Of<TUse, VideoParameterSet>&);                                                  \
    template void rep_format(TUse&, Of<TUse, RepFormat>&, unsigned, const RepFormat*);                                 \
    template void dpb_size(TUse&, Of<TUse, DpbSize>&, const VideoParameterSet&);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
