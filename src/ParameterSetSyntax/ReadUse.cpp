#include "ReadUse.h"

namespace h265_syntax {

bool CReadUse::refill(unsigned uiBits)
{
    const std::uint64_t uiPos = position();
    if (uiPos + uiBits > m_uiEnd) {
        stop(EStop::payloadEnds, uiPos, 0);
        return false;
    }
    std::uint64_t uiWord = 0;
    std::memcpy(&uiWord, m_pRbsp + uiPos / 8, sizeof(uiWord));
    if constexpr (std::endian::native == std::endian::little)
        uiWord = __builtin_bswap64(uiWord);
    const std::uint64_t uiTaken = std::min({std::uint64_t{63}, 64 - uiPos % 8, m_uiEnd - uiPos});
    const std::uint64_t uiMark = NO_BITS >> uiTaken;
    m_uiWindow = (uiWord << (uiPos % 8) & ~(uiMark - 1)) | uiMark;
    m_uiBehind = uiPos + uiTaken;
    return true;
}

void CReadUse::stop(EStop eStop, std::uint64_t uiBit, std::int64_t iValue)
{
    if (m_eStop == EStop::none) {
        m_eStop = eStop;
        m_uiStopBit = uiBit;
        m_iStopValue = iValue;
    }
    m_uiEnd = 0;
    m_uiWindow = NO_BITS;
}

// A code that the window does not hold, or that the payload ends in.
std::uint32_t CReadUse::longCodeNum()
{
    const std::uint64_t uiBit = position();
    if (!refill(1))
        return 0;
    const auto leadingZeroBits = static_cast<unsigned>(std::countl_zero(m_uiWindow));
    if (leadingZeroBits >= 32 && bitsLeft() > 32) {
        stop(EStop::codeTooLong, uiBit, 0);
        return 0;
    }
    if (uiBit + 2 * std::uint64_t{leadingZeroBits} + 1 > m_uiEnd) {
        stop(EStop::payloadEnds, uiBit, 0);
        return 0;
    }
    if (leadingZeroBits > 0)
        (void)bits(leadingZeroBits);
    return static_cast<std::uint32_t>(bits(leadingZeroBits + 1) - 1);
}

std::uint64_t CReadUse::trailingBit() const
{
    std::uint64_t uiByte = m_uiEnd / 8;
    while (uiByte > 0 && m_pRbsp[uiByte - 1] == 0)
        --uiByte;
    if (uiByte == 0)
        return 0;
    return 8 * uiByte - 1 - static_cast<unsigned>(std::countr_zero(m_pRbsp[uiByte - 1]));
}

void CReadUse::trailing(RbspTrailing& trailing)
{
    const std::uint64_t uiPos = position();
    trailing.uiBits = m_eStop == EStop::none ? m_uiEnd - uiPos : 0;
    const bool bRegular = trailing.uiBits >= 1 && trailing.uiBits <= 8 && trailingBit() == uiPos;
    trailing.bRegular = m_eStop != EStop::none || bRegular;
    trailing.bytes.clear();
    if (trailing.bRegular)
        return;
    for (std::uint64_t uiLeft = trailing.uiBits; uiLeft > 0;) {
        const auto uiBits = static_cast<unsigned>(std::min<std::uint64_t>(uiLeft, 8));
        trailing.bytes.push_back(static_cast<unsigned char>(bits(uiBits) << (8 - uiBits)));
        uiLeft -= uiBits;
    }
}

} // namespace h265_syntax
