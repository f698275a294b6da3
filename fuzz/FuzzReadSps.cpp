#include "FuzzHost.h"
#include "FuzzRecords.h"
#include "SameRecord.h"

using namespace h265_codec;
using namespace h265_fuzz;
using namespace h265_test;

// Reads one SPS after another into one record while a call of the pool fails; each reads like into a
// fresh record.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    CFuzzHost host(input);
    SPS* const reused = createSPS(host.pool());
    check((reused == nullptr) == host.hasRefused(), "createSPS gives a record when the pool does");
    while (reused != nullptr && !input.isEmpty()) {
        const CFuzzPayload payload(input);
        const auto readInto = [&](SPS* sps) {
            return [&host, sps](auto* pBS) { return readSPS(sps, pBS, host.pool()); };
        };
        const int iFirst = payload.read(readInto(reused));
        check((iFirst == E_NO_MEMORY) == host.hasRefused(), "E_NO_MEMORY says that the pool refused");

        host.failNoMore();
        SPS* const apFresh[2] = {createSPS(host.pool()), createSPS(host.pool())};
        const int iResult = payload.read(readInto(apFresh[0]));
        check(iFirst == iResult || iFirst == E_NO_MEMORY, "an earlier SPS does not change the result");
        check(payload.readAgain(readInto(apFresh[1])) == iResult, "padding is not read");
        check(iResult != 0 || isSameRecord(*apFresh[0], *apFresh[1]), "records are repeated");
        check(payload.read(readInto(reused)) == iResult, "a record is readable again after a failure");
        if (reused->pScalingList != nullptr)
            checkMatrices(*reused->pScalingList);
        (void)verifySPS(reused);
        destroySPS(apFresh[0]);
        destroySPS(apFresh[1]);
    }
    destroySPS(reused);
    return 0;
}
