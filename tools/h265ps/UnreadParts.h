#pragma once

#include <string>

#include "Inspector.h"

namespace h265ps {

/// The parts of a set that its record has nothing of, VUI and extensions, with their length: "vui_parameters,
/// 72 bits; sps_range_extension, 9 bits: not in the record". Empty when there are none or the syntax is not known.
std::string unreadPartsText(const h265_inspect::InspectedSet& set);

} // namespace h265ps
