#pragma once

#include <string>

#include "ScalingList.h"

namespace h265ps {

/// A line for each scaling matrix: default, the same as another one, or its own values (below it when
/// they differ). Lines begin with the indent and end with a newline.
std::string scalingListText(const h265_codec::ScalingListData& lists, unsigned uiIndent);

} // namespace h265ps
