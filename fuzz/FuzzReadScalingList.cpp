#include <cstring>
#include <memory>

#include "FuzzHost.h"
#include "FuzzRecords.h"
#include "SameRecord.h"

using namespace h265_codec;
using namespace h265_fuzz;
using namespace h265_test;

// Reads one scaling_list_data( ) after another into one store.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    const CFuzzHost host(input);
    const auto pReused = std::make_unique<ScalingListData>();
    if (input.below(2) != 0)
        setDefaultScalingList(pReused.get());
    while (!input.isEmpty()) {
        const CFuzzPayload payload(input);
        const auto readInto = [&](ScalingListData* pSLD) {
            return [pSLD](auto* pBS) { return readScalingList(pSLD, pBS); };
        };
        const int iResult = payload.read(readInto(pReused.get()));
        checkMatrices(*pReused);
        const auto pFresh = std::make_unique<ScalingListData>();
        const auto pAgain = std::make_unique<ScalingListData>();
        check(payload.read(readInto(pFresh.get())) == iResult, "earlier lists do not change the result");
        check(payload.readAgain(readInto(pAgain.get())) == iResult, "padding is not read");
        check(isSameStore(pFresh.get(), pAgain.get()), "stores are repeated");
        const ScalingListMatrix* const aInter32x32 = pFresh->aList[3].aMatrix;
        check(iResult != 0 || aInter32x32[3].pCoef == aInter32x32[1].pCoef, "both numbers find the inter matrix");
    }
    return 0;
}
