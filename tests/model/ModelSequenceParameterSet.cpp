#include "ModelSequenceParameterSet.h"

namespace h265_model {

namespace {

std::uint32_t powerOfTwo(Value exponent)
{
    std::uint32_t result = 1;
    for (Value i = 0; i < exponent % 32; ++i)
        result *= 2;
    return result;
}

void readSubLayerOrdering(ModelSps& sps, CModelBits& bits)
{
    const Value highest = sps.sps_max_sub_layers_minus1;
    for (Value i = sps.sps_sub_layer_ordering_info_present_flag != 0 ? 0 : highest; i <= highest; ++i) {
        Value dropped = 0;
        const bool bKept = i < 5;
        const std::size_t uiEntry = bKept ? static_cast<std::size_t>(i) : 0;
        (bKept ? sps.sps_max_dec_pic_buffering_minus1[uiEntry] : dropped) = bits.ue();
        (bKept ? sps.sps_max_num_reorder_pics[uiEntry] : dropped) = bits.ue();
        (bKept ? sps.sps_max_latency_increase_plus1[uiEntry] : dropped) = bits.ue();
    }
}

void readScalingLists(ModelSps& sps, CModelBits& bits, CModelHost& host)
{
    bits.flag(sps.sps_scaling_list_data_present_flag);
    modelTakeStore(sps.store, 325, host);
    if (sps.sps_scaling_list_data_present_flag == 0) {
        modelSetDefaults(sps.store.lists);
        return;
    }
    const int iResult = modelReadScalingLists(sps.store.lists, bits);
    if (iResult != 0)
        throw Stop{iResult};
}

void readPcm(ModelSps& sps, CModelBits& bits)
{
    if (sps.pcm_enabled_flag == 0) {
        sps.PcmCbSizeMask = 0;
        return;
    }
    bits.u(4, sps.pcm_sample_bit_depth_luma_minus1);
    bits.u(4, sps.pcm_sample_bit_depth_chroma_minus1);
    sps.Log2MinIpcmCbSizeY = bits.ue() % 256 + 3;
    sps.Log2MaxIpcmCbSizeY = sps.Log2MinIpcmCbSizeY + bits.ue() % 256;
    bits.flag(sps.pcm_loop_filter_disabled_flag);
    modelDerivePcmMask(sps);
}

void readShortTermRefPicSets(ModelSps& sps, CModelBits& bits, CModelHost& host)
{
    sps.num_short_term_ref_pic_sets = bits.ue() % 256;
    const std::size_t uiCount = static_cast<std::size_t>(sps.num_short_term_ref_pic_sets);
    if (sps.iSetsBlock != 0 && uiCount > sps.sets.size()) {
        host.release(RPS_BYTES * sps.sets.size(), 361);
        sps.iSetsBlock = 0;
    }
    if (sps.iSetsBlock == 0) {
        sps.sets.clear();
        sps.iSetsBlock = host.take(RPS_BYTES * uiCount, 361);
        if (sps.iSetsBlock == 0)
            throw Stop{NO_MEMORY};
        sps.sets.resize(uiCount);
    }
    for (std::size_t i = 0; i < uiCount; ++i) {
        // A set that runs out stays as it is, and the next one is tried.
        (void)modelReadRps(sps.sets, sps.num_short_term_ref_pic_sets, sps.sets[i], static_cast<Value>(i), bits);
    }
}

void readLongTermRefPics(ModelSps& sps, CModelBits& bits)
{
    bits.flag(sps.long_term_ref_pics_present_flag);
    if (sps.long_term_ref_pics_present_flag == 0)
        return;
    sps.num_long_term_ref_pics_sps = bits.ue() % 256;
    const std::size_t uiCount = static_cast<std::size_t>(sps.num_long_term_ref_pics_sps);
    for (std::size_t i = 0; i < uiCount; ++i) {
        Value dropped = 0;
        bits.u(static_cast<unsigned>(sps.log2_max_pic_order_cnt_lsb), i < 16 ? sps.lt_ref_pic_poc_lsb_sps[i] : dropped);
        bits.flag(i < 16 ? sps.used_by_curr_pic_lt_sps_flag[i] : dropped);
    }
}

void readPictureFormat(ModelSps& sps, CModelBits& bits)
{
    sps.sps_seq_parameter_set_id = bits.ue() % 256;
    sps.chroma_format_idc = bits.ue() % 256;
    if (sps.chroma_format_idc == 3)
        bits.flag(sps.separate_colour_plane_flag);
    sps.pic_width_in_luma_samples = bits.ue() % 65536;
    sps.pic_height_in_luma_samples = bits.ue() % 65536;
    bits.flag(sps.conformance_window_flag);
    if (sps.conformance_window_flag != 0) {
        sps.conf_win_left_offset = bits.ue() % 65536;
        sps.conf_win_right_offset = bits.ue() % 65536;
        sps.conf_win_top_offset = bits.ue() % 65536;
        sps.conf_win_bottom_offset = bits.ue() % 65536;
    }
    sps.BitDepthY = (bits.ue() + 8) % 256;
    sps.BitDepthC = (bits.ue() + 8) % 256;
    sps.log2_max_pic_order_cnt_lsb = (bits.ue() + 4) % 0x100000000;
}

void readSps(ModelSps& sps, CModelBits& bits, CModelHost& host)
{
    bits.u(4, sps.sps_video_parameter_set_id);
    bits.u(3, sps.sps_max_sub_layers_minus1);
    bits.flag(sps.sps_temporal_id_nesting_flag);
    (void)modelReadPtl(sps.ptl, static_cast<unsigned>(sps.sps_max_sub_layers_minus1), bits); // reading goes on
    readPictureFormat(sps, bits);
    bits.flag(sps.sps_sub_layer_ordering_info_present_flag);
    readSubLayerOrdering(sps, bits);
    sps.MinCbLog2SizeY = bits.ue() % 256 + 3;
    sps.CtbLog2SizeY = sps.MinCbLog2SizeY + bits.ue() % 256;
    sps.MinTbLog2SizeY = bits.ue() % 256 + 2;
    sps.MaxTbLog2SizeY = sps.MinTbLog2SizeY + bits.ue() % 256;
    sps.max_transform_hierarchy_depth_inter = bits.ue() % 256;
    sps.max_transform_hierarchy_depth_intra = bits.ue() % 256;
    bits.flag(sps.scaling_list_enabled_flag);
    if (sps.scaling_list_enabled_flag != 0)
        readScalingLists(sps, bits, host);
    bits.flag(sps.amp_enabled_flag);
    bits.flag(sps.sample_adaptive_offset_enabled_flag);
    bits.flag(sps.pcm_enabled_flag);
    readPcm(sps, bits);
    readShortTermRefPicSets(sps, bits, host);
    readLongTermRefPics(sps, bits);
    bits.flag(sps.sps_temporal_mvp_enabled_flag);
    bits.flag(sps.strong_intra_smoothing_enabled_flag);
    bits.flag(sps.vui_parameters_present_flag);
    bits.flag(sps.sps_extension_present_flag);
    modelDerivePictureSizes(sps);
    bits.readTailing();
}

} // namespace

void modelDerivePcmMask(ModelSps& sps)
{
    sps.PcmCbSizeMask = (powerOfTwo(sps.Log2MaxIpcmCbSizeY + 1) - powerOfTwo(sps.Log2MinIpcmCbSizeY)) % 256;
}

void modelDerivePictureSizes(ModelSps& sps)
{
    const std::uint32_t CtbSizeY = powerOfTwo(sps.CtbLog2SizeY);
    const auto inCtbs = [&](Value samples) { return static_cast<std::uint32_t>(samples + CtbSizeY - 1) / CtbSizeY; };
    const auto lastCtb = [&](Value samples) {
        const Value rest = samples % CtbSizeY;
        return (rest == 0 ? Value{CtbSizeY} : rest) % 256;
    };
    sps.LastCtbWidthY = lastCtb(sps.pic_width_in_luma_samples);
    sps.LastCtbHeightY = lastCtb(sps.pic_height_in_luma_samples);
    sps.PicWidthInCtbsY = inCtbs(sps.pic_width_in_luma_samples);
    sps.PicHeightInCtbsY = inCtbs(sps.pic_height_in_luma_samples);
    const Value product = sps.PicWidthInCtbsY * sps.PicHeightInCtbsY % 0x100000000;
    sps.PicSizeInCtbsY = product >= 0x80000000 ? product - 0x100000000 : product;
    sps.SliceSegmentAddressBits = 0;
    while (sps.PicSizeInCtbsY > Value{1} << sps.SliceSegmentAddressBits)
        ++sps.SliceSegmentAddressBits;
}

void modelTakeStore(ModelStore& store, int iLine, CModelHost& host)
{
    if (store.iBlock != 0)
        return;
    store.iBlock = host.take(SCALING_LIST_BYTES, iLine);
    if (store.iBlock == 0)
        throw Stop{NO_MEMORY};
    store.lists = ModelScalingLists{};
}

ModelSps modelCreateSps(CModelHost& host)
{
    ModelSps sps;
    sps.iBlock = host.take(SPS_BYTES, 647);
    if (sps.iBlock == 0)
        host.error("bad pointer sps");
    return sps;
}

void modelDestroySps(ModelSps& sps, CModelHost& host)
{
    if (sps.iBlock == 0)
        return;
    if (sps.store.iBlock != 0)
        host.release(SCALING_LIST_BYTES, 661);
    if (sps.iSetsBlock != 0)
        host.release(RPS_BYTES * sps.sets.size(), 662);
    host.release(SPS_BYTES, 663);
    sps = ModelSps{};
}

int modelVerifySps(const ModelSps& sps, CModelHost& host)
{
    if (sps.chroma_format_idc != 1 || sps.separate_colour_plane_flag != 0) {
        host.error("only support 4:2:0");
        return NOT_ENOUGH_BITS;
    }
    if (sps.BitDepthY != 8 || sps.BitDepthC != 8) {
        host.error("only support 8bit depth");
        return NOT_ENOUGH_BITS;
    }
    return 0;
}

int modelReadSps(ModelSps& sps, CModelBits& bits, CModelHost& host)
{
    try {
        readSps(sps, bits, host);
    } catch (const Stop& stop) {
        return stop.iResult;
    }
    return 0;
}

} // namespace h265_model
