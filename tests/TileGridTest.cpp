#include "TileGrid.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "DamagedPayloads.h"
#include "TestHost.h"
#include "TileGridFixture.h"

namespace tile_grid_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

template <class TReader>
class ReadTileGrid : public testing::Test
{
protected:
    CLogCatcher m_log;
};
using Readers = testing::Types<CBitStreamReader, CRbspReader>;
TYPED_TEST_SUITE(ReadTileGrid, Readers);

TYPED_TEST(ReadTileGrid, MakesIdentitiesForASingleTile)
{
    for (const bool uniform_spacing_flag : {true, false}) {
        CGrid grid(3, 2, 1, 1, uniform_spacing_flag);
        EXPECT_EQ(grid.read<TypeParam>(CBitWriter().bits("1")), 0);
        EXPECT_EQ(grid.m_uiBitsLeft, 1U); // no size is coded
        EXPECT_EQ(grid.columns(), (Sizes{3}));
        EXPECT_EQ(grid.rows(), (Sizes{2}));
        EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs), (Sizes{0, 1, 2, 3, 4, 5, 0}));
        EXPECT_EQ(grid.table(grid.m_pps.CtbAddrRsToTs), (Sizes{0, 1, 2, 3, 4, 5, 0}));
        EXPECT_EQ(grid.table(grid.m_pps.TileId), (Sizes(7, 0)));
    }
}

TYPED_TEST(ReadTileGrid, SpacesColumnsAndRowsUniformly)
{
    struct Case
    {
        unsigned uiPicture;
        Sizes sizes;
    };
    const Case aCases[] = {
        {10, {3, 3, 4}},
        {11, {3, 4, 4}},
        {12, {6, 6}},
        {7, {1, 2, 2, 2}},
        {30, {7, 8, 7, 8}},
        {5, {1, 1, 1, 1, 1}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.uiPicture);
        CGrid columns(c.uiPicture, 3, static_cast<unsigned>(c.sizes.size()), 1);
        EXPECT_EQ(columns.read<TypeParam>(CBitWriter().bits("1")), 0);
        EXPECT_EQ(columns.m_uiBitsLeft, 1U);
        EXPECT_EQ(columns.columns(), c.sizes);
        EXPECT_EQ(columns.rows(), (Sizes{3}));
        expectTables(columns);

        CGrid rows(3, c.uiPicture, 1, static_cast<unsigned>(c.sizes.size()));
        EXPECT_EQ(rows.read<TypeParam>(), 0);
        EXPECT_EQ(rows.rows(), c.sizes);
        expectTables(rows);
    }
}

TYPED_TEST(ReadTileGrid, GivesTheLastExplicitColumnAndRowWhatIsLeft)
{
    CGrid grid(10, 7, 3, 2, false);
    EXPECT_EQ(grid.read<TypeParam>(CBitWriter().bits("010 011  1").bits("1")), 0);
    EXPECT_EQ(grid.m_uiBitsLeft, 1U);
    EXPECT_EQ(grid.columns(), (Sizes{2, 3, 5}));
    EXPECT_EQ(grid.rows(), (Sizes{1, 6}));
    expectTables(grid);
}

TYPED_TEST(ReadTileGrid, OrdersAddressesTileByTile)
{
    CGrid grid(5, 2, 2, 1, false);
    EXPECT_EQ(grid.read<TypeParam>(CBitWriter().bits("010").bits("1")), 0);
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs), (Sizes{0, 1, 5, 6, 2, 3, 4, 7, 8, 9, 0}));
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrRsToTs), (Sizes{0, 1, 4, 5, 6, 2, 3, 7, 8, 9, 0}));
    EXPECT_EQ(grid.table(grid.m_pps.TileId), (Sizes{0, 0, 1, 1, 1, 0, 0, 1, 1, 1, 0}));
}

TYPED_TEST(ReadTileGrid, ReadsAllColumnWidthsBeforeTheRowHeights)
{
    CGrid grid(9, 9, 3, 3, false);
    EXPECT_EQ(grid.read<TypeParam>(codedSizes({0, 1, 2, 3}).bits("1")), 0);
    EXPECT_EQ(grid.columns(), (Sizes{1, 2, 6}));
    EXPECT_EQ(grid.rows(), (Sizes{3, 4, 2}));
    expectTables(grid);
}

TYPED_TEST(ReadTileGrid, TakesTheThreeTablesInTheirOrder)
{
    CGrid grid(5, 4, 2, 2);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    EXPECT_EQ(grid.m_pool.calls(), (std::vector<PoolCall>{taken(84, 853), taken(84, 856), taken(84, 859)}));
    EXPECT_EQ(grid.m_pps.uiAddressTableRoom, 21U);
    EXPECT_TRUE(this->m_log.lines().empty());
}

TYPED_TEST(ReadTileGrid, TakesOnlyTheTablesThatAreMissing)
{
    CGrid grid(2, 2, 1, 1);
    Sizes table(5, 77);
    grid.m_pps.CtbAddrRsToTs = table.data(); // the host's own, of a size that nobody knows
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    EXPECT_EQ(grid.m_pool.calls(), (std::vector<PoolCall>{taken(20, 853), taken(20, 859)}));
    EXPECT_EQ(table, (Sizes{0, 1, 2, 3, 0}));
}

TYPED_TEST(ReadTileGrid, TrustsTablesThatTheHostPutThere)
{
    CGrid grid(2, 2, 2, 1);
    Sizes aTable[3] = {Sizes(5, 77), Sizes(5, 77), Sizes(5, 77)};
    grid.m_pps.CtbAddrTsToRs = aTable[0].data();
    grid.m_pps.CtbAddrRsToTs = aTable[1].data();
    grid.m_pps.TileId = aTable[2].data();
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    EXPECT_TRUE(grid.m_pool.calls().empty());
    EXPECT_EQ(aTable[0], (Sizes{0, 2, 1, 3, 0}));
    EXPECT_EQ(aTable[1], (Sizes{0, 2, 1, 3, 0}));
    EXPECT_EQ(aTable[2], (Sizes{0, 1, 0, 1, 0}));
}

TYPED_TEST(ReadTileGrid, FillsTheSameTablesAgainForTheSamePicture)
{
    CGrid grid(6, 4, 2, 2);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    grid.m_pool.forgetCalls();
    grid.setTiles(3, 1, true);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    EXPECT_TRUE(grid.m_pool.calls().empty());
    expectTables(grid);
}

TYPED_TEST(ReadTileGrid, ReusesSmallTablesForABiggerPictureUpToTheirEnd)
{
    CGrid grid(2, 2, 1, 1);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    grid.m_pool.forgetCalls();
    grid.setPicture(4, 4);
    grid.setTiles(2, 2, true);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    EXPECT_TRUE(grid.m_pool.calls().empty());
    // The first five entries of the tables for 4x4 CTBs in four tiles.
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs), (Sizes{0, 1, 4, 5, 2}));
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrRsToTs), (Sizes{0, 1, 4, 5, 2}));
    EXPECT_EQ(grid.table(grid.m_pps.TileId), (Sizes{0, 0, 1, 1, 0}));
    EXPECT_EQ(grid.m_pps.uiAddressTableRoom, 5U);
}

TYPED_TEST(ReadTileGrid, ReusesBigTablesForASmallerPicture)
{
    CGrid grid(4, 4, 1, 1);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    grid.m_pool.forgetCalls();
    grid.setPicture(2, 1);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    EXPECT_TRUE(grid.m_pool.calls().empty());
    // Entry 2 is the new end; what lies behind it stays.
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs), (Sizes{0, 1, 0, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 0}));
    EXPECT_EQ(grid.m_pps.uiAddressTableRoom, 17U);
}

TYPED_TEST(ReadTileGrid, KeepsToTheSmallestTableWhenTheyWereTakenForDifferentPictures)
{
    CGrid grid(4, 4, 1, 1);
    grid.m_pool.failTake(2); // only CtbAddrTsToRs is taken, for 17 entries
    EXPECT_EQ(grid.read<TypeParam>(), E_NO_MEMORY);
    EXPECT_EQ(grid.m_pps.uiAddressTableRoom, 17U);
    grid.setPicture(2, 2);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    EXPECT_EQ(grid.m_pps.uiAddressTableRoom, 5U);
    grid.setPicture(4, 4);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    EXPECT_EQ(grid.table(grid.m_pps.TileId), (Sizes(5, 0)));
    EXPECT_EQ(grid.m_pps.uiAddressTableRoom, 5U);
}

TYPED_TEST(ReadTileGrid, ForgetsTheRoomOfTablesThatAreGone)
{
    CGrid grid(2, 2, 1, 1);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    grid.m_pps.CtbAddrTsToRs = nullptr;
    grid.m_pps.CtbAddrRsToTs = nullptr;
    grid.m_pps.TileId = nullptr;
    grid.setPicture(3, 3);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    expectTables(grid);
}

TYPED_TEST(ReadTileGrid, ReportsEachTableThatThePoolDoesNotGive)
{
    const auto attempt = [&](std::size_t uiCall) {
        CGrid grid(5, 2, 2, 1);
        grid.m_pool.failTake(uiCall);
        const int iResult = grid.read<TypeParam>();
        EXPECT_EQ(iResult, grid.m_pool.hasFailed() ? E_NO_MEMORY : 0);
        if (!grid.m_pool.hasFailed())
            return false;
        EXPECT_EQ(grid.m_pool.calls().size(), uiCall);
        EXPECT_EQ(grid.m_pps.CtbAddrTsToRs != nullptr, uiCall > 1);
        EXPECT_EQ(grid.m_pps.CtbAddrRsToTs != nullptr, uiCall > 2);
        EXPECT_EQ(grid.m_pps.TileId, nullptr);
        EXPECT_TRUE(this->m_log.lines().empty());
        EXPECT_EQ(grid.read<TypeParam>(), 0);
        expectTables(grid);
        return true;
    };
    EXPECT_EQ(failEachTake(attempt), 3U);
}

TYPED_TEST(ReadTileGrid, RefusesSizesThatDoNotFitThePicture)
{
    struct Case
    {
        const char* pName;
        unsigned uiColumns;
        unsigned uiRows;
        std::vector<std::uint64_t> sizesMinus1;
        Sizes columns; // as computed
        Sizes rows;
    };
    const Case aCases[] = {
        {"the first column is too wide", 2, 1, {10}, {11, 4294967295}, {10}},
        {"the columns together are too wide", 3, 1, {5, 5}, {6, 6, 4294967294}, {10}},
        {"the first row is too high", 1, 2, {10}, {10}, {11, 4294967295}},
        {"columns fit, rows do not", 2, 2, {4, 20}, {5, 5}, {21, 4294967285}},
        {"columns do not, rows are still read", 2, 2, {12, 4}, {13, 4294967293}, {5, 5}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pName);
        CGrid grid(10, 10, c.uiColumns, c.uiRows, false);
        EXPECT_EQ(grid.read<TypeParam>(codedSizes(c.sizesMinus1).bits("1")), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(grid.m_uiBitsLeft, 1U);
        EXPECT_EQ(grid.columns(), c.columns);
        EXPECT_EQ(grid.rows(), c.rows);
        EXPECT_TRUE(grid.hasNoTables());
        EXPECT_TRUE(grid.m_pool.calls().empty());
        EXPECT_TRUE(this->m_log.lines().empty());
    }
}

TYPED_TEST(ReadTileGrid, LeavesTablesUntouchedWhenSizesDoNotFit)
{
    CGrid grid(10, 1, 1, 1);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    const Sizes before = grid.table(grid.m_pps.CtbAddrTsToRs);
    grid.setTiles(2, 1, false);
    EXPECT_EQ(grid.read<TypeParam>(codedSizes({10}).bits("1")), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs), before);
    EXPECT_EQ(grid.table(grid.m_pps.TileId), Sizes(11, 0));
}

TYPED_TEST(ReadTileGrid, AcceptsAnExplicitLastColumnOfNothing)
{
    CGrid grid(4, 3, 2, 2, false);
    EXPECT_EQ(grid.read<TypeParam>(codedSizes({3, 2}).bits("1")), 0);
    EXPECT_EQ(grid.columns(), (Sizes{4, 0}));
    EXPECT_EQ(grid.rows(), (Sizes{3, 0}));
    EXPECT_EQ(grid.table(grid.m_pps.TileId), Sizes(13, 0));
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs), (Sizes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 0}));
}

TYPED_TEST(ReadTileGrid, KeepsEmptyColumnsAndRowsOfUniformSpacing)
{
    CGrid grid(2, 1, 5, 3);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    EXPECT_EQ(grid.columns(), (Sizes{0, 0, 1, 0, 1}));
    EXPECT_EQ(grid.rows(), (Sizes{0, 0, 1}));
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs), (Sizes{0, 1, 0}));
    EXPECT_EQ(grid.table(grid.m_pps.TileId), (Sizes{12, 14, 0})); // empty tiles count
    expectTables(grid);
}

TYPED_TEST(ReadTileGrid, MakesTablesOfOneEntryForAnEmptyPicture)
{
    CGrid grid(0, 0, 2, 2);
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    EXPECT_EQ(grid.m_pool.calls(), (std::vector<PoolCall>{taken(4, 853), taken(4, 856), taken(4, 859)}));
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs), (Sizes{0}));
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrRsToTs), (Sizes{0}));
    EXPECT_EQ(grid.table(grid.m_pps.TileId), (Sizes{0}));
}

TYPED_TEST(ReadTileGrid, DoesNotAskThePoolForMoreThan32Bits)
{
    struct Case
    {
        unsigned uiWidth;
        unsigned uiHeight;
    };
    const Case aCases[] = {
        {0x8000, 0x8000},      // 2^30 CTBs: 2^32 + 4 bytes
        {0x10000, 0x10000},    // a product that is 0 in 32 bits
        {0x10001, 0xffff0001}, // a product that is small in 32 bits
        {0x7fffffff, 0x7fffffff},
        {0xffffffff, 0xffffffff}, // -1 and -1
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(testing::Message() << c.uiWidth << ' ' << c.uiHeight);
        CGrid grid(c.uiWidth, c.uiHeight, 1, 1);
        EXPECT_EQ(grid.read<TypeParam>(), E_NO_MEMORY);
        EXPECT_TRUE(grid.m_pool.calls().empty());
        EXPECT_TRUE(grid.hasNoTables());
        EXPECT_TRUE(this->m_log.lines().empty());
    }
}

TYPED_TEST(ReadTileGrid, AsksThePoolForTheLargestSizeThatFits)
{
    CGrid grid(0x3ffffffe, 1, 1, 1);
    grid.m_pool.failTake(1);
    EXPECT_EQ(grid.read<TypeParam>(), E_NO_MEMORY);
    EXPECT_EQ(grid.m_pool.calls(), (std::vector<PoolCall>{taken(0xfffffffc, 853)}));
}

TYPED_TEST(ReadTileGrid, RefusesUniformSpacingWhoseProductsWrap)
{
    // ( i + 1 ) * W passes 2^32 for i = 2: the sizes no longer add up.
    CGrid grid(0x60000000, 1, 3, 1);
    EXPECT_EQ(grid.read<TypeParam>(), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(grid.columns(), (Sizes{0x20000000, 0x20000000, 0xcaaaaaaa}));
    EXPECT_TRUE(grid.m_pool.calls().empty());
    EXPECT_TRUE(this->m_log.lines().empty());
}

TYPED_TEST(ReadTileGrid, RefusesUniformSpacingOfManyColumnsWhoseProductsWrap)
{
    // 2^20 columns of 2^13 CTBs: the products pass 2^32 halfway, and in 32 bits the sizes add up to 0.
    CGrid grid(1U << 13, 1, 1U << 20, 1);
    EXPECT_EQ(grid.read<TypeParam>(), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(grid.columns()[(1U << 19) - 2], 0U);
    EXPECT_EQ(grid.columns()[(1U << 19) - 1], 0xfffff001); // from 2^32 - 2^13 to 0, in 2^20ths
    EXPECT_EQ(grid.columns()[(1U << 20) - 1], 0xfffff001);
    EXPECT_TRUE(grid.m_pool.calls().empty());
}

TYPED_TEST(ReadTileGrid, RefusesCountsAboveTheLimitOnItsOwn)
{
    struct Case
    {
        unsigned num_tile_columns_minus1;
        unsigned num_tile_rows_minus1;
    };
    const Case aCases[] = {
        {1U << 20, 0},
        {0, 1U << 20},
        {1023, 1024},
        {1024, 1023},
        {0xffffffff, 0},
        {0, 0xffffffff},
        {0xffffffff, 0xffffffff},
        {0xffff, 0xffff}, // 2^32 tiles
        {1U << 20, 4095}, // 2^32 and 4096
        {4095, 1U << 20},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(testing::Message() << c.num_tile_columns_minus1 << ' ' << c.num_tile_rows_minus1);
        for (const bool uniform_spacing_flag : {true, false}) {
            CGrid grid(4, 4, 1, 1, uniform_spacing_flag);
            grid.m_pps.num_tile_columns_minus1 = c.num_tile_columns_minus1;
            grid.m_pps.num_tile_rows_minus1 = c.num_tile_rows_minus1;
            EXPECT_EQ(grid.read<TypeParam>(codedSizes({1, 1, 1})), E_BS_NOT_ENOUGH_BITS);
            EXPECT_EQ(grid.m_uiBitsLeft, 9U);
            EXPECT_EQ(grid.columns(), (Sizes{CGrid::UNTOUCHED}));
            EXPECT_EQ(grid.rows(), (Sizes{CGrid::UNTOUCHED}));
            EXPECT_TRUE(grid.m_pool.calls().empty());
            EXPECT_TRUE(this->m_log.lines().empty());
        }
    }
}

TYPED_TEST(ReadTileGrid, AcceptsAsManyTilesAsTheLimitAllows)
{
    struct Case
    {
        unsigned uiColumns;
        unsigned uiRows;
        Sizes CtbAddrTsToRs;
    };
    const Case aCases[] = {
        {1U << 20, 1, {0, 3, 6, 1, 4, 7, 2, 5, 8, 0}}, // every CTB column is a tile
        {1, 1U << 20, {0, 1, 2, 3, 4, 5, 6, 7, 8, 0}},
        {1024, 1024, {0, 1, 2, 3, 4, 5, 6, 7, 8, 0}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.uiColumns);
        CGrid grid(3, 3, c.uiColumns, c.uiRows);
        EXPECT_EQ(grid.read<TypeParam>(), 0);
        EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs), c.CtbAddrTsToRs);
    }
}

} // namespace
} // namespace tile_grid_test
