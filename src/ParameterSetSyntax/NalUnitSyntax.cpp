#include "NalUnitSyntax.h"

#include <algorithm>

namespace h265_syntax {

namespace {

constexpr std::size_t HEADER_BYTES = 2;
constexpr std::size_t PADDING = 8;
constexpr unsigned char EMULATION_PREVENTION = 3;

} // namespace

void CNalUnit::assign(std::span<const unsigned char> nalUnit)
{
    m_header = {};
    m_preventions.clear();
    m_uiRbspBytes = 0;
    m_forbiddenByte.reset();
    const std::size_t uiHeader = std::min(nalUnit.size(), HEADER_BYTES);
    if (uiHeader == HEADER_BYTES) {
        const unsigned uiBits = static_cast<unsigned>(nalUnit[0] << 8 | nalUnit[1]);
        m_header.forbidden_zero_bit = (uiBits >> 15) != 0;
        m_header.nal_unit_type = static_cast<std::uint16_t>(uiBits >> 9 & 0x3F);
        m_header.nuh_layer_id = static_cast<std::uint16_t>(uiBits >> 3 & 0x3F);
        m_header.nuh_temporal_id_plus1 = static_cast<std::uint16_t>(uiBits & 7);
    }
    const std::span<const unsigned char> payload = nalUnit.subspan(uiHeader);
    m_rbsp.resize(payload.size() + PADDING);
    // Up to the first two zeros there is nothing to take out.
    const auto zeros = std::adjacent_find(payload.begin(), payload.end(), [](auto a, auto b) { return (a | b) == 0; });
    std::copy(payload.begin(), zeros, m_rbsp.begin());
    m_uiRbspBytes = static_cast<std::size_t>(zeros - payload.begin());
    unsigned uiZeros = 0;
    for (std::size_t i = m_uiRbspBytes; i < payload.size(); ++i) {
        const unsigned char ucByte = payload[i];
        if (uiZeros >= 2 && ucByte <= EMULATION_PREVENTION) [[unlikely]] {
            // 7.4.2.1: 00 00 00, 00 00 01 and 00 00 02 may not stand there, nor 00 00 03 in front of more than 3.
            const bool bPrevention = ucByte == EMULATION_PREVENTION;
            if (!m_forbiddenByte && (!bPrevention || (i + 1 < payload.size() && payload[i + 1] > EMULATION_PREVENTION)))
                m_forbiddenByte = uiHeader + i - 2;
            if (bPrevention) {
                m_preventions.push_back(m_uiRbspBytes);
                uiZeros = 0;
                continue;
            }
        }
        uiZeros = ucByte == 0 ? uiZeros + 1 : 0;
        m_rbsp[m_uiRbspBytes++] = ucByte;
    }
    // Zeros at the end are another matter.
    const auto isZero = [](unsigned char c) { return c == 0; };
    if (m_forbiddenByte &&
        std::all_of(nalUnit.begin() + static_cast<std::ptrdiff_t>(*m_forbiddenByte), nalUnit.end(), isZero))
        m_forbiddenByte.reset();
    std::fill_n(m_rbsp.begin() + static_cast<std::ptrdiff_t>(m_uiRbspBytes), PADDING, static_cast<unsigned char>(0));
}

std::uint64_t CNalUnit::nalBit(std::uint64_t uiRbspBit) const
{
    // A byte stands behind every prevention byte that as many RBSP bytes, or fewer, are in front of.
    const auto behind = std::upper_bound(m_preventions.begin(), m_preventions.end(), uiRbspBit / 8);
    const auto uiPreventions = static_cast<std::uint64_t>(behind - m_preventions.begin());
    return uiRbspBit + 8 * (HEADER_BYTES + uiPreventions);
}

void appendNalUnit(std::vector<unsigned char>& out, const NalUnitHeader& header, std::span<const unsigned char> rbsp)
{
    const unsigned uiBits = static_cast<unsigned>(header.forbidden_zero_bit) << 15 |
                            (header.nal_unit_type & 0x3FU) << 9 | (header.nuh_layer_id & 0x3FU) << 3 |
                            (header.nuh_temporal_id_plus1 & 7U);
    out.push_back(static_cast<unsigned char>(uiBits >> 8));
    out.push_back(static_cast<unsigned char>(uiBits));
    unsigned uiZeros = 0;
    for (const unsigned char ucByte : rbsp) {
        if (uiZeros >= 2 && ucByte <= EMULATION_PREVENTION) {
            out.push_back(EMULATION_PREVENTION);
            uiZeros = 0;
        }
        uiZeros = ucByte == 0 ? uiZeros + 1 : 0;
        out.push_back(ucByte);
    }
    if (uiZeros >= 2) // 7.4.2.1: behind a cabac_zero_word
        out.push_back(EMULATION_PREVENTION);
}

} // namespace h265_syntax
