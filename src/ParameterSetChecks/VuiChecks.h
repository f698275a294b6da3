#pragma once

#include "Finding.h"
#include "SequenceParameterSetSyntax.h"

namespace h265_syntax {

/// E.3.1, with the HRD inside: of the VUI of an SPS, whose picture, chroma format and bit depths count.
void checkVuiParameters(const SequenceParameterSet& sps, CChecks checks);

} // namespace h265_syntax
