// E.3.2 and E.3.3: hypothetical reference decoders; and what levels allow them (A.4).

#include "ChecksTable.h"

namespace hrd_checks_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

#define HRD "vui_parameters.hrd_parameters."
#define TIMING                                                                                                         \
    "vui_parameters_present_flag=1 vui_parameters.vui_timing_info_present_flag=1 "                                     \
    "vui_parameters.vui_num_units_in_tick=1 vui_parameters.vui_time_scale=25 "                                         \
    "vui_parameters.vui_hrd_parameters_present_flag=1 "
#define NAL HRD "nal_hrd[0]."
#define VCL HRD "vcl_hrd[0]."

// Two CPBs for NAL and for VCL, sub-picture values too, all in order.
const char LEGAL[] = TIMING HRD
    "nal_hrd_parameters_present_flag=1 " HRD "vcl_hrd_parameters_present_flag=1 " HRD
    "sub_pic_hrd_params_present_flag=1 " HRD "cpb_cnt_minus1[0]=1 " NAL "bit_rate_value_minus1[0]=9 " NAL
    "bit_rate_value_minus1[1]=10 " NAL "cpb_size_value_minus1[0]=9 " NAL "cpb_size_value_minus1[1]=9 " NAL
    "bit_rate_du_value_minus1[0]=9 " NAL "bit_rate_du_value_minus1[1]=10 " NAL "cpb_size_du_value_minus1[0]=9 " NAL
    "cpb_size_du_value_minus1[1]=9 " VCL "bit_rate_value_minus1[0]=9 " VCL "bit_rate_value_minus1[1]=10 " VCL
    "cpb_size_value_minus1[0]=9 " VCL "cpb_size_value_minus1[1]=9 " VCL "bit_rate_du_value_minus1[0]=9 " VCL
    "bit_rate_du_value_minus1[1]=10 " VCL "cpb_size_du_value_minus1[0]=9 " VCL "cpb_size_du_value_minus1[1]=9 ";

// clang-format off
const ChecksRow ROWS[] = {
    {"", ""},
    {HRD"fixed_pic_rate_general_flag[0]=1 " HRD"elemental_duration_in_tc_minus1[0]=2047", ""},
    {HRD"fixed_pic_rate_general_flag[0]=1 " HRD"elemental_duration_in_tc_minus1[0]=2048", "error " HRD"elemental_duration_in_tc_minus1[0] [E.3.2]"},
    {"#" HRD"cpb_cnt_minus1[0]=32", "error " HRD"cpb_cnt_minus1[0] [E.3.2]"},
    {NAL"bit_rate_value_minus1[1]=9", "error " NAL"bit_rate_value_minus1[1] [E.3.3]"},
    {NAL"cpb_size_value_minus1[1]=10", "error " NAL"cpb_size_value_minus1[1] [E.3.3]"},
    {NAL"cpb_size_value_minus1[1]=8", ""},
    {NAL"bit_rate_du_value_minus1[1]=9", "error " NAL"bit_rate_du_value_minus1[1] [E.3.3]"},
    {NAL"cpb_size_du_value_minus1[1]=10", "error " NAL"cpb_size_du_value_minus1[1] [E.3.3]"},
    {VCL"bit_rate_value_minus1[1]=9", "error " VCL"bit_rate_value_minus1[1] [E.3.3]"},
    {VCL"cpb_size_value_minus1[1]=10", "error " VCL"cpb_size_value_minus1[1] [E.3.3]"},
    {VCL"bit_rate_du_value_minus1[1]=9", "error " VCL"bit_rate_du_value_minus1[1] [E.3.3]"},
    {VCL"cpb_size_du_value_minus1[1]=10", "error " VCL"cpb_size_du_value_minus1[1] [E.3.3]"},
    // VCL and NAL each for themselves
    {VCL"bit_rate_value_minus1[0]=100 " VCL"bit_rate_value_minus1[1]=101", ""},
    {HRD"sub_pic_hrd_params_present_flag=0", ""},
};
// clang-format on

TEST(HrdChecks, HoldEachConstraint)
{
    expectSpsRows(with(legalSps(), LEGAL), ROWS);
}

// Main, level 2: 1500 units of 1000 bits for VCL, 1100 for NAL, bits a second and bits.
#define MAIN                                                                                                           \
    "profile_tier_level.general_profile_idc=1 profile_tier_level.general_profile_compatibility_flag[1]=1 "             \
    "profile_tier_level.general_profile_compatibility_flag[2]=1 "                                                      \
    "profile_tier_level.general_profile_compatibility_flag[4]=0 profile_tier_level.general_level_idc=60 "

// clang-format off
const ChecksRow LEVEL_ROWS[] = {
    // 25781 * 64 = 1649984 bits a second of 1650000, 103125 * 16 = 1650000 bits
    {NAL"bit_rate_value_minus1[0]=25780 " NAL"cpb_size_value_minus1[0]=103124", ""},
    {NAL"bit_rate_value_minus1[0]=25781 " NAL"cpb_size_value_minus1[0]=103124", "error " NAL"bit_rate_value_minus1[0] [A.4.2]"},
    {NAL"bit_rate_value_minus1[0]=25780 " NAL"cpb_size_value_minus1[0]=103125", "error " NAL"cpb_size_value_minus1[0] [A.4.1]"},
    // 23437 * 64 = 1499968 of 1500000, 93750 * 16 = 1500000
    {VCL"bit_rate_value_minus1[0]=23436 " VCL"cpb_size_value_minus1[0]=93749", ""},
    {VCL"bit_rate_value_minus1[0]=23437", "error " VCL"bit_rate_value_minus1[0] [A.4.2]"},
    {VCL"cpb_size_value_minus1[0]=93750", "error " VCL"cpb_size_value_minus1[0] [A.4.1]"},
    // One CPB within the level is enough; one within each limit is legal, but of little use.
    {HRD"vcl_hrd_parameters_present_flag=0 " HRD"cpb_cnt_minus1[0]=1 " NAL"bit_rate_value_minus1[1]=900000", ""},
#define SECOND HRD"vcl_hrd_parameters_present_flag=0 " HRD"cpb_cnt_minus1[0]=1 " NAL"cpb_size_value_minus1[0]=103125 "
    {SECOND NAL"bit_rate_value_minus1[1]=25780 " NAL"cpb_size_value_minus1[1]=103124", ""},
    {SECOND NAL"bit_rate_value_minus1[1]=25780 " NAL"cpb_size_value_minus1[1]=103125", "error " NAL"cpb_size_value_minus1[1] [A.4.1]"},
    {SECOND NAL"bit_rate_value_minus1[1]=25781 " NAL"cpb_size_value_minus1[1]=103124", "warning " NAL"cpb_size_value_minus1[0] [A.4.1]"},
#undef SECOND
    {HRD"vcl_hrd_parameters_present_flag=0 " HRD"bit_rate_scale=15 " NAL"bit_rate_value_minus1[0]=4294967294", "error " NAL"bit_rate_value_minus1[0] [A.4.2]"},
};
// clang-format on

TEST(HrdChecks, HoldTheLevel)
{
    expectSpsRows(
        with(legalSps(), MAIN TIMING HRD "nal_hrd_parameters_present_flag=1 " HRD "vcl_hrd_parameters_present_flag=1"),
        LEVEL_ROWS);
}

// clang-format off
const ChecksRow SUB_LAYER_ROWS[] = {
    {"", ""},
    {"vui_parameters.hrd_parameters.nal_hrd[0].bit_rate_value_minus1[0]=25780", "error vui_parameters.hrd_parameters.nal_hrd[0].bit_rate_value_minus1[0] [A.4.2]"},
    {"vui_parameters.hrd_parameters.nal_hrd[1].bit_rate_value_minus1[0]=25780", ""},
    {"vui_parameters.hrd_parameters.nal_hrd[1].bit_rate_value_minus1[0]=25781", "error vui_parameters.hrd_parameters.nal_hrd[1].bit_rate_value_minus1[0] [A.4.2]"},
};
// clang-format on

TEST(HrdChecks, HoldTheLevelsOfSubLayers)
{
    expectSpsRows(with(legalSps(),
                       MAIN "pic_width_in_luma_samples=176 pic_height_in_luma_samples=144 "
                            "sps_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=4 "
                            "sps_max_num_reorder_pics[1]=2 profile_tier_level.sub_layer_level_present_flag[0]=1 "
                            "profile_tier_level.sub_layer_level_idc[0]=30 " TIMING HRD
                            "nal_hrd_parameters_present_flag=1"),
                  SUB_LAYER_ROWS);
}

} // namespace
} // namespace hrd_checks_test

#undef HRD
#undef TIMING
#undef NAL
#undef VCL
#undef MAIN
