#include "HrdChecks.h"

#include <algorithm>

namespace h265_syntax {

namespace {

// E.3.3: of several CPBs, a later one has a higher bit rate and no larger buffer; NAL, VCL and sub-picture
// values each for themselves.
void checkSubLayerHrd(const SubLayerHrd& s, unsigned CpbCnt, bool sub_pic_hrd_params_present_flag, CChecks checks)
{
    for (unsigned i = 0; i < CpbCnt; ++i) {
        SHALL(i == 0 || s.bit_rate_value_minus1[i] > s.bit_rate_value_minus1[i - 1],
              BLAME_1(bit_rate_value_minus1, i),
              "E.3.3",
              say("above ", s.bit_rate_value_minus1[i - 1]),
              "the bit rates of the CPBs do not rise");
        SHALL(i == 0 || s.cpb_size_value_minus1[i] <= s.cpb_size_value_minus1[i - 1],
              BLAME_1(cpb_size_value_minus1, i),
              "E.3.3",
              say("at most ", s.cpb_size_value_minus1[i - 1]),
              "the CPB sizes rise with the bit rates");
        if (!sub_pic_hrd_params_present_flag)
            continue;
        SHALL(i == 0 || s.cpb_size_du_value_minus1[i] <= s.cpb_size_du_value_minus1[i - 1],
              BLAME_1(cpb_size_du_value_minus1, i),
              "E.3.3",
              say("at most ", s.cpb_size_du_value_minus1[i - 1]),
              "the sub-picture CPB sizes rise with the bit rates");
        SHALL(i == 0 || s.bit_rate_du_value_minus1[i] > s.bit_rate_du_value_minus1[i - 1],
              BLAME_1(bit_rate_du_value_minus1, i),
              "E.3.3",
              say("above ", s.bit_rate_du_value_minus1[i - 1]),
              "the sub-picture bit rates of the CPBs do not rise");
    }
}

} // namespace

void checkHrdParameters(const HrdParameters& s, unsigned maxNumSubLayersMinus1, CChecks checks)
{
    for (unsigned i = 0; i <= maxNumSubLayersMinus1; ++i) {
        if (s.fixed_pic_rate_within_cvs_flag[i])
            RANGE_1(elemental_duration_in_tc_minus1, i, 0, 2047, "E.3.2");
        RANGE_1(cpb_cnt_minus1, i, 0, MAX_CPBS - 1, "E.3.2");
        const unsigned CpbCnt = std::min(s.cpb_cnt_minus1[i], MAX_CPBS - 1) + 1;
        if (s.nal_hrd_parameters_present_flag)
            checkSubLayerHrd(s.nal_hrd[i], CpbCnt, s.sub_pic_hrd_params_present_flag, checks.inside("nal_hrd", i));
        if (s.vcl_hrd_parameters_present_flag)
            checkSubLayerHrd(s.vcl_hrd[i], CpbCnt, s.sub_pic_hrd_params_present_flag, checks.inside("vcl_hrd", i));
    }
}

} // namespace h265_syntax
