// 7.4.3.2.3 and I.7.4.3.2.5: the extensions of an SPS.

#include "ChecksTable.h"

namespace sps_extensions_checks_test {

using namespace h265_test;

namespace {

#define SCC "sps_scc_extension."
#define D3 "sps_3d_extension."

// clang-format off
const ChecksRow ROWS[] = {
    {SCC"palette_mode_enabled_flag=1 " SCC"palette_max_size=64 " SCC"delta_palette_max_predictor_size=64", ""},
    {SCC"palette_mode_enabled_flag=1 " SCC"palette_max_size=65 " SCC"delta_palette_max_predictor_size=63", "error " SCC"palette_max_size [A.3.7]"},
    {SCC"palette_mode_enabled_flag=1 " SCC"palette_max_size=64 " SCC"delta_palette_max_predictor_size=65", "error " SCC"delta_palette_max_predictor_size [A.3.7]"},
    {SCC"palette_mode_enabled_flag=1 " SCC"palette_max_size=0", ""},
    {SCC"palette_mode_enabled_flag=1 " SCC"palette_max_size=0 " SCC"delta_palette_max_predictor_size=1", "error " SCC"delta_palette_max_predictor_size [7.4.3.2.3]"},
    {SCC"palette_mode_enabled_flag=1 " SCC"palette_max_size=1 " SCC"sps_palette_predictor_initializers_present_flag=1", ""},
    {SCC"palette_mode_enabled_flag=1 " SCC"palette_max_size=1 " SCC"sps_palette_predictor_initializers_present_flag=1 " SCC"sps_num_palette_predictor_initializers_minus1=1", "error " SCC"sps_num_palette_predictor_initializers_minus1 [7.4.3.2.3]"},
    {SCC"palette_mode_enabled_flag=1 " SCC"sps_palette_predictor_initializers_present_flag=1", "error " SCC"sps_palette_predictor_initializers_present_flag [7.4.3.2.3]"},
    {SCC"motion_vector_resolution_control_idc=2", ""},
    {SCC"motion_vector_resolution_control_idc=3", "error " SCC"motion_vector_resolution_control_idc [7.4.3.2.3]"},
};

const ChecksRow ROWS_3D[] = {
    {D3"log2_ivmc_sub_pb_size_minus3[0]=3 " D3"log2_texmc_sub_pb_size_minus3[1]=3", ""},
    {D3"log2_ivmc_sub_pb_size_minus3[0]=4", "error " D3"log2_ivmc_sub_pb_size_minus3[0] [I.7.4.3.2.5]"},
    {D3"log2_texmc_sub_pb_size_minus3[1]=4", "error " D3"log2_texmc_sub_pb_size_minus3[1] [I.7.4.3.2.5]"},
    {"pic_height_in_luma_samples=256 log2_min_luma_coding_block_size_minus3=1 log2_diff_max_min_luma_coding_block_size=2 " D3"log2_texmc_sub_pb_size_minus3[1]=1", "error " D3"log2_ivmc_sub_pb_size_minus3[0] [I.7.4.3.2.5]"},
};
// clang-format on

TEST(SpsExtensionsChecks, HoldEachConstraintOfScreenContent)
{
    // Screen-Extended Main 4:4:4
    expectSpsRows(with(legalSps(),
                       "sps_extension_present_flag=1 sps_scc_extension_flag=1 "
                       "profile_tier_level.general_profile_compatibility_flag[4]=0 "
                       "profile_tier_level.general_profile_idc=9 "
                       "profile_tier_level.general_profile_compatibility_flag[9]=1 "
                       "profile_tier_level.general_max_14bit_constraint_flag=1 "
                       "profile_tier_level.general_max_12bit_constraint_flag=1 "
                       "profile_tier_level.general_max_10bit_constraint_flag=1 "
                       "profile_tier_level.general_max_8bit_constraint_flag=1 "
                       "profile_tier_level.general_intra_constraint_flag=0 "
                       "profile_tier_level.general_lower_bit_rate_constraint_flag=1"),
                  ROWS);
}

TEST(SpsExtensionsChecks, HoldEachConstraintOf3D)
{
    expectSpsRows(with(legalSps(), "sps_extension_present_flag=1 sps_3d_extension_flag=1"), ROWS_3D);
}

} // namespace
} // namespace sps_extensions_checks_test

#undef SCC
#undef D3
