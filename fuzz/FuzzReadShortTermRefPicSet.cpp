#include <cstring>

#include "FuzzHost.h"
#include "FuzzRecords.h"

using namespace h265_codec;
using namespace h265_fuzz;

// Direct calls for any set of an SPS or one of a slice header, into the array or beside it, with
// reference sets that hold anything.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    const CFuzzHost host(input);
    SPS sps = {};
    sps.num_short_term_ref_pic_sets = static_cast<unsigned char>(input.u8());
    std::vector<ShortTermRefPicSet> sets(sps.num_short_term_ref_pic_sets);
    sps.pShortTermRefPicSet = sets.data();
    while (!input.isEmpty()) {
        const unsigned stRpsIdx = input.below(sps.num_short_term_ref_pic_sets + 1U);
        const unsigned uiTarget = input.below(sps.num_short_term_ref_pic_sets + 1U);
        ShortTermRefPicSet beside;
        ShortTermRefPicSet* const strps = uiTarget < sets.size() ? &sets[uiTarget] : &beside;
        if (stRpsIdx != 0 && input.below(4) == 0) {
            ShortTermRefPicSet& reference = sets[stRpsIdx - 1];
            reference.NumNegativePics = static_cast<unsigned char>(input.u8());
            reference.NumDeltaPocs = static_cast<unsigned char>(input.u8());
            reference.DeltaPoc[input.below(MAX_REF_PICS)] = static_cast<int>(input.u32());
        }
        const CFuzzPayload payload(input);
        const std::vector<ShortTermRefPicSet> before = sets;
        const auto call = [&](auto* pBS) {
            return read_short_term_ref_pic_set(&sps, strps, static_cast<int>(stRpsIdx), pBS);
        };
        const int iResult = payload.read(call);
        const ShortTermRefPicSet first = *strps;
        sets = before;
        check(payload.readAgain(call) == iResult, "padding is not read");
        check(std::memcmp(strps, &first, sizeof(first)) == 0, "records are repeated");
        if (iResult == 0)
            checkCounts(*strps);
    }
    return 0;
}
