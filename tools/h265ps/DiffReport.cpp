#include "DiffReport.h"

#include <optional>
#include <string_view>
#include <utility>

#include "ElementMeanings.h"
#include "FormattedText.h"

namespace h265ps {

using h265_inspect::EDifference;
using h265_inspect::StreamDifference;

namespace {

// "9 (BT.2020)"; "none" where the side does not have the element.
std::string valueText(const StreamDifference& difference, const std::optional<std::int64_t>& value)
{
    if (!value)
        return "none";
    const std::string_view name = std::string_view(difference.element).substr(0, difference.element.find('['));
    const std::string_view meaning = h265_syntax::meaningOf(name, *value);
    return meaning.empty() ? formatted("{}", *value) : formatted("{} ({})", *value, meaning);
}

void writeValue(CJsonWriter& json, std::string_view name, const std::optional<std::int64_t>& value)
{
    json.key(name);
    if (value)
        json.number(*value);
    else
        json.null();
}

void writeName(CJsonWriter& json, std::string_view name, std::string_view text, bool bThere)
{
    json.key(name);
    if (bThere)
        json.text(text);
    else
        json.null();
}

} // namespace

CDiffReport::CDiffReport(COutputStream& output, bool bJson, std::string a, std::string b)
    : m_output(output), m_json(output), m_bJson(bJson), m_a(std::move(a)), m_b(std::move(b))
{}

bool CDiffReport::onDifference(const StreamDifference& difference)
{
    m_bDiffers = true;
    if (m_bJson)
        writeJson(difference);
    else
        writeText(difference);
    return !m_output.failed();
}

void CDiffReport::end()
{
    if (!m_bJson)
        return;
    beginJson();
    m_json.closeArray();
    m_json.closeObject();
    m_output.append("\n");
}

void CDiffReport::beginJson()
{
    if (m_bBegun)
        return;
    m_bBegun = true;
    m_json.begin();
    m_json.openObject();
    writeName(m_json, "a", m_a, true);
    writeName(m_json, "b", m_b, true);
    m_json.key("differences");
    m_json.openArray();
}

void CDiffReport::writeJson(const StreamDifference& difference)
{
    beginJson();
    const bool bElement = difference.eKind == EDifference::Element;
    m_json.openObject();
    writeName(m_json, "set", difference.set, true);
    m_json.key("nuh_layer_id");
    m_json.number(std::uint64_t{difference.nuh_layer_id});
    m_json.key("content");
    if (difference.uiContent != 0)
        m_json.number(std::uint64_t{difference.uiContent});
    else
        m_json.null();
    writeName(m_json, "structure", difference.structure, bElement);
    writeName(m_json, "element", difference.element, bElement);
    writeValue(m_json, "a", difference.a);
    writeValue(m_json, "b", difference.b);
    const bool bInA = difference.eKind == EDifference::OnlyInA;
    writeName(m_json, "only_in", bInA ? "a" : "b", bInA || difference.eKind == EDifference::OnlyInB);
    m_json.closeObject();
}

void CDiffReport::writeText(const StreamDifference& difference)
{
    std::string line = difference.set;
    if (difference.nuh_layer_id != 0)
        line += formatted(" of layer {}", difference.nuh_layer_id);
    if (difference.uiContent != 0)
        line += formatted(", content {}", difference.uiContent);
    switch (difference.eKind) {
    case EDifference::OnlyInA:
        line += ": only in the first stream";
        break;
    case EDifference::OnlyInB:
        line += ": only in the second stream";
        break;
    case EDifference::Bytes:
        line += ": the bits behind its elements differ";
        break;
    case EDifference::Element:
        line += difference.nuh_layer_id != 0 || difference.uiContent != 0 ? ": " : ".";
        line += formatted("{}{}{}: {} -> {}",
                          difference.structure,
                          difference.structure.empty() ? "" : ".",
                          difference.element,
                          valueText(difference, difference.a),
                          valueText(difference, difference.b));
        break;
    }
    m_output.append(line + "\n");
}

} // namespace h265ps
