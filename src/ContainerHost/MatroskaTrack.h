#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ContainerClaims.h"
#include "Ebml.h"

namespace h265_container {

/// How the frames of a track are packed, RFC 9559 5.1.4.1.31.
enum class EFramePacking
{
    Plain,
    Zlib,
    HeaderStripping
};

/// How NAL units lie in frames.
enum class EFrameFormat
{
    Unknown, // nothing says so: the first frame will
    Lengths,
    StartCodes
};

/// A TrackEntry.
struct MatroskaTrack
{
    std::uint64_t ulTrack = 0;
    std::uint64_t ulType = 0;
    std::string codec;
    std::string reason;       // why it is passed over, empty where it is read
    bool bUnreadH265 = false; // it is H.265 all the same
    EFramePacking ePacking = EFramePacking::Plain;
    bool bPacksFrames = false;
    bool bPacksPrivate = false;
    std::vector<unsigned char> strippedHeader;
    std::vector<unsigned char> codecPrivate;
    std::optional<std::uint64_t> ulPrivateOffset; // in the file, none when it is packed
    EFrameFormat eFormat = EFrameFormat::Unknown;
    unsigned uiLengthBytes = 4;
    ContainerClaims claims;
    std::uint64_t ulFrames = 0; // seen so far
};

/// Reads a TrackEntry. Claims are complete but for the records of CodecPrivate.
MatroskaTrack readMatroskaTrack(CRandomSource& source, CUnitOutput& output, const EbmlElement& entry);

/// Tells of a track, its claims and the parameter sets of its CodecPrivate.
void deliverMatroskaTrack(CUnitOutput& output, MatroskaTrack& track);

/// Delivers the NAL units of a frame.
void deliverMatroskaFrame(CUnitOutput& output, CRandomSource& source, MatroskaTrack& track, std::uint64_t ulOffset,
                          std::uint64_t ulSize, std::optional<double> time);

} // namespace h265_container
