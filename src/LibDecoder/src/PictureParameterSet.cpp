#include "PictureParameterSet.h"

#include "ModuleServices.h"
#include "SequenceParameterSet.h"
#include "SyntaxRead.h"
#include "TileGrid.h"

namespace h265_codec {

using namespace syntax;

namespace {

// 7.3.2.3.1, one of the two tile counts, and the array of that many sizes. An array is kept as long as
// the count of the reading before was no smaller; one that is replaced stays with the pool.
template <class TReader>
int readTileCount(unsigned& num_tiles_minus1, unsigned uiOtherCountMinus1, unsigned*& aSize, EPoolTag eTag,
                  TReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    unsigned uiCountMinus1 = 0;
    const int iResult = read(pBS, ue(uiCountMinus1));
    if (iResult != 0)
        return iResult;
    if (!isTileCountAccepted(uiCountMinus1, uiOtherCountMinus1))
        return E_BS_NOT_ENOUGH_BITS;
    const bool bOutgrown = num_tiles_minus1 < uiCountMinus1;
    num_tiles_minus1 = uiCountMinus1;
    if (aSize != nullptr && !bOutgrown)
        return 0;
    aSize = takeBlock<unsigned>(std::uint64_t{uiCountMinus1} + 1, pMemPool, eTag);
    return aSize != nullptr ? 0 : E_NO_MEMORY;
}

// 7.3.2.3.1, tiles_enabled_flag equal to 1
template <class TReader>
int readTiles(PPS* pps, SPS* sps, TReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    int iResult = readTileCount(pps->num_tile_columns_minus1, 0, pps->colWidth, TAG_TAKE_COL_WIDTH, pBS, pMemPool);
    if (iResult != 0)
        return iResult;
    iResult = readTileCount(
        pps->num_tile_rows_minus1, pps->num_tile_columns_minus1, pps->rowHeight, TAG_TAKE_ROW_HEIGHT, pBS, pMemPool);
    if (iResult != 0)
        return iResult;
    pps->MultipleTilesFlag = pps->num_tile_columns_minus1 != 0 || pps->num_tile_rows_minus1 != 0;
    iResult = read(pBS, flag(pps->uniform_spacing_flag));
    if (iResult != 0)
        return iResult;
    iResult = readTileGrid(pps, sps, pMemPool, pBS);
    if (iResult != 0)
        return iResult;
    // Not coded for a single tile, which the standard forbids here.
    return pps->MultipleTilesFlag ? read(pBS, flag(pps->loop_filter_across_tiles_enabled_flag)) : 0;
}

// 7.3.2.3.1, deblocking_filter_control_present_flag equal to 1
template <class TReader>
int readDeblocking(PPS* pps, CBitWindow<TReader>& bits) noexcept
{
    const int iResult =
        read(bits, flag(pps->deblocking_filter_override_enabled_flag), flag(pps->pps_deblocking_filter_disabled_flag));
    if (iResult != 0 || pps->pps_deblocking_filter_disabled_flag)
        return iResult;
    return read(bits, se(pps->pps_beta_offset_div2), se(pps->pps_tc_offset_div2));
}

// 7.3.2.3.1, pps_scaling_list_data_present_flag equal to 1
template <class TReader>
int readOwnScalingList(PPS* pps, TReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    if (pps->pScalingListBuf == nullptr) {
        pps->pScalingListBuf = takeZeroedBlock<ScalingListData>(1, pMemPool, TAG_TAKE_PPS_SCALING_LIST);
        if (pps->pScalingListBuf == nullptr)
            return E_NO_MEMORY;
    }
    pps->pScalingList = pps->pScalingListBuf;
    return readScalingList(pps->pScalingList, pBS);
}

// 7.3.2.3.1, behind pps_seq_parameter_set_id up to the tiles
template <class TReader>
int readCodingTools(PPS* pps, const SPS* sps, TReader* pBS) noexcept
{
    CBitWindow<TReader> bits(pBS);
    int iResult = read(bits,
                       flag(pps->dependent_slice_segments_enabled_flag),
                       flag(pps->output_flag_present_flag),
                       uKept(3, pps->num_extra_slice_header_bits),
                       flag(pps->sign_data_hiding_enabled_flag),
                       flag(pps->cabac_init_present_flag),
                       ue(pps->num_ref_idx_l0_default_active_minus1),
                       ue(pps->num_ref_idx_l1_default_active_minus1),
                       se(pps->init_qp_minus26),
                       flag(pps->constrained_intra_pred_flag),
                       flag(pps->transform_skip_enabled_flag),
                       flag(pps->cu_qp_delta_enabled_flag));
    if (iResult != 0)
        return iResult;
    if (pps->cu_qp_delta_enabled_flag) {
        iResult = read(bits, ue(pps->diff_cu_qp_delta_depth));
        if (iResult != 0)
            return iResult;
        pps->Log2MinCuQpDeltaSize = static_cast<unsigned char>(sps->CtbLog2SizeY - pps->diff_cu_qp_delta_depth);
    }
    return read(bits,
                se(pps->pps_cb_qp_offset),
                se(pps->pps_cr_qp_offset),
                flag(pps->pps_slice_chroma_qp_offsets_present_flag),
                flag(pps->weighted_pred_flag),
                flag(pps->weighted_bipred_flag),
                flag(pps->transquant_bypass_enabled_flag),
                flag(pps->tiles_enabled_flag),
                flag(pps->entropy_coding_sync_enabled_flag));
}

// 7.3.2.3.1, behind the tiles up to the scaling lists
template <class TReader>
int readFilters(PPS* pps, TReader* pBS) noexcept
{
    CBitWindow<TReader> bits(pBS);
    int iResult = read(
        bits, flag(pps->pps_loop_filter_across_slices_enabled_flag), flag(pps->deblocking_filter_control_present_flag));
    if (iResult != 0)
        return iResult;
    if (pps->deblocking_filter_control_present_flag) {
        iResult = readDeblocking(pps, bits);
        if (iResult != 0)
            return iResult;
    }
    return read(bits, flag(pps->pps_scaling_list_data_present_flag));
}

// 7.3.2.3.1
template <class TReader>
int readPictureParameterSet(PPS* pps, SPS** sps_array, TReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    int iResult = read(pBS, ue(pps->pps_pic_parameter_set_id), ue(pps->pps_seq_parameter_set_id));
    if (iResult != 0)
        return iResult;
    SPS* const sps = sps_array[pps->pps_seq_parameter_set_id];
    if (sps == nullptr) {
        logWarning("sps not found!");
        return E_BS_NOT_ENOUGH_BITS;
    }

    iResult = readCodingTools(pps, sps, pBS);
    if (iResult != 0)
        return iResult;
    pps->MultipleTilesFlag = false;
    if (pps->tiles_enabled_flag) {
        iResult = readTiles(pps, sps, pBS, pMemPool);
        if (iResult != 0)
            return iResult;
    }
    iResult = readFilters(pps, pBS);
    if (iResult != 0)
        return iResult;
    if (pps->pps_scaling_list_data_present_flag) {
        iResult = readOwnScalingList(pps, pBS, pMemPool);
        if (iResult != 0)
            return iResult;
    }
    iResult = read(pBS,
                   flag(pps->lists_modification_present_flag),
                   uePlus<unsigned char>(pps->Log2ParMrgLevel, 2),
                   flag(pps->slice_segment_header_extension_present_flag),
                   flag(pps->pps_extension_present_flag)); // the extensions are not parsed
    if (iResult != 0)
        return iResult;
    pBS->readTailing();
    return 0;
}

} // namespace

PPS* createPPS(tq_util::TMemPool* pMemPool) noexcept
{
    return takeZeroedBlock<PPS>(1, pMemPool, TAG_TAKE_PPS);
}

void destroyPPS(PPS* pps) noexcept
{
    if (pps == nullptr)
        return;
    releaseBlock(pps->pScalingListBuf, TAG_RELEASE_PPS_SCALING_LIST);
    releaseBlock(pps->CtbAddrTsToRs, TAG_RELEASE_CTB_ADDR_TS_TO_RS);
    releaseBlock(pps->CtbAddrRsToTs, TAG_RELEASE_CTB_ADDR_RS_TO_TS);
    releaseBlock(pps->TileId, TAG_RELEASE_TILE_ID);
    releaseBlock(pps->colWidth, TAG_RELEASE_COL_WIDTH);
    releaseBlock(pps->rowHeight, TAG_RELEASE_ROW_HEIGHT);
    releaseBlock(pps, TAG_RELEASE_PPS);
}

int verifyPPS(PPS* /* pps */) noexcept
{
    return 0;
}

int readPPS(PPS* pps, SPS** sps_array, CBitStreamReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    return readPictureParameterSet(pps, sps_array, pBS, pMemPool);
}

int readPPS(PPS* pps, SPS** sps_array, CRbspReader* pBS, tq_util::TMemPool* pMemPool) noexcept
{
    return readPictureParameterSet(pps, sps_array, pBS, pMemPool);
}

} // namespace h265_codec
