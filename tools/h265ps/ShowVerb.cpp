#include <cstdlib>
#include <memory>
#include <string_view>

#include <unistd.h>

#include "FileRun.h"
#include "JsonOutput.h"
#include "Options.h"
#include "TextOutput.h"
#include "Verbs.h"

namespace h265ps {

namespace {

constexpr char DESCRIPTION[] =
    "Shows what the VPS, SPS and PPS of H.265 files hold: byte streams (Annex B), MP4, MOV,\n"
    "HEIC, MKV, MPEG-TS and SDP, or sets alone.";

constexpr char FOOTER[] = R"(
Examples:
  h265ps movie.hevc                     every parameter set, for people
  h265ps movie.mp4                      of each H.265 track, with the container's claims
  h265ps --type pps --id 0 movie.hevc   PPS 0 alone
  h265ps --json a.hevc b.hevc           one JSON document a line, one for each file
  cat movie.hevc | h265ps -             from standard input
  h265ps --head movie.mkv               up to the first picture
  h265ps --hex 4201...                  sets alone, without any file
  h265ps trace movie.hevc               every syntax element, with its place
  h265ps check *.hevc                   what is wrong with the parameter sets
  h265ps diff a.hevc b.hevc             what differs between the parameter sets
  h265ps edit a.hevc -o b.hevc sps.vui.colour_primaries=9
                                        the stream with another value
  h265ps export a.hevc --as sprop       the sets for SDP, hvcC, hexadecimal, a byte stream
  h265ps scan movies                    a line for each stream of a folder

Verbs:
  show      what the sets hold, for people; done without a verb too
  trace     every syntax element, a line each, with its bits
  check     what is wrong, a line for each finding
  diff      what differs between the sets of two files
  edit      a copy of the file with other values
  export    the sets as others need them: hvcC, SDP, byte stream, hexadecimal
  scan      a line for each stream of many files and folders

A verb is the first word, and each has options and a --help of its own. A file of such
a name is ./check.

The first lines and the last ones say what the stream is, how a codecs parameter names it,
what is wrong with its sets, and whether this decoder takes it.
The decoder's own checks are three: one layer, 4:2:0, 8 bits.
What H.265 forbids is told where it stands and again behind the sets; it changes no exit
code here (h265ps check is for that).

Exit codes:
  0  a VPS, an SPS and a PPS are there, every parameter set was read, and the
     decoder's own checks pass
  1  one is missing, was not read, or is not supported
     (sets of nuh_layer_id above 0 are passed over and change nothing)
  2  wrong usage, a file that cannot be read to its end or has no parameter set or no
     H.265 track, or output that cannot be written
Of several tracks of H.265 the worst counts; others are named and passed over.

An error is one line on standard error, with the place where there is one:
  h265ps: error: FILE: at byte N: reason
A warning (h265ps: warning: ...) changes no exit code.
Colour is used on a terminal only, and not when NO_COLOR is set.)";

bool wantsColour()
{
    const char* const pNoColour = std::getenv("NO_COLOR");
    const char* const pTerminal = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) != 0 && (pNoColour == nullptr || *pNoColour == '\0') &&
           (pTerminal == nullptr || std::string_view(pTerminal) != "dumb");
}

std::unique_ptr<CReport> makeReport(const Options& options, COutputStream& output)
{
    if (options.bJson)
        return std::make_unique<CJsonReport>(
            output, CJsonReport::Options{options.bAll, options.bTables, options.stream.eReader});
    return std::make_unique<CTextReport>(output,
                                         CTextReport::Options{options.bAll,
                                                              options.bRecord,
                                                              options.files.size() + options.sets.size() > 1,
                                                              options.stream.eReader,
                                                              wantsColour() ? COLOURED : TextStyle{}});
}

} // namespace

int runShow(std::span<char* const> arguments, COutputStream& output)
{
    Options options;
    CCommandLine commandLine({"h265ps", DESCRIPTION, FOOTER});
    addFiles(commandLine, options);
    addSets(commandLine, options);
    addReading(commandLine, options);
    addJson(commandLine, options);
    addRepeats(commandLine, options);
    addFilters(commandLine, options);
    addDecoder(commandLine, options);
    if (const std::optional<EarlyEnd> end = parseFiles(commandLine, arguments, options))
        return endEarly(*end, output);
    const std::unique_ptr<CReport> pReport = makeReport(options, output);
    options.inspect = {.bChecks = true, .bRepeats = options.bAll};
    return runFiles(options, output, *pReport);
}

} // namespace h265ps
