#pragma once

#include "RecordFields.h"
#include "TextStyle.h"

#include <string>

namespace h265ps {

/// The fields of a record for people: a line for each, in groups that begin with their gist.
std::string textOf(const h265_codec::VPS& vps, const TextStyle& style);
std::string textOf(const h265_codec::SPS& sps, const TextStyle& style);
std::string textOf(const h265_codec::PPS& pps, const TextStyle& style);

/// The sequence in one line: output size, samples, profile, level, coding tree blocks.
std::string summaryOf(const h265_codec::SPS& sps);

} // namespace h265ps
