#include "TextRecord.h"

#include <utility>

#include "FieldLines.h"
#include "FormattedText.h"
#include "Gist.h"
#include "RefPicSetText.h"
#include "ScalingListText.h"
#include "TileDrawing.h"

namespace h265ps {

using namespace h265_codec;

namespace {

constexpr std::size_t MAX_TABLE_ENTRIES = 16;
constexpr unsigned BELOW_FIELD = CFieldLines::INDENT + 2;

// Writes a record, group by group.
class CTextRecord : public CRecordVisitor
{
public:
    CTextRecord(const CGist& gist, const TextStyle& style, std::string unreadParts = "")
        : m_gist(gist), m_style(style), m_unreadParts(std::move(unreadParts)), m_lines(style)
    {}

    std::string take() { return m_lines.take(); }

    void group(EGroup eGroup) override
    {
        GroupGist gist = m_gist.of(eGroup);
        if (holdsUnreadParts(eGroup) && !m_unreadParts.empty())
            gist.gist = m_unreadParts;
        m_lines.text(formatted(
            "  {}{}{}{}{}\n", m_style.pHeading, gist.pTitle, m_style.pEnd, gist.gist.empty() ? "" : ": ", gist.gist));
    }
    void flag(const char* pName, bool bValue, FieldNote note) override
    {
        m_lines.field(pName, bValue ? "1" : "0", note);
    }
    void number(const char* pName, std::int64_t iValue, FieldNote note) override
    {
        m_lines.field(pName, std::to_string(iValue), note);
    }
    void numbers(const char* pName, std::span<const std::int64_t> values, FieldNote note) override
    {
        m_lines.field(pName, values.empty() ? "none" : joined(values, " "), note, values.size());
    }
    void flags(const char* pName, std::span<const bool> values, FieldNote note) override
    {
        m_lines.field(pName, values.empty() ? "none" : bitsText(values), note, values.size());
    }
    void flagRows(const char* pName, std::span<const bool[32]> rows, FieldNote note) override
    {
        std::string value;
        for (const auto& row : rows)
            value += (value.empty() ? "" : formatted("\n{:{}}", "", CFieldLines::VALUE_COLUMN)) + bitsText(row);
        m_lines.field(pName, value.empty() ? "none" : value, note, rows.size());
    }
    void table(const char* pName, std::span<const unsigned> values, FieldNote note) override;
    void addressTable(const char* pName, std::span<const unsigned> values, FieldNote note) override
    {
        table(pName, values, note);
    }
    void profileTierLevel(const char* pName, const profile_tile_level& ptl, unsigned uiSubLayers) override
    {
        m_lines.heading(pName);
        m_lines.indent(2);
        listFields(ptl, uiSubLayers, *this);
        m_lines.indent(-2);
    }
    void refPicSets(const char* pName, std::span<const ShortTermRefPicSet> sets) override;
    void scalingLists(const char* pName, const ScalingListData* pLists) override;

protected:
    [[nodiscard]] bool isShown(const ScalingListData* pLists) const { return pLists == m_pShownLists; }

private:
    // The group of the flags that tell of them; a VPS has no other.
    static bool holdsUnreadParts(EGroup eGroup)
    {
        return eGroup == EGroup::Extensions || eGroup == EGroup::PresenceFlags;
    }

    const CGist& m_gist;
    const TextStyle& m_style;
    const std::string m_unreadParts;
    CFieldLines m_lines;
    std::span<const unsigned> m_colWidth;
    const ScalingListData* m_pShownLists = nullptr;
};

void CTextRecord::table(const char* pName, std::span<const unsigned> values, FieldNote note)
{
    std::string value;
    if (values.size() <= MAX_TABLE_ENTRIES)
        value = joined(values, " ");
    else
        value = formatted("{} ... {} [{} entries]",
                          joined(values.first(MAX_TABLE_ENTRIES - 4), " "),
                          joined(values.last(2), " "),
                          values.size());
    m_lines.field(pName, value, note);
    // The rows come last: the grid is known then.
    const std::string_view name = pName;
    if (name == "colWidth")
        m_colWidth = values;
    if (name == "rowHeight" && !values.empty())
        m_lines.text(drawTiles(m_colWidth, values, BELOW_FIELD));
}

void CTextRecord::refPicSets(const char* pName, std::span<const ShortTermRefPicSet> sets)
{
    if (sets.empty())
        return m_lines.field(pName, "none", {});
    m_lines.heading(pName, "POC deltas; * used by the current picture, the others kept for later ones");
    for (std::size_t i = 0; i < sets.size(); ++i)
        m_lines.text(refPicSetText(i, sets[i], i != 0 ? &sets[i - 1] : nullptr, m_style));
}

void CTextRecord::scalingLists(const char* pName, const ScalingListData* pLists)
{
    if (pLists == nullptr)
        return m_lines.field(pName, "none", {});
    if (pLists == m_pShownLists)
        return m_lines.field(pName, "the same store", {});
    m_lines.heading(pName);
    m_lines.text(scalingListText(*pLists, BELOW_FIELD));
    m_pShownLists = pLists;
}

// Keeps what is derived and what is drawn, group by group.
class CDerivedText : public CTextRecord
{
public:
    using CTextRecord::CTextRecord;

    std::map<EGroup, std::string> takeGroups()
    {
        endGroup();
        return std::move(m_groups);
    }

    void group(EGroup eGroup) override
    {
        endGroup();
        m_eGroup = eGroup;
    }
    void flag(const char* pName, bool bValue, FieldNote note) override
    {
        if (isDerived(note))
            CTextRecord::flag(pName, bValue, note);
    }
    void number(const char* pName, std::int64_t iValue, FieldNote note) override
    {
        if (isDerived(note))
            CTextRecord::number(pName, iValue, note);
    }
    void numbers(const char* pName, std::span<const std::int64_t> values, FieldNote note) override
    {
        if (isDerived(note))
            CTextRecord::numbers(pName, values, note);
    }
    void flags(const char* pName, std::span<const bool> values, FieldNote note) override
    {
        if (isDerived(note))
            CTextRecord::flags(pName, values, note);
    }
    void flagRows(const char*, std::span<const bool[32]>, FieldNote) override {}
    void table(const char* pName, std::span<const unsigned> values, FieldNote note) override
    {
        if (isDerived(note))
            CTextRecord::table(pName, values, note);
    }
    void profileTierLevel(const char*, const profile_tile_level&, unsigned) override {}
    void refPicSets(const char* pName, std::span<const ShortTermRefPicSet> sets) override
    {
        if (!sets.empty())
            CTextRecord::refPicSets(pName, sets);
    }
    void scalingLists(const char* pName, const ScalingListData* pLists) override
    {
        if (pLists != nullptr && !isShown(pLists))
            CTextRecord::scalingLists(pName, pLists);
    }

private:
    static bool isDerived(const FieldNote& note) { return note.ePresence == EPresence::Derived; }

    void endGroup()
    {
        if (std::string text = take(); !text.empty())
            m_groups[m_eGroup] += text;
    }

    std::map<EGroup, std::string> m_groups;
    EGroup m_eGroup = EGroup::Identity;
};

template <class TRecord>
std::map<EGroup, std::string> derived(const TRecord& record, const CGist& gist, const TextStyle& style)
{
    CDerivedText visitor(gist, style);
    listFields(record, visitor);
    return visitor.takeGroups();
}

template <class TRecord>
std::string text(const TRecord& record, const CGist& gist, const std::string& unreadParts, const TextStyle& style)
{
    CTextRecord visitor(gist, style, unreadParts);
    listFields(record, visitor);
    return visitor.take();
}

} // namespace

std::string recordText(const h265_stream::ParameterSetEvent& event, const std::string& unreadParts,
                       const TextStyle& style)
{
    if (event.vps != nullptr)
        return text(*event.vps, CGist(*event.vps), unreadParts, style);
    if (event.sps != nullptr)
        return text(*event.sps, CGist(*event.sps), unreadParts, style);
    if (event.pps != nullptr)
        return text(*event.pps, CGist(*event.pps, event.spsOfPps), unreadParts, style);
    return "";
}

std::map<EGroup, std::string> derivedTexts(const h265_stream::ParameterSetEvent& event, const TextStyle& style)
{
    if (event.vps != nullptr)
        return derived(*event.vps, CGist(*event.vps), style);
    if (event.sps != nullptr)
        return derived(*event.sps, CGist(*event.sps), style);
    if (event.pps != nullptr)
        return derived(*event.pps, CGist(*event.pps, event.spsOfPps), style);
    return {};
}

} // namespace h265ps
