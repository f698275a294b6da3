// Five movies as people bring them, because a player refuses them or shows them wrongly: the reason stands in the
// first lines.

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "H265psProgram.h"
#include "H265psStreams.h"
#include "MovieWriter.h"

namespace program_field_files_test {

using namespace h265_test;

namespace {

// Slices of the first and of other pictures that name PPS 0.
const Bytes IDR{0x26, 0x01, 0xa0, 1, 2, 3};
const Bytes TRAIL{0x02, 0x01, 0xc0, 4, 5, 6};

// One movie of hvc1.
struct Movie
{
    std::vector<Bytes> sets;
    Bytes hvcC;
    unsigned uiWidth = 176;
    unsigned uiHeight = 144;
    Bytes boxes; // of the sample entry behind hvcC
    std::vector<Bytes> samples = {prefixed({IDR}), prefixed({TRAIL}), prefixed({TRAIL}), prefixed({TRAIL})};
};

// Without emulation prevention, 7.3.1.1.
Bytes rbspOf(const Bytes& nalUnit)
{
    Bytes rbsp;
    for (std::size_t i = 2; i < nalUnit.size(); ++i) {
        const std::size_t n = rbsp.size();
        if (nalUnit[i] == 3 && n >= 2 && rbsp[n - 1] == 0 && rbsp[n - 2] == 0)
            continue;
        rbsp.push_back(nalUnit[i]);
    }
    return rbsp;
}

// hvcC of 8-bit 4:2:0 with 4-byte lengths: it says what its SPS does.
Bytes rightRecord(const std::vector<Bytes>& sets)
{
    Bytes content = hvcCContent(sets);
    for (const Bytes& set : sets) {
        const Bytes rbsp = rbspOf(set);
        constexpr unsigned char SPS_NUT = 33;
        if ((set[0] >> 1 & 0x3f) == SPS_NUT)
            std::copy_n(rbsp.begin() + 1, 12, content.begin() + 1); // 7.3.3: general_profile_space to general_level_idc
    }
    return content;
}

constexpr std::size_t LEVEL = 12; // in the record

std::vector<Bytes> setsOf(const std::string& stream)
{
    std::vector<Bytes> sets;
    for (const std::string& set : parameterSetsOf(stream))
        sets.emplace_back(set.begin(), set.end());
    return sets;
}

Movie movieOf(const std::string& stream)
{
    Movie movie;
    movie.sets = setsOf(stream);
    movie.hvcC = rightRecord(movie.sets);
    return movie;
}

// As a muxer writes it: moov behind the samples.
std::string fileOf(const Movie& movie)
{
    const Bytes ftyp = box("ftyp", {text("isom"), zeros(4), text("isomhvc1")});
    TrackSyntax track;
    track.entries = {visualEntry("hvc1", {box("hvcC", {movie.hvcC}), movie.boxes}, movie.uiWidth, movie.uiHeight)};
    Bytes samples;
    for (const Bytes& sample : movie.samples) {
        track.sizes.push_back(static_cast<std::uint32_t>(sample.size()));
        samples = joined({samples, sample});
    }
    track.chunks = {ftyp.size() + 8};
    track.runs = {{1, static_cast<std::uint32_t>(movie.samples.size()), 1}};
    track.stts = fullBox("stts", 0, 0, {be(4, 1), be(4, movie.samples.size()), be(4, 4)}); // 25 a second
    Bytes trakBox = trak(track);
    const Bytes header = trackHeader(1, movie.uiWidth, movie.uiHeight);
    std::copy(header.begin(), header.end(), trakBox.begin() + 8);
    const Bytes file =
        joined({ftyp,
                box("mdat", {samples}),
                box("moov", {fullBox("mvhd", 0, 0, {be(8, 0), be(4, 100), be(4, 16), zeros(80)}), trakBox})});
    return {file.begin(), file.end()};
}

class H265psFieldFiles : public H265psFiles
{
protected:
    // The first lines that somebody sees.
    std::string firstScreen(const Movie& movie)
    {
        const ChildResult result = h265ps({make("movie.mp4", fileOf(movie))});
        std::istringstream lines(result.output);
        std::string screen;
        std::string line;
        for (int i = 0; i < 10 && std::getline(lines, line); ++i)
            screen += line + '\n';
        return screen;
    }
    void expectReason(const Movie& movie, const std::string& reason)
    {
        const std::string screen = firstScreen(movie);
        EXPECT_NE(screen.find(reason), std::string::npos) << screen;
    }
};

TEST_F(H265psFieldFiles, SayNothingOfARightOne)
{
    for (const char* const pStream : {"gop_b3_pyramid", "vui_video_signal"}) {
        const std::string screen = firstScreen(movieOf(pStream));
        EXPECT_EQ(screen.find("warning"), std::string::npos) << screen;
        EXPECT_EQ(screen.find("error"), std::string::npos) << screen;
    }
}

// Colours are too pale in one player, and right in the other.
TEST_F(H265psFieldFiles, TellOfAWrongColr)
{
    Movie movie = movieOf("vui_video_signal"); // BT.2020 PQ, full range
    movie.boxes = box("colr", {text("nclx"), be(2, 1), be(2, 1), be(2, 1), be(1, 0)});
    expectReason(movie, "colr (nclx) says colour_primaries 1 (BT.709), SPS 0's VUI says 9 (BT.2020 PQ)");
    expectReason(movie, "colr (nclx) says limited range, SPS 0's VUI says full range");
}

// The sets stand in the stream, where players of hvc1 do not look for them.
TEST_F(H265psFieldFiles, TellOfAnEmptyHvcC)
{
    Movie movie = movieOf("gop_b3_pyramid");
    movie.hvcC = {};
    std::vector<Bytes> first = movie.sets;
    first.push_back(IDR);
    movie.samples[0] = prefixed(first);
    expectReason(movie,
                 "hvcC has no parameter sets, and hvc1 has them there only: players find nothing to decode with");
}

// A television that goes by hvcC refuses the stream later, or drops pictures.
TEST_F(H265psFieldFiles, TellOfALevelThatIsTooLow)
{
    Movie movie = movieOf("gop_b3_pyramid");
    movie.hvcC[LEVEL] = 30;
    expectReason(movie, "hvcC says level 1 (general_level_idc 30), SPS 0 says level 2 (general_level_idc 60)");
}

TEST_F(H265psFieldFiles, TellOfASizeThatDiffers)
{
    Movie movie = movieOf("gop_b3_pyramid");
    movie.uiWidth = 1280;
    movie.uiHeight = 720;
    expectReason(movie, "the sample entry hvc1 says 1280x720, SPS 0's pictures are 176x144");
}

// Two recordings joined without a second sample description.
TEST_F(H265psFieldFiles, TellOfSetsThatChangeInTheStream)
{
    Movie movie = movieOf("gop_b3_pyramid");
    std::vector<Bytes> second = setsOf("vui_video_signal");
    second.push_back(IDR);
    movie.samples[2] = prefixed(second);
    expectReason(movie,
                 "SPS 0 changes in the stream (track 1, sample 3 at 0.08 s): hvcC has another one, and hvc1 has its "
                 "sets there only");
}

} // namespace
} // namespace program_field_files_test
