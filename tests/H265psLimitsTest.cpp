#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "H265psProgram.h"
#include "Json.h"
#include "NalUnitWriter.h"
#include "SyntaxWriters.h"

// What the program makes of sets that hold more than a record keeps, a screen shows or memory takes.

namespace program_limits_test {

namespace {

using namespace h265_test;
// A NAL unit with its start code and emulation prevention (7.4.2).
std::string unitOf(unsigned char nal_unit_type, const CBitWriter& rbsp)
{
    std::string unit = {0, 0, 1, static_cast<char>(nal_unit_type << 1), 1};
    unsigned uiZeros = 0;
    for (const unsigned char ucByte : rbsp.bytes()) {
        if (uiZeros >= 2 && ucByte <= 3) {
            unit += '\3';
            uiZeros = 0;
        }
        uiZeros = ucByte == 0 ? uiZeros + 1 : 0;
        unit += static_cast<char>(ucByte);
    }
    return unit;
}

// A stream of one SPS, and one PPS where there is one, in a file that goes with the object.
class CStreamFile
{
public:
    explicit CStreamFile(const std::string& stream)
    {
        const int iFile = ::mkstemp(m_name.data());
        if (iFile >= 0)
            ::close(iFile);
        std::ofstream(m_name, std::ios::binary) << stream;
    }
    explicit CStreamFile(const SpsSyntax& sps) : CStreamFile(unitOf(33, write(sps))) {}
    CStreamFile(const SpsSyntax& sps, const PpsSyntax& pps)
        : CStreamFile(unitOf(33, write(sps)) + unitOf(34, write(pps)))
    {}
    ~CStreamFile() { std::remove(m_name.c_str()); }
    CStreamFile(const CStreamFile&) = delete;
    CStreamFile& operator=(const CStreamFile&) = delete;

    [[nodiscard]] const std::string& name() const { return m_name; }
    [[nodiscard]] Json lastRecord() const
    {
        const Json document = parseJson(h265ps({"--json", "--tables", m_name}).output);
        return document["parameter_sets"].back()["record"];
    }

private:
    std::string m_name = testing::TempDir() + "h265ps-XXXXXX";
};

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

TEST(H265psLimits, SubLayerArraysEndWithTheSubLayersThatTheRecordKeeps)
{
    SpsSyntax sps;
    for (const unsigned uiSubLayers : {0U, 3U, 4U, 6U}) {
        SCOPED_TRACE(uiSubLayers);
        sps.sps_max_sub_layers_minus1 = uiSubLayers;
        const Json record = CStreamFile(sps).lastRecord();
        EXPECT_EQ(record["sps_max_num_reorder_pics"].size(), std::min(uiSubLayers + 1, 5U));
        EXPECT_EQ(record["ptl"]["sub_layer_level_idc"].size(), std::min(uiSubLayers, 5U));
        EXPECT_EQ(record["ptl"]["sub_layer_profile_compatibility_flag"].size(), std::min(uiSubLayers, 5U));
    }
}

TEST(H265psLimits, TheOnlyCodedSubLayerCanHaveNoRoom)
{
    SpsSyntax sps;
    sps.sps_sub_layer_ordering_info_present_flag = false;
    sps.sps_max_sub_layers_minus1 = 4;
    const std::string remark = "! only the highest sub-layer's is coded";
    const std::string withRoom = h265ps({"--record", CStreamFile(sps).name()}).output;
    EXPECT_TRUE(contains(withRoom, remark + "\n")) << withRoom;
    sps.sps_max_sub_layers_minus1 = 5;
    EXPECT_TRUE(contains(h265ps({"--record", CStreamFile(sps).name()}).output,
                         remark + ", which the record has no room for\n"));
}

TEST(H265psLimits, TheRecordNamesTheExtensionsThatItHasNothingOfWithTheirLength)
{
    const auto groupsOf = [](const std::string& file) { return h265ps({"--record", file}).output; };
    // Nine flags, 7.3.2.2.2.
    EXPECT_TRUE(
        contains(groupsOf("hm_rext_422_10.hevc"), "  extensions: sps_range_extension, 9 bits: not in the record\n"));
    EXPECT_TRUE(contains(groupsOf("mv_2view.hevc"), "  presence flags: vps_extension, "));
    EXPECT_TRUE(contains(groupsOf("hm_ldb.hevc"), "  extensions: no VUI\n"));
    SpsSyntax sps;
    sps.vui_parameters_present_flag = true;
    sps.vui_parameters.u(10, 0); // ten flags, E.2.1
    sps.sps_extension_present_flag = true;
    sps.extension.u(8, 0x81).u(9, 0).u(20, 0); // behind the range extension one that nobody knows
    PpsSyntax pps;
    pps.pps_extension_present_flag = true;
    pps.extension.u(8, 1);
    const std::string text = groupsOf(CStreamFile(sps, pps).name());
    EXPECT_TRUE(contains(text,
                         "  extensions: vui_parameters, 10 bits; sps_range_extension, 9 bits; "
                         "sps_extension_data_flag, 20 bits: not in the record\n"))
        << text;
    EXPECT_TRUE(contains(text, "  extensions: an extension, not parsed\n")) << text;
    sps.rbsp_trailing_bits = false;
    sps.extension = CBitWriter();
    sps.vui_parameters = CBitWriter().u(3, 0);
    const std::string cut = groupsOf(CStreamFile(sps).name());
    EXPECT_TRUE(contains(cut, "  extensions: vui_parameters, 4 bits (the payload ends in or before chroma_")) << cut;
}

TEST(H265psLimits, APpsSaysWhatTheSpsMakesOfItsScalingLists)
{
    SpsSyntax sps;
    PpsSyntax pps;
    EXPECT_TRUE(contains(h265ps({CStreamFile(sps, pps).name()}).output, "scaling lists: off in the SPS\n"));
    sps.scaling_list_enabled_flag = true;
    EXPECT_TRUE(contains(h265ps({CStreamFile(sps, pps).name()}).output, "scaling lists: those of the SPS\n"));
}

TEST(H265psLimits, OneOfAThingIsNotCalledMany)
{
    SpsSyntax sps;
    PpsSyntax pps;
    pps.entropy_coding_sync_enabled_flag = true;
    EXPECT_TRUE(contains(h265ps({CStreamFile(sps, pps).name()}).output, "wavefronts: no tiles; wavefronts on\n"));
    pps.tiles = TilesSyntax();
    pps.tiles->num_tile_columns_minus1 = 1;
    pps.tiles->num_tile_rows_minus1 = 0;
    EXPECT_TRUE(contains(h265ps({CStreamFile(sps, pps).name()}).output, ": 2 columns x 1 row, "));
    EXPECT_TRUE(contains(h265ps({CStreamFile(std::string("\0\0\1\x42", 4)).name()}).output, ", 1 byte: NOT READ"));
}

TEST(H265psLimits, LongTermArraysEndWith16Pictures)
{
    SpsSyntax sps;
    sps.long_term_ref_pics_present_flag = true;
    for (const unsigned uiPictures : {0U, 1U, 16U, 20U}) {
        SCOPED_TRACE(uiPictures);
        sps.long_term_ref_pic.assign(uiPictures, {7, true});
        const Json record = CStreamFile(sps).lastRecord();
        EXPECT_EQ(record["num_long_term_ref_pics_sps"], uiPictures);
        EXPECT_EQ(record["lt_ref_pic_poc_lsb_sps"].size(), std::min(uiPictures, 16U));
        EXPECT_EQ(record["used_by_curr_pic_lt_sps_flag"], Json(std::vector<bool>(std::min(uiPictures, 16U), true)));
    }
}

TEST(H265psLimits, RefPicSetArraysEndWith16EntriesAndFlagsFollowTheReference)
{
    SpsSyntax sps;
    sps.st_ref_pic_set.resize(3);
    sps.st_ref_pic_set[0].s0.resize(2);
    sps.st_ref_pic_set[1].inter_ref_pic_set_prediction_flag = true;
    sps.st_ref_pic_set[1].flags.resize(3);
    sps.st_ref_pic_set[2].s0.resize(20);
    const CStreamFile stream(sps);
    const Json sets = stream.lastRecord()["pShortTermRefPicSet"];
    EXPECT_EQ(sets[0]["DeltaPoc"], Json({-1, -2}));
    EXPECT_EQ(sets[0]["used_by_curr_pic_flag"].size(), 0U);
    EXPECT_EQ(sets[1]["used_by_curr_pic_flag"], Json({true, true, true}));
    EXPECT_EQ(sets[1]["use_delta_flag"].size(), 3U);
    EXPECT_EQ(sets[2]["NumDeltaPocs"], 20);
    EXPECT_EQ(sets[2]["DeltaPoc"].size(), 16U);
    EXPECT_TRUE(contains(h265ps({stream.name()}).output, "-16* (16 of 20 kept)"));
}

TEST(H265psLimits, AReadingWithMessagesIsDoubted)
{
    // Without trailing bits the reader runs dry behind the last element, if that ends a byte.
    SpsSyntax sps;
    sps.rbsp_trailing_bits = false;
    sps.sps_extension_present_flag = true;
    for (unsigned i = 0; i < 16 && write(sps).size() % 8 != 0; ++i) {
        sps.st_ref_pic_set.resize(i / 2);
        sps.max_transform_hierarchy_depth_inter = i % 2;
    }
    ASSERT_EQ(write(sps).size() % 8, 0U);
    const ChildResult result = h265ps({CStreamFile(sps).name()});
    EXPECT_TRUE(
        contains(result.output,
                 "read; the decoder's own checks pass, but with the messages below: values can be wrong\n  log: "))
        << result.output;
}

TEST(H265psLimits, AGridTooLargeForAScreenIsCutAndSaysSo)
{
    SpsSyntax sps;
    PpsSyntax pps;
    pps.tiles = TilesSyntax();
    pps.tiles->num_tile_columns_minus1 = 29;
    pps.tiles->num_tile_rows_minus1 = 16;
    const CStreamFile stream(sps, pps);
    const std::string text = h265ps({"--type", "pps", stream.name()}).output;
    EXPECT_TRUE(contains(text, "drawn: 20 of 30 columns, 17 of 17 rows")) << text;
    EXPECT_TRUE(contains(text, "CtbAddrTsToRs"));
    const Json record = stream.lastRecord();
    EXPECT_EQ(record["colWidth"].size(), 30U);
    EXPECT_EQ(record["TileId"].size(), 511U);
}

TEST(H265psLimits, TablesOfAPictureAboveEveryLevelAreAnErrorOfTheSet)
{
    SpsSyntax sps;
    sps.pic_width_in_luma_samples = 65535;
    sps.pic_height_in_luma_samples = 65535;
    sps.log2_diff_max_min_luma_coding_block_size = 0;
    sps.sps_seq_parameter_set_id = 2;
    PpsSyntax pps;
    pps.pps_pic_parameter_set_id = 37;
    pps.pps_seq_parameter_set_id = 2;
    pps.tiles = TilesSyntax();
    const CStreamFile stream(sps, pps);
    const ChildResult result = h265ps({stream.name()});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_TRUE(
        contains(result.error,
                 ": PPS 37 not read: it has tiles, and the picture of SPS 2 has more coding tree blocks than any "
                 "level allows\n"))
        << result.error;
    EXPECT_TRUE(contains(result.output, "\nPPS 37 at byte ")) << result.output;
    EXPECT_TRUE(stream.lastRecord().is_null());
}

// Tiles are the most expensive thing that a few bytes can ask for.
TEST(H265psLimits, SetsThatCostMoreThanTheStreamsBytesAreErrorsUntilSlicesPay)
{
    PpsSyntax pps;
    pps.tiles = TilesSyntax{.num_tile_columns_minus1 = 1023, .num_tile_rows_minus1 = 1023};
    std::string stream = unitOf(33, write(SpsSyntax{}));
    for (unsigned i = 0; i < 14; ++i) {
        pps.pps_pic_parameter_set_id = i;
        if (i == 13) // a slice in front of the last one
            stream += std::string("\0\0\1\2\1", 5) + std::string(200'000, 'x');
        stream += unitOf(34, write(pps));
    }
    const CStreamFile file(stream);
    const Json document = parseJson(h265ps({"--json", file.name()}).output);
    std::vector<unsigned> refused;
    for (unsigned i = 0; i < 14; ++i) {
        const Json& set = document["parameter_sets"][i + 1];
        EXPECT_EQ(set["record"].is_null(), set["read"].is_null());
        if (set["read"].is_null())
            refused.push_back(i);
    }
    ASSERT_EQ(refused, (std::vector<unsigned>{9, 10, 11, 12}));
    EXPECT_TRUE(document["verdict"].get<std::string>().starts_with("cannot be decoded: no VPS")) << document["verdict"];

    const ChildResult result = h265ps({file.name()});
    EXPECT_EQ(result.iExitCode, 1);
    for (const unsigned i : refused)
        EXPECT_TRUE(
            contains(result.error,
                     ": PPS " + std::to_string(i) +
                         " not read: too much work: the parameter sets up to here cost more than a stream of so "
                         "many bytes may\n"))
            << result.error;
    EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), 5)
        << result.error; // and that there is no VPS
}

// Each PPS in force has tables of 24 MiB.
TEST(H265psLimits, TablesThatNeedTooMuchMemoryAreAnErrorOfTheSet)
{
    SpsSyntax sps;
    sps.pic_width_in_luma_samples = 16384;
    sps.pic_height_in_luma_samples = 16384;
    sps.log2_diff_max_min_luma_coding_block_size = 1;
    PpsSyntax pps;
    pps.tiles = TilesSyntax();
    Bytes bytes = byteStream({nalUnit(33, write(sps))});
    for (unsigned i = 0; i < 20; ++i) {
        pps.pps_pic_parameter_set_id = i;
        bytes = joined({bytes, byteStream({nalUnit(34, write(pps))})});
    }
    const CStreamFile stream(std::string(bytes.begin(), bytes.end()));
    const ChildResult result = h265ps({stream.name()});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_TRUE(std::regex_search(result.error, std::regex("PPS not read: .*more memory"))) << result.error;
}

#ifdef H265PS_SANITIZED
constexpr bool LIMITED_MEMORY_RUNS = false; // the sanitizers want address space without end
#else
constexpr bool LIMITED_MEMORY_RUNS = true;
#endif

TEST(H265psLimits, MemoryDoesNotGrowWithTheFile)
{
    if (!LIMITED_MEMORY_RUNS)
        GTEST_SKIP() << "no memory limit under this sanitizer";
    const std::string sps = unitOf(33, write(SpsSyntax{}));
    const CStreamFile large(sps);
    std::filesystem::resize_file(large.name(), std::uintmax_t{256} << 20); // zeros take no room
    std::ofstream(large.name(), std::ios::binary | std::ios::app) << sps;
    for (const std::string& reading : {" " + large.name(), " - < " + large.name(), " --json " + large.name()}) {
        SCOPED_TRACE(reading);
        const ChildResult result = runChild("/bin/sh", {"-c", "ulimit -v 24000; exec " + PROGRAM + reading});
        EXPECT_EQ(result.iExitCode, 1);
        EXPECT_TRUE(contains(result.output, "cannot be decoded: no VPS and no PPS")) << result.output;
    }
}

TEST(H265psLimits, AFileThatTakesAllMemoryIsAnErrorAndTheOthersAreRead)
{
    if (!LIMITED_MEMORY_RUNS)
        GTEST_SKIP() << "no memory limit under this sanitizer";
    const std::string small = unitOf(33, write(SpsSyntax{}));
    const CStreamFile huge(small + std::string("\0\0\1\x42\1", 5) + std::string(15 << 20, 'x'));
    ChildSetup setup;
    setup.directory = CORPUS;
    const std::string command = "ulimit -v 24000; exec " + PROGRAM + " --json " + huge.name() + " hm_ldb.hevc";
    const ChildResult result = runChild("/bin/sh", {"-c", command}, setup);
    EXPECT_EQ(result.iExitCode, 2);
    EXPECT_TRUE(std::regex_match(result.error,
                                 std::regex("h265ps: error: " + huge.name() + ": at byte [0-9]+: out of memory.*\n")))
        << result.error;
    std::istringstream lines(result.output);
    for (const std::string& file : {huge.name(), std::string("hm_ldb.hevc")}) {
        std::string line;
        std::getline(lines, line);
        const Json document = parseJson(line);
        EXPECT_EQ(document["file"], file);
        EXPECT_EQ(document["parameter_sets"].size(), file == huge.name() ? 1U : 3U);
        EXPECT_EQ(document["exit_code"], file == huge.name() ? 2 : 0);
        EXPECT_EQ(document["verdict"].get<std::string>().starts_with("not read to its end: out of memory"),
                  file == huge.name());
    }
}

TEST(H265psLimits, StandardOutputThatDoesNotBlockIsWaitedFor)
{
    const std::string command = "import os, subprocess, sys, time\n"
                                "r, w = os.pipe()\n"
                                "os.set_blocking(w, False)\n"
                                "p = subprocess.Popen(sys.argv[1:], stdout=w)\n"
                                "os.close(w)\n"
                                "n = sum(len(b) for b in iter(lambda: os.read(r, 4096), b''))\n"
                                "print(p.wait(), n)\n";
    std::vector<std::string> arguments = {"-c", command, PROGRAM, "--json"};
    arguments.insert(arguments.end(), 100, "slist_explicit_444.hevc");
    ChildSetup setup;
    setup.directory = CORPUS;
    const std::size_t uiDocument = h265ps({"--json", "slist_explicit_444.hevc"}).output.size();
    EXPECT_EQ(runChild(H265PS_PYTHON, arguments, setup).output, "1 " + std::to_string(100 * uiDocument) + "\n");
}

} // namespace
} // namespace program_limits_test
