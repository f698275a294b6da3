#include "TransportStream.h"

#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContainerFiles.h"
#include "TransportPackets.h"
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

TEST(TransportStream, ReadsPacketsOfAnotherSizeBehindAJoin)
{
    CTransportWriter writer = withTables();
    writer.add(PID, FIRST).add(PID, SECOND).add(PID, FIRST);
    const Bytes files[] = {writer.bytes(), writer.bytes(4), writer.bytes(0, 16)};
    const CContainerRecord one = read(files[0]);
    for (const Bytes& first : files) {
        for (const Bytes& second : files) {
            const CContainerRecord record = read(joined({first, second}));
            EXPECT_EQ(record.m_units.size(), 2 * one.m_units.size());
            EXPECT_EQ(record.tells("the packets stop here"), first.size() != second.size()) << record.findings();
            EXPECT_EQ(readForward(joined({first, second})).findings(), record.findings());
        }
    }
}

// What packets carry can look like packets of another size.
TEST(TransportStream, KeepsToItsPacketsBehindDamage)
{
    CTransportWriter writer = withTables().add(PID, FIRST);
    Bytes inner;
    for (unsigned i = 0; i < 40; ++i)
        inner = joined({inner, {0x47}, Bytes(187, 0x11)});
    writer.add(0x300, pes(inner));
    const std::size_t uiPackets = writer.m_packets.size();
    writer.add(PID, SECOND);
    const CContainerRecord whole = read(writer.bytes());
    for (std::size_t i = 8; i < uiPackets; ++i) {
        CTransportWriter damaged = writer;
        damaged.m_packets[i][0] = 0x46;
        const CContainerRecord record = read(damaged.bytes());
        EXPECT_EQ(record.unitBytes(), whole.unitBytes());
        ASSERT_EQ(record.m_findings.size(), 1U) << record.findings();
        EXPECT_TRUE(record.tells("the packets stop here for 188 bytes")) << record.findings();
    }
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

// 2.4.3.5 of a packet without payload: its counter is the one that the next packet follows.
TEST(TransportStream, FollowsCountersThatJump)
{
    CTransportWriter writer = withTables().add(PID, FIRST);
    const CContainerRecord jumped = read(writer.jump(PID, 9).add(PID, SECOND).bytes());
    EXPECT_EQ(jumped.findings(), "");
    ASSERT_EQ(jumped.m_units.size(), 7U);
    EXPECT_EQ(jumped.m_units[4].ulSize, IDR.size());
    // Tables too.
    CTransportWriter tables = withTables();
    tables.jump(0, 5)
        .jump(PMT_PID, 7)
        .table(0, patSection({{1, PMT_PID}}))
        .table(PMT_PID, pmtSection({{0x24, PID, {}}}));
    EXPECT_EQ(read(tables.add(PID, SECOND).bytes()).findings(), "");
    // Where it does not jump, the unit in front goes on.
    CTransportWriter steady = withTables().add(PID, FIRST);
    const std::vector<Bytes> packets = steady.m_packets;
    steady.m_packets.resize(3);
    steady.jump(PID, 0);
    steady.m_packets.insert(steady.m_packets.end(), packets.begin() + 3, packets.end());
    EXPECT_EQ(read(steady.bytes()).findings(), "");
    EXPECT_EQ(read(steady.bytes()).m_units.at(4).ulSize, IDR.size());
    // Where it does, packets are missing: what comes does not belong to that unit.
    CTransportWriter cut = withTables().add(PID, FIRST);
    cut.m_packets.resize(3);
    cut.jump(PID, 1);
    const std::uint64_t ulCut = read(cut.bytes()).m_units.at(4).ulSize;
    cut.m_packets.push_back(packets.at(4));
    EXPECT_EQ(read(cut.bytes()).findings(), "");
    EXPECT_EQ(read(cut.bytes()).m_units.at(4).ulSize, ulCut);
    // What is damaged says nothing.
    steady.jump(PID, 3, 0x8000);
    std::vector<Bytes> damaged = packets;
    damaged.insert(damaged.begin() + 3, steady.m_packets.back());
    steady.m_packets = damaged;
    EXPECT_EQ(read(steady.bytes()).findings(), "");
    EXPECT_EQ(read(steady.bytes()).m_units.at(4).ulSize, IDR.size());
}

TEST(TransportStream, BeginsAnewWhereACounterJumpsInsideAUnit)
{
    CTransportWriter writer = withTables().add(PID, FIRST);
    const std::size_t uiWhole = writer.m_packets.size();
    Bytes packet = joined({{0x47, 1, 0, 0x39, 100, 0x80}, Bytes(99, 0xff), Bytes(83, 7)});
    writer.m_packets.insert(writer.m_packets.begin() + static_cast<std::ptrdiff_t>(uiWhole) - 1, packet);
    writer.m_packets.pop_back();
    const CContainerRecord record = read(writer.bytes());
    EXPECT_EQ(record.findings(), "");
    writer.m_packets.pop_back();
    EXPECT_EQ(record.m_units.at(4).ulSize, read(writer.bytes()).m_units.at(4).ulSize);
}

// As other programs write H.264: an SPS, a PPS and a slice, whose first bytes are units of H.265 as well.
const Bytes OTHER = pes(byteStream({{0x67, 0x42, 0, 0x1e, 5}, {0x68, 0xce, 6, 0xe2}, {0x65, 0x88, 7, 7}}), 140400);

Bytes otherStream(unsigned stream_type = 0x1b)
{
    return withTables({}, stream_type).add(PID, OTHER).add(PID, OTHER).bytes();
}

TEST(TransportStream, StopsWhereAStreamBecomesAnotherCodec)
{
    const CContainerRecord expected = read(smallStream());
    const CContainerRecord record = read(joined({smallStream(), otherStream()}));
    EXPECT_EQ(record.unitBytes(), expected.unitBytes());
    EXPECT_EQ(record.m_tracks.size(), 1U);
    EXPECT_TRUE(record.tells("the map table of program 1 changes, its version stays 0"));
    ASSERT_TRUE(record.tells("from here on it is no H.265 but stream type 0x1b"));
    EXPECT_EQ(record.finding("from here on")->ulOffset, smallStream().size() + 188);
    EXPECT_EQ(record.finding("from here on")->eSeverity, ESeverity::Note);
    EXPECT_FALSE(record.tells("packets are missing"));
    // A table that came behind the stream said so too.
    const Bytes late = CTransportWriter().add(PID, FIRST).bytes();
    const CContainerRecord behind = read(joined({late, smallStream(), otherStream()}));
    EXPECT_EQ(behind.m_units.size(), 12U);
    // What has shown itself to be H.265, and no table ever said so, stays that.
    const CContainerRecord shown = read(joined({late, withTables({}, 0x1b).add(PID, SECOND).bytes()}));
    EXPECT_EQ(shown.m_units.size(), 7U);
    EXPECT_FALSE(shown.tells("from here on"));
}

TEST(TransportStream, ReadsAStreamThatBecomesH265)
{
    const CContainerRecord expected = read(smallStream());
    const CContainerRecord record = read(joined({otherStream(), smallStream()}));
    ASSERT_EQ(record.m_tracks.size(), 2U);
    EXPECT_FALSE(record.m_tracks[0].bIsH265);
    EXPECT_EQ(record.m_tracks[0].reason, "it is no H.265");
    EXPECT_TRUE(record.m_tracks[1].bIsH265);
    EXPECT_EQ(record.m_tracks[1].codec, "stream type 0x24");
    EXPECT_EQ(record.m_tracks[1].eKind, ETrackKind::Video);
    EXPECT_EQ(record.unitBytes(), expected.unitBytes());
    EXPECT_EQ(record.m_findings.size(), 1U);
    // What is left of the other codec behind the table is none of it.
    CTransportWriter writer = withTables({}, 0x1b);
    writer.add(PID, OTHER).table(PMT_PID, pmtSection({{0x24, PID, {}}}, 1));
    writer.add(PID, byteStream({{0x65, 0x88, 7, 7}}), false).add(PID, FIRST).add(PID, SECOND);
    EXPECT_EQ(read(writer.bytes()).unitBytes(), expected.unitBytes());
}

TEST(TransportStream, FollowsACodecThatChangesAgainAndAgain)
{
    Bytes file;
    for (unsigned i = 0; i < 4; ++i)
        file = joined({file, smallStream(), otherStream(i % 2 == 0 ? 0x1b : 0x02)});
    const CContainerRecord record = read(file);
    EXPECT_EQ(record.m_units.size(), 28U);
    EXPECT_EQ(record.m_tracks.size(), 1U);
    const auto iTold = std::ranges::count_if(
        record.m_findings, [](const auto& finding) { return finding.message.starts_with("from here on"); });
    EXPECT_EQ(iTold, 1);
    EXPECT_EQ(readForward(file).unitBytes(), record.unitBytes());
}

// Files of several makers have other programs, and other PIDs for their tables.
TEST(TransportStream, ForgetsProgramsThatAreGone)
{
    CTransportWriter other;
    other.table(0, patSection({{2, 0x200}})).table(0x200, pmtSection({{0x1b, PID, {}}}, 0, 2)).add(PID, OTHER);
    const CContainerRecord record = read(joined({smallStream(), other.bytes(), smallStream(), other.bytes()}));
    EXPECT_EQ(record.m_units.size(), 14U);
    EXPECT_EQ(record.m_findings.size(), 1U);
    EXPECT_TRUE(record.tells("from here on it is no H.265"));
    // The stream in packets that tables came in before.
    CTransportWriter table;
    table.table(0, patSection({{1, PID}})).table(PID, pmtSection({{0x24, 0x101, {}}})).add(0x101, SECOND);
    const CContainerRecord moved = read(joined({table.bytes(), smallStream()}));
    EXPECT_EQ(moved.m_units.size(), 9U);
    // Sections of one association table do not make each other forget.
    const auto sectionOf = [](unsigned uiSection, unsigned uiProgram, unsigned uiPid) {
        Bytes bytes = patSection({{uiProgram, uiPid}});
        bytes.resize(bytes.size() - 4);
        bytes[6] = static_cast<unsigned char>(uiSection);
        bytes[7] = 1;
        return joined({bytes, be(4, sectionCrc(bytes))});
    };
    CTransportWriter sections;
    sections.table(0, sectionOf(0, 1, PMT_PID)).table(0, sectionOf(1, 2, PMT_PID + 1));
    sections.table(PMT_PID, pmtSection({{0x24, PID, {}}})).table(PMT_PID + 1, pmtSection({{0x24, 0x101, {}}}, 0, 2));
    sections.add(PID, SECOND).add(0x101, SECOND);
    EXPECT_EQ(read(sections.bytes()).m_units.size(), 4U);
    // Fewer of them.
    sections.table(0, patSection({{1, PMT_PID}}, 1)).table(PMT_PID + 1, pmtSection({{0x1b, 0x101, {}}}, 1, 2));
    sections.add(0x101, SECOND);
    EXPECT_EQ(read(sections.bytes()).m_units.size(), 6U);
}

TEST(TransportStream, ReadsWhatOneOfItsProgramsCallsH265)
{
    for (const bool bFirst : {true, false}) {
        CTransportWriter writer;
        writer.table(0, patSection({{1, PMT_PID}, {2, PMT_PID + 1}}))
            .table(PMT_PID, pmtSection({{bFirst ? 0x24U : 0x06U, PID, {}}}))
            .table(PMT_PID + 1, pmtSection({{bFirst ? 0x06U : 0x24U, PID, {}}}, 0, 2))
            .add(PID, FIRST);
        const CContainerRecord record = read(writer.bytes());
        EXPECT_EQ(record.m_units.size(), 5U);
        EXPECT_EQ(record.findings(), "");
    }
}

// A table whose ends are those of another one, with the same counter by chance.
TEST(TransportStream, ReadsATableThatOnlyDiffersInside)
{
    const auto padded = [](const Bytes& bytes) { return joined({{0}, bytes, Bytes(183 - bytes.size(), 0xff)}); };
    CTransportWriter writer;
    writer.table(0, patSection({{1, PMT_PID}})).packet(PMT_PID, padded(pmtSection({{0x1b, PID, {}}})), true);
    CTransportWriter behind;
    behind.packet(PMT_PID, padded(pmtSection({{0x24, PID, {}}})), true).add(PID, SECOND);
    EXPECT_EQ(read(joined({writer.bytes(), behind.bytes()})).m_units.size(), 2U);
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

// Types that say nothing of the content leave that to the descriptor; others do not.
TEST(TransportStream, KnowsH265ByItsDescriptor)
{
    const Bytes descriptor = {0x38, 13, 1, 0x60, 0, 0, 0, 0x90, 0, 0, 0, 0, 0, 93, 0};
    const struct
    {
        unsigned stream_type;
        bool bIsH265;
    } aCases[] = {{0x06, true}, {0x80, true}, {0xff, true}, {0x1b, false}, {0x0f, false}, {0x7f, false}};
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.stream_type);
        const CContainerRecord record = read(withTables(descriptor, c.stream_type).add(PID, SECOND).bytes());
        ASSERT_EQ(record.m_tracks.size(), 1U);
        EXPECT_EQ(record.m_tracks[0].bIsH265, c.bIsH265);
        EXPECT_EQ(record.m_claims.size(), c.bIsH265 ? 1U : 0U);
        EXPECT_EQ(record.m_units.size(), c.bIsH265 ? 2U : 0U);
    }
}

TEST(TransportStream, TellsOfAStreamTypeThatItsDescriptorsContradict)
{
    const Bytes registration = joined({{5, 4}, text("HEVC")});
    const Bytes other = joined({{5, 4}, text("AC-3")});
    const Bytes descriptor = {0x38, 13, 1, 0x60, 0, 0, 0, 0x90, 0, 0, 0, 0, 0, 93, 0};
    const struct
    {
        unsigned stream_type;
        Bytes descriptors;
        const char* pMessage; // empty of nothing
    } aCases[] = {
        {0x1b,
         registration,
         "stream type 0x1b is not one of H.265, and its registration HEVC says that it is: it is read; players go by"},
        {0x02, joined({descriptor, registration}), "stream type 0x02 is not one of H.265, and its registration HEVC"},
        {0x02,
         descriptor,
         "stream type 0x02 is not one of H.265, and its HEVC video descriptor says that it is: it is passed over; "
         "players"},
        {0x1b, other, ""},
        {0x24, joined({registration, descriptor}), ""},
        {0x31, registration, ""}, // tiles of H.265
        {0x06, registration, ""},
        {0x80, descriptor, ""},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(std::to_string(c.stream_type) + c.pMessage);
        const CContainerRecord record = read(withTables(c.descriptors, c.stream_type).add(PID, SECOND).bytes());
        ASSERT_EQ(record.m_findings.size(), *c.pMessage == '\0' ? 0U : 1U) << record.findings();
        if (record.m_findings.empty())
            continue;
        EXPECT_TRUE(record.tells(c.pMessage)) << record.findings();
        EXPECT_EQ(record.m_findings[0].box, "PMT of program 1");
        EXPECT_EQ(record.m_findings[0].eSeverity, ESeverity::Warning);
        EXPECT_EQ(record.m_findings[0].ulTrack, PID);
        EXPECT_TRUE(record.m_findings[0].ulOffset);
    }
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

// Gives a file packet by packet.
class CSinglePackets : public CRandomSource
{
public:
    explicit CSinglePackets(const Bytes& file) : m_pFile(makeRandomSource(file)) {}
    std::size_t read(std::uint64_t ulOffset, std::span<unsigned char> to) override
    {
        return m_pFile->read(ulOffset, to);
    }
    std::size_t readSome(std::uint64_t ulOffset, std::span<unsigned char> to) override
    {
        return read(ulOffset, to.first(std::min<std::size_t>(to.size(), TS_PACKET_BYTES)));
    }
    [[nodiscard]] std::optional<std::uint64_t> size() const override { return m_pFile->size(); }

private:
    const std::unique_ptr<CRandomSource> m_pFile;
};

// A slice whose bytes make start codes, and zeros at the ends of packets, as often as not.
Bytes restlessSlice(std::minstd_rand& random)
{
    constexpr unsigned char BYTES[] = {0, 0, 1, 3, 0x47, 7, 0xff, 9};
    Bytes slice = {0x02, 1, 0xd0};
    const auto uiRestless = random() % 400;
    for (auto uiLeft = random() % 9000; uiLeft != 0; --uiLeft)
        slice.push_back(random() % 400 < uiRestless ? BYTES[random() % std::size(BYTES)] : 0x55);
    return slice;
}

void damagePackets(std::vector<Bytes>& packets, std::minstd_rand& random)
{
    for (auto uiLeft = random() % 8; uiLeft != 0; --uiLeft) {
        const auto at = packets.begin() + static_cast<std::ptrdiff_t>(random() % packets.size());
        switch (random() % 5) {
        case 0:
            packets.insert(at, Bytes(*at));
            break;
        case 1:
            packets.erase(at);
            break;
        case 2:
            std::swap(*at, packets[random() % packets.size()]);
            break;
        case 3:
            at->at(1 + random() % 3) ^= static_cast<unsigned char>(1U << random() % 8);
            break;
        default:
            at->back() = 0;
            break;
        }
    }
}

// Packets that carry a unit on are passed over many at a time.
TEST(TransportStream, ReadsPacketsTogetherAsItReadsThemOneByOne)
{
    std::minstd_rand random;
    std::size_t uiUnits = 0;
    for (unsigned i = 0; i < 400; ++i) {
        SCOPED_TRACE(i);
        CTransportWriter writer = withTables().add(PID, FIRST);
        for (unsigned uiPicture = 0; uiPicture < 4; ++uiPicture) {
            const Bytes filling(random() % 256, 0xff); // of the header, which can be longer than a packet
            Bytes picture = pes(joined({filling, byteStream({AUD, restlessSlice(random)})}));
            picture[8] = static_cast<unsigned char>(filling.size());
            const auto cut = picture.begin() + static_cast<std::ptrdiff_t>(1 + random() % 20);
            writer.add(PID, {picture.begin(), cut}).add(PID, {cut, picture.end()}, false);
            writer.add(0x101, pes(Bytes(random() % 300, 0x77)));
        }
        damagePackets(writer.m_packets, random);
        const Bytes file = i % 3 == 0 ? writer.bytes() : i % 3 == 1 ? writer.bytes(4) : writer.bytes(0, 16);
        CSinglePackets single(file);
        CContainerRecord expected;
        readTransportStream(single, {}, expected);
        const CContainerRecord record = read(file);
        ASSERT_EQ(record.findings(), expected.findings());
        ASSERT_EQ(record.places(), expected.places());
        ASSERT_EQ(record.unitBytes(), expected.unitBytes());
        for (std::size_t uiUnit = 0; uiUnit < record.m_units.size(); ++uiUnit) {
            ASSERT_EQ(record.m_units[uiUnit].ulSize, expected.m_units[uiUnit].ulSize) << uiUnit;
            ASSERT_EQ(record.m_units[uiUnit].ulOffset, expected.m_units[uiUnit].ulOffset) << uiUnit;
        }
        uiUnits += record.m_units.size();
    }
    EXPECT_GT(uiUnits, 400U * 9);
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
