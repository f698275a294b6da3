#include "ModelBits.h"

namespace h265_model {

namespace {

constexpr std::uint64_t TOP_BIT = 0x8000000000000000U;

}

int CModelBits::failBits()
{
    m_host.error("ReadBits() error  bs reach end when read bits, not enough bits");
    return NOT_ENOUGH_BITS;
}

int CModelBits::failFlag()
{
    m_host.error("ReadFlag() error  bs reach end when read bits, not enough bits");
    return NOT_ENOUGH_BITS;
}

int CModelBits::readFlag(bool& flag)
{
    flag = false;
    if (isEmpty())
        return failFlag();
    flag = takeBit();
    return 0;
}

int CModelBits::readUe(std::uint32_t& value)
{
    unsigned uiLeadingZeros = 0;
    for (;;) {
        if (isEmpty())
            return failFlag();
        if (takeBit())
            break;
        ++uiLeadingZeros;
    }
    if (uiLeadingZeros == 0) {
        value = 0;
        return 0;
    }
    std::uint32_t suffix = 0;
    const int iResult = readBits(uiLeadingZeros, suffix);
    if (iResult != 0)
        return iResult;
    std::uint32_t base = 1;
    for (unsigned i = 0; i < uiLeadingZeros % 32; ++i)
        base = base + base;
    value = base - 1 + suffix;
    return 0;
}

int CModelBits::readSe(Value& value)
{
    value = 0;
    std::uint32_t code = 0;
    const int iResult = readUe(code);
    if (iResult != 0)
        return iResult;
    const Value k = (static_cast<Value>(code) + 1) % 0x100000000;
    value = k % 2 == 0 ? k / 2 : -(k / 2);
    return 0;
}

void CModelBits::u(unsigned uiBitCount, Value& field)
{
    std::uint32_t value = 0;
    const int iResult = readBits(uiBitCount, value);
    field = value;
    if (iResult != 0)
        throw Stop{iResult};
}

Value CModelBits::u(unsigned uiBitCount)
{
    Value value = 0;
    u(uiBitCount, value);
    return value;
}

void CModelBits::flag(Value& field)
{
    bool bFlag = false;
    const int iResult = readFlag(bFlag);
    field = bFlag ? 1 : 0;
    if (iResult != 0)
        throw Stop{iResult};
}

Value CModelBits::ue()
{
    std::uint32_t value = 0;
    const int iResult = readUe(value);
    if (iResult != 0)
        throw Stop{iResult};
    return value;
}

Value CModelBits::se()
{
    Value value = 0;
    const int iResult = readSe(value);
    if (iResult != 0)
        throw Stop{iResult};
    return value;
}

CModelDecoderBits::CModelDecoderBits(const ModelPayload& payload, CModelHost& host, std::uint64_t ulTopBitMask)
    : CModelBits(host, ulTopBitMask), m_payload(payload)
{
    m_uiCounted = refill();
}

// The number of bits that the new word counts.
unsigned CModelDecoderBits::refill()
{
    m_word.assign(64, false);
    for (unsigned i = 0; i < 32; ++i)
        m_word[32 + i] = (m_payload.bytes.at(m_uiPos + i / 8) >> (7 - i % 8) & 1) != 0;
    m_uiShifted = 0;
    const std::size_t uiLeft = m_payload.uiCount - m_uiPos;
    const std::size_t uiAdvance = uiLeft < 8 ? uiLeft : 8;
    m_uiPos += uiAdvance;
    return static_cast<unsigned>(8 * uiAdvance);
}

void CModelDecoderBits::drop(unsigned uiBitCount)
{
    m_uiShifted += uiBitCount;
}

std::uint64_t CModelDecoderBits::top(unsigned uiBitCount) const
{
    std::uint64_t ulValue = 0;
    for (unsigned i = m_uiShifted; i < m_uiShifted + uiBitCount; ++i)
        ulValue = 2 * ulValue + (i < 64 && m_word[i] ? 1 : 0);
    return ulValue;
}

bool CModelDecoderBits::takeBit()
{
    const bool bBit = (m_ulTopBitMask == TOP_BIT ? top(1) : top(64) & m_ulTopBitMask) != 0;
    drop(1);
    --m_uiCounted;
    if (m_uiCounted == 0)
        m_uiCounted = refill();
    return bBit;
}

int CModelDecoderBits::readBits(unsigned uiBitCount, std::uint32_t& value)
{
    value = 0;
    if (uiBitCount == 0)
        return 0;
    if (uiBitCount > 64)
        return failBits();
    value = static_cast<std::uint32_t>(top(uiBitCount));
    if (m_uiCounted > uiBitCount) {
        drop(uiBitCount);
        m_uiCounted -= uiBitCount;
        return 0;
    }
    const unsigned uiNeed = uiBitCount - m_uiCounted;
    const std::size_t uiLeft = m_payload.uiCount - m_uiPos;
    if (uiLeft == 0 || 8 * uiLeft < uiNeed)
        return uiNeed == 0 ? 0 : failBits(); // the very last bits stay where they are
    m_uiCounted = refill() - uiNeed;
    value |= static_cast<std::uint32_t>(top(uiNeed));
    drop(uiNeed);
    return 0;
}

void CModelDecoderBits::readTailing()
{
    if (m_uiCounted == 0) {
        failFlag();
        return;
    }
    takeBit();
    const unsigned uiAlignment = m_uiCounted % 8;
    drop(uiAlignment);
    m_uiCounted -= uiAlignment;
    if (m_uiCounted == 0)
        m_uiCounted = refill();
}

ReaderState CModelDecoderBits::state() const
{
    return {m_uiPos, m_uiCounted, top(64)};
}

CModelRbspBits::CModelRbspBits(const ModelPayload& payload, CModelHost& host, std::uint64_t ulTopBitMask)
    : CModelBits(host, ulTopBitMask)
{
    m_bits.reserve(8 * payload.uiCount);
    for (std::size_t i = 0; i < payload.uiCount; ++i) {
        for (unsigned uiBit = 8; uiBit-- > 0;)
            m_bits.push_back((payload.bytes[i] >> uiBit & 1) != 0);
    }
}

bool CModelRbspBits::takeBit()
{
    const bool bBit = m_ulTopBitMask == TOP_BIT ? m_bits[m_uiNext] : (state().ulCache & m_ulTopBitMask) != 0;
    ++m_uiNext;
    return bBit;
}

int CModelRbspBits::readBits(unsigned uiBitCount, std::uint32_t& value)
{
    value = 0;
    if (uiBitCount == 0)
        return 0;
    if (uiBitCount > 64)
        return failBits();
    if (m_bits.size() - m_uiNext < uiBitCount) {
        value = static_cast<std::uint32_t>(state().ulCache >> (64 - uiBitCount));
        return failBits();
    }
    for (unsigned i = 0; i < uiBitCount; ++i)
        value = 2 * value + (m_bits[m_uiNext++] ? 1 : 0);
    return 0;
}

void CModelRbspBits::readTailing()
{
    if (isEmpty()) {
        failFlag();
        return;
    }
    ++m_uiNext;
    while (m_uiNext % 8 != 0)
        ++m_uiNext;
}

// Words of 64 bits are loaded as soon as a bit of them is the next one.
ReaderState CModelRbspBits::state() const
{
    if (isEmpty())
        return {m_bits.size() / 8, 0, 0};
    std::size_t uiWordEnd = (m_uiNext / 64 + 1) * 64;
    if (uiWordEnd > m_bits.size())
        uiWordEnd = m_bits.size();
    std::uint64_t ulCache = 0;
    for (std::size_t i = m_uiNext; i < m_uiNext + 64; ++i)
        ulCache = 2 * ulCache + (i < uiWordEnd && m_bits[i] ? 1 : 0);
    return {uiWordEnd / 8, static_cast<unsigned>(uiWordEnd - m_uiNext), ulCache};
}

} // namespace h265_model
