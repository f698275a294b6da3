#include "SetEdit.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "SetElements.h"

namespace h265_inspect {

using namespace h265_syntax;

namespace {

// What the descriptor of an element can code, 9.2. More tile columns or rows than 65536 no picture has, and
// their sizes would take all memory.
std::pair<std::int64_t, std::int64_t> rangeOf(const SetElement& element)
{
    constexpr std::int64_t MAX_TILES = 65535;
    switch (element.eDescriptor) {
    case EDescriptor::ue:
        return {0, lastNameOf(element.path).starts_with("num_tile_") ? MAX_TILES : std::int64_t{UINT32_MAX} - 1};
    case EDescriptor::se:
        return {-std::int64_t{INT32_MAX}, INT32_MAX};
    default:
        return {0, (std::int64_t{1} << std::min(element.uiBits, 62U)) - 1};
    }
}

std::string descriptorOf(const SetElement& element)
{
    Element named;
    named.eDescriptor = element.eDescriptor;
    named.uiBits = element.uiBits;
    return named.descriptor();
}

bool isExtensionPath(std::string_view path)
{
    return path.ends_with("_extension_data_flag");
}

[[noreturn]] void failForElement(const EditSetting& setting, const std::string& path, std::string_view place)
{
    std::string reason = setting.text;
    if (isExtensionPath(path)) {
        reason.append(": the bits of an extension that is not known stay as they are");
        throw CSettingError(reason);
    }
    const std::string nearest = nearestElement(setting.nal_unit_type, path);
    const auto plain = [](std::string_view text) { return text.substr(0, text.find('[', text.rfind('.') + 1)); };
    if (plain(nearest) == plain(path))
        reason.append(": ")
            .append(place)
            .append(" has no ")
            .append(path)
            .append(", and no flag alone makes it appear: other elements decide whether it is there");
    else
        reason.append(": there is no element ").append(path).append("; the nearest is ").append(nearest);
    throw CSettingError(reason);
}

template <class TSet>
void applyValue(TSet& set, const EditSetting& setting, const ElementValue& value, const Context& context,
                std::string_view place, CPresenceMemory& memory)
{
    if (!elementAt(set, value.path) && !makeAppear(set, value.path, context, memory))
        failForElement(setting, value.path, place);
    const std::optional<SetElement> element = elementAt(set, value.path);
    if (!element)
        failForElement(setting, value.path, place);
    const auto [iMin, iMax] = rangeOf(*element);
    const bool bFits = value.iValue >= iMin && value.iValue <= iMax;
    if (!bFits || !assignTo(set, value.path, value.iValue, context))
        throw CSettingError(setting.text + ": " + std::to_string(value.iValue) + " does not fit " + value.path +
                            ", which is " + descriptorOf(*element) + ": " + std::to_string(iMin) + " to " +
                            std::to_string(iMax));
}

bool isAlignmentBit(std::string_view path)
{
    return path.ends_with("_alignment_bit_equal_to_one");
}

// The bits that fill up to a byte in front of an extension are 1 (7.4.3.1, F.7.4.3.1.1), also where there are
// more of them now.
void fillAlignment(VideoParameterSet& set)
{
    if (!set.vps_extension_flag)
        return;
    for (const SetElement& element : elementsOf(set)) {
        if (element.iValue == 0 && isAlignmentBit(element.path))
            (void)assign(set, element.path, 1); // it is there
    }
}

template <class TSet>
void apply(TSet& set, const EditSetting& setting, const Context& context, std::string_view place,
           CPresenceMemory& memory)
{
    for (const ElementValue& value : setting.values)
        applyValue(set, setting, value, context, place, memory);
}

} // namespace

void applySetting(VideoParameterSet& set, const EditSetting& setting, const Context& context, std::string_view place,
                  CPresenceMemory& memory)
{
    // Who names one of them, means it.
    const bool bNamed =
        std::ranges::any_of(setting.values, [](const ElementValue& value) { return isAlignmentBit(value.path); });
    const bool bAligned = !bNamed && std::ranges::none_of(elementsOf(set), [](const SetElement& element) {
        return element.iValue == 0 && isAlignmentBit(element.path);
    });
    apply(set, setting, context, place, memory);
    if (bAligned)
        fillAlignment(set);
}
void applySetting(SequenceParameterSet& set, const EditSetting& setting, const Context& context, std::string_view place,
                  CPresenceMemory& memory)
{
    apply(set, setting, context, place, memory);
}
void applySetting(PictureParameterSet& set, const EditSetting& setting, const Context& context, std::string_view place,
                  CPresenceMemory& memory)
{
    apply(set, setting, context, place, memory);
}

} // namespace h265_inspect
