#pragma once

#include <optional>

#include "DecParameterSetReader.h"
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

/// The id of a parameter set that was read; none when it was not.
inline std::optional<unsigned> idOf(const h265_stream::ParameterSetEvent& event)
{
    if (event.vps != nullptr)
        return event.vps->vps_video_parameter_set_id;
    if (event.sps != nullptr)
        return event.sps->sps_seq_parameter_set_id;
    if (event.pps != nullptr)
        return event.pps->pps_pic_parameter_set_id;
    return std::nullopt;
}

} // namespace h265ps
