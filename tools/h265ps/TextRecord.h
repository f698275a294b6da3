#pragma once

#include <map>
#include <string>

#include "ParameterSetStream.h"
#include "RecordFields.h"
#include "TextStyle.h"

namespace h265ps {

/// The record of a set for people: a line for each field, in groups that begin with their gist. Empty without one.
/// unreadParts: what the set holds beside it.
std::string recordText(const h265_stream::ParameterSetEvent& event, const std::string& unreadParts,
                       const TextStyle& style);

/// What a decoder derives from the set, and draws of it, by the groups of its record; empty without a record.
std::map<EGroup, std::string> derivedTexts(const h265_stream::ParameterSetEvent& event, const TextStyle& style);

} // namespace h265ps
