/// @file
/// Text by fmt's format strings, which are checked while compiling. Only FormattedText.cpp compiles how values become
/// text: fmt/format.h costs a source more time than all else that it includes.
#pragma once

#include <string>
#include <string_view>

#if __has_include(<fmt/base.h>) // fmt 11 and later
#include <fmt/base.h>
#else
#include <fmt/core.h>
#endif

namespace h265ps {

/// Appends the values to text as the format string says.
void appendFormattedValues(std::string& text, fmt::string_view format, fmt::format_args values);

/// Appends to text, as fmt::format_to does.
template <typename... T>
void appendFormatted(std::string& text, fmt::format_string<const T&...> format, const T&... values)
{
    appendFormattedValues(text, format, fmt::make_format_args(values...));
}

/// The text, as of fmt::format.
template <typename... T>
[[nodiscard]] std::string formatted(fmt::format_string<const T&...> format, const T&... values)
{
    std::string text;
    appendFormattedValues(text, format, fmt::make_format_args(values...));
    return text;
}

/// The entries' text with what stands between two of them.
template <typename TEntries>
[[nodiscard]] std::string joined(const TEntries& entries, std::string_view between)
{
    std::string text;
    bool bFirst = true;
    for (const auto& entry : entries) {
        if (!bFirst)
            text += between;
        appendFormatted(text, "{}", entry);
        bFirst = false;
    }
    return text;
}

} // namespace h265ps
