#include "PpsExtensionsSyntax.h"

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

// 7.3.2.3.2
template <class TUse>
void pps_range_extension(TUse& use, Of<TUse, PpsRangeExtension>& s, bool transform_skip_enabled_flag)
{
    const Inside inside(use, "pps_range_extension");
    if (transform_skip_enabled_flag)
        UE(log2_max_transform_skip_block_size_minus2);
    else
        INFER(log2_max_transform_skip_block_size_minus2, 0); // 7.4.3.3.2
    FLAG(cross_component_prediction_enabled_flag);
    FLAG(chroma_qp_offset_list_enabled_flag);
    if (s.chroma_qp_offset_list_enabled_flag) {
        UE(diff_cu_chroma_qp_offset_depth);
        UE_UPTO(5, chroma_qp_offset_list_len_minus1);
        for (unsigned i = 0; i < use.upTo(s.chroma_qp_offset_list_len_minus1 + 1); ++i) {
            SE(cb_qp_offset_list, i);
            SE(cr_qp_offset_list, i);
        }
    }
    UE(log2_sao_offset_scale_luma);
    UE(log2_sao_offset_scale_chroma);
}

namespace {

template <class TUse>
void refLocOffset(TUse& use, Of<TUse, PpsMultilayerExtension>& s, unsigned i)
{
    U(6, ref_loc_offset_layer_id, i);
    const unsigned uiLayer = s.ref_loc_offset_layer_id[i];
    FLAG(scaled_ref_layer_offset_present_flag, i);
    if (s.scaled_ref_layer_offset_present_flag[i]) {
        SE_AS(scaled_ref_layer_left_offset, s.scaled_ref_layer_left_offset[i], uiLayer);
        SE_AS(scaled_ref_layer_top_offset, s.scaled_ref_layer_top_offset[i], uiLayer);
        SE_AS(scaled_ref_layer_right_offset, s.scaled_ref_layer_right_offset[i], uiLayer);
        SE_AS(scaled_ref_layer_bottom_offset, s.scaled_ref_layer_bottom_offset[i], uiLayer);
    } else {
        INFER(scaled_ref_layer_left_offset, 0, i);   // F.7.4.3.3.4
        INFER(scaled_ref_layer_top_offset, 0, i);    // F.7.4.3.3.4
        INFER(scaled_ref_layer_right_offset, 0, i);  // F.7.4.3.3.4
        INFER(scaled_ref_layer_bottom_offset, 0, i); // F.7.4.3.3.4
    }
    FLAG(ref_region_offset_present_flag, i);
    if (s.ref_region_offset_present_flag[i]) {
        SE_AS(ref_region_left_offset, s.ref_region_left_offset[i], uiLayer);
        SE_AS(ref_region_top_offset, s.ref_region_top_offset[i], uiLayer);
        SE_AS(ref_region_right_offset, s.ref_region_right_offset[i], uiLayer);
        SE_AS(ref_region_bottom_offset, s.ref_region_bottom_offset[i], uiLayer);
    } else {
        INFER(ref_region_left_offset, 0, i);   // F.7.4.3.3.4
        INFER(ref_region_top_offset, 0, i);    // F.7.4.3.3.4
        INFER(ref_region_right_offset, 0, i);  // F.7.4.3.3.4
        INFER(ref_region_bottom_offset, 0, i); // F.7.4.3.3.4
    }
    FLAG(resample_phase_set_present_flag, i);
    if (s.resample_phase_set_present_flag[i]) {
        UE_AS(phase_hor_luma, s.phase_hor_luma[i], uiLayer);
        UE_AS(phase_ver_luma, s.phase_ver_luma[i], uiLayer);
        UE_AS(phase_hor_chroma_plus8, s.phase_hor_chroma_plus8[i], uiLayer);
        UE_AS(phase_ver_chroma_plus8, s.phase_ver_chroma_plus8[i], uiLayer);
    } else {
        INFER(phase_hor_luma, 0, i);         // F.7.4.3.3.4
        INFER(phase_ver_luma, 0, i);         // F.7.4.3.3.4
        INFER(phase_hor_chroma_plus8, 8, i); // F.7.4.3.3.4
        INFER(phase_ver_chroma_plus8, 8, i); // F.7.4.3.3.4, but for the ratio of the layers
    }
}

} // namespace

// F.7.3.2.3.4
template <class TUse>
void pps_multilayer_extension(TUse& use, Of<TUse, PpsMultilayerExtension>& s)
{
    const Inside inside(use, "pps_multilayer_extension");
    FLAG(poc_reset_info_present_flag);
    FLAG(pps_infer_scaling_list_flag);
    if (s.pps_infer_scaling_list_flag)
        U(6, pps_scaling_list_ref_layer_id);
    UE_UPTO(MAX_REF_LOC_OFFSETS, num_ref_loc_offsets);
    for (unsigned i = 0; i < use.upTo(s.num_ref_loc_offsets); ++i)
        refLocOffset(use, s, i);
    FLAG(colour_mapping_enabled_flag);
    if (s.colour_mapping_enabled_flag)
        colour_mapping_table(use, s.colour_mapping_table);
}

// I.7.3.2.3.7
template <class TUse>
void pps_3d_extension(TUse& use, Of<TUse, Pps3dExtension>& s)
{
    const Inside inside(use, "pps_3d_extension");
    FLAG(dlts_present_flag);
    if (!s.dlts_present_flag)
        return;
    U(6, pps_depth_layers_minus1);
    U(4, pps_bit_depth_for_depth_layers_minus8);
    const unsigned depthMaxValue = (1U << (s.pps_bit_depth_for_depth_layers_minus8 + 8)) - 1;
    for (unsigned i = 0; i <= s.pps_depth_layers_minus1; ++i) {
        FLAG(dlt_flag, i);
        if (s.dlt_flag[i]) {
            FLAG(dlt_pred_flag, i);
            if (!s.dlt_pred_flag[i])
                FLAG(dlt_val_flags_present_flag, i);
            else
                INFER(dlt_val_flags_present_flag, 0, i); // I.7.4.3.3.7
            if (s.dlt_val_flags_present_flag[i]) {
                for (unsigned j = 0; j < use.upTo(depthMaxValue + 1); ++j) {
                    ROOM_IN(dlt_value_flag, j, i);
                    FLAG(dlt_value_flag, i, j);
                }
            } else {
                delta_lookup_table(use, s.delta_lookup_table[i], i, s.pps_bit_depth_for_depth_layers_minus8);
            }
        }
    }
}

// 7.3.2.3.3
template <class TUse>
void pps_scc_extension(TUse& use, Of<TUse, PpsSccExtension>& s)
{
    const Inside inside(use, "pps_scc_extension");
    FLAG(pps_curr_pic_ref_enabled_flag);
    FLAG(residual_adaptive_colour_transform_enabled_flag);
    if (s.residual_adaptive_colour_transform_enabled_flag) {
        FLAG(pps_slice_act_qp_offsets_present_flag);
        SE(pps_act_y_qp_offset_plus5);
        SE(pps_act_cb_qp_offset_plus5);
        SE(pps_act_cr_qp_offset_plus3);
    } else {
        INFER(pps_slice_act_qp_offsets_present_flag, 0); // 7.4.3.3.3
        INFER(pps_act_y_qp_offset_plus5, 0);             // 7.4.3.3.3
        INFER(pps_act_cb_qp_offset_plus5, 0);            // 7.4.3.3.3
        INFER(pps_act_cr_qp_offset_plus3, 0);            // 7.4.3.3.3
    }
    FLAG(pps_palette_predictor_initializers_present_flag);
    if (s.pps_palette_predictor_initializers_present_flag)
        UE(pps_num_palette_predictor_initializers);
    else
        INFER(pps_num_palette_predictor_initializers, 0); // 7.4.3.3.3
    if (s.pps_num_palette_predictor_initializers > 0) {
        FLAG(monochrome_palette_flag);
        UE(luma_bit_depth_entry_minus8);
        if (!s.monochrome_palette_flag)
            UE(chroma_bit_depth_entry_minus8);
        const unsigned numComps = s.monochrome_palette_flag ? 1 : 3;
        for (unsigned comp = 0; comp < numComps; ++comp) {
            const std::uint64_t uiBitDepth =
                std::uint64_t{8} + (comp == 0 ? s.luma_bit_depth_entry_minus8 : s.chroma_bit_depth_entry_minus8);
            for (std::uint32_t i = 0; i < use.upTo(s.pps_num_palette_predictor_initializers); ++i) {
                ROOM_IN(pps_palette_predictor_initializer, i, comp);
                UV(uiBitDepth, pps_palette_predictor_initializer, comp, i);
            }
        }
    }
}

#define INSTANTIATE(TUse)                                                                                              \
    template void pps_range_extension(TUse&, Of<TUse, PpsRangeExtension>&, bool);                                      \
    template void pps_multilayer_extension(TUse&, Of<TUse, PpsMultilayerExtension>&);                                  \
    template void pps_3d_extension(TUse&, Of<TUse, Pps3dExtension>&);                                                  \
    template void pps_scc_extension(TUse&, Of<TUse, PpsSccExtension>&);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
