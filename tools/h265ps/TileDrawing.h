#pragma once

#include <span>
#include <string>

namespace h265ps {

/// Draws a tile grid: a box for each tile with its number in tile order, the widths of the columns
/// above and the heights of the rows to the left, in CTBs. Each line begins with the indent and ends
/// with a newline. A grid too large for a screen is cut, and says so.
std::string drawTiles(std::span<const unsigned> colWidth, std::span<const unsigned> rowHeight, unsigned uiIndent);

} // namespace h265ps
