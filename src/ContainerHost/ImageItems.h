#pragma once

#include "BoxWalk.h"

namespace h265_container {

/// ISO/IEC 14496-12 8.11 and 23008-12: the image items of a meta box. True when it holds items, and so is
/// what the file is about.
bool deliverImageItems(CUnitOutput& output, CRandomSource& source, const Box& meta);

} // namespace h265_container
