#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "ChildProcess.h"

/// The streams that the tests read.
inline const std::filesystem::path CORPUS = H265PS_CORPUS;

/// The program: the one that was built with the tests, or the one that the environment names in its place.
inline const std::string PROGRAM =
    std::getenv("H265PS_PROGRAM") != nullptr ? std::getenv("H265PS_PROGRAM") : H265PS_PROGRAM;

/// Runs the program, among the streams unless the set-up names another directory.
inline ChildResult h265ps(const std::vector<std::string>& arguments, ChildSetup setup = {})
{
    if (setup.directory.empty())
        setup.directory = CORPUS;
    return runChild(PROGRAM, arguments, setup);
}

/// All bytes of a file.
inline std::string contentOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}
