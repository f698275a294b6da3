#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Options.h"
#include "OutputStream.h"
#include "Report.h"

namespace h265ps {

/// Reads files one after another into a report, with an error line for everything that goes wrong.
class CFileRun
{
public:
    CFileRun(const Options& options, COutputStream& output, CReport& report);

    /// Reads one file, "-" being standard input.
    EExitCode run(const std::string& file);

private:
    EExitCode readFile();
    h265_stream::StreamSummary readStream(h265_stream::CByteSource& source);
    bool take(const h265_stream::ParameterSetEvent& event);
    bool show(const h265_stream::ParameterSetEvent& event);
    EExitCode fail(std::uint64_t ulOffset, std::string_view reason);

    const Options& m_options;
    COutputStream& m_output;
    CReport& m_report;
    h265_stream::CParameterSetStream m_stream;
    std::string m_file;
    std::optional<std::uint64_t> m_ulSize;
    std::uint64_t m_ulTaken = 0; // bytes read
    bool m_bBegun = false;       // the report has the stream

    // What begins like H.264 is held back until a parameter set of layer 0 proves it to be H.265.
    bool m_bHolding = false;
    std::vector<h265_stream::ParameterSetEvent> m_held; // passed over: they point at nothing
};

/// Writes "h265ps: error: " and the message to standard error, on one line.
void writeError(std::string_view message);

} // namespace h265ps
