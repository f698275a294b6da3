#include "ReadUse.h"

namespace h265_syntax {

void CReadUse::stop(EStop eStop, std::uint64_t uiBit, std::int64_t iValue)
{
    if (m_eStop == EStop::none) {
        m_eStop = eStop;
        m_uiStopBit = uiBit;
        m_iStopValue = iValue;
    }
    m_uiEnd = 0;
}

// A code that the window does not hold, or that the payload ends in.
std::uint32_t CReadUse::longCodeNum()
{
    const std::uint64_t uiBit = m_uiPos;
    unsigned leadingZeroBits = 0;
    while (uiBit + leadingZeroBits < m_uiEnd && leadingZeroBits <= 32) {
        const std::uint64_t uiZero = uiBit + leadingZeroBits;
        if ((m_pRbsp[uiZero / 8] >> (7 - uiZero % 8) & 1) != 0)
            break;
        ++leadingZeroBits;
    }
    if (leadingZeroBits >= 32 && uiBit + leadingZeroBits < m_uiEnd) {
        stop(EStop::codeTooLong, uiBit, 0);
        return 0;
    }
    if (uiBit + 2 * leadingZeroBits + 1 > m_uiEnd) {
        stop(EStop::payloadEnds, uiBit, 0);
        return 0;
    }
    m_uiPos += leadingZeroBits;
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
    trailing.uiBits = m_eStop == EStop::none ? m_uiEnd - m_uiPos : 0;
    const bool bRegular = trailing.uiBits >= 1 && trailing.uiBits <= 8 && window() == std::uint64_t{1} << 63;
    trailing.bRegular = m_eStop != EStop::none || bRegular;
    trailing.bytes.clear();
    if (trailing.bRegular)
        return;
    trailing.bytes.resize(static_cast<std::size_t>((trailing.uiBits + 7) / 8));
    for (unsigned char& ucByte : trailing.bytes) {
        ucByte = static_cast<unsigned char>(window() >> 56);
        m_uiPos += 8;
    }
}

} // namespace h265_syntax
