// What happens when a decoder releases what it may not. Built twice: with H265PS_CHECK_POOL, which tells of
// it, and without; what the pool does with its blocks is the same in both.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tq_util.h"

namespace {

using namespace tq_util;

#ifdef H265PS_CHECK_POOL
constexpr bool IS_TOLD = true;
#else
constexpr bool IS_TOLD = false;
#endif

struct PoolDeleter
{
    void operator()(TMemPool* pMemPool) const { destroyMemPool(pMemPool); }
};
using CPool = std::unique_ptr<TMemPool, PoolDeleter>;

CPool makePool(std::uint64_t uiMaxBytes = 0)
{
    return CPool(createMemPool(uiMaxBytes));
}

void* take(const CPool& pool, unsigned uiSize, int iLine = 1)
{
    return getMemBlock(uiSize, pool.get(), "taker", iLine);
}

void giveBack(void* pBlock, int iLine = 2)
{
    releaseMemBlock(pBlock, "giver", iLine);
}

std::size_t blocksInUse(const CPool& pool)
{
    std::size_t uiBlocks = 0;
    reportBlocksInUse(
        pool.get(),
        [](void* pContext, const char*, int, unsigned) { ++*static_cast<std::size_t*>(pContext); },
        &uiBlocks);
    return uiBlocks;
}

struct Told
{
    EMemPoolMisuse eKind;
    const void* pBlock;
    std::string where;
    std::string whereBlock;

    bool operator==(const Told&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Told& told)
{
    return stream << static_cast<int>(told.eKind) << ' ' << told.pBlock << " at " << told.where << ", block of "
                  << told.whereBlock;
}

std::string place(const char* pFile, int iLine)
{
    return pFile == nullptr ? "" : pFile + (':' + std::to_string(iLine));
}

class MemPoolMisuses : public testing::Test
{
protected:
    MemPoolMisuses()
    {
        EXPECT_EQ(setMemPoolMisuseHandler(
                      [](const MemPoolMisuse& misuse, void* pContext) {
                          static_cast<std::vector<Told>*>(pContext)->push_back(
                              {misuse.eKind,
                               misuse.pBlock,
                               place(misuse.pFile, misuse.iLine),
                               place(misuse.pBlockFile, misuse.iBlockLine)});
                      },
                      &m_told),
                  IS_TOLD);
    }

    ~MemPoolMisuses() override { setMemPoolMisuseHandler(nullptr, nullptr); }

    // What was told since the last question is this, or nothing at all where nothing is told.
    void expectTold(const std::vector<Told>& expected)
    {
        EXPECT_EQ(m_told, IS_TOLD ? expected : std::vector<Told>{});
        m_told.clear();
    }

private:
    std::vector<Told> m_told;
};

TEST_F(MemPoolMisuses, ABlockReleasedTwiceIsGivenToOneOwner)
{
    const CPool pool = makePool();
    void* const pBlock = take(pool, 100);
    giveBack(pBlock, 7);
    giveBack(pBlock, 8);
    expectTold({{EMemPoolMisuse::RELEASED_TWICE, pBlock, "giver:8", "giver:7"}});
    EXPECT_EQ(take(pool, 100), pBlock);
    EXPECT_NE(take(pool, 100), pBlock);
    EXPECT_EQ(blocksInUse(pool), 2U);
}

TEST_F(MemPoolMisuses, ABlockReleasedAgainAmongOthersIsGivenToOneOwner)
{
    const CPool pool = makePool();
    std::vector<void*> blocks;
    for (int i = 0; i < 5; ++i)
        blocks.push_back(take(pool, 64));
    for (const int i : {1, 3, 1, 2, 3, 3, 2})
        giveBack(blocks[static_cast<std::size_t>(i)]);
    EXPECT_EQ(blocksInUse(pool), 2U);
    std::set<void*> owned = {blocks[0], blocks[4]};
    for (int i = 0; i < 10; ++i)
        EXPECT_TRUE(owned.insert(take(pool, 64)).second);
    EXPECT_EQ(blocksInUse(pool), 12U);
}

TEST_F(MemPoolMisuses, ABlockReleasedAfterItsPoolIsPassedOver)
{
    for (const unsigned uiSize : {1U, 100U, 5000U, 1U << 20, 1U << 26}) { // the largest stand alone in memory
        SCOPED_TRACE(uiSize);
        CPool pool = makePool();
        void* const pUsed = take(pool, uiSize);
        void* const pFree = take(pool, uiSize);
        giveBack(pFree);
        pool.reset();
        giveBack(pUsed, 7);
        giveBack(pFree, 8);
        expectTold(
            {{EMemPoolMisuse::NOT_A_BLOCK, pUsed, "giver:7", ""}, {EMemPoolMisuse::NOT_A_BLOCK, pFree, "giver:8", ""}});
    }
}

TEST_F(MemPoolMisuses, ABlockThatWentBackToTheSystemIsPassedOver)
{
    const CPool pool = makePool(9 << 20);
    void* const pBlock = take(pool, 1 << 22);
    giveBack(pBlock);
    void* const pOther = take(pool, 1 << 23); // the first block goes back to the system for it
    ASSERT_NE(pOther, nullptr);
    if (pOther != pBlock)
        giveBack(pBlock, 8);
    EXPECT_EQ(blocksInUse(pool), 1U);
    EXPECT_EQ(pool->apFree[18], nullptr);
}

TEST_F(MemPoolMisuses, PointersThatAreNoBlocksArePassedOver)
{
    const CPool pool = makePool();
    void* const pBlock = take(pool, 64, 3);
    int iOnTheStack = 0;
    void* const pForeign = std::malloc(64);
    giveBack(nullptr, 4);
    giveBack(&iOnTheStack, 5);
    giveBack(pForeign, 6);
    giveBack(reinterpret_cast<void*>(~std::uintptr_t{0}), 7);
    giveBack(reinterpret_cast<void*>(std::uintptr_t{32}), 8);
    expectTold({{EMemPoolMisuse::NOT_A_BLOCK, nullptr, "giver:4", ""},
                {EMemPoolMisuse::NOT_A_BLOCK, &iOnTheStack, "giver:5", ""},
                {EMemPoolMisuse::NOT_A_BLOCK, pForeign, "giver:6", ""},
                {EMemPoolMisuse::NOT_A_BLOCK, reinterpret_cast<void*>(~std::uintptr_t{0}), "giver:7", ""},
                {EMemPoolMisuse::NOT_A_BLOCK, reinterpret_cast<void*>(std::uintptr_t{32}), "giver:8", ""}});
    std::free(pForeign);
    EXPECT_EQ(blocksInUse(pool), 1U);
    giveBack(pBlock);
    EXPECT_EQ(blocksInUse(pool), 0U);
    expectTold({});
}

TEST_F(MemPoolMisuses, APointerIntoABlockIsPassedOver)
{
    const CPool pool = makePool();
    const unsigned uiSize = 4096;
    char* const pBlock = static_cast<char*>(take(pool, uiSize, 3));
    for (const int iOffset : {1, 8, 32, 64, static_cast<int>(uiSize) - 1, -1, -32, -64}) {
        SCOPED_TRACE(iOffset);
        giveBack(pBlock + iOffset, 4);
        expectTold({{EMemPoolMisuse::INSIDE_A_BLOCK, pBlock + iOffset, "giver:4", "taker:3"}});
    }
    for (const int iOffset : {static_cast<int>(uiSize), -65}) { // of nobody that the pool knows
        giveBack(pBlock + iOffset, 4);
        expectTold({{EMemPoolMisuse::NOT_A_BLOCK, pBlock + iOffset, "giver:4", ""}});
    }
    EXPECT_EQ(blocksInUse(pool), 1U);
    giveBack(pBlock, 5);
    giveBack(pBlock + 32, 6);
    expectTold({{EMemPoolMisuse::INSIDE_A_BLOCK, pBlock + 32, "giver:6", "giver:5"}});
}

// A block's payload may look like what stands in front of a block.
TEST_F(MemPoolMisuses, ABlockThatHoldsTheImageOfAnotherIsNoBlock)
{
    const CPool pool = makePool();
    char* const pBlock = static_cast<char*>(take(pool, 256));
    std::memcpy(pBlock + 64, pBlock - 64, 64);
    giveBack(pBlock + 128);
    EXPECT_EQ(blocksInUse(pool), 1U);
    giveBack(pBlock);
    EXPECT_EQ(blocksInUse(pool), 0U);
}

TEST_F(MemPoolMisuses, ManyBlocksAreKeptApart)
{
    const CPool one = makePool();
    const CPool other = makePool();
    std::vector<void*> blocks;
    for (int i = 0; i < 20000; ++i)
        blocks.push_back(take(i % 3 == 0 ? other : one, 16));
    EXPECT_EQ(std::set<void*>(blocks.begin(), blocks.end()).size(), blocks.size());
    for (std::size_t i = 0; i < blocks.size(); i += 2) {
        giveBack(blocks[i]);
        if (i % 100 == 0)
            giveBack(static_cast<char*>(blocks[i]) + 8);
    }
    EXPECT_EQ(blocksInUse(one) + blocksInUse(other), 10000U);
    for (void* const pBlock : blocks)
        giveBack(pBlock);
    EXPECT_EQ(blocksInUse(one) + blocksInUse(other), 0U);
    std::set<void*> owned;
    for (int i = 0; i < 20000; ++i)
        EXPECT_TRUE(owned.insert(take(i % 3 == 0 ? other : one, 16)).second);
}

TEST_F(MemPoolMisuses, OfSeveralThreadsThatReleaseABlockOneDoes)
{
    setMemPoolMisuseHandler([](const MemPoolMisuse&, void*) {}, nullptr);
    const CPool pool = makePool();
    std::vector<void*> blocks;
    for (int i = 0; i < 2000; ++i)
        blocks.push_back(take(pool, 64));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&blocks] {
            for (void* const pBlock : blocks)
                giveBack(pBlock);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(blocksInUse(pool), 0U);
    std::set<void*> owned;
    for (int i = 0; i < 4000; ++i)
        EXPECT_TRUE(owned.insert(take(pool, 64)).second);
}

// One register serves all pools: nothing else keeps their threads apart.
TEST_F(MemPoolMisuses, ThreadsWithPoolsOfTheirOwnDoNoneToEachOther)
{
    std::vector<CPool> pools;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        pools.push_back(makePool());
    for (const CPool& pool : pools) {
        threads.emplace_back([&pool] {
            std::vector<void*> blocks;
            for (int i = 0; i < 20000; ++i)
                blocks.push_back(take(pool, 16));
            for (void* const pBlock : blocks)
                giveBack(pBlock);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const CPool& pool : pools)
        EXPECT_EQ(blocksInUse(pool), 0U);
    expectTold({});
}

TEST_F(MemPoolMisuses, TheHandlerMayUseThePool)
{
    const CPool pool = makePool();
    setMemPoolMisuseHandler(
        [](const MemPoolMisuse&, void* pContext) {
            releaseMemBlock(getMemBlock(64, static_cast<TMemPool*>(pContext), "handler", 1), "handler", 2);
        },
        pool.get());
    void* const pBlock = take(pool, 64);
    giveBack(pBlock);
    giveBack(pBlock);
    EXPECT_EQ(take(pool, 64), pBlock);
}

TEST_F(MemPoolMisuses, WithoutAHandlerALineStandsOnStandardError)
{
    setMemPoolMisuseHandler(nullptr, nullptr);
    const CPool pool = makePool();
    char* const pBlock = static_cast<char*>(take(pool, 64, 3));
    testing::internal::CaptureStderr();
    giveBack(pBlock + 4, 4);
    giveBack(pBlock, 5);
    giveBack(pBlock, 6);
    giveBack(nullptr, 7);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              IS_TOLD ? "releaseMemBlock at giver:4: not the start of the block that taker:3 took or released\n"
                        "releaseMemBlock at giver:6: the block was released before, at giver:5\n"
                        "releaseMemBlock at giver:7: no block of a living pool\n"
                      : "");
}

} // namespace
