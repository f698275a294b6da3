#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "FilePatches.h"
#include "MovieEdit.h"

namespace h265_inspect {

/// RFC 8794: an element by its place.
struct ElementPlace
{
    std::uint32_t uiId = 0; // with its length marker
    std::uint64_t ulOffset = 0;
    std::uint64_t ulContent = 0;
    std::uint64_t ulEnd = 0;
    unsigned uiSizeBytes = 0;
    bool bUnknownSize = false;
};

/// A Matroska file that is written with another CodecPrivate. It keeps the place of everything behind Tracks: what
/// Tracks grows by is taken from a Void behind it, out of sizes that are written longer than they need be, or from a
/// Void in front of it. SeekHead and CRC-32 elements follow.
class CMatroskaEdit
{
public:
    explicit CMatroskaEdit(h265_container::CRandomSource& source) : m_source(source) {}

    /// The record in the CodecPrivate that holds the byte; empty where there is none.
    std::vector<unsigned char> recordAt(std::uint64_t ulOffset);

    /// Plans the file; the reason when that cannot be. patches has those of frames.
    std::string plan(const std::vector<ReplacedRecord>& records, CFilePatches& patches);

private:
    /// Sizes of Tracks, TrackEntry and CodecPrivate in bytes.
    struct Widths
    {
        unsigned uiTracks, uiEntry, uiPrivate;
    };

    bool findPrivate(std::uint64_t ulOffset);
    std::vector<unsigned char> tracksWith(const std::vector<unsigned char>& content, const Widths& widths);
    bool takeFromFront(std::vector<unsigned char> tracks, CFilePatches& patches);
    void moveSeeks(const ElementPlace& seekHead, std::uint64_t ulBegin, std::uint64_t ulGrowth, CFilePatches& patches);
    std::optional<ElementPlace> childOf(const ElementPlace& parent, std::uint32_t uiId);
    std::string replace(const ReplacedRecord& record, CFilePatches& patches);
    void updateCrcOf(const ElementPlace& element, CFilePatches& patches);
    void updateSums(CFilePatches& patches);

    h265_container::CRandomSource& m_source;
    ElementPlace m_segment;
    ElementPlace m_tracks;
    ElementPlace m_entry;
    ElementPlace m_private;
    std::optional<ElementPlace> m_void; // right behind Tracks
};

} // namespace h265_inspect
