#include "VideoParameterSetSyntax.h"

#include <utility>

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

namespace {

template <class TUse>
void subLayerOrderingInfo(TUse& use, Of<TUse, VideoParameterSet>& s)
{
    FLAG(vps_sub_layer_ordering_info_present_flag);
    for (unsigned i = (s.vps_sub_layer_ordering_info_present_flag ? 0 : s.vps_max_sub_layers_minus1);
         i <= s.vps_max_sub_layers_minus1;
         ++i) {
        UE(vps_max_dec_pic_buffering_minus1, i);
        UE(vps_max_num_reorder_pics, i);
        UE(vps_max_latency_increase_plus1, i);
    }
    if (!s.vps_sub_layer_ordering_info_present_flag) {
        for (unsigned i = 0; i < s.vps_max_sub_layers_minus1; ++i) { // 7.4.3.1
            const unsigned uiHighest = s.vps_max_sub_layers_minus1;
            INFER(vps_max_dec_pic_buffering_minus1, s.vps_max_dec_pic_buffering_minus1[uiHighest], i);
            INFER(vps_max_num_reorder_pics, s.vps_max_num_reorder_pics[uiHighest], i);
            INFER(vps_max_latency_increase_plus1, s.vps_max_latency_increase_plus1[uiHighest], i);
        }
    }
}

template <class TUse>
void timing(TUse& use, Of<TUse, VideoParameterSet>& s)
{
    FLAG(vps_timing_info_present_flag);
    if (!s.vps_timing_info_present_flag) {
        INFER(vps_num_hrd_parameters, 0); // without the element that says so
        return;
    }
    U(32, vps_num_units_in_tick);
    U(32, vps_time_scale);
    FLAG(vps_poc_proportional_to_timing_flag);
    if (s.vps_poc_proportional_to_timing_flag)
        UE(vps_num_ticks_poc_diff_one_minus1);
    UE_UPTO(1024, vps_num_hrd_parameters);
    for (unsigned i = 0; i < use.upTo(s.vps_num_hrd_parameters); ++i) {
        ROOM(hrd_layer_set_idx, i);
        ROOM(cprms_present_flag, i);
        ROOM(hrd_parameters, i);
        UE(hrd_layer_set_idx, i);
        if (i > 0)
            FLAG(cprms_present_flag, i);
        else
            INFER(cprms_present_flag, 1, i); // 7.4.3.1
        const Inside inside(use, "hrd_parameters", i);
        hrd_parameters(use,
                       ENTRY(hrd_parameters, i),
                       ENTRY(cprms_present_flag, i) != 0,
                       s.vps_max_sub_layers_minus1,
                       i == 0 ? nullptr : &ENTRY(hrd_parameters, i - 1));
    }
}

// F.7.3.2.1 and I.7.3.2.1
template <class TUse>
void extensions(TUse& use, Of<TUse, VideoParameterSet>& s)
{
    FLAG(vps_extension_flag);
    if (!s.vps_extension_flag)
        return;
    for (unsigned i = 0; !use.isByteAligned() && i < 8; ++i)
        U_AS(1, vps_extension_alignment_bit_equal_to_one, s.vps_extension_alignment_bit_equal_to_one[i]);
    vps_extension(use, s);
    FLAG(vps_extension2_flag);
    if (!s.vps_extension2_flag)
        return;
    FLAG(vps_3d_extension_flag);
    if (s.vps_3d_extension_flag)
        vps_3d_extension(use, *s.vps_3d_extension, std::as_const(s.layers)->NumViews);
    FLAG(vps_extension3_flag);
    if (s.vps_extension3_flag)
        FLAGS_TO_END(vps_extension_data_flag);
}

} // namespace

// 7.3.2.1
template <class TUse>
void video_parameter_set_rbsp(TUse& use, Of<TUse, VideoParameterSet>& s)
{
    U(4, vps_video_parameter_set_id);
    FLAG(vps_base_layer_internal_flag);
    FLAG(vps_base_layer_available_flag);
    U(6, vps_max_layers_minus1);
    U(3, vps_max_sub_layers_minus1);
    FLAG(vps_temporal_id_nesting_flag);
    U(16, vps_reserved_0xffff_16bits);
    {
        const Inside inside(use, "profile_tier_level");
        profile_tier_level(use, s.profile_tier_level, true, s.vps_max_sub_layers_minus1);
    }
    subLayerOrderingInfo(use, s);
    U(6, vps_max_layer_id);
    UE_UPTO(1023, vps_num_layer_sets_minus1);
    for (unsigned i = 1; i < use.upTo(s.vps_num_layer_sets_minus1 + std::uint64_t{1}); ++i) {
        ROOM(layer_id_included_flag, i);
        for (unsigned j = 0; j <= s.vps_max_layer_id; ++j)
            FLAG(layer_id_included_flag, i, j);
    }
    timing(use, s);
    extensions(use, s);
}

// I.7.3.2.1.7
template <class TUse>
void vps_3d_extension(TUse& use, Of<TUse, Vps3dExtension>& s, unsigned NumViews)
{
    const Inside inside(use, "vps_3d_extension");
    UE(cp_precision);
    for (unsigned n = 1; n < NumViews; ++n) {
        U(6, num_cp, n);
        if (s.num_cp[n] > 0) {
            FLAG(cp_in_slice_segment_header_flag, n);
            for (unsigned m = 0; m < use.upTo(s.num_cp[n]); ++m) {
                ROOM_IN(cp_ref_voi, m, n);
                ROOM_IN(vps_cp_scale, m, n);
                ROOM_IN(vps_cp_off, m, n);
                ROOM_IN(vps_cp_inv_scale_plus_scale, m, n);
                ROOM_IN(vps_cp_inv_off_plus_off, m, n);
                UE(cp_ref_voi, n, m);
                if (!s.cp_in_slice_segment_header_flag[n]) {
                    const std::uint32_t j = ENTRY(cp_ref_voi, n, m);
                    SE_AS(vps_cp_scale, ENTRY(vps_cp_scale, n, m), n, j);
                    SE_AS(vps_cp_off, ENTRY(vps_cp_off, n, m), n, j);
                    SE_AS(vps_cp_inv_scale_plus_scale, ENTRY(vps_cp_inv_scale_plus_scale, n, m), n, j);
                    SE_AS(vps_cp_inv_off_plus_off, ENTRY(vps_cp_inv_off_plus_off, n, m), n, j);
                }
            }
        }
    }
}

#define INSTANTIATE(TUse)                                                                                              \
    template void video_parameter_set_rbsp(TUse&, Of<TUse, VideoParameterSet>&);                                       \
    template void vps_3d_extension(TUse&, Of<TUse, Vps3dExtension>&, unsigned);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
