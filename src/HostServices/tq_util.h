#pragma once

#include <cstdint>
#include <type_traits>

#include "H265psExport.h"

namespace H265PS_EXPORT tq_util {

/// A 64-bit counter that records embed for the host's sharing scheme. Trivial: zero bytes are a
/// valid counter of 0.
struct atomic_t
{
    std::int64_t counter;
};
static_assert(std::is_trivial_v<atomic_t> && sizeof(atomic_t) == 8);

struct TMemPool;

/// One block of a pool, free or in use.
struct TMemBlockNode
{
    void* pMem;           // the block, 32-byte aligned
    unsigned uiSize;      // bytes of the block: its size class
    TMemPool* pPool;      // the pool that the block goes back to
    TMemBlockNode* pNext; // next block of the same list
};

/// The pool's lock, budget and books.
class TQLock;

/// Size classes of a pool: 16 bytes, 32, 64, … 2 GiB.
inline constexpr unsigned MEM_POOL_CLASSES = 28;

/// A block pool with one free list for each power-of-two size class. Made by createMemPool only.
struct TMemPool
{
    TMemBlockNode* apFree[MEM_POOL_CLASSES]; // released blocks, ready for reuse
    TMemBlockNode* apUsed[MEM_POOL_CLASSES]; // blocks in use
    TQLock* pLock;                           // guards both
};

/// Makes a pool. uiMaxBytes bounds what the pool takes from the system for its blocks, what stands in
/// front of each included; 0 means no bound. The caller owns the pool. Null when out of memory.
[[nodiscard]] TMemPool* createMemPool(std::uint64_t uiMaxBytes = 0) noexcept;

/// Gives the pool and every block of it, in use or not, back to the system. Accepts null. No other thread may
/// be using the pool; a block that is released later is passed over.
void destroyMemPool(TMemPool* pMemPool) noexcept;

/// Takes a block of at least uiSize bytes (0 gives a valid block too), 32-byte aligned, content
/// unspecified. pFile (kept by pointer: a constant text) and iLine name the taker in the leak report.
/// Null when uiSize exceeds the largest class, the budget is spent even after all free blocks went
/// back, or the system has no memory. Callable from several threads at once.
[[nodiscard]] void* getMemBlock(unsigned uiSize, TMemPool* pMemPool, const char* pFile, int iLine) noexcept;

/// Returns a block to the pool that it came from. pFile (kept by pointer, too) and iLine name the place. Callable
/// from several threads at once.
///
/// Not for null, and once for each block. What is no block in use (released before, the pool is gone, not from a
/// pool, inside a block, null) is left alone, and told when the library is built with H265PS_CHECK_POOL. No pool
/// can see that a block was released twice when its address was given to a new owner in between.
void releaseMemBlock(void* pBlock, const char* pFile, int iLine) noexcept;

/// What releaseMemBlock was given in the place of a block in use.
enum class EMemPoolMisuse
{
    RELEASED_TWICE, // a free block of a pool
    INSIDE_A_BLOCK, // a pointer behind the start of a block, or to what stands in front of it
    NOT_A_BLOCK     // not from a pool, or of a block that went back to the system, as with its pool
};

/// One misuse of releaseMemBlock.
struct MemPoolMisuse
{
    EMemPoolMisuse eKind = EMemPoolMisuse::NOT_A_BLOCK;
    const void* pBlock = nullptr;     // what releaseMemBlock was given
    const char* pFile = nullptr;      // where that was
    int iLine = 0;                    // the same
    const char* pBlockFile = nullptr; // where the block was taken or, when it is free, released; null for NOT_A_BLOCK
    int iBlockLine = 0;               // the same
};

/// Sets what is called at each misuse of releaseMemBlock, on the thread that does it; it may use the pool. Null
/// brings back what is there at the start, a line on standard error. False, and nothing is ever called, when the
/// library was built without H265PS_CHECK_POOL.
bool setMemPoolMisuseHandler(void (*pHandler)(const MemPoolMisuse& misuse, void* pContext), void* pContext) noexcept;

/// The leak report: calls pReport once for each block in use with the size asked for and the place
/// it was taken at. pReport must not call into the pool.
void reportBlocksInUse(const TMemPool* pMemPool,
                       void (*pReport)(void* pContext, const char* pFile, int iLine, unsigned uiSize), void* pContext);

} // namespace tq_util
