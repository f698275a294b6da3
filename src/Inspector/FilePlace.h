#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ActiveSets.h"
#include "ClaimChecks.h"
#include "ContainerSink.h"
#include "Finding.h"
#include "H265psExport.h"
#include "Inspector.h"
#include "ParameterSetEvent.h"

namespace H265PS_EXPORT h265_inspect {

/// Where something stands in a file of any kind.
struct FilePlace
{
    std::optional<std::uint64_t> ulTrack;  // track_ID, TrackNumber, PID or item id; none in a byte stream
    std::optional<std::uint64_t> ulOffset; // byte of the file; none where the bytes do not stand so in it
    h265_container::UnitPlace unit;        // in a byte stream empty

    /// Seconds, where the place has a time.
    [[nodiscard]] const std::optional<double>& time() const noexcept { return unit.time; }
    /// "byte 33", "track 1, hvcC", "track 1, sample 17 at 0.68 s, byte 4711 of the file",
    /// "PID 256, packet 12 at 1.48 s".
    [[nodiscard]] std::string text() const;
};

/// A place in a byte stream.
inline FilePlace placeInStream(std::uint64_t ulOffset)
{
    return {std::nullopt, ulOffset, {}};
}

/// A parameter set of a file. The event's offsets are those of a byte stream; of other files they are numbers of
/// NAL units, and what stands here counts.
struct FileSet
{
    const h265_stream::ParameterSetEvent& event;
    const InspectedSet& set;
    FilePlace place;
    std::optional<FilePlace> sameAs; // the first earlier set of the same bytes and the same record
    std::optional<FilePlace> readAt; // of a PPS that came before its SPS: that SPS
};

/// What is wrong with a file, or worth knowing, beside what is wrong with one set.
struct FileFinding
{
    h265_syntax::Finding finding;
    bool bNote = false;                    // worth knowing only
    std::string set;                       // "SPS 0": the set that it is about; empty of the container
    std::string box;                       // path of the box or element; empty where it is about none
    std::optional<std::uint64_t> ulTrack;  // none: of the file, or in a byte stream
    std::optional<std::uint64_t> ulOffset; // byte of the file
    std::string place;                     // "track 1, hvcC"; empty where the byte alone tells
    bool bUnread = false;                  // because of it, the file was not read to its end
};

/// What a reader of containers found.
FileFinding fileFinding(const h265_container::ContainerFinding& found);
/// What of a track's claims its sets do not bear out.
FileFinding fileFinding(const ClaimFinding& found, std::uint64_t ulTrack);
/// What is wrong with sets among each other.
FileFinding fileFinding(const h265_syntax::SetFinding& found, const FilePlace& place);

} // namespace h265_inspect
