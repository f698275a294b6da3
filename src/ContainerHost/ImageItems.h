#pragma once

#include "BoxWalk.h"

namespace h265_container {

/// ISO/IEC 14496-12 8.11 and 23008-12: the image items of a meta box. True when it holds items, and so is
/// what the file is about. ulFileBegin: where the file begins among others that are joined to it.
bool deliverImageItems(CUnitOutput& output, CRandomSource& source, const Box& meta, std::uint64_t ulFileBegin);

} // namespace h265_container
