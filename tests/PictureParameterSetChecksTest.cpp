// 7.4.3.3.1: what a PPS must be, alone and with its SPS.

#include "ChecksTable.h"

namespace picture_parameter_set_checks_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

// clang-format off
const ChecksRow ALONE[] = {
    {"", ""},
    {"pps_pic_parameter_set_id=63 pps_seq_parameter_set_id=15", ""},
    {"pps_pic_parameter_set_id=64", "error pps_pic_parameter_set_id [7.4.3.3.1]"},
    {"pps_seq_parameter_set_id=16", "error pps_seq_parameter_set_id [7.4.3.3.1]"},
    {"num_extra_slice_header_bits=2", ""},
    {"num_extra_slice_header_bits=3", "error num_extra_slice_header_bits [7.4.3.3.1]"},
    {"num_ref_idx_l0_default_active_minus1=14 num_ref_idx_l1_default_active_minus1=14", ""},
    {"num_ref_idx_l0_default_active_minus1=15", "error num_ref_idx_l0_default_active_minus1 [7.4.3.3.1]"},
    {"num_ref_idx_l1_default_active_minus1=15", "error num_ref_idx_l1_default_active_minus1 [7.4.3.3.1]"},
    {"init_qp_minus26=25", ""},
    {"init_qp_minus26=26", "error init_qp_minus26 [7.4.3.3.1]"},
    {"pps_cb_qp_offset=12 pps_cr_qp_offset=-12", ""},
    {"pps_cb_qp_offset=13", "error pps_cb_qp_offset [7.4.3.3.1]"},
    {"pps_cb_qp_offset=-13", "error pps_cb_qp_offset [7.4.3.3.1]"},
    {"pps_cr_qp_offset=13", "error pps_cr_qp_offset [7.4.3.3.1]"},
    {"pps_cr_qp_offset=-13", "error pps_cr_qp_offset [7.4.3.3.1]"},
    {"tiles_enabled_flag=1", "error num_tile_columns_minus1 [7.4.3.3.1]"},
    {"tiles_enabled_flag=1 num_tile_rows_minus1=1", ""},
    {"deblocking_filter_control_present_flag=1 pps_beta_offset_div2=6 pps_tc_offset_div2=-6", ""},
    {"deblocking_filter_control_present_flag=1 pps_beta_offset_div2=7", "error pps_beta_offset_div2 [7.4.3.3.1]"},
    {"deblocking_filter_control_present_flag=1 pps_beta_offset_div2=-7", "error pps_beta_offset_div2 [7.4.3.3.1]"},
    {"deblocking_filter_control_present_flag=1 pps_tc_offset_div2=7", "error pps_tc_offset_div2 [7.4.3.3.1]"},
    {"deblocking_filter_control_present_flag=1 pps_tc_offset_div2=-7", "error pps_tc_offset_div2 [7.4.3.3.1]"},
    {"pps_extension_present_flag=1 pps_extension_4bits=8", "error pps_extension_4bits [7.4.3.3.1]"},
};

// An SPS of 8 and 10 bits, 7x4 CTBs of 64
const ChecksRow WITH_SPS[] = {
    {"", ""},
    {"init_qp_minus26=-26", ""},
    {"init_qp_minus26=-27", "error init_qp_minus26 [7.4.3.3.1]"},
    {"cu_qp_delta_enabled_flag=1 diff_cu_qp_delta_depth=3", ""},
    {"cu_qp_delta_enabled_flag=1 diff_cu_qp_delta_depth=4", "error diff_cu_qp_delta_depth [7.4.3.3.1]"},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=6 num_tile_rows_minus1=3", ""},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=7", "error num_tile_columns_minus1 [7.4.3.3.1]"},
    {"tiles_enabled_flag=1 num_tile_rows_minus1=4", "error num_tile_rows_minus1 [7.4.3.3.1]"},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=2 uniform_spacing_flag=0 column_width_minus1[0]=2 column_width_minus1[1]=2", ""},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=2 uniform_spacing_flag=0 column_width_minus1[0]=2 column_width_minus1[1]=3", "error column_width_minus1[1] [7.4.3.3.1]"},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=2 uniform_spacing_flag=0 column_width_minus1[0]=4294967294 column_width_minus1[1]=0", "error column_width_minus1[1] [7.4.3.3.1]"},
    {"tiles_enabled_flag=1 num_tile_rows_minus1=1 uniform_spacing_flag=0 row_height_minus1[0]=2", ""},
    {"tiles_enabled_flag=1 num_tile_rows_minus1=1 uniform_spacing_flag=0 row_height_minus1[0]=3", "error row_height_minus1[0] [7.4.3.3.1]"},
    {"pps_scaling_list_data_present_flag=1", "error pps_scaling_list_data_present_flag [7.4.3.3.1]"},
    {"log2_parallel_merge_level_minus2=4", ""},
    {"log2_parallel_merge_level_minus2=5", "error log2_parallel_merge_level_minus2 [7.4.3.3.1]"},
};

// 384x256 in CTBs of 64, a third of it at most in a segment
const ChecksRow SEGMENTS[] = {
    {"", ""}, // it is the slices'
    {"tiles_enabled_flag=1 num_tile_columns_minus1=2", ""},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=1", "error num_tile_columns_minus1 [E.3.1]"},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=2 uniform_spacing_flag=0 column_width_minus1[0]=2 column_width_minus1[1]=0", "error num_tile_columns_minus1 [E.3.1]"},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=1 num_tile_rows_minus1=1", ""},
    {"entropy_coding_sync_enabled_flag=1", "error entropy_coding_sync_enabled_flag [E.3.1]"},
    {"tiles_enabled_flag=1 num_tile_columns_minus1=2 entropy_coding_sync_enabled_flag=1", "error entropy_coding_sync_enabled_flag [E.3.1]"},
};
// A larger picture, 1792x1024: (2048 + 1792) * 64 samples are less than an eighth.
const ChecksRow LARGE_SEGMENTS[] = {
    {"entropy_coding_sync_enabled_flag=1", ""},
};

// What counts for init_qp is the depth of luma.
const ChecksRow LUMA_10[] = {
    {"init_qp_minus26=-38", ""},
    {"init_qp_minus26=-39", "error init_qp_minus26 [7.4.3.3.1]"},
};
// clang-format on

// Tiles of any size: profiles that ask for more are not claimed.
SequenceParameterSet freeSps(const char* pChanges)
{
    return with(legalSps(),
                std::string("profile_tier_level.general_profile_space=1 profile_tier_level.general_level_idc=255 ") +
                    pChanges);
}

TEST(PictureParameterSetChecks, HoldEachConstraintOfAPpsAlone)
{
    expectPpsRows(legalPps(), ALONE, nullptr);
}

TEST(PictureParameterSetChecks, HoldEachConstraintWithTheSps)
{
    const SequenceParameterSet sps = freeSps("bit_depth_chroma_minus8=2");
    expectPpsRows(legalPps(), WITH_SPS, &sps);
}

// E.3.1
TEST(PictureParameterSetChecks, HoldWhatTheVuiPromisesOfSegments)
{
    const std::string vui = "vui_parameters_present_flag=1 vui_parameters.bitstream_restriction_flag=1 "
                            "vui_parameters.min_spatial_segmentation_idc=";
    const SequenceParameterSet sps =
        freeSps(("pic_width_in_luma_samples=384 pic_height_in_luma_samples=256 " + vui + "8").c_str());
    expectPpsRows(legalPps(), SEGMENTS, &sps);
    // 7.46 times 245760 are 1792x1024: 25 quarters hold, 26 do not.
    const SequenceParameterSet large =
        freeSps(("pic_width_in_luma_samples=1792 pic_height_in_luma_samples=1024 " + vui + "25").c_str());
    expectPpsRows(legalPps(), LARGE_SEGMENTS, &large);
    const ChecksRow aTooMany[] = {
        {"entropy_coding_sync_enabled_flag=1", "error entropy_coding_sync_enabled_flag [E.3.1]"}};
    const SequenceParameterSet more =
        freeSps(("pic_width_in_luma_samples=1792 pic_height_in_luma_samples=1024 " + vui + "26").c_str());
    expectPpsRows(legalPps(), aTooMany, &more);
}

TEST(PictureParameterSetChecks, TakeTheLumaDepthForTheInitialQp)
{
    const SequenceParameterSet sps = freeSps("bit_depth_luma_minus8=2");
    expectPpsRows(legalPps(), LUMA_10, &sps);
}

// F.7.4.3.2.1: in layers the depth is that of the VPS's representation format.
TEST(PictureParameterSetChecks, TakeTheDepthOfTheRepresentationFormat)
{
    VideoParameterSet vps;
    vps.vps_extension_flag = true;
    RepFormat format;
    format.pic_width_vps_in_luma_samples = 416;
    format.pic_height_vps_in_luma_samples = 240;
    format.chroma_format_vps_idc = 1;
    vps.vps_extension->rep_format = {RepFormat{}, format};
    vps.vps_extension->vps_num_rep_formats_minus1 = 1;
    vps.vps_extension->rep_format[1].bit_depth_vps_luma_minus8 = 2;
    vps.vps_extension->vps_rep_format_idx[1] = 1;
    vps.layers->LayerIdxInVps[1] = 1;
    Context context;
    context.apVps[0] = &vps;
    SequenceParameterSet sps = freeSps("");
    sps.nal_unit_header.nuh_layer_id = 1;
    applyChanges(sps, "sps_ext_or_max_sub_layers_minus1=7", context);
    EXPECT_EQ(sps.bit_depth_luma_minus8, 2U);
    expectPpsRows(legalPps(), LUMA_10, &sps);

    // Without the VPS nobody knows.
    std::vector<unsigned char> bytes;
    ASSERT_FALSE(write(sps, bytes, context));
    SequenceParameterSet lonely;
    ASSERT_TRUE(read(lonely, CNalUnit(bytes)));
    const ChecksRow aUnknown[] = {{"init_qp_minus26=-39", ""}};
    expectPpsRows(legalPps(), aUnknown, &lonely);
}

} // namespace
} // namespace picture_parameter_set_checks_test
