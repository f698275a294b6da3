#include "CheckReport.h"
#include "FileRun.h"
#include "Options.h"
#include "Verbs.h"

namespace h265ps {

namespace {

constexpr VerbUsage CHECK_USAGE = {
    "h265ps check",
    "Says what is wrong with the parameter sets of H.265 files, and nothing of sound ones.",
    R"(
Examples:
  h265ps check *.hevc *.mp4        a line for everything that is wrong
  h265ps check --json movie.hevc   the same for programs

A line is FILE:OFFSET.BIT: error: ELEMENT: what is wrong [clause of H.265]. OFFSET is
the byte that the NAL unit begins with, BIT the element's place in its RBSP (h265ps
trace has the same). What is the same again is told once. What is wrong with a file of
boxes, packets or elements, and what differs between its claims and the sets, has the
box in the place of the element, and the box's byte as OFFSET.

An error is what H.265 forbids, profiles and levels included; a warning what it advises
against or what is known to trouble players.

Exit codes:
  0  no errors (there can be warnings)
  1  errors
  2  wrong usage, a file that cannot be read to its end or has no parameter set or no
     H.265 track, or output that cannot be written)"};

} // namespace

int runCheck(std::span<char* const> arguments, COutputStream& output)
{
    Options options;
    CCommandLine commandLine(CHECK_USAGE);
    addFiles(commandLine, options);
    addSets(commandLine, options);
    addReading(commandLine, options);
    addJson(commandLine, options);
    if (const std::optional<EarlyEnd> end = parseFiles(commandLine, arguments, options))
        return endEarly(*end, output);
    options.bDecoder = false;
    CCheckReport report(output, options.bJson);
    return runFiles(options, output, report);
}

} // namespace h265ps
