#include "ScalingListTables.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ScanTables.h"

namespace scaling_list_tables_test {

namespace {

using namespace h265_codec;

// The default matrices as a decoder applies them, row by row.
// clang-format off
constexpr unsigned char INTRA_ROWS[8][8] = {
    {16, 16, 16, 16, 17, 18, 21,  24},
    {16, 16, 16, 16, 17, 19, 22,  25},
    {16, 16, 17, 18, 20, 22, 25,  29},
    {16, 16, 18, 21, 24, 27, 31,  36},
    {17, 17, 20, 24, 30, 35, 41,  47},
    {18, 19, 22, 27, 35, 44, 54,  65},
    {21, 22, 25, 31, 41, 54, 70,  88},
    {24, 25, 29, 36, 47, 65, 88, 115},
};
constexpr unsigned char INTER_ROWS[8][8] = {
    {16, 16, 16, 16, 17, 18, 20, 24},
    {16, 16, 16, 17, 18, 20, 24, 25},
    {16, 16, 17, 18, 20, 24, 25, 28},
    {16, 17, 18, 20, 24, 25, 28, 33},
    {17, 18, 20, 24, 25, 28, 33, 41},
    {18, 20, 24, 25, 28, 33, 41, 54},
    {20, 24, 25, 28, 33, 41, 54, 71},
    {24, 25, 28, 33, 41, 54, 71, 91},
};

// Table 7-6, rows i = 0 … 15, 16 … 31, 32 … 47, 48 … 63.
constexpr unsigned char INTRA_CODED[64] = {
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 17, 16, 17, 16, 17, 18,
    17, 18, 18, 17, 18, 21, 19, 20, 21, 20, 19, 21, 24, 22, 22, 24,
    24, 22, 22, 24, 25, 25, 27, 30, 27, 25, 25, 29, 31, 35, 35, 31,
    29, 36, 41, 44, 41, 36, 47, 54, 54, 47, 65, 70, 65, 88, 88, 115,
};
constexpr unsigned char INTER_CODED[64] = {
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 17, 17, 17, 17, 17, 18,
    18, 18, 18, 18, 18, 20, 20, 20, 20, 20, 20, 20, 24, 24, 24, 24,
    24, 24, 24, 24, 25, 25, 25, 25, 25, 25, 25, 28, 28, 28, 28, 28,
    28, 33, 33, 33, 33, 33, 41, 41, 41, 41, 54, 54, 54, 71, 71, 91,
};
// clang-format on

// Raster positions of an 8x8 block in the order of 6.5.3: by diagonal, then by column.
std::vector<int> diagonal8x8()
{
    std::vector<std::pair<int, int>> order; // diagonal, x
    for (int x = 0; x < 8; ++x) {
        for (int y = 0; y < 8; ++y)
            order.emplace_back(x + y, x);
    }
    std::sort(order.begin(), order.end());
    std::vector<int> positions;
    for (const auto& [iDiagonal, x] : order)
        positions.push_back((iDiagonal - x) * 8 + x);
    return positions;
}

void expectUpSampled(const unsigned char* pTable, const unsigned char (&aRows)[8][8], int iRatio)
{
    const int iSide = 8 * iRatio;
    for (int y = 0; y < iSide; ++y) {
        for (int x = 0; x < iSide; ++x)
            ASSERT_EQ(pTable[y * iSide + x], aRows[y / iRatio][x / iRatio]) << "y " << y << ", x " << x;
    }
}

TEST(ScalingListTables, CountOfCodedMatricesPerSize)
{
    EXPECT_EQ(std::vector<int>(std::begin(g_scalingListNum), std::end(g_scalingListNum)),
              (std::vector<int>{6, 6, 6, 2}));
}

TEST(ScalingListTables, CoefficientsPerMatrix)
{
    EXPECT_EQ(std::vector<int>(std::begin(g_scalingListSize), std::end(g_scalingListSize)),
              (std::vector<int>{16, 64, 256, 1024}));
}

TEST(ScalingListTables, Default4x4IsFlat16)
{
    for (const unsigned char ucCoef : g_deQuantSLDefault4x4)
        EXPECT_EQ(ucCoef, 16);
}

TEST(ScalingListTables, Defaults8x8HoldEachRowOfTheMatrices)
{
    expectUpSampled(g_deQuantSLIntraDefault8x8, INTRA_ROWS, 1);
    expectUpSampled(g_deQuantSLInterDefault8x8, INTER_ROWS, 1);
}

TEST(ScalingListTables, Defaults8x8AreTable76InScanOrder)
{
    const std::vector<int> scan = diagonal8x8();
    for (unsigned i = 0; i < 64; ++i) {
        EXPECT_EQ(g_deQuantSLIntraDefault8x8[scan[i]], INTRA_CODED[i]) << i;
        EXPECT_EQ(g_deQuantSLInterDefault8x8[scan[i]], INTER_CODED[i]) << i;
    }
}

TEST(ScalingListTables, Defaults16x16RepeatEachCoefficientTwice)
{
    expectUpSampled(g_deQuantSLIntraDefault16x16, INTRA_ROWS, 2);
    expectUpSampled(g_deQuantSLInterDefault16x16, INTER_ROWS, 2);
}

TEST(ScalingListTables, Defaults32x32RepeatEachCoefficientFourTimes)
{
    expectUpSampled(g_deQuantSLIntraDefault32x32, INTRA_ROWS, 4);
    expectUpSampled(g_deQuantSLInterDefault32x32, INTER_ROWS, 4);
}

TEST(ScalingListTables, CornersOfTheDefaults)
{
    for (const unsigned char* pTable : {g_deQuantSLDefault4x4,
                                        g_deQuantSLIntraDefault8x8,
                                        g_deQuantSLInterDefault8x8,
                                        g_deQuantSLIntraDefault16x16,
                                        g_deQuantSLInterDefault16x16,
                                        g_deQuantSLIntraDefault32x32,
                                        g_deQuantSLInterDefault32x32})
        EXPECT_EQ(pTable[0], 16);
    EXPECT_EQ(g_deQuantSLIntraDefault8x8[7 * 8 + 7], 115);
    EXPECT_EQ(g_deQuantSLInterDefault8x8[7 * 8 + 7], 91);
    EXPECT_EQ(g_deQuantSLIntraDefault32x32[31 * 32 + 31], 115);
    EXPECT_EQ(g_deQuantSLInterDefault32x32[31 * 32 + 31], 91);
}

TEST(ScalingListTables, TheDecodersOwnScanServes4x4)
{
    EXPECT_EQ(g_pScanDiag[0], g_pScanIdx[0][0]);
}

TEST(ScalingListTables, Scan8x8IsTheUpRightDiagonal)
{
    const std::vector<int> first(g_pScanDiag[1], g_pScanDiag[1] + 10);
    EXPECT_EQ(first, (std::vector<int>{0, 8, 1, 16, 9, 2, 24, 17, 10, 3}));
    EXPECT_EQ(std::vector<int>(g_pScanDiag[1], g_pScanDiag[1] + 64), diagonal8x8());
}

} // namespace
} // namespace scaling_list_tables_test
