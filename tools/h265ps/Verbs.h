#pragma once

#include <span>
#include <string_view>

namespace h265ps {

class COutputStream;

/// What the program can be asked to do. A verb is a row of the table and a file of its own.
struct Verb
{
    std::string_view name;
    /// arguments: those behind the verb. The exit code.
    int (*pRun)(std::span<char* const> arguments, COutputStream& output);
};

/// The verb of that name, null when there is none.
const Verb* findVerb(std::string_view name) noexcept;

/// Runs the verb that is the first argument, or else shows the files that the arguments name.
int runVerb(std::span<char* const> arguments, COutputStream& output);

int runShow(std::span<char* const> arguments, COutputStream& output);
int runTrace(std::span<char* const> arguments, COutputStream& output);
int runCheck(std::span<char* const> arguments, COutputStream& output);
int runDiff(std::span<char* const> arguments, COutputStream& output);
int runEdit(std::span<char* const> arguments, COutputStream& output);
int runExport(std::span<char* const> arguments, COutputStream& output);
int runScan(std::span<char* const> arguments, COutputStream& output);

} // namespace h265ps
