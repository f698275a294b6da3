#include "JsonSet.h"

#include "SetNames.h"

namespace h265ps {

using h265_stream::ParameterSetEvent;
using h265_syntax::ESeverity;
using h265_syntax::Finding;

namespace {

void writeTextOrNull(CJsonWriter& json, std::string_view name, std::string_view text)
{
    json.key(name);
    if (text.empty())
        json.null();
    else
        json.text(text);
}

} // namespace

void writeNumber(CJsonWriter& json, std::string_view name, std::uint64_t ulValue)
{
    json.key(name);
    json.number(ulValue);
}

void writeOptional(CJsonWriter& json, std::string_view name, const std::optional<std::uint64_t>& ulValue)
{
    json.key(name);
    if (ulValue)
        json.number(*ulValue);
    else
        json.null();
}

void writeOptional(CJsonWriter& json, std::string_view name, const std::optional<int>& iValue)
{
    json.key(name);
    if (iValue)
        json.number(std::int64_t{*iValue});
    else
        json.null();
}

void writeText(CJsonWriter& json, std::string_view name, std::string_view text)
{
    json.key(name);
    json.text(text);
}

void writeSetHeader(const ParameterSetEvent& event, CJsonWriter& json)
{
    const auto known = [&](unsigned char ucValue) {
        return event.bCutOff ? std::optional<std::uint64_t>() : std::optional<std::uint64_t>(ucValue);
    };
    writeText(json, "type", typeName(event.header.nal_unit_type));
    writeNumber(json, "offset", event.ulOffset);
    writeNumber(json, "size", event.ulSize);
    writeNumber(json, "nal_unit_type", event.header.nal_unit_type);
    writeOptional(json, "nuh_layer_id", known(event.header.nuh_layer_id));
    writeOptional(json, "nuh_temporal_id_plus1", known(event.header.nuh_temporal_id_plus1));
}

void writeFinding(const Finding& finding, std::uint64_t ulOffset, CJsonWriter& json)
{
    json.openObject();
    writeText(json, "severity", finding.eSeverity == ESeverity::Error ? "error" : "warning");
    writeTextOrNull(json, "clause", finding.clause);
    writeTextOrNull(json, "element", finding.element);
    writeText(json, "structure", finding.structure);
    writeNumber(json, "offset", ulOffset);
    writeOptional(json, "bit", finding.ulBit);
    json.key("value");
    if (finding.iValue)
        json.number(*finding.iValue);
    else
        json.null();
    writeTextOrNull(json, "allowed", finding.allowed);
    writeText(json, "message", finding.message);
    json.closeObject();
}

void writeFindings(const h265_inspect::InspectedSet& set, std::uint64_t ulOffset, CJsonWriter& json)
{
    for (const Finding& finding : set.findings)
        writeFinding(finding, ulOffset, json);
    if (set.uiMoreFindings != 0)
        writeFinding(moreFindings(set.uiMoreFindings), ulOffset, json);
}

Finding moreFindings(std::size_t uiCount)
{
    Finding finding;
    finding.message = h265_syntax::say(uiCount, " more of the kind are not listed");
    return finding;
}

} // namespace h265ps
