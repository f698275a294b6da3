#include "TextSyntax.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "ElementMeanings.h"
#include "FieldLines.h"
#include "FindingText.h"
#include "FormattedText.h"
#include "Gist.h"
#include "SyntaxGroups.h"
#include "TextRecord.h"

namespace h265ps {

using h265_inspect::CSyntaxTree;
using h265_inspect::InspectedSet;
using h265_stream::ParameterSetEvent;
using h265_syntax::Finding;
using Node = CSyntaxTree::Node;
using EKind = CSyntaxTree::EKind;

namespace {

constexpr std::size_t MAX_ENTRIES = 32; // of an array, on its line

// What the record draws instead.
bool isDrawn(std::string_view structure)
{
    return structure == "st_ref_pic_set" || structure == "scaling_list_data";
}

std::string valueText(std::string_view name, std::int64_t iValue)
{
    const std::string_view meaning = h265_syntax::meaningOf(name, iValue);
    return meaning.empty() ? std::to_string(iValue) : formatted("{} ({})", iValue, meaning);
}

class CTextSyntax
{
public:
    CTextSyntax(const ParameterSetEvent& event, const InspectedSet& set, const CSyntaxTree& tree,
                const TextStyle& style)
        : m_event(event), m_set(set), m_tree(tree), m_style(style), m_lines(style), m_told(set.findings.size())
    {
        if (event.vps != nullptr)
            m_gist.emplace(*event.vps);
        else if (event.sps != nullptr)
            m_gist.emplace(*event.sps);
        else if (event.pps != nullptr)
            m_gist.emplace(*event.pps, event.spsOfPps);
        m_derived = derivedTexts(event, style);
    }

    std::string text()
    {
        for (const Node* p = m_tree.firstChild(m_tree.root()); p != nullptr; p = m_tree.next(*p)) {
            if (const SyntaxGroup* const pGroup = groupThatBeginsWith(m_event.header.nal_unit_type, p->name))
                begin(*pGroup);
            if (!m_gist || !isDrawn(p->name))
                add(*p, p->name, "");
        }
        endGroup();
        for (const auto& [eGroup, derived] : m_derived) {
            heading(m_gist->of(eGroup).pTitle, m_gist->of(eGroup).gist);
            m_lines.text(derived);
        }
        for (std::size_t i = 0; i < m_told.size(); ++i) {
            if (!m_told[i])
                tell(m_set.findings[i], true);
        }
        if (m_set.uiMoreFindings != 0)
            m_lines.text(formatted("  ! {} more of the kind are not listed\n", m_set.uiMoreFindings));
        return m_lines.take();
    }

private:
    void begin(const SyntaxGroup& group)
    {
        endGroup();
        m_eGroup = group.eGroup;
        std::string gist = group.eGroup && m_gist ? m_gist->of(*group.eGroup).gist : "";
        if (m_set.pGist != nullptr && group.firstElement == "vui_parameters_present_flag")
            gist = vuiTextOf(*m_set.pGist);
        heading(group.pTitle, gist);
    }

    void heading(const char* pTitle, const std::string& gist)
    {
        m_lines.text(
            formatted("  {}{}{}{}{}\n", m_style.pHeading, pTitle, m_style.pEnd, gist.empty() ? "" : ": ", gist));
    }

    // With what the record derives from the group.
    void endGroup()
    {
        const auto position = m_eGroup ? m_derived.find(*m_eGroup) : m_derived.end();
        if (position == m_derived.end())
            return;
        m_lines.text(position->second);
        m_derived.erase(position);
    }

    // As deep as structures and indices nest: the descriptions bound it.
    void add(const Node& node, const std::string& name, const std::string& structure)
    {
        switch (node.eKind) {
        case EKind::None:
            return;
        case EKind::Value:
            line(name, node.name.empty() ? std::to_string(node.iValue) : valueText(node.name, node.iValue));
            break;
        case EKind::Flags:
            line(name, flagsText(node));
            break;
        case EKind::Array:
            return addArray(node, name, structure);
        case EKind::Object:
            return addStructure(node, name, structure);
        }
        tellOf(name, structure);
    }
    void add(const Node& node, std::string_view name, const char* pStructure)
    {
        add(node, std::string(name), std::string(pStructure));
    }

    void addStructure(const Node& node, const std::string& name, const std::string& structure)
    {
        m_lines.heading(kept(name));
        m_lines.indent(2);
        const std::string inner = structure.empty() ? name : structure + "." + name;
        for (const Node* p = m_tree.firstChild(node); p != nullptr; p = m_tree.next(*p))
            add(*p, std::string(p->name), inner);
        m_lines.indent(-2);
    }

    // One line for what is plain; one for each entry otherwise.
    void addArray(const Node& node, const std::string& name, const std::string& structure)
    {
        std::vector<const Node*> entries;
        bool bPlain = true;
        for (const Node* p = m_tree.firstChild(node); p != nullptr; p = m_tree.next(*p)) {
            entries.push_back(p);
            bPlain = bPlain && (p->eKind == EKind::Value || p->eKind == EKind::None);
        }
        if (bPlain) {
            line(name, entriesText(name, entries));
            return tellOf(name, structure);
        }
        for (std::size_t i = 0; i < entries.size(); ++i)
            add(*entries[i], formatted("{}[{}]", name, i), structure);
    }

    static std::string entriesText(std::string_view name, const std::vector<const Node*>& entries)
    {
        constexpr std::size_t COMPATIBILITY_FLAGS = 32;
        if (entries.size() == COMPATIBILITY_FLAGS && name.ends_with("_flag")) {
            bool abFlags[COMPATIBILITY_FLAGS] = {};
            for (std::size_t i = 0; i < entries.size(); ++i)
                abFlags[i] = entries[i]->iValue != 0;
            return bitsText(abFlags);
        }
        if (entries.size() == 1)
            return valueText(name, entries[0]->iValue);
        std::string text;
        for (std::size_t i = 0; i < std::min(entries.size(), MAX_ENTRIES); ++i) {
            text += i != 0 ? " " : "";
            text += entries[i]->eKind == EKind::Value ? std::to_string(entries[i]->iValue) : "-";
        }
        return entries.size() > MAX_ENTRIES ? formatted("{} ... [{} entries]", text, entries.size()) : text;
    }

    std::string flagsText(const Node& node) const
    {
        constexpr std::size_t MAX_FLAGS = 64;
        const std::span<const unsigned char> flags = m_tree.flags(node);
        std::string text;
        for (const unsigned char ucFlag : flags.first(std::min(flags.size(), MAX_FLAGS)))
            text += ucFlag != 0 ? '1' : '0';
        return flags.size() > MAX_FLAGS ? formatted("{}... [{} bits]", text, flags.size()) : text;
    }

    void line(const std::string& name, const std::string& value) { m_lines.field(kept(name), value, {}); }

    // CFieldLines takes names that live as long as itself.
    const char* kept(const std::string& name)
    {
        m_name = name;
        return m_name.c_str();
    }

    // Of the element, or of an entry of it.
    void tellOf(std::string_view name, std::string_view structure)
    {
        for (std::size_t i = 0; i < m_told.size(); ++i) {
            const Finding& finding = m_set.findings[i];
            const std::string_view element = finding.element;
            const bool bOfIt =
                element.starts_with(name) && (element.size() == name.size() || element[name.size()] == '[');
            if (!m_told[i] && bOfIt && finding.structure == structure) {
                m_told[i] = true;
                tell(finding, element.size() != name.size());
            }
        }
    }

    void tell(const Finding& finding, bool bWithElement)
    {
        m_lines.text(formatted("    {}! {}{}\n", m_style.pBad, findingText(finding, bWithElement), m_style.pEnd));
    }

    const ParameterSetEvent& m_event;
    const InspectedSet& m_set;
    const CSyntaxTree& m_tree;
    const TextStyle& m_style;
    CFieldLines m_lines;
    std::optional<CGist> m_gist; // of the record
    std::map<EGroup, std::string> m_derived;
    std::optional<EGroup> m_eGroup; // that the lines stand in
    std::vector<bool> m_told;       // by finding
    std::string m_name;
};

} // namespace

std::string syntaxText(const ParameterSetEvent& event, const InspectedSet& set, const CSyntaxTree& tree,
                       const TextStyle& style)
{
    return CTextSyntax(event, set, tree, style).text();
}

} // namespace h265ps
