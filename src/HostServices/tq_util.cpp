#include "tq_util.h"

#include <bit>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <new>

namespace tq_util {

class TQLock
{
public:
    explicit TQLock(std::uint64_t ulMaxBytes) noexcept : m_ulMaxBytes(ulMaxBytes) {}

    std::mutex m_mutex;
    const std::uint64_t m_ulMaxBytes; // 0: no budget
    std::uint64_t m_ulTakenBytes = 0; // from the system, for blocks free and in use
};

namespace {

constexpr unsigned LOG2_SMALLEST_CLASS = 4;
constexpr std::size_t BLOCK_ALIGNMENT = 32;

// What stands in front of each block.
struct alignas(BLOCK_ALIGNMENT) BlockHeader
{
    TMemBlockNode node;
    BlockHeader* pPrevious; // of the list of blocks in use
    const char* pFile;      // who took it
    int iLine;
    unsigned uiRequested; // bytes asked for
};
static_assert(sizeof(BlockHeader) % BLOCK_ALIGNMENT == 0);
static_assert(offsetof(BlockHeader, node) == 0, "a node is found as its header");

BlockHeader* headerOf(TMemBlockNode* pNode) noexcept
{
    return reinterpret_cast<BlockHeader*>(pNode);
}

BlockHeader* headerOfBlock(void* pBlock) noexcept
{
    return static_cast<BlockHeader*>(pBlock) - 1;
}

unsigned classOf(unsigned uiSize) noexcept
{
    const unsigned uiLog2 = uiSize <= 1 ? 0 : static_cast<unsigned>(std::bit_width(uiSize - 1));
    return uiLog2 < LOG2_SMALLEST_CLASS ? 0 : uiLog2 - LOG2_SMALLEST_CLASS;
}

unsigned sizeOfClass(unsigned uiClass) noexcept
{
    return 1U << (uiClass + LOG2_SMALLEST_CLASS);
}

// What a block of the class takes from the system, which hands out whole multiples of the alignment.
std::uint64_t systemBytes(unsigned uiClass) noexcept
{
    const std::uint64_t ulBytes = std::uint64_t{sizeOfClass(uiClass)} + sizeof(BlockHeader);
    return (ulBytes + BLOCK_ALIGNMENT - 1) / BLOCK_ALIGNMENT * BLOCK_ALIGNMENT;
}

void giveBackList(TMemBlockNode*& pList, TQLock& lock) noexcept
{
    while (pList != nullptr) {
        BlockHeader* const pHeader = headerOf(pList);
        pList = pList->pNext;
        lock.m_ulTakenBytes -= systemBytes(classOf(pHeader->node.uiSize));
        std::free(pHeader);
    }
}

bool fitsBudget(const TQLock& lock, std::uint64_t ulBytes) noexcept
{
    return lock.m_ulMaxBytes == 0 ||
           (ulBytes <= lock.m_ulMaxBytes && lock.m_ulTakenBytes <= lock.m_ulMaxBytes - ulBytes);
}

void* allocate(const TQLock& lock, std::uint64_t ulBytes) noexcept
{
    return fitsBudget(lock, ulBytes) ? std::aligned_alloc(BLOCK_ALIGNMENT, static_cast<std::size_t>(ulBytes)) : nullptr;
}

// A new block of the class. Where the budget or the system refuses it, free blocks go back first.
BlockHeader* takeFromSystem(TMemPool* pMemPool, unsigned uiClass) noexcept
{
    TQLock& lock = *pMemPool->pLock;
    const std::uint64_t ulBytes = systemBytes(uiClass);
    void* pMem = allocate(lock, ulBytes);
    if (pMem == nullptr) {
        for (TMemBlockNode*& pList : pMemPool->apFree)
            giveBackList(pList, lock);
        pMem = allocate(lock, ulBytes);
    }
    if (pMem == nullptr)
        return nullptr;
    lock.m_ulTakenBytes += ulBytes;
    BlockHeader* const pHeader = new (pMem) BlockHeader{};
    pHeader->node.pMem = pHeader + 1;
    pHeader->node.uiSize = sizeOfClass(uiClass);
    pHeader->node.pPool = pMemPool;
    return pHeader;
}

} // namespace

TMemPool* createMemPool(std::uint64_t uiMaxBytes) noexcept
{
    TMemPool* const pMemPool = new (std::nothrow) TMemPool{};
    if (pMemPool == nullptr)
        return nullptr;
    pMemPool->pLock = new (std::nothrow) TQLock(uiMaxBytes);
    if (pMemPool->pLock == nullptr) {
        delete pMemPool;
        return nullptr;
    }
    return pMemPool;
}

void destroyMemPool(TMemPool* pMemPool) noexcept
{
    if (pMemPool == nullptr)
        return;
    for (unsigned i = 0; i < MEM_POOL_CLASSES; ++i) {
        giveBackList(pMemPool->apFree[i], *pMemPool->pLock);
        giveBackList(pMemPool->apUsed[i], *pMemPool->pLock);
    }
    delete pMemPool->pLock;
    delete pMemPool;
}

void* getMemBlock(unsigned uiSize, TMemPool* pMemPool, const char* pFile, int iLine) noexcept
{
    const unsigned uiClass = classOf(uiSize);
    if (uiClass >= MEM_POOL_CLASSES)
        return nullptr;
    const std::lock_guard<std::mutex> guard(pMemPool->pLock->m_mutex);
    TMemBlockNode*& pFree = pMemPool->apFree[uiClass];
    BlockHeader* const pHeader = pFree != nullptr ? headerOf(pFree) : takeFromSystem(pMemPool, uiClass);
    if (pHeader == nullptr)
        return nullptr;
    if (pFree == &pHeader->node)
        pFree = pFree->pNext;

    TMemBlockNode*& pUsed = pMemPool->apUsed[uiClass];
    pHeader->pFile = pFile;
    pHeader->iLine = iLine;
    pHeader->uiRequested = uiSize;
    pHeader->pPrevious = nullptr;
    pHeader->node.pNext = pUsed;
    if (pUsed != nullptr)
        headerOf(pUsed)->pPrevious = pHeader;
    pUsed = &pHeader->node;
    return pHeader->node.pMem;
}

void releaseMemBlock(void* pBlock, const char* /* pFile */, int /* iLine */) noexcept
{
    BlockHeader* const pHeader = headerOfBlock(pBlock);
    TMemPool* const pMemPool = pHeader->node.pPool;
    const unsigned uiClass = classOf(pHeader->node.uiSize);
    const std::lock_guard<std::mutex> guard(pMemPool->pLock->m_mutex);
    if (pHeader->node.pNext != nullptr)
        headerOf(pHeader->node.pNext)->pPrevious = pHeader->pPrevious;
    if (pHeader->pPrevious != nullptr)
        pHeader->pPrevious->node.pNext = pHeader->node.pNext;
    else
        pMemPool->apUsed[uiClass] = pHeader->node.pNext;
    pHeader->node.pNext = pMemPool->apFree[uiClass];
    pMemPool->apFree[uiClass] = &pHeader->node;
}

void reportBlocksInUse(const TMemPool* pMemPool,
                       void (*pReport)(void* pContext, const char* pFile, int iLine, unsigned uiSize), void* pContext)
{
    const std::lock_guard<std::mutex> guard(pMemPool->pLock->m_mutex);
    for (TMemBlockNode* pNode : pMemPool->apUsed) {
        for (; pNode != nullptr; pNode = pNode->pNext) {
            const BlockHeader& header = *headerOf(pNode);
            pReport(pContext, header.pFile, header.iLine, header.uiRequested);
        }
    }
}

} // namespace tq_util
