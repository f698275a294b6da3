#include "CodecString.h"

#include <cstdint>
#include <iterator>

namespace h265_inspect {

namespace {

// Upper case, without leading zeros.
void appendHex(std::string& text, std::uint32_t uiValue)
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    char acDigits[8];
    char* p = std::end(acDigits);
    do {
        *--p = DIGITS[uiValue & 0xF];
        uiValue >>= 4;
    } while (uiValue != 0);
    text.append(p, std::end(acDigits));
}

} // namespace

std::string codecString(std::string_view sampleEntry, std::span<const unsigned char, GENERAL_PTL_BYTES> generalPtl)
{
    constexpr std::size_t COMPATIBILITY = 1; // where the fields begin
    constexpr std::size_t CONSTRAINTS = 5;
    constexpr std::size_t LEVEL = 11;
    const unsigned general_profile_space = generalPtl[0] >> 6;
    const bool general_tier_flag = (generalPtl[0] >> 5 & 1) != 0;
    const unsigned general_profile_idc = generalPtl[0] & 0x1F;

    std::string text(sampleEntry);
    text += '.';
    if (general_profile_space != 0)
        text += static_cast<char>('A' + general_profile_space - 1);
    text += std::to_string(general_profile_idc);

    // The flag of profile 0 is the first bit of the stream and the last of the number.
    std::uint32_t uiCompatibility = 0;
    for (unsigned j = 0; j < 32; ++j) {
        const unsigned uiFlag = generalPtl[COMPATIBILITY + j / 8] >> (7 - j % 8) & 1U;
        uiCompatibility |= uiFlag << j;
    }
    text += '.';
    appendHex(text, uiCompatibility);

    text += general_tier_flag ? ".H" : ".L";
    text += std::to_string(generalPtl[LEVEL]);

    std::size_t uiEnd = LEVEL;
    while (uiEnd > CONSTRAINTS && generalPtl[uiEnd - 1] == 0)
        --uiEnd;
    for (std::size_t i = CONSTRAINTS; i < uiEnd; ++i) {
        text += '.';
        appendHex(text, generalPtl[i]);
    }
    return text;
}

} // namespace h265_inspect
