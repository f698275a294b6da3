#pragma once

#include <map>
#include <string>

#include "ParameterSetStream.h"
#include "RecordFields.h"
#include "TextStyle.h"

namespace h265ps {

/// The fields of a record for people: a line for each, in groups that begin with their gist.
std::string textOf(const h265_codec::VPS& vps, const TextStyle& style);
std::string textOf(const h265_codec::SPS& sps, const TextStyle& style);
/// spsOfPps: the SPS that the PPS was read against, null when that is not known.
std::string textOf(const h265_codec::PPS& pps, const h265_codec::SPS* spsOfPps, const TextStyle& style);

/// What a decoder derives from the set, and draws of it, by the groups of its record; empty without a record.
std::map<EGroup, std::string> derivedTexts(const h265_stream::ParameterSetEvent& event, const TextStyle& style);

} // namespace h265ps
