#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "ChildProcess.h"

/// The streams that the tests read.
inline const std::filesystem::path CORPUS = H265PS_CORPUS;

/// Runs the program, among the streams unless the set-up names another directory.
inline ChildResult h265ps(const std::vector<std::string>& arguments, ChildSetup setup = {})
{
    if (setup.directory.empty())
        setup.directory = CORPUS;
#ifdef H265PS_EMULATOR // for the program of another platform, which this machine may not run itself
    std::vector<std::string> emulated = {H265PS_PROGRAM};
    emulated.insert(emulated.end(), arguments.begin(), arguments.end());
    return runChild(H265PS_EMULATOR, emulated, setup);
#else
    return runChild(H265PS_PROGRAM, arguments, setup);
#endif
}

/// All bytes of a file.
inline std::string contentOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}
