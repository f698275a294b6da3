// The program with damaged streams: it ends by itself, with one of its three exit codes.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "H265psProgram.h"

namespace program_corruption_test {

namespace {

namespace fs = std::filesystem;

// Numbers that are the same in every run.
class CNumbers
{
public:
    unsigned below(unsigned uiBound) { return static_cast<unsigned>(m_numbers() % uiBound); }

private:
    std::mt19937 m_numbers;
};

constexpr unsigned DAMAGED_COPIES = 12;     // of each stream
constexpr std::size_t DAMAGED_BYTES = 2048; // at its front, where the parameter sets stand

// One kind of damage, at a place of choice.
std::string damaged(std::string stream, unsigned uiKind, CNumbers& numbers)
{
    const auto place = [&] { return numbers.below(static_cast<unsigned>(std::min(stream.size(), DAMAGED_BYTES))); };
    const auto anyByte = [&] { return static_cast<char>(numbers.below(256)); };
    switch (uiKind % 6) {
    case 0: // cut
        stream.resize(place());
        break;
    case 1: // a bit turned
        stream[place()] ^= static_cast<char>(1U << numbers.below(8));
        break;
    case 2: // bytes lost
        stream.erase(place(), 1 + numbers.below(16));
        break;
    case 3: // the beginning of a parameter set in the middle of something
        stream.insert(place(), std::string{0, 0, 1, static_cast<char>(64 + 2 * numbers.below(3)), 1, anyByte()});
        break;
    case 4: // bytes of something else
        for (unsigned i = 0; i < 8; ++i)
            stream[place()] = anyByte();
        break;
    default: // a run of equal bytes
        stream.insert(place(), 1 + numbers.below(64), numbers.below(2) != 0 ? '\0' : '\xff');
        break;
    }
    return stream;
}

class H265psCorruption : public testing::TestWithParam<std::vector<std::string>>
{
protected:
    H265psCorruption() : m_directory(fs::temp_directory_path() / ("h265ps-damaged-" + std::to_string(::getpid())))
    {
        fs::create_directories(m_directory);
    }
    ~H265psCorruption() override { fs::remove_all(m_directory); }

    fs::path m_directory;
};

TEST_P(H265psCorruption, EndsWithOneOfItsExitCodes)
{
    CNumbers numbers;
    unsigned uiStreams = 0;
    for (const auto& entry : fs::directory_iterator(CORPUS)) {
        if (entry.path().extension() != ".hevc")
            continue;
        const std::string stream = contentOf(entry.path());
        std::vector<std::string> arguments = GetParam();
        for (unsigned i = 0; i < DAMAGED_COPIES; ++i) {
            const fs::path file = m_directory / ("damaged" + std::to_string(i) + ".hevc");
            std::ofstream(file, std::ios::binary) << damaged(stream, i, numbers);
            arguments.push_back(file.string());
        }
        const ChildResult result = h265ps(arguments);
        EXPECT_GE(result.iExitCode, 0) << entry.path() << '\n' << result.error;
        EXPECT_LE(result.iExitCode, 2) << entry.path() << '\n' << result.error;
        EXPECT_EQ(result.error.find("Sanitizer"), std::string::npos) << entry.path() << '\n' << result.error;
        EXPECT_EQ(result.error.find("runtime error"), std::string::npos) << entry.path() << '\n' << result.error;
        ++uiStreams;
    }
    EXPECT_GT(uiStreams, 50U);
}

INSTANTIATE_TEST_SUITE_P(Outputs, H265psCorruption,
                         testing::Values(std::vector<std::string>{"--all"},
                                         std::vector<std::string>{"--json", "--reader", "decoder"}));

} // namespace
} // namespace program_corruption_test
