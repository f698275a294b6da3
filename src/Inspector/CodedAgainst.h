#pragma once

#include <string_view>

namespace h265_inspect {

/// What the slices of a stream are coded against: an element of a VPS, SPS or PPS by which they are parsed or
/// decoded. In words ("the picture size"); empty for an element that describes the stream and may change
/// without them: VUI, HRD, windows, profile, tier and level, timing, ordering.
std::string_view codedAgainst(unsigned nal_unit_type, std::string_view path);

/// Whether SEI messages are parsed by an element (D.2.2, D.2.3).
bool isSeiParsedBy(std::string_view path);

} // namespace h265_inspect
