#include "PayloadWriter.h"

#include <bit>

namespace h265_model {

namespace {

// What a code of so many leading zeros stands for when its suffix is 0.
std::uint32_t baseOf(unsigned uiLeadingZeros)
{
    return (std::uint32_t{1} << uiLeadingZeros % 32) - 1;
}

} // namespace

std::uint64_t CPayloadWriter::u(unsigned uiWidth, std::uint64_t ulWish)
{
    if (isFull())
        return 0;
    std::uint64_t ulWritten = 0;
    for (unsigned i = uiWidth; i-- > 0;) {
        const bool bBit = (ulWish >> i & 1) != 0 && !isZeroForced(m_bits.size());
        m_bits.push_back(bBit);
        ulWritten = 2 * ulWritten + (bBit ? 1 : 0);
    }
    return ulWritten;
}

std::uint32_t CPayloadWriter::ue(std::uint32_t uiWish, unsigned uiFieldWidth)
{
    if (isFull())
        return 0;
    std::uint32_t uiValue = uiWish;
    if (m_random.chance(m_uiOddShare)) {
        uiValue = oddValue();
        const unsigned uiLeadingZeros = 32 + m_random.below(39);
        if (m_random.chance(15) && writeWithZeros(uiLeadingZeros, uiValue, uiFieldWidth))
            return uiValue;
    }
    if (writeValue(uiValue, uiFieldWidth))
        return uiValue;
    constexpr std::uint32_t OTHERS[] = {0, 1, 3, 2, 7};
    for (const std::uint32_t uiOther : OTHERS) {
        if (writeValue(uiOther, uiFieldWidth))
            return uiOther;
    }
    return writeAnything();
}

void CPayloadWriter::se(std::int32_t iWish, unsigned uiFieldWidth)
{
    const auto uiMagnitude = static_cast<std::uint32_t>(iWish < 0 ? -static_cast<std::int64_t>(iWish) : iWish);
    ue(iWish > 0 ? 2 * uiMagnitude - 1 : 2 * uiMagnitude, uiFieldWidth == 8 ? 9 : uiFieldWidth);
}

std::vector<unsigned char> CPayloadWriter::payload()
{
    std::vector<unsigned char> bytes((m_bits.size() + 7) / 8);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = m_bWithGaps && i % 8 >= 4 ? m_random.byte() : 0;
    for (std::size_t i = 0; i < m_bits.size(); ++i) {
        if (!m_bits[i])
            continue;
        const std::size_t uiBit = m_bWithGaps ? i - 32 : i;
        bytes[uiBit / 8] = static_cast<unsigned char>(bytes[uiBit / 8] | 0x80U >> uiBit % 8);
    }
    return bytes;
}

bool CPayloadWriter::fits(unsigned uiLeadingZeros, std::uint64_t ulSuffix) const
{
    if (!m_bWithGaps)
        return true;
    const std::size_t uiOne = m_bits.size() + uiLeadingZeros;
    if (isZeroForced(uiOne))
        return false;
    for (unsigned i = 0; i < uiLeadingZeros && i < 64; ++i) {
        if ((ulSuffix >> i & 1) != 0 && isZeroForced(uiOne + uiLeadingZeros - i))
            return false;
    }
    return true;
}

void CPayloadWriter::write(unsigned uiLeadingZeros, std::uint64_t ulSuffix)
{
    m_bits.insert(m_bits.end(), uiLeadingZeros, false);
    m_bits.push_back(true);
    for (unsigned i = uiLeadingZeros; i-- > 0;)
        m_bits.push_back(i < 64 && (ulSuffix >> i & 1) != 0);
}

// Writes the code with so many leading zeros that a field of the given width takes for uiValue.
bool CPayloadWriter::writeWithZeros(unsigned uiLeadingZeros, std::uint32_t uiValue, unsigned uiFieldWidth)
{
    const std::uint64_t ulFieldMask = (std::uint64_t{1} << uiFieldWidth) - 1;
    const std::uint64_t ulSuffix = (uiValue - baseOf(uiLeadingZeros)) & ulFieldMask;
    if (uiLeadingZeros < 32 && ulSuffix >> uiLeadingZeros != 0)
        return false;
    if (!fits(uiLeadingZeros, ulSuffix))
        return false;
    write(uiLeadingZeros, ulSuffix);
    return true;
}

bool CPayloadWriter::writeValue(std::uint32_t uiValue, unsigned uiFieldWidth)
{
    if (m_bWithGaps && m_random.chance(70) && writeUpToDeliveredBits(uiValue, uiFieldWidth))
        return true;
    const auto uiShortest = static_cast<unsigned>(std::bit_width(std::uint64_t{uiValue} + 1)) - 1;
    if (uiShortest <= 32 && fits(uiShortest, std::uint64_t{uiValue} + 1 - (std::uint64_t{1} << uiShortest))) {
        write(uiShortest, std::uint64_t{uiValue} + 1 - (std::uint64_t{1} << uiShortest));
        return true;
    }
    for (unsigned uiLeadingZeros = 0; uiLeadingZeros < 40; ++uiLeadingZeros) {
        if (writeWithZeros(uiLeadingZeros, uiValue, uiFieldWidth))
            return true;
    }
    return false;
}

// Writes the code, as long as need be, so that it ends where the next few bits can be ones: that is how
// flags in the middle of a set come to be set.
bool CPayloadWriter::writeUpToDeliveredBits(std::uint32_t uiValue, unsigned uiFieldWidth)
{
    constexpr unsigned WANTED = 12;
    for (unsigned uiLeadingZeros = 0; uiLeadingZeros <= 64; ++uiLeadingZeros) {
        const std::size_t uiEnd = m_bits.size() + 2 * uiLeadingZeros + 1;
        if (uiEnd % 64 >= 32 && uiEnd % 64 <= 64 - WANTED && writeWithZeros(uiLeadingZeros, uiValue, uiFieldWidth))
            return true;
    }
    return false;
}

// The shortest code that the place allows, with a suffix of what it allows.
std::uint32_t CPayloadWriter::writeAnything()
{
    unsigned uiLeadingZeros = 0;
    while (isZeroForced(m_bits.size() + uiLeadingZeros))
        ++uiLeadingZeros;
    m_bits.insert(m_bits.end(), uiLeadingZeros, false);
    m_bits.push_back(true);
    const std::uint64_t ulSuffix = u(uiLeadingZeros, m_random.next());
    return baseOf(uiLeadingZeros) + static_cast<std::uint32_t>(ulSuffix);
}

std::uint32_t CPayloadWriter::oddValue()
{
    constexpr std::uint32_t VALUES[] = {
        15,  16,         17,         63,          64,         127,        128,           200, 255,
        256, 257,        65535,      65536,       (1U << 20), 0x7fffffff, 0x80000000,    5,   6,
        7,   0xfffffffc, 0xfffffffe, 0xffffffffU, 28,         29,         (1U << 20) - 1};
    constexpr unsigned COUNT = sizeof(VALUES) / sizeof(VALUES[0]);
    const unsigned uiPick = m_random.below(COUNT + 6);
    if (uiPick < COUNT)
        return VALUES[uiPick];
    return static_cast<std::uint32_t>(m_random.next() >> (32 + m_random.below(32)));
}

} // namespace h265_model
