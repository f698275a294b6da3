#pragma once

#include "DecParameterSetReader.h"
#include "FuzzInput.h"

namespace h265_fuzz {

/// Checks that each matrix is null, a default, or one that the store holds at the same size.
void checkMatrices(const h265_codec::ScalingListData& lists);

/// Checks the counts of a set against each other, as far as a reading that succeeded promises.
void checkCounts(const h265_codec::ShortTermRefPicSet& set);

/// Checks the tile tables that a fresh record was given for the picture of sps: sizes that add up, and
/// two scans that undo each other (6.5.1).
void checkTiles(const h265_codec::PPS& pps, const h265_codec::SPS& sps);

} // namespace h265_fuzz
