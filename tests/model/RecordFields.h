#pragma once

// The fields that a record of the module and the model's record of the same name share, one after the
// other: visit(name, module's field, model's field). Pointers and embedded records are left out.

namespace h265_model {

#define H265_MODEL_FIELD(field) visit(#field, module.field, model.field)

/// Fields of profile_tile_level.
template <class TModule, class TModel, class TVisit>
void eachPtlField(TModule& module, TModel& model, TVisit visit)
{
    H265_MODEL_FIELD(general_profile_space);
    H265_MODEL_FIELD(general_tier_flag);
    H265_MODEL_FIELD(general_profile_idc);
    H265_MODEL_FIELD(general_profile_compatibility_flag);
    H265_MODEL_FIELD(general_progressive_source_flag);
    H265_MODEL_FIELD(general_interlaced_source_flag);
    H265_MODEL_FIELD(general_non_packed_constraint_flag);
    H265_MODEL_FIELD(general_frame_only_constraint_flag);
    H265_MODEL_FIELD(general_level_idc);
    H265_MODEL_FIELD(sub_layer_profile_present_flag);
    H265_MODEL_FIELD(sub_layer_level_present_flag);
    H265_MODEL_FIELD(sub_layer_profile_space);
    H265_MODEL_FIELD(sub_layer_tier_flag);
    H265_MODEL_FIELD(sub_layer_profile_idc);
    H265_MODEL_FIELD(sub_layer_profile_compatibility_flag);
    H265_MODEL_FIELD(sub_layer_progressive_source_flag);
    H265_MODEL_FIELD(sub_layer_interlaced_source_flag);
    H265_MODEL_FIELD(sub_layer_non_packed_constraint_flag);
    H265_MODEL_FIELD(sub_layer_frame_only_constraint_flag);
    H265_MODEL_FIELD(sub_layer_level_idc);
}

/// Fields of VPS.
template <class TModule, class TModel, class TVisit>
void eachVpsField(TModule& module, TModel& model, TVisit visit)
{
    H265_MODEL_FIELD(vps_video_parameter_set_id);
    H265_MODEL_FIELD(vps_reserved_three_2bits);
    H265_MODEL_FIELD(vps_max_layers_minus1);
    H265_MODEL_FIELD(vps_max_sub_layers_minus1);
    H265_MODEL_FIELD(vps_max_layer_id);
    H265_MODEL_FIELD(vps_temporal_id_nesting_flag);
    H265_MODEL_FIELD(vps_reserved_0xffff_16bits);
    H265_MODEL_FIELD(vps_sub_layer_ordering_info_present_flag);
    H265_MODEL_FIELD(vps_timing_info_present_flag);
    H265_MODEL_FIELD(vps_extension_flag);
    H265_MODEL_FIELD(vps_max_dec_pic_buffering);
    H265_MODEL_FIELD(vps_max_num_reorder_pics);
    H265_MODEL_FIELD(vps_max_latency_increase_plus1);
    H265_MODEL_FIELD(vps_num_layer_sets_minus1);
    H265_MODEL_FIELD(reserved);
}

/// Fields of ShortTermRefPicSet.
template <class TModule, class TModel, class TVisit>
void eachRpsField(TModule& module, TModel& model, TVisit visit)
{
    H265_MODEL_FIELD(inter_ref_pic_set_prediction_flag);
    H265_MODEL_FIELD(delta_idx);
    H265_MODEL_FIELD(deltaRps);
    H265_MODEL_FIELD(NumNegativePics);
    H265_MODEL_FIELD(NumPositivePics);
    H265_MODEL_FIELD(NumDeltaPocs);
    H265_MODEL_FIELD(DeltaPoc);
    H265_MODEL_FIELD(UsedByCurrPic);
    H265_MODEL_FIELD(UseDeltaFlagOfPic);
    H265_MODEL_FIELD(used_by_curr_pic_flag);
    H265_MODEL_FIELD(use_delta_flag);
}

/// Fields of SPS, the first half.
template <class TModule, class TModel, class TVisit>
void eachSpsFirstField(TModule& module, TModel& model, TVisit visit)
{
    H265_MODEL_FIELD(sps_video_parameter_set_id);
    H265_MODEL_FIELD(sps_max_sub_layers_minus1);
    H265_MODEL_FIELD(sps_temporal_id_nesting_flag);
    H265_MODEL_FIELD(sps_seq_parameter_set_id);
    H265_MODEL_FIELD(chroma_format_idc);
    H265_MODEL_FIELD(separate_colour_plane_flag);
    H265_MODEL_FIELD(pic_width_in_luma_samples);
    H265_MODEL_FIELD(pic_height_in_luma_samples);
    H265_MODEL_FIELD(conformance_window_flag);
    H265_MODEL_FIELD(conf_win_left_offset);
    H265_MODEL_FIELD(conf_win_right_offset);
    H265_MODEL_FIELD(conf_win_top_offset);
    H265_MODEL_FIELD(conf_win_bottom_offset);
    H265_MODEL_FIELD(BitDepthY);
    H265_MODEL_FIELD(BitDepthC);
    H265_MODEL_FIELD(log2_max_pic_order_cnt_lsb);
    H265_MODEL_FIELD(sps_sub_layer_ordering_info_present_flag);
    H265_MODEL_FIELD(sps_max_dec_pic_buffering_minus1);
    H265_MODEL_FIELD(sps_max_num_reorder_pics);
    H265_MODEL_FIELD(sps_max_latency_increase_plus1);
    H265_MODEL_FIELD(MinCbLog2SizeY);
    H265_MODEL_FIELD(CtbLog2SizeY);
    H265_MODEL_FIELD(MinTbLog2SizeY);
    H265_MODEL_FIELD(MaxTbLog2SizeY);
    H265_MODEL_FIELD(max_transform_hierarchy_depth_inter);
    H265_MODEL_FIELD(max_transform_hierarchy_depth_intra);
}

/// Fields of SPS, the second half.
template <class TModule, class TModel, class TVisit>
void eachSpsLastField(TModule& module, TModel& model, TVisit visit)
{
    H265_MODEL_FIELD(scaling_list_enabled_flag);
    H265_MODEL_FIELD(sps_scaling_list_data_present_flag);
    H265_MODEL_FIELD(amp_enabled_flag);
    H265_MODEL_FIELD(sample_adaptive_offset_enabled_flag);
    H265_MODEL_FIELD(pcm_enabled_flag);
    H265_MODEL_FIELD(pcm_loop_filter_disabled_flag);
    H265_MODEL_FIELD(pcm_sample_bit_depth_luma_minus1);
    H265_MODEL_FIELD(pcm_sample_bit_depth_chroma_minus1);
    H265_MODEL_FIELD(Log2MinIpcmCbSizeY);
    H265_MODEL_FIELD(Log2MaxIpcmCbSizeY);
    H265_MODEL_FIELD(PcmCbSizeMask);
    H265_MODEL_FIELD(num_short_term_ref_pic_sets);
    H265_MODEL_FIELD(long_term_ref_pics_present_flag);
    H265_MODEL_FIELD(num_long_term_ref_pics_sps);
    H265_MODEL_FIELD(lt_ref_pic_poc_lsb_sps);
    H265_MODEL_FIELD(used_by_curr_pic_lt_sps_flag);
    H265_MODEL_FIELD(sps_temporal_mvp_enabled_flag);
    H265_MODEL_FIELD(strong_intra_smoothing_enabled_flag);
    H265_MODEL_FIELD(vui_parameters_present_flag);
    H265_MODEL_FIELD(sps_extension_present_flag);
    H265_MODEL_FIELD(LastCtbWidthY);
    H265_MODEL_FIELD(LastCtbHeightY);
    H265_MODEL_FIELD(PicWidthInCtbsY);
    H265_MODEL_FIELD(PicHeightInCtbsY);
    H265_MODEL_FIELD(PicSizeInCtbsY);
    H265_MODEL_FIELD(SliceSegmentAddressBits);
    H265_MODEL_FIELD(reserved);
}

/// Fields of SPS.
template <class TModule, class TModel, class TVisit>
void eachSpsField(TModule& module, TModel& model, TVisit visit)
{
    eachSpsFirstField(module, model, visit);
    eachSpsLastField(module, model, visit);
}

/// Fields of PPS.
template <class TModule, class TModel, class TVisit>
void eachPpsField(TModule& module, TModel& model, TVisit visit)
{
    H265_MODEL_FIELD(pps_pic_parameter_set_id);
    H265_MODEL_FIELD(pps_seq_parameter_set_id);
    H265_MODEL_FIELD(dependent_slice_segments_enabled_flag);
    H265_MODEL_FIELD(output_flag_present_flag);
    H265_MODEL_FIELD(num_extra_slice_header_bits);
    H265_MODEL_FIELD(sign_data_hiding_enabled_flag);
    H265_MODEL_FIELD(cabac_init_present_flag);
    H265_MODEL_FIELD(num_ref_idx_l0_default_active_minus1);
    H265_MODEL_FIELD(num_ref_idx_l1_default_active_minus1);
    H265_MODEL_FIELD(init_qp_minus26);
    H265_MODEL_FIELD(constrained_intra_pred_flag);
    H265_MODEL_FIELD(transform_skip_enabled_flag);
    H265_MODEL_FIELD(cu_qp_delta_enabled_flag);
    H265_MODEL_FIELD(diff_cu_qp_delta_depth);
    H265_MODEL_FIELD(Log2MinCuQpDeltaSize);
    H265_MODEL_FIELD(pps_cb_qp_offset);
    H265_MODEL_FIELD(pps_cr_qp_offset);
    H265_MODEL_FIELD(pps_slice_chroma_qp_offsets_present_flag);
    H265_MODEL_FIELD(weighted_pred_flag);
    H265_MODEL_FIELD(weighted_bipred_flag);
    H265_MODEL_FIELD(transquant_bypass_enabled_flag);
    H265_MODEL_FIELD(tiles_enabled_flag);
    H265_MODEL_FIELD(entropy_coding_sync_enabled_flag);
    H265_MODEL_FIELD(num_tile_columns_minus1);
    H265_MODEL_FIELD(num_tile_rows_minus1);
    H265_MODEL_FIELD(MultipleTilesFlag);
    H265_MODEL_FIELD(uniform_spacing_flag);
    H265_MODEL_FIELD(loop_filter_across_tiles_enabled_flag);
    H265_MODEL_FIELD(pps_loop_filter_across_slices_enabled_flag);
    H265_MODEL_FIELD(deblocking_filter_control_present_flag);
    H265_MODEL_FIELD(deblocking_filter_override_enabled_flag);
    H265_MODEL_FIELD(pps_deblocking_filter_disabled_flag);
    H265_MODEL_FIELD(pps_beta_offset_div2);
    H265_MODEL_FIELD(pps_tc_offset_div2);
    H265_MODEL_FIELD(pps_scaling_list_data_present_flag);
    H265_MODEL_FIELD(lists_modification_present_flag);
    H265_MODEL_FIELD(Log2ParMrgLevel);
    H265_MODEL_FIELD(slice_segment_header_extension_present_flag);
    H265_MODEL_FIELD(pps_extension_present_flag);
    H265_MODEL_FIELD(reserved);
}

#undef H265_MODEL_FIELD

} // namespace h265_model
