#include "StreamLooks.h"

#include <algorithm>
#include <cstring>

#include "Utf8.h"

namespace h265ps {

namespace {

using Bytes = std::span<const unsigned char>;

bool hasAt(Bytes head, std::size_t uiOffset, std::string_view mark)
{
    return head.size() >= uiOffset + mark.size() && std::memcmp(head.data() + uiOffset, mark.data(), mark.size()) == 0;
}

// A file of boxes: a size, then one of the types that such files begin with. A small number in front of
// one that is a word of English, so that no text is taken for it.
bool isMp4(Bytes head)
{
    const std::string_view aTypes[] = {
        "ftyp", "styp", "prft", "moov", "moof", "mdat", "sidx", "emsg", "uuid", "pnot", "free", "skip", "wide"};
    return head.size() >= 8 && head[0] < ' ' &&
           std::any_of(std::begin(aTypes), std::end(aTypes), [&](auto type) { return hasAt(head, 4, type); });
}

// Sync bytes at the packet size: no packet that the head has contradicts.
bool canHaveSyncBytes(Bytes head, std::size_t uiFirst, std::size_t uiPacketSize)
{
    for (std::size_t i = uiFirst; i < head.size(); i += uiPacketSize) {
        if (head[i] != 0x47)
            return false;
    }
    return true;
}

bool hasSyncBytes(Bytes head, std::size_t uiFirst, std::size_t uiPacketSize)
{
    const bool bEnough = head.size() > uiFirst + uiPacketSize || head.size() == uiPacketSize;
    return bEnough && canHaveSyncBytes(head, uiFirst, uiPacketSize);
}

// Packets as they are, behind a time stamp, or in front of check bytes.
bool isTransportStream(Bytes head)
{
    return hasSyncBytes(head, 0, 188) || hasSyncBytes(head, 4, 192) || hasSyncBytes(head, 0, 204);
}

bool canBeTransportStream(Bytes head)
{
    return canHaveSyncBytes(head, 0, 188) || canHaveSyncBytes(head, 4, 192) || canHaveSyncBytes(head, 0, 204);
}

// NAL units of H.265 behind their lengths, as files with boxes keep them, instead of start codes: each
// length leads to the next, and a parameter set or access unit delimiter of layer 0 is at the front. How
// many there are; none when the head contradicts.
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

bool isLengthPrefixed(Bytes head)
{
    return lengthPrefixedUnits(head).value_or(0) >= 2;
}

// Whether the bytes are UTF-8; a sequence that the end cuts is.
bool isUtf8(Bytes head)
{
    for (std::size_t i = 0; i < head.size();) {
        const std::size_t uiLength = utf8Length(head[i]);
        if (uiLength == 0)
            return false;
        const Bytes rest = head.subspan(i + 1, std::min(uiLength, head.size() - i) - 1);
        if (std::any_of(rest.begin(), rest.end(), [](unsigned char c) { return !isUtf8Continuation(c); }))
            return false;
        i += uiLength;
    }
    return true;
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

// First bytes of NAL units that streams of H.264 have plenty of: slices, delimiters, SEI, parameter sets.
bool isUnitOfH264(unsigned char ucFirst)
{
    constexpr unsigned char aFirst[] = {
        0x01, 0x06, 0x09, 0x0c, 0x21, 0x25, 0x27, 0x28, 0x41, 0x45, 0x47, 0x48, 0x61, 0x65, 0x67, 0x68};
    return std::find(std::begin(aFirst), std::end(aFirst), ucFirst) != std::end(aFirst);
}

} // namespace

std::optional<std::string_view> foreignFormat(Bytes head)
{
    using namespace std::string_view_literals;
    if (isMp4(head))
        return "an MP4 or QuickTime file";
    if (hasAt(head, 0, "\x1a\x45\xdf\xa3"sv))
        return "a Matroska or WebM file";
    if (isTransportStream(head))
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
    if (isLengthPrefixed(head))
        return "NAL units behind their lengths, as in an MP4 file, without start codes";
    if (isRawH264(head))
        return "a raw H.264 stream";
    return std::nullopt;
}

bool resemblesH264(Bytes head)
{
    bool bOdd = false; // of H.265 it would be of layer 32 or above
    for (std::size_t i = 0; i + 4 <= head.size(); ++i) {
        if (head[i] != 0 || head[i + 1] != 0 || head[i + 2] != 1)
            continue;
        if (!isUnitOfH264(head[i + 3]))
            return false;
        bOdd = bOdd || head[i + 3] % 2 != 0;
    }
    return bOdd;
}

bool looksSettled(Bytes head)
{
    // A VPS, SPS or PPS of layer 0 rules other video out, and text. What files of other kinds begin with stands
    // in front of it; only packets and lengths are judged by what comes later too.
    if (canBeTransportStream(head) || lengthPrefixedUnits(head))
        return false;
    for (std::size_t i = 0; i + 5 <= head.size(); ++i) {
        const bool bSet = head[i + 3] == 0x40 || head[i + 3] == 0x42 || head[i + 3] == 0x44;
        if (head[i] == 0 && head[i + 1] == 0 && head[i + 2] == 1 && bSet && head[i + 4] == 1)
            return true;
    }
    return false;
}

bool looksLikeText(Bytes head)
{
    const auto isControl = [](unsigned char c) { return (c < ' ' && (c < '\t' || c > '\r')) || c == 0x7f; };
    if (head.empty() || std::any_of(head.begin(), head.end(), isControl))
        return false;
    const auto iAscii = std::count_if(head.begin(), head.end(), [](unsigned char c) { return c < 0x80; });
    return isUtf8(head) || static_cast<std::size_t>(iAscii) >= head.size() - head.size() / 8;
}

} // namespace h265ps
