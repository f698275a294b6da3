#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Inspector.h"
#include "ParameterSetStream.h"
#include "SetText.h"

namespace h265ps {

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

/// parse(), and a file or sets have to be among what is given.
std::optional<EarlyEnd> parseFiles(CCommandLine& commandLine, std::span<char* const> arguments, const Options& options);

/// Options that verbs share.
void addFiles(CCommandLine& commandLine, Options& options);
void addReading(CCommandLine& commandLine, Options& options);
void addSets(CCommandLine& commandLine, Options& options);
void addJson(CCommandLine& commandLine, Options& options);
void addRepeats(CCommandLine& commandLine, Options& options);
void addFilters(CCommandLine& commandLine, Options& options);
void addDecoder(CCommandLine& commandLine, Options& options);

} // namespace h265ps
