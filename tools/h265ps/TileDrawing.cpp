#include "TileDrawing.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

#include "FormattedText.h"

namespace h265ps {

namespace {

constexpr std::size_t MAX_COLUMNS = 20; // the most that level 6.2 allows
constexpr std::size_t MAX_ROWS = 22;
constexpr std::uint64_t CANVAS_WIDTH = 72;

// Characters of each column, in proportion to its CTBs, never less than its numbers need.
std::vector<std::size_t> cellWidths(std::span<const unsigned> colWidth, std::size_t uiNumberWidth)
{
    std::uint64_t ulCtbs = 0;
    for (const unsigned uiWidth : colWidth)
        ulCtbs += uiWidth;
    const std::uint64_t ulCanvas = std::min(CANVAS_WIDTH, 2 * ulCtbs);
    // Room on both sides of the numbers where the drawing stays narrow with it.
    const std::size_t uiRoom = colWidth.size() * (uiNumberWidth + 3) <= CANVAS_WIDTH ? 2 : 0;
    std::vector<std::size_t> widths;
    for (const unsigned uiWidth : colWidth) {
        const std::uint64_t ulShare = ulCtbs != 0 ? (uiWidth * ulCanvas + ulCtbs / 2) / ulCtbs : 0;
        const std::size_t uiLeast = std::max(uiNumberWidth, formatted("{}", uiWidth).size()) + uiRoom;
        widths.push_back(std::max(static_cast<std::size_t>(ulShare), uiLeast));
    }
    return widths;
}

} // namespace

std::string drawTiles(std::span<const unsigned> colWidth, std::span<const unsigned> rowHeight, unsigned uiIndent)
{
    const std::span<const unsigned> columns = colWidth.first(std::min(colWidth.size(), MAX_COLUMNS));
    const std::span<const unsigned> rows = rowHeight.first(std::min(rowHeight.size(), MAX_ROWS));
    const std::size_t uiLastTile = rows.empty() ? 0 : (rows.size() - 1) * colWidth.size() + columns.size();
    const std::vector<std::size_t> widths = cellWidths(columns, formatted("{}", uiLastTile).size());
    std::size_t uiMargin = 1;
    for (const unsigned uiHeight : rows)
        uiMargin = std::max(uiMargin, formatted("{}", uiHeight).size());

    std::string drawing;
    std::string border = formatted("{:{}}{:{}} +", "", uiIndent, "", uiMargin);
    appendFormatted(drawing, "{:{}}{:{}}  ", "", uiIndent, "", uiMargin);
    for (std::size_t i = 0; i < columns.size(); ++i) {
        appendFormatted(drawing, "{:^{}} ", columns[i], widths[i]);
        border += std::string(widths[i], '-') + '+';
    }
    appendFormatted(drawing, "{}\n{}\n", colWidth.size() > columns.size() ? "..." : " CTBs", border);
    for (std::size_t j = 0; j < rows.size(); ++j) {
        appendFormatted(drawing, "{:{}}{:>{}} |", "", uiIndent, rows[j], uiMargin);
        for (std::size_t i = 0; i < columns.size(); ++i)
            appendFormatted(drawing, "{:^{}}|", j * colWidth.size() + i, widths[i]);
        appendFormatted(drawing, "\n{}\n", border);
    }
    if (columns.size() < colWidth.size() || rows.size() < rowHeight.size())
        appendFormatted(drawing,
                        "{:{}}drawn: {} of {} columns, {} of {} rows\n",
                        "",
                        uiIndent,
                        columns.size(),
                        colWidth.size(),
                        rows.size(),
                        rowHeight.size());
    return drawing;
}

} // namespace h265ps
