#pragma once

#include <string>

#include "ParameterSetStream.h"

namespace h265ps {

/// Why a parameter set was not read, or is not supported.
struct FailureReason
{
    std::string words;   // what it means, for people
    std::string message; // the module's own; empty without one

    /// The words, the message behind them.
    [[nodiscard]] std::string text() const { return message.empty() ? words : words + " (" + message + ")"; }
};

/// Whether the parameter set was to be read and was not: a set of another layer is passed over instead.
bool isNotRead(const h265_stream::ParameterSetEvent& event);

/// Whether the parameter set was not read, or is not supported.
bool isFailure(const h265_stream::ParameterSetEvent& event);

/// Of a failure only. With a reader that leaves gaps these can be the cause.
FailureReason failureReason(const h265_stream::ParameterSetEvent& event, h265_stream::EBitReader eReader);

} // namespace h265ps
