#include "FileKind.h"

#include <string>

#include <gtest/gtest.h>

#include "BoxWriter.h"
#include "ContainerFiles.h"
#include "TransportWriter.h"

namespace file_kind_test {

using namespace h265_container;
using namespace h265_test;
using namespace std::string_view_literals;

namespace {

const Bytes SETS = byteStream({{0x40, 1, 0x0c}, {0x42, 1, 1}, {0x44, 1, 0xc1}});

TEST(FileKind, KnowsFilesByTheirFirstBytes)
{
    const struct
    {
        Bytes head;
        EFileKind eKind;
        const char* pName;
        bool bCommand;
    } aCases[] = {
        {{}, EFileKind::Unknown, "", false},
        {{1, 2, 3, 4, 5, 6, 7, 8, 9}, EFileKind::Unknown, "", false},
        {SETS, EFileKind::ByteStream, "an H.265 byte stream", false},
        {byteStream({{0x02, 1, 0xd0, 5}}), EFileKind::ByteStream, "a byte stream with start codes", false},
        {containerFile("hvc1.mp4"), EFileKind::IsoBaseMedia, "an MP4, QuickTime or HEIF file", false},
        {containerFile("hev1.mov"), EFileKind::IsoBaseMedia, "an MP4, QuickTime or HEIF file", false},
        {containerFile("single.heic"), EFileKind::IsoBaseMedia, "an MP4, QuickTime or HEIF file", false},
        {joined({{0x20, 0, 0, 8}, text("mdat"), Bytes(20, 0x20)}),
         EFileKind::IsoBaseMedia,
         "an MP4, QuickTime or HEIF file",
         false},
        {joined({text("    mdat"), zeros(20)}), EFileKind::IsoBaseMedia, "an MP4, QuickTime or HEIF file", false},
        {text("The mdat of it, and more"), EFileKind::Unknown, "", false},
        {text("The free text of it, and more"), EFileKind::Unknown, "", false},
        {text("    free text of it, and more"), EFileKind::Unknown, "", false},
        {joined({{0, 0, 0, 8}, text("free")}), EFileKind::IsoBaseMedia, "an MP4, QuickTime or HEIF file", false},
        {text("OggS\0\2"sv), EFileKind::Foreign, "an Ogg file", false},
        {containerFile("live.mkv"), EFileKind::Matroska, "a Matroska or WebM file", false},
        {containerFile("packets188.ts"), EFileKind::TransportStream, "an MPEG transport stream (MPEG-TS)", false},
        {containerFile("packets192.m2ts"), EFileKind::TransportStream, "an MPEG transport stream (MPEG-TS)", false},
        {prefixed({{0x40, 1, 0x0c}, {0x42, 1, 1}}),
         EFileKind::LengthPrefixed,
         "NAL units behind their lengths, as in an MP4 file, without start codes",
         false},
        {text("v=0\r\no=- 0 0 IN IP4 127.0.0.1"), EFileKind::SessionDescription, "an SDP session description", false},
        {text("a=fmtp:96 sprop-vps=QAEM\r\n"),
         EFileKind::SessionDescription,
         "lines of an SDP session description",
         false},
        {text("12:01 got: sprop-pps=RAHB;\n"),
         EFileKind::SessionDescription,
         "lines of an SDP session description",
         false},
        {text("a=fmtp:96 sprop-parameter-sets=Z0"), EFileKind::Unknown, "", false},
        {text("\x01 sprop-vps=QAEM"), EFileKind::Unknown, "", false},
        {text("RIFF\1\2\3\4AVI LIST"), EFileKind::Foreign, "an AVI file", true},
        {text("RIFF\1\2\3\4WAVEfmt "), EFileKind::Foreign, "a WAVE file", false},
        {text("RIFF\1\2\3\4abcd"), EFileKind::Foreign, "a RIFF file", true},
        {text("abcdefghAVI "), EFileKind::Unknown, "", false},
        {text("FLV\1\5\0\0\0\11"sv), EFileKind::Foreign, "a Flash video file", true},
        {{0, 0, 1, 0xba, 0x44}, EFileKind::Foreign, "an MPEG program stream", true},
        {{0x06, 0x0e, 0x2b, 0x34, 2, 5, 1, 1}, EFileKind::Foreign, "an MXF file", true},
        {{0, 0, 1, 0xb3, 0x16}, EFileKind::Foreign, "a raw MPEG-1 or MPEG-2 video stream", false},
        {byteStream({{0x67, 100, 0, 31}}), EFileKind::Foreign, "a raw H.264 stream", false},
        {byteStream({{0, 0x79, 0, 31}}), EFileKind::Foreign, "a raw H.266 stream", false},
        {{0x1f, 0x8b, 8}, EFileKind::Foreign, "a file packed with gzip", true},
        {{0, 0, 1, 0xb0, 1}, EFileKind::Foreign, "a raw MPEG-4 Part 2 or AVS video stream", false},
        {text("RIFF\1\2\3\4WEBPVP8 "), EFileKind::Foreign, "a WebP image", false},
        {text("DKIF\0\0 \0AV01"sv), EFileKind::Foreign, "an IVF file", false},
        {{0x06, 0x0e, 0x2b, 0x34, 1, 1, 1, 2}, EFileKind::Foreign, "an MXF or GXF file", true},
        {{0x30, 0x26, 0xb2, 0x75, 0x8e, 0x66, 0xcf, 0x11}, EFileKind::Foreign, "an ASF or WMV file", true},
        {text(".RMF\0\0"sv), EFileKind::Foreign, "a RealMedia file", true},
        {text("YUV4MPEG2 W176"), EFileKind::Foreign, "pictures that are not coded (YUV4MPEG2)", false},
        {{0xff, 0xd8, 0xff, 0xe0}, EFileKind::Foreign, "a JPEG image", false},
        {{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}, EFileKind::Foreign, "a PNG image", false},
        {text("GIF89a"), EFileKind::Foreign, "a GIF image", false},
        {{0x12, 0, 0x0a, 0x0b}, EFileKind::Foreign, "a raw AV1 stream", false},
        {text("ID3\4\0"sv), EFileKind::Foreign, "an MP3 file", false},
        {text("fLaC\0"sv), EFileKind::Foreign, "a FLAC file", false},
        {{0xfd, '7', 'z', 'X', 'Z', 0, 0}, EFileKind::Foreign, "a file packed with xz", true},
        {{0x28, 0xb5, 0x2f, 0xfd, 4}, EFileKind::Foreign, "a file packed with zstd", true},
        {text("PK\3\4\24"), EFileKind::Foreign, "a ZIP archive", true},
        {text("%PDF-1.7"), EFileKind::Foreign, "a PDF document", false},
        {{0x7f, 'E', 'L', 'F', 2}, EFileKind::Foreign, "a program", false},
        {text("v=0\no=- 0 0 IN IP4 127.0.0.1"), EFileKind::SessionDescription, "an SDP session description", false},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const FileKind kind = fileKind(c.head);
        EXPECT_EQ(kind.eKind, c.eKind);
        EXPECT_EQ(kind.name, c.pName);
        EXPECT_EQ(!kind.command.empty(), c.bCommand);
    }
}

// Each has its mark at the front: behind a byte it is something else.
TEST(FileKind, LooksForMarksWhereTheyStand)
{
    for (const Bytes& head : {text("OggS\0\2"sv),
                              text("FLV\1\5"sv),
                              text("fLaC\0"sv),
                              text("RIFF\1\2\3\4AVI LIST"),
                              text("%PDF-1.7"),
                              text("YUV4MPEG2 W176"),
                              containerFile("live.mkv")}) {
        EXPECT_NE(fileKind(head).eKind, EFileKind::Unknown);
        EXPECT_EQ(fileKind(joined({{1}, head})).eKind, EFileKind::Unknown);
    }
}

TEST(FileKind, KnowsNalUnitsBehindTheirLengths)
{
    const Bytes vps = {0x40, 1, 0x0c};
    const auto sps = [](std::size_t uiSize) { return joined({{0x42, 1}, Bytes(uiSize - 2, 1)}); };
    for (const std::size_t uiSize : {3U, 255U, 256U, 300U, 65535U, 65536U, 66000U, 70000U}) {
        EXPECT_EQ(fileKind(prefixed({sps(uiSize), vps})).eKind, EFileKind::LengthPrefixed) << uiSize;
        // One alone can be anything, and so can one whose length leads elsewhere.
        EXPECT_NE(fileKind(prefixed({sps(uiSize)})).eKind, EFileKind::LengthPrefixed) << uiSize;
        Bytes longer = prefixed({sps(uiSize), vps});
        longer.insert(longer.end() - 7, {1, 1, 1});
        EXPECT_NE(fileKind(longer).eKind, EFileKind::LengthPrefixed) << uiSize;
    }
    const Bytes slice = {0x26, 1, 0xaf};
    EXPECT_EQ(fileKind(prefixed({{0x46, 1, 0x50}, slice})).eKind, EFileKind::LengthPrefixed); // a delimiter
    EXPECT_EQ(fileKind(prefixed({vps, {80, 1, 1}})).eKind, EFileKind::LengthPrefixed);        // type 40
    EXPECT_NE(fileKind(prefixed({vps, {82, 1, 1}})).eKind, EFileKind::LengthPrefixed);        // 41
    EXPECT_NE(fileKind(prefixed({slice, vps})).eKind, EFileKind::LengthPrefixed);
    EXPECT_NE(fileKind(prefixed({{0x48, 1, 1}, vps})).eKind, EFileKind::LengthPrefixed); // 36, an end
    EXPECT_NE(fileKind(prefixed({{0x40, 9, 1}, vps})).eKind, EFileKind::LengthPrefixed); // layer 1
    EXPECT_NE(fileKind(prefixed({{0x41, 1, 1}, vps})).eKind, EFileKind::LengthPrefixed); // layer 32
    EXPECT_NE(fileKind(prefixed({vps, {0x42, 1}})).eKind, EFileKind::LengthPrefixed);    // a header alone
}

// Of H.264 a byte says which profile: the one behind the header of a sequence parameter set.
TEST(FileKind, KnowsRawH264ByAnyOfItsHeadersAndProfiles)
{
    for (const unsigned char ucHeader : Bytes{0x27, 0x47, 0x67}) {
        for (const unsigned char ucProfile : Bytes{44, 66, 77, 83, 86, 88, 100, 110, 118, 122, 128, 244})
            EXPECT_EQ(fileKind(byteStream({{ucHeader, ucProfile, 0, 31}})).name, "a raw H.264 stream");
        EXPECT_EQ(fileKind(byteStream({{ucHeader, 99, 0, 31}})).name, "a byte stream with start codes");
    }
    EXPECT_EQ(fileKind(byteStream({{0x87, 100, 0, 31}})).name, "a byte stream with start codes");
    EXPECT_EQ(fileKind({{0, 0, 1, 0x67, 100}}).name, "a raw H.264 stream"); // all there is
    for (const Bytes& noStartCode : {Bytes{0, 7, 1, 0x67, 100, 0}, {0, 0, 7, 1, 0x67, 100}, {9, 0, 1, 0x67, 100, 0}})
        EXPECT_EQ(fileKind(noStartCode).eKind, EFileKind::Unknown);
    EXPECT_EQ(fileKind(byteStream({{0, 0x71, 0, 31}})).name, "a raw H.266 stream");
    for (const unsigned char ucSecond : Bytes{0x79 - 8 * 3, 0x79 - 1, 0x79 + 1, 0x79 + 8})
        EXPECT_EQ(fileKind(byteStream({{0, ucSecond, 0, 31}})).name, "a byte stream with start codes");
}

TEST(FileKind, KnowsPacketsThatBeginInTheMiddleOrWithDamage)
{
    const CTransportWriter writer = CTransportWriter().add(0x100, Bytes(2000, 0x55));
    for (const Bytes& packets : {writer.bytes(), writer.bytes(4), writer.bytes(0, 16)}) {
        for (const std::size_t uiFrom : {0U, 1U, 4U, 50U, 187U}) {
            const Bytes head(packets.begin() + static_cast<std::ptrdiff_t>(uiFrom), packets.end());
            EXPECT_EQ(fileKind(head).eKind, EFileKind::TransportStream) << uiFrom;
        }
    }
    const Bytes one = writer.m_packets[0];
    EXPECT_EQ(fileKind(one).eKind, EFileKind::TransportStream);
    for (const Bytes& packets : {writer.bytes(), writer.bytes(4), writer.bytes(0, 16)}) {
        EXPECT_EQ(fileKind(joined({Bytes(3000, 0x47), packets})).eKind, EFileKind::TransportStream);
        EXPECT_EQ(fileKind(joined({Bytes(3001, 1), packets})).eKind, EFileKind::TransportStream);
        Bytes damaged = packets;
        damaged.erase(damaged.begin() + 100, damaged.begin() + 160);
        EXPECT_EQ(fileKind(damaged).eKind, EFileKind::TransportStream);
    }
    // Four sync bytes in a row are chance.
    Bytes chance(1200, 0x33);
    for (std::size_t i = 50; i < 50 + 4 * std::size_t{188}; i += 188)
        chance[i] = 0x47;
    EXPECT_EQ(fileKind(chance).eKind, EFileKind::Unknown);
    chance[50 + 4 * 188] = 0x47;
    EXPECT_EQ(fileKind(chance).eKind, EFileKind::TransportStream);
    // A byte stream whose bytes happen to be sync bytes stays one.
    Bytes stream = joined({SETS, Bytes(1200, 0x47)});
    EXPECT_EQ(fileKind(stream).eKind, EFileKind::ByteStream);
}

// What is settled stays so, whatever follows.
TEST(FileKind, SettlesWhenNothingBehindCanChangeIt)
{
    EXPECT_FALSE(isFileKindSettled({}));
    EXPECT_FALSE(isFileKindSettled(Bytes(3000, 0x33)));
    EXPECT_TRUE(isFileKindSettled(Bytes(FILE_KIND_BYTES, 0x33)));
    EXPECT_TRUE(isFileKindSettled(containerFile("hvc1.mp4")));
    const Bytes packets = CTransportWriter().add(0x100, Bytes(2000, 0x55)).bytes();
    EXPECT_TRUE(isFileKindSettled({packets.begin(), packets.begin() + 4 * 188 + 1}));
    EXPECT_FALSE(isFileKindSettled({packets.begin(), packets.begin() + 4 * 188}));
    for (const char* pFile : {"hvc1.mp4", "live.mkv", "packets188.ts", "packets192.m2ts"}) {
        const Bytes file = containerFile(pFile);
        const Bytes whole(file.begin(),
                          file.begin() + static_cast<std::ptrdiff_t>(std::min(file.size(), FILE_KIND_BYTES)));
        for (std::size_t i = 0; i < whole.size(); ++i) {
            const Bytes head(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(i));
            if (isFileKindSettled(head)) {
                ASSERT_EQ(fileKind(head).eKind, fileKind(whole).eKind) << i;
            }
        }
    }
    const Bytes stream = joined({SETS, Bytes(900, 0x33)});
    EXPECT_TRUE(isFileKindSettled(stream));
}

} // namespace
} // namespace file_kind_test
