#pragma once

#include <string>

#include "Finding.h"

namespace h265ps {

/// "error: vui_parameters.colour_primaries: sentence [clause]"; bWithElement false: without the element's path.
std::string findingText(const h265_syntax::Finding& finding, bool bWithElement);

} // namespace h265ps
