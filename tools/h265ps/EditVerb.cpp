#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ContainerEdit.h"
#include "ErrorLine.h"
#include "FileKind.h"
#include "FileTracks.h"
#include "InputStream.h"
#include "Options.h"
#include "RandomSource.h"
#include "ReplacedFile.h"
#include "StreamEdit.h"
#include "Verbs.h"

namespace h265ps {

namespace {

constexpr VerbUsage EDIT_USAGE = {
    "h265ps edit",
    "Writes an H.265 stream, a movie (MP4, MOV) or a Matroska file with changed parameter sets,\n"
    "and everything else byte for byte.",
    R"(
Examples:
  h265ps edit in.hevc -o out.hevc sps.vui.colour_primaries=9
  h265ps edit in.hevc -o out.hevc sps.vui.timing=30000/1001 vps.timing=30000/1001
  h265ps edit in.hevc -o out.hevc sps[1].ptl.general_level_idc=120

A setting is SET.ELEMENT=VALUE. SET is vps, sps or pps: every one of layer 0, repeats
included; sps[1] is the one of id 1, of whichever layer. ELEMENT is named as h265ps
trace names it, structures in front; vui is short for vui_parameters, ptl for
profile_tier_level, hrd for hrd_parameters. timing is pictures a second. What an
element needs to be there appears with it.

Refused is what brings a new error (h265ps check), and what the slices are coded
against: picture and block sizes, tools, tiles, ids, reference picture sets. VUI, HRD,
windows, profile, tier and level, timing and ordering are free.

In a movie and in MKV the sets of hvcC (CodecPrivate) may change their size, those among the
samples may not. What of the file then contradicts the sets is a warning.

OUT is written as a whole or not at all, and is never the input. It is a file: -o - is
not allowed.

Exit codes:
  0  OUT is written
  1  refused: an error line for each reason
  2  wrong usage or setting, or a file that cannot be read or written)"};

struct EditArguments
{
    std::string in;
    std::string out;
    std::vector<std::string> settings;
    bool bForce = false;
};

void declareOptions(CCommandLine& commandLine, EditArguments& arguments)
{
    commandLine.addWord("IN", "The stream to read; - is standard input", arguments.in);
    commandLine.addWords("SET", "What to change; without a setting OUT is a copy", arguments.settings);
    commandLine.addRequiredValue({"-o,--output", "OUT", "The file to write"},
                                 [&arguments](const std::string& file) { arguments.out = file; });
    commandLine.addFlag("--force", "Write what would be refused all the same", arguments.bForce);
}

void tell(const EditArguments& arguments, const h265_inspect::EditMessage& message, std::string_view kind,
          std::string_view behind)
{
    CErrorLine line(kind);
    line << arguments.in << ": ";
    if (message.ulOffset != 0)
        line << "at byte " << message.ulOffset << ": ";
    line << message.text << behind;
}

void fail(const std::string& file, const h265_stream::CSourceError& error)
{
    CErrorLine line;
    line << file << ": ";
    if (error.offset() != 0)
        line << "at byte " << error.offset() << ": ";
    line << inSentence(error.what());
}

// The kind of a file that can be read where it is wanted.
h265_container::EFileKind containerKindOf(h265_container::CRandomSource& source)
{
    std::vector<unsigned char> head(h265_container::FILE_KIND_BYTES);
    head.resize(source.read(0, head));
    return h265_container::fileKind(head).eKind;
}

// Of a file with tracks that is not written, whatever is forced: docs/editing.md.
class CNotWritten : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// A byte stream. Throws CNotWritten, and h265_stream::CSourceError of what is neither.
std::unique_ptr<h265_stream::CByteSource> openStream(const std::string& file)
{
    auto pSource = h265_stream::openByteSource(file);
    const h265_container::FileKind kind = kindOf(*pSource);
    const std::string looks = "it looks like " + std::string(kind.name);
    if (h265_inspect::isEditedAsContainer(kind.eKind)) // openContainer takes files only
        throw CNotWritten(
            looks +
            ", which is read more than once, and standard input and pipes cannot go back: save it as a file first");
    if (h265_inspect::hasTracks(kind.eKind))
        throw CNotWritten(looks +
                          ", which is not written: only byte streams, movies (MP4, MOV) and Matroska files are");
    if (const std::optional<std::string> reason = foreignReason(kind, pSource->head()))
        throw h265_stream::CSourceError(*reason, 0);
    return pSource;
}

// A file of boxes or of Matroska; none of what is read as a byte stream.
std::unique_ptr<h265_container::CRandomSource> openContainer(const std::string& path)
{
    if (!std::filesystem::is_regular_file(std::filesystem::path(path)))
        return nullptr;
    auto pSource = h265_container::openRandomSource(path);
    return h265_inspect::isEditedAsContainer(containerKindOf(*pSource)) ? std::move(pSource) : nullptr;
}

int edit(const EditArguments& arguments, const h265_inspect::EditOptions& options)
{
    const auto pContainer = openContainer(arguments.in);
    const auto pStream = pContainer == nullptr ? openStream(arguments.in) : nullptr;
    CReplacedFile file(arguments.out, arguments.in);
    const h265_inspect::EditOutcome outcome =
        pContainer == nullptr ? h265_inspect::editStream(*pStream, options, file)
                              : h265_inspect::editContainer(containerKindOf(*pContainer), *pContainer, options, file);
    for (const h265_inspect::EditMessage& refusal : outcome.refusals)
        tell(arguments, refusal, "error", " (--force does it all the same)");
    for (const h265_inspect::EditMessage& reason : outcome.impossible)
        tell(arguments, reason, "error", "");
    if (!outcome.refusals.empty() || !outcome.impossible.empty())
        return EXIT_SET_FAILED;
    if (outcome.ulParameterSets == 0) {
        CErrorLine() << arguments.in << ": there is no parameter set in it";
        return EXIT_FILE_ERROR;
    }
    for (const h265_inspect::EditMessage& warning : outcome.warnings)
        tell(arguments, warning, "warning", "");
    if (arguments.bForce && !arguments.settings.empty() && outcome.ulChanged == 0)
        tell(arguments, {0, "no setting changes anything: what is written is a copy"}, "warning", "");
    file.commit();
    return EXIT_ALL_READ;
}

} // namespace

int runEdit(std::span<char* const> arguments, COutputStream& output)
{
    EditArguments wanted;
    CCommandLine commandLine(EDIT_USAGE);
    declareOptions(commandLine, wanted);
    if (const std::optional<EarlyEnd> end = commandLine.parse(arguments))
        return endEarly(*end, output);
    if (wanted.in.empty())
        return endEarly(commandLine.missing("no file is given"), output);
    try {
        h265_inspect::EditOptions options;
        for (const std::string& setting : wanted.settings)
            options.settings.push_back(h265_inspect::parseEditSetting(setting));
        options.bForce = wanted.bForce;
        return edit(wanted, options);
    } catch (const CNotWritten& reason) {
        CErrorLine() << wanted.in << ": " << reason.what();
        return EXIT_SET_FAILED;
    } catch (const h265_inspect::CSettingError& error) {
        CErrorLine() << wanted.in << ": " << error.what();
    } catch (const h265_stream::CSourceError& error) {
        fail(wanted.in, error);
    } catch (const CFileError& error) {
        CErrorLine() << error.what();
    }
    return EXIT_FILE_ERROR;
}

} // namespace h265ps
