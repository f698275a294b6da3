#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Inspector.h"
#include "ParameterSetStream.h"
#include "SetText.h"
#include "Verdict.h"

namespace CLI {
class App;
} // namespace CLI

namespace h265ps {

class COutputStream;

/// Sets that are given as text, on the command line or ("-") on standard input.
struct GivenSets
{
    std::string name; // of the option: stands for the file
    h265_container::ETextForm eForm;
    std::string text;
};

/// What the verbs are told on the command line; each has some of these options.
struct Options
{
    std::vector<std::string> files; // "-" is standard input
    std::vector<GivenSets> sets;
    bool bJson = false;
    bool bAll = false;                // show repeats
    bool bRecord = false;             // the decoder's records in the place of the syntax
    bool bTables = false;             // the address tables of PPSs, in JSON
    std::vector<unsigned char> types; // nal_unit_type of the sets to show; empty: all
    std::optional<unsigned> uiId;     // id of the sets to show
    bool bHead = false;               // up to the first picture
    std::string init;                 // initialisation segment of media segments; empty: none
    h265_stream::StreamOptions stream;

    // What follows from the verb.
    bool bDecoder = true; // whether the decoder takes a stream decides: what it does not take is an error
    h265_inspect::InspectOptions inspect;

    /// Whether the filters let the parameter set through.
    [[nodiscard]] bool shows(const h265_stream::ParameterSetEvent& event) const;
};

/// What to do instead of reading files: text for standard output, or an error.
struct EarlyEnd
{
    EExitCode eExitCode;
    std::string output;
    std::string error;
};

/// What --help says of a verb around the list of its options.
struct VerbUsage
{
    const char* pName; // "h265ps trace"
    const char* pDescription;
    const char* pFooter;
};

/// The command line of a verb, without the program and the verb. The table of its options feeds the parser and
/// the help.
class CCommandLine
{
public:
    explicit CCommandLine(const VerbUsage& usage);
    ~CCommandLine();
    CCommandLine(const CCommandLine&) = delete;
    CCommandLine& operator=(const CCommandLine&) = delete;

    /// Where the options of the verb are declared.
    [[nodiscard]] CLI::App& app() noexcept { return *m_pApp; }

    /// Fills what the options were declared with; an EarlyEnd when the command line asks for help or is wrong.
    std::optional<EarlyEnd> parse(std::span<char* const> arguments);
    /// Likewise, and a file has to be among them.
    std::optional<EarlyEnd> parseFiles(std::span<char* const> arguments, const Options& options);

private:
    [[nodiscard]] std::string usageHint() const;

    std::string m_name;
    std::unique_ptr<CLI::App> m_pApp;
};

/// Writes what is to be said instead; the exit code.
int endEarly(const EarlyEnd& end, COutputStream& output);

/// Options that verbs share.
void addFiles(CLI::App& app, Options& options);
void addReading(CLI::App& app, Options& options);
void addSets(CLI::App& app, Options& options);
void addJson(CLI::App& app, Options& options);
void addRepeats(CLI::App& app, Options& options);
void addFilters(CLI::App& app, Options& options);
void addDecoder(CLI::App& app, Options& options);

} // namespace h265ps
