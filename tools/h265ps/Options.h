#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ParameterSetStream.h"
#include "Verdict.h"

namespace h265ps {

/// The command line.
struct Options
{
    std::vector<std::string> files; // "-" is standard input
    bool bJson = false;
    bool bAll = false;                // show repeats
    bool bTables = false;             // the address tables of PPSs, in JSON
    std::vector<unsigned char> types; // nal_unit_type of the sets to show; empty: all
    std::optional<unsigned> uiId;     // id of the sets to show
    h265_stream::StreamOptions stream;

    /// Whether the filters let the parameter set through.
    [[nodiscard]] bool shows(const h265_stream::ParameterSetEvent& event) const;
};

/// What to do instead of reading files: text for standard output, or an error.
struct EarlyEnd
{
    EExitCode eExitCode;
    std::string output;
    std::string error;
};

/// Fills options from the command line; an EarlyEnd when that asks for help or is wrong.
std::optional<EarlyEnd> parseCommandLine(int argc, char** argv, Options& options);

} // namespace h265ps
