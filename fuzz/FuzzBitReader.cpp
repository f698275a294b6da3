#include "FuzzHost.h"

using namespace h265_codec;
using namespace h265_fuzz;

namespace {

// One operation of the reader; every failure leaves it fit for the next one.
template <class TReader>
int operate(TReader* pBS, unsigned uiOperation, unsigned uiBitCount)
{
    unsigned uiValue = 0;
    unsigned char ucValue = 0;
    int iValue = 0;
    bool bFlag = false;
    switch (uiOperation) {
    case 0:
        return pBS->readBits(uiBitCount, uiValue);
    case 1:
        return pBS->readFlag(bFlag);
    case 2:
        return pBS->readUe(uiValue);
    case 3:
        return pBS->readUe(ucValue);
    case 4:
        return pBS->readSe(iValue);
    default:
        pBS->readTailing();
        return 0;
    }
}

} // namespace

// Any operations in any order, with any mask.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    const CFuzzHost host(input);
    const unsigned uiMaskBit = input.below(64);
    const CFuzzPayload payload(input);
    const std::vector<unsigned char> operations = input.rest();
    (void)payload.read([&](auto* pBS) {
        pBS->m_ulTopBitMask >>= uiMaskBit;
        for (std::size_t i = 0; i + 1 < operations.size(); i += 2) {
            const unsigned char* const pBefore = pBS->m_pCurPos;
            const int iResult = operate(pBS, operations[i] % 6, operations[i + 1]);
            check(iResult == 0 || iResult == E_BS_NOT_ENOUGH_BITS, "an operation returns one of two results");
            check(pBS->m_pCurPos >= pBefore, "a reader goes forward");
        }
        pBS->m_ulTopBitMask = pBS->TOP_BIT;
        return 0;
    });
    return 0;
}
