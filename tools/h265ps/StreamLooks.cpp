#include "StreamLooks.h"

#include <algorithm>
#include <cstring>

namespace h265ps {

namespace {

using Bytes = std::span<const unsigned char>;

bool hasAt(Bytes head, std::size_t uiOffset, std::string_view mark)
{
    return head.size() >= uiOffset + mark.size() && std::memcmp(head.data() + uiOffset, mark.data(), mark.size()) == 0;
}

// A file of boxes: a size, then one of the types that such files begin with.
bool isMp4(Bytes head)
{
    const std::string_view aTypes[] = {"ftyp", "styp", "moov", "moof", "mdat", "free", "skip", "wide"};
    return std::any_of(std::begin(aTypes), std::end(aTypes), [&](auto type) { return hasAt(head, 4, type); });
}

// Sync bytes at the packet size, in every packet that the head has, two at least.
bool hasSyncBytes(Bytes head, std::size_t uiFirst, std::size_t uiPacketSize)
{
    std::size_t uiPackets = 0;
    for (std::size_t i = uiFirst; i < head.size(); i += uiPacketSize, ++uiPackets) {
        if (head[i] != 0x47)
            return false;
    }
    return uiPackets >= 2;
}

// The NAL units that start codes announce: H.264 has a sequence parameter set of a known profile and
// no parameter set of H.265 in front of it.
bool isRawH264(Bytes head)
{
    constexpr unsigned char aProfiles[] = {44, 66, 77, 83, 86, 88, 100, 110, 118, 122, 128, 244};
    for (std::size_t i = 0; i + 5 <= head.size(); ++i) {
        if (head[i] != 0 || head[i + 1] != 0 || head[i + 2] != 1)
            continue;
        const unsigned uiFirst = head[i + 3];
        const unsigned uiSecond = head[i + 4];
        if ((uiFirst == 0x40 || uiFirst == 0x42 || uiFirst == 0x44) && uiSecond == 1)
            return false;
        const bool bSequence = uiFirst == 0x27 || uiFirst == 0x47 || uiFirst == 0x67;
        if (bSequence && std::find(std::begin(aProfiles), std::end(aProfiles), uiSecond) != std::end(aProfiles))
            return true;
    }
    return false;
}

} // namespace

std::optional<std::string_view> foreignFormat(Bytes head)
{
    using namespace std::string_view_literals;
    if (isMp4(head))
        return "an MP4 or QuickTime file";
    if (hasAt(head, 0, "\x1a\x45\xdf\xa3"sv))
        return "a Matroska or WebM file";
    if (hasSyncBytes(head, 0, 188) || hasSyncBytes(head, 4, 192))
        return "an MPEG transport stream (MPEG-TS)";
    if (hasAt(head, 0, "\0\0\1\xba"sv))
        return "an MPEG program stream";
    if (hasAt(head, 0, "RIFF"sv))
        return hasAt(head, 8, "AVI "sv) ? "an AVI file" : "a RIFF file";
    if (hasAt(head, 0, "FLV\1"sv))
        return "a Flash video file";
    if (hasAt(head, 0, "OggS"sv))
        return "an Ogg file";
    if (hasAt(head, 0, "DKIF"sv))
        return "an IVF file";
    if (isRawH264(head))
        return "a raw H.264 stream";
    return std::nullopt;
}

bool looksLikeText(Bytes head)
{
    return !head.empty() && std::all_of(head.begin(), head.end(), [](unsigned char ucByte) {
        return ucByte >= 0x20 || ucByte == '\n' || ucByte == '\r' || ucByte == '\t';
    });
}

} // namespace h265ps
