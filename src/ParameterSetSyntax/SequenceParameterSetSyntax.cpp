#include "SequenceParameterSetSyntax.h"

#include <algorithm>

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

namespace {

// F.7.4.3.2.1: an SPS with MultiLayerExtSpsFlag has the format that the VPS gives for it: the one that
// sps_rep_format_idx names, else that of the lowest layer that may use the SPS, its own. Null: it is not known.
const RepFormat* repFormatOf(const SequenceParameterSet& s, const VideoParameterSet* pVps)
{
    if (pVps == nullptr || !pVps->vps_extension_flag)
        return nullptr;
    const VpsExtension& extension = *pVps->vps_extension;
    const unsigned uiLayer =
        std::min<unsigned>(pVps->layers->LayerIdxInVps[s.nal_unit_header.nuh_layer_id & 63U], MAX_LAYERS - 1);
    const unsigned uiFormat = s.update_rep_format_flag ? s.sps_rep_format_idx : extension.vps_rep_format_idx[uiLayer];
    const bool bThere = uiFormat <= extension.vps_num_rep_formats_minus1 && uiFormat < extension.rep_format.size();
    return bThere ? &extension.rep_format[uiFormat] : nullptr;
}

void inferRepFormat(SequenceParameterSet& s, const VideoParameterSet* pVps)
{
    const RepFormat* const pFormat = repFormatOf(s, pVps);
    const RepFormat format = pFormat != nullptr ? *pFormat : RepFormat();
    s.bFormatKnown = pFormat != nullptr;
    s.chroma_format_idc = format.chroma_format_vps_idc;
    s.separate_colour_plane_flag = format.separate_colour_plane_vps_flag;
    s.pic_width_in_luma_samples = format.pic_width_vps_in_luma_samples;
    s.pic_height_in_luma_samples = format.pic_height_vps_in_luma_samples;
    s.bit_depth_luma_minus8 = format.bit_depth_vps_luma_minus8;
    s.bit_depth_chroma_minus8 = format.bit_depth_vps_chroma_minus8;
    s.conformance_window_flag = format.conformance_window_vps_flag;
    s.conf_win_left_offset = format.conf_win_vps_left_offset;
    s.conf_win_right_offset = format.conf_win_vps_right_offset;
    s.conf_win_top_offset = format.conf_win_vps_top_offset;
    s.conf_win_bottom_offset = format.conf_win_vps_bottom_offset;
}

template <class TUse>
void format(TUse& use, Of<TUse, SequenceParameterSet>& s)
{
    UE(chroma_format_idc);
    if (s.chroma_format_idc == 3)
        FLAG(separate_colour_plane_flag);
    else
        INFER(separate_colour_plane_flag, 0); // 7.4.3.2.1
    UE(pic_width_in_luma_samples);
    UE(pic_height_in_luma_samples);
    FLAG(conformance_window_flag);
    if (s.conformance_window_flag) {
        UE(conf_win_left_offset);
        UE(conf_win_right_offset);
        UE(conf_win_top_offset);
        UE(conf_win_bottom_offset);
    } else {
        INFER(conf_win_left_offset, 0);   // 7.4.3.2.1
        INFER(conf_win_right_offset, 0);  // 7.4.3.2.1
        INFER(conf_win_top_offset, 0);    // 7.4.3.2.1
        INFER(conf_win_bottom_offset, 0); // 7.4.3.2.1
    }
    UE(bit_depth_luma_minus8);
    UE(bit_depth_chroma_minus8);
}

template <class TUse>
void subLayerOrderingInfo(TUse& use, Of<TUse, SequenceParameterSet>& s)
{
    FLAG(sps_sub_layer_ordering_info_present_flag);
    for (unsigned i = (s.sps_sub_layer_ordering_info_present_flag ? 0 : s.sps_max_sub_layers_minus1);
         i <= s.sps_max_sub_layers_minus1;
         ++i) {
        UE(sps_max_dec_pic_buffering_minus1, i);
        UE(sps_max_num_reorder_pics, i);
        UE(sps_max_latency_increase_plus1, i);
    }
    if (!s.sps_sub_layer_ordering_info_present_flag) {
        for (unsigned i = 0; i < s.sps_max_sub_layers_minus1; ++i) { // 7.4.3.2.1
            const unsigned uiHighest = s.sps_max_sub_layers_minus1;
            INFER(sps_max_dec_pic_buffering_minus1, s.sps_max_dec_pic_buffering_minus1[uiHighest], i);
            INFER(sps_max_num_reorder_pics, s.sps_max_num_reorder_pics[uiHighest], i);
            INFER(sps_max_latency_increase_plus1, s.sps_max_latency_increase_plus1[uiHighest], i);
        }
    }
}

template <class TUse>
void scalingLists(TUse& use, Of<TUse, SequenceParameterSet>& s)
{
    FLAG(scaling_list_enabled_flag);
    if (s.scaling_list_enabled_flag) {
        if (s.MultiLayerExtSpsFlag)
            FLAG(sps_infer_scaling_list_flag);
        else
            INFER(sps_infer_scaling_list_flag, 0); // F.7.4.3.2.1
        if (s.sps_infer_scaling_list_flag) {
            U(6, sps_scaling_list_ref_layer_id);
            INFER(sps_scaling_list_data_present_flag, 0); // 7.4.3.2.1
        } else {
            FLAG(sps_scaling_list_data_present_flag);
            if (s.sps_scaling_list_data_present_flag)
                scaling_list_data(use, *s.scaling_list_data);
        }
    } else {
        INFER(sps_infer_scaling_list_flag, 0);        // F.7.4.3.2.1
        INFER(sps_scaling_list_data_present_flag, 0); // 7.4.3.2.1
    }
}

template <class TUse>
void codingTools(TUse& use, Of<TUse, SequenceParameterSet>& s)
{
    FLAG(amp_enabled_flag);
    FLAG(sample_adaptive_offset_enabled_flag);
    FLAG(pcm_enabled_flag);
    if (s.pcm_enabled_flag) {
        U(4, pcm_sample_bit_depth_luma_minus1);
        U(4, pcm_sample_bit_depth_chroma_minus1);
        UE(log2_min_pcm_luma_coding_block_size_minus3);
        UE(log2_diff_max_min_pcm_luma_coding_block_size);
        FLAG(pcm_loop_filter_disabled_flag);
    } else {
        INFER(pcm_loop_filter_disabled_flag, 0); // 7.4.3.2.1
    }
    UE_UPTO(64, num_short_term_ref_pic_sets);
    for (unsigned i = 0; i < use.upTo(s.num_short_term_ref_pic_sets); ++i) {
        ROOM(st_ref_pic_set, i);
        st_ref_pic_set(use, ENTRY(st_ref_pic_set, i), i, s.num_short_term_ref_pic_sets, s.st_ref_pic_set);
    }
    FLAG(long_term_ref_pics_present_flag);
    if (s.long_term_ref_pics_present_flag) {
        UE_UPTO(32, num_long_term_ref_pics_sps);
        for (unsigned i = 0; i < use.upTo(s.num_long_term_ref_pics_sps); ++i) {
            UV(s.log2_max_pic_order_cnt_lsb_minus4 + std::uint64_t{4}, lt_ref_pic_poc_lsb_sps, i);
            FLAG(used_by_curr_pic_lt_sps_flag, i);
        }
    } else {
        INFER(num_long_term_ref_pics_sps, 0); // 7.4.3.2.1
    }
    FLAG(sps_temporal_mvp_enabled_flag);
    FLAG(strong_intra_smoothing_enabled_flag);
}

template <class TUse>
void extensions(TUse& use, Of<TUse, SequenceParameterSet>& s)
{
    FLAG(sps_extension_present_flag);
    if (s.sps_extension_present_flag) {
        FLAG(sps_range_extension_flag);
        FLAG(sps_multilayer_extension_flag);
        FLAG(sps_3d_extension_flag);
        FLAG(sps_scc_extension_flag);
        U(4, sps_extension_4bits);
    } else {
        INFER(sps_range_extension_flag, 0);      // 7.4.3.2.1
        INFER(sps_multilayer_extension_flag, 0); // 7.4.3.2.1
        INFER(sps_3d_extension_flag, 0);         // 7.4.3.2.1
        INFER(sps_scc_extension_flag, 0);        // 7.4.3.2.1
        INFER(sps_extension_4bits, 0);           // 7.4.3.2.1
    }
    if (s.sps_range_extension_flag)
        sps_range_extension(use, s.sps_range_extension);
    if (s.sps_multilayer_extension_flag)
        sps_multilayer_extension(use, s.sps_multilayer_extension);
    if (s.sps_3d_extension_flag)
        sps_3d_extension(use, s.sps_3d_extension);
    if (s.sps_scc_extension_flag)
        sps_scc_extension(use, s.sps_scc_extension, s);
    if (s.sps_extension_4bits != 0)
        FLAGS_TO_END(sps_extension_data_flag);
}

// sps_max_sub_layers_minus1 and MultiLayerExtSpsFlag, F.7.3.2.2.1 and F.7.4.3.2.1; pVps may be null
template <class TUse>
void subLayerCount(TUse& use, Of<TUse, SequenceParameterSet>& s, const VideoParameterSet* pVps)
{
    if (s.nal_unit_header.nuh_layer_id == 0) {
        U(3, sps_max_sub_layers_minus1);
        INFER(MultiLayerExtSpsFlag, 0);
        INFER(bSubLayersKnown, 1);
    } else {
        U(3, sps_ext_or_max_sub_layers_minus1);
        INFER(MultiLayerExtSpsFlag, s.sps_ext_or_max_sub_layers_minus1 == 7);
        if (!s.MultiLayerExtSpsFlag)
            INFER(sps_max_sub_layers_minus1, s.sps_ext_or_max_sub_layers_minus1);
        else
            INFER(sps_max_sub_layers_minus1, pVps != nullptr ? pVps->vps_max_sub_layers_minus1 : 0);
        INFER(bSubLayersKnown, !s.MultiLayerExtSpsFlag || pVps != nullptr);
    }
}

} // namespace

// F.7.3.2.2.1, which 7.3.2.2.1 is for nuh_layer_id equal to 0
template <class TUse>
void seq_parameter_set_rbsp(TUse& use, Of<TUse, SequenceParameterSet>& s, const Context& context)
{
    U(4, sps_video_parameter_set_id);
    const VideoParameterSet* const pVps = context.apVps[s.sps_video_parameter_set_id & 15U];
    subLayerCount(use, s, pVps);
    if (!s.MultiLayerExtSpsFlag) {
        FLAG(sps_temporal_id_nesting_flag);
        const Inside inside(use, "profile_tier_level");
        profile_tier_level(use, s.profile_tier_level, true, s.sps_max_sub_layers_minus1);
    }
    UE(sps_seq_parameter_set_id);
    if (s.MultiLayerExtSpsFlag) {
        FLAG(update_rep_format_flag);
        if (s.update_rep_format_flag)
            U(8, sps_rep_format_idx);
        use.derive(inferRepFormat, s, pVps);
    } else {
        format(use, s);
        INFER(bFormatKnown, 1);
    }
    UE(log2_max_pic_order_cnt_lsb_minus4);
    if (!s.MultiLayerExtSpsFlag)
        subLayerOrderingInfo(use, s);
    UE(log2_min_luma_coding_block_size_minus3);
    UE(log2_diff_max_min_luma_coding_block_size);
    UE(log2_min_luma_transform_block_size_minus2);
    UE(log2_diff_max_min_luma_transform_block_size);
    UE(max_transform_hierarchy_depth_inter);
    UE(max_transform_hierarchy_depth_intra);
    scalingLists(use, s);
    codingTools(use, s);
    FLAG(vui_parameters_present_flag);
    if (s.vui_parameters_present_flag)
        vui_parameters(use, s.vui_parameters, s);
    extensions(use, s);
}

#define INSTANTIATE(TUse) template void seq_parameter_set_rbsp(TUse&, Of<TUse, SequenceParameterSet>&, const Context&);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
