#include "MatroskaTrack.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "BoxWalk.h"
#include "CountedText.h"
#include "ElementaryUnits.h"
#include "MatroskaPacking.h"

namespace h265_container {

namespace {

// Numbers of elements: RFC 9559 5.1.4.
enum ETrackId : std::uint32_t
{
    ID_TRACK_NUMBER = 0xd7,
    ID_TRACK_TYPE = 0x83,
    ID_CODEC_ID = 0x86,
    ID_CODEC_PRIVATE = 0x63a2,
    ID_DEFAULT_DURATION = 0x23e383,
    ID_VIDEO = 0xe0,
    ID_COLOUR = 0x55b0,
    ID_FLAG_INTERLACED = 0x9a,
    ID_CONTENT_ENCODINGS = 0x6d80,
    ID_CONTENT_ENCODING = 0x6240,
    ID_ENCODING_SCOPE = 0x5032,
    ID_ENCODING_TYPE = 0x5033,
    ID_COMPRESSION = 0x5034,
    ID_COMPRESSION_ALGORITHM = 0x4254,
    ID_COMPRESSION_SETTINGS = 0x4255
};

std::string textOf(const std::vector<unsigned char>& bytes)
{
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), '\0')};
}

// 5.1.4.1.28.16 Colour.
void readColour(CRandomSource& source, CUnitOutput& output, const EbmlElement& element, MatroskaTrack& track,
                MatroskaVideoClaim& video)
{
    const std::string path = "Segment/Tracks/TrackEntry/Video/Colour";
    ColourClaim colour;
    colour.type = "Colour";
    CEbmlWalk walk(source, output, path, element.ulContent, element.ulEnd);
    while (const auto child = walk.next()) {
        const std::uint64_t ulValue = readEbmlUnsigned(source, *child);
        switch (child->uiId) {
        case 0x55b1:
            colour.uiMatrix = static_cast<unsigned>(ulValue);
            break;
        case 0x55b2:
            video.ulBitsPerChannel = ulValue;
            break;
        case 0x55b3:
            video.ulChromaSubsamplingHorz = ulValue;
            break;
        case 0x55b4:
            video.ulChromaSubsamplingVert = ulValue;
            break;
        case 0x55b9: // Range: 1 limited, 2 full
            if (ulValue == 1 || ulValue == 2)
                colour.bFullRange = ulValue == 2;
            break;
        case 0x55ba:
            colour.uiTransfer = static_cast<unsigned>(ulValue);
            break;
        case 0x55bb:
            colour.uiPrimaries = static_cast<unsigned>(ulValue);
            break;
        case 0x55bc:
            video.ulMaxCLL = ulValue;
            break;
        case 0x55bd:
            video.ulMaxFALL = ulValue;
            break;
        default:
            break;
        }
    }
    track.claims.colours.assign(1, {colour, path, element.ulOffset});
}

// 5.1.4.1.28 Video.
void readVideo(CRandomSource& source, CUnitOutput& output, const EbmlElement& element, MatroskaTrack& track)
{
    MatroskaVideoClaim video;
    const struct
    {
        std::uint32_t uiId;
        std::optional<std::uint64_t>& ulField;
    } aFields[] = {{0xb0, video.ulPixelWidth},
                   {0xba, video.ulPixelHeight},
                   {0x54aa, video.ulPixelCropBottom},
                   {0x54bb, video.ulPixelCropTop},
                   {0x54cc, video.ulPixelCropLeft},
                   {0x54dd, video.ulPixelCropRight},
                   {0x54b0, video.ulDisplayWidth},
                   {0x54ba, video.ulDisplayHeight},
                   {0x54b2, video.ulDisplayUnit},
                   {0x53b8, video.ulStereoMode}};
    const std::string path = "Segment/Tracks/TrackEntry/Video";
    CEbmlWalk walk(source, output, path, element.ulContent, element.ulEnd);
    while (const auto child = walk.next()) {
        if (child->uiId == ID_COLOUR)
            readColour(source, output, *child, track, video);
        if (child->uiId == ID_FLAG_INTERLACED) {
            constexpr std::uint64_t INTERLACED = 1;
            constexpr std::uint64_t PROGRESSIVE = 2;
            const std::uint64_t ulFlag = readEbmlUnsigned(source, *child);
            if (ulFlag == INTERLACED || ulFlag == PROGRESSIVE)
                track.claims.scan = {{ulFlag == INTERLACED}, path + "/FlagInterlaced", child->ulOffset};
        }
        for (const auto& field : aFields) {
            if (field.uiId == child->uiId)
                field.ulField = readEbmlUnsigned(source, *child);
        }
    }
    track.claims.matroskaVideo = {video, path, element.ulOffset};
}

// 5.1.4.1.31 ContentEncoding.
struct Encoding
{
    std::uint64_t ulScope = 1;
    std::uint64_t ulType = 0;
    std::uint64_t ulAlgorithm = 0;
    std::vector<unsigned char> settings;
};

Encoding readEncoding(CRandomSource& source, CUnitOutput& output, const EbmlElement& element)
{
    const std::string path = "Segment/Tracks/TrackEntry/ContentEncodings";
    Encoding encoding;
    CEbmlWalk walk(source, output, path, element.ulContent, element.ulEnd);
    while (const auto child = walk.next()) {
        if (child->uiId == ID_ENCODING_SCOPE)
            encoding.ulScope = readEbmlUnsigned(source, *child);
        else if (child->uiId == ID_ENCODING_TYPE)
            encoding.ulType = readEbmlUnsigned(source, *child);
        else if (child->uiId == ID_COMPRESSION) {
            CEbmlWalk fields(source, output, path, child->ulContent, child->ulEnd);
            while (const auto field = fields.next()) {
                if (field->uiId == ID_COMPRESSION_ALGORITHM)
                    encoding.ulAlgorithm = readEbmlUnsigned(source, *field);
                else if (field->uiId == ID_COMPRESSION_SETTINGS)
                    encoding.settings = readEbmlBytes(source, *field, std::size_t{1} << 16);
            }
        }
    }
    return encoding;
}

// 5.1.4.1.31.6 ContentCompAlgo.
std::string packingName(std::uint64_t ulAlgorithm)
{
    constexpr std::uint64_t BZLIB = 1;
    constexpr std::uint64_t LZO = 2;
    if (ulAlgorithm == BZLIB || ulAlgorithm == LZO)
        return ulAlgorithm == BZLIB ? "bzlib" : "LZO";
    return "algorithm " + std::to_string(ulAlgorithm);
}

void readEncodings(CRandomSource& source, CUnitOutput& output, const EbmlElement& element, MatroskaTrack& track)
{
    CEbmlWalk walk(source, output, "Segment/Tracks/TrackEntry/ContentEncodings", element.ulContent, element.ulEnd);
    unsigned uiEncodings = 0;
    while (const auto child = walk.next()) {
        if (child->uiId != ID_CONTENT_ENCODING)
            continue;
        Encoding encoding = readEncoding(source, output, *child);
        if (++uiEncodings > 1)
            track.reason = "packed more than once, which is not read";
        else if (encoding.ulType != 0)
            track.reason = "encrypted, which is not read";
        else if (encoding.ulAlgorithm != 0 && encoding.ulAlgorithm != 3)
            track.reason = "packed with " + packingName(encoding.ulAlgorithm) +
                           ", which is not read; zlib and header stripping are";
        track.ePacking = encoding.ulAlgorithm == 0 ? EFramePacking::Zlib : EFramePacking::HeaderStripping;
        track.bPacksFrames = (encoding.ulScope & 1) != 0;
        track.bPacksPrivate = (encoding.ulScope & 2) != 0;
        track.strippedHeader = std::move(encoding.settings);
    }
}

// BITMAPINFOHEADER, in front of the codec's own bytes: its compression is a code of four characters.
constexpr std::size_t BITMAP_HEADER_BYTES = 40;
constexpr std::size_t BITMAP_COMPRESSION = 16;

bool isH265Bitmap(const std::vector<unsigned char>& codecPrivate)
{
    if (codecPrivate.size() < BITMAP_HEADER_BYTES)
        return false;
    constexpr std::array<const char*, 8> CODES = {"HEVC", "hevc", "H265", "h265", "HEV1", "hev1", "HVC1", "hvc1"};
    return std::any_of(CODES.begin(), CODES.end(), [&](const char* pCode) {
        return std::memcmp(codecPrivate.data() + BITMAP_COMPRESSION, pCode, 4) == 0;
    });
}

void unpackPrivate(CUnitOutput& output, CRandomSource& source, MatroskaTrack& track, const EbmlElement& element)
{
    track.codecPrivate.clear();
    track.ulPrivateOffset.reset();
    if (track.ePacking == EFramePacking::HeaderStripping) {
        const std::vector<unsigned char> bytes = readEbmlBytes(source, element, MAX_CONFIGURATION_BYTES);
        track.codecPrivate = track.strippedHeader;
        track.codecPrivate.insert(track.codecPrivate.end(), bytes.begin(), bytes.end());
        return;
    }
    if (const char* const pReason = unpack(source, element.ulContent, element.contentSize(), track.codecPrivate))
        output.finding({ESeverity::Error,
                        "Segment/Tracks/TrackEntry/CodecPrivate",
                        element.ulOffset,
                        track.ulTrack,
                        std::string("cannot be unpacked to its end: ") + pReason});
    if (track.codecPrivate.size() > MAX_CONFIGURATION_BYTES)
        track.codecPrivate.resize(MAX_CONFIGURATION_BYTES + 1);
    track.codecPrivate.shrink_to_fit();
}

void takePrivate(CUnitOutput& output, CRandomSource& source, MatroskaTrack& track, const EbmlElement& element)
{
    track.codecPrivate = readEbmlBytes(source, element, MAX_CONFIGURATION_BYTES + 1);
    track.ulPrivateOffset = element.ulContent;
    if (track.bPacksPrivate && track.reason.empty())
        unpackPrivate(output, source, track, element);
}

// Whether the codec is H.265, else why the track is passed over.
void judge(MatroskaTrack& track)
{
    const bool bBitmap = track.codec == "V_MS/VFW/FOURCC" && isH265Bitmap(track.codecPrivate);
    if (bBitmap) {
        track.codecPrivate.erase(track.codecPrivate.begin(), track.codecPrivate.begin() + BITMAP_HEADER_BYTES);
        if (track.ulPrivateOffset)
            *track.ulPrivateOffset += BITMAP_HEADER_BYTES;
    }
    if (track.codec != "V_MPEGH/ISO/HEVC" && !bBitmap)
        track.reason = "it is no H.265";
    else if (!track.reason.empty())
        track.bUnreadH265 = true;
}

ETrackKind kindOfTrack(std::uint64_t ulType)
{
    switch (ulType) {
    case 1:
        return ETrackKind::Video;
    case 2:
        return ETrackKind::Audio;
    case 17:
        return ETrackKind::Text;
    default:
        return ETrackKind::Other;
    }
}

UnitPlace placeOf(const MatroskaTrack& track)
{
    UnitPlace place;
    place.ulTrack = track.ulTrack;
    place.holder = "track";
    return place;
}

} // namespace

MatroskaTrack readMatroskaTrack(CRandomSource& source, CUnitOutput& output, const EbmlElement& entry)
{
    MatroskaTrack track;
    std::optional<EbmlElement> codecPrivate;
    CEbmlWalk walk(source, output, "Segment/Tracks/TrackEntry", entry.ulContent, entry.ulEnd);
    while (const auto child = walk.next()) {
        switch (child->uiId) {
        case ID_TRACK_NUMBER:
            track.ulTrack = readEbmlUnsigned(source, *child);
            break;
        case ID_TRACK_TYPE:
            track.ulType = readEbmlUnsigned(source, *child);
            break;
        case ID_CODEC_ID:
            track.codec = textOf(readEbmlBytes(source, *child, 256));
            break;
        case ID_CODEC_PRIVATE:
            codecPrivate = child;
            break;
        case ID_DEFAULT_DURATION:
            if (const std::uint64_t ulDuration = readEbmlUnsigned(source, *child); ulDuration != 0)
                track.claims.constantFrameRate = {
                    {1000000000, ulDuration}, "Segment/Tracks/TrackEntry/DefaultDuration", child->ulOffset};
            break;
        case ID_VIDEO:
            readVideo(source, output, *child, track);
            break;
        case ID_CONTENT_ENCODINGS:
            readEncodings(source, output, *child, track);
            break;
        default:
            break;
        }
    }
    const bool bVideo = track.ulType == 1;
    if (codecPrivate && bVideo)
        takePrivate(output, source, track, *codecPrivate);
    judge(track);
    track.claims.ulTrack = track.ulTrack;
    track.claims.codec = track.codec;
    return track;
}

void deliverMatroskaTrack(CUnitOutput& output, MatroskaTrack& track)
{
    const bool bRead = track.reason.empty();
    const std::string reason = (track.bUnreadH265 ? "it is H.265, " : "") + track.reason;
    output.track({.ulTrack = track.ulTrack,
                  .eKind = kindOfTrack(track.ulType),
                  .codec = track.codec,
                  .bIsH265 = bRead,
                  .reason = reason,
                  .bUnreadH265 = track.bUnreadH265});
    if (!track.reason.empty())
        return;
    const std::string path = "Segment/Tracks/TrackEntry/CodecPrivate";
    const std::vector<unsigned char>& bytes = track.codecPrivate;
    UnitPlace place = placeOf(track);
    place.configuration = "CodecPrivate";
    const bool bStartCode = bytes.size() >= 4 && bytes[0] == 0 && bytes[1] == 0 && (bytes[2] == 1 || bytes[3] == 1);
    if (bytes.empty() || bStartCode) {
        output.claims(track.claims);
        const bool bExpected = track.codec != "V_MPEGH/ISO/HEVC";
        if (!bExpected)
            output.finding({ESeverity::Error,
                            path,
                            track.ulPrivateOffset,
                            track.ulTrack,
                            bytes.empty() ? "is missing or empty" : "is a byte stream instead of an hvcC record"});
        CElementaryUnits units;
        units.feed(output, bytes, place, track.ulPrivateOffset);
        units.finish(output);
        track.eFormat = bytes.empty() ? EFrameFormat::Unknown : EFrameFormat::StartCodes;
        return;
    }
    DecoderConfiguration configuration = readDecoderConfiguration(bytes, EConfigurationBox::HvcC);
    track.eFormat = EFrameFormat::Lengths;
    if (configuration.uiFieldBits == std::size_t{23} * 8)
        track.uiLengthBytes = configuration.lengthSizeMinusOne + 1U;
    DecoderConfiguration fields = configuration;
    fields.units.clear();
    track.claims.hvcC = {std::move(fields), path, track.ulPrivateOffset};
    output.claims(track.claims);
    deliverConfiguration(output, place, configuration, path, track.ulPrivateOffset, true);
}

namespace {

// The NAL units of a frame in source, which is the file or what was unpacked of it.
void deliverUnits(CUnitOutput& output, CRandomSource& source, MatroskaTrack& track, const UnitPlace& place,
                  std::uint64_t ulOffset, std::uint64_t ulSize, bool bInFile)
{
    const auto ulFileBase = bInFile ? std::optional<std::uint64_t>(0) : std::nullopt;
    if (track.eFormat == EFrameFormat::Unknown)
        track.eFormat =
            isLengthPrefixed(source, ulOffset, ulSize, 4) ? EFrameFormat::Lengths : EFrameFormat::StartCodes;
    else if (track.eFormat == EFrameFormat::Lengths && track.ulFrames == 1 && !source.isForwardOnly()) {
        track.uiLengthBytes = lengthBytesOf(output, place, source, ulOffset, ulSize, track.uiLengthBytes, ulFileBase);
        if (track.uiLengthBytes == 0)
            track.eFormat = EFrameFormat::StartCodes;
    }
    if (track.eFormat == EFrameFormat::Lengths)
        readLengthPrefixedUnits(output, place, source, ulOffset, ulSize, track.uiLengthBytes, ulFileBase);
    else
        readStartCodeUnits(output, place, source, ulOffset, ulSize, ulFileBase);
}

} // namespace

void deliverMatroskaFrame(CUnitOutput& output, CRandomSource& source, MatroskaTrack& track, std::uint64_t ulOffset,
                          std::uint64_t ulSize, std::optional<double> time)
{
    UnitPlace place = placeOf(track);
    place.part = "frame";
    place.ulPart = ++track.ulFrames;
    place.time = time;
    if (const auto ulEnd = source.size(); ulEnd && ulSize > *ulEnd - std::min(*ulEnd, ulOffset)) {
        const std::uint64_t ulLeft = *ulEnd - std::min(*ulEnd, ulOffset);
        output.findingOnce(ONCE_OUTSIDE,
                           {ESeverity::Error,
                            placeText(place),
                            ulOffset,
                            track.ulTrack,
                            "the file ends early: the frame has " + countedText(ulSize, "byte") + " where " +
                                std::to_string(ulLeft) + areOrIs(ulLeft) + "left",
                            true});
        ulSize = ulLeft;
    }
    if (!track.bPacksFrames || ulSize == 0) {
        deliverUnits(output, source, track, place, ulOffset, ulSize, true);
        return;
    }
    if (track.ePacking == EFramePacking::HeaderStripping) {
        CStrippedSource whole(source, track.strippedHeader, ulOffset);
        deliverUnits(output, whole, track, place, 0, ulSize + track.strippedHeader.size(), false);
        return;
    }
    std::vector<unsigned char> unpacked;
    if (const char* const pReason = unpack(source, ulOffset, ulSize, unpacked))
        output.findingFew(FEW_DAMAGED_FRAMES,
                          {ESeverity::Error,
                           placeText(place),
                           ulOffset,
                           track.ulTrack,
                           std::string("cannot be unpacked to its end: ") + pReason});
    CUnpackedSource whole(source, unpacked);
    deliverUnits(output, whole, track, place, 0, unpacked.size(), false);
}

} // namespace h265_container
