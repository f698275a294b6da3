#include "SessionDescription.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContainerFiles.h"
#include "FileKind.h"
#include "SetText.h"

namespace session_description_test {

using namespace h265_container;
using namespace h265_test;

namespace {

const Bytes VPS{0x40, 1, 0x0c, 1, 0xff, 0xff, 1, 0x60};
const Bytes SPS{0x42, 1, 1, 1, 0x60, 5};
const Bytes PPS{0x44, 1, 0xc1};
const Bytes PPS2{0x44, 1, 0xc2};

const std::string HEAD = "v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=-\r\nt=0 0\r\n";
const std::string VIDEO = "m=video 5000 RTP/AVP 96\r\na=rtpmap:96 H265/90000\r\n";
const std::string SETS = "sprop-vps=QAEMAf//AWA=; sprop-sps=QgEBAWAF; sprop-pps=RAHB";

CContainerRecord read(const std::string& text)
{
    const Bytes bytes(text.begin(), text.end());
    CContainerRecord record;
    const auto pSource = makeRandomSource(bytes);
    readSessionDescription(*pSource, {}, record);
    return record;
}

TEST(SessionDescription, KnowsWhatIsWrittenForTheNameOfH265)
{
    const auto named = [](const std::string& name) {
        return read(HEAD + "m=video 5000 RTP/AVP 96\r\na=rtpmap:96 " + name + "/90000\r\na=fmtp:96 " + SETS + "\r\n");
    };
    EXPECT_EQ(named("h265").findings(), "");
    for (const char* pName : {"HEVC", "H.265"}) {
        const CContainerRecord record = named(pName);
        EXPECT_EQ(record.m_units.size(), 3U);
        EXPECT_TRUE(record.tells(std::string(pName) + " is no encoding name of H.265: that is H265"));
        ASSERT_EQ(record.m_findings.size(), 1U);
        EXPECT_EQ(record.m_findings[0].ulOffset, HEAD.size() + 25 + 12);
    }
    EXPECT_TRUE(named("H264").m_units.empty());
}

TEST(SessionDescription, HoldsTheSetsOfItsMediaSection)
{
    const std::string text = HEAD + VIDEO + "a=fmtp:96 profile-id=1; " + SETS + "\r\n";
    const CContainerRecord record = read(text);
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(record.unitBytes(), (std::vector<Bytes>{VPS, SPS, PPS}));
    EXPECT_EQ(record.places(),
              (std::vector<std::string>{"media 1, sprop-vps", "media 1, sprop-sps", "media 1, sprop-pps"}));
    ASSERT_EQ(record.m_tracks.size(), 1U);
    EXPECT_EQ(record.m_tracks[0].ulTrack, 1U);
    EXPECT_TRUE(record.m_tracks[0].bIsH265);
    EXPECT_EQ(record.m_tracks[0].codec, "H265");
    EXPECT_FALSE(record.m_units[0].ulOffset.has_value()) << "base64 is not the bytes themselves";
    const Bytes bytes(text.begin(), text.end());
    EXPECT_EQ(fileKind(bytes).eKind, EFileKind::SessionDescription);
}

TEST(SessionDescription, IsReadHoweverItIsWritten)
{
    const struct
    {
        const char* pName;
        std::string text;
    } aCases[] = {
        {"newlines alone", "v=0\nm=video 1 RTP/AVP 96\na=rtpmap:96 H265/90000\na=fmtp:96 " + SETS + "\n"},
        {"no newline at the end", HEAD + VIDEO + "a=fmtp:96 " + SETS},
        {"no spaces", HEAD + VIDEO + "a=fmtp:96 sprop-vps=QAEMAf//AWA=;sprop-sps=QgEBAWAF;sprop-pps=RAHB\r\n"},
        {"a semicolon at the end", HEAD + VIDEO + "a=fmtp:96 " + SETS + ";\r\n"},
        {"upper case",
         HEAD + "m=video 1 RTP/AVP 96\na=rtpmap:96 h265/90000\r\na=fmtp:96 SPROP-VPS=QAEMAf//AWA=; "
                "Sprop-SPS=QgEBAWAF; sprop-PPS=RAHB\r\n"},
        {"fmtp in front of rtpmap",
         HEAD + "m=video 1 RTP/AVP 96\r\na=fmtp:96 " + SETS + "\r\na=rtpmap:96 H265/90000\r\n"},
        {"other order of the sets",
         HEAD + VIDEO + "a=fmtp:96 sprop-pps=RAHB;sprop-sps=QgEBAWAF;sprop-vps=QAEMAf//AWA=\n"},
        {"two lines of one payload type",
         HEAD + VIDEO + "a=fmtp:96 sprop-vps=QAEMAf//AWA=;\na=fmtp:96 sprop-sps=QgEBAWAF;sprop-pps=RAHB\n"},
        {"folded between parameters",
         HEAD + VIDEO +
             "a=fmtp:96 profile-id=1;\r\n  sprop-vps=QAEMAf//AWA=;\r\n\tsprop-sps=QgEBAWAF;\r\n sprop-pps=RAHB\r\n"},
        {"folded without spaces",
         HEAD + VIDEO + "a=fmtp:96 sprop-vps=QAEM\nAf//AWA=;\nsprop-sps=QgEBAWAF;\nsprop-pps=RAHB\n"},
        {"folded in the base64",
         HEAD + VIDEO + "a=fmtp:96 sprop-vps=QAEM\r\n  Af//AWA=; sprop-sps=\r\n QgEBAWAF; sprop-pps=RAHB\r\n"},
        {"no rtpmap", HEAD + "m=video 1 RTP/AVP 96\r\na=fmtp:96 " + SETS + "\r\n"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const CContainerRecord record = read(c.text);
        EXPECT_EQ(record.findings(), "");
        EXPECT_EQ(record.unitBytes(), (std::vector<Bytes>{VPS, SPS, PPS}));
        ASSERT_EQ(record.m_tracks.size(), 1U);
        EXPECT_TRUE(record.m_tracks[0].bIsH265);
    }
}

TEST(SessionDescription, NumbersSeveralSetsOfAKind)
{
    const CContainerRecord record = read(HEAD + VIDEO + "a=fmtp:96 sprop-pps=RAHB,RAHC; sprop-sps=QgEBAWAF\r\n");
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(record.unitBytes(), (std::vector<Bytes>{SPS, PPS, PPS2}));
    EXPECT_EQ(
        record.places(),
        (std::vector<std::string>{"media 1, sprop-sps", "media 1, sprop-pps, set 1", "media 1, sprop-pps, set 2"}));
}

TEST(SessionDescription, MakesATrackOfEachMediaSection)
{
    const CContainerRecord record =
        read(HEAD + "m=audio 4 RTP/AVP 97\r\na=rtpmap:97 opus/48000/2\r\n" + VIDEO + "a=fmtp:96 sprop-pps=RAHB\r\n" +
             "m=video 6 RTP/AVP 31\r\n" + VIDEO + "a=fmtp:96 sprop-pps=RAHC\r\n");
    EXPECT_EQ(record.findings(), "");
    ASSERT_EQ(record.m_tracks.size(), 4U);
    EXPECT_EQ(record.m_tracks[0].codec, "opus");
    EXPECT_EQ(record.m_tracks[0].eKind, ETrackKind::Audio);
    EXPECT_FALSE(record.m_tracks[0].bIsH265);
    EXPECT_EQ(record.m_tracks[0].reason, "it is no H.265");
    EXPECT_EQ(record.m_tracks[2].codec, "RTP/AVP");
    EXPECT_FALSE(record.m_tracks[2].bIsH265);
    EXPECT_EQ(record.places(), (std::vector<std::string>{"media 2, sprop-pps", "media 4, sprop-pps"}));
    EXPECT_EQ(record.m_units[1].ulTrack, 4U);
}

TEST(SessionDescription, TellsPayloadTypesOfOneSectionApart)
{
    const CContainerRecord record =
        read(HEAD + "m=video 1 RTP/AVP 96 97 98\na=rtpmap:96 H265/90000\na=rtpmap:97 H264/90000\na=rtpmap:98 "
                    "H265/90000\na=fmtp:97 sprop-pps=RAHB\na=fmtp:96 sprop-pps=RAHB\na=fmtp:98 sprop-pps=RAHC\n");
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(
        record.places(),
        (std::vector<std::string>{"media 1, sprop-pps of payload type 96", "media 1, sprop-pps of payload type 98"}));
}

TEST(SessionDescription, TakesNoOtherCodecForH265)
{
    const CContainerRecord record =
        read(HEAD + "m=video 1 RTP/AVP 96\na=rtpmap:96 H266/90000\na=fmtp:96 sprop-sps=QgEBAWAF\n");
    EXPECT_TRUE(record.m_units.empty());
    ASSERT_EQ(record.m_tracks.size(), 1U);
    EXPECT_FALSE(record.m_tracks[0].bIsH265);
    EXPECT_EQ(record.m_tracks[0].codec, "H266");
}

TEST(SessionDescription, TellsWhatIsWrongWithASetAndReadsTheOthers)
{
    const std::string fmtp = HEAD + VIDEO + "a=fmtp:96 ";
    const std::string at = std::to_string(fmtp.size() + 10); // behind "sprop-pps="
    const auto behind = [&](std::size_t uiBytes) { return std::to_string(fmtp.size() + 10 + uiBytes); };
    const struct
    {
        const char* pName;
        std::string value;
        std::string findings;
    } aCases[] = {
        {"bad character", "RA*B", "media 1, sprop-pps at " + behind(2) + ": '*' is no character of base64\n"},
        {"cut",
         "RAHBR",
         "media 1, sprop-pps at " + behind(5) + ": 5 characters of base64, which is one too many or some too few\n"},
        {"empty", "", "media 1, sprop-pps at " + at + ": there is no set\n"},
        {"empty in front", ",RAHB", "media 1, sprop-pps, set 1 at " + at + ": there is no set\n"},
        {"empty at the end", "RAHB,", "media 1, sprop-pps at " + behind(4) + ": a comma with nothing behind it\n"},
        {"another set", "QgEBAWAF", "media 1, sprop-pps at " + at + ": a NAL unit of type 33, not a PPS (type 34)\n"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const CContainerRecord record = read(fmtp + "sprop-pps=" + c.value + "; sprop-vps=QAEMAf//AWA=\r\n");
        EXPECT_EQ(record.findings(), c.findings);
        ASSERT_FALSE(record.m_units.empty());
        EXPECT_EQ(record.m_units[0].bytes, VPS);
    }
    EXPECT_TRUE(read(fmtp + "sprop-sps=RAHB\r\n").tells("a NAL unit of type 34, not an SPS (type 33)"));
}

TEST(SessionDescription, SaysWhenThereIsNothingToRead)
{
    EXPECT_EQ(read(HEAD).findings(), " at 0: no media section (m=) in it\n");
    EXPECT_EQ(read(HEAD + VIDEO).findings(),
              "media 1 at " + std::to_string(HEAD.size() + 2) +
                  ": no sprop-vps, sprop-sps or sprop-pps: its parameter sets are in the stream alone\n");
    EXPECT_EQ(read("").findings(), " at 0: no media section (m=) in it\n");
}

TEST(SessionDescription, IsReadUpToItsBounds)
{
    const std::string large = HEAD + VIDEO + "a=fmtp:96 " + SETS + "\r\na=x:" + std::string(MAX_SET_TEXT_BYTES, 'x');
    const CContainerRecord record = read(large);
    EXPECT_TRUE(record.tells("the description has more than 1048576 bytes: what follows is not read"));
    EXPECT_EQ(record.m_units.size(), 3U);
    std::string many = HEAD;
    while (many.size() < MAX_SET_TEXT_BYTES - 8)
        many += "m=a\n";
    const CContainerRecord sections = read(many);
    EXPECT_TRUE(sections.tells("too many media sections: this one and what follows is not read"));
    EXPECT_EQ(sections.m_tracks.size(), 65536U);
}

TEST(SessionDescription, EndsWhenTheSinkWantsNoMore)
{
    const std::string text = HEAD + VIDEO + "a=fmtp:96 " + SETS + "\r\n" + VIDEO;
    const Bytes bytes(text.begin(), text.end());
    CContainerRecord record;
    record.m_uiLast = 2;
    const auto pSource = makeRandomSource(bytes);
    readSessionDescription(*pSource, {}, record);
    EXPECT_EQ(record.m_units.size(), 2U);
    EXPECT_EQ(record.m_tracks.size(), 1U);
}

TEST(SessionDescription, ComesToAnEndOnEveryText)
{
    const std::string text =
        "v=0\nm=audio 4 RTP/AVP 97\nm=video 1 RTP/AVP 96\na=rtpmap:96 H265/90000\na=fmtp:96 sprop-pps=RAHB,RAHC;\n "
        "sprop-sps=QgEBAWAF\n";
    damageInEveryWay(Bytes(text.begin(), text.end()), 3000, [](const Bytes& bytes) {
        (void)read(std::string(bytes.begin(), bytes.end()));
    });
}

TEST(SessionDescription, IsReadFromTheLinesAlone)
{
    const struct
    {
        const char* pName;
        std::string text;
    } aCases[] = {
        {"the line of the format", "a=fmtp:96 level-id=93; " + SETS + "\r\n"},
        {"no newline", "a=fmtp:96 level-id=93; " + SETS},
        {"with its encoding", "a=rtpmap:96 H265/90000\na=fmtp:96 level-id=93; " + SETS + "\n"},
        {"folded", "a=fmtp:96 level-id=93; sprop-vps=QAEM\n Af//AWA=; sprop-sps=QgEBAWAF; sprop-pps=RAHB\n"},
        {"the parameters alone", "level-id=93; " + SETS},
        {"one on a line", "level-id=93; sprop-vps=QAEMAf//AWA=\nsprop-sps=QgEBAWAF\nsprop-pps=RAHB\n"},
        {"in a log", "connected\n12:01:05 [sdp] a=fmtp:96 level-id=93; " + SETS + "\nplaying\n"},
        {"of a description without media", HEAD + "a=fmtp:96 level-id=93; " + SETS + "\n"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pName);
        const CContainerRecord record = read(c.text);
        EXPECT_EQ(record.findings(), "");
        EXPECT_EQ(record.unitBytes(), (std::vector<Bytes>{VPS, SPS, PPS}));
        ASSERT_EQ(record.m_tracks.size(), 1U);
        EXPECT_EQ(record.m_tracks[0].eKind, ETrackKind::Video);
        EXPECT_EQ(record.places()[0], "media 1, sprop-vps");
        ASSERT_EQ(record.m_claims.size(), 1U);
        EXPECT_EQ(record.m_claims[0].session->value.level_id, 93U);
    }
    const CContainerRecord other = read(HEAD + "a=fmtp:96 sprop-parameter-sets=Z0IA\n");
    EXPECT_EQ(other.findings(), " at 0: no media section (m=) in it\n");
}

TEST(SessionDescription, ClaimsWhatItSaysOfTheStream)
{
    const CContainerRecord record = read(
        HEAD + VIDEO + "a=fmtp:96 profile-space=0; Profile-ID=2;tier-flag=1; level-id=123;" +
        "interop-constraints=9000000000F0; profile-compatibility-indicator=20000000; tx-mode=SRST; " + SETS + "\r\n");
    EXPECT_EQ(record.findings(), "");
    ASSERT_EQ(record.m_claims.size(), 1U);
    EXPECT_EQ(record.m_claims[0].ulTrack, 1U);
    EXPECT_EQ(record.m_claims[0].session->box, "media 1, a=fmtp");
    EXPECT_EQ(record.m_claims[0].session->ulOffset, (HEAD + VIDEO + "a=fmtp:96 ").size());
    const SessionClaim& claim = record.m_claims[0].session->value;
    EXPECT_EQ(claim.profile_space, 0U);
    EXPECT_EQ(claim.profile_id, 2U);
    EXPECT_EQ(claim.tier_flag, 1U);
    EXPECT_EQ(claim.level_id, 123U);
    EXPECT_EQ(claim.interop_constraints, 0x9000000000f0U);
    EXPECT_EQ(claim.profile_compatibility_indicator, 0x20000000U);
}

TEST(SessionDescription, ClaimsNothingWithoutParametersAndOfSeveralPayloadTypes)
{
    EXPECT_TRUE(read(HEAD + VIDEO + "a=fmtp:96 " + SETS + "\r\n").m_claims.empty());
    EXPECT_TRUE(read(HEAD + "m=video 1 RTP/AVP 96 97\r\na=rtpmap:96 H265/90000\r\na=rtpmap:97 H265/90000\r\n" +
                     "a=fmtp:96 level-id=93; " + SETS + "\r\na=fmtp:97 level-id=120; " + SETS + "\r\n")
                    .m_claims.empty());
}

TEST(SessionDescription, ValuesThatCannotBeClaimsAreWarnings)
{
    const struct
    {
        const char* pParameter;
        const char* pWrong;
    } aCases[] = {
        {"profile-space=4", "a number from 0 to 3"},
        {"profile-id=32", "a number from 0 to 31"},
        {"profile-id=main", "a number from 0 to 31"},
        {"tier-flag=2", "0 or 1"},
        {"level-id=256", "a number from 0 to 255"},
        {"level-id=", "a number from 0 to 255"},
        {"level-id=-1", "a number from 0 to 255"},
        {"profile-compatibility-indicator=6000000", "8 hexadecimal digits"},
        {"profile-compatibility-indicator=0x600000", "8 hexadecimal digits"},
        {"interop-constraints=B0000000000", "12 hexadecimal digits"},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pParameter);
        const CContainerRecord record = read(HEAD + VIDEO + "a=fmtp:96 " + c.pParameter + ";" + SETS + "\r\n");
        ASSERT_EQ(record.m_findings.size(), 1U);
        EXPECT_EQ(record.m_findings[0].eSeverity, ESeverity::Warning);
        EXPECT_EQ(record.m_findings[0].message, std::string("it is not ") + c.pWrong);
        EXPECT_EQ(record.unitBytes().size(), 3U);
    }
}

} // namespace
} // namespace session_description_test
