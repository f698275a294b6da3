#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "SyntaxElement.h"

namespace h265ps {

/// A line that is put together without memory of its own but this. What does not fit is left out; no element's
/// names come near.
class CElementLine
{
public:
    void clear() noexcept { m_uiSize = 0; }
    [[nodiscard]] std::string_view text() const noexcept { return {m_acText.data(), m_uiSize}; }

    CElementLine& operator<<(std::string_view text) noexcept
    {
        if (text.size() <= m_acText.size() - m_uiSize) {
            std::memcpy(m_acText.data() + m_uiSize, text.data(), text.size());
            m_uiSize += text.size();
        }
        return *this;
    }
    template <std::integral T>
    CElementLine& operator<<(T value) noexcept
    {
        const std::to_chars_result end =
            std::to_chars(m_acText.data() + m_uiSize, m_acText.data() + m_acText.size(), value);
        m_uiSize = static_cast<std::size_t>(end.ptr - m_acText.data());
        return *this;
    }
    /// Spaces up to a column.
    CElementLine& to(std::size_t uiColumn) noexcept;
    /// The value at the right of a field that ends in front of a column.
    template <std::integral T>
    CElementLine& right(T value, std::size_t uiColumn) noexcept
    {
        std::array<char, 24> acDigits;
        const std::to_chars_result end = std::to_chars(acDigits.data(), acDigits.data() + acDigits.size(), value);
        const auto uiDigits = static_cast<std::size_t>(end.ptr - acDigits.data());
        to(uiColumn > uiDigits ? uiColumn - uiDigits : 0);
        return *this << std::string_view(acDigits.data(), uiDigits);
    }
    /// "general_profile_compatibility_flag[3]"
    CElementLine& name(const h265_syntax::Element& element) noexcept;
    /// "u(8)", "ue(v)"
    CElementLine& descriptor(const h265_syntax::Element& element) noexcept;

private:
    std::array<char, 1024> m_acText;
    std::size_t m_uiSize = 0;
};

} // namespace h265ps
