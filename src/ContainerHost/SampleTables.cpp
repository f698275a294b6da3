#include "SampleTables.h"

#include <algorithm>
#include <limits>

namespace h265_container {

namespace {

struct TableBox
{
    CRandomSource& source;
    CUnitOutput& output;
    const Box& box;
    const std::string& path;
    std::uint64_t ulTrack;
};

// A table that is as long as its count says, and no longer than its box.
CTable tableAt(SampleTables& tables, const TableBox& at, const CFieldCursor& cursor, unsigned uiEntryBits,
               std::uint64_t ulCount)
{
    const std::uint64_t ulRoom = cursor.left() * 8 / uiEntryBits;
    tables.bCut = tables.bCut || ulCount > ulRoom;
    if (ulCount > ulRoom)
        at.output.finding({ESeverity::Error,
                           at.path,
                           at.box.ulOffset,
                           at.ulTrack,
                           "counts " + (ulCount == 1 ? "1 entry" : std::to_string(ulCount) + " entries") +
                               " and has room for " + std::to_string(ulRoom)});
    return {at.source, cursor.offset(), std::max(uiEntryBits / 8, 1U), std::min(ulCount, ulRoom)};
}

void takeSizes(SampleTables& tables, const TableBox& at, CFieldCursor& cursor, bool bCompact)
{
    const std::uint32_t uiFirst = cursor.u32();
    tables.ulSamples = cursor.u32();
    tables.bHasSizes = cursor.isComplete();
    tables.uiConstantSize = bCompact ? 0 : uiFirst;
    tables.uiSizeBits = bCompact ? uiFirst & 0xff : 32;
    if (tables.uiConstantSize != 0)
        return;
    if (tables.uiSizeBits != 4 && tables.uiSizeBits != 8 && tables.uiSizeBits != 16 && tables.uiSizeBits != 32) {
        at.output.finding({ESeverity::Error,
                           at.path,
                           at.box.ulOffset,
                           at.ulTrack,
                           "has sizes of " + std::to_string(tables.uiSizeBits) + " bits; 4, 8 and 16 are allowed"});
        tables.ulSamples = 0;
        return;
    }
    tables.sizes = tableAt(tables, at, cursor, tables.uiSizeBits, tables.ulSamples);
    tables.ulSamples = tables.sizes.count();
}

} // namespace

bool takeSampleTable(SampleTables& tables, CRandomSource& source, CUnitOutput& output, const Box& box,
                     const std::string& path, std::uint64_t ulTrack)
{
    const TableBox at{source, output, box, path, ulTrack};
    CFieldCursor cursor(source, box.ulContent, box.ulEnd);
    (void)readFullBox(cursor); // the layouts do not depend on it
    const auto counted = [&](unsigned uiEntryBytes) {
        const std::uint32_t uiCount = cursor.u32();
        return tableAt(tables, at, cursor, uiEntryBytes * 8, uiCount);
    };
    switch (box.uiType) {
    case fourCC("stts"):
        tables.stts = counted(8);
        tables.ulTimesOffset = box.ulOffset;
        return true;
    case fourCC("ctts"):
        tables.ctts = counted(8);
        return true;
    case fourCC("stsc"):
        tables.stsc = counted(12);
        tables.ulRunsOffset = box.ulOffset;
        return true;
    case fourCC("stco"):
    case fourCC("co64"):
        tables.uiChunkOffsetBytes = box.uiType == fourCC("co64") ? 8 : 4;
        tables.chunks = counted(tables.uiChunkOffsetBytes);
        return true;
    case fourCC("stsz"):
    case fourCC("stz2"):
        tables.ulSizesOffset = box.ulOffset;
        takeSizes(tables, at, cursor, box.uiType == fourCC("stz2"));
        return true;
    default:
        return false;
    }
}

// 8.7.4: the entry of stsc that the chunk belongs to. Entries that do not rise are passed over.
void CSampleCursor::findChunkRun()
{
    const auto entry = [this] { return m_tables.stsc.entry(m_ulChunkEntry); };
    while (m_ulChunkEntry < m_tables.stsc.count()) {
        CFieldCursor fields = entry();
        const std::uint64_t ulFirstChunk = fields.u32(); // from 1
        if (m_ulChunkEntry != 0 && ulFirstChunk > m_ulChunk + 1) {
            m_ulNextFirstChunk = ulFirstChunk - 1;
            return;
        }
        m_uiSamplesPerChunk = fields.u32();
        m_uiDescription = fields.u32();
        ++m_ulChunkEntry;
    }
    m_ulNextFirstChunk = std::numeric_limits<std::uint64_t>::max();
}

std::optional<Chunk> CSampleCursor::nextChunk()
{
    if (m_ulChunk >= m_tables.chunks.count() || m_ulSample >= m_tables.ulSamples || !m_tables.stsc)
        return std::nullopt;
    if (m_ulChunk >= m_ulNextFirstChunk)
        findChunkRun();
    CFieldCursor fields = m_tables.chunks.entry(m_ulChunk);
    ++m_ulChunk;
    const std::uint64_t ulSamples = std::min<std::uint64_t>(m_uiSamplesPerChunk, m_tables.ulSamples - m_ulSample);
    return Chunk{fields.bytes(m_tables.uiChunkOffsetBytes), ulSamples, m_uiDescription};
}

// The next entry that has samples; behind the last one its value stays.
bool CSampleCursor::fill(Run& run, const CTable& table)
{
    while (run.ulLeft == 0 && run.ulEntry < table.count()) {
        CFieldCursor fields = table.entry(run.ulEntry++);
        run.ulLeft = fields.u32();
        run.uiValue = fields.u32();
    }
    return run.ulLeft != 0;
}

std::uint64_t CSampleCursor::sizeOf(std::uint64_t ulSample) const
{
    if (m_tables.uiConstantSize != 0)
        return m_tables.uiConstantSize;
    if (m_tables.uiSizeBits != 4)
        return m_tables.sizes.entry(ulSample).bytes(m_tables.uiSizeBits / 8);
    const unsigned uiByte = m_tables.sizes.entry(ulSample / 2).u8();
    return ulSample % 2 == 0 ? uiByte >> 4 : uiByte & 0xf;
}

Sample CSampleCursor::nextSample()
{
    const bool bShifted = m_tables.ctts && fill(m_ctts, m_tables.ctts);
    const std::int64_t iShift = bShifted ? static_cast<std::int32_t>(m_ctts.uiValue) : 0;
    const std::uint64_t ulTime = m_ulDecodeTime + static_cast<std::uint64_t>(iShift); // wraps on purpose
    const Sample sample{m_ulSample + 1, sizeOf(m_ulSample), static_cast<std::int64_t>(ulTime)};
    skipSamples(1);
    return sample;
}

void CSampleCursor::skipSamples(std::uint64_t ulCount)
{
    m_ulSample += ulCount;
    for (std::uint64_t ulLeft = ulCount; ulLeft != 0 && m_tables.stts && fill(m_stts, m_tables.stts);) {
        const std::uint64_t ulTaken = std::min(ulLeft, m_stts.ulLeft);
        m_ulDecodeTime += ulTaken * m_stts.uiValue;
        m_stts.ulLeft -= ulTaken;
        ulLeft -= ulTaken;
    }
    for (std::uint64_t ulLeft = ulCount; ulLeft != 0 && m_tables.ctts && fill(m_ctts, m_tables.ctts);) {
        const std::uint64_t ulTaken = std::min(ulLeft, m_ctts.ulLeft);
        m_ctts.ulLeft -= ulTaken;
        ulLeft -= ulTaken;
    }
}

} // namespace h265_container
