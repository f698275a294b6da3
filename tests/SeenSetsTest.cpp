// Sets whose bytes equal an earlier one's and whose record would be the same: ulSameAs.

#include "SeenSets.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "DecParameterSetReader.h"
#include "NalUnitWriter.h"
#include "ParameterSetTables.h"
#include "SyntaxWriters.h"

namespace seen_sets_test {

using namespace h265_stream;
using namespace h265_test;

namespace {

Bytes spsUnit(unsigned uiWidth)
{
    SpsSyntax syntax;
    syntax.pic_width_in_luma_samples = uiWidth;
    return nalUnit(SPS_NUT, write(syntax));
}

Bytes ppsUnit(int iNumber = 0)
{
    return nalUnit(PPS_NUT, write(PpsSyntax{.init_qp_minus26 = iNumber, .tiles = TilesSyntax{}}));
}

using Offset = std::optional<std::uint64_t>;

class SameAs : public testing::Test
{
protected:
    // Units stand 100 bytes apart.
    Offset sameAs(const Bytes& unit)
    {
        m_ulOffset += 100;
        const ParameterSetEvent event = m_tables.readNalUnit(unit, m_ulOffset);
        EXPECT_EQ(event.ulOffset, m_ulOffset);
        EXPECT_TRUE(!event.bRepeat || event.ulSameAs);
        return event.ulSameAs;
    }

    CParameterSetTables m_tables{StreamOptions{}};
    std::uint64_t m_ulOffset = 0;
};

TEST_F(SameAs, IsTheFirstOfAllRepeats)
{
    EXPECT_EQ(sameAs(spsUnit(640)), Offset());
    EXPECT_EQ(sameAs(spsUnit(640)), 100U);
    EXPECT_EQ(sameAs(spsUnit(640)), 100U);
}

TEST_F(SameAs, IsToldWhenAnotherSetWasInForceBetween)
{
    EXPECT_EQ(sameAs(spsUnit(640)), Offset());
    EXPECT_EQ(sameAs(spsUnit(320)), Offset());
    EXPECT_EQ(sameAs(spsUnit(640)), 100U);
    EXPECT_EQ(sameAs(spsUnit(640)), 100U);
    EXPECT_EQ(sameAs(spsUnit(320)), 200U);
}

TEST_F(SameAs, OfAPpsNeedsAnSpsOfTheSameContent)
{
    EXPECT_EQ(sameAs(spsUnit(640)), Offset());
    EXPECT_EQ(sameAs(ppsUnit()), Offset()); // 200
    EXPECT_EQ(sameAs(spsUnit(1280)), Offset());
    EXPECT_EQ(sameAs(ppsUnit()), Offset()); // 400: other tile tables
    EXPECT_EQ(sameAs(spsUnit(640)), 100U);
    EXPECT_EQ(sameAs(ppsUnit()), 200U);
    EXPECT_EQ(m_tables.pps(0)->colWidth[0], 5U);
    EXPECT_EQ(sameAs(spsUnit(1280)), 300U);
    EXPECT_EQ(sameAs(ppsUnit()), 400U);
    EXPECT_EQ(sameAs(ppsUnit()), 400U);
    EXPECT_EQ(m_tables.pps(0)->colWidth[0], 10U);
}

TEST_F(SameAs, IsToldOfSetsThatFailedInTheSameWay)
{
    Bytes cut = spsUnit(640);
    cut.resize(cut.size() - 4);
    EXPECT_EQ(sameAs(cut), Offset());
    EXPECT_EQ(sameAs(spsUnit(640)), Offset());
    EXPECT_EQ(sameAs(cut), 100U);
    Bytes cutPps = ppsUnit();
    cutPps.resize(cutPps.size() - 2);
    EXPECT_EQ(sameAs(cutPps), Offset()); // 400
    EXPECT_EQ(sameAs(cutPps), 400U);
    EXPECT_EQ(sameAs(spsUnit(320)), Offset());
    EXPECT_EQ(sameAs(cutPps), Offset()); // against another SPS
}

TEST_F(SameAs, IsToldOfSetsThatWerePassedOver)
{
    const Bytes otherLayer = nalUnit({.nal_unit_type = SPS_NUT, .nuh_layer_id = 1}, {0x55});
    EXPECT_EQ(sameAs(otherLayer), Offset());
    EXPECT_EQ(sameAs({SPS_NUT << 1}), Offset());
    EXPECT_EQ(sameAs(otherLayer), 100U);
    EXPECT_EQ(sameAs({SPS_NUT << 1}), 200U);
    EXPECT_EQ(sameAs({0x02, 0x01}), Offset()); // slices are not looked at
    EXPECT_EQ(sameAs({0x02, 0x01}), Offset());
}

TEST_F(SameAs, IsToldOfSetsThatDoNotComeIntoForce)
{
    SpsSyntax tenBit;
    tenBit.bit_depth_luma_minus8 = 2;
    CParameterSetTables tables({.bEnterUnverified = false});
    EXPECT_FALSE(tables.readNalUnit(nalUnit(SPS_NUT, write(tenBit)), 7).ulSameAs.has_value());
    const ParameterSetEvent event = tables.readNalUnit(nalUnit(SPS_NUT, write(tenBit)), 50);
    EXPECT_EQ(event.ulSameAs, 7U);
    EXPECT_TRUE(event.bSeenBefore);
    EXPECT_NE(event.sps, nullptr);
}

// With less memory in the pool the same bytes come to another end.
TEST_F(SameAs, IsNotToldWhenMemoryMadeTheDifference)
{
    CParameterSetTables tables({.ulPoolBytes = 16384});
    SpsSyntax sps;
    sps.pic_width_in_luma_samples = 2048;
    sps.pic_height_in_luma_samples = 2048;
    tables.readNalUnit(nalUnit(SPS_NUT, write(sps)), 1);
    EXPECT_EQ(tables.readNalUnit(ppsUnit(), 2).iRead, h265_codec::E_NO_MEMORY);
    const ParameterSetEvent event = tables.readNalUnit(ppsUnit(), 3);
    EXPECT_EQ(event.iRead, h265_codec::E_NO_MEMORY);
    EXPECT_EQ(event.ulSameAs, 2U);
}

TEST_F(SameAs, ForgetsTheFirstOfVeryManySets)
{
    EXPECT_EQ(sameAs(spsUnit(640)), Offset());
    for (unsigned i = 0; i < 4096; ++i)
        sameAs({VPS_NUT << 1, 9, static_cast<unsigned char>(i >> 8), static_cast<unsigned char>(i)});
    EXPECT_EQ(sameAs(spsUnit(640)), 100U); // still in force
    EXPECT_EQ(sameAs(spsUnit(320)), Offset());
    const std::uint64_t ulAgain = m_ulOffset + 100;
    EXPECT_EQ(sameAs(spsUnit(640)), Offset()); // new, as far as anyone knows
    EXPECT_EQ(sameAs(spsUnit(640)), ulAgain);
}

TEST_F(SameAs, IsNotToldOfSetsTooLongToBeKept)
{
    Bytes unit = spsUnit(640);
    unit.resize((std::size_t{64} << 10) + 1, 0x55);
    EXPECT_EQ(sameAs(unit), Offset());
    EXPECT_EQ(sameAs(unit), Offset());
    unit.pop_back();
    EXPECT_EQ(sameAs(unit), Offset());
    EXPECT_EQ(sameAs(unit), 300U);
}

TEST_F(SameAs, IsForgottenWithTheTables)
{
    sameAs(spsUnit(640));
    m_tables.clear();
    EXPECT_EQ(sameAs(spsUnit(640)), Offset());
}

// What the same bytes came to is a part of what is compared.
TEST(SeenSets, TellOutcomesOfTheSameBytesApart)
{
    const std::vector<std::string> lines = {"a line"};
    std::vector<ParameterSetEvent> events(8);
    events[1].iRead = 0;
    events[2].iRead = 0;
    events[2].iVerify = 0;
    events[3].iRead = 0;
    events[3].iVerify = -1;
    events[4].lastMessage = "why";
    events[5].logLines = lines;
    events[6].eRefusal = ERefusal::PictureTooLarge;
    events[7].eRefusal = ERefusal::TooMuchWork;
    CSeenSets seen;
    const Bytes unit = {1, 2, 3};
    std::uint64_t ulOffset = 1;
    for (const ParameterSetEvent& event : events) {
        for (const std::uint64_t ulSpsContent : {0U, 1U}) {
            EXPECT_FALSE(seen.note(event, unit, ulSpsContent, {ulOffset, ulOffset}).has_value());
            EXPECT_EQ(seen.note(event, unit, ulSpsContent, {99, 99})->ulOffset, ulOffset);
            EXPECT_EQ(seen.note(event, unit, ulSpsContent, {99, 99})->ulContent, ulOffset);
            ++ulOffset;
        }
    }
}

} // namespace
} // namespace seen_sets_test
