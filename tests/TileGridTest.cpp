#include "TileGrid.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "ExactBits.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace {

using namespace h265_codec;
using namespace h265_test;

using Sizes = std::vector<unsigned>;

constexpr char TAG_PATH[] = "../../../src/LibDecoder/src/DecParameterSetReader";

PoolCall take(unsigned uiSize, int iLine)
{
    return {true, uiSize, TAG_PATH, iLine};
}

/// A PPS and an SPS as readPPS hands them on, with arrays of exactly the size that is asked for.
class CGrid
{
public:
    CGrid(unsigned uiWidth, unsigned uiHeight, unsigned uiColumns, unsigned uiRows, bool uniform_spacing_flag = true)
    {
        setPicture(uiWidth, uiHeight);
        setTiles(uiColumns, uiRows, uniform_spacing_flag);
    }

    void setPicture(unsigned uiWidth, unsigned uiHeight)
    {
        m_sps.PicWidthInCtbsY = static_cast<int>(uiWidth);
        m_sps.PicHeightInCtbsY = static_cast<int>(uiHeight);
    }

    void setTiles(unsigned uiColumns, unsigned uiRows, bool uniform_spacing_flag)
    {
        m_columns.assign(uiColumns, UNTOUCHED);
        m_rows.assign(uiRows, UNTOUCHED);
        m_columns.shrink_to_fit();
        m_rows.shrink_to_fit();
        m_pps.colWidth = m_columns.data();
        m_pps.rowHeight = m_rows.data();
        m_pps.num_tile_columns_minus1 = uiColumns - 1;
        m_pps.num_tile_rows_minus1 = uiRows - 1;
        m_pps.uniform_spacing_flag = uniform_spacing_flag;
    }

    template <class TReader>
    int read(const CBitWriter& writer = {})
    {
        const CExactBits bits(writer);
        TReader bs = bits.reader<TReader>();
        const int iResult = readTileGrid(&m_pps, &m_sps, m_pool.pool(), &bs);
        m_uiBitsLeft = bitsLeft(bs);
        return iResult;
    }

    [[nodiscard]] const Sizes& columns() const { return m_columns; }
    [[nodiscard]] const Sizes& rows() const { return m_rows; }
    [[nodiscard]] Sizes table(const unsigned* pTable) const
    {
        return Sizes(pTable, pTable + m_pool.sizeOf(pTable) / sizeof(unsigned));
    }
    [[nodiscard]] bool hasNoTables() const
    {
        return m_pps.CtbAddrTsToRs == nullptr && m_pps.CtbAddrRsToTs == nullptr && m_pps.TileId == nullptr;
    }

    static constexpr unsigned UNTOUCHED = 0xcdcdcdcd;

    PPS m_pps = {};
    SPS m_sps = {};
    CTestPool m_pool;
    std::size_t m_uiBitsLeft = 0;

private:
    Sizes m_columns;
    Sizes m_rows;
};

/// 6.5.1 as it stands, address by address. TileId goes by raster-scan address.
struct Tables
{
    Sizes CtbAddrRsToTs;
    Sizes CtbAddrTsToRs;
    Sizes TileId;
};

Tables tablesOf(const Sizes& columns, const Sizes& rows)
{
    const auto sum = [](const Sizes& sizes, std::size_t uiEnd) {
        unsigned uiSum = 0;
        for (std::size_t i = 0; i < uiEnd; ++i)
            uiSum += sizes[i];
        return uiSum;
    };
    const auto tileAt = [&](const Sizes& sizes, unsigned uiPos) {
        std::size_t uiTile = 0;
        while (sum(sizes, uiTile + 1) <= uiPos)
            ++uiTile;
        return uiTile;
    };
    const unsigned uiWidth = sum(columns, columns.size());
    const unsigned uiHeight = sum(rows, rows.size());
    const unsigned uiSize = uiWidth * uiHeight;
    Tables tables = {Sizes(uiSize + 1), Sizes(uiSize + 1), Sizes(uiSize + 1)};
    for (unsigned ctbAddrRs = 0; ctbAddrRs < uiSize; ++ctbAddrRs) {
        const unsigned tbX = ctbAddrRs % uiWidth;
        const unsigned tbY = ctbAddrRs / uiWidth;
        const std::size_t tileX = tileAt(columns, tbX);
        const std::size_t tileY = tileAt(rows, tbY);
        unsigned uiTs = 0;
        for (std::size_t i = 0; i < tileX; ++i)
            uiTs += rows[tileY] * columns[i];
        uiTs += uiWidth * sum(rows, tileY);
        uiTs += (tbY - sum(rows, tileY)) * columns[tileX] + tbX - sum(columns, tileX);
        tables.CtbAddrRsToTs[ctbAddrRs] = uiTs;
        tables.CtbAddrTsToRs[uiTs] = ctbAddrRs;
        tables.TileId[ctbAddrRs] = static_cast<unsigned>(tileY * columns.size() + tileX);
    }
    return tables;
}

void expectTables(const CGrid& grid)
{
    const Tables expected = tablesOf(grid.columns(), grid.rows());
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs), expected.CtbAddrTsToRs);
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrRsToTs), expected.CtbAddrRsToTs);
    EXPECT_EQ(grid.table(grid.m_pps.TileId), expected.TileId);
}

CBitWriter codedSizes(const std::vector<std::uint64_t>& sizesMinus1)
{
    CBitWriter writer;
    for (const std::uint64_t ulSize : sizesMinus1)
        writer.ue(ulSize);
    return writer;
}

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
    EXPECT_EQ(grid.m_pool.calls(), (std::vector<PoolCall>{take(84, 853), take(84, 856), take(84, 859)}));
    EXPECT_EQ(grid.m_pps.uiAddressTableRoom, 21U);
    EXPECT_TRUE(this->m_log.lines().empty());
}

TYPED_TEST(ReadTileGrid, TakesOnlyTheTablesThatAreMissing)
{
    CGrid grid(2, 2, 1, 1);
    Sizes table(5, 77);
    grid.m_pps.CtbAddrRsToTs = table.data(); // the host's own, of a size that nobody knows
    EXPECT_EQ(grid.read<TypeParam>(), 0);
    EXPECT_EQ(grid.m_pool.calls(), (std::vector<PoolCall>{take(20, 853), take(20, 859)}));
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
    for (std::size_t uiCall = 1; uiCall <= 3; ++uiCall) {
        SCOPED_TRACE(uiCall);
        CGrid grid(5, 2, 2, 1);
        grid.m_pool.failTake(uiCall);
        EXPECT_EQ(grid.read<TypeParam>(), E_NO_MEMORY);
        EXPECT_TRUE(grid.m_pool.hasFailed());
        EXPECT_EQ(grid.m_pool.calls().size(), uiCall);
        EXPECT_EQ(grid.m_pps.CtbAddrTsToRs != nullptr, uiCall > 1);
        EXPECT_EQ(grid.m_pps.CtbAddrRsToTs != nullptr, uiCall > 2);
        EXPECT_EQ(grid.m_pps.TileId, nullptr);
        EXPECT_TRUE(this->m_log.lines().empty());
        EXPECT_EQ(grid.read<TypeParam>(), 0);
        expectTables(grid);
    }
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
    EXPECT_EQ(grid.m_pool.calls(), (std::vector<PoolCall>{take(4, 853), take(4, 856), take(4, 859)}));
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
    EXPECT_EQ(grid.m_pool.calls(), (std::vector<PoolCall>{take(0xfffffffc, 853)}));
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

// Longer payloads: every bit in order.

TEST(ReadLongTileGrid, FailsAtEveryCutOfTheExplicitSizes)
{
    // widths 2, 6, then 4; heights 1, 10, then 3
    const CBitWriter whole = CBitWriter().bits("010 00110  1 0001010");
    for (std::size_t uiBitCount = 0; uiBitCount < whole.size(); ++uiBitCount) {
        SCOPED_TRACE(uiBitCount);
        const CLogCatcher log;
        CGrid grid(12, 14, 3, 3, false);
        EXPECT_EQ(grid.read<CRbspReader>(CBitWriter(whole).cut(uiBitCount)), E_BS_NOT_ENOUGH_BITS);
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
    }
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
        std::vector<unsigned char> bytes(64);
        for (unsigned char& ucByte : bytes)
            ucByte = static_cast<unsigned char>(numbers.below(256));
        const CPaddedPayload payload(bytes);
        const CPaddedPayload delivered(deliveredByDecoderReader(bytes).bytes());
        CBitStreamReader decoders = payload.reader<CBitStreamReader>();
        CRbspReader plain = delivered.reader<CRbspReader>();
        decoders.m_ulCache = std::uint64_t{numbers.below(1U << 31)} << 33 | numbers.below(1U << 31);
        plain.m_ulCache = decoders.m_ulCache;

        CGrid one(40, 40, 3, 4, false);
        CGrid other(40, 40, 3, 4, false);
        const int iResult = readTileGrid(&one.m_pps, &one.m_sps, one.m_pool.pool(), &decoders);
        const int iPlainResult = readTileGrid(&other.m_pps, &other.m_sps, other.m_pool.pool(), &plain);
        if (bitsLeft(plain) == 0)
            continue; // the decoder's reader delivers the very last bits again
        ++uiCompared;
        ASSERT_EQ(iResult, iPlainResult);
        ASSERT_EQ(one.columns(), other.columns());
        ASSERT_EQ(one.rows(), other.rows());
        ASSERT_EQ(bitsLeft(decoders), bitsLeft(plain));
    }
    EXPECT_GT(uiCompared, 500U);
}

} // namespace
