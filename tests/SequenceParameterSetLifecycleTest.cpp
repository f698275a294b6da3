#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "DamagedPayloads.h"
#include "SequenceParameterSet.h"
#include "SequenceParameterSetFixture.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace sequence_parameter_set_lifecycle_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

using CreateSPS = SequenceParameterSet;
using DestroySPS = SequenceParameterSet;
using VerifySPS = SequenceParameterSet;
using ReadSPSBlocks = SequenceParameterSet;

TEST_F(CreateSPS, TakesOneZeroedBlock)
{
    SPS* const sps = createSPS(m_pool.pool());
    ASSERT_NE(sps, nullptr);
    const unsigned char* const pBytes = reinterpret_cast<const unsigned char*>(sps);
    EXPECT_EQ(std::count(pBytes, pBytes + sizeof(SPS), 0), std::ptrdiff_t{sizeof(SPS)});
    EXPECT_EQ(m_pool.calls(), std::vector<PoolCall>{taken(sizeof(SPS), 647)});
    EXPECT_TRUE(m_log.lines().empty());
    destroySPS(sps);
}

TEST_F(CreateSPS, ReportsAPoolThatGivesNone)
{
    for (const int iLevel : {0, 2, 3}) {
        SCOPED_TRACE(iLevel);
        const CLogCatcher log(iLevel);
        m_pool.failTake(1);
        EXPECT_EQ(createSPS(m_pool.pool()), nullptr);
        EXPECT_EQ(log.lines(), std::vector<std::string>(iLevel < 3 ? 1 : 0, "ERROR: bad pointer sps\n"));
    }
}

TEST_F(DestroySPS, AcceptsNull)
{
    destroySPS(nullptr);
    EXPECT_TRUE(m_pool.calls().empty());
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(DestroySPS, ReleasesAFreshRecordWithOneCall)
{
    SPS* const sps = createSPS(m_pool.pool());
    m_pool.forgetCalls();
    destroySPS(sps);
    EXPECT_EQ(m_pool.calls(), std::vector<PoolCall>{released(sizeof(SPS), 663)});
}

TEST_F(DestroySPS, ReleasesScalingListsThenSetsThenTheRecord)
{
    SpsSyntax syntax;
    syntax.scaling_list_enabled_flag = true;
    syntax.st_ref_pic_set.resize(2);
    EXPECT_EQ(read(syntax), 0);
    m_sps->refCount.counter = 5; // not consulted
    m_pool.forgetCalls();
    destroySPS(m_sps);
    EXPECT_EQ(m_pool.calls(),
              (std::vector<PoolCall>{released(25344, 661), released(272, 662), released(sizeof(SPS), 663)}));
    m_sps = nullptr;
}

TEST_F(VerifySPS, AcceptsOnly420InOnePlaneWith8Bits)
{
    constexpr char CHROMA[] = "ERROR: only support 4:2:0\n";
    constexpr char DEPTH[] = "ERROR: only support 8bit depth\n";
    struct Case
    {
        unsigned char chroma_format_idc;
        bool separate_colour_plane_flag;
        unsigned char BitDepthY;
        unsigned char BitDepthC;
        const char* pLine; // null: supported
    };
    const Case aCases[] = {
        {1, false, 8, 8, nullptr},
        {0, false, 8, 8, CHROMA},
        {2, false, 8, 8, CHROMA},
        {3, false, 8, 8, CHROMA},
        {3, true, 8, 8, CHROMA},
        {1, true, 8, 8, CHROMA},
        {255, false, 8, 8, CHROMA},
        {1, false, 8, 10, DEPTH},
        {1, false, 10, 8, DEPTH},
        {1, false, 10, 10, DEPTH},
        {1, false, 7, 8, DEPTH},
        {2, false, 10, 10, CHROMA},
        {1, true, 9, 8, CHROMA},
        {1, false, 8, 255, DEPTH},
    };
    for (const Case& c : aCases) {
        for (const int iLevel : {0, 2, 3}) {
            SCOPED_TRACE(testing::Message() << &c - aCases << " at level " << iLevel);
            const CLogCatcher log(iLevel);
            spoilValues();
            m_sps->chroma_format_idc = c.chroma_format_idc;
            m_sps->separate_colour_plane_flag = c.separate_colour_plane_flag;
            m_sps->BitDepthY = c.BitDepthY;
            m_sps->BitDepthC = c.BitDepthC;
            SPS before;
            std::memcpy(&before, m_sps, sizeof(SPS));
            EXPECT_EQ(verifySPS(m_sps), c.pLine == nullptr ? 0 : -2147483647);
            EXPECT_EQ(std::memcmp(&before, m_sps, sizeof(SPS)), 0);
            const bool bLine = c.pLine != nullptr && iLevel < 3;
            EXPECT_EQ(log.lines(), bLine ? std::vector<std::string>{c.pLine} : std::vector<std::string>{});
        }
    }
}

TEST_F(ReadSPSBlocks, TakesScalingListsAndThenTheSets)
{
    SpsSyntax syntax;
    syntax.scaling_list_enabled_flag = true;
    syntax.st_ref_pic_set.resize(5);
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_pool.calls(), (std::vector<PoolCall>{taken(25344, 325), taken(std::size_t{5} * 136, 361)}));
}

TEST_F(ReadSPSBlocks, AsksForNothingButAZeroSizeWithoutListsAndSets)
{
    EXPECT_EQ(read(SpsSyntax{}), 0);
    EXPECT_EQ(m_pool.calls(), std::vector<PoolCall>{taken(0, 361)});
    EXPECT_NE(m_sps->pShortTermRefPicSet, nullptr);
}

TEST_F(ReadSPSBlocks, FailsWithAPoolThatRefusesAZeroSize)
{
    m_pool.failTake(1);
    EXPECT_EQ(read(SpsSyntax{}), -2147483646);
    EXPECT_EQ(m_sps->pShortTermRefPicSet, nullptr);
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(ReadSPSBlocks, FailsWithoutALineAtEachBlockThatIsRefused)
{
    SpsSyntax syntax = mixedValues();
    for (const bool bExplicit : {false, true}) {
        if (bExplicit)
            syntax.scaling_list_data = ScalingListDataSyntax{};
        const auto attempt = [&](std::size_t uiCall) {
            CTestPool pool;
            SPS* const sps = createSPS(pool.pool());
            pool.failTake(uiCall);
            const CPaddedPayload payload(write(syntax).bytes());
            CRbspReader bs = payload.reader<CRbspReader>();
            const int iResult = readSPS(sps, &bs, pool.pool());
            EXPECT_EQ(iResult, pool.hasFailed() ? E_NO_MEMORY : 0);
            EXPECT_EQ(sps->pScalingList == nullptr, uiCall == 1);
            EXPECT_EQ(sps->pShortTermRefPicSet == nullptr, uiCall < 3);
            EXPECT_EQ(sps->num_short_term_ref_pic_sets, uiCall == 1 ? 0 : 2); // reached or not
            EXPECT_EQ(sps->PicWidthInCtbsY, uiCall < 3 ? 0 : 4104 / 64 + 1);
            EXPECT_TRUE(m_log.lines().empty());

            // The record can be read again, and destroyed.
            CRbspReader again = payload.reader<CRbspReader>();
            EXPECT_EQ(readSPS(sps, &again, pool.pool()), 0);
            destroySPS(sps);
            EXPECT_EQ(pool.blocksInUse(), 0U);
            return pool.hasFailed();
        };
        EXPECT_EQ(failEachTake(attempt), 2U);
    }
}

TEST_F(ReadSPSBlocks, PointsAtTheDefaultsWithoutListData)
{
    SpsSyntax syntax;
    syntax.scaling_list_enabled_flag = true;
    EXPECT_EQ(read(syntax), 0);
    EXPECT_FALSE(m_sps->sps_scaling_list_data_present_flag);
    ScalingListData defaults = {};
    setDefaultScalingList(&defaults);
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        for (unsigned matrixId = 0; matrixId < 6; ++matrixId)
            EXPECT_EQ(m_sps->pScalingList->aList[sizeId].aMatrix[matrixId].pCoef,
                      defaults.aList[sizeId].aMatrix[matrixId].pCoef);
    }
}

TEST_F(ReadSPSBlocks, ReadsListDataIntoAZeroedStore)
{
    SpsSyntax syntax;
    syntax.scaling_list_enabled_flag = true;
    syntax.scaling_list_data = ScalingListDataSyntax{};
    syntax.scaling_list_data->matrix[0][1].scaling_list_pred_mode_flag = true;
    syntax.scaling_list_data->matrix[0][1].scaling_list_delta_coef = {5};
    EXPECT_EQ(read(syntax), 0);
    EXPECT_TRUE(m_sps->sps_scaling_list_data_present_flag);
    ScalingListMatrix& matrix = m_sps->pScalingList->aList[0].aMatrix[1];
    EXPECT_EQ(matrix.pCoef, matrix.aucCoef);
    EXPECT_EQ(matrix.aucCoef[15], 13);
    EXPECT_EQ(matrix.aucCoef[16], 0); // behind a 4x4 matrix
    EXPECT_EQ(m_sps->pScalingList->aList[3].aMatrix[2].pCoef, nullptr);
    EXPECT_EQ(m_sps->pScalingList->aList[3].aMatrix[3].pCoef, m_sps->pScalingList->aList[3].aMatrix[1].pCoef);
    EXPECT_EQ(m_sps->PicSizeInCtbsY, 510);
}

TEST_F(ReadSPSBlocks, EndsWithTheResultOfListDataThatFails)
{
    SpsSyntax syntax;
    syntax.scaling_list_enabled_flag = true;
    syntax.scaling_list_data = ScalingListDataSyntax{};
    syntax.scaling_list_data->matrix[1][2].scaling_list_pred_matrix_id_delta = 3; // before the first matrix
    spoilValues();
    EXPECT_EQ(read(syntax), E_BS_NOT_ENOUGH_BITS);
    EXPECT_TRUE(m_log.lines().empty());
    EXPECT_TRUE(isUntouched(m_sps->amp_enabled_flag));
    EXPECT_EQ(m_sps->pShortTermRefPicSet, nullptr);
}

TEST_F(ReadSPSBlocks, FailsWhereverListDataEnds)
{
    SpsSyntax syntax;
    syntax.scaling_list_enabled_flag = true;
    syntax.scaling_list_data = ScalingListDataSyntax{};
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId)
        syntax.scaling_list_data->matrix[sizeId][1].scaling_list_pred_mode_flag = true;
    syntax.rbsp_trailing_bits = false;
    const CBitWriter bits = write(syntax);
    forEachCutAndTheWhole(bits, [&](std::size_t uiBitCount, const CBitWriter& first) {
        spoilValues();
        const bool bWhole = uiBitCount == bits.size();
        EXPECT_EQ(readToTheLastBit(first), bWhole ? 0 : E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(areDerivedUntouched(*m_sps), !bWhole);
    });
}

TEST_F(ReadSPSBlocks, ReusesItsBlocksInALaterReading)
{
    SpsSyntax syntax = mixedValues();
    EXPECT_EQ(read(syntax), 0);
    const ScalingListData* const pScalingList = m_sps->pScalingList;
    const ShortTermRefPicSet* const pShortTermRefPicSet = m_sps->pShortTermRefPicSet;
    m_pool.forgetCalls();
    EXPECT_EQ(read(syntax), 0);
    syntax.scaling_list_data = ScalingListDataSyntax{};
    syntax.st_ref_pic_set.resize(1);
    EXPECT_EQ(read(syntax), 0);
    syntax.scaling_list_enabled_flag = false;
    syntax.st_ref_pic_set.clear();
    EXPECT_EQ(read(syntax), 0);
    syntax.st_ref_pic_set.resize(2); // as many as the array was made for
    EXPECT_EQ(read(syntax), 0);
    EXPECT_TRUE(m_pool.calls().empty());
    EXPECT_EQ(m_sps->pScalingList, pScalingList);
    EXPECT_EQ(m_sps->pShortTermRefPicSet, pShortTermRefPicSet);
    EXPECT_TRUE(m_sps->sps_scaling_list_data_present_flag); // kept from the reading that had it
}

TEST_F(ReadSPSBlocks, ReplacesTheSetsWhenTheyGrow)
{
    SpsSyntax syntax;
    EXPECT_EQ(read(syntax), 0); // made for none
    m_pool.forgetCalls();
    syntax.st_ref_pic_set.resize(2);
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_pool.calls(), (std::vector<PoolCall>{released(0, 361), taken(272, 361)}));
    m_pool.forgetCalls();
    syntax.num_short_term_ref_pic_sets = 255;
    syntax.st_ref_pic_set.resize(255);
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_pool.calls(), (std::vector<PoolCall>{released(272, 361), taken(std::size_t{255} * 136, 361)}));
    EXPECT_EQ(m_pool.sizeOf(m_sps->pShortTermRefPicSet), 255U * 136);
}

TEST_F(ReadSPSBlocks, StaysWholeWhenTheLargerSetsAreRefused)
{
    SpsSyntax syntax;
    refuseLargerSets(syntax);
    EXPECT_EQ(m_sps->pShortTermRefPicSet, nullptr);
    EXPECT_TRUE(m_log.lines().empty());
    m_pool.forgetCalls();
    syntax.st_ref_pic_set.resize(1);
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_pool.calls(), std::vector<PoolCall>{taken(136, 361)});
}

TEST_F(ReadSPSBlocks, TrustsAnArrayThatTheHostPutThere)
{
    m_sps->pShortTermRefPicSet = static_cast<ShortTermRefPicSet*>(
        tq_util::getMemBlock(4 * sizeof(ShortTermRefPicSet), m_pool.pool(), "host", 1));
    m_pool.forgetCalls();
    SpsSyntax syntax;
    for (const std::size_t uiCount : {1U, 4U, 2U}) {
        syntax.st_ref_pic_set.resize(uiCount);
        EXPECT_EQ(read(syntax), 0);
    }
    EXPECT_TRUE(m_pool.calls().empty());
}

TEST_F(ReadSPSBlocks, TrustsAnArrayThatTheHostPutThereAfterARefusal)
{
    SpsSyntax syntax;
    refuseLargerSets(syntax);
    m_sps->pShortTermRefPicSet = static_cast<ShortTermRefPicSet*>(
        tq_util::getMemBlock(4 * sizeof(ShortTermRefPicSet), m_pool.pool(), "host", 1));
    m_pool.forgetCalls();
    syntax.st_ref_pic_set.resize(4);
    EXPECT_EQ(read(syntax), 0);
    EXPECT_TRUE(m_pool.calls().empty());
}

TEST_F(ReadSPSBlocks, ClearsANewArrayOfSets)
{
    SpsSyntax syntax;
    syntax.num_short_term_ref_pic_sets = 4;
    CBitWriter bits = writeSpsFormat(syntax);
    bits.append(writeSpsCodingTools(syntax)).ue(4);
    EXPECT_EQ(readToTheLastBit(bits), E_BS_NOT_ENOUGH_BITS);
    const unsigned char* const pBytes = reinterpret_cast<const unsigned char*>(m_sps->pShortTermRefPicSet);
    EXPECT_EQ(std::count(pBytes, pBytes + std::size_t{4} * 136, 0), 4 * 136);
}

} // namespace
} // namespace sequence_parameter_set_lifecycle_test
