#include "SetText.h"

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "ContainerFiles.h"
#include "DecoderConfiguration.h"

namespace set_text_test {

using namespace h265_container;
using namespace h265_test;

namespace {

const Bytes VPS{0x40, 1, 0x0c, 1, 0xff, 0xff, 1, 0x60};
const Bytes SPS{0x42, 1, 1, 1, 0x60, 5};
const Bytes PPS{0x44, 1, 0xc1};

CContainerRecord read(const std::string& text, ETextForm eForm = ETextForm::Hex)
{
    CContainerRecord record;
    readSetText(text, eForm, record);
    return record;
}

TEST(BytesOfText, TakesEveryWayThatHexadecimalIsWritten)
{
    const struct
    {
        const char* pName;
        const char* pText;
    } aCases[] = {
        {"plain", "4201AB"},
        {"lower case", "4201ab"},
        {"spaces", " 42 01  ab "},
        {"colons", "42:01:ab"},
        {"prefixes", "0x42 0X01 0xab"},
        {"one prefix", "0x4201ab"},
        {"escapes", R"(\x42\x01\xab)"},
        {"lines", "42\r\n01\n\tab\n"},
        {"a nibble each", "4 2 0 1 a b"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const auto bytes = bytesOfText(c.pText, ETextForm::Hex);
        ASSERT_EQ(bytes.index(), 0U);
        EXPECT_EQ(std::get<0>(bytes), (Bytes{0x42, 1, 0xab}));
    }
}

TEST(BytesOfText, TakesEveryWayThatBase64IsWritten)
{
    const struct
    {
        const char* pName;
        const char* pText;
        Bytes bytes;
    } aCases[] = {
        {"nothing", "", {}},
        {"one byte", "Zg==", {'f'}},
        {"two bytes", "Zm8=", {'f', 'o'}},
        {"three bytes", "Zm9v", {'f', 'o', 'o'}},
        {"four bytes", "Zm9vYg==", {'f', 'o', 'o', 'b'}},
        {"without padding", "Zm9vYg", {'f', 'o', 'o', 'b'}},
        {"half of the padding", "Zm9vYg=", {'f', 'o', 'o', 'b'}},
        {"broken in lines", "Zm\r\n 9v\n", {'f', 'o', 'o'}},
        {"plus and slash", "+/8A", {0xfb, 0xff, 0}},
        {"for addresses", "-_8A", {0xfb, 0xff, 0}},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const auto bytes = bytesOfText(c.pText, ETextForm::Base64);
        ASSERT_EQ(bytes.index(), 0U);
        EXPECT_EQ(std::get<0>(bytes), c.bytes);
    }
}

TEST(BytesOfText, SaysWhatIsWrongAndWhere)
{
    const struct
    {
        const char* pText;
        ETextForm eForm;
        std::size_t uiOffset;
        const char* pMessage;
    } aCases[] = {
        {"42 0g", ETextForm::Hex, 4, "'g' is no hexadecimal digit"},
        {"42\x7f", ETextForm::Hex, 2, "byte 0x7f is no hexadecimal digit"},
        {"42 01 6", ETextForm::Hex, 7, "an odd number of hexadecimal digits (5): one is missing or too many"},
        {"4x", ETextForm::Hex, 1, "'x' is no hexadecimal digit"},
        {"Zm9*", ETextForm::Base64, 3, "'*' is no character of base64"},
        {"=Zm9", ETextForm::Base64, 0, "'=' is no character of base64"},
        {"Zg==Zg==", ETextForm::Base64, 4, "'Z' stands behind the padding (=)"},
        {"Zm9vY", ETextForm::Base64, 5, "5 characters of base64, which is one too many or some too few"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pText);
        const auto bytes = bytesOfText(c.pText, c.eForm);
        ASSERT_EQ(bytes.index(), 1U);
        EXPECT_EQ(std::get<1>(bytes).uiOffset, c.uiOffset);
        EXPECT_EQ(std::get<1>(bytes).message, c.pMessage);
    }
}

TEST(ReadSetText, TakesSetsBetweenCommasAndBetweenStartCodes)
{
    const std::vector<Bytes> all{VPS, SPS, PPS};
    const struct
    {
        const char* pName;
        const char* pText;
    } aCases[] = {
        {"commas", "40010c01ffff0160,420101016005,4401c1"},
        {"a comma at the end of each line", "40010c01ffff0160,\n420101016005,\n4401c1,\n"},
        {"lines", "40010c01ffff0160\n420101016005\r\n\n4401c1\n"},
        {"lines and a comma", "40010c01ffff0160\n420101016005,4401c1"},
        {"start codes", "0000000140010c01ffff0160 000001420101016005 00000000014401c1"},
        {"both", "00000140010c01ffff0160,000000014201010160050000014401c1"},
        {"a start code in front of the second", "40010c01ffff0160 00000001 420101016005,4401c1"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const CContainerRecord record = read(c.pText);
        EXPECT_EQ(record.findings(), "");
        EXPECT_EQ(record.unitBytes(), all);
        EXPECT_EQ(record.places(), (std::vector<std::string>{"set 1", "set 2", "set 3"}));
        ASSERT_EQ(record.m_tracks.size(), 1U);
        EXPECT_TRUE(record.m_tracks[0].bIsH265);
        EXPECT_FALSE(record.m_units[0].ulOffset.has_value());
    }
    EXPECT_EQ(read("QAEMAf//AWA=, QgEBAWAF,RAHB", ETextForm::Base64).unitBytes(), all);
    EXPECT_EQ(read("QAEMAf//AWA=\nQgEBAWAF\nRAHB\n", ETextForm::Base64).unitBytes(), all);
    const CContainerRecord wrong = read("40010c01ffff0160\n4201010160g5\n");
    EXPECT_TRUE(wrong.m_units.empty()) << "lines that are no sets are one text";
}

// A set that is broken into lines, as long ones are.
TEST(ReadSetText, TakesLinesThatDoNotAllBeginAsSetsTogether)
{
    EXPECT_EQ(read("40010c01\nffff0160").unitBytes(), std::vector<Bytes>{VPS});
    EXPECT_EQ(read("40\n01\n0c01ffff0160").unitBytes(), std::vector<Bytes>{VPS});
    EXPECT_EQ(read("40010c01f\nfff0160").unitBytes(), std::vector<Bytes>{VPS}) << "inside a byte";
}

TEST(ReadSetText, TakesBytesOneByOneForOneSet)
{
    EXPECT_EQ(read("0x44, 0x01, 0xc1,\n").unitBytes(), std::vector<Bytes>{PPS});
    EXPECT_EQ(read("0x44, 0x01c1").m_units.size(), 2U) << "not all of them are one byte";
}

TEST(ReadSetText, TakesSetsOutOfADecoderConfigurationRecord)
{
    const UnitsForConfiguration aUnits[] = {{32, true, {VPS}}, {33, true, {SPS}}};
    SpsForConfiguration sps;
    sps.general_profile_idc = 1;
    const auto made = makeDecoderConfiguration(std::span(&sps, 1), {}, aUnits);
    ASSERT_EQ(made.index(), 0U);
    std::string hex;
    for (const unsigned char ucByte : writeDecoderConfiguration(std::get<0>(made)))
        hex += std::string{"0123456789abcdef"[ucByte >> 4], "0123456789abcdef"[ucByte & 15]};
    const CContainerRecord record = read("4401c1," + hex);
    EXPECT_EQ(record.unitBytes(), (std::vector<Bytes>{PPS, VPS, SPS}));
    EXPECT_EQ(record.places(), (std::vector<std::string>{"set 1", "hvcC, set 2", "hvcC, set 2"}));
    ASSERT_EQ(record.m_claims.size(), 1U);
    ASSERT_TRUE(record.m_claims[0].hvcC);
    EXPECT_EQ(record.m_claims[0].hvcC->value.general_profile_idc, 1);
    const CContainerRecord empty = read(hex.substr(0, 44) + "00");
    EXPECT_TRUE(empty.tells("a decoder configuration record without NAL units"));
}

TEST(ReadSetText, TellsWhatIsWrongWithASetAndReadsTheOthers)
{
    const struct
    {
        const char* pText;
        const char* pFindings;
    } aCases[] = {
        {"4401c1,42x1,4401c2", "set 2 at 9: 'x' is no hexadecimal digit\n"},
        {"4401c1,420,4401c2", "set 2 at 10: an odd number of hexadecimal digits (3): one is missing or too many\n"},
        {"4401c1,,4401c2", "set 2 at 7: there are no bytes\n"},
        {"4401c1, 000001,4401c2", "set 2 at 7: there are no bytes\n"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pText);
        const CContainerRecord record = read(c.pText);
        EXPECT_EQ(record.findings(), c.pFindings);
        EXPECT_EQ(record.m_findings[0].eSeverity, ESeverity::Error);
        EXPECT_EQ(record.unitBytes(), (std::vector<Bytes>{PPS, {0x44, 1, 0xc2}}));
        EXPECT_EQ(record.places(), (std::vector<std::string>{"set 1", "set 3"}));
    }
    EXPECT_EQ(read("").findings(), "set 1 at 0: there are no bytes\n");
    EXPECT_EQ(read("RAHB, ??", ETextForm::Base64).findings(), "set 2 at 6: '?' is no character of base64\n");
}

TEST(ReadSetText, NamesWhatIsNoParameterSet)
{
    const CContainerRecord record = read("4e01050a,4401c1");
    ASSERT_EQ(record.m_findings.size(), 1U);
    EXPECT_EQ(record.m_findings[0].eSeverity, ESeverity::Warning);
    EXPECT_EQ(record.findings(),
              "set 1 at 0: a NAL unit of type 39, not a VPS, SPS or PPS (40, 42 or 44 is their first byte in "
              "hexadecimal)\n");
    EXPECT_EQ(record.m_units.size(), 2U);
}

TEST(ReadSetText, RefusesWhatIsTooLong)
{
    const CContainerRecord longText = read(std::string(MAX_SET_TEXT_BYTES + 1, '4'));
    EXPECT_TRUE(longText.tells("the text has more than 1048576 bytes: it is not read"));
    EXPECT_TRUE(longText.m_units.empty());
    std::string text;
    for (std::size_t i = 0; i <= MAX_TEXT_SETS; ++i)
        text += "4401c1,";
    const CContainerRecord many = read(text);
    EXPECT_TRUE(many.tells("there are more than 65536 sets: what follows is not read"));
    EXPECT_EQ(many.m_units.size(), MAX_TEXT_SETS);
    EXPECT_LE(read(std::string(MAX_TEXT_SETS, ',')).m_findings.size(), 202U) << "findings are bounded";
}

TEST(ReadSetText, ComesToAnEndOnEveryText)
{
    const std::string text = "0x40010c, 0000 01420101 00000144,01,4401c1";
    damageInEveryWay(Bytes(text.begin(), text.end()), 3000, [](const Bytes& bytes) {
        const std::string damaged(bytes.begin(), bytes.end());
        (void)read(damaged);
        (void)read(damaged, ETextForm::Base64);
    });
}

} // namespace
} // namespace set_text_test
