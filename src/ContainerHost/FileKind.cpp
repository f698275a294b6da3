#include "FileKind.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "TransportPackets.h"

namespace h265_container {

namespace {

using namespace std::string_view_literals;
using Bytes = std::span<const unsigned char>;

// Copies the stream, with start codes, out of whatever the tool can read.
constexpr std::string_view COPY_STREAM = "ffmpeg -i FILE -map 0:v -c copy -f hevc OUT.hevc";

// Kinds that a mark at a fixed place tells.
struct Mark
{
    std::size_t uiOffset;
    std::string_view mark;
    EFileKind eKind;
    std::string_view name;
    std::string_view command;
};

constexpr Mark MARKS[] = {
    {0, "\x1a\x45\xdf\xa3"sv, EFileKind::Matroska, "a Matroska or WebM file", {}},
    {0, "\0\0\1\xba"sv, EFileKind::Foreign, "an MPEG program stream", COPY_STREAM},
    {0, "\0\0\1\xb3"sv, EFileKind::Foreign, "a raw MPEG-1 or MPEG-2 video stream", {}},
    {0, "\0\0\1\xb0"sv, EFileKind::Foreign, "a raw MPEG-4 Part 2 or AVS video stream", {}},
    {8, "AVI "sv, EFileKind::Foreign, "an AVI file", COPY_STREAM},
    {8, "WAVE"sv, EFileKind::Foreign, "a WAVE file", {}},
    {8, "WEBP"sv, EFileKind::Foreign, "a WebP image", {}},
    {0, "RIFF"sv, EFileKind::Foreign, "a RIFF file", COPY_STREAM},
    {0, "FLV\1"sv, EFileKind::Foreign, "a Flash video file", COPY_STREAM},
    {0, "OggS"sv, EFileKind::Foreign, "an Ogg file", {}},
    {0, "DKIF"sv, EFileKind::Foreign, "an IVF file", {}},
    {0, "\x06\x0e\x2b\x34\x02\x05\x01\x01"sv, EFileKind::Foreign, "an MXF file", COPY_STREAM},
    {0, "\x06\x0e\x2b\x34"sv, EFileKind::Foreign, "an MXF or GXF file", COPY_STREAM},
    {0, "\x30\x26\xb2\x75\x8e\x66\xcf\x11"sv, EFileKind::Foreign, "an ASF or WMV file", COPY_STREAM},
    {0, ".RMF"sv, EFileKind::Foreign, "a RealMedia file", COPY_STREAM},
    {0, "YUV4MPEG2"sv, EFileKind::Foreign, "pictures that are not coded (YUV4MPEG2)", {}},
    {0, "\xff\xd8\xff"sv, EFileKind::Foreign, "a JPEG image", {}},
    {0, "\x89PNG\r\n\x1a\n"sv, EFileKind::Foreign, "a PNG image", {}},
    {0, "GIF8"sv, EFileKind::Foreign, "a GIF image", {}},
    {0, "\x12\0\x0a"sv, EFileKind::Foreign, "a raw AV1 stream", {}},
    {0, "ID3"sv, EFileKind::Foreign, "an MP3 file", {}},
    {0, "fLaC"sv, EFileKind::Foreign, "a FLAC file", {}},
    {0, "\x1f\x8b"sv, EFileKind::Foreign, "a file packed with gzip", "gzip -dc FILE > OUT"},
    {0,
     "\xfd"
     "7zXZ\0"sv,
     EFileKind::Foreign,
     "a file packed with xz",
     "xz -dc FILE > OUT"},
    {0, "\x28\xb5\x2f\xfd"sv, EFileKind::Foreign, "a file packed with zstd", "zstd -dc FILE > OUT"},
    {0, "PK\3\4"sv, EFileKind::Foreign, "a ZIP archive", "unzip FILE"},
    {0, "%PDF"sv, EFileKind::Foreign, "a PDF document", {}},
    {0,
     "\x7f"
     "ELF"sv,
     EFileKind::Foreign,
     "a program",
     {}},
    {0, "v=0\n"sv, EFileKind::SessionDescription, "an SDP session description", {}},
    {0, "v=0\r\n"sv, EFileKind::SessionDescription, "an SDP session description", {}},
};

bool hasAt(Bytes head, std::size_t uiOffset, std::string_view mark)
{
    return head.size() >= uiOffset + mark.size() && std::memcmp(head.data() + uiOffset, mark.data(), mark.size()) == 0;
}

bool isPrintable(unsigned char c)
{
    return c >= ' ' && c < 0x7f;
}

// A file of boxes: a size, then one of the types that such files begin with. A small number in front of
// one that is a word of English, so that no text is taken for it; an mdat can have any size.
bool isBoxes(Bytes head)
{
    constexpr std::string_view TYPES[] = {
        "ftyp", "styp", "prft", "moov", "moof", "mdat", "sidx", "emsg", "uuid", "pnot", "free", "skip", "wide", "meta"};
    if (head.size() < 8)
        return false;
    if (head[0] >= ' ')
        return hasAt(head, 4, "mdat") &&
               !std::all_of(head.begin(), head.begin() + std::min<std::ptrdiff_t>(std::ssize(head), 16), isPrintable);
    return std::any_of(std::begin(TYPES), std::end(TYPES), [&](auto type) { return hasAt(head, 4, type); });
}

// How many sync bytes follow one another from a byte on.
std::size_t syncBytesFrom(Bytes head, std::size_t uiFirst, std::size_t uiPacket)
{
    std::size_t uiPackets = 0;
    for (std::size_t i = uiFirst; i < head.size() && head[i] == TS_SYNC_BYTE; i += uiPacket)
        ++uiPackets;
    return uiPackets;
}

// A capture can begin inside a packet, with damage, or behind something of its device's.
bool hasPackets(Bytes head)
{
    for (std::size_t i = 0; i < head.size(); ++i) {
        const auto isSure = [&](std::size_t uiPacket) { return syncBytesFrom(head, i, uiPacket) >= TS_SURE_PACKETS; };
        if (head[i] == TS_SYNC_BYTE && std::any_of(std::begin(TS_PACKET_SIZES), std::end(TS_PACKET_SIZES), isSure))
            return true;
    }
    return false;
}

// All there is of a small file.
bool isFewPackets(Bytes head)
{
    return std::any_of(std::begin(TS_PACKET_SIZES), std::end(TS_PACKET_SIZES), [&](std::size_t uiPacket) {
        const std::size_t uiFirst = uiPacket == 192 ? 4 : 0;
        const std::size_t uiPackets = head.size() < uiFirst ? 0 : (head.size() - uiFirst + uiPacket - 1) / uiPacket;
        return (uiPackets >= 2 || head.size() == uiPacket) && syncBytesFrom(head, uiFirst, uiPacket) == uiPackets;
    });
}

// ISO/IEC 14496-15 4.3.3.1: each length leads to the next, and a parameter set or access unit delimiter of layer 0
// is at the front. How many units; none when the head contradicts.
std::optional<std::size_t> lengthPrefixedUnits(Bytes head)
{
    constexpr std::size_t LENGTH_BYTES = 4;
    std::size_t uiUnits = 0;
    for (std::size_t i = 0; i + LENGTH_BYTES + 2 <= head.size(); ++uiUnits) {
        const std::size_t uiSize = static_cast<std::size_t>(head[i]) << 24 |
                                   static_cast<std::size_t>(head[i + 1]) << 16 |
                                   static_cast<std::size_t>(head[i + 2]) << 8 | head[i + 3];
        const unsigned nal_unit_type = head[i + LENGTH_BYTES] >> 1;
        const bool bLayer0 = (head[i + LENGTH_BYTES] & 1) == 0 && head[i + LENGTH_BYTES + 1] == 1;
        if (uiSize < 3 || !bLayer0 || nal_unit_type > 40 ||
            (uiUnits == 0 && (nal_unit_type < 32 || nal_unit_type > 35)))
            return std::nullopt;
        i += LENGTH_BYTES + uiSize;
    }
    return uiUnits;
}

// The NAL units that start codes announce: which codec's parameter sets come first.
enum class ERawVideo
{
    Unknown,
    H264,
    H265,
    H266
};

ERawVideo rawVideo(Bytes head)
{
    constexpr std::array<unsigned char, 12> H264_PROFILES = {44, 66, 77, 83, 86, 88, 100, 110, 118, 122, 128, 244};
    for (std::size_t i = 0; i + 5 <= head.size(); ++i) {
        if (head[i] != 0 || head[i + 1] != 0 || head[i + 2] != 1)
            continue;
        const unsigned uiFirst = head[i + 3];
        const unsigned uiSecond = head[i + 4];
        if ((uiFirst == 0x40 || uiFirst == 0x42 || uiFirst == 0x44) && uiSecond == 1)
            return ERawVideo::H265;
        const bool bSequence = uiFirst == 0x27 || uiFirst == 0x47 || uiFirst == 0x67;
        if (bSequence && std::find(H264_PROFILES.begin(), H264_PROFILES.end(), uiSecond) != H264_PROFILES.end())
            return ERawVideo::H264;
        // H.266 7.3.1.2: layer 0, then type 14 or 15 and temporal id 0. Of H.265 that would be layer 14 or 15 of a
        // trailing picture.
        if (uiFirst == 0 && (uiSecond == (14U << 3 | 1) || uiSecond == (15U << 3 | 1)))
            return ERawVideo::H266;
    }
    return ERawVideo::Unknown;
}

// Text with one of the parameters that sets stand in, as a line out of an SDP has.
bool hasSetParameters(Bytes head)
{
    constexpr std::string_view NAMES[] = {"sprop-vps=", "sprop-sps=", "sprop-pps="};
    const auto isOfText = [](unsigned char c) { return c >= ' ' || c == '\t' || c == '\r' || c == '\n'; };
    return std::all_of(head.begin(), head.end(), isOfText) &&
           std::any_of(std::begin(NAMES), std::end(NAMES), [&](std::string_view name) {
               return std::search(head.begin(), head.end(), name.begin(), name.end()) != head.end();
           });
}

bool beginsWithStartCode(Bytes head)
{
    const auto first = std::find_if(head.begin(), head.end(), [](unsigned char c) { return c != 0; });
    return first - head.begin() >= 2 && first != head.end() && *first == 1;
}

} // namespace

FileKind fileKind(Bytes head)
{
    if (isBoxes(head))
        return {EFileKind::IsoBaseMedia, "an MP4, QuickTime or HEIF file", {}};
    for (const Mark& mark : MARKS) {
        const bool bRiff = mark.uiOffset != 8 || hasAt(head, 0, "RIFF");
        if (bRiff && hasAt(head, mark.uiOffset, mark.mark))
            return {mark.eKind, mark.name, mark.command};
    }
    const ERawVideo eVideo = rawVideo(head);
    if (beginsWithStartCode(head) && eVideo == ERawVideo::H265)
        return {EFileKind::ByteStream, "an H.265 byte stream", {}};
    if (isFewPackets(head) || hasPackets(head))
        return {EFileKind::TransportStream, "an MPEG transport stream (MPEG-TS)", {}};
    if (lengthPrefixedUnits(head).value_or(0) >= 2)
        return {
            EFileKind::LengthPrefixed, "NAL units behind their lengths, as in an MP4 file, without start codes", {}};
    if (eVideo == ERawVideo::H264)
        return {EFileKind::Foreign, "a raw H.264 stream", {}};
    if (eVideo == ERawVideo::H266)
        return {EFileKind::Foreign, "a raw H.266 stream", {}};
    if (beginsWithStartCode(head))
        return {EFileKind::ByteStream, "a byte stream with start codes", {}};
    if (hasSetParameters(head))
        return {EFileKind::SessionDescription, "lines of an SDP session description", {}};
    return {EFileKind::Unknown, {}, {}};
}

bool isFileKindSettled(Bytes head)
{
    if (head.size() >= FILE_KIND_BYTES)
        return true;
    if (head.size() < 16)
        return false;
    // Marks stand in front, and are as long as they get. So does a start code, and which parameter set comes first
    // behind it no more bytes change. Packets stay where they are; a few of them, and lengths, are judged by all that
    // comes.
    switch (fileKind(head).eKind) {
    case EFileKind::IsoBaseMedia:
    case EFileKind::Matroska:
        return true;
    case EFileKind::ByteStream:
        return rawVideo(head) == ERawVideo::H265;
    case EFileKind::TransportStream:
        return !beginsWithStartCode(head) && hasPackets(head);
    default:
        return false;
    }
}

} // namespace h265_container
