#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "ContainerSink.h"
#include "FileTracks.h"
#include "ToldFindings.h"
#include "Verdict.h"

namespace h265ps {

/// A track of a file, and the verdict on it where it is of H.265.
struct TrackVerdict
{
    h265_container::ContainerTrack info;
    std::optional<CVerdict> verdict;
};

/// "track 1, hvc1": how a track is named.
std::string nameOf(const h265_container::ContainerTrack& track);
/// "video", "audio" ...
const char* kindOf(const h265_container::ContainerTrack& track);

/// What the streams of a file are: the one of a byte stream, or those of its tracks.
class CFileVerdict
{
public:
    explicit CFileVerdict(h265_stream::EBitReader eReader) : m_eReader(eReader), m_worst(eReader) {}

    /// Of a byte stream.
    [[nodiscard]] CVerdict& stream();
    /// The file has tracks, this one among them.
    void addTrack(const h265_container::ContainerTrack& track);
    /// The verdict on a track of H.265 that was added.
    [[nodiscard]] CVerdict& of(const h265_container::ContainerTrack& track);
    /// Of the container: counted once where several tracks share what it is about, and what it left unread interrupts
    /// its track, or all of them.
    void addFinding(const h265_inspect::FileFinding& finding);
    /// The file was read to its end: whether its tracks are of sets that stand alone, and there is none. Such a file is
    /// an error, since nothing else says that they are missing.
    [[nodiscard]] bool failEmpty();
    /// The file could not be read to its end.
    void interrupt(const std::string& reason);

    /// In the order of the file; none of a byte stream.
    [[nodiscard]] const std::deque<TrackVerdict>& tracks() const { return m_tracks; }
    [[nodiscard]] std::size_t h265Tracks() const;
    /// Of the first of the streams with the worst exit code.
    [[nodiscard]] const CVerdict& worst() const;
    /// The gist of the first stream that has one.
    [[nodiscard]] const CVerdict& first() const;
    /// Of all streams.
    [[nodiscard]] std::vector<StaleSet> stale() const;
    [[nodiscard]] EExitCode exitCode() const;
    /// "the container: 1 error and 2 warnings found"; empty when there are none.
    [[nodiscard]] std::string containerProblems() const;
    /// Of all sets and the container.
    [[nodiscard]] std::uint64_t findings() const;

private:
    h265_stream::EBitReader m_eReader;
    std::deque<TrackVerdict> m_tracks;
    std::optional<CVerdict> m_stream;
    CVerdict m_worst; // of no stream
    std::optional<std::string> m_interruption;
    CToldFindings m_counted;
    std::uint64_t m_ulErrors = 0; // of the container
    std::uint64_t m_ulWarnings = 0;
};

} // namespace h265ps
