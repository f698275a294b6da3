#pragma once

#include <charconv>
#include <string_view>
#include <vector>

namespace h265_fuzz {

/// The bytes of a text of hexadecimal digits, two for each.
inline std::vector<unsigned char> bytesOfHex(std::string_view hex)
{
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        unsigned char ucByte = 0;
        std::from_chars(hex.data() + i, hex.data() + i + 2, ucByte, 16);
        bytes.push_back(ucByte);
    }
    return bytes;
}

} // namespace h265_fuzz
