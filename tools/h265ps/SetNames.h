#pragma once

#include <optional>
#include <string>

#include "DecParameterSetReader.h"
#include "FilePlace.h"
#include "FormattedText.h"
#include "Inspector.h"
#include "ParameterSetStream.h"

namespace h265ps {

/// "VPS", "SPS" or "PPS".
constexpr const char* typeName(unsigned char nal_unit_type)
{
    switch (nal_unit_type) {
    case h265_stream::VPS_NUT:
        return "VPS";
    case h265_stream::SPS_NUT:
        return "SPS";
    default:
        return "PPS";
    }
}

/// The id of a parameter set that was read, or of a PPS that was refused or whose SPS never came; none of others.
inline std::optional<unsigned> idOf(const h265_stream::ParameterSetEvent& event)
{
    if (event.vps != nullptr)
        return event.vps->vps_video_parameter_set_id;
    if (event.sps != nullptr)
        return event.sps->sps_seq_parameter_set_id;
    if (event.pps != nullptr)
        return event.pps->pps_pic_parameter_set_id;
    if (const auto& ids = event.missingSps ? event.missingSps : event.refusedPps)
        return ids->pps_pic_parameter_set_id;
    return std::nullopt;
}

/// "SPS 0", or "SPS" where the id is not known.
inline std::string nameOf(const h265_stream::ParameterSetEvent& event)
{
    const std::optional<unsigned> uiId = idOf(event);
    const char* const pType = typeName(event.header.nal_unit_type);
    return uiId ? formatted("{} {}", pType, *uiId) : pType;
}

/// The id in a set's syntax, or else in its record.
inline std::optional<unsigned> idOf(const h265_stream::ParameterSetEvent& event, const h265_inspect::InspectedSet& set)
{
    if (const std::optional<unsigned> uiId = idOf(event))
        return uiId;
    return set.id();
}

/// "SPS 1 of layer 2", "SPS 0", or "SPS" where the id is not known.
inline std::string nameOf(const h265_stream::ParameterSetEvent& event, const h265_inspect::InspectedSet& set)
{
    std::string name = typeName(event.header.nal_unit_type);
    if (const std::optional<unsigned> uiId = idOf(event, set))
        name += formatted(" {}", *uiId);
    if (event.header.nuh_layer_id != 0)
        name += formatted(" of layer {}", event.header.nuh_layer_id);
    return name;
}

/// "at byte 33", "in track 1, hvcC"
inline std::string atPlace(const h265_inspect::FilePlace& place)
{
    return (place.ulTrack ? "in " : "at ") + place.text();
}

/// "SPS 0 at byte 33"
inline std::string placeOf(const h265_inspect::FileSet& told)
{
    return nameOf(told.event) + " " + atPlace(told.place);
}

} // namespace h265ps
