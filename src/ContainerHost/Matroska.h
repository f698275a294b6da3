#pragma once

#include "ContainerSink.h"
#include "H265psExport.h"
#include "RandomSource.h"

namespace H265PS_EXPORT h265_container {

/// Reads a Matroska or WebM-like file, RFC 9559, also one that is still being written. Throws
/// h265_stream::CSourceError when the source fails; what is wrong with the file is a finding.
void readMatroska(CRandomSource& source, const ContainerOptions& options, CContainerSink& sink);

} // namespace h265_container
