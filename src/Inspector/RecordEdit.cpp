#include "RecordEdit.h"

#include <cstddef>
#include <optional>
#include <variant>

#include "ConfigurationSets.h"
#include "ParameterSetSyntax.h"

namespace h265_inspect {

using namespace h265_syntax;
using namespace h265_container;

namespace {

using Bytes = std::vector<unsigned char>;

// What fields follow from.
struct SetsOfRecord
{
    std::vector<SpsForConfiguration> spss;
    std::vector<PpsForConfiguration> ppss;
    bool bWhole = true;

    void take(std::span<const unsigned char> bytes);
    [[nodiscard]] std::optional<DecoderConfiguration> configuration() const;
};

void SetsOfRecord::take(std::span<const unsigned char> bytes)
{
    const CNalUnit nalUnit(bytes);
    if (nalUnit.header().nuh_layer_id != 0)
        return;
    if (nalUnit.header().nal_unit_type == SPS_NUT) {
        SequenceParameterSet sps;
        if (read(sps, nalUnit))
            spss.push_back(forConfiguration(sps, nalUnit));
        else
            bWhole = false;
    }
    if (nalUnit.header().nal_unit_type == PPS_NUT) {
        PictureParameterSet pps;
        bWhole = read(pps, nalUnit) && bWhole;
        ppss.push_back(forConfiguration(pps));
    }
}

std::optional<DecoderConfiguration> SetsOfRecord::configuration() const
{
    if (!bWhole)
        return std::nullopt;
    std::variant<DecoderConfiguration, std::string> made = makeDecoderConfiguration(spss, ppss, {});
    if (auto* const pConfiguration = std::get_if<DecoderConfiguration>(&made))
        return std::move(*pConfiguration);
    return std::nullopt;
}

void writeBits(Bytes& content, const ConfigurationField& field)
{
    for (unsigned i = 0; i < field.uiWidth; ++i) {
        const std::size_t uiBit = field.uiBit + i;
        const unsigned uiMask = 0x80U >> uiBit % 8;
        const bool bSet = (field.ulValue >> (field.uiWidth - 1 - i) & 1) != 0;
        unsigned char& ucByte = content[uiBit / 8];
        ucByte = static_cast<unsigned char>(bSet ? ucByte | uiMask : ucByte & ~uiMask);
    }
}

// A record may say more or less than its sets: only what changes with them is written.
void changeFields(Bytes& content, const SetsOfRecord& before, const SetsOfRecord& after)
{
    const std::optional<DecoderConfiguration> was = before.configuration();
    const std::optional<DecoderConfiguration> is = after.configuration();
    if (!was || !is)
        return;
    const std::vector<ConfigurationField> fieldsBefore = configurationFields(*was);
    const std::vector<ConfigurationField> fieldsAfter = configurationFields(*is);
    for (std::size_t i = 0; i < fieldsAfter.size(); ++i) {
        if (fieldsAfter[i].ulValue != fieldsBefore[i].ulValue)
            writeBits(content, fieldsAfter[i]);
    }
}

} // namespace

EditedRecord editRecord(std::span<const unsigned char> content, EConfigurationBox eBox, std::uint64_t ulOffset,
                        const EditedUnits& units)
{
    constexpr std::size_t LENGTH_BYTES = 2;
    constexpr std::size_t MAX_UNIT = 0xffff;
    const DecoderConfiguration record = readDecoderConfiguration(content, eBox);
    EditedRecord edited;
    SetsOfRecord before;
    SetsOfRecord after;
    std::size_t uiCopied = 0;
    const auto copyTo = [&](std::size_t uiEnd) {
        edited.content.insert(edited.content.end(),
                              content.begin() + static_cast<std::ptrdiff_t>(uiCopied),
                              content.begin() + static_cast<std::ptrdiff_t>(uiEnd));
        uiCopied = uiEnd;
    };
    for (const ConfigurationUnit& unit : record.units) {
        const auto found = units.find(ulOffset + unit.uiOffset);
        before.take(unit.bytes);
        after.take(found == units.end() ? unit.bytes : std::span<const unsigned char>(found->second));
        if (found == units.end())
            continue;
        ++edited.uiReplaced;
        const Bytes& bytes = found->second;
        if (bytes.size() > MAX_UNIT)
            edited.reason = "a set would have " + std::to_string(bytes.size()) +
                            " bytes; 65535 are the most that a record can hold";
        copyTo(unit.uiOffset - unit.uiStartCode - LENGTH_BYTES);
        edited.content.push_back(static_cast<unsigned char>(bytes.size() >> 8));
        edited.content.push_back(static_cast<unsigned char>(bytes.size()));
        edited.content.insert(edited.content.end(), bytes.begin(), bytes.end());
        uiCopied = unit.uiOffset + unit.bytes.size() + unit.uiStrippedZeros;
    }
    copyTo(content.size());
    if (eBox == EConfigurationBox::HvcC)
        changeFields(edited.content, before, after);
    return edited;
}

} // namespace h265_inspect
