#pragma once

#include <string>

#include "ParameterSetStream.h"

namespace h265ps {

/// Whether the parameter set was to be read and was not: a set of another layer is passed over instead.
bool isNotRead(const h265_stream::ParameterSetEvent& event);

/// Whether the parameter set was not read, or is not supported.
bool isFailure(const h265_stream::ParameterSetEvent& event);

/// Why, in words: the module's own message and what it means. Of a failure only.
/// With a reader that leaves gaps these can be the cause.
std::string failureReason(const h265_stream::ParameterSetEvent& event, h265_stream::EBitReader eReader);

} // namespace h265ps
