// The two functions that the module calls, in an object of their own: a decoder that brings its own leaves this
// one out, and the pool's other functions stand without it.

#include <cstdlib>
#include <new>

#include "BlockRegister.h"
#include "PoolBlocks.h"
#include "PoolMisuse.h"
#include "tq_util.h"

namespace tq_util {

namespace {

bool fitsBudget(const TQLock& lock, std::uint64_t ulBytes) noexcept
{
    return lock.m_ulMaxBytes == 0 ||
           (ulBytes <= lock.m_ulMaxBytes && lock.m_ulTakenBytes <= lock.m_ulMaxBytes - ulBytes);
}

void* allocate(const TQLock& lock, std::uint64_t ulBytes) noexcept
{
    return fitsBudget(lock, ulBytes) ? std::aligned_alloc(BLOCK_ALIGNMENT, static_cast<std::size_t>(ulBytes)) : nullptr;
}

// As operator new does: who set a handler hears of what the system refuses, not of what the budget does.
void tellNewHandler() noexcept
{
    const std::new_handler pHandler = std::get_new_handler();
    if (pHandler == nullptr)
        return;
    try {
        pHandler();
    } catch (const std::bad_alloc&) {
        // The block is refused either way.
    }
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
    if (pMem == nullptr && fitsBudget(lock, ulBytes))
        tellNewHandler();
    if (pMem == nullptr)
        return nullptr;
    lock.m_ulTakenBytes += ulBytes;
    BlockHeader* const pHeader = new (pMem) BlockHeader{};
    pHeader->node.pMem = pHeader + 1;
    pHeader->node.uiSize = sizeOfClass(uiClass);
    pHeader->node.pPool = pMemPool;
    enterBlock(*pHeader);
    return pHeader;
}

} // namespace

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
    pHeader->pFile.store(pFile, std::memory_order_relaxed);
    pHeader->iLine.store(iLine, std::memory_order_relaxed);
    pHeader->uiRequested.store(uiSize, std::memory_order_relaxed);
    pHeader->pPrevious = nullptr;
    pHeader->node.pNext = pUsed;
    if (pUsed != nullptr)
        headerOf(pUsed)->pPrevious = pHeader;
    pUsed = &pHeader->node;
    return pHeader->node.pMem;
}

void releaseMemBlock(void* pBlock, const char* pFile, int iLine) noexcept
{
    // From here on the block is this call's alone, and neither used nor free until it stands among the free ones.
    BlockHeader* const pHeader = endUse(pBlock);
    if (pHeader == nullptr) {
        tellMisuse(pBlock, pFile, iLine);
        return;
    }
    TMemPool* const pMemPool = pHeader->node.pPool;
    const unsigned uiClass = classOf(pHeader->node.uiSize);
    const std::lock_guard<std::mutex> guard(pMemPool->pLock->m_mutex);
    if (pHeader->node.pNext != nullptr)
        headerOf(pHeader->node.pNext)->pPrevious = pHeader->pPrevious;
    if (pHeader->pPrevious != nullptr)
        pHeader->pPrevious->node.pNext = pHeader->node.pNext;
    else
        pMemPool->apUsed[uiClass] = pHeader->node.pNext;
    pHeader->pFile.store(pFile, std::memory_order_relaxed);
    pHeader->iLine.store(iLine, std::memory_order_relaxed);
    pHeader->node.pNext = pMemPool->apFree[uiClass];
    pMemPool->apFree[uiClass] = &pHeader->node;
}

} // namespace tq_util
