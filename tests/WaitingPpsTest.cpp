// PPSs that come before their SPS: a stream may send them in any order, for they are activated later
// (7.4.2.4.2).

#include "WaitingPps.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ByteSource.h"
#include "DecParameterSetReader.h"
#include "NalUnitWriter.h"
#include "ParameterSetStream.h"
#include "ParameterSetTables.h"
#include "SyntaxWriters.h"

namespace waiting_pps_test {

using namespace h265_codec;
using namespace h265_stream;
using namespace h265_test;

namespace {

Bytes spsUnit(unsigned uiId, unsigned uiWidth = 640)
{
    SpsSyntax syntax;
    syntax.sps_seq_parameter_set_id = uiId;
    syntax.pic_width_in_luma_samples = uiWidth;
    return nalUnit(SPS_NUT, write(syntax));
}

// Each number makes another content.
Bytes ppsUnit(unsigned uiId, unsigned uiSpsId, int iNumber = 0)
{
    return nalUnit(PPS_NUT,
                   write(PpsSyntax{.pps_pic_parameter_set_id = uiId,
                                   .pps_seq_parameter_set_id = uiSpsId,
                                   .init_qp_minus26 = iNumber}));
}

std::vector<std::uint64_t> offsetsOf(const std::vector<Bytes>& units)
{
    std::vector<std::uint64_t> offsets;
    std::uint64_t ulOffset = 0;
    for (const Bytes& unit : units) {
        offsets.push_back(ulOffset + 4);
        ulOffset += 4 + unit.size();
    }
    return offsets;
}

// What an event told: "SPS", or the PPS's id and number, which unit it is, what became of it.
struct Told
{
    std::size_t uiUnit; // of the stream
    std::optional<std::size_t> readAt;
    std::optional<int> iRead;
    bool bRepeat;
    int iNumber; // of a PPS that was read

    bool operator==(const Told&) const = default;
};

std::size_t unitAt(const std::vector<std::uint64_t>& offsets, std::uint64_t ulOffset)
{
    return static_cast<std::size_t>(std::ranges::find(offsets, ulOffset) - offsets.begin());
}

std::vector<Told> readAll(const std::vector<Bytes>& units, StreamSummary* pSummary = nullptr)
{
    const std::vector<std::uint64_t> offsets = offsetsOf(units);
    Bytes stream;
    for (const Bytes& unit : units)
        stream = joined({stream, {0, 0, 0, 1}, unit});
    CParameterSetStream reader({});
    std::vector<Told> told;
    const StreamSummary summary = reader.read(*makeByteSource(stream), [&](const ParameterSetEvent& event) {
        EXPECT_FALSE(event.bWaiting);
        told.push_back({unitAt(offsets, event.ulOffset),
                        event.ulReadAt ? std::optional(unitAt(offsets, *event.ulReadAt)) : std::nullopt,
                        event.iRead,
                        event.bRepeat,
                        event.pps != nullptr ? event.pps->init_qp_minus26 : 0});
        EXPECT_EQ(event.ulSize, units.at(told.back().uiUnit).size());
        return true;
    });
    if (pSummary != nullptr)
        *pSummary = summary;
    return told;
}

constexpr Told read(std::size_t uiUnit, int iNumber = 0)
{
    return {uiUnit, {}, 0, false, iNumber};
}

constexpr Told readAt(std::size_t uiUnit, std::size_t uiSpsUnit, int iNumber = 0, bool bRepeat = false)
{
    return {uiUnit, uiSpsUnit, 0, bRepeat, iNumber};
}

constexpr Told missing(std::size_t uiUnit)
{
    return {uiUnit, {}, E_BS_NOT_ENOUGH_BITS, false, 0};
}

using ToldList = std::vector<Told>;

TEST(WaitingPps, IsReadBehindItsSps)
{
    StreamSummary summary;
    const ToldList told = readAll({ppsUnit(0, 0, 5), spsUnit(1), spsUnit(0), ppsUnit(1, 0, 6)}, &summary);
    EXPECT_EQ(told, (ToldList{read(1), read(2), readAt(0, 2, 5), read(3, 6)}));
    EXPECT_EQ(summary.ulParameterSets, 4U);
    EXPECT_EQ(summary.ulPps, 2U);
    EXPECT_EQ(summary.ulNotRead, 0U);
}

TEST(WaitingPps, IsReadInStreamOrderWithTheOthersOfItsSps)
{
    const ToldList told = readAll(
        {ppsUnit(7, 0, 1), ppsUnit(3, 2, 2), ppsUnit(5, 0, 3), ppsUnit(4, 9, 4), spsUnit(0), spsUnit(2), spsUnit(0)});
    EXPECT_EQ(
        told,
        (ToldList{
            read(4), readAt(0, 4, 1), readAt(2, 4, 3), read(5), readAt(1, 5, 2), {6, {}, 0, true, 0}, missing(3)}));
}

TEST(WaitingPps, OfOneIdComeIntoForceInStreamOrder)
{
    CParameterSetTables tables({});
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(tables.readNalUnit(ppsUnit(0, 0, i)).bWaiting);
    EXPECT_EQ(tables.pps(0), nullptr);
    tables.readNalUnit(spsUnit(0));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(tables.nextWaiting()->pps->init_qp_minus26, i);
        EXPECT_EQ(tables.pps(0)->init_qp_minus26, i);
    }
    EXPECT_FALSE(tables.nextWaiting().has_value());
    EXPECT_FALSE(tables.nextWithoutSps().has_value());
}

TEST(WaitingPps, IsRecognisedAsARepeatOfTheOneBeforeIt)
{
    EXPECT_EQ(readAll({ppsUnit(0, 0, 4), ppsUnit(0, 0, 4), spsUnit(0)}),
              (ToldList{read(2), readAt(0, 2, 4), readAt(1, 2, 4, true)}));
}

TEST(WaitingPps, DoesNotReplaceOneOfItsIdThatCameLater)
{
    CParameterSetTables tables({});
    tables.readNalUnit(spsUnit(0));
    EXPECT_TRUE(tables.readNalUnit(ppsUnit(0, 1, 1)).bWaiting);
    tables.readNalUnit(ppsUnit(0, 0, 2));
    tables.readNalUnit(spsUnit(1));
    const std::optional<ParameterSetEvent> waiting = tables.nextWaiting();
    ASSERT_TRUE(waiting.has_value());
    EXPECT_EQ(waiting->iRead, 0);
    EXPECT_EQ(waiting->pps->init_qp_minus26, 1);
    EXPECT_EQ(waiting->spsOfPps, tables.sps(1));
    EXPECT_EQ(tables.pps(0)->init_qp_minus26, 2);
}

// The one in force came first, but its repeat did not.
TEST(WaitingPps, DoesNotReplaceOneThatWasRepeatedLater)
{
    CParameterSetTables tables({});
    tables.readNalUnit(spsUnit(0));
    tables.readNalUnit(ppsUnit(0, 0, 2));
    tables.readNalUnit(ppsUnit(0, 1, 1));
    EXPECT_TRUE(tables.readNalUnit(ppsUnit(0, 0, 2)).bRepeat);
    tables.readNalUnit(spsUnit(1));
    EXPECT_TRUE(tables.nextWaiting().has_value());
    EXPECT_EQ(tables.pps(0)->init_qp_minus26, 2);
}

TEST(WaitingPps, ReplacesOneOfItsIdThatCameEarlier)
{
    CParameterSetTables tables({});
    tables.readNalUnit(spsUnit(0));
    tables.readNalUnit(ppsUnit(0, 0, 2));
    tables.readNalUnit(ppsUnit(0, 1, 1));
    EXPECT_EQ(tables.pps(0)->init_qp_minus26, 2);
    tables.readNalUnit(spsUnit(1));
    EXPECT_TRUE(tables.nextWaiting().has_value());
    EXPECT_EQ(tables.pps(0)->init_qp_minus26, 1);
}

TEST(WaitingPps, WaitsOnWhenItsSpsCannotBeRead)
{
    Bytes cut = spsUnit(0);
    cut.resize(cut.size() - 4);
    EXPECT_EQ(readAll({ppsUnit(0, 0, 1), cut, spsUnit(0)}), (ToldList{missing(1), read(2), readAt(0, 2, 1)}));
}

TEST(WaitingPps, WaitsOnWhenItsSpsDoesNotComeIntoForce)
{
    SpsSyntax tenBit;
    tenBit.bit_depth_luma_minus8 = 2;
    CParameterSetTables tables({.bEnterUnverified = false});
    EXPECT_TRUE(tables.readNalUnit(ppsUnit(0, 0)).bWaiting);
    tables.readNalUnit(nalUnit(SPS_NUT, write(tenBit)));
    EXPECT_FALSE(tables.nextWaiting().has_value());
    tables.readNalUnit(spsUnit(0));
    EXPECT_TRUE(tables.nextWaiting().has_value());
}

TEST(WaitingPps, IsReadEvenWhenTheCallerDoesNotAskForIt)
{
    CParameterSetTables tables({});
    tables.readNalUnit(ppsUnit(0, 0, 1));
    tables.readNalUnit(ppsUnit(1, 0, 2));
    tables.readNalUnit(spsUnit(0));
    tables.readNalUnit(Bytes{0x02, 0x01});
    ASSERT_NE(tables.pps(1), nullptr);
    EXPECT_EQ(tables.pps(0)->init_qp_minus26, 1);
    EXPECT_EQ(tables.pps(1)->init_qp_minus26, 2);
    EXPECT_FALSE(tables.nextWaiting().has_value());
}

TEST(WaitingPps, FailsBehindItsSpsWhenItIsCutShort)
{
    Bytes cut = ppsUnit(0, 0);
    cut.resize(cut.size() - 2);
    EXPECT_EQ(readAll({cut, spsUnit(0)}), (ToldList{read(1), {0, 1, E_BS_NOT_ENOUGH_BITS, false, 0}}));
}

// Before its ids end there is no telling which SPS it waits for.
TEST(WaitingPps, DoesNotWaitWhenItsIdsAreCutOff)
{
    const Bytes cut = {PPS_NUT << 1, 1, 0x01};
    EXPECT_EQ(readAll({cut, spsUnit(0)}), (ToldList{missing(0), read(1)}));
}

TEST(WaitingPps, TellsWhichSpsNeverCame)
{
    CParameterSetTables tables({});
    tables.readNalUnit(ppsUnit(4, 7), 100);
    tables.readNalUnit(ppsUnit(300, 260), 200); // kept modulo 256, told as coded
    tables.readNalUnit(ppsUnit(4, 7), 300);
    tables.readNalUnit(spsUnit(0), 400);
    std::optional<ParameterSetEvent> event = tables.nextWithoutSps();
    ASSERT_TRUE(event && event->missingSps);
    EXPECT_EQ(event->ulOffset, 100U);
    EXPECT_EQ(event->iRead, E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(event->logLines[0], "WARN: sps not found!");
    EXPECT_EQ(event->missingSps->pps_pic_parameter_set_id, 4U);
    EXPECT_EQ(event->missingSps->pps_seq_parameter_set_id, 7U);
    EXPECT_FALSE(event->ulReadAt.has_value());
    EXPECT_FALSE(event->bSeenBefore);
    event = tables.nextWithoutSps();
    ASSERT_TRUE(event && event->missingSps);
    EXPECT_EQ(event->missingSps->pps_pic_parameter_set_id, 300U);
    EXPECT_EQ(event->missingSps->pps_seq_parameter_set_id, 260U);
    event = tables.nextWithoutSps();
    ASSERT_TRUE(event.has_value());
    EXPECT_EQ(event->ulOffset, 300U);
    EXPECT_TRUE(event->bSeenBefore);
    EXPECT_EQ(event->ulSameAs, 100U);
    EXPECT_FALSE(tables.nextWithoutSps().has_value());
}

TEST(WaitingPps, IsReadByTheDecodersReaderToo)
{
    CParameterSetTables tables({.eReader = EBitReader::Decoder});
    const Bytes unit = nalUnit({.nal_unit_type = PPS_NUT}, Bytes(300, 0xff)); // 32 zero bits in front of the ones
    const ParameterSetEvent first = tables.readNalUnit(unit);
    EXPECT_TRUE(first.bWaiting);
    EXPECT_EQ(tables.nextWithoutSps()->missingSps->pps_pic_parameter_set_id, 0xfffffffeU);
}

TEST(WaitingPps, IsAnErrorAtOnceWhenTooManyWait)
{
    std::vector<Bytes> units;
    for (unsigned i = 0; i < CWaitingPpsList::MAX_UNITS + 2; ++i)
        units.push_back(ppsUnit(i % 64, i % 2, static_cast<int>(i / 64)));
    units.push_back(spsUnit(0));
    units.push_back(ppsUnit(5, 3));
    const ToldList told = readAll(units);
    ASSERT_EQ(told.size(), units.size());
    EXPECT_EQ(told[0], missing(256));
    EXPECT_EQ(told[1], missing(257));
    EXPECT_EQ(told[2], read(258));
    EXPECT_EQ(told[3], readAt(0, 258));
    EXPECT_EQ(told[130], readAt(254, 258, 3));
    EXPECT_EQ(told[131], missing(1)); // the end
    EXPECT_EQ(told.back(), missing(259));
}

TEST(WaitingPps, IsAnErrorAtOnceWhenTheWaitingBytesAreTooMany)
{
    Bytes half = ppsUnit(0, 0);
    half.resize(CWaitingPpsList::MAX_BYTES / 2, 0x55);
    Bytes more = half;
    more.push_back(0x55);
    EXPECT_EQ(readAll({half, more, half, ppsUnit(1, 0), spsUnit(0), ppsUnit(2, 9), half}),
              (ToldList{missing(1), missing(3), read(4), readAt(0, 4), readAt(2, 4), read(6), missing(5)}));
}

TEST(WaitingPps, IsHandedOnBeforeTheSourcesError)
{
    class CBrokenSource : public CByteSource
    {
    public:
        std::span<const unsigned char> next() override
        {
            if (m_bRead)
                throw CSourceError("gone", m_bytes.size());
            m_bRead = true;
            return m_bytes;
        }
        std::span<const unsigned char> head() override { return m_bytes; }

        Bytes m_bytes = byteStream({ppsUnit(0, 3), Bytes{0x02, 0x01}});
        bool m_bRead = false;
    };
    CBrokenSource source;
    CParameterSetStream reader({});
    unsigned uiMissing = 0;
    EXPECT_THROW(reader.read(source,
                             [&](const ParameterSetEvent& event) {
                                 uiMissing += event.missingSps ? 1U : 0U;
                                 return true;
                             }),
                 CSourceError);
    EXPECT_EQ(uiMissing, 1U);
}

TEST(WaitingPps, EndsTheReadingWhenTheSinkSaysSo)
{
    struct Case
    {
        const char* pName;
        std::vector<Bytes> units;
        std::size_t uiLast;
    };
    const Case aCases[] = {
        {"behind the SPS", {ppsUnit(0, 0), ppsUnit(1, 0), spsUnit(0), spsUnit(1)}, 2},
        {"at the end", {ppsUnit(0, 0), ppsUnit(1, 0), spsUnit(1)}, 2},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pName);
        Bytes stream;
        for (const Bytes& unit : c.units)
            stream = joined({stream, {0, 0, 0, 1}, unit});
        CParameterSetStream reader({});
        std::size_t uiSeen = 0;
        const StreamSummary summary =
            reader.read(*makeByteSource(stream), [&](const ParameterSetEvent&) { return ++uiSeen != c.uiLast; });
        EXPECT_TRUE(summary.bStopped);
        EXPECT_EQ(uiSeen, c.uiLast);
        EXPECT_EQ(summary.ulParameterSets, c.uiLast);
    }
}

TEST(WaitingPps, IsForgottenWithTheTables)
{
    CParameterSetTables tables({});
    tables.readNalUnit(ppsUnit(0, 0));
    tables.clear();
    tables.readNalUnit(spsUnit(0));
    EXPECT_FALSE(tables.nextWaiting().has_value());
    EXPECT_FALSE(tables.nextWithoutSps().has_value());
    tables.clear();
    EXPECT_EQ(tables.blocksInUse(), 0U);
}

} // namespace
} // namespace waiting_pps_test
