#pragma once

#include "JsonWriter.h"
#include "ParameterSetStream.h"

namespace h265ps {

/// Writes the record of a parameter set as one JSON object, null when it has none.
/// bTables: with the address tables of a PPS, null otherwise.
void writeRecord(const h265_stream::ParameterSetEvent& event, bool bTables, CJsonWriter& json);

} // namespace h265ps
