#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "tq_util.h"

namespace tq_util {

// What the pool's files share. Not installed.

class TQLock
{
public:
    explicit TQLock(std::uint64_t ulMaxBytes) noexcept : m_ulMaxBytes(ulMaxBytes) {}

    std::mutex m_mutex;
    const std::uint64_t m_ulMaxBytes; // 0: no budget
    std::uint64_t m_ulTakenBytes = 0; // from the system, for blocks free and in use
};

inline constexpr std::size_t BLOCK_ALIGNMENT = 32;

/// What a block that nobody holds has in the place of the bytes asked for: no request is that large.
inline constexpr unsigned NOT_IN_USE = 0xffffffffU;

/// What stands in front of each block.
struct alignas(BLOCK_ALIGNMENT) BlockHeader
{
    TMemBlockNode node;
    BlockHeader* pPrevious = nullptr;               // of the list of blocks in use
    BlockHeader* pNextInRegister = nullptr;         // of the same chain
    std::atomic<const char*> pFile = nullptr;       // who took it; of a free block: who released it
    std::atomic<int> iLine = 0;                     // the same
    std::atomic<unsigned> uiRequested = NOT_IN_USE; // bytes asked for
};
static_assert(sizeof(BlockHeader) % BLOCK_ALIGNMENT == 0);
static_assert(offsetof(BlockHeader, node) == 0, "a node is found as its header");

inline BlockHeader* headerOf(TMemBlockNode* pNode) noexcept
{
    return reinterpret_cast<BlockHeader*>(pNode);
}

inline constexpr unsigned LOG2_SMALLEST_CLASS = 4;

inline unsigned classOf(unsigned uiSize) noexcept
{
    const unsigned uiLog2 = uiSize <= 1 ? 0 : static_cast<unsigned>(std::bit_width(uiSize - 1));
    return uiLog2 < LOG2_SMALLEST_CLASS ? 0 : uiLog2 - LOG2_SMALLEST_CLASS;
}

inline unsigned sizeOfClass(unsigned uiClass) noexcept
{
    return 1U << (uiClass + LOG2_SMALLEST_CLASS);
}

/// What a block of the class takes from the system, which hands out whole multiples of the alignment.
inline std::uint64_t systemBytes(unsigned uiClass) noexcept
{
    const std::uint64_t ulBytes = std::uint64_t{sizeOfClass(uiClass)} + sizeof(BlockHeader);
    return (ulBytes + BLOCK_ALIGNMENT - 1) / BLOCK_ALIGNMENT * BLOCK_ALIGNMENT;
}

/// Gives every block of the list back to the system. The caller holds the lock, or is the last user.
void giveBackList(TMemBlockNode*& pList, TQLock& lock) noexcept;

} // namespace tq_util
