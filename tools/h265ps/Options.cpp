#include "Options.h"

#include "SetNames.h"

#include <algorithm>
#include <sstream>

#include <CLI/CLI.hpp>

namespace h265ps {

namespace {

constexpr char DESCRIPTION[] = "Shows what the VPS, SPS and PPS of H.265 streams (Annex B byte streams) hold.";

constexpr char FOOTER[] = R"(
Examples:
  h265ps movie.hevc                     every parameter set, for people
  h265ps --type pps --id 0 movie.hevc   PPS 0 alone
  h265ps --json a.hevc b.hevc           one JSON document a line, one for each file
  cat movie.hevc | h265ps -             from standard input

Exit codes:
  0  every parameter set was read and is supported by the decoder
  1  one was not read or is not supported
     (sets of nuh_layer_id above 0 are passed over and change nothing)
  2  wrong usage, a file that cannot be read or has no parameter set, or output that cannot be written

An error is one line on standard error:
  h265ps: error: FILE: at byte N: reason
Colour is used on a terminal only, and not when NO_COLOR is set.)";

unsigned char typeOf(const std::string& name)
{
    if (name == "vps" || name == "VPS")
        return h265_stream::VPS_NUT;
    if (name == "sps" || name == "SPS")
        return h265_stream::SPS_NUT;
    if (name == "pps" || name == "PPS")
        return h265_stream::PPS_NUT;
    throw CLI::ValidationError("--type", "'" + name + "' is not one of vps, sps, pps");
}

void addTypes(const std::string& list, std::vector<unsigned char>& types)
{
    std::istringstream names(list + ",");
    for (std::string name; std::getline(names, name, ',');)
        types.push_back(typeOf(name));
}

// The table of options: what is parsed and what --help shows.
void declareOptions(CLI::App& app, Options& options)
{
    app.set_version_flag("--version", "h265ps " H265PS_VERSION);
    app.add_option("FILE", options.files, "Streams to read, one after another; - is standard input")->type_name("");
    app.add_flag("--json", options.bJson, "Write JSON, one document a line for each file");
    app.add_flag(
        "--all", options.bAll, "Show repeats of a parameter set too instead of counting them (JSON always has them)");
    app.add_option_function<std::string>(
           "--type",
           [&options](const std::string& list) { addTypes(list, options.types); },
           "Show these types only: vps, sps, pps, separated by commas")
        ->type_name("TYPES");
    app.add_option("--id", options.uiId, "Show sets of this id only (0 to 255)")
        ->check(CLI::Range(0, 255).description(""))
        ->type_name("N");
    app.add_option_function<std::string>(
           "--reader",
           [&options](const std::string& name) {
               options.stream.eReader =
                   name == "rbsp" ? h265_stream::EBitReader::Rbsp : h265_stream::EBitReader::Decoder;
           },
           "rbsp reads every bit in order (the default), decoder as the decoder's own bit reader does")
        ->check(CLI::IsMember({"rbsp", "decoder"}).description(""))
        ->type_name("READER");
    app.add_option("--log-level",
                   options.stream.iLogLevel,
                   "Messages of the module: 0 or 1 all (the default), 2 errors, 3 none")
        ->check(CLI::Range(0, 3).description(""))
        ->type_name("N");
    app.footer(FOOTER);
}

} // namespace

bool Options::shows(const h265_stream::ParameterSetEvent& event) const
{
    const bool bType =
        types.empty() || std::find(types.begin(), types.end(), event.header.nal_unit_type) != types.end();
    return bType && (!uiId || idOf(event) == uiId);
}

std::optional<EarlyEnd> parseCommandLine(int argc, char** argv, Options& options)
{
    CLI::App app(DESCRIPTION, "h265ps");
    declareOptions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        return EarlyEnd{EXIT_ALL_READ, app.help(), ""};
    } catch (const CLI::CallForVersion& version) {
        return EarlyEnd{EXIT_ALL_READ, std::string(version.what()) + "\n", ""};
    } catch (const CLI::ParseError& error) {
        return EarlyEnd{EXIT_FILE_ERROR, "", std::string(error.what()) + " (--help shows the usage)"};
    }
    if (options.files.empty())
        return EarlyEnd{EXIT_FILE_ERROR, "", "no file is given (--help shows the usage)"};
    return std::nullopt;
}

} // namespace h265ps
