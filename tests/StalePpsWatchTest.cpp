// SPSs that are replaced while PPSs that were read against the old one are not sent again.

#include "StalePpsWatch.h"

#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "ByteSource.h"
#include "NalUnitWriter.h"
#include "ParameterSetStream.h"
#include "ParameterSetTables.h"
#include "SyntaxWriters.h"

namespace h265_stream {

static bool operator==(const StalePps& left, const StalePps& right)
{
    return left.uiSpsId == right.uiSpsId && left.ulSpsOffset == right.ulSpsOffset && left.ppsIds == right.ppsIds;
}

} // namespace h265_stream

namespace stale_pps_watch_test {

using namespace h265_stream;
using namespace h265_test;

namespace {

Bytes spsUnit(unsigned uiId, unsigned uiWidth)
{
    SpsSyntax syntax;
    syntax.sps_seq_parameter_set_id = uiId;
    syntax.pic_width_in_luma_samples = uiWidth;
    return nalUnit(SPS_NUT, write(syntax));
}

Bytes ppsUnit(unsigned uiId, unsigned uiSpsId)
{
    return nalUnit(PPS_NUT, write(PpsSyntax{.pps_pic_parameter_set_id = uiId, .pps_seq_parameter_set_id = uiSpsId}));
}

using StaleList = std::vector<StalePps>;

class StalePpsWatch : public testing::Test
{
protected:
    // Units stand 100 bytes apart.
    void feed(std::initializer_list<Bytes> units)
    {
        for (const Bytes& unit : units)
            m_tables.readNalUnit(unit, m_ulOffset += 100);
    }

    CParameterSetTables m_tables{StreamOptions{}};
    std::uint64_t m_ulOffset = 0;
};

TEST_F(StalePpsWatch, NamesThePpssThatAreNotSentAgain)
{
    feed({spsUnit(0, 640), spsUnit(1, 640), ppsUnit(7, 0), ppsUnit(2, 0), ppsUnit(3, 0), ppsUnit(4, 1)});
    EXPECT_EQ(m_tables.stalePps(), StaleList());
    feed({spsUnit(0, 320)});
    EXPECT_EQ(m_tables.stalePps(), (StaleList{{0, 700, {2, 3, 7}}}));
    feed({ppsUnit(3, 0)});
    EXPECT_EQ(m_tables.stalePps(), (StaleList{{0, 700, {2, 7}}}));
    feed({ppsUnit(7, 0), ppsUnit(2, 0)});
    EXPECT_EQ(m_tables.stalePps(), StaleList());
}

TEST_F(StalePpsWatch, SaysNothingOfRepeatedSpss)
{
    feed({spsUnit(0, 640), ppsUnit(0, 0), spsUnit(0, 640), spsUnit(0, 640)});
    EXPECT_EQ(m_tables.stalePps(), StaleList());
}

TEST_F(StalePpsWatch, TellsEveryReplacement)
{
    feed({spsUnit(0, 640), ppsUnit(0, 0), ppsUnit(1, 0)});
    feed({spsUnit(0, 320), ppsUnit(0, 0)}); // 400: not 1
    feed({spsUnit(0, 160)});                // 600: neither
    EXPECT_EQ(m_tables.stalePps(), (StaleList{{0, 400, {1}}, {0, 600, {0, 1}}}));
}

// PPS 1 was read against the SPS that comes back, PPS 0 against the one between.
TEST_F(StalePpsWatch, KnowsAnSpsThatComesBack)
{
    feed({spsUnit(0, 640), ppsUnit(0, 0), ppsUnit(1, 0), spsUnit(0, 320), ppsUnit(0, 0), spsUnit(0, 640)});
    EXPECT_EQ(m_tables.stalePps(), (StaleList{{0, 400, {1}}, {0, 600, {0}}}));
}

TEST_F(StalePpsWatch, CountsAPpsThatRefersToAnotherSpsNowAsSentAgain)
{
    feed({spsUnit(0, 640), spsUnit(1, 640), ppsUnit(0, 0), spsUnit(0, 320), ppsUnit(0, 1)});
    EXPECT_EQ(m_tables.stalePps(), StaleList());
}

TEST_F(StalePpsWatch, DoesNotCountAPpsThatCannotBeReadAsSentAgain)
{
    Bytes cut = ppsUnit(0, 0);
    cut.resize(cut.size() - 2);
    feed({spsUnit(0, 640), ppsUnit(0, 0), spsUnit(0, 320), cut});
    EXPECT_EQ(m_tables.stalePps(), (StaleList{{0, 300, {0}}}));
}

TEST_F(StalePpsWatch, DoesNotCountAnSpsThatCannotBeReadAsAReplacement)
{
    Bytes cut = spsUnit(0, 320);
    cut.resize(cut.size() - 4);
    feed({spsUnit(0, 640), ppsUnit(0, 0), cut});
    EXPECT_EQ(m_tables.stalePps(), StaleList());
}

TEST_F(StalePpsWatch, SortsByTheSpssOffsets)
{
    feed({spsUnit(0, 640), spsUnit(1, 640), ppsUnit(0, 0), ppsUnit(1, 1)});
    feed({spsUnit(1, 320), spsUnit(0, 320), spsUnit(0, 160)});
    EXPECT_EQ(m_tables.stalePps(), (StaleList{{1, 500, {1}}, {0, 600, {0}}, {0, 700, {0}}}));
}

TEST_F(StalePpsWatch, IsBounded)
{
    feed({spsUnit(0, 640), ppsUnit(0, 0)});
    for (unsigned i = 0; i < CStalePpsWatch::MAX_STALE; ++i)
        feed({spsUnit(0, 8 + 8 * (i % 2))});
    EXPECT_EQ(m_tables.stalePps().size(), CStalePpsWatch::MAX_STALE);
    feed({spsUnit(0, 648)});
    EXPECT_EQ(m_tables.stalePps().size(), CStalePpsWatch::MAX_STALE);
    EXPECT_EQ(m_tables.stalePps().back().ulSpsOffset, 100 * (2 + CStalePpsWatch::MAX_STALE));
}

TEST_F(StalePpsWatch, ForgetsWithTheTables)
{
    feed({spsUnit(0, 640), ppsUnit(0, 0), spsUnit(0, 320), spsUnit(0, 160)});
    m_tables.clear();
    EXPECT_EQ(m_tables.stalePps(), StaleList());
}

TEST(StalePpsOfAStream, StandInItsSummary)
{
    const Bytes first = byteStream({spsUnit(0, 640), ppsUnit(9, 0)});
    CParameterSetStream reader({});
    const auto all = [](const ParameterSetEvent&) { return true; };
    EXPECT_EQ(reader.read(*makeByteSource(joined({first, byteStream({spsUnit(0, 320)})})), all).stale,
              (StaleList{{0, first.size() + 4, {9}}}));
    EXPECT_EQ(reader.read(*makeByteSource(first), all).stale, StaleList());
}

} // namespace
} // namespace stale_pps_watch_test
