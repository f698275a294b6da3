#include "HrdSyntax.h"

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

namespace {

// E.2.2: what a structure without common information has of the one before it, or as inferred without one.
void inferCommonInformation(HrdParameters& s, const HrdParameters* pPrevious)
{
    static const HrdParameters NONE;
    const HrdParameters& previous = pPrevious != nullptr ? *pPrevious : NONE;
    s.nal_hrd_parameters_present_flag = previous.nal_hrd_parameters_present_flag;
    s.vcl_hrd_parameters_present_flag = previous.vcl_hrd_parameters_present_flag;
    s.sub_pic_hrd_params_present_flag = previous.sub_pic_hrd_params_present_flag;
    s.tick_divisor_minus2 = previous.tick_divisor_minus2;
    s.du_cpb_removal_delay_increment_length_minus1 = previous.du_cpb_removal_delay_increment_length_minus1;
    s.sub_pic_cpb_params_in_pic_timing_sei_flag = previous.sub_pic_cpb_params_in_pic_timing_sei_flag;
    s.dpb_output_delay_du_length_minus1 = previous.dpb_output_delay_du_length_minus1;
    s.bit_rate_scale = previous.bit_rate_scale;
    s.cpb_size_scale = previous.cpb_size_scale;
    s.cpb_size_du_scale = previous.cpb_size_du_scale;
    s.initial_cpb_removal_delay_length_minus1 = previous.initial_cpb_removal_delay_length_minus1;
    s.au_cpb_removal_delay_length_minus1 = previous.au_cpb_removal_delay_length_minus1;
    s.dpb_output_delay_length_minus1 = previous.dpb_output_delay_length_minus1;
}

// E.2.3
template <class TUse>
void sub_layer_hrd_parameters(TUse& use, Of<TUse, SubLayerHrd>& s, unsigned CpbCnt,
                              bool sub_pic_hrd_params_present_flag)
{
    for (unsigned i = 0; i < use.upTo(CpbCnt); ++i) {
        UE(bit_rate_value_minus1, i);
        UE(cpb_size_value_minus1, i);
        if (sub_pic_hrd_params_present_flag) {
            UE(cpb_size_du_value_minus1, i);
            UE(bit_rate_du_value_minus1, i);
        }
        FLAG(cbr_flag, i);
    }
}

template <class TUse>
void commonInformation(TUse& use, Of<TUse, HrdParameters>& s)
{
    FLAG(nal_hrd_parameters_present_flag);
    FLAG(vcl_hrd_parameters_present_flag);
    if (s.nal_hrd_parameters_present_flag || s.vcl_hrd_parameters_present_flag) {
        FLAG(sub_pic_hrd_params_present_flag);
        if (s.sub_pic_hrd_params_present_flag) {
            U(8, tick_divisor_minus2);
            U(5, du_cpb_removal_delay_increment_length_minus1);
            FLAG(sub_pic_cpb_params_in_pic_timing_sei_flag);
            U(5, dpb_output_delay_du_length_minus1);
        }
        U(4, bit_rate_scale);
        U(4, cpb_size_scale);
        if (s.sub_pic_hrd_params_present_flag)
            U(4, cpb_size_du_scale);
        U(5, initial_cpb_removal_delay_length_minus1);
        U(5, au_cpb_removal_delay_length_minus1);
        U(5, dpb_output_delay_length_minus1);
    } else {
        INFER(sub_pic_hrd_params_present_flag, 0);          // E.3.2
        INFER(initial_cpb_removal_delay_length_minus1, 23); // E.3.2
        INFER(au_cpb_removal_delay_length_minus1, 23);      // E.3.2
        INFER(dpb_output_delay_length_minus1, 23);          // E.3.2
    }
}

} // namespace

// E.2.2
template <class TUse>
void hrd_parameters(TUse& use, Of<TUse, HrdParameters>& s, bool commonInfPresentFlag, unsigned maxNumSubLayersMinus1,
                    const HrdParameters* pPrevious)
{
    if (commonInfPresentFlag)
        commonInformation(use, s);
    else
        use.derive(inferCommonInformation, s, pPrevious);
    for (unsigned i = 0; i <= maxNumSubLayersMinus1; ++i) {
        FLAG(fixed_pic_rate_general_flag, i);
        if (!s.fixed_pic_rate_general_flag[i])
            FLAG(fixed_pic_rate_within_cvs_flag, i);
        else
            INFER(fixed_pic_rate_within_cvs_flag, 1, i); // E.3.2
        if (s.fixed_pic_rate_within_cvs_flag[i]) {
            UE(elemental_duration_in_tc_minus1, i);
            INFER(low_delay_hrd_flag, 0, i); // E.3.2
        } else {
            FLAG(low_delay_hrd_flag, i);
        }
        if (!s.low_delay_hrd_flag[i])
            UE_UPTO(MAX_CPBS - 1, cpb_cnt_minus1, i);
        else
            INFER(cpb_cnt_minus1, 0, i); // E.3.2
        const unsigned CpbCnt = s.cpb_cnt_minus1[i] + 1;
        if (s.nal_hrd_parameters_present_flag) {
            const Inside inside(use, "nal_hrd", i);
            sub_layer_hrd_parameters(use, s.nal_hrd[i], CpbCnt, s.sub_pic_hrd_params_present_flag);
        }
        if (s.vcl_hrd_parameters_present_flag) {
            const Inside inside(use, "vcl_hrd", i);
            sub_layer_hrd_parameters(use, s.vcl_hrd[i], CpbCnt, s.sub_pic_hrd_params_present_flag);
        }
    }
}

#define INSTANTIATE(TUse)                                                                                              \
    template void hrd_parameters(TUse&, Of<TUse, HrdParameters>&, bool, unsigned, const HrdParameters*);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
