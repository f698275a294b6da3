#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace h265_test {

/// Writes syntax elements with the descriptors of 7.2; the counterpart of the bit readers.
class CBitWriter
{
public:
    /// u(n), n up to 64.
    CBitWriter& u(unsigned uiWidth, std::uint64_t ulValue)
    {
        for (unsigned i = uiWidth; i-- > 0;)
            m_bits.push_back((ulValue >> i & 1) != 0);
        return *this;
    }

    CBitWriter& flag(bool bValue) { return u(1, bValue ? 1 : 0); }

    /// ue(v); values of 2^32 - 1 and above make codes that a 32-bit reader wraps.
    CBitWriter& ue(std::uint64_t ulValue)
    {
        unsigned uiLeadingZeros = 0;
        while ((ulValue + 1) >> (uiLeadingZeros + 1) != 0)
            ++uiLeadingZeros;
        return u(uiLeadingZeros, 0).u(uiLeadingZeros + 1, ulValue + 1);
    }

    /// se(v), Table 9-3.
    CBitWriter& se(std::int64_t iValue)
    {
        return ue(static_cast<std::uint64_t>(iValue > 0 ? 2 * iValue - 1 : -2 * iValue));
    }

    /// Bits as they stand on the page: "0101"; blanks are skipped.
    CBitWriter& bits(std::string_view text)
    {
        for (const char c : text) {
            if (c == '0' || c == '1')
                m_bits.push_back(c == '1');
        }
        return *this;
    }

    CBitWriter& append(const CBitWriter& other)
    {
        m_bits.insert(m_bits.end(), other.m_bits.begin(), other.m_bits.end());
        return *this;
    }

    /// 7.3.2.11: the stop bit and zeros up to the byte boundary.
    CBitWriter& trailing()
    {
        flag(true);
        while (m_bits.size() % 8 != 0)
            flag(false);
        return *this;
    }

    /// Keeps the first uiBitCount bits.
    CBitWriter& cut(std::size_t uiBitCount)
    {
        m_bits.resize(uiBitCount);
        return *this;
    }

    [[nodiscard]] std::size_t size() const { return m_bits.size(); }
    [[nodiscard]] const std::vector<bool>& allBits() const { return m_bits; }

    /// The payload, filled up to whole bytes with zero bits.
    [[nodiscard]] std::vector<unsigned char> bytes() const
    {
        std::vector<unsigned char> result((m_bits.size() + 7) / 8);
        for (std::size_t i = 0; i < m_bits.size(); ++i) {
            if (m_bits[i])
                result[i / 8] = static_cast<unsigned char>(result[i / 8] | 0x80U >> i % 8);
        }
        return result;
    }

private:
    std::vector<bool> m_bits;
};

/// A payload with the eight readable bytes behind it that the readers ask for, on the heap so that the
/// sanitizers see a read past them. The padding is not zero: nothing may depend on it.
class CPaddedPayload
{
public:
    explicit CPaddedPayload(std::vector<unsigned char> payload, unsigned char ucPadding = 0xa5)
        : m_uiSize(static_cast<unsigned>(payload.size())), m_bytes(std::move(payload))
    {
        m_bytes.insert(m_bytes.end(), 8, ucPadding);
        m_bytes.shrink_to_fit();
    }

    [[nodiscard]] const unsigned char* data() const { return m_bytes.data(); }
    [[nodiscard]] unsigned size() const { return m_uiSize; }

    /// Sets a bit reader up over the payload.
    template <class TReader>
    [[nodiscard]] TReader reader() const
    {
        TReader bs;
        bs.init(data(), size());
        return bs;
    }

private:
    unsigned m_uiSize;
    std::vector<unsigned char> m_bytes;
};

} // namespace h265_test
