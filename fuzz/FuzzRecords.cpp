#include "FuzzRecords.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

using namespace h265_codec;

namespace h265_fuzz {

namespace {

bool isMatrixOfStore(const unsigned char* pCoef, const ScalingList& list)
{
    return std::any_of(std::begin(list.aMatrix), std::end(list.aMatrix), [&](const ScalingListMatrix& matrix) {
        return pCoef == matrix.aucCoef;
    });
}

bool isDefault(const unsigned char* pCoef)
{
    const unsigned char* const apDefault[] = {nullptr,
                                              g_deQuantSLDefault4x4,
                                              g_deQuantSLIntraDefault8x8,
                                              g_deQuantSLInterDefault8x8,
                                              g_deQuantSLIntraDefault16x16,
                                              g_deQuantSLInterDefault16x16,
                                              g_deQuantSLIntraDefault32x32,
                                              g_deQuantSLInterDefault32x32};
    return std::find(std::begin(apDefault), std::end(apDefault), pCoef) != std::end(apDefault);
}

std::uint64_t sumOf(const unsigned* aSize, unsigned uiLast)
{
    std::uint64_t ulSum = 0;
    for (unsigned i = 0; i <= uiLast; ++i)
        ulSum += aSize[i];
    return ulSum;
}

} // namespace

void checkMatrices(const ScalingListData& lists)
{
    for (const ScalingList& list : lists.aList) {
        for (const ScalingListMatrix& matrix : list.aMatrix)
            check(isDefault(matrix.pCoef) || isMatrixOfStore(matrix.pCoef, list), "a matrix points at one of its size");
    }
}

void checkCounts(const ShortTermRefPicSet& set)
{
    check(set.NumDeltaPocs == static_cast<unsigned char>(set.NumNegativePics + set.NumPositivePics),
          "the counts of a set add up in 8 bits");
}

void checkTiles(const PPS& pps, const SPS& sps)
{
    const unsigned uiWidth = static_cast<unsigned>(sps.PicWidthInCtbsY);
    const unsigned uiHeight = static_cast<unsigned>(sps.PicHeightInCtbsY);
    const std::size_t uiCtbs = static_cast<std::size_t>(uiWidth) * uiHeight;
    check(sumOf(pps.colWidth, pps.num_tile_columns_minus1) == uiWidth, "the tile columns fill the picture");
    check(sumOf(pps.rowHeight, pps.num_tile_rows_minus1) == uiHeight, "the tile rows fill the picture");
    check(pps.CtbAddrTsToRs[uiCtbs] == 0 && pps.CtbAddrRsToTs[uiCtbs] == 0 && pps.TileId[uiCtbs] == 0,
          "the tables end with 0");
    const std::uint64_t ulTiles = (pps.num_tile_columns_minus1 + std::uint64_t{1}) * (pps.num_tile_rows_minus1 + 1);
    for (std::size_t i = 0; i < uiCtbs; ++i) {
        const unsigned uiTs = pps.CtbAddrRsToTs[i];
        check(uiTs < uiCtbs && pps.CtbAddrTsToRs[uiTs] == i, "the two scans undo each other");
        check(pps.TileId[i] < ulTiles, "a CTB lies in a tile");
        const unsigned uiNext = uiTs + 1 < uiCtbs ? pps.CtbAddrTsToRs[uiTs + 1] : static_cast<unsigned>(i);
        check(pps.TileId[i] <= pps.TileId[uiNext], "tiles follow each other in tile scan");
    }
}

} // namespace h265_fuzz
