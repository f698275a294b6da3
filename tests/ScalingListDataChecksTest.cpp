// 7.4.5: coefficients of scaling lists.

#include "ChecksTable.h"

namespace scaling_list_data_checks_test {

using namespace h265_test;

namespace {

// clang-format off
const ChecksRow ROWS[] = {
    {"", ""},
    {"scaling_list_data.scaling_list_pred_matrix_id_delta[0][5]=5", ""},
    {"scaling_list_data.scaling_list_pred_matrix_id_delta[0][5]=6", "error scaling_list_data.scaling_list_pred_matrix_id_delta[0][5] [7.4.5]"},
    {"scaling_list_data.scaling_list_pred_matrix_id_delta[2][0]=1", "error scaling_list_data.scaling_list_pred_matrix_id_delta[2][0] [7.4.5]"},
    {"scaling_list_data.scaling_list_pred_matrix_id_delta[3][3]=1", ""},
    {"scaling_list_data.scaling_list_pred_matrix_id_delta[3][3]=2", "error scaling_list_data.scaling_list_pred_matrix_id_delta[3][3] [7.4.5]"},
    {"scaling_list_data.scaling_list_pred_mode_flag[0][1]=1", ""},
    {"scaling_list_data.scaling_list_pred_mode_flag[0][1]=1 scaling_list_data.scaling_list_delta_coef[0][1][0]=-7", ""},
    // 8 - 8: all sixteen are 0
    {"scaling_list_data.scaling_list_pred_mode_flag[0][1]=1 scaling_list_data.scaling_list_delta_coef[0][1][15]=-8", "error scaling_list_data.scaling_list_delta_coef[0][1][15] [7.4.5]"},
    // 8 + 127, 135 + 120 = 255, 255 + 2 = 1: modulo 256
    {"scaling_list_data.scaling_list_pred_mode_flag[0][0]=1 scaling_list_data.scaling_list_delta_coef[0][0][0]=127"
     " scaling_list_data.scaling_list_delta_coef[0][0][1]=120 scaling_list_data.scaling_list_delta_coef[0][0][2]=2", ""},
    {"scaling_list_data.scaling_list_pred_mode_flag[0][0]=1 scaling_list_data.scaling_list_delta_coef[0][0][14]=127"
     " scaling_list_data.scaling_list_delta_coef[0][0][15]=121", "error scaling_list_data.scaling_list_delta_coef[0][0][15] [7.4.5]"},
    {"scaling_list_data.scaling_list_pred_mode_flag[1][2]=1 scaling_list_data.scaling_list_delta_coef[1][2][63]=-128", ""},
    {"scaling_list_data.scaling_list_pred_mode_flag[1][2]=1 scaling_list_data.scaling_list_delta_coef[1][2][63]=-129", "error scaling_list_data.scaling_list_delta_coef[1][2][63] [7.4.5]"},
    {"scaling_list_data.scaling_list_pred_mode_flag[1][2]=1 scaling_list_data.scaling_list_delta_coef[1][2][63]=128", "error scaling_list_data.scaling_list_delta_coef[1][2][63] [7.4.5]"},
    {"scaling_list_data.scaling_list_pred_mode_flag[2][4]=1 scaling_list_data.scaling_list_dc_coef_minus8[0][4]=-7", ""},
    {"scaling_list_data.scaling_list_pred_mode_flag[2][4]=1 scaling_list_data.scaling_list_dc_coef_minus8[0][4]=-8 scaling_list_data.scaling_list_delta_coef[2][4][0]=1", "error scaling_list_data.scaling_list_dc_coef_minus8[0][4] [7.4.5]"},
    {"scaling_list_data.scaling_list_pred_mode_flag[3][3]=1 scaling_list_data.scaling_list_dc_coef_minus8[1][3]=247", ""},
    {"scaling_list_data.scaling_list_pred_mode_flag[3][3]=1 scaling_list_data.scaling_list_dc_coef_minus8[1][3]=248 scaling_list_data.scaling_list_delta_coef[3][3][0]=1", "error scaling_list_data.scaling_list_dc_coef_minus8[1][3] [7.4.5]"},
    {"scaling_list_data.scaling_list_pred_mode_flag[3][0]=1 scaling_list_data.scaling_list_dc_coef_minus8[1][0]=2 scaling_list_data.scaling_list_delta_coef[3][0][63]=-10", "error scaling_list_data.scaling_list_delta_coef[3][0][63] [7.4.5]"},
};
// clang-format on

TEST(ScalingListDataChecks, HoldEachConstraintInAnSps)
{
    expectSpsRows(with(legalSps(), "scaling_list_enabled_flag=1 sps_scaling_list_data_present_flag=1"), ROWS);
}

TEST(ScalingListDataChecks, HoldEachConstraintInAPps)
{
    const auto sps = with(legalSps(), "scaling_list_enabled_flag=1");
    expectPpsRows(with(legalPps(), "pps_scaling_list_data_present_flag=1"), ROWS, &sps);
}

} // namespace
} // namespace scaling_list_data_checks_test
