#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "H265psStreams.h"
#include "Json.h"

// Files that are no streams of H.265, and files that cannot be read.

namespace program_formats_test {

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

using H265psFormats = H265psFiles;

TEST_F(H265psFormats, AFileThatIsNoStreamIsOneErrorLineThatSaysWhatItLooksLike)
{
    const std::string packet = "\x47\x40\0\x10"s + std::string(184, '\xff');
    const std::string checked = packet + std::string(16, '\xee');
    std::string longH264;
    for (unsigned i = 0; i < 2000; ++i)
        longH264 += "\0\0\1\x41\x9a"s + std::to_string(i);
    const std::string h264 = "\0\0\0\1\x67\x64\0\x1f"s + std::string(20, 'x') + "\0\0\0\1\x68\xee\x3c\x80"s;
    // 1920x1080 at 25 pictures a second, and the slices of a picture as high as start codes count.
    const std::string mpeg2 = "\0\0\1\xb3\x78\x04\x38\x33\xff\xff\xe0\0\0\0\1\xb8\0\x08\0\x40"s;
    std::string slices;
    for (char cCode = 1; cCode <= 0x44; ++cCode)
        slices += "\0\0\1"s + cCode + "\x43\xf2\x80";
    std::string farSlices = slices;
    while (farSlices.size() < 400000)
        farSlices += "\0\0\1\x01\x43"s + std::string(5000, 'x') + "\0\0\1\x42\x2b\x91"s;
    const struct
    {
        const char* pName;
        std::string content;
        const char* pReason;
    } aCases[] = {
        {"empty", "", "error: [^ ]*: the file is empty"},
        {"mp4", "\0\0\0\x18"s + "ftypisom" + std::string(40, '\0'), "at byte 52: moov: is missing"},
        {"matroska", "\x1a\x45\xdf\xa3\x84\x42\xf7\x81\x01"s, "at byte 9: Segment: is missing"},
        {"ts", packet + packet + packet, "no track of H\\.265 in it: it has no tracks"},
        {"h264", h264, "at byte 0: .*raw H\\.264"},
        {"h264 with unit delimiter", "\0\0\0\1\x09\xf0"s + h264, "at byte 0: .*raw H\\.264"},
        {"h264 without parameter sets",
         "\0\0\0\1\x09\x30\0\0\1\x06\x01\x04\0\0\1\x41\x9a\x24\0\0\1\x01\x9e\x45\0\0\1\x65\x88\x84"s,
         "at byte 0: .*raw H\\.264"},
        {"h264 of profile High 10", "\0\0\0\1\x67\x6e\0\x28"s + std::string(20, 'x'), "at byte 0: .*raw H\\.264"},
        {"h264 with its picture set in front", "\0\0\0\1\x68\xee\x3c\x80"s + h264, "at byte 0: .*raw H\\.264"},
        {"h264 with SEI in front",
         "\0\0\0\1\x06\x05\x04"
         "abc"s +
             h264,
         "at byte 0: .*raw H\\.264"},
        {"mpeg-2 video", mpeg2, "at byte 0: .*MPEG-1 or MPEG-2 video"},
        {"mpeg-2 video cut in its header", "\0\0\1\xb3\x78"s, "at byte 0: .*MPEG-1 or MPEG-2 video"},
        {"mpeg-2 video from its middle", slices + mpeg2, "at byte 0: .*MPEG-1 or MPEG-2 video"},
        {"mpeg-2 video from far before a sequence header", farSlices + mpeg2, "at byte 0: .*MPEG-1 or MPEG-2 video"},
        {"program stream", "\0\0\1\xba\x44\0\4\0"s + mpeg2, "at byte 0: .*MPEG program stream"},
        {"ivf", "DKIF\0\0\x20\0AV01"s + std::string(24, '\1'), "at byte 0: .*IVF"},
        {"h264 slices alone", "\0\0\1\x61\xe0\1\0\0\1\x61\xe1\1"s, "at byte 0: .*raw H\\.264"},
        {"long h264", longH264, "at byte 0: .*raw H\\.264"},
        {"one ts packet", packet, "no track of H\\.265 in it"},
        {"ts with check bytes", checked + checked, "no track of H\\.265 in it"},
        {"one ts packet with check bytes", checked, "no track of H\\.265 in it"},
        {"mp4 index", "\0\0\0\x18"s + "sidx" + std::string(40, '\0'), "moov: is missing"},
        {"lengths", "\0\0\0\3\x46\1\x50\0\0\0\4\x40\1\x0c\1"s, "at byte 0: .*lengths"},
        {"utf-8", "Gr\xc3\xbc\xc3\x9f dich"s, "at byte 11: .*text file"},
        {"latin-1",
         "Sch\xf6ne Gr\xfc\xdf"
         "e aus dem Norden"s,
         "at byte 27: .*text file"},
        {"high bytes", std::string(16, 'x') + std::string(84, '\xe9'), "at byte 100: .*no start code .00 00 01."},
        {"avi", "RIFF\1\1\1\1AVI LIST"s, "at byte 0: .*AVI.*ffmpeg -i FILE"},
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

TEST_F(H265psFormats, AStreamThatBeginsLikeH264IsH265WhenASetOfLayer0Follows)
{
    // Of layer 32, and what H.264 begins its slices with.
    std::vector<std::string> units = {"\x41\x02\x24", "\x01\x02\x45" + std::string(5000, 'x')};
    for (const std::string& set : parameterSetsOf("hm_ldb"))
        units.push_back(set);
    const ChildResult result = h265ps({"--json", make("late", streamOf(units))});
    EXPECT_EQ(result.iExitCode, 0) << result.error;
    EXPECT_EQ(parseJson(result.output)["parameter_sets"].size(), 4U);
}

// Nothing but first bytes tells them from slices of H.264: parameter sets and a picture of layer 33.
TEST_F(H265psFormats, AStreamOfALayerOf32OrAboveAloneIsNoH264)
{
    std::vector<std::string> units = parameterSetsOf("hm_ldb");
    units.emplace_back("\x46\x01\x50", 3);
    units.emplace_back("\x26\x01\xaf\x10", 4);
    for (std::string& unit : units) {
        unit[0] = static_cast<char>(unit[0] | 1);
        unit[1] = '\x09';
    }
    const std::vector<std::vector<std::string>> aStreams = {
        units, {units[3], units[4]}, {units[0], units[2]}, {units[0], units[2], units[3], units[4]}};
    for (const std::vector<std::string>& stream : aStreams) {
        const ChildResult result = h265ps({make("layer 33", streamOf(stream))});
        EXPECT_FALSE(contains(result.error, "H.264")) << result.error;
        EXPECT_EQ(result.iExitCode, stream.size() == 2 && stream[0] == units[3] ? 2 : 1);
    }
}

TEST_F(H265psFormats, ManySetsOfAHigherLayerInFrontOfTheFirstOfLayer0AreAllShown)
{
    std::vector<std::string> units;
    for (unsigned i = 0; i < 1500; ++i)
        units.push_back("\x42\x09" + std::to_string(i));
    for (const std::string& set : parameterSetsOf("hm_ldb"))
        units.push_back(set);
    const ChildResult result = h265ps({"--json", make("many", streamOf(units))});
    EXPECT_EQ(result.iExitCode, 0) << result.error;
    EXPECT_EQ(parseJson(result.output)["parameter_sets"].size(), 1503U);
}

TEST_F(H265psFormats, AFileThatCannotBeOpenedIsAnError)
{
    const std::string unreadable = make("unreadable", "x");
    fs::permissions(unreadable, fs::perms::none);
    std::vector<std::pair<std::string, std::string>> aCases = {
        {m_directory.string(), "is a directory"},
        {(m_directory / "missing").string(), "no such file or directory"},
        {unreadable + "/below", "not a directory"}};
    if (::geteuid() != 0) // who may read everything
        aCases.emplace_back(unreadable, "permission denied");
    for (const auto& [file, reason] : aCases) {
        SCOPED_TRACE(file);
        const ChildResult result = h265ps({file});
        EXPECT_EQ(result.iExitCode, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.error, "h265ps: error: " + file + ": " + reason + "\n");
    }
}

TEST_F(H265psFormats, ANameCannotForgeLines)
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

TEST_F(H265psFormats, AFileNameThatIsNoUtf8GivesValidJson)
{
    const std::string file = make("caf\xe9", contentOf(CORPUS / "hm_ldb.hevc"));
    const ChildResult result = h265ps({"--json", file});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_TRUE(parseJson(result.output)["file"].get<std::string>().ends_with("caf\xef\xbf\xbd"));
}

} // namespace
} // namespace program_formats_test
