#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ParameterSetSyntax.h"

namespace h265_inspect {

/// What made elements appear before, by their paths: elements with their values, in order. A search takes
/// a thousand times as long as doing the same again.
class CPresenceMemory
{
public:
    using Switches = std::vector<std::pair<std::string, std::int64_t>>;

    [[nodiscard]] const std::vector<Switches>& of(const std::string& path) { return m_known[path]; }
    void add(const std::string& path, Switches switches)
    {
        constexpr std::size_t MAX_KNOWN = 16;
        std::vector<Switches>& known = m_known[path];
        if (known.size() < MAX_KNOWN)
            known.push_back(std::move(switches));
    }

private:
    std::map<std::string, std::vector<Switches>> m_known;
};

/// Makes an element appear that a set does not have, by the flags that say that it is there: for
/// "vui_parameters.colour_primaries" those of the VUI, the video signal type and the colour description. They
/// are found by trying, not listed. False, and the set as it was: no such flags lead to the element.
bool makeAppear(h265_syntax::VideoParameterSet& set, const std::string& path, const h265_syntax::Context& context,
                CPresenceMemory& memory);
bool makeAppear(h265_syntax::SequenceParameterSet& set, const std::string& path, const h265_syntax::Context& context,
                CPresenceMemory& memory);
bool makeAppear(h265_syntax::PictureParameterSet& set, const std::string& path, const h265_syntax::Context& context,
                CPresenceMemory& memory);

/// The path, among those that sets of the type can have, that is spelled most like the one given.
std::string nearestElement(unsigned nal_unit_type, std::string_view path);

} // namespace h265_inspect
