#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "FilePatches.h"

namespace h265_inspect {

/// A decoder configuration record that gets another content.
struct ReplacedRecord
{
    std::uint64_t ulOffset = 0; // of its content
    std::vector<unsigned char> content;
};

/// ISO/IEC 14496-12 4.2: a box by its place. What it holds begins somewhere behind ulContent.
struct BoxPlace
{
    std::uint32_t uiType = 0;
    std::uint64_t ulOffset = 0;
    std::uint64_t ulContent = 0;
    std::uint64_t ulEnd = 0;
    bool bToTheEnd = false; // its size is written as 0

    [[nodiscard]] std::uint64_t size() const { return ulEnd - ulOffset; }
};

/// A movie that is written with other records in its moov. moov stays where it is when nothing behind it has to move:
/// it has kept its size, stands at the end or in front of free space. Else it moves to the end and leaves free space.
/// Fragments have to stand behind moov: there they move, with the offsets that count from the file's beginning.
class CMovieEdit
{
public:
    explicit CMovieEdit(h265_container::CRandomSource& source) : m_source(source) {}

    /// The bytes that a record has now; empty where no box begins its content there.
    std::vector<unsigned char> recordAt(std::uint64_t ulOffset);

    /// Plans the file; the reason when that cannot be.
    std::string plan(const std::vector<ReplacedRecord>& records, CFilePatches& patches);

    /// Whether the planned file is as long as it was: no byte outside moov and the free space behind it moves.
    [[nodiscard]] bool keepsSize() const { return m_bKeepsSize; }

    /// Writes it. patches are those of plan, and others that keep the size of what they replace.
    void write(const CFilePatches& patches, CEditOutput& output);

private:
    std::string readTop();
    std::vector<BoxPlace> chainTo(std::uint64_t ulContent);
    std::string replace(const std::vector<ReplacedRecord>& records, CFilePatches& patches);
    bool growIntoFreeSpace(CFilePatches& patches);
    std::string moveToTheEnd(CFilePatches& patches);
    std::string moveWhatFollows(CFilePatches& patches);
    std::string moveOffsets(const BoxPlace& box, unsigned uiDepth, CFilePatches& patches);
    std::string moveTable(const BoxPlace& box, std::size_t uiFirst, std::size_t uiStride, unsigned uiBytes,
                          CFilePatches& patches);
    std::string moveOffset(std::uint64_t ulAt, unsigned uiBytes, CFilePatches& patches);

    h265_container::CRandomSource& m_source;
    std::vector<BoxPlace> m_top;
    std::size_t m_uiMoov = 0; // in m_top
    std::int64_t m_iGrowth = 0;
    bool m_bMoved = false;
    bool m_bKeepsSize = true;
    std::uint64_t m_ulEnd = 0;
};

} // namespace h265_inspect
