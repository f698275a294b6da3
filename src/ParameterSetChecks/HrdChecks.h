#pragma once

#include "Finding.h"
#include "HrdSyntax.h"

namespace h265_syntax {

/// E.3.2 and E.3.3
void checkHrdParameters(const HrdParameters& s, unsigned maxNumSubLayersMinus1, CChecks checks);

} // namespace h265_syntax
