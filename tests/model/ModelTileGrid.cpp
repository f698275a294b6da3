#include <algorithm>

#include "ModelPictureParameterSet.h"

namespace h265_model {

namespace {

// 6.5.1 (6-3), (6-4) in 32 bits: sizes of the columns or rows along one side of the picture.
void readSizes(std::vector<std::uint32_t>& sizes, std::uint32_t last, std::uint32_t side, bool bUniform,
               CModelBits& bits)
{
    if (!bUniform)
        sizes.at(last) = side;
    for (std::uint32_t i = 0; i < last + (bUniform ? 1 : 0); ++i) {
        if (bUniform) {
            sizes.at(i) = (i + 1) * side / (last + 1) - i * side / (last + 1);
            continue;
        }
        sizes.at(i) = static_cast<std::uint32_t>(bits.ue() + 1);
        sizes.at(last) -= sizes.at(i);
    }
}

bool isWholeSide(const std::vector<std::uint32_t>& sizes, std::uint32_t last, std::uint32_t side)
{
    std::uint64_t ulSum = 0;
    for (std::uint32_t i = 0; i <= last; ++i)
        ulSum += sizes.at(i);
    return ulSum == side;
}

void take(ModelTable& table, std::uint64_t ulPicSizeInCtbsY, int iLine, CModelHost& host)
{
    if (table.iBlock == 0)
        table = modelTakeTable(ulPicSizeInCtbsY + 1, iLine, host);
    if (table.iBlock == 0)
        throw Stop{NO_MEMORY};
}

// The three tables keep to the smallest of them.
class CTables
{
public:
    explicit CTables(ModelPps& pps) : m_pps(pps)
    {
        m_uiRoom =
            std::min({pps.CtbAddrTsToRs.entries.size(), pps.CtbAddrRsToTs.entries.size(), pps.TileId.entries.size()});
    }

    void set(ModelTable& table, std::size_t uiEntry, std::uint32_t value) const
    {
        if (uiEntry < m_uiRoom)
            table.entries[uiEntry] = value;
    }

    void addCtb(std::uint32_t rs, std::uint32_t tile)
    {
        set(m_pps.CtbAddrTsToRs, m_ts, rs);
        set(m_pps.CtbAddrRsToTs, rs, m_ts);
        set(m_pps.TileId, rs, tile);
        ++m_ts;
    }

    void finish(std::uint32_t PicSizeInCtbsY) const
    {
        set(m_pps.CtbAddrTsToRs, PicSizeInCtbsY, 0);
        set(m_pps.CtbAddrRsToTs, PicSizeInCtbsY, 0);
        set(m_pps.TileId, PicSizeInCtbsY, 0);
    }

private:
    ModelPps& m_pps;
    std::size_t m_uiRoom;
    std::uint32_t m_ts = 0;
};

// The CTBs of a picture, tile by tile.
void fillTables(ModelPps& pps, std::uint32_t W, std::uint32_t H)
{
    CTables tables(pps);
    std::uint32_t tile = 0;
    std::uint32_t top = 0;
    for (std::uint32_t row = 0; row <= pps.num_tile_rows_minus1; ++row) {
        std::uint32_t left = 0;
        for (std::uint32_t column = 0; column <= pps.num_tile_columns_minus1; ++column) {
            const std::uint32_t width = pps.colWidth.entries[column];
            for (std::uint64_t ulCtb = 0; ulCtb < std::uint64_t{width} * pps.rowHeight.entries[row]; ++ulCtb) {
                const auto y = static_cast<std::uint32_t>(top + ulCtb / width);
                const auto x = static_cast<std::uint32_t>(left + ulCtb % width);
                tables.addCtb(y * W + x, tile);
            }
            left += width;
            ++tile;
        }
        top += pps.rowHeight.entries[row];
    }
    tables.finish(W * H);
}

void readTileGrid(ModelPps& pps, std::uint32_t W, std::uint32_t H, CModelBits& bits, CModelHost& host)
{
    const Value columns = pps.num_tile_columns_minus1 + 1;
    const Value rows = pps.num_tile_rows_minus1 + 1;
    if (columns > MAX_TILES || rows > MAX_TILES || columns * rows > MAX_TILES)
        throw Stop{NOT_ENOUGH_BITS};
    const auto C = static_cast<std::uint32_t>(pps.num_tile_columns_minus1);
    const auto R = static_cast<std::uint32_t>(pps.num_tile_rows_minus1);
    const bool bUniform = pps.uniform_spacing_flag != 0;
    readSizes(pps.colWidth.entries, C, W, bUniform, bits);
    readSizes(pps.rowHeight.entries, R, H, bUniform, bits);
    modelMakeTileTables(pps, W, H, host);
}

} // namespace

void modelMakeTileTables(ModelPps& pps, std::uint32_t W, std::uint32_t H, CModelHost& host)
{
    if (!isWholeSide(pps.colWidth.entries, static_cast<std::uint32_t>(pps.num_tile_columns_minus1), W) ||
        !isWholeSide(pps.rowHeight.entries, static_cast<std::uint32_t>(pps.num_tile_rows_minus1), H))
        throw Stop{NOT_ENOUGH_BITS};
    const std::uint64_t ulPicSizeInCtbsY = std::uint64_t{W} * H;
    take(pps.CtbAddrTsToRs, ulPicSizeInCtbsY, 853, host);
    take(pps.CtbAddrRsToTs, ulPicSizeInCtbsY, 856, host);
    take(pps.TileId, ulPicSizeInCtbsY, 859, host);
    fillTables(pps, W, H);
}

ModelTable modelTakeTable(std::uint64_t ulEntries, int iLine, CModelHost& host)
{
    ModelTable table;
    table.iBlock = host.take(4 * ulEntries, iLine);
    if (table.iBlock != 0)
        table.entries.assign(static_cast<std::size_t>(ulEntries), 0xcdcdcdcdU);
    return table;
}

int modelReadTileGrid(ModelPps& pps, std::uint32_t W, std::uint32_t H, CModelBits& bits, CModelHost& host)
{
    try {
        readTileGrid(pps, W, H, bits, host);
    } catch (const Stop& stop) {
        return stop.iResult;
    }
    return 0;
}

} // namespace h265_model
