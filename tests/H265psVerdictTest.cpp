#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "H265psStreams.h"
#include "Json.h"
#include "NalUnitWriter.h"
#include "SyntaxWriters.h"

// What the program says of a whole stream: what it is, whether the decoder takes it, and how it exits.

namespace program_verdict_test {

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

using H265psVerdict = H265psFiles;

const std::string PASS = "the decoder's own checks pass\n";

std::string unitOf(unsigned nal_unit_type, const h265_test::CBitWriter& rbsp)
{
    const h265_test::Bytes bytes = h265_test::nalUnit(nal_unit_type, rbsp);
    return {bytes.begin(), bytes.end()};
}

TEST_F(H265psVerdict, StandsInFrontOfTheSetsAndBehindThem)
{
    const struct
    {
        const char* pFile;
        int iExitCode;
        std::string head;
    } aCases[] = {
        {"hm_tiles_explicit_4x3.hevc",
         0,
         "1920x1080, 8-bit 4:2:0, Main, level 4.1 (SPS 0 at byte 33)\n"
         "hvc1.1.6.L123; 1 VPS, 1 SPS, 1 PPS; no problems found\n" +
             PASS},
        {"profile_main10.hevc",
         1,
         "176x144, 10-bit 4:2:0, Main 10, level 2, 25 frames a second (VUI) (SPS 0 at byte 32)\n"
         "hvc1.2.4.L60.90; 1 VPS, 1 SPS, 1 PPS; no problems found\n"
         "not supported: 10-bit samples, this decoder takes 8 (SPS 0 at byte 32: only support 8bit depth)\n"},
        {"profile_main444_8.hevc",
         1,
         "176x144, 8-bit 4:4:4, Main 4:4:4, level 2, 25 frames a second (VUI) (SPS 0 at byte 31)\n"
         "hvc1.4.10.L60.9E.8; 1 VPS, 1 SPS, 1 PPS; no problems found\n"
         "not supported: 4:4:4 samples, this decoder takes 4:2:0 (SPS 0 at byte 31: only support 4:2:0)\n"},
        {"profile_main422_10.hevc",
         1,
         "176x144, 10-bit 4:2:2, Main 4:2:2 10, level 2, 25 frames a second (VUI) (SPS 0 at byte 31)\n"
         "hvc1.4.10.L60.9D.8; 1 VPS, 1 SPS, 1 PPS; no problems found\n"
         "not supported: 10-bit 4:2:2, this decoder takes 8-bit 4:2:0 (SPS 0 at byte 31: only support 4:2:0)\n"},
        {"joined_main_main10_main.hevc",
         1,
         "176x144, 8-bit 4:2:0, Main, level 2, 25 frames a second (VUI) (SPS 0 at byte 32)\n"
         "176x144, 10-bit 4:2:0, Main 10, level 2, 25 frames a second (VUI) (SPS 0 at byte 3308)\n"
         "hvc1.1.6.L60.90; 2 VPS, 2 SPS, 2 PPS; no problems found\n"
         "not supported: 10-bit samples, this decoder takes 8 (SPS 0 at byte 3308: only support 8bit depth)\n"},
        {"malformed_slist_delta.hevc",
         1,
         "176x144, 8-bit 4:2:0, Main, level 2, 25 frames a second (VUI) (SPS 0 at byte 32)\n"
         "hvc1.1.6.L60.90; 1 VPS, 1 SPS, 1 PPS; 1 error found\n"
         "cannot be decoded: SPS at byte 32 was not read: its values do not fit together or its payload ends too "
         "early: damaged; 1 more error\n"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pFile);
        const ChildResult result = h265ps({c.pFile});
        const std::size_t uiLines = countOf(c.head, "\n");
        EXPECT_EQ(result.iExitCode, c.iExitCode);
        EXPECT_EQ(firstLines(result.output, uiLines + 1), c.head + "\n");
        EXPECT_EQ(lastLines(result.output, uiLines + 1), "\n" + c.head);
        const Json document = parseJson(h265ps({"--json", c.pFile}).output);
        EXPECT_TRUE(c.head.ends_with("\n" + document["verdict"].get<std::string>() + "\n")) << document["verdict"];
        EXPECT_EQ(document["exit_code"], c.iExitCode);
        EXPECT_EQ((--document.end()).key(), "exit_code");
    }
}

TEST_F(H265psVerdict, OfManySpssFitsInTenLines)
{
    std::vector<std::string> units = {parameterSetsOf("hm_ldb")[0]};
    for (unsigned i = 0; i < 9; ++i) {
        h265_test::SpsSyntax sps;
        sps.sps_seq_parameter_set_id = i;
        units.push_back(unitOf(33, write(sps)));
    }
    units.push_back(unitOf(34, write(h265_test::PpsSyntax{})));
    const std::string file = make("many", streamOf(units));
    const std::string output = h265ps({file, file}).output;
    const std::string head = firstLines(output, 10);
    EXPECT_TRUE(head.starts_with("==> ")) << head;
    EXPECT_EQ(countOf(head, "(SPS "), 6U) << head;
    EXPECT_TRUE(contains(head, "and 3 more SPSs\n")) << head;
    EXPECT_TRUE(head.ends_with("\n" + PASS)) << head;
    EXPECT_TRUE(output.ends_with("\n" + PASS));
}

TEST_F(H265psVerdict, AStreamThatLacksATypeOfSetCannotBeDecoded)
{
    const std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    std::vector<std::string> layer1 = sets;
    for (std::string& set : layer1)
        set[1] = '\x09';
    const struct
    {
        std::vector<std::string> units;
        std::string missing;
    } aCases[] = {
        {{sets[0]}, "no SPS and no PPS"},
        {{sets[1]}, "no VPS and no PPS"},
        {{sets[0], sets[1]}, "no PPS"},
        {{sets[1], sets[2]}, "no VPS"},
        {{layer1[0], layer1[1], layer1[2]}, "no VPS, SPS or PPS of layer 0"},
        {{sets[0], layer1[1], sets[1], layer1[2]}, "no PPS"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.missing);
        const std::string file = make("lacking", streamOf(c.units));
        const ChildResult result = h265ps({file});
        EXPECT_EQ(result.iExitCode, 1);
        EXPECT_EQ(result.error, "h265ps: error: " + file + ": cannot be decoded: " + c.missing + "\n");
        EXPECT_TRUE(result.output.ends_with("\ncannot be decoded: " + c.missing + "\n")) << result.output;
        const ChildResult json = h265ps({"--json", file});
        EXPECT_EQ(json.iExitCode, 1);
        EXPECT_EQ(json.error, result.error);
        EXPECT_EQ(parseJson(json.output)["verdict"], "cannot be decoded: " + c.missing);
        EXPECT_EQ(parseJson(json.output)["exit_code"], 1);
    }
}

TEST_F(H265psVerdict, SaysThatAStreamCanBeDecodedInPart)
{
    std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    sets.push_back(sets[1].substr(0, 17));
    const std::string file = make("in part", streamOf(sets));
    EXPECT_TRUE(firstLines(h265ps({file}).output, 3).find("\ncannot be decoded in full: SPS at byte ") !=
                std::string::npos);
}

TEST_F(H265psVerdict, NothingIsCalledSupported)
{
    for (const char* pFile : {"hm_ldb.hevc", "profile_main10.hevc"}) {
        const std::string output = h265ps({pFile}).output;
        EXPECT_TRUE(contains(output, ": read; the decoder's own checks pass\n"));
        EXPECT_FALSE(contains(output, "read, supported"));
    }
    EXPECT_TRUE(contains(h265ps({"--help"}).output, "The decoder's own checks are three: one layer, 4:2:0, 8 bits."));
}

// More text than is kept until the verdict: the file is read a second time.
TEST_F(H265psVerdict, StandsInFrontOfAnyNumberOfSets)
{
    std::string stream;
    for (unsigned i = 0; i < 1500; ++i)
        stream += contentOf(CORPUS / "hm_ldb.hevc");
    const std::string good = make("good", stream);
    const std::string bad = make("bad", stream + streamOf({parameterSetsOf("profile_main10")[1]}));
    const ChildResult whole = h265ps({"--all", good});
    EXPECT_GT(whole.output.size(), std::size_t{8} << 20);
    EXPECT_EQ(countOf(whole.output, "\nSPS 0 at byte "), 1500U);
    EXPECT_TRUE(firstLines(whole.output, 3).ends_with("\n" + PASS)) << firstLines(whole.output, 3);
    ChildSetup setup;
    setup.input = good;
    EXPECT_TRUE(h265ps({"--all", "-"}, setup).output == whole.output);
    const ChildResult other = h265ps({"--all", bad, bad});
    EXPECT_EQ(countOf(other.error, "error: "), 2U) << other.error;
    EXPECT_EQ(countOf(other.output, "==> "), 2U);
    EXPECT_EQ(countOf(firstLines(other.output, 5), "\nnot supported: 10-bit"), 1U) << firstLines(other.output, 5);
    EXPECT_EQ(countOf(lastLines(other.output, 3), "\nnot supported: 10-bit"), 1U) << lastLines(other.output, 3);
    EXPECT_EQ(other.iExitCode, 1);
}

TEST_F(H265psVerdict, OfAPipeStandsAtTheEndAndSoFarInFront)
{
    const std::string command = "cat hm_ldb.hevc profile_main10.hevc | " + PROGRAM + " -";
    ChildSetup setup;
    setup.directory = CORPUS;
    const ChildResult result = runChild("/bin/sh", {"-c", command}, setup);
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_TRUE(contains(firstLines(result.output, 4), "\nso far: " + PASS + "\n")) << firstLines(result.output, 4);
    EXPECT_TRUE(contains(lastLines(result.output, 4), "SPS 0 at byte 33)\n")) << lastLines(result.output, 4);
    EXPECT_TRUE(contains(lastLines(result.output, 1), "not supported: 10-bit ")) << lastLines(result.output, 1);
}

TEST_F(H265psVerdict, StandsOnStandardOutputToo)
{
    const ChildResult result = h265ps({"profile_main10.hevc"});
    EXPECT_EQ(countOf(result.error, "10-bit samples"), 1U);
    EXPECT_EQ(countOf(result.output, "10-bit samples"), 3U); // in front, at its set, behind
}

} // namespace
} // namespace program_verdict_test
