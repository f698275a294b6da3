#include "Options.h"

#include <algorithm>
#include <memory>
#include <span>
#include <sstream>
#include <string_view>

#include <CLI/CLI.hpp>

#include "SetNames.h"

namespace h265ps {

namespace {

constexpr char DESCRIPTION[] = "Shows what the VPS, SPS and PPS of H.265 streams (Annex B byte streams) hold.";

constexpr char FOOTER[] = R"(
Examples:
  h265ps movie.hevc                     every parameter set, for people
  h265ps --type pps --id 0 movie.hevc   PPS 0 alone
  h265ps --json a.hevc b.hevc           one JSON document a line, one for each file
  cat movie.hevc | h265ps -             from standard input

The first lines and the last ones say what the stream is and whether this decoder
takes it. The decoder's own checks are three: one layer, 4:2:0, 8 bits. That they pass
says no more: values that H.265 forbids are not looked for.

Exit codes:
  0  a VPS, an SPS and a PPS are there, every parameter set was read, and the
     decoder's own checks pass
  1  one is missing, was not read, or is not supported
     (sets of nuh_layer_id above 0 are passed over and change nothing)
  2  wrong usage, a file that cannot be read or has no parameter set, or output that
     cannot be written

An error is one line on standard error, with the place where there is one:
  h265ps: error: FILE: at byte N: reason
A warning (h265ps: warning: ...) changes no exit code.
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

// Help without the dots that mark what may be given again.
class CHelp : public CLI::Formatter
{
public:
    std::string make_option_opts(const CLI::Option* pOption) const override
    {
        return pOption->get_positional() ? Formatter::make_option_opts(pOption) : " " + pOption->get_type_name();
    }
};

// An option with a value that is used once.
template <class T, class TUse>
CLI::Option* addSingle(CLI::App& app, const std::string& name, const char* pHelp, TUse use)
{
    const auto useOne = [name, use](const std::vector<T>& values) {
        if (values.size() != 1)
            throw CLI::ValidationError(name, "may be given once only");
        use(values.front());
    };
    return app.add_option_function<std::vector<T>>(name, useOne, pHelp)->allow_extra_args(false);
}

// The table of options: what is parsed and what --help shows.
void declareOptions(CLI::App& app, Options& options)
{
    app.set_version_flag("--version", "h265ps " H265PS_VERSION);
    app.add_option("FILE", options.files, "Streams to read, one after another; - is standard input")->type_name("");
    app.add_flag("--json", options.bJson, "Write JSON, one document a line for each file");
    app.add_flag(
        "--all", options.bAll, "Show repeats of a parameter set in full (otherwise counted, in JSON referred to)");
    app.add_flag("--tables",
                 options.bTables,
                 "Write the address tables of a PPS with tiles into the JSON (three numbers a CTB)");
    app.add_option_function<std::vector<std::string>>(
           "--type",
           [&options](const std::vector<std::string>& lists) {
               for (const std::string& list : lists)
                   addTypes(list, options.types);
           },
           "Show these types only: vps, sps, pps, separated by commas or each with its own --type")
        ->allow_extra_args(false)
        ->type_name("TYPES");
    addSingle<unsigned>(
        app, "--id", "Show sets of this id only (0 to 255)", [&options](unsigned uiId) { options.uiId = uiId; })
        ->check(CLI::Range(0, 255).description(""))
        ->type_name("N");
    addSingle<std::string>(app,
                           "--reader",
                           "rbsp reads every bit in order (the default), decoder as the decoder's own bit reader does: "
                           "it delivers what is longer than its cache word with gaps",
                           [&options](const std::string& name) {
                               options.stream.eReader =
                                   name == "rbsp" ? h265_stream::EBitReader::Rbsp : h265_stream::EBitReader::Decoder;
                           })
        ->check(CLI::IsMember({"rbsp", "decoder"}).description(""))
        ->type_name("READER");
    addSingle<int>(app,
                   "--log-level",
                   "Messages of the module to show: 0 or 1 all (the default), 2 errors, 3 none",
                   [&options](int iLevel) { options.stream.iLogLevel = iLevel; })
        ->check(CLI::Range(0, 3).description(""))
        ->type_name("N");
    app.footer(FOOTER);
}

// The name of a flag that is given a value; empty without one.
std::string flagWithValue(const CLI::App& app, std::span<char* const> arguments)
{
    for (const std::string_view argument : arguments) {
        if (argument == "--")
            break;
        std::string name(argument.substr(0, argument.find('='))); // not const: it is moved out
        if (name.size() == argument.size() || !name.starts_with("--"))
            continue;
        const CLI::Option* const pOption = app.get_option_no_throw(name);
        if (pOption != nullptr && pOption->get_items_expected_max() == 0)
            return name;
    }
    return "";
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
    app.formatter(std::make_shared<CHelp>());
    declareOptions(app, options);
    if (const std::string flag = flagWithValue(app, {argv, static_cast<std::size_t>(argc)}); !flag.empty())
        return EarlyEnd{EXIT_FILE_ERROR, "", flag + ": takes no value (--help shows the usage)"};
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
