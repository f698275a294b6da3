// Every parameter set of the corpus, cut at every bit and with every single bit turned: whatever comes
// out, it is one of the defined results, and nothing is lost or touched that is not the module's.

#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include "CorpusSets.h"
#include "DamagedPayloads.h"
#include "ExactBits.h"
#include "SetRecord.h"

using namespace h265_codec;
using namespace h265_test;

namespace {

CBitWriter bitsOf(const std::vector<unsigned char>& payload)
{
    CBitWriter writer;
    for (const unsigned char ucByte : payload)
        writer.u(8, ucByte);
    return writer;
}

// How often each result came.
struct Results
{
    std::size_t uiRead = 0;
    std::size_t uiRefused = 0;
    std::size_t uiOther = 0; // the test pool gives every block

    void count(int iResult)
    {
        if (iResult == 0)
            ++uiRead;
        else
            ++(iResult == E_BS_NOT_ENOUGH_BITS ? uiRefused : uiOther);
    }
};

template <class TReader>
void cutEverywhere(const CorpusSet& set, CSpsTable& table, CTestPool& pool, Results& results)
{
    forEachCut(bitsOf(set.rbsp), [&](std::size_t, const CBitWriter& bits) {
        const CExactBits payload(bits);
        results.count(CSetRecord(set, table, pool).read(payload.reader<TReader>()));
    });
}

template <class TReader>
void turnEveryBit(const CorpusSet& set, CSpsTable& table, CTestPool& pool, Results& results)
{
    forEachTurnedBit(set.rbsp, [&](const std::vector<unsigned char>& turned) {
        const CPaddedPayload payload(turned);
        results.count(CSetRecord(set, table, pool).read(payload.reader<TReader>()));
    });
}

// Damages each set of the corpus: a result of its own kind, and every block given back.
template <class TDamage>
Results damageEverySet(const TDamage& damage)
{
    const CLogCatcher quiet(3);
    Results results;
    for (const CorpusSet& set : corpusSets()) {
        SCOPED_TRACE(set.stream);
        CTestPool pool;
        CSpsTable table(set.spsRbsps);
        damage(set, table, pool, results);
        EXPECT_EQ(results.uiOther, 0U);
        EXPECT_EQ(pool.blocksInUse(), 0U);
    }
    return results;
}

template <class TReader>
class Corruption : public testing::Test
{};
using Readers = testing::Types<CBitStreamReader, CRbspReader>;
TYPED_TEST_SUITE(Corruption, Readers);

TYPED_TEST(Corruption, CutAtAnyBitASetIsReadOrRefused)
{
    const Results results = damageEverySet(cutEverywhere<TypeParam>);
    EXPECT_GT(results.uiRefused, 50000U);
}

TYPED_TEST(Corruption, WithAnyBitTurnedASetIsReadOrRefused)
{
    const Results results = damageEverySet(turnEveryBit<TypeParam>);
    EXPECT_GT(results.uiRead + results.uiRefused, 50000U);
    EXPECT_GT(results.uiRefused, 1000U);
}

// Sets that come again are read into the same record, whatever went wrong before.
TYPED_TEST(Corruption, BehindADamagedSetTheWholeOneIsReadAsEver)
{
    const CLogCatcher quiet(3);
    for (const CorpusSet& set : corpusSets()) {
        SCOPED_TRACE(set.stream);
        CTestPool pool; // keeps the tile arrays that a PPS outgrew
        CSpsTable table(set.spsRbsps);
        const CPaddedPayload whole(set.rbsp);
        const int iExpected = CSetRecord(set, table, pool).read(whole.template reader<TypeParam>());
        CSetRecord record(set, table, pool);
        forEachTurnedBit(set.rbsp, [&](const std::vector<unsigned char>& turned) {
            const CPaddedPayload payload(turned);
            (void)record.read(payload.template reader<TypeParam>());
            ASSERT_EQ(record.read(whole.template reader<TypeParam>()), iExpected);
        });
    }
}

// Whole sets are read by the reader that takes every bit, so the tests above start from something good.
TEST(CorruptionCorpus, WholeSetsAreRead)
{
    const CLogCatcher quiet(3);
    std::size_t uiRead = 0;
    const std::vector<CorpusSet> sets = corpusSets();
    for (const CorpusSet& set : sets) {
        CTestPool pool;
        CSpsTable table(set.spsRbsps);
        const CPaddedPayload payload(set.rbsp);
        if (CSetRecord(set, table, pool).read(payload.reader<CRbspReader>()) == 0)
            ++uiRead;
    }
    EXPECT_GT(uiRead, sets.size() * 8 / 10); // the others belong to further layers, or are malformed
}

} // namespace
