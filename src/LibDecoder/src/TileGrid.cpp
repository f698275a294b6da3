#include "TileGrid.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ModuleServices.h"
#include "SyntaxRead.h"

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

// Whether the sizes fill the picture exactly; what does not could not be filled into its tables.
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

// The three address tables, each kept when the record already has it.
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

// Four table entries at a time; clang and gcc make no vectors of such loops at -O2 by themselves.
using Entries4 = std::uint32_t __attribute__((vector_size(16)));

// Writes uiFirst, uiFirst + STEP, … to uiCount entries. What lies up to three entries behind them, but
// before pEnd, may be overwritten too: runs are written front to back. STEP is no argument: SSE2 has no
// product of such vectors, and making it took an eighth of the time of 10x8 tiles.
template <unsigned STEP>
void writeRun(unsigned* pRun, std::size_t uiCount, unsigned uiFirst, const unsigned* pEnd) noexcept
{
    if (uiCount + 3 > static_cast<std::size_t>(pEnd - pRun)) {
        for (std::size_t x = 0; x < uiCount; ++x)
            pRun[x] = uiFirst + static_cast<unsigned>(x) * STEP;
        return;
    }
    Entries4 entries = uiFirst + Entries4{0, 1, 2, 3} * STEP;
#ifdef __clang__ // a tile's run has a few vectors: unrolled, 10x8 tiles take an eighth more time
#pragma clang loop unroll(disable)
#endif
    for (std::size_t x = 0; x < uiCount; x += 4, entries += 4 * STEP)
        std::memcpy(pRun + x, &entries, sizeof(entries));
}

// One row of a table from the two rows before it, in which every entry grows by the same amount as
// from row to row before.
void continueRows(unsigned* pRow, std::size_t uiWidth) noexcept
{
    const unsigned* const pBefore = pRow - uiWidth;
    const unsigned* const pTwoBefore = pBefore - uiWidth;
    std::size_t x = 0;
    for (; x + 4 <= uiWidth; x += 4) {
        Entries4 before;
        Entries4 twoBefore;
        std::memcpy(&before, pBefore + x, sizeof(before));
        std::memcpy(&twoBefore, pTwoBefore + x, sizeof(twoBefore));
        before += before - twoBefore;
        std::memcpy(pRow + x, &before, sizeof(before));
    }
    for (; x < uiWidth; ++x)
        pRow[x] = 2 * pBefore[x] - pTwoBefore[x];
}

// 6.5.1 (6-7) to (6-9) for one row of tiles; uiFirst is its first address in either scan. TileId goes
// by raster-scan address on purpose.
void fillTileRow(PPS* pps, std::size_t uiFirst, std::size_t uiPicWidth, unsigned uiHeight, unsigned uiFirstTile,
                 std::size_t uiPicSize) noexcept
{
    const unsigned* const pEndOfTsToRs = pps->CtbAddrTsToRs + uiPicSize + 1;
    const unsigned* const pEndOfRsToTs = pps->CtbAddrRsToTs + uiPicSize + 1;
    const unsigned* const pEndOfTileId = pps->TileId + uiPicSize + 1;
    unsigned* const pRsToTs = pps->CtbAddrRsToTs + uiFirst;
    unsigned* const pTileId = pps->TileId + uiFirst;
    const unsigned uiColumns = pps->num_tile_columns_minus1 + 1;

    std::size_t uiTs = uiFirst;
    std::size_t uiColumn = 0;
    for (unsigned i = 0; i < uiColumns; ++i) {
        const std::size_t uiWidth = pps->colWidth[i];
        writeRun<1>(pRsToTs + uiColumn, uiWidth, static_cast<unsigned>(uiTs), pEndOfRsToTs);
        writeRun<0>(pTileId + uiColumn, uiWidth, uiFirstTile + i, pEndOfTileId);
        std::size_t uiRs = uiFirst + uiColumn;
        for (unsigned y = 0; uiWidth != 0 && y < uiHeight; ++y, uiTs += uiWidth, uiRs += uiPicWidth)
            writeRun<1>(pps->CtbAddrTsToRs + uiTs, uiWidth, static_cast<unsigned>(uiRs), pEndOfTsToRs);
        uiColumn += uiWidth;
    }
    if (uiHeight == 1)
        return;

    // The second row is each tile's second run; every further one continues the two before it.
    uiColumn = 0;
    for (unsigned i = 0; i < uiColumns; ++i) {
        const unsigned uiWidth = pps->colWidth[i];
        const unsigned uiSecondRun = static_cast<unsigned>(uiFirst + uiColumn * uiHeight + uiWidth);
        writeRun<1>(pRsToTs + uiPicWidth + uiColumn, uiWidth, uiSecondRun, pEndOfRsToTs);
        uiColumn += uiWidth;
    }
    for (std::size_t y = 2; y < uiHeight; ++y)
        continueRows(pRsToTs + y * uiPicWidth, uiPicWidth);
    for (std::size_t y = 1; y < uiHeight; ++y)
        std::memcpy(pTileId + y * uiPicWidth, pTileId, uiPicWidth * sizeof(unsigned));
}

// 6.5.1 for all rows of tiles, and the entry behind the last CTB.
void fillTables(PPS* pps, std::size_t uiPicWidth, std::size_t uiPicSize) noexcept
{
    std::size_t uiFirst = 0;
    unsigned uiFirstTile = 0;
    for (unsigned i = 0; i <= pps->num_tile_rows_minus1; ++i) {
        if (pps->rowHeight[i] != 0 && uiPicWidth != 0)
            fillTileRow(pps, uiFirst, uiPicWidth, pps->rowHeight[i], uiFirstTile, uiPicSize);
        uiFirst += uiPicWidth * pps->rowHeight[i];
        uiFirstTile += pps->num_tile_columns_minus1 + 1;
    }
    pps->CtbAddrTsToRs[uiPicSize] = 0;
    pps->CtbAddrRsToTs[uiPicSize] = 0;
    pps->TileId[uiPicSize] = 0;
}

// The same into tables that an earlier, smaller picture left behind: they end after ulRoom entries, and
// what lies past them is not written.
void fillPartOfTile(PPS* pps, std::uint64_t ulRs, std::uint64_t ulTs, std::uint64_t ulWidth, unsigned uiTile,
                    std::uint64_t ulRoom) noexcept
{
    for (std::uint64_t x = 0; x < ulWidth && ulTs + x < ulRoom; ++x)
        pps->CtbAddrTsToRs[ulTs + x] = static_cast<unsigned>(ulRs + x);
    for (std::uint64_t x = 0; x < ulWidth && ulRs + x < ulRoom; ++x) {
        pps->CtbAddrRsToTs[ulRs + x] = static_cast<unsigned>(ulTs + x);
        pps->TileId[ulRs + x] = uiTile;
    }
}

void fillPartOfTables(PPS* pps, unsigned uiPicWidth, std::uint64_t ulRoom) noexcept
{
    std::uint64_t ulFirstOfRow = 0;
    std::uint64_t ulTs = 0;
    unsigned uiTile = 0;
    for (unsigned uiRow = 0; uiRow <= pps->num_tile_rows_minus1 && ulFirstOfRow < ulRoom; ++uiRow) {
        const unsigned uiHeight = pps->rowHeight[uiRow];
        std::uint64_t ulFirstOfTile = ulFirstOfRow;
        for (unsigned uiCol = 0; uiCol <= pps->num_tile_columns_minus1; ++uiCol, ++uiTile) {
            const std::uint64_t ulWidth = pps->colWidth[uiCol];
            std::uint64_t ulRs = ulFirstOfTile;
            std::uint64_t ulTsOfRow = ulTs;
            for (unsigned y = 0; ulWidth != 0 && y < uiHeight && (ulRs < ulRoom || ulTsOfRow < ulRoom); ++y) {
                fillPartOfTile(pps, ulRs, ulTsOfRow, ulWidth, uiTile, ulRoom);
                ulRs += uiPicWidth;
                ulTsOfRow += ulWidth;
            }
            ulFirstOfTile += ulWidth;
            ulTs += ulWidth * uiHeight;
        }
        ulFirstOfRow += std::uint64_t{uiHeight} * uiPicWidth;
    }
}

// 7.3.2.3.1, column_width_minus1 and row_height_minus1, and what 6.5.1 derives from them
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
    if (pps->uiAddressTableRoom == 0 || ulPicSize < pps->uiAddressTableRoom)
        fillTables(pps, uiPicWidth, static_cast<std::size_t>(ulPicSize));
    else
        fillPartOfTables(pps, uiPicWidth, pps->uiAddressTableRoom);
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
