#pragma once

#include <vector>

#include "MovieTracks.h"

namespace h265_container {

/// ISO/IEC 14496-12 8.8.1: the defaults of mvex.
void readFragmentDefaults(CUnitOutput& output, CRandomSource& source, const Box& mvex, std::vector<MovieTrack>& tracks);

/// ISO/IEC 14496-12 8.8.4: delivers the samples of a movie fragment.
void deliverFragment(CUnitOutput& output, CRandomSource& source, const Box& moof, std::vector<MovieTrack>& tracks);

} // namespace h265_container
