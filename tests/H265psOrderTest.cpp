#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "H265psStreams.h"
#include "Json.h"
#include "NalUnitWriter.h"
#include "SyntaxWriters.h"

// Sets in an unusual order, equal and cut ones, and what the words about single fields rest on.

namespace program_order_test {

namespace {

using namespace h265_test;

using H265psOrder = H265psFiles;

std::string unitOf(unsigned nal_unit_type, const CBitWriter& rbsp)
{
    const Bytes bytes = nalUnit(nal_unit_type, rbsp);
    return {bytes.begin(), bytes.end()};
}

Json setsOf(const std::string& file, const std::vector<std::string>& options = {})
{
    std::vector<std::string> arguments = {"--json", file};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return parseJson(h265ps(arguments).output)["parameter_sets"];
}

TEST_F(H265psOrder, APpsInFrontOfItsSpsIsShownBehindItWithItsOwnPlace)
{
    const std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    const std::string file = make("early", streamOf({sets[0], sets[2], sets[1]}));
    const ChildResult result = h265ps({file});
    EXPECT_EQ(result.iExitCode, 0) << result.error;
    EXPECT_EQ(result.error, "");
    const std::size_t uiPps = 4 + sets[0].size() + 4;
    const std::size_t uiSps = uiPps + sets[2].size() + 4;
    EXPECT_TRUE(contains(result.output,
                         "PPS 0 at byte " + std::to_string(uiPps) + ", " + std::to_string(sets[2].size()) +
                             " bytes, read at the SPS at byte " + std::to_string(uiSps) + ": read; "))
        << result.output;
    const Json json = setsOf(file);
    ASSERT_EQ(json.size(), 3U);
    EXPECT_TRUE(json[0]["read_at"].is_null());
    EXPECT_EQ(json[1]["type"], "SPS");
    EXPECT_EQ(json[2]["offset"], uiPps);
    EXPECT_EQ(json[2]["read_at"], uiSps);
}

TEST_F(H265psOrder, APpsWhoseSpsNeverComesNamesBoth)
{
    const std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    PpsSyntax pps;
    pps.pps_pic_parameter_set_id = 3;
    pps.pps_seq_parameter_set_id = 5;
    const std::string file = make("orphan", streamOf({sets[0], sets[1], sets[2], unitOf(34, write(pps))}));
    const ChildResult result = h265ps({file});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_TRUE(contains(result.error, ": PPS 3 not read: it needs SPS 5, which was not read: ")) << result.error;
    EXPECT_TRUE(contains(result.output, "\nPPS 3 at byte "));
    EXPECT_TRUE(contains(setsOf(file)[3]["error"], "it needs SPS 5"));
}

TEST_F(H265psOrder, APpsThatIsNotSentAgainBehindAnotherSpsIsAWarning)
{
    std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    const std::string before = make("before", streamOf(sets));
    sets.push_back(parameterSetsOf("size_64x64_ctu16")[1]);
    const std::string file = make("stale", streamOf(sets));
    const std::string place = std::to_string(contentOf(before).size() + 4);
    const ChildResult result = h265ps({file});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_EQ(result.error,
              "h265ps: warning: " + file + ": SPS 0 at byte " + place +
                  " took the place of another, and PPS 0 was not sent again behind it: still of the old SPS\n");
    EXPECT_TRUE(
        contains(lastLines(result.output, 1), "the decoder's own checks pass; warning: SPS 0 at byte " + place));
    const Json document = parseJson(h265ps({"--json", file}).output);
    EXPECT_EQ(document["exit_code"], 0);
    const Json expected = {{{"type", "stale_pps"},
                            {"sps", 0},
                            {"sps_offset", std::stoul(place)},
                            {"track", nullptr},
                            {"place", "byte " + place},
                            {"pps", {0}}}};
    EXPECT_EQ(document["warnings"], expected);
    EXPECT_EQ(parseJson(h265ps({"--json", before}).output)["warnings"], Json::array());
}

// The tiles fitted the pictures of the SPS that came before.
TEST_F(H265psOrder, APpsThatDoesNotFitTheSpsItIsUsedWithIsToldOfInItsPlace)
{
    std::vector<std::string> sets = parameterSetsOf("hm_tiles_columns_only");
    const std::string idr("\x26\x01\xaf\x00\x10", 5);
    const std::string before = streamOf({sets[0], sets[1]});
    const std::string pps = std::to_string(before.size() + 4);
    const std::string file =
        make("stale", streamOf({sets[0], sets[1], sets[2], idr, parameterSetsOf("size_64x64_ctu16")[1], idr}));
    const ChildResult check = h265ps({"check", file});
    EXPECT_EQ(check.iExitCode, 1);
    EXPECT_TRUE(contains(check.output, "\n" + file + ":" + pps + ".31: error: num_tile_columns_minus1: "));
    EXPECT_TRUE(contains(check.output, " (with SPS 0, which came behind the PPS) [A.4.1]\n")) << check.output;
    EXPECT_TRUE(
        contains(h265ps({file}).output, "\n  PPS 0 at byte " + pps + ", bit 31: error: num_tile_columns_minus1: "));
}

TEST_F(H265psOrder, AUnitOfOneByteIsCutOffAndHasNoLayer)
{
    std::vector<std::string> sets = parameterSetsOf("hm_ldb");
    sets.emplace_back("\x42");
    const std::string file = make("one byte", streamOf(sets));
    const ChildResult result = h265ps({file});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_TRUE(contains(result.error, ": SPS not read: cut off: one byte long, half of its header\n")) << result.error;
    EXPECT_TRUE(contains(result.output, ", 1 byte: NOT READ: cut off"));
    const Json set = setsOf(file).back();
    for (const char* pKey : {"nuh_layer_id", "nuh_temporal_id_plus1", "read", "verify", "record"})
        EXPECT_TRUE(set[pKey].is_null()) << pKey;
}

TEST_F(H265psOrder, EqualSetsAreWrittenOnceAndWithAllEachTime)
{
    const Json once = setsOf("gop_open_repeat_headers.hevc");
    const Json all = setsOf("gop_open_repeat_headers.hevc", {"--all"});
    ASSERT_EQ(once.size(), 9U);
    ASSERT_EQ(all.size(), 9U);
    for (std::size_t i = 0; i < 9; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(once[i]["record"].is_null(), i >= 3);
        EXPECT_EQ(once[i]["same_as"], i >= 3 ? once[i % 3]["offset"] : Json(nullptr));
        EXPECT_TRUE(all[i]["same_as"].is_null());
        EXPECT_EQ(all[i]["record"], once[i % 3]["record"]);
    }
    // Between two others it is no repeat of the one in force.
    const ChildResult text = h265ps({"--type", "sps", "joined_main_main10_main.hevc"});
    EXPECT_TRUE(contains(text.output,
                         "SPS 0 at byte 3807, 39 bytes: read; the decoder's own checks pass\n"
                         "  the same as at byte 32 (--all shows it)\n"))
        << text.output;
}

TEST_F(H265psOrder, AddressTablesAreInJsonWhenTheyAreWanted)
{
    for (const char* pName : {"CtbAddrTsToRs", "CtbAddrRsToTs", "TileId"}) {
        EXPECT_TRUE(setsOf("hm_tiles_explicit_4x3.hevc")[2]["record"][pName].is_null());
        EXPECT_EQ(setsOf("hm_tiles_explicit_4x3.hevc", {"--tables"})[2]["record"][pName].size(), 511U);
    }
    EXPECT_EQ(setsOf("hm_tiles_explicit_4x3.hevc")[2]["record"]["colWidth"], Json({4, 9, 5, 12}));
}

TEST_F(H265psOrder, IdZeroIsAFilter)
{
    for (const Json& set : setsOf("hm_ids_15_15_63.hevc", {"--id", "0"}))
        EXPECT_EQ(set["record"]["pps_pic_parameter_set_id"], 0);
    EXPECT_EQ(setsOf("hm_ldb.hevc", {"--id", "0"}).size(), 3U);
}

TEST_F(H265psOrder, TheSourceOfAMatrixIsWhereItsCoefficientsStand)
{
    const Json lists = setsOf("slist_predicted.hevc", {"--type", "sps"})[0]["record"]["pScalingList"];
    EXPECT_EQ(lists[0][0]["source"], "default");
    EXPECT_EQ(lists[0][4]["source"], "own");
    EXPECT_EQ(lists[0][5]["source"], "ref");
    EXPECT_EQ(lists[0][5]["coef"], lists[0][4]["coef"]);
    EXPECT_TRUE(contains(h265ps({"--type", "sps", "slist_flat16.hevc"}).output, "own: all 16\n"));
}

TEST_F(H265psOrder, TheWindowIsInSamplesOfTheChromaFormat)
{
    const struct
    {
        unsigned chroma_format_idc;
        const char* pSize;
    } aCases[] = {{0, "60x56 (coded 64x64), 8-bit 4:0:0"},
                  {1, "56x48 (coded 64x64), 8-bit 4:2:0"},
                  {2, "56x56 (coded 64x64), 8-bit 4:2:2"},
                  {3, "60x56 (coded 64x64), 8-bit 4:4:4"}};
    for (const auto& c : aCases) {
        SpsSyntax sps;
        sps.chroma_format_idc = c.chroma_format_idc;
        sps.pic_width_in_luma_samples = 64;
        sps.pic_height_in_luma_samples = 64;
        sps.conformance_window_flag = true;
        sps.conf_win_left_offset = 1;
        sps.conf_win_right_offset = 3;
        sps.conf_win_top_offset = 2;
        sps.conf_win_bottom_offset = 6;
        const std::string output = h265ps({make("window", streamOf({unitOf(33, write(sps))}))}).output;
        EXPECT_TRUE(output.starts_with(c.pSize)) << output.substr(0, 80);
    }
}

TEST_F(H265psOrder, EntriesThatTheRecordHasNoRoomForAreMarked)
{
    SpsSyntax sps;
    sps.sps_max_sub_layers_minus1 = 6;
    sps.long_term_ref_pics_present_flag = true;
    sps.long_term_ref_pic.assign(20, {7, true});
    const std::string output = h265ps({"--record", make("many", streamOf({unitOf(33, write(sps))}))}).output;
    EXPECT_EQ(countOf(output, "  ! of 7 sub-layers, 2 are more than the record keeps\n"), 3U) << output;
    EXPECT_TRUE(contains(output, "  ! of 6 sub-layers below the highest, 1 is more than the record keeps\n"));
    EXPECT_EQ(countOf(output, "  ! of 20 pictures, 4 are more than the record keeps\n"), 2U);
    sps.sps_max_sub_layers_minus1 = 4;
    sps.long_term_ref_pic.resize(16);
    EXPECT_FALSE(contains(h265ps({"--record", make("fit", streamOf({unitOf(33, write(sps))}))}).output, "  ! of "));
}

TEST_F(H265psOrder, NoFileStaysOpen)
{
    std::string files;
    for (unsigned i = 0; i < 60; ++i)
        files += " hm_ldb.hevc";
    ChildSetup setup;
    setup.directory = CORPUS;
    EXPECT_EQ(runChild("/bin/sh", {"-c", "ulimit -n 16; exec " + PROGRAM + files}, setup).iExitCode, 0);
}

} // namespace
} // namespace program_order_test
