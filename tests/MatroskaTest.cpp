#include "Matroska.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#ifdef H265PS_WITH_ZLIB
#include <zlib.h>
#endif

#include "ContainerFiles.h"
#include "EbmlWriter.h"
#include "UnitOutput.h"
#include "VirtualSource.h"

namespace matroska_test {

using namespace h265_container;
using namespace h265_test;

namespace {

const Bytes VPS{0x40, 1, 0x0c, 1};
const Bytes SPS{0x42, 1, 1, 2, 3};
const Bytes PPS{0x44, 1, 0xc1};
const Bytes IDR{0x26, 1, 0xaf, 7, 7, 7};
const Bytes TRAIL{0x02, 1, 0xd0, 5};
const Bytes PRIVATE = hvcCContent({VPS, SPS, PPS});

CContainerRecord read(const Bytes& file, const ContainerOptions& options = {})
{
    CContainerRecord record;
    const auto pSource = makeRandomSource(file);
    readMatroska(*pSource, options, record);
    return record;
}

CContainerRecord readForward(const Bytes& file, const ContainerOptions& options = {})
{
    CContainerRecord record;
    const auto pSource = makeForwardSource(h265_stream::makeByteSource(file));
    readMatroska(*pSource, options, record);
    return record;
}

#ifdef H265PS_WITH_ZLIB
Bytes packed(const Bytes& bytes)
{
    uLongf uiSize = compressBound(bytes.size());
    Bytes result(uiSize);
    EXPECT_EQ(compress(result.data(), &uiSize, bytes.data(), bytes.size()), Z_OK);
    result.resize(uiSize);
    return result;
}
#else
Bytes packed(const Bytes& bytes)
{
    return bytes;
}
#endif

Bytes encodings(const Bytes& encoding)
{
    return element(0x6d80, {element(0x6240, encoding)});
}

const Bytes ZLIB = encodings(element(0x5034, {number(0x4254, 0, 1)}));

TEST(Matroska, FindsTheUnitsOfMuxedFiles)
{
    const struct
    {
        const char* pFile;
        const char* pStream;
        bool bPacked;
    } aCases[] = {{"ffmpeg.mkv", "gop_b3_pyramid", false},
                  {"live.mkv", "gop_b3_pyramid", false},
                  {"mkvmerge.mkv", "gop_open_repeat_headers", false},
                  {"zlib.mkv", "gop_b3_pyramid", true}};
    for (const auto& c : aCases) {
#ifndef H265PS_WITH_ZLIB
        if (c.bPacked)
            continue;
#endif
        SCOPED_TRACE(c.pFile);
        const Bytes file = containerFile(c.pFile);
        const StreamUnits stream(c.pStream);
        const CContainerRecord record = read(file);
        for (const ContainerFinding& finding : record.m_findings)
            EXPECT_EQ(finding.message, "1 zero byte behind a NAL unit, counted as part of it");
        EXPECT_TRUE(areTheSlicesOf(record, stream));
        EXPECT_EQ(differentOnes(setsOf(record)), differentOnes(stream.m_sets));
        EXPECT_TRUE(standWhereTheySay(record, file));
        EXPECT_EQ(record.m_units[0].place, "track 1, CodecPrivate");
        EXPECT_TRUE(record.m_units[0].ulOffset);
        EXPECT_EQ(record.m_units.back().ulOffset.has_value(), !c.bPacked);
        ASSERT_EQ(record.m_claims.size(), 1U);
        EXPECT_EQ(record.m_claims[0].matroskaVideo->value.ulPixelWidth, 176U);
        EXPECT_EQ(record.m_claims[0].hvcC->value.configurationVersion, 1);
        EXPECT_EQ(readForward(file).places(), record.places());
        EXPECT_EQ(readForward(file).findings(), record.findings());
    }
}

TEST(Matroska, TellsPlaceTimeAndOffsetOfEveryFrame)
{
    const Bytes file =
        segment({tracks({trackEntry(PRIVATE)}),
                 cluster(2000,
                         {simpleBlock(1, -20, prefixed({SPS, IDR})),
                          element(0xa0, {element(0xa1, {vint(1, 1), be(2, 480), be(1, 0), prefixed({TRAIL})})})})});
    const CContainerRecord record = read(file);
    EXPECT_EQ(record.findings(), "");
    ASSERT_EQ(record.m_units.size(), 6U);
    EXPECT_EQ(record.m_units[3].place, "track 1, frame 1 at 1.98 s");
    EXPECT_EQ(record.m_units[4].place, "track 1, frame 1 at 1.98 s");
    EXPECT_EQ(record.m_units[5].place, "track 1, frame 2 at 2.48 s");
    EXPECT_TRUE(standWhereTheySay(record, file));
    EXPECT_TRUE(record.m_units[5].ulOffset);
}

TEST(Matroska, ReadsSegmentsAndClustersOfUnknownSize)
{
    const Bytes block = simpleBlock(1, 0, prefixed({IDR}));
    const Bytes time = number(0xe7, 1000);
    const Bytes live = joined({ebmlHeader(),
                               openElement(0x18538067,
                                           {tracks({trackEntry(PRIVATE)}),
                                            openElement(0x1f43b675, {time, block, block}),
                                            element(0x1c53bb6b, Bytes(9, 0x80)),
                                            openElement(0x1f43b675, {time, block})})});
    for (const Bytes& file : {live, joined({live, live})}) {
        const CContainerRecord record = read(file);
        EXPECT_EQ(record.m_findings.size(), file.size() / live.size() - 1) << record.findings();
        EXPECT_EQ(record.m_units.size(), file.size() / live.size() * 6);
        EXPECT_EQ(record.m_units.back().time, 1.0);
        EXPECT_EQ(readForward(file).places(), record.places());
    }
}

TEST(Matroska, TellsOfASecondSegment)
{
    const Bytes file = segment({tracks({trackEntry(PRIVATE)})});
    const CContainerRecord record = read(joined({file, file, file}));
    ASSERT_EQ(record.m_findings.size(), 1U) << record.findings();
    EXPECT_EQ(record.m_findings[0].message, "a second Segment: most players read the first one only [RFC 9559 5.1]");
    EXPECT_EQ(record.m_findings[0].eSeverity, ESeverity::Warning);
    EXPECT_TRUE(record.m_findings[0].ulOffset);
}

TEST(Matroska, ReadsLacingOfEveryKind)
{
    const Bytes one = prefixed({IDR});
    const Bytes two = prefixed({joined({TRAIL, Bytes(300, 5)})});
    const Bytes three = prefixed({TRAIL, TRAIL});
    const auto with = [](const Bytes& data, unsigned uiLacing) {
        return read(segment({tracks({trackEntry(hvcCContent({}))}), cluster(0, {simpleBlock(1, 0, data, uiLacing)})}));
    };
    const Bytes frames = joined({one, two, three});
    const auto size = [](const Bytes& frame) { return frame.size(); };
    const auto difference = static_cast<std::uint64_t>(size(two) - size(one) + (1U << 13) - 1);
    const struct
    {
        const char* pName;
        unsigned uiLacing;
        Bytes data;
    } aCases[] = {
        {"Xiph",
         1,
         joined(
             {{2, static_cast<unsigned char>(size(one)), 255, static_cast<unsigned char>(size(two) - 255)}, frames})},
        {"EBML", 3, joined({{2}, vint(1, size(one)), vint(2, difference), frames})},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const CContainerRecord record = with(c.data, c.uiLacing);
        EXPECT_EQ(record.findings(), "");
        EXPECT_EQ(record.places(),
                  (std::vector<std::string>{"track 1, frame 1 at 0 s",
                                            "track 1, frame 2 at 0 s",
                                            "track 1, frame 3 at 0 s",
                                            "track 1, frame 3 at 0 s"}));
        EXPECT_EQ(record.m_units[1].ulSize, 304U);
        EXPECT_EQ(record.m_units[3].bytes, TRAIL);
    }
    const CContainerRecord fixed = with(joined({{2}, one, one, one}), 2);
    EXPECT_EQ(fixed.findings(), "");
    EXPECT_EQ(fixed.m_units.size(), 3U);
    EXPECT_TRUE(with(joined({{2}, one, one, {0, 0}}), 2).tells("do not fit"));
    EXPECT_TRUE(with(joined({{2, 9}}), 1).tells("do not fit"));
    EXPECT_TRUE(with(joined({{2, 200, 200}, one, one}), 1).tells("do not fit"));
    EXPECT_TRUE(with({}, 2).tells("do not fit"));
    EXPECT_TRUE(with(joined({{2}, vint(1, 5)}), 3).tells("do not fit"));
    EXPECT_TRUE(with(joined({{2}, vint(1, 5), vint(1, 0), one}), 3).tells("do not fit"));
}

TEST(Matroska, UnpacksFramesAndCodecPrivate)
{
#ifndef H265PS_WITH_ZLIB
    GTEST_SKIP() << "this build has no zlib";
#endif
    const Bytes frame = prefixed({SPS, IDR});
    const CContainerRecord zlib = read(segment(
        {tracks({trackEntry(packed(PRIVATE), encodings(joined({number(0x5032, 3, 1), element(0x5034, Bytes{})})))}),
         cluster(0, {simpleBlock(1, 0, packed(frame))})}));
    EXPECT_EQ(zlib.findings(), "");
    ASSERT_EQ(zlib.m_units.size(), 5U);
    EXPECT_EQ(zlib.m_units[3].bytes, SPS);
    EXPECT_FALSE(zlib.m_units[0].ulOffset);
    EXPECT_FALSE(zlib.m_units[3].ulOffset);

    const Bytes settings = joined({number(0x4254, 3, 1), element(0x4255, Bytes(frame.begin(), frame.begin() + 5))});
    const CContainerRecord stripped =
        read(segment({tracks({trackEntry(PRIVATE, encodings(element(0x5034, settings)))}),
                      cluster(0, {simpleBlock(1, 0, Bytes(frame.begin() + 5, frame.end()))})}));
    EXPECT_EQ(stripped.findings(), "");
    ASSERT_EQ(stripped.m_units.size(), 5U);
    EXPECT_EQ(stripped.m_units[4].bytes, IDR);
    EXPECT_TRUE(stripped.m_units[0].ulOffset); // only frames are stripped
    EXPECT_FALSE(stripped.m_units[4].ulOffset);

    const Bytes settingsOfBoth = joined({number(0x4254, 3, 1), element(0x4255, Bytes{1})});
    const CContainerRecord both =
        read(segment({tracks({trackEntry(Bytes(PRIVATE.begin() + 1, PRIVATE.end()),
                                         encodings(joined({number(0x5032, 2, 1), element(0x5034, settingsOfBoth)})))}),
                      cluster(0, {simpleBlock(1, 0, frame)})}));
    EXPECT_EQ(both.findings(), "");
    EXPECT_EQ(both.m_units.size(), 5U);
}

#ifndef H265PS_WITH_ZLIB
TEST(Matroska, TellsThatABuildWithoutZlibUnpacksNothing)
{
    const CContainerRecord record =
        read(segment({tracks({trackEntry(PRIVATE, ZLIB)}), cluster(0, {simpleBlock(1, 0, prefixed({SPS, IDR}))})}));
    EXPECT_TRUE(record.tells("cannot be unpacked to its end: this build has no zlib"));
}
#endif

TEST(Matroska, TellsWhyAFrameCannotBeUnpacked)
{
    const auto with = [](const Bytes& data) {
        return read(segment({tracks({trackEntry(PRIVATE, ZLIB)}), cluster(0, {simpleBlock(1, 0, data)})}));
    };
    Bytes cut = packed(prefixed({SPS, IDR}));
    cut.resize(cut.size() - 5);
    EXPECT_TRUE(with(cut).tells("cannot be unpacked to its end"));
    EXPECT_TRUE(with({1, 2, 3, 4}).tells("cannot be unpacked to its end"));
    EXPECT_TRUE(with(packed(zeros(std::size_t{17} << 20))).tells("cannot be unpacked to its end"));
    const CContainerRecord record = read(
        segment({tracks({trackEntry({1, 2}, encodings(joined({number(0x5032, 2, 1), element(0x5034, Bytes{})})))})}));
    EXPECT_TRUE(record.tells("cannot be unpacked to its end"));
    EXPECT_EQ(record.finding("cannot be unpacked")->box, "Segment/Tracks/TrackEntry/CodecPrivate");
}

TEST(Matroska, SaysWhyATrackIsPassedOver)
{
    const Bytes twice =
        element(0x6d80, {element(0x6240, {element(0x5034, Bytes{})}), element(0x6240, {element(0x5034, Bytes{})})});
    const CContainerRecord record = read(segment(
        {tracks({trackEntry(PRIVATE, {}, "V_MPEG4/ISO/AVC", 1),
                 trackEntry({}, {}, "A_AAC", 2, 2),
                 trackEntry({}, {}, "S_TEXT/UTF8", 3, 17),
                 trackEntry(PRIVATE, twice, "V_MPEGH/ISO/HEVC", 4),
                 trackEntry(PRIVATE, encodings(number(0x5033, 1, 1)), "V_MPEGH/ISO/HEVC", 5),
                 trackEntry(PRIVATE, encodings(element(0x5034, {number(0x4254, 1, 1)})), "V_MPEGH/ISO/HEVC", 6),
                 trackEntry({}, {}, "V_MS/VFW/FOURCC", 7)}),
         cluster(0,
                 {simpleBlock(1, 0, IDR), simpleBlock(4, 0, IDR), simpleBlock(9, 0, IDR), simpleBlock(9, 0, IDR)})}));
    ASSERT_EQ(record.m_tracks.size(), 7U);
    EXPECT_EQ(record.m_tracks[0].reason, "it is no H.265");
    EXPECT_EQ(record.m_tracks[1].eKind, ETrackKind::Audio);
    EXPECT_EQ(record.m_tracks[2].eKind, ETrackKind::Text);
    EXPECT_EQ(record.m_tracks[3].reason, "it is H.265, packed more than once, which is not read");
    EXPECT_EQ(record.m_tracks[4].reason, "it is H.265, encrypted, which is not read");
    EXPECT_EQ(record.m_tracks[5].reason,
              "it is H.265, packed with bzlib, which is not read; zlib and header stripping are");
    EXPECT_EQ(record.m_tracks[6].reason, "it is no H.265");
    EXPECT_FALSE(record.m_tracks[0].bUnreadH265);
    for (const std::size_t i : {3U, 4U, 5U})
        EXPECT_TRUE(record.m_tracks[i].bUnreadH265);
    EXPECT_TRUE(record.m_units.empty());
    ASSERT_EQ(record.m_findings.size(), 1U);
    EXPECT_TRUE(record.tells("blocks of track 9, which Tracks does not have"));
}

TEST(Matroska, ReadsBitmapHeadersInFrontOfH265)
{
    const auto header = [](std::string_view code) { return joined({zeros(16), text(code), zeros(20)}); };
    const Bytes withStartCodes = byteStream({SPS, IDR, TRAIL});
    for (const char* pCode : {"HEVC", "hevc", "H265", "hvc1"}) {
        const CContainerRecord record = read(segment({tracks({trackEntry(header(pCode), {}, "V_MS/VFW/FOURCC")}),
                                                      cluster(0, {simpleBlock(1, 0, withStartCodes)})}));
        EXPECT_EQ(record.findings(), "");
        ASSERT_EQ(record.m_units.size(), 3U);
        EXPECT_EQ(record.m_units[1].bytes, IDR);
        EXPECT_EQ(record.m_units[2].ulSize, TRAIL.size());
    }
    const Bytes file = segment({tracks({trackEntry(joined({header("HEVC"), PRIVATE}), {}, "V_MS/VFW/FOURCC")}),
                                cluster(0, {simpleBlock(1, 0, prefixed({IDR}))})});
    EXPECT_EQ(read(file).m_units.size(), 4U);
    EXPECT_TRUE(standWhereTheySay(read(file), file));
    EXPECT_EQ(read(segment({tracks({trackEntry(joined({header("HEVC"), byteStream({SPS})}), {}, "V_MS/VFW/FOURCC")}),
                            cluster(0, {simpleBlock(1, 0, withStartCodes)})}))
                  .m_units.size(),
              4U);
}

TEST(Matroska, ReadsFramesWithoutACodecPrivate)
{
    const auto with = [](const Bytes& data) {
        return read(segment({tracks({trackEntry({})}), cluster(0, {simpleBlock(1, 0, data)})}));
    };
    // A length of 256 to 511 is no start code when lengths lead from one unit to the next.
    const Bytes slice = joined({IDR, Bytes(0x126 - 6, 9)});
    EXPECT_EQ(with(prefixed({slice, TRAIL})).m_units.size(), 2U);
    EXPECT_EQ(with(byteStream({SPS, IDR})).m_units.size(), 2U);
    EXPECT_TRUE(with(byteStream({SPS, IDR})).tells("is missing or empty"));
    const CContainerRecord record = read(segment({tracks({trackEntry(byteStream({SPS}))})}));
    EXPECT_TRUE(record.tells("is a byte stream instead of an hvcC record"));
    EXPECT_EQ(record.m_units.size(), 1U);
}

// What a muxer wrote in front of the NAL units of its frames may not be what its CodecPrivate says.
TEST(Matroska, ReadsFramesByTheLengthsThatTheyHave)
{
    const struct
    {
        Bytes frame;
        const char* pTold;
    } aCases[] = {
        {prefixed({SPS, IDR}, 2), "the NAL units have lengths of 2 bytes, and not lengths of 4 bytes as"},
        {byteStream({SPS, IDR}),
         "the NAL units have start codes, and not lengths of 4 bytes as lengthSizeMinusOne says"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pTold);
        const CContainerRecord record =
            read(joined({ebmlHeader(),
                         segment({tracks({trackEntry(PRIVATE)}),
                                  cluster(0, {simpleBlock(1, 0, c.frame), simpleBlock(1, 4, c.frame)})})}));
        EXPECT_TRUE(record.tells(c.pTold)) << record.findings();
        EXPECT_EQ(record.m_findings.size(), 1U);
        EXPECT_TRUE(record.m_findings[0].ulOffset.has_value());
        ASSERT_EQ(record.m_units.size(), 7U);
        EXPECT_EQ(record.m_units[3].bytes, SPS);
        EXPECT_EQ(record.m_units[6].bytes, IDR);
    }
    // Header stripping: the bytes do not stand so in the file.
    const Bytes stripped = encodings(element(0x5034, {number(0x4254, 3, 1), element(0x4255, {0})}));
    const Bytes frame = prefixed({SPS, IDR}, 2);
    const CContainerRecord record =
        read(joined({ebmlHeader(),
                     segment({tracks({trackEntry(PRIVATE, stripped)}),
                              cluster(0, {simpleBlock(1, 0, Bytes(frame.begin() + 1, frame.end()))})})}));
    ASSERT_TRUE(record.tells("the NAL units have lengths of 2 bytes")) << record.findings();
    EXPECT_FALSE(record.m_findings[0].ulOffset.has_value());
}

TEST(Matroska, TellsThatEncryptedBlocksAreNotRead)
{
    const Bytes block = element(0xaf, {1, 2, 3, 4});
    const CContainerRecord record =
        read(joined({ebmlHeader(), segment({tracks({trackEntry(PRIVATE)}), cluster(0, {block, block})})}));
    ASSERT_EQ(record.m_findings.size(), 1U);
    EXPECT_EQ(record.m_findings[0].message, "holds encrypted frames, which are not read");
    EXPECT_TRUE(record.m_findings[0].bUnread);
}

TEST(Matroska, ReadsEveryClaim)
{
    const Bytes colour = element(0x55b0,
                                 {number(0x55b1, 9),
                                  number(0x55b2, 10),
                                  number(0x55b3, 1),
                                  number(0x55b4, 0),
                                  number(0x55b9, 2),
                                  number(0x55ba, 16),
                                  number(0x55bb, 8),
                                  number(0x55bc, 1000),
                                  number(0x55bd, 400)});
    const Bytes video = element(0xe0,
                                {number(0xb0, 64),
                                 number(0xba, 48),
                                 number(0x54aa, 1),
                                 number(0x54bb, 2),
                                 number(0x54cc, 3),
                                 number(0x54dd, 4),
                                 number(0x54b0, 70),
                                 number(0x54ba, 50),
                                 number(0x54b2, 3),
                                 number(0x53b8, 11),
                                 number(0x9a, 1),
                                 colour});
    const CContainerRecord record =
        read(segment({tracks({trackEntry(PRIVATE, joined({number(0x23e383, 40000000), video}))})}));
    EXPECT_EQ(record.findings(), "");
    const ContainerClaims& claims = record.m_claims.at(0);
    EXPECT_EQ(claims.codec, "V_MPEGH/ISO/HEVC");
    EXPECT_EQ(claims.constantFrameRate->value.ulPictures, 1000000000U);
    EXPECT_EQ(claims.constantFrameRate->value.ulSeconds, 40000000U);
    const MatroskaVideoClaim& picture = claims.matroskaVideo->value;
    EXPECT_EQ(picture.ulPixelWidth, 64U);
    EXPECT_EQ(picture.ulPixelHeight, 48U);
    EXPECT_EQ(picture.ulPixelCropBottom, 1U);
    EXPECT_EQ(picture.ulPixelCropTop, 2U);
    EXPECT_EQ(picture.ulPixelCropLeft, 3U);
    EXPECT_EQ(picture.ulPixelCropRight, 4U);
    EXPECT_EQ(picture.ulDisplayWidth, 70U);
    EXPECT_EQ(picture.ulDisplayHeight, 50U);
    EXPECT_EQ(picture.ulDisplayUnit, 3U);
    EXPECT_EQ(picture.ulStereoMode, 11U);
    EXPECT_EQ(picture.ulBitsPerChannel, 10U);
    EXPECT_EQ(picture.ulChromaSubsamplingHorz, 1U);
    EXPECT_EQ(picture.ulChromaSubsamplingVert, 0U);
    EXPECT_EQ(picture.ulMaxCLL, 1000U);
    EXPECT_EQ(picture.ulMaxFALL, 400U);
    ASSERT_EQ(claims.colours.size(), 1U);
    EXPECT_EQ(claims.colours[0].value.uiMatrix, 9U);
    EXPECT_EQ(claims.colours[0].value.uiTransfer, 16U);
    EXPECT_EQ(claims.colours[0].value.uiPrimaries, 8U);
    EXPECT_EQ(claims.colours[0].value.bFullRange, true);
    EXPECT_TRUE(claims.scan->value.bInterlaced);
    EXPECT_EQ(claims.scan->box, "Segment/Tracks/TrackEntry/Video/FlagInterlaced");
    // 0 says nothing, 2 progressive.
    for (const unsigned uiFlag : {0U, 2U, 3U}) {
        const Bytes scan = element(0xe0, {number(0xb0, 64), number(0xba, 48), number(0x9a, uiFlag)});
        const CContainerRecord other = read(segment({tracks({trackEntry(PRIVATE, scan)})}));
        ASSERT_EQ(other.m_claims.at(0).scan.has_value(), uiFlag == 2);
        EXPECT_FALSE(uiFlag == 2 && other.m_claims[0].scan->value.bInterlaced);
    }
}

TEST(Matroska, TakesTracksFromBehindTheClusters)
{
    const Bytes file = segment({cluster(0, {simpleBlock(1, 0, prefixed({IDR}))}), tracks({trackEntry(PRIVATE)})});
    EXPECT_EQ(read(file).m_units.size(), 4U); // Tracks is read once
    // Another one has its turn.
    const Bytes both = segment({cluster(0, {simpleBlock(1, 0, prefixed({IDR}))}),
                                tracks({trackEntry(PRIVATE)}),
                                tracks({trackEntry(PRIVATE)})});
    EXPECT_EQ(read(both).m_units.size(), 4U + 3U);
    EXPECT_TRUE(readForward(file).tells("a stream cannot be read backwards"));
}

TEST(Matroska, TellsWhatIsWrongWithTheFile)
{
    const Bytes good = tracks({trackEntry(PRIVATE)});
    const Bytes block = simpleBlock(1, 0, prefixed({IDR}));
    const struct
    {
        const char* pName;
        Bytes file;
        const char* pMessage;
        const char* pBox;
    } aCases[] = {
        {"nothing", {}, "is missing: there is nothing to read", "Segment"},
        {"no Tracks",
         segment({cluster(0, {block})}),
         "is missing: nothing says what the blocks hold",
         "Segment/Tracks"},
        {"another type",
         joined({ebmlHeader("other"), element(0x18538067, good)}),
         "is \"other\" instead of",
         "EBML/DocType"},
        {"something beside the segment",
         joined({segment({good}), element(0x4d80, Bytes(3, 1))}),
         "element 0x4D80 stands beside the Segment",
         ""},
        {"an id of zeros", segment({good, zeros(9)}), "its id is cut or not valid", "Segment"},
        {"an id of five bytes", segment({good, {8, 1, 1, 1, 1, 0x81, 0}}), "its id is cut or not valid", "Segment"},
        {"a size that is cut", segment({good, {0xec, 0x08, 1}}), "the size of element 0xEC is cut", "Segment"},
        {"a block cut in its header",
         segment({good, cluster(0, {element(0xa3, Bytes{0x81, 0})})}),
         "a block ends inside its header",
         "Segment/Cluster"},
        {"an element larger than its holder",
         segment({good, element(0x1f43b675, joined({{0xa3, 0x90}, Bytes(4, 0x81)}))}),
         "element 0xA3 of 16 bytes where 4 are left",
         "Segment/Cluster"},
        {"an element that has one byte of its own",
         segment({good, element(0x1f43b675, Bytes{0xa3, 0x90, 0x81})}),
         "element 0xA3 of 16 bytes where 1 is left",
         "Segment/Cluster"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const CContainerRecord record = read(c.file);
        const ContainerFinding* const pFinding = record.finding(c.pMessage);
        ASSERT_NE(pFinding, nullptr) << record.findings();
        EXPECT_EQ(pFinding->box, c.pBox);
    }
    Bytes cut = segment({good, cluster(0, {block})});
    cut.pop_back();
    EXPECT_TRUE(read(cut).tells("the file ends early"));
    EXPECT_TRUE(readForward(cut).tells("the file ends early"));
    // Once, and by the element's name.
    EXPECT_TRUE(read(cut).tells("the file ends early: element Segment reaches to byte "));
    EXPECT_FALSE(read(cut).tells("the file ends early: its last element"));
    EXPECT_EQ(read(cut).m_units.size(), 4U);
}

TEST(Matroska, GoesOnAtTheNextClusterBehindDamage)
{
    const Bytes block = simpleBlock(1, 0, prefixed({IDR}));
    const Bytes file = segment({tracks({trackEntry(PRIVATE)}), cluster(0, {block}), zeros(5000), cluster(0, {block})});
    const CContainerRecord record = read(file);
    EXPECT_EQ(record.m_units.size(), 5U);
    EXPECT_TRUE(record.tells("5000 bytes in front of this Cluster are passed over"));
    EXPECT_EQ(readForward(file).places(), record.places());
}

TEST(Matroska, EndsAHeadBehindTheFirstSliceOfEachTrack)
{
    const Bytes file = segment(
        {tracks(
             {trackEntry(PRIVATE), trackEntry(PRIVATE, {}, "V_MPEGH/ISO/HEVC", 2), trackEntry({}, {}, "A_AAC", 3, 2)}),
         cluster(0,
                 {simpleBlock(1, 0, prefixed({SPS, IDR, TRAIL})),
                  simpleBlock(1, 0, prefixed({TRAIL})),
                  simpleBlock(2, 0, prefixed({IDR})),
                  simpleBlock(2, 0, prefixed({TRAIL}))}),
         zeros(50)});
    const CContainerRecord record = read(file, {.bHead = true});
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(record.m_units.size(), 9U);
    EXPECT_EQ(record.m_units.back().ulTrack, 2U);
}

TEST(Matroska, EndsWhenTheSinkSaysSo)
{
    const Bytes file = segment({tracks({trackEntry(PRIVATE)}), cluster(0, {simpleBlock(1, 0, prefixed({SPS, IDR}))})});
    for (std::size_t i = 1; i < 5; ++i) {
        CContainerRecord record;
        record.m_uiLast = i;
        const auto pSource = makeRandomSource(file);
        readMatroska(*pSource, {}, record);
        EXPECT_EQ(record.m_units.size(), i);
    }
}

// 20,000 blocks of 50 kB: of each its headers and its slice's first bytes are read.
TEST(Matroska, ReadsLittleMoreThanTheHeadsOfSlices)
{
    constexpr std::uint64_t FRAME = 50000;
    constexpr std::uint64_t FRAMES = 20000;
    const Bytes head = joined({{0xa3}, vint(4, 4 + FRAME), vint(1, 1), {0, 40, 0}, be(4, FRAME - 4), IDR});
    const std::uint64_t ulBlock = 9 + FRAME;
    const Bytes front = joined(
        {ebmlHeader(),
         openElement(0x18538067, {tracks({trackEntry(PRIVATE)}), ebmlId(0x1f43b675), vint(8, ulBlock * FRAMES)})});
    CVirtualSource source(front.size() + ulBlock * FRAMES, [&](std::uint64_t ulOffset) {
        const auto uiAt = static_cast<std::size_t>((ulOffset - front.size()) % ulBlock);
        return uiAt < head.size() ? head[uiAt] : static_cast<unsigned char>(0x55);
    });
    source.m_pieces = {{0, front}};
    CContainerRecord record;
    readMatroska(source, {}, record);
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(record.m_units.size(), FRAMES + 3);
    EXPECT_LT(source.m_ulRead, FRAMES * 64U);
}

TEST(Matroska, StaysInsideDamagedFiles)
{
    const Bytes frame = prefixed({SPS, IDR});
    const Bytes video = element(0xe0, {number(0xb0, 64), element(0x55b0, {number(0x55b1, 9)})});
    const std::vector<Bytes> files = {
        containerFile("live.mkv"),
        segment({tracks({trackEntry(PRIVATE, joined({ZLIB, video}))}), cluster(0, {simpleBlock(1, 0, packed(frame))})}),
        segment(
            {tracks({trackEntry({}, encodings(element(0x5034, {number(0x4254, 3, 1), element(0x4255, Bytes{0, 0})})))}),
             cluster(0,
                     {simpleBlock(1, 0, Bytes(frame.begin() + 2, frame.end())),
                      simpleBlock(1, 0, joined({{1, 11}, frame, frame}), 1),
                      simpleBlock(1, 0, joined({{1}, vint(1, frame.size()), frame, frame}), 3)})}),
        segment({tracks({trackEntry(joined({zeros(16), text("HEVC"), zeros(20)}), {}, "V_MS/VFW/FOURCC")}),
                 cluster(0, {simpleBlock(1, 0, byteStream({SPS, IDR}))})})};
    for (const Bytes& file : files) {
        damageInEveryWay(file, 3000, [](const Bytes& damaged) {
            EXPECT_TRUE(standWhereTheySay(read(damaged), damaged));
            EXPECT_TRUE(standWhereTheySay(readForward(damaged), damaged));
        });
    }
}

// Behind damage a search goes over bytes again that were read before.
TEST(Matroska, TellsWhatIsFoundTwiceOnce)
{
    CContainerRecord record;
    CUnitOutput output(record, {});
    const ContainerFinding damage{ESeverity::Error, "Segment", 1558, std::nullopt, "element 0x84 of 105 bytes", true};
    ContainerFinding elsewhere = damage;
    elsewhere.ulOffset = 1559;
    ContainerFinding ofTrack = damage;
    ofTrack.ulTrack = 1;
    for (const ContainerFinding& finding : {damage, elsewhere, damage, ofTrack, elsewhere})
        output.finding(finding);
    output.finish();
    ASSERT_EQ(record.m_findings.size(), 3U);
    EXPECT_EQ(record.m_findings[1].ulOffset, 1559U);
    EXPECT_EQ(record.m_findings[2].ulTrack, 1U);
}

} // namespace
} // namespace matroska_test
