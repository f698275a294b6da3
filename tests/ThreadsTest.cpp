// Many threads with one pool, each with readers and records of its own. What they read is compared with
// what one thread read; races are for the thread sanitizer to find.

#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "CorpusSets.h"
#include "DecParameterSetReader.h"
#include "NalUnit.h"
#include "SameRecord.h"
#include "SyntaxWriters.h"
#include "tq_util.h"
#include "tqlog.h"

using namespace h265_codec;
using namespace h265_stream;
using namespace h265_test;

namespace {

constexpr unsigned THREADS = 8;
constexpr unsigned ROUNDS = 200;

struct DestroyPool
{
    void operator()(tq_util::TMemPool* pMemPool) const { tq_util::destroyMemPool(pMemPool); }
};
using Pool = std::unique_ptr<tq_util::TMemPool, DestroyPool>;

struct DestroySps
{
    void operator()(SPS* sps) const { destroySPS(sps); }
};
using Sps = std::unique_ptr<SPS, DestroySps>;

struct DestroyPps
{
    void operator()(PPS* pps) const { destroyPPS(pps); }
};
using Pps = std::unique_ptr<PPS, DestroyPps>;

std::size_t blocksInUse(const Pool& pPool)
{
    std::size_t uiBlocks = 0;
    tq_util::reportBlocksInUse(
        pPool.get(),
        [](void* pContext, const char*, int, unsigned) { ++*static_cast<std::size_t*>(pContext); },
        &uiBlocks);
    return uiBlocks;
}

// Lines go to nowhere, counted; the module calls the sink from every thread.
std::atomic<unsigned> g_uiLines;

class CCountedLog
{
public:
    CCountedLog() : m_iLevelBefore(tqlog::CTQLog::m_iLogLevel), m_pSinkBefore(tqlog::CTQLog::m_pLogPrintf)
    {
        g_uiLines = 0;
        tqlog::CTQLog::m_iLogLevel = 0;
        tqlog::CTQLog::m_pLogPrintf = [](const char*) { ++g_uiLines; };
    }
    ~CCountedLog()
    {
        tqlog::CTQLog::m_iLogLevel = m_iLevelBefore;
        tqlog::CTQLog::m_pLogPrintf = m_pSinkBefore;
    }
    CCountedLog(const CCountedLog&) = delete;
    CCountedLog& operator=(const CCountedLog&) = delete;

private:
    int m_iLevelBefore;
    void (*m_pSinkBefore)(const char*);
};

void runThreads(unsigned uiCount, const std::function<void(unsigned)>& run)
{
    std::atomic<bool> bGo = false;
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < uiCount; ++i) {
        threads.emplace_back([&, i] {
            bGo.wait(false);
            run(i);
        });
    }
    bGo = true;
    bGo.notify_all();
    for (std::thread& thread : threads)
        thread.join();
}

int readPayload(SPS* sps, const std::vector<unsigned char>& rbsp, tq_util::TMemPool* pMemPool)
{
    const CPaddedPayload payload(rbsp);
    auto bs = payload.reader<CRbspReader>();
    return readSPS(sps, &bs, pMemPool);
}

int readPayload(PPS* pps, SPS** sps_array, const std::vector<unsigned char>& rbsp, tq_util::TMemPool* pMemPool)
{
    const CPaddedPayload payload(rbsp);
    auto bs = payload.reader<CRbspReader>();
    return readPPS(pps, sps_array, &bs, pMemPool);
}

// The SPSs of the corpus, each with the record that one thread made of it.
class CSpsReference
{
public:
    CSpsReference()
    {
        for (CorpusSet& set : corpusSets()) {
            if (set.nal_unit_type != SPS_NUT)
                continue;
            m_records.emplace_back(createSPS(m_pPool.get()));
            m_results.push_back(readPayload(m_records.back().get(), set.rbsp, m_pPool.get()));
            m_rbsps.push_back(std::move(set.rbsp));
        }
    }

    [[nodiscard]] std::size_t size() const { return m_rbsps.size(); }

    // Reads set i with a pool; true when it comes out as before.
    [[nodiscard]] bool isReadAlike(std::size_t i, tq_util::TMemPool* pMemPool) const
    {
        const Sps sps(createSPS(pMemPool));
        return sps != nullptr && readPayload(sps.get(), m_rbsps[i], pMemPool) == m_results[i] &&
               (m_results[i] != 0 || isSameRecord(*sps, *m_records[i]));
    }

private:
    Pool m_pPool{tq_util::createMemPool()}; // goes last
    std::vector<Sps> m_records;
    std::vector<int> m_results;
    std::vector<std::vector<unsigned char>> m_rbsps;
};

TEST(Threads, ReadDifferentSetsWithOnePool)
{
    const CCountedLog log;
    const CSpsReference reference;
    ASSERT_GT(reference.size(), THREADS);
    const Pool pPool(tq_util::createMemPool());
    std::atomic<unsigned> uiWrong = 0;
    runThreads(THREADS, [&](unsigned uiThread) {
        for (unsigned uiRound = 0; uiRound < ROUNDS; ++uiRound) {
            for (std::size_t i = uiThread; i < reference.size(); i += THREADS)
                uiWrong += reference.isReadAlike(i, pPool.get()) ? 0 : 1;
        }
    });
    EXPECT_EQ(uiWrong, 0U);
    EXPECT_EQ(blocksInUse(pPool), 0U);
}

TEST(Threads, ReadVpsIntoRecordsOfTheirOwn)
{
    const CCountedLog log;
    const CPaddedPayload payload(write(VpsSyntax{}).bytes());
    std::atomic<unsigned> uiWrong = 0;
    runThreads(THREADS, [&](unsigned uiThread) {
        for (unsigned uiRound = 0; uiRound < 20 * ROUNDS; ++uiRound) {
            VPS vps;
            std::memset(&vps, 0, sizeof(vps));
            CRbspReader bs;
            bs.init(payload.data(), uiThread % 2 != 0 ? payload.size() : uiThread);
            const bool bRead = readVPS(&vps, &bs) == 0;
            uiWrong += bRead == (uiThread % 2 != 0) ? 0 : 1;
        }
    });
    EXPECT_EQ(uiWrong, 0U);
    EXPECT_GT(g_uiLines, 0U);
}

// A PPS with tiles and lists that refers to SPS 0.
std::vector<unsigned char> ppsRbsp(unsigned uiColumns)
{
    PpsSyntax syntax;
    syntax.tiles = TilesSyntax{.num_tile_columns_minus1 = uiColumns, .num_tile_rows_minus1 = 3};
    syntax.scaling_list_data = ScalingListDataSyntax{};
    return write(syntax).bytes();
}

// The SPS that a decoder has in force is read by half of the threads while the others read new ones.
TEST(Threads, ReadAgainstASharedSpsWhileOthersReadNewOnes)
{
    const CCountedLog log;
    const CSpsReference reference;
    const Pool pPool(tq_util::createMemPool());
    Sps spsInForce(createSPS(pPool.get()));
    ASSERT_EQ(readPayload(spsInForce.get(), write(SpsSyntax{}).bytes(), pPool.get()), 0);
    SPS* apTable[256] = {spsInForce.get()};
    std::atomic<unsigned> uiWrong = 0;
    runThreads(THREADS, [&](unsigned uiThread) {
        const std::vector<unsigned char> rbsp = ppsRbsp(uiThread);
        for (unsigned uiRound = 0; uiRound < ROUNDS; ++uiRound) {
            if (uiThread % 2 != 0) {
                uiWrong += reference.isReadAlike((uiThread + uiRound) % reference.size(), pPool.get()) ? 0 : 1;
                continue;
            }
            const Pps pps(createPPS(pPool.get()));
            const bool bRead = readPayload(pps.get(), apTable, rbsp, pPool.get()) == 0 &&
                               pps->CtbAddrRsToTs[pps->CtbAddrTsToRs[100]] == 100 &&
                               pps->pScalingList->aList[0].aMatrix[0].pCoef == g_deQuantSLDefault4x4;
            uiWrong += bRead ? 0 : 1;
        }
    });
    EXPECT_EQ(uiWrong, 0U);
    spsInForce.reset();
    EXPECT_EQ(blocksInUse(pPool), 0U);
}

// The tables of a PPS that was read are looked at by all threads while each reads others.
TEST(Threads, LookAtSharedTablesWhileNewOnesAreRead)
{
    const CCountedLog log;
    const Pool pPool(tq_util::createMemPool());
    Sps sps(createSPS(pPool.get()));
    ASSERT_EQ(readPayload(sps.get(), write(SpsSyntax{}).bytes(), pPool.get()), 0);
    SPS* apTable[256] = {sps.get()};
    Pps ppsInForce(createPPS(pPool.get()));
    ASSERT_EQ(readPayload(ppsInForce.get(), apTable, ppsRbsp(2), pPool.get()), 0);
    std::atomic<unsigned> uiWrong = 0;
    runThreads(THREADS, [&](unsigned) {
        for (unsigned uiRound = 0; uiRound < ROUNDS; ++uiRound) {
            const Pps pps(createPPS(pPool.get()));
            const bool bRead =
                readPayload(pps.get(), apTable, ppsRbsp(2), pPool.get()) == 0 && isSameRecord(*pps, *ppsInForce, *sps);
            uiWrong += bRead ? 0 : 1;
        }
    });
    EXPECT_EQ(uiWrong, 0U);
    ppsInForce.reset();
    sps.reset();
    EXPECT_EQ(blocksInUse(pPool), 0U);
}

} // namespace
