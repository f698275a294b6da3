#include "ParameterSetStream.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ByteSource.h"
#include "DecParameterSetReader.h"
#include "NalUnitWriter.h"
#include "SyntaxWriters.h"

namespace parameter_set_stream_test {

using namespace h265_codec;
using namespace h265_stream;
using namespace h265_test;

namespace {

// What a sink can keep of an event.
struct Seen
{
    NalUnitHeader header;
    std::uint64_t ulOffset;
    std::uint64_t ulSize;
    bool bCutOff;
    bool bPassedOver;
    bool bRepeat;
    std::uint64_t ulReading;
    std::optional<int> iRead;
    std::optional<int> iVerify;
    std::vector<std::string> logLines;
    bool bRecord;
};

class CSeenList
{
public:
    ParameterSetSink sink()
    {
        return [this](const ParameterSetEvent& event) {
            m_seen.push_back({event.header,
                              event.ulOffset,
                              event.ulSize,
                              event.bCutOff,
                              event.bPassedOver,
                              event.bRepeat,
                              event.ulReading,
                              event.iRead,
                              event.iVerify,
                              {event.logLines.begin(), event.logLines.end()},
                              event.vps != nullptr || event.sps != nullptr || event.pps != nullptr});
            return m_seen.size() != m_uiLast;
        };
    }

    std::vector<Seen> m_seen;
    std::size_t m_uiLast = 0;
};

// Bytes in pieces of a fixed size, each of them gone with the next call.
class CPieceSource : public CByteSource
{
public:
    CPieceSource(Bytes bytes, std::size_t uiPiece) : m_bytes(std::move(bytes)), m_uiPiece(uiPiece) {}

    std::span<const unsigned char> next() override
    {
        const auto left = std::span(m_bytes).subspan(m_uiPosition);
        const auto piece = left.first(std::min(m_uiPiece, left.size()));
        m_uiPosition += piece.size();
        m_piece = Bytes(piece.begin(), piece.end());
        return m_piece;
    }

    std::span<const unsigned char> head() override { return m_bytes; }

private:
    Bytes m_bytes;
    Bytes m_piece;
    std::size_t m_uiPiece;
    std::size_t m_uiPosition = 0;
};

class CFailingSource : public CByteSource
{
public:
    explicit CFailingSource(Bytes bytes) : m_bytes(std::move(bytes)) {}

    std::span<const unsigned char> next() override
    {
        if (m_bFirst) {
            m_bFirst = false;
            return m_bytes;
        }
        throw CSourceError("the disk is gone", m_bytes.size());
    }

    std::span<const unsigned char> head() override { return m_bytes; }

private:
    Bytes m_bytes;
    bool m_bFirst = true;
};

const Bytes VPS_UNIT = nalUnit(VPS_NUT, write(VpsSyntax{}));
const Bytes SPS_UNIT = nalUnit(SPS_NUT, write(SpsSyntax{}));
const Bytes PPS_UNIT = nalUnit(PPS_NUT, write(PpsSyntax{}));
const Bytes SLICE_UNIT = {0x02, 0x01, 0x55, 0x55};

std::vector<Seen> readAll(const Bytes& stream, StreamSummary* pSummary = nullptr)
{
    CParameterSetStream reader({});
    CSeenList list;
    const StreamSummary summary = reader.read(*makeByteSource(stream), list.sink());
    if (pSummary != nullptr)
        *pSummary = summary;
    return list.m_seen;
}

TEST(ParameterSetStream, ReportsSetsInStreamOrder)
{
    const Bytes stream = byteStream({VPS_UNIT, SPS_UNIT, PPS_UNIT, SLICE_UNIT, SPS_UNIT, SLICE_UNIT});
    StreamSummary summary;
    const std::vector<Seen> seen = readAll(stream, &summary);
    ASSERT_EQ(seen.size(), 4U);
    EXPECT_EQ(seen[0].header.nal_unit_type, VPS_NUT);
    EXPECT_EQ(seen[0].ulOffset, 4U);
    EXPECT_EQ(seen[0].ulSize, VPS_UNIT.size());
    EXPECT_EQ(seen[1].header.nal_unit_type, SPS_NUT);
    EXPECT_EQ(seen[1].ulOffset, 8 + VPS_UNIT.size());
    EXPECT_EQ(seen[2].header.nal_unit_type, PPS_NUT);
    EXPECT_EQ(seen[2].ulReading, 3U);
    EXPECT_FALSE(seen[2].bRepeat);
    EXPECT_TRUE(seen[3].bRepeat);
    EXPECT_EQ(seen[3].ulReading, seen[1].ulReading);
    EXPECT_TRUE(seen[3].bRecord);
    EXPECT_EQ(summary.ulBytes, stream.size());
    EXPECT_EQ(summary.ulNalUnits, 6U);
    EXPECT_EQ(summary.ulParameterSets, 4U);
    EXPECT_EQ(summary.ulVps, 1U);
    EXPECT_EQ(summary.ulSps, 2U);
    EXPECT_EQ(summary.ulPps, 1U);
    EXPECT_EQ(summary.ulPassedOver, 0U);
    EXPECT_EQ(summary.ulNotRead, 0U);
    EXPECT_EQ(summary.ulNotSupported, 0U);
    EXPECT_FALSE(summary.bStopped);
}

TEST(ParameterSetStream, CountsWhatBecameOfTheSets)
{
    SpsSyntax tenBit;
    tenBit.bit_depth_luma_minus8 = 2;
    const Bytes otherLayer = nalUnit({.nal_unit_type = SPS_NUT, .nuh_layer_id = 3}, write(SpsSyntax{}).bytes());
    StreamSummary summary;
    const std::vector<Seen> seen =
        readAll(byteStream({{0x42, 1}, otherLayer, nalUnit(SPS_NUT, write(tenBit)), SLICE_UNIT, {0x40}}), &summary);
    ASSERT_EQ(seen.size(), 4U);
    EXPECT_EQ(seen[0].iRead, E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(seen[0].logLines.size(), 1U);
    EXPECT_FALSE(seen[0].bRecord);
    EXPECT_TRUE(seen[1].bPassedOver);
    EXPECT_EQ(seen[1].header.nuh_layer_id, 3);
    EXPECT_FALSE(seen[1].iRead.has_value());
    EXPECT_EQ(seen[2].iVerify, E_BS_NOT_ENOUGH_BITS);
    EXPECT_TRUE(seen[2].bRecord);
    EXPECT_EQ(seen[3].ulSize, 1U);
    EXPECT_TRUE(seen[3].bCutOff);
    EXPECT_EQ(summary.ulParameterSets, 4U);
    EXPECT_EQ(summary.ulVps, 0U);
    EXPECT_EQ(summary.ulSps, 2U);
    EXPECT_EQ(summary.ulPps, 0U);
    EXPECT_EQ(summary.ulPassedOver, 1U);
    EXPECT_EQ(summary.ulNotRead, 2U);
    EXPECT_EQ(summary.ulNotSupported, 1U);
}

TEST(ParameterSetStream, CountsASetWithForbiddenZeroBitAsNotRead)
{
    const Bytes forbidden = nalUnit({.forbidden_zero_bit = true, .nal_unit_type = SPS_NUT}, write(SpsSyntax{}).bytes());
    StreamSummary summary;
    EXPECT_TRUE(readAll(byteStream({forbidden}), &summary).at(0).bPassedOver);
    EXPECT_EQ(summary.ulPassedOver, 0U);
    EXPECT_EQ(summary.ulNotRead, 1U);
    EXPECT_EQ(summary.ulSps, 0U);
}

TEST(ParameterSetStream, HoldsNothingOfAnEmptyStream)
{
    StreamSummary summary;
    EXPECT_TRUE(readAll({}, &summary).empty());
    EXPECT_EQ(summary.ulBytes, 0U);
    EXPECT_EQ(summary.ulNalUnits, 0U);
    EXPECT_TRUE(readAll(Bytes(5000, 0x47), &summary).empty());
    EXPECT_EQ(summary.ulBytes, 5000U);
    EXPECT_EQ(summary.ulNalUnits, 0U);
}

TEST(ParameterSetStream, ReadsASetCutByTheEndOfTheStream)
{
    Bytes stream = byteStream({VPS_UNIT, SPS_UNIT});
    stream.erase(stream.end() - 5, stream.end());
    const std::vector<Seen> seen = readAll(stream);
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[1].ulSize, SPS_UNIT.size() - 5);
    EXPECT_NE(seen[1].iRead, 0);
}

TEST(ParameterSetStream, GivesTheSameForPiecesOfAnySize)
{
    const Bytes stream = byteStream({VPS_UNIT, SPS_UNIT, PPS_UNIT, SLICE_UNIT, SPS_UNIT, PPS_UNIT, SLICE_UNIT});
    const std::vector<Seen> whole = readAll(stream);
    ASSERT_EQ(whole.size(), 5U);
    for (const std::size_t uiPiece : {1U, 2U, 3U, 7U, 50U}) {
        SCOPED_TRACE(uiPiece);
        CParameterSetStream reader({});
        CPieceSource source(stream, uiPiece);
        CSeenList list;
        EXPECT_EQ(reader.read(source, list.sink()).ulNalUnits, 7U);
        ASSERT_EQ(list.m_seen.size(), whole.size());
        for (std::size_t i = 0; i < whole.size(); ++i) {
            EXPECT_EQ(list.m_seen[i].ulOffset, whole[i].ulOffset);
            EXPECT_EQ(list.m_seen[i].ulSize, whole[i].ulSize);
            EXPECT_EQ(list.m_seen[i].bRepeat, whole[i].bRepeat);
            EXPECT_EQ(list.m_seen[i].iRead, whole[i].iRead);
        }
    }
}

TEST(ParameterSetStream, HandsOnTheBytesOfSetsAndTheFirstOfOtherUnits)
{
    Bytes longSlice(100, 0x55);
    std::ranges::copy(SLICE_UNIT, longSlice.begin());
    // The PPS waits for its SPS: it is handed on in its place, and its event stands behind that SPS.
    const Bytes stream = byteStream({VPS_UNIT, PPS_UNIT, SPS_UNIT, SLICE_UNIT, longSlice, SPS_UNIT});
    const std::vector<Bytes> expected = {
        VPS_UNIT, PPS_UNIT, SPS_UNIT, PPS_UNIT, SLICE_UNIT, Bytes(longSlice.begin(), longSlice.begin() + 16), SPS_UNIT};
    for (const std::size_t uiPiece : {1U, 7U, 1000U}) {
        SCOPED_TRACE(uiPiece);
        CParameterSetStream reader({});
        CPieceSource source(stream, uiPiece);
        std::vector<Bytes> told;
        reader.read(
            source,
            [&](const ParameterSetEvent& event) {
                told.emplace_back(event.bytes.begin(), event.bytes.end());
                return true;
            },
            [&](const NalUnit& unit) { told.emplace_back(unit.bytes.begin(), unit.bytes.end()); });
        EXPECT_EQ(told, expected);
    }
}

TEST(ParameterSetStream, EndsWhenTheSinkSaysSo)
{
    const Bytes stream = byteStream({VPS_UNIT, SPS_UNIT, PPS_UNIT});
    for (const std::size_t uiPiece : {3U, 1000U}) {
        for (std::size_t uiLast = 1; uiLast <= 3; ++uiLast) {
            CParameterSetStream reader({});
            CPieceSource source(stream, uiPiece);
            CSeenList list;
            list.m_uiLast = uiLast;
            const StreamSummary summary = reader.read(source, list.sink());
            EXPECT_TRUE(summary.bStopped);
            EXPECT_EQ(summary.ulParameterSets, uiLast);
            EXPECT_EQ(list.m_seen.size(), uiLast);
        }
    }
}

TEST(ParameterSetStream, StartsEachStreamWithEmptyTables)
{
    CParameterSetStream reader({});
    const Bytes first = byteStream({VPS_UNIT, SPS_UNIT, PPS_UNIT, {0x02, 0x01, 0x00, 0x00}});
    const Bytes second = byteStream({PPS_UNIT, SPS_UNIT});
    for (unsigned i = 0; i < 2; ++i) {
        CSeenList ofFirst;
        reader.read(*makeByteSource(first), ofFirst.sink());
        ASSERT_EQ(ofFirst.m_seen.size(), 3U);
        EXPECT_EQ(ofFirst.m_seen[2].iRead, 0);
        EXPECT_FALSE(ofFirst.m_seen[2].bRepeat);
        CSeenList ofSecond;
        reader.read(*makeByteSource(second), ofSecond.sink());
        ASSERT_EQ(ofSecond.m_seen.size(), 2U);
        EXPECT_EQ(ofSecond.m_seen[0].header.nal_unit_type, SPS_NUT); // the PPS waited for this stream's
        EXPECT_EQ(ofSecond.m_seen[0].ulReading, 1U);
        EXPECT_FALSE(ofSecond.m_seen[0].bRepeat);
        EXPECT_FALSE(ofSecond.m_seen[1].bRepeat);
    }
}

TEST(ParameterSetStream, CanBeUsedAgainAfterAnEarlyEnd)
{
    CParameterSetStream reader({});
    CSeenList list;
    list.m_uiLast = 1;
    reader.read(*makeByteSource(byteStream({SPS_UNIT, PPS_UNIT})), list.sink());
    EXPECT_EQ(readAll(byteStream({SPS_UNIT, PPS_UNIT})).size(), 2U);
    CSeenList after;
    const Bytes stream = byteStream({SPS_UNIT, PPS_UNIT});
    reader.read(*makeByteSource(stream), after.sink());
    ASSERT_EQ(after.m_seen.size(), 2U);
    EXPECT_EQ(after.m_seen[0].ulOffset, 4U);
}

TEST(ParameterSetStream, PassesASourcesErrorOn)
{
    CParameterSetStream reader({});
    CFailingSource source(byteStream({SPS_UNIT, PPS_UNIT}));
    CSeenList list;
    try {
        reader.read(source, list.sink());
        ADD_FAILURE() << "no error";
    } catch (const CSourceError& error) {
        EXPECT_STREQ(error.what(), "the disk is gone");
        EXPECT_EQ(error.offset(), byteStream({SPS_UNIT, PPS_UNIT}).size());
    }
    EXPECT_EQ(list.m_seen.size(), 1U); // the last unit could go on
}

TEST(ParameterSetStream, CountsAllBytesOfALongSet)
{
    Bytes unit = SPS_UNIT;
    unit.resize(unit.size() + (std::size_t{3} << 20), 0x55);
    CParameterSetStream reader({});
    CPieceSource source(byteStream({unit, PPS_UNIT}), 100000);
    CSeenList list;
    reader.read(source, list.sink());
    ASSERT_EQ(list.m_seen.size(), 2U);
    EXPECT_EQ(list.m_seen[0].ulSize, unit.size());
    EXPECT_EQ(list.m_seen[0].iRead, 0);
    EXPECT_EQ(list.m_seen[1].iRead, 0);
}

TEST(ParameterSetStream, AHeadEndsWithTheFirstSliceSegmentOnceItsHeaderHasCome)
{
    const Bytes stream = byteStream({VPS_UNIT, SPS_UNIT, PPS_UNIT, SLICE_UNIT, SPS_UNIT});
    const std::size_t uiHeader = stream.size() - SPS_UNIT.size() - 4 - SLICE_UNIT.size() + 2;
    for (std::size_t uiPiece = 1; uiPiece <= stream.size(); ++uiPiece) {
        SCOPED_TRACE(uiPiece);
        CParameterSetStream reader({});
        CSeenList list;
        CPieceSource source(stream, uiPiece);
        const StreamSummary summary = reader.read(source, list.sink(), {}, true);
        EXPECT_EQ(list.m_seen.size(), 3U);
        EXPECT_FALSE(summary.bStopped);
        EXPECT_EQ(summary.ulBytes, std::min(stream.size(), (uiHeader + uiPiece - 1) / uiPiece * uiPiece));
    }
}

TEST(ParameterSetUnits, GivesTheEventsOfAStreamWithTheNumbersOfItsUnits)
{
    const std::vector<Bytes> units = {VPS_UNIT, PPS_UNIT, SPS_UNIT, SLICE_UNIT, SPS_UNIT};
    CParameterSetUnits reader({});
    CSeenList list;
    std::size_t uiOthers = 0;
    for (std::size_t i = 0; i < units.size(); ++i) {
        const Bytes& unit = units[i];
        EXPECT_TRUE(reader.push({parseNalUnitHeader(unit[0], unit[1]), 10 * i, unit.size(), unit},
                                list.sink(),
                                [&](const NalUnit&) { ++uiOthers; }));
    }
    const StreamSummary summary = reader.end(list.sink());
    ASSERT_EQ(list.m_seen.size(), 4U);
    EXPECT_EQ(list.m_seen[1].ulOffset, 20U);
    EXPECT_EQ(list.m_seen[2].ulOffset, 10U); // the PPS, behind its SPS
    EXPECT_EQ(list.m_seen[2].iRead, 0);
    EXPECT_TRUE(list.m_seen[3].bRepeat);
    EXPECT_EQ(uiOthers, 2U); // the slice, and the PPS while it waits
    EXPECT_EQ(summary.ulNalUnits, 5U);
    EXPECT_EQ(summary.ulParameterSets, 4U);
}

TEST(ParameterSetUnits, TellsAtTheEndWhatWaitsForItsSps)
{
    CParameterSetUnits reader({});
    CSeenList list;
    EXPECT_TRUE(reader.push({parseNalUnitHeader(PPS_UNIT[0], PPS_UNIT[1]), 1, PPS_UNIT.size(), PPS_UNIT}, list.sink()));
    EXPECT_TRUE(list.m_seen.empty());
    EXPECT_EQ(reader.end(list.sink()).ulNotRead, 1U);
    ASSERT_EQ(list.m_seen.size(), 1U);
    EXPECT_EQ(list.m_seen[0].ulOffset, 1U);
}

} // namespace
} // namespace parameter_set_stream_test
