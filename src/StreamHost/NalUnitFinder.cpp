#include "NalUnitFinder.h"

#include <algorithm>

#include "StartCodeScan.h"

namespace h265_stream {

namespace {

// How many bytes of a unit are handed on.
std::size_t mostBytesOf(unsigned char nal_unit_type)
{
    return isParameterSet(nal_unit_type) ? MAX_PARAMETER_SET_BYTES : MAX_OTHER_UNIT_BYTES;
}

} // namespace

void CNalUnitFinder::reset()
{
    *this = CNalUnitFinder();
}

bool CNalUnitFinder::feed(std::span<const unsigned char> piece, CNalUnitSink& sink)
{
    m_piece = piece;
    m_uiPosition = 0;
    if (!feedBehindZeros(sink) || !feedRest(sink))
        return false;
    keepOpenUnit();
    m_ulPieceOffset += piece.size();
    m_piece = {};
    return true;
}

bool CNalUnitFinder::finish(CNalUnitSink& sink)
{
    // 00 00 00 would have ended the unit: no more than two trailing zero bytes are left to take off.
    return !m_bInUnit || closeUnit(m_ulPieceOffset - m_uiZeros, sink);
}

std::optional<std::uint64_t> CNalUnitFinder::openParameterSet() const
{
    const bool bBegun = m_bInUnit && m_ulUnitOffset < m_ulPieceOffset;
    if (!bBegun || !isParameterSet(parseNalUnitHeader(m_aucHeader[0], 0).nal_unit_type))
        return std::nullopt;
    return m_ulUnitOffset;
}

std::optional<NalUnitHeader> CNalUnitFinder::openUnit() const
{
    if (!m_bInUnit || m_ulUnitOffset + NAL_UNIT_HEADER_BYTES > m_ulPieceOffset)
        return std::nullopt;
    return parseNalUnitHeader(m_aucHeader[0], m_aucHeader[1]);
}

// Byte by byte while the zeros in front lie in an earlier piece: at most two steps.
bool CNalUnitFinder::feedBehindZeros(CNalUnitSink& sink)
{
    while (m_uiZeros > m_uiPosition && m_uiPosition < m_piece.size()) {
        const unsigned char ucByte = m_piece[m_uiPosition++];
        const bool bBehindTwoZeros = m_uiZeros == 2;
        m_uiZeros = ucByte == 0 ? std::min(m_uiZeros + 1, 2U) : 0;
        if (!bBehindTwoZeros || ucByte > 1)
            continue;
        if (m_bInUnit && !closeUnit(m_ulPieceOffset + m_uiPosition - 3, sink))
            return false;
        if (ucByte == 1)
            openUnit(m_uiPosition);
    }
    return true;
}

// The rest by vector scans; the zeros in front, if any, lie in this piece.
bool CNalUnitFinder::feedRest(CNalUnitSink& sink)
{
    if (m_uiPosition == m_piece.size())
        return true;
    const ScanForm& scan = fastestScanForm();
    const unsigned char* const pBegin = m_piece.data();
    const unsigned char* const pEnd = pBegin + m_piece.size();
    const unsigned char* p = pBegin + m_uiPosition - m_uiZeros;
    for (;;) {
        const unsigned char* const pHit = m_bInUnit ? scan.findUnitEnd(p, pEnd) : scan.findStartCode(p, pEnd);
        if (pHit == pEnd)
            break;
        if (m_bInUnit && !closeUnit(m_ulPieceOffset + static_cast<std::uint64_t>(pHit - pBegin), sink))
            return false;
        p = pHit + 1;
        if (pHit[2] == 1) {
            p = pHit + 3;
            openUnit(static_cast<std::size_t>(p - pBegin));
        }
    }
    m_uiZeros = 0;
    while (m_uiZeros < 2 && pEnd - p > static_cast<std::ptrdiff_t>(m_uiZeros) &&
           pEnd[-1 - static_cast<std::ptrdiff_t>(m_uiZeros)] == 0)
        ++m_uiZeros;
    m_uiPosition = m_piece.size();
    return true;
}

void CNalUnitFinder::openUnit(std::size_t uiPosition)
{
    m_bInUnit = true;
    m_ulUnitOffset = m_ulPieceOffset + uiPosition;
    m_kept.clear();
}

bool CNalUnitFinder::closeUnit(std::uint64_t ulEnd, CNalUnitSink& sink)
{
    m_bInUnit = false;
    const std::uint64_t ulSize = ulEnd - m_ulUnitOffset;
    if (ulSize == 0)
        return true;
    NalUnit unit{.header =
                     parseNalUnitHeader(headerByte(m_ulUnitOffset),
                                        ulSize > 1 ? headerByte(m_ulUnitOffset + 1) : static_cast<unsigned char>(0)),
                 .ulOffset = m_ulUnitOffset,
                 .ulSize = ulSize,
                 .bytes = {}};
    const std::size_t uiMost = mostBytesOf(unit.header.nal_unit_type);
    const std::size_t uiSize = static_cast<std::size_t>(std::min<std::uint64_t>(ulSize, uiMost));
    if (m_ulUnitOffset >= m_ulPieceOffset) {
        unit.bytes = m_piece.subspan(static_cast<std::size_t>(m_ulUnitOffset - m_ulPieceOffset), uiSize);
    } else {
        keepBytes(ulEnd, uiMost);
        unit.bytes = std::span<const unsigned char>(m_kept).first(uiSize);
    }
    return sink.onNalUnit(unit);
}

// What the piece holds of a unit that goes on in the next one.
void CNalUnitFinder::keepOpenUnit()
{
    const std::uint64_t ulPieceEnd = m_ulPieceOffset + m_piece.size();
    if (!m_bInUnit || m_ulUnitOffset >= ulPieceEnd)
        return;
    for (unsigned i = 0; i < 2 && m_ulUnitOffset + i < ulPieceEnd; ++i)
        m_aucHeader[i] = headerByte(m_ulUnitOffset + i);
    keepBytes(ulPieceEnd, mostBytesOf(parseNalUnitHeader(m_aucHeader[0], 0).nal_unit_type));
}

// Appends the unit's bytes of this piece, up to the stream offset ulEnd, until uiMost are kept.
void CNalUnitFinder::keepBytes(std::uint64_t ulEnd, std::size_t uiMost)
{
    const std::uint64_t ulBegin = std::max(m_ulUnitOffset, m_ulPieceOffset);
    if (ulEnd <= ulBegin)
        return;
    const std::size_t uiCount =
        static_cast<std::size_t>(std::min<std::uint64_t>(ulEnd - ulBegin, uiMost - m_kept.size()));
    const auto bytes = m_piece.subspan(static_cast<std::size_t>(ulBegin - m_ulPieceOffset), uiCount);
    // Doubled as vectors do, but never beyond what can be kept.
    const std::size_t uiNeeded = m_kept.size() + uiCount;
    if (uiNeeded > m_kept.capacity())
        m_kept.reserve(std::min(std::max(uiNeeded, 2 * m_kept.capacity()), uiMost));
    m_kept.insert(m_kept.end(), bytes.begin(), bytes.end());
}

unsigned char CNalUnitFinder::headerByte(std::uint64_t ulOffset) const
{
    return ulOffset < m_ulPieceOffset ? m_aucHeader[ulOffset - m_ulUnitOffset]
                                      : m_piece[static_cast<std::size_t>(ulOffset - m_ulPieceOffset)];
}

} // namespace h265_stream
