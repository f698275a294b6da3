#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "H265psStreams.h"
#include "Json.h"

// The program as a person uses it: as a child process.

namespace program_test {

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

const fs::path EXPECTED = H265PS_EXPECTED;

using H265ps = H265psFiles;

// -- the command line

TEST_F(H265ps, HelpShowsEveryOptionWithExamplesAndExitCodes)
{
    const ChildResult result = h265ps({"--help"});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_EQ(result.error, "");
    for (const char* pPart : {"FILE",
                              "--type",
                              "--id",
                              "--reader",
                              "--log-level",
                              "--all",
                              "--json",
                              "--version",
                              "Examples:",
                              "Exit codes:",
                              "NO_COLOR"})
        EXPECT_TRUE(contains(result.output, pPart)) << pPart;
}

TEST_F(H265ps, VersionIsOneLine)
{
    const ChildResult result = h265ps({"--version"});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_TRUE(std::regex_match(result.output, std::regex("h265ps [0-9]+\\.[0-9]+\\.[0-9]+\n"))) << result.output;
}

TEST_F(H265ps, WrongUsageIsOneLineOnStandardErrorAndEndsWith2)
{
    const std::vector<std::string> aCases[] = {
        {},
        {"--nonsense", "hm_ldb.hevc"},
        {"--type", "sei", "hm_ldb.hevc"},
        {"--type", "", "hm_ldb.hevc"},
        {"--id", "256", "hm_ldb.hevc"},
        {"--id", "-1", "hm_ldb.hevc"},
        {"--id", "x", "hm_ldb.hevc"},
        {"--reader", "fast", "hm_ldb.hevc"},
        {"--log-level", "4", "hm_ldb.hevc"},
        {"hm_ldb.hevc", "--id"},
        {"hm_ldb.hevc", "--id", "1", "--id", "2"},
        {"--json=3", "hm_ldb.hevc"},
        {"--json=false", "hm_ldb.hevc"},
        {"--all=true", "hm_ldb.hevc"},
        {"--reader", "rbsp", "--reader", "rbsp", "hm_ldb.hevc"},
        {"--log-level", "1", "--log-level", "2", "hm_ldb.hevc"},
    };
    for (const std::vector<std::string>& arguments : aCases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const ChildResult result = h265ps(arguments);
        EXPECT_EQ(result.iExitCode, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(std::regex_match(result.error, std::regex("h265ps: error: .*--help.*\n"))) << result.error;
    }
}

TEST_F(H265ps, AnOptionGivenTwiceIsNamed)
{
    EXPECT_EQ(h265ps({"--id", "1", "--id", "2", "hm_ldb.hevc"}).error,
              "h265ps: error: --id: may be given once only (--help shows the usage)\n");
    EXPECT_EQ(h265ps({"--json=3", "hm_ldb.hevc"}).error,
              "h265ps: error: --json: takes no value (--help shows the usage)\n");
    EXPECT_EQ(h265ps({"--type", "sei", "hm_ldb.hevc"}).error,
              "h265ps: error: --type: 'sei' is not one of vps, sps, pps (--help shows the usage)\n");
}

// -- options

TEST_F(H265ps, FiltersShowTheWantedSetsOnly)
{
    const auto shown = [](const std::vector<std::string>& arguments) {
        std::vector<std::string> all = {"--json", "hm_ids_15_15_63.hevc"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        std::string types;
        const Json document = parseJson(h265ps(all).output);
        for (const Json& set : document["parameter_sets"])
            types += set["type"].get<std::string>().substr(0, 1);
        return types;
    };
    EXPECT_EQ(shown({}), "VSPP");
    EXPECT_EQ(shown({"--type", "pps"}), "PP");
    EXPECT_EQ(shown({"--type", "pps,vps"}), "VPP");
    EXPECT_EQ(shown({"--type", "vps", "--type=pps"}), "VPP");
    EXPECT_EQ(shown({"--id", "15"}), "VS");
    EXPECT_EQ(shown({"--id", "63", "--type", "sps"}), "");
    // The summary line stays: everything is read all the same.
    const ChildResult text = h265ps({"--type", "pps", "hm_ids_15_15_63.hevc"});
    EXPECT_TRUE(contains(text.output, "208x120, 8-bit 4:2:0"));
    EXPECT_FALSE(contains(text.output, "\nSPS 15"));
    EXPECT_TRUE(contains(h265ps({"--id", "99", "hm_ldb.hevc"}).output, "no parameter set of the wanted type and id"));
    // And so does the exit code.
    EXPECT_EQ(h265ps({"--type", "vps", "profile_main10.hevc"}).iExitCode, 1);
}

TEST_F(H265ps, TheReaderCanBeChosen)
{
    const ChildResult rbsp = h265ps({"--reader", "rbsp", "hm_ldb.hevc"});
    EXPECT_EQ(rbsp.output, h265ps({"hm_ldb.hevc"}).output);
    // The decoder's own reader leaves gaps in payloads that are longer than its cache word.
    EXPECT_NE(rbsp.output, h265ps({"--reader", "decoder", "hm_ldb.hevc"}).output);
}

TEST_F(H265ps, TheLogLevelSilencesTheModule)
{
    const auto linesAt = [](const char* pLevel) {
        const ChildResult result = h265ps({"--json", "--log-level", pLevel, "malformed_rps_in_sps.hevc"});
        std::string lines;
        const Json document = parseJson(result.output);
        for (const Json& set : document["parameter_sets"])
            for (const Json& line : set["log"])
                lines += line.get<std::string>() + "\n";
        return lines;
    };
    EXPECT_TRUE(contains(linesAt("0"), "WARN: sps not found!"));
    EXPECT_TRUE(contains(linesAt("0"), "ERROR: ReadFlag() error  bs reach end when read bits, not enough bits"));
    EXPECT_FALSE(contains(linesAt("2"), "WARN"));
    EXPECT_TRUE(contains(linesAt("2"), "ERROR"));
    EXPECT_EQ(linesAt("3"), "");
}

TEST_F(H265ps, TheReasonIsTheSameAtEveryLogLevel)
{
    for (const char* pFile : {"malformed_rps_in_sps.hevc", "profile_main10.hevc", "profile_main422_10.hevc"}) {
        SCOPED_TRACE(pFile);
        const ChildResult all = h265ps({pFile});
        EXPECT_EQ(all.iExitCode, 1);
        for (const char* pLevel : {"1", "2", "3"}) {
            const ChildResult result = h265ps({"--log-level", pLevel, pFile});
            EXPECT_EQ(result.error, all.error);
            EXPECT_EQ(countOf(result.output, "NOT READ"), countOf(all.output, "NOT READ"));
            EXPECT_EQ(countOf(result.output, "  log: ") == 0, std::string(pLevel) == "3");
        }
    }
}

// -- files and pipes

TEST_F(H265ps, StandardInputGivesWhatTheFileGives)
{
    ChildSetup setup;
    setup.input = CORPUS / "hm_tiles_explicit_4x3.hevc";
    EXPECT_EQ(h265ps({"-"}, setup).output, h265ps({"hm_tiles_explicit_4x3.hevc"}).output);
    Json fromFile = parseJson(h265ps({"--json", "hm_tiles_explicit_4x3.hevc"}).output);
    fromFile["file"] = "-";
    const ChildResult fromInput = h265ps({"--json", "-"}, setup);
    EXPECT_EQ(parseJson(fromInput.output), fromFile);
    EXPECT_TRUE(fromInput.output.starts_with(R"({"file":"-","parameter_sets":[{"type":"VPS",)"));
}

TEST_F(H265ps, LongJsonFromStandardInputComesWhole)
{
    std::string stream;
    const std::string unit = contentOf(CORPUS / "slist_explicit_444.hevc");
    for (int i = 0; i < 500; ++i)
        stream += unit;
    ChildSetup setup;
    setup.input = make("long", stream);
    const ChildResult result = h265ps({"--json", "--all", "-"}, setup);
    EXPECT_GT(result.output.size(), std::size_t{9} << 20);
    std::string fromFile = h265ps({"--json", "--all", setup.input}).output;
    fromFile.replace(fromFile.find(setup.input), setup.input.size(), "-");
    EXPECT_TRUE(result.output == fromFile);
}

TEST_F(H265ps, SeveralFilesFollowOneAnotherAndAnErrorDoesNotStopThem)
{
    const std::vector<std::string> files = {"hm_ldb.hevc", "missing", "size_64x64_ctu16.hevc"};
    const ChildResult text = h265ps(files);
    EXPECT_EQ(text.iExitCode, 2);
    EXPECT_TRUE(contains(text.output, "==> hm_ldb.hevc <==\n208x120"));
    EXPECT_TRUE(contains(text.output, "==> size_64x64_ctu16.hevc <==\n64x64"));
    EXPECT_TRUE(contains(text.error, "h265ps: error: missing: no such file or directory\n"));
    const ChildResult json = h265ps({"--json", files[0], files[1], files[2]});
    EXPECT_EQ(json.iExitCode, 2);
    std::istringstream lines(json.output);
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);)
        names.push_back(parseJson(line)["file"]);
    EXPECT_EQ(names, (std::vector<std::string>{files[0], files[2]}));
}

TEST_F(H265ps, EachFileStartsWithEmptyTables)
{
    const std::string ppsAlone = make("pps", streamOf({parameterSetsOf("hm_ldb")[2]}));
    const ChildResult result = h265ps({"hm_ldb.hevc", ppsAlone});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_TRUE(contains(result.error, "sps not found!"));
    EXPECT_TRUE(contains(result.output, "no SPS was read"));
}

TEST_F(H265ps, ABrokenPipeEndsQuietly)
{
    ChildSetup setup;
    setup.eOutput = EChildOutput::ClosedPipe;
    const std::vector<std::string> aCases[] = {{"hm_ldb.hevc"}, {"--json", "hm_ldb.hevc", "hm_ldb.hevc"}, {"--help"}};
    for (const std::vector<std::string>& arguments : aCases) {
        const ChildResult result = h265ps(arguments, setup);
        EXPECT_EQ(result.iExitCode, 0);
        EXPECT_EQ(result.error, "");
    }
}

TEST_F(H265ps, AFailedWriteIsAnError)
{
    ChildSetup setup;
    setup.eOutput = EChildOutput::FullDevice;
    const std::vector<std::string> aCases[] = {{"hm_ldb.hevc"}, {"--json", "hm_ldb.hevc"}, {"--help"}, {"--version"}};
    for (const std::vector<std::string>& arguments : aCases) {
        const ChildResult result = h265ps(arguments, setup);
        EXPECT_EQ(result.iExitCode, 2);
        EXPECT_TRUE(std::regex_match(result.error, std::regex("h265ps: error: standard output: .*\n")));
    }
}

TEST_F(H265ps, ColourIsForTerminalsThatWantIt)
{
    if (!hasPseudoTerminals())
        GTEST_SKIP() << "there are no pseudo-terminals here (no /dev/ptmx, or no devpts on /dev/pts)";
    ChildSetup setup;
    EXPECT_FALSE(contains(h265ps({"profile_main10.hevc"}, setup).output, "\x1b"));
    setup.eOutput = EChildOutput::Terminal;
    setup.environment = {"TERM=xterm"};
    EXPECT_TRUE(contains(h265ps({"profile_main10.hevc"}, setup).output, "\x1b["));
    EXPECT_FALSE(contains(h265ps({"--json", "profile_main10.hevc"}, setup).output, "\x1b"));
    setup.environment = {"TERM=xterm", "NO_COLOR=1"};
    EXPECT_FALSE(contains(h265ps({"profile_main10.hevc"}, setup).output, "\x1b"));
    setup.environment = {"TERM=xterm", "NO_COLOR="}; // an empty one does not count
    EXPECT_TRUE(contains(h265ps({"profile_main10.hevc"}, setup).output, "\x1b["));
    setup.environment = {"TERM=dumb"};
    EXPECT_FALSE(contains(h265ps({"profile_main10.hevc"}, setup).output, "\x1b"));
}

// -- expected output. To take over a change on purpose, run with H265PS_UPDATE_EXPECTED=1.

TEST_F(H265ps, PrintsTheExpectedOutput)
{
    const struct
    {
        const char* pExpected;
        std::vector<std::string> arguments;
    } aCases[] = {
        {"hm_tiles_explicit_4x3.txt", {"hm_tiles_explicit_4x3.hevc"}},
        {"hm_rps_33_mixed.txt", {"--type", "sps", "hm_rps_33_mixed.hevc"}},
        {"slist_predicted.txt", {"--type", "sps", "slist_predicted.hevc"}},
        {"hm_slist_pps.txt", {"--type", "pps", "hm_slist_pps.hevc"}},
        {"hm_5_layers_subptl_hrd.txt", {"hm_5_layers_subptl_hrd.hevc"}},
        {"hm_crop_all_sides.txt", {"--type", "sps", "hm_crop_all_sides.hevc"}},
        {"hm_pcm_8_32.txt", {"--type", "sps", "hm_pcm_8_32.hevc"}},
        {"hm_lt_sps_7.txt", {"--type", "sps", "hm_lt_sps_7.hevc"}},
        {"profile_main10.txt", {"profile_main10.hevc"}},
        {"malformed_rps_in_sps.txt", {"malformed_rps_in_sps.hevc"}},
        {"gop_open_repeat_headers.txt", {"gop_open_repeat_headers.hevc", "hm_vui_everything.hevc"}},
        {"svt_tiles_4x3.txt", {"--type", "pps", "svt_tiles_4x3.hevc"}},
        {"record_hm_tiles_explicit_4x3.txt", {"--record", "hm_tiles_explicit_4x3.hevc"}},
        {"record_hm_pcm_8_32.txt", {"--record", "--type", "sps", "hm_pcm_8_32.hevc"}},
        {"record_hm_slist_pps.txt", {"--record", "--type", "pps", "hm_slist_pps.hevc"}},
        {"hm_tiles_explicit_4x3.json", {"--json", "hm_tiles_explicit_4x3.hevc"}},
        {"help.txt", {"--help"}},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pExpected);
        const ChildResult result = h265ps(c.arguments);
        if (std::getenv("H265PS_UPDATE_EXPECTED") != nullptr)
            std::ofstream(EXPECTED / c.pExpected, std::ios::binary) << result.output << result.error;
        EXPECT_EQ(result.output + result.error, contentOf(EXPECTED / c.pExpected));
    }
}

} // namespace
} // namespace program_test
