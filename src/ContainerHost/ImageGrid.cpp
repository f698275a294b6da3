#include "ImageGrid.h"

#include "BoxWalk.h"

namespace h265_container {

std::optional<ImageGrid> readImageGrid(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulSize)
{
    CFieldCursor cursor(source, ulOffset, ulOffset + ulSize);
    cursor.skip(1); // version
    const bool bLarge = (cursor.u8() & 1) != 0;
    ImageGrid grid{};
    grid.uiRows = cursor.u8() + 1;
    grid.uiColumns = cursor.u8() + 1;
    grid.uiWidth = bLarge ? cursor.u32() : cursor.u16();
    grid.uiHeight = bLarge ? cursor.u32() : cursor.u16();
    return cursor.isComplete() ? std::optional(grid) : std::nullopt;
}

std::string whatGridContradicts(const ImageGrid& grid, unsigned uiImages, const std::optional<SizeClaim>& tile)
{
    const auto sizeOf = [](auto width, auto height) {
        return std::to_string(static_cast<std::uint64_t>(width)) + "x" +
               std::to_string(static_cast<std::uint64_t>(height));
    };
    const std::string layout = std::to_string(grid.uiColumns) + "x" + std::to_string(grid.uiRows);
    if (uiImages != grid.uiRows * grid.uiColumns)
        return "is a grid of " + layout + " images, and iref names " + std::to_string(uiImages);
    if (tile && (tile->width * grid.uiColumns < grid.uiWidth || tile->height * grid.uiRows < grid.uiHeight))
        return "makes a picture of " + sizeOf(grid.uiWidth, grid.uiHeight) + ", which " + layout + " images of " +
               sizeOf(tile->width, tile->height) + " do not fill";
    return {};
}

} // namespace h265_container
