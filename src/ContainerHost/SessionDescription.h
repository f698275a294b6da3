#pragma once

#include "ContainerSink.h"
#include "H265psExport.h"
#include "RandomSource.h"

namespace H265PS_EXPORT h265_container {

/// Reads a session description, RFC 8866, with H.265 as RFC 7798 has it: each media section with it is a track, its
/// number that of the section, and sprop-vps, sprop-sps and sprop-pps hold its parameter sets. Lines may be folded.
/// Throws h265_stream::CSourceError when the source fails; what is wrong with the description is a finding.
void readSessionDescription(CRandomSource& source, const ContainerOptions& options, CContainerSink& sink);

} // namespace h265_container
