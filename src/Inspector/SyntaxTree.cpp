#include "SyntaxTree.h"

#include <algorithm>
#include <charconv>

namespace h265_inspect {

using h265_syntax::Element;

namespace {

// An index so far behind the entries that are there is no place in an array: a view can be given any number.
// Such an element stands under its name with the indices.
constexpr std::uint32_t MAX_GAP = 64;

// Flags of one name in a row, as many as the payload has.
bool isFlagRun(std::string_view name)
{
    return name.ends_with("_extension_data_flag");
}

// Other names that the tables use again and again without an index.
bool isRun(std::string_view name)
{
    return name.starts_with("sub_layer_reserved_zero_") || name == "split_octant_flag" ||
           name == "vps_non_vui_extension_data_byte" || name.ends_with("_alignment_bit_equal_to_one");
}

} // namespace

void CSyntaxTree::build(const InspectedSet& set)
{
    m_nodes.assign(1, Node{.name = {}, .eKind = EKind::Object});
    m_flags.clear();
    m_structure.clear();
    m_uiObject = 0;
    set.trace(*this);
}

std::string_view CSyntaxTree::kept(std::string_view name)
{
    const auto position = m_names.find(name);
    return position != m_names.end() ? *position : *m_names.emplace(name).first;
}

std::uint32_t CSyntaxTree::append(std::uint32_t uiParent, std::string_view name)
{
    const auto uiNode = static_cast<std::uint32_t>(m_nodes.size());
    m_nodes.push_back(Node{.name = name});
    Node& parent = m_nodes[uiParent];
    if (parent.uiLast != 0)
        m_nodes[parent.uiLast].uiNext = uiNode;
    else
        parent.uiFirst = uiNode;
    parent.uiLast = uiNode;
    ++parent.uiChildren;
    return uiNode;
}

// The child of that name, new when there is none.
std::uint32_t CSyntaxTree::member(std::uint32_t uiObject, std::string_view name)
{
    const std::uint32_t uiLast = m_nodes[uiObject].uiLast;
    if (uiLast != 0 && m_nodes[uiLast].name == name)
        return uiLast;
    for (std::uint32_t i = m_nodes[uiObject].uiFirst; i != 0; i = m_nodes[i].uiNext) {
        if (m_nodes[i].name.data() == name.data() || m_nodes[i].name == name)
            return i;
    }
    return append(uiObject, name);
}

// The entry of an array, which grows up to it.
std::uint32_t CSyntaxTree::entry(std::uint32_t uiArray, std::uint32_t uiIndex)
{
    m_nodes[uiArray].eKind = EKind::Array;
    while (m_nodes[uiArray].uiChildren <= uiIndex)
        append(uiArray, {});
    if (uiIndex + 1 == m_nodes[uiArray].uiChildren)
        return m_nodes[uiArray].uiLast;
    std::uint32_t i = m_nodes[uiArray].uiFirst;
    for (; uiIndex != 0; --uiIndex)
        i = m_nodes[i].uiNext;
    return i;
}

// "vui_parameters.hrd_parameters.nal_hrd[0]"
void CSyntaxTree::enterStructure(std::string_view path)
{
    m_structure = path;
    m_uiObject = 0;
    while (!path.empty()) {
        const std::string_view part = path.substr(0, path.find('.'));
        path.remove_prefix(std::min(path.size(), part.size() + 1));
        const std::size_t uiBracket = part.find('[');
        std::uint32_t uiNode = member(m_uiObject, kept(part.substr(0, uiBracket)));
        if (uiBracket != std::string_view::npos) {
            std::uint32_t uiIndex = 0;
            std::from_chars(part.data() + uiBracket + 1, part.data() + part.size(), uiIndex);
            uiNode = entry(uiNode, uiIndex);
        }
        m_nodes[uiNode].eKind = EKind::Object;
        m_uiObject = uiNode;
    }
}

void CSyntaxTree::addFlag(std::uint32_t uiNode, std::int64_t iValue)
{
    Node& node = m_nodes[uiNode];
    if (node.eKind == EKind::None) {
        node.eKind = EKind::Flags;
        node.iValue = static_cast<std::int64_t>(m_flags.size());
    }
    ++node.uiChildren;
    m_flags.push_back(static_cast<unsigned char>(iValue));
}

bool CSyntaxTree::onElement(const Element& element)
{
    if (element.structure != m_structure)
        enterStructure(element.structure);
    std::uint32_t uiNode = member(m_uiObject, element.pName);
    if (isFlagRun(element.pName)) {
        addFlag(uiNode, element.iValue);
        return true;
    }
    if (element.uiIndices == 0 && isRun(element.pName))
        uiNode = entry(uiNode, m_nodes[uiNode].uiChildren);
    for (const unsigned uiIndex : element.indices()) {
        if (uiIndex > m_nodes[uiNode].uiChildren + MAX_GAP) {
            uiNode = member(m_uiObject, kept(element.nameWithIndices()));
            break;
        }
        uiNode = entry(uiNode, uiIndex);
    }
    m_nodes[uiNode].eKind = EKind::Value;
    m_nodes[uiNode].iValue = element.iValue;
    return true;
}

} // namespace h265_inspect
