#pragma once

#include "Finding.h"
#include "ScalingListDataSyntax.h"

namespace h265_syntax {

/// 7.4.5
void checkScalingListData(const ScalingListDataSyntax& s, CChecks checks);

} // namespace h265_syntax
