#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "RecordFields.h"
#include "TextStyle.h"

namespace h265ps {

/// Lines of fields for people, a name and a value each. Neighbouring fields that the stream does not carry share
/// a faint paragraph.
class CFieldLines
{
public:
    static constexpr unsigned INDENT = 4;
    static constexpr unsigned VALUE_COLUMN = 49;

    explicit CFieldLines(const TextStyle& style) : m_style(style) {}

    /// uiEntries: of an array, how many the record has.
    void field(const char* pName, const std::string& value, const FieldNote& note, std::size_t uiEntries = 0);
    /// A field whose value is explained, and stands in the lines below it.
    void heading(const char* pName, std::string_view explanation = "");
    /// Whole lines.
    void text(std::string_view lines);
    /// Indents what follows by so many more columns, or fewer.
    void indent(int iColumns);
    std::string take();

private:
    void endRun();

    const TextStyle& m_style;
    std::string m_text;
    unsigned m_uiIndent = INDENT;
    std::vector<const char*> m_notCoded;
};

/// Flags as digits: short arrays apart, 32 compatibility flags in bytes with the indices of those that are set.
std::string bitsText(std::span<const bool> values);

} // namespace h265ps
