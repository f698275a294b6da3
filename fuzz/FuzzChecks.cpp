#include "ChecksPromises.h"
#include "FuzzInput.h"

using namespace h265_fuzz;

// NAL units one after another, each checked with those in front of it.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    h265_test::CChecksPromises promises;
    while (!input.isEmpty()) {
        const std::vector<unsigned char> nalUnit = input.bytes();
        const char* const pBroken = promises.check(nalUnit);
        check(pBroken == nullptr, pBroken);
    }
    return 0;
}
