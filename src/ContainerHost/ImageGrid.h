#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ContainerClaims.h"
#include "RandomSource.h"

namespace h265_container {

/// ISO/IEC 23008-12 6.6.2.3: an image that is put together of others, row by row.
struct ImageGrid
{
    unsigned uiRows;
    unsigned uiColumns;
    std::uint32_t uiWidth; // of the picture that it makes
    std::uint32_t uiHeight;
};

/// Reads the content of a grid item; none when it is too short.
std::optional<ImageGrid> readImageGrid(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulSize);

/// Why a grid does not go with its images: uiImages of them, of size tile where that is known. Empty when it does.
std::string whatGridContradicts(const ImageGrid& grid, unsigned uiImages, const std::optional<SizeClaim>& tile);

} // namespace h265_container
