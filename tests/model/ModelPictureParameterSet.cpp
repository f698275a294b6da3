#include "ModelPictureParameterSet.h"

namespace h265_model {

namespace {

// se(v) into a signed byte, 0 on failure.
void readSignedByte(Value& field, CModelBits& bits)
{
    field = 0;
    const Value value = bits.se();
    field = static_cast<std::int8_t>(static_cast<std::uint8_t>(value & 255));
}

// A tile count and the array for its sizes, which is made anew when the count has grown.
void readTileCount(Value& num_minus1, ModelTable& sizes, int iLine, Value others, CModelBits& bits, CModelHost& host)
{
    const Value before = num_minus1;
    const Value coded = bits.ue();
    if ((coded + 1) > MAX_TILES || (coded + 1) * others > MAX_TILES)
        throw Stop{NOT_ENOUGH_BITS};
    num_minus1 = coded;
    if (sizes.iBlock == 0 || before < coded)
        sizes = modelTakeTable(static_cast<std::uint64_t>(coded) + 1, iLine, host);
    if (sizes.iBlock == 0)
        throw Stop{NO_MEMORY};
}

void readTiles(ModelPps& pps, const ModelSps& sps, CModelBits& bits, CModelHost& host)
{
    pps.MultipleTilesFlag = 0;
    if (pps.tiles_enabled_flag == 0)
        return;
    readTileCount(pps.num_tile_columns_minus1, pps.colWidth, 451, 1, bits, host);
    readTileCount(pps.num_tile_rows_minus1, pps.rowHeight, 456, pps.num_tile_columns_minus1 + 1, bits, host);
    pps.MultipleTilesFlag = pps.num_tile_columns_minus1 != 0 || pps.num_tile_rows_minus1 != 0 ? 1 : 0;
    bits.flag(pps.uniform_spacing_flag);
    const int iResult = modelReadTileGrid(pps,
                                          static_cast<std::uint32_t>(sps.PicWidthInCtbsY),
                                          static_cast<std::uint32_t>(sps.PicHeightInCtbsY),
                                          bits,
                                          host);
    if (iResult != 0)
        throw Stop{iResult};
    if (pps.MultipleTilesFlag != 0)
        bits.flag(pps.loop_filter_across_tiles_enabled_flag);
}

void readDeblocking(ModelPps& pps, CModelBits& bits)
{
    bits.flag(pps.deblocking_filter_control_present_flag);
    if (pps.deblocking_filter_control_present_flag == 0)
        return;
    bits.flag(pps.deblocking_filter_override_enabled_flag);
    bits.flag(pps.pps_deblocking_filter_disabled_flag);
    if (pps.pps_deblocking_filter_disabled_flag == 0) {
        readSignedByte(pps.pps_beta_offset_div2, bits);
        readSignedByte(pps.pps_tc_offset_div2, bits);
    }
}

void readScalingLists(ModelPps& pps, CModelBits& bits, CModelHost& host)
{
    bits.flag(pps.pps_scaling_list_data_present_flag);
    if (pps.pps_scaling_list_data_present_flag == 0)
        return;
    modelTakeStore(pps.store, 485, host);
    pps.pScalingListSet = 1;
    const int iResult = modelReadScalingLists(pps.store.lists, bits);
    if (iResult != 0)
        throw Stop{iResult};
}

const ModelSps& readIds(ModelPps& pps, const ModelSpsTable& table, CModelBits& bits, CModelHost& host)
{
    pps.pps_pic_parameter_set_id = bits.ue() % 256;
    pps.pps_seq_parameter_set_id = bits.ue() % 256;
    const ModelSps* const pSps = table[static_cast<std::size_t>(pps.pps_seq_parameter_set_id)];
    if (pSps == nullptr) {
        host.warn("sps not found!");
        throw Stop{NOT_ENOUGH_BITS};
    }
    return *pSps;
}

void readSliceDefaults(ModelPps& pps, const ModelSps& sps, CModelBits& bits)
{
    bits.flag(pps.dependent_slice_segments_enabled_flag);
    bits.flag(pps.output_flag_present_flag);
    pps.num_extra_slice_header_bits = bits.u(3);
    bits.flag(pps.sign_data_hiding_enabled_flag);
    bits.flag(pps.cabac_init_present_flag);
    pps.num_ref_idx_l0_default_active_minus1 = bits.ue() % 256;
    pps.num_ref_idx_l1_default_active_minus1 = bits.ue() % 256;
    readSignedByte(pps.init_qp_minus26, bits);
    bits.flag(pps.constrained_intra_pred_flag);
    bits.flag(pps.transform_skip_enabled_flag);
    bits.flag(pps.cu_qp_delta_enabled_flag);
    if (pps.cu_qp_delta_enabled_flag != 0) {
        pps.diff_cu_qp_delta_depth = bits.ue() % 256;
        pps.Log2MinCuQpDeltaSize = (sps.CtbLog2SizeY + 256 - pps.diff_cu_qp_delta_depth) % 256;
    }
    readSignedByte(pps.pps_cb_qp_offset, bits);
    readSignedByte(pps.pps_cr_qp_offset, bits);
    bits.flag(pps.pps_slice_chroma_qp_offsets_present_flag);
    bits.flag(pps.weighted_pred_flag);
    bits.flag(pps.weighted_bipred_flag);
    bits.flag(pps.transquant_bypass_enabled_flag);
    bits.flag(pps.tiles_enabled_flag);
    bits.flag(pps.entropy_coding_sync_enabled_flag);
}

void readPps(ModelPps& pps, const ModelSpsTable& table, CModelBits& bits, CModelHost& host)
{
    const ModelSps& sps = readIds(pps, table, bits, host);
    readSliceDefaults(pps, sps, bits);
    readTiles(pps, sps, bits, host);
    bits.flag(pps.pps_loop_filter_across_slices_enabled_flag);
    readDeblocking(pps, bits);
    readScalingLists(pps, bits, host);
    bits.flag(pps.lists_modification_present_flag);
    pps.Log2ParMrgLevel = (bits.ue() + 2) % 256;
    bits.flag(pps.slice_segment_header_extension_present_flag);
    bits.flag(pps.pps_extension_present_flag);
    bits.readTailing();
}

void release(const ModelTable& table, int iLine, CModelHost& host)
{
    if (table.iBlock != 0)
        host.release(4 * table.entries.size(), iLine);
}

} // namespace

ModelPps modelCreatePps(CModelHost& host)
{
    ModelPps pps;
    pps.iBlock = host.take(PPS_BYTES, 654);
    return pps;
}

void modelDestroyPps(ModelPps& pps, CModelHost& host)
{
    if (pps.iBlock == 0)
        return;
    if (pps.store.iBlock != 0)
        host.release(SCALING_LIST_BYTES, 669);
    release(pps.CtbAddrTsToRs, 670, host);
    release(pps.CtbAddrRsToTs, 671, host);
    release(pps.TileId, 672, host);
    release(pps.colWidth, 673, host);
    release(pps.rowHeight, 674, host);
    host.release(PPS_BYTES, 675);
    pps = ModelPps{};
}

int modelReadPps(ModelPps& pps, const ModelSpsTable& table, CModelBits& bits, CModelHost& host)
{
    try {
        readPps(pps, table, bits, host);
    } catch (const Stop& stop) {
        return stop.iResult;
    }
    return 0;
}

} // namespace h265_model
