#include "UnitOutput.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include "BytesAt.h"
#include "CountedText.h"

namespace h265_container {

namespace {

// Milliseconds, without zeros at the end: 0.68.
std::string secondsText(double seconds)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.3f", std::clamp(seconds, -1e15, 1e15));
    std::string result = text.data();
    result.erase(result.find_last_not_of('0') + 1);
    if (result.back() == '.')
        result.pop_back();
    return result == "-0" ? "0" : result;
}

// Annex B, B.2.2: nal_unit( ) ends with a byte that is not 0.
std::size_t withoutZeros(std::span<const unsigned char> bytes)
{
    std::size_t uiSize = bytes.size();
    while (uiSize != 0 && bytes[uiSize - 1] == 0)
        --uiSize;
    return uiSize;
}

bool isSet(std::span<const unsigned char> unit)
{
    return h265_stream::isParameterSet(unit[0] >> 1 & 0x3f);
}

} // namespace

std::string placeText(const UnitPlace& place)
{
    // Sets that stand alone have no holder.
    std::string text;
    if (!place.holder.empty())
        text = std::string(place.holder) + ' ' + std::to_string(place.ulTrack);
    if (!place.configuration.empty())
        text += (text.empty() ? "" : ", ") + place.configuration;
    if (place.uiDescription != 0)
        text += (place.configuration.empty() ? ", sample description " : " of sample description ") +
                std::to_string(place.uiDescription);
    if (!place.part.empty())
        text += (text.empty() ? "" : ", ") + std::string(place.part) + ' ' + std::to_string(place.ulPart);
    if (place.time)
        text += " at " + secondsText(*place.time) + " s";
    return text;
}

std::string pathInOtherFile(std::string_view otherFile, const std::string& path)
{
    return std::string(otherFile) + (path.empty() ? "" : ": ") + path;
}

void CUnitOutput::finding(const ContainerFinding& finding)
{
    if (m_found.size() == MAX_FINDINGS) {
        ++m_ulUntold;
        return;
    }
    ContainerFinding told = finding;
    // What is not read is that of the file: the track may not be known yet.
    if (!told.ulTrack && !told.bUnread)
        told.ulTrack = m_ulTrack;
    if (!m_otherFile.empty()) {
        told.box = pathInOtherFile(m_otherFile, finding.box);
        told.ulOffset.reset();
    }
    // Where a search goes over the same bytes again, it finds the same.
    if (m_found.emplace(told.box, told.ulOffset, told.ulTrack, told.message).second)
        m_sink.onFinding(told);
}

void CUnitOutput::findingOf(unsigned uiKind, unsigned uiMost, const ContainerFinding& finding)
{
    const std::pair key(finding.ulTrack.value_or(0), uiKind);
    const bool bRoom = m_told.size() < std::size_t{1} << 16 || m_told.contains(key);
    if (bRoom && m_told[key]++ < uiMost)
        this->finding(finding);
    else if (uiMost != 1)
        ++m_ulUntold;
}

void CUnitOutput::finish()
{
    if (m_ulUntold != 0)
        m_sink.onFinding({ESeverity::Note,
                          {},
                          std::nullopt,
                          std::nullopt,
                          std::to_string(m_ulUntold) + " more findings about the container"});
}

bool CUnitOutput::spend(const CRandomSource& source, std::uint64_t ulWork)
{
    // A well-formed file has no more samples and NAL units than bytes.
    constexpr std::uint64_t FREE_WORK = std::uint64_t{1} << 16;
    m_ulWork += ulWork;
    if (m_bStopped || m_ulWork <= FREE_WORK || m_ulWork / 2 <= m_ulFurthest ||
        m_ulWork / 2 <= source.size().value_or(0))
        return !m_bStopped;
    // Told however many findings there are.
    m_sink.onFinding({ESeverity::Error,
                      {},
                      std::nullopt,
                      std::nullopt,
                      "more samples and NAL units than the file has bytes: they overlap; the rest is not read",
                      true});
    m_bStopped = true;
    return false;
}

bool CUnitOutput::keep(std::uint64_t ulBytes)
{
    if (ulBytes > MAX_KEPT_BYTES - m_ulKept)
        return false;
    m_ulKept += ulBytes;
    return true;
}

void CUnitOutput::unit(const UnitPlace& place, CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulSize,
                       std::optional<std::uint64_t> ulFileOffset, std::span<const unsigned char> begin)
{
    const auto uiHead = static_cast<std::size_t>(std::min<std::uint64_t>(ulSize, UNIT_HEAD_BYTES));
    begin = begin.first(std::min(begin.size(), uiHead));
    if (begin.size() == uiHead && uiHead != 0 && !isSet(begin))
        return unit(place, begin, ulSize, ulFileOffset); // nearly always
    m_bytes.assign(begin.begin(), begin.end());
    const auto readTo = [&](std::uint64_t ulWanted) {
        // In pieces: the size can be larger than what there is.
        constexpr std::size_t PIECE = std::size_t{64} << 10;
        for (std::size_t uiRead = 1; uiRead != 0 && m_bytes.size() < ulWanted;) {
            const std::size_t uiBegin = m_bytes.size();
            m_bytes.resize(uiBegin + static_cast<std::size_t>(std::min<std::uint64_t>(PIECE, ulWanted - uiBegin)));
            uiRead = source.read(ulOffset + uiBegin, std::span(m_bytes).subspan(uiBegin));
            m_bytes.resize(uiBegin + uiRead);
        }
    };
    readTo(uiHead);
    if (!m_bytes.empty() && isSet(m_bytes))
        readTo(std::min<std::uint64_t>(ulSize, h265_stream::MAX_PARAMETER_SET_BYTES));
    unit(place, m_bytes, ulSize, ulFileOffset);
}

void CUnitOutput::unit(const UnitPlace& place, std::span<const unsigned char> bytes, std::uint64_t ulSize,
                       std::optional<std::uint64_t> ulFileOffset)
{
    if (bytes.empty() || m_bStopped)
        return;
    const h265_stream::NalUnitHeader header =
        h265_stream::parseNalUnitHeader(bytes[0], bytes.size() > 1 ? bytes[1] : 0);
    if (h265_stream::isParameterSet(header.nal_unit_type)) {
        bytes = bytes.first(std::min(bytes.size(), h265_stream::MAX_PARAMETER_SET_BYTES));
        const std::size_t uiSize = withoutZeros(bytes);
        if (uiSize < bytes.size() && bytes.size() == ulSize) {
            // Of a configuration record it is told with its place in it.
            if (place.configuration.empty())
                findingOnce(ONCE_TRAILING_ZEROS,
                            {ESeverity::Warning,
                             placeText(place),
                             ulFileOffset,
                             place.ulTrack,
                             "zero bytes behind a parameter set count as part of it"});
            bytes = bytes.first(uiSize);
            ulSize = uiSize;
        }
    } else
        bytes = bytes.first(std::min(bytes.size(), UNIT_HEAD_BYTES));
    m_ulFurthest = std::max(m_ulFurthest, ulFileOffset.value_or(0));
    if (bytes.empty())
        return;
    if (!m_sink.onNalUnit({place, header, ulFileOffset, ulSize, bytes}))
        m_bStopped = true;
    if (isHead() && header.nal_unit_type < h265_stream::VPS_NUT)
        m_done.insert(place.ulTrack);
}

void readLengthPrefixedUnits(CUnitOutput& output, const UnitPlace& place, CRandomSource& source, std::uint64_t ulOffset,
                             std::uint64_t ulSize, unsigned uiLengthBytes, std::optional<std::uint64_t> ulFileBase)
{
    const auto fileOffset = [&](std::uint64_t ulAt) -> std::optional<std::uint64_t> {
        return ulFileBase ? std::optional(*ulFileBase + ulAt) : std::nullopt;
    };
    const auto deliverUnit = [&](std::uint64_t ulLength, std::span<const unsigned char> begin) {
        begin = begin.first(static_cast<std::size_t>(std::min<std::uint64_t>(begin.size(), ulLength)));
        const std::size_t uiStartCode = startCodeBytes(begin);
        if (uiStartCode != 0)
            output.findingOnce(ONCE_START_CODES,
                               {ESeverity::Error,
                                placeText(place),
                                fileOffset(ulOffset),
                                place.ulTrack,
                                "a start code stands between a NAL unit's length and its header: decoders see a unit "
                                "of type 0 there"});
        output.unit(place,
                    source,
                    ulOffset + uiStartCode,
                    ulLength - uiStartCode,
                    fileOffset(ulOffset + uiStartCode),
                    begin.subspan(uiStartCode));
    };
    const std::uint64_t ulEnd = ulOffset + ulSize;
    while (ulOffset < ulEnd && !output.isStopped() && !output.isTrackDone(place.ulTrack)) {
        // The length, and what is wanted of most units; waiting for the length alone.
        std::array<unsigned char, 4 + UNIT_HEAD_BYTES> aucHead;
        const std::span here = std::span(aucHead).first(
            static_cast<std::size_t>(std::min<std::uint64_t>(uiLengthBytes + UNIT_HEAD_BYTES, ulEnd - ulOffset)));
        std::size_t uiRead = source.readSome(ulOffset, here);
        const auto readTo = [&, ulBegin = ulOffset](std::uint64_t ulWanted) {
            const auto uiWanted = static_cast<std::size_t>(std::min<std::uint64_t>(ulWanted, here.size()));
            if (uiRead < uiWanted)
                uiRead += source.read(ulBegin + uiRead, here.subspan(uiRead, uiWanted - uiRead));
        };
        readTo(uiLengthBytes);
        if (uiRead < uiLengthBytes) {
            output.findingFew(FEW_CUT_SAMPLES,
                              {ESeverity::Error,
                               placeText(place),
                               fileOffset(ulOffset),
                               place.ulTrack,
                               "ends inside the length of a NAL unit"});
            return;
        }
        std::uint64_t ulLength = uAt(here, 0, uiLengthBytes);
        ulOffset += uiLengthBytes;
        if (!output.spend(source, 1))
            return;
        if (ulLength > ulEnd - ulOffset) {
            output.findingFew(FEW_LONG_UNITS,
                              {ESeverity::Error,
                               placeText(place),
                               fileOffset(ulOffset - uiLengthBytes),
                               place.ulTrack,
                               "a NAL unit of " + countedText(ulLength, "byte") + " where " +
                                   std::to_string(ulEnd - ulOffset) + areOrIs(ulEnd - ulOffset) + "left"});
            ulLength = ulEnd - ulOffset;
        }
        readTo(uiLengthBytes + ulLength);
        if (ulLength == 0)
            output.findingOnce(
                ONCE_EMPTY_UNIT,
                {ESeverity::Warning, placeText(place), fileOffset(ulOffset), place.ulTrack, "a NAL unit of 0 bytes"});
        else
            deliverUnit(ulLength, here.first(uiRead).subspan(uiLengthBytes));
        ulOffset += ulLength;
    }
}

bool isLengthPrefixed(CRandomSource& source, std::uint64_t ulOffset, std::uint64_t ulSize, unsigned uiLengthBytes)
{
    constexpr unsigned ENOUGH_UNITS = 256;
    const std::uint64_t ulEnd = ulOffset + ulSize;
    for (unsigned i = 0; i < ENOUGH_UNITS && ulOffset < ulEnd; ++i) {
        std::array<unsigned char, 4 + h265_stream::NAL_UNIT_HEADER_BYTES> aucHead{};
        const std::size_t uiHead = uiLengthBytes + h265_stream::NAL_UNIT_HEADER_BYTES;
        if (ulEnd - ulOffset < uiHead || source.read(ulOffset, std::span(aucHead).first(uiHead)) != uiHead)
            return false;
        const std::uint64_t ulLength = uAt(aucHead, 0, uiLengthBytes);
        ulOffset += uiLengthBytes;
        const h265_stream::NalUnitHeader header =
            h265_stream::parseNalUnitHeader(aucHead[uiLengthBytes], aucHead[uiLengthBytes + 1]);
        // 7.4.2.2: forbidden_zero_bit, nuh_temporal_id_plus1.
        if (ulLength < h265_stream::NAL_UNIT_HEADER_BYTES || ulLength > ulEnd - ulOffset ||
            header.forbidden_zero_bit != 0 || header.nuh_temporal_id_plus1 == 0)
            return false;
        ulOffset += ulLength;
    }
    return ulSize != 0;
}

unsigned lengthBytesOf(CUnitOutput& output, const UnitPlace& place, CRandomSource& source, std::uint64_t ulOffset,
                       std::uint64_t ulSize, unsigned uiClaimed, std::optional<std::uint64_t> ulFileBase)
{
    if (ulSize == 0 || isLengthPrefixed(source, ulOffset, ulSize, uiClaimed))
        return uiClaimed;
    const std::string claimed = countedText(uiClaimed, "byte");
    const auto tell = [&](const std::string& what) {
        output.finding(
            {ESeverity::Error,
             placeText(place),
             ulFileBase ? std::optional(*ulFileBase + ulOffset) : std::nullopt,
             place.ulTrack,
             what + ", and not lengths of " + claimed + " as lengthSizeMinusOne says: few players read them"});
    };
    for (const unsigned uiBytes : {4U, 2U, 1U, 3U}) {
        if (isLengthPrefixed(source, ulOffset, ulSize, uiBytes)) {
            tell("the NAL units have lengths of " + countedText(uiBytes, "byte"));
            return uiBytes;
        }
    }
    std::array<unsigned char, 4> aucFirst{};
    if (startCodeBytes(std::span(aucFirst).first(source.read(ulOffset, aucFirst))) == 0)
        return uiClaimed;
    tell("the NAL units have start codes");
    return 0;
}

void deliverConfiguration(CUnitOutput& output, const UnitPlace& place, const DecoderConfiguration& configuration,
                          const std::string& box, std::optional<std::uint64_t> ulFileOffset, bool bTellFindings)
{
    const auto fileOffset = [&](std::size_t uiAt) -> std::optional<std::uint64_t> {
        return ulFileOffset ? std::optional(*ulFileOffset + uiAt) : std::nullopt;
    };
    if (bTellFindings) {
        for (const ConfigurationFinding& finding : configuration.findings)
            output.finding({finding.eSeverity, box, fileOffset(finding.uiOffset), place.ulTrack, finding.message});
    }
    for (const ConfigurationUnit& unit : configuration.units)
        output.unit(place, unit.bytes, unit.bytes.size(), fileOffset(unit.uiOffset));
}

} // namespace h265_container
