#include <string>
#include <vector>

#include <unistd.h>

#include <CLI/CLI.hpp>

#include "DiffReport.h"
#include "ErrorLine.h"
#include "InputStream.h"
#include "Options.h"
#include "StreamDiff.h"
#include "Verbs.h"

namespace h265ps {

namespace {

constexpr VerbUsage USAGE = {"h265ps diff",
                             "Says what differs between the parameter sets of two H.265 streams, element by element.",
                             R"(
Examples:
  h265ps diff a.hevc b.hevc                 all parameter sets
  h265ps diff a.hevc@131072 b.hevc          those in force at a byte of a.hevc
  h265ps diff movie.hevc#sps0 movie.hevc#sps1
                                            two sets, whatever their ids

Sets are matched by type, layer and id; several contents of one id in the order in
which they come first. Repeats change nothing, nor does the place of a set. A file that
is called like a#sps0 is meant as a file.

Exit codes:
  0  the parameter sets are the same
  1  they differ
  2  wrong usage, a file that cannot be read or does not have the set, or output that
     cannot be written)"};

// A file of that very name is meant first.
h265_inspect::DiffSide sideOf(const std::string& text)
{
    h265_inspect::DiffSide side;
    if (::access(text.c_str(), F_OK) == 0)
        side.file = text;
    else
        side = h265_inspect::parseDiffSide(text);
    return side;
}

std::unique_ptr<h265_stream::CByteSource> openSide(const h265_inspect::DiffSide& side)
{
    try {
        return openInputStream(side.file);
    } catch (const h265_stream::CSourceError& error) {
        throw h265_inspect::CDiffError(side.file + ": " + error.what());
    }
}

int diff(const std::vector<std::string>& files, bool bJson, COutputStream& output)
{
    const h265_inspect::DiffSide a = sideOf(files[0]);
    const h265_inspect::DiffSide b = sideOf(files[1]);
    if (a.file == "-" && b.file == "-")
        throw h265_inspect::CDiffError("standard input can be one of the two only");
    const auto pA = openSide(a);
    const auto pB = openSide(b);
    CDiffReport report(output, bJson, files[0], files[1]);
    h265_inspect::diffStreams(*pA, a, *pB, b, report);
    report.end();
    return report.differs() ? EXIT_SET_FAILED : EXIT_ALL_READ;
}

} // namespace

int runDiff(std::span<char* const> arguments, COutputStream& output)
{
    std::vector<std::string> files;
    bool bJson = false;
    CCommandLine commandLine(USAGE);
    commandLine.app().add_option("A B", files, "Two streams: FILE, FILE@OFFSET, FILE#SET; one can be -");
    commandLine.app().add_flag("--json", bJson, "Write one JSON document");
    if (const std::optional<EarlyEnd> end = commandLine.parse(arguments))
        return endEarly(*end, output);
    if (files.size() != 2)
        return endEarly({EXIT_FILE_ERROR, "", "two files are compared (h265ps diff --help shows the usage)"}, output);
    try {
        return diff(files, bJson, output);
    } catch (const h265_inspect::CDiffError& error) {
        CErrorLine() << error.what();
    } catch (const h265_stream::CSourceError& error) {
        CErrorLine() << files[0] << " or " << files[1] << ": " << error.what();
    }
    return EXIT_FILE_ERROR;
}

} // namespace h265ps
