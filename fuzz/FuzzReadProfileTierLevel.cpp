#include <cstring>

#include "FuzzHost.h"
#include "FuzzRecords.h"

using namespace h265_codec;
using namespace h265_fuzz;

// Direct calls with any sub-layer count, into one record again and again.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    const CFuzzHost host(input);
    profile_tile_level reused;
    std::memset(&reused, static_cast<int>(input.below(2)), sizeof(reused));
    while (!input.isEmpty()) {
        const unsigned char max_sub_layers_minus1 = static_cast<unsigned char>(input.u8());
        const CFuzzPayload payload(input);
        const auto readInto = [&](profile_tile_level& ptl) {
            return [&](auto* pBS) { return read_profile_tile_level(&ptl, max_sub_layers_minus1, pBS); };
        };
        profile_tile_level aSame[2] = {reused, reused};
        const int iResult = payload.read(readInto(reused));
        check(iResult == 0 ? max_sub_layers_minus1 <= 8 : iResult == E_BS_NOT_ENOUGH_BITS, "at most 8 are aligned");
        check(payload.read(readInto(aSame[0])) == iResult, "results are repeated");
        check(std::memcmp(&aSame[0], &reused, sizeof(reused)) == 0, "records are repeated");
        check(payload.readAgain(readInto(aSame[1])) == iResult, "padding is not read");
        check(std::memcmp(&aSame[1], &reused, sizeof(reused)) == 0, "padding is not kept");
    }
    return 0;
}
