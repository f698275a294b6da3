// What is wrong with a movie or an image, and files that were made to do harm.

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContainerFiles.h"
#include "MovieFixture.h"
#include "VirtualSource.h"

namespace iso_base_media_damage_test {

using namespace h265_container;
using namespace h265_test;
using namespace h265_test::movies;

namespace {

TEST(IsoBaseMedia, TellsWhatIsWrongWithTheFile)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    const Bytes good = movie(track, {prefixed({IDR})});
    const auto changed = [&](std::string_view mark, std::ptrdiff_t iBehind, const Bytes& bytes) {
        Bytes file = good;
        const Bytes type = text(mark);
        const auto at = std::search(file.begin(), file.end(), type.begin(), type.end());
        std::copy(bytes.begin(), bytes.end(), at + 4 + iBehind);
        return read(file);
    };
    const struct
    {
        const char* pName;
        CContainerRecord record;
        const char* pMessage;
        const char* pBox;
    } aCases[] = {
        {"no moov", read(joined({FTYP, box("mdat", {IDR})})), "is missing: the file was not finished", "moov"},
        {"only ftyp", read(FTYP), "there are no tracks and no images", "moov"},
        {"nothing", read({}), "there are no tracks and no images", "moov"},
        {"a box larger than the file",
         changed("mdat", -8, be(4, 0x7000)),
         "the file ends early: the box has 28672 bytes",
         "mdat"},
        {"a box larger than its holder",
         changed("stsd", -8, be(4, 0x7000)),
         "is larger than the box that holds it",
         "moov/trak/mdia/minf/stbl/stsd"},
        {"a box smaller than its header",
         changed("stsd", -8, be(4, 7)),
         "has size 7, which is less than its header",
         "moov/trak/mdia/minf/stbl/stsd"},
        {"size 0 inside", changed("stsc", -8, be(4, 0)), "has size 0", "moov/trak/mdia/minf/stbl/stsc"},
        {"a chunk behind the end",
         changed("stco", 8, be(4, 0x7000)),
         "sample 1 begins at byte 28672, behind the end of the file",
         "moov/trak/mdia/minf/stbl/stsd"},
        {"a sample beyond the end",
         changed("stsz", 12, be(4, 0x7000)),
         "reaches beyond the end of the file",
         "moov/trak/mdia/minf/stbl/stsd"},
        {"a count beyond the box",
         changed("stco", 4, be(4, 0xffffffff)),
         "counts 4294967295 entries and has room for 1",
         "moov/trak/mdia/minf/stbl/stco"},
        {"no sizes",
         changed("stsz", -4, text("free")),
         "has no stsz or stz2 that can be read: how many samples its 1 chunks hold",
         "moov/trak/mdia/minf/stbl"},
        {"samples without a chunk",
         changed("stco", 4, be(4, 0)),
         "counts 1 sample; the chunks have 0",
         "moov/trak/mdia/minf/stbl/stsz"},
        {"a description that is not there",
         changed("stsc", 4 + 4 + 8, be(4, 7)),
         "sample 1 has description 7 of 1",
         "moov/trak/mdia/minf/stbl/stsd"},
        {"an entry cut in its fields",
         changed("stsd", 8, joined({be(4, 60), text("hvc1")})),
         "ends inside its fields",
         "moov/trak/mdia/minf/stbl/stsd/hvc1"},
        {"a compressed moov",
         read(joined({FTYP, box("moov", {box("cmov", {})})})),
         "is a compressed moov",
         "moov/cmov"},
        {"a header cut", read(joined({FTYP, {0, 0, 0}, {9, 9}})), "5 bytes are too few for a box", ""},
        {"a header cut inside a box", // what follows it would make one
         read(joined({FTYP, box("moov", {box("free", {}), {0, 0, 9}}), {9, 'f', 'r', 'e', 'e', 0}})),
         "3 bytes are too few for a box",
         "moov"},
        {"a large header cut", read(joined({FTYP, be(4, 1), text("mdat"), {9, 9}})), "ends inside its header", "mdat"},
        {"samples elsewhere",
         changed("url ", 3, be(1, 0)),
         "the samples lie in another file",
         "moov/trak/mdia/minf/stbl/stsd"},
        {"tkhd cut", changed("tkhd", -8, be(4, 40)), "ends inside its fields", "moov/trak/tkhd"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const ContainerFinding* const pFinding = c.record.finding(c.pMessage);
        ASSERT_NE(pFinding, nullptr) << c.record.findings();
        EXPECT_EQ(pFinding->box, c.pBox);
        EXPECT_TRUE(pFinding->ulOffset);
    }
}

TEST(IsoBaseMedia, TellsWhatIsWrongWithTheTablesOfATrack)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    const std::vector<Bytes> samples = {prefixed({IDR}), prefixed({TRAIL})};
    const auto with = [&](auto change) {
        TrackSyntax changed = track;
        change(changed);
        return read(movie(changed, samples));
    };
    const auto times = [&](const std::vector<Bytes>& entries) {
        return with([&](TrackSyntax& t) { t.stts = table("stts", entries); });
    };
    const auto runs = [&](const std::vector<std::vector<std::uint32_t>>& entries) {
        TrackSyntax changed = track;
        for (const Bytes& sample : samples)
            changed.sizes.push_back(static_cast<std::uint32_t>(sample.size()));
        changed.chunks = {FTYP.size() + 8, FTYP.size() + 8 + samples[0].size()};
        changed.runs = entries;
        return read(joined({FTYP, box("mdat", {samples[0], samples[1]}), box("moov", {trak(changed)})}));
    };
    const auto entryCount = [&](unsigned uiCount) {
        Bytes file = movie(track, samples);
        const Bytes type = text("stsd");
        const auto at = std::search(file.begin(), file.end(), type.begin(), type.end());
        at[4 + 4 + 3] = static_cast<unsigned char>(uiCount);
        return read(file);
    };
    const auto handler = [&](std::string_view type) { return with([&](TrackSyntax& t) { t.handler = type; }); };
    const struct
    {
        const char* pName;
        CContainerRecord record;
        const char* pMessage; // empty of nothing
        const char* pBox;
    } aCases[] = {
        {"right", with([](auto&) {}), "", ""},
        {"stsd counts none", entryCount(0), "counts 0 sample entries and has 1", "minf/stbl/stsd"},
        {"stsd counts more", entryCount(7), "counts 7 sample entries and has 1", "minf/stbl/stsd"},
        {"no stts", with([](auto& t) { t.stts = Bytes(); }), "has no stts, and stsz counts 2 samples", "minf/stbl"},
        {"an empty stts", times({}), "has times for 0 samples, stsz counts 2 samples", "minf/stbl/stts"},
        {"times of fewer", times({joined({be(4, 1), be(4, 4)})}), "has times for 1 sample", "minf/stbl/stts"},
        {"times of more",
         times({joined({be(4, 2), be(4, 4)}), joined({be(4, 1), be(4, 3)})}),
         "has times for 3 samples",
         "minf/stbl/stts"},
        {"times in two entries", times({joined({be(4, 1), be(4, 4)}), joined({be(4, 1), be(4, 3)})}), "", ""},
        {"two chunks", runs({{1, 1, 1}, {2, 1, 1}}), "", ""},
        {"runs from the second chunk",
         runs({{2, 1, 1}}),
         "begins with first_chunk 2 instead of 1: nothing says",
         "minf/stbl/stsc"},
        {"runs that fall", runs({{1, 1, 1}, {2, 1, 1}, {1, 1, 1}}), "has first_chunk 1 behind 2", "minf/stbl/stsc"},
        {"runs that stay", runs({{1, 1, 1}, {1, 1, 1}}), "has first_chunk 1 behind 1", "minf/stbl/stsc"},
        {"no time scale", with([](auto& t) { t.uiTimescale = 0; }), "says timescale 0: no sample has a time", "mdhd"},
        {"sound", handler("soun"), "says soun, the track has a sample entry hvc1", "hdlr"},
        {"auxiliary pictures", handler("auxv"), "", ""},
        {"an image sequence", handler("pict"), "", ""},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        ASSERT_EQ(c.record.m_findings.size(), *c.pMessage == '\0' ? 0U : 1U) << c.record.findings();
        EXPECT_EQ(c.record.m_units.size(), 5U);
        if (c.record.m_findings.empty())
            continue;
        EXPECT_TRUE(c.record.tells(c.pMessage)) << c.record.findings();
        EXPECT_EQ(c.record.m_findings[0].box, std::string("moov/trak/mdia/") + c.pBox);
        EXPECT_EQ(c.record.m_findings[0].eSeverity, ESeverity::Error);
        EXPECT_TRUE(c.record.m_findings[0].ulOffset);
    }
    track.entries = {visualEntry("avc1", {})}; // of others nothing is told
    EXPECT_EQ(handler("soun").findings() + times({}).findings() + entryCount(3).findings(), "");
}

// What a muxer wrote in front of the NAL units of its samples may not be what its hvcC says.
TEST(IsoBaseMedia, ReadsSamplesByTheLengthsThatTheyHave)
{
    const Bytes withStartCodes = byteStream({SPS, IDR});
    const struct
    {
        unsigned uiClaimed;
        Bytes sample;
        std::size_t uiUnits;
        const char* pTold; // empty of nothing
    } aCases[] = {
        {4, prefixed({SPS, IDR}, 4), 2, ""},
        {1,
         prefixed({SPS, IDR}, 4),
         2,
         "the NAL units have lengths of 4 bytes, and not lengths of 1 byte as lengthSizeM"},
        {2, prefixed({SPS, IDR}, 4), 2, "the NAL units have lengths of 4 bytes, and not lengths of 2 bytes as"},
        {4, prefixed({SPS, IDR}, 2), 2, "the NAL units have lengths of 2 bytes, and not lengths of 4 bytes as"},
        {4, prefixed({SPS, IDR}, 1), 2, "the NAL units have lengths of 1 byte, and not lengths of 4 bytes as"},
        {4, withStartCodes, 2, "the NAL units have start codes, and not lengths of 4 bytes as lengthSizeMinusOne says"},
        {4, Bytes(withStartCodes.begin() + 1, withStartCodes.end()), 2, "the NAL units have start codes, and not"},
        {4, {0, 0, 0, 9, 1, 2, 3}, 1, "a NAL unit of 9 bytes where 3 are left"}, // nothing fits better
        {4, {}, 0, ""},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pTold);
        TrackSyntax track;
        track.entries = {hvc1({box("hvcC", {hvcCContent({VPS, SPS, PPS}, c.uiClaimed)})})};
        const CContainerRecord record = read(movie(track, {c.sample, c.sample}));
        EXPECT_EQ(record.m_units.size(), 3 + 2 * c.uiUnits);
        if (*c.pTold == '\0')
            EXPECT_EQ(record.findings(), "");
        else
            EXPECT_TRUE(record.tells(c.pTold)) << record.findings();
        if (c.uiUnits == 2) {
            EXPECT_EQ(record.m_units[3].bytes, SPS);
            EXPECT_EQ(record.m_units[6].bytes, IDR);
            EXPECT_LE(record.m_findings.size(), 1U) << record.findings();
        }
    }
}

TEST(IsoBaseMedia, ReadsUnitsWithStartCodesBehindTheirLengths)
{
    for (const Bytes& startCode : {Bytes{0, 0, 0, 1}, Bytes{0, 0, 1}}) {
        TrackSyntax track;
        track.entries = {hvc1()};
        const Bytes slice = joined({IDR, Bytes(100, 7)});
        const Bytes sample = prefixed({joined({startCode, SPS}), joined({startCode, slice}), startCode});
        const Bytes file = movie(track, {sample, sample});
        const CContainerRecord record = read(file);
        ASSERT_EQ(record.m_units.size(), 7U);
        EXPECT_EQ(record.m_units[3].bytes, SPS);
        EXPECT_EQ(record.m_units[4].bytes, Bytes(slice.begin(), slice.begin() + UNIT_HEAD_BYTES));
        EXPECT_EQ(record.m_units[4].ulSize, slice.size());
        EXPECT_TRUE(standWhereTheySay(record, file));
        ASSERT_EQ(record.m_findings.size(), 1U) << record.findings();
        EXPECT_TRUE(record.tells("a start code stands between a NAL unit's length and its header"));
        EXPECT_EQ(record.m_findings[0].eSeverity, ESeverity::Error);
        EXPECT_EQ(record.m_findings[0].ulOffset, *record.m_units[3].ulOffset - startCode.size());
    }
}

TEST(IsoBaseMedia, TellsFragmentsInFrontOfTheMoov)
{
    const Bytes file = joined({FTYP, mediaSegment(), initSegment(), mediaSegment(100)});
    const CContainerRecord record = read(file);
    ASSERT_TRUE(record.tells("stands in front of the moov that describes its samples: it is not read"));
    EXPECT_EQ(record.m_findings[0].ulOffset, FTYP.size());
    EXPECT_TRUE(record.m_findings[0].bUnread);
    EXPECT_EQ(record.m_units.size(), 6U);
}

TEST(IsoBaseMedia, TellsTracksWithoutANumberOfTheirOwn)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    const Bytes one = trak(track);
    const CContainerRecord twice = read(joined({FTYP, box("moov", {one, one})}));
    EXPECT_TRUE(twice.tells("track_ID 1 is that of another track too: both are told as one [14496-12 8.3.2.3]"));
    EXPECT_EQ(twice.m_tracks.size(), 1U);
    track.uiTrack = 0;
    EXPECT_TRUE(read(joined({FTYP, box("moov", {trak(track)})})).tells("track_ID is 0, which is no track's"));
    EXPECT_FALSE(read(joined({FTYP, box("moov", {one})})).tells("track_ID"));
}

TEST(IsoBaseMedia, TellsWhichTrackADescriptionIsOf)
{
    TrackSyntax track;
    track.uiTrack = 7;
    track.entries = {hvc1({box("hvcC", {hvcCContent({SPS})}), box("pasp", {be(4, 1)})})};
    const CContainerRecord movieRecord = read(movie(track, {prefixed({IDR}), prefixed({TRAIL})}));
    EXPECT_EQ(movieRecord.finding("is too short for its fields")->ulTrack, 7U);
    EXPECT_TRUE(movieRecord.m_claims.at(0).constantFrameRate->ulOffset);
    // Of the file as a whole there is none.
    EXPECT_FALSE(read(joined({movie(track, {}), {0, 0, 0, 9}})).finding("too few for a box")->ulTrack);
    // Without the byte that has it, the range is not said.
    track.entries = {hvc1({box("colr", {text("nclx"), be(2, 1), be(2, 1), be(2, 1)})})};
    const CContainerRecord colour = read(movie(track, {prefixed({IDR})}));
    EXPECT_EQ(colour.m_claims.at(0).colours.at(0).value.uiMatrix, 1U);
    EXPECT_FALSE(colour.m_claims.at(0).colours.at(0).value.bFullRange);
    const CContainerRecord none = read(movie(track, {prefixed({IDR})}));
    EXPECT_TRUE(none.finding("has neither hvcC nor lhvC")->ulOffset);
}

TEST(IsoBaseMedia, TellsWhatIsWrongWithASample)
{
    const auto with = [](const Bytes& sample) {
        TrackSyntax track;
        track.entries = {hvc1()};
        return read(movie(track, {sample}));
    };
    EXPECT_TRUE(with(joined({prefixed({IDR}), {0, 0}})).tells("ends inside the length of a NAL unit"));
    const CContainerRecord beyond = with(joined({be(4, 7), IDR}));
    EXPECT_TRUE(beyond.tells("a NAL unit of 7 bytes where 6 are left"));
    EXPECT_EQ(beyond.m_units.back().bytes, IDR);
    const CContainerRecord empty = with(joined({be(4, 0), prefixed({IDR})}));
    EXPECT_TRUE(empty.tells("a NAL unit of 0 bytes"));
    EXPECT_EQ(empty.m_units.size(), 4U);
    const CContainerRecord padded = with(prefixed({joined({PPS, {0}})}));
    EXPECT_TRUE(padded.tells("zero bytes behind a parameter set"));
    EXPECT_EQ(padded.m_units.back().bytes, PPS);
}

TEST(IsoBaseMedia, TellsWhatIsWrongWithADescription)
{
    const auto with = [](const Bytes& entry) {
        TrackSyntax track;
        track.entries = {entry};
        return read(movie(track, {prefixed({IDR})}));
    };
    const CContainerRecord none = with(hvc1({}));
    EXPECT_TRUE(none.tells("has neither hvcC nor lhvC"));
    EXPECT_EQ(none.m_units.size(), 1U);
    const CContainerRecord empty = with(hvc1({box("hvcC", {})}));
    EXPECT_TRUE(empty.tells("is empty"));
    EXPECT_EQ(empty.finding("is empty")->box, "moov/trak/mdia/minf/stbl/stsd/hvc1/hvcC");
    EXPECT_EQ(empty.m_units.size(), 1U);
    const Bytes hvcC = box("hvcC", {hvcCContent({SPS})});
    EXPECT_TRUE(with(hvc1({hvcC, hvcC})).tells("a second one in the same entry"));
    EXPECT_TRUE(with(hvc1({hvcC, box("pasp", {be(4, 1)})})).tells("is too short for its fields"));
    EXPECT_EQ(with(visualEntry("encv", {hvcC})).m_units.size(), 0U); // nobody says what it is
}

// Work and memory stay in proportion to the file, whatever it counts.
TEST(IsoBaseMedia, EndsOnHostileFiles)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    track.chunks.assign(3000, 0);
    track.runs = {{1, 60000, 1}};
    const auto withStsz = [&](const Bytes& stsz) {
        Bytes file = joined({FTYP, box("moov", {trak(track)})});
        const Bytes type = text("stsz");
        std::copy(stsz.begin(), stsz.end(), std::search(file.begin(), file.end(), type.begin(), type.end()) + 8);
        return read(joined({file, zeros(100000)}));
    };
    track.sizes = {1};
    const CContainerRecord overlapping = withStsz(joined({be(4, 1), be(4, 0xffffffff)}));
    EXPECT_TRUE(overlapping.tells("they overlap")) << overlapping.findings();
    EXPECT_TRUE(withStsz(joined({be(4, 0x10000000), be(4, 0xffffffff)})).tells("beyond the end"));

    Bytes nested;
    for (unsigned i = 0; i < 10000; ++i)
        nested = box(i % 2 == 0 ? "mdia" : "minf", {std::move(nested)});
    EXPECT_TRUE(read(joined({FTYP, box("moov", {box("trak", {nested})})})).m_units.empty());

    const Bytes run = fullBox("trun", 0, 0, {be(4, 0xffffffff)});
    const Bytes emptyRuns = box("moof", {box("traf", {fullBox("tfhd", 0, 0x20000, {be(4, 1)}), run})});
    EXPECT_EQ(read(joined({initSegment(), emptyRuns})).m_units.size(), 3U);
    const Bytes fullRuns =
        box("moof", {box("traf", {fullBox("tfhd", 0, 0x20010, {be(4, 1), be(4, 1)}), run, run, run})});
    EXPECT_TRUE(read(joined({initSegment(), fullRuns})).tells("behind the end of the file"));
    Bytes findings;
    for (unsigned i = 0; i < 1000; ++i)
        findings = joined({findings, box("tkhd", {})});
    const CContainerRecord record = read(joined({FTYP, box("moov", {box("trak", {findings})})}));
    EXPECT_TRUE(record.tells("more findings about the container"));
    EXPECT_LT(record.m_findings.size(), 210U);
}

// 20,000 samples of 50 kB: of each its length and its first bytes are read, and its entries in the tables.
TEST(IsoBaseMedia, ReadsLittleMoreThanTheHeadsOfSlices)
{
    constexpr std::uint32_t SAMPLE = 50000;
    constexpr std::uint32_t SAMPLES = 20000;
    const Bytes head = joined({be(4, SAMPLE - 4), IDR});
    TrackSyntax track;
    track.entries = {hvc1()};
    track.stts = fullBox("stts", 0, 0, {be(4, 1), be(4, SAMPLES), be(4, 4)});
    const Bytes stsz = fullBox("stsz", 0, 0, {be(4, SAMPLE), be(4, SAMPLES)});
    const Bytes front = joined({FTYP, be(4, 1), text("mdat"), be(8, 16 + std::uint64_t{SAMPLE} * SAMPLES)});
    track.chunks = {front.size()};
    track.runs = {{1, SAMPLES, 1}};
    Bytes moov = box("moov", {trak(track)});
    const Bytes type = text("stsz");
    std::copy(stsz.begin() + 4, stsz.end(), std::search(moov.begin(), moov.end(), type.begin(), type.end()));
    const std::uint64_t ulMoov = front.size() + std::uint64_t{SAMPLE} * SAMPLES;
    CVirtualSource source(ulMoov + moov.size(), [&](std::uint64_t ulOffset) {
        const auto uiAt = static_cast<std::size_t>((ulOffset - front.size()) % SAMPLE);
        return uiAt < head.size() ? head[uiAt] : static_cast<unsigned char>(0x55);
    });
    source.m_pieces = {{0, front}, {ulMoov, moov}};
    CContainerRecord record;
    readIsoBaseMedia(source, {}, record);
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(record.m_units.size(), SAMPLES + 3);
    EXPECT_EQ(record.m_units.back().place, "track 1, sample 20000 at 799.96 s");
    EXPECT_LT(source.m_ulRead, SAMPLES * 64U);
}

TEST(IsoBaseMedia, StaysInsideDamagedFiles)
{
    std::vector<Bytes> files = {
        containerFile("single.heic"), imageFile(), imageFile(2), joined({initSegment(), mediaSegment()})};
    TrackSyntax track;
    track.entries = {hvc1(), hvc1()};
    files.push_back(movie(track, {prefixed({SPS, IDR}), prefixed({TRAIL})}));
    for (const Bytes& file : files) {
        damageInEveryWay(file, 3000, [](const Bytes& damaged) {
            EXPECT_TRUE(standWhereTheySay(read(damaged), damaged));
            try {
                (void)readForward(damaged);
            } catch (const h265_stream::CSourceError& error) {
                EXPECT_NE(std::string(error.what()).find("which a stream cannot give"), std::string::npos);
            }
        });
    }
}

// Of a file that is cut everything in front of the cut is shown, and the cut is told.
TEST(IsoBaseMedia, ShowsWhatStandsInFrontOfACut)
{
    const Bytes file = containerFile("faststart.mp4");
    const CContainerRecord whole = read(file);
    for (std::size_t i = 0; i < file.size(); ++i) {
        const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(i));
        const CContainerRecord record = read(cut);
        EXPECT_FALSE(record.m_findings.empty()) << i;
        std::size_t uiWhole = 0;
        for (const auto& unit : whole.m_units)
            uiWhole += *unit.ulOffset + unit.ulSize <= i ? 1 : 0;
        if (i > 1000) { // the moov is whole
            EXPECT_GE(record.m_units.size(), uiWhole) << i;
        }
    }
}

} // namespace

} // namespace iso_base_media_damage_test
