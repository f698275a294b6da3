// 7.4.3.1: what a VPS must be.

#include "ChecksTable.h"

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
    {"vps_num_layer_sets_minus1=1023", ""},
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
    {"vps_num_layer_sets_minus1=1 vps_num_hrd_parameters=2 hrd_layer_set_idx[1]=1", ""},
    {"vps_num_layer_sets_minus1=1 vps_num_hrd_parameters=2 hrd_layer_set_idx[1]=0", "error hrd_layer_set_idx[1] [7.4.3.1]"},
    {"vps_base_layer_internal_flag=0 vps_num_hrd_parameters=1 hrd_layer_set_idx[0]=0", "error vps_base_layer_internal_flag [A.3.5], error hrd_layer_set_idx[0] [7.4.3.1]"},
    {"#vps_num_hrd_parameters=1025", "error vps_num_hrd_parameters [7.4.3.1]"},
    {"vps_num_hrd_parameters=1 hrd_parameters[0].fixed_pic_rate_general_flag[0]=1 hrd_parameters[0].elemental_duration_in_tc_minus1[0]=2048", "error hrd_parameters[0].elemental_duration_in_tc_minus1[0] [E.3.2]"},
    // The HRD of the base layer, against the level
    {MAIN_LEVEL_2 "vps_num_hrd_parameters=1 hrd_parameters[0].nal_hrd_parameters_present_flag=1 hrd_parameters[0].nal_hrd[0].bit_rate_value_minus1[0]=25780", ""},
    {MAIN_LEVEL_2 "vps_num_hrd_parameters=1 hrd_parameters[0].nal_hrd_parameters_present_flag=1 hrd_parameters[0].nal_hrd[0].bit_rate_value_minus1[0]=25781", "error hrd_parameters[0].nal_hrd[0].bit_rate_value_minus1[0] [A.4.1]"},
    {MAIN_LEVEL_2 "vps_num_layer_sets_minus1=1 vps_num_hrd_parameters=1 hrd_layer_set_idx[0]=1 hrd_parameters[0].nal_hrd_parameters_present_flag=1 hrd_parameters[0].nal_hrd[0].bit_rate_value_minus1[0]=25781", ""},
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

TEST(VideoParameterSetChecks, WarnOfAVpsInAnotherLayer)
{
    h265_syntax::VideoParameterSet vps = legalVps();
    vps.nal_unit_header.nuh_layer_id = 1;
    const ChecksRow aRows[] = {{"", "warning - [7.4.2.2]"}};
    expectVpsRows(vps, aRows);
}

} // namespace
