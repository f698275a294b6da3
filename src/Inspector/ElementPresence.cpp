#include "ElementPresence.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "SetElements.h"

namespace h265_inspect {

using namespace h265_syntax;

namespace {

// Whether it says of a path that it is an element, or a structure around elements, of the set.
class CLookFor : public CElementSink
{
public:
    explicit CLookFor(std::string_view path) : m_path(path) {}

    bool onElement(const Element& element) override
    {
        if (isExtensionData(element))
            return false;
        ++m_ulSeen;
        if (element.structure.starts_with(m_path))
            m_bFound = element.structure.size() == m_path.size() || element.structure[m_path.size()] == '.';
        else if (m_path.starts_with(element.structure))
            m_bFound = pathOf(element) == m_path;
        return !m_bFound;
    }

    bool m_bFound = false;
    std::uint64_t m_ulSeen = 0;

private:
    std::string_view m_path;
};

// The names of flags, and of the one number (Table E.1), that say whether something is there, with the value
// that says yes. A flag that switches a tool on is one too: the slices are coded against it, and so it is
// refused by its own name.
std::int64_t presenceValueOf(const Element& element)
{
    constexpr std::array<std::string_view, 6> ENDS = {
        "_present_flag", "_window_flag", "_restriction_flag", "_extension_flag", "_enabled_flag", "_to_timing_flag"};
    const std::string_view name = element.pName;
    if (name == "aspect_ratio_idc")
        return EXTENDED_SAR;
    const bool bFlag = element.eDescriptor == EDescriptor::u && element.uiBits == 1;
    return bFlag && std::ranges::any_of(ENDS, [name](std::string_view end) { return name.ends_with(end); }) ? 1 : 0;
}

// Such elements in the structures around a path that say no.
class CSwitches : public CElementSink
{
public:
    explicit CSwitches(std::string_view path) : m_path(path) {}

    bool onElement(const Element& element) override
    {
        if (isExtensionData(element))
            return false;
        const std::size_t uiEnd = element.structure.size();
        const bool bAround =
            uiEnd == 0 || (m_path.size() > uiEnd && m_path.starts_with(element.structure) && m_path[uiEnd] == '.');
        const std::int64_t iYes = bAround ? presenceValueOf(element) : 0;
        if (iYes != 0 && element.iValue != iYes)
            m_found.emplace_back(pathOf(element), iYes);
        return true;
    }

    CPresenceMemory::Switches m_found;

private:
    std::string_view m_path;
};

template <class TSet>
class CPresence
{
public:
    using Switches = CPresenceMemory::Switches;

    CPresence(std::string_view path, const Context& context) : m_path(path), m_context(context) {}

    /// As it was done before.
    bool repeat(TSet& set, const std::vector<Switches>& known)
    {
        for (const Switches& switches : known) {
            TSet led = set;
            const bool bThere = std::ranges::all_of(
                switches, [this, &led](const auto& one) { return assignTo(led, one.first, one.second, m_context); });
            if (bThere && isThere(led, m_path)) {
                set = std::move(led);
                return true;
            }
        }
        return false;
    }

    /// What a search has done.
    [[nodiscard]] Switches&& done() { return std::move(m_done); }

    // Structure by structure, and the element at last: "vui_parameters", "vui_parameters.hrd_parameters", ...
    bool lead(TSet& set)
    {
        TSet led = set;
        for (std::size_t uiEnd = m_path.find('.');; uiEnd = m_path.find('.', uiEnd + 1)) {
            const std::string_view goal = m_path.substr(0, uiEnd);
            if (!isThere(led, goal) && !leadTo(led, goal, {}, 0))
                return false;
            if (uiEnd == std::string_view::npos)
                break;
        }
        set = std::move(led);
        return true;
    }

private:
    // A set of a crafted stream can have millions of elements and flags: the search is given up then.
    static constexpr std::uint64_t MAX_SEEN = 20'000'000;
    static constexpr unsigned MAX_SWITCHES = 3; // that hide each other, within one structure

    bool isThere(const TSet& set, std::string_view goal)
    {
        CLookFor sink(goal);
        trace(set, sink);
        m_ulSeen += sink.m_ulSeen;
        return sink.m_bFound;
    }

    static Switches switchesOf(const TSet& set, std::string_view goal)
    {
        CSwitches sink(goal);
        trace(set, sink);
        return std::move(sink.m_found);
    }

    // One switch, else one that makes others appear that do. The known ones have been tried alone.
    bool leadTo(TSet& set, std::string_view goal, const Switches& known, unsigned uiDepth)
    {
        Switches tried = switchesOf(set, goal);
        std::erase_if(tried, [&known](const auto& one) { return std::ranges::find(known, one) != known.end(); });
        Switches allKnown = known;
        allKnown.insert(allKnown.end(), tried.begin(), tried.end());
        for (const auto& [path, iYes] : tried) {
            TSet changed = set;
            if (m_ulSeen < MAX_SEEN && assignTo(changed, path, iYes, m_context) && isThere(changed, goal)) {
                m_done.emplace_back(path, iYes);
                set = std::move(changed);
                return true;
            }
        }
        for (const auto& [path, iYes] : tried) {
            TSet changed = set;
            m_done.emplace_back(path, iYes);
            if (uiDepth + 1 < MAX_SWITCHES && m_ulSeen < MAX_SEEN && assignTo(changed, path, iYes, m_context) &&
                leadTo(changed, goal, allKnown, uiDepth + 1)) {
                set = std::move(changed);
                return true;
            }
            m_done.pop_back();
        }
        return false;
    }

    std::string_view m_path;
    const Context& m_context;
    std::uint64_t m_ulSeen = 0;
    Switches m_done;
};

template <class TSet>
bool makeAppearIn(TSet& set, const std::string& path, const Context& context, CPresenceMemory& memory)
{
    CPresence<TSet> presence(path, context);
    if (presence.repeat(set, memory.of(path)))
        return true;
    if (!presence.lead(set))
        return false;
    memory.add(path, presence.done());
    return true;
}

// "sub_layer_ordering[3].x[1]" as "sub_layer_ordering[].x[]"
std::string withoutIndices(std::string_view path)
{
    std::string plain;
    bool bIndex = false;
    for (const char c : path) {
        bIndex = bIndex && c != ']';
        if (!bIndex)
            plain += c;
        bIndex = bIndex || c == '[';
    }
    return plain;
}

// The paths that a small set has when everything is there that flags and counts of one can bring.
class CAllPaths : public CElementSink
{
public:
    bool onElement(const Element& element) override
    {
        const std::string path = pathOf(element);
        if (m_names.insert(withoutIndices(path)).second)
            m_paths.push_back(path);
        if (element.iValue == 0)
            m_zeros.push_back(path);
        return true;
    }

    template <class TSet>
    void addAllOf(TSet set)
    {
        std::set<std::string> tried;
        for (bool bMore = true; bMore;) {
            m_zeros.clear();
            trace(set, *this);
            bMore = false;
            for (const std::string& path : std::exchange(m_zeros, {})) {
                if (!tried.insert(withoutIndices(path)).second)
                    continue;
                bMore = true;
                const std::size_t uiNames = m_names.size();
                TSet changed = set;
                if (!assignTo(changed, path, 1, {}))
                    continue;
                trace(changed, *this);
                if (m_names.size() > uiNames)
                    set = std::move(changed);
            }
        }
    }

    std::vector<std::string> m_paths;

private:
    std::set<std::string> m_names;
    std::vector<std::string> m_zeros;
};

// Levenshtein's distance, where what is left out costs less than what is wrong: names are shortened.
std::size_t distance(std::string_view given, std::string_view known)
{
    constexpr std::size_t LEFT_OUT = 1;
    constexpr std::size_t WRONG = 3;
    std::vector<std::size_t> row(known.size() + 1);
    for (std::size_t j = 0; j <= known.size(); ++j)
        row[j] = LEFT_OUT * j;
    for (std::size_t i = 1; i <= given.size(); ++i) {
        std::size_t uiDiagonal = std::exchange(row[0], WRONG * i);
        for (std::size_t j = 1; j <= known.size(); ++j) {
            const std::size_t uiChanged = uiDiagonal + (given[i - 1] == known[j - 1] ? 0 : WRONG);
            uiDiagonal = row[j];
            row[j] = std::min({uiChanged, row[j] + WRONG, row[j - 1] + LEFT_OUT});
        }
    }
    return row[known.size()];
}

// The name alone may be right, in a structure that was left out.
std::size_t unlikeness(std::string_view given, std::string_view known)
{
    return std::min(2 * distance(given, known), 2 * distance(lastNameOf(given), lastNameOf(known)) + 1);
}

template <class TSet>
std::vector<std::string> allPaths()
{
    CAllPaths all;
    for (const unsigned uiProfile : {0U, 2U, 5U}) { // whose constraint flags differ, 7.3.3
        TSet set;
        if constexpr (SetKind<TSet>::TYPE != PPS_NUT)
            set.profile_tier_level.general_profile_idc = static_cast<std::uint16_t>(uiProfile);
        all.addAllOf(std::move(set));
    }
    if constexpr (SetKind<TSet>::TYPE == SPS_NUT) {
        for (const char* const pPath : {"sar_width", "sar_height", "timing"})
            all.m_paths.push_back(std::string("vui_parameters.").append(pPath));
    } else if constexpr (SetKind<TSet>::TYPE == VPS_NUT) {
        all.m_paths.emplace_back("timing");
    }
    return std::move(all.m_paths);
}

template <class TSet>
std::string nearest(std::string_view path)
{
    static const std::vector<std::string> PATHS = allPaths<TSet>(); // many files may have the same mistake
    constexpr std::size_t LONGEST = 200;
    const std::string plain = withoutIndices(path.substr(0, LONGEST));
    return *std::ranges::min_element(
        PATHS, {}, [&plain](const std::string& known) { return unlikeness(plain, withoutIndices(known)); });
}

} // namespace

bool makeAppear(VideoParameterSet& set, const std::string& path, const Context& context, CPresenceMemory& memory)
{
    return makeAppearIn(set, path, context, memory);
}
bool makeAppear(SequenceParameterSet& set, const std::string& path, const Context& context, CPresenceMemory& memory)
{
    return makeAppearIn(set, path, context, memory);
}
bool makeAppear(PictureParameterSet& set, const std::string& path, const Context& context, CPresenceMemory& memory)
{
    return makeAppearIn(set, path, context, memory);
}

std::string nearestElement(unsigned nal_unit_type, std::string_view path)
{
    switch (nal_unit_type) {
    case VPS_NUT:
        return nearest<VideoParameterSet>(path);
    case SPS_NUT:
        return nearest<SequenceParameterSet>(path);
    default:
        return nearest<PictureParameterSet>(path);
    }
}

} // namespace h265_inspect
