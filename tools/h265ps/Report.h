#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ParameterSetStream.h"

namespace h265ps {

/// Shows what streams hold, one after another.
class CReport
{
public:
    virtual ~CReport() = default;

    /// A stream that has a parameter set begins. ulBytes: its size, none when that is not known yet.
    virtual void begin(const std::string& file, std::optional<std::uint64_t> ulBytes) = 0;
    /// bShown: the filters let it through.
    virtual void add(const h265_stream::ParameterSetEvent& event, bool bShown) = 0;
    /// The stream ended, or could not be read on, ulBytes after its start.
    virtual void end(std::uint64_t ulBytes) = 0;
};

} // namespace h265ps
