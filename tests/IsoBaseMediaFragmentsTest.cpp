// Movies in fragments, and media segments with their init segment.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "MovieFixture.h"
#include "SampleEntry.h"

namespace iso_base_media_fragments_test {

using namespace h265_container;
using namespace h265_test;
using namespace h265_test::movies;

namespace {

TEST(IsoBaseMedia, ReadsFragments)
{
    const Bytes file = joined({initSegment(), mediaSegment(), mediaSegment(100)});
    for (const CContainerRecord& record : {read(file), readForward(file)}) {
        EXPECT_EQ(record.findings(), "");
        ASSERT_EQ(record.m_units.size(), 9U);
        EXPECT_EQ(record.m_units[3].place, "track 1, sample 1 at 0.56 s");
        EXPECT_EQ(record.m_units[5].place, "track 1, sample 2 at 0.54 s");
        EXPECT_EQ(record.m_units[8].place, "track 1, sample 4 at 1.04 s");
        EXPECT_EQ(record.m_units[8].bytes, TRAIL);
        EXPECT_TRUE(standWhereTheySay(record, file));
    }
}

TEST(IsoBaseMedia, SaysOfAnInitSegmentThatItIsNotTheFile)
{
    const Bytes segment = mediaSegment();
    Bytes init = initSegment();
    init.resize(init.size() - 3); // in trex
    const auto pInit = makeRandomSource(init);
    const auto pSource = makeRandomSource(segment);
    CContainerRecord record;
    readIsoBaseMedia(*pSource, {}, record, pInit.get());
    ASSERT_FALSE(record.m_findings.empty());
    for (const ContainerFinding& finding : record.m_findings) {
        EXPECT_EQ(finding.box.find("initialisation segment: moov"), 0U) << finding.box << ": " << finding.message;
        EXPECT_FALSE(finding.ulOffset);
    }
    ASSERT_EQ(record.m_claims.size(), 1U);
    const ContainerClaims& claims = record.m_claims.front();
    ASSERT_TRUE(claims.hvcC && claims.entrySize && claims.trackSize);
    EXPECT_EQ(claims.hvcC->box, "initialisation segment: moov/trak/mdia/minf/stbl/stsd/hvc1/hvcC");
    EXPECT_EQ(claims.trackSize->box, "initialisation segment: moov/trak/tkhd");
    EXPECT_FALSE(claims.hvcC->ulOffset || claims.entrySize->ulOffset || claims.trackSize->ulOffset);
    EXPECT_TRUE(standWhereTheySay(record, segment));
}

TEST(IsoBaseMedia, SaysSoOfEveryClaimOfTheInitSegment)
{
    ContainerClaims claims;
    const auto expectAll = [](const std::string& box, std::optional<std::uint64_t> ulOffset, const auto&... claim) {
        const auto stands = [&](const auto& one) { return one.box == box && one.ulOffset == ulOffset; };
        EXPECT_TRUE((stands(*claim) && ...));
    };
    const auto withAll = [&](const auto& use) {
        use(claims.hvcC,
            claims.lhvC,
            claims.entrySize,
            claims.trackSize,
            claims.imageSize,
            claims.pixelShape,
            claims.cleanAperture,
            claims.pixelDepths,
            claims.scan,
            claims.constantFrameRate);
    };
    withAll([](auto&... claim) { (claim.emplace(), ...); });
    withAll([](auto&... claim) { ((claim->box = "moov", claim->ulOffset = 5), ...); });
    claims.colours.push_back({{}, "moov", 5});
    standInOtherFile(claims, "init");
    withAll([&](const auto&... claim) { expectAll("init: moov", std::nullopt, claim..., &claims.colours[0]); });
}

TEST(IsoBaseMedia, ReadsMediaSegmentsWithTheirInitSegment)
{
    const Bytes segment = mediaSegment();
    EXPECT_TRUE(read(segment).tells("give it with --init FILE"));
    const Bytes init = initSegment();
    const auto pInit = makeRandomSource(init);
    const auto pSource = makeRandomSource(segment);
    CContainerRecord record;
    readIsoBaseMedia(*pSource, {}, record, pInit.get());
    EXPECT_EQ(record.findings(), "");
    ASSERT_EQ(record.m_units.size(), 6U);
    EXPECT_FALSE(record.m_units[0].ulOffset); // they stand in another file
    EXPECT_TRUE(standWhereTheySay(record, segment));
    const auto pNone = makeRandomSource(FTYP);
    CContainerRecord without;
    readIsoBaseMedia(*pSource, {}, without, pNone.get());
    EXPECT_TRUE(without.tells("the initialisation segment has no moov"));
}

TEST(IsoBaseMedia, TakesDefaultsOfFragmentsFromEveryPlace)
{
    const auto fragment = [](const Bytes& tfhd, const Bytes& trun) { return box("moof", {box("traf", {tfhd, trun})}); };
    const Bytes init = initSegment(true);
    const Bytes plain = fragment(fullBox("tfhd", 0, 0, {be(4, 1)}), fullBox("trun", 0, 1, {be(4, 1), be(4, 0)}));
    const std::size_t uiData = plain.size() + 8;
    const struct
    {
        const char* pName;
        Bytes moof;
    } aCases[] = {
        {"sizes of trex, offset from the moof",
         fragment(fullBox("tfhd", 0, 0, {be(4, 1)}), fullBox("trun", 0, 1, {be(4, 1), be(4, uiData)}))},
        {"everything in tfhd, offset of the file",
         fragment(fullBox("tfhd", 0, 0x1b, {be(4, 1), be(8, init.size() + uiData + 20), be(4, 1), be(4, 4), be(4, 8)}),
                  fullBox("trun", 0, 0, {be(4, 1), zeros(4)}))},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const CContainerRecord record = read(joined({init, c.moof, box("mdat", {prefixed({TRAIL})})}));
        EXPECT_EQ(record.findings(), "");
        ASSERT_EQ(record.m_units.size(), 4U);
        EXPECT_EQ(record.m_units[3].bytes, TRAIL);
    }
}

TEST(IsoBaseMedia, TellsOfFragmentsThatNoTrexAnnounces)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    track.stts = fullBox("stts", 0, 0, {be(4, 0)});
    track.runs = {};
    const Bytes trex = fullBox("trex", 0, 0, {be(4, 2), be(4, 1), be(4, 4), be(4, 0), be(4, 0)}); // of another track
    for (const Bytes& mvex : {Bytes(), box("mvex", {}), box("mvex", {trex})}) {
        const CContainerRecord record =
            read(joined({FTYP, box("moov", {trak(track), mvex}), mediaSegment(), mediaSegment(100)}));
        ASSERT_EQ(record.m_findings.size(), 1U) << record.findings(); // once
        EXPECT_TRUE(record.tells("a fragment of a track that no trex in moov/mvex announces"));
        EXPECT_EQ(record.m_findings[0].box, "moof/traf/tfhd");
        EXPECT_EQ(record.m_findings[0].eSeverity, ESeverity::Error);
        EXPECT_EQ(record.m_units.size(), 9U);
    }
}

TEST(IsoBaseMedia, TellsOfASecondMoov)
{
    const Bytes twice = joined({initSegment(), mediaSegment(), initSegment(), mediaSegment(100), initSegment()});
    const CContainerRecord record = read(twice);
    ASSERT_EQ(record.m_findings.size(), 1U) << record.findings();
    EXPECT_EQ(
        record.m_findings[0].message,
        "a second moov, of another file that is joined on: most players read the first one only [14496-12 8.2.1]");
    EXPECT_EQ(record.m_findings[0].eSeverity, ESeverity::Warning);
    EXPECT_EQ(record.m_findings[0].ulOffset, initSegment().size() + mediaSegment().size() + FTYP.size());
    // An initialisation segment may stand in front of a media segment too.
    const Bytes whole = joined({initSegment(), mediaSegment()});
    const Bytes init = initSegment();
    const auto pInit = makeRandomSource(init);
    const auto pSource = makeRandomSource(whole);
    CContainerRecord both;
    readIsoBaseMedia(*pSource, {}, both, pInit.get());
    EXPECT_EQ(both.findings(), "");
}

// Offsets of a file that is joined to another count from where it begins.
TEST(IsoBaseMedia, ReadsFilesThatAreJoined)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    const Bytes atTheEnd = movie(track, {prefixed({IDR, TRAIL}), prefixed({TRAIL})});
    const Bytes fragment = mediaSegment();
    const Bytes data = box("mdat", {prefixed({TRAIL})});
    const auto withBase = [&](std::uint64_t ulBase) { // 8.8.7
        return joined({initSegment(),
                       box("moof",
                           {box("traf",
                                {fullBox("tfhd", 0, 0x11, {be(4, 1), be(8, ulBase), be(4, prefixed({TRAIL}).size())}),
                                 fullBox("trun", 0, 0, {be(4, 1)})})}),
                       data});
    };
    const Bytes based = withBase(withBase(0).size() - data.size() + 8);
    const std::vector<Bytes> files = {atTheEnd,
                                      based,
                                      containerFile("faststart.mp4"),
                                      containerFile("fragmented.mp4"),
                                      containerFile("hev1.mov"),
                                      containerFile("single.heic")};
    for (const Bytes& first : files) {
        for (const Bytes& second : files) {
            const Bytes file = joined({first, second});
            const CContainerRecord record = read(file);
            EXPECT_TRUE(standWhereTheySay(record, file));
            std::vector<Bytes> expected = read(first).unitBytes();
            const std::vector<Bytes> behind = read(second).unitBytes();
            ASSERT_FALSE(behind.empty());
            expected.insert(expected.end(), behind.begin(), behind.end());
            EXPECT_EQ(record.unitBytes(), expected) << &first - files.data() << ' ' << &second - files.data();
            const bool bImages = &first == &files.back() && &second == &files.back();
            const bool bMovies = &first != &files.back() && &second != &files.back();
            EXPECT_EQ(record.tells("a second moov, of another file that is joined on"), bMovies);
            EXPECT_EQ(record.tells("a second meta, of another file that is joined on"), bImages);
        }
    }
    // Its ftyp may stand behind the samples.
    const Bytes behindData = joined({box("mdat", {prefixed({IDR})}), FTYP});
    track.chunks = {8};
    track.sizes = {static_cast<std::uint32_t>(prefixed({IDR}).size())};
    EXPECT_EQ(read(joined({behindData, box("moov", {trak(track)})})).m_units.at(3).bytes, IDR);
    // Without an ftyp of its own a second moov's offsets are those of the file.
    const Bytes moov(atTheEnd.begin() +
                         static_cast<std::ptrdiff_t>(FTYP.size() + 8 + prefixed({IDR, TRAIL, TRAIL}).size()),
                     atTheEnd.end());
    const CContainerRecord twice = read(joined({atTheEnd, moov}));
    EXPECT_EQ(twice.m_units.size(), 2 * read(atTheEnd).m_units.size());
    EXPECT_TRUE(twice.tells("a second moov: most players read the first one only"));
}

// Its track can have the number of another codec's in the file in front.
TEST(IsoBaseMedia, TellsATrackOfH265BehindAnotherWithItsNumber)
{
    TrackSyntax track;
    track.entries = {visualEntry("mp4v", {})};
    const Bytes other = movie(track, {Bytes(9, 5)});
    track.entries = {hvc1()};
    track.sizes.clear();
    const CContainerRecord record = read(joined({other, movie(track, {prefixed({IDR})})}));
    ASSERT_EQ(record.m_tracks.size(), 2U);
    EXPECT_FALSE(record.m_tracks[0].bIsH265);
    EXPECT_TRUE(record.m_tracks[1].bIsH265);
    EXPECT_EQ(record.m_units.size(), 4U);
}

// 8.8.7: without a base of its own, a traf's data begins behind that of the traf in front.
TEST(IsoBaseMedia, FindsTheDataOfFragmentsBehindThatOfOtherTracks)
{
    const Bytes sound(40, 0x11);
    const Bytes sample = prefixed({TRAIL});
    const auto traf = [](unsigned uiTrack, const Bytes& data, unsigned uiFlags, unsigned uiOffset) {
        const Bytes offset = (uiFlags & 1) != 0 ? be(4, uiOffset) : Bytes();
        const Bytes size = (uiFlags & 0x200) != 0 ? be(4, data.size()) : Bytes();
        return box("traf",
                   {fullBox("tfhd", 0, 0x10, {be(4, uiTrack), be(4, size.empty() ? data.size() : 0)}),
                    fullBox("trun", 0, uiFlags, {be(4, 1), offset, size})});
    };
    TrackSyntax video;
    video.entries = {hvc1()};
    video.stts = fullBox("stts", 0, 0, {be(4, 0)});
    video.runs = {};
    TrackSyntax audio = video;
    audio.uiTrack = 2;
    audio.handler = "soun";
    audio.entries = {box("mp4a", {zeros(28)})};
    TrackSyntax second = video;
    second.uiTrack = 4;
    const auto trex = [](unsigned uiTrack) {
        return fullBox("trex", 0, 0, {be(4, uiTrack), be(4, 1), be(4, 4), be(4, 0), be(4, 0)});
    };
    const Bytes mvex = box("mvex", {trex(1), trex(2), trex(4)});
    const Bytes init = joined({FTYP, box("moov", {trak(video), trak(audio), trak(second), mvex})});
    for (const unsigned uiFlags : {0U, 0x200U}) {
        for (const unsigned uiOther : {2U, 3U, 4U}) { // 3: of no moov
            SCOPED_TRACE(std::to_string(uiFlags) + " " + std::to_string(uiOther));
            const Bytes first = uiOther == 4 ? prefixed({IDR, TRAIL}) : sound;
            const auto moof = [&](unsigned uiOffset) {
                return box("moof", {traf(uiOther, first, uiFlags | 1, uiOffset), traf(1, sample, uiFlags, 0)});
            };
            const auto uiOffset = static_cast<unsigned>(moof(0).size() + 8);
            const Bytes file = joined({init, moof(uiOffset), box("mdat", {first, sample})});
            for (const CContainerRecord& record : {read(file), read(file, {.bHead = true})}) {
                EXPECT_EQ(record.m_findings.size(), uiOther == 3 ? 1U : 0U) << record.findings();
                ASSERT_FALSE(record.m_units.empty());
                EXPECT_EQ(record.m_units.back().bytes, TRAIL);
                EXPECT_EQ(record.m_units.back().place, "track 1, sample 1 at 0 s");
            }
        }
    }
}

TEST(IsoBaseMedia, GoesOnInTimeFromTheSamplesOfTheMoovToFragments)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    const Bytes samples = joined({prefixed({IDR}), prefixed({TRAIL})});
    const Bytes front = joined({FTYP, box("mdat", {samples})});
    track.sizes = {static_cast<std::uint32_t>(prefixed({IDR}).size()),
                   static_cast<std::uint32_t>(prefixed({TRAIL}).size())};
    track.chunks = {FTYP.size() + 8};
    track.runs = {{1, 2, 1}};
    const Bytes trex = fullBox("trex", 0, 0, {be(4, 1), be(4, 1), be(4, 4), be(4, 8), be(4, 0)});
    const Bytes moof = box("moof",
                           {box("traf",
                                {fullBox("tfhd", 0, 0x20000, {be(4, 1)}),
                                 fullBox("trun", 0, 1, {be(4, 1), be(4, 8 + 8 + 16 + 20 + 8)})})});
    const CContainerRecord record =
        read(joined({front, box("moov", {trak(track), box("mvex", {trex})}), moof, box("mdat", {prefixed({TRAIL})})}));
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(record.m_units.back().bytes, TRAIL);
    EXPECT_EQ(record.m_units.back().place, "track 1, sample 3 at 0.08 s");
}

} // namespace

} // namespace iso_base_media_fragments_test
