#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "H265psProgram.h"

// The program as a person uses it: as a child process.

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using namespace std::string_literals;

const fs::path EXPECTED = H265PS_EXPECTED;

// A directory of its own for each test, gone after it.
class H265ps : public testing::Test
{
protected:
    H265ps()
    {
        std::string pattern = (fs::temp_directory_path() / "h265ps-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("no temporary directory");
        m_directory = pattern;
    }
    ~H265ps() override { fs::remove_all(m_directory); }

    std::string make(const std::string& name, const std::string& content) const
    {
        std::ofstream(m_directory / name, std::ios::binary) << content;
        return (m_directory / name).string();
    }

    fs::path m_directory;
};

// NAL units of a corpus stream, without their start codes.
std::vector<std::string> parameterSetsOf(const std::string& name)
{
    const std::string stream = contentOf(CORPUS / (name + ".hevc"));
    std::vector<std::string> units;
    const Json trace = Json::parse(contentOf(CORPUS / (name + ".json")));
    for (const Json& set : trace["sets"])
        units.push_back(stream.substr(set["offset"].get<std::size_t>(), set["size"].get<std::size_t>()));
    return units;
}

std::string streamOf(const std::vector<std::string>& units)
{
    std::string stream;
    for (const std::string& unit : units)
        stream += "\0\0\0\1"s + unit;
    return stream;
}

std::size_t countOf(const std::string& text, const std::string& part)
{
    std::size_t uiCount = 0;
    for (std::size_t i = text.find(part); i != std::string::npos; i = text.find(part, i + part.size()))
        ++uiCount;
    return uiCount;
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

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
}

// -- errors of files

TEST_F(H265ps, AFileThatIsNoStreamIsOneErrorLineThatSaysWhatItLooksLike)
{
    const std::string packet = "\x47\x40\0\x10"s + std::string(184, '\xff');
    const std::string checked = packet + std::string(16, '\xee');
    std::string longH264;
    for (unsigned i = 0; i < 2000; ++i)
        longH264 += "\0\0\1\x41\x9a"s + std::to_string(i);
    const std::string h264 = "\0\0\0\1\x67\x64\0\x1f"s + std::string(20, 'x') + "\0\0\0\1\x68\xee\x3c\x80"s;
    const struct
    {
        const char* pName;
        std::string content;
        const char* pReason;
    } aCases[] = {
        {"empty", "", "at byte 0: the file is empty"},
        {"mp4", "\0\0\0\x18"s + "ftypisom" + std::string(40, '\0'), "at byte 0: .*MP4"},
        {"matroska", "\x1a\x45\xdf\xa3"s + std::string(40, '\1'), "at byte 0: .*Matroska"},
        {"ts", packet + packet + packet, "at byte 0: .*MPEG-TS"},
        {"h264", h264, "at byte 0: .*raw H\\.264"},
        {"h264 with unit delimiter", "\0\0\0\1\x09\xf0"s + h264, "at byte 0: .*raw H\\.264"},
        {"h264 without parameter sets",
         "\0\0\0\1\x09\x30\0\0\1\x06\x01\x04\0\0\1\x41\x9a\x24\0\0\1\x01\x9e\x45\0\0\1\x65\x88\x84"s,
         "at byte 0: .*raw H\\.264"},
        {"h264 slices alone", "\0\0\1\x61\xe0\1\0\0\1\x61\xe1\1"s, "at byte 0: .*raw H\\.264"},
        {"long h264", longH264, "at byte 0: .*raw H\\.264"},
        {"one ts packet", packet, "at byte 0: .*MPEG-TS"},
        {"ts with check bytes", checked + checked, "at byte 0: .*MPEG-TS"},
        {"one ts packet with check bytes", checked, "at byte 0: .*MPEG-TS"},
        {"mp4 index", "\0\0\0\x18"s + "sidx" + std::string(40, '\0'), "at byte 0: .*MP4"},
        {"lengths", "\0\0\0\3\x46\1\x50\0\0\0\4\x40\1\x0c\1"s, "at byte 0: .*lengths"},
        {"utf-8", "Gr\xc3\xbc\xc3\x9f dich"s, "at byte 11: .*text file"},
        {"latin-1",
         "Sch\xf6ne Gr\xfc\xdf"
         "e aus dem Norden"s,
         "at byte 27: .*text file"},
        {"high bytes", std::string(16, 'x') + std::string(84, '\xe9'), "at byte 100: .*no start code .00 00 01."},
        {"avi", "RIFF\1\1\1\1AVI LIST"s, "at byte 0: .*AVI"},
        {"text", "This is a text.\n", "at byte 16: .*text file"},
        {"noise", std::string(100, '\x80'), "at byte 100: .*no start code"},
        {"zeros", std::string(100, '\0'), "at byte 100: .*no start code"},
        {"slices", "\0\0\1\x26\1\x80"s, "at byte 6: no parameter set in it: 1 NAL unit, no VPS, SPS or PPS"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const std::string file = make(c.pName, c.content);
        for (const char* pMode : {"--all", "--json"}) {
            const ChildResult result = h265ps({pMode, file});
            EXPECT_EQ(result.iExitCode, 2);
            EXPECT_EQ(result.output, "");
            EXPECT_TRUE(std::regex_match(result.error, std::regex("h265ps: error: " + file + ": .*\n")));
            EXPECT_TRUE(std::regex_search(result.error, std::regex(c.pReason))) << result.error;
            EXPECT_EQ(countOf(result.error, "\n"), 1U);
        }
    }
}

TEST_F(H265ps, AStreamThatBeginsLikeH264IsH265WhenASetOfLayer0Follows)
{
    // Of layer 32, and what H.264 begins its slices with.
    std::vector<std::string> units = {"\x41\x02\x24", "\x01\x02\x45" + std::string(5000, 'x')};
    for (const std::string& set : parameterSetsOf("hm_ldb"))
        units.push_back(set);
    const ChildResult result = h265ps({"--json", make("late", streamOf(units))});
    EXPECT_EQ(result.iExitCode, 0) << result.error;
    EXPECT_EQ(Json::parse(result.output)["parameter_sets"].size(), 4U);
}

TEST_F(H265ps, AFileThatCannotBeOpenedIsAnError)
{
    const std::string unreadable = make("unreadable", "x");
    fs::permissions(unreadable, fs::perms::none);
    std::vector<std::string> files = {m_directory.string(), (m_directory / "missing").string()};
    if (::geteuid() != 0) // who may read everything
        files.push_back(unreadable);
    for (const std::string& file : files) {
        SCOPED_TRACE(file);
        const ChildResult result = h265ps({file});
        EXPECT_EQ(result.iExitCode, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(std::regex_match(result.error, std::regex("h265ps: error: " + file + ": at byte 0: .+\n")))
            << result.error;
    }
}

TEST_F(H265ps, ANameCannotForgeLines)
{
    EXPECT_TRUE(contains(h265ps({"a\xc2\x9b"
                                 "31m\x9b"
                                 "b\xc3\x9b"
                                 "c\xe2\x82\x9d"})
                             .error,
                         "error: a?31m?b\xc3\x9b"
                         "c\xe2\x82\x9d: "));
    const ChildResult result = h265ps({"no\nh265ps: \x1b[1mfile"});
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_EQ(countOf(result.error, "\n"), 1U);
    EXPECT_FALSE(contains(result.error, "\x1b"));
}

TEST_F(H265ps, AFileNameThatIsNoUtf8GivesValidJson)
{
    const std::string file = make("caf\xe9", contentOf(CORPUS / "hm_ldb.hevc"));
    const ChildResult result = h265ps({"--json", file});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_TRUE(Json::parse(result.output)["file"].get<std::string>().ends_with("caf\xef\xbf\xbd"));
}

// -- results of parameter sets

TEST_F(H265ps, TheExitCodeIs1WhenASetIsNotReadOrNotSupported)
{
    const struct
    {
        const char* pFile;
        int iExitCode;
        const char* pError;
    } aCases[] = {
        {"hm_ldb.hevc", 0, ""},
        {"profile_main10.hevc", 1, "profile_main10.hevc: at byte 32: SPS 0 not supported: only support 8bit depth "},
        {"profile_main422_10.hevc", 1, "SPS 0 not supported: only support 4:2:0 "},
        {"malformed_slist_delta.hevc", 1, "at byte 439: PPS not read: sps not found! "},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pFile);
        const ChildResult result = h265ps({c.pFile});
        EXPECT_EQ(result.iExitCode, c.iExitCode);
        EXPECT_TRUE(contains(result.error, c.pError)) << result.error;
        EXPECT_EQ(result.error.empty(), c.iExitCode == 0);
    }
}

TEST_F(H265ps, ASetCutShortByTheEndOfTheFileIsListed)
{
    const std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    const std::string file = make("cut", streamOf({sets[0], sets[1].substr(0, 17)}));
    const ChildResult result = h265ps({"--json", file});
    EXPECT_EQ(result.iExitCode, 1);
    const Json set = Json::parse(result.output)["parameter_sets"][1];
    EXPECT_EQ(set["type"], "SPS");
    EXPECT_EQ(set["size"], 17);
    EXPECT_EQ(set["read"], -2147483647);
    EXPECT_TRUE(set["verify"].is_null());
    EXPECT_TRUE(set["record"].is_null());
    EXPECT_FALSE(set["log"].empty());
}

TEST_F(H265ps, ASetOfAnotherLayerIsPassedOverAndNoError)
{
    std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    sets.push_back(sets[1]);
    sets.back()[1] = '\x09'; // nuh_layer_id 1
    const std::string file = make("layers", streamOf(sets));
    const ChildResult text = h265ps({file});
    EXPECT_EQ(text.iExitCode, 0);
    EXPECT_EQ(text.error, "");
    EXPECT_TRUE(contains(text.output, "passed over: of layer 1"));
    const Json set = Json::parse(h265ps({"--json", file}).output)["parameter_sets"].back();
    EXPECT_EQ(set["nuh_layer_id"], 1);
    EXPECT_TRUE(set["read"].is_null() && set["verify"].is_null() && set["record"].is_null());
}

TEST_F(H265ps, ASetWithForbiddenZeroBitIsNotRead)
{
    std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    sets.push_back(sets[1]);
    sets.back()[0] = '\xc2';
    const std::string file = make("forbidden", streamOf(sets));
    const std::size_t uiOffset = fs::file_size(file) - sets.back().size();
    const ChildResult text = h265ps({file});
    EXPECT_EQ(text.iExitCode, 1);
    EXPECT_TRUE(contains(text.output, "NOT READ: forbidden_zero_bit is set"));
    EXPECT_TRUE(contains(
        text.error, ": at byte " + std::to_string(uiOffset) + ": SPS not read: forbidden_zero_bit is set: damaged\n"));
    const Json set = Json::parse(h265ps({"--json", file}).output)["parameter_sets"].back();
    EXPECT_TRUE(set["read"].is_null() && set["verify"].is_null() && set["record"].is_null());
}

TEST_F(H265ps, RepeatsAreCountedAndShownWithAll)
{
    const ChildResult counted = h265ps({"gop_open_repeat_headers.hevc"});
    EXPECT_EQ(countOf(counted.output, " at byte "), 3U);
    EXPECT_TRUE(contains(counted.output, "repeats not shown: VPS 0 2x, SPS 0 2x, PPS 0 2x"));
    const ChildResult all = h265ps({"--all", "gop_open_repeat_headers.hevc"});
    EXPECT_EQ(countOf(all.output, " at byte "), 9U);
    EXPECT_EQ(countOf(all.output, "(repeat)"), 6U);
    EXPECT_FALSE(contains(all.output, "repeats not shown"));
}

TEST_F(H265ps, RepeatsOfWhatIsNotReadAreCountedToo)
{
    const std::vector<std::string> good = parameterSetsOf("hm_ldb");
    const std::string cut = good[1].substr(0, 17);
    std::string otherLayer = good[0];
    otherLayer[1] = '\x09'; // nuh_layer_id 1
    const std::string file = make(
        "again", streamOf({good[0], cut, otherLayer, good[2], cut, otherLayer, good[2], cut, good[1].substr(0, 12)}));
    const ChildResult counted = h265ps({file});
    EXPECT_EQ(counted.iExitCode, 1);
    EXPECT_EQ(countOf(counted.output, "NOT READ"), 3U);
    EXPECT_EQ(countOf(counted.output, "passed over"), 1U);
    EXPECT_TRUE(contains(counted.output, "repeats not shown: VPS of layer 1 1x, SPS not read 2x, PPS not read 1x"))
        << counted.output;
    EXPECT_EQ(countOf(counted.error, "\n"), 3U) << counted.error;
    const ChildResult all = h265ps({"--all", file});
    EXPECT_EQ(countOf(all.output, "NOT READ"), 6U);
    EXPECT_EQ(countOf(all.output, "(repeat)"), 4U);
    EXPECT_EQ(Json::parse(h265ps({"--json", file}).output)["parameter_sets"].size(), 9U);
}

TEST_F(H265ps, FieldsThatHoldSomethingElseAreMarked)
{
    const ChildResult vui = h265ps({"--type", "sps", "hm_vui_everything.hevc"});
    EXPECT_TRUE(std::regex_search(vui.output, std::regex("sps_extension_present_flag +1  ! holds the first bit of")));
    EXPECT_FALSE(contains(h265ps({"hm_ldb.hevc"}).output, "  ! "));
    const ChildResult timing = h265ps({"--type", "vps", "hm_vps_timing.hevc"});
    EXPECT_TRUE(std::regex_search(timing.output, std::regex("vps_extension_flag +[01]  ! holds the first bit of the")));
    EXPECT_EQ(countOf(timing.output, "  ! "), 1U);
    const ChildResult layerSets = h265ps({"--type", "vps", "hm_5_layers_subptl_hrd.hevc"});
    EXPECT_EQ(countOf(layerSets.output, "  ! "), 2U);
}

TEST_F(H265ps, AnSpsOfAnotherFormatSaysItsOwn)
{
    const ChildResult result = h265ps({"joined_cif_then_qcif.hevc"});
    EXPECT_TRUE(result.output.starts_with("352x288, ")) << result.output.substr(0, 80);
    EXPECT_TRUE(
        std::regex_search(result.output, std::regex("\nSPS 0 at byte [0-9]+, .*\n  176x144, 8-bit 4:2:0, Main")));
    EXPECT_EQ(countOf(result.output, "\n  352x288, "), 0U);
}

TEST_F(H265ps, TheDecodersReaderIsNamedWhereItsGapsCanBeTheCause)
{
    const ChildResult gaps = h265ps({"--reader", "decoder", "hm_ldb.hevc"});
    EXPECT_EQ(gaps.iExitCode, 1);
    EXPECT_TRUE(contains(gaps.error, "; --reader decoder delivers payloads longer than 8 bytes with gaps"))
        << gaps.error;
    EXPECT_FALSE(contains(h265ps({"malformed_rps_in_sps.hevc"}).error, "--reader"));
}

// -- options

TEST_F(H265ps, FiltersShowTheWantedSetsOnly)
{
    const auto shown = [](const std::vector<std::string>& arguments) {
        std::vector<std::string> all = {"--json", "hm_ids_15_15_63.hevc"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        std::string types;
        const Json document = Json::parse(h265ps(all).output);
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
    EXPECT_FALSE(contains(text.output, "SPS 15"));
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
        const Json document = Json::parse(result.output);
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
    Json fromFile = Json::parse(h265ps({"--json", "hm_tiles_explicit_4x3.hevc"}).output);
    fromFile["file"] = "-";
    const ChildResult fromInput = h265ps({"--json", "-"}, setup);
    EXPECT_EQ(Json::parse(fromInput.output), fromFile);
    EXPECT_TRUE(fromInput.output.starts_with(R"({"file":"-","bytes":4480,"parameter_sets":[)"));
}

TEST_F(H265ps, LongJsonFromStandardInputComesWhole)
{
    // Longer than what is kept in memory while the size of the stream is unknown.
    std::string stream;
    const std::string unit = contentOf(CORPUS / "slist_explicit_444.hevc");
    for (int i = 0; i < 500; ++i)
        stream += unit;
    ChildSetup setup;
    setup.input = make("long", stream);
    const ChildResult result = h265ps({"--json", "-"}, setup);
    EXPECT_GT(result.output.size(), std::size_t{9} << 20);
    Json fromFile = Json::parse(h265ps({"--json", setup.input}).output);
    fromFile["file"] = "-";
    EXPECT_TRUE(Json::parse(result.output) == fromFile);
}

TEST_F(H265ps, SeveralFilesFollowOneAnotherAndAnErrorDoesNotStopThem)
{
    const std::vector<std::string> files = {"hm_ldb.hevc", "missing", "size_64x64_ctu16.hevc"};
    const ChildResult text = h265ps(files);
    EXPECT_EQ(text.iExitCode, 2);
    EXPECT_TRUE(contains(text.output, "==> hm_ldb.hevc <==\n208x120"));
    EXPECT_TRUE(contains(text.output, "==> size_64x64_ctu16.hevc <==\n64x64"));
    EXPECT_TRUE(contains(text.error, "h265ps: error: missing: at byte 0: "));
    const ChildResult json = h265ps({"--json", files[0], files[1], files[2]});
    EXPECT_EQ(json.iExitCode, 2);
    std::istringstream lines(json.output);
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);)
        names.push_back(Json::parse(line)["file"]);
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
