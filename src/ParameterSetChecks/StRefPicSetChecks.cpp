#include "StRefPicSetChecks.h"

#include <algorithm>

namespace h265_syntax {

namespace {

constexpr std::int64_t MAX_DELTA_MINUS1 = (1 << 15) - 1;

// The sentence names both counts: what the negative pictures leave is what the positive ones may take.
void checkExplicit(const StRefPicSet& s, std::uint32_t uiMaxPics, CChecks& checks)
{
    SHALL(s.num_negative_pics <= uiMaxPics,
          BLAME(num_negative_pics),
          "7.4.8",
          say("0 to ", uiMaxPics),
          "the set refers to ",
          s.num_negative_pics,
          " earlier pictures, the picture buffer holds ",
          uiMaxPics,
          " besides the current one");
    const std::uint32_t uiLeft = uiMaxPics - std::min(uiMaxPics, s.num_negative_pics);
    SHALL(s.num_positive_pics <= uiLeft,
          BLAME(num_positive_pics),
          "7.4.8",
          say("0 to ", uiLeft),
          "the set refers to ",
          s.num_negative_pics,
          " earlier and ",
          s.num_positive_pics,
          " later pictures, the picture buffer holds ",
          uiMaxPics,
          " besides the current one");
    for (unsigned i = 0; i < std::min(s.num_negative_pics, MAX_NUM_PICS); ++i)
        RANGE_1(delta_poc_s0_minus1, i, 0, MAX_DELTA_MINUS1, "7.4.8");
    for (unsigned i = 0; i < std::min(s.num_positive_pics, MAX_NUM_PICS); ++i)
        RANGE_1(delta_poc_s1_minus1, i, 0, MAX_DELTA_MINUS1, "7.4.8");
}

} // namespace

void checkStRefPicSet(const StRefPicSet& s, std::uint32_t uiMaxPics, CChecks checks)
{
    if (!s.inter_ref_pic_set_prediction_flag)
        return checkExplicit(s, uiMaxPics, checks);
    RANGE(abs_delta_rps_minus1, 0, MAX_DELTA_MINUS1, "7.4.8");
    // Nothing forbids a predicted candidate that no picture can use.
    SHOULD(s.NumDeltaPocs <= uiMaxPics,
           BLAME(inter_ref_pic_set_prediction_flag),
           "7.4.8",
           say("at most ", uiMaxPics, " pictures"),
           "the predicted set holds ",
           s.NumDeltaPocs,
           " pictures, the picture buffer ",
           uiMaxPics,
           " besides the current one");
}

} // namespace h265_syntax
