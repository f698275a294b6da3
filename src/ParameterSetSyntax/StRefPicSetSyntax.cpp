#include "StRefPicSetSyntax.h"

#include <algorithm>

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

namespace {

constexpr std::int32_t addWrapping(std::int32_t iLeft, std::int64_t iRight)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(iLeft) + static_cast<std::uint32_t>(iRight));
}

void addS0(StRefPicSet& s, std::int32_t dPoc, bool bUsed)
{
    if (s.NumNegativePics < MAX_NUM_PICS) {
        s.DeltaPocS0[s.NumNegativePics] = dPoc;
        s.UsedByCurrPicS0[s.NumNegativePics] = bUsed;
    }
    ++s.NumNegativePics;
}

void addS1(StRefPicSet& s, std::int32_t dPoc, bool bUsed)
{
    if (s.NumPositivePics < MAX_NUM_PICS) {
        s.DeltaPocS1[s.NumPositivePics] = dPoc;
        s.UsedByCurrPicS1[s.NumPositivePics] = bUsed;
    }
    ++s.NumPositivePics;
}

// 7.4.8 (7-61) and (7-62): the entries beyond those that a DPB can hold are counted only.
void deriveFromReference(StRefPicSet& s, const StRefPicSet& ref)
{
    const auto deltaRps = static_cast<std::int32_t>((s.delta_rps_sign ? -1 : 1) *
                                                    (static_cast<std::int64_t>(s.abs_delta_rps_minus1) + 1));
    const auto useS0 = [&](unsigned i, auto add, bool bNegative) {
        const std::int32_t dPoc = addWrapping(ref.DeltaPocS0[i], deltaRps);
        if ((bNegative ? dPoc < 0 : dPoc > 0) && s.use_delta_flag[i])
            add(s, dPoc, s.used_by_curr_pic_flag[i]);
    };
    const auto useS1 = [&](unsigned i, auto add, bool bNegative) {
        const std::int32_t dPoc = addWrapping(ref.DeltaPocS1[i], deltaRps);
        const unsigned j = ref.NumNegativePics + i;
        if ((bNegative ? dPoc < 0 : dPoc > 0) && s.use_delta_flag[j])
            add(s, dPoc, s.used_by_curr_pic_flag[j]);
    };
    const unsigned uiAll = ref.NumDeltaPocs;
    s.NumNegativePics = s.NumPositivePics = 0;
    for (unsigned i = ref.NumPositivePics; i-- > 0;)
        useS1(i, addS0, true);
    if (deltaRps < 0 && s.use_delta_flag[uiAll])
        addS0(s, deltaRps, s.used_by_curr_pic_flag[uiAll]);
    for (unsigned i = 0; i < ref.NumNegativePics; ++i)
        useS0(i, addS0, true);

    for (unsigned i = ref.NumNegativePics; i-- > 0;)
        useS0(i, addS1, false);
    if (deltaRps > 0 && s.use_delta_flag[uiAll])
        addS1(s, deltaRps, s.used_by_curr_pic_flag[uiAll]);
    for (unsigned i = 0; i < ref.NumPositivePics; ++i)
        useS1(i, addS1, false);
}

// 7.4.8 (7-63) to (7-70)
void deriveExplicit(StRefPicSet& s)
{
    s.NumNegativePics = s.num_negative_pics <= MAX_NUM_PICS ? s.num_negative_pics : 0;
    s.NumPositivePics = s.num_positive_pics <= MAX_NUM_PICS ? s.num_positive_pics : 0;
    std::int32_t dPoc = 0;
    for (unsigned i = 0; i < s.NumNegativePics; ++i) {
        dPoc = addWrapping(dPoc, -static_cast<std::int64_t>(s.delta_poc_s0_minus1[i]) - 1);
        s.DeltaPocS0[i] = dPoc;
        s.UsedByCurrPicS0[i] = s.used_by_curr_pic_s0_flag[i];
    }
    dPoc = 0;
    for (unsigned i = 0; i < s.NumPositivePics; ++i) {
        dPoc = addWrapping(dPoc, static_cast<std::int64_t>(s.delta_poc_s1_minus1[i]) + 1);
        s.DeltaPocS1[i] = dPoc;
        s.UsedByCurrPicS1[i] = s.used_by_curr_pic_s1_flag[i];
    }
}

} // namespace

// 7.3.7
template <class TUse>
void st_ref_pic_set(TUse& use, Of<TUse, StRefPicSet>& s, unsigned stRpsIdx, unsigned num_short_term_ref_pic_sets,
                    const std::vector<StRefPicSet>& sets)
{
    const Inside inside(use, "st_ref_pic_set", stRpsIdx);
    if (stRpsIdx != 0)
        FLAG(inter_ref_pic_set_prediction_flag);
    else
        INFER(inter_ref_pic_set_prediction_flag, 0); // 7.4.8
    if (s.inter_ref_pic_set_prediction_flag) {
        if (stRpsIdx == num_short_term_ref_pic_sets)
            UE_UPTO(stRpsIdx - 1, delta_idx_minus1);
        else
            INFER(delta_idx_minus1, 0); // 7.4.8
        FLAG(delta_rps_sign);
        UE(abs_delta_rps_minus1);
        const StRefPicSet& ref = entryOf(sets, stRpsIdx - 1 - std::min(s.delta_idx_minus1, stRpsIdx - 1));
        for (unsigned j = 0; j <= ref.NumDeltaPocs; ++j) {
            FLAG(used_by_curr_pic_flag, j);
            if (!s.used_by_curr_pic_flag[j])
                FLAG(use_delta_flag, j);
            else
                INFER(use_delta_flag, 1, j); // 7.4.8
        }
        use.derive(deriveFromReference, s, ref);
    } else {
        UE_UPTO(MAX_NUM_PICS, num_negative_pics);
        UE_UPTO(MAX_NUM_PICS, num_positive_pics);
        for (unsigned i = 0; i < use.upTo(s.num_negative_pics); ++i) {
            UE(delta_poc_s0_minus1, i);
            FLAG(used_by_curr_pic_s0_flag, i);
        }
        for (unsigned i = 0; i < use.upTo(s.num_positive_pics); ++i) {
            UE(delta_poc_s1_minus1, i);
            FLAG(used_by_curr_pic_s1_flag, i);
        }
        use.derive(deriveExplicit, s);
    }
    INFER(NumDeltaPocs, std::min(s.NumNegativePics + s.NumPositivePics, MAX_DELTA_POCS)); // (7-71)
    use.bound(std::max(s.NumNegativePics, s.NumPositivePics), MAX_NUM_PICS);
}

#define INSTANTIATE(TUse)                                                                                              \
    template void st_ref_pic_set(TUse&, Of<TUse, StRefPicSet>&, unsigned, unsigned, const std::vector<StRefPicSet>&);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
