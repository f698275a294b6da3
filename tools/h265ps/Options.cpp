#include "Options.h"

#include <algorithm>
#include <memory>
#include <sstream>
#include <string_view>

#include "FormattedText.h"
#include "SetNames.h"

namespace h265ps {

namespace {

unsigned char typeOf(const std::string& name)
{
    if (name == "vps" || name == "VPS")
        return h265_stream::VPS_NUT;
    if (name == "sps" || name == "SPS")
        return h265_stream::SPS_NUT;
    if (name == "pps" || name == "PPS")
        return h265_stream::PPS_NUT;
    throw COptionError("--type: '" + name + "' is not one of vps, sps, pps");
}

void addTypes(const std::string& list, std::vector<unsigned char>& types)
{
    std::istringstream names(list + ",");
    for (std::string name; std::getline(names, name, ',');)
        types.push_back(typeOf(name));
}

} // namespace

void addFiles(CCommandLine& commandLine, Options& options)
{
    commandLine.addWords("FILE", "Files to read, one after another; - is standard input", options.files);
}

void addReading(CCommandLine& commandLine, Options& options)
{
    commandLine.addFlag("--head", "Read up to the first picture only (of each track)", options.bHead);
    commandLine.addValue(
        {"--init", "FILE", "The initialisation segment of a file that has media segments only (MP4, CMAF)"},
        [&options](const std::string& file) { options.init = file; });
}

void addSets(CCommandLine& commandLine, Options& options)
{
    // Given again, they are more sets of the same stream.
    const auto add = [&](const char* pName, h265_container::ETextForm eForm, const char* pHelp) {
        commandLine.addValues({pName, "SETS", pHelp}, [&options, pName, eForm](const std::vector<std::string>& texts) {
            options.sets.push_back({pName, eForm, joined(texts, ",")});
        });
    };
    add("--hex",
        h265_container::ETextForm::Hex,
        "Parameter sets in hexadecimal in the place of a file, separated by commas or start codes, or each on a "
        "line; - reads them from standard input");
    add("--base64", h265_container::ETextForm::Base64, "Likewise in base64");
}

void addJson(CCommandLine& commandLine, Options& options)
{
    commandLine.addFlag("--json", "Write JSON, one document a line for each file", options.bJson);
}

void addRepeats(CCommandLine& commandLine, Options& options)
{
    commandLine.addFlag(
        "--all", "Show repeats of a parameter set in full (otherwise counted, in JSON referred to)", options.bAll);
}

void addFilters(CCommandLine& commandLine, Options& options)
{
    commandLine.addValues(
        {"--type", "TYPES", "Show these types only: vps, sps, pps, separated by commas or each with its own --type"},
        [&options](const std::vector<std::string>& lists) {
            for (const std::string& list : lists)
                addTypes(list, options.types);
        });
    commandLine.addNumber({"--id", "N", "Show sets of this id only (0 to 255)"}, 0, 255, [&options](unsigned uiId) {
        options.uiId = uiId;
    });
}

void addDecoder(CCommandLine& commandLine, Options& options)
{
    commandLine.addFlag(
        "--record", "Show the records that the decoder reads, in the place of the syntax", options.bRecord);
    commandLine.addFlag("--tables",
                        "Write the address tables of a PPS with tiles into the JSON (three numbers a CTB)",
                        options.bTables);
    commandLine.addChoice({"--reader",
                           "READER",
                           "rbsp reads every bit in order (the default), decoder as the decoder's own bit reader does: "
                           "it delivers what is longer than its cache word with gaps"},
                          {"rbsp", "decoder"},
                          [&options](const std::string& name) {
                              options.stream.eReader =
                                  name == "rbsp" ? h265_stream::EBitReader::Rbsp : h265_stream::EBitReader::Decoder;
                          });
    commandLine.addNumber(
        {"--log-level", "N", "Messages of the module to show: 0 or 1 all (the default), 2 errors, 3 none"},
        0,
        3,
        [&options](unsigned uiLevel) { options.stream.iLogLevel = static_cast<int>(uiLevel); });
}

std::optional<EarlyEnd> parseFiles(CCommandLine& commandLine, std::span<char* const> arguments, const Options& options)
{
    std::optional<EarlyEnd> end = commandLine.parse(arguments);
    if (!end && options.files.empty() && options.sets.empty())
        end = commandLine.missing("no file is given");
    return end;
}

} // namespace h265ps
