#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "tq_util.h"

namespace {

using namespace tq_util;

// Hosts and their debuggers look into these.
static_assert(std::is_trivial_v<atomic_t> && std::is_standard_layout_v<atomic_t> && sizeof(atomic_t) == 8);
static_assert(std::is_same_v<decltype(atomic_t::counter), std::int64_t>);
static_assert(MEM_POOL_CLASSES == 28);
static_assert(std::is_standard_layout_v<TMemPool> && sizeof(TMemPool) == 57 * sizeof(void*));
static_assert(offsetof(TMemPool, pLock) == 56 * sizeof(void*));
static_assert(std::is_standard_layout_v<TMemBlockNode> && sizeof(TMemBlockNode) == 4 * sizeof(void*));
static_assert(offsetof(TMemBlockNode, pMem) == 0 && offsetof(TMemBlockNode, uiSize) == sizeof(void*));
static_assert(offsetof(TMemBlockNode, pPool) == 2 * sizeof(void*) &&
              offsetof(TMemBlockNode, pNext) == 3 * sizeof(void*));

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

void giveBack(void* pBlock)
{
    releaseMemBlock(pBlock, "giver", 2);
}

struct BlockInUse
{
    std::string file;
    int iLine;
    unsigned uiSize;

    auto operator<=>(const BlockInUse&) const = default;
};

std::vector<BlockInUse> blocksInUse(const CPool& pool)
{
    std::vector<BlockInUse> blocks;
    reportBlocksInUse(
        pool.get(),
        [](void* pContext, const char* pFile, int iLine, unsigned uiSize) {
            static_cast<std::vector<BlockInUse>*>(pContext)->push_back({pFile, iLine, uiSize});
        },
        &blocks);
    std::sort(blocks.begin(), blocks.end());
    return blocks;
}

std::size_t lengthOf(const TMemBlockNode* pList)
{
    std::size_t uiLength = 0;
    for (; pList != nullptr; pList = pList->pNext)
        ++uiLength;
    return uiLength;
}

bool isAligned(const void* pBlock)
{
    return reinterpret_cast<std::uintptr_t>(pBlock) % 32 == 0;
}

// The smallest class that holds the size: 0 is 16 bytes.
unsigned classOf(unsigned uiSize)
{
    unsigned uiClass = 0;
    while (std::uint64_t{16} << uiClass < uiSize)
        ++uiClass;
    return uiClass;
}

TEST(MemPool, StartsWithEmptyLists)
{
    const CPool pool = makePool();
    ASSERT_NE(pool, nullptr);
    for (unsigned i = 0; i < MEM_POOL_CLASSES; ++i) {
        EXPECT_EQ(pool->apFree[i], nullptr);
        EXPECT_EQ(pool->apUsed[i], nullptr);
    }
    EXPECT_NE(pool->pLock, nullptr);
    EXPECT_TRUE(blocksInUse(pool).empty());
}

TEST(MemPool, AcceptsNullWhenDestroyed)
{
    destroyMemPool(nullptr);
}

TEST(MemPool, ServesEachSizeFromThePowerOfTwoThatHoldsIt)
{
    for (unsigned uiClass = 0; uiClass < 21; ++uiClass) {
        const unsigned uiLargest = 16U << uiClass;
        for (const unsigned uiSize : {uiLargest / 2 + 1, uiLargest - 1, uiLargest}) {
            SCOPED_TRACE(uiSize);
            const CPool pool = makePool();
            void* const pBlock = take(pool, uiSize);
            ASSERT_NE(pBlock, nullptr);
            EXPECT_TRUE(isAligned(pBlock));
            std::memset(pBlock, 0xff, uiSize);
            const TMemBlockNode* const pNode = pool->apUsed[uiClass];
            ASSERT_NE(pNode, nullptr);
            EXPECT_EQ(pNode->pMem, pBlock);
            EXPECT_EQ(pNode->uiSize, uiLargest);
            EXPECT_EQ(pNode->pPool, pool.get());
            EXPECT_EQ(pNode->pNext, nullptr);
        }
    }
}

TEST(MemPool, GivesAValidBlockForAZeroSizeRequest)
{
    const CPool pool = makePool();
    void* const pFirst = take(pool, 0, 11);
    void* const pSecond = take(pool, 0, 12);
    ASSERT_NE(pFirst, nullptr);
    ASSERT_NE(pSecond, nullptr);
    EXPECT_NE(pFirst, pSecond);
    EXPECT_TRUE(isAligned(pFirst));
    EXPECT_EQ(lengthOf(pool->apUsed[0]), 2U);
    EXPECT_EQ(blocksInUse(pool), (std::vector<BlockInUse>{{"taker", 11, 0}, {"taker", 12, 0}}));
    giveBack(pFirst);
    giveBack(pSecond);
    EXPECT_TRUE(blocksInUse(pool).empty());
}

TEST(MemPool, RefusesMoreThanItsLargestClass)
{
    const CPool pool = makePool(1 << 20);
    for (const unsigned uiSize : {0x80000001U, 0xc0000000U, 0xffffffffU})
        EXPECT_EQ(take(pool, uiSize), nullptr);
    EXPECT_TRUE(blocksInUse(pool).empty());
}

TEST(MemPool, RefusesItsLargestClassBeyondTheBudgetWithoutAskingTheSystem)
{
    const CPool pool = makePool(0x80000000U); // the bookkeeping does not fit
    EXPECT_EQ(take(pool, 0x80000000U), nullptr);
    EXPECT_EQ(pool->apUsed[27], nullptr);
}

TEST(MemPool, ReusesAReleasedBlockOfTheClass)
{
    const CPool pool = makePool();
    void* const pBlock = take(pool, 100);
    giveBack(pBlock);
    EXPECT_EQ(lengthOf(pool->apFree[classOf(100)]), 1U);
    EXPECT_EQ(take(pool, 65), pBlock);
    EXPECT_EQ(lengthOf(pool->apFree[classOf(100)]), 0U);
}

TEST(MemPool, DoesNotReuseABlockOfAnotherClass)
{
    const CPool pool = makePool();
    void* const pBlock = take(pool, 100);
    giveBack(pBlock);
    EXPECT_NE(take(pool, 64), pBlock);
    EXPECT_NE(take(pool, 129), pBlock);
    EXPECT_EQ(lengthOf(pool->apFree[classOf(100)]), 1U);
}

TEST(MemPool, KeepsItsListsWholeInEveryOrderOfRelease)
{
    std::array<unsigned, 4> order = {0, 1, 2, 3};
    do {
        const CPool pool = makePool();
        std::array<void*, 4> blocks = {};
        for (unsigned i = 0; i < 4; ++i)
            blocks[i] = take(pool, 200, static_cast<int>(i));
        std::vector<BlockInUse> expected;
        for (int i = 0; i < 4; ++i)
            expected.push_back({"taker", i, 200});
        for (unsigned i = 0; i < 4; ++i) {
            giveBack(blocks[order[i]]);
            std::erase_if(expected, [&](const BlockInUse& block) { return block.iLine == static_cast<int>(order[i]); });
            EXPECT_EQ(blocksInUse(pool), expected);
            EXPECT_EQ(lengthOf(pool->apFree[classOf(200)]), i + 1U);
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(MemPool, ReportsBlocksInUseWithTheirTakerAndTheSizeAskedFor)
{
    const CPool pool = makePool();
    void* const pFirst = getMemBlock(528, pool.get(), "one.cpp", 647);
    (void)getMemBlock(25344, pool.get(), "two.cpp", 325);
    (void)getMemBlock(1, pool.get(), "three.cpp", 361);
    EXPECT_EQ(blocksInUse(pool),
              (std::vector<BlockInUse>{{"one.cpp", 647, 528}, {"three.cpp", 361, 1}, {"two.cpp", 325, 25344}}));
    giveBack(pFirst);
    // The reused block has a new taker.
    EXPECT_EQ(getMemBlock(600, pool.get(), "four.cpp", 7), pFirst);
    EXPECT_EQ(blocksInUse(pool),
              (std::vector<BlockInUse>{{"four.cpp", 7, 600}, {"three.cpp", 361, 1}, {"two.cpp", 325, 25344}}));
}

TEST(MemPool, ReleasesBlocksInUseWhenDestroyed)
{
    // The leak check of the sanitizers is what can fail here.
    const CPool pool = makePool();
    for (unsigned i = 0; i < 100; ++i) {
        void* const pBlock = take(pool, i * i);
        if (i % 3 == 0)
            giveBack(pBlock);
    }
}

TEST(MemPool, KeepsPoolsApart)
{
    const CPool one = makePool();
    const CPool other = makePool();
    void* const pOne = take(one, 64);
    void* const pOther = take(other, 64);
    giveBack(pOne); // a block knows its pool
    EXPECT_EQ(lengthOf(one->apFree[2]), 1U);
    EXPECT_EQ(lengthOf(other->apFree[2]), 0U);
    EXPECT_EQ(blocksInUse(other).size(), 1U);
    EXPECT_EQ(take(one, 64), pOne);
    giveBack(pOther);
    EXPECT_TRUE(blocksInUse(other).empty());
}

// What a block of the class costs the budget.
std::uint64_t costOf(unsigned uiSize)
{
    for (std::uint64_t ulCost = 1;; ++ulCost) {
        const CPool pool = makePool(ulCost);
        if (take(pool, uiSize) != nullptr)
            return ulCost;
    }
}

TEST(MemPoolBudget, CountsBlocksWithTheirBookkeeping)
{
    const std::uint64_t ulSmall = costOf(32);
    EXPECT_GE(ulSmall, 32 + sizeof(TMemBlockNode));
    EXPECT_EQ(costOf(1024), ulSmall + 1024 - 32);
    EXPECT_EQ(costOf(513), ulSmall + 1024 - 32);
}

// The system hands out multiples of the alignment, so the smallest class takes as much as the next.
TEST(MemPoolBudget, CountsWhatTheSystemHandsOut)
{
    for (const unsigned uiSize : {0U, 16U, 17U, 32U, 64U, 1000U})
        EXPECT_EQ(costOf(uiSize) % 32, 0U) << uiSize;
    EXPECT_EQ(costOf(0), costOf(32));
    EXPECT_EQ(costOf(16), costOf(32));
}

TEST(MemPoolBudget, RefusesTheBlockThatExceedsIt)
{
    const CPool pool = makePool(3 * costOf(1024));
    void* const pFirst = take(pool, 1024);
    EXPECT_NE(take(pool, 1024), nullptr);
    EXPECT_NE(take(pool, 1024), nullptr);
    EXPECT_EQ(take(pool, 1024), nullptr);
    EXPECT_EQ(take(pool, 1), nullptr);
    EXPECT_EQ(blocksInUse(pool).size(), 3U);
    giveBack(pFirst);
    EXPECT_EQ(take(pool, 1000), pFirst); // a free block of the class costs nothing
    EXPECT_EQ(take(pool, 1), nullptr);
}

TEST(MemPoolBudget, GivesFreeBlocksOfEveryClassBackBeforeItRefuses)
{
    const CPool pool = makePool(costOf(65536));
    std::vector<void*> blocks;
    for (const unsigned uiSize : {16U, 16U, 100U, 1000U, 5000U, 20000U})
        blocks.push_back(take(pool, uiSize));
    EXPECT_EQ(take(pool, 65536), nullptr); // all in use
    for (void* const pBlock : blocks) {
        ASSERT_NE(pBlock, nullptr);
        giveBack(pBlock);
    }
    EXPECT_NE(take(pool, 65536), nullptr);
    for (unsigned i = 0; i < MEM_POOL_CLASSES; ++i)
        EXPECT_EQ(pool->apFree[i], nullptr);
    EXPECT_EQ(blocksInUse(pool).size(), 1U);
}

TEST(MemPoolBudget, KeepsBlocksInUseWhenFreeOnesGoBack)
{
    const CPool pool = makePool(2 * costOf(4096));
    unsigned char* const pKept = static_cast<unsigned char*>(take(pool, 64));
    ASSERT_NE(pKept, nullptr);
    std::memset(pKept, 0x77, 64);
    void* const pFree = take(pool, 4096);
    giveBack(pFree);
    EXPECT_NE(take(pool, 2048), nullptr);
    EXPECT_EQ(take(pool, 8192), nullptr);
    EXPECT_TRUE(std::all_of(pKept, pKept + 64, [](unsigned char byte) { return byte == 0x77; }));
    EXPECT_EQ(blocksInUse(pool).size(), 2U);
}

TEST(MemPoolBudget, IsFreshAgainAfterEveryBlockWentBack)
{
    const CPool pool = makePool(costOf(1024));
    for (int i = 0; i < 100; ++i) {
        for (const unsigned uiSize : {1024U, 16U, 512U}) {
            void* const pBlock = take(pool, uiSize);
            ASSERT_NE(pBlock, nullptr);
            giveBack(pBlock);
        }
    }
}

TEST(MemPoolBudget, RefusesEverythingBelowTheSmallestBlock)
{
    const CPool pool = makePool(1);
    EXPECT_EQ(take(pool, 0), nullptr);
    EXPECT_TRUE(blocksInUse(pool).empty());
}

// Takes and releases blocks at random; each is filled with the thread's mark, which must stand.
void hammer(TMemPool* pMemPool, unsigned char ucMark, unsigned& uiSpoiled)
{
    struct Held
    {
        unsigned char* pBlock;
        unsigned uiSize;
    };
    std::mt19937 random(ucMark);
    std::vector<Held> held;
    const auto letGo = [&](std::size_t uiIndex) {
        const Held block = held[uiIndex];
        const auto isMark = [ucMark](unsigned char byte) { return byte == ucMark; };
        if (!std::all_of(block.pBlock, block.pBlock + block.uiSize, isMark))
            ++uiSpoiled;
        releaseMemBlock(block.pBlock, "hammer", 1);
        held.erase(held.begin() + static_cast<std::ptrdiff_t>(uiIndex));
    };
    for (int i = 0; i < 3000; ++i) {
        if (!held.empty() && random() % 2 == 0) {
            letGo(random() % held.size());
            continue;
        }
        const unsigned uiSize = static_cast<unsigned>(random() % 3000);
        unsigned char* const pBlock = static_cast<unsigned char*>(getMemBlock(uiSize, pMemPool, "hammer", ucMark));
        if (pBlock == nullptr)
            continue; // the budget
        std::memset(pBlock, ucMark, uiSize);
        held.push_back({pBlock, uiSize});
    }
    while (!held.empty())
        letGo(0);
}

TEST(MemPoolThreads, ShareOnePool)
{
    for (const std::uint64_t uiMaxBytes : {std::uint64_t{0}, std::uint64_t{100000}}) {
        const CPool pool = makePool(uiMaxBytes);
        std::array<unsigned, 8> spoiled = {};
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < 8; ++i)
            threads.emplace_back(hammer, pool.get(), static_cast<unsigned char>(i + 1), std::ref(spoiled[i]));
        threads.emplace_back([&pool] {
            for (int i = 0; i < 50; ++i)
                (void)blocksInUse(pool);
        });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(spoiled, (std::array<unsigned, 8>{}));
        EXPECT_TRUE(blocksInUse(pool).empty());
    }
}

} // namespace
