#include "FieldLines.h"

#include <iterator>
#include <utility>

#include "FormattedText.h"

namespace h265ps {

namespace {

constexpr std::size_t LINE_WIDTH = 80; // of lists of names

std::string beyondRecord(const FieldNote& note, std::size_t uiEntries)
{
    if (note.uiCoded <= uiEntries)
        return "";
    const std::size_t uiMore = note.uiCoded - uiEntries;
    return formatted(
        "of {} {}, {} {} more than the record keeps", note.uiCoded, note.pOf, uiMore, uiMore == 1 ? "is" : "are");
}

} // namespace

void CFieldLines::field(const char* pName, const std::string& value, const FieldNote& note, std::size_t uiEntries)
{
    if (note.ePresence == EPresence::NotCoded || note.ePresence == EPresence::NotApplicable) {
        m_notCoded.push_back(pName);
        return;
    }
    endRun();
    appendFormatted(m_text, "{:{}}{:<{}}{}", "", m_uiIndent, pName, VALUE_COLUMN - m_uiIndent, value);
    if (note.ePresence == EPresence::Derived)
        appendFormatted(m_text, "{}  (derived){}", m_style.pFaint, m_style.pEnd);
    if (note.pRemark != nullptr)
        appendFormatted(m_text, "{}  ! {}{}", m_style.pBad, note.pRemark, m_style.pEnd);
    if (const std::string beyond = beyondRecord(note, uiEntries); !beyond.empty())
        appendFormatted(m_text, "{}  ! {}{}", m_style.pBad, beyond, m_style.pEnd);
    m_text += '\n';
}

void CFieldLines::heading(const char* pName, std::string_view explanation)
{
    endRun();
    if (explanation.empty())
        appendFormatted(m_text, "{:{}}{}\n", "", m_uiIndent, pName);
    else
        appendFormatted(m_text,
                        "{:{}}{:<{}}{}{}{}\n",
                        "",
                        m_uiIndent,
                        pName,
                        VALUE_COLUMN - m_uiIndent,
                        m_style.pFaint,
                        explanation,
                        m_style.pEnd);
}

void CFieldLines::text(std::string_view lines)
{
    endRun();
    m_text += lines;
}

void CFieldLines::indent(int iColumns)
{
    endRun();
    m_uiIndent = static_cast<unsigned>(static_cast<int>(m_uiIndent) + iColumns);
}

std::string CFieldLines::take()
{
    endRun();
    return std::move(m_text);
}

void CFieldLines::endRun()
{
    if (m_notCoded.empty())
        return;
    const std::string_view label = "not coded: ";
    appendFormatted(m_text, "{:{}}{}{}", "", m_uiIndent, m_style.pFaint, label);
    std::size_t uiColumn = m_uiIndent + label.size();
    for (std::size_t i = 0; i < m_notCoded.size(); ++i) {
        const std::string_view name = m_notCoded[i];
        const bool bWrapped = i != 0 && uiColumn + 2 + name.size() > LINE_WIDTH;
        if (bWrapped)
            appendFormatted(m_text, ",\n{:{}}", "", m_uiIndent + label.size());
        else if (i != 0)
            m_text += ", ";
        m_text += name;
        uiColumn = (bWrapped ? m_uiIndent + label.size() : uiColumn + (i == 0 ? 0 : 2)) + name.size();
    }
    appendFormatted(m_text, "{}\n", m_style.pEnd);
    m_notCoded.clear();
}

std::string bitsText(std::span<const bool> values)
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
    return bLong && !set.empty() ? formatted("{} (j = {})", text, joined(set, ", ")) : text;
}

} // namespace h265ps
