#include "FuzzHost.h"
#include "FuzzRecords.h"

using namespace h265_codec;
using namespace h265_fuzz;

// Direct calls with any counts and pictures; the tables of the first call serve the later ones.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    CFuzzHost host(input);
    PPS pps = {};
    while (!input.isEmpty()) {
        SPS sps = {};
        sps.PicWidthInCtbsY = static_cast<int>(input.size());
        sps.PicHeightInCtbsY = static_cast<int>(input.size());
        pps.num_tile_columns_minus1 = input.size();
        pps.num_tile_rows_minus1 = input.size();
        pps.uniform_spacing_flag = input.below(2) != 0;
        const bool bAccepted = isTileCountAccepted(pps.num_tile_columns_minus1, pps.num_tile_rows_minus1);
        std::vector<unsigned> colWidth(bAccepted ? pps.num_tile_columns_minus1 + 1 : 0, 0x55555555);
        std::vector<unsigned> rowHeight(bAccepted ? pps.num_tile_rows_minus1 + 1 : 0, 0x55555555);
        pps.colWidth = colWidth.data();
        pps.rowHeight = rowHeight.data();
        const CFuzzPayload payload(input);
        const bool bFresh = pps.uiAddressTableRoom == 0;
        const int iResult = payload.read([&](auto* pBS) { return readTileGrid(&pps, &sps, host.pool(), pBS); });
        check(bAccepted || iResult == E_BS_NOT_ENOUGH_BITS, "too many tiles are refused");
        if (iResult == 0 && bFresh)
            checkTiles(pps, sps);
    }
    pps.colWidth = nullptr;
    pps.rowHeight = nullptr;
    for (unsigned* const pTable : {pps.CtbAddrTsToRs, pps.CtbAddrRsToTs, pps.TileId})
        check(pTable == nullptr || host.release(pTable), "the tables are blocks of the pool");
    return 0;
}
