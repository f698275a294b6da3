#pragma once

#include "ModelSequenceParameterSet.h"

namespace h265_model {

inline constexpr Value MAX_TILES = 1 << 20; // columns, rows, and both together

/// An owned table of 32-bit numbers: its pool block (0: none) and its contents.
struct ModelTable
{
    int iBlock = 0;
    std::vector<std::uint32_t> entries;
};

/// 7.3.2.3 as far as it is kept, and the tables of 6.5.1.
struct ModelPps
{
    int iBlock = 0; // the record's own pool block; 0: there is no record
    Value pps_pic_parameter_set_id = 0;
    Value pps_seq_parameter_set_id = 0;
    Value dependent_slice_segments_enabled_flag = 0;
    Value output_flag_present_flag = 0;
    Value num_extra_slice_header_bits = 0;
    Value sign_data_hiding_enabled_flag = 0;
    Value cabac_init_present_flag = 0;
    Value num_ref_idx_l0_default_active_minus1 = 0;
    Value num_ref_idx_l1_default_active_minus1 = 0;
    Value init_qp_minus26 = 0;
    Value constrained_intra_pred_flag = 0;
    Value transform_skip_enabled_flag = 0;
    Value cu_qp_delta_enabled_flag = 0;
    Value diff_cu_qp_delta_depth = 0;
    Value Log2MinCuQpDeltaSize = 0;
    Value pps_cb_qp_offset = 0;
    Value pps_cr_qp_offset = 0;
    Value pps_slice_chroma_qp_offsets_present_flag = 0;
    Value weighted_pred_flag = 0;
    Value weighted_bipred_flag = 0;
    Value transquant_bypass_enabled_flag = 0;
    Value tiles_enabled_flag = 0;
    Value entropy_coding_sync_enabled_flag = 0;
    Value num_tile_columns_minus1 = 0;
    Value num_tile_rows_minus1 = 0;
    Value MultipleTilesFlag = 0;
    Value uniform_spacing_flag = 0;
    Value loop_filter_across_tiles_enabled_flag = 0;
    ModelTable CtbAddrTsToRs;
    ModelTable CtbAddrRsToTs;
    ModelTable TileId;
    ModelTable colWidth;
    ModelTable rowHeight;
    Value pps_loop_filter_across_slices_enabled_flag = 0;
    Value deblocking_filter_control_present_flag = 0;
    Value deblocking_filter_override_enabled_flag = 0;
    Value pps_deblocking_filter_disabled_flag = 0;
    Value pps_beta_offset_div2 = 0;
    Value pps_tc_offset_div2 = 0;
    Value pps_scaling_list_data_present_flag = 0;
    Value pScalingListSet = 0; // pScalingList: 1 at the own store, 0 null
    ModelStore store;          // pScalingListBuf
    Value lists_modification_present_flag = 0;
    Value Log2ParMrgLevel = 0;
    Value slice_segment_header_extension_present_flag = 0;
    Value pps_extension_present_flag = 0;
    Value refCount = 0;
    std::array<Value, 17> reserved{};
};

inline constexpr unsigned PPS_BYTES = sizeof(void*) == 8 ? 144 : 108;

/// The host's table of SPS records: null where empty.
using ModelSpsTable = std::array<const ModelSps*, 256>;

/// The model's createPPS (iBlock 0: none), destroyPPS and readPPS.
ModelPps modelCreatePps(CModelHost& host);
void modelDestroyPps(ModelPps& pps, CModelHost& host);
int modelReadPps(ModelPps& pps, const ModelSpsTable& table, CModelBits& bits, CModelHost& host);

/// The model's readTileGrid; the picture size in CTBs stands for the SPS.
int modelReadTileGrid(ModelPps& pps, std::uint32_t W, std::uint32_t H, CModelBits& bits, CModelHost& host);

/// The address tables of columns and rows whose sizes are there; throws Stop when these are not the picture's.
void modelMakeTileTables(ModelPps& pps, std::uint32_t W, std::uint32_t H, CModelHost& host);

/// A table fresh from the test pool, which fills its blocks with 0xcd.
ModelTable modelTakeTable(std::uint64_t ulEntries, int iLine, CModelHost& host);

} // namespace h265_model
