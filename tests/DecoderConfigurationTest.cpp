#include "DecoderConfiguration.h"

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BoxWriter.h"

namespace decoder_configuration_test {

using namespace h265_container;
using namespace h265_test;

namespace {

const Bytes VPS{0x40, 1, 0x0c, 1};
const Bytes SPS{0x42, 1, 1, 2, 3};
const Bytes PPS{0x44, 1, 0xc1};

bool tells(const DecoderConfiguration& configuration, const std::string& text)
{
    for (const ConfigurationFinding& finding : configuration.findings) {
        if (finding.message.find(text) != std::string::npos)
            return true;
    }
    return false;
}

// Every field with a value of its own.
DecoderConfiguration everyField()
{
    DecoderConfiguration c;
    c.configurationVersion = 1;
    c.general_profile_space = 2;
    c.general_tier_flag = true;
    c.general_profile_idc = 21;
    c.general_profile_compatibility_flags = 0x81234567;
    c.general_constraint_indicator_flags = 0x923456789abc;
    c.general_level_idc = 123;
    c.min_spatial_segmentation_idc = 0xabc;
    c.parallelismType = 2;
    c.chroma_format_idc = 3;
    c.bit_depth_luma_minus8 = 5;
    c.bit_depth_chroma_minus8 = 6;
    c.avgFrameRate = 0x1234;
    c.constantFrameRate = 1;
    c.numTemporalLayers = 5;
    c.temporalIdNested = true;
    c.lengthSizeMinusOne = 1;
    return c;
}

TEST(DecoderConfiguration, ReadsEveryFieldOfHvcC)
{
    const Bytes content = joined({be(1, 1),
                                  be(1, 0xb5),
                                  be(4, 0x81234567),
                                  be(6, 0x923456789abc),
                                  be(1, 123),
                                  be(2, 0xfabc),
                                  be(1, 0xfe),
                                  be(1, 0xff),
                                  be(1, 0xfd),
                                  be(1, 0xfe),
                                  be(2, 0x1234),
                                  be(1, 0x6d),
                                  be(1, 0)});
    DecoderConfiguration expected = everyField();
    expected.uiFieldBits = 23 * 8;
    const DecoderConfiguration read = readDecoderConfiguration(content, EConfigurationBox::HvcC);
    EXPECT_TRUE(read.findings.empty());
    std::map<std::string, ConfigurationField> fields;
    for (const ConfigurationField& field : configurationFields(read))
        fields.emplace(field.pName, field);
    EXPECT_EQ(fields.size(), 18U);
    for (const ConfigurationField& field : configurationFields(expected))
        EXPECT_EQ(fields.at(field.pName).ulValue, field.ulValue) << field.pName;
    EXPECT_EQ(fields.at("general_constraint_indicator_flags").uiBit, 48U);
    EXPECT_EQ(fields.at("general_constraint_indicator_flags").uiWidth, 48U);
    EXPECT_EQ(fields.at("lengthSizeMinusOne").uiBit, 21U * 8 + 6);
    EXPECT_EQ(writeDecoderConfiguration(expected), content);
}

TEST(DecoderConfiguration, ReadsEveryFieldOfLhvC)
{
    const Bytes content =
        joined({be(1, 1), be(2, 0xfabc), be(1, 0xfe), be(1, 0xed), be(1, 1), be(1, 0xa0 | 1), be(2, 1), be(2, 4), VPS});
    const DecoderConfiguration read = readDecoderConfiguration(content, EConfigurationBox::LhvC);
    EXPECT_EQ(read.min_spatial_segmentation_idc, 0xabc);
    EXPECT_EQ(read.parallelismType, 2);
    EXPECT_EQ(read.numTemporalLayers, 5);
    EXPECT_TRUE(read.temporalIdNested);
    EXPECT_EQ(read.lengthSizeMinusOne, 1);
    ASSERT_EQ(read.units.size(), 1U);
    EXPECT_EQ(read.units[0].uiOffset, 11U);
    EXPECT_EQ(configurationFields(read).size(), 7U);
    EXPECT_TRUE(tells(read, "a NAL unit of type 32 in the array of type 33"));
}

TEST(DecoderConfiguration, FindsItsUnitsWithTheirPlaces)
{
    const Bytes content = hvcCContent({VPS, SPS, PPS});
    const DecoderConfiguration read = readDecoderConfiguration(content, EConfigurationBox::HvcC);
    EXPECT_TRUE(read.findings.empty());
    ASSERT_EQ(read.units.size(), 3U);
    EXPECT_EQ(read.units[0].uiOffset, 28U);
    EXPECT_EQ(read.units[1].uiOffset, 28U + 4 + 5);
    EXPECT_EQ(Bytes(read.units[2].bytes.begin(), read.units[2].bytes.end()), PPS);
    EXPECT_EQ(read.arrays[2].NAL_unit_type, 34);
    EXPECT_TRUE(read.arrays[2].array_completeness);
    EXPECT_EQ(writeDecoderConfiguration(read), content);
}

TEST(DecoderConfiguration, TellsWhatIsWrong)
{
    Bytes emptyArray = hvcCContent({VPS});
    emptyArray[22] = 2;
    emptyArray = joined({emptyArray, {0xa1, 0, 0}});
    Bytes cutFields = hvcCContent({});
    cutFields.pop_back();
    Bytes missingArray = hvcCContent({VPS});
    missingArray[22] = 2;
    Bytes missingUnit = hvcCContent({VPS});
    missingUnit[25] = 2;
    Bytes cutUnit = hvcCContent({VPS});
    cutUnit.pop_back();
    const Bytes otherArray = hvcCContent({{0x46, 1, 0x50}});
    Bytes emptyUnit = hvcCContent({});
    emptyUnit[22] = 1;
    emptyUnit = joined({emptyUnit, {0xa1, 0, 1, 0, 0}});
    Bytes reserved = hvcCContent({VPS});
    reserved[13] = 0;
    Bytes reservedOfArray = hvcCContent({VPS});
    reservedOfArray[23] |= 0x40;
    Bytes version = hvcCContent({VPS});
    version[0] = 2;
    const struct
    {
        const char* pName;
        Bytes content;
        const char* pMessage;
        std::size_t uiOffset;
        std::size_t uiUnits;
    } aCases[] = {
        {"empty", {}, "is empty", 0, 0},
        {"cut in its fields", cutFields, "too few for its fields", 22, 0},
        {"an array is missing", missingArray, "1 of 2 arrays is missing", 32, 1},
        {"version", version, "configurationVersion is 2", 0, 1},
        {"reserved bits", reserved, "reserved bits are 0", 13, 1},
        {"reserved bit of an array", reservedOfArray, "the reserved bit of an array", 23, 1},
        {"lengths of 3 bytes", hvcCContent({VPS}, 3), "lengthSizeMinusOne is 2", 21, 1},
        {"an array of another type", otherArray, "has an array of NAL unit type 35, where only VPSs", 23, 1},
        {"an empty array", emptyArray, "the array of NAL unit type 33 is empty", 32, 1},
        {"a zero byte", hvcCContent({joined({PPS, {0}})}), "1 zero byte behind a NAL unit", 31, 1},
        {"a unit of 0 bytes", emptyUnit, "1 NAL unit of 0 bytes", 23, 0},
        {"a unit is missing", missingUnit, "1 NAL unit is missing", 32, 1},
        {"a unit is cut", cutUnit, "a NAL unit of 4 bytes has 3", 28, 1},
        {"more bytes", joined({hvcCContent({VPS}), {7}}), "1 byte behind the last array", 32, 1},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const DecoderConfiguration read = readDecoderConfiguration(c.content, EConfigurationBox::HvcC);
        EXPECT_EQ(read.units.size(), c.uiUnits);
        ASSERT_FALSE(read.findings.empty());
        EXPECT_TRUE(tells(read, c.pMessage)) << read.findings[0].message;
        EXPECT_EQ(read.findings[0].uiOffset, c.uiOffset);
    }
}

TEST(DecoderConfiguration, TellsOfSetsInFrontOfWhatTheyReferTo)
{
    const Bytes SEI{0x4e, 1, 5};
    const struct
    {
        const char* pName;
        std::vector<Bytes> units;
        const char* pMessage; // empty of nothing
        std::size_t uiOffset;
    } aCases[] = {
        {"in order", {VPS, SPS, PPS, SEI}, "", 0},
        {"messages in front", {SEI, VPS, SPS, PPS}, "", 0},
        {"no VPS", {SPS, PPS}, "", 0},
        {"no SPS", {PPS, VPS}, "", 0},
        {"an array of each for two layers", {VPS, SPS, PPS, VPS, SPS, PPS}, "", 0},
        {"PPS in front", {VPS, PPS, SPS}, "the array of PPSs stands in front of that of SPSs", 23 + 9},
        {"SPS in front", {SPS, VPS, PPS}, "the array of SPSs stands in front of that of VPSs", 23},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const DecoderConfiguration read = readDecoderConfiguration(hvcCContent(c.units), EConfigurationBox::HvcC);
        EXPECT_EQ(read.findings.size(), *c.pMessage == '\0' ? 0U : 1U);
        if (read.findings.empty())
            continue;
        EXPECT_TRUE(tells(read, c.pMessage)) << read.findings[0].message;
        EXPECT_EQ(read.findings[0].eSeverity, ESeverity::Warning);
        EXPECT_EQ(read.findings[0].uiOffset, c.uiOffset);
    }
    EXPECT_EQ(readDecoderConfiguration(hvcCContent({PPS, SPS, VPS}), EConfigurationBox::HvcC).findings.size(), 2U);
}

TEST(DecoderConfiguration, StripsZerosBehindAUnit)
{
    const Bytes content = hvcCContent({joined({PPS, {0, 0}})});
    const DecoderConfiguration read = readDecoderConfiguration(content, EConfigurationBox::HvcC);
    ASSERT_EQ(read.units.size(), 1U);
    EXPECT_EQ(Bytes(read.units[0].bytes.begin(), read.units[0].bytes.end()), PPS);
    EXPECT_EQ(read.units[0].uiStrippedZeros, 2U);
}

// Some writers put what they have into the arrays as it is.
TEST(DecoderConfiguration, ReadsAUnitBehindAStartCode)
{
    for (const Bytes& startCode : {Bytes{0, 0, 0, 1}, Bytes{0, 0, 1}}) {
        constexpr std::size_t FIRST_ARRAY = 23;
        Bytes content = hvcCContent({joined({startCode, VPS, {0}}), PPS});
        content[FIRST_ARRAY] = 0x80 | 32;
        const DecoderConfiguration read = readDecoderConfiguration(content, EConfigurationBox::HvcC);
        ASSERT_EQ(read.units.size(), 2U);
        EXPECT_EQ(Bytes(read.units[0].bytes.begin(), read.units[0].bytes.end()), VPS);
        EXPECT_EQ(read.units[0].uiOffset, FIRST_ARRAY + 5 + startCode.size());
        EXPECT_EQ(read.units[0].uiStartCode, startCode.size());
        EXPECT_EQ(read.units[0].uiStrippedZeros, 1U);
        EXPECT_EQ(read.units[1].uiStartCode, 0U);
        ASSERT_EQ(read.findings.size(), 2U); // and the zero
        EXPECT_EQ(read.findings[0].message,
                  "a start code stands in front of a NAL unit: decoders see one of type 0 there");
        EXPECT_EQ(read.findings[0].uiOffset, FIRST_ARRAY + 5);
        EXPECT_EQ(read.findings[0].eSeverity, ESeverity::Error);
    }
    // Nothing but a start code, and what only looks like the beginning of one.
    for (const Bytes& unit : {Bytes{0, 0, 0, 1}, Bytes{0, 0, 1}, Bytes{0, 0, 2}, Bytes{0, 1}, Bytes{1}}) {
        const Bytes content = hvcCContent({unit});
        const DecoderConfiguration read = readDecoderConfiguration(content, EConfigurationBox::HvcC);
        ASSERT_EQ(read.units.size(), 1U);
        EXPECT_EQ(read.units[0].uiStartCode + read.units[0].bytes.size(), unit.size());
    }
}

// However many bytes are there, the fields and units that they hold are read, and a finding tells the rest.
TEST(DecoderConfiguration, IsReadAsFarAsItGoes)
{
    const Bytes content = hvcCContent({VPS, SPS, PPS});
    const DecoderConfiguration whole = readDecoderConfiguration(content, EConfigurationBox::HvcC);
    for (std::size_t i = 0; i < content.size(); ++i) {
        const Bytes cut(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(i));
        const DecoderConfiguration read = readDecoderConfiguration(cut, EConfigurationBox::HvcC);
        EXPECT_FALSE(read.findings.empty()) << i;
        const auto fields = configurationFields(read);
        const auto wholeFields = configurationFields(whole);
        for (std::size_t j = 0; j < fields.size(); ++j) {
            EXPECT_EQ(fields[j].ulValue, wholeFields[j].ulValue);
            EXPECT_LE(fields[j].uiBit + fields[j].uiWidth, i * 8);
        }
        for (std::size_t j = 0; j < read.units.size(); ++j) {
            EXPECT_LE(read.units[j].uiOffset + read.units[j].bytes.size(), i);
            EXPECT_EQ(read.units[j].uiOffset, whole.units[j].uiOffset);
        }
    }
}

TEST(DecoderConfiguration, ReadsNoMoreThanItsMost)
{
    const Bytes content = joined({hvcCContent({VPS}), zeros(MAX_CONFIGURATION_BYTES)});
    const DecoderConfiguration read = readDecoderConfiguration(content, EConfigurationBox::HvcC);
    EXPECT_TRUE(tells(read, "are not read"));
    EXPECT_EQ(read.units.size(), 1U);
}

SpsForConfiguration someSps()
{
    SpsForConfiguration sps;
    sps.general_profile_idc = 2;
    sps.general_profile_compatibility_flags = 0x20000000;
    sps.general_constraint_indicator_flags = 0x900000000000;
    sps.general_level_idc = 93;
    sps.chroma_format_idc = 1;
    sps.bit_depth_luma_minus8 = 2;
    sps.bit_depth_chroma_minus8 = 2;
    sps.sps_max_sub_layers_minus1 = 2;
    sps.sps_temporal_id_nesting_flag = true;
    sps.min_spatial_segmentation_idc = 7;
    return sps;
}

TEST(MakeDecoderConfiguration, StatesWhatHoldsForAllSets)
{
    SpsForConfiguration first = someSps();
    SpsForConfiguration second = someSps();
    second.general_profile_idc = 1;
    second.general_profile_compatibility_flags = 0x60000000;
    second.general_constraint_indicator_flags = 0xb00000000001;
    second.general_level_idc = 120;
    second.general_tier_flag = true;
    second.sps_max_sub_layers_minus1 = 0;
    second.sps_temporal_id_nesting_flag = false;
    second.min_spatial_segmentation_idc = 5;
    const SpsForConfiguration spss[] = {first, second};
    const PpsForConfiguration ppss[] = {{.tiles_enabled_flag = true, .entropy_coding_sync_enabled_flag = false}};
    const UnitsForConfiguration units[] = {{33, true, {SPS, SPS}}, {34, false, {PPS}}};
    const auto made = makeDecoderConfiguration(spss, ppss, units);
    ASSERT_TRUE(std::holds_alternative<DecoderConfiguration>(made));
    const Bytes content = writeDecoderConfiguration(std::get<DecoderConfiguration>(made));
    const DecoderConfiguration read = readDecoderConfiguration(content, EConfigurationBox::HvcC);
    EXPECT_TRUE(read.findings.empty());
    EXPECT_EQ(read.general_profile_idc, 2);
    EXPECT_EQ(read.general_profile_compatibility_flags, 0x20000000U);
    EXPECT_EQ(read.general_constraint_indicator_flags, 0x900000000000U);
    EXPECT_EQ(read.general_level_idc, 120);
    EXPECT_TRUE(read.general_tier_flag);
    EXPECT_EQ(read.numTemporalLayers, 3);
    EXPECT_FALSE(read.temporalIdNested);
    EXPECT_EQ(read.min_spatial_segmentation_idc, 5);
    EXPECT_EQ(read.parallelismType, 2);
    EXPECT_EQ(read.lengthSizeMinusOne, 3);
    EXPECT_EQ(read.units.size(), 3U);
    EXPECT_FALSE(read.arrays[1].array_completeness);
}

TEST(MakeDecoderConfiguration, DerivesParallelismFromEveryPps)
{
    const SpsForConfiguration spss[] = {someSps()};
    const PpsForConfiguration tiles{.tiles_enabled_flag = true, .entropy_coding_sync_enabled_flag = false};
    const PpsForConfiguration wavefront{.tiles_enabled_flag = false, .entropy_coding_sync_enabled_flag = true};
    const PpsForConfiguration both{.tiles_enabled_flag = true, .entropy_coding_sync_enabled_flag = true};
    const struct
    {
        std::vector<PpsForConfiguration> ppss;
        unsigned uiExpected;
    } aCases[] = {{{tiles}, 2}, {{wavefront, wavefront}, 3}, {{tiles, wavefront}, 0}, {{both}, 0}, {{}, 0}};
    for (const auto& c : aCases) {
        const auto made = makeDecoderConfiguration(spss, c.ppss, {});
        EXPECT_EQ(std::get<DecoderConfiguration>(made).parallelismType, c.uiExpected);
    }
    SpsForConfiguration unknown = someSps();
    unknown.min_spatial_segmentation_idc = 0;
    const SpsForConfiguration unknowns[] = {unknown};
    const PpsForConfiguration ppss[] = {tiles};
    EXPECT_EQ(std::get<DecoderConfiguration>(makeDecoderConfiguration(unknowns, ppss, {})).parallelismType, 0);
}

TEST(MakeDecoderConfiguration, SaysWhyThereIsNone)
{
    const auto reason = [](const std::vector<SpsForConfiguration>& spss,
                           const std::vector<UnitsForConfiguration>& units = {}) {
        const auto made = makeDecoderConfiguration(spss, {}, units);
        return std::holds_alternative<std::string>(made) ? std::get<std::string>(made) : std::string();
    };
    EXPECT_EQ(reason({}), "there is no SPS");
    SpsForConfiguration other = someSps();
    other.chroma_format_idc = 2;
    EXPECT_NE(reason({someSps(), other}).find("chroma_format_idc"), std::string::npos);
    other = someSps();
    other.bit_depth_luma_minus8 = 0;
    EXPECT_NE(reason({someSps(), other}).find("bit_depth_luma_minus8"), std::string::npos);
    other = someSps();
    other.bit_depth_chroma_minus8 = 0;
    EXPECT_NE(reason({someSps(), other}).find("bit_depth_chroma_minus8"), std::string::npos);
    other = someSps();
    other.general_profile_space = 1;
    EXPECT_NE(reason({someSps(), other}).find("general_profile_space"), std::string::npos);
    other = someSps();
    other.general_profile_idc = 4;
    other.general_profile_compatibility_flags = 0x08000000;
    EXPECT_NE(reason({someSps(), other}).find("no profile in common"), std::string::npos);
    const Bytes large(0x10000, 1);
    EXPECT_NE(reason({someSps()}, {{33, true, {large}}}).find("65535"), std::string::npos);
    const std::vector<UnitsForConfiguration> many(256, UnitsForConfiguration{33, true, {}});
    EXPECT_NE(reason({someSps()}, many).find("more NAL units"), std::string::npos);
}

} // namespace
} // namespace decoder_configuration_test
