#pragma once

#include <cstdint>
#include <string_view>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

/// What a value of a syntax element means, in a few words: "BT.2020" for colour_primaries 9, "4:2:0" for
/// chroma_format_idc 1, "reserved" where the standard keeps a value for later. Empty where the value says
/// it all. The name is the standard's, without indices; elements of the VPS extension that repeat one of
/// the VUI (colour_primaries_vps) have its meanings.
[[nodiscard]] std::string_view meaningOf(std::string_view element, std::int64_t iValue) noexcept;

} // namespace h265_syntax
