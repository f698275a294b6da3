#pragma once

#include <cstdint>
#include <vector>

namespace h265_model {

/// Reproducible random numbers (splitmix64).
class CRandom
{
public:
    explicit CRandom(std::uint64_t ulSeed) : m_ulState(ulSeed) {}

    std::uint64_t next()
    {
        m_ulState += 0x9e3779b97f4a7c15U;
        std::uint64_t ulMixed = m_ulState;
        ulMixed = (ulMixed ^ ulMixed >> 30) * 0xbf58476d1ce4e5b9U;
        ulMixed = (ulMixed ^ ulMixed >> 27) * 0x94d049bb133111ebU;
        return ulMixed ^ ulMixed >> 31;
    }

    /// 0 … uiEnd - 1.
    unsigned below(unsigned uiEnd) { return static_cast<unsigned>((next() >> 32) % uiEnd); }
    bool chance(unsigned uiPercent) { return below(100) < uiPercent; }
    unsigned char byte() { return static_cast<unsigned char>(next() >> 56); }

private:
    std::uint64_t m_ulState;
};

/// Writes syntax elements for one of the two readers. For the decoder's reader, which hands out 32
/// zeros before every 32 bits of payload, a wished value may not be possible where it would stand: then
/// a longer code of the same value is taken, else another value. Every element returns what it became.
class CPayloadWriter
{
public:
    CPayloadWriter(CRandom& random, bool bWithGaps) : m_random(random), m_bWithGaps(bWithGaps) {}

    /// Percent of the elements that get a value out of the ordinary.
    void setOddShare(unsigned uiPercent) { m_uiOddShare = uiPercent; }

    bool flag(bool bWish) { return u(1, bWish ? 1 : 0) != 0; }
    std::uint64_t u(unsigned uiWidth, std::uint64_t ulWish);
    /// ue(v) into a field of uiFieldWidth bits.
    std::uint32_t ue(std::uint32_t uiWish, unsigned uiFieldWidth);
    /// se(v) into a field of 8 or 32 bits.
    void se(std::int32_t iWish, unsigned uiFieldWidth = 32);

    [[nodiscard]] std::size_t size() const { return m_bits.size(); }
    /// The payload that delivers the bits written so far.
    [[nodiscard]] std::vector<unsigned char> payload();

private:
    [[nodiscard]] bool isZeroForced(std::size_t uiPosition) const { return m_bWithGaps && uiPosition % 64 < 32; }
    [[nodiscard]] bool fits(unsigned uiLeadingZeros, std::uint64_t ulSuffix) const;
    void write(unsigned uiLeadingZeros, std::uint64_t ulSuffix);
    bool writeWithZeros(unsigned uiLeadingZeros, std::uint32_t uiValue, unsigned uiFieldWidth);
    bool writeValue(std::uint32_t uiValue, unsigned uiFieldWidth);
    bool writeUpToDeliveredBits(std::uint32_t uiValue, unsigned uiFieldWidth);
    std::uint32_t writeAnything();
    std::uint32_t oddValue();

    /// A payload of 8 KiB is long enough: what is written behind that is dropped.
    [[nodiscard]] bool isFull() const { return m_bits.size() > 65536; }

    CRandom& m_random;
    bool m_bWithGaps;
    unsigned m_uiOddShare = 0;
    std::vector<bool> m_bits; // as the reader delivers them
};

} // namespace h265_model
