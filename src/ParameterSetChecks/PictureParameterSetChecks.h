#pragma once

#include <cstdint>

#include "Finding.h"
#include "PictureParameterSetSyntax.h"
#include "SequenceParameterSetSyntax.h"

namespace h265_syntax {

/// The constraints of 7.4.3.3 on a PPS by itself and, when its SPS is known, on what the two are together.
/// pSps can be null. Without profile and level.
void checkPictureParameterSet(const PictureParameterSet& s, const SequenceParameterSet* pSps, CFindings& findings);

/// The size of a tile column or row in CTBs, 6.5.1 (6-3) and (6-4); 0 where the explicit ones leave nothing.
/// uiPicCtbs: of the picture in that direction.
[[nodiscard]] std::uint64_t tileSize(bool uniform_spacing_flag, const std::vector<std::uint32_t>& sizes_minus1,
                                     std::uint64_t ulTiles, std::uint64_t ulPicCtbs, std::uint64_t i) noexcept;

} // namespace h265_syntax
