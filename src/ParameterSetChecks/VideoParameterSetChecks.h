#pragma once

#include "Finding.h"
#include "VideoParameterSetSyntax.h"

namespace h265_syntax {

/// The constraints of 7.4.3.1 on a VPS, those of its structures and extensions included.
void checkVideoParameterSet(const VideoParameterSet& s, CFindings& findings);

} // namespace h265_syntax
