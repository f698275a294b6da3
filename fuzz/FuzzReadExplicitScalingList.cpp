#include <cstring>
#include <memory>

#include "FuzzHost.h"
#include "FuzzRecords.h"

using namespace h265_codec;
using namespace h265_fuzz;

// Direct calls for matrices of every size, into one record again and again.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    const CFuzzHost host(input);
    const auto pReused = std::make_unique<ScalingListMatrix>();
    std::memset(pReused->aucCoef, static_cast<int>(input.u8()), sizeof(pReused->aucCoef));
    while (!input.isEmpty()) {
        const int iSizeId = static_cast<int>(input.below(4));
        const std::size_t uiCoefficients = static_cast<std::size_t>(g_scalingListSize[iSizeId]);
        const CFuzzPayload payload(input);
        const auto pSame = std::make_unique<ScalingListMatrix>(*pReused);
        const int iResult = payload.read([&](auto* pBS) { return readExplicitScalingList(*pReused, pBS, iSizeId); });
        check(payload.readAgain([&](auto* pBS) { return readExplicitScalingList(*pSame, pBS, iSizeId); }) == iResult,
              "padding is not read");
        check(std::memcmp(pReused->aucCoef, pSame->aucCoef, sizeof(pSame->aucCoef)) == 0, "matrices are repeated");
        check(iResult != 0 || pReused->pCoef == pReused->aucCoef, "the own store is in force");
        const std::size_t uiLeft = sizeof(pReused->aucCoef) - uiCoefficients;
        std::memset(pReused->aucCoef + uiCoefficients, 0x5a, uiLeft);
        const int iAgain = payload.read([&](auto* pBS) { return readExplicitScalingList(*pReused, pBS, iSizeId); });
        const unsigned char* const pEnd = pReused->aucCoef + sizeof(pReused->aucCoef);
        check(iAgain == iResult && std::all_of(pEnd - uiLeft, pEnd, [](unsigned char uc) { return uc == 0x5a; }),
              "nothing behind the matrix is written");
    }
    return 0;
}
