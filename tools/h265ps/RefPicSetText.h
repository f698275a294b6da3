#pragma once

#include <cstddef>
#include <string>

#include "ShortTermRefPicSet.h"
#include "TextStyle.h"

namespace h265ps {

/// One line for a short-term reference picture set: the POC deltas, and of a predicted one what it was predicted
/// with. pReference: the set that it was predicted from; null for the first one.
std::string refPicSetText(std::size_t uiIndex, const h265_codec::ShortTermRefPicSet& set,
                          const h265_codec::ShortTermRefPicSet* pReference, const TextStyle& style);

} // namespace h265ps
