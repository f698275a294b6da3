#include "FileRun.h"
#include "Options.h"
#include "TraceReport.h"
#include "Verbs.h"

namespace h265ps {

namespace {

constexpr int NO_LOG_LINES = 3;

constexpr VerbUsage TRACE_USAGE = {"h265ps trace",
                                   "Lists every syntax element of the parameter sets of H.265 files, in coding order.",
                                   R"(
Examples:
  h265ps trace movie.hevc                      every element of every set
  h265ps trace --type sps --id 0 movie.hevc    those of SPS 0
  h265ps trace --json movie.hevc               the same for programs

A line is: the bit of the RBSP that the element begins at (the NAL unit header and
emulation prevention do not count), how many bits it has, its descriptor (H.265, 7.2),
the structures that it stands in and its name, its value, and what that means.

Exit codes:
  0  every parameter set was read to its end
  1  one was not: the line behind its elements says where and why
  2  wrong usage, a file that cannot be read to its end or has no parameter set or no
     H.265 track, or output that cannot be written)"};

} // namespace

int runTrace(std::span<char* const> arguments, COutputStream& output)
{
    Options options;
    CCommandLine commandLine(TRACE_USAGE);
    addFiles(commandLine, options);
    addSets(commandLine, options);
    addReading(commandLine, options);
    addJson(commandLine, options);
    addRepeats(commandLine, options);
    addFilters(commandLine, options);
    if (const std::optional<EarlyEnd> end = parseFiles(commandLine, arguments, options))
        return endEarly(*end, output);
    options.bDecoder = false;
    options.stream.iLogLevel = NO_LOG_LINES;
    options.inspect = {.bChecks = false, .bRepeats = options.bAll};
    CTraceReport report(output, {options.bJson, options.files.size() + options.sets.size() > 1});
    return runFiles(options, output, report);
}

} // namespace h265ps
