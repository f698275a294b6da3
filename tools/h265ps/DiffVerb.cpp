#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "DiffReport.h"
#include "ErrorLine.h"
#include "FileTracks.h"
#include "InputStream.h"
#include "KeptSets.h"
#include "Options.h"
#include "StreamDiff.h"
#include "Verbs.h"

namespace h265ps {

namespace {

constexpr VerbUsage DIFF_USAGE = {
    "h265ps diff",
    "Says what differs between the parameter sets of two H.265 streams, element by element.",
    R"(
Examples:
  h265ps diff a.hevc b.hevc                 all parameter sets
  h265ps diff a.hevc@131072 b.hevc          those in force at a byte of a.hevc
  h265ps diff movie.mp4 movie.hevc          what a file holds, and a stream
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

// The parameter sets of a file with tracks, as a byte stream.
class CSetsSource : public h265_stream::CByteSource
{
public:
    explicit CSetsSource(const std::vector<h265_inspect::KeptSet>& sets)
    {
        for (const h265_inspect::KeptSet& set : sets) {
            m_bytes.insert(m_bytes.end(), {0, 0, 0, 1});
            m_bytes.insert(m_bytes.end(), set.bytes.begin(), set.bytes.end());
        }
        m_pSource = h265_stream::makeByteSource(m_bytes);
    }

    std::span<const unsigned char> next() override { return m_pSource->next(); }
    std::span<const unsigned char> head() override { return m_pSource->head(); }

private:
    std::vector<unsigned char> m_bytes;
    std::unique_ptr<h265_stream::CByteSource> m_pSource;
};

std::unique_ptr<h265_stream::CByteSource> openTracks(const h265_inspect::DiffSide& side,
                                                     h265_container::EFileKind eKind,
                                                     std::unique_ptr<h265_stream::CByteSource> pSource)
{
    using h265_inspect::CDiffError;
    if (side.ulOffset)
        throw CDiffError(side.file + ": the sets in force at an offset are told of byte streams only");
    const bool bAnywhere = pSource->size() && side.file != "-";
    const auto pFile =
        bAnywhere ? h265_container::openRandomSource(side.file) : h265_container::makeForwardSource(std::move(pSource));
    const h265_inspect::KeptSets kept = h265_inspect::keepSets(eKind, *pFile);
    for (const std::string& warning : kept.warnings)
        CErrorLine("warning") << side.file << ": " << warning;
    if (kept.tracks.empty())
        throw CDiffError(side.file + ": there is no track of H.265 in it");
    const auto haveSame = [&](const h265_inspect::KeptTrack& track) {
        return std::ranges::equal(
            track.sets, kept.tracks.front().sets, {}, &h265_inspect::KeptSet::bytes, &h265_inspect::KeptSet::bytes);
    };
    if (!std::ranges::all_of(kept.tracks, haveSame))
        throw CDiffError(side.file + ": " + std::to_string(kept.tracks.size()) +
                         " tracks of H.265 are in it; h265ps export --as annexb --track N writes the sets of one");
    return std::make_unique<CSetsSource>(kept.tracks.front().sets);
}

std::unique_ptr<h265_stream::CByteSource> openSide(const h265_inspect::DiffSide& side)
{
    try {
        auto pSource = h265_stream::openByteSource(side.file);
        const h265_container::FileKind kind = kindOf(*pSource);
        if (h265_inspect::hasTracks(kind.eKind))
            return openTracks(side, kind.eKind, std::move(pSource));
        if (const auto reason = foreignReason(kind, pSource->head()))
            throw h265_inspect::CDiffError(side.file + ": " + *reason);
        return pSource;
    } catch (const h265_stream::CSourceError& error) {
        throw h265_inspect::CDiffError(side.file + ": " + inSentence(error.what()));
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
    CCommandLine commandLine(DIFF_USAGE);
    commandLine.addWords("A B", "Two files: FILE, FILE@OFFSET, FILE#SET; one can be -", files);
    commandLine.addFlag("--json", "Write one JSON document", bJson);
    if (const std::optional<EarlyEnd> end = commandLine.parse(arguments))
        return endEarly(*end, output);
    if (files.size() != 2)
        return endEarly(commandLine.missing("two files are compared"), output);
    try {
        return diff(files, bJson, output);
    } catch (const h265_inspect::CDiffError& error) {
        CErrorLine() << error.what();
    } catch (const h265_stream::CSourceError& error) {
        CErrorLine() << files[0] << " or " << files[1] << ": " << inSentence(error.what());
    }
    return EXIT_FILE_ERROR;
}

} // namespace h265ps
