// A.3: what profiles allow. Each claim is checked: the profile's own, and those of compatibility flags.

#include "ChecksTable.h"

namespace profile_checks_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

#define PTL "profile_tier_level."
#define OTHER PTL "general_profile_compatibility_flag[4]=0 "
#define MAIN_10 OTHER PTL "general_profile_idc=2 " PTL "general_profile_compatibility_flag[2]=1 "
#define REXT "sps_range_extension."
#define SCC "sps_scc_extension."
// Main 4:2:2 10
#define MAIN_422_10                                                                                                    \
    PTL "general_intra_constraint_flag=0 " PTL "general_max_12bit_constraint_flag=1 " PTL                              \
        "general_max_10bit_constraint_flag=1 " PTL "general_max_422chroma_constraint_flag=1 " PTL                      \
        "general_lower_bit_rate_constraint_flag=1 "
// High Throughput 4:4:4 16 Intra
#define THROUGHPUT OTHER PTL "general_profile_idc=5 " PTL "general_profile_compatibility_flag[5]=1 "

// High Throughput 4:4:4 14
#define THROUGHPUT_14                                                                                                  \
    THROUGHPUT PTL "general_intra_constraint_flag=0 " PTL "general_max_14bit_constraint_flag=1 " PTL                   \
                   "general_lower_bit_rate_constraint_flag=1 "

// clang-format off
const ChecksRow MAIN_ROWS[] = {
    {"", ""},
    {"chroma_format_idc=0", "error chroma_format_idc [A.3.3]"},
    {"chroma_format_idc=2", "error chroma_format_idc [A.3.3]"},
    {"bit_depth_luma_minus8=2 bit_depth_chroma_minus8=2", ""},
    {"bit_depth_luma_minus8=3", "error bit_depth_luma_minus8 [A.3.3]"},
    {"bit_depth_chroma_minus8=3", "error bit_depth_chroma_minus8 [A.3.3]"},
    // The claim of Main 10 and that of Main.
    {PTL"general_profile_compatibility_flag[1]=1 bit_depth_luma_minus8=1", "error bit_depth_luma_minus8 [A.3.2]"},
    {PTL"general_profile_compatibility_flag[3]=1 " PTL"general_profile_compatibility_flag[1]=1", "error sps_max_dec_pic_buffering_minus1[0] [A.3.4]"},
    {PTL"general_profile_compatibility_flag[3]=1 " PTL"general_profile_compatibility_flag[1]=1 sps_max_dec_pic_buffering_minus1[0]=0 sps_max_num_reorder_pics[0]=0", ""},
    {PTL"general_one_picture_only_constraint_flag=1", "error sps_max_dec_pic_buffering_minus1[0] [A.3.3]"},
    {PTL"general_one_picture_only_constraint_flag=1 sps_max_dec_pic_buffering_minus1[0]=0 sps_max_num_reorder_pics[0]=0", ""},
    {PTL"general_level_idc=255", "error " PTL"general_level_idc [A.3.3]"},
    // A still picture may have it, and be of Main as well.
    {PTL"general_profile_compatibility_flag[3]=1 " PTL"general_profile_compatibility_flag[1]=1 sps_max_dec_pic_buffering_minus1[0]=0 sps_max_num_reorder_pics[0]=0 " PTL"general_level_idc=255", ""},
    {"sps_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=4 sps_max_num_reorder_pics[1]=2 " PTL"sub_layer_level_present_flag[0]=1 " PTL"sub_layer_level_idc[0]=255",
     "warning " PTL"sub_layer_level_idc[0] [7.4.4], error " PTL"sub_layer_level_idc[0] [A.3.3]"},
    // A sub-layer of Main in a stream of Main 10
    {"sps_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=4 sps_max_num_reorder_pics[1]=2 " PTL"sub_layer_profile_present_flag[0]=1 " PTL"sub_layer_profile_idc[0]=1 " PTL"sub_layer_profile_compatibility_flag[0][1]=1", ""},
    {"sps_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=4 sps_max_num_reorder_pics[1]=2 " PTL"sub_layer_profile_present_flag[0]=1 " PTL"sub_layer_profile_idc[0]=1 " PTL"sub_layer_profile_compatibility_flag[0][1]=1 bit_depth_luma_minus8=2",
     "error bit_depth_luma_minus8 [A.3.2]"},
    // CTBs of 16 to 64
    {PTL"general_level_idc=123 log2_diff_max_min_luma_coding_block_size=1 log2_diff_max_min_luma_transform_block_size=2", ""},
    {"log2_diff_max_min_luma_coding_block_size=0 log2_diff_max_min_luma_transform_block_size=1", "error log2_diff_max_min_luma_coding_block_size [A.3.3]"},
    {"log2_diff_max_min_luma_coding_block_size=4", "error log2_diff_max_min_luma_coding_block_size [A.3.3]"},
};

const ChecksRow MAIN_EXTENSION_ROWS[] = {
    {"", ""},
    {REXT"transform_skip_rotation_enabled_flag=1", "error " REXT"transform_skip_rotation_enabled_flag [A.3.3]"},
    {REXT"transform_skip_context_enabled_flag=1", "error " REXT"transform_skip_context_enabled_flag [A.3.3]"},
    {REXT"implicit_rdpcm_enabled_flag=1", "error " REXT"implicit_rdpcm_enabled_flag [A.3.3]"},
    {REXT"explicit_rdpcm_enabled_flag=1", "error " REXT"explicit_rdpcm_enabled_flag [A.3.3]"},
    {REXT"extended_precision_processing_flag=1", "error " REXT"extended_precision_processing_flag [A.3.3]"},
    {REXT"intra_smoothing_disabled_flag=1", "error " REXT"intra_smoothing_disabled_flag [A.3.3]"},
    {REXT"high_precision_offsets_enabled_flag=1", "error " REXT"high_precision_offsets_enabled_flag [A.3.3]"},
    {REXT"persistent_rice_adaptation_enabled_flag=1", "error " REXT"persistent_rice_adaptation_enabled_flag [A.3.3]"},
    {REXT"cabac_bypass_alignment_enabled_flag=1", "error " REXT"cabac_bypass_alignment_enabled_flag [A.3.3]"},
    {SCC"sps_curr_pic_ref_enabled_flag=1", "error " SCC"sps_curr_pic_ref_enabled_flag [A.3.3]"},
    {SCC"palette_mode_enabled_flag=1", "error " SCC"palette_mode_enabled_flag [A.3.3]"},
    {SCC"motion_vector_resolution_control_idc=1", "error " SCC"motion_vector_resolution_control_idc [A.3.3]"},
    {SCC"intra_boundary_filtering_disabled_flag=1", "error " SCC"intra_boundary_filtering_disabled_flag [A.3.3]"},
};

const ChecksRow RANGE_ROWS[] = {
    // Main 4:4:4 16 Intra
    {"chroma_format_idc=3 bit_depth_luma_minus8=8 bit_depth_chroma_minus8=8 " REXT"extended_precision_processing_flag=1 " REXT"implicit_rdpcm_enabled_flag=1", ""},
    {REXT"cabac_bypass_alignment_enabled_flag=1", "error " REXT"cabac_bypass_alignment_enabled_flag [A.3.5]"},
    {"chroma_format_idc=3 separate_colour_plane_flag=1", "error separate_colour_plane_flag [A.3.5]"},
    {PTL"general_one_picture_only_constraint_flag=1", "warning sps_max_dec_pic_buffering_minus1[0] [A.3.5]"},
    {PTL"general_one_picture_only_constraint_flag=1 sps_max_dec_pic_buffering_minus1[0]=0 sps_max_num_reorder_pics[0]=0", ""},
    {THROUGHPUT_14 "bit_depth_luma_minus8=6 bit_depth_chroma_minus8=6 " REXT"persistent_rice_adaptation_enabled_flag=1", ""},
    {THROUGHPUT_14 "bit_depth_luma_minus8=7", "error bit_depth_luma_minus8 [A.3.6]"},
    {THROUGHPUT_14 REXT"extended_precision_processing_flag=1", "warning " REXT"extended_precision_processing_flag [A.3.6]"},
    {THROUGHPUT_14 REXT"cabac_bypass_alignment_enabled_flag=1", "warning " REXT"cabac_bypass_alignment_enabled_flag [A.3.6]"},
    {THROUGHPUT REXT"cabac_bypass_alignment_enabled_flag=1", ""},
    {THROUGHPUT "chroma_format_idc=3 separate_colour_plane_flag=1", "error separate_colour_plane_flag [A.3.6]"},
    {MAIN_422_10 "chroma_format_idc=2 bit_depth_luma_minus8=2 bit_depth_chroma_minus8=2", ""},
    {MAIN_422_10 "chroma_format_idc=0", ""},
    {MAIN_422_10 "chroma_format_idc=3", "error chroma_format_idc [A.3.5]"},
    {MAIN_422_10 "bit_depth_luma_minus8=3", "error bit_depth_luma_minus8 [A.3.5]"},
    {MAIN_422_10 REXT"implicit_rdpcm_enabled_flag=1", "error " REXT"implicit_rdpcm_enabled_flag [A.3.5]"},
    {MAIN_422_10 REXT"extended_precision_processing_flag=1", "error " REXT"extended_precision_processing_flag [A.3.5]"},
    {MAIN_422_10 REXT"high_precision_offsets_enabled_flag=1", ""},
    {MAIN_422_10 PTL"general_level_idc=255", "error " PTL"general_level_idc [A.3.5]"},
    // Flags of no profile: neither an intra profile nor a lower bit rate.
    {PTL"general_intra_constraint_flag=0", "error " PTL"general_profile_idc [A.3.5]"},
    {OTHER PTL"general_profile_idc=11 " PTL"general_profile_compatibility_flag[11]=1", "error " PTL"general_profile_idc [A.3.8]"},
};
// clang-format on

TEST(ProfileChecks, HoldMain10AndWhatItIsCompatibleWith)
{
    expectSpsRows(with(legalSps(), MAIN_10), MAIN_ROWS);
}

TEST(ProfileChecks, HoldTheToolsOfMain10)
{
    expectSpsRows(
        with(legalSps(), MAIN_10 "sps_extension_present_flag=1 sps_range_extension_flag=1 sps_scc_extension_flag=1"),
        MAIN_EXTENSION_ROWS);
}

TEST(ProfileChecks, HoldTheRangeExtensions)
{
    expectSpsRows(with(legalSps(), "sps_extension_present_flag=1 sps_range_extension_flag=1"), RANGE_ROWS);
}

// clang-format off
const ChecksRow PPS_ROWS[] = {
    {"entropy_coding_sync_enabled_flag=1", ""},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=1 entropy_coding_sync_enabled_flag=1", "error entropy_coding_sync_enabled_flag [A.3.3]"},
    // 1024x512 of CTBs of 64: 256x64
    {"tiles_enabled_flag=1 num_tile_columns_minus1=3", ""},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=4", "error num_tile_columns_minus1 [A.3.3]"},
    {"tiles_enabled_flag=1 num_tile_rows_minus1=7", ""},
    // 1024x512 of CTBs of 64
    {"tiles_enabled_flag=1 num_tile_columns_minus1=1 uniform_spacing_flag=0 column_width_minus1[0]=3", ""},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=1 uniform_spacing_flag=0 column_width_minus1[0]=2", "error column_width_minus1[0] [A.3.3]"},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=1 uniform_spacing_flag=0 column_width_minus1[0]=12", "error num_tile_columns_minus1 [A.3.3]"},
    {"pps_extension_present_flag=1 pps_range_extension_flag=1 transform_skip_enabled_flag=1 pps_range_extension.log2_max_transform_skip_block_size_minus2=1", "error pps_range_extension.log2_max_transform_skip_block_size_minus2 [A.3.3]"},
    {"pps_extension_present_flag=1 pps_range_extension_flag=1 pps_range_extension.chroma_qp_offset_list_enabled_flag=1", "error pps_range_extension.chroma_qp_offset_list_enabled_flag [A.3.3]"},
};

const ChecksRow PPS_SMALL_CTB_ROWS[] = {
    {"tiles_enabled_flag=1 num_tile_rows_minus1=1 uniform_spacing_flag=0 row_height_minus1[0]=3", ""},
    {"tiles_enabled_flag=1 num_tile_rows_minus1=1 uniform_spacing_flag=0 row_height_minus1[0]=2", "error row_height_minus1[0] [A.3.3]"},
    {"tiles_enabled_flag=1 num_tile_rows_minus1=9", "error num_tile_rows_minus1 [A.3.3]"},
};

// 192x256: the one tile column counts as well.
const ChecksRow PPS_NARROW_ROWS[] = {
    {"", ""},
    {"tiles_enabled_flag=1 num_tile_rows_minus1=1", "error num_tile_columns_minus1 [A.3.3]"},
};

const ChecksRow PPS_RANGE_ROWS[] = {
    {"", ""},
    {"pps_range_extension.log2_max_transform_skip_block_size_minus2=1", "error pps_range_extension.log2_max_transform_skip_block_size_minus2 [A.3.5]"},
    {"pps_range_extension.chroma_qp_offset_list_enabled_flag=1", ""},
};
const ChecksRow PPS_RANGE_420_ROWS[] = {
    {"pps_range_extension.chroma_qp_offset_list_enabled_flag=1", "error pps_range_extension.chroma_qp_offset_list_enabled_flag [A.3.5]"},
};
const ChecksRow PPS_RANGE_444_ROWS[] = {
    {"pps_range_extension.log2_max_transform_skip_block_size_minus2=1 pps_range_extension.chroma_qp_offset_list_enabled_flag=1", ""},
};

// A.3.6: wavefronts below 16 bits
const ChecksRow PPS_THROUGHPUT_ROWS[] = {
    {"", "warning entropy_coding_sync_enabled_flag [A.3.6]"},
    {"entropy_coding_sync_enabled_flag=1", ""},
};

const ChecksRow PPS_SCC_ROWS[] = {
    {"pps_scc_extension.pps_curr_pic_ref_enabled_flag=1", "error pps_scc_extension.pps_curr_pic_ref_enabled_flag [A.3.5]"},
    {"pps_scc_extension.residual_adaptive_colour_transform_enabled_flag=1", "error pps_scc_extension.residual_adaptive_colour_transform_enabled_flag [A.3.5]"},
};
// clang-format on

TEST(ProfileChecks, HoldThePps)
{
    const SequenceParameterSet sps =
        with(legalSps(), MAIN_10 "pic_width_in_luma_samples=1024 pic_height_in_luma_samples=512");
    expectPpsRows(legalPps(), PPS_ROWS, &sps);
}

TEST(ProfileChecks, CountTileRowsInSamples)
{
    const SequenceParameterSet sps =
        with(legalSps(),
             MAIN_10 "pic_width_in_luma_samples=1024 pic_height_in_luma_samples=512 "
                     "log2_diff_max_min_luma_coding_block_size=1 log2_diff_max_min_luma_transform_block_size=2");
    expectPpsRows(legalPps(), PPS_SMALL_CTB_ROWS, &sps);
}

TEST(ProfileChecks, CountTheOnlyTileColumn)
{
    const SequenceParameterSet sps =
        with(legalSps(), MAIN_10 "pic_width_in_luma_samples=192 pic_height_in_luma_samples=256");
    expectPpsRows(legalPps(), PPS_NARROW_ROWS, &sps);
}

// Table A.2: lists of chroma QP offsets from 4:2:2, larger transform skip from 4:4:4
TEST(ProfileChecks, HoldTheRangeToolsOfAPps)
{
    const PictureParameterSet pps =
        with(legalPps(), "pps_extension_present_flag=1 pps_range_extension_flag=1 transform_skip_enabled_flag=1");
    const SequenceParameterSet sps422 = with(legalSps(), MAIN_422_10 "chroma_format_idc=2");
    expectPpsRows(pps, PPS_RANGE_ROWS, &sps422);
    const SequenceParameterSet sps420 = with(legalSps(), MAIN_422_10 PTL "general_max_420chroma_constraint_flag=1");
    expectPpsRows(pps, PPS_RANGE_420_ROWS, &sps420);
    const SequenceParameterSet sps444 = with(legalSps(), MAIN_422_10 PTL "general_max_422chroma_constraint_flag=0");
    expectPpsRows(pps, PPS_RANGE_444_ROWS, &sps444);
}

TEST(ProfileChecks, AdviseWavefrontsInHighThroughput)
{
    const SequenceParameterSet sps14 = with(legalSps(), THROUGHPUT_14);
    expectPpsRows(legalPps(), PPS_THROUGHPUT_ROWS, &sps14);
    const ChecksRow aFree[] = {{"", ""}};
    const SequenceParameterSet sps16 = with(legalSps(), THROUGHPUT);
    expectPpsRows(legalPps(), aFree, &sps16);
}

TEST(ProfileChecks, HoldTheScreenToolsOfAPps)
{
    const SequenceParameterSet sps = with(legalSps(),
                                          "chroma_format_idc=3 sps_extension_present_flag=1 sps_scc_extension_flag=1 "
                                          "sps_scc_extension.sps_curr_pic_ref_enabled_flag=1");
    expectPpsRows(with(legalPps(), "pps_extension_present_flag=1 pps_scc_extension_flag=1"), PPS_SCC_ROWS, &sps);
}

} // namespace
} // namespace profile_checks_test

#undef PTL
#undef OTHER
#undef MAIN_10
#undef REXT
#undef SCC
#undef MAIN_422_10
#undef THROUGHPUT
#undef THROUGHPUT_14
