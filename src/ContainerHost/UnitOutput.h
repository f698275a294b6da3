#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "ContainerSink.h"
#include "RandomSource.h"

namespace h265_container {

/// Findings that are told of one file; behind them only their number is.
inline constexpr unsigned MAX_FINDINGS = 200;

/// Bytes that are kept of one file: tracks and their sample descriptions.
inline constexpr std::uint64_t MAX_KEPT_BYTES = std::uint64_t{16} << 20;

/// "initialisation segment: moov/trak/tkhd", for what stands in another file than the one that is read.
std::string pathInOtherFile(std::string_view otherFile, const std::string& path);

/// Between the readers and the sink: counts findings and work, and knows which tracks have ended.
class CUnitOutput
{
public:
    CUnitOutput(CContainerSink& sink, const ContainerOptions& options) : m_sink(sink), m_options(options) {}

    [[nodiscard]] bool isHead() const { return m_options.bHead; }

    /// Whether nothing more is wanted: the sink said so, or the work is out of proportion.
    [[nodiscard]] bool isStopped() const { return m_bStopped; }

    /// Nothing more is delivered.
    void stop() { m_bStopped = true; }

    /// A head run has seen the track's first slice segment.
    [[nodiscard]] bool isTrackDone(std::uint64_t ulTrack) const { return m_options.bHead && m_done.contains(ulTrack); }

    /// The tracks that have ended. Image items have numbers of their own: they are read with a list of theirs.
    [[nodiscard]] std::set<std::uint64_t> exchangeDone(std::set<std::uint64_t> done)
    {
        return std::exchange(m_done, std::move(done));
    }

    void track(const ContainerTrack& track) { m_sink.onTrack(track); }
    void claims(const ContainerClaims& claims) { m_sink.onClaims(claims); }
    void finding(const ContainerFinding& finding);

    /// The track that findings are about which name none, while its description is read.
    void speakOf(std::optional<std::uint64_t> ulTrack) { m_ulTrack = ulTrack; }

    /// What is found from here on stands in another file than the one that is read: its name goes in front of
    /// the path, and there is no offset. An empty one is the file itself.
    void standIn(std::string_view otherFile) { m_otherFile = otherFile; }

    /// A finding that is told once for each track and kind.
    void findingOnce(unsigned uiKind, const ContainerFinding& finding) { findingOf(uiKind, 1, finding); }

    /// A finding of which each track tells a few, so that one kind does not crowd out the others.
    void findingFew(unsigned uiKind, const ContainerFinding& finding) { findingOf(uiKind, FEW, finding); }

    /// Tells how many findings were not told.
    void finish();

    /// Counts work; false when it is out of proportion to the bytes of the file, which is told.
    bool spend(const CRandomSource& source, std::uint64_t ulWork);

    /// Counts bytes that are kept of a file; false when they are more than the memory for it.
    [[nodiscard]] bool keep(std::uint64_t ulBytes);

    /// Delivers a NAL unit of ulSize bytes, which lies in source at ulOffset, and at optional ulFileOffset
    /// in the file. begin: bytes from there on that have been read, some or none.
    void unit(const UnitPlace& place, CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulSize,
              std::optional<std::uint64_t> ulFileOffset, std::span<const unsigned char> begin);

    /// Delivers a NAL unit whose bytes are there, as far as they are wanted.
    void unit(const UnitPlace& place, std::span<const unsigned char> bytes, std::uint64_t ulSize,
              std::optional<std::uint64_t> ulFileOffset);

private:
    static constexpr unsigned FEW = 8;

    void findingOf(unsigned uiKind, unsigned uiMost, const ContainerFinding& finding);

    CContainerSink& m_sink;
    const ContainerOptions m_options;
    bool m_bStopped = false;
    std::optional<std::uint64_t> m_ulTrack; // that findings are about
    std::string m_otherFile;
    std::uint64_t m_ulWork = 0;
    std::uint64_t m_ulKept = 0;
    std::uint64_t m_ulFurthest = 0; // byte that a unit was seen at
    std::uint64_t m_ulUntold = 0;
    std::set<std::uint64_t> m_done;
    std::map<std::pair<std::uint64_t, unsigned>, unsigned> m_told;
    std::set<std::tuple<std::string, std::optional<std::uint64_t>, std::optional<std::uint64_t>, std::string>> m_found;
    std::vector<unsigned char> m_bytes; // of the unit being delivered
};

/// Kinds of findings that are told once or a few times a track.
enum EOnce : unsigned
{
    FEW_CUT_SAMPLES,
    FEW_LONG_UNITS,
    FEW_DAMAGED_FRAMES,
    FEW_SYNC_LOST,
    FEW_BAD_SECTIONS,
    FEW_NEW_VERSIONS,
    FEW_DAMAGED_PACKETS,
    FEW_LOST_PACKETS,
    FEW_BAD_PES,
    ONCE_TRAILING_ZEROS,
    ONCE_EMPTY_UNIT,
    ONCE_START_CODES,
    ONCE_LENGTH_SIZE,
    ONCE_OUTSIDE,
    ONCE_FILE_END,
    ONCE_EXTERNAL,
    ONCE_NO_DESCRIPTION,
    ONCE_NO_DEFAULTS,
    ONCE_COMPRESSION,
    ONCE_ENCRYPTED,
    ONCE_NO_CONFIGURATION,
    ONCE_SCRAMBLED,
    ONCE_STREAM_TYPE,
    ONCE_OTHER_CODEC,
    ONCE_LOST_PACKETS,
    ONCE_BAD_PES
};

/// ISO/IEC 14496-15 4.3.3.1: the NAL units of a sample, each behind its length. Offsets in the file are
/// those in source plus ulFileBase; none when that is none.
void readLengthPrefixedUnits(CUnitOutput& output, const UnitPlace& place, CRandomSource& source, std::uint64_t ulOffset,
                             std::uint64_t ulSize, unsigned uiLengthBytes, std::optional<std::uint64_t> ulFileBase);

/// Whether the bytes are NAL units behind lengths of so many bytes from end to end.
bool isLengthPrefixed(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulSize, unsigned uiLengthBytes);

/// The bytes of a sample's lengths: uiClaimed, but where only others lead through the sample these, 0 where it has
/// start codes, which is told. ulFileBase: as above.
unsigned lengthBytesOf(CUnitOutput& output, const UnitPlace& place, CRandomSource& source, std::uint64_t ulOffset,
                       std::uint64_t ulSize, unsigned uiClaimed, std::optional<std::uint64_t> ulFileBase);

/// Tells what a record's findings are, and delivers its NAL units. ulFileOffset is where the record lies in
/// the file, box its path.
void deliverConfiguration(CUnitOutput& output, const UnitPlace& place, const DecoderConfiguration& configuration,
                          const std::string& box, std::optional<std::uint64_t> ulFileOffset, bool bTellFindings);

} // namespace h265_container
