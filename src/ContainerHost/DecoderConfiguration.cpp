#include "DecoderConfiguration.h"

#include <algorithm>
#include <optional>
#include <type_traits>

#include "BytesAt.h"
#include "CountedText.h"

namespace h265_container {

namespace {

using Bytes = std::span<const unsigned char>;

// ISO/IEC 14496-15 8.3.2.1.2 and 9.5.3.1.2: the fields in front of the arrays, for reading, listing and writing.
template <class TUse, class TRecord>
void describe(TUse& use, TRecord& record)
{
    const bool bHvcC = record.eBox == EConfigurationBox::HvcC;
    use(8, "configurationVersion", record.configurationVersion);
    if (bHvcC) {
        use(2, "general_profile_space", record.general_profile_space);
        use(1, "general_tier_flag", record.general_tier_flag);
        use(5, "general_profile_idc", record.general_profile_idc);
        use(32, "general_profile_compatibility_flags", record.general_profile_compatibility_flags);
        use(48, "general_constraint_indicator_flags", record.general_constraint_indicator_flags);
        use(8, "general_level_idc", record.general_level_idc);
    }
    use.reserved(4);
    use(12, "min_spatial_segmentation_idc", record.min_spatial_segmentation_idc);
    use.reserved(6);
    use(2, "parallelismType", record.parallelismType);
    if (bHvcC) {
        use.reserved(6);
        use(2, "chroma_format_idc", record.chroma_format_idc);
        use.reserved(5);
        use(3, "bit_depth_luma_minus8", record.bit_depth_luma_minus8);
        use.reserved(5);
        use(3, "bit_depth_chroma_minus8", record.bit_depth_chroma_minus8);
        use(16, "avgFrameRate", record.avgFrameRate);
        use(2, "constantFrameRate", record.constantFrameRate);
    } else
        use.reserved(2);
    use(3, "numTemporalLayers", record.numTemporalLayers);
    use(1, "temporalIdNested", record.temporalIdNested);
    use(2, "lengthSizeMinusOne", record.lengthSizeMinusOne);
    use(8, "numOfArrays", record.numOfArrays);
}

class CFieldReader
{
public:
    CFieldReader(Bytes content, DecoderConfiguration& record) : m_content(content), m_record(record) {}

    template <class TField>
    void operator()(unsigned uiWidth, const char* /*pName*/, TField& field)
    {
        if (const auto ulValue = take(uiWidth))
            field = static_cast<TField>(*ulValue);
    }

    // The reserved bits are ones.
    void reserved(unsigned uiWidth)
    {
        const std::size_t uiByte = m_uiBit / 8;
        const auto ulValue = take(uiWidth);
        if (ulValue && *ulValue != (1U << uiWidth) - 1)
            m_record.findings.push_back(
                {ESeverity::Warning, uiByte, "reserved bits are " + std::to_string(*ulValue) + " instead of all ones"});
    }

    [[nodiscard]] bool isComplete() const { return m_bComplete; }
    [[nodiscard]] std::size_t bits() const { return m_uiBit; }

private:
    std::optional<std::uint64_t> take(unsigned uiWidth)
    {
        if (!m_bComplete || m_content.size() * 8 - m_uiBit < uiWidth) {
            m_bComplete = false;
            return std::nullopt;
        }
        std::uint64_t ulValue = 0;
        for (; uiWidth != 0; --uiWidth, ++m_uiBit)
            ulValue = ulValue << 1 | (static_cast<unsigned>(m_content[m_uiBit / 8]) >> (7 - m_uiBit % 8) & 1U);
        return ulValue;
    }

    const Bytes m_content;
    DecoderConfiguration& m_record;
    std::size_t m_uiBit = 0;
    bool m_bComplete = true;
};

class CFieldList
{
public:
    explicit CFieldList(std::size_t uiBits) : m_uiBits(uiBits) {}

    template <class TField>
    void operator()(unsigned uiWidth, const char* pName, const TField& field)
    {
        if (m_uiBit + uiWidth <= m_uiBits)
            m_fields.push_back({pName, m_uiBit, uiWidth, static_cast<std::uint64_t>(field)});
        m_uiBit += uiWidth;
    }
    void reserved(unsigned uiWidth) { m_uiBit += uiWidth; }

    std::vector<ConfigurationField> m_fields;

private:
    const std::size_t m_uiBits;
    std::size_t m_uiBit = 0;
};

class CFieldWriter
{
public:
    template <class TField>
    void operator()(unsigned uiWidth, const char* /*pName*/, const TField& field)
    {
        put(uiWidth, static_cast<std::uint64_t>(field));
    }
    void reserved(unsigned uiWidth) { put(uiWidth, ~std::uint64_t{0}); }

    std::vector<unsigned char> m_bytes;

private:
    void put(unsigned uiWidth, std::uint64_t ulValue)
    {
        while (uiWidth-- != 0) {
            if (m_uiBit % 8 == 0)
                m_bytes.push_back(0);
            if ((ulValue >> uiWidth & 1) != 0)
                m_bytes.back() = static_cast<unsigned char>(m_bytes.back() | 0x80U >> m_uiBit % 8);
            ++m_uiBit;
        }
    }

    std::size_t m_uiBit = 0;
};

void tell(DecoderConfiguration& record, ESeverity eSeverity, std::size_t uiOffset, std::string message)
{
    record.findings.push_back({eSeverity, uiOffset, std::move(message)});
}

// The NAL units of one array: where the next array begins; none when the content ends early.
std::optional<std::size_t> readUnits(DecoderConfiguration& record, Bytes content, std::size_t i)
{
    const std::size_t uiArray = record.arrays.size() - 1;
    std::size_t uiEmpty = 0;
    for (unsigned uiLeft = record.arrays.back().numNalus; uiLeft != 0; --uiLeft) {
        if (content.size() - i < 2) {
            tell(record,
                 ESeverity::Error,
                 i,
                 "ends early: " + countedText(uiLeft, "NAL unit") + areOrIs(uiLeft) + "missing");
            return std::nullopt;
        }
        const std::size_t uiLength = u16At(content, i);
        i += 2;
        const std::size_t uiHere = std::min(uiLength, content.size() - i);
        Bytes bytes = content.subspan(i, uiHere);
        while (!bytes.empty() && bytes.back() == 0)
            bytes = bytes.first(bytes.size() - 1);
        const std::size_t uiStartCode = startCodeBytes(bytes);
        if (uiLength == 0)
            ++uiEmpty;
        else
            record.units.push_back(
                {uiArray, i + uiStartCode, bytes.subspan(uiStartCode), uiHere - bytes.size(), uiStartCode});
        if (uiHere < uiLength) {
            tell(record,
                 ESeverity::Error,
                 i,
                 "ends early: a NAL unit of " + countedText(uiLength, "byte") + " has " + std::to_string(uiHere));
            return std::nullopt;
        }
        i += uiLength;
    }
    if (uiEmpty != 0)
        tell(record,
             ESeverity::Error,
             record.arrays.back().uiOffset,
             countedText(uiEmpty, "NAL unit") + " of 0 bytes in one array");
    return i;
}

void readArrays(DecoderConfiguration& record, Bytes content)
{
    std::size_t i = record.uiFieldBits / 8;
    for (unsigned uiArray = 0; uiArray < record.numOfArrays; ++uiArray) {
        if (content.size() - i < 3) {
            tell(record,
                 ESeverity::Error,
                 i,
                 "ends early: " + std::to_string(record.numOfArrays - uiArray) + " of " +
                     countedText(record.numOfArrays, "array") + areOrIs(record.numOfArrays - uiArray) + "missing");
            return;
        }
        record.arrays.push_back({(content[i] & 0x80) != 0,
                                 static_cast<unsigned char>(content[i] & 0x3f),
                                 static_cast<std::uint16_t>(u16At(content, i + 1)),
                                 i});
        if ((content[i] & 0x40) != 0)
            tell(record, ESeverity::Warning, i, "the reserved bit of an array is 1 instead of 0");
        const auto iNext = readUnits(record, content, i + 3);
        if (!iNext)
            return;
        i = *iNext;
    }
    if (i < content.size())
        tell(record, ESeverity::Warning, i, countedText(content.size() - i, "byte") + " behind the last array");
}

// ISO/IEC 14496-15 8.3.2.1.3: parameter sets, prefix and suffix SEI.
bool mayStandInRecord(unsigned NAL_unit_type)
{
    return (NAL_unit_type >= 32 && NAL_unit_type <= 34) || NAL_unit_type == 39 || NAL_unit_type == 40;
}

// What holds of the arrays and their units one by one.
void lookAtArrays(DecoderConfiguration& record)
{
    for (const ConfigurationArray& array : record.arrays) {
        if (array.numNalus == 0)
            tell(record,
                 ESeverity::Warning,
                 array.uiOffset,
                 "the array of NAL unit type " + std::to_string(array.NAL_unit_type) + " is empty");
        if (!mayStandInRecord(array.NAL_unit_type))
            tell(record,
                 ESeverity::Error,
                 array.uiOffset,
                 "has an array of NAL unit type " + std::to_string(array.NAL_unit_type) +
                     ", where only VPSs, SPSs, PPSs and SEI messages may stand");
    }
    for (const ConfigurationUnit& unit : record.units) {
        const ConfigurationArray& array = record.arrays[unit.uiArray];
        if (unit.uiStartCode != 0)
            tell(record,
                 ESeverity::Error,
                 unit.uiOffset - unit.uiStartCode,
                 "a start code stands in front of a NAL unit: decoders see one of type 0 there");
        if (unit.uiStrippedZeros != 0)
            tell(record,
                 ESeverity::Warning,
                 unit.uiOffset + unit.bytes.size(),
                 countedText(unit.uiStrippedZeros, "zero byte") + " behind a NAL unit, counted as part of it");
        if (!unit.bytes.empty() && (unit.bytes[0] >> 1 & 0x3f) != array.NAL_unit_type)
            tell(record,
                 ESeverity::Error,
                 unit.uiOffset,
                 "a NAL unit of type " + std::to_string(unit.bytes[0] >> 1 & 0x3f) + " in the array of type " +
                     std::to_string(array.NAL_unit_type));
    }
}

// ISO/IEC 14496-15 8.3.2.1.3 recommends VPS, SPS, PPS, SEI. Other orders do no harm unless a set stands in front of all
// that it can refer to. What lhvC refers to can stand in hvcC.
void lookAtOrder(DecoderConfiguration& record)
{
    constexpr unsigned char VPS_NUT = 32;
    constexpr unsigned char PPS_NUT = 34;
    constexpr const char* NAMES[] = {"VPS", "SPS", "PPS"};
    if (record.eBox != EConfigurationBox::HvcC)
        return;
    const auto firstOf = [&](unsigned char NAL_unit_type) {
        return std::ranges::find_if(record.arrays, [&](const ConfigurationArray& array) {
            return array.NAL_unit_type == NAL_unit_type && array.numNalus != 0;
        });
    };
    for (unsigned char NAL_unit_type = VPS_NUT; NAL_unit_type < PPS_NUT; ++NAL_unit_type) {
        const auto referred = firstOf(NAL_unit_type);
        const auto referring = firstOf(static_cast<unsigned char>(NAL_unit_type + 1));
        if (referred == record.arrays.end() || referred < referring)
            continue;
        const std::string name = NAMES[NAL_unit_type - VPS_NUT];
        tell(record,
             ESeverity::Warning,
             referring->uiOffset,
             std::string("the array of ") + NAMES[NAL_unit_type + 1 - VPS_NUT] + "s stands in front of that of " +
                 name + "s, which they refer to: players that read the arrays front to back fail [14496-15 8.3.2.1.3]");
    }
}

void lookAtFields(DecoderConfiguration& record)
{
    const std::size_t uiLengthByte = record.uiFieldBits / 8 - 2;
    if (record.configurationVersion != 1)
        tell(record,
             ESeverity::Error,
             0,
             "configurationVersion is " + std::to_string(record.configurationVersion) + " instead of 1");
    if (record.lengthSizeMinusOne == 2)
        tell(record, ESeverity::Error, uiLengthByte, "lengthSizeMinusOne is 2: lengths of 3 bytes are not allowed");
}

} // namespace

DecoderConfiguration readDecoderConfiguration(Bytes content, EConfigurationBox eBox)
{
    DecoderConfiguration record;
    record.eBox = eBox;
    if (content.size() > MAX_CONFIGURATION_BYTES) {
        tell(record,
             ESeverity::Error,
             MAX_CONFIGURATION_BYTES,
             "has " + countedText(content.size(), "byte") + "; those behind the first " +
                 std::to_string(MAX_CONFIGURATION_BYTES) + " are not read");
        content = content.first(MAX_CONFIGURATION_BYTES);
    }
    CFieldReader reader(content, record);
    describe(reader, record);
    record.uiFieldBits = reader.bits();
    if (content.empty())
        tell(record, ESeverity::Error, 0, "is empty: it has no decoder configuration record");
    else if (!reader.isComplete())
        tell(record,
             ESeverity::Error,
             content.size(),
             "ends early: " + countedText(content.size(), "byte") + areOrIs(content.size()) + "too few for its fields");
    if (!reader.isComplete())
        return record;
    lookAtFields(record);
    readArrays(record, content);
    lookAtArrays(record);
    lookAtOrder(record);
    return record;
}

std::vector<ConfigurationField> configurationFields(const DecoderConfiguration& configuration)
{
    CFieldList list(configuration.uiFieldBits);
    describe(list, configuration);
    return list.m_fields;
}

std::vector<unsigned char> writeDecoderConfiguration(const DecoderConfiguration& configuration)
{
    DecoderConfiguration counted = configuration;
    counted.numOfArrays = static_cast<unsigned char>(counted.arrays.size());
    CFieldWriter writer;
    describe(writer, counted);
    const auto put16 = [&](std::size_t uiValue) { writer(16, "", uiValue); };
    for (std::size_t i = 0; i < counted.arrays.size(); ++i) {
        writer(1, "array_completeness", counted.arrays[i].array_completeness);
        writer(1, "reserved", false);
        writer(6, "NAL_unit_type", counted.arrays[i].NAL_unit_type);
        put16(static_cast<std::size_t>(
            std::ranges::count_if(counted.units, [&](const ConfigurationUnit& unit) { return unit.uiArray == i; })));
        for (const ConfigurationUnit& unit : counted.units) {
            if (unit.uiArray != i)
                continue;
            put16(unit.bytes.size());
            writer.m_bytes.insert(writer.m_bytes.end(), unit.bytes.begin(), unit.bytes.end());
            // The units are whole bytes, and so are the fields between them.
        }
    }
    return writer.m_bytes;
}

namespace {

// parallelismType: what every PPS says, 0 when they differ or say nothing of how pictures are cut.
unsigned char parallelismTypeOf(std::span<const PpsForConfiguration> ppss)
{
    const auto all = [&](auto holds) { return !ppss.empty() && std::ranges::all_of(ppss, holds); };
    if (all([](const auto& pps) { return pps.tiles_enabled_flag && !pps.entropy_coding_sync_enabled_flag; }))
        return 2;
    if (all([](const auto& pps) { return pps.entropy_coding_sync_enabled_flag && !pps.tiles_enabled_flag; }))
        return 3;
    return 0;
}

// What all SPSs of one record have to share; empty when they do.
std::string whatDiffers(std::span<const SpsForConfiguration> spss)
{
    const auto differs = [&](auto field) {
        return std::ranges::any_of(spss, [&](const auto& sps) { return sps.*field != spss.front().*field; });
    };
    if (differs(&SpsForConfiguration::general_profile_space))
        return "general_profile_space";
    if (differs(&SpsForConfiguration::chroma_format_idc))
        return "chroma_format_idc";
    if (differs(&SpsForConfiguration::bit_depth_luma_minus8))
        return "bit_depth_luma_minus8";
    if (differs(&SpsForConfiguration::bit_depth_chroma_minus8))
        return "bit_depth_chroma_minus8";
    return {};
}

// The profile that stands for all: the one of the first SPS that every SPS is compatible with.
std::optional<unsigned char> commonProfile(std::span<const SpsForConfiguration> spss, std::uint32_t uiCompatible)
{
    for (const SpsForConfiguration& sps : spss) {
        const bool bAll = (uiCompatible >> (31 - sps.general_profile_idc % 32) & 1) != 0 ||
                          std::ranges::all_of(spss, [&](const auto& other) {
                              return other.general_profile_idc == sps.general_profile_idc;
                          });
        if (bAll)
            return sps.general_profile_idc;
    }
    return std::nullopt;
}

std::string addUnits(DecoderConfiguration& record, std::span<const UnitsForConfiguration> units)
{
    for (const UnitsForConfiguration& array : units) {
        if (array.units.size() > 0xffff || record.arrays.size() == 0xff)
            return "more NAL units than a record can count";
        record.arrays.push_back(
            {array.array_completeness, array.NAL_unit_type, static_cast<std::uint16_t>(array.units.size()), 0});
        for (const Bytes bytes : array.units) {
            if (bytes.size() > 0xffff)
                return "a NAL unit of type " + std::to_string(array.NAL_unit_type) + " has " +
                       std::to_string(bytes.size()) + " bytes; 65535 are the most that a record can hold";
            record.units.push_back({record.arrays.size() - 1, 0, bytes, 0});
        }
    }
    return {};
}

} // namespace

std::variant<DecoderConfiguration, std::string> makeDecoderConfiguration(std::span<const SpsForConfiguration> spss,
                                                                         std::span<const PpsForConfiguration> ppss,
                                                                         std::span<const UnitsForConfiguration> units)
{
    if (spss.empty())
        return "there is no SPS";
    if (const std::string name = whatDiffers(spss); !name.empty())
        return "the SPSs differ in " + name + ", which one record has to state for all of them";
    DecoderConfiguration record;
    const SpsForConfiguration& first = spss.front();
    record.configurationVersion = 1;
    record.general_profile_space = first.general_profile_space;
    record.general_profile_compatibility_flags = 0xffffffff;
    record.general_constraint_indicator_flags = (std::uint64_t{1} << 48) - 1;
    record.min_spatial_segmentation_idc = first.min_spatial_segmentation_idc;
    record.chroma_format_idc = first.chroma_format_idc;
    record.bit_depth_luma_minus8 = first.bit_depth_luma_minus8;
    record.bit_depth_chroma_minus8 = first.bit_depth_chroma_minus8;
    record.temporalIdNested = true;
    for (const SpsForConfiguration& sps : spss) {
        record.general_tier_flag = record.general_tier_flag || sps.general_tier_flag;
        record.general_profile_compatibility_flags &= sps.general_profile_compatibility_flags;
        record.general_constraint_indicator_flags &= sps.general_constraint_indicator_flags;
        record.general_level_idc = std::max(record.general_level_idc, sps.general_level_idc);
        record.min_spatial_segmentation_idc =
            std::min(record.min_spatial_segmentation_idc, sps.min_spatial_segmentation_idc);
        record.numTemporalLayers =
            std::max(record.numTemporalLayers, static_cast<unsigned char>(sps.sps_max_sub_layers_minus1 + 1));
        record.temporalIdNested = record.temporalIdNested && sps.sps_temporal_id_nesting_flag;
    }
    const auto ucProfile = commonProfile(spss, record.general_profile_compatibility_flags);
    if (!ucProfile)
        return "the SPSs have no profile in common";
    record.general_profile_idc = *ucProfile;
    // 0 says that it is not known how pictures are cut, which goes with no least segmentation only.
    record.parallelismType = record.min_spatial_segmentation_idc == 0 ? 0 : parallelismTypeOf(ppss);
    if (std::string reason = addUnits(record, units); !reason.empty())
        return reason;
    record.numOfArrays = static_cast<unsigned char>(record.arrays.size());
    record.uiFieldBits = 23 * 8;
    return record;
}

} // namespace h265_container
