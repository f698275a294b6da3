// 7.4.8: short-term reference picture sets; the SPS has room for four pictures besides the current one.

#include "ChecksTable.h"

namespace st_ref_pic_set_checks_test {

using namespace h265_test;

namespace {

// clang-format off
const ChecksRow ROWS[] = {
    {"st_ref_pic_set[0].num_negative_pics=4", ""},
    {"st_ref_pic_set[0].num_negative_pics=5", "error st_ref_pic_set[0].num_negative_pics [7.4.8]"},
    {"st_ref_pic_set[0].num_positive_pics=4", ""},
    {"st_ref_pic_set[0].num_positive_pics=5", "error st_ref_pic_set[0].num_positive_pics [7.4.8]"},
    {"st_ref_pic_set[0].num_negative_pics=3 st_ref_pic_set[0].num_positive_pics=1", ""},
    {"st_ref_pic_set[0].num_negative_pics=3 st_ref_pic_set[0].num_positive_pics=2", "error st_ref_pic_set[0].num_positive_pics [7.4.8]"},
    {"st_ref_pic_set[0].num_negative_pics=1 st_ref_pic_set[0].delta_poc_s0_minus1[0]=32767", ""},
    {"st_ref_pic_set[0].num_negative_pics=1 st_ref_pic_set[0].delta_poc_s0_minus1[0]=32768", "error st_ref_pic_set[0].delta_poc_s0_minus1[0] [7.4.8]"},
    {"st_ref_pic_set[1].num_positive_pics=1 st_ref_pic_set[1].delta_poc_s1_minus1[0]=32767", ""},
    {"st_ref_pic_set[1].num_positive_pics=1 st_ref_pic_set[1].delta_poc_s1_minus1[0]=32768", "error st_ref_pic_set[1].delta_poc_s1_minus1[0] [7.4.8]"},
    {"st_ref_pic_set[1].inter_ref_pic_set_prediction_flag=1 st_ref_pic_set[1].abs_delta_rps_minus1=32767", ""},
    {"st_ref_pic_set[1].inter_ref_pic_set_prediction_flag=1 st_ref_pic_set[1].abs_delta_rps_minus1=32768", "error st_ref_pic_set[1].abs_delta_rps_minus1 [7.4.8]"},
    {"st_ref_pic_set[0].num_negative_pics=4 st_ref_pic_set[1].inter_ref_pic_set_prediction_flag=1"
     " st_ref_pic_set[1].delta_rps_sign=1"
     " st_ref_pic_set[1].used_by_curr_pic_flag[0]=1 st_ref_pic_set[1].used_by_curr_pic_flag[1]=1"
     " st_ref_pic_set[1].used_by_curr_pic_flag[2]=1 st_ref_pic_set[1].used_by_curr_pic_flag[3]=1"
     " st_ref_pic_set[1].used_by_curr_pic_flag[4]=0 st_ref_pic_set[1].use_delta_flag[4]=0", ""},
    {"st_ref_pic_set[0].num_negative_pics=4 st_ref_pic_set[1].inter_ref_pic_set_prediction_flag=1"
     " st_ref_pic_set[1].delta_rps_sign=1"
     " st_ref_pic_set[1].used_by_curr_pic_flag[0]=1 st_ref_pic_set[1].used_by_curr_pic_flag[1]=1"
     " st_ref_pic_set[1].used_by_curr_pic_flag[2]=1 st_ref_pic_set[1].used_by_curr_pic_flag[3]=1"
     " st_ref_pic_set[1].used_by_curr_pic_flag[4]=1", "warning st_ref_pic_set[1].inter_ref_pic_set_prediction_flag [7.4.8]"},
    {"#st_ref_pic_set[0].num_negative_pics=17", "error st_ref_pic_set[0].num_negative_pics [7.4.8]"},
    {"#st_ref_pic_set[0].num_positive_pics=17", "error st_ref_pic_set[0].num_positive_pics [7.4.8]"},
};
// clang-format on

TEST(StRefPicSetChecks, HoldEachConstraint)
{
    expectSpsRows(with(legalSps(), "num_short_term_ref_pic_sets=2"), ROWS);
}

// What counts is the highest sub-layer's picture buffer.
const ChecksRow SUB_LAYER_ROWS[] = {
    {"st_ref_pic_set[0].num_negative_pics=6", ""},
    {"st_ref_pic_set[0].num_negative_pics=7", "error st_ref_pic_set[0].num_negative_pics [7.4.8]"},
};

TEST(StRefPicSetChecks, CountThePictureBufferOfTheHighestSubLayer)
{
    expectSpsRows(with(legalSps(),
                       "num_short_term_ref_pic_sets=1 sps_max_sub_layers_minus1=1 sps_max_num_reorder_pics[1]=2 "
                       "sps_max_dec_pic_buffering_minus1[1]=6"),
                  SUB_LAYER_ROWS);
}

// F.7.4.8: in layers the VPS has the size of the picture buffers, 16 at most with the current picture's.
TEST(StRefPicSetChecks, CountTheLargestPictureBufferInLayers)
{
    h265_syntax::SequenceParameterSet layer = legalSps();
    layer.nal_unit_header.nuh_layer_id = 1;
    const ChecksRow aRows[] = {
        {"st_ref_pic_set[0].num_negative_pics=15", ""},
        {"st_ref_pic_set[0].num_negative_pics=16", "error st_ref_pic_set[0].num_negative_pics [7.4.8]"},
    };
    expectSpsRows(with(layer, "num_short_term_ref_pic_sets=1 sps_ext_or_max_sub_layers_minus1=7"), aRows);
}

} // namespace
} // namespace st_ref_pic_set_checks_test
