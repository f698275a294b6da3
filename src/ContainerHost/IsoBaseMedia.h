#pragma once

#include "ContainerSink.h"
#include "H265psExport.h"
#include "RandomSource.h"

namespace H265PS_EXPORT h265_container {

/// Reads a file of boxes, ISO/IEC 14496-12 and 14496-15, 23008-12: movies, QuickTime's too, fragments, and
/// images. pInit is the initialisation segment where the file has media segments only. Samples are read as
/// they lie in the file, whatever an edit list leaves out. Throws h265_stream::CSourceError when the source
/// fails; what is wrong with the file is a finding.
void readIsoBaseMedia(CRandomSource& source, const ContainerOptions& options, CContainerSink& sink,
                      CRandomSource* pInit = nullptr);

} // namespace h265_container
