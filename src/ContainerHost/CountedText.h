#pragma once

#include <cstdint>
#include <string>

namespace h265_container {

/// "1 byte", "2 bytes".
inline std::string countedText(std::uint64_t ulCount, const char* pNoun)
{
    return std::to_string(ulCount) + ' ' + pNoun + (ulCount == 1 ? "" : "s");
}

/// The verb behind so many things.
inline const char* areOrIs(std::uint64_t ulCount)
{
    return ulCount == 1 ? " is " : " are ";
}

} // namespace h265_container
