#include "TextRecord.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>

#include "Gist.h"
#include "ScalingListText.h"
#include "TileDrawing.h"

namespace h265ps {

using namespace h265_codec;

namespace {

constexpr unsigned VALUE_COLUMN = 49;
constexpr unsigned FIELD_INDENT = 4;
constexpr std::size_t LINE_WIDTH = 100; // of lists of names
constexpr std::size_t MAX_TABLE_ENTRIES = 16;

// Writes a record. Neighbouring fields that the stream does not carry share a faint paragraph.
class CTextRecord : public CRecordVisitor
{
public:
    CTextRecord(const CGist& gist, const TextStyle& style) : m_gist(gist), m_style(style) {}

    std::string take()
    {
        endRun();
        return std::move(m_text);
    }

    void group(EGroup eGroup) override
    {
        endRun();
        const GroupGist gist = m_gist.of(eGroup);
        print("  {}{}{}", m_style.pHeading, gist.pTitle, m_style.pEnd);
        if (!gist.gist.empty())
            print(": {}", gist.gist);
        print("\n");
    }

    void flag(const char* pName, bool bValue, FieldNote note) override { line(pName, bValue ? "1" : "0", note); }
    void number(const char* pName, std::int64_t iValue, FieldNote note) override
    {
        line(pName, fmt::to_string(iValue), note);
    }
    void numbers(const char* pName, std::span<const std::int64_t> values, FieldNote note) override
    {
        line(pName, values.empty() ? "none" : fmt::format("{}", fmt::join(values, " ")), note);
    }
    void flags(const char* pName, std::span<const bool> values, FieldNote note) override
    {
        line(pName, values.empty() ? "none" : bits(values), note);
    }
    void flagRows(const char* pName, std::span<const bool[32]> rows, FieldNote note) override
    {
        std::string value;
        for (const auto& row : rows)
            value += (value.empty() ? "" : fmt::format("\n{:{}}", "", VALUE_COLUMN)) + bits(row);
        line(pName, value.empty() ? "none" : value, note);
    }
    void table(const char* pName, std::span<const unsigned> values, FieldNote note) override;
    void addressTable(const char* pName, std::span<const unsigned> values, FieldNote note) override
    {
        table(pName, values, note);
    }
    void profileTierLevel(const char* pName, const profile_tile_level& ptl, unsigned uiSubLayers) override
    {
        endRun();
        print("{:{}}{}\n", "", FIELD_INDENT, pName);
        m_uiIndent = FIELD_INDENT + 2;
        listFields(ptl, uiSubLayers, *this);
        endRun();
        m_uiIndent = FIELD_INDENT;
    }
    void refPicSets(const char* pName, std::span<const ShortTermRefPicSet> sets) override;
    void scalingLists(const char* pName, const ScalingListData* pLists) override;

private:
    template <class... T>
    void print(fmt::format_string<T...> format, T&&... values)
    {
        fmt::format_to(std::back_inserter(m_text), format, std::forward<T>(values)...);
    }

    static std::string bits(std::span<const bool> values);
    void line(const char* pName, const std::string& value, FieldNote note);
    void endRun();
    void refPicSet(std::size_t i, const ShortTermRefPicSet& set, const ShortTermRefPicSet* pReference);

    const CGist& m_gist;
    const TextStyle& m_style;
    std::string m_text;
    unsigned m_uiIndent = FIELD_INDENT;
    std::vector<const char*> m_notCoded;
    std::span<const unsigned> m_colWidth;
    const ScalingListData* m_pShownLists = nullptr;
};

// Short arrays apart, 32 compatibility flags in bytes with the indices of those that are set.
std::string CTextRecord::bits(std::span<const bool> values)
{
    const bool bLong = values.size() > 16;
    std::string text;
    std::vector<std::size_t> set;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i != 0 && (!bLong || i % 8 == 0))
            text += ' ';
        text += values[i] ? '1' : '0';
        if (values[i])
            set.push_back(i);
    }
    return bLong && !set.empty() ? fmt::format("{} (j = {})", text, fmt::join(set, ", ")) : text;
}

void CTextRecord::line(const char* pName, const std::string& value, FieldNote note)
{
    if (note.ePresence == EPresence::NotCoded || note.ePresence == EPresence::NotApplicable) {
        m_notCoded.push_back(pName);
        return;
    }
    endRun();
    print("{:{}}{:<{}}{}", "", m_uiIndent, pName, VALUE_COLUMN - m_uiIndent, value);
    if (note.ePresence == EPresence::Derived)
        print("{}  (derived){}", m_style.pFaint, m_style.pEnd);
    if (note.pRemark != nullptr)
        print("{}  ! {}{}", m_style.pBad, note.pRemark, m_style.pEnd);
    print("\n");
}

void CTextRecord::endRun()
{
    if (m_notCoded.empty())
        return;
    const std::string_view label = "not coded: ";
    print("{:{}}{}{}", "", m_uiIndent, m_style.pFaint, label);
    std::size_t uiColumn = m_uiIndent + label.size();
    for (const std::string_view name : m_notCoded) {
        const bool bFirst = name.data() == m_notCoded.front();
        const bool bWrapped = !bFirst && uiColumn + 2 + name.size() > LINE_WIDTH;
        if (!bFirst)
            print(",{:{}}", bWrapped ? "\n" : "", bWrapped ? m_uiIndent + label.size() + 1 : 1);
        print("{}", name);
        uiColumn = (bWrapped ? m_uiIndent + label.size() : uiColumn + (bFirst ? 0 : 2)) + name.size();
    }
    print("{}\n", m_style.pEnd);
    m_notCoded.clear();
}

void CTextRecord::table(const char* pName, std::span<const unsigned> values, FieldNote note)
{
    std::string value;
    if (values.size() <= MAX_TABLE_ENTRIES)
        value = fmt::format("{}", fmt::join(values, " "));
    else
        value = fmt::format("{} ... {} [{} entries]",
                            fmt::join(values.first(MAX_TABLE_ENTRIES - 4), " "),
                            fmt::join(values.last(2), " "),
                            values.size());
    line(pName, value, note);
    // The rows come last: the grid is known then.
    const std::string_view name = pName;
    if (name == "colWidth")
        m_colWidth = values;
    if (name == "rowHeight" && !values.empty())
        m_text += drawTiles(m_colWidth, values, FIELD_INDENT + 2);
}

// One line: the POC deltas, and of a predicted set what it was predicted with.
void CTextRecord::refPicSet(std::size_t i, const ShortTermRefPicSet& set, const ShortTermRefPicSet* pReference)
{
    const std::size_t uiKept = std::min<std::size_t>(set.NumDeltaPocs, MAX_REF_PICS);
    std::string deltas;
    for (std::size_t k = 0; k < uiKept; ++k)
        deltas += fmt::format("{}{:+}{}", k == 0 ? "" : " ", set.DeltaPoc[k], set.UsedByCurrPic[k] ? "*" : "");
    if (deltas.empty())
        deltas = "empty";
    if (set.NumDeltaPocs > uiKept)
        deltas += fmt::format(" ({} of {} kept)", uiKept, set.NumDeltaPocs);
    print("{:{}}[{:>2}] {}", "", FIELD_INDENT + 2, i, deltas);
    if (set.inter_ref_pic_set_prediction_flag) {
        const std::size_t uiFlags =
            pReference != nullptr ? std::min<std::size_t>(pReference->NumDeltaPocs + 1U, MAX_REF_PICS) : 0;
        std::string used;
        std::string kept;
        for (std::size_t j = 0; j < uiFlags; ++j) {
            used += set.used_by_curr_pic_flag[j] ? '1' : '0';
            kept += set.use_delta_flag[j] ? '1' : '0';
        }
        const std::size_t uiColumn = 40;
        print("{:{}}{}  predicted: deltaRps {:+}, used_by_curr_pic_flag {}, use_delta_flag {}{}",
              "",
              deltas.size() < uiColumn ? uiColumn - deltas.size() : 0,
              m_style.pFaint,
              set.deltaRps,
              used,
              kept,
              m_style.pEnd);
    }
    print("\n");
}

void CTextRecord::refPicSets(const char* pName, std::span<const ShortTermRefPicSet> sets)
{
    if (sets.empty())
        return line(pName, "none", {});
    endRun();
    print("{:{}}{:<{}}{}POC deltas; * used by the current picture, the others kept for later ones{}\n",
          "",
          FIELD_INDENT,
          pName,
          VALUE_COLUMN - FIELD_INDENT,
          m_style.pFaint,
          m_style.pEnd);
    for (std::size_t i = 0; i < sets.size(); ++i)
        refPicSet(i, sets[i], i != 0 ? &sets[i - 1] : nullptr);
}

void CTextRecord::scalingLists(const char* pName, const ScalingListData* pLists)
{
    if (pLists == nullptr)
        return line(pName, "none", {});
    if (pLists == m_pShownLists)
        return line(pName, "the same store", {});
    endRun();
    print("{:{}}{}\n{}", "", FIELD_INDENT, pName, scalingListText(*pLists, FIELD_INDENT + 2));
    m_pShownLists = pLists;
}

template <class TRecord>
std::string text(const TRecord& record, const CGist& gist, const TextStyle& style)
{
    CTextRecord visitor(gist, style);
    listFields(record, visitor);
    return visitor.take();
}

} // namespace

std::string textOf(const VPS& vps, const TextStyle& style)
{
    return text(vps, CGist(vps), style);
}

std::string textOf(const SPS& sps, const TextStyle& style)
{
    return text(sps, CGist(sps), style);
}

std::string textOf(const PPS& pps, const SPS* spsOfPps, const TextStyle& style)
{
    return text(pps, CGist(pps, spsOfPps), style);
}

} // namespace h265ps
