#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "H265psProgram.h"

/// A test of the program with a directory of its own, gone after it.
class H265psFiles : public testing::Test
{
protected:
    H265psFiles();
    ~H265psFiles() override;

    std::string make(const std::string& name, const std::string& content) const;

    std::filesystem::path m_directory;
};

/// NAL units of a corpus stream that are parameter sets, without their start codes.
std::vector<std::string> parameterSetsOf(const std::string& name);

/// The units behind start codes of four bytes.
std::string streamOf(const std::vector<std::string>& units);

std::size_t countOf(const std::string& text, const std::string& part);
bool contains(const std::string& text, const std::string& part);

/// The first lines of a text, newlines included.
std::string firstLines(const std::string& text, std::size_t uiLines);
/// The last lines of a text that ends with a newline.
std::string lastLines(const std::string& text, std::size_t uiLines);
