#include "JsonSet.h"

#include <cmath>

#include "FindingText.h"
#include "FormattedText.h"
#include "SetNames.h"

namespace h265ps {

using h265_inspect::FileFinding;
using h265_inspect::FilePlace;
using h265_inspect::FileSet;
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

void writeSetHeader(const FileSet& told, CJsonWriter& json)
{
    const ParameterSetEvent& event = told.event;
    const auto known = [&](unsigned char ucValue) {
        return event.bCutOff ? std::optional<std::uint64_t>() : std::optional<std::uint64_t>(ucValue);
    };
    writeText(json, "type", typeName(event.header.nal_unit_type));
    writeOptional(json, "offset", told.place.ulOffset);
    writeOptional(json, "track", told.place.ulTrack);
    writeText(json, "place", told.place.text());
    json.key("time");
    if (const std::optional<double>& time = told.place.time(); time && std::isfinite(*time))
        json.raw(formatted("{}", *time));
    else
        json.null();
    writeNumber(json, "size", event.ulSize);
    writeNumber(json, "nal_unit_type", event.header.nal_unit_type);
    writeOptional(json, "nuh_layer_id", known(event.header.nuh_layer_id));
    writeOptional(json, "nuh_temporal_id_plus1", known(event.header.nuh_temporal_id_plus1));
}

void writeSameAs(const std::optional<FilePlace>& place, CJsonWriter& json)
{
    writeOptional(json, "same_as", place ? place->ulOffset : std::nullopt);
    writeTextOrNull(json, "same_as_place", place ? place->text() : "");
}

void writeFinding(const FileFinding& told, CJsonWriter& json)
{
    const Finding& finding = told.finding;
    const char* const pSeverity = finding.eSeverity == ESeverity::Error ? "error" : "warning";
    json.openObject();
    writeText(json, "severity", told.bNote ? "note" : pSeverity);
    writeTextOrNull(json, "clause", finding.clause);
    writeTextOrNull(json, "element", finding.element);
    writeText(json, "structure", finding.structure);
    writeOptional(json, "offset", told.ulOffset);
    writeOptional(json, "track", told.ulTrack);
    writeTextOrNull(json, "box", told.box);
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

void writeFindings(const FileSet& told, CJsonWriter& json)
{
    for (const Finding& finding : told.set.findings)
        writeFinding(findingOf(told, finding), json);
    if (told.set.uiMoreFindings != 0)
        writeFinding(findingOf(told, moreFindings(told.set.uiMoreFindings)), json);
}

Finding moreFindings(std::size_t uiCount)
{
    Finding finding;
    finding.message = h265_syntax::say(uiCount, " more of the kind are not listed");
    return finding;
}

} // namespace h265ps
