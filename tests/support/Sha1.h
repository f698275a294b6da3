#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace h265_test {

/// FIPS 180-4 SHA-1 of a few bytes, in lower-case hexadecimal digits.
inline std::string sha1Of(std::span<const unsigned char> bytes)
{
    std::vector<unsigned char> message(bytes.begin(), bytes.end());
    message.push_back(0x80);
    while (message.size() % 64 != 56)
        message.push_back(0);
    const std::uint64_t ulBits = std::uint64_t{8} * bytes.size();
    for (int iShift = 56; iShift >= 0; iShift -= 8)
        message.push_back(static_cast<unsigned char>(ulBits >> iShift));

    std::array<std::uint32_t, 5> hash = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0};
    for (std::size_t uiBlock = 0; uiBlock < message.size(); uiBlock += 64) {
        std::array<std::uint32_t, 80> w = {};
        for (std::size_t t = 0; t < 64; ++t)
            w[t / 4] = w[t / 4] << 8 | message[uiBlock + t];
        for (std::size_t t = 16; t < 80; ++t)
            w[t] = std::rotl(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);
        auto [a, b, c, d, e] = hash;
        for (std::size_t t = 0; t < 80; ++t) {
            const std::uint32_t f = t < 20   ? ((b & c) | (~b & d)) + 0x5a827999
                                    : t < 40 ? (b ^ c ^ d) + 0x6ed9eba1
                                    : t < 60 ? ((b & c) | (b & d) | (c & d)) + 0x8f1bbcdc
                                             : (b ^ c ^ d) + 0xca62c1d6;
            const std::uint32_t uiNext = std::rotl(a, 5) + f + e + w[t];
            e = d;
            d = c;
            c = std::rotl(b, 30);
            b = a;
            a = uiNext;
        }
        const std::array<std::uint32_t, 5> sum = {a, b, c, d, e};
        for (std::size_t i = 0; i < 5; ++i)
            hash[i] += sum[i];
    }

    std::string digits;
    for (const std::uint32_t uiWord : hash) {
        for (int iShift = 28; iShift >= 0; iShift -= 4)
            digits.push_back("0123456789abcdef"[uiWord >> iShift & 0xf]);
    }
    return digits;
}

} // namespace h265_test
