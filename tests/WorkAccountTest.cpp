// What parameter sets cost beyond their bytes: a limit of CTBs for tile tables, and an account that the
// stream's bytes pay into.

#include "WorkAccount.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "ByteSource.h"
#include "DecParameterSetReader.h"
#include "NalUnitWriter.h"
#include "ParameterSetStream.h"
#include "ParameterSetTables.h"
#include "SyntaxWriters.h"

using namespace h265_codec;
using namespace h265_stream;
using namespace h265_test;

namespace {

// CTBs of 16.
Bytes spsUnit(unsigned uiWidth, unsigned uiHeight)
{
    SpsSyntax syntax;
    syntax.pic_width_in_luma_samples = uiWidth;
    syntax.pic_height_in_luma_samples = uiHeight;
    syntax.log2_diff_max_min_luma_coding_block_size = 1;
    return nalUnit(SPS_NUT, write(syntax));
}

// Each number makes another content.
Bytes tiledPps(unsigned uiNumber, unsigned uiColumns = 2, unsigned uiRows = 1)
{
    PpsSyntax syntax;
    syntax.pps_pic_parameter_set_id = uiNumber % 64;
    syntax.pps_cb_qp_offset = static_cast<int>(uiNumber / 64 % 25) - 12;
    syntax.pps_cr_qp_offset = static_cast<int>(uiNumber / 1600) - 12;
    syntax.tiles = TilesSyntax{.num_tile_columns_minus1 = uiColumns - 1, .num_tile_rows_minus1 = uiRows - 1};
    return nalUnit(PPS_NUT, write(syntax));
}

// 64 PPSs of the largest picture take more than the 256 MiB of the default.
const StreamOptions ANY_MEMORY = {.ulPoolBytes = 0};

Bytes slice(std::size_t uiSize)
{
    Bytes unit(uiSize, 0x55);
    unit[0] = 0x02;
    return unit;
}

void append(Bytes& stream, const Bytes& unit)
{
    stream.insert(stream.end(), {0, 0, 1});
    stream.insert(stream.end(), unit.begin(), unit.end());
}

TEST(WorkAccount, BuildsNoTablesForAPictureAboveTheLimit)
{
    CParameterSetTables tables({.uiMaxCtbs = 100});
    tables.readNalUnit(spsUnit(160, 160));
    EXPECT_EQ(tables.readNalUnit(tiledPps(0)).iRead, 0);
    const PPS* const before = tables.pps(0);

    SpsSyntax other;
    other.sps_seq_parameter_set_id = 1;
    other.pic_width_in_luma_samples = 176;
    other.pic_height_in_luma_samples = 160;
    other.log2_diff_max_min_luma_coding_block_size = 1;
    tables.readNalUnit(nalUnit(SPS_NUT, write(other)));
    PpsSyntax syntax;
    syntax.pps_pic_parameter_set_id = 5;
    syntax.pps_seq_parameter_set_id = 1;
    syntax.tiles = TilesSyntax{};
    const ParameterSetEvent event = tables.readNalUnit(nalUnit(PPS_NUT, write(syntax)), 7);
    EXPECT_EQ(event.eRefusal, ERefusal::PictureTooLarge);
    EXPECT_FALSE(event.bPassedOver);
    EXPECT_FALSE(event.iRead.has_value());
    EXPECT_FALSE(event.iVerify.has_value());
    EXPECT_EQ(event.ulReading, 0U);
    EXPECT_EQ(event.pps, nullptr);
    EXPECT_EQ(event.spsOfPps, tables.sps(1));
    ASSERT_TRUE(event.refusedPps.has_value());
    EXPECT_EQ(event.refusedPps->pps_pic_parameter_set_id, 5U);
    EXPECT_EQ(event.refusedPps->pps_seq_parameter_set_id, 1U);
    EXPECT_FALSE(event.missingSps.has_value());
    EXPECT_TRUE(event.logLines.empty());
    EXPECT_FALSE(event.bSeenBefore);
    EXPECT_EQ(tables.pps(0), before);
    EXPECT_EQ(tables.readNalUnit(nalUnit(PPS_NUT, write(syntax))).ulSameAs, 7U);

    // Without tiles it needs no tables.
    syntax.tiles.reset();
    syntax.diff_cu_qp_delta_depth = 1;
    const ParameterSetEvent plain = tables.readNalUnit(nalUnit(PPS_NUT, write(syntax)));
    EXPECT_EQ(plain.iRead, 0);
    EXPECT_EQ(plain.spsOfPps, tables.sps(1));
    EXPECT_EQ(plain.pps->Log2MinCuQpDeltaSize, 3);
}

TEST(WorkAccount, CountsARefusedSetAsNotRead)
{
    CParameterSetStream reader({.uiMaxCtbs = 1});
    const Bytes stream = byteStream({spsUnit(64, 64), tiledPps(0)});
    const StreamSummary summary = reader.read(*makeByteSource(stream), [](const ParameterSetEvent&) { return true; });
    EXPECT_EQ(summary.ulNotRead, 1U);
    EXPECT_EQ(summary.ulPps, 1U);
}

// The default limit holds every picture of every level that has a bound: 142,606,336 luma samples, no side
// above the square root of eight times as many (A.4.1).
TEST(WorkAccount, TakesTheLargestPictureInTheSmallestCtbs)
{
    for (const unsigned uiWidth : {33776U, 11942U, 4222U}) {
        CParameterSetTables tables({});
        tables.readNalUnit(spsUnit(uiWidth / 8 * 8, 142'606'336 / uiWidth / 8 * 8));
        EXPECT_EQ(tables.readNalUnit(tiledPps(0, 20, 22)).iRead, 0);
    }
    CParameterSetTables tables({});
    tables.readNalUnit(spsUnit(65520, 65520));
    EXPECT_EQ(tables.readNalUnit(tiledPps(0)).eRefusal, ERefusal::PictureTooLarge);
}

// The first sets take the whole credit; then each picture has to pay for its own. Two bins for each CTB, 0.035 bits
// together: fewer bytes no picture has.
StreamSummary readLegalStream(unsigned uiWidth, unsigned uiHeight, unsigned uiFirstSets, unsigned uiPictures)
{
    const std::size_t uiCtbs = std::size_t{(uiWidth + 15) / 16} * ((uiHeight + 15) / 16);
    Bytes stream = byteStream({spsUnit(uiWidth, uiHeight)});
    for (unsigned i = 0; i < uiFirstSets; ++i)
        append(stream, tiledPps(i));
    const Bytes picture = slice(std::max<std::size_t>(uiCtbs * 35 / 1000 / 8, 5));
    for (unsigned i = 0; i < uiPictures; ++i) {
        append(stream, tiledPps(64 + i));
        append(stream, picture);
    }
    CParameterSetStream reader(ANY_MEMORY);
    return reader.read(*makeByteSource(stream), [](const ParameterSetEvent& event) {
        EXPECT_EQ(event.eRefusal, ERefusal::None);
        return event.eRefusal == ERefusal::None;
    });
}

TEST(WorkAccount, IsNotNoticedByStreamsOfAnyLevel)
{
    EXPECT_EQ(readLegalStream(8192, 4352, 64, 60).ulNotRead, 0U);  // level 6.2
    EXPECT_EQ(readLegalStream(16888, 2104, 64, 30).ulNotRead, 0U); // the widest
    EXPECT_EQ(readLegalStream(16384, 8704, 64, 8).ulNotRead, 0U);  // above
    EXPECT_EQ(readLegalStream(64, 64, 64, 1000).ulNotRead, 0U);
}

struct Outcome
{
    unsigned uiRead = 0;
    unsigned uiRefused = 0;
};

Outcome outcomeOf(const Bytes& stream)
{
    Outcome outcome;
    CParameterSetStream reader(ANY_MEMORY);
    reader.read(*makeByteSource(stream), [&](const ParameterSetEvent& event) {
        if (event.eRefusal == ERefusal::TooMuchWork) {
            EXPECT_FALSE(event.iRead.has_value());
            EXPECT_EQ(event.ulReading, 0U);
            ++outcome.uiRefused;
        } else {
            ++outcome.uiRead;
        }
        return true;
    });
    return outcome;
}

TEST(WorkAccount, RefusesWhatTheBytesDoNotPayFor)
{
    Bytes stream = byteStream({spsUnit(16384, 8704)});
    for (unsigned i = 0; i < 200; ++i)
        append(stream, tiledPps(i));
    const Outcome outcome = outcomeOf(stream);
    EXPECT_EQ(outcome.uiRead + outcome.uiRefused, 201U);
    EXPECT_GE(outcome.uiRead, 65U); // with the SPS
    EXPECT_LE(outcome.uiRead, 67U);
}

TEST(WorkAccount, ReadsOnOnceTheDebtIsPaid)
{
    CParameterSetTables tables(ANY_MEMORY);
    tables.readNalUnit(spsUnit(16384, 8704));
    unsigned uiNumber = 0;
    while (tables.readNalUnit(tiledPps(uiNumber)).eRefusal == ERefusal::None)
        ASSERT_LT(++uiNumber, 100U);
    // What is in force needs no reading.
    EXPECT_TRUE(tables.readNalUnit(tiledPps(uiNumber - 1)).bRepeat);
    tables.skipBytes(557'056 / CWorkAccount::UNITS_PER_BYTE);
    EXPECT_EQ(tables.readNalUnit(tiledPps(uiNumber)).iRead, 0);
    EXPECT_EQ(tables.readNalUnit(tiledPps(uiNumber + 1)).eRefusal, ERefusal::TooMuchWork);
    tables.readNalUnit(slice(557'056 / CWorkAccount::UNITS_PER_BYTE));
    EXPECT_EQ(tables.readNalUnit(tiledPps(uiNumber + 1)).iRead, 0);
    tables.clear();
    tables.readNalUnit(spsUnit(16384, 8704));
    EXPECT_EQ(tables.readNalUnit(tiledPps(0)).iRead, 0);
}

TEST(WorkAccount, ChargesSlicesBytesWhereTheyStand)
{
    Bytes stream = byteStream({spsUnit(64, 64)});
    for (unsigned i = 0; i < 12; ++i)
        append(stream, tiledPps(i, 1024, 1024));
    const unsigned uiRefused = outcomeOf(stream).uiRefused;
    EXPECT_GT(uiRefused, 0U);
    // A slice behind the last PPS does not pay for it; one in front does, as any bytes do.
    EXPECT_EQ(outcomeOf(joined({stream, byteStream({slice(100'000)})})).uiRefused, uiRefused);
    EXPECT_EQ(outcomeOf(joined({byteStream({slice(100'000)}), stream})).uiRefused, 0U);
    EXPECT_EQ(outcomeOf(joined({Bytes(100'000, 0xff), stream})).uiRefused, 0U);
}

PPS ppsOfTiles(unsigned uiColumns, unsigned uiRows)
{
    PPS pps{};
    pps.tiles_enabled_flag = true;
    pps.num_tile_columns_minus1 = uiColumns - 1;
    pps.num_tile_rows_minus1 = uiRows - 1;
    return pps;
}

TEST(WorkAccount, CountsWhatAReadingLeftBehind)
{
    SPS sps{};
    EXPECT_EQ(workOf(sps), 0U);
    sps.num_short_term_ref_pic_sets = 255;
    EXPECT_EQ(workOf(sps), 0U); // no memory for them
    ShortTermRefPicSet set{};
    sps.pShortTermRefPicSet = &set;
    const std::uint64_t ulSets = workOf(sps);
    EXPECT_GE(ulSets, 255U * 16);
    ScalingListData lists{};
    sps.pScalingList = &lists;
    EXPECT_GE(workOf(sps), ulSets + 1000);

    sps.PicWidthInCtbsY = 300;
    sps.PicHeightInCtbsY = 200;
    EXPECT_EQ(ctbsOf(sps), 60'000U);
    PPS pps{};
    EXPECT_EQ(workOf(pps, sps), 0U);
    pps = ppsOfTiles(1024, 1024);
    EXPECT_GE(workOf(pps, sps), 1U << 20);
    pps = ppsOfTiles(1, 1);
    const std::uint64_t ulTile = workOf(pps, sps);
    unsigned uiEntry = 0;
    pps.TileId = &uiEntry;
    EXPECT_EQ(workOf(pps, sps), ulTile + 60'000U);
    pps.pScalingListBuf = &lists;
    EXPECT_GE(workOf(pps, sps), ulTile + 61'000U);
    EXPECT_EQ(workOf(VPS{}), 0U);
}

TEST(WorkAccount, ChargesFailedReadingsAndLoggedLines)
{
    // 2^20 columns, and the payload ends behind them.
    Bytes cut = tiledPps(0, 1U << 20, 1);
    cut.resize(cut.size() - 2);
    CParameterSetTables tables({.iLogLevel = 3});
    tables.readNalUnit(spsUnit(64, 64));
    unsigned uiRead = 0;
    while (tables.readNalUnit(cut).eRefusal == ERefusal::None)
        ASSERT_LT(++uiRead, 40U);

    // 255 sets are announced, and none of them comes.
    SpsSyntax missing;
    missing.num_short_term_ref_pic_sets = 255;
    const std::size_t uiBits = writeSpsFormat(missing).append(writeSpsCodingTools(missing)).size();
    Bytes rbsp = write(missing).bytes();
    rbsp.resize(uiBits / 8 + 3);
    const Bytes unit = nalUnit({.nal_unit_type = SPS_NUT}, rbsp);
    CParameterSetTables others({.iLogLevel = 3});
    unsigned uiOthers = 0;
    while (others.readNalUnit(unit).eRefusal == ERefusal::None)
        ASSERT_LT(++uiOthers, 10'000U);
}

TEST(WorkAccount, TakesAnyNumberOfBytes)
{
    CWorkAccount account;
    for (unsigned i = 0; i < 100; ++i)
        account.payIn(~std::uint64_t{0});
    EXPECT_FALSE(account.isInDebt());
    account.charge(std::uint64_t{1} << 40);
    EXPECT_FALSE(account.isInDebt());
    account.clear();
    account.charge(static_cast<std::uint64_t>(CWorkAccount::START));
    EXPECT_FALSE(account.isInDebt());
    account.charge(1);
    EXPECT_TRUE(account.isInDebt());
    account.payIn(1);
    EXPECT_FALSE(account.isInDebt());
}

} // namespace
