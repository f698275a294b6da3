#pragma once

#include <string>

#include "MovieTracks.h"

namespace h265_container {

/// moov/trak/mdia/minf/stbl
std::string sampleTablePath(const MovieTrack& track);

/// Tells what the boxes of mdia contradict of a track of H.265.
void checkMedia(CUnitOutput& output, const MovieTrack& track);

/// Tells where the tables of a track's samples contradict one another.
void checkSampleTables(CUnitOutput& output, CRandomSource& source, const MovieTrack& track);

} // namespace h265_container
