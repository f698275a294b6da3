#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "DamagedPayloads.h"
#include "ExactBits.h"
#include "TestHost.h"
#include "TileGrid.h"
#include "TileGridFixture.h"

namespace tile_grid_long_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

// Longer payloads: every bit in order.

TEST(ReadLongTileGrid, FailsAtEveryCutOfTheExplicitSizes)
{
    // widths 2, 6, then 4; heights 1, 10, then 3
    const CBitWriter whole = CBitWriter().bits("010 00110  1 0001010");
    forEachCut(whole, [](std::size_t uiBitCount, const CBitWriter& bits) {
        const CLogCatcher log;
        CGrid grid(12, 14, 3, 3, false);
        EXPECT_EQ(grid.read<CRbspReader>(bits), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(log.lines().size(), 1U);
        const bool bFirst = uiBitCount >= 3;
        const bool bSecond = uiBitCount >= 8;
        const bool bThird = uiBitCount >= 9;
        EXPECT_EQ(grid.columns(),
                  (Sizes{bFirst ? 2 : CGrid::UNTOUCHED,
                         bSecond ? 6 : CGrid::UNTOUCHED,
                         bSecond  ? 4U
                         : bFirst ? 10U
                                  : 12U}));
        EXPECT_EQ(grid.rows(),
                  (Sizes{bThird ? 1 : CGrid::UNTOUCHED,
                         CGrid::UNTOUCHED,
                         bThird    ? 13U
                         : bSecond ? 14U
                                   : CGrid::UNTOUCHED}));
        EXPECT_TRUE(grid.hasNoTables());
        EXPECT_TRUE(grid.m_pool.calls().empty());
    });
    CGrid grid(12, 14, 3, 3, false);
    EXPECT_EQ(grid.read<CRbspReader>(whole), 0);
    EXPECT_EQ(grid.rows(), (Sizes{1, 10, 3}));
}

TEST(ReadLongTileGrid, WrapsSizesIn32BitsBeforeTheSumIsTested)
{
    struct Case
    {
        std::vector<std::uint64_t> widthsMinus1;
        Sizes columns;
        int iResult;
    };
    const Case aCases[] = {
        // 2^32 - 1 and the 1 that the last column then has more: the sum is far off in 64 bits
        {{0xfffffffe}, {0xffffffff, 11}, E_BS_NOT_ENOUGH_BITS},
        // the code of 32 zeros and 32 ones reads as 2^32 - 1: a column of size 0, and all is left
        {{0x1fffffffe}, {0, 10}, 0},
        {{0x7fffffff, 0x7fffffff}, {0x80000000, 0x80000000, 10}, E_BS_NOT_ENOUGH_BITS},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.widthsMinus1[0]);
        CGrid grid(10, 1, static_cast<unsigned>(c.columns.size()), 1, false);
        EXPECT_EQ(grid.read<CRbspReader>(codedSizes(c.widthsMinus1)), c.iResult);
        EXPECT_EQ(grid.columns(), c.columns);
    }
}

TEST(ReadLongTileGrid, BuildsTheTablesOfClause651ForAnyGrid)
{
    CNumbers numbers(17);
    for (int iRound = 0; iRound < 200; ++iRound) {
        SCOPED_TRACE(iRound);
        Sizes columns(1 + numbers.below(6));
        Sizes rows(1 + numbers.below(5));
        CBitWriter writer;
        unsigned uiWidth = 0;
        unsigned uiHeight = 0;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            uiWidth += columns[i] = 1 + numbers.below(13);
            if (i + 1 < columns.size())
                writer.ue(columns[i] - 1);
        }
        for (std::size_t i = 0; i < rows.size(); ++i) {
            uiHeight += rows[i] = 1 + numbers.below(7);
            if (i + 1 < rows.size())
                writer.ue(rows[i] - 1);
        }
        const unsigned uiColumns = static_cast<unsigned>(columns.size());
        const unsigned uiRows = static_cast<unsigned>(rows.size());
        CGrid explicitGrid(uiWidth, uiHeight, uiColumns, uiRows, false);
        ASSERT_EQ(explicitGrid.read<CRbspReader>(writer), 0);
        ASSERT_EQ(explicitGrid.columns(), columns);
        ASSERT_EQ(explicitGrid.rows(), rows);
        expectTables(explicitGrid);
        CGrid uniformGrid(uiWidth, uiHeight, uiColumns, uiRows);
        ASSERT_EQ(uniformGrid.read<CRbspReader>(), 0);
        expectTables(uniformGrid);
    }
}

TEST(ReadLongTileGrid, BuildsTheTablesWithEmptyTilesAnywhere)
{
    CNumbers numbers(37);
    for (int iRound = 0; iRound < 300; ++iRound) {
        SCOPED_TRACE(iRound);
        CGrid grid(numbers.below(14), numbers.below(9), 1 + numbers.below(20), 1 + numbers.below(14));
        ASSERT_EQ(grid.read<CRbspReader>(), 0);
        expectTables(grid);
    }
}

TEST(ReadLongTileGrid, WritesWhatBothThePictureAndTheRoomHold)
{
    CNumbers numbers(19);
    for (int iRound = 0; iRound < 1000; ++iRound) {
        SCOPED_TRACE(iRound);
        CGrid grid(1 + numbers.below(12), 1 + numbers.below(8), 1, 1);
        ASSERT_EQ(grid.read<CRbspReader>(), 0);
        const Sizes aBefore[3] = {
            grid.table(grid.m_pps.CtbAddrTsToRs), grid.table(grid.m_pps.CtbAddrRsToTs), grid.table(grid.m_pps.TileId)};
        const std::size_t uiRoom = aBefore[0].size();
        grid.setPicture(1 + numbers.below(16), 1 + numbers.below(9));
        grid.setTiles(1 + numbers.below(4), 1 + numbers.below(4), true);
        ASSERT_EQ(grid.read<CRbspReader>(), 0);
        const Tables expected = tablesOf(grid.columns(), grid.rows());
        const Sizes aTable[3] = {
            grid.table(grid.m_pps.CtbAddrTsToRs), grid.table(grid.m_pps.CtbAddrRsToTs), grid.table(grid.m_pps.TileId)};
        for (std::size_t i = 0; i < uiRoom; ++i) {
            const bool bWritten = i < expected.TileId.size();
            ASSERT_EQ(aTable[0][i], bWritten ? expected.CtbAddrTsToRs[i] : aBefore[0][i]) << i;
            ASSERT_EQ(aTable[1][i], bWritten ? expected.CtbAddrRsToTs[i] : aBefore[1][i]) << i;
            ASSERT_EQ(aTable[2][i], bWritten ? expected.TileId[i] : aBefore[2][i]) << i;
        }
    }
}

// The pool refuses the last of a small picture's tables; the next picture is larger.
TEST(ReadTileGridAgain, KeepsInsideOldTablesBesideANewLargerOne)
{
    CGrid grid(4, 3, 2, 1);
    grid.m_pool.failTake(3);
    ASSERT_EQ(grid.read<CRbspReader>(), E_NO_MEMORY);
    ASSERT_EQ(grid.m_pps.TileId, nullptr);
    grid.setPicture(8, 6);
    grid.setTiles(2, 1, true);
    ASSERT_EQ(grid.read<CRbspReader>(), 0);

    const Tables expected = tablesOf(grid.columns(), grid.rows());
    const Sizes tileIds = grid.table(grid.m_pps.TileId);
    EXPECT_EQ(tileIds.size(), 49U);
    constexpr std::size_t ROOM = 4 * 3 + 1;
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs),
              Sizes(expected.CtbAddrTsToRs.begin(), expected.CtbAddrTsToRs.begin() + ROOM));
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrRsToTs),
              Sizes(expected.CtbAddrRsToTs.begin(), expected.CtbAddrRsToTs.begin() + ROOM));
    EXPECT_TRUE(std::equal(tileIds.begin(), tileIds.begin() + ROOM, expected.TileId.begin()));
}

// Three rows in a picture of one CTB leave two of no height; then one row's height is read and no more.
TEST(ReadTileGridAgain, FailsWhereAHeightIsMissingThoughWhatStoodThereAddsUp)
{
    CGrid grid(1, 1, 1, 3);
    ASSERT_EQ(grid.read<CRbspReader>(), 0);
    ASSERT_EQ(grid.rows(), (Sizes{0, 0, 1}));
    grid.m_pps.uniform_spacing_flag = false;
    EXPECT_EQ(grid.read<CRbspReader>(CBitWriter().ue(0)), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(grid.rows(), (Sizes{1, 0, 0}));
}

// The host takes two tables of a small picture away; the next picture is larger.
TEST(ReadTileGridAgain, KeepsInsideTheOneTableThatStayed)
{
    unsigned* PPS::*const apTables[] = {&PPS::CtbAddrTsToRs, &PPS::CtbAddrRsToTs, &PPS::TileId};
    for (std::size_t uiKept = 0; uiKept < 3; ++uiKept) {
        SCOPED_TRACE(uiKept);
        CGrid grid(4, 3, 2, 1);
        ASSERT_EQ(grid.read<CRbspReader>(), 0);
        for (std::size_t i = 0; i < 3; ++i) {
            if (i == uiKept)
                continue;
            grid.m_pool.release(grid.m_pps.*apTables[i], "test", 1);
            grid.m_pps.*apTables[i] = nullptr;
        }
        grid.setPicture(8, 6);
        grid.setTiles(2, 1, true);
        ASSERT_EQ(grid.read<CRbspReader>(), 0);
        const Tables expected = tablesOf(grid.columns(), grid.rows());
        const Sizes aExpected[] = {expected.CtbAddrTsToRs, expected.CtbAddrRsToTs, expected.TileId};
        const Sizes kept = grid.table(grid.m_pps.*apTables[uiKept]);
        EXPECT_EQ(kept.size(), 13U);
        EXPECT_TRUE(std::equal(kept.begin(), kept.end(), aExpected[uiKept].begin()));
    }
}

TEST(ReadLongTileGrid, FollowsTheRefillsOfTheDecodersReader)
{
    CNumbers numbers(23);
    unsigned uiCompared = 0;
    for (int iRound = 0; iRound < 1000; ++iRound) {
        SCOPED_TRACE(iRound);
        CAlikeReaders readers(numbers.bytes(64));
        readers.setFirstWord(std::uint64_t{numbers.below(1U << 31)} << 33 | numbers.below(1U << 31));

        CGrid one(40, 40, 3, 4, false);
        CGrid other(40, 40, 3, 4, false);
        const int iResult = readTileGrid(&one.m_pps, &one.m_sps, one.m_pool.pool(), &readers.m_decoders);
        const int iPlainResult = readTileGrid(&other.m_pps, &other.m_sps, other.m_pool.pool(), &readers.m_plain);
        if (bitsLeft(readers.m_plain) == 0)
            continue; // the decoder's reader delivers the very last bits again
        ++uiCompared;
        ASSERT_EQ(iResult, iPlainResult);
        ASSERT_EQ(one.columns(), other.columns());
        ASSERT_EQ(one.rows(), other.rows());
        ASSERT_EQ(bitsLeft(readers.m_decoders), bitsLeft(readers.m_plain));
    }
    EXPECT_GT(uiCompared, 500U);
}

} // namespace
} // namespace tile_grid_long_test
