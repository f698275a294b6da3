// F.7.4.3.1 and I.7.4.3.1: the layers of a VPS. The legal ones are those of encoders, with a level.

#include "ChecksTable.h"
#include "SyntaxCorpus.h"

namespace vps_extension_checks_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

#define X "vps_extension."
#define DPB X "dpb_size."
#define VUI X "vps_vui."
#define BSP VUI "vps_vui_bsp_hrd_params."

VideoParameterSet layeredVps(const std::string& name, const std::string& changes = "")
{
    const SyntaxStream stream = syntaxStream(name);
    VideoParameterSet vps;
    EXPECT_TRUE(read(vps, CNalUnit(stream.nalUnit(stream.sets.at(0)))));
    return with(vps,
                "profile_tier_level.general_level_idc=93 vps_extension.profile_tier_level[1].general_level_idc=93 "
                "vps_extension.profile_tier_level[2].general_level_idc=93 " +
                    changes);
}

// clang-format off
// Three views, layer sets of two or all of them, two additional output layer sets
const ChecksRow ROWS[] = {
    {"", ""},
    {X"scalability_mask_flag[15]=1", "error " X"scalability_mask_flag[15] [F.7.4.3.1.1]"},
    {X"scalability_mask_flag[4]=1", "error " X"scalability_mask_flag[4] [F.7.4.3.1.1]"},
    {X"vps_nuh_layer_id_present_flag=1 " X"layer_id_in_nuh[1]=1 " X"layer_id_in_nuh[2]=2", ""},
    {X"vps_nuh_layer_id_present_flag=1 " X"layer_id_in_nuh[1]=1 " X"layer_id_in_nuh[2]=1", "error " X"layer_id_in_nuh[2] [F.7.4.3.1.1]"},
    {X"vps_nuh_layer_id_present_flag=1 " X"layer_id_in_nuh[1]=1 " X"layer_id_in_nuh[2]=63", "error " X"layer_id_in_nuh[2] [F.7.4.3.1.1]"},
    {X"dimension_id[2][0]=1", "warning - [F.7.4.3.1.1]"},
    {X"vps_sub_layers_max_minus1_present_flag=1 " X"sub_layers_vps_max_minus1[1]=1", "error " X"sub_layers_vps_max_minus1[1] [F.7.4.3.1.1]"},
    {X"profile_tier_level[1].general_level_idc=2", "error " X"profile_tier_level[1].general_level_idc [A.4.1]"},
    {X"profile_tier_level[2].general_level_idc=2", "error " X"profile_tier_level[2].general_level_idc [A.4.1]"},
    {X"profile_tier_level[2].general_profile_compatibility_flag[6]=0", "error " X"profile_tier_level[2].general_profile_compatibility_flag[6] [7.4.4]"},
    {X"default_output_layer_idc=2 " X"output_layer_flag[1][1]=1 " X"output_layer_flag[2][1]=1 " X"output_layer_flag[3][2]=1", ""},
    {X"default_output_layer_idc=3 " X"output_layer_flag[1][1]=1 " X"output_layer_flag[2][1]=1 " X"output_layer_flag[3][2]=1", "error " X"default_output_layer_idc [F.7.4.3.1.1]"},
    {X"output_layer_flag[4][1]=0", "warning - [F.7.4.3.1.1]"},
    {X"layer_set_idx_for_ols_minus1[4]=2", ""},
    {X"layer_set_idx_for_ols_minus1[4]=3", "error " X"layer_set_idx_for_ols_minus1[4] [F.7.4.3.1.1]"},
    {X"profile_tier_level_idx[1][1]=3", "error " X"profile_tier_level_idx[1][1] [F.7.4.3.1.1]"},
    {X"vps_num_profile_tier_level_minus1=0", "error " X"vps_num_profile_tier_level_minus1 [F.7.4.3.1.1]"},
    {"#" X"vps_num_profile_tier_level_minus1=64", "error " X"vps_num_profile_tier_level_minus1 [F.7.4.3.1.1]"},
    {"#" X"num_add_olss=1024", "error " X"num_add_olss [F.7.4.3.1.1]"},
    {"#" X"vps_num_rep_formats_minus1=256", "error " X"vps_num_rep_formats_minus1 [F.7.4.3.1.1]"},
    {X"vps_num_rep_formats_minus1=2 " X"rep_format_idx_present_flag=1 " X"rep_format[1].pic_width_vps_in_luma_samples=64 " X"rep_format[1].pic_height_vps_in_luma_samples=64 "
     X"rep_format[2].pic_width_vps_in_luma_samples=64 " X"rep_format[2].pic_height_vps_in_luma_samples=64 " X"vps_rep_format_idx[2]=2", ""},
    {X"vps_num_rep_formats_minus1=2 " X"rep_format_idx_present_flag=1 " X"rep_format[1].pic_width_vps_in_luma_samples=64 " X"rep_format[1].pic_height_vps_in_luma_samples=64 "
     X"rep_format[2].pic_width_vps_in_luma_samples=64 " X"rep_format[2].pic_height_vps_in_luma_samples=64 " X"vps_rep_format_idx[2]=3", "error " X"vps_rep_format_idx[2] [F.7.4.3.1.1]"},
    {X"rep_format[0].pic_width_vps_in_luma_samples=0 " X"rep_format[0].conformance_window_vps_flag=0", "error " X"rep_format[0].pic_width_vps_in_luma_samples [F.7.4.3.1.2]"},
    {X"rep_format[0].pic_height_vps_in_luma_samples=0 " X"rep_format[0].conformance_window_vps_flag=0", "error " X"rep_format[0].pic_height_vps_in_luma_samples [F.7.4.3.1.2]"},
    {X"rep_format[0].chroma_and_bit_depth_vps_present_flag=0", "error " X"rep_format[0].chroma_and_bit_depth_vps_present_flag [F.7.4.3.1.2]"},
    {X"rep_format[0].bit_depth_vps_luma_minus8=8 " X"rep_format[0].bit_depth_vps_chroma_minus8=8",
     "error " X"rep_format[0].bit_depth_vps_luma_minus8 [A.3.2], error " X"rep_format[0].bit_depth_vps_chroma_minus8 [A.3.2]"},
    {X"rep_format[0].bit_depth_vps_luma_minus8=9", "error " X"rep_format[0].bit_depth_vps_luma_minus8 [F.7.4.3.1.2]"},
    {X"rep_format[0].bit_depth_vps_chroma_minus8=9", "error " X"rep_format[0].bit_depth_vps_chroma_minus8 [F.7.4.3.1.2]"},
    {X"rep_format[0].conf_win_vps_right_offset=31 " X"rep_format[0].conf_win_vps_bottom_offset=31", ""},
    {X"rep_format[0].conf_win_vps_left_offset=16 " X"rep_format[0].conf_win_vps_right_offset=16", "error " X"rep_format[0].conf_win_vps_right_offset [F.7.4.3.1.2]"},
    {X"rep_format[0].conf_win_vps_bottom_offset=32", "error " X"rep_format[0].conf_win_vps_bottom_offset [F.7.4.3.1.2]"},
    {DPB"max_vps_dec_pic_buffering_minus1[1][1][0]=15", ""},
    {DPB"max_vps_dec_pic_buffering_minus1[1][1][0]=16", "error " DPB"max_vps_dec_pic_buffering_minus1[1][1][0] [F.7.4.3.1.3]"},
    {DPB"max_vps_num_reorder_pics[1][0]=4", ""},
    {DPB"max_vps_num_reorder_pics[1][0]=5", "warning " DPB"max_vps_num_reorder_pics[1][0] [F.7.4.3.1.3]"},
    {X"direct_dependency_all_layers_type=3", "error " X"direct_dependency_all_layers_type [F.7.4.3.1.1]"},
    {X"direct_dependency_all_layers_flag=0 " X"direct_dependency_type[1][0]=2", ""},
    {X"direct_dependency_all_layers_flag=0 " X"direct_dependency_type[2][0]=3", "error " X"direct_dependency_type[2][0] [F.7.4.3.1.1]"},
    {X"direct_dep_type_len_minus2=1", "error " X"direct_dep_type_len_minus2 [F.7.4.3.1.1]"},
    {"#" X"direct_dep_type_len_minus2=31", "error " X"direct_dep_type_len_minus2 [F.7.4.3.1.1], error " X"direct_dependency_all_layers_type [7.3]"},
    {X"vps_non_vui_extension_length=4096", ""},
    {"#" X"vps_non_vui_extension_length=4097", "error " X"vps_non_vui_extension_length [F.7.4.3.1.1]"},
    {"vps_extension_alignment_bit_equal_to_one=0", "error vps_extension_alignment_bit_equal_to_one [7.4.3.1]"},
    {"vps_extension2_flag=1 vps_extension3_flag=0", ""},
    {"vps_extension2_flag=1 vps_extension3_flag=1", "error vps_extension3_flag [I.7.4.3.1]"},
};

// Layer 0 has a representation format of its own, of Main; those of layers 1 and 2 are Multiview Main's.
#define OWN_FORMAT                                                                                                     \
    X "vps_num_rep_formats_minus1=1 " X "rep_format_idx_present_flag=1 " X "vps_rep_format_idx[1]=1 " X                \
      "vps_rep_format_idx[2]=1 " X "rep_format[1].pic_width_vps_in_luma_samples=64 " X                                 \
      "rep_format[1].pic_height_vps_in_luma_samples=64 " X                                                             \
      "rep_format[1].chroma_and_bit_depth_vps_present_flag=1 " X "rep_format[1].chroma_format_vps_idc=1 "
#define MULTIVIEW X"profile_tier_level[2].general_profile_compatibility_flag[6]=0 "

const ChecksRow PROFILE_ROWS[] = {
    {"", ""},
    {X"rep_format[1].chroma_format_vps_idc=2", "error " X"rep_format[1].chroma_format_vps_idc [G.11.1.1]"},
    {X"rep_format[1].chroma_format_vps_idc=0", "error " X"rep_format[1].chroma_format_vps_idc [G.11.1.1]"},
    {X"rep_format[1].bit_depth_vps_luma_minus8=1", "error " X"rep_format[1].bit_depth_vps_luma_minus8 [G.11.1.1]"},
    {X"rep_format[1].bit_depth_vps_chroma_minus8=1", "error " X"rep_format[1].bit_depth_vps_chroma_minus8 [G.11.1.1]"},
    {MULTIVIEW X"profile_tier_level[2].general_profile_idc=7 " X"profile_tier_level[2].general_profile_compatibility_flag[7]=1 "
     X"profile_tier_level[2].general_max_8bit_constraint_flag=0 " X"rep_format[1].bit_depth_vps_luma_minus8=2 " X"rep_format[1].bit_depth_vps_chroma_minus8=2", ""},
    {MULTIVIEW X"profile_tier_level[2].general_profile_idc=7 " X"profile_tier_level[2].general_profile_compatibility_flag[7]=1 "
     X"rep_format[1].bit_depth_vps_luma_minus8=2", "error " X"rep_format[1].bit_depth_vps_luma_minus8 [H.11.1.1]"},
    {MULTIVIEW X"profile_tier_level[2].general_profile_idc=8 " X"profile_tier_level[2].general_profile_compatibility_flag[8]=1 "
     X"rep_format[1].chroma_format_vps_idc=0", ""},
    {MULTIVIEW X"profile_tier_level[2].general_profile_idc=8 " X"profile_tier_level[2].general_profile_compatibility_flag[8]=1 "
     X"rep_format[1].chroma_format_vps_idc=2", "error " X"rep_format[1].chroma_format_vps_idc [I.11.1.1]"},
    {MULTIVIEW X"profile_tier_level[2].general_profile_idc=10 " X"profile_tier_level[2].general_profile_compatibility_flag[10]=1 "
     X"profile_tier_level[2].general_max_422chroma_constraint_flag=0 " X"profile_tier_level[2].general_max_420chroma_constraint_flag=0 "
     X"rep_format[1].chroma_format_vps_idc=3", ""},
    {MULTIVIEW X"profile_tier_level[2].general_profile_idc=10 " X"profile_tier_level[2].general_profile_compatibility_flag[10]=1 "
     X"rep_format[1].chroma_format_vps_idc=3", "error " X"rep_format[1].chroma_format_vps_idc [H.11.1.2]"},
    // A format that codes none is blamed where it has it from.
    {X"vps_num_rep_formats_minus1=2 " X"vps_rep_format_idx[1]=2 " X"vps_rep_format_idx[2]=2 "
     X"rep_format[2].pic_width_vps_in_luma_samples=64 " X"rep_format[2].pic_height_vps_in_luma_samples=64 "
     X"rep_format[1].chroma_format_vps_idc=2", "error " X"rep_format[1].chroma_format_vps_idc [G.11.1.1]"},
    // Level 3.1 of layers 1 and 2: 983040 samples, sides up to 2804
    {X"rep_format[1].pic_width_vps_in_luma_samples=1280 " X"rep_format[1].pic_height_vps_in_luma_samples=768", ""},
    {X"rep_format[1].pic_width_vps_in_luma_samples=1280 " X"rep_format[1].pic_height_vps_in_luma_samples=769", "error " X"rep_format[1].pic_width_vps_in_luma_samples [A.4.1]"},
    {X"rep_format[1].pic_height_vps_in_luma_samples=2804", ""},
    {X"rep_format[1].pic_height_vps_in_luma_samples=2805", "error " X"rep_format[1].pic_height_vps_in_luma_samples [A.4.1]"},
    {X"rep_format[1].pic_height_vps_in_luma_samples=2805 " X"profile_tier_level[2].general_level_idc=255", ""},
};

// An independent layer 2: the added layer sets are made of it.
const ChecksRow ADDED_ROWS[] = {
    {X"highest_layer_idx_plus1[0][1]=1", ""},
    {X"highest_layer_idx_plus1[0][1]=0", "error " X"highest_layer_idx_plus1[0][1] [F.7.4.3.1.1]"},
    {"#" X"num_add_layer_sets=1024", "error " X"num_add_layer_sets [F.7.4.3.1.1]"},
};

const ChecksRow SPLIT_ROWS[] = {
    {X"dimension_id_len_minus1[0]=4", ""},
    {X"dimension_id_len_minus1[0]=5", "error " X"dimension_id_len_minus1[0] [F.7.4.3.1.1]"},
};

const ChecksRow AUXILIARY_ROWS[] = {
    {X"dimension_id[1][1]=2", ""},
    {X"dimension_id[1][1]=3", "error " X"dimension_id[1][1] [F.7.4.3.1.1]"},
    {X"dimension_id[1][1]=127", "error " X"dimension_id[1][1] [F.7.4.3.1.1]"},
    {X"dimension_id[1][1]=128", ""},
    {X"dimension_id[1][1]=159", ""},
    {X"dimension_id[1][1]=160", "error " X"dimension_id[1][1] [F.7.4.3.1.1]"},
};

const ChecksRow SUB_LAYER_DPB_ROWS[] = {
    {"", ""},
    // 7.4.4: entry 1 has no profile
    {X"profile_tier_level[1].sub_layer_profile_present_flag[0]=1 " X"profile_tier_level[1].sub_layer_profile_idc[0]=1 " X"profile_tier_level[1].sub_layer_profile_compatibility_flag[0][1]=1", "error " X"profile_tier_level[1].sub_layer_profile_present_flag[0] [7.4.4]"},
    {DPB"max_vps_dec_pic_buffering_minus1[1][1][1]=3", "error " DPB"max_vps_dec_pic_buffering_minus1[1][1][1] [F.7.4.3.1.3]"},
    {DPB"max_vps_num_reorder_pics[1][1]=2", "error " DPB"max_vps_num_reorder_pics[1][1] [F.7.4.3.1.3]"},
};

const ChecksRow ROWS_3D[] = {
    {"", ""},
    {"vps_3d_extension.cp_precision=6", "error vps_3d_extension.cp_precision [I.7.4.3.1.7]"},
    {"vps_3d_extension.num_cp[1]=2 vps_3d_extension.cp_ref_voi[1][1]=1", ""},
    {"vps_3d_extension.num_cp[1]=2 vps_3d_extension.cp_in_slice_segment_header_flag[1]=1 vps_3d_extension.cp_ref_voi[1][1]=0", "error vps_3d_extension.cp_ref_voi[1][1] [I.7.4.3.1.7]"},
    {X"direct_dependency_type[1][0]=7", "error " X"direct_dependency_type[1][0] [F.7.4.3.1.1]"},
};

// F.7.4.3.1.4
const ChecksRow VUI_ROWS[] = {
    {"", "warning " VUI"avg_bit_rate[2][0] [F.7.4.3.1.4]"},
    {VUI"avg_bit_rate[2][0]=65000", ""},
    {VUI"avg_bit_rate[2][0]=1 " VUI"max_bit_rate[2][0]=0", "warning " VUI"avg_bit_rate[2][0] [F.7.4.3.1.4]"},
    // 16383 * 10^2 is less than 1638 * 10^4
    {VUI"avg_bit_rate[2][0]=16383 " VUI"max_bit_rate[2][0]=34406", ""},
    {VUI"avg_bit_rate[2][0]=0 " VUI"constant_pic_rate_idc[1][0]=3", "error " VUI"constant_pic_rate_idc[1][0] [F.7.4.3.1.4]"},
    {VUI"avg_bit_rate[2][0]=0 " VUI"video_signal_info[0].video_vps_format=6", "error " VUI"video_signal_info[0].video_vps_format [F.7.4.3.1.5]"},
    {VUI"avg_bit_rate[2][0]=0 " VUI"video_signal_info[0].colour_primaries_vps=3", "error " VUI"video_signal_info[0].colour_primaries_vps [F.7.4.3.1.5]"},
    {VUI"avg_bit_rate[2][0]=0 " VUI"video_signal_info[0].transfer_characteristics_vps=0", "error " VUI"video_signal_info[0].transfer_characteristics_vps [F.7.4.3.1.5]"},
    {VUI"avg_bit_rate[2][0]=0 " VUI"video_signal_info[0].matrix_coeffs_vps=15", "error " VUI"video_signal_info[0].matrix_coeffs_vps [F.7.4.3.1.5]"},
    {VUI"avg_bit_rate[2][0]=0 " VUI"vps_num_video_signal_info_minus1=1 " VUI"vps_video_signal_info_idx[2]=1 "
     VUI"video_signal_info[1].colour_primaries_vps=1 " VUI"video_signal_info[1].transfer_characteristics_vps=1", ""},
    {VUI"avg_bit_rate[2][0]=0 " VUI"vps_num_video_signal_info_minus1=1 " VUI"vps_video_signal_info_idx[2]=2 "
     VUI"video_signal_info[1].colour_primaries_vps=1 " VUI"video_signal_info[1].transfer_characteristics_vps=1", "error " VUI"vps_video_signal_info_idx[2] [F.7.4.3.1.4]"},
    {VUI"avg_bit_rate[2][0]=0 " VUI"single_layer_for_non_irap_flag=1 " VUI"higher_layer_irap_skip_flag=1", ""},
    {VUI"avg_bit_rate[2][0]=0 " VUI"single_layer_for_non_irap_flag=0 " VUI"higher_layer_irap_skip_flag=1", "error " VUI"higher_layer_irap_skip_flag [F.7.4.3.1.4]"},
    {VUI"avg_bit_rate[2][0]=0 " X"vps_vui_alignment_bit_equal_to_one=0", "error " X"vps_vui_alignment_bit_equal_to_one [F.7.4.3.1.1]"},
};

// F.7.4.3.1: a layer that no NAL unit may be of.
const ChecksRow MAX_LAYER_ROWS[] = {
    {"vps_max_layer_id=2 vps_num_layer_sets_minus1=0", ""},
    {"vps_max_layer_id=1 vps_num_layer_sets_minus1=0", "warning vps_max_layer_id [F.7.4.3.1]"},
};

// F.7.4.3.1.6: three more HRDs; the scheme of output layer set 1 has two partitions.
const ChecksRow BSP_ROWS[] = {
    {"", ""},
    {BSP"num_sub_layer_hrd_minus1[1]=1", "error " BSP"num_sub_layer_hrd_minus1[1] [F.7.4.3.1.6]"},
    {BSP"hrd_parameters[1].fixed_pic_rate_general_flag[0]=1 " BSP"hrd_parameters[1].elemental_duration_in_tc_minus1[0]=2048", "error " BSP"hrd_parameters[1].elemental_duration_in_tc_minus1[0] [E.3.2]"},
    {BSP"layer_included_in_partition_flag[1][1][1][0]=1", "error " BSP"layer_included_in_partition_flag[1][1][1][0] [F.7.4.3.1.6]"},
    {BSP"layer_included_in_partition_flag[1][1][0][0]=0", "error " BSP"layer_included_in_partition_flag[1][1][0][0] [F.7.4.3.1.6]"},
    // Output layer set 1 has two layers.
    {BSP"num_partitions_in_scheme_minus1[1][1]=2 " BSP"layer_included_in_partition_flag[1][1][2][0]=1", "error " BSP"num_partitions_in_scheme_minus1[1][1] [F.7.4.3.1.6], error " BSP"layer_included_in_partition_flag[1][1][2][0] [F.7.4.3.1.6]"},
    {BSP"bsp_hrd_idx[1][0][0][0][0]=2", ""},
    {BSP"bsp_hrd_idx[1][0][0][0][0]=3", "error " BSP"bsp_hrd_idx[1][0][0][0][0] [F.7.4.3.1.6]"},
    {BSP"bsp_sched_idx[1][1][0][0][1]=1", "error " BSP"bsp_sched_idx[1][1][0][0][1] [F.7.4.3.1.6]"},
    {BSP"hrd_parameters[0].cpb_cnt_minus1[0]=1 " BSP"bsp_sched_idx[1][1][0][0][1]=1", ""},
    {"#" BSP"vps_num_add_hrd_params=1025", "error " BSP"vps_num_add_hrd_params [F.7.4.3.1.6]"},
};
// clang-format on

TEST(VpsExtensionChecks, HoldLayersAndOutputLayerSets)
{
    expectVpsRows(layeredVps("mv_3view_ols"), ROWS);
}

// F.7.4.3.1.1, G.11, H.11, I.11
TEST(VpsExtensionChecks, HoldTheProfilesAndLevelsOfLayers)
{
    expectVpsRows(layeredVps("mv_3view_ols", OWN_FORMAT), PROFILE_ROWS);
}

TEST(VpsExtensionChecks, HoldAddedLayerSets)
{
    expectVpsRows(layeredVps("mv_3view_ols",
                             X "direct_dependency_flag[2][0]=0 " X "num_add_layer_sets=1 " X
                               "highest_layer_idx_plus1[0][1]=1 " X "output_layer_flag[4][0]=1 " X
                               "output_layer_flag[5][1]=1 " X "output_layer_flag[6][1]=1"),
                  ADDED_ROWS);
}

TEST(VpsExtensionChecks, HoldTheBitsOfSplitLayerIds)
{
    expectVpsRows(layeredVps("mv_3view_ols", X "scalability_mask_flag[2]=1 " X "splitting_flag=1"), SPLIT_ROWS);
}

TEST(VpsExtensionChecks, HoldAuxiliaryLayers)
{
    expectVpsRows(layeredVps("mv_3view_ols", X "scalability_mask_flag[3]=1 " X "dimension_id_len_minus1[1]=7"),
                  AUXILIARY_ROWS);
}

TEST(VpsExtensionChecks, HoldThePictureBuffersOfSubLayers)
{
    expectVpsRows(layeredVps("mv_3view_ols",
                             "vps_max_sub_layers_minus1=1 vps_sub_layer_ordering_info_present_flag=0 " DPB
                             "sub_layer_flag_info_present_flag[1]=1 " DPB "sub_layer_dpb_info_present_flag[1][1]=1 " DPB
                             "max_vps_dec_pic_buffering_minus1[1][0][1]=4 " DPB
                             "max_vps_dec_pic_buffering_minus1[1][1][1]=4 " DPB "max_vps_num_reorder_pics[1][1]=3"),
                  SUB_LAYER_DPB_ROWS);
}

TEST(VpsExtensionChecks, HoldTheHighestLayer)
{
    expectVpsRows(layeredVps("mv_3view_ols"), MAX_LAYER_ROWS);
}

TEST(VpsExtensionChecks, HoldThe3DExtension)
{
    expectVpsRows(layeredVps("d3_2view_depth"), ROWS_3D);
}

TEST(VpsExtensionChecks, HoldTheVui)
{
    expectVpsRows(layeredVps("mv_3view_vui"), VUI_ROWS);
}

TEST(VpsExtensionChecks, HoldBitstreamPartitions)
{
    expectVpsRows(
        layeredVps("mv_3view_ols",
                   X "vps_vui_present_flag=1 " VUI "video_signal_info_idx_present_flag=1 " VUI
                     "vps_num_video_signal_info_minus1=0 " VUI "video_signal_info[0].colour_primaries_vps=1 " VUI
                     "video_signal_info[0].transfer_characteristics_vps=1 " VUI "vps_vui_bsp_hrd_present_flag=1 " BSP
                     "vps_num_add_hrd_params=3 " BSP "num_signalled_partitioning_schemes[1]=1 " BSP
                     "num_partitions_in_scheme_minus1[1][1]=1 " BSP
                     "layer_included_in_partition_flag[1][1][0][0]=1 " BSP
                     "layer_included_in_partition_flag[1][1][1][1]=1"),
        BSP_ROWS);
}

} // namespace
} // namespace vps_extension_checks_test

#undef X
#undef DPB
#undef VUI
#undef BSP
#undef OWN_FORMAT
#undef MULTIVIEW
