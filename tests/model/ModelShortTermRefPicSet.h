#pragma once

#include <array>
#include <vector>

#include "ModelBits.h"

namespace h265_model {

/// 7.3.7 and the lists of 7.4.8.
struct ModelRps
{
    Value inter_ref_pic_set_prediction_flag = 0;
    Value delta_idx = 0;
    Value deltaRps = 0;
    Value NumNegativePics = 0;
    Value NumPositivePics = 0;
    Value NumDeltaPocs = 0;
    std::array<Value, 16> DeltaPoc{};
    std::array<Value, 16> UsedByCurrPic{};
    std::array<Value, 16> UseDeltaFlagOfPic{};
    std::array<Value, 16> used_by_curr_pic_flag{};
    std::array<Value, 16> use_delta_flag{};
};

/// The model's read_short_term_ref_pic_set: rps may be an element of sets.
int modelReadRps(const std::vector<ModelRps>& sets, Value num_short_term_ref_pic_sets, ModelRps& rps, Value stRpsIdx,
                 CModelBits& bits);

} // namespace h265_model
