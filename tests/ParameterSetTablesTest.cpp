#include "ParameterSetTables.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DecParameterSetReader.h"
#include "NalUnitWriter.h"
#include "SyntaxWriters.h"
#include "tqlog.h"

namespace parameter_set_tables_test {

using namespace h265_codec;
using namespace h265_stream;
using namespace h265_test;

namespace {

Bytes vpsUnit(const VpsSyntax& syntax = {})
{
    return nalUnit(VPS_NUT, write(syntax));
}

Bytes spsUnit(const SpsSyntax& syntax = {})
{
    return nalUnit(SPS_NUT, write(syntax));
}

Bytes ppsUnit(const PpsSyntax& syntax = {})
{
    return nalUnit(PPS_NUT, write(syntax));
}

// The unit without its last bytes, which every one of the writers needs for its last elements.
Bytes cutShort(Bytes unit, std::size_t uiCut = 4)
{
    unit.erase(unit.end() - static_cast<std::ptrdiff_t>(uiCut), unit.end());
    return unit;
}

SpsSyntax tenBitSps()
{
    SpsSyntax sps;
    sps.bit_depth_luma_minus8 = 2;
    sps.bit_depth_chroma_minus8 = 2;
    return sps;
}

SpsSyntax spsOfWidth(unsigned pic_width_in_luma_samples)
{
    SpsSyntax sps;
    sps.pic_width_in_luma_samples = pic_width_in_luma_samples;
    return sps;
}

class ParameterSetTables : public testing::Test
{
protected:
    CParameterSetTables m_tables{StreamOptions{}};
};

TEST_F(ParameterSetTables, AreEmptyAtFirst)
{
    for (unsigned uiId = 0; uiId < 300; ++uiId) {
        EXPECT_EQ(m_tables.vps(uiId), nullptr);
        EXPECT_EQ(m_tables.sps(uiId), nullptr);
        EXPECT_EQ(m_tables.pps(uiId), nullptr);
    }
    EXPECT_EQ(m_tables.blocksInUse(), 0U);
}

TEST_F(ParameterSetTables, EnterEachTypeUnderItsId)
{
    const VPS* const vps = m_tables.readNalUnit(vpsUnit({.vps_video_parameter_set_id = 15})).vps;
    SpsSyntax spsSyntax;
    spsSyntax.sps_seq_parameter_set_id = 200;
    const SPS* const sps = m_tables.readNalUnit(spsUnit(spsSyntax)).sps;
    const ParameterSetEvent event =
        m_tables.readNalUnit(ppsUnit({.pps_pic_parameter_set_id = 255, .pps_seq_parameter_set_id = 200}));
    EXPECT_NE(vps, nullptr);
    EXPECT_NE(sps, nullptr);
    EXPECT_NE(event.pps, nullptr);
    EXPECT_EQ(m_tables.vps(15), vps);
    EXPECT_EQ(m_tables.sps(200), sps);
    EXPECT_EQ(m_tables.pps(255), event.pps);
    EXPECT_EQ(event.spsOfPps, sps);
    EXPECT_EQ(m_tables.vps(14), nullptr);
    EXPECT_EQ(m_tables.sps(15), nullptr);
    EXPECT_EQ(m_tables.pps(200), nullptr);
}

TEST_F(ParameterSetTables, TellWhatBecameOfAUnit)
{
    const Bytes unit = spsUnit();
    const ParameterSetEvent event = m_tables.readNalUnit(unit);
    EXPECT_EQ(event.header.nal_unit_type, SPS_NUT);
    EXPECT_EQ(event.ulSize, unit.size());
    EXPECT_FALSE(event.bPassedOver);
    EXPECT_FALSE(event.bRepeat);
    EXPECT_EQ(event.ulReading, 1U);
    EXPECT_EQ(event.iRead, 0);
    EXPECT_EQ(event.iVerify, 0);
    EXPECT_TRUE(event.logLines.empty());
    EXPECT_EQ(event.vps, nullptr);
    EXPECT_EQ(event.pps, nullptr);
    EXPECT_EQ(event.spsOfPps, nullptr);
}

TEST_F(ParameterSetTables, PassOverWhatIsNotForThem)
{
    struct Case
    {
        const char* pName;
        NalUnitHeaderSyntax header;
    };
    const Case aCases[] = {
        {"another layer", {.nal_unit_type = SPS_NUT, .nuh_layer_id = 1}},
        {"forbidden_zero_bit", {.forbidden_zero_bit = true, .nal_unit_type = SPS_NUT}},
        {"a slice", {.nal_unit_type = 1}},
        {"an access unit delimiter", {.nal_unit_type = 35}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pName);
        const ParameterSetEvent event = m_tables.readNalUnit(nalUnit(c.header, write(SpsSyntax{}).bytes()));
        EXPECT_TRUE(event.bPassedOver);
        EXPECT_EQ(event.ulReading, 0U);
        EXPECT_FALSE(event.iRead.has_value());
        EXPECT_FALSE(event.iVerify.has_value());
        EXPECT_EQ(event.sps, nullptr);
    }
    EXPECT_TRUE(m_tables.readNalUnit({}).bPassedOver);
    EXPECT_EQ(m_tables.blocksInUse(), 0U);
}

TEST_F(ParameterSetTables, ReadAUnitOfABareHeader)
{
    for (const Bytes& unit : {vpsUnit(), spsUnit(), ppsUnit()}) {
        const ParameterSetEvent event = m_tables.readNalUnit(std::span(unit).first(2));
        EXPECT_FALSE(event.bCutOff);
        EXPECT_FALSE(event.bPassedOver);
        EXPECT_EQ(event.header.nuh_temporal_id_plus1, 1);
        EXPECT_EQ(event.iRead, E_BS_NOT_ENOUGH_BITS);
        EXPECT_FALSE(event.iVerify.has_value());
    }
}

// Its layer is not known: it is neither read as one of layer 0 nor taken for one of another layer.
TEST_F(ParameterSetTables, CallAUnitOfOneByteCutOff)
{
    for (const Bytes& unit : {vpsUnit(), spsUnit(), ppsUnit()}) {
        const ParameterSetEvent event = m_tables.readNalUnit(std::span(unit).first(1));
        EXPECT_TRUE(event.bCutOff);
        EXPECT_TRUE(event.bPassedOver);
        EXPECT_EQ(event.header.nal_unit_type, unit[0] >> 1);
        EXPECT_FALSE(event.iRead.has_value());
        EXPECT_EQ(event.ulReading, 0U);
        EXPECT_FALSE(event.bSeenBefore);
        EXPECT_TRUE(m_tables.readNalUnit(std::span(unit).first(1)).bSeenBefore);
    }
}

TEST_F(ParameterSetTables, KeepTheGoodSetWhenAReadingFails)
{
    const Bytes aaUnits[] = {vpsUnit(), spsUnit(), ppsUnit()};
    for (const Bytes& unit : aaUnits)
        EXPECT_EQ(m_tables.readNalUnit(unit).iRead, 0);
    const SPS* const sps = m_tables.sps(0);
    for (const Bytes& unit : aaUnits) {
        const ParameterSetEvent event = m_tables.readNalUnit(cutShort(unit));
        EXPECT_NE(event.iRead, 0);
        EXPECT_FALSE(event.iVerify.has_value());
        EXPECT_FALSE(event.bRepeat);
        EXPECT_EQ(event.vps, nullptr);
        EXPECT_EQ(event.sps, nullptr);
        EXPECT_EQ(event.pps, nullptr);
        EXPECT_EQ(event.spsOfPps, nullptr);
    }
    EXPECT_EQ(m_tables.sps(0), sps);
    EXPECT_EQ(sps->CtbLog2SizeY, 6);
    for (const Bytes& unit : aaUnits)
        EXPECT_TRUE(m_tables.readNalUnit(unit).bRepeat);
}

TEST_F(ParameterSetTables, EnterAGoodSetBehindAFailedOne)
{
    for (const Bytes& unit : {vpsUnit(), spsUnit(), ppsUnit()}) {
        EXPECT_NE(m_tables.readNalUnit(cutShort(unit)).iRead, 0);
        const ParameterSetEvent event = m_tables.readNalUnit(unit);
        EXPECT_EQ(event.iRead, 0);
        EXPECT_FALSE(event.bSeenBefore);
        EXPECT_FALSE(event.bRepeat);
    }
    EXPECT_NE(m_tables.vps(0), nullptr);
    EXPECT_NE(m_tables.sps(0), nullptr);
    EXPECT_NE(m_tables.pps(0), nullptr);
}

TEST_F(ParameterSetTables, ReadIntoAFreshRecord)
{
    SpsSyntax syntax;
    syntax.conformance_window_flag = true;
    syntax.conf_win_left_offset = 7;
    EXPECT_EQ(m_tables.readNalUnit(spsUnit(syntax)).sps->conf_win_left_offset, 7);
    // A record that is filled again would keep the offset.
    EXPECT_EQ(m_tables.readNalUnit(spsUnit()).sps->conf_win_left_offset, 0);
}

TEST_F(ParameterSetTables, RecogniseRepeatsByTheirBytes)
{
    for (const Bytes& unit : {vpsUnit(), spsUnit(), ppsUnit()}) {
        const ParameterSetEvent first = m_tables.readNalUnit(unit);
        const ParameterSetEvent second = m_tables.readNalUnit(Bytes(unit));
        EXPECT_FALSE(first.bRepeat);
        EXPECT_TRUE(second.bRepeat);
        EXPECT_EQ(second.ulReading, first.ulReading);
        EXPECT_EQ(second.iRead, 0);
        EXPECT_EQ(second.iVerify, 0);
        EXPECT_EQ(second.vps, first.vps);
        EXPECT_EQ(second.sps, first.sps);
        EXPECT_EQ(second.pps, first.pps);
        EXPECT_EQ(second.spsOfPps, first.spsOfPps);
    }
}

TEST_F(ParameterSetTables, TakeOtherBytesForAnotherReading)
{
    m_tables.readNalUnit(spsUnit());
    Bytes otherHeader = spsUnit();
    otherHeader[1] = 2; // nuh_temporal_id_plus1
    EXPECT_FALSE(m_tables.readNalUnit(otherHeader).bRepeat);
    Bytes longer = spsUnit();
    longer.push_back(0x80);
    EXPECT_FALSE(m_tables.readNalUnit(longer).bRepeat);
    EXPECT_TRUE(m_tables.readNalUnit(longer).bRepeat);
}

TEST_F(ParameterSetTables, ReadASetAgainThatWasReplacedBetween)
{
    EXPECT_EQ(m_tables.readNalUnit(spsUnit(spsOfWidth(640))).ulReading, 1U);
    EXPECT_EQ(m_tables.readNalUnit(spsUnit(spsOfWidth(320))).ulReading, 2U);
    const ParameterSetEvent event = m_tables.readNalUnit(spsUnit(spsOfWidth(640)));
    EXPECT_FALSE(event.bRepeat);
    EXPECT_EQ(event.ulReading, 3U);
    EXPECT_EQ(m_tables.sps(0)->pic_width_in_luma_samples, 640);
}

TEST_F(ParameterSetTables, KeepRepeatsApartById)
{
    SpsSyntax other;
    other.sps_seq_parameter_set_id = 1;
    m_tables.readNalUnit(spsUnit());
    m_tables.readNalUnit(spsUnit(other));
    for (unsigned i = 0; i < 2; ++i) {
        EXPECT_EQ(m_tables.readNalUnit(spsUnit()).ulReading, 1U);
        EXPECT_EQ(m_tables.readNalUnit(spsUnit(other)).ulReading, 2U);
    }
}

TEST_F(ParameterSetTables, ReadAPpsAgainBehindAnotherSps)
{
    PpsSyntax syntax;
    syntax.tiles = TilesSyntax{};
    m_tables.readNalUnit(spsUnit(spsOfWidth(640)));
    m_tables.readNalUnit(ppsUnit(syntax));
    EXPECT_EQ(m_tables.pps(0)->colWidth[0], 5U);

    m_tables.readNalUnit(spsUnit(spsOfWidth(1280)));
    // What it took from the SPS before stays until it is sent again.
    EXPECT_EQ(m_tables.pps(0)->colWidth[0], 5U);
    const ParameterSetEvent event = m_tables.readNalUnit(ppsUnit(syntax));
    EXPECT_FALSE(event.bRepeat);
    EXPECT_EQ(event.spsOfPps, m_tables.sps(0));
    EXPECT_EQ(event.pps->colWidth[0], 10U);
    EXPECT_TRUE(m_tables.readNalUnit(ppsUnit(syntax)).bRepeat);
}

TEST_F(ParameterSetTables, RecogniseAPpsBehindARepeatedSps)
{
    m_tables.readNalUnit(spsUnit());
    m_tables.readNalUnit(ppsUnit());
    EXPECT_TRUE(m_tables.readNalUnit(spsUnit()).bRepeat);
    EXPECT_TRUE(m_tables.readNalUnit(ppsUnit()).bRepeat);
}

TEST_F(ParameterSetTables, ReadAFailedSetEachTime)
{
    const Bytes unit = cutShort(spsUnit());
    for (std::uint64_t ulReading = 1; ulReading < 4; ++ulReading) {
        const ParameterSetEvent event = m_tables.readNalUnit(unit);
        EXPECT_FALSE(event.bRepeat);
        EXPECT_EQ(event.ulReading, ulReading);
    }
}

TEST_F(ParameterSetTables, TellWhetherAFailureCameBefore)
{
    const Bytes cut = {SPS_NUT << 1, 1, 0x01};
    EXPECT_FALSE(m_tables.readNalUnit(cut).bSeenBefore);
    EXPECT_TRUE(m_tables.readNalUnit(cut).bSeenBefore);
    EXPECT_FALSE(m_tables.readNalUnit({cut.data(), 2}).bSeenBefore);
    // A PPS that ends in front of what comes behind its ids.
    const Bytes pps = {PPS_NUT << 1, 1, 0xc0};
    EXPECT_FALSE(m_tables.readNalUnit(spsUnit()).bSeenBefore);
    EXPECT_FALSE(m_tables.readNalUnit(pps).bSeenBefore);
    EXPECT_TRUE(m_tables.readNalUnit(pps).bSeenBefore);
    m_tables.clear();
    EXPECT_FALSE(m_tables.readNalUnit(cut).bSeenBefore);
}

// SPSs that cannot be read, each with other bytes behind what is looked at.
Bytes unreadable(unsigned uiNumber, std::size_t uiSize)
{
    Bytes unit(uiSize);
    unit[0] = (SPS_NUT << 1) | 0x80; // forbidden_zero_bit
    unit[1] = 1;
    unit[2] = static_cast<unsigned char>(uiNumber >> 8);
    unit[3] = static_cast<unsigned char>(uiNumber);
    return unit;
}

TEST_F(ParameterSetTables, RememberSoManyFailures)
{
    for (unsigned i = 0; i < 4096; ++i)
        EXPECT_FALSE(m_tables.readNalUnit(unreadable(i, 4)).bSeenBefore);
    EXPECT_FALSE(m_tables.readNalUnit(unreadable(4096, 4)).bSeenBefore); // forgets the others
    EXPECT_FALSE(m_tables.readNalUnit(unreadable(0, 4)).bSeenBefore);
    EXPECT_TRUE(m_tables.readNalUnit(unreadable(4096, 4)).bSeenBefore);
}

TEST_F(ParameterSetTables, RememberSoManyBytesOfFailures)
{
    constexpr std::size_t SIZE = 60000; // 17 of them in a mebibyte
    for (unsigned i = 0; i < 17; ++i)
        EXPECT_FALSE(m_tables.readNalUnit(unreadable(i, SIZE)).bSeenBefore);
    EXPECT_TRUE(m_tables.readNalUnit(unreadable(0, SIZE)).bSeenBefore);
    EXPECT_FALSE(m_tables.readNalUnit(unreadable(17, SIZE)).bSeenBefore); // forgets the others
    EXPECT_FALSE(m_tables.readNalUnit(unreadable(0, SIZE)).bSeenBefore);
    for (unsigned i = 0; i < 2; ++i) // too long to be remembered
        EXPECT_FALSE(m_tables.readNalUnit(unreadable(0, 70000)).bSeenBefore);
}

TEST_F(ParameterSetTables, ReadSetsTooLongToBeKeptEachTime)
{
    Bytes unit = spsUnit();
    unit.resize(std::size_t{1} << 20, 0x55);
    EXPECT_EQ(m_tables.readNalUnit(unit).iRead, 0);
    const ParameterSetEvent event = m_tables.readNalUnit(unit);
    EXPECT_FALSE(event.bRepeat);
    EXPECT_EQ(event.iRead, 0);
}

TEST_F(ParameterSetTables, EnterUnsupportedSetsWhenAskedTo)
{
    const ParameterSetEvent event = m_tables.readNalUnit(spsUnit(tenBitSps()));
    EXPECT_EQ(event.iRead, 0);
    EXPECT_EQ(event.iVerify, E_BS_NOT_ENOUGH_BITS);
    ASSERT_EQ(event.logLines.size(), 1U);
    EXPECT_EQ(event.logLines[0], "ERROR: only support 8bit depth");
    EXPECT_EQ(m_tables.sps(0), event.sps);
    EXPECT_EQ(m_tables.readNalUnit(ppsUnit()).iRead, 0);

    const ParameterSetEvent repeat = m_tables.readNalUnit(spsUnit(tenBitSps()));
    EXPECT_TRUE(repeat.bRepeat);
    EXPECT_EQ(repeat.iVerify, E_BS_NOT_ENOUGH_BITS);
    ASSERT_EQ(repeat.logLines.size(), 1U);
    EXPECT_EQ(repeat.logLines[0], "ERROR: only support 8bit depth");
}

TEST(ParameterSetTablesOptions, HandUnsupportedSetsOnWithoutEnteringThem)
{
    CParameterSetTables tables({.bEnterUnverified = false});
    const SPS* const good = tables.readNalUnit(spsUnit()).sps;
    for (unsigned i = 0; i < 2; ++i) {
        const ParameterSetEvent event = tables.readNalUnit(spsUnit(tenBitSps()));
        EXPECT_FALSE(event.bRepeat);
        EXPECT_EQ(event.iVerify, E_BS_NOT_ENOUGH_BITS);
        ASSERT_NE(event.sps, nullptr);
        EXPECT_EQ(event.sps->BitDepthY, 10);
        EXPECT_EQ(tables.sps(0), good);
    }
    EXPECT_EQ(tables.readNalUnit(ppsUnit()).spsOfPps, good);

    const ParameterSetEvent vps = tables.readNalUnit(vpsUnit({.vps_max_layers_minus1 = 1}));
    EXPECT_EQ(vps.iVerify, E_BS_NOT_ENOUGH_BITS);
    EXPECT_NE(vps.vps, nullptr);
    EXPECT_EQ(tables.vps(0), nullptr);
    tables.clear();
    EXPECT_EQ(tables.blocksInUse(), 0U);
}

TEST(ParameterSetTablesOptions, LogAtTheLevelAskedFor)
{
    struct Case
    {
        int iLogLevel;
        std::size_t uiWarnings;
        std::size_t uiErrors;
    };
    for (const Case& c : {Case{0, 1, 1}, Case{1, 1, 1}, Case{2, 0, 1}, Case{3, 0, 0}}) {
        SCOPED_TRACE(c.iLogLevel);
        CParameterSetTables tables({.iLogLevel = c.iLogLevel});
        EXPECT_TRUE(tables.readNalUnit(ppsUnit()).bWaiting);
        EXPECT_EQ(tables.nextWithoutSps()->logLines.size(), c.uiWarnings);
        EXPECT_EQ(tables.readNalUnit(spsUnit(tenBitSps())).logLines.size(), c.uiErrors);
    }
}

TEST(ParameterSetTablesOptions, GiveTheLogBackAsItWas)
{
    const auto pSinkBefore = tqlog::CTQLog::m_pLogPrintf;
    const int iLevelBefore = tqlog::CTQLog::m_iLogLevel;
    static unsigned uiLines = 0;
    tqlog::CTQLog::m_pLogPrintf = [](const char*) { ++uiLines; };
    tqlog::CTQLog::m_iLogLevel = 1;
    const auto pSink = tqlog::CTQLog::m_pLogPrintf;
    CParameterSetTables tables({});
    tables.readNalUnit(cutShort(ppsUnit()));
    tables.readNalUnit(cutShort(spsUnit()));
    EXPECT_EQ(tqlog::CTQLog::m_pLogPrintf, pSink);
    EXPECT_EQ(tqlog::CTQLog::m_iLogLevel, 1);
    EXPECT_EQ(uiLines, 0U);
    tqlog::CTQLog::m_pLogPrintf = pSinkBefore;
    tqlog::CTQLog::m_iLogLevel = iLevelBefore;
}

TEST(ParameterSetTablesOptions, ReadWithTheDecodersReader)
{
    // A payload of ones after the header: the decoder's reader delivers 32 zero bits in front of it.
    Bytes unit = nalUnit({.nal_unit_type = VPS_NUT}, Bytes(200, 0xff));
    CParameterSetTables rbspTables({});
    CParameterSetTables decoderTables({.eReader = EBitReader::Decoder});
    const ParameterSetEvent rbsp = rbspTables.readNalUnit(unit);
    const ParameterSetEvent decoder = decoderTables.readNalUnit(unit);
    ASSERT_EQ(rbsp.iRead, 0);
    ASSERT_EQ(decoder.iRead, 0);
    EXPECT_EQ(rbsp.vps->vps_video_parameter_set_id, 15);
    EXPECT_EQ(rbsp.vps->vps_reserved_0xffff_16bits, 0xffff);
    EXPECT_EQ(decoder.vps->vps_video_parameter_set_id, 0);
    EXPECT_EQ(decoder.vps->vps_reserved_0xffff_16bits, 0);
    EXPECT_EQ(decoder.vps->ptl.general_profile_idc, 31);
}

TEST(ParameterSetTablesOptions, KeepToThePoolsBudget)
{
    CParameterSetTables none({.ulPoolBytes = 1});
    const ParameterSetEvent event = none.readNalUnit(spsUnit());
    EXPECT_EQ(event.iRead, E_NO_MEMORY);
    ASSERT_EQ(event.logLines.size(), 1U);
    EXPECT_EQ(event.logLines[0], "ERROR: bad pointer sps");
    EXPECT_EQ(none.readNalUnit(vpsUnit()).iRead, E_NO_MEMORY);

    // Enough for the records, not for the tile tables of a large picture.
    CParameterSetTables some({.ulPoolBytes = 16384});
    SpsSyntax sps = spsOfWidth(8192);
    sps.pic_height_in_luma_samples = 8192;
    EXPECT_EQ(some.readNalUnit(spsUnit(sps)).iRead, 0);
    EXPECT_EQ(some.readNalUnit(ppsUnit()).iRead, 0);
    PpsSyntax pps;
    pps.tiles = TilesSyntax{};
    EXPECT_EQ(some.readNalUnit(ppsUnit(pps)).iRead, E_NO_MEMORY);
    EXPECT_FALSE(some.pps(0)->tiles_enabled_flag);
}

TEST_F(ParameterSetTables, ReleaseEverything)
{
    SpsSyntax sps;
    sps.scaling_list_enabled_flag = true;
    sps.scaling_list_data = ScalingListDataSyntax{};
    PpsSyntax pps;
    pps.tiles = TilesSyntax{};
    pps.scaling_list_data = ScalingListDataSyntax{};
    for (unsigned i = 0; i < 40; ++i) {
        sps.sps_seq_parameter_set_id = i % 8;
        sps.pic_width_in_luma_samples = 640 + 64 * (i % 3);
        pps.pps_seq_parameter_set_id = i % 8;
        pps.pps_pic_parameter_set_id = i % 16;
        EXPECT_EQ(m_tables.readNalUnit(vpsUnit({.vps_video_parameter_set_id = i % 16})).iRead, 0);
        EXPECT_EQ(m_tables.readNalUnit(spsUnit(sps)).iRead, 0);
        EXPECT_EQ(m_tables.readNalUnit(ppsUnit(pps)).iRead, 0);
        m_tables.readNalUnit(cutShort(spsUnit(sps)));
        m_tables.readNalUnit(cutShort(ppsUnit(pps)));
    }
    EXPECT_GT(m_tables.blocksInUse(), 0U);
    m_tables.clear();
    EXPECT_EQ(m_tables.blocksInUse(), 0U);
    EXPECT_EQ(m_tables.sps(0), nullptr);
    EXPECT_TRUE(m_tables.readNalUnit(ppsUnit()).bWaiting);
    EXPECT_EQ(m_tables.readNalUnit(spsUnit()).ulReading, 1U);
}

// Each byte cut off: whatever a reading left behind is released.
TEST_F(ParameterSetTables, ReleaseWhatAFailedReadingTook)
{
    SpsSyntax sps;
    sps.scaling_list_enabled_flag = true;
    sps.scaling_list_data = ScalingListDataSyntax{};
    PpsSyntax pps;
    pps.tiles = TilesSyntax{};
    pps.scaling_list_data = ScalingListDataSyntax{};
    const Bytes unitOfSps = spsUnit(sps);
    for (std::size_t i = 0; i < unitOfSps.size(); ++i)
        m_tables.readNalUnit(std::span(unitOfSps).first(i));
    m_tables.readNalUnit(unitOfSps);
    const Bytes unitOfPps = ppsUnit(pps);
    for (std::size_t i = 0; i < unitOfPps.size(); ++i)
        m_tables.readNalUnit(std::span(unitOfPps).first(i));
    m_tables.clear();
    EXPECT_EQ(m_tables.blocksInUse(), 0U);
}

} // namespace
} // namespace parameter_set_tables_test
