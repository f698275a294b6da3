// h265ps check, as a child process, and how verbs are told from files.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "H265psStreams.h"
#include "Json.h"

namespace program_check_test {

namespace {

using H265psCheck = H265psFiles;

TEST_F(H265psCheck, SaysNothingOfASoundStream)
{
    for (const char* pFile : {"deblock_off.hevc", "profile_main10.hevc", "gop_open_repeat_headers.hevc"}) {
        SCOPED_TRACE(pFile);
        const ChildResult result = h265ps({"check", pFile});
        EXPECT_EQ(result.iExitCode, 0);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.error, "");
    }
    EXPECT_EQ(h265ps({"check", "--json", "deblock_off.hevc"}).output,
              "{\"file\":\"deblock_off.hevc\",\"findings\":[]}\n");
}

TEST_F(H265psCheck, WritesALineForEachFindingAsCompilersDo)
{
    const ChildResult result = h265ps({"check", "tool_lossless.hevc", "deblock_off.hevc", "mv_2view.hevc"});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(firstLines(result.output, 2),
              "tool_lossless.hevc:32.96: error: profile_tier_level.general_level_idc: level 8.5 is for intra and "
              "still picture profiles, not for Main [A.3.2]\n"
              "mv_2view.hevc:4.120: error: profile_tier_level.general_level_idc: general_level_idc is 0, which is "
              "reserved for later editions of H.265 [A.4.1]\n");
}

TEST_F(H265psCheck, HasTheSameInJson)
{
    const ChildResult result = h265ps({"check", "--json", "tool_lossless.hevc"});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_EQ(parseJson(result.output), parseJson(R"({"file": "tool_lossless.hevc", "findings": [
                  {"severity": "error", "clause": "A.3.2", "element": "general_level_idc",
                   "structure": "profile_tier_level", "offset": 32, "track": null, "box": null, "bit": 96,
                   "value": 255, "allowed": "30 to 186",
                   "message": "level 8.5 is for intra and still picture profiles, not for Main"}]})"));
}

// The place is that of the trace.
TEST_F(H265psCheck, PlacesWhatTheTracePlaces)
{
    const Json finding = parseJson(h265ps({"check", "--json", "hm_5_layers_subptl_hrd.hevc"}).output)["findings"][0];
    const Json sets = parseJson(h265ps({"trace", "--json", "hm_5_layers_subptl_hrd.hevc"}).output)["parameter_sets"];
    bool bFound = false;
    for (const Json& element : sets[0]["elements"])
        bFound = bFound || (element["name"] == finding["element"] && element["bit"] == finding["bit"] &&
                            element["structure"] == finding["structure"] && element["value"] == finding["value"]);
    EXPECT_EQ(sets[0]["offset"], finding["offset"]);
    EXPECT_TRUE(bFound) << finding;
}

TEST_F(H265psCheck, TellsOfWhatIsTheSameOnce)
{
    const std::vector<std::string> units = parameterSetsOf("tool_lossless");
    std::string stream = streamOf(units);
    const std::string once = h265ps({"check", make("a.hevc", stream)}).output;
    const std::string often = h265ps({"check", make("b.hevc", stream + stream + stream)}).output;
    EXPECT_EQ(countOf(once, "\n"), 1U);
    EXPECT_EQ(countOf(often, "\n"), 1U);
}

TEST_F(H265psCheck, FindsThePlaceWhereASetIsCut)
{
    std::vector<std::string> units = parameterSetsOf("deblock_off");
    units[1].resize(20);
    const std::string file = make("cut.hevc", streamOf(units));
    const ChildResult result = h265ps({"check", file});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_TRUE(contains(result.output, ": error: ")) << result.output;
    EXPECT_TRUE(contains(result.output, "the payload ends in or before ")) << result.output;
    EXPECT_EQ(result.error, "");
}

TEST_F(H265psCheck, EndsWith2ForAFileThatCannotBeRead)
{
    const ChildResult result = h265ps({"check", "missing.hevc", "deblock_off.hevc"});
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(contains(result.error, "h265ps: error: missing.hevc: "));
}

TEST_F(H265psCheck, CannotBeMadeToForgeLines)
{
    const std::string file = make("a\n\x1b[31m.hevc", streamOf(parameterSetsOf("tool_lossless")));
    const ChildResult result = h265ps({"check", file});
    EXPECT_EQ(countOf(result.output, "\n"), 1U);
    EXPECT_FALSE(contains(result.output, "\x1b"));
}

// -- verbs and files

TEST_F(H265psCheck, IsAFileWhenItIsNotTheFirstWordOrHasAPath)
{
    const std::string stream = streamOf(parameterSetsOf("deblock_off"));
    make("check", stream);
    ChildSetup there;
    there.directory = m_directory.string();
    EXPECT_EQ(h265ps({"check", "check"}, there).output, "");
    EXPECT_TRUE(contains(h265ps({"./check"}, there).output, "PPS 0 at byte"));
    EXPECT_EQ(h265ps({"--json", "check"}, there).iExitCode, 0);
    EXPECT_EQ(h265ps({"show", "check"}, there).output, h265ps({"./check"}, there).output);
}

TEST_F(H265psCheck, HasAHelpOfItsOwnLikeEveryVerb)
{
    for (const std::string verb : {"check", "trace"}) {
        SCOPED_TRACE(verb);
        const ChildResult result = h265ps({verb, "--help"});
        EXPECT_EQ(result.iExitCode, 0);
        for (const std::string& part : {"h265ps " + verb, std::string("Exit codes:"), std::string("--json")})
            EXPECT_TRUE(contains(result.output, part)) << part;
        EXPECT_TRUE(contains(h265ps({"--help"}).output, "h265ps " + verb));
        const ChildResult wrong = h265ps({verb, "--tables", "deblock_off.hevc"});
        EXPECT_EQ(wrong.iExitCode, 2);
        EXPECT_TRUE(contains(wrong.error, "(h265ps " + verb + " --help shows the usage)")) << wrong.error;
        EXPECT_EQ(h265ps({verb}).iExitCode, 2);
    }
}

} // namespace
} // namespace program_check_test
