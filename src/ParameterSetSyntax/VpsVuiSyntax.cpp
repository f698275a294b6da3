#include "VpsVuiSyntax.h"

#include <algorithm>
#include <utility>

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

namespace {

// Layer layerIdx is IdDirectRefLayer[ layer_id_in_nuh[ i ] ][ j ] of some j, which counts these layers.
bool isDirectRef(const LayerVariables& layers, unsigned i, unsigned layerIdx)
{
    return (layers.DirectRefLayers[i] >> layerIdx & 1) != 0;
}

template <class TUse>
void rates(TUse& use, Of<TUse, VpsVui>& s, const VideoParameterSet& vps)
{
    const LayerVariables& layers = *vps.layers;
    FLAG(bit_rate_present_vps_flag);
    FLAG(pic_rate_present_vps_flag);
    if (!s.bit_rate_present_vps_flag && !s.pic_rate_present_vps_flag)
        return;
    for (unsigned i = vps.vps_base_layer_internal_flag ? 0 : 1; i < use.upTo(layers.NumLayerSets); ++i) {
        ROOM(bit_rate_present_flag, i);
        ROOM(pic_rate_present_flag, i);
        ROOM(avg_bit_rate, i);
        ROOM(max_bit_rate, i);
        ROOM(constant_pic_rate_idc, i);
        ROOM(avg_pic_rate, i);
        for (unsigned j = 0; j <= entryOf(layers.MaxSubLayersInLayerSetMinus1, i); ++j) {
            if (s.bit_rate_present_vps_flag)
                FLAG(bit_rate_present_flag, i, j);
            else
                INFER(bit_rate_present_flag, 0, i, j); // F.7.4.3.1.4
            if (s.pic_rate_present_vps_flag)
                FLAG(pic_rate_present_flag, i, j);
            else
                INFER(pic_rate_present_flag, 0, i, j); // F.7.4.3.1.4
            if (ENTRY(bit_rate_present_flag, i, j)) {
                U(16, avg_bit_rate, i, j);
                U(16, max_bit_rate, i, j);
            }
            if (ENTRY(pic_rate_present_flag, i, j)) {
                U(2, constant_pic_rate_idc, i, j);
                U(16, avg_pic_rate, i, j);
            }
        }
    }
}

// F.7.3.2.1.5
template <class TUse>
void video_signal_info(TUse& use, Of<TUse, VideoSignalInfo>& s, unsigned i)
{
    const Inside inside(use, "video_signal_info", i);
    U(3, video_vps_format);
    FLAG(video_full_range_vps_flag);
    U(8, colour_primaries_vps);
    U(8, transfer_characteristics_vps);
    U(8, matrix_coeffs_vps);
}

template <class TUse>
void videoSignals(TUse& use, Of<TUse, VpsVui>& s, const VideoParameterSet& vps)
{
    const unsigned MaxLayersMinus1 = vps.layers->MaxLayersMinus1;
    const unsigned uiFirst = vps.vps_base_layer_internal_flag ? 0 : 1;
    FLAG(video_signal_info_idx_present_flag);
    if (s.video_signal_info_idx_present_flag)
        U(4, vps_num_video_signal_info_minus1);
    else
        INFER(vps_num_video_signal_info_minus1, MaxLayersMinus1 - std::min(uiFirst, MaxLayersMinus1)); // F.7.4.3.1.4
    for (unsigned i = 0; i <= s.vps_num_video_signal_info_minus1; ++i)
        video_signal_info(use, s.video_signal_info[i], i);
    for (unsigned i = uiFirst; i <= MaxLayersMinus1; ++i) {
        if (s.video_signal_info_idx_present_flag && s.vps_num_video_signal_info_minus1 > 0)
            U(4, vps_video_signal_info_idx, i);
        else
            INFER(vps_video_signal_info_idx, s.video_signal_info_idx_present_flag ? 0 : i - uiFirst, i); // F.7.4.3.1.4
    }
}

template <class TUse>
void tilesAndWavefronts(TUse& use, Of<TUse, VpsVui>& s, const VideoParameterSet& vps)
{
    const LayerVariables& layers = *vps.layers;
    const unsigned uiFirst = vps.vps_base_layer_internal_flag ? 0 : 1;
    FLAG(tiles_not_in_use_flag);
    if (!vps.vps_base_layer_internal_flag)
        INFER(tiles_in_use_flag, 0, 0U); // no element tells of it
    if (!s.tiles_not_in_use_flag) {
        for (unsigned i = uiFirst; i <= layers.MaxLayersMinus1; ++i) {
            FLAG(tiles_in_use_flag, i);
            if (s.tiles_in_use_flag[i])
                FLAG(loop_filter_not_across_tiles_flag, i);
        }
        for (unsigned i = uiFirst + 1; i <= layers.MaxLayersMinus1; ++i) {
            unsigned j = 0;
            for (unsigned layerIdx = 0; layerIdx < i; ++layerIdx) {
                if (!isDirectRef(layers, i, layerIdx))
                    continue;
                if (s.tiles_in_use_flag[i] && s.tiles_in_use_flag[layerIdx])
                    FLAG(tile_boundaries_aligned_flag, i, j);
                ++j;
            }
        }
    }
    FLAG(wpp_not_in_use_flag);
    if (!s.wpp_not_in_use_flag) {
        for (unsigned i = uiFirst; i <= layers.MaxLayersMinus1; ++i)
            FLAG(wpp_in_use_flag, i);
    }
}

template <class TUse>
void restrictions(TUse& use, Of<TUse, VpsVui>& s, const VideoParameterSet& vps)
{
    const LayerVariables& layers = *vps.layers;
    FLAG(single_layer_for_non_irap_flag);
    FLAG(higher_layer_irap_skip_flag);
    FLAG(ilp_restricted_ref_layers_flag);
    if (!s.ilp_restricted_ref_layers_flag)
        return;
    for (unsigned i = 1; i <= layers.MaxLayersMinus1; ++i) {
        unsigned j = 0;
        for (unsigned layerIdx = 0; layerIdx < i; ++layerIdx) {
            if (!isDirectRef(layers, i, layerIdx))
                continue;
            if (vps.vps_base_layer_internal_flag || vps.vps_extension->layer_id_in_nuh[layerIdx] > 0) {
                UE(min_spatial_segment_offset_plus1, i, j);
                if (s.min_spatial_segment_offset_plus1[i][j] > 0) {
                    FLAG(ctu_based_offset_enabled_flag, i, j);
                    if (s.ctu_based_offset_enabled_flag[i][j])
                        UE(min_horizontal_ctu_offset_plus1, i, j);
                }
            }
            ++j;
        }
    }
}

} // namespace

// F.7.3.2.1.4
template <class TUse>
void vps_vui(TUse& use, Of<TUse, VpsVui>& s, const VideoParameterSet& vps)
{
    const Inside inside(use, "vps_vui");
    FLAG(cross_layer_pic_type_aligned_flag);
    if (!s.cross_layer_pic_type_aligned_flag)
        FLAG(cross_layer_irap_aligned_flag);
    else
        INFER(cross_layer_irap_aligned_flag, 1); // F.7.4.3.1.4
    if (s.cross_layer_irap_aligned_flag)
        FLAG(all_layers_idr_aligned_flag);
    else
        INFER(all_layers_idr_aligned_flag, 0); // F.7.4.3.1.4
    rates(use, s, vps);
    videoSignals(use, s, vps);
    tilesAndWavefronts(use, s, vps);
    restrictions(use, s, vps);
    FLAG(vps_vui_bsp_hrd_present_flag);
    if (s.vps_vui_bsp_hrd_present_flag)
        vps_vui_bsp_hrd_params(use, s.vps_vui_bsp_hrd_params, vps);
    const LayerVariables& layers = *vps.layers;
    for (unsigned i = 1; i <= layers.MaxLayersMinus1; ++i) {
        if (layers.NumDirectRefLayers[i] == 0)
            FLAG(base_layer_parameter_set_compatibility_flag, i);
        else
            INFER(base_layer_parameter_set_compatibility_flag, 0, i); // F.7.4.3.1.4
    }
}

#define INSTANTIATE(TUse) template void vps_vui(TUse&, Of<TUse, VpsVui>&, const VideoParameterSet&);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
