#pragma once

#include <string_view>
#include <vector>

#include "ContainerSink.h"
#include "FileKind.h"
#include "FilePlace.h"
#include "H265psExport.h"
#include "ParameterSetStream.h"
#include "RandomSource.h"
#include "SetText.h"

namespace H265PS_EXPORT h265_inspect {

/// How a file that is no byte stream is read.
struct FileOptions
{
    h265_stream::StreamOptions stream;
    InspectOptions inspect;
    bool bHead = false;                             // each track up to its first picture
    h265_container::CRandomSource* pInit = nullptr; // initialisation segment of media segments
};

/// A track of H.265: a stream of its own.
struct FileTrack
{
    const h265_container::ContainerTrack& info;
    const StreamCounts& counts; // by now
};

/// How a track ended.
struct FileTrackEnd
{
    h265_stream::StreamSummary summary;
    std::vector<FilePlace> stalePlaces; // of the SPSs in summary.stale
};

/// Receives what a file holds, in its order. What it throws ends the reading.
class CFileSink
{
public:
    virtual ~CFileSink() = default;

    /// A track, of H.265 or passed over, before anything of it; again when one that is passed over becomes H.265.
    virtual void onTrack(const h265_container::ContainerTrack& track) = 0;
    /// A parameter set; valid during the call, and false ends the reading.
    virtual bool onSet(const FileTrack& track, const FileSet& set) = 0;
    /// pTrack: null of the file as a whole, and of what is passed over.
    virtual void onFinding(const FileTrack* pTrack, const FileFinding& finding) = 0;
    /// A track of H.265 was read to its end.
    virtual void onTrackEnd(const FileTrack& track, const FileTrackEnd& end) = 0;
};

/// Whether files of this kind are read by readFileTracks.
constexpr bool hasTracks(h265_container::EFileKind eKind) noexcept
{
    return eKind == h265_container::EFileKind::IsoBaseMedia || eKind == h265_container::EFileKind::Matroska ||
           eKind == h265_container::EFileKind::TransportStream ||
           eKind == h265_container::EFileKind::SessionDescription;
}

/// Tracks of H.265 that are read of one file at most.
inline constexpr std::size_t MAX_FILE_TRACKS = 512;

/// Reads the tracks of H.265 of a file, each as a stream with tables and counts of its own. Throws
/// h265_stream::CSourceError when the source cannot be read on; what waits for its SPS is handed on before.
void readFileTracks(h265_container::EFileKind eKind, h265_container::CRandomSource& source, const FileOptions& options,
                    CFileSink& sink);

/// Likewise of sets that stand alone, as text.
void readSetTracks(std::string_view text, h265_container::ETextForm eForm, const FileOptions& options, CFileSink& sink);

} // namespace h265_inspect
