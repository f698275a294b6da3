#pragma once

#include "Finding.h"
#include "VideoParameterSetSyntax.h"

namespace h265_syntax {

/// F.7.4.3.1 and I.7.4.3.1: what a VPS says of its layers. checks: of the VPS.
void checkVpsExtension(const VideoParameterSet& vps, CChecks checks);

/// F.7.4.3.1.4 to F.7.4.3.1.6: of its VUI. checks: of vps_extension( ).
void checkVpsVui(const VideoParameterSet& vps, const CChecks& checks);

} // namespace h265_syntax
