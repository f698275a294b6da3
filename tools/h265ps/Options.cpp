#include "Options.h"

#include <algorithm>
#include <memory>
#include <sstream>
#include <string_view>

#include <CLI/CLI.hpp>

#include "ErrorLine.h"
#include "OutputStream.h"
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

void addFiles(CLI::App& app, Options& options)
{
    app.add_option("FILE", options.files, "Files to read, one after another; - is standard input")->type_name("");
}

void addReading(CLI::App& app, Options& options)
{
    app.add_flag("--head", options.bHead, "Read up to the first picture only (of each track)");
    addSingle<std::string>(app,
                           "--init",
                           "The initialisation segment of a file that has media segments only (MP4, CMAF)",
                           [&options](const std::string& file) { options.init = file; })
        ->type_name("FILE");
}

void addSets(CLI::App& app, Options& options)
{
    // Given again, they are more sets of the same stream.
    const auto add = [&](const std::string& name, h265_container::ETextForm eForm, const char* pHelp) {
        app.add_option_function<std::vector<std::string>>(
               name,
               [&options, name, eForm](const std::vector<std::string>& texts) {
                   std::string text = texts.front();
                   for (std::size_t i = 1; i < texts.size(); ++i)
                       text += ',' + texts[i];
                   options.sets.push_back({name, eForm, text});
               },
               pHelp)
            ->allow_extra_args(false)
            ->type_name("SETS");
    };
    add("--hex",
        h265_container::ETextForm::Hex,
        "Parameter sets in hexadecimal in the place of a file, separated by commas or start codes; - reads them from "
        "standard input");
    add("--base64", h265_container::ETextForm::Base64, "Likewise in base64");
}

void addJson(CLI::App& app, Options& options)
{
    app.add_flag("--json", options.bJson, "Write JSON, one document a line for each file");
}

void addRepeats(CLI::App& app, Options& options)
{
    app.add_flag(
        "--all", options.bAll, "Show repeats of a parameter set in full (otherwise counted, in JSON referred to)");
}

void addFilters(CLI::App& app, Options& options)
{
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
}

void addDecoder(CLI::App& app, Options& options)
{
    app.add_flag("--record", options.bRecord, "Show the records that the decoder reads, in the place of the syntax");
    app.add_flag("--tables",
                 options.bTables,
                 "Write the address tables of a PPS with tiles into the JSON (three numbers a CTB)");
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
}

CCommandLine::CCommandLine(const VerbUsage& usage)
    : m_name(usage.pName), m_pApp(std::make_unique<CLI::App>(usage.pDescription, usage.pName))
{
    m_pApp->formatter(std::make_shared<CHelp>());
    m_pApp->set_version_flag("--version", "h265ps " H265PS_VERSION);
    m_pApp->footer(usage.pFooter);
}

CCommandLine::~CCommandLine() = default;

std::optional<EarlyEnd> CCommandLine::parse(std::span<char* const> arguments)
{
    const std::string hint = usageHint();
    if (const std::string flag = flagWithValue(*m_pApp, arguments); !flag.empty())
        return EarlyEnd{EXIT_FILE_ERROR, "", flag + ": takes no value" + hint};
    std::vector<const char*> words = {m_name.c_str()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    try {
        m_pApp->parse(static_cast<int>(words.size()), words.data());
    } catch (const CLI::CallForHelp&) {
        return EarlyEnd{EXIT_ALL_READ, m_pApp->help(), ""};
    } catch (const CLI::CallForVersion& version) {
        return EarlyEnd{EXIT_ALL_READ, std::string(version.what()) + "\n", ""};
    } catch (const CLI::ParseError& error) {
        return EarlyEnd{EXIT_FILE_ERROR, "", error.what() + hint};
    }
    return std::nullopt;
}

std::string CCommandLine::usageHint() const
{
    return std::string(" (") + (m_name == "h265ps" ? "" : m_name + " ") + "--help shows the usage)";
}

std::optional<EarlyEnd> CCommandLine::parseFiles(std::span<char* const> arguments, const Options& options)
{
    std::optional<EarlyEnd> end = parse(arguments);
    if (!end && options.files.empty() && options.sets.empty())
        end = EarlyEnd{EXIT_FILE_ERROR, "", "no file is given" + usageHint()};
    return end;
}

int endEarly(const EarlyEnd& end, COutputStream& output)
{
    if (!end.error.empty())
        writeError(end.error);
    output.append(end.output);
    return end.eExitCode;
}

} // namespace h265ps
