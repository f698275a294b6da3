#pragma once

#include <memory>
#include <string>

#include "ByteSource.h"

namespace h265ps {

/// Opens a file, "-" being standard input. Throws CSourceError, also for what is no byte stream of H.265 for
/// certain.
std::unique_ptr<h265_stream::CByteSource> openInputStream(const std::string& file);

} // namespace h265ps
