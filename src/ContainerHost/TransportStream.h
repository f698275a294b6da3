#pragma once

#include "ContainerSink.h"
#include "H265psExport.h"
#include "RandomSource.h"

namespace H265PS_EXPORT h265_container {

/// Reads an MPEG-2 transport stream, ITU-T H.222.0: what its tables call H.265, and what shows itself to be
/// H.265 where there are no tables. Throws h265_stream::CSourceError when the source fails; what is wrong
/// with the stream is a finding.
void readTransportStream(CRandomSource& source, const ContainerOptions& options, CContainerSink& sink);

} // namespace h265_container
