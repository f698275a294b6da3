#include "BlockRegister.h"

#include <cstdlib>

namespace tq_util {

namespace {

constexpr std::size_t FIRST_BUCKETS = 16;
static_assert(std::has_single_bit(FIRST_BUCKETS), "a hash is cut to its lower bits");

// One part of the register: chains of blocks, found by their addresses. All zero at the start.
struct RegisterPart
{
    std::mutex m_mutex;
    BlockHeader* m_apFirst[FIRST_BUCKETS] = {};
    BlockHeader** m_apGrown = nullptr; // in their place, once there are many blocks
    unsigned m_uiDoublings = 0;
    std::size_t m_uiBlocks = 0;

    [[nodiscard]] std::size_t bucketCount() const noexcept { return FIRST_BUCKETS << m_uiDoublings; }
    [[nodiscard]] BlockHeader** buckets() noexcept { return m_apGrown != nullptr ? m_apGrown : m_apFirst; }
};

// Threads that use different pools seldom meet in one part.
constexpr unsigned LOG2_PARTS = 6;
constinit RegisterPart g_aParts[1U << LOG2_PARTS];

// Blocks stand at multiples of their alignment. The multiplier is 2^64 divided by the golden ratio: the upper
// bits of its products, of which 32 are taken, depend on all bits of the address.
std::uint64_t hashOf(const void* pBlock) noexcept
{
    const std::uint64_t ulAddress = reinterpret_cast<std::uintptr_t>(pBlock);
    return ulAddress / BLOCK_ALIGNMENT * 0x9e3779b97f4a7c15U >> 32;
}

RegisterPart& partOf(const void* pBlock) noexcept
{
    return g_aParts[hashOf(pBlock) >> (32 - LOG2_PARTS)];
}

BlockHeader*& bucketOf(RegisterPart& part, const void* pBlock) noexcept
{
    return part.buckets()[hashOf(pBlock) & (part.bucketCount() - 1)];
}

void putIntoBucket(RegisterPart& part, BlockHeader& header) noexcept
{
    BlockHeader*& pFirst = bucketOf(part, header.node.pMem);
    header.pNextInRegister = pFirst;
    pFirst = &header;
}

// Doubles the number of chains. When the system has no memory for that they just get longer.
void grow(RegisterPart& part) noexcept
{
    const std::size_t uiBuckets = part.bucketCount();
    BlockHeader** const apGrown = static_cast<BlockHeader**>(std::calloc(2 * uiBuckets, sizeof(void*)));
    if (apGrown == nullptr)
        return;
    BlockHeader* pAll = nullptr;
    for (std::size_t i = 0; i < uiBuckets; ++i) {
        while (part.buckets()[i] != nullptr) {
            BlockHeader& header = *part.buckets()[i];
            part.buckets()[i] = header.pNextInRegister;
            header.pNextInRegister = pAll;
            pAll = &header;
        }
    }
    std::free(part.m_apGrown);
    part.m_apGrown = apGrown;
    ++part.m_uiDoublings;
    while (pAll != nullptr) {
        BlockHeader& header = *pAll;
        pAll = header.pNextInRegister;
        putIntoBucket(part, header);
    }
}

// Back to the start, once every chain is empty.
void shrink(RegisterPart& part) noexcept
{
    std::free(part.m_apGrown);
    part.m_apGrown = nullptr;
    part.m_uiDoublings = 0;
}

// The link that holds the block at pBlock, or the null at the end of its chain. The caller holds the part's lock.
BlockHeader*& linkTo(RegisterPart& part, const void* pBlock) noexcept
{
    BlockHeader** ppLink = &bucketOf(part, pBlock);
    while (*ppLink != nullptr && (*ppLink)->node.pMem != pBlock)
        ppLink = &(*ppLink)->pNextInRegister;
    return *ppLink;
}

} // namespace

void enterBlock(BlockHeader& header) noexcept
{
    RegisterPart& part = partOf(header.node.pMem);
    const std::lock_guard<std::mutex> guard(part.m_mutex);
    if (++part.m_uiBlocks > 2 * part.bucketCount())
        grow(part);
    putIntoBucket(part, header);
}

void leaveRegister(BlockHeader& header) noexcept
{
    RegisterPart& part = partOf(header.node.pMem);
    const std::lock_guard<std::mutex> guard(part.m_mutex);
    linkTo(part, header.node.pMem) = header.pNextInRegister;
    if (--part.m_uiBlocks == 0)
        shrink(part);
}

BlockHeader* endUse(const void* pBlock) noexcept
{
    RegisterPart& part = partOf(pBlock);
    const std::lock_guard<std::mutex> guard(part.m_mutex);
    BlockHeader* const pHeader = linkTo(part, pBlock);
    if (pHeader == nullptr || pHeader->uiRequested.exchange(NOT_IN_USE) == NOT_IN_USE)
        return nullptr;
    return pHeader;
}

#ifdef H265PS_CHECK_POOL
namespace {

bool isInside(const BlockHeader& header, const void* pBlock) noexcept
{
    const std::uintptr_t uiFirst = reinterpret_cast<std::uintptr_t>(&header);
    return reinterpret_cast<std::uintptr_t>(pBlock) - uiFirst < sizeof(BlockHeader) + header.node.uiSize;
}

// The block of the part that pBlock points into, or at what stands in front of it.
const BlockHeader* blockAround(RegisterPart& part, const void* pBlock) noexcept
{
    for (std::size_t i = 0; i < part.bucketCount(); ++i) {
        for (const BlockHeader* pHeader = part.buckets()[i]; pHeader != nullptr; pHeader = pHeader->pNextInRegister) {
            if (isInside(*pHeader, pBlock))
                return pHeader;
        }
    }
    return nullptr;
}

MemPoolMisuse misuseOf(EMemPoolMisuse eKind, const void* pBlock, const BlockHeader& header) noexcept
{
    return {.eKind = eKind, .pBlock = pBlock, .pBlockFile = header.pFile, .iBlockLine = header.iLine};
}

} // namespace

MemPoolMisuse explainMisuse(const void* pBlock) noexcept
{
    {
        RegisterPart& part = partOf(pBlock);
        const std::lock_guard<std::mutex> guard(part.m_mutex);
        if (const BlockHeader* const pHeader = linkTo(part, pBlock); pHeader != nullptr)
            return misuseOf(EMemPoolMisuse::RELEASED_TWICE, pBlock, *pHeader);
    }
    for (RegisterPart& part : g_aParts) {
        const std::lock_guard<std::mutex> guard(part.m_mutex);
        if (const BlockHeader* const pHeader = blockAround(part, pBlock); pHeader != nullptr)
            return misuseOf(EMemPoolMisuse::INSIDE_A_BLOCK, pBlock, *pHeader);
    }
    return {.eKind = EMemPoolMisuse::NOT_A_BLOCK, .pBlock = pBlock};
}
#endif

} // namespace tq_util
