#include "SequenceParameterSet.h"

#include <bit>

#include "ModuleServices.h"
#include "SyntaxRead.h"

namespace h265_codec {

using namespace syntax;

namespace {

// Block sizes of 32 bits and more, which no legal stream has, are taken modulo 32.
constexpr unsigned powerOfTwo(unsigned uiLog2) noexcept
{
    return 1U << (uiLog2 % 32);
}

// 7.3.2.2.1, sps_max_dec_pic_buffering_minus1 and its neighbours. Without the flag only the highest
// sub-layer is coded, and the lower ones are left alone: inferring them is up to the record's users.
template <class TReader>
int readSubLayerOrdering(SPS* sps, CBitWindow<TReader>& bits) noexcept
{
    const unsigned uiHighest = sps->sps_max_sub_layers_minus1;
    unsigned uiDropped = 0;
    for (unsigned i = sps->sps_sub_layer_ordering_info_present_flag ? 0 : uiHighest; i <= uiHighest; ++i) {
        const int iResult = read(bits,
                                 ue(entryOr(sps->sps_max_dec_pic_buffering_minus1, i, uiDropped)),
                                 ue(entryOr(sps->sps_max_num_reorder_pics, i, uiDropped)),
                                 ue(entryOr(sps->sps_max_latency_increase_plus1, i, uiDropped)));
        if (iResult != 0)
            return iResult;
    }
    return 0;
}

// 7.3.2.2.1, scaling_list_enabled_flag equal to 1
template <class TReader>
int readScalingLists(SPS* sps, TReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    const int iResult = read(pBS, flag(sps->sps_scaling_list_data_present_flag));
    if (iResult != 0)
        return iResult;
    if (sps->pScalingList == nullptr) {
        sps->pScalingList = takeZeroedBlock<ScalingListData>(1, pMemPool, TAG_TAKE_SPS_SCALING_LIST);
        if (sps->pScalingList == nullptr)
            return E_NO_MEMORY;
    }
    if (sps->sps_scaling_list_data_present_flag)
        return readScalingList(sps->pScalingList, pBS);
    setDefaultScalingList(sps->pScalingList);
    return 0;
}

// 7.3.2.2.1, pcm_enabled_flag equal to 1
template <class TReader>
int readPcm(SPS* sps, TReader* pBS) noexcept
{
    const int iResult = read(pBS,
                             u(4, sps->pcm_sample_bit_depth_luma_minus1),
                             u(4, sps->pcm_sample_bit_depth_chroma_minus1),
                             uePlus<unsigned char>(sps->Log2MinIpcmCbSizeY, 3),
                             uePlus<unsigned char>(sps->Log2MaxIpcmCbSizeY, sps->Log2MinIpcmCbSizeY),
                             flag(sps->pcm_loop_filter_disabled_flag));
    if (iResult != 0)
        return iResult;
    sps->PcmCbSizeMask = static_cast<unsigned char>(powerOfTwo(static_cast<unsigned>(sps->Log2MaxIpcmCbSizeY) + 1) -
                                                    powerOfTwo(static_cast<unsigned>(sps->Log2MinIpcmCbSizeY)));
    return 0;
}

// The array that the sets are read into, zeroed when it is new. One that an earlier reading made is
// used again while it has room; one that the host put there is trusted.
int provideShortTermRefPicSets(SPS* sps, tq_util::TMemPool* pMemPool) noexcept
{
    const unsigned uiCount = sps->num_short_term_ref_pic_sets;
    const unsigned uiRoomPlus1 = sps->uiShortTermRefPicSetRoomPlus1;
    if (sps->pShortTermRefPicSet != nullptr && uiRoomPlus1 != 0 && uiRoomPlus1 < uiCount + 1)
        releaseBlock(sps->pShortTermRefPicSet, TAG_SPS_SHORT_TERM_REF_PIC_SETS);
    if (sps->pShortTermRefPicSet != nullptr)
        return 0;
    sps->uiShortTermRefPicSetRoomPlus1 = 0;
    sps->pShortTermRefPicSet = takeZeroedBlock<ShortTermRefPicSet>(uiCount, pMemPool, TAG_SPS_SHORT_TERM_REF_PIC_SETS);
    if (sps->pShortTermRefPicSet == nullptr)
        return E_NO_MEMORY;
    sps->uiShortTermRefPicSetRoomPlus1 = static_cast<std::uint16_t>(uiCount + 1);
    return 0;
}

// 7.3.2.2.1, long_term_ref_pics_present_flag equal to 1
template <class TReader>
int readLongTermRefPics(SPS* sps, TReader* pBS) noexcept
{
    int iResult = read(pBS, ue(sps->num_long_term_ref_pics_sps));
    if (iResult != 0)
        return iResult;
    unsigned uiDropped = 0;
    unsigned char ucDropped = 0;
    for (unsigned i = 0; i < sps->num_long_term_ref_pics_sps; ++i) {
        iResult = read(pBS,
                       u(sps->log2_max_pic_order_cnt_lsb, entryOr(sps->lt_ref_pic_poc_lsb_sps, i, uiDropped)),
                       flag(entryOr(sps->used_by_curr_pic_lt_sps_flag, i, ucDropped)));
        if (iResult != 0)
            return iResult;
    }
    return 0;
}

// 7.4.3.2.1: the picture in CTBs. All arithmetic wraps in 32 bits.
void derivePictureSize(SPS* sps) noexcept
{
    const unsigned CtbLog2SizeY = sps->CtbLog2SizeY % 32U;
    const unsigned CtbSizeY = powerOfTwo(CtbLog2SizeY);
    const unsigned uiWidth = sps->pic_width_in_luma_samples;
    const unsigned uiHeight = sps->pic_height_in_luma_samples;
    const unsigned uiLastWidth = uiWidth & (CtbSizeY - 1);
    const unsigned uiLastHeight = uiHeight & (CtbSizeY - 1);
    sps->LastCtbWidthY = static_cast<unsigned char>(uiLastWidth != 0 ? uiLastWidth : CtbSizeY);
    sps->LastCtbHeightY = static_cast<unsigned char>(uiLastHeight != 0 ? uiLastHeight : CtbSizeY);

    const unsigned uiWidthInCtbs = (uiWidth + CtbSizeY - 1) >> CtbLog2SizeY;
    const unsigned uiHeightInCtbs = (uiHeight + CtbSizeY - 1) >> CtbLog2SizeY;
    sps->PicWidthInCtbsY = static_cast<int>(uiWidthInCtbs);
    sps->PicHeightInCtbsY = static_cast<int>(uiHeightInCtbs);
    sps->PicSizeInCtbsY = static_cast<int>(uiWidthInCtbs * uiHeightInCtbs);
    sps->SliceSegmentAddressBits =
        sps->PicSizeInCtbsY > 1 ? static_cast<int>(std::bit_width(static_cast<unsigned>(sps->PicSizeInCtbsY) - 1)) : 0;
}

// 7.3.2.2.1, behind profile_tier_level( ) up to the sub-layer ordering information
template <class TReader>
int readPictureFormat(SPS* sps, TReader* pBS) noexcept
{
    CBitWindow<TReader> bits(pBS);
    int iResult = read(bits, ue(sps->sps_seq_parameter_set_id), ue(sps->chroma_format_idc));
    if (iResult != 0)
        return iResult;
    if (sps->chroma_format_idc == 3) {
        iResult = read(bits, flag(sps->separate_colour_plane_flag));
        if (iResult != 0)
            return iResult;
    }
    iResult = read(bits,
                   ue(sps->pic_width_in_luma_samples),
                   ue(sps->pic_height_in_luma_samples),
                   flag(sps->conformance_window_flag));
    if (iResult != 0)
        return iResult;
    if (sps->conformance_window_flag) {
        iResult = read(bits,
                       ue(sps->conf_win_left_offset),
                       ue(sps->conf_win_right_offset),
                       ue(sps->conf_win_top_offset),
                       ue(sps->conf_win_bottom_offset));
        if (iResult != 0)
            return iResult;
    }
    iResult = read(bits,
                   uePlus<unsigned char>(sps->BitDepthY, 8),
                   uePlus<unsigned char>(sps->BitDepthC, 8),
                   uePlus<unsigned>(sps->log2_max_pic_order_cnt_lsb, 4),
                   flag(sps->sps_sub_layer_ordering_info_present_flag));
    if (iResult != 0)
        return iResult;
    return readSubLayerOrdering(sps, bits);
}

// 7.3.2.2.1, the coding block sizes up to the short-term reference picture sets
template <class TReader>
int readCodingTools(SPS* sps, TReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    int iResult = read(pBS,
                       uePlus<unsigned char>(sps->MinCbLog2SizeY, 3),
                       uePlus<unsigned char>(sps->CtbLog2SizeY, sps->MinCbLog2SizeY),
                       uePlus<unsigned char>(sps->MinTbLog2SizeY, 2),
                       uePlus<unsigned char>(sps->MaxTbLog2SizeY, sps->MinTbLog2SizeY),
                       ue(sps->max_transform_hierarchy_depth_inter),
                       ue(sps->max_transform_hierarchy_depth_intra),
                       flag(sps->scaling_list_enabled_flag));
    if (iResult != 0)
        return iResult;
    if (sps->scaling_list_enabled_flag) {
        iResult = readScalingLists(sps, pBS, pMemPool);
        if (iResult != 0)
            return iResult;
    }
    iResult = read(
        pBS, flag(sps->amp_enabled_flag), flag(sps->sample_adaptive_offset_enabled_flag), flag(sps->pcm_enabled_flag));
    if (iResult != 0)
        return iResult;
    if (sps->pcm_enabled_flag)
        return readPcm(sps, pBS);
    sps->PcmCbSizeMask = 0;
    return 0;
}

// 7.3.2.2.1, the reference pictures
template <class TReader>
int readRefPicSets(SPS* sps, TReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    int iResult = read(pBS, ue(sps->num_short_term_ref_pic_sets));
    if (iResult != 0)
        return iResult;
    iResult = provideShortTermRefPicSets(sps, pMemPool);
    if (iResult != 0)
        return iResult;
    for (int i = 0; i < sps->num_short_term_ref_pic_sets; ++i) {
        // Ignored on purpose: a set cut short stays as it is and reading goes on.
        (void)read_short_term_ref_pic_set(sps, &sps->pShortTermRefPicSet[i], i, pBS);
    }
    iResult = read(pBS, flag(sps->long_term_ref_pics_present_flag));
    if (iResult != 0)
        return iResult;
    return sps->long_term_ref_pics_present_flag ? readLongTermRefPics(sps, pBS) : 0;
}

// 7.3.2.2.1
template <class TReader>
int readSequenceParameterSet(SPS* sps, TReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    int iResult = read(pBS,
                       u(4, sps->sps_video_parameter_set_id),
                       u(3, sps->sps_max_sub_layers_minus1),
                       flag(sps->sps_temporal_id_nesting_flag));
    if (iResult != 0)
        return iResult;

    // Ignored on purpose: reading goes on from wherever a payload that ends in there leaves the reader.
    (void)read_profile_tile_level(&sps->ptl, sps->sps_max_sub_layers_minus1, pBS);

    iResult = readPictureFormat(sps, pBS);
    if (iResult != 0)
        return iResult;
    iResult = readCodingTools(sps, pBS, pMemPool);
    if (iResult != 0)
        return iResult;
    iResult = readRefPicSets(sps, pBS, pMemPool);
    if (iResult != 0)
        return iResult;

    // vui_parameters( ) is not parsed, on purpose: with a VUI the last flag holds its first bit.
    iResult = read(pBS,
                   flag(sps->sps_temporal_mvp_enabled_flag),
                   flag(sps->strong_intra_smoothing_enabled_flag),
                   flag(sps->vui_parameters_present_flag),
                   flag(sps->sps_extension_present_flag));
    if (iResult != 0)
        return iResult;
    derivePictureSize(sps);
    pBS->readTailing();
    return 0;
}

} // namespace

SPS* createSPS(tq_util::TMemPool* pMemPool) noexcept
{
    SPS* const sps = takeZeroedBlock<SPS>(1, pMemPool, TAG_TAKE_SPS);
    if (sps == nullptr)
        logError("bad pointer sps");
    return sps;
}

void destroySPS(SPS* sps) noexcept
{
    if (sps == nullptr)
        return;
    releaseBlock(sps->pScalingList, TAG_RELEASE_SPS_SCALING_LIST);
    releaseBlock(sps->pShortTermRefPicSet, TAG_RELEASE_SPS_SHORT_TERM_REF_PIC_SETS);
    releaseBlock(sps, TAG_RELEASE_SPS);
}

int verifySPS(SPS* sps) noexcept
{
    if (sps->chroma_format_idc != 1 || sps->separate_colour_plane_flag) {
        logError("only support 4:2:0");
        return E_BS_NOT_ENOUGH_BITS;
    }
    if (sps->BitDepthY != 8 || sps->BitDepthC != 8) {
        logError("only support 8bit depth");
        return E_BS_NOT_ENOUGH_BITS;
    }
    return 0;
}

int readSPS(SPS* sps, CBitStreamReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    return readSequenceParameterSet(sps, pBS, pMemPool);
}

int readSPS(SPS* sps, CRbspReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    return readSequenceParameterSet(sps, pBS, pMemPool);
}

} // namespace h265_codec
