#include "IsoBaseMedia.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContainerFiles.h"
#include "MovieWriter.h"
#include "VirtualSource.h"

namespace iso_base_media_test {

using namespace h265_container;
using namespace h265_test;

namespace {

const Bytes VPS{0x40, 1, 0x0c, 1};
const Bytes SPS{0x42, 1, 1, 2, 3};
const Bytes OTHER_SPS{0x42, 1, 1, 9, 9};
const Bytes PPS{0x44, 1, 0xc1};
const Bytes IDR{0x26, 1, 0xaf, 7, 7, 7};
const Bytes TRAIL{0x02, 1, 0xd0, 5};

CContainerRecord read(const Bytes& file, const ContainerOptions& options = {})
{
    CContainerRecord record;
    const auto pSource = makeRandomSource(file);
    readIsoBaseMedia(*pSource, options, record);
    return record;
}

CContainerRecord readForward(const Bytes& file, const ContainerOptions& options = {})
{
    CContainerRecord record;
    const auto pSource = makeForwardSource(h265_stream::makeByteSource(file));
    readIsoBaseMedia(*pSource, options, record);
    return record;
}

const Bytes FTYP = box("ftyp", {text("isom"), be(4, 0)});

Bytes hvc1(std::initializer_list<Bytes> boxes = {box("hvcC", {hvcCContent({VPS, SPS, PPS})})})
{
    return visualEntry("hvc1", boxes);
}

// ftyp, mdat with the samples of one chunk, moov.
Bytes movie(TrackSyntax track, const std::vector<Bytes>& samples)
{
    Bytes data;
    for (const Bytes& sample : samples) {
        track.sizes.push_back(static_cast<std::uint32_t>(sample.size()));
        data = joined({data, sample});
    }
    track.chunks = {FTYP.size() + 8};
    track.runs = {{1, static_cast<std::uint32_t>(samples.size()), 1}};
    return joined({FTYP, box("mdat", {data}), box("moov", {trak(track)})});
}

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
            EXPECT_EQ(finding.message, "1 zero bytes behind a NAL unit count as part of it");
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

TEST(IsoBaseMedia, FindsTheUnitsOfAnImage)
{
    const Bytes file = containerFile("single.heic");
    const CContainerRecord record = read(file);
    EXPECT_EQ(record.findings(), "");
    ASSERT_EQ(record.m_claims.size(), 1U);
    EXPECT_EQ(record.m_claims[0].imageSize->value.width, 64);
    EXPECT_EQ(record.m_claims[0].imageSize->value.height, 64);
    EXPECT_EQ(setsOf(record).size(), 3U);
    EXPECT_EQ(slicesOf(record).size(), 1U);
    EXPECT_TRUE(standWhereTheySay(record, file));
    EXPECT_EQ(record.m_units.back().place.substr(0, 5), "item ");
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
    EXPECT_EQ(claims.entrySize->value.width, 64);
    EXPECT_EQ(claims.trackSize->value.height, 48);
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

// A fragment behind a moov without samples.
Bytes initSegment(bool bDefaults = false)
{
    TrackSyntax track;
    track.entries = {hvc1()};
    track.stts = fullBox("stts", 0, 0, {be(4, 0)});
    track.runs = {};
    const Bytes trex = fullBox("trex", 0, 0, {be(4, 1), be(4, 1), be(4, 4), be(4, bDefaults ? 8 : 0), be(4, 0)});
    return joined({FTYP, box("moov", {trak(track), box("mvex", {trex})})});
}

Bytes mediaSegment(std::uint32_t uiTime = 50)
{
    const Bytes sample = prefixed({SPS, IDR});
    const auto moof = [&](std::uint32_t uiOffset) {
        return box("moof",
                   {fullBox("mfhd", 0, 0, {be(4, 1)}),
                    box("traf",
                        {fullBox("tfhd", 0, 0x20000, {be(4, 1)}),
                         fullBox("tfdt", 0, 0, {be(4, uiTime)}),
                         fullBox("trun",
                                 0,
                                 0xf05,
                                 {be(4, 2),
                                  be(4, uiOffset),
                                  be(4, 0),
                                  be(4, 4),
                                  be(4, sample.size()),
                                  be(4, 0),
                                  be(4, 6),
                                  be(4, 4),
                                  be(4, 8),
                                  be(4, 0),
                                  be(4, 0)})})});
    };
    return joined({moof(static_cast<std::uint32_t>(moof(0).size() + 8)), box("mdat", {sample, prefixed({TRAIL})})});
}

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
    const Bytes init = joined({FTYP, box("moov", {trak(video), trak(audio), trak(second), box("mvex", {})})});
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

// An image file: a grid of two items, one in idat, one in two pieces of the file.
Bytes imageFile(unsigned uiVersion = 1, unsigned uiConstruction = 1, const Bytes& moreInfo = {})
{
    const Bytes data = prefixed({IDR});
    const auto infe = [](unsigned uiItem, std::string_view type) {
        return fullBox("infe", 2, 0, {be(2, uiItem), be(2, 0), text(type), be(1, 0)});
    };
    const auto make = [&](std::uint64_t ulData) {
        const unsigned uiId = uiVersion == 2 ? 4 : 2;
        const auto extent = [](std::uint64_t ulOffset, std::uint64_t ulSize) {
            return joined({be(4, ulOffset), be(4, ulSize)});
        };
        const Bytes iloc = fullBox("iloc",
                                   uiVersion,
                                   0,
                                   {be(2, 0x4400),
                                    be(uiId, 2),
                                    be(uiId, 1),
                                    be(2, uiConstruction),
                                    be(2, 0),
                                    be(2, 1),
                                    extent(0, data.size()),
                                    be(uiId, 2),
                                    be(2, 0),
                                    be(2, 0),
                                    be(2, 2),
                                    extent(ulData, 3),
                                    extent(ulData + 5, data.size() - 3)});
        return box(
            "meta",
            {zeros(4),
             fullBox("hdlr", 0, 0, {zeros(4), text("pict"), zeros(13)}),
             fullBox("iinf", 0, 0, {be(2, 3), infe(1, "hvc1"), infe(2, "hvc1"), infe(3, "grid"), moreInfo}),
             fullBox("iref", 0, 0, {box("dimg", {be(2, 3), be(2, 2), be(2, 1), be(2, 2)})}),
             iloc,
             box("iprp",
                 {box("ipco",
                      {box("hvcC", {hvcCContent({VPS, SPS, PPS})}), fullBox("ispe", 0, 0, {be(4, 64), be(4, 64)})}),
                  fullBox("ipma",
                          0,
                          0,
                          {be(4, 2), be(2, 1), be(1, 2), be(1, 0x81), be(1, 2), be(2, 2), be(1, 1), be(1, 0x81)})}),
             box("idat", {data})});
    };
    const std::uint64_t ulData = FTYP.size() + make(0).size() + 8;
    const auto middle = data.begin() + 3;
    return joined(
        {FTYP, make(ulData), box("mdat", {Bytes(data.begin(), middle), {0xee, 0xee}, Bytes(middle, data.end())})});
}

TEST(IsoBaseMedia, ReadsImageItemsWhereverTheyLie)
{
    for (const unsigned uiVersion : {1U, 2U}) {
        const Bytes file = imageFile(uiVersion);
        const CContainerRecord record = read(file);
        EXPECT_EQ(record.findings(), "");
        EXPECT_EQ(record.places(),
                  (std::vector<std::string>{"item 1, hvcC",
                                            "item 1, hvcC",
                                            "item 1, hvcC",
                                            "item 1",
                                            "item 2, hvcC",
                                            "item 2, hvcC",
                                            "item 2, hvcC",
                                            "item 2"}));
        EXPECT_EQ(record.m_units[3].bytes, IDR);
        EXPECT_EQ(record.m_units[7].bytes, IDR);
        EXPECT_TRUE(record.m_units[3].ulOffset);
        EXPECT_FALSE(record.m_units[7].ulOffset); // in pieces
        EXPECT_TRUE(standWhereTheySay(record, file));
        ASSERT_EQ(record.m_tracks.size(), 3U);
        EXPECT_EQ(record.m_tracks[2].codec, "grid");
        EXPECT_EQ(record.m_tracks[2].reason, "it is made of 2 other items");
        EXPECT_EQ(record.m_claims[0].imageSize->value.width, 64);
        EXPECT_FALSE(record.m_claims[1].imageSize);
    }
}

// An item that lies byte by byte in the file, from its end to its beginning: pieces are joined as they are listed.
TEST(IsoBaseMedia, JoinsAnItemOfManyPieces)
{
    const Bytes data = prefixed({VPS, SPS, PPS, IDR});
    const auto make = [&](std::uint64_t ulData) {
        Bytes iloc = joined({be(2, 0x4400), be(2, 1), be(2, 1), be(2, 0), be(2, 0), be(2, data.size())});
        for (std::size_t i = 0; i < data.size(); ++i)
            iloc = joined({iloc, be(4, ulData + 2 * (data.size() - 1 - i)), be(4, 1)});
        return box(
            "meta",
            {zeros(4),
             fullBox("hdlr", 0, 0, {zeros(4), text("pict"), zeros(13)}),
             fullBox("iinf", 0, 0, {be(2, 1), fullBox("infe", 2, 0, {be(2, 1), be(2, 0), text("hvc1"), be(1, 0)})}),
             fullBox("iloc", 1, 0, {iloc})});
    };
    Bytes scattered;
    for (std::size_t i = data.size(); i-- > 0;) {
        scattered.push_back(data[i]);
        scattered.push_back(0xee);
    }
    const CContainerRecord record =
        read(joined({FTYP, make(FTYP.size() + make(0).size() + 8), box("mdat", {scattered})}));
    ASSERT_EQ(record.m_units.size(), 4U);
    EXPECT_EQ(record.m_units[0].bytes, VPS);
    EXPECT_EQ(record.m_units[1].bytes, SPS);
    EXPECT_EQ(record.m_units[2].bytes, PPS);
    EXPECT_EQ(record.m_units[3].bytes, IDR);
}

// Two images of 64x48 and what a grid makes of them, in idat.
Bytes gridFile(const Bytes& grid, std::uint32_t uiWidth, std::uint32_t uiHeight, unsigned uiImages = 2)
{
    const Bytes image = prefixed({IDR});
    const auto infe = [](unsigned uiItem, std::string_view type) {
        return fullBox("infe", 2, 0, {be(2, uiItem), be(2, 0), text(type), be(1, 0)});
    };
    const auto place = [](unsigned uiItem, std::size_t uiOffset, std::size_t uiSize) {
        return joined({be(2, uiItem), be(2, 1), be(2, 0), be(2, 1), be(4, uiOffset), be(4, uiSize)});
    };
    const auto ispe = [](std::uint32_t uiW, std::uint32_t uiH) {
        return fullBox("ispe", 0, 0, {be(4, uiW), be(4, uiH)});
    };
    Bytes images;
    for (unsigned i = 0; i < uiImages; ++i)
        images = joined({images, be(2, 1 + i % 2)});
    const Bytes properties =
        box("ipco", {box("hvcC", {hvcCContent({VPS, SPS, PPS})}), ispe(64, 48), ispe(uiWidth, uiHeight)});
    const Bytes associations = fullBox("ipma", 0, 0, {be(4, 3), {0, 1, 2, 0x81, 2}, {0, 2, 2, 0x81, 2}, {0, 3, 1, 3}});
    return joined({FTYP,
                   box("meta",
                       {zeros(4),
                        fullBox("iloc",
                                1,
                                0,
                                {be(2, 0x4400),
                                 be(2, 3),
                                 place(1, grid.size(), image.size()),
                                 place(2, grid.size(), image.size()),
                                 place(3, 0, grid.size())}),
                        fullBox("iinf", 0, 0, {be(2, 3), infe(1, "hvc1"), infe(2, "hvc1"), infe(3, "grid")}),
                        fullBox("iref", 0, 0, {box("dimg", {be(2, 3), be(2, uiImages), images})}),
                        box("iprp", {properties, associations}),
                        box("idat", {grid, image})})});
}

TEST(IsoBaseMedia, HoldsWhatAGridClaimsAgainstItsImages)
{
    const auto grid = [](unsigned uiRows, unsigned uiColumns, unsigned uiWidth, unsigned uiHeight) {
        return joined({be(2, 0), be(1, uiRows - 1), be(1, uiColumns - 1), be(2, uiWidth), be(2, uiHeight)});
    };
    EXPECT_EQ(read(gridFile(grid(1, 2, 128, 48), 128, 48)).findings(), "");
    EXPECT_EQ(read(gridFile(grid(2, 1, 60, 90), 60, 90)).findings(), "");
    const Bytes large = joined({{0, 1, 0, 1}, be(4, 128), be(4, 48)});
    EXPECT_EQ(read(gridFile(large, 128, 48)).findings(), "");
    const CContainerRecord size = read(gridFile(grid(1, 2, 128, 48), 120, 48));
    ASSERT_TRUE(size.tells("says 120x48, the grid makes a picture of 128x48"));
    EXPECT_EQ(size.m_findings[0].box, "meta/iprp/ipco/ispe");
    EXPECT_EQ(size.m_findings[0].ulTrack, 3U);
    EXPECT_EQ(read(gridFile(grid(1, 2, 130, 48), 130, 48)).findings().substr(0, 8), "grid at ");
    EXPECT_TRUE(read(gridFile(grid(1, 2, 130, 48), 130, 48))
                    .tells("makes a picture of 130x48, which 2x1 images of 64x48 do not fill"));
    EXPECT_TRUE(read(gridFile(grid(1, 2, 128, 49), 128, 49)).tells("do not fill"));
    EXPECT_TRUE(read(gridFile(grid(2, 2, 128, 96), 128, 96)).tells("is a grid of 2x2 images, and iref names 2"));
    EXPECT_TRUE(read(gridFile(grid(1, 2, 128, 48), 128, 48, 3)).tells("is a grid of 2x1 images, and iref names 3"));
    EXPECT_TRUE(read(gridFile({0, 0, 0, 1, 0, 128, 0}, 128, 48)).tells("ends inside its fields"));
}

// 23008-12 9.3.1: one ipma for each version and flags.
TEST(IsoBaseMedia, ReadsPropertiesFromSeveralAssociations)
{
    const Bytes file = imageFile();
    const Bytes iprp = box("iprp", {});
    const Bytes one = fullBox("ipma", 0, 0, {be(4, 1), be(2, 1), be(1, 2), be(1, 0x81), be(1, 2)});
    const Bytes wide = fullBox("ipma", 1, 1, {be(4, 1), be(4, 2), be(1, 1), be(2, 0x8001)});
    const Bytes old =
        fullBox("ipma", 0, 0, {be(4, 2), be(2, 1), be(1, 2), be(1, 0x81), be(1, 2), be(2, 2), be(1, 1), be(1, 0x81)});
    // In the place of the old one, and of free space in front of the data.
    const auto replace = [](Bytes in, const Bytes& from, const Bytes& to) {
        const auto at = std::search(in.begin(), in.end(), from.begin(), from.end());
        const auto uiAt = at - in.begin();
        in.erase(at, at + static_cast<std::ptrdiff_t>(from.size()));
        in.insert(in.begin() + uiAt, to.begin(), to.end());
        return in;
    };
    const auto uiMore = static_cast<std::uint32_t>(one.size() + wide.size() - old.size());
    Bytes grown = replace(file, old, joined({one, wide}));
    for (const char* pType : {"meta", "iprp"}) {
        const Bytes type = text(pType);
        const auto at = std::search(grown.begin(), grown.end(), type.begin(), type.end()) - 4;
        *(at + 3) = static_cast<unsigned char>(*(at + 3) + uiMore);
        if (*(at + 3) < uiMore)
            ++*(at + 2);
    }
    const CContainerRecord record = read(grown);
    ASSERT_EQ(record.m_claims.size(), 2U);
    EXPECT_TRUE(record.m_claims[0].hvcC);
    EXPECT_TRUE(record.m_claims[1].hvcC);
    EXPECT_FALSE(record.tells("has neither hvcC nor lhvC"));
    Bytes many = one;
    for (unsigned i = 0; i < 16; ++i)
        many = joined({many, one});
    EXPECT_TRUE(read(box("meta", {zeros(4), box("iprp", {many})})).tells("more than 16 of them"));
}

TEST(IsoBaseMedia, TellsWhyAnItemCannotBeRead)
{
    EXPECT_TRUE(read(imageFile(1, 2)).tells("item 1 is made from other items' bytes"));
    const Bytes protectedItem = fullBox("infe", 2, 0, {be(2, 9), be(2, 1), text("hvc1"), be(1, 0)});
    const CContainerRecord record = read(imageFile(1, 1, protectedItem));
    EXPECT_EQ(record.m_tracks.back().reason, "it is protected; only what its properties say is read");
    EXPECT_TRUE(record.tells("item 9 has no place in the file"));
    EXPECT_TRUE(record.tells("has neither hvcC nor lhvC"));
    EXPECT_TRUE(read(imageFile(1, 1, fullBox("infe", 2, 0, {be(2, 9)}))).tells("ends inside its fields"));

    const auto changed = [](std::string_view mark, std::size_t uiBehind, const Bytes& bytes) {
        Bytes file = imageFile();
        const Bytes type = text(mark);
        const auto at = std::search(file.begin(), file.end(), type.begin(), type.end());
        std::copy(bytes.begin(), bytes.end(), at + static_cast<std::ptrdiff_t>(4 + uiBehind));
        return read(file);
    };
    EXPECT_TRUE(changed("iloc", 4, be(1, 0x94)).tells("a layout that is not defined"));
    EXPECT_TRUE(changed("iloc", 6, be(2, 9)).tells("items have no place"));
    EXPECT_TRUE(changed("iloc", 4 + 2 + 2 + 2 + 2, be(2, 1)).tells("item 1 lies in another file"));
    EXPECT_TRUE(changed("iloc", 4 + 2 + 2 + 2 + 2 + 2 + 2, be(4, 0x7fffffff)).tells("beyond the end of what holds it"));
    EXPECT_TRUE(changed("ipma", 4, be(4, 99)).tells("items are missing"));
    EXPECT_TRUE(changed("ipma", 4 + 4 + 2 + 1, be(1, 0x7f)).tells("names property 127 of 2"));
    EXPECT_TRUE(changed("idat", static_cast<std::size_t>(-4), text("free")).tells("an idat that is missing"));
}

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
         "counts 1 samples; the chunks have 0",
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

TEST(IsoBaseMedia, TellsWhichTrackADescriptionIsOf)
{
    TrackSyntax track;
    track.uiTrack = 7;
    track.entries = {hvc1({box("hvcC", {hvcCContent({SPS})}), box("pasp", {be(4, 1)})})};
    const CContainerRecord movieRecord = read(movie(track, {prefixed({IDR})}));
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

TEST(IsoBaseMedia, EndsAHeadOfATrackApartFromThatOfAnItemOfItsNumber)
{
    const Bytes images = imageFile();
    TrackSyntax track;
    track.entries = {hvc1({box("hvcC", {hvcCContent({SPS})})})};
    const Bytes sample = prefixed({OTHER_SPS, IDR});
    track.sizes = {static_cast<std::uint32_t>(sample.size())};
    track.chunks = {images.size() + 8};
    const CContainerRecord record =
        read(joined({images, box("mdat", {sample}), box("moov", {trak(track)})}), {.bHead = true});
    EXPECT_EQ(record.findings(), "");
    ASSERT_EQ(record.m_units.size(), 8U + 3U);
    EXPECT_EQ(record.m_units[9].bytes, OTHER_SPS);
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
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(record.m_tracks.size(), 1U);
    EXPECT_EQ(record.m_claims.size(), 2U);
    EXPECT_EQ(record.m_units.size(), 12U);
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
} // namespace iso_base_media_test
