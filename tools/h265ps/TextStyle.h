#pragma once

namespace h265ps {

/// What switches the colours of a terminal; empty texts without colour.
struct TextStyle
{
    const char* pHeading = "";
    const char* pGood = "";
    const char* pBad = "";
    const char* pFaint = "";
    const char* pEnd = "";
};

inline constexpr TextStyle COLOURED = {"\x1b[1m", "\x1b[32m", "\x1b[1;31m", "\x1b[2m", "\x1b[0m"};

} // namespace h265ps
