#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Inspector.h"
#include "ParameterSetStream.h"
#include "Verdict.h"

namespace h265ps {

/// How a stream reaches its report.
enum class EPace
{
    Whole,     // a file: its verdict can stand in front of its sets
    AsItComes, // a pipe or a device: each set is shown when it came
    Again      // a file, the verdict on which is known from a first reading
};

/// Shows what streams hold, one after another.
class CReport
{
public:
    virtual ~CReport() = default;

    /// A stream that has a parameter set begins. The verdict lasts until the end, and has heard of each set
    /// before the report does; with EPace::Again it is that of the first reading.
    virtual void begin(const std::string& file, const CVerdict& verdict, EPace ePace) = 0;
    /// bShown: the filters let it through.
    virtual void add(const h265_stream::ParameterSetEvent& event, const h265_inspect::InspectedSet& set,
                     bool bShown) = 0;
    /// What is wrong with a set among others.
    virtual void addFinding(const h265_syntax::SetFinding& finding) = 0;
    /// A whole line for standard error.
    virtual void error(std::string_view line) = 0;
    /// The stream has no more bytes at the moment.
    virtual void stall() = 0;
    /// The stream ended, or could not be read on, ulBytes after its start. False: the sets are more than can be
    /// kept back until the verdict, nothing was written; the file has to be read again.
    [[nodiscard]] virtual bool end(const CVerdict& verdict, std::uint64_t ulBytes) = 0;
    /// Of the stream that ended.
    [[nodiscard]] virtual EExitCode exitCode(const CVerdict& verdict) const { return verdict.exitCode(); }
};

} // namespace h265ps
