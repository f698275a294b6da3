#include "UnreadParts.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "FormattedText.h"

namespace h265ps {

using h265_syntax::Element;

namespace {

// Adds up the bits of each part.
class CPartSizes : public h265_syntax::CElementSink
{
public:
    bool onElement(const Element& element) override
    {
        const std::string_view part = partOf(element);
        if (part.empty())
            return true;
        if (m_parts.empty() || m_parts.back().first != part)
            m_parts.emplace_back(part, 0);
        m_parts.back().second += element.uiBits;
        return true;
    }

    std::vector<std::pair<std::string, std::uint64_t>> m_parts;

private:
    // The structure that the element stands in, when the record has none of it. The bits of an extension that is not
    // known stand in none.
    static std::string_view partOf(const Element& element)
    {
        constexpr std::string_view aRead[] = {"profile_tier_level", "st_ref_pic_set", "scaling_list_data"};
        const std::string_view name = element.pName;
        if (name.ends_with("_extension_data_flag"))
            return name;
        const std::string_view part = element.structure.substr(0, element.structure.find_first_of(".["));
        return std::find(std::begin(aRead), std::end(aRead), part) == std::end(aRead) ? part : std::string_view();
    }
};

} // namespace

std::string unreadPartsText(const h265_inspect::InspectedSet& set)
{
    if (!set.hasSyntax())
        return "";
    CPartSizes sizes;
    set.trace(sizes);
    std::string text;
    for (const auto& [part, ulBits] : sizes.m_parts)
        text += formatted("{}{}, {} bit{}", text.empty() ? "" : "; ", part, ulBits, ulBits == 1 ? "" : "s");
    if (text.empty())
        return "";
    if (set.stop())
        text += formatted(" ({})", set.stop().message());
    return text + ": not in the record";
}

} // namespace h265ps
