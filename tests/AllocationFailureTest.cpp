// Every call of the pool fails once, for every parameter set of the corpus and for sets that need more
// blocks than those do: the right result, nothing lost, and the record readable again.

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CorpusSets.h"
#include "DamagedPayloads.h"
#include "DecParameterSetReader.h"
#include "SetRecord.h"
#include "SyntaxWriters.h"

using namespace h265_codec;
using namespace h265_stream;
using namespace h265_test;

namespace {

ScalingListDataSyntax explicitLists()
{
    ScalingListDataSyntax lists;
    for (std::vector<ScalingMatrixSyntax>& matrices : lists.matrix) {
        for (ScalingMatrixSyntax& matrix : matrices)
            matrix = {.scaling_list_pred_mode_flag = true, .scaling_list_delta_coef = {1, -2, 3}};
    }
    return lists;
}

SpsSyntax spsWithEverything()
{
    SpsSyntax syntax;
    syntax.scaling_list_enabled_flag = true;
    syntax.scaling_list_data = explicitLists();
    syntax.pcm = PcmSyntax{};
    syntax.st_ref_pic_set.assign(64, {.s0 = {{}, {}}, .s1 = {{}}});
    syntax.long_term_ref_pics_present_flag = true;
    syntax.long_term_ref_pic.assign(20, {.lt_ref_pic_poc_lsb_sps = 3});
    return syntax;
}

PpsSyntax ppsWithEverything()
{
    PpsSyntax syntax;
    syntax.diff_cu_qp_delta_depth = 1;
    syntax.tiles = TilesSyntax{.num_tile_columns_minus1 = 4, .num_tile_rows_minus1 = 2};
    syntax.deblocking = DeblockingSyntax{};
    syntax.scaling_list_data = explicitLists();
    return syntax;
}

CorpusSet made(std::string name, unsigned char nal_unit_type, const CBitWriter& rbsp,
               std::vector<std::vector<unsigned char>> spsRbsps = {})
{
    return {std::move(name), nal_unit_type, rbsp.bytes(), std::move(spsRbsps)};
}

std::vector<CorpusSet> madeSets()
{
    std::vector<CorpusSet> sets;
    SpsSyntax sps = spsWithEverything();
    const std::vector<unsigned char> spsRbsp = write(sps).bytes();
    sets.push_back(made("SPS with everything", SPS_NUT, write(sps)));
    sps.scaling_list_data = {};
    sets.push_back(made("SPS with default lists", SPS_NUT, write(sps)));
    PpsSyntax pps = ppsWithEverything();
    sets.push_back(made("PPS with everything", PPS_NUT, write(pps), {spsRbsp}));
    pps.tiles = TilesSyntax{.num_tile_columns_minus1 = 1,
                            .num_tile_rows_minus1 = 1,
                            .uniform_spacing_flag = false,
                            .column_width_minus1 = {3},
                            .row_height_minus1 = {5}};
    sets.push_back(made("PPS with explicit tiles", PPS_NUT, write(pps), {spsRbsp}));
    return sets;
}

std::vector<CorpusSet> allSets()
{
    std::vector<CorpusSet> sets = corpusSets();
    std::ranges::move(madeSets(), std::back_inserter(sets));
    return sets;
}

// What a set is read to without any failure, and the same with one.
template <class TReader>
class CFailures
{
public:
    explicit CFailures(const CorpusSet& set)
        : m_set(set), m_table(set.spsRbsps), m_payload(set.rbsp), m_reference(set, m_table, m_referencePool),
          m_iExpected(m_reference.read(m_payload.reader<TReader>()))
    {}

    // Reads once more when bReadAgain is set, else gives the record back as the failure left it.
    // Returns whether there was such a call.
    bool failCall(std::size_t uiCall, bool bReadAgain)
    {
        CTestPool pool;
        pool.failTake(uiCall);
        m_log.forget();
        readOnce(pool, bReadAgain);
        EXPECT_EQ(pool.blocksInUse(), 0U);
        return pool.hasFailed();
    }

private:
    void readOnce(CTestPool& pool, bool bReadAgain)
    {
        CSetRecord record(m_set, m_table, pool);
        ASSERT_EQ(record.isCreated(), !pool.hasFailed());
        if (!record.isCreated()) {
            ASSERT_EQ(m_log.lines().size(), m_set.nal_unit_type == SPS_NUT ? 1U : 0U);
            return;
        }
        const int iResult = record.read(m_payload.reader<TReader>());
        ASSERT_EQ(iResult, pool.hasFailed() ? E_NO_MEMORY : m_iExpected);
        ASSERT_TRUE(iResult != E_NO_MEMORY || m_log.lines().empty());
        if (!bReadAgain)
            return;
        ASSERT_EQ(record.read(m_payload.reader<TReader>()), m_iExpected);
        ASSERT_TRUE(m_iExpected != 0 || record.isSame(m_reference));
    }

    const CorpusSet& m_set;
    CLogCatcher m_log{2};
    CSpsTable m_table;
    CPaddedPayload m_payload;
    CTestPool m_referencePool;
    CSetRecord m_reference;
    int m_iExpected;
};

// Lets call 1, 2, 3, … fail until there is none; returns how many there are.
template <class TReader>
std::size_t failEachCall(const CorpusSet& set)
{
    CFailures<TReader> failures(set);
    return failEachTake([&](std::size_t uiCall) {
        failures.failCall(uiCall, true);
        return failures.failCall(uiCall, false);
    });
}

template <class TReader>
class AllocationFailure : public testing::Test
{};
using Readers = testing::Types<CBitStreamReader, CRbspReader>;
TYPED_TEST_SUITE(AllocationFailure, Readers);

TYPED_TEST(AllocationFailure, OfAnyCallLosesNothingAndLeavesAReadableRecord)
{
    std::size_t uiFailures = 0;
    for (const CorpusSet& set : allSets()) {
        SCOPED_TRACE(set.stream);
        uiFailures += failEachCall<TypeParam>(set);
    }
    EXPECT_GT(uiFailures, 100U);
}

// The numbers of blocks that the made sets need, so that the test above is known to fail each of them.
TEST(AllocationFailureOfMadeSets, FailsEveryBlock)
{
    const std::vector<CorpusSet> sets = madeSets();
    ASSERT_EQ(sets.size(), 4U);
    EXPECT_EQ(failEachCall<CRbspReader>(sets[0]), 3U); // the record, lists and reference picture sets
    EXPECT_EQ(failEachCall<CRbspReader>(sets[1]), 3U);
    EXPECT_EQ(failEachCall<CRbspReader>(sets[2]), 7U); // the record, widths, heights, three tables and lists
    EXPECT_EQ(failEachCall<CRbspReader>(sets[3]), 7U);
}

} // namespace
