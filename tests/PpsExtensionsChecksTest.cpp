// 7.4.3.3.2, 7.4.3.3.3, F.7.4.3.3 and I.7.4.3.3: the extensions of a PPS.

#include "ChecksTable.h"

namespace pps_extensions_checks_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

#define REXT "pps_range_extension."
#define MULTI "pps_multilayer_extension."
#define MAP MULTI "colour_mapping_table."
#define SCC "pps_scc_extension."
#define D3 "pps_3d_extension."
#define TABLE D3 "delta_lookup_table[0]."

// clang-format off
const ChecksRow RANGE_ROWS[] = {
    {"", ""},
    {"transform_skip_enabled_flag=1 " REXT"log2_max_transform_skip_block_size_minus2=3", ""},
    {"transform_skip_enabled_flag=1 " REXT"log2_max_transform_skip_block_size_minus2=4", "error " REXT"log2_max_transform_skip_block_size_minus2 [7.4.3.3.2]"},
    {REXT"cross_component_prediction_enabled_flag=1", "error " REXT"cross_component_prediction_enabled_flag [7.4.3.3.2]"},
    {REXT"chroma_qp_offset_list_enabled_flag=1 " REXT"diff_cu_chroma_qp_offset_depth=3 " REXT"chroma_qp_offset_list_len_minus1=5 " REXT"cb_qp_offset_list[5]=12 " REXT"cr_qp_offset_list[5]=-12", ""},
    {REXT"chroma_qp_offset_list_enabled_flag=1 " REXT"diff_cu_chroma_qp_offset_depth=4", "error " REXT"diff_cu_chroma_qp_offset_depth [7.4.3.3.2]"},
    {REXT"chroma_qp_offset_list_enabled_flag=1 " REXT"cb_qp_offset_list[0]=13", "error " REXT"cb_qp_offset_list[0] [7.4.3.3.2]"},
    {REXT"chroma_qp_offset_list_enabled_flag=1 " REXT"cr_qp_offset_list[0]=-13", "error " REXT"cr_qp_offset_list[0] [7.4.3.3.2]"},
    {REXT"log2_sao_offset_scale_luma=1 " REXT"log2_sao_offset_scale_chroma=2", ""},
    {REXT"log2_sao_offset_scale_luma=2", "error " REXT"log2_sao_offset_scale_luma [7.4.3.3.2]"},
    {REXT"log2_sao_offset_scale_chroma=3", "error " REXT"log2_sao_offset_scale_chroma [7.4.3.3.2]"},
};

const ChecksRow LIST_ROWS[] = {
    {"#" REXT"chroma_qp_offset_list_len_minus1=6", "error " REXT"chroma_qp_offset_list_len_minus1 [7.4.3.3.2]"},
};

// Three planes make three pictures without chroma (7.4.3.2.1).
const ChecksRow PLANES_ROWS[] = {
    {REXT"cross_component_prediction_enabled_flag=1", "error " REXT"cross_component_prediction_enabled_flag [7.4.3.3.2]"},
    {REXT"chroma_qp_offset_list_enabled_flag=1", "error " REXT"chroma_qp_offset_list_enabled_flag [7.4.3.3.2]"},
};
const ChecksRow ONE_444_ROWS[] = {
    {REXT"cross_component_prediction_enabled_flag=1 " REXT"chroma_qp_offset_list_enabled_flag=1", ""},
};

const ChecksRow MULTI_ROWS[] = {
    {"", ""},
    {MULTI"pps_infer_scaling_list_flag=1 " MULTI"pps_scaling_list_ref_layer_id=62", ""},
    {MULTI"pps_infer_scaling_list_flag=1 " MULTI"pps_scaling_list_ref_layer_id=63", "error " MULTI"pps_scaling_list_ref_layer_id [F.7.4.3.3.4]"},
    {"pps_scaling_list_data_present_flag=1", ""},
    {"pps_scaling_list_data_present_flag=1 " MULTI"pps_infer_scaling_list_flag=1", "warning " MULTI"pps_infer_scaling_list_flag [F.7.4.3.3.4]"},
    {MULTI"ref_loc_offset_layer_id[0]=62", ""},
    {MULTI"ref_loc_offset_layer_id[0]=63", "error " MULTI"ref_loc_offset_layer_id[0] [F.7.4.3.3.4]"},
    {MULTI"scaled_ref_layer_offset_present_flag[0]=1 " MULTI"scaled_ref_layer_left_offset[3]=-16384 " MULTI"scaled_ref_layer_top_offset[3]=16383", ""},
    {MULTI"scaled_ref_layer_offset_present_flag[0]=1 " MULTI"scaled_ref_layer_left_offset[3]=-16385", "error " MULTI"scaled_ref_layer_left_offset[3] [F.7.4.3.3.4]"},
    {MULTI"scaled_ref_layer_offset_present_flag[0]=1 " MULTI"scaled_ref_layer_top_offset[3]=16384", "error " MULTI"scaled_ref_layer_top_offset[3] [F.7.4.3.3.4]"},
    {MULTI"scaled_ref_layer_offset_present_flag[0]=1 " MULTI"scaled_ref_layer_right_offset[3]=16384", "error " MULTI"scaled_ref_layer_right_offset[3] [F.7.4.3.3.4]"},
    {MULTI"scaled_ref_layer_offset_present_flag[0]=1 " MULTI"scaled_ref_layer_bottom_offset[3]=16384", "error " MULTI"scaled_ref_layer_bottom_offset[3] [F.7.4.3.3.4]"},
    {MULTI"ref_region_offset_present_flag[0]=1 " MULTI"ref_region_left_offset[3]=-16384 " MULTI"ref_region_top_offset[3]=16383", ""},
    {MULTI"ref_region_offset_present_flag[0]=1 " MULTI"ref_region_left_offset[3]=-16385", "error " MULTI"ref_region_left_offset[3] [F.7.4.3.3.4]"},
    {MULTI"ref_region_offset_present_flag[0]=1 " MULTI"ref_region_top_offset[3]=16384", "error " MULTI"ref_region_top_offset[3] [F.7.4.3.3.4]"},
    {MULTI"ref_region_offset_present_flag[0]=1 " MULTI"ref_region_right_offset[3]=16384", "error " MULTI"ref_region_right_offset[3] [F.7.4.3.3.4]"},
    {MULTI"ref_region_offset_present_flag[0]=1 " MULTI"ref_region_bottom_offset[3]=-16385", "error " MULTI"ref_region_bottom_offset[3] [F.7.4.3.3.4]"},
    {MULTI"resample_phase_set_present_flag[0]=1 " MULTI"phase_hor_luma[3]=31 " MULTI"phase_ver_luma[3]=31 " MULTI"phase_hor_chroma_plus8[3]=63 " MULTI"phase_ver_chroma_plus8[3]=63", ""},
    {MULTI"resample_phase_set_present_flag[0]=1 " MULTI"phase_hor_luma[3]=32", "error " MULTI"phase_hor_luma[3] [F.7.4.3.3.4]"},
    {MULTI"resample_phase_set_present_flag[0]=1 " MULTI"phase_ver_luma[3]=32", "error " MULTI"phase_ver_luma[3] [F.7.4.3.3.4]"},
    {MULTI"resample_phase_set_present_flag[0]=1 " MULTI"phase_hor_chroma_plus8[3]=64", "error " MULTI"phase_hor_chroma_plus8[3] [F.7.4.3.3.4]"},
    {MULTI"resample_phase_set_present_flag[0]=1 " MULTI"phase_ver_chroma_plus8[3]=64", "error " MULTI"phase_ver_chroma_plus8[3] [F.7.4.3.3.4]"},
    {"#" MULTI"num_ref_loc_offsets=63", "error " MULTI"num_ref_loc_offsets [F.7.4.3.3.4]"},
};

// With a VPS of two layers
const ChecksRow MULTI_VPS_ROWS[] = {
    {"", ""},
    {MULTI"num_ref_loc_offsets=2 " MULTI"ref_loc_offset_layer_id[1]=1", "error " MULTI"num_ref_loc_offsets [F.7.4.3.3.4]"},
};

// Of which layer 1 refers to layer 0
const ChecksRow REFERENCE_ROWS[] = {
    {MULTI"pps_infer_scaling_list_flag=1 " MULTI"pps_scaling_list_ref_layer_id=0", ""},
    {MULTI"pps_infer_scaling_list_flag=1 " MULTI"pps_scaling_list_ref_layer_id=1", "error " MULTI"pps_scaling_list_ref_layer_id [F.7.4.3.3.4]"},
};

const ChecksRow MAP_ROWS[] = {
    {"", ""},
    {MAP"cm_ref_layer_id[0]=62", ""},
    {MAP"cm_ref_layer_id[0]=63", "error " MAP"cm_ref_layer_id[0] [F.7.4.3.3.5]"},
    {"#" MAP"num_cm_ref_layers_minus1=62", "error " MAP"num_cm_ref_layers_minus1 [F.7.4.3.3.5]"},
    {MAP"cm_octant_depth=1 " MAP"cm_y_part_num_log2=2", ""},
    {MAP"cm_octant_depth=1 " MAP"cm_adapt_threshold_u_delta=32767 " MAP"cm_adapt_threshold_v_delta=-32768", ""},
    {MAP"cm_octant_depth=1 " MAP"cm_adapt_threshold_u_delta=-32769", "error " MAP"cm_adapt_threshold_u_delta [F.7.4.3.3.5]"},
    {MAP"cm_octant_depth=1 " MAP"cm_adapt_threshold_v_delta=32768", "error " MAP"cm_adapt_threshold_v_delta [F.7.4.3.3.5]"},
    {MAP"cm_octant_depth=1 " MAP"cm_adapt_threshold_u_delta=32768", "error " MAP"cm_adapt_threshold_u_delta [F.7.4.3.3.5]"},
    {MAP"cm_octant_depth=1 " MAP"cm_adapt_threshold_v_delta=-32769", "error " MAP"cm_adapt_threshold_v_delta [F.7.4.3.3.5]"},
    {MAP"cm_octant_depth=2", "error " MAP"cm_octant_depth [F.7.4.3.3.5]"},
    {MAP"cm_y_part_num_log2=3", ""},
    {MAP"cm_octant_depth=1 " MAP"cm_y_part_num_log2=3", "error " MAP"cm_y_part_num_log2 [F.7.4.3.3.5]"},
    {MAP"luma_bit_depth_cm_input_minus8=8 " MAP"luma_bit_depth_cm_output_minus8=8", ""},
    {MAP"luma_bit_depth_cm_output_minus8=9", "error " MAP"luma_bit_depth_cm_output_minus8 [F.7.4.3.3.5]"},
    {MAP"chroma_bit_depth_cm_output_minus8=9", "error " MAP"chroma_bit_depth_cm_output_minus8 [F.7.4.3.3.5]"},
    {MAP"luma_bit_depth_cm_input_minus8=9 " MAP"luma_bit_depth_cm_output_minus8=8", "error " MAP"luma_bit_depth_cm_input_minus8 [F.7.4.3.3.5]"},
    {MAP"chroma_bit_depth_cm_input_minus8=9 " MAP"chroma_bit_depth_cm_output_minus8=8", "error " MAP"chroma_bit_depth_cm_input_minus8 [F.7.4.3.3.5]"},
    {MAP"luma_bit_depth_cm_input_minus8=1", "error " MAP"luma_bit_depth_cm_output_minus8 [F.7.4.3.3.5]"},
    {MAP"chroma_bit_depth_cm_input_minus8=1", "error " MAP"chroma_bit_depth_cm_output_minus8 [F.7.4.3.3.5]"},
};

const ChecksRow DEPTH_ROWS[] = {
    {D3"dlts_present_flag=1 " D3"pps_bit_depth_for_depth_layers_minus8=8", ""},
    {D3"dlts_present_flag=1 " D3"pps_bit_depth_for_depth_layers_minus8=9", "error " D3"pps_bit_depth_for_depth_layers_minus8 [I.7.4.3.3.7]"},
};

// Distances of 2 to 4
const ChecksRow TABLE_ROWS[] = {
    {"", ""},
    {TABLE"delta_val_diff_minus_min[2]=2", ""},
    {TABLE"delta_val_diff_minus_min[2]=3", "error " TABLE"delta_val_diff_minus_min[2] [I.7.4.3.3.8]"},
    {TABLE"min_diff_minus1=3", ""},
    {TABLE"min_diff_minus1=4", "error " TABLE"min_diff_minus1 [I.7.4.3.3.8]"},
};

const ChecksRow SCC_ROWS[] = {
    {"", ""},
    {SCC"pps_curr_pic_ref_enabled_flag=1", "error " SCC"pps_curr_pic_ref_enabled_flag [7.4.3.3.3]"},
    {SCC"residual_adaptive_colour_transform_enabled_flag=1 " SCC"pps_act_y_qp_offset_plus5=17 " SCC"pps_act_cb_qp_offset_plus5=-7 " SCC"pps_act_cr_qp_offset_plus3=15", ""},
    {SCC"residual_adaptive_colour_transform_enabled_flag=1 " SCC"pps_act_y_qp_offset_plus5=18", "error " SCC"pps_act_y_qp_offset_plus5 [7.4.3.3.3]"},
    {SCC"residual_adaptive_colour_transform_enabled_flag=1 " SCC"pps_act_cb_qp_offset_plus5=-8", "error " SCC"pps_act_cb_qp_offset_plus5 [7.4.3.3.3]"},
    {SCC"residual_adaptive_colour_transform_enabled_flag=1 " SCC"pps_act_cr_qp_offset_plus3=16", "error " SCC"pps_act_cr_qp_offset_plus3 [7.4.3.3.3]"},
    {SCC"residual_adaptive_colour_transform_enabled_flag=1 " SCC"pps_act_cr_qp_offset_plus3=-10", "error " SCC"pps_act_cr_qp_offset_plus3 [7.4.3.3.3]"},
    {SCC"pps_palette_predictor_initializers_present_flag=1 " SCC"pps_num_palette_predictor_initializers=0", ""},
    {SCC"pps_palette_predictor_initializers_present_flag=1 " SCC"pps_num_palette_predictor_initializers=4", ""},
    {SCC"pps_palette_predictor_initializers_present_flag=1 " SCC"pps_num_palette_predictor_initializers=5", "error " SCC"pps_num_palette_predictor_initializers [7.4.3.3.3]"},
    {SCC"pps_palette_predictor_initializers_present_flag=1 " SCC"pps_num_palette_predictor_initializers=1 " SCC"monochrome_palette_flag=1", "error " SCC"monochrome_palette_flag [7.4.3.3.3]"},
    {SCC"pps_palette_predictor_initializers_present_flag=1 " SCC"pps_num_palette_predictor_initializers=1 " SCC"luma_bit_depth_entry_minus8=1", "error " SCC"luma_bit_depth_entry_minus8 [7.4.3.3.3]"},
    {SCC"pps_palette_predictor_initializers_present_flag=1 " SCC"pps_num_palette_predictor_initializers=1 " SCC"chroma_bit_depth_entry_minus8=1", "error " SCC"chroma_bit_depth_entry_minus8 [7.4.3.3.3]"},
};

const ChecksRow NO_444_ROWS[] = {
    {SCC"residual_adaptive_colour_transform_enabled_flag=1", "error " SCC"residual_adaptive_colour_transform_enabled_flag [7.4.3.3.3]"},
    {SCC"pps_palette_predictor_initializers_present_flag=1 " SCC"pps_num_palette_predictor_initializers=1", "error " SCC"pps_palette_predictor_initializers_present_flag [7.4.3.3.3]"},
    {SCC"pps_palette_predictor_initializers_present_flag=1 " SCC"pps_num_palette_predictor_initializers=0", "error " SCC"pps_palette_predictor_initializers_present_flag [7.4.3.3.3]"},
};
// clang-format on

SequenceParameterSet freeSps(const char* pChanges)
{
    return with(legalSps(), std::string("profile_tier_level.general_profile_space=1 ") + pChanges);
}

PictureParameterSet extended(const char* pChanges)
{
    return with(legalPps(), std::string("pps_extension_present_flag=1 ") + pChanges);
}

TEST(PpsExtensionsChecks, HoldTheRangeExtension)
{
    const SequenceParameterSet sps = freeSps("bit_depth_luma_minus8=3 bit_depth_chroma_minus8=4");
    expectPpsRows(extended("pps_range_extension_flag=1"), RANGE_ROWS, &sps);
    expectPpsRows(extended("pps_range_extension_flag=1 pps_range_extension.chroma_qp_offset_list_enabled_flag=1"),
                  LIST_ROWS,
                  &sps);
}

TEST(PpsExtensionsChecks, TakeSeparatePlanesForPicturesWithoutChroma)
{
    const SequenceParameterSet planes = freeSps("chroma_format_idc=3 separate_colour_plane_flag=1");
    expectPpsRows(extended("pps_range_extension_flag=1"), PLANES_ROWS, &planes);
    const SequenceParameterSet one = freeSps("chroma_format_idc=3");
    expectPpsRows(extended("pps_range_extension_flag=1"), ONE_444_ROWS, &one);
}

TEST(PpsExtensionsChecks, HoldTheMultilayerExtension)
{
    expectPpsRows(extended("pps_multilayer_extension_flag=1 pps_multilayer_extension.num_ref_loc_offsets=1 "
                           "pps_multilayer_extension.ref_loc_offset_layer_id[0]=3"),
                  MULTI_ROWS,
                  nullptr);
    VideoParameterSet twoLayers;
    twoLayers.vps_max_layers_minus1 = 1;
    expectPpsRows(extended("pps_multilayer_extension_flag=1 pps_multilayer_extension.num_ref_loc_offsets=1"),
                  MULTI_VPS_ROWS,
                  nullptr,
                  &twoLayers);
    twoLayers.vps_extension_flag = true;
    twoLayers.vps_extension->layer_id_in_nuh[1] = 1;
    twoLayers.layers->MaxLayersMinus1 = 1;
    twoLayers.layers->DependencyFlag[1] = 1;
    expectPpsRows(extended("pps_multilayer_extension_flag=1"), REFERENCE_ROWS, nullptr, &twoLayers);
    expectPpsRows(extended("pps_multilayer_extension_flag=1 pps_multilayer_extension.colour_mapping_enabled_flag=1"),
                  MAP_ROWS,
                  nullptr);
}

TEST(PpsExtensionsChecks, HoldThe3DExtension)
{
    expectPpsRows(extended("pps_3d_extension_flag=1"), DEPTH_ROWS, nullptr);
    PictureParameterSet pps = extended("pps_3d_extension_flag=1 pps_3d_extension.dlts_present_flag=1");
    pps.pps_3d_extension->dlt_flag[0] = true;
    DeltaLookupTable& table = pps.pps_3d_extension->delta_lookup_table[0];
    table.num_val_delta_dlt = 3;
    table.max_diff = 4;
    table.min_diff_minus1 = 1;
    table.delta_val_diff_minus_min = {0, 0, 0};
    expectPpsRows(pps, TABLE_ROWS, nullptr);
}

TEST(PpsExtensionsChecks, HoldTheScreenContentExtension)
{
    const SequenceParameterSet sps =
        freeSps("chroma_format_idc=3 sps_extension_present_flag=1 sps_scc_extension_flag=1 "
                "sps_scc_extension.palette_mode_enabled_flag=1 sps_scc_extension.palette_max_size=3 "
                "sps_scc_extension.delta_palette_max_predictor_size=1");
    expectPpsRows(extended("pps_scc_extension_flag=1"), SCC_ROWS, &sps);
    const SequenceParameterSet plain = freeSps("");
    expectPpsRows(extended("pps_scc_extension_flag=1"), NO_444_ROWS, &plain);
}

} // namespace
} // namespace pps_extensions_checks_test

#undef REXT
#undef MULTI
#undef MAP
#undef SCC
#undef D3
#undef TABLE
