// 7.4.3.1: what a VPS must be.

#include "ChecksTable.h"

namespace video_parameter_set_checks_test {

using namespace h265_test;

namespace {

#define PTL "profile_tier_level."
#define MAIN_LEVEL_2                                                                                                   \
    PTL "general_profile_idc=1 " PTL "general_profile_compatibility_flag[1]=1 " PTL                                    \
        "general_profile_compatibility_flag[2]=1 " PTL "general_profile_compatibility_flag[4]=0 " PTL                  \
        "general_level_idc=60 "

// clang-format off
const ChecksRow ROWS[] = {
    {"", ""},
    {"vps_max_layers_minus1=63", "error vps_max_layers_minus1 [7.4.3.1]"},
    {"vps_max_layers_minus1=1", "error vps_extension_flag [F.7.4.3.1]"},
    {"vps_base_layer_available_flag=0", "error vps_base_layer_available_flag [A.3.5]"},
    {"vps_base_layer_internal_flag=0", "error vps_base_layer_internal_flag [A.3.5]"},
    {"vps_base_layer_internal_flag=0 vps_base_layer_available_flag=0", "error vps_base_layer_internal_flag [A.3.5]"},
    // An external base layer has no profile and level here.
    {"vps_base_layer_internal_flag=0 " PTL"general_profile_idc=0 " PTL"general_profile_compatibility_flag[4]=0 " PTL"general_level_idc=0", ""},
    {"vps_temporal_id_nesting_flag=0", "error vps_temporal_id_nesting_flag [7.4.3.1]"},
    {"vps_sub_layer_ordering_info_present_flag=0 vps_max_sub_layers_minus1=6 vps_temporal_id_nesting_flag=0", ""},
    {"vps_sub_layer_ordering_info_present_flag=0 vps_max_sub_layers_minus1=7", "error vps_max_sub_layers_minus1 [7.4.3.1]"},
    {"vps_reserved_0xffff_16bits=65534", "error vps_reserved_0xffff_16bits [7.4.3.1]"},
    {PTL"general_level_idc=1", "error " PTL"general_level_idc [A.4.1]"},
    {"vps_max_dec_pic_buffering_minus1[0]=15", ""},
    {"vps_max_dec_pic_buffering_minus1[0]=16", "error vps_max_dec_pic_buffering_minus1[0] [7.4.3.1]"},
    {"vps_max_num_reorder_pics[0]=4 vps_max_latency_increase_plus1[0]=4294967294", ""},
    {"vps_max_num_reorder_pics[0]=5", "error vps_max_num_reorder_pics[0] [7.4.3.1]"},
    {"vps_max_sub_layers_minus1=1 vps_max_dec_pic_buffering_minus1[1]=4 vps_max_num_reorder_pics[1]=2", ""},
    {"vps_max_sub_layers_minus1=1 vps_max_dec_pic_buffering_minus1[1]=3 vps_max_num_reorder_pics[1]=2", "error vps_max_dec_pic_buffering_minus1[1] [7.4.3.1]"},
    {"vps_max_sub_layers_minus1=1 vps_max_dec_pic_buffering_minus1[1]=4 vps_max_num_reorder_pics[1]=1", "error vps_max_num_reorder_pics[1] [7.4.3.1]"},
    {"vps_max_layer_id=62", ""},
    {"vps_max_layer_id=63", "error vps_max_layer_id [7.4.3.1]"},
    // Layer set 0 is layer 0; another one has a layer, no more than there are, and other ones than each other set.
    {"vps_max_layer_id=1 vps_num_layer_sets_minus1=1 layer_id_included_flag[1][1]=1", ""},
    {"vps_max_layer_id=1 vps_num_layer_sets_minus1=1", "error layer_id_included_flag[1][0] [7.4.3.1]"},
    {"vps_max_layer_id=1 vps_num_layer_sets_minus1=1 layer_id_included_flag[1][0]=1 layer_id_included_flag[1][1]=1", "error layer_id_included_flag[1][0] [7.4.3.1]"},
    {"vps_num_layer_sets_minus1=1 layer_id_included_flag[1][0]=1", "error layer_id_included_flag[1][0] [7.4.3.1]"},
    {"vps_max_layer_id=2 vps_num_layer_sets_minus1=3 layer_id_included_flag[1][2]=1 layer_id_included_flag[2][1]=1 layer_id_included_flag[3][2]=1", "error layer_id_included_flag[3][0] [7.4.3.1]"},
    {"#vps_num_layer_sets_minus1=1024", "error vps_num_layer_sets_minus1 [7.4.3.1]"},
};

const ChecksRow TIMING_ROWS[] = {
    {"", ""},
    {"vps_num_units_in_tick=0", "error vps_num_units_in_tick [7.4.3.1]"},
    {"vps_time_scale=0", "error vps_time_scale [7.4.3.1]"},
    {"vps_poc_proportional_to_timing_flag=1 vps_num_ticks_poc_diff_one_minus1=4294967294", ""},
    {"vps_num_hrd_parameters=1", ""},
    {"vps_num_hrd_parameters=2", "error vps_num_hrd_parameters [7.4.3.1], error hrd_layer_set_idx[1] [7.4.3.1]"},
    {"vps_num_hrd_parameters=1 hrd_layer_set_idx[0]=1", "error hrd_layer_set_idx[0] [7.4.3.1]"},
    {"vps_max_layer_id=1 vps_num_layer_sets_minus1=1 layer_id_included_flag[1][1]=1 vps_num_hrd_parameters=2 hrd_layer_set_idx[1]=1", ""},
    {"vps_max_layer_id=1 vps_num_layer_sets_minus1=1 layer_id_included_flag[1][1]=1 vps_num_hrd_parameters=2 hrd_layer_set_idx[1]=0", "error hrd_layer_set_idx[1] [7.4.3.1]"},
    {"vps_base_layer_internal_flag=0 vps_num_hrd_parameters=1 hrd_layer_set_idx[0]=0", "error vps_base_layer_internal_flag [A.3.5], error hrd_layer_set_idx[0] [7.4.3.1]"},
    {"#vps_num_hrd_parameters=1025", "error vps_num_hrd_parameters [7.4.3.1]"},
    {"vps_num_hrd_parameters=1 hrd_parameters[0].fixed_pic_rate_general_flag[0]=1 hrd_parameters[0].elemental_duration_in_tc_minus1[0]=2048", "error hrd_parameters[0].elemental_duration_in_tc_minus1[0] [E.3.2]"},
    // The HRD of the base layer, against the level
    {MAIN_LEVEL_2 "vps_num_hrd_parameters=1 hrd_parameters[0].nal_hrd_parameters_present_flag=1 hrd_parameters[0].nal_hrd[0].bit_rate_value_minus1[0]=25780", ""},
    {MAIN_LEVEL_2 "vps_num_hrd_parameters=1 hrd_parameters[0].nal_hrd_parameters_present_flag=1 hrd_parameters[0].nal_hrd[0].bit_rate_value_minus1[0]=25781", "error hrd_parameters[0].nal_hrd[0].bit_rate_value_minus1[0] [A.4.2]"},
    {MAIN_LEVEL_2 PTL"general_profile_space=1 vps_num_hrd_parameters=1 hrd_parameters[0].nal_hrd_parameters_present_flag=1 hrd_parameters[0].nal_hrd[0].bit_rate_value_minus1[0]=25781", "error " PTL"general_profile_space [7.4.4]"},
    {MAIN_LEVEL_2 "vps_max_layer_id=1 vps_num_layer_sets_minus1=1 layer_id_included_flag[1][1]=1 vps_num_hrd_parameters=1 hrd_layer_set_idx[0]=1 hrd_parameters[0].nal_hrd_parameters_present_flag=1 hrd_parameters[0].nal_hrd[0].bit_rate_value_minus1[0]=25781", ""},
};
// clang-format on

TEST(VideoParameterSetChecks, HoldEachConstraint)
{
    expectVpsRows(legalVps(), ROWS);
}

TEST(VideoParameterSetChecks, HoldTimingAndHrds)
{
    expectVpsRows(with(legalVps(), "vps_timing_info_present_flag=1 vps_num_units_in_tick=1 vps_time_scale=25"),
                  TIMING_ROWS);
}

TEST(VideoParameterSetChecks, AllowAsManyLayerSetsAsThereCanBe)
{
    h265_syntax::VideoParameterSet vps = with(legalVps(), "vps_max_layers_minus1=1 vps_max_layer_id=62");
    vps.vps_num_layer_sets_minus1 = 1023;
    vps.layer_id_included_flag.resize(1024);
    unsigned uiSet = 1;
    for (unsigned i = 0; i < 62; ++i) {
        for (unsigned j = i + 1; j < 63 && uiSet < 1024; ++j, ++uiSet)
            vps.layer_id_included_flag[uiSet][i] = vps.layer_id_included_flag[uiSet][j] = true;
    }
    const ChecksRow aRows[] = {{"", "error vps_extension_flag [F.7.4.3.1]"}};
    expectVpsRows(vps, aRows);
}

TEST(VideoParameterSetChecks, ForbidAVpsInAnotherLayer)
{
    h265_syntax::VideoParameterSet vps = legalVps();
    vps.nal_unit_header.nuh_layer_id = 1;
    const ChecksRow aRows[] = {{"", "error - [7.4.2.2]"}};
    expectVpsRows(vps, aRows);
}

} // namespace
} // namespace video_parameter_set_checks_test

#undef PTL
#undef MAIN_LEVEL_2
