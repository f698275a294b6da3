#include "SetText.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "DecoderConfiguration.h"
#include "StartCodeScan.h"
#include "UnitOutput.h"

namespace h265_container {

namespace {

using Bytes = std::span<const unsigned char>;

constexpr std::uint64_t TRACK = 1;

// What stands between two commas.
struct TextItem
{
    std::size_t uiOffset = 0; // in the text
    std::variant<std::vector<unsigned char>, TextError> bytes;
};

// 7.3.1.2: a NAL unit header of a set and something behind it.
bool beginsAsSet(const TextItem& item)
{
    const auto* const pBytes = std::get_if<std::vector<unsigned char>>(&item.bytes);
    return pBytes != nullptr && pBytes->size() > 2 && ((*pBytes)[0] & 0x80) == 0 &&
           h265_stream::isParameterSet((*pBytes)[0] >> 1) && ((*pBytes)[1] & 7) == 1;
}

// Sets on lines of their own. Lines that break one set go on in its middle, and do not all begin as sets.
std::vector<TextItem> linesOfSets(std::string_view text, std::size_t uiOffset, ETextForm eForm)
{
    std::vector<TextItem> lines;
    for (std::size_t uiBegin = 0; uiBegin < text.size();) {
        const std::size_t uiEnd = std::min(text.find('\n', uiBegin), text.size());
        const std::string_view line = text.substr(uiBegin, uiEnd - uiBegin);
        if (line.find_first_not_of(" \t\r") != std::string_view::npos) {
            lines.push_back({uiOffset + uiBegin, bytesOfText(line, eForm)});
            if (!beginsAsSet(lines.back()))
                return {};
        }
        uiBegin = uiEnd + 1;
    }
    return lines;
}

std::vector<TextItem> itemsOf(std::string_view text, ETextForm eForm)
{
    std::vector<TextItem> items;
    for (std::size_t uiBegin = 0; uiBegin <= text.size() && items.size() <= MAX_TEXT_SETS;) {
        const std::size_t uiEnd = std::min(text.find(',', uiBegin), text.size());
        const std::string_view item = text.substr(uiBegin, uiEnd - uiBegin);
        std::vector<TextItem> lines = linesOfSets(item, uiBegin, eForm);
        if (lines.size() > 1)
            std::ranges::move(lines, std::back_inserter(items));
        else
            items.push_back({uiBegin, bytesOfText(item, eForm)});
        uiBegin = uiEnd + 1;
    }
    const auto hasBytes = [](const TextItem& item, std::size_t uiBytes) {
        const auto* const pBytes = std::get_if<std::vector<unsigned char>>(&item.bytes);
        return pBytes != nullptr && pBytes->size() == uiBytes;
    };
    if (items.size() > 1 && hasBytes(items.back(), 0))
        items.pop_back(); // a comma at the end
    // Bytes one by one, as the array of a program has them.
    if (items.size() > 1 && std::ranges::all_of(items, [&](const TextItem& item) { return hasBytes(item, 1); })) {
        std::vector<unsigned char> bytes;
        bytes.reserve(items.size());
        for (const TextItem& item : items)
            bytes.push_back(std::get<0>(item.bytes).front());
        items.assign(1, {0, std::move(bytes)});
    }
    return items;
}

// Annex B: what stands between the start codes, and in front of the first one. Zero bytes in front of a start code
// belong to it.
std::vector<Bytes> unitsOf(Bytes bytes)
{
    std::vector<Bytes> units;
    const h265_stream::ScanForm& scan = h265_stream::fastestScanForm();
    const unsigned char* const pEnd = bytes.data() + bytes.size();
    for (const unsigned char* pBegin = bytes.data(); pBegin != pEnd;) {
        const unsigned char* const pNext = scan.findStartCode(pBegin, pEnd);
        Bytes unit(pBegin, pNext);
        while (pNext != pEnd && !unit.empty() && unit.back() == 0)
            unit = unit.first(unit.size() - 1);
        if (!unit.empty())
            units.push_back(unit);
        pBegin = pNext == pEnd ? pEnd : pNext + 3;
    }
    return units;
}

// A record instead of a NAL unit: its first byte would be the header of one that is no parameter set.
std::optional<DecoderConfiguration> configurationOf(Bytes bytes)
{
    if (bytes.size() < 23 || bytes.size() > MAX_CONFIGURATION_BYTES || bytes[0] != 1)
        return std::nullopt;
    DecoderConfiguration record = readDecoderConfiguration(bytes, EConfigurationBox::HvcC);
    const bool bSound = std::ranges::none_of(
        record.findings, [](const ConfigurationFinding& finding) { return finding.eSeverity == ESeverity::Error; });
    return bSound ? std::optional(std::move(record)) : std::nullopt;
}

class CSetTextReading
{
public:
    explicit CSetTextReading(CContainerSink& sink) : m_output(sink, {}) {}

    void item(const TextItem& item)
    {
        ++m_place.ulPart;
        if (const auto* const pError = std::get_if<TextError>(&item.bytes))
            return fail(item.uiOffset + pError->uiOffset, pError->message);
        const std::vector<unsigned char>& bytes = std::get<0>(item.bytes);
        if (const auto record = configurationOf(bytes))
            return configuration(*record, item.uiOffset);
        const std::vector<Bytes> units = unitsOf(bytes);
        if (units.empty())
            return fail(item.uiOffset, "there are no bytes");
        --m_place.ulPart;
        for (const Bytes unit : units) {
            ++m_place.ulPart;
            this->unit(unit, item.uiOffset);
        }
    }

    void finish() { m_output.finish(); }

    void fail(std::size_t uiOffset, const std::string& message) { tell(ESeverity::Error, uiOffset, message); }

private:
    void tell(ESeverity eSeverity, std::size_t uiOffset, const std::string& message)
    {
        // What is wrong with the text itself was not read.
        m_output.finding({eSeverity, placeText(m_place), uiOffset, TRACK, message, eSeverity == ESeverity::Error});
    }

    void configuration(const DecoderConfiguration& record, std::size_t uiOffset)
    {
        m_place.configuration = "hvcC";
        ContainerClaims claims;
        claims.ulTrack = TRACK;
        claims.codec = "hvcC";
        claims.hvcC = {record, placeText(m_place), std::nullopt};
        claims.hvcC->value.units.clear();
        m_output.claims(claims);
        deliverConfiguration(m_output, m_place, record, placeText(m_place), std::nullopt, true);
        if (record.units.empty())
            tell(ESeverity::Warning, uiOffset, "a decoder configuration record without NAL units");
        m_place.configuration = {};
    }

    void unit(Bytes bytes, std::size_t uiOffset)
    {
        const unsigned nal_unit_type = bytes[0] >> 1 & 0x3f;
        if (!h265_stream::isParameterSet(static_cast<unsigned char>(nal_unit_type)))
            tell(ESeverity::Warning,
                 uiOffset,
                 "a NAL unit of type " + std::to_string(nal_unit_type) +
                     ", not a VPS, SPS or PPS (40, 42 or 44 is their first byte in hexadecimal)");
        m_output.unit(m_place, bytes, bytes.size(), std::nullopt);
    }

    CUnitOutput m_output;
    UnitPlace m_place{TRACK, {}, {}, 0, "set", 0, std::nullopt};
};

} // namespace

void readSetText(std::string_view text, ETextForm eForm, CContainerSink& sink)
{
    const char* const pForm = eForm == ETextForm::Hex ? "hexadecimal" : "base64";
    sink.onTrack({TRACK, ETrackKind::Video, pForm, true, {}, "set", true});
    CSetTextReading reading(sink);
    if (text.size() > MAX_SET_TEXT_BYTES) {
        reading.fail(MAX_SET_TEXT_BYTES,
                     "the text has more than " + std::to_string(MAX_SET_TEXT_BYTES) + " bytes: it is not read");
        return;
    }
    const std::vector<TextItem> items = itemsOf(text, eForm);
    if (items.size() > MAX_TEXT_SETS)
        reading.fail(items[MAX_TEXT_SETS].uiOffset,
                     "there are more than " + std::to_string(MAX_TEXT_SETS) + " sets: what follows is not read");
    for (const TextItem& item : std::span(items).first(std::min(items.size(), MAX_TEXT_SETS)))
        reading.item(item);
    reading.finish();
}

} // namespace h265_container
