#include "EditSettings.h"

#include <array>
#include <charconv>
#include <system_error>

#include "ParameterSetSyntax.h"

namespace h265_inspect {

namespace {

constexpr std::string_view FORM = "a setting is SET.ELEMENT=VALUE, as in sps.vui.colour_primaries=9 or "
                                  "sps[0].vui.timing=25/1";

[[noreturn]] void fail(std::string_view setting, std::string_view reason)
{
    throw CSettingError(std::string(setting).append(": ").append(reason));
}

unsigned typeOf(std::string_view setting, std::string_view name)
{
    using namespace h265_syntax;
    if (name == "vps")
        return VPS_NUT;
    if (name == "sps")
        return SPS_NUT;
    if (name == "pps")
        return PPS_NUT;
    fail(setting, "'" + std::string(name) + "' is not one of vps, sps, pps");
}

// A whole number, also hexadecimal behind 0x.
template <class T>
std::optional<T> numberOf(std::string_view text)
{
    const bool bHex = text.starts_with("0x") || text.starts_with("0X");
    if (bHex)
        text.remove_prefix(2);
    T value{};
    const char* const pEnd = text.data() + text.size();
    const auto [pBehind, error] = std::from_chars(text.data(), pEnd, value, bHex ? 16 : 10);
    if (error != std::errc() || pBehind != pEnd || (bHex && text.starts_with('-')))
        return std::nullopt;
    return value;
}

// "vui" is vui_parameters, with its index if it has one.
std::string segmentInFull(std::string_view segment)
{
    struct Short
    {
        std::string_view name;
        std::string_view structure;
    };
    constexpr std::array SHORTS = {
        Short{"vui", "vui_parameters"}, Short{"ptl", "profile_tier_level"}, Short{"hrd", "hrd_parameters"}};
    const std::string_view name = segment.substr(0, segment.find('['));
    for (const Short& known : SHORTS) {
        if (name == known.name)
            return std::string(known.structure).append(segment.substr(name.size()));
    }
    return std::string(segment);
}

std::string pathInFull(std::string_view path)
{
    std::string full;
    for (;;) {
        const std::size_t uiDot = path.find('.');
        full += segmentInFull(path.substr(0, uiDot));
        if (uiDot == std::string_view::npos)
            return full;
        full += '.';
        path.remove_prefix(uiDot + 1);
    }
}

// 25/1 or 25 pictures a second: time_scale and num_units_in_tick, E.3.1.
void addTiming(EditSetting& setting, std::string_view value)
{
    const std::size_t uiSlash = value.find('/');
    const auto timeScale = numberOf<std::uint32_t>(value.substr(0, uiSlash));
    const auto units =
        uiSlash == std::string_view::npos ? std::optional(1U) : numberOf<std::uint32_t>(value.substr(uiSlash + 1));
    if (!timeScale || !units || *timeScale == 0 || *units == 0)
        fail(setting.text, "timing is pictures a second: 25, 25/1, 30000/1001");
    const std::string prefix = setting.nal_unit_type == h265_syntax::VPS_NUT ? "vps_" : "vui_parameters.vui_";
    setting.values = {{prefix + "timing_info_present_flag", 1},
                      {prefix + "num_units_in_tick", *units},
                      {prefix + "time_scale", *timeScale}};
}

bool isTiming(const EditSetting& setting, std::string_view path)
{
    switch (setting.nal_unit_type) {
    case h265_syntax::VPS_NUT:
        return path == "timing";
    case h265_syntax::SPS_NUT:
        return path == "vui_parameters.timing";
    default:
        return false;
    }
}

} // namespace

EditSetting parseEditSetting(std::string_view text)
{
    EditSetting setting;
    setting.text = text;
    const std::size_t uiEquals = text.find('=');
    const std::string_view place = text.substr(0, uiEquals);
    const std::size_t uiDot = place.find('.');
    if (uiEquals == std::string_view::npos || uiDot == std::string_view::npos || uiDot + 1 == place.size())
        fail(text, FORM);
    std::string_view set = place.substr(0, uiDot);
    const std::size_t uiBracket = set.find('[');
    setting.nal_unit_type = typeOf(text, set.substr(0, uiBracket));
    if (uiBracket != std::string_view::npos) {
        set.remove_prefix(uiBracket + 1);
        setting.uiId = set.ends_with(']') ? numberOf<unsigned>(set.substr(0, set.size() - 1)) : std::nullopt;
        if (!setting.uiId)
            fail(text, "between the brackets stands the id of a set, as in sps[0]");
    }
    const std::string path = pathInFull(place.substr(uiDot + 1));
    const std::string_view value = text.substr(uiEquals + 1);
    if (isTiming(setting, path)) {
        addTiming(setting, value);
        return setting;
    }
    const auto number = numberOf<std::int64_t>(value);
    if (!number)
        fail(text, "'" + std::string(value) + "' is not a whole number");
    setting.values = {{path, *number}};
    return setting;
}

} // namespace h265_inspect
