#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "ContainerClaims.h"
#include "H265psExport.h"
#include "NalUnit.h"

namespace H265PS_EXPORT h265_container {

enum class ETrackKind
{
    Video,
    Audio,
    Text,
    Image,
    Other
};

/// One stream of a file.
struct ContainerTrack
{
    std::uint64_t ulTrack; // track_ID, TrackNumber, PID or item id
    ETrackKind eKind;
    std::string codec; // four characters, CodecID or stream type
    bool bIsH265;
    std::string reason;                // why the track is passed over; empty of H.265
    std::string_view holder = "track"; // or "item", "PID", "media", "set"
    bool bSetsAlone = false;           // without pictures: nothing counts as missing
    bool bUnreadH265 = false;          // passed over although it is H.265: packed or encrypted
};

/// Where a NAL unit stands, for people. It is kept beyond the reading of its file: what it views is constant.
struct UnitPlace
{
    std::uint64_t ulTrack = 0;
    std::string_view holder;    // "track", "item", "PID" or "media"; empty of sets that stand alone
    std::string configuration;  // "hvcC", "lhvC", "CodecPrivate", "sprop-vps" …; empty in the stream itself
    unsigned uiDescription = 0; // sample description from 1 of several, else 0
    std::string_view part;      // "sample", "frame", "packet" or "set"; empty where there are no such
    std::uint64_t ulPart = 0;   // which, from 1
    std::optional<double> time; // seconds: composition time, block time or PTS
};

/// "track 1, hvcC", "track 1, sample 17 at 0.68 s", "item 3", "PID 256, packet 12 at 1.48 s", "media 1, sprop-sps",
/// "set 2".
std::string placeText(const UnitPlace& place);

/// Bytes of a NAL unit that is no parameter set which are delivered: header and what follows.
inline constexpr std::size_t UNIT_HEAD_BYTES = 32;

/// A NAL unit of a track.
struct ContainerUnit
{
    const UnitPlace& place;
    h265_stream::NalUnitHeader header;
    std::optional<std::uint64_t> ulOffset; // of the header in the file; none where its bytes do not stand so in it
    std::uint64_t ulSize;                  // bytes, header included, without zero bytes at the end of a parameter set
    /// Of a parameter set: its first MAX_PARAMETER_SET_BYTES bytes. Else its first UNIT_HEAD_BYTES.
    std::span<const unsigned char> bytes;
};

/// What is wrong with the container, or worth knowing.
struct ContainerFinding
{
    ESeverity eSeverity;
    std::string box;                       // path of the box or element; empty of the file itself
    std::optional<std::uint64_t> ulOffset; // byte of the file
    std::optional<std::uint64_t> ulTrack;
    std::string message;
    bool bUnread = false; // because of it, the file was not read to its end
};

/// Receives what a container holds, in the order of the file. What it throws ends the reading.
class CContainerSink
{
public:
    virtual ~CContainerSink() = default;

    /// A track, before anything of it; again when one that is passed over becomes H.265.
    virtual void onTrack(const ContainerTrack& track) = 0;

    /// What the container claims about a track of H.265; again when that changes.
    virtual void onClaims(const ContainerClaims& claims) = 0;

    /// One NAL unit, valid during the call; false ends the reading.
    virtual bool onNalUnit(const ContainerUnit& unit) = 0;

    virtual void onFinding(const ContainerFinding& finding) = 0;
};

/// How a file is read.
struct ContainerOptions
{
    /// Ends each track behind its first slice segment, and the reading with the last track.
    bool bHead = false;
};

} // namespace h265_container
