#include "ElementaryUnits.h"

#include <algorithm>
#include <array>
#include <utility>

#include "StartCodeScan.h"

namespace h265_container {

namespace {

std::uint64_t zerosAtEnd(std::span<const unsigned char> bytes)
{
    if (!bytes.empty() && bytes.back() != 0)
        return 0; // nearly always
    const auto last = std::find_if(bytes.rbegin(), bytes.rend(), [](unsigned char c) { return c != 0; });
    return static_cast<std::uint64_t>(last - bytes.rbegin());
}

// Where the start code ends that began in the pieces before; 0 when there is none.
std::size_t endOfStartCode(std::span<const unsigned char> piece, std::uint64_t ulZeros)
{
    if (ulZeros >= 2 && !piece.empty() && piece[0] == 1)
        return 1;
    return ulZeros >= 1 && piece.size() >= 2 && piece[0] == 0 && piece[1] == 1 ? 2 : 0;
}

} // namespace

void CElementaryUnits::feed(CUnitOutput& output, std::span<const unsigned char> piece, const UnitPlace& place,
                            std::optional<std::uint64_t> ulFileOffset)
{
    const auto offsetOf = [&](const unsigned char* pAt) {
        return ulFileOffset ? std::optional(*ulFileOffset + static_cast<std::uint64_t>(pAt - piece.data()))
                            : std::nullopt;
    };
    const unsigned char* pBegin = piece.data();
    const unsigned char* const pEnd = pBegin + piece.size();
    if (const std::size_t uiBehind = endOfStartCode(piece, m_ulZeros); uiBehind != 0) {
        close(output);
        m_bOpen = true;
        pBegin += uiBehind;
    }
    const h265_stream::ScanForm& scan = h265_stream::fastestScanForm();
    while (true) {
        const unsigned char* const pNext = scan.findStartCode(pBegin, pEnd);
        append(output, {pBegin, pNext}, place, offsetOf(pBegin));
        if (pNext == pEnd)
            break;
        close(output);
        m_bOpen = true;
        pBegin = pNext + 3;
    }
    const std::uint64_t ulZeros = zerosAtEnd({pBegin, pEnd});
    const bool bAllZero = pBegin == piece.data() && ulZeros == piece.size();
    m_ulZeros = bAllZero ? m_ulZeros + ulZeros : ulZeros;
}

void CElementaryUnits::pass(std::uint64_t ulBytes)
{
    m_ulFileOffset.reset();
    m_ulSize += ulBytes;
    m_ulUnitZeros = 0;
}

void CElementaryUnits::append(CUnitOutput& output, std::span<const unsigned char> bytes, const UnitPlace& place,
                              std::optional<std::uint64_t> ulFileOffset)
{
    if (!m_bOpen || bytes.empty())
        return;
    if (m_ulSize == 0) {
        m_place = place;
        m_ulFileOffset = ulFileOffset;
        const bool bSet = h265_stream::isParameterSet(bytes[0] >> 1 & 0x3f);
        m_uiMost = bSet ? MAX_ELEMENTARY_SET_BYTES : UNIT_HEAD_BYTES;
    } else
        m_ulFileOffset.reset();
    m_ulSize += bytes.size();
    const std::uint64_t ulZeros = zerosAtEnd(bytes);
    m_ulUnitZeros = ulZeros == bytes.size() ? m_ulUnitZeros + ulZeros : ulZeros;
    if (m_bytes.size() == m_uiMost)
        return; // its head, which says all, is there
    const std::size_t uiKept = std::min(bytes.size(), m_uiMost - m_bytes.size());
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(uiKept));
    const unsigned char ucFirst = m_bytes[0];
    const bool bSlice = (ucFirst & 0x80) == 0 && (ucFirst >> 1 & 0x3f) < h265_stream::VPS_NUT;
    if (output.isHead() && bSlice && m_bytes.size() >= h265_stream::NAL_UNIT_HEADER_BYTES && !m_bDelivered) {
        m_bDelivered = true; // its end is not waited for
        output.unit(m_place, m_bytes, m_ulSize, m_ulFileOffset);
    }
}

void CElementaryUnits::close(CUnitOutput& output)
{
    // B.2.2: neither the zero bytes behind it nor what stands between them and the next start code.
    constexpr unsigned char END[] = {0, 0, 0};
    const auto end = std::search(m_bytes.begin(), m_bytes.end(), std::begin(END), std::end(END));
    if (end != m_bytes.end())
        m_ulSize = static_cast<std::uint64_t>(end - m_bytes.begin());
    else
        m_ulSize -= m_ulUnitZeros;
    m_bytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(m_bytes.size(), m_ulSize)));
    if (m_bOpen && !m_bytes.empty() && !std::exchange(m_bDelivered, false))
        output.unit(m_place, m_bytes, m_ulSize, m_ulFileOffset);
    m_bDelivered = false;
    m_bOpen = false;
    m_bytes.clear();
    m_ulSize = 0;
    m_ulUnitZeros = 0;
}

void CElementaryUnits::finish(CUnitOutput& output)
{
    close(output);
    m_ulZeros = 0;
}

void readStartCodeUnits(CUnitOutput& output, const UnitPlace& place, CRandomSource& source, std::uint64_t ulOffset,
                        std::uint64_t ulSize, std::optional<std::uint64_t> ulFileBase)
{
    CElementaryUnits units;
    std::array<unsigned char, 16384> aucPiece;
    while (ulSize != 0 && !output.isStopped() && !output.isTrackDone(place.ulTrack)) {
        const auto uiAsked = static_cast<std::size_t>(std::min<std::uint64_t>(ulSize, aucPiece.size()));
        const std::size_t uiRead = source.read(ulOffset, std::span(aucPiece).first(uiAsked));
        if (uiRead == 0)
            break;
        units.feed(output,
                   std::span(aucPiece).first(uiRead),
                   place,
                   ulFileBase ? std::optional(*ulFileBase + ulOffset) : std::nullopt);
        ulOffset += uiRead;
        ulSize -= uiRead;
    }
    units.finish(output);
}

} // namespace h265_container
