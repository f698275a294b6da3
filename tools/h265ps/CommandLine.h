/// @file
/// The command line of a verb. Only CommandLine.cpp compiles CLI11, which costs a source more time than all else that
/// it includes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "Verdict.h"

namespace CLI {
class App;
} // namespace CLI

namespace h265ps {

class COutputStream;

/// What to do instead of reading files: text for standard output, or an error.
struct EarlyEnd
{
    EExitCode eExitCode;
    std::string output;
    std::string error;
};

/// Writes what is to be said instead; the exit code.
int endEarly(const EarlyEnd& end, COutputStream& output);

/// What --help says of a verb around the list of its options.
struct VerbUsage
{
    const char* pName; // "h265ps trace"
    const char* pDescription;
    const char* pFooter;
};

/// What --help says of an option.
struct OptionText
{
    std::string name;   // "--init", "-o,--output"
    const char* pValue; // what stands for its value, "FILE"
    const char* pHelp;
};

/// A value that an option does not take; thrown where the option is used. what() names the option.
class COptionError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The command line of a verb, without the program and the verb. The table of its options feeds the parser and
/// the help. What the options are declared with has to be there until parse().
class CCommandLine
{
public:
    explicit CCommandLine(const VerbUsage& usage);
    ~CCommandLine();
    CCommandLine(const CCommandLine&) = delete;
    CCommandLine& operator=(const CCommandLine&) = delete;

    /// A word without an option's name.
    void addWord(const std::string& name, const char* pHelp, std::string& word);
    /// Any number of them.
    void addWords(const std::string& name, const char* pHelp, std::vector<std::string>& words);
    /// An option without a value; it may be given again.
    void addFlag(const std::string& name, const char* pHelp, bool& bFlag);
    /// Options with a value that may be given once only.
    void addValue(const OptionText& text, std::function<void(const std::string&)> use);
    void addRequiredValue(const OptionText& text, std::function<void(const std::string&)> use);
    void addChoice(const OptionText& text, const std::vector<std::string>& choices,
                   std::function<void(const std::string&)> use);
    void addRequiredChoice(const OptionText& text, const std::vector<std::string>& choices,
                           std::function<void(const std::string&)> use);
    void addNumber(const OptionText& text, std::function<void(std::uint64_t)> use);
    void addNumber(const OptionText& text, unsigned uiLeast, unsigned uiMost, std::function<void(unsigned)> use);
    /// An option with a value that may be given again; used once, with all values.
    void addValues(const OptionText& text, const std::function<void(const std::vector<std::string>&)>& use);

    /// Fills what the options were declared with; an EarlyEnd when the command line asks for help or is wrong.
    std::optional<EarlyEnd> parse(std::span<char* const> arguments);
    /// That what is wanted is missing, and where to find help.
    [[nodiscard]] EarlyEnd missing(const char* pWhat) const;

private:
    [[nodiscard]] std::string usageHint() const;

    std::string m_name;
    std::unique_ptr<CLI::App> m_pApp;
};

} // namespace h265ps
