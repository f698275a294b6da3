#include "ProfileTierLevelSyntax.h"

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

namespace {

// general_profile_idc is one of these, or a general_profile_compatibility_flag of one is set.
template <class... TProfile>
bool isOneOf(unsigned profile_idc, const bool (&profile_compatibility_flag)[32], TProfile... profiles)
{
    return ((profile_idc == profiles || profile_compatibility_flag[profiles]) || ...);
}

// Elements of other profiles: those that a set does not code are 0.
template <class TUse, class... TElement>
void notCoded(TUse& use, TElement&... elements)
{
    (use.infer(elements, 0), ...);
}

template <class TUse>
void generalConstraintFlags(TUse& use, Of<TUse, ProfileTierLevel>& s)
{
    const auto isProfile = [&s](auto... profiles) {
        return isOneOf(s.general_profile_idc, s.general_profile_compatibility_flag, profiles...);
    };
    const bool bRange = isProfile(4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U);
    if (bRange) {
        FLAG(general_max_12bit_constraint_flag);
        FLAG(general_max_10bit_constraint_flag);
        FLAG(general_max_8bit_constraint_flag);
        FLAG(general_max_422chroma_constraint_flag);
        FLAG(general_max_420chroma_constraint_flag);
        FLAG(general_max_monochrome_constraint_flag);
        FLAG(general_intra_constraint_flag);
        FLAG(general_one_picture_only_constraint_flag);
        FLAG(general_lower_bit_rate_constraint_flag);
        if (isProfile(5U, 9U, 10U, 11U)) {
            FLAG(general_max_14bit_constraint_flag);
            U(33, general_reserved_zero_33bits);
            notCoded(use, s.general_reserved_zero_34bits);
        } else {
            U(34, general_reserved_zero_34bits);
            notCoded(use, s.general_max_14bit_constraint_flag, s.general_reserved_zero_33bits);
        }
        notCoded(use, s.general_reserved_zero_7bits, s.general_reserved_zero_35bits, s.general_reserved_zero_43bits);
    } else if (isProfile(2U)) {
        U(7, general_reserved_zero_7bits);
        FLAG(general_one_picture_only_constraint_flag);
        U(35, general_reserved_zero_35bits);
        notCoded(use, s.general_reserved_zero_43bits);
    } else {
        U(43, general_reserved_zero_43bits);
        notCoded(use,
                 s.general_reserved_zero_7bits,
                 s.general_one_picture_only_constraint_flag,
                 s.general_reserved_zero_35bits);
    }
    if (!bRange)
        notCoded(use,
                 s.general_max_12bit_constraint_flag,
                 s.general_max_10bit_constraint_flag,
                 s.general_max_8bit_constraint_flag,
                 s.general_max_422chroma_constraint_flag,
                 s.general_max_420chroma_constraint_flag,
                 s.general_max_monochrome_constraint_flag,
                 s.general_intra_constraint_flag,
                 s.general_lower_bit_rate_constraint_flag,
                 s.general_max_14bit_constraint_flag,
                 s.general_reserved_zero_33bits,
                 s.general_reserved_zero_34bits);
    if (isProfile(1U, 2U, 3U, 4U, 5U, 9U, 11U)) {
        FLAG(general_inbld_flag);
        notCoded(use, s.general_reserved_zero_bit);
    } else {
        FLAG(general_reserved_zero_bit);
        notCoded(use, s.general_inbld_flag);
    }
}

template <class TUse>
void subLayerConstraintFlags(TUse& use, Of<TUse, ProfileTierLevel>& s, unsigned i)
{
    const auto isProfile = [&s, i](auto... profiles) {
        return isOneOf(s.sub_layer_profile_idc[i], s.sub_layer_profile_compatibility_flag[i], profiles...);
    };
    const bool bRange = isProfile(4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U);
    if (bRange) {
        FLAG(sub_layer_max_12bit_constraint_flag, i);
        FLAG(sub_layer_max_10bit_constraint_flag, i);
        FLAG(sub_layer_max_8bit_constraint_flag, i);
        FLAG(sub_layer_max_422chroma_constraint_flag, i);
        FLAG(sub_layer_max_420chroma_constraint_flag, i);
        FLAG(sub_layer_max_monochrome_constraint_flag, i);
        FLAG(sub_layer_intra_constraint_flag, i);
        FLAG(sub_layer_one_picture_only_constraint_flag, i);
        FLAG(sub_layer_lower_bit_rate_constraint_flag, i);
        if (isProfile(5U, 9U, 10U, 11U)) {
            FLAG(sub_layer_max_14bit_constraint_flag, i);
            U_AS(33, sub_layer_reserved_zero_33bits, s.sub_layer_reserved_zero_33bits[i]);
            notCoded(use, s.sub_layer_reserved_zero_34bits[i]);
        } else {
            U_AS(34, sub_layer_reserved_zero_34bits, s.sub_layer_reserved_zero_34bits[i]);
            notCoded(use, s.sub_layer_max_14bit_constraint_flag[i], s.sub_layer_reserved_zero_33bits[i]);
        }
        notCoded(use,
                 s.sub_layer_reserved_zero_7bits[i],
                 s.sub_layer_reserved_zero_35bits[i],
                 s.sub_layer_reserved_zero_43bits[i]);
    } else if (isProfile(2U)) {
        U_AS(7, sub_layer_reserved_zero_7bits, s.sub_layer_reserved_zero_7bits[i]);
        FLAG(sub_layer_one_picture_only_constraint_flag, i);
        U_AS(35, sub_layer_reserved_zero_35bits, s.sub_layer_reserved_zero_35bits[i]);
        notCoded(use, s.sub_layer_reserved_zero_43bits[i]);
    } else {
        U_AS(43, sub_layer_reserved_zero_43bits, s.sub_layer_reserved_zero_43bits[i]);
        notCoded(use,
                 s.sub_layer_reserved_zero_7bits[i],
                 s.sub_layer_one_picture_only_constraint_flag[i],
                 s.sub_layer_reserved_zero_35bits[i]);
    }
    if (!bRange)
        notCoded(use,
                 s.sub_layer_max_12bit_constraint_flag[i],
                 s.sub_layer_max_10bit_constraint_flag[i],
                 s.sub_layer_max_8bit_constraint_flag[i],
                 s.sub_layer_max_422chroma_constraint_flag[i],
                 s.sub_layer_max_420chroma_constraint_flag[i],
                 s.sub_layer_max_monochrome_constraint_flag[i],
                 s.sub_layer_intra_constraint_flag[i],
                 s.sub_layer_lower_bit_rate_constraint_flag[i],
                 s.sub_layer_max_14bit_constraint_flag[i],
                 s.sub_layer_reserved_zero_33bits[i],
                 s.sub_layer_reserved_zero_34bits[i]);
    if (isProfile(1U, 2U, 3U, 4U, 5U, 9U, 11U)) {
        FLAG(sub_layer_inbld_flag, i);
        notCoded(use, s.sub_layer_reserved_zero_bit[i]);
    } else {
        U_AS(1, sub_layer_reserved_zero_bit, s.sub_layer_reserved_zero_bit[i]);
        notCoded(use, s.sub_layer_inbld_flag[i]);
    }
}

template <class TUse>
void subLayers(TUse& use, Of<TUse, ProfileTierLevel>& s, unsigned maxNumSubLayersMinus1)
{
    for (unsigned i = 0; i < maxNumSubLayersMinus1; ++i) {
        FLAG(sub_layer_profile_present_flag, i);
        FLAG(sub_layer_level_present_flag, i);
    }
    if (maxNumSubLayersMinus1 > 0) {
        for (unsigned i = maxNumSubLayersMinus1; i < 8; ++i)
            U(2, reserved_zero_2bits, i);
    }
    for (unsigned i = 0; i < maxNumSubLayersMinus1; ++i) {
        if (s.sub_layer_profile_present_flag[i]) {
            U(2, sub_layer_profile_space, i);
            FLAG(sub_layer_tier_flag, i);
            U(5, sub_layer_profile_idc, i);
            FLAGS(sub_layer_profile_compatibility_flag, i);
            FLAG(sub_layer_progressive_source_flag, i);
            FLAG(sub_layer_interlaced_source_flag, i);
            FLAG(sub_layer_non_packed_constraint_flag, i);
            FLAG(sub_layer_frame_only_constraint_flag, i);
            subLayerConstraintFlags(use, s, i);
        }
        if (s.sub_layer_level_present_flag[i])
            U(8, sub_layer_level_idc, i);
    }
}

} // namespace

// 7.3.3
template <class TUse>
void profile_tier_level(TUse& use, Of<TUse, ProfileTierLevel>& s, bool profilePresentFlag,
                        unsigned maxNumSubLayersMinus1)
{
    if (profilePresentFlag) {
        U(2, general_profile_space);
        FLAG(general_tier_flag);
        U(5, general_profile_idc);
        FLAGS(general_profile_compatibility_flag);
        FLAG(general_progressive_source_flag);
        FLAG(general_interlaced_source_flag);
        FLAG(general_non_packed_constraint_flag);
        FLAG(general_frame_only_constraint_flag);
        generalConstraintFlags(use, s);
    }
    U(8, general_level_idc);
    if (maxNumSubLayersMinus1 > 0)
        subLayers(use, s, maxNumSubLayersMinus1);
}

#define INSTANTIATE(TUse) template void profile_tier_level(TUse&, Of<TUse, ProfileTierLevel>&, bool, unsigned);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
