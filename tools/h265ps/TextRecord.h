#pragma once

#include <string>

#include "RecordFields.h"
#include "TextStyle.h"

namespace h265ps {

/// The fields of a record for people: a line for each, in groups that begin with their gist.
std::string textOf(const h265_codec::VPS& vps, const TextStyle& style);
std::string textOf(const h265_codec::SPS& sps, const TextStyle& style);
/// spsOfPps: the SPS that the PPS was read against, null when that is not known.
std::string textOf(const h265_codec::PPS& pps, const h265_codec::SPS* spsOfPps, const TextStyle& style);

} // namespace h265ps
