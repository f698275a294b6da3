#include "FuzzHost.h"
#include "FuzzRecords.h"
#include "SameRecord.h"

using namespace h265_codec;
using namespace h265_fuzz;
using namespace h265_test;

// Reads one PPS after another into one record, each against an SPS of its own, while a call of the pool
// fails; each reads like into a fresh record.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    CFuzzHost host(input);
    PPS* const reused = createPPS(host.pool());
    while (reused != nullptr && !input.isEmpty()) {
        SPS sps = {};
        SPS* aTable[256] = {};
        aTable[input.u8()] = &sps;
        sps.CtbLog2SizeY = static_cast<unsigned short>(input.u8());
        sps.PicWidthInCtbsY = static_cast<int>(input.size());
        sps.PicHeightInCtbsY = static_cast<int>(input.size());
        const CFuzzPayload payload(input);
        const auto readInto = [&](PPS* pps) {
            return [&, pps](auto* pBS) { return readPPS(pps, aTable, pBS, host.pool()); };
        };
        const int iFirst = payload.read(readInto(reused));

        host.failNoMore();
        PPS* const apFresh[2] = {createPPS(host.pool()), createPPS(host.pool())};
        const int iResult = payload.read(readInto(apFresh[0]));
        check(iFirst == iResult || iFirst == E_NO_MEMORY || iResult == E_NO_MEMORY, "an earlier PPS changes nothing");
        check(payload.readAgain(readInto(apFresh[1])) == iResult, "padding is not read");
        check(iResult != 0 || isSameRecord(*apFresh[0], *apFresh[1], sps), "records are repeated");
        if (iResult == 0 && apFresh[0]->tiles_enabled_flag)
            checkTiles(*apFresh[0], sps);
        check(iFirst != 0 || verifyPPS(reused) == 0, "every PPS is supported");
        destroyPPS(apFresh[0]);
        destroyPPS(apFresh[1]);
    }
    destroyPPS(reused);
    return 0;
}
