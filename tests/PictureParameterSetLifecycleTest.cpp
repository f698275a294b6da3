#include <cstddef>
#include <cstring>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "DamagedPayloads.h"
#include "ExactBits.h"
#include "PictureParameterSet.h"
#include "PictureParameterSetFixture.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace picture_parameter_set_lifecycle_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

TEST(CreatePPS, GivesAZeroedRecord)
{
    CTestPool pool;
    PPS* const pps = createPPS(pool.pool());
    ASSERT_NE(pps, nullptr);
    EXPECT_EQ(pool.calls(), (std::vector<PoolCall>{taken(sizeof(PPS), 654)}));
    EXPECT_TRUE(isAllZero(*pps));
    EXPECT_EQ(verifyPPS(pps), 0);
    destroyPPS(pps);
}

TEST(CreatePPS, GivesNullWithoutALineWhenThePoolGivesNone)
{
    const CLogCatcher log;
    CTestPool pool;
    pool.failTake(1);
    EXPECT_EQ(createPPS(pool.pool()), nullptr);
    EXPECT_EQ(pool.calls().size(), 1U);
    EXPECT_TRUE(log.lines().empty());
}

TEST(DestroyPPS, AcceptsNull)
{
    destroyPPS(nullptr);
}

TEST(DestroyPPS, ReleasesOnlyTheRecordWhenItSawNoPPS)
{
    CTestPool pool;
    PPS* const pps = createPPS(pool.pool());
    pool.forgetCalls();
    destroyPPS(pps);
    EXPECT_EQ(pool.calls(), (std::vector<PoolCall>{released(sizeof(PPS), 675)}));
    EXPECT_EQ(pool.blocksInUse(), 0U);
}

TEST(DestroyPPS, MakesSevenReleasesInOrder)
{
    CTestPool pool;
    CDecoder decoder;
    PPS* const pps = createPPS(pool.pool());
    const CExactBits bits(write(withEverything()));
    CRbspReader bs = bits.reader<CRbspReader>();
    ASSERT_EQ(readPPS(pps, decoder.m_spsArray.data(), &bs, pool.pool()), 0);
    pool.forgetCalls();
    destroyPPS(pps);
    EXPECT_EQ(pool.calls(),
              (std::vector<PoolCall>{released(sizeof(ScalingListData), 669),
                                     released(61 * 4, 670),
                                     released(61 * 4, 671),
                                     released(61 * 4, 672),
                                     released(3 * 4, 673),
                                     released(2 * 4, 674),
                                     released(sizeof(PPS), 675)}));
    EXPECT_EQ(pool.blocksInUse(), 0U);
}

TEST(DestroyPPS, ReleasesWhatThereIs)
{
    CTestPool pool;
    PPS* const pps = createPPS(pool.pool());
    pps->TileId = static_cast<unsigned*>(pool.take(8, "here", 1));
    pps->rowHeight = static_cast<unsigned*>(pool.take(12, "here", 2));
    ScalingListData foreign;
    pps->pScalingList = &foreign; // never owned
    pool.forgetCalls();
    destroyPPS(pps);
    EXPECT_EQ(pool.calls(), (std::vector<PoolCall>{released(8, 672), released(12, 674), released(sizeof(PPS), 675)}));
}

TEST(VerifyPPS, AcceptsEveryRecord)
{
    PPS pps;
    std::memset(static_cast<void*>(&pps), 0xff, sizeof(pps));
    EXPECT_EQ(verifyPPS(&pps), 0);
}

TEST(ReadPPSWithFailingPool, ReportsEveryRequestThatFailsAndCanBeReadAgain)
{
    const int aLines[] = {451, 456, 853, 856, 859, 485};
    const auto attempt = [&](std::size_t uiCall) {
        const CLogCatcher log;
        CDecoder decoder;
        decoder.m_pool.failTake(uiCall);
        const int iResult = decoder.read(withEverything());
        EXPECT_EQ(iResult, decoder.m_pool.hasFailed() ? E_NO_MEMORY : 0);
        if (!decoder.m_pool.hasFailed())
            return false;
        EXPECT_EQ(decoder.m_pool.calls().size(), uiCall);
        EXPECT_EQ(decoder.m_pool.calls().back().iLine, aLines[uiCall - 1]);
        EXPECT_TRUE(log.lines().empty());
        const void* const aBlock[] = {decoder.m_pps->colWidth,
                                      decoder.m_pps->rowHeight,
                                      decoder.m_pps->CtbAddrTsToRs,
                                      decoder.m_pps->CtbAddrRsToTs,
                                      decoder.m_pps->TileId,
                                      decoder.m_pps->pScalingListBuf};
        for (std::size_t i = 0; i < std::size(aBlock); ++i)
            EXPECT_EQ(aBlock[i] != nullptr, i + 1 < uiCall) << i;
        EXPECT_EQ(decoder.m_pps->pScalingList, nullptr);
        EXPECT_EQ(decoder.read(withEverything()), 0);
        EXPECT_EQ(decoder.m_pool.blocksInUse(), 7U);
        return true;
    };
    EXPECT_EQ(failEachTake(attempt), std::size(aLines));
}

TEST(ReadPPSWithFailingPool, LeavesADestroyableRecordAtEveryRequest)
{
    const auto attempt = [](std::size_t uiCall) {
        CTestPool pool;
        CDecoder decoder;
        PPS* const pps = createPPS(pool.pool());
        pool.failTake(uiCall);
        const CExactBits bits(write(withEverything()));
        CRbspReader bs = bits.reader<CRbspReader>();
        const int iResult = readPPS(pps, decoder.m_spsArray.data(), &bs, pool.pool());
        EXPECT_EQ(iResult, pool.hasFailed() ? E_NO_MEMORY : 0);
        destroyPPS(pps);
        EXPECT_EQ(pool.blocksInUse(), 0U);
        return pool.hasFailed();
    };
    EXPECT_EQ(failEachTake(attempt), 6U);
}

TEST(ReadPPSWithFailingPool, LosesOutgrownSizesThatAreNotReplaced)
{
    CDecoder decoder;
    EXPECT_EQ(decoder.read(withTiles(2, 2)), 0);
    decoder.m_pool.failTake(1);
    EXPECT_EQ(decoder.read(withTiles(3, 2)), E_NO_MEMORY);
    EXPECT_EQ(decoder.m_pps->num_tile_columns_minus1, 2U);
    EXPECT_EQ(decoder.m_pps->colWidth, nullptr);
    EXPECT_NE(decoder.m_pps->rowHeight, nullptr);
    decoder.m_pool.forgetCalls();
    EXPECT_EQ(decoder.read(withTiles(2, 2)), 0);
    EXPECT_EQ(decoder.m_pool.calls(), (std::vector<PoolCall>{taken(8, 451)}));
}

} // namespace
} // namespace picture_parameter_set_lifecycle_test
