#include <algorithm>
#include <array>
#include <cstring>
#include <unordered_map>
#include <utility>

#include "ParameterSetSyntax.h"

namespace h265_syntax {

namespace {

// An element without strings of its own: most elements of two sets are alike, and nobody sees their names.
struct Entry
{
    std::size_t uiStructure = 0; // in its list
    const char* pName = nullptr;
    std::array<unsigned, 5> aIndex{};
    unsigned uiIndices = 0;
    std::int64_t iValue = 0;
};

// The elements of a set, to hold against those of another.
class CElementList : public CElementSink
{
public:
    bool onElement(const Element& element) override
    {
        if (m_structures.empty() || m_structures.back() != element.structure)
            m_structures.emplace_back(element.structure);
        m_entries.push_back(
            {m_structures.size() - 1, element.pName, element.aIndex, element.uiIndices, element.iValue});
        return true;
    }

    [[nodiscard]] const std::vector<Entry>& entries() const { return m_entries; }
    [[nodiscard]] const std::string& structureOf(const Entry& entry) const { return m_structures[entry.uiStructure]; }
    [[nodiscard]] static std::string nameOf(const Entry& entry)
    {
        Element element;
        element.pName = entry.pName;
        element.aIndex = entry.aIndex;
        element.uiIndices = entry.uiIndices;
        return element.nameWithIndices();
    }
    [[nodiscard]] std::string pathOf(const Entry& entry) const { return structureOf(entry) + '.' + nameOf(entry); }

private:
    std::vector<std::string> m_structures; // in coding order, one that is come back to once more
    std::vector<Entry> m_entries;
};

// The elements of two sets, held against each other in coding order, which is the same for both.
class CComparison
{
public:
    CComparison(const CElementList& left, const CElementList& right) : m_left(left), m_right(right) {}

    std::vector<Difference> differences()
    {
        for (const Entry& left : m_left.entries())
            add(left);
        addRightsTo(m_right.entries().size());
        return std::move(m_differences);
    }

private:
    void add(const Entry& left)
    {
        const std::size_t uiPlace = placeOf(left);
        if (uiPlace == SIZE_MAX) {
            m_differences.push_back({m_left.structureOf(left), CElementList::nameOf(left), left.iValue, std::nullopt});
            return;
        }
        addRightsTo(uiPlace);
        const std::int64_t iRight = m_right.entries()[uiPlace].iValue;
        if (iRight != left.iValue)
            m_differences.push_back({m_left.structureOf(left), CElementList::nameOf(left), left.iValue, iRight});
        ++m_uiRight;
    }

    void addRightsTo(std::size_t uiEnd)
    {
        for (; m_uiRight < uiEnd; ++m_uiRight) {
            const Entry& right = m_right.entries()[m_uiRight];
            m_differences.push_back(
                {m_right.structureOf(right), CElementList::nameOf(right), std::nullopt, right.iValue});
        }
    }

    [[nodiscard]] bool isSameElement(const Entry& left, const Entry& right) const
    {
        return left.aIndex == right.aIndex && left.uiIndices == right.uiIndices &&
               std::strcmp(left.pName, right.pName) == 0 && m_left.structureOf(left) == m_right.structureOf(right);
    }

    // Where the right set has the element, not looked at yet; SIZE_MAX: it has not.
    std::size_t placeOf(const Entry& left)
    {
        const std::vector<Entry>& rights = m_right.entries();
        if (m_uiRight < rights.size() && isSameElement(left, rights[m_uiRight]))
            return m_uiRight;
        if (m_places.empty()) {
            for (std::size_t i = 0; i < rights.size(); ++i)
                m_places[m_right.pathOf(rights[i])].push_back(i);
        }
        const auto found = m_places.find(m_left.pathOf(left));
        if (found == m_places.end())
            return SIZE_MAX;
        const auto place = std::lower_bound(found->second.begin(), found->second.end(), m_uiRight);
        return place == found->second.end() ? SIZE_MAX : *place;
    }

    const CElementList& m_left;
    const CElementList& m_right;
    std::size_t m_uiRight = 0;
    std::unordered_map<std::string, std::vector<std::size_t>> m_places;
    std::vector<Difference> m_differences;
};

template <class TSet>
std::vector<Difference> compareSets(const TSet& left, const TSet& right)
{
    CElementList lefts;
    CElementList rights;
    trace(left, lefts);
    trace(right, rights);
    return CComparison(lefts, rights).differences();
}

} // namespace

std::vector<Difference> compare(const VideoParameterSet& left, const VideoParameterSet& right)
{
    return compareSets(left, right);
}
std::vector<Difference> compare(const SequenceParameterSet& left, const SequenceParameterSet& right)
{
    return compareSets(left, right);
}
std::vector<Difference> compare(const PictureParameterSet& left, const PictureParameterSet& right)
{
    return compareSets(left, right);
}

} // namespace h265_syntax
