#include "SessionParameters.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>

namespace h265_container {

namespace {

constexpr std::string_view SPACES = " \t\r\n";

// RFC 7798 7.1: those that say what the stream is. The ones to the base 16 have all of their digits.
struct ClaimParameter
{
    std::string_view name;
    std::optional<std::uint64_t> SessionClaim::*pField;
    int iBase;
    std::uint64_t ulMost;
    std::size_t uiDigits;
    const char* pAllowed;
};

// clang-format off
constexpr ClaimParameter CLAIM_PARAMETERS[] = {
    {"profile-space",                   &SessionClaim::profile_space,                   10, 3,          0,  "a number from 0 to 3"},
    {"profile-id",                      &SessionClaim::profile_id,                      10, 31,         0,  "a number from 0 to 31"},
    {"tier-flag",                       &SessionClaim::tier_flag,                       10, 1,          0,  "0 or 1"},
    {"level-id",                        &SessionClaim::level_id,                        10, 255,        0,  "a number from 0 to 255"},
    {"profile-compatibility-indicator", &SessionClaim::profile_compatibility_indicator, 16, UINT32_MAX, 8,  "8 hexadecimal digits"},
    {"interop-constraints",             &SessionClaim::interop_constraints,             16, UINT64_MAX, 12, "12 hexadecimal digits"},
};
// clang-format on

char lowerCase(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

// The value of a parameter; none when it is not what the parameter allows.
std::optional<std::uint64_t> valueOf(std::string_view text, const ClaimParameter& parameter)
{
    std::uint64_t ulValue = 0;
    const char* const pEnd = text.data() + text.size();
    const auto [pBehind, eError] = std::from_chars(text.data(), pEnd, ulValue, parameter.iBase);
    const bool bWhole = eError == std::errc{} && pBehind == pEnd;
    const bool bDigits = parameter.uiDigits == 0 || text.size() == parameter.uiDigits;
    return bWhole && bDigits && ulValue <= parameter.ulMost ? std::optional(ulValue) : std::nullopt;
}

} // namespace

bool isSameWord(std::string_view one, std::string_view other)
{
    return std::ranges::equal(one, other, {}, lowerCase, lowerCase);
}

std::string_view trimmed(std::string_view text)
{
    const std::size_t uiBegin = std::min(text.find_first_not_of(SPACES), text.size());
    text.remove_prefix(uiBegin);
    return text.substr(0, text.find_last_not_of(SPACES) + 1);
}

std::string_view takeUpTo(std::string_view& text, std::string_view separators)
{
    const std::size_t uiEnd = std::min(text.find_first_of(separators), text.size());
    const std::string_view part = text.substr(0, uiEnd);
    text.remove_prefix(std::min(uiEnd + 1, text.size()));
    return part;
}

std::string_view takeWord(std::string_view& text)
{
    text = trimmed(text);
    return takeUpTo(text, SPACES);
}

std::size_t findParameters(std::string_view text)
{
    std::size_t uiBegin = text.find("sprop-");
    for (const ClaimParameter& parameter : CLAIM_PARAMETERS)
        uiBegin = std::min(uiBegin, text.find(std::string(parameter.name) + '='));
    return uiBegin;
}

SessionParameter takeParameter(std::string_view& text)
{
    std::string_view value = takeUpTo(text, ";");
    const std::string_view name = trimmed(takeUpTo(value, "="));
    return {name, value};
}

KeptClaim keepClaim(const SessionParameter& parameter, SessionClaim& claim)
{
    const auto* const pFound = std::ranges::find_if(
        CLAIM_PARAMETERS, [&](const ClaimParameter& known) { return isSameWord(parameter.name, known.name); });
    if (pFound == std::end(CLAIM_PARAMETERS))
        return {};
    const auto ulValue = valueOf(trimmed(parameter.value), *pFound);
    if (!ulValue)
        return {true, std::string("it is not ") + pFound->pAllowed};
    claim.*pFound->pField = ulValue;
    return {true, {}};
}

} // namespace h265_container
