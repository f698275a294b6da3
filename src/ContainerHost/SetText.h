#pragma once

#include <cstddef>
#include <string_view>

#include "ContainerSink.h"
#include "H265psExport.h"
#include "TextBytes.h"

namespace H265PS_EXPORT h265_container {

/// Bytes of text that are read of one source, and sets in it; what has more is no text of parameter sets.
inline constexpr std::size_t MAX_SET_TEXT_BYTES = std::size_t{1} << 20;
inline constexpr std::size_t MAX_TEXT_SETS = std::size_t{64} << 10;

/// Reads parameter sets that stand alone, as text, separated by commas: NAL units with or without start codes, or a
/// decoder configuration record that holds them. They make up track 1. What is wrong with one is a finding,
/// and the others are read.
void readSetText(std::string_view text, ETextForm eForm, CContainerSink& sink);

} // namespace h265_container
