#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "BitWriter.h"
#include "ExactBits.h"
#include "PictureParameterSet.h"
#include "SequenceParameterSet.h"
#include "TestHost.h"
#include "TileGrid.h"

namespace h265_test {

using h265_codec::PPS;
using h265_codec::SPS;

using Sizes = std::vector<unsigned>;

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

inline Tables tablesOf(const Sizes& columns, const Sizes& rows)
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

inline void expectTables(const CGrid& grid)
{
    const Tables expected = tablesOf(grid.columns(), grid.rows());
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrTsToRs), expected.CtbAddrTsToRs);
    EXPECT_EQ(grid.table(grid.m_pps.CtbAddrRsToTs), expected.CtbAddrRsToTs);
    EXPECT_EQ(grid.table(grid.m_pps.TileId), expected.TileId);
}

inline CBitWriter codedSizes(const std::vector<std::uint64_t>& sizesMinus1)
{
    CBitWriter writer;
    for (const std::uint64_t ulSize : sizesMinus1)
        writer.ue(ulSize);
    return writer;
}

} // namespace h265_test
