// h265ps diff: its lines, its JSON and its exit codes. What differs is StreamDiffTest's.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "H265psProgram.h"
#include "H265psStreams.h"
#include "Json.h"

namespace program_diff_test {

namespace {

using Words = std::vector<std::string>;

ChildResult diff(Words arguments, const ChildSetup& setup = {})
{
    arguments.insert(arguments.begin(), "diff");
    return h265ps(arguments, setup);
}

TEST(H265psDiff, SaysNothingOfStreamsWithTheSameSets)
{
    const ChildResult result = diff({"hm_ldb.hevc", "hm_ldb.hevc"});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_EQ(result.output + result.error, "");
}

TEST(H265psDiff, WritesALineForEachDifference)
{
    const ChildResult result = diff({"deblock_offsets_neg.hevc", "deblock_offsets_pos.hevc"});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_EQ(result.output,
              "pps[0].pps_beta_offset_div2: -3 -> 6\n"
              "pps[0].pps_tc_offset_div2: -6 -> 6\n");
    EXPECT_EQ(result.error, "");
}

TEST(H265psDiff, SaysWhatValuesMeanAndWhatIsAbsent)
{
    const ChildResult result = diff({"hm_ldb.hevc#sps0", "hm_rext_422_10.hevc#sps0"});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_NE(result.output.find("sps[0].chroma_format_idc: 1 (4:2:0) -> 2 (4:2:2)\n"), std::string::npos)
        << result.output;
}

TEST(H265psDiff, NamesLayersAndContents)
{
    EXPECT_NE(diff({"mv_2view.hevc", "hm_ldb.hevc"}).output.find("sps[1] of layer 1: only in the first stream\n"),
              std::string::npos);
    const ChildResult contents = diff({"hm_ldb.hevc#sps0", "joined_cif_then_qcif.hevc"});
    EXPECT_NE(contents.output.find("sps[0], content 2: only in the second stream\n"), std::string::npos);
    EXPECT_NE(contents.output.find("sps[0], content 1: pic_width_in_luma_samples: "), std::string::npos)
        << contents.output;
}

TEST(H265psDiff, TakesSetsInForceAndSingleSets)
{
    EXPECT_EQ(diff({"joined_cif_then_qcif.hevc@100", "joined_cif_then_qcif.hevc@100#sps0"}).iExitCode, 0);
    const ChildResult result = diff({"joined_cif_then_qcif.hevc@100#sps0", "joined_cif_then_qcif.hevc@1000000#sps0"});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_NE(result.output.find("sps[0].pic_width_in_luma_samples: 352 -> 176\n"), std::string::npos) << result.output;
}

TEST(H265psDiff, WritesJson)
{
    const ChildResult same = diff({"--json", "hm_ldb.hevc", "hm_ldb.hevc"});
    EXPECT_EQ(same.iExitCode, 0);
    EXPECT_EQ(same.output, "{\"a\":\"hm_ldb.hevc\",\"b\":\"hm_ldb.hevc\",\"differences\":[]}\n");
    const ChildResult result = diff({"--json", "deblock_offsets_neg.hevc#pps0", "deblock_offsets_pos.hevc"});
    EXPECT_EQ(result.iExitCode, 1);
    const Json document = parseJson(result.output);
    EXPECT_EQ(document.at("a"), "deblock_offsets_neg.hevc#pps0");
    ASSERT_EQ(document.at("differences").size(), 2U);
    EXPECT_EQ(document.at("differences").at(0),
              Json({{"set", "pps[0]"},
                    {"nuh_layer_id", 0},
                    {"content", nullptr},
                    {"structure", ""},
                    {"element", "pps_beta_offset_div2"},
                    {"a", -3},
                    {"b", 6},
                    {"only_in", nullptr}}));
    const Json only = parseJson(diff({"--json", "hm_ldb.hevc#sps0", "joined_cif_then_qcif.hevc"}).output);
    const Json last = only.at("differences").back();
    EXPECT_EQ(last,
              Json({{"set", "sps[0]"},
                    {"nuh_layer_id", 0},
                    {"content", 2},
                    {"structure", nullptr},
                    {"element", nullptr},
                    {"a", nullptr},
                    {"b", nullptr},
                    {"only_in", "b"}}));
}

TEST(H265psDiff, ReadsStandardInputOnce)
{
    ChildSetup setup;
    setup.input = (CORPUS / "hm_ldb.hevc").string();
    EXPECT_EQ(diff({"-", "hm_ldb.hevc"}, setup).iExitCode, 0);
    const ChildResult twice = diff({"-", "-"}, setup);
    EXPECT_EQ(twice.iExitCode, 2);
    EXPECT_EQ(twice.error, "h265ps: error: standard input can be one of the two only\n");
}

TEST(H265psDiff, EndsWithTwoForWhatIsNotThere)
{
    const Words aaCases[] = {
        {"hm_ldb.hevc#sps5", "hm_ldb.hevc: there is no SPS 5\n"},
        {"hm_ldb.hevc@0", "hm_ldb.hevc: there is no parameter set in front of byte 0\n"},
        {"hm_ldb.hevc#sp0", "hm_ldb.hevc#sp0: behind # stands a set, as in #vps0, #sps1, #pps63\n"},
        {"hm_ldb.hevc@x", "hm_ldb.hevc@x: behind @ stands the offset of a byte, as in @4096\n"},
        {"missing.hevc", "missing.hevc: no such file or directory\n"},
        {"missing.hevc#sps0", "missing.hevc: no such file or directory\n"},
        {"MANIFEST.md", "MANIFEST.md: there is no parameter set\n"},
        {".", ".: is a directory\n"},
    };
    for (const Words& c : aaCases) {
        for (const Words& arguments : {Words{c[0], "hm_ldb.hevc"}, Words{"hm_ldb.hevc", c[0]}}) {
            const ChildResult result = diff({"--json", arguments[0], arguments[1]});
            EXPECT_EQ(result.iExitCode, 2) << c[0];
            EXPECT_EQ(result.error, "h265ps: error: " + c[1]);
            EXPECT_EQ(result.output, "");
        }
    }
}

class H265psDiffFiles : public H265psFiles
{};

TEST_F(H265psDiffFiles, MeanAFileOfThatVeryNameFirst)
{
    const std::string file = make("a#sps5", contentOf(CORPUS / "hm_ldb.hevc"));
    EXPECT_EQ(diff({file, "hm_ldb.hevc"}).iExitCode, 0);
    EXPECT_EQ(diff({file + "#sps0", "hm_ldb.hevc"}).iExitCode, 0);
}

TEST(H265psDiff, SaysHowItIsUsed)
{
    const ChildResult help = diff({"--help"});
    EXPECT_EQ(help.iExitCode, 0);
    EXPECT_NE(help.output.find("Exit codes:"), std::string::npos);
    for (const Words& arguments : {Words{}, Words{"hm_ldb.hevc"}, Words{"a", "b", "c"}, Words{"--what"}}) {
        const ChildResult result = diff(arguments);
        EXPECT_EQ(result.iExitCode, 2);
        EXPECT_NE(result.error.find("(h265ps diff --help shows the usage)"), std::string::npos) << result.error;
    }
}

TEST(H265psDiff, TellsOutputThatCannotBeWritten)
{
    ChildSetup setup;
    setup.eOutput = EChildOutput::FullDevice;
    EXPECT_EQ(diff({"hm_ldb.hevc", "deblock_off.hevc"}, setup).iExitCode, 2);
}

} // namespace
} // namespace program_diff_test
