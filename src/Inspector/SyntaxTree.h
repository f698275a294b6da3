#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "H265psExport.h"
#include "Inspector.h"
#include "SyntaxElement.h"

namespace H265PS_EXPORT h265_inspect {

/// The coded elements of a set by their structures: an object for each structure, an array for what has indices.
/// Keeps its memory for the next set.
class CSyntaxTree : private h265_syntax::CElementSink
{
public:
    enum class EKind : std::uint8_t
    {
        None,   // an entry of an array that is not coded
        Value,  // an element
        Flags,  // a run of flags without indices, what an unknown extension holds
        Array,  // its children are the entries
        Object, // a structure
    };

    struct Node
    {
        std::string_view name; // of an object's child; empty in an array
        std::int64_t iValue = 0;
        std::uint32_t uiFirst = 0; // child, 0 for none
        std::uint32_t uiLast = 0;
        std::uint32_t uiNext = 0;     // sibling, 0 for none
        std::uint32_t uiChildren = 0; // of Flags: how many
        EKind eKind = EKind::None;
    };

    /// Takes the set's elements in the place of those of the set before.
    void build(const InspectedSet& set);

    /// The set itself, an object; valid until the next build.
    [[nodiscard]] const Node& root() const noexcept { return m_nodes.front(); }
    /// Null for none.
    [[nodiscard]] const Node* firstChild(const Node& node) const noexcept { return at(node.uiFirst); }
    [[nodiscard]] const Node* next(const Node& node) const noexcept { return at(node.uiNext); }
    /// Of a node of this kind: 0 and 1.
    [[nodiscard]] std::span<const unsigned char> flags(const Node& node) const noexcept
    {
        return std::span(m_flags).subspan(static_cast<std::size_t>(node.iValue), node.uiChildren);
    }

private:
    bool onElement(const h265_syntax::Element& element) override;
    [[nodiscard]] const Node* at(std::uint32_t i) const noexcept { return i != 0 ? &m_nodes[i] : nullptr; }

    void enterStructure(std::string_view path);
    std::uint32_t append(std::uint32_t uiParent, std::string_view name);
    std::uint32_t member(std::uint32_t uiObject, std::string_view name);
    std::uint32_t entry(std::uint32_t uiArray, std::uint32_t uiIndex);
    void addFlag(std::uint32_t uiNode, std::int64_t iValue);
    std::string_view kept(std::string_view name);

    std::vector<Node> m_nodes;
    std::vector<unsigned char> m_flags;
    std::set<std::string, std::less<>> m_names; // of structures, which live no longer than the call
    std::string m_structure;                    // the path of m_uiObject
    std::uint32_t m_uiObject = 0;
};

} // namespace h265_inspect
