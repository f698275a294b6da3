#include "DerivedRecord.h"

#include <algorithm>
#include <iterator>

namespace h265_model {

namespace {

constexpr unsigned SUB_LAYERS = 5; // that a record keeps
constexpr std::size_t LONG_TERM_PICS = 16;
constexpr std::size_t PICS = 16;

Value byteOf(std::uint32_t uiValue)
{
    return uiValue % 256;
}

Value signedByteOf(std::int32_t iValue)
{
    return static_cast<std::int8_t>(static_cast<std::uint8_t>(iValue & 255));
}

#define DERIVE(field) ptl.field = set.field
#define DERIVE_OF_SUB_LAYERS(field) std::copy_n(std::begin(set.field), uiKept, ptl.field.begin())

ModelPtl derivePtl(const h265_syntax::ProfileTierLevel& set, unsigned uiMaxSubLayersMinus1)
{
    const unsigned uiKept = std::min(uiMaxSubLayersMinus1, SUB_LAYERS);
    ModelPtl ptl;
    DERIVE(general_profile_space);
    DERIVE(general_tier_flag);
    DERIVE(general_profile_idc);
    std::ranges::copy(set.general_profile_compatibility_flag, ptl.general_profile_compatibility_flag.begin());
    DERIVE(general_progressive_source_flag);
    DERIVE(general_interlaced_source_flag);
    DERIVE(general_non_packed_constraint_flag);
    DERIVE(general_frame_only_constraint_flag);
    DERIVE(general_level_idc);
    DERIVE_OF_SUB_LAYERS(sub_layer_profile_present_flag);
    DERIVE_OF_SUB_LAYERS(sub_layer_level_present_flag);
    for (unsigned i = 0; i < uiKept; ++i) {
        if (set.sub_layer_level_present_flag[i])
            ptl.sub_layer_level_idc[i] = set.sub_layer_level_idc[i];
        if (!set.sub_layer_profile_present_flag[i])
            continue;
        ptl.sub_layer_profile_space[i] = set.sub_layer_profile_space[i];
        ptl.sub_layer_tier_flag[i] = set.sub_layer_tier_flag[i];
        ptl.sub_layer_profile_idc[i] = set.sub_layer_profile_idc[i];
        std::ranges::copy(set.sub_layer_profile_compatibility_flag[i],
                          ptl.sub_layer_profile_compatibility_flag[i].begin());
        ptl.sub_layer_progressive_source_flag[i] = set.sub_layer_progressive_source_flag[i];
        ptl.sub_layer_interlaced_source_flag[i] = set.sub_layer_interlaced_source_flag[i];
        ptl.sub_layer_non_packed_constraint_flag[i] = set.sub_layer_non_packed_constraint_flag[i];
        ptl.sub_layer_frame_only_constraint_flag[i] = set.sub_layer_frame_only_constraint_flag[i];
    }
    return ptl;
}

#undef DERIVE
#undef DERIVE_OF_SUB_LAYERS

// The two bits that follow the number of layer sets: the record takes them for flags that stand there when there
// is one layer set, and the second for one that stands behind the timing information.
std::vector<bool> bitsBehindLayerSets(const h265_syntax::VideoParameterSet& set)
{
    std::vector<bool> bits;
    for (unsigned i = 1; i <= set.vps_num_layer_sets_minus1 && bits.size() < 2; ++i) {
        for (unsigned j = 0; j <= set.vps_max_layer_id; ++j)
            bits.push_back(set.layer_id_included_flag[i][j]);
    }
    bits.push_back(set.vps_timing_info_present_flag);
    bits.push_back(set.vps_timing_info_present_flag ? set.vps_num_units_in_tick >> 31 != 0 : set.vps_extension_flag);
    return bits;
}

// The first bit behind vui_parameters_present_flag.
bool bitBehindVuiFlag(const h265_syntax::SequenceParameterSet& set)
{
    return set.vui_parameters_present_flag ? set.vui_parameters.aspect_ratio_info_present_flag
                                           : set.sps_extension_present_flag;
}

ModelScalingLists deriveLists(const h265_syntax::ScalingListDataSyntax& set)
{
    ModelScalingLists lists;
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        for (unsigned m = 0; m < (sizeId == 3 ? 2U : 6U); ++m) {
            const unsigned matrixId = sizeId == 3 ? 3 * m : m;
            auto& row = lists.matrices[sizeId];
            if (!set.scaling_list_pred_mode_flag[sizeId][matrixId]) {
                const auto delta =
                    static_cast<unsigned>(byteOf(set.scaling_list_pred_matrix_id_delta[sizeId][matrixId]));
                if (delta > m)
                    throw Stop{NOT_ENOUGH_BITS};
                row[m].source = delta == 0 ? modelDefaultSource(sizeId, m) : row[m - delta].source;
                continue;
            }
            std::int64_t nextCoef = sizeId > 1 ? set.scaling_list_dc_coef_minus8[sizeId - 2][matrixId] + 8 : 8;
            const auto dc = static_cast<unsigned char>(nextCoef & 255);
            std::vector<unsigned char> coefficients;
            for (unsigned i = 0; i < (sizeId == 0 ? 16U : 64U); ++i) {
                nextCoef += set.scaling_list_delta_coef[sizeId][matrixId][i];
                coefficients.push_back(static_cast<unsigned char>(nextCoef & 255));
            }
            row[m].source = {MatrixSource::Kind::Own, DefaultTable::Flat4x4, sizeId, m};
            modelPlace(row[m].own, sizeId, coefficients);
            if (sizeId > 1)
                row[m].own[0] = dc;
        }
    }
    lists.matrices[3][3].source = lists.matrices[3][1].source;
    return lists;
}

ModelRps deriveRps(const h265_syntax::StRefPicSet& set, std::uint32_t uiRefDeltaPocs)
{
    ModelRps rps;
    rps.inter_ref_pic_set_prediction_flag = set.inter_ref_pic_set_prediction_flag;
    rps.NumNegativePics = set.NumNegativePics;
    rps.NumPositivePics = set.NumPositivePics;
    rps.NumDeltaPocs = set.NumDeltaPocs;
    for (std::size_t i = 0; i < set.NumDeltaPocs; ++i) {
        const bool bNegative = i < set.NumNegativePics;
        const std::size_t uiOther = i - (bNegative ? 0 : set.NumNegativePics);
        rps.DeltaPoc[i] = bNegative ? set.DeltaPocS0[uiOther] : set.DeltaPocS1[uiOther];
        rps.UsedByCurrPic[i] = bNegative ? set.UsedByCurrPicS0[uiOther] : set.UsedByCurrPicS1[uiOther];
        rps.UseDeltaFlagOfPic[i] = set.inter_ref_pic_set_prediction_flag;
    }
    if (!set.inter_ref_pic_set_prediction_flag)
        return rps;
    rps.deltaRps =
        signedByteOf((set.delta_rps_sign ? -1 : 1) * static_cast<std::int32_t>(set.abs_delta_rps_minus1 + 1));
    const std::size_t uiFlags = std::min<std::size_t>(uiRefDeltaPocs + 1, PICS);
    std::copy_n(set.used_by_curr_pic_flag, uiFlags, rps.used_by_curr_pic_flag.begin());
    std::copy_n(set.use_delta_flag, uiFlags, rps.use_delta_flag.begin());
    return rps;
}

void derivePcm(const h265_syntax::SequenceParameterSet& set, ModelSps& sps)
{
    sps.pcm_enabled_flag = set.pcm_enabled_flag;
    if (!set.pcm_enabled_flag)
        return;
    sps.pcm_sample_bit_depth_luma_minus1 = set.pcm_sample_bit_depth_luma_minus1;
    sps.pcm_sample_bit_depth_chroma_minus1 = set.pcm_sample_bit_depth_chroma_minus1;
    sps.Log2MinIpcmCbSizeY = byteOf(set.log2_min_pcm_luma_coding_block_size_minus3) + 3;
    sps.Log2MaxIpcmCbSizeY = sps.Log2MinIpcmCbSizeY + byteOf(set.log2_diff_max_min_pcm_luma_coding_block_size);
    sps.pcm_loop_filter_disabled_flag = set.pcm_loop_filter_disabled_flag;
    modelDerivePcmMask(sps);
}

void deriveRefPics(const h265_syntax::SequenceParameterSet& set, ModelSps& sps, CModelHost& host)
{
    sps.num_short_term_ref_pic_sets = set.num_short_term_ref_pic_sets;
    sps.iSetsBlock = host.take(RPS_BYTES * std::uint64_t{set.num_short_term_ref_pic_sets}, 361);
    for (std::size_t i = 0; i < set.num_short_term_ref_pic_sets; ++i)
        sps.sets.push_back(deriveRps(set.st_ref_pic_set[i], i == 0 ? 0 : set.st_ref_pic_set[i - 1].NumDeltaPocs));
    sps.long_term_ref_pics_present_flag = set.long_term_ref_pics_present_flag;
    if (!set.long_term_ref_pics_present_flag)
        return;
    sps.num_long_term_ref_pics_sps = set.num_long_term_ref_pics_sps;
    const std::size_t uiKept = std::min<std::size_t>(set.num_long_term_ref_pics_sps, LONG_TERM_PICS);
    std::copy_n(set.lt_ref_pic_poc_lsb_sps, uiKept, sps.lt_ref_pic_poc_lsb_sps.begin());
    std::copy_n(set.used_by_curr_pic_lt_sps_flag, uiKept, sps.used_by_curr_pic_lt_sps_flag.begin());
}

void derivePictureFormat(const h265_syntax::SequenceParameterSet& set, ModelSps& sps)
{
    sps.chroma_format_idc = byteOf(set.chroma_format_idc);
    sps.separate_colour_plane_flag = set.separate_colour_plane_flag;
    sps.pic_width_in_luma_samples = set.pic_width_in_luma_samples % 65536;
    sps.pic_height_in_luma_samples = set.pic_height_in_luma_samples % 65536;
    sps.conformance_window_flag = set.conformance_window_flag;
    if (set.conformance_window_flag) {
        sps.conf_win_left_offset = set.conf_win_left_offset % 65536;
        sps.conf_win_right_offset = set.conf_win_right_offset % 65536;
        sps.conf_win_top_offset = set.conf_win_top_offset % 65536;
        sps.conf_win_bottom_offset = set.conf_win_bottom_offset % 65536;
    }
    sps.BitDepthY = byteOf(set.bit_depth_luma_minus8 + 8);
    sps.BitDepthC = byteOf(set.bit_depth_chroma_minus8 + 8);
    sps.log2_max_pic_order_cnt_lsb = set.log2_max_pic_order_cnt_lsb_minus4 + 4;
}

void deriveOrdering(const h265_syntax::SequenceParameterSet& set, ModelSps& sps)
{
    sps.sps_sub_layer_ordering_info_present_flag = set.sps_sub_layer_ordering_info_present_flag;
    const unsigned uiHighest = set.sps_max_sub_layers_minus1;
    for (unsigned i = set.sps_sub_layer_ordering_info_present_flag ? 0 : uiHighest; i <= uiHighest; ++i) {
        if (i >= SUB_LAYERS)
            break;
        sps.sps_max_dec_pic_buffering_minus1[i] = set.sps_max_dec_pic_buffering_minus1[i];
        sps.sps_max_num_reorder_pics[i] = set.sps_max_num_reorder_pics[i];
        sps.sps_max_latency_increase_plus1[i] = set.sps_max_latency_increase_plus1[i];
    }
}

void deriveBlockSizes(const h265_syntax::SequenceParameterSet& set, ModelSps& sps)
{
    sps.MinCbLog2SizeY = byteOf(set.log2_min_luma_coding_block_size_minus3) + 3;
    sps.CtbLog2SizeY = sps.MinCbLog2SizeY + byteOf(set.log2_diff_max_min_luma_coding_block_size);
    sps.MinTbLog2SizeY = byteOf(set.log2_min_luma_transform_block_size_minus2) + 2;
    sps.MaxTbLog2SizeY = sps.MinTbLog2SizeY + byteOf(set.log2_diff_max_min_luma_transform_block_size);
    sps.max_transform_hierarchy_depth_inter = byteOf(set.max_transform_hierarchy_depth_inter);
    sps.max_transform_hierarchy_depth_intra = byteOf(set.max_transform_hierarchy_depth_intra);
}

void deriveSpsLists(const h265_syntax::SequenceParameterSet& set, ModelSps& sps, CModelHost& host)
{
    sps.scaling_list_enabled_flag = set.scaling_list_enabled_flag;
    if (!set.scaling_list_enabled_flag)
        return;
    sps.sps_scaling_list_data_present_flag = set.sps_scaling_list_data_present_flag;
    modelTakeStore(sps.store, 325, host);
    if (set.sps_scaling_list_data_present_flag)
        sps.store.lists = deriveLists(*set.scaling_list_data);
    else
        modelSetDefaults(sps.store.lists);
}

// 6.5.1 (6-3), (6-4)
std::vector<std::uint32_t> tileSizes(bool bUniform, const std::vector<std::uint32_t>& minus1, std::uint32_t uiLast,
                                     std::uint32_t uiSide)
{
    std::vector<std::uint32_t> sizes;
    std::uint32_t uiRest = uiSide;
    for (std::uint32_t i = 0; i < uiLast + (bUniform ? 1 : 0); ++i) {
        sizes.push_back(bUniform ? (i + 1) * uiSide / (uiLast + 1) - i * uiSide / (uiLast + 1) : minus1[i] + 1);
        uiRest -= sizes.back();
    }
    if (!bUniform)
        sizes.push_back(uiRest);
    return sizes;
}

void deriveTiles(const h265_syntax::PictureParameterSet& set, const ModelSps& sps, ModelPps& pps, CModelHost& host)
{
    pps.tiles_enabled_flag = set.tiles_enabled_flag;
    pps.entropy_coding_sync_enabled_flag = set.entropy_coding_sync_enabled_flag;
    if (!set.tiles_enabled_flag)
        return;
    pps.num_tile_columns_minus1 = set.num_tile_columns_minus1;
    pps.num_tile_rows_minus1 = set.num_tile_rows_minus1;
    pps.MultipleTilesFlag = set.num_tile_columns_minus1 != 0 || set.num_tile_rows_minus1 != 0;
    pps.uniform_spacing_flag = set.uniform_spacing_flag;
    const auto W = static_cast<std::uint32_t>(sps.PicWidthInCtbsY);
    const auto H = static_cast<std::uint32_t>(sps.PicHeightInCtbsY);
    pps.colWidth = modelTakeTable(set.num_tile_columns_minus1 + 1, 451, host);
    pps.colWidth.entries = tileSizes(set.uniform_spacing_flag, set.column_width_minus1, set.num_tile_columns_minus1, W);
    pps.rowHeight = modelTakeTable(set.num_tile_rows_minus1 + 1, 456, host);
    pps.rowHeight.entries = tileSizes(set.uniform_spacing_flag, set.row_height_minus1, set.num_tile_rows_minus1, H);
    modelMakeTileTables(pps, W, H, host);
    if (pps.MultipleTilesFlag != 0)
        pps.loop_filter_across_tiles_enabled_flag = set.loop_filter_across_tiles_enabled_flag;
}

void deriveDeblocking(const h265_syntax::PictureParameterSet& set, ModelPps& pps)
{
    pps.deblocking_filter_control_present_flag = set.deblocking_filter_control_present_flag;
    if (!set.deblocking_filter_control_present_flag)
        return;
    pps.deblocking_filter_override_enabled_flag = set.deblocking_filter_override_enabled_flag;
    pps.pps_deblocking_filter_disabled_flag = set.pps_deblocking_filter_disabled_flag;
    if (set.pps_deblocking_filter_disabled_flag)
        return;
    pps.pps_beta_offset_div2 = signedByteOf(set.pps_beta_offset_div2);
    pps.pps_tc_offset_div2 = signedByteOf(set.pps_tc_offset_div2);
}

void deriveSliceDefaults(const h265_syntax::PictureParameterSet& set, const ModelSps& sps, ModelPps& pps)
{
    pps.dependent_slice_segments_enabled_flag = set.dependent_slice_segments_enabled_flag;
    pps.output_flag_present_flag = set.output_flag_present_flag;
    pps.num_extra_slice_header_bits = set.num_extra_slice_header_bits;
    pps.sign_data_hiding_enabled_flag = set.sign_data_hiding_enabled_flag;
    pps.cabac_init_present_flag = set.cabac_init_present_flag;
    pps.num_ref_idx_l0_default_active_minus1 = byteOf(set.num_ref_idx_l0_default_active_minus1);
    pps.num_ref_idx_l1_default_active_minus1 = byteOf(set.num_ref_idx_l1_default_active_minus1);
    pps.init_qp_minus26 = signedByteOf(set.init_qp_minus26);
    pps.constrained_intra_pred_flag = set.constrained_intra_pred_flag;
    pps.transform_skip_enabled_flag = set.transform_skip_enabled_flag;
    pps.cu_qp_delta_enabled_flag = set.cu_qp_delta_enabled_flag;
    if (set.cu_qp_delta_enabled_flag) {
        pps.diff_cu_qp_delta_depth = byteOf(set.diff_cu_qp_delta_depth);
        pps.Log2MinCuQpDeltaSize = (sps.CtbLog2SizeY + 256 - pps.diff_cu_qp_delta_depth) % 256;
    }
    pps.pps_cb_qp_offset = signedByteOf(set.pps_cb_qp_offset);
    pps.pps_cr_qp_offset = signedByteOf(set.pps_cr_qp_offset);
    pps.pps_slice_chroma_qp_offsets_present_flag = set.pps_slice_chroma_qp_offsets_present_flag;
    pps.weighted_pred_flag = set.weighted_pred_flag;
    pps.weighted_bipred_flag = set.weighted_bipred_flag;
    pps.transquant_bypass_enabled_flag = set.transquant_bypass_enabled_flag;
}

} // namespace

ModelVps deriveVps(const h265_syntax::VideoParameterSet& set)
{
    ModelVps vps;
    const unsigned uiHighest = set.vps_max_sub_layers_minus1;
    vps.vps_video_parameter_set_id = set.vps_video_parameter_set_id;
    vps.vps_reserved_three_2bits = set.vps_base_layer_internal_flag * 2 + set.vps_base_layer_available_flag;
    vps.vps_max_layers_minus1 = set.vps_max_layers_minus1;
    vps.vps_max_sub_layers_minus1 = uiHighest;
    vps.vps_temporal_id_nesting_flag = set.vps_temporal_id_nesting_flag;
    vps.vps_reserved_0xffff_16bits = set.vps_reserved_0xffff_16bits;
    vps.ptl = derivePtl(set.profile_tier_level, uiHighest);
    vps.vps_sub_layer_ordering_info_present_flag = set.vps_sub_layer_ordering_info_present_flag;
    for (unsigned i = set.vps_sub_layer_ordering_info_present_flag ? 0 : uiHighest; i <= uiHighest; ++i) {
        if (i >= SUB_LAYERS)
            break;
        vps.vps_max_dec_pic_buffering[i] = (Value{set.vps_max_dec_pic_buffering_minus1[i]} + 1) % 0x100000000;
        vps.vps_max_num_reorder_pics[i] = set.vps_max_num_reorder_pics[i];
        vps.vps_max_latency_increase_plus1[i] = set.vps_max_latency_increase_plus1[i];
    }
    vps.vps_max_layer_id = set.vps_max_layer_id;
    vps.vps_num_layer_sets_minus1 = set.vps_num_layer_sets_minus1;
    const std::vector<bool> bits = bitsBehindLayerSets(set);
    vps.vps_timing_info_present_flag = bits[0];
    vps.vps_extension_flag = bits[1];
    return vps;
}

ModelSps deriveSps(const h265_syntax::SequenceParameterSet& set, CModelHost& host)
{
    ModelSps sps = modelCreateSps(host);
    sps.sps_video_parameter_set_id = set.sps_video_parameter_set_id;
    sps.sps_max_sub_layers_minus1 = set.sps_max_sub_layers_minus1;
    sps.sps_temporal_id_nesting_flag = set.sps_temporal_id_nesting_flag;
    sps.ptl = derivePtl(set.profile_tier_level, set.sps_max_sub_layers_minus1);
    sps.sps_seq_parameter_set_id = byteOf(set.sps_seq_parameter_set_id);
    derivePictureFormat(set, sps);
    deriveOrdering(set, sps);
    deriveBlockSizes(set, sps);
    deriveSpsLists(set, sps, host);
    sps.amp_enabled_flag = set.amp_enabled_flag;
    sps.sample_adaptive_offset_enabled_flag = set.sample_adaptive_offset_enabled_flag;
    derivePcm(set, sps);
    deriveRefPics(set, sps, host);
    sps.sps_temporal_mvp_enabled_flag = set.sps_temporal_mvp_enabled_flag;
    sps.strong_intra_smoothing_enabled_flag = set.strong_intra_smoothing_enabled_flag;
    sps.vui_parameters_present_flag = set.vui_parameters_present_flag;
    sps.sps_extension_present_flag = bitBehindVuiFlag(set);
    modelDerivePictureSizes(sps);
    return sps;
}

ModelPps derivePps(const h265_syntax::PictureParameterSet& set, const ModelSps& sps, CModelHost& host)
{
    ModelPps pps = modelCreatePps(host);
    pps.pps_pic_parameter_set_id = byteOf(set.pps_pic_parameter_set_id);
    pps.pps_seq_parameter_set_id = byteOf(set.pps_seq_parameter_set_id);
    deriveSliceDefaults(set, sps, pps);
    deriveTiles(set, sps, pps, host);
    pps.pps_loop_filter_across_slices_enabled_flag = set.pps_loop_filter_across_slices_enabled_flag;
    deriveDeblocking(set, pps);
    pps.pps_scaling_list_data_present_flag = set.pps_scaling_list_data_present_flag;
    if (set.pps_scaling_list_data_present_flag) {
        modelTakeStore(pps.store, 485, host);
        pps.pScalingListSet = 1;
        pps.store.lists = deriveLists(*set.scaling_list_data);
    }
    pps.lists_modification_present_flag = set.lists_modification_present_flag;
    pps.Log2ParMrgLevel = byteOf(set.log2_parallel_merge_level_minus2 + 2);
    pps.slice_segment_header_extension_present_flag = set.slice_segment_header_extension_present_flag;
    pps.pps_extension_present_flag = set.pps_extension_present_flag;
    return pps;
}

bool isReadByTheTables(const h265_syntax::SequenceParameterSet& set)
{
    if (set.chroma_format_idc != 3 && byteOf(set.chroma_format_idc) == 3)
        return false;
    return std::ranges::all_of(set.st_ref_pic_set.begin(),
                               set.st_ref_pic_set.begin() + set.num_short_term_ref_pic_sets,
                               [](const h265_syntax::StRefPicSet& rps) { return rps.NumDeltaPocs <= PICS; });
}

bool isReadByTheTables(const h265_syntax::PictureParameterSet& set)
{
    return !set.tiles_enabled_flag || set.num_tile_columns_minus1 != 0 || set.num_tile_rows_minus1 != 0;
}

} // namespace h265_model
