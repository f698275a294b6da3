// 7.4.4: profile, tier and level by themselves.

#include "ChecksTable.h"
#include "Levels.h"
#include "Profiles.h"

namespace profile_tier_level_checks_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

#define PTL "profile_tier_level."

// Main 10: all constraint flags but one are reserved bits.
#define MAIN_10                                                                                                        \
    PTL "general_profile_idc=2 " PTL "general_profile_compatibility_flag[2]=1 " PTL                                    \
        "general_profile_compatibility_flag[4]=0 "
#define MAIN                                                                                                           \
    PTL "general_profile_idc=1 " PTL "general_profile_compatibility_flag[1]=1 " PTL                                    \
        "general_profile_compatibility_flag[2]=1 " PTL "general_profile_compatibility_flag[4]=0 "
#define STILL                                                                                                          \
    PTL "general_profile_idc=3 " PTL "general_profile_compatibility_flag[3]=1 " PTL                                    \
        "general_profile_compatibility_flag[4]=0 sps_max_dec_pic_buffering_minus1[0]=0 sps_max_num_reorder_pics[0]=0 "

// clang-format off
const ChecksRow ROWS[] = {
    {PTL"general_profile_space=1", "error " PTL"general_profile_space [7.4.4]"},
    {PTL"general_profile_idc=0", "error " PTL"general_profile_idc [7.4.4]"},
    {PTL"general_profile_idc=12", "error " PTL"general_profile_idc [7.4.4]"},
    {PTL"general_profile_idc=31 " PTL"general_profile_compatibility_flag[31]=1", "error " PTL"general_profile_idc [7.4.4]"},
    {PTL"general_profile_compatibility_flag[4]=0", "error " PTL"general_profile_compatibility_flag[4] [7.4.4]"},
    {PTL"general_profile_compatibility_flag[0]=1", "error " PTL"general_profile_compatibility_flag[0] [7.4.4]"},
    {PTL"general_profile_compatibility_flag[12]=1", "error " PTL"general_profile_compatibility_flag[12] [7.4.4]"},
    {PTL"general_profile_compatibility_flag[31]=1", "error " PTL"general_profile_compatibility_flag[31] [7.4.4]"},
    {MAIN_10, ""},
    {MAIN, ""},
    {MAIN PTL"general_profile_compatibility_flag[2]=0", "warning " PTL"general_profile_compatibility_flag[2] [A.3.2]"},
    {STILL PTL"general_profile_compatibility_flag[1]=1 " PTL"general_profile_compatibility_flag[2]=1", ""},
    {STILL PTL"general_profile_compatibility_flag[2]=1", "warning " PTL"general_profile_compatibility_flag[1] [A.3.4]"},
    {PTL"general_reserved_zero_34bits=1", "error " PTL"general_reserved_zero_34bits [7.4.4]"},
    {MAIN_10 PTL"general_reserved_zero_7bits=64", "error " PTL"general_reserved_zero_7bits [7.4.4]"},
    {MAIN_10 PTL"general_reserved_zero_35bits=1", "error " PTL"general_reserved_zero_35bits [7.4.4]"},
    {MAIN PTL"general_profile_compatibility_flag[2]=0 " PTL"general_reserved_zero_43bits=1", "warning " PTL"general_profile_compatibility_flag[2] [A.3.2], error " PTL"general_reserved_zero_43bits [7.4.4]"},
    {PTL"general_profile_idc=5 " PTL"general_profile_compatibility_flag[4]=0 " PTL"general_profile_compatibility_flag[5]=1 " PTL"general_reserved_zero_33bits=1", "error " PTL"general_reserved_zero_33bits [7.4.4]"},
    {PTL"general_profile_idc=6 " PTL"general_profile_compatibility_flag[4]=0 " PTL"general_profile_compatibility_flag[6]=1", ""},
    {PTL"general_profile_idc=6 " PTL"general_profile_compatibility_flag[4]=0 " PTL"general_profile_compatibility_flag[6]=1 " PTL"general_reserved_zero_bit=1", "error " PTL"general_reserved_zero_bit [7.4.4]"},
    // Main 4:4:4 16 Intra and Still Picture are listed; 8 bits of any chroma format, with intra pictures only, are not.
    {PTL"general_one_picture_only_constraint_flag=1 sps_max_dec_pic_buffering_minus1[0]=0 sps_max_num_reorder_pics[0]=0", ""},
    {PTL"general_max_8bit_constraint_flag=1", "warning " PTL"general_profile_idc [A.3.5]"},
    // What a compatibility flag claims is told by the same flags.
    {MAIN_10 PTL"general_profile_compatibility_flag[4]=1 " PTL"general_intra_constraint_flag=1", ""},
    {MAIN_10 PTL"general_profile_compatibility_flag[4]=1 " PTL"general_intra_constraint_flag=0", "error " PTL"general_profile_compatibility_flag[4] [A.3.5]"},
    {PTL"general_level_idc=120", ""},
    {PTL"general_level_idc=0", "error " PTL"general_level_idc [A.4.1]"},
    {PTL"general_level_idc=31", "error " PTL"general_level_idc [A.4.1]"},
    {PTL"general_level_idc=189", "error " PTL"general_level_idc [A.4.1]"},
    {PTL"general_level_idc=255", ""},
    {PTL"general_level_idc=120 " PTL"general_tier_flag=1", ""},
    {PTL"general_level_idc=93 " PTL"general_tier_flag=1", "error " PTL"general_tier_flag [A.4.1]"},
};

#define SUB PTL"sub_layer_profile_present_flag[0]=1 " PTL"sub_layer_profile_idc[0]=4 " PTL"sub_layer_profile_compatibility_flag[0][4]=1 " PTL"sub_layer_intra_constraint_flag[0]=1 "
#define SUB_MAIN_10 PTL"sub_layer_profile_present_flag[0]=1 " PTL"sub_layer_profile_idc[0]=2 " PTL"sub_layer_profile_compatibility_flag[0][2]=1 "

const ChecksRow SUB_LAYER_ROWS[] = {
    {"", ""},
    {SUB, ""},
    {SUB PTL"sub_layer_profile_space[0]=3", "error " PTL"sub_layer_profile_space[0] [7.4.4]"},
    {SUB PTL"sub_layer_profile_idc[0]=0", "error " PTL"sub_layer_profile_idc[0] [7.4.4]"},
    {SUB PTL"sub_layer_profile_idc[0]=12", "error " PTL"sub_layer_profile_idc[0] [7.4.4]"},
    {SUB PTL"sub_layer_profile_compatibility_flag[0][4]=0", "error " PTL"sub_layer_profile_compatibility_flag[0][4] [7.4.4]"},
    {SUB PTL"sub_layer_profile_compatibility_flag[0][30]=1", "error " PTL"sub_layer_profile_compatibility_flag[0][30] [7.4.4]"},
    {SUB PTL"sub_layer_profile_compatibility_flag[0][0]=1", "error " PTL"sub_layer_profile_compatibility_flag[0][0] [7.4.4]"},
    {SUB PTL"sub_layer_reserved_zero_34bits=1", "error " PTL"sub_layer_reserved_zero_34bits [7.4.4]"},
    {SUB PTL"sub_layer_intra_constraint_flag[0]=0", "error " PTL"sub_layer_profile_idc[0] [A.3.5]"},
    {SUB_MAIN_10, ""},
    {SUB_MAIN_10 PTL"sub_layer_tier_flag[0]=1", ""},
    {SUB_MAIN_10 PTL"sub_layer_tier_flag[0]=1 " PTL"sub_layer_level_present_flag[0]=1 " PTL"sub_layer_level_idc[0]=120", ""},
    {SUB_MAIN_10 PTL"sub_layer_tier_flag[0]=1 " PTL"sub_layer_level_present_flag[0]=1 " PTL"sub_layer_level_idc[0]=93", "error " PTL"sub_layer_tier_flag[0] [A.4.1]"},
    // The tier of the whole stream says nothing of a level that a sub-layer has without it.
    {PTL"general_tier_flag=1 " PTL"sub_layer_level_present_flag[0]=1 " PTL"sub_layer_level_idc[0]=93", ""},
    {SUB_MAIN_10 PTL"sub_layer_reserved_zero_7bits=1", "error " PTL"sub_layer_reserved_zero_7bits [7.4.4]"},
    {SUB_MAIN_10 PTL"sub_layer_reserved_zero_35bits=1", "error " PTL"sub_layer_reserved_zero_35bits [7.4.4]"},
    {PTL"sub_layer_profile_present_flag[0]=1 " PTL"sub_layer_profile_idc[0]=1 " PTL"sub_layer_profile_compatibility_flag[0][1]=1 " PTL"sub_layer_reserved_zero_43bits=1", "error " PTL"sub_layer_reserved_zero_43bits [7.4.4]"},
    {PTL"sub_layer_profile_present_flag[0]=1 " PTL"sub_layer_profile_idc[0]=5 " PTL"sub_layer_profile_compatibility_flag[0][5]=1 " PTL"sub_layer_intra_constraint_flag[0]=1 " PTL"sub_layer_reserved_zero_33bits=1", "error " PTL"sub_layer_reserved_zero_33bits [7.4.4]"},
    {PTL"sub_layer_profile_present_flag[0]=1 " PTL"sub_layer_profile_idc[0]=6 " PTL"sub_layer_profile_compatibility_flag[0][6]=1 " PTL"sub_layer_reserved_zero_bit=1", "error " PTL"sub_layer_reserved_zero_bit [7.4.4]"},
    {PTL"sub_layer_level_present_flag[0]=1 " PTL"sub_layer_level_idc[0]=186", ""},
    {PTL"sub_layer_level_present_flag[0]=1 " PTL"sub_layer_level_idc[0]=33", "error " PTL"sub_layer_level_idc[0] [A.4.1]"},
    {PTL"sub_layer_level_present_flag[0]=1 " PTL"sub_layer_level_idc[0]=255", "warning " PTL"sub_layer_level_idc[0] [7.4.4]"},
    {PTL"reserved_zero_2bits[1]=1", "error " PTL"reserved_zero_2bits[1] [7.4.4]"},
    {PTL"reserved_zero_2bits[7]=3", "error " PTL"reserved_zero_2bits[7] [7.4.4]"},
};
// clang-format on

TEST(ProfileTierLevelChecks, HoldEachConstraint)
{
    expectSpsRows(legalSps(), ROWS);
}

TEST(ProfileTierLevelChecks, HoldEachConstraintOfSubLayers)
{
    expectSpsRows(
        with(legalSps(),
             "sps_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=4 sps_max_num_reorder_pics[1]=2"),
        SUB_LAYER_ROWS);
}

// A.4.3: the factors between what a CPB may hold and what it may be given a second.
TEST(ProfileTierLevelChecks, KnowTheFactorsOfTheBitRate)
{
    const auto named = [](std::string_view name) -> const Profile& {
        const auto all = profiles();
        return *std::ranges::find_if(all, [&](const Profile& p) { return p.pName == name; });
    };
    EXPECT_EQ(hbrFactor(named("Main"), false), 1U);
    EXPECT_EQ(hbrFactor(named("Main 4:4:4"), true), 1U);
    EXPECT_EQ(hbrFactor(named("Main 4:4:4 Intra"), false), 2U);
    EXPECT_EQ(hbrFactor(named("High Throughput 4:4:4 14"), true), 6U);
    EXPECT_EQ(hbrFactor(named("High Throughput 4:4:4 16 Intra"), true), 12U);
    EXPECT_EQ(hbrFactor(named("High Throughput 4:4:4 16 Intra"), false), 24U);
    EXPECT_EQ(hbrFactor(named("Screen-Extended Main 4:4:4"), true), 1U);
    EXPECT_EQ(profileGroupName(0), nullptr);
    EXPECT_EQ(profileGroupName(12), nullptr);
    EXPECT_STREQ(profileGroupName(11), "High Throughput Screen Content Coding");
}

} // namespace
} // namespace profile_tier_level_checks_test

#undef PTL
#undef MAIN_10
#undef MAIN
#undef STILL
#undef SUB
#undef SUB_MAIN_10
