#include "VuiSyntax.h"

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

namespace {

template <class TUse>
void aspectRatioAndSignal(TUse& use, Of<TUse, VuiParameters>& s)
{
    FLAG(aspect_ratio_info_present_flag);
    if (s.aspect_ratio_info_present_flag) {
        U(8, aspect_ratio_idc);
        if (s.aspect_ratio_idc == EXTENDED_SAR) {
            U(16, sar_width);
            U(16, sar_height);
        }
    } else {
        INFER(aspect_ratio_idc, 0); // E.3.1
    }
    FLAG(overscan_info_present_flag);
    if (s.overscan_info_present_flag)
        FLAG(overscan_appropriate_flag);
    FLAG(video_signal_type_present_flag);
    if (s.video_signal_type_present_flag) {
        U(3, video_format);
        FLAG(video_full_range_flag);
        FLAG(colour_description_present_flag);
    } else {
        INFER(video_format, 5);                    // E.3.1
        INFER(video_full_range_flag, 0);           // E.3.1
        INFER(colour_description_present_flag, 0); // without the element that says so
    }
    if (s.colour_description_present_flag) {
        U(8, colour_primaries);
        U(8, transfer_characteristics);
        U(8, matrix_coeffs);
    } else {
        INFER(colour_primaries, 2);         // E.3.1
        INFER(transfer_characteristics, 2); // E.3.1
        INFER(matrix_coeffs, 2);            // E.3.1
    }
    FLAG(chroma_loc_info_present_flag);
    if (s.chroma_loc_info_present_flag) {
        UE(chroma_sample_loc_type_top_field);
        UE(chroma_sample_loc_type_bottom_field);
    } else {
        INFER(chroma_sample_loc_type_top_field, 0);    // E.3.1
        INFER(chroma_sample_loc_type_bottom_field, 0); // E.3.1
    }
}

template <class TUse>
void timing(TUse& use, Of<TUse, VuiParameters>& s, const SequenceParameterSet& sps)
{
    FLAG(vui_timing_info_present_flag);
    if (s.vui_timing_info_present_flag) {
        U(32, vui_num_units_in_tick);
        U(32, vui_time_scale);
        FLAG(vui_poc_proportional_to_timing_flag);
        if (s.vui_poc_proportional_to_timing_flag)
            UE(vui_num_ticks_poc_diff_one_minus1);
        FLAG(vui_hrd_parameters_present_flag);
        if (s.vui_hrd_parameters_present_flag) {
            const Inside inside(use, "hrd_parameters");
            use.needs(sps.bSubLayersKnown, "hrd_parameters");
            hrd_parameters(use, *s.hrd_parameters, true, sps.sps_max_sub_layers_minus1, nullptr);
        }
    } else {
        INFER(vui_hrd_parameters_present_flag, 0); // without the element that says so
    }
}

template <class TUse>
void bitstreamRestriction(TUse& use, Of<TUse, VuiParameters>& s)
{
    FLAG(bitstream_restriction_flag);
    if (s.bitstream_restriction_flag) {
        FLAG(tiles_fixed_structure_flag);
        FLAG(motion_vectors_over_pic_boundaries_flag);
        FLAG(restricted_ref_pic_lists_flag);
        UE(min_spatial_segmentation_idc);
        UE(max_bytes_per_pic_denom);
        UE(max_bits_per_min_cu_denom);
        UE(log2_max_mv_length_horizontal);
        UE(log2_max_mv_length_vertical);
    } else {
        INFER(tiles_fixed_structure_flag, 0);              // E.3.1
        INFER(motion_vectors_over_pic_boundaries_flag, 1); // E.3.1
        INFER(restricted_ref_pic_lists_flag, 0);           // E.3.1
        INFER(min_spatial_segmentation_idc, 0);            // E.3.1
        INFER(max_bytes_per_pic_denom, 2);                 // E.3.1
        INFER(max_bits_per_min_cu_denom, 1);               // E.3.1
        INFER(log2_max_mv_length_horizontal, 15);          // E.3.1
        INFER(log2_max_mv_length_vertical, 15);            // E.3.1
    }
}

} // namespace

// E.2.1
template <class TUse>
void vui_parameters(TUse& use, Of<TUse, VuiParameters>& s, const SequenceParameterSet& sps)
{
    const Inside inside(use, "vui_parameters");
    aspectRatioAndSignal(use, s);
    FLAG(neutral_chroma_indication_flag);
    FLAG(field_seq_flag);
    FLAG(frame_field_info_present_flag);
    FLAG(default_display_window_flag);
    if (s.default_display_window_flag) {
        UE(def_disp_win_left_offset);
        UE(def_disp_win_right_offset);
        UE(def_disp_win_top_offset);
        UE(def_disp_win_bottom_offset);
    } else {
        INFER(def_disp_win_left_offset, 0);   // E.3.1
        INFER(def_disp_win_right_offset, 0);  // E.3.1
        INFER(def_disp_win_top_offset, 0);    // E.3.1
        INFER(def_disp_win_bottom_offset, 0); // E.3.1
    }
    timing(use, s, sps);
    bitstreamRestriction(use, s);
}

#define INSTANTIATE(TUse) template void vui_parameters(TUse&, Of<TUse, VuiParameters>&, const SequenceParameterSet&);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
