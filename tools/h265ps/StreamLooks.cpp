#include "StreamLooks.h"

#include <algorithm>

#include "Utf8.h"

namespace h265ps {

namespace {

using Bytes = std::span<const unsigned char>;

// Whether the bytes are UTF-8; a sequence that the end cuts is.
bool isUtf8(Bytes head)
{
    for (std::size_t i = 0; i < head.size();) {
        const std::size_t uiLength = utf8Length(head[i]);
        if (uiLength == 0)
            return false;
        const Bytes rest = head.subspan(i + 1, std::min(uiLength, head.size() - i) - 1);
        if (std::any_of(rest.begin(), rest.end(), [](unsigned char c) { return !isUtf8Continuation(c); }))
            return false;
        i += uiLength;
    }
    return true;
}

// Where the next start code ends; the end of the bytes without one.
std::size_t behindStartCode(Bytes bytes, std::size_t uiFrom)
{
    constexpr unsigned char START_CODE[] = {0, 0, 1};
    const auto found = std::search(
        bytes.begin() + static_cast<std::ptrdiff_t>(uiFrom), bytes.end(), std::begin(START_CODE), std::end(START_CODE));
    return found == bytes.end() ? bytes.size()
                                : static_cast<std::size_t>(found - bytes.begin()) + std::size(START_CODE);
}

// A VPS, SPS or PPS of layer 0.
bool isParameterSet(Bytes unit)
{
    return unit.size() >= 2 && (unit[0] == 0x40 || unit[0] == 0x42 || unit[0] == 0x44) && unit[1] == 1;
}

// A sequence parameter set of H.264 (7.3.2.1.1 there): a known profile, two reserved bits, a known level.
// In H.265 it would be a unit of layer 32 or above.
bool isSequenceSetOfH264(Bytes unit)
{
    constexpr unsigned char aProfiles[] = {44, 66, 77, 83, 86, 88, 100, 110, 118, 122, 128, 244};
    constexpr unsigned char aLevels[] = {9, 10, 11, 12, 13, 20, 21, 22, 30, 31, 32, 40, 41, 42, 50, 51, 52, 60, 61, 62};
    const auto isOneOf = [](unsigned char ucByte, Bytes values) {
        return std::find(values.begin(), values.end(), ucByte) != values.end();
    };
    return unit.size() >= 4 && (unit[0] == 0x27 || unit[0] == 0x47 || unit[0] == 0x67) && isOneOf(unit[1], aProfiles) &&
           (unit[2] & 3) == 0 && isOneOf(unit[3], aLevels);
}

// A sequence header of MPEG (ISO/IEC 13818-2, 6.2.2.1): sizes, aspect ratio, frame rate, and a marker bit
// behind the bit rate. In H.265 its first byte would be a damaged one.
bool isSequenceHeader(Bytes unit)
{
    if (unit.size() < 8 || unit[0] != 0xb3)
        return false;
    const unsigned uiWidth = static_cast<unsigned>(unit[1]) << 4 | unit[2] >> 4;
    const unsigned uiHeight = (unit[2] & 0xfU) << 8 | unit[3];
    const unsigned uiFrameRate = unit[4] & 0xfU;
    return uiWidth != 0 && uiHeight != 0 && unit[4] >> 4 != 0 && uiFrameRate >= 1 && uiFrameRate <= 8 &&
           (unit[7] & 0x20) != 0;
}

bool hasMpegSequence(Bytes bytes)
{
    for (std::size_t i = behindStartCode(bytes, 0); i < bytes.size(); i = behindStartCode(bytes, i)) {
        if (isSequenceHeader(bytes.subspan(i)))
            return true;
    }
    return false;
}

// First bytes of NAL units that streams of H.264 have plenty of: slices, delimiters, SEI, parameter sets.
bool isUnitOfH264(unsigned char ucFirst)
{
    constexpr unsigned char aFirst[] = {
        0x01, 0x06, 0x09, 0x0c, 0x21, 0x25, 0x27, 0x28, 0x41, 0x45, 0x47, 0x48, 0x61, 0x65, 0x67, 0x68};
    return std::find(std::begin(aFirst), std::end(aFirst), ucFirst) != std::end(aFirst);
}

// Whether its header is none of H.265 (7.4.2.2): nuh_temporal_id_plus1 is never 0, and 1 in pictures of random
// access, VPS and SPS.
bool isForbidden(Bytes unit)
{
    const unsigned nal_unit_type = unit[0] >> 1 & 0x3fU;
    const unsigned nuh_temporal_id_plus1 = unit[1] & 7U;
    const bool bOfTemporalLayer0 =
        (nal_unit_type >= 16 && nal_unit_type <= 23) || nal_unit_type == 32 || nal_unit_type == 33;
    return nuh_temporal_id_plus1 == 0 || (bOfTemporalLayer0 && nuh_temporal_id_plus1 != 1);
}

} // namespace

// What comes first: a parameter set of H.265, or something that H.265 does not have.
std::optional<std::string_view> otherVideo(Bytes head)
{
    std::size_t uiUnits = 0;
    for (std::size_t i = behindStartCode(head, 0); i < head.size(); i = behindStartCode(head, i), ++uiUnits) {
        const Bytes unit = head.subspan(i);
        if (isParameterSet(unit))
            return std::nullopt;
        if ((uiUnits == 0 && unit[0] == 0xb3) || isSequenceHeader(unit))
            return MPEG_VIDEO;
        if (isSequenceSetOfH264(unit))
            return RAW_H264;
    }
    return std::nullopt;
}

bool CMpegSequenceSearch::isIn(Bytes piece) const
{
    std::vector<unsigned char> atCut = m_end;
    const Bytes begin = piece.first(std::min(piece.size(), CUT_BYTES));
    atCut.insert(atCut.end(), begin.begin(), begin.end());
    return hasMpegSequence(atCut) || hasMpegSequence(piece);
}

void CMpegSequenceSearch::keepEnd(Bytes piece)
{
    const Bytes end = piece.last(std::min(piece.size(), CUT_BYTES));
    m_end.insert(m_end.end(), end.begin(), end.end());
    m_end.erase(m_end.begin(), m_end.end() - static_cast<std::ptrdiff_t>(std::min(m_end.size(), CUT_BYTES)));
}

bool resemblesH264(Bytes head)
{
    bool bOdd = false; // of H.265 it would be of layer 32 or above
    bool bForbidden = false;
    for (std::size_t i = behindStartCode(head, 0); i < head.size(); i = behindStartCode(head, i)) {
        const Bytes unit = head.subspan(i);
        if (!isUnitOfH264(unit[0]))
            return false;
        bOdd = bOdd || unit[0] % 2 != 0;
        bForbidden = bForbidden || (unit.size() >= 2 && isForbidden(unit));
    }
    return bOdd && bForbidden;
}

bool looksLikeText(Bytes head)
{
    const auto isControl = [](unsigned char c) { return (c < ' ' && (c < '\t' || c > '\r')) || c == 0x7f; };
    if (head.empty() || std::any_of(head.begin(), head.end(), isControl))
        return false;
    const auto iAscii = std::count_if(head.begin(), head.end(), [](unsigned char c) { return c < 0x80; });
    return isUtf8(head) || static_cast<std::size_t>(iAscii) >= head.size() - head.size() / 8;
}

} // namespace h265ps
