#pragma once

#include <cstdint>

#include "H265psExport.h"
#include "PictureParameterSet.h"
#include "SequenceParameterSet.h"

namespace H265PS_EXPORT h265_codec {

/// More tile columns, tile rows or tiles than this are refused: far above any level of Annex A, low
/// enough that a few bits of payload cannot ask for gigabytes.
inline constexpr unsigned MAX_TILES = 1U << 20;

/// Whether a grid of so many columns and rows keeps to MAX_TILES.
constexpr bool isTileCountAccepted(std::uint64_t num_tile_columns_minus1, std::uint64_t num_tile_rows_minus1) noexcept
{
    return num_tile_columns_minus1 < MAX_TILES && num_tile_rows_minus1 < MAX_TILES &&
           (num_tile_columns_minus1 + 1) * (num_tile_rows_minus1 + 1) <= MAX_TILES;
}

/// Reads the tile sizes of 7.3.2.3.1 and derives the column widths, row heights and CTB address
/// tables of 6.5.1, with TileId indexed by raster-scan address. On entry the two tile counts and
/// uniform_spacing_flag of *pps are set and colWidth and rowHeight have room for them. Uses
/// PicWidthInCtbsY and PicHeightInCtbsY of *sps. Returns 0; E_BS_NOT_ENOUGH_BITS when the payload runs
/// out, or (no log line) when there are more than MAX_TILES or the sizes do not add up to the picture;
/// E_NO_MEMORY when the pool gives no table.
int readTileGrid(PPS* pps, SPS* sps, tq_util::TMemPool* pMemPool, CBitStreamReader* pBS) noexcept;
int readTileGrid(PPS* pps, SPS* sps, tq_util::TMemPool* pMemPool, CRbspReader* pBS) noexcept;

} // namespace h265_codec
