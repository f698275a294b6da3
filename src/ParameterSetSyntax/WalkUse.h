#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "SyntaxElement.h"

namespace h265_syntax {

/// Walking: the elements of a filled structure are told, with their places. MUTABLE false: nothing is
/// changed. True: whoever is told may give the element another value, what follows is walked by it, and
/// what is then absent is inferred.
template <bool MUTABLE>
class CWalkUse
{
public:
    static constexpr bool CHANGES = MUTABLE;

    CWalkUse() = default;
    CWalkUse(const CWalkUse&) = delete;
    CWalkUse& operator=(const CWalkUse&) = delete;
    virtual ~CWalkUse() = default;

    /// No element that begins here, or behind here, is told.
    void endAt(std::uint64_t uiBit)
    {
        m_uiEnd = uiBit;
        m_bDone = uiBit == 0;
    }

    template <class T, class... I>
    void u(unsigned uiBits, const char* pName, T& value, I... indices)
    {
        if (fits(uiBits, value))
            element(EDescriptor::u, uiBits, pName, value, indices...);
        else
            stop(EStop::doesNotFit, pName, static_cast<std::int64_t>(value), indices...);
    }

    template <class T, class... I>
    void uv(std::uint64_t uiBits, const char* pName, T& value, I... indices)
    {
        if (uiBits > 32)
            stop(EStop::widthTooLarge, pName, 0, indices...);
        else
            u(static_cast<unsigned>(uiBits), pName, value, indices...);
    }

    template <class T, class... I>
    void ue(const char* pName, T& value, I... indices)
    {
        if (value == UINT32_MAX)
            stop(EStop::doesNotFit, pName, value, indices...);
        else
            element(EDescriptor::ue, codeBits(value), pName, value, indices...);
    }

    template <class T, class... I>
    void se(const char* pName, T& value, I... indices)
    {
        const std::int64_t iValue = value;
        if (iValue == INT32_MIN)
            stop(EStop::doesNotFit, pName, iValue, indices...);
        else
            element(EDescriptor::se, codeBits(codeNumOf(iValue)), pName, value, indices...);
    }

    template <class T, class... I>
    void ueUpTo(std::uint32_t uiMax, const char* pName, T& value, I... indices)
    {
        ue(pName, value, indices...);
        if (value > uiMax)
            stopAtLast(EStop::countTooLarge, value);
    }

    void bound(std::uint32_t uiValue, std::uint32_t uiMax)
    {
        if (uiValue > uiMax)
            stopAtLast(EStop::countTooLarge, uiValue);
    }

    template <class T, class... I>
    void flags(const char* pName, T& values, I... indices)
    {
        for (unsigned i = 0; i < std::size(values); ++i)
            u(1, pName, values[i], indices..., i);
    }

    template <class T>
    void flagsToEnd(const char* pName, T& values)
    {
        for (std::size_t i = 0; i < values.size() && !m_bDone; ++i)
            u(1, pName, values[i]);
    }

    template <class T, class V>
    void infer(T& value, V inferred)
    {
        if constexpr (MUTABLE)
            value = static_cast<T>(inferred);
    }

    template <class TDerive, class... TArgs>
    void derive(TDerive call, TArgs&... args)
    {
        if constexpr (MUTABLE)
            call(args...);
    }

    template <class T>
    void room(const char* pName, T& values, std::size_t i)
    {
        if (values.size() > i)
            return;
        if constexpr (MUTABLE)
            values.resize(i + 1);
        else
            stop(EStop::missing, pName, 0);
    }

    [[nodiscard]] std::uint64_t upTo(std::uint64_t uiCount) const { return m_bDone ? 0 : uiCount; }

    [[nodiscard]] bool isByteAligned() const { return m_uiPos % 8 == 0; }

    void needs(bool bKnown, const char* pName)
    {
        if (!bKnown)
            stop(EStop::noContext, pName, 0);
    }

    void enter(const char* pName)
    {
        m_aLevels.push_back(m_structure.size());
        if (!m_structure.empty())
            m_structure += '.';
        m_structure += pName;
    }
    void enter(const char* pName, std::uint64_t uiIndex)
    {
        enter(pName);
        m_structure.append("[").append(std::to_string(uiIndex)).append("]");
    }
    void leave()
    {
        m_structure.resize(m_aLevels.back());
        m_aLevels.pop_back();
    }

    [[nodiscard]] std::uint64_t position() const { return m_uiPos; }
    [[nodiscard]] const Stop& stopped() const { return m_stop; }

    /// The code of a value, 9.2.2.
    static std::uint32_t codeNumOf(std::int64_t iValue)
    {
        return static_cast<std::uint32_t>(iValue > 0 ? 2 * iValue - 1 : -2 * iValue);
    }

protected:
    /// False: no further elements are wanted. iValue may be changed where the walk is a mutable one.
    virtual bool onElement(const Element& element, std::int64_t& iValue) = 0;

private:
    static unsigned codeBits(std::uint64_t uiCode) { return 2 * static_cast<unsigned>(std::bit_width(uiCode + 1)) - 1; }

    template <class T>
    static bool fits(unsigned uiBits, T value)
    {
        return uiBits >= 64 || static_cast<std::uint64_t>(value) >> uiBits == 0;
    }

    template <class T, class... I>
    void element(EDescriptor eDescriptor, unsigned uiBits, const char* pName, T& value, I... indices)
    {
        if (m_bDone)
            return;
        m_last = {.pName = pName,
                  .aIndex = {static_cast<unsigned>(indices)...},
                  .uiIndices = sizeof...(indices),
                  .eDescriptor = eDescriptor,
                  .uiBits = uiBits,
                  .uiBit = m_uiPos,
                  .uiNalBit = 0,
                  .iValue = static_cast<std::int64_t>(value),
                  .structure = m_structure};
        tell([&value]([[maybe_unused]] std::int64_t iValue) {
            if constexpr (MUTABLE) {
                if (static_cast<std::int64_t>(static_cast<T>(iValue)) == iValue) {
                    value = static_cast<T>(iValue);
                    return true;
                }
            }
            (void)value;
            return false;
        });
    }

    template <class TSet>
    void tell(TSet set)
    {
        std::int64_t iValue = m_last.iValue;
        const bool bGoOn = onElement(m_last, iValue);
        if (iValue != m_last.iValue && !set(iValue))
            stopAtLast(EStop::doesNotFit, iValue);
        if (m_last.eDescriptor == EDescriptor::ue)
            m_last.uiBits = codeBits(static_cast<std::uint64_t>(iValue));
        else if (m_last.eDescriptor == EDescriptor::se)
            m_last.uiBits = codeBits(codeNumOf(iValue));
        m_uiPos += m_last.uiBits;
        if (!bGoOn || m_uiPos >= m_uiEnd)
            m_bDone = true;
    }

    template <class... I>
    void stop(EStop eStop, const char* pName, std::int64_t iValue, I... indices)
    {
        if (m_bDone)
            return;
        m_last.pName = pName;
        m_last.aIndex = {static_cast<unsigned>(indices)...};
        m_last.uiIndices = sizeof...(indices);
        m_last.structure = m_structure;
        m_last.uiBit = m_uiPos;
        stopAtLast(eStop, iValue);
    }

    void stopAtLast(EStop eStop, std::int64_t iValue)
    {
        if (m_bDone)
            return;
        m_stop = {eStop, m_last.uiBit, iValue, m_last.nameWithIndices(), std::string(m_last.structure)};
        m_bDone = true;
    }

    std::uint64_t m_uiPos = 0;
    std::uint64_t m_uiEnd = UINT64_MAX;
    bool m_bDone = false;
    Element m_last;
    Stop m_stop;
    std::string m_structure;
    std::vector<std::size_t> m_aLevels;
};

using CTellUse = CWalkUse<false>;
using CEditUse = CWalkUse<true>;

} // namespace h265_syntax
