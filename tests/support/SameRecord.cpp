#include "SameRecord.h"

#include <cstring>

using namespace h265_codec;

namespace h265_test {

namespace {

// Blocks of which both or neither are there, and that hold the same uiBytes.
bool isSameBlock(const void* pLeft, const void* pRight, std::size_t uiBytes)
{
    if (pLeft == nullptr || pRight == nullptr)
        return pLeft == pRight;
    return std::memcmp(pLeft, pRight, uiBytes) == 0;
}

} // namespace

bool isSameRecord(const VPS& left, const VPS& right)
{
    return std::memcmp(&left, &right, sizeof(VPS)) == 0;
}

bool isSameRecord(const SPS& left, const SPS& right)
{
    SPS other;
    std::memcpy(&other, &right, sizeof(SPS));
    other.pScalingList = left.pScalingList;
    other.pShortTermRefPicSet = left.pShortTermRefPicSet;
    return std::memcmp(&left, &other, sizeof(SPS)) == 0 && isSameStore(left.pScalingList, right.pScalingList) &&
           isSameBlock(left.pShortTermRefPicSet,
                       right.pShortTermRefPicSet,
                       left.num_short_term_ref_pic_sets * sizeof(ShortTermRefPicSet));
}

bool isSameRecord(const PPS& left, const PPS& right, const SPS& sps)
{
    PPS other;
    std::memcpy(&other, &right, sizeof(PPS));
    other.CtbAddrTsToRs = left.CtbAddrTsToRs;
    other.CtbAddrRsToTs = left.CtbAddrRsToTs;
    other.TileId = left.TileId;
    other.colWidth = left.colWidth;
    other.rowHeight = left.rowHeight;
    other.pScalingList = left.pScalingList;
    other.pScalingListBuf = left.pScalingListBuf;
    const std::size_t uiTableBytes =
        (static_cast<std::size_t>(sps.PicWidthInCtbsY) * static_cast<std::size_t>(sps.PicHeightInCtbsY) + 1) *
        sizeof(unsigned);
    return std::memcmp(&left, &other, sizeof(PPS)) == 0 && isSameStore(left.pScalingList, right.pScalingList) &&
           isSameBlock(left.colWidth, right.colWidth, (left.num_tile_columns_minus1 + 1) * sizeof(unsigned)) &&
           isSameBlock(left.rowHeight, right.rowHeight, (left.num_tile_rows_minus1 + 1) * sizeof(unsigned)) &&
           isSameBlock(left.CtbAddrTsToRs, right.CtbAddrTsToRs, uiTableBytes) &&
           isSameBlock(left.CtbAddrRsToTs, right.CtbAddrRsToTs, uiTableBytes) &&
           isSameBlock(left.TileId, right.TileId, uiTableBytes);
}

bool isSameStore(const ScalingListData* pLeft, const ScalingListData* pRight)
{
    if (pLeft == nullptr || pRight == nullptr)
        return pLeft == pRight;
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        const std::size_t uiBytes = static_cast<std::size_t>(g_scalingListSize[sizeId]);
        for (unsigned matrixId = 0; matrixId < 6; ++matrixId) {
            const ScalingListMatrix& left = pLeft->aList[sizeId].aMatrix[matrixId];
            const ScalingListMatrix& right = pRight->aList[sizeId].aMatrix[matrixId];
            if (!isSameBlock(left.pCoef, right.pCoef, uiBytes) || !isSameBlock(left.aucCoef, right.aucCoef, 1024))
                return false;
        }
    }
    return true;
}

} // namespace h265_test
