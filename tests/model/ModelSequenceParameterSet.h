#pragma once

#include "ModelScalingList.h"
#include "ModelShortTermRefPicSet.h"
#include "ModelVideoParameterSet.h"

namespace h265_model {

/// An owned scaling list store: its pool block (0: none) and its contents.
struct ModelStore
{
    int iBlock = 0;
    ModelScalingLists lists;
};

/// 7.3.2.2 as far as it is kept.
struct ModelSps
{
    int iBlock = 0; // the record's own pool block; 0: there is no record
    Value sps_video_parameter_set_id = 0;
    Value sps_max_sub_layers_minus1 = 0;
    Value sps_temporal_id_nesting_flag = 0;
    Value sps_seq_parameter_set_id = 0;
    Value chroma_format_idc = 0;
    Value separate_colour_plane_flag = 0;
    ModelPtl ptl;
    Value pic_width_in_luma_samples = 0;
    Value pic_height_in_luma_samples = 0;
    Value conformance_window_flag = 0;
    Value conf_win_left_offset = 0;
    Value conf_win_right_offset = 0;
    Value conf_win_top_offset = 0;
    Value conf_win_bottom_offset = 0;
    Value BitDepthY = 0;
    Value BitDepthC = 0;
    Value log2_max_pic_order_cnt_lsb = 0;
    Value sps_sub_layer_ordering_info_present_flag = 0;
    std::array<Value, 5> sps_max_dec_pic_buffering_minus1{};
    std::array<Value, 5> sps_max_num_reorder_pics{};
    std::array<Value, 5> sps_max_latency_increase_plus1{};
    Value MinCbLog2SizeY = 0;
    Value CtbLog2SizeY = 0;
    Value MinTbLog2SizeY = 0;
    Value MaxTbLog2SizeY = 0;
    Value max_transform_hierarchy_depth_inter = 0;
    Value max_transform_hierarchy_depth_intra = 0;
    Value scaling_list_enabled_flag = 0;
    Value sps_scaling_list_data_present_flag = 0;
    ModelStore store;
    Value amp_enabled_flag = 0;
    Value sample_adaptive_offset_enabled_flag = 0;
    Value pcm_enabled_flag = 0;
    Value pcm_loop_filter_disabled_flag = 0;
    Value pcm_sample_bit_depth_luma_minus1 = 0;
    Value pcm_sample_bit_depth_chroma_minus1 = 0;
    Value Log2MinIpcmCbSizeY = 0;
    Value Log2MaxIpcmCbSizeY = 0;
    Value PcmCbSizeMask = 0;
    Value num_short_term_ref_pic_sets = 0;
    int iSetsBlock = 0;         // the sets' pool block; 0: none
    std::vector<ModelRps> sets; // as many as the block was made for
    Value long_term_ref_pics_present_flag = 0;
    Value num_long_term_ref_pics_sps = 0;
    std::array<Value, 16> lt_ref_pic_poc_lsb_sps{};
    std::array<Value, 16> used_by_curr_pic_lt_sps_flag{};
    Value sps_temporal_mvp_enabled_flag = 0;
    Value strong_intra_smoothing_enabled_flag = 0;
    Value vui_parameters_present_flag = 0;
    Value sps_extension_present_flag = 0;
    Value LastCtbWidthY = 0;
    Value LastCtbHeightY = 0;
    Value PicWidthInCtbsY = 0;
    Value PicHeightInCtbsY = 0;
    Value PicSizeInCtbsY = 0;
    Value SliceSegmentAddressBits = 0;
    Value refCount = 0;
    std::array<Value, 9> reserved{};
};

/// Bytes of the module's blocks.
inline constexpr unsigned SPS_BYTES = sizeof(void*) == 8 ? 528 : 508;
inline constexpr unsigned SCALING_LIST_BYTES = 25344;
inline constexpr unsigned RPS_BYTES = 136;

/// The model's createSPS (iBlock 0: none), destroySPS, verifySPS and readSPS.
ModelSps modelCreateSps(CModelHost& host);
void modelDestroySps(ModelSps& sps, CModelHost& host);
int modelVerifySps(const ModelSps& sps, CModelHost& host);
int modelReadSps(ModelSps& sps, CModelBits& bits, CModelHost& host);

/// PcmCbSizeMask, and the picture's size in CTBs, out of the fields that they follow from.
void modelDerivePcmMask(ModelSps& sps);
void modelDerivePictureSizes(ModelSps& sps);

/// Takes a zeroed store from the pool unless there is one; stops when the pool gives none.
void modelTakeStore(ModelStore& store, int iLine, CModelHost& host);

} // namespace h265_model
