#include "TraceReport.h"

#include "ElementLine.h"
#include "ElementMeanings.h"
#include "ErrorLine.h"
#include "FormattedText.h"
#include "JsonSet.h"
#include "SetNames.h"
#include "TextOutput.h"

namespace h265ps {

using h265_inspect::FileSet;
using h265_inspect::InspectedSet;
using h265_stream::ParameterSetEvent;
using h265_syntax::Element;

namespace {

// Where the columns of the text end or begin.
constexpr std::size_t BIT_END = 7;
constexpr std::size_t BITS_END = 12;
constexpr std::size_t DESCRIPTOR = 14;
constexpr std::size_t NAME = 21;
constexpr std::size_t VALUE = 84;

class CTextElements : public h265_syntax::CElementSink
{
public:
    explicit CTextElements(COutputStream& output) : m_output(output) {}

    bool onElement(const Element& element) override
    {
        m_line.clear();
        m_line.right(element.uiBit, BIT_END).right(element.uiBits, BITS_END).to(DESCRIPTOR);
        m_line.descriptor(element).to(NAME);
        if (!element.structure.empty())
            m_line << element.structure << std::string_view(".");
        m_line.name(element) << std::string_view(" ");
        m_line.to(VALUE) << element.iValue;
        const std::string_view meaning = h265_syntax::meaningOf(element.pName, element.iValue);
        if (!meaning.empty())
            m_line << std::string_view(" (") << meaning << std::string_view(")");
        m_line << std::string_view("\n");
        m_output.append(m_line.text());
        return !m_output.failed();
    }

private:
    COutputStream& m_output;
    CElementLine m_line;
};

class CJsonElements : public h265_syntax::CElementSink
{
public:
    CJsonElements(COutputStream& output, CJsonWriter& json) : m_output(output), m_json(json) {}

    bool onElement(const Element& element) override
    {
        using std::string_view_literals::operator""sv;
        m_line.clear();
        m_line << R"({"name":")"sv;
        m_line.name(element) << R"(","descriptor":")"sv;
        m_line.descriptor(element) << R"(","value":)"sv << element.iValue;
        m_line << R"(,"bit":)"sv << element.uiBit << R"(,"nal_bit":)"sv << element.uiNalBit;
        m_line << R"(,"bits":)"sv << element.uiBits << R"(,"structure":")"sv << element.structure << R"("})"sv;
        m_json.raw(m_line.text());
        return !m_output.failed();
    }

private:
    COutputStream& m_output;
    CJsonWriter& m_json;
    CElementLine m_line;
};

} // namespace

void CTraceReport::begin(const std::string& file, const CFileVerdict& /* verdict */, EPace /* ePace */)
{
    m_bStopped = false;
    m_ulRepeats = 0;
    if (m_options.bJson) {
        m_json.begin();
        m_json.openObject();
        writeText(m_json, "file", file);
        m_json.key("parameter_sets");
        m_json.openArray();
    } else if (m_options.bFileHeadings) {
        m_output.append(formatted("{}==> {} <==\n", m_bAnything ? "\n" : "", printable(file)));
        m_bAnything = true;
    }
}

void CTraceReport::add(const FileSet& told, bool bShown)
{
    const ParameterSetEvent& event = told.event;
    const InspectedSet& set = told.set;
    m_bStopped = m_bStopped || (set.hasSyntax() && set.stop());
    if (!bShown)
        return;
    if (m_options.bJson)
        addJson(told);
    else if (!set.hasSyntax() && (event.bRepeat || event.bSeenBefore))
        ++m_ulRepeats;
    else
        addText(told);
}

void CTraceReport::addText(const FileSet& told)
{
    const ParameterSetEvent& event = told.event;
    const InspectedSet& set = told.set;
    m_output.append(formatted("{}{} {}, {} byte{}\n",
                              m_bAnything ? "\n" : "",
                              nameOf(event, set),
                              atPlace(told.place),
                              event.ulSize,
                              event.ulSize == 1 ? "" : "s"));
    m_bAnything = true;
    if (!set.hasSyntax()) {
        if (told.sameAs)
            m_output.append(formatted("  the same as {} (--all shows it)\n", atPlace(*told.sameAs)));
        return;
    }
    CElementLine head;
    head << std::string_view("    bit bits");
    head.to(DESCRIPTOR) << std::string_view("code");
    head.to(NAME) << std::string_view("element");
    head.to(VALUE) << std::string_view("value\n");
    m_output.append(head.text());
    CTextElements elements(m_output);
    set.trace(elements);
    if (set.stop())
        m_output.append(formatted("  at bit {}: {}\n", set.stop().uiBit, set.stop().message()));
}

void CTraceReport::addJson(const FileSet& told)
{
    const InspectedSet& set = told.set;
    m_json.openObject();
    writeSetHeader(told, m_json);
    writeSameAs(set.hasSyntax() ? std::nullopt : told.sameAs, m_json);
    m_json.key("elements");
    if (set.hasSyntax()) {
        m_json.openArray();
        CJsonElements elements(m_output, m_json);
        set.trace(elements);
        m_json.closeArray();
    } else {
        m_json.null();
    }
    m_json.key("stopped");
    if (set.hasSyntax() && set.stop())
        m_json.text(set.stop().message());
    else
        m_json.null();
    m_json.closeObject();
}

void CTraceReport::error(std::string_view line)
{
    writeLine(line, m_output);
}

bool CTraceReport::end(const CFileVerdict& /* verdict */, std::uint64_t /* ulBytes */)
{
    if (m_options.bJson) {
        m_json.closeArray();
        m_json.closeObject();
        m_output.append("\n");
    } else if (m_ulRepeats != 0) {
        m_output.append(
            formatted("\n{} repeat{} not shown (--all shows them)\n", m_ulRepeats, m_ulRepeats == 1 ? "" : "s"));
    }
    return true;
}

EExitCode CTraceReport::exitCode(const CFileVerdict& verdict) const
{
    if (verdict.exitCode() == EXIT_FILE_ERROR)
        return EXIT_FILE_ERROR;
    return m_bStopped ? EXIT_SET_FAILED : EXIT_ALL_READ;
}

} // namespace h265ps
