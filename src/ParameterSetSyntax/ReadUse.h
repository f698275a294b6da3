#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "NalUnitSyntax.h"
#include "SyntaxElement.h"

namespace h265_syntax {

inline constexpr unsigned MAX_WIDTH = 32; // of an element whose length follows from other values

/// Reading: the structures are filled from an RBSP. Behind the element that could not be read all values
/// are 0 and all lists empty, so that the descriptions need not look.
class CReadUse
{
public:
    /// The structures are written to.
    static constexpr bool CHANGES = true;

    /// pRbsp is readable for eight bytes behind its end.
    explicit CReadUse(std::span<const unsigned char> rbsp)
        : m_pRbsp(rbsp.data()), m_uiEnd(8 * std::uint64_t{rbsp.size()})
    {}

    template <class T, class... I>
    void u(unsigned uiBits, const char*, T& value, I...)
    {
        value = static_cast<T>(bits(uiBits));
    }

    /// An element whose length other values give.
    template <class T, class... I>
    void uv(std::uint64_t uiBits, const char*, T& value, I...)
    {
        if (uiBits > MAX_WIDTH) [[unlikely]]
            stop(EStop::widthTooLarge, position(), 0);
        value =
            uiBits == 0 ? T{} : static_cast<T>(bits(static_cast<unsigned>(std::min<std::uint64_t>(uiBits, MAX_WIDTH))));
    }

    template <class... I>
    void ue(const char*, std::uint32_t& value, I...)
    {
        value = codeNum();
    }

    template <class... I>
    void se(const char*, std::int32_t& value, I...)
    {
        const std::uint32_t uiCode = codeNum();
        const auto iHalf = static_cast<std::int32_t>((uiCode >> 1) + (uiCode & 1)); // 9.2.2
        value = (uiCode & 1) != 0 ? iHalf : -iHalf;
    }

    /// A count that sizes arrays of uiMax entries (or so many and one).
    template <class... I>
    void ueUpTo(std::uint32_t uiMax, const char*, std::uint32_t& value, I...)
    {
        const std::uint64_t uiBit = position();
        value = codeNum();
        if (value > uiMax) [[unlikely]]
            stop(EStop::countTooLarge, uiBit, value);
    }

    /// What follows from the elements so far, and must not exceed uiMax, as a count must not.
    void bound(std::uint32_t uiValue, std::uint32_t uiMax)
    {
        if (uiValue > uiMax) [[unlikely]]
            stop(EStop::countTooLarge, position() - 1, uiValue);
    }

    /// A run of flags with one more index.
    template <std::size_t N, class... I>
    void flags(const char*, bool (&values)[N], I...)
    {
        static_assert(N % 8 == 0 && N <= 32);
        const std::uint64_t uiFlags = bits(N) << (64 - N);
        for (std::size_t i = 0; i < N; i += 8) {
            // Eight bits become eight bytes of 0 or 1.
            const std::uint64_t uiByte = uiFlags << i >> 56;
            std::uint64_t uiSpread = (uiByte * 0x8040201008040201 & 0x8080808080808080) >> 7;
            if constexpr (std::endian::native != std::endian::little)
                uiSpread = __builtin_bswap64(uiSpread);
            std::memcpy(values + i, &uiSpread, 8);
        }
    }

    /// more_rbsp_data( ): all flags in front of rbsp_trailing_bits( ).
    void flagsToEnd(const char*, std::vector<unsigned char>& values)
    {
        values.clear();
        for (std::uint64_t uiBit = position(), uiLast = trailingBit(); uiBit < uiLast; ++uiBit)
            values.push_back(static_cast<unsigned char>(bits(1)));
    }

    template <class T, class V>
    void infer(T& value, V inferred)
    {
        value = static_cast<T>(inferred);
    }

    /// Variables that follow from the elements so far.
    template <class TDerive, class... TArgs>
    void derive(TDerive call, TArgs&... args)
    {
        call(args...);
    }

    /// The array has entry i from now on.
    template <class T>
    void room(const char*, std::vector<T>& values, std::size_t i)
    {
        if (values.size() <= i)
            values.resize(i + 1);
    }

    /// A bound of a loop: 0 behind the end.
    [[nodiscard]] std::uint64_t upTo(std::uint64_t uiCount) const { return m_eStop != EStop::none ? 0 : uiCount; }

    [[nodiscard]] bool isByteAligned() const { return position() % 8 == 0; }

    /// The syntax goes on with what only another set, which is not known, can tell.
    void needs(bool bKnown, const char*)
    {
        if (!bKnown) [[unlikely]]
            stop(EStop::noContext, position(), 0);
    }

    void enter(const char*) {}
    void enter(const char*, std::uint64_t) {}
    void leave() {}

    void trailing(RbspTrailing& trailing);

    [[nodiscard]] EStop stopped() const { return m_eStop; }
    [[nodiscard]] std::uint64_t stopBit() const { return m_uiStopBit; }
    [[nodiscard]] std::int64_t stopValue() const { return m_iStopValue; }

private:
    [[nodiscard]] std::uint64_t bitsLeft() const { return 63 - static_cast<unsigned>(std::countr_zero(m_uiWindow)); }
    [[nodiscard]] std::uint64_t position() const { return m_uiBehind - bitsLeft(); }

    // 1 to 57 bits
    std::uint64_t bits(unsigned uiBits)
    {
        if (m_uiWindow << uiBits == 0) [[unlikely]] {
            if (!refill(uiBits))
                return 0;
        }
        const std::uint64_t uiValue = m_uiWindow >> (64 - uiBits);
        m_uiWindow <<= uiBits;
        return uiValue;
    }

    // 9.2
    std::uint32_t codeNum()
    {
        const std::uint64_t uiWindow = m_uiWindow;
        if (uiWindow >> 35 != 0) [[likely]] {
            const auto leadingZeroBits = static_cast<unsigned>(std::countl_zero(uiWindow));
            const std::uint64_t uiBehind = uiWindow << leadingZeroBits << (leadingZeroBits + 1);
            if (uiBehind != 0) [[likely]] {
                m_uiWindow = uiBehind;
                return static_cast<std::uint32_t>(uiWindow >> (63 - 2 * leadingZeroBits)) - 1;
            }
        }
        return longCodeNum();
    }

    // False, and stopped, when the payload has fewer bits left.
    bool refill(unsigned uiBits);
    std::uint32_t longCodeNum();
    void stop(EStop eStop, std::uint64_t uiBit, std::int64_t iValue);
    // Where rbsp_trailing_bits( ) begins: the last bit that is 1.
    [[nodiscard]] std::uint64_t trailingBit() const;

    static constexpr std::uint64_t NO_BITS = std::uint64_t{1} << 63;

    // The next bits of the payload, the first on top; behind them a 1, then zeros.
    std::uint64_t m_uiWindow = NO_BITS;
    std::uint64_t m_uiBehind = 0; // the place behind these bits
    const unsigned char* m_pRbsp;
    std::uint64_t m_uiEnd; // 0 as soon as something stopped it
    EStop m_eStop = EStop::none;
    std::uint64_t m_uiStopBit = 0;
    std::int64_t m_iStopValue = 0;
};

} // namespace h265_syntax
