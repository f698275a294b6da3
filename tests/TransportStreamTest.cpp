#include "TransportStream.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContainerFiles.h"
#include "TransportWriter.h"

namespace transport_stream_test {

using namespace h265_container;
using namespace h265_test;

namespace {

const Bytes AUD{0x46, 1, 0x50};
const Bytes VPS{0x40, 1, 0x0c, 1, 0xff, 0xff, 1, 0x60};
const Bytes SPS{0x42, 1, 1, 1, 0x60, 5, 5, 5, 5, 5};
const Bytes PPS{0x44, 1, 0xc1};
const Bytes IDR = joined({{0x26, 1, 0xaf}, Bytes(400, 7)});
const Bytes TRAIL{0x02, 1, 0xd0, 5};
constexpr unsigned PMT_PID = 0x1000;
constexpr unsigned PID = 0x100;

CContainerRecord read(const Bytes& file, const ContainerOptions& options = {})
{
    CContainerRecord record;
    const auto pSource = makeRandomSource(file);
    readTransportStream(*pSource, options, record);
    return record;
}

CContainerRecord readForward(const Bytes& file, const ContainerOptions& options = {})
{
    CContainerRecord record;
    const auto pSource = makeForwardSource(h265_stream::makeByteSource(file));
    readTransportStream(*pSource, options, record);
    return record;
}

CTransportWriter withTables(const Bytes& descriptors = {}, unsigned stream_type = 0x24)
{
    CTransportWriter writer;
    writer.table(0, patSection({{1, PMT_PID}})).table(PMT_PID, pmtSection({{stream_type, PID, descriptors}}));
    return writer;
}

const Bytes FIRST = pes(byteStream({AUD, VPS, SPS, PPS, IDR}), 133200);
const Bytes SECOND = pes(byteStream({AUD, TRAIL}), 136800);

Bytes smallStream()
{
    return withTables().add(PID, FIRST).add(PID, SECOND).bytes();
}

TEST(TransportStream, FindsTheUnitsOfMuxedFiles)
{
    const struct
    {
        const char* pFile;
        const char* pStream;
    } aCases[] = {{"packets188.ts", "gop_b3_pyramid"}, {"packets192.m2ts", "gop_open_repeat_headers"}};
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.pFile);
        const Bytes file = containerFile(c.pFile);
        const StreamUnits stream(c.pStream);
        const CContainerRecord record = read(file);
        EXPECT_EQ(record.findings(), "");
        EXPECT_EQ(slicesOf(record), stream.m_slices);
        EXPECT_EQ(differentOnes(setsOf(record)), differentOnes(stream.m_sets));
        EXPECT_TRUE(standWhereTheySay(record, file));
        ASSERT_EQ(record.m_tracks.size(), 1U);
        EXPECT_EQ(record.m_tracks[0].codec, "stream type 0x24");
        EXPECT_EQ(readForward(file).places(), record.places());
    }
}

TEST(TransportStream, TellsPlaceTimeAndOffsetOfEveryUnit)
{
    const Bytes file = smallStream();
    const CContainerRecord record = read(file);
    EXPECT_EQ(record.findings(), "");
    EXPECT_EQ(record.places(),
              (std::vector<std::string>{"PID 256, packet 3 at 1.48 s",
                                        "PID 256, packet 3 at 1.48 s",
                                        "PID 256, packet 3 at 1.48 s",
                                        "PID 256, packet 3 at 1.48 s",
                                        "PID 256, packet 3 at 1.48 s",
                                        "PID 256, packet 6 at 1.52 s",
                                        "PID 256, packet 6 at 1.52 s"}));
    EXPECT_TRUE(standWhereTheySay(record, file));
    EXPECT_EQ(record.m_units[2].bytes, SPS);
    EXPECT_TRUE(record.m_units[2].ulOffset);
    EXPECT_FALSE(record.m_units[4].ulOffset); // over packets
    EXPECT_EQ(record.m_units[4].ulSize, IDR.size());
    EXPECT_EQ(record.m_units[6].bytes, TRAIL);
}

// Start codes, headers and PES headers can be cut anywhere.
TEST(TransportStream, FindsUnitsHoweverPacketsCutThem)
{
    const CContainerRecord expected = read(smallStream());
    for (std::size_t uiMost = 1; uiMost < 184; ++uiMost) {
        CTransportWriter writer = withTables();
        writer.m_uiMost = uiMost;
        writer.add(PID, FIRST).add(PID, SECOND);
        const CContainerRecord record = read(writer.bytes());
        EXPECT_EQ(record.findings(), "");
        ASSERT_EQ(record.m_units.size(), expected.m_units.size()) << uiMost;
        for (std::size_t i = 0; i < record.m_units.size(); ++i) {
            EXPECT_EQ(record.m_units[i].bytes, expected.m_units[i].bytes);
            EXPECT_EQ(record.m_units[i].ulSize, expected.m_units[i].ulSize);
            EXPECT_EQ(record.m_units[i].time, expected.m_units[i].time);
        }
    }
}

TEST(TransportStream, ReadsPacketsOfEverySizeFromAnyByteOn)
{
    const CTransportWriter writer = withTables().add(PID, FIRST).add(PID, SECOND);
    for (const Bytes& packets : {writer.bytes(), writer.bytes(4), writer.bytes(0, 16)}) {
        for (const std::size_t uiFront : {0U, 1U, 100U, 187U}) {
            const CContainerRecord record = read(joined({Bytes(uiFront, 0x47), packets}));
            EXPECT_EQ(record.findings(), "");
            EXPECT_EQ(record.m_units.size(), 7U);
        }
        const CContainerRecord record = read(joined({Bytes(5000, 0x33), packets}));
        EXPECT_TRUE(record.tells("there are no packets in the first 500"));
        EXPECT_EQ(record.m_units.size(), 7U);
    }
}

TEST(TransportStream, FindsPacketsAgainBehindDamage)
{
    CTransportWriter writer = withTables().add(PID, FIRST);
    const std::size_t uiFirst = writer.bytes().size();
    writer.add(PID, SECOND).add(PID, SECOND).add(PID, SECOND);
    Bytes file = writer.bytes();
    const Bytes damage(777, 0x55);
    file.insert(file.begin() + static_cast<std::ptrdiff_t>(uiFirst), damage.begin(), damage.end());
    const CContainerRecord record = read(file);
    EXPECT_TRUE(record.tells("the packets stop here for 777 bytes"));
    EXPECT_EQ(record.finding("the packets stop")->ulOffset, uiFirst);
    EXPECT_EQ(record.m_units.size(), 11U);
    const CContainerRecord end = read(joined({smallStream(), Bytes(500, 0x55)}));
    EXPECT_TRUE(end.tells("there are no packets in the last 500 bytes"));
    EXPECT_EQ(end.m_units.size(), 7U);
}

TEST(TransportStream, TellsOfMissingPackets)
{
    CTransportWriter writer = withTables().add(PID, FIRST).add(PID, SECOND);
    writer.m_packets.erase(writer.m_packets.begin() + 3);
    const CContainerRecord record = read(writer.bytes());
    EXPECT_TRUE(record.tells("packets are missing in front of packet 4"));
    EXPECT_LT(record.m_units[4].ulSize, IDR.size());
    EXPECT_EQ(record.m_units.back().bytes, TRAIL);
    // A packet that is sent twice counts once.
    CTransportWriter twice = withTables().add(PID, FIRST).add(PID, SECOND);
    twice.m_packets.insert(twice.m_packets.begin() + 3, twice.m_packets[3]);
    EXPECT_EQ(read(twice.bytes()).findings(), "");
    EXPECT_EQ(read(twice.bytes()).m_units[4].ulSize, IDR.size());
    // Where files are joined, the counter is the same by chance: those are other bytes.
    CTransportWriter joint = withTables().add(PID, FIRST);
    CTransportWriter behind;
    for (std::size_t i = 0; i < joint.m_packets.size() - 3; ++i)
        behind.add(PID, pes({1}));
    behind.m_packets.clear();
    const CContainerRecord other = read(joined({joint.bytes(), behind.add(PID, FIRST).bytes()}));
    EXPECT_TRUE(other.tells("packets are missing in front of packet"));
    EXPECT_EQ(setsOf(other).size(), 6U);
    // A counter that may jump.
    CTransportWriter jump = withTables().add(PID, FIRST);
    Bytes packet = joined({{0x47, 0x41, 0, 0x39, 100, 0x80}, Bytes(99, 0xff), SECOND});
    packet.resize(188, 0);
    jump.m_packets.push_back(packet);
    EXPECT_EQ(read(jump.bytes()).findings(), "");
}

TEST(TransportStream, ReadsStreamsWithoutTables)
{
    CTransportWriter writer;
    writer.add(PID, FIRST).add(0x101, pes(Bytes(300, 9))).add(PID, SECOND);
    const CContainerRecord record = read(writer.bytes());
    ASSERT_EQ(record.m_tracks.size(), 1U);
    EXPECT_EQ(record.m_tracks[0].ulTrack, PID);
    EXPECT_TRUE(record.tells("no program map table so far speaks of this stream"));
    EXPECT_EQ(record.m_units.size(), 7U);
    // An SPS alone shows it too.
    EXPECT_EQ(
        read(CTransportWriter().add(PID, pes(byteStream({SPS, PPS, TRAIL}))).add(PID, SECOND).bytes()).m_units.size(),
        5U);
    // Tables that come later bring the claims.
    writer.table(0, patSection({{1, PMT_PID}})).table(PMT_PID, pmtSection({{0x24, PID, {}}})).add(PID, SECOND);
    const CContainerRecord later = read(writer.bytes());
    EXPECT_EQ(later.m_tracks.size(), 1U);
    EXPECT_EQ(later.m_claims.size(), 1U);
    EXPECT_EQ(later.m_units.size(), 9U);
}

TEST(TransportStream, JoinsAStreamInTheMiddle)
{
    CTransportWriter writer;
    writer.add(PID, joined({Bytes(100, 9), byteStream({TRAIL, VPS, SPS})}), false);
    writer.table(0, patSection({{1, PMT_PID}})).table(PMT_PID, pmtSection({{0x24, PID, {}}})).add(PID, SECOND);
    const CContainerRecord record = read(writer.bytes());
    EXPECT_EQ(record.m_units.size(), 5U);
    EXPECT_FALSE(record.m_units[0].time);
    EXPECT_EQ(record.places()[0], "PID 256, packet 1");
}

TEST(TransportStream, ReadsSeveralProgramsAndTypes)
{
    const Bytes registration = joined({{5, 4}, text("HEVC")});
    CTransportWriter writer;
    writer.table(0, patSection({{0, 16}, {1, PMT_PID}, {2, PMT_PID + 1}}))
        .table(PMT_PID, pmtSection({{0x1b, 0x101, {}}, {0x24, 0x102, {}}, {0x0f, 0x103, {}}}))
        .table(PMT_PID + 1, pmtSection({{6, 0x104, registration}, {6, 0x105, {}}, {0x29, 0x106, {}}}, 0, 2));
    for (const unsigned uiPid : {0x101U, 0x102U, 0x103U, 0x104U, 0x105U, 0x106U})
        writer.add(uiPid, SECOND);
    const CContainerRecord record = read(writer.bytes());
    EXPECT_EQ(record.findings(), "");
    ASSERT_EQ(record.m_tracks.size(), 6U);
    std::vector<bool> h265;
    for (const ContainerTrack& track : record.m_tracks)
        h265.push_back(track.bIsH265);
    EXPECT_EQ(h265, (std::vector<bool>{false, true, false, true, false, true}));
    EXPECT_EQ(record.m_tracks[0].eKind, ETrackKind::Video);
    EXPECT_EQ(record.m_tracks[2].eKind, ETrackKind::Audio);
    EXPECT_EQ(record.m_tracks[4].reason, "it is no H.265");
    EXPECT_EQ(record.m_units.size(), 6U);
}

TEST(TransportStream, FollowsTablesThatChange)
{
    CTransportWriter writer = withTables();
    writer.add(PID, FIRST)
        .table(PMT_PID, pmtSection({{0x24, PID, {}}}))
        .table(PMT_PID, pmtSection({{0x24, PID, {}}, {0x24, PID + 1, {}}}, 2, 1, false))
        .table(PMT_PID, pmtSection({{0x24, PID, {}}, {0x24, PID + 1, {}}}, 1))
        .add(PID + 1, SECOND)
        .table(0, patSection({{1, PMT_PID}, {7, PMT_PID + 7}}, 1))
        .table(PMT_PID + 7, pmtSection({{0x24, PID + 7, {}}}, 0, 7))
        .add(PID + 7, SECOND);
    const CContainerRecord record = read(writer.bytes());
    ASSERT_EQ(record.m_findings.size(), 1U);
    EXPECT_TRUE(record.tells("the map table of program 1 changes from version 0 to 1"));
    EXPECT_EQ(record.m_tracks.size(), 3U);
    EXPECT_EQ(record.m_claims.size(), 3U);
    EXPECT_EQ(record.m_units.size(), 9U);
}

TEST(TransportStream, ReadsTablesOverSeveralPackets)
{
    std::vector<StreamSyntax> streams;
    for (unsigned i = 0; i < 30; ++i)
        streams.push_back({0x0f, 0x200 + i, Bytes(8, 0)});
    streams.push_back({0x24, PID, {}});
    CTransportWriter writer;
    writer.table(0, patSection({{1, PMT_PID}})).table(PMT_PID, pmtSection(streams)).add(PID, SECOND);
    EXPECT_EQ(read(writer.bytes()).m_tracks.size(), 31U);
    EXPECT_EQ(read(writer.bytes()).m_units.size(), 2U);
    // The end of one section and the next one in the same packet.
    const Bytes map = pmtSection({{0x24, PID, Bytes(180, 0)}});
    const auto middle = map.begin() + 184 - 1;
    CTransportWriter shared;
    shared.table(0, patSection({{1, PMT_PID}})).packet(PMT_PID, joined({{0}, Bytes(map.begin(), middle)}), true);
    const Bytes rest(middle, map.end());
    shared.packet(
        PMT_PID, joined({{static_cast<unsigned char>(rest.size())}, rest, pmtSection({{0x24, PID + 1, {}}}, 1)}), true);
    EXPECT_EQ(read(shared.bytes()).m_tracks.size(), 2U);
}

TEST(TransportStream, ReadsTheHevcDescriptor)
{
    const Bytes descriptor = {0x38, 15, 0x62, 0x60, 0, 0, 1, 0x9a, 0xbc, 0xde, 0xf0, 0x12, 0x34, 123, 0xd2, 0x3f, 0xbf};
    const CContainerRecord record = read(withTables(descriptor).add(PID, SECOND).bytes());
    const HevcDescriptorClaim& claim = record.m_claims.at(0).hevcDescriptor.value().value;
    EXPECT_EQ(claim.profile_space, 1);
    EXPECT_TRUE(claim.tier_flag);
    EXPECT_EQ(claim.profile_idc, 2);
    EXPECT_EQ(claim.profile_compatibility_indication, 0x60000001U);
    EXPECT_TRUE(claim.progressive_source_flag);
    EXPECT_FALSE(claim.interlaced_source_flag);
    EXPECT_FALSE(claim.non_packed_constraint_flag);
    EXPECT_TRUE(claim.frame_only_constraint_flag);
    EXPECT_EQ(claim.copied_44bits, 0xabcdef01234U);
    EXPECT_EQ(claim.level_idc, 123);
    EXPECT_TRUE(claim.temporal_layer_subset_flag);
    EXPECT_TRUE(claim.HEVC_still_present_flag);
    EXPECT_FALSE(claim.HEVC_24hr_picture_present_flag);
    EXPECT_TRUE(claim.sub_pic_hrd_params_not_present_flag);
    EXPECT_EQ(claim.HDR_WCG_idc, 2);
    EXPECT_EQ(claim.temporal_id_min, 1);
    EXPECT_EQ(claim.temporal_id_max, 5);
    EXPECT_EQ(record.m_claims[0].hevcDescriptor->box, "PMT of program 1, HEVC video descriptor");
    Bytes cut(descriptor.begin(), descriptor.begin() + 10);
    cut[1] = 8;
    const CContainerRecord tooShort = read(withTables(cut).add(PID, SECOND).bytes());
    EXPECT_FALSE(tooShort.m_claims.at(0).hevcDescriptor);
    EXPECT_TRUE(tooShort.tells("has 10 bytes with its tag and length, which are too few"));
}

TEST(TransportStream, TellsWhatIsPassedOver)
{
    EXPECT_TRUE(read({}).tells("there are no packets of a transport stream"));
    EXPECT_TRUE(read(Bytes(5000, 0x33)).tells("there are no packets of a transport stream"));
    CTransportWriter damaged = withTables();
    damaged.packet(PID, Bytes(184, 1), false, 0x8000).add(PID, SECOND);
    EXPECT_TRUE(read(damaged.bytes()).tells("packet 3 is marked as damaged"));
    CTransportWriter scrambled = withTables().add(PID, SECOND);
    scrambled.m_packets.back()[3] |= 0x80;
    EXPECT_TRUE(read(scrambled.bytes()).tells("packets are scrambled"));
    const CContainerRecord noPes = read(withTables().add(PID, Bytes(50, 7)).add(PID, SECOND).bytes());
    EXPECT_TRUE(noPes.tells("packet 3 begins no PES packet"));
    EXPECT_EQ(noPes.m_units.size(), 2U);
    Bytes map = pmtSection({{0x24, PID, {}}});
    map.back() ^= 1;
    const CContainerRecord badTable =
        read(CTransportWriter().table(0, patSection({{1, PMT_PID}})).table(PMT_PID, map).bytes());
    EXPECT_TRUE(badTable.tells("a section of a program table is damaged"));
    EXPECT_TRUE(badTable.m_tracks.empty());
    Bytes cut = smallStream();
    cut.resize(cut.size() - 10);
    EXPECT_TRUE(read(cut).tells("the last packet is cut: it has 178 bytes"));
}

TEST(TransportStream, TakesNoMoreStreamsThanItCanHold)
{
    CTransportWriter writer;
    std::vector<std::pair<unsigned, unsigned>> programs;
    for (unsigned i = 0; i < 5; ++i)
        programs.emplace_back(i + 1, PMT_PID + i);
    writer.table(0, patSection(programs));
    for (unsigned i = 0; i < 5; ++i) {
        std::vector<StreamSyntax> streams;
        for (unsigned j = 0; j < 30; ++j)
            streams.push_back({0x24, 0x200 + i * 30 + j, {}});
        writer.table(PMT_PID + i, pmtSection(streams, 0, i + 1));
    }
    const CContainerRecord record = read(writer.bytes());
    EXPECT_EQ(record.m_tracks.size(), 150U);
    EXPECT_EQ(record.m_tracks[127].reason, "");
    EXPECT_EQ(record.m_tracks[128].reason, "there are more than 128 streams of H.265");
}

TEST(TransportStream, EndsAHeadBehindTheFirstSliceOfEachStream)
{
    CTransportWriter writer = withTables().add(PID, FIRST).add(PID, SECOND);
    const CContainerRecord record = read(writer.bytes(), {.bHead = true});
    ASSERT_EQ(record.m_units.size(), 5U);
    EXPECT_EQ(record.m_units.back().nal_unit_type, 19U);
    EXPECT_EQ(readForward(writer.bytes(), {.bHead = true}).m_units.size(), 5U);
}

TEST(TransportStream, EndsWhenTheSinkSaysSo)
{
    for (std::size_t i = 1; i < 7; ++i) {
        CContainerRecord record;
        record.m_uiLast = i;
        const Bytes file = smallStream();
        const auto pSource = makeRandomSource(file);
        readTransportStream(*pSource, {}, record);
        EXPECT_EQ(record.m_units.size(), i);
    }
}

TEST(TransportStream, KeepsToAnnexBWhereUnitsEnd)
{
    const Bytes withZeros = joined({{0, 0, 0, 1}, SPS, {0, 0, 0, 9, 9, 0, 0, 1}, PPS, {0, 0, 1, 0, 0, 1}, TRAIL, {0}});
    for (std::size_t uiMost = 1; uiMost < 60; ++uiMost) {
        CTransportWriter writer = withTables();
        writer.m_uiMost = uiMost;
        writer.add(PID, pes(withZeros));
        const CContainerRecord record = read(writer.bytes());
        ASSERT_EQ(record.m_units.size(), 3U) << uiMost;
        EXPECT_EQ(record.m_units[0].bytes, SPS);
        EXPECT_EQ(record.m_units[1].bytes, PPS);
        EXPECT_EQ(record.m_units[2].bytes, TRAIL);
    }
}

TEST(TransportStream, StaysInsideDamagedFiles)
{
    const CTransportWriter writer =
        withTables({0x38, 13, 1, 0x60, 0, 0, 0, 0x90, 0, 0, 0, 0, 0, 93, 0}).add(PID, FIRST).add(PID, SECOND);
    for (const Bytes& file : {writer.bytes(), writer.bytes(4), writer.bytes(0, 16)}) {
        damageInEveryWay(file, 2000, [](const Bytes& damaged) {
            const CContainerRecord record = read(damaged);
            EXPECT_TRUE(standWhereTheySay(record, damaged));
            EXPECT_EQ(readForward(damaged).places(), record.places());
        });
    }
}

} // namespace
} // namespace transport_stream_test
