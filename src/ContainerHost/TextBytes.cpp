#include "TextBytes.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>

namespace h265_container {

namespace {

bool isSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// A character as people see it.
std::string shown(char c)
{
    if (c > ' ' && c <= '~')
        return std::string("'") + c + '\'';
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "byte 0x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
    return text.data();
}

std::optional<unsigned> hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    const char cLower = static_cast<char>(c | 0x20);
    if (cLower >= 'a' && cLower <= 'f')
        return static_cast<unsigned>(cLower - 'a' + 10);
    return std::nullopt;
}

// What may stand between two bytes: its length, 0 when nothing does.
std::size_t separatorAt(std::string_view text, std::size_t i)
{
    if (isSpace(text[i]) || text[i] == ':')
        return 1;
    const bool bPrefix = (text[i] == '0' || text[i] == '\\') && i + 1 < text.size() && (text[i + 1] | 0x20) == 'x';
    return bPrefix ? 2 : 0;
}

std::variant<std::vector<unsigned char>, TextError> bytesOfHex(std::string_view text)
{
    std::vector<unsigned char> bytes;
    std::optional<unsigned> uiHigh;
    for (std::size_t i = 0; i < text.size();) {
        if (const std::size_t uiLength = separatorAt(text, i); uiLength != 0) {
            i += uiLength;
            continue;
        }
        const std::optional<unsigned> uiDigit = hexDigit(text[i]);
        if (!uiDigit)
            return TextError{i, shown(text[i]) + " is no hexadecimal digit"};
        if (uiHigh)
            bytes.push_back(static_cast<unsigned char>(*uiHigh << 4 | *uiDigit));
        uiHigh = uiHigh ? std::nullopt : uiDigit;
        ++i;
    }
    if (uiHigh)
        return TextError{text.size(),
                         "an odd number of hexadecimal digits (" + std::to_string(2 * bytes.size() + 1) +
                             "): one is missing or too many"};
    return bytes;
}

// RFC 4648 Table 1, and the two characters of Table 2.
std::optional<unsigned> base64Digit(char c)
{
    constexpr std::string_view DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if (c == '-' || c == '_')
        return c == '-' ? 62 : 63;
    const std::size_t uiDigit = DIGITS.find(c);
    return uiDigit == std::string_view::npos ? std::nullopt : std::optional(static_cast<unsigned>(uiDigit));
}

std::variant<std::vector<unsigned char>, TextError> bytesOfBase64(std::string_view text)
{
    std::vector<unsigned char> bytes;
    std::uint32_t uiBits = 0;
    std::size_t uiDigits = 0;
    bool bPadded = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isSpace(text[i]))
            continue;
        if (text[i] == '=' && uiDigits != 0) {
            bPadded = true;
            continue;
        }
        const std::optional<unsigned> uiDigit = base64Digit(text[i]);
        if (!uiDigit)
            return TextError{i, shown(text[i]) + " is no character of base64"};
        if (bPadded)
            return TextError{i, shown(text[i]) + " stands behind the padding (=)"};
        uiBits = uiBits << 6 | *uiDigit;
        // The second to fourth character of each four completes a byte.
        const std::size_t uiSpare = (uiDigits + 1) * 6 % 8;
        if (uiDigits++ % 4 != 0)
            bytes.push_back(static_cast<unsigned char>(uiBits >> uiSpare));
    }
    if (uiDigits % 4 == 1)
        return TextError{text.size(),
                         std::to_string(uiDigits) + " characters of base64, which is one too many or some too few"};
    return bytes;
}

} // namespace

std::variant<std::vector<unsigned char>, TextError> bytesOfText(std::string_view text, ETextForm eForm)
{
    return eForm == ETextForm::Hex ? bytesOfHex(text) : bytesOfBase64(text);
}

} // namespace h265_container
