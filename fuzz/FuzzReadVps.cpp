#include <cstring>

#include "FuzzHost.h"
#include "FuzzRecords.h"
#include "SameRecord.h"

using namespace h265_codec;
using namespace h265_fuzz;
using namespace h265_test;

// Reads one VPS after another into one record; each reads like into a fresh record.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    const CFuzzHost host(input);
    VPS reused;
    std::memset(&reused, static_cast<int>(input.below(2)), sizeof(reused));
    while (!input.isEmpty()) {
        const CFuzzPayload payload(input);
        const int iResult = payload.read([&](auto* pBS) { return readVPS(&reused, pBS); });
        check(iResult != E_NO_MEMORY, "a VPS needs no memory");
        const int iVerify = verifyVPS(&reused);
        check((iVerify == 0) == (reused.vps_max_layers_minus1 == 0), "one layer is supported");

        VPS aFresh[2];
        std::memset(aFresh, 0, sizeof(aFresh));
        check(payload.read([&](auto* pBS) { return readVPS(&aFresh[0], pBS); }) == iResult, "results are repeated");
        check(payload.readAgain([&](auto* pBS) { return readVPS(&aFresh[1], pBS); }) == iResult, "padding is not read");
        check(iResult != 0 || isSameRecord(aFresh[0], aFresh[1]), "records are repeated");
    }
    return 0;
}
