#pragma once

#include <cstdint>
#include <optional>

#include "BoxWalk.h"

namespace h265_container {

/// A table of a box, read where it is wanted: no entry is kept.
class CTable
{
public:
    CTable() = default;
    CTable(CRandomSource& source, std::uint64_t ulOffset, unsigned uiEntryBytes, std::uint64_t ulCount)
        : m_pSource(&source), m_ulOffset(ulOffset), m_uiEntryBytes(uiEntryBytes), m_ulCount(ulCount)
    {}

    [[nodiscard]] std::uint64_t count() const { return m_ulCount; }

    /// An entry's fields; all of them 0 behind the end.
    [[nodiscard]] CFieldCursor entry(std::uint64_t ulIndex) const
    {
        const std::uint64_t ulAt = m_ulOffset + ulIndex * m_uiEntryBytes;
        return {*m_pSource, ulAt, ulIndex < m_ulCount ? ulAt + m_uiEntryBytes : ulAt};
    }
    [[nodiscard]] explicit operator bool() const { return m_pSource != nullptr; }

private:
    CRandomSource* m_pSource = nullptr;
    std::uint64_t m_ulOffset = 0;
    unsigned m_uiEntryBytes = 0;
    std::uint64_t m_ulCount = 0;
};

/// ISO/IEC 14496-12 8.6.1 and 8.7: where the samples of a track lie, and when they are shown.
struct SampleTables
{
    CTable stts;
    CTable ctts;
    CTable stsc;
    CTable chunks; // stco, co64
    unsigned uiChunkOffsetBytes = 4;
    CTable sizes; // stsz, stz2
    unsigned uiSizeBits = 32;
    std::uint32_t uiConstantSize = 0; // of stsz, 0 when it has a table
    std::uint64_t ulSamples = 0;
    bool bHasSizes = false;
    bool bCut = false;                          // a table is shorter than it says
    std::optional<std::uint64_t> ulTimesOffset; // of the boxes: stts
    std::optional<std::uint64_t> ulRunsOffset;  // stsc
    std::optional<std::uint64_t> ulSizesOffset; // stsz, stz2
};

/// Takes one of the tables' boxes in; false of any other box.
bool takeSampleTable(SampleTables& tables, CRandomSource& source, CUnitOutput& output, const Box& box,
                     const std::string& path, std::uint64_t ulTrack);

/// A chunk: samples that lie one behind the other and share a description.
struct Chunk
{
    std::uint64_t ulOffset;
    std::uint64_t ulSamples;
    std::uint32_t uiDescription; // from 1
};

struct Sample
{
    std::uint64_t ulNumber; // from 1
    std::uint64_t ulSize;
    std::int64_t iTime; // of composition, in units of the track's time scale
};

/// The samples of a track in the order of its chunks.
class CSampleCursor
{
public:
    explicit CSampleCursor(const SampleTables& tables) : m_tables(tables) {}

    /// The next chunk, its samples as far as stsz counts them; none behind the last one. The samples of the
    /// chunk before must have been taken or skipped.
    std::optional<Chunk> nextChunk();

    Sample nextSample();
    void skipSamples(std::uint64_t ulCount);

    [[nodiscard]] std::uint64_t samplesTaken() const { return m_ulSample; }

    /// Of the next sample: the sum of the durations so far.
    [[nodiscard]] std::uint64_t decodeTime() const { return m_ulDecodeTime; }

private:
    struct Run
    {
        std::uint64_t ulEntry = 0; // the next one
        std::uint64_t ulLeft = 0;  // samples of the current one
        std::uint32_t uiValue = 0;
    };

    void findChunkRun();
    static bool fill(Run& run, const CTable& table);
    [[nodiscard]] std::uint64_t sizeOf(std::uint64_t ulSample) const;

    const SampleTables& m_tables;
    std::uint64_t m_ulChunk = 0;
    std::uint64_t m_ulChunkEntry = 0;     // of stsc, the next one
    std::uint64_t m_ulNextFirstChunk = 0; // that it begins at, from 0
    std::uint32_t m_uiSamplesPerChunk = 0;
    std::uint32_t m_uiDescription = 1;
    std::uint64_t m_ulSample = 0;
    std::uint64_t m_ulDecodeTime = 0;
    Run m_stts;
    Run m_ctts;
};

} // namespace h265_container
