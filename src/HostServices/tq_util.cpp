#include "tq_util.h"

#include <cstdlib>
#include <new>

#include "BlockRegister.h"
#include "PoolBlocks.h"

namespace tq_util {

void giveBackList(TMemBlockNode*& pList, TQLock& lock) noexcept
{
    while (pList != nullptr) {
        BlockHeader* const pHeader = headerOf(pList);
        pList = pList->pNext;
        lock.m_ulTakenBytes -= systemBytes(classOf(pHeader->node.uiSize));
        leaveRegister(*pHeader);
        std::free(pHeader);
    }
}

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

void reportBlocksInUse(const TMemPool* pMemPool,
                       void (*pReport)(void* pContext, const char* pFile, int iLine, unsigned uiSize), void* pContext)
{
    const std::lock_guard<std::mutex> guard(pMemPool->pLock->m_mutex);
    for (TMemBlockNode* pNode : pMemPool->apUsed) {
        for (; pNode != nullptr; pNode = pNode->pNext) {
            const BlockHeader& header = *headerOf(pNode);
            const unsigned uiRequested = header.uiRequested;
            if (uiRequested != NOT_IN_USE) // else it is being released
                pReport(pContext, header.pFile, header.iLine, uiRequested);
        }
    }
}

} // namespace tq_util
