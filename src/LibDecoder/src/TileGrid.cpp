#include "TileGrid.h"

#include "ModuleServices.h"
#include "SyntaxRead.h"

#include <algorithm>

namespace h265_codec {

using namespace syntax;

namespace {

// 6.5.1 (6-3) and (6-4), or 7.3.2.3.1 for explicit sizes: the sizes of uiLast + 1 tile columns or rows
// of a picture uiPicture CTBs wide or high. Products and the last explicit size wrap in 32 bits.
template <class TReader>
int readTileSizes(unsigned* aSize, unsigned uiLast, unsigned uiPicture, bool uniform_spacing_flag,
                  TReader* pBS) noexcept
{
    if (uniform_spacing_flag) {
        for (unsigned i = 0; i <= uiLast; ++i)
            aSize[i] = (i + 1) * uiPicture / (uiLast + 1) - i * uiPicture / (uiLast + 1);
        return 0;
    }
    aSize[uiLast] = uiPicture;
    for (unsigned i = 0; i < uiLast; ++i) {
        unsigned uiSize = 0; // column_width_minus1[ i ] + 1 or row_height_minus1[ i ] + 1
        const int iResult = read(pBS, uePlus<unsigned>(uiSize, 1));
        if (iResult != 0)
            return iResult;
        aSize[i] = uiSize;
        aSize[uiLast] -= uiSize;
    }
    return 0;
}

bool addUpTo(const unsigned* aSize, unsigned uiLast, unsigned uiPicture) noexcept
{
    std::uint64_t ulSum = 0;
    for (unsigned i = 0; i <= uiLast; ++i)
        ulSum += aSize[i];
    return ulSum == uiPicture;
}

// One address table for ulEntries entries, unless the record already has one.
int provideTable(PPS* pps, unsigned*& pTable, std::uint64_t ulEntries, tq_util::TMemPool* pMemPool,
                 EPoolTag eTag) noexcept
{
    if (pTable != nullptr)
        return 0;
    pTable = takeBlock<unsigned>(ulEntries, pMemPool, eTag);
    if (pTable == nullptr)
        return E_NO_MEMORY;
    const std::uint32_t uiEntries = static_cast<std::uint32_t>(ulEntries); // below 2^30: the pool gave it
    if (pps->uiAddressTableRoom == 0 || uiEntries < pps->uiAddressTableRoom)
        pps->uiAddressTableRoom = uiEntries;
    return 0;
}

int provideTables(PPS* pps, std::uint64_t ulEntries, tq_util::TMemPool* pMemPool) noexcept
{
    if (pps->CtbAddrTsToRs == nullptr && pps->CtbAddrRsToTs == nullptr && pps->TileId == nullptr)
        pps->uiAddressTableRoom = 0;
    int iResult = provideTable(pps, pps->CtbAddrTsToRs, ulEntries, pMemPool, TAG_TAKE_CTB_ADDR_TS_TO_RS);
    if (iResult != 0)
        return iResult;
    iResult = provideTable(pps, pps->CtbAddrRsToTs, ulEntries, pMemPool, TAG_TAKE_CTB_ADDR_RS_TO_TS);
    if (iResult != 0)
        return iResult;
    return provideTable(pps, pps->TileId, ulEntries, pMemPool, TAG_TAKE_TILE_ID);
}

// A tile, or the part of it that is filled: its first addresses, its size, and its place in the order.
struct Tile
{
    std::uint64_t ulFirstRs;
    std::uint64_t ulFirstTs;
    unsigned uiWidth;
    unsigned uiHeight;
    unsigned uiIndex;
};

// 6.5.1 (6-5) to (6-7) for one tile. TileId goes by raster-scan address on purpose. Tables that an
// earlier, smaller picture left behind end after ulRoom entries: what lies past them is not written.
void fillTile(PPS* pps, const Tile& tile, unsigned uiPicWidth, std::uint64_t ulRoom) noexcept
{
    for (unsigned y = 0; y < tile.uiHeight; ++y) {
        const std::uint64_t ulRs = tile.ulFirstRs + static_cast<std::uint64_t>(y) * uiPicWidth;
        const std::uint64_t ulTs = tile.ulFirstTs + static_cast<std::uint64_t>(y) * tile.uiWidth;
        const std::uint64_t ulRsRun = ulRs < ulRoom ? std::min<std::uint64_t>(tile.uiWidth, ulRoom - ulRs) : 0;
        const std::uint64_t ulTsRun = ulTs < ulRoom ? std::min<std::uint64_t>(tile.uiWidth, ulRoom - ulTs) : 0;
        if (ulRsRun == 0 && ulTsRun == 0)
            return;
        unsigned* const pTsToRs = pps->CtbAddrTsToRs + ulTs;
        unsigned* const pRsToTs = pps->CtbAddrRsToTs + ulRs;
        unsigned* const pTileId = pps->TileId + ulRs;
        for (std::uint64_t x = 0; x < ulTsRun; ++x)
            pTsToRs[x] = static_cast<unsigned>(ulRs + x);
        for (std::uint64_t x = 0; x < ulRsRun; ++x)
            pRsToTs[x] = static_cast<unsigned>(ulTs + x);
        for (std::uint64_t x = 0; x < ulRsRun; ++x)
            pTileId[x] = tile.uiIndex;
    }
}

void fillTables(PPS* pps, unsigned uiPicWidth, std::uint64_t ulPicSize, std::uint64_t ulRoom) noexcept
{
    Tile tile = {};
    std::uint64_t ulFirstOfRow = 0;
    for (unsigned uiRow = 0; uiRow <= pps->num_tile_rows_minus1; ++uiRow) {
        tile.uiHeight = pps->rowHeight[uiRow];
        tile.ulFirstRs = ulFirstOfRow;
        for (unsigned uiCol = 0; uiCol <= pps->num_tile_columns_minus1; ++uiCol) {
            tile.uiWidth = pps->colWidth[uiCol];
            if (tile.uiWidth != 0)
                fillTile(pps, tile, uiPicWidth, ulRoom);
            tile.ulFirstRs += tile.uiWidth;
            tile.ulFirstTs += static_cast<std::uint64_t>(tile.uiWidth) * tile.uiHeight;
            ++tile.uiIndex;
        }
        ulFirstOfRow += static_cast<std::uint64_t>(tile.uiHeight) * uiPicWidth;
    }
    if (ulPicSize < ulRoom) {
        pps->CtbAddrTsToRs[ulPicSize] = 0;
        pps->CtbAddrRsToTs[ulPicSize] = 0;
        pps->TileId[ulPicSize] = 0;
    }
}

template <class TReader>
int readGrid(PPS* pps, SPS* sps, tq_util::TMemPool* pMemPool, TReader* pBS) noexcept
{
    const unsigned uiPicWidth = static_cast<unsigned>(sps->PicWidthInCtbsY);
    const unsigned uiPicHeight = static_cast<unsigned>(sps->PicHeightInCtbsY);
    const unsigned uiLastCol = pps->num_tile_columns_minus1;
    const unsigned uiLastRow = pps->num_tile_rows_minus1;
    if (!isTileCountAccepted(uiLastCol, uiLastRow))
        return E_BS_NOT_ENOUGH_BITS;

    int iResult = readTileSizes(pps->colWidth, uiLastCol, uiPicWidth, pps->uniform_spacing_flag, pBS);
    if (iResult != 0)
        return iResult;
    iResult = readTileSizes(pps->rowHeight, uiLastRow, uiPicHeight, pps->uniform_spacing_flag, pBS);
    if (iResult != 0)
        return iResult;
    if (!addUpTo(pps->colWidth, uiLastCol, uiPicWidth) || !addUpTo(pps->rowHeight, uiLastRow, uiPicHeight))
        return E_BS_NOT_ENOUGH_BITS;

    const std::uint64_t ulPicSize = static_cast<std::uint64_t>(uiPicWidth) * uiPicHeight;
    iResult = provideTables(pps, ulPicSize + 1, pMemPool);
    if (iResult != 0)
        return iResult;
    const bool bRoomKnown = pps->uiAddressTableRoom != 0;
    fillTables(pps, uiPicWidth, ulPicSize, bRoomKnown ? pps->uiAddressTableRoom : ulPicSize + 1);
    return 0;
}

} // namespace

int readTileGrid(PPS* pps, SPS* sps, tq_util::TMemPool* pMemPool, CBitStreamReader* pBS) noexcept
{
    return readGrid(pps, sps, pMemPool, pBS);
}

int readTileGrid(PPS* pps, SPS* sps, tq_util::TMemPool* pMemPool, CRbspReader* pBS) noexcept
{
    return readGrid(pps, sps, pMemPool, pBS);
}

} // namespace h265_codec
