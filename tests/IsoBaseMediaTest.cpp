// Movies: their tracks, samples and claims.

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContainerFiles.h"
#include "MovieFixture.h"

namespace iso_base_media_test {

using namespace h265_container;
using namespace h265_test;
using namespace h265_test::movies;

namespace {

TEST(IsoBaseMedia, FindsTheUnitsOfMuxedFiles)
{
    const struct
    {
        const char* pFile;
        const char* pStream;
        std::size_t uiTracks;
        const char* pCodec;
    } aCases[] = {{"hvc1.mp4", "gop_b3_pyramid", 1, "hvc1"},
                  {"faststart.mp4", "gop_b3_pyramid", 1, "hev1"},
                  {"hev1.mov", "gop_open_repeat_headers", 1, "hev1"},
                  {"fragmented.mp4", "gop_open_repeat_headers", 1, "hvc1"},
                  {"with_sound.mp4", "gop_b3_pyramid", 2, "hvc1"}};
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pFile);
        const Bytes file = containerFile(c.pFile);
        const StreamUnits stream(c.pStream);
        const CContainerRecord record = read(file);
        // The muxer counts the first zero byte of a start code as part of the unit in front.
        for (const ContainerFinding& finding : record.m_findings)
            EXPECT_EQ(finding.message, "1 zero byte behind a NAL unit, counted as part of it");
        EXPECT_TRUE(areTheSlicesOf(record, stream));
        EXPECT_EQ(differentOnes(setsOf(record)), differentOnes(stream.m_sets));
        EXPECT_TRUE(standWhereTheySay(record, file));
        ASSERT_EQ(record.m_tracks.size(), c.uiTracks);
        EXPECT_TRUE(record.m_tracks[0].bIsH265);
        EXPECT_EQ(record.m_tracks[0].codec, c.pCodec);
        ASSERT_EQ(record.m_claims.size(), 1U);
        EXPECT_EQ(record.m_claims[0].entrySize->value.width, 176);
        EXPECT_EQ(record.m_claims[0].trackSize->value.height, 144);
        EXPECT_EQ(record.m_claims[0].hvcC->value.configurationVersion, 1);
        EXPECT_EQ(record.m_units[0].place, "track 1, hvcC");
    }
}

TEST(IsoBaseMedia, TellsPlaceTimeAndOffsetOfEverySample)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    track.more = fullBox("ctts", 0, 0, {be(4, 2), be(4, 1), be(4, 8), be(4, 1), be(4, 0)});
    const Bytes file = movie(track, {prefixed({SPS, IDR}), prefixed({TRAIL, TRAIL})});
    const CContainerRecord record = read(file);
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(record.places(),
              (std::vector<std::string>{"track 1, hvcC",
                                        "track 1, hvcC",
                                        "track 1, hvcC",
                                        "track 1, sample 1 at 0.08 s",
                                        "track 1, sample 1 at 0.08 s",
                                        "track 1, sample 2 at 0.04 s",
                                        "track 1, sample 2 at 0.04 s"}));
    EXPECT_TRUE(standWhereTheySay(record, file));
    EXPECT_EQ(record.m_units[3].bytes, SPS);
    EXPECT_EQ(record.m_units[3].ulOffset, FTYP.size() + 12);
    EXPECT_EQ(record.m_units[4].ulSize, IDR.size());
    ASSERT_TRUE(record.m_claims[0].constantFrameRate);
    EXPECT_EQ(record.m_claims[0].constantFrameRate->value.ulPictures, 100U);
    EXPECT_EQ(record.m_claims[0].constantFrameRate->value.ulSeconds, 4U);
}

TEST(IsoBaseMedia, ReadsEverySampleEntryOfH265)
{
    for (const char* pType : {"hvc1", "hev1", "hvc2", "hev2", "lhv1", "lhe1", "hvt1", "dvh1", "dvhe"}) {
        SCOPED_TRACE(pType);
        TrackSyntax track;
        track.entries = {visualEntry(pType, {box("hvcC", {hvcCContent({SPS})})})};
        const CContainerRecord record = read(movie(track, {prefixed({IDR})}));
        EXPECT_EQ(record.findings(), "");
        ASSERT_EQ(record.m_tracks.size(), 1U);
        EXPECT_EQ(record.m_tracks[0].codec, pType);
        EXPECT_EQ(record.m_units.size(), 2U);
    }
    TrackSyntax track;
    track.entries = {visualEntry(
        "encv", {box("hvcC", {hvcCContent({SPS})}), box("sinf", {box("frma", {text("hev1")}), box("schi", {})})})};
    const CContainerRecord record = read(movie(track, {prefixed({IDR})}));
    EXPECT_EQ(record.m_tracks[0].codec, "hev1");
    EXPECT_EQ(record.m_units.size(), 2U);
    EXPECT_TRUE(record.tells("protected"));
}

TEST(IsoBaseMedia, PassesOverTracksThatAreNoH265)
{
    TrackSyntax picture;
    picture.entries = {hvc1()};
    picture.sizes = {static_cast<std::uint32_t>(prefixed({IDR}).size())};
    picture.chunks = {FTYP.size() + 8};
    TrackSyntax other = picture;
    other.uiTrack = 2;
    other.entries = {visualEntry("avc1", {})};
    TrackSyntax sound = picture;
    sound.uiTrack = 3;
    sound.handler = "soun";
    sound.entries = {box("mp4a", {zeros(28)})};
    TrackSyntax words = sound;
    words.uiTrack = 4;
    words.handler = "sbtl";
    words.entries = {};
    const CContainerRecord record = read(joined(
        {FTYP, box("mdat", {prefixed({IDR})}), box("moov", {trak(other), trak(picture), trak(sound), trak(words)})}));
    ASSERT_EQ(record.m_tracks.size(), 4U);
    EXPECT_EQ(record.m_tracks[0].codec, "avc1");
    EXPECT_EQ(record.m_tracks[0].reason, "it is no H.265");
    EXPECT_TRUE(record.m_tracks[1].reason.empty());
    EXPECT_EQ(record.m_tracks[2].eKind, ETrackKind::Audio);
    EXPECT_EQ(record.m_tracks[3].eKind, ETrackKind::Text);
    EXPECT_EQ(record.m_tracks[3].reason, "it has no sample description");
    EXPECT_EQ(record.m_units.size(), 4U);
}

TEST(IsoBaseMedia, BringsTheSetsOfTheDescriptionThatASampleUses)
{
    TrackSyntax track;
    track.entries = {hvc1({box("hvcC", {hvcCContent({SPS})})}),
                     hvc1({box("hvcC", {hvcCContent({OTHER_SPS}, 2)})}),
                     visualEntry("avc1", {}),
                     hvc1({box("hvcC", {hvcCContent({PPS})})})};
    const Bytes first = prefixed({IDR});
    const Bytes second = prefixed({TRAIL}, 2);
    const std::uint64_t ulData = FTYP.size() + 8;
    track.sizes = {static_cast<std::uint32_t>(first.size()),
                   static_cast<std::uint32_t>(second.size()),
                   4,
                   static_cast<std::uint32_t>(first.size())};
    track.chunks = {ulData, ulData + first.size(), ulData, ulData};
    track.runs = {{1, 1, 1}, {2, 1, 2}, {3, 1, 3}, {4, 1, 1}};
    for (const bool bLarge : {false, true}) {
        track.bLarge = bLarge;
        const CContainerRecord record = read(joined({FTYP, box("mdat", {first, second}), box("moov", {trak(track)})}));
        EXPECT_EQ(record.findings(), "");
        const std::vector<std::string> places = record.places();
        EXPECT_EQ(places[0], "track 1, hvcC of sample description 1");
        // Chunks are walked in the track's order, from wherever they lie.
        EXPECT_EQ(places[1], "track 1, sample 1 at 0 s");
        EXPECT_EQ(places[2], "track 1, hvcC of sample description 2");
        EXPECT_EQ(places[3], "track 1, sample 2 at 0.04 s");
        EXPECT_EQ(places[4], "track 1, hvcC of sample description 1");
        EXPECT_EQ(places[5], "track 1, sample 4 at 0.12 s");
        EXPECT_EQ(places[6], "track 1, hvcC of sample description 4");
        EXPECT_EQ(record.m_units[3].bytes, TRAIL);
        EXPECT_EQ(record.m_claims.size(), 3U);
        EXPECT_EQ(record.m_claims[1].uiDescription, 2U);
    }
}

TEST(IsoBaseMedia, ClaimsAConstantRateOfDescriptionsThatHaveSamples)
{
    const Bytes sample = prefixed({IDR});
    const struct
    {
        std::vector<std::vector<std::uint32_t>> runs;
        std::vector<bool> claimed;
    } aCases[] = {
        {{{1, 2, 1}}, {true, false, false}},
        {{{1, 2, 2}}, {false, true, false}},
        {{{1, 1, 3}, {2, 1, 1}}, {true, false, true}},
        {{{1, 1, 0}, {2, 1, 4}}, {false, false, false}}, // none that is there
    };
    for (const auto& c : aCases) {
        TrackSyntax track;
        track.entries = {hvc1(), hvc1(), hvc1()};
        const auto uiSize = static_cast<std::uint32_t>(sample.size());
        track.sizes = {uiSize, uiSize};
        track.chunks = {FTYP.size() + 8, FTYP.size() + 8};
        track.runs = c.runs;
        const CContainerRecord record = read(joined({FTYP, box("mdat", {sample}), box("moov", {trak(track)})}));
        ASSERT_EQ(record.m_claims.size(), 3U);
        for (const ContainerClaims& claims : record.m_claims)
            EXPECT_EQ(claims.constantFrameRate.has_value(), c.claimed.at(claims.uiDescription - 1));
    }
}

TEST(IsoBaseMedia, ReadsLengthsOfOneTwoAndFourBytes)
{
    for (const unsigned uiBytes : {1U, 2U, 3U, 4U}) {
        TrackSyntax track;
        track.entries = {hvc1({box("hvcC", {hvcCContent({SPS}, uiBytes)})})};
        const CContainerRecord record = read(movie(track, {prefixed({IDR, TRAIL}, uiBytes)}));
        ASSERT_EQ(record.m_units.size(), 3U);
        EXPECT_EQ(record.m_units[1].bytes, IDR);
        EXPECT_EQ(record.tells("lengths of 3 bytes are not allowed"), uiBytes == 3);
    }
}

// A length of 256 to 511 looks like a start code.
TEST(IsoBaseMedia, TakesALengthForNoStartCode)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    Bytes slice = joined({IDR, Bytes(0x126 - 6, 9)});
    const CContainerRecord record = read(movie(track, {prefixed({slice, TRAIL})}));
    ASSERT_EQ(record.m_units.size(), 5U);
    EXPECT_EQ(record.m_units[3].ulSize, 0x126U);
    EXPECT_EQ(record.m_units[3].bytes.size(), UNIT_HEAD_BYTES);
    EXPECT_EQ(record.m_units[4].bytes, TRAIL);
}

TEST(IsoBaseMedia, ReadsEveryClaim)
{
    TrackSyntax track;
    track.entries = {
        hvc1({box("hvcC", {hvcCContent({SPS})}),
              box("lhvC", {be(1, 1), be(2, 0xf000), be(1, 0xfc), be(1, 0xc3 | 8), be(1, 0)}),
              box("pasp", {be(4, 16), be(4, 15)}),
              box("clap", {be(4, 60), be(4, 1), be(4, 40), be(4, 2), be(4, 0xfffffffe), be(4, 3), be(4, 5), be(4, 4)}),
              box("colr", {text("nclx"), be(2, 9), be(2, 16), be(2, 10), be(1, 0x80)}),
              box("colr", {text("nclc"), be(2, 1), be(2, 2), be(2, 3)}),
              box("colr", {text("prof"), zeros(9)}),
              fullBox("ispe", 0, 0, {be(4, 66), be(4, 50)}),
              box("fiel", {be(1, 2), be(1, 9)}),
              fullBox("pixi", 0, 0, {be(1, 3), be(1, 8), be(1, 10), be(1, 12)})})};
    const CContainerRecord record = read(movie(track, {prefixed({IDR})}));
    EXPECT_EQ(record.findings(), "");
    ASSERT_EQ(record.m_claims.size(), 1U);
    const ContainerClaims& claims = record.m_claims[0];
    EXPECT_EQ(claims.codec, "hvc1");
    EXPECT_EQ(claims.hvcC->value.general_level_idc, 93);
    EXPECT_EQ(claims.hvcC->box, "moov/trak/mdia/minf/stbl/stsd/hvc1/hvcC");
    EXPECT_EQ(claims.lhvC->value.numTemporalLayers, 1);
    EXPECT_EQ(claims.pixelShape->value.uiHorizontal, 16U);
    EXPECT_EQ(claims.pixelShape->value.uiVertical, 15U);
    EXPECT_EQ(claims.cleanAperture->value.uiHeightD, 2U);
    EXPECT_EQ(claims.cleanAperture->value.iHorizOffN, -2);
    EXPECT_EQ(claims.cleanAperture->value.uiVertOffD, 4U);
    ASSERT_EQ(claims.colours.size(), 3U);
    EXPECT_EQ(claims.colours[0].value.uiMatrix, 10U);
    EXPECT_EQ(claims.colours[0].value.bFullRange, true);
    EXPECT_EQ(claims.colours[1].value.type, "nclc");
    EXPECT_EQ(claims.colours[1].value.uiTransfer, 2U);
    EXPECT_FALSE(claims.colours[1].value.bFullRange);
    EXPECT_FALSE(claims.colours[2].value.uiMatrix);
    EXPECT_EQ(claims.imageSize->value.height, 50);
    EXPECT_EQ(claims.pixelDepths->value, (std::vector<unsigned>{8, 10, 12}));
    EXPECT_TRUE(claims.scan->value.bInterlaced);
    EXPECT_EQ(claims.scan->box, "moov/trak/mdia/minf/stbl/stsd/hvc1/fiel");
    EXPECT_EQ(claims.entrySize->value.width, 64);
    EXPECT_EQ(claims.trackSize->value.height, 48);
    // Of one field it says progressive, of other numbers nothing.
    for (const unsigned uiFields : {0U, 1U, 3U}) {
        track.entries = {hvc1({box("hvcC", {hvcCContent({SPS})}), box("fiel", {be(1, uiFields), be(1, 0)})})};
        const std::optional<Claim<ScanClaim>> scan = read(movie(track, {prefixed({IDR})})).m_claims.at(0).scan;
        ASSERT_EQ(scan.has_value(), uiFields == 1);
        EXPECT_FALSE(scan && scan->value.bInterlaced);
    }
}

TEST(IsoBaseMedia, ReadsBoxesOfSixtyFourBits)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    const Bytes sample = prefixed({IDR});
    track.sizes = {static_cast<std::uint32_t>(sample.size())};
    track.chunks = {FTYP.size() + 16};
    const Bytes file = joined({FTYP, largeBox("mdat", {sample}), largeBox("moov", {trak(track)})});
    const CContainerRecord record = read(file);
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(record.m_units.size(), 4U);
    // The last box can have size 0: to the end.
    Bytes open = joined({FTYP, largeBox("mdat", {sample}), box("moov", {trak(track)})});
    std::fill_n(open.begin() + static_cast<std::ptrdiff_t>(FTYP.size() + 16 + sample.size()), 4, 0);
    EXPECT_EQ(read(open).findings(), "");
    EXPECT_EQ(read(open).m_units.size(), 4U);
}

TEST(IsoBaseMedia, ReadsConstantAndCompactSampleSizes)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    track.stts = fullBox("stts", 0, 0, {be(4, 1), be(4, 2), be(4, 4)});
    const Bytes samples = joined({prefixed({TRAIL}), prefixed({TRAIL})});
    const auto withSizes = [&](const Bytes& sizes) {
        Bytes file = movie(track, {samples});
        const Bytes old = joined({text("stsz")});
        const auto at = std::search(file.begin(), file.end(), old.begin(), old.end()) - 4;
        std::copy(sizes.begin(), sizes.end(), at); // both have 24 bytes
        const Bytes stsc = text("stsc");
        const auto run = std::search(file.begin(), file.end(), stsc.begin(), stsc.end());
        run[4 + 4 + 4 + 7] = 2; // samples a chunk
        return read(file);
    };
    for (const Bytes& sizes : {joined({be(4, 24), text("stsz"), be(4, 0), be(4, 8), be(4, 2), be(4, 0)}),
                               joined({be(4, 24), text("stz2"), be(4, 0), be(4, 16), be(4, 2), be(2, 8), be(2, 8)}),
                               joined({be(4, 24), text("stz2"), be(4, 0), be(4, 8), be(4, 2), be(2, 0x0808), be(2, 0)}),
                               joined({be(4, 24), text("stz2"), be(4, 0), be(4, 4), be(4, 2), be(4, 0x88000000)})}) {
        const CContainerRecord record = withSizes(sizes);
        EXPECT_EQ(record.findings(), "");
        EXPECT_EQ(record.m_units.size(), 5U);
    }
    EXPECT_TRUE(
        withSizes(joined({be(4, 24), text("stz2"), be(4, 0), be(4, 7), be(4, 2), be(4, 0)})).tells("sizes of 7 bits"));
}

TEST(IsoBaseMedia, ReadsEntriesThatStandForOneOfH265)
{
    const Bytes hvcC = box("hvcC", {hvcCContent({SPS})});
    const auto original = [](std::string_view info, std::string_view type) {
        return box(info, {box("frma", {text(type)})});
    };
    const auto with = [](const Bytes& entry) {
        TrackSyntax track;
        track.entries = {entry};
        return read(movie(track, {prefixed({IDR})}));
    };
    const CContainerRecord restricted = with(visualEntry("resv", {hvcC, original("rinf", "hvc1")}));
    EXPECT_TRUE(restricted.tells("the samples are restricted"));
    EXPECT_EQ(restricted.m_units.size(), 2U);
    EXPECT_EQ(restricted.m_claims.at(0).codec, "hvc1");
    const CContainerRecord both = with(visualEntry("encv", {hvcC, original("rinf", "hev1"), original("sinf", "resv")}));
    EXPECT_TRUE(both.tells("the samples are protected"));
    EXPECT_EQ(both.m_claims.at(0).codec, "hev1");
    EXPECT_EQ(with(visualEntry("resv", {original("rinf", "avc1")})).m_units.size(), 0U);
}

TEST(IsoBaseMedia, ReadsTheLengthsOfHvcCWhereLhvCSaysOthers)
{
    const Bytes lhvC = joined({be(1, 1), be(2, 0xf000), be(1, 0xfc), be(1, 0xcd), be(1, 0)});
    TrackSyntax track;
    track.entries = {hvc1({box("hvcC", {hvcCContent({SPS})}), box("lhvC", {lhvC})})};
    const CContainerRecord record = read(movie(track, {prefixed({IDR})}));
    ASSERT_TRUE(record.tells("says lengths of 2 bytes, hvcC of 4"));
    EXPECT_EQ(record.finding("says lengths of 2")->box, "moov/trak/mdia/minf/stbl/stsd/hvc1/lhvC");
    EXPECT_EQ(record.m_units.back().bytes, IDR);
}

TEST(IsoBaseMedia, TakesNoHarmFromAMetaOfQuickTime)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    const Bytes meta =
        box("meta", {fullBox("hdlr", 0, 0, {zeros(4), text("mdta"), zeros(13)}), box("keys", {zeros(8)})});
    const CContainerRecord record = read(joined({movie(track, {prefixed({IDR})}), meta}));
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(record.m_units.size(), 4U);
}

TEST(IsoBaseMedia, EndsAHeadBehindTheFirstSlice)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    const CContainerRecord record =
        read(movie(track, {prefixed({SPS, IDR, TRAIL}), prefixed({TRAIL})}), {.bHead = true});
    EXPECT_EQ(record.findings(), "");
    ASSERT_EQ(record.m_units.size(), 5U);
    EXPECT_EQ(record.m_units.back().bytes, IDR);
    EXPECT_EQ(read(joined({initSegment(), mediaSegment(), mediaSegment()}), {.bHead = true}).m_units.size(), 5U);
}

TEST(IsoBaseMedia, EndsWhenTheSinkSaysSo)
{
    const Bytes file = joined({initSegment(), mediaSegment(), mediaSegment()});
    for (std::size_t i = 1; i < 9; ++i) {
        CContainerRecord record;
        record.m_uiLast = i;
        const auto pSource = makeRandomSource(file);
        readIsoBaseMedia(*pSource, {}, record);
        EXPECT_EQ(record.m_units.size(), i);
    }
}

TEST(IsoBaseMedia, ReadsAStreamForwardWhereTheMoovIsInFront)
{
    const Bytes front = containerFile("faststart.mp4");
    EXPECT_EQ(readForward(front).findings(), read(front).findings());
    EXPECT_EQ(readForward(front).places(), read(front).places());
    const CContainerRecord record = readForward(containerFile("hvc1.mp4"));
    EXPECT_TRUE(record.tells("a stream cannot be read backwards"));
    EXPECT_TRUE(record.m_units.empty());
    EXPECT_TRUE(readForward(joined({FTYP, be(4, 0x7fffffff), text("moov")})).tells("too large to be kept"));
    Bytes cut = front;
    cut.pop_back();
    EXPECT_TRUE(readForward(cut).tells("the file ends early"));
}

TEST(IsoBaseMedia, TakesALaterMoovForTheTracksBehindIt)
{
    const Bytes file = joined({initSegment(), mediaSegment(), initSegment(), mediaSegment()});
    const CContainerRecord record = read(file);
    EXPECT_EQ(record.m_findings.size(), 1U) << record.findings();
    EXPECT_EQ(record.m_tracks.size(), 1U);
    EXPECT_EQ(record.m_claims.size(), 2U);
    EXPECT_EQ(record.m_units.size(), 12U);
}

} // namespace

} // namespace iso_base_media_test
