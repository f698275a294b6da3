#pragma once

#include <string>

#include "FilePlace.h"
#include "Finding.h"

namespace h265ps {

/// "error: vui_parameters.colour_primaries: sentence [clause]"; bWithElement false: without the element's path.
std::string findingText(const h265_syntax::Finding& finding, bool bWithElement);

/// The same of a file, with its box in front: "error: moov/trak/tkhd: sentence". A note is "note: ...".
std::string findingText(const h265_inspect::FileFinding& finding);

/// A finding of a set, with the set's place.
h265_inspect::FileFinding findingOf(const h265_inspect::FileSet& told, const h265_syntax::Finding& finding);

} // namespace h265ps
