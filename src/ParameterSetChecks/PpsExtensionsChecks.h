#pragma once

#include "Finding.h"
#include "PictureParameterSetSyntax.h"
#include "SequenceParameterSetSyntax.h"
#include "VideoParameterSetSyntax.h"

namespace h265_syntax {

/// 7.4.3.3.2, 7.4.3.3.3, F.7.4.3.3.4 to F.7.4.3.3.6, I.7.4.3.3.7: those extensions that the PPS has.
/// pSps can be null.
void checkPpsExtensions(const PictureParameterSet& pps, const SequenceParameterSet* pSps, const CChecks& checks);

/// F.7.4.3.3.4: what they need to know of the layers.
void checkVpsOfPps(const PictureParameterSet& pps, const VideoParameterSet& vps, CFindings& findings);

} // namespace h265_syntax
