#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "ErrorLine.h"
#include "FileTracks.h"
#include "InputStream.h"
#include "KeptSets.h"
#include "Options.h"
#include "OutputStream.h"
#include "ReplacedFile.h"
#include "SetExport.h"
#include "Verbs.h"

namespace h265ps {

using namespace h265_inspect;
using h265_stream::CSourceError;

namespace {

constexpr VerbUsage EXPORT_USAGE = {"h265ps export",
                                    "Writes the parameter sets of a file as others need them.",
                                    R"(
Examples:
  h265ps export movie.hevc --as hex            text, a set a line
  h265ps export movie.mp4 --as sprop           one a=fmtp line for SDP
  h265ps export movie.hevc --as hvcc -o hvcC   the content of an hvcC box
  h265ps export movie.ts --as annexb --track 256 > sets.hevc

hvcc is a decoder configuration record (ISO/IEC 14496-15 8.3.2.1) made of the sets
themselves, whatever a container says, with lengths of 4 bytes and without the header of
its box. sprop is RFC 7798's line, for payload type 96. Both speak for the base layer
and for the first set of each id. annexb is a byte stream, hex is text that --hex takes:
both have every set once, in the order of the file.

A file with several tracks of H.265 needs --track: a track_ID, TrackNumber, PID or item
id. Without -o the sets go to standard output; OUT is written as a whole or not at all,
and is never the input.

Exit codes:
  0  the sets are written
  1  they cannot be written in this form: an error line for each reason
  2  wrong usage, a file that cannot be read or has no parameter set, or output that
     cannot be written)"};

struct ExportArguments
{
    std::string in;
    std::string out = "-";
    EExportForm eForm = EExportForm::Hex;
    std::optional<std::uint64_t> ulTrack;
};

EExportForm formOf(const std::string& name)
{
    return name == "hvcc"     ? EExportForm::HvcC
           : name == "sprop"  ? EExportForm::Sprop
           : name == "annexb" ? EExportForm::AnnexB
                              : EExportForm::Hex;
}

void declareOptions(CCommandLine& commandLine, ExportArguments& arguments)
{
    commandLine.addWord("FILE", "The file to read; - is standard input", arguments.in);
    commandLine.addRequiredChoice({"--as", "FORM", "What to write: hvcc, sprop, annexb or hex"},
                                  {"hvcc", "sprop", "annexb", "hex"},
                                  [&arguments](const std::string& form) { arguments.eForm = formOf(form); });
    commandLine.addValue({"-o,--output", "OUT", "The file to write; - is standard output"},
                         [&arguments](const std::string& file) { arguments.out = file; });
    commandLine.addNumber({"--track", "N", "The track of a file with several"},
                          [&arguments](std::uint64_t ulTrack) { arguments.ulTrack = ulTrack; });
}

KeptSets readSets(const std::string& file)
{
    std::unique_ptr<h265_stream::CByteSource> pSource = h265_stream::openByteSource(file);
    const h265_container::FileKind kind = kindOf(*pSource);
    if (hasTracks(kind.eKind)) {
        const bool bAnywhere = pSource->size() && file != "-";
        const auto pFile =
            bAnywhere ? h265_container::openRandomSource(file) : h265_container::makeForwardSource(std::move(pSource));
        return keepSets(kind.eKind, *pFile);
    }
    if (const auto reason = foreignReason(kind, pSource->head()))
        throw CSourceError(*reason, 0);
    return keepSets(*pSource);
}

// The numbers of tracks: "1, 3".
std::string numbersOf(const std::vector<KeptTrack>& tracks)
{
    constexpr std::size_t MOST = 20;
    std::string text;
    for (std::size_t i = 0; i < tracks.size() && i < MOST; ++i)
        text += (i == 0 ? "" : ", ") + std::to_string(tracks[i].ulTrack);
    return tracks.size() > MOST ? text + ", ..." : text;
}

bool haveSameSets(const KeptTrack& one, const KeptTrack& other)
{
    return std::ranges::equal(one.sets, other.sets, {}, &KeptSet::bytes, &KeptSet::bytes);
}

// The track that is asked for. Tracks that share their sets, as the tiles of an image do, are as good as one.
// Throws CSourceError.
const KeptTrack& trackOf(const std::vector<KeptTrack>& tracks, const std::optional<std::uint64_t>& ulTrack)
{
    if (tracks.empty())
        throw CSourceError("there is no track of H.265 in it", 0);
    const bool bStream = tracks.front().ulTrack == 0 && tracks.size() == 1;
    if (ulTrack) {
        const auto found = std::ranges::find(tracks, *ulTrack, &KeptTrack::ulTrack);
        if (found != tracks.end() && !bStream)
            return *found;
        throw CSourceError("there is no track " + std::to_string(*ulTrack) + " of H.265 in it: " +
                               (bStream ? "it is a byte stream" : "there is " + numbersOf(tracks)),
                           0);
    }
    const bool bSame =
        std::ranges::all_of(tracks, [&](const KeptTrack& track) { return haveSameSets(track, tracks.front()); });
    if (!bSame)
        throw CSourceError(std::to_string(tracks.size()) + " tracks of H.265 are in it (" + numbersOf(tracks) +
                               "): --track N says which",
                           0);
    return tracks.front();
}

void write(const ExportArguments& arguments, const std::vector<unsigned char>& bytes, COutputStream& output)
{
    if (arguments.out == "-") {
        output.append({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        return;
    }
    CReplacedFile file(arguments.out, arguments.in);
    file.write(bytes);
    file.commit();
}

int exportFile(const ExportArguments& arguments, COutputStream& output)
{
    const bool bBinary = arguments.eForm == EExportForm::HvcC || arguments.eForm == EExportForm::AnnexB;
    if (bBinary && arguments.out == "-" && ::isatty(STDOUT_FILENO) != 0)
        throw CSourceError("what would be written is not for a terminal: -o OUT names a file", 0);
    const KeptSets kept = readSets(arguments.in);
    for (const std::string& warning : kept.warnings)
        CErrorLine("warning") << arguments.in << ": " << warning;
    const KeptTrack& track = trackOf(kept.tracks, arguments.ulTrack);
    if (track.sets.empty())
        throw CSourceError("there is no parameter set in it", 0);
    const ExportedSets exported = exportSets(track.sets, arguments.eForm);
    for (const std::string& warning : exported.warnings)
        CErrorLine("warning") << arguments.in << ": " << warning;
    for (const std::string& error : exported.errors)
        CErrorLine() << arguments.in << ": " << error;
    if (!exported.errors.empty())
        return EXIT_SET_FAILED;
    write(arguments, exported.bytes, output);
    return EXIT_ALL_READ;
}

} // namespace

int runExport(std::span<char* const> arguments, COutputStream& output)
{
    ExportArguments wanted;
    CCommandLine commandLine(EXPORT_USAGE);
    declareOptions(commandLine, wanted);
    if (const std::optional<EarlyEnd> end = commandLine.parse(arguments))
        return endEarly(*end, output);
    if (wanted.in.empty())
        return endEarly(commandLine.missing("no file is given"), output);
    try {
        return exportFile(wanted, output);
    } catch (const CSourceError& error) {
        CErrorLine line;
        line << wanted.in << ": ";
        if (error.offset() != 0)
            line << "at byte " << error.offset() << ": ";
        line << inSentence(error.what());
    } catch (const CFileError& error) {
        CErrorLine() << error.what();
    }
    return EXIT_FILE_ERROR;
}

} // namespace h265ps
