#include "ScanTables.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

namespace scan_tables_test {

namespace {

using namespace h265_codec;

constexpr unsigned DIAGONAL = 0;
constexpr unsigned HORIZONTAL = 1;
constexpr unsigned VERTICAL = 2;

std::vector<int> tableOf(unsigned scanIdx, unsigned uiSize)
{
    const int iSide = 4 << uiSize;
    const std::int16_t* const pScan = g_pScanIdx[scanIdx][uiSize];
    return std::vector<int>(pScan, pScan + iSide * iSide);
}

// The scan as 6.5.3 states it: two loops that walk from the lower left to the upper right.
std::vector<int> walkUpRight(int blkSize)
{
    std::vector<int> scan;
    int x = 0;
    int y = 0;
    bool stopLoop = false;
    while (!stopLoop) {
        while (y >= 0) {
            if (x < blkSize && y < blkSize)
                scan.push_back(y * blkSize + x);
            --y;
            ++x;
        }
        y = x;
        x = 0;
        stopLoop = static_cast<int>(scan.size()) >= blkSize * blkSize;
    }
    return scan;
}

TEST(ScanTables, Diagonal4x4IsTheOneOfClause653)
{
    const std::vector<int> expected = {0, 4, 1, 8, 5, 2, 12, 9, 6, 3, 13, 10, 7, 14, 11, 15};
    EXPECT_EQ(tableOf(DIAGONAL, 0), expected);
}

TEST(ScanTables, DiagonalsGoFromLowerLeftToUpperRight)
{
    for (unsigned uiSize = 0; uiSize < 4; ++uiSize)
        EXPECT_EQ(tableOf(DIAGONAL, uiSize), walkUpRight(4 << uiSize)) << uiSize;
}

TEST(ScanTables, HorizontalGoesRowByRow)
{
    for (unsigned uiSize = 0; uiSize < 4; ++uiSize) {
        std::vector<int> expected;
        for (int y = 0; y < 4 << uiSize; ++y) {
            for (int x = 0; x < 4 << uiSize; ++x)
                expected.push_back(y * (4 << uiSize) + x);
        }
        EXPECT_EQ(tableOf(HORIZONTAL, uiSize), expected) << uiSize;
    }
}

TEST(ScanTables, VerticalGoesColumnByColumn)
{
    for (unsigned uiSize = 0; uiSize < 4; ++uiSize) {
        std::vector<int> expected;
        for (int x = 0; x < 4 << uiSize; ++x) {
            for (int y = 0; y < 4 << uiSize; ++y)
                expected.push_back(y * (4 << uiSize) + x);
        }
        EXPECT_EQ(tableOf(VERTICAL, uiSize), expected) << uiSize;
    }
}

TEST(ScanTables, EveryTableVisitsEachPositionOnce)
{
    for (unsigned scanIdx = 0; scanIdx < std::size(g_pScanIdx); ++scanIdx) {
        for (unsigned uiSize = 0; uiSize < std::size(g_pScanIdx[0]); ++uiSize) {
            std::vector<int> positions = tableOf(scanIdx, uiSize);
            std::sort(positions.begin(), positions.end());
            for (std::size_t i = 0; i < positions.size(); ++i)
                ASSERT_EQ(positions[i], static_cast<int>(i)) << scanIdx << ' ' << uiSize;
        }
    }
}

} // namespace
} // namespace scan_tables_test
