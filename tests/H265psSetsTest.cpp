#include <cstdint>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "H265psStreams.h"
#include "Json.h"

// What the program says of each parameter set.

namespace program_sets_test {

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

using H265psSets = H265psFiles;

TEST_F(H265psSets, TheExitCodeIs1WhenASetIsNotReadOrNotSupported)
{
    const struct
    {
        const char* pFile;
        int iExitCode;
        const char* pError;
    } aCases[] = {
        {"hm_ldb.hevc", 0, ""},
        {"profile_main10.hevc",
         1,
         "profile_main10.hevc: at byte 32: SPS 0 not supported: 10-bit samples, this decoder takes 8 (only support "
         "8bit depth)\n"},
        {"profile_main422_10.hevc",
         1,
         "SPS 0 not supported: 10-bit 4:2:2, this decoder takes 8-bit 4:2:0 (only support 4:2:0)\n"},
        {"malformed_slist_delta.hevc", 1, "at byte 439: PPS 0 not read: it needs SPS 0, which was not read: "},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pFile);
        const ChildResult result = h265ps({c.pFile});
        EXPECT_EQ(result.iExitCode, c.iExitCode);
        EXPECT_TRUE(contains(result.error, c.pError)) << result.error;
        EXPECT_EQ(result.error.empty(), c.iExitCode == 0);
    }
}

TEST_F(H265psSets, ASetCutShortByTheEndOfTheFileIsListed)
{
    const std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    const std::string file = make("cut", streamOf({sets[0], sets[1].substr(0, 17)}));
    const ChildResult result = h265ps({"--json", file});
    EXPECT_EQ(result.iExitCode, 1);
    const Json set = parseJson(result.output)["parameter_sets"][1];
    EXPECT_EQ(set["type"], "SPS");
    EXPECT_EQ(set["size"], 17);
    EXPECT_EQ(set["read"], -2147483647);
    EXPECT_TRUE(set["verify"].is_null());
    EXPECT_TRUE(set["record"].is_null());
    EXPECT_FALSE(set["log"].empty());
}

TEST_F(H265psSets, ASetOfAnotherLayerIsPassedOverAndNoError)
{
    std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    sets.push_back(sets[1]);
    sets.back()[1] = '\x09'; // nuh_layer_id 1
    const std::string file = make("layers", streamOf(sets));
    const ChildResult text = h265ps({file});
    EXPECT_EQ(text.iExitCode, 0);
    EXPECT_EQ(text.error, "");
    EXPECT_TRUE(contains(text.output, "passed over: of layer 1"));
    const Json set = parseJson(h265ps({"--json", file}).output)["parameter_sets"].back();
    EXPECT_EQ(set["nuh_layer_id"], 1);
    EXPECT_TRUE(set["read"].is_null() && set["verify"].is_null() && set["record"].is_null());
}

TEST_F(H265psSets, ASetWithForbiddenZeroBitIsNotRead)
{
    std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    sets.push_back(sets[1]);
    sets.back()[0] = '\xc2';
    const std::string file = make("forbidden", streamOf(sets));
    const std::uintmax_t uiOffset = fs::file_size(file) - sets.back().size();
    const ChildResult text = h265ps({file});
    EXPECT_EQ(text.iExitCode, 1);
    EXPECT_TRUE(contains(text.output, "NOT READ: damaged: forbidden_zero_bit is set"));
    EXPECT_TRUE(contains(
        text.error, ": at byte " + std::to_string(uiOffset) + ": SPS not read: damaged: forbidden_zero_bit is set\n"));
    const Json set = parseJson(h265ps({"--json", file}).output)["parameter_sets"].back();
    EXPECT_TRUE(set["read"].is_null() && set["verify"].is_null() && set["record"].is_null());
}

TEST_F(H265psSets, RepeatsAreCountedAndShownWithAll)
{
    const ChildResult counted = h265ps({"gop_open_repeat_headers.hevc"});
    EXPECT_EQ(countOf(counted.output, " bytes: read"), 3U);
    EXPECT_TRUE(contains(counted.output, "repeats not shown: VPS 0 2x, SPS 0 2x, PPS 0 2x"));
    const ChildResult all = h265ps({"--all", "gop_open_repeat_headers.hevc"});
    EXPECT_EQ(countOf(all.output, " bytes: read"), 9U);
    EXPECT_EQ(countOf(all.output, "(repeat)"), 6U);
    EXPECT_FALSE(contains(all.output, "repeats not shown"));
}

TEST_F(H265psSets, RepeatsOfWhatIsNotReadAreCountedToo)
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
    EXPECT_EQ(parseJson(h265ps({"--json", file}).output)["parameter_sets"].size(), 9U);
}

TEST_F(H265psSets, FieldsThatHoldSomethingElseAreMarked)
{
    const ChildResult vui = h265ps({"--record", "--type", "sps", "hm_vui_everything.hevc"});
    EXPECT_TRUE(std::regex_search(vui.output, std::regex("sps_extension_present_flag +1  ! holds the first bit of")));
    EXPECT_FALSE(contains(h265ps({"--record", "hm_ldb.hevc"}).output, "  ! "));
    const ChildResult timing = h265ps({"--record", "--type", "vps", "hm_vps_timing.hevc"});
    EXPECT_TRUE(std::regex_search(timing.output, std::regex("vps_extension_flag +[01]  ! holds the first bit of the")));
    EXPECT_EQ(countOf(timing.output, "  ! "), 1U);
    const ChildResult layerSets = h265ps({"--record", "--type", "vps", "hm_5_layers_subptl_hrd.hevc"});
    EXPECT_EQ(countOf(layerSets.output, "  ! "), 2U);
}

TEST_F(H265psSets, TheDecodersReaderIsNamedWhereItsGapsCanBeTheCause)
{
    const ChildResult gaps = h265ps({"--reader", "decoder", "hm_ldb.hevc"});
    EXPECT_EQ(gaps.iExitCode, 1);
    EXPECT_TRUE(contains(gaps.error, "; --reader decoder delivers payloads longer than 8 bytes with gaps"))
        << gaps.error;
    EXPECT_FALSE(contains(h265ps({"malformed_rps_in_sps.hevc"}).error, "--reader"));
}

} // namespace
} // namespace program_sets_test
