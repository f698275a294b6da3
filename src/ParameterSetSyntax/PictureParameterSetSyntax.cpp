#include "PictureParameterSetSyntax.h"

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

namespace {

template <class TUse>
void tiles(TUse& use, Of<TUse, PictureParameterSet>& s)
{
    if (s.tiles_enabled_flag) {
        UE(num_tile_columns_minus1);
        UE(num_tile_rows_minus1);
        FLAG(uniform_spacing_flag);
        if (!s.uniform_spacing_flag) {
            for (std::uint32_t i = 0; i < use.upTo(s.num_tile_columns_minus1); ++i) {
                ROOM(column_width_minus1, i);
                UE(column_width_minus1, i);
            }
            for (std::uint32_t i = 0; i < use.upTo(s.num_tile_rows_minus1); ++i) {
                ROOM(row_height_minus1, i);
                UE(row_height_minus1, i);
            }
        }
        FLAG(loop_filter_across_tiles_enabled_flag);
    } else {
        INFER(num_tile_columns_minus1, 0);               // 7.4.3.3.1
        INFER(num_tile_rows_minus1, 0);                  // 7.4.3.3.1
        INFER(uniform_spacing_flag, 1);                  // 7.4.3.3.1
        INFER(loop_filter_across_tiles_enabled_flag, 1); // 7.4.3.3.1
    }
}

template <class TUse>
void deblocking(TUse& use, Of<TUse, PictureParameterSet>& s)
{
    FLAG(deblocking_filter_control_present_flag);
    if (s.deblocking_filter_control_present_flag) {
        FLAG(deblocking_filter_override_enabled_flag);
        FLAG(pps_deblocking_filter_disabled_flag);
    } else {
        INFER(deblocking_filter_override_enabled_flag, 0); // 7.4.3.3.1
        INFER(pps_deblocking_filter_disabled_flag, 0);     // 7.4.3.3.1
    }
    if (s.deblocking_filter_control_present_flag && !s.pps_deblocking_filter_disabled_flag) {
        SE(pps_beta_offset_div2);
        SE(pps_tc_offset_div2);
    } else {
        INFER(pps_beta_offset_div2, 0); // 7.4.3.3.1
        INFER(pps_tc_offset_div2, 0);   // 7.4.3.3.1
    }
}

template <class TUse>
void extensions(TUse& use, Of<TUse, PictureParameterSet>& s)
{
    FLAG(pps_extension_present_flag);
    if (s.pps_extension_present_flag) {
        FLAG(pps_range_extension_flag);
        FLAG(pps_multilayer_extension_flag);
        FLAG(pps_3d_extension_flag);
        FLAG(pps_scc_extension_flag);
        U(4, pps_extension_4bits);
    } else {
        INFER(pps_range_extension_flag, 0);      // 7.4.3.3.1
        INFER(pps_multilayer_extension_flag, 0); // 7.4.3.3.1
        INFER(pps_3d_extension_flag, 0);         // 7.4.3.3.1
        INFER(pps_scc_extension_flag, 0);        // 7.4.3.3.1
        INFER(pps_extension_4bits, 0);           // 7.4.3.3.1
    }
    if (s.pps_range_extension_flag)
        pps_range_extension(use, s.pps_range_extension, s.transform_skip_enabled_flag);
    if (s.pps_multilayer_extension_flag)
        pps_multilayer_extension(use, *s.pps_multilayer_extension);
    if (s.pps_3d_extension_flag)
        pps_3d_extension(use, *s.pps_3d_extension);
    if (s.pps_scc_extension_flag)
        pps_scc_extension(use, s.pps_scc_extension);
    if (s.pps_extension_4bits != 0)
        FLAGS_TO_END(pps_extension_data_flag);
}

} // namespace

// 7.3.2.3.1
template <class TUse>
void pic_parameter_set_rbsp(TUse& use, Of<TUse, PictureParameterSet>& s)
{
    UE(pps_pic_parameter_set_id);
    UE(pps_seq_parameter_set_id);
    FLAG(dependent_slice_segments_enabled_flag);
    FLAG(output_flag_present_flag);
    U(3, num_extra_slice_header_bits);
    FLAG(sign_data_hiding_enabled_flag);
    FLAG(cabac_init_present_flag);
    UE(num_ref_idx_l0_default_active_minus1);
    UE(num_ref_idx_l1_default_active_minus1);
    SE(init_qp_minus26);
    FLAG(constrained_intra_pred_flag);
    FLAG(transform_skip_enabled_flag);
    FLAG(cu_qp_delta_enabled_flag);
    if (s.cu_qp_delta_enabled_flag)
        UE(diff_cu_qp_delta_depth);
    else
        INFER(diff_cu_qp_delta_depth, 0); // 7.4.3.3.1
    SE(pps_cb_qp_offset);
    SE(pps_cr_qp_offset);
    FLAG(pps_slice_chroma_qp_offsets_present_flag);
    FLAG(weighted_pred_flag);
    FLAG(weighted_bipred_flag);
    FLAG(transquant_bypass_enabled_flag);
    FLAG(tiles_enabled_flag);
    FLAG(entropy_coding_sync_enabled_flag);
    tiles(use, s);
    FLAG(pps_loop_filter_across_slices_enabled_flag);
    deblocking(use, s);
    FLAG(pps_scaling_list_data_present_flag);
    if (s.pps_scaling_list_data_present_flag)
        scaling_list_data(use, *s.scaling_list_data);
    FLAG(lists_modification_present_flag);
    UE(log2_parallel_merge_level_minus2);
    FLAG(slice_segment_header_extension_present_flag);
    extensions(use, s);
}

#define INSTANTIATE(TUse) template void pic_parameter_set_rbsp(TUse&, Of<TUse, PictureParameterSet>&);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
