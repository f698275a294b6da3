#pragma once

#include <string>
#include <vector>

/// A program that ran to its end.
struct ChildResult
{
    int iExitCode; // -1 when a signal ended it
    std::string output;
    std::string error;
};

/// Where a program's standard output goes.
enum class EChildOutput
{
    Captured,
    Terminal,   // captured through a pseudo-terminal
    ClosedPipe, // a pipe that nobody reads
    FullDevice  // /dev/full
};

/// How a program is run.
struct ChildSetup
{
    std::string input = "/dev/null";      // the file that is its standard input
    std::string directory;                // to run in; empty: this process's
    std::vector<std::string> environment; // NAME=VALUE, besides this process's without NO_COLOR and TERM
    EChildOutput eOutput = EChildOutput::Captured;
};

/// Whether EChildOutput::Terminal can be had: a system without /dev/ptmx or /dev/pts has no pseudo-terminals.
bool hasPseudoTerminals();

/// Between fork and exec: signals do to the child what they do to a program that a terminal starts, whoever started
/// the tests, and whatever they ignore.
void takeSignalsAsUsual();

/// Runs a program (by its path) with the arguments and waits for its end.
ChildResult runChild(const std::string& program, const std::vector<std::string>& arguments,
                     const ChildSetup& setup = {});
