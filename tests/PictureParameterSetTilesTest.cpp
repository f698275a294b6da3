#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "PictureParameterSet.h"
#include "PictureParameterSetFixture.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace picture_parameter_set_tiles_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

using Readers = testing::Types<CBitStreamReader, CRbspReader>;
TYPED_TEST_SUITE(ReadPPS, Readers);

TYPED_TEST(ReadPPS, BuildsTheTileGridOfItsSps)
{
    EXPECT_EQ(this->read(withTiles(3, 2)), 0);
    EXPECT_EQ(this->m_decoder.m_pool.calls(),
              (std::vector<PoolCall>{
                  taken(12, 451), taken(8, 456), taken(61 * 4, 853), taken(61 * 4, 856), taken(61 * 4, 859)}));
    EXPECT_TRUE(this->m_pps->tiles_enabled_flag);
    EXPECT_EQ(this->m_pps->num_tile_columns_minus1, 2U);
    EXPECT_EQ(this->m_pps->num_tile_rows_minus1, 1U);
    EXPECT_TRUE(this->m_pps->MultipleTilesFlag);
    EXPECT_TRUE(this->m_pps->uniform_spacing_flag);
    EXPECT_TRUE(this->m_pps->loop_filter_across_tiles_enabled_flag);
    EXPECT_EQ(this->m_decoder.block(this->m_pps->colWidth), (Sizes{3, 3, 4}));
    EXPECT_EQ(this->m_decoder.block(this->m_pps->rowHeight), (Sizes{3, 3}));
    EXPECT_EQ(this->m_pps->CtbAddrRsToTs[10], 3U);
    EXPECT_EQ(this->m_pps->TileId[59], 5U);
}

TYPED_TEST(ReadPPS, ReadsExplicitTileSizes)
{
    PpsSyntax s = withTiles(3, 2);
    s.tiles->uniform_spacing_flag = false;
    s.tiles->column_width_minus1 = {0, 3};
    s.tiles->row_height_minus1 = {3};
    s.tiles->loop_filter_across_tiles_enabled_flag = false;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_FALSE(this->m_pps->uniform_spacing_flag);
    EXPECT_FALSE(this->m_pps->loop_filter_across_tiles_enabled_flag);
    EXPECT_EQ(this->m_decoder.block(this->m_pps->colWidth), (Sizes{1, 4, 5}));
    EXPECT_EQ(this->m_decoder.block(this->m_pps->rowHeight), (Sizes{4, 2}));
    EXPECT_TRUE(this->m_pps->pps_loop_filter_across_slices_enabled_flag); // nothing was read too much
}

TYPED_TEST(ReadPPS, ReadsTheTileFilterFlagForColumnsOrRowsAlone)
{
    struct Case
    {
        unsigned uiColumns;
        unsigned uiRows;
    };
    for (const Case& c : {Case{2, 1}, Case{1, 2}, Case{2, 2}}) {
        for (const bool bFilter : {true, false}) {
            PpsSyntax s = withTiles(c.uiColumns, c.uiRows);
            s.tiles->loop_filter_across_tiles_enabled_flag = bFilter;
            s.pps_loop_filter_across_slices_enabled_flag = !bFilter;
            EXPECT_EQ(this->read(s), 0);
            EXPECT_TRUE(this->m_pps->MultipleTilesFlag);
            EXPECT_EQ(this->m_pps->loop_filter_across_tiles_enabled_flag, bFilter);
            EXPECT_EQ(this->m_pps->pps_loop_filter_across_slices_enabled_flag, !bFilter);
        }
    }
}

TYPED_TEST(ReadPPS, DoesNotReadTheTileFilterFlagForASingleTile)
{
    for (const bool bFilter : {true, false}) {
        PpsSyntax s = withTiles(2, 1);
        s.tiles->loop_filter_across_tiles_enabled_flag = bFilter;
        EXPECT_EQ(this->read(s), 0);
        s = withTiles(1, 1);
        s.pps_loop_filter_across_slices_enabled_flag = !bFilter;
        EXPECT_EQ(this->read(s), 0);
        EXPECT_FALSE(this->m_pps->MultipleTilesFlag);
        EXPECT_TRUE(this->m_pps->tiles_enabled_flag);
        EXPECT_EQ(this->m_pps->loop_filter_across_tiles_enabled_flag, bFilter);
        EXPECT_EQ(this->m_pps->pps_loop_filter_across_slices_enabled_flag, !bFilter);
        EXPECT_EQ(this->m_pps->TileId[59], 0U);
    }
}

TYPED_TEST(ReadPPS, KeepsTheTileFieldsWhenTilesAreOffAgain)
{
    EXPECT_EQ(this->read(withTiles(3, 2)), 0);
    const PPS before = *this->m_pps;
    const Sizes tileIds = this->m_decoder.block(before.TileId);
    this->m_decoder.m_pool.forgetCalls();
    EXPECT_EQ(this->read(PpsSyntax()), 0);
    EXPECT_TRUE(this->m_decoder.m_pool.calls().empty());
    EXPECT_FALSE(this->m_pps->tiles_enabled_flag);
    EXPECT_FALSE(this->m_pps->MultipleTilesFlag);
    EXPECT_EQ(this->m_pps->num_tile_columns_minus1, 2U);
    EXPECT_EQ(this->m_pps->num_tile_rows_minus1, 1U);
    EXPECT_TRUE(this->m_pps->uniform_spacing_flag);
    EXPECT_TRUE(this->m_pps->loop_filter_across_tiles_enabled_flag);
    EXPECT_EQ(this->m_pps->colWidth, before.colWidth);
    EXPECT_EQ(this->m_pps->rowHeight, before.rowHeight);
    EXPECT_EQ(this->m_pps->CtbAddrTsToRs, before.CtbAddrTsToRs);
    EXPECT_EQ(this->m_pps->CtbAddrRsToTs, before.CtbAddrRsToTs);
    EXPECT_EQ(this->m_pps->TileId, before.TileId);
    EXPECT_EQ(this->m_decoder.block(this->m_pps->colWidth), (Sizes{3, 3, 4}));
    EXPECT_EQ(this->m_decoder.block(this->m_pps->TileId), tileIds);
}

TYPED_TEST(ReadPPS, ReplacesTileSizesWhenTheCountOutgrowsThePreviousOne)
{
    struct Step
    {
        unsigned uiCount;
        bool bReplaced;
    };
    // 3 is more than the 2 before it, although the block once made for 4 would do.
    const Step aSteps[] = {{2, true}, {2, false}, {4, true}, {2, false}, {3, true}, {3, false}, {1, false}, {2, true}};
    unsigned uiReplaced = 0;
    for (const Step& step : aSteps) {
        SCOPED_TRACE(testing::Message() << step.uiCount << ' ' << uiReplaced);
        const unsigned* const pColumnsBefore = this->m_pps->colWidth;
        const unsigned* const pRowsBefore = this->m_pps->rowHeight;
        this->m_decoder.m_pool.forgetCalls();
        EXPECT_EQ(this->read(withTiles(step.uiCount, step.uiCount)), 0);
        std::vector<PoolCall> expected;
        if (step.bReplaced)
            expected = {taken(4 * step.uiCount, 451), taken(4 * step.uiCount, 456)};
        if (uiReplaced == 0)
            expected.insert(expected.end(), {taken(61 * 4, 853), taken(61 * 4, 856), taken(61 * 4, 859)});
        EXPECT_EQ(this->m_decoder.m_pool.calls(), expected);
        EXPECT_EQ(this->m_pps->colWidth != pColumnsBefore, step.bReplaced);
        EXPECT_EQ(this->m_pps->rowHeight != pRowsBefore, step.bReplaced);
        uiReplaced += step.bReplaced ? 1 : 0;
        // The record, three tables, and every block of sizes there ever was.
        EXPECT_EQ(this->m_decoder.m_pool.blocksInUse(), 4U + 2 * uiReplaced);
    }
}

TYPED_TEST(ReadPPS, ReplacesColumnsAndRowsApart)
{
    EXPECT_EQ(this->read(withTiles(2, 3)), 0);
    this->m_decoder.m_pool.forgetCalls();
    EXPECT_EQ(this->read(withTiles(3, 2)), 0);
    EXPECT_EQ(this->m_decoder.m_pool.calls(), (std::vector<PoolCall>{taken(12, 451)}));
    this->m_decoder.m_pool.forgetCalls();
    EXPECT_EQ(this->read(withTiles(3, 3)), 0);
    EXPECT_EQ(this->m_decoder.m_pool.calls(), (std::vector<PoolCall>{taken(12, 456)}));
}

TYPED_TEST(ReadPPS, ReusesAddressTablesForABiggerPictureUpToTheirEnd)
{
    PpsSyntax s = withTiles(2, 1);
    s.pps_seq_parameter_set_id = 1;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_EQ(this->m_pps->uiAddressTableRoom, 9U);
    this->m_decoder.m_pool.forgetCalls();
    s.pps_seq_parameter_set_id = 0;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_TRUE(this->m_decoder.m_pool.calls().empty());
    // 10x6 CTBs in two columns of 5, as far as the tables of 4x2 go.
    EXPECT_EQ(this->m_decoder.block(this->m_pps->CtbAddrTsToRs), (Sizes{0, 1, 2, 3, 4, 10, 11, 12, 13}));
    EXPECT_EQ(this->m_decoder.block(this->m_pps->CtbAddrRsToTs), (Sizes{0, 1, 2, 3, 4, 30, 31, 32, 33}));
    EXPECT_EQ(this->m_decoder.block(this->m_pps->TileId), (Sizes{0, 0, 0, 0, 0, 1, 1, 1, 1}));
}

TEST_F(ReadLongPPS, RefusesTooManyTileColumnsAtTheirCount)
{
    EXPECT_EQ(read(withTiles(2, 2)), 0);
    const unsigned* const pColumns = m_pps->colWidth;
    m_decoder.m_pool.forgetCalls();
    // The last code reads as 2^32 - 1.
    for (const std::uint64_t num_tile_columns_minus1 : {1ULL << 20, 1ULL << 24, 1ULL << 31, 0x1fffffffeULL}) {
        SCOPED_TRACE(num_tile_columns_minus1);
        CBitWriter writer = writePpsFront(PpsSyntax());
        writer.cut(writer.size() - 2).bits("10").ue(num_tile_columns_minus1).bits("1"); // tiles, no wavefronts
        EXPECT_EQ(m_decoder.read<CRbspReader>(writer), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(m_decoder.m_uiBitsLeft, 1U);
        EXPECT_TRUE(m_pps->tiles_enabled_flag);
        EXPECT_EQ(m_pps->num_tile_columns_minus1, 1U);
        EXPECT_EQ(m_pps->colWidth, pColumns);
        EXPECT_FALSE(m_pps->MultipleTilesFlag);
        EXPECT_TRUE(m_decoder.m_pool.calls().empty());
        EXPECT_TRUE(m_log.lines().empty());
    }
}

TEST_F(ReadLongPPS, RefusesTooManyTileRowsOrTilesAtTheRowCount)
{
    struct Case
    {
        std::uint64_t ulColumns;
        std::uint64_t ulRows;
    };
    // The last row count reads as 2^32 - 1.
    for (const Case& c : {Case{1, (1U << 20) + 1}, Case{1024, 1025}, Case{1U << 20, 2}, Case{2, 0x1ffffffff}}) {
        SCOPED_TRACE(c.ulRows);
        CDecoder decoder;
        EXPECT_EQ(decoder.read(withTiles(c.ulColumns, c.ulRows)), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(decoder.m_pps->num_tile_columns_minus1, c.ulColumns - 1);
        EXPECT_EQ(decoder.m_pps->num_tile_rows_minus1, 0U);
        EXPECT_EQ(decoder.m_pps->rowHeight, nullptr);
        EXPECT_FALSE(decoder.m_pps->MultipleTilesFlag);
        EXPECT_EQ(decoder.m_pool.calls(),
                  (std::vector<PoolCall>{taken(static_cast<std::size_t>(c.ulColumns) * 4, 451)}));
        EXPECT_TRUE(m_log.lines().empty());
        EXPECT_EQ(decoder.read(withTiles(2, 2)), 0);
    }
}

TEST_F(ReadLongPPS, JudgesTheColumnsWithoutTheRowsOfAnEarlierPPS)
{
    EXPECT_EQ(read(withTiles(1, 1024)), 0);
    EXPECT_EQ(read(withTiles(2048, 1)), 0);
    EXPECT_EQ(m_pps->num_tile_columns_minus1, 2047U);
    EXPECT_EQ(m_pps->num_tile_rows_minus1, 0U);
}

TEST_F(ReadLongPPS, AcceptsAsManyTilesAsTheLimitAllows)
{
    EXPECT_EQ(read(withTiles(1024, 1024)), 0);
    EXPECT_EQ(read(withTiles(1U << 20, 1)), 0);
    EXPECT_EQ(m_pps->num_tile_columns_minus1, (1U << 20) - 1);
}

TEST_F(ReadLongPPS, ReturnsTheResultOfATileGridThatDoesNotFit)
{
    PpsSyntax s = withTiles(2, 1);
    s.tiles->uniform_spacing_flag = false;
    s.tiles->column_width_minus1 = {10};
    EXPECT_EQ(read(s), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(m_pps->num_tile_columns_minus1, 1U);
    EXPECT_TRUE(m_pps->MultipleTilesFlag);
    EXPECT_EQ(m_pps->CtbAddrTsToRs, nullptr);
    EXPECT_FALSE(m_pps->pps_loop_filter_across_slices_enabled_flag); // not reached
    EXPECT_TRUE(m_log.lines().empty());
    s.tiles->column_width_minus1 = {3};
    EXPECT_EQ(read(s), 0);
}

} // namespace
} // namespace picture_parameter_set_tiles_test
