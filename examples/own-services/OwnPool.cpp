// With OwnBlocks.cpp: a decoder's own pool in the place of H265ParameterSets::DecoderMemPool. This one keeps no
// account of its blocks: what a decoder does not release is lost, and no budget is held.

#include <cstdio>
#include <new>

#include "tq_util.h"

namespace tq_util {

TMemPool* createMemPool(std::uint64_t /* uiMaxBytes */) noexcept
{
    std::puts("own pool");
    return new (std::nothrow) TMemPool{};
}

void destroyMemPool(TMemPool* pMemPool) noexcept
{
    delete pMemPool;
}

void reportBlocksInUse(const TMemPool* /* pMemPool */,
                       void (* /* pReport */)(void* pContext, const char* pFile, int iLine, unsigned uiSize),
                       void* /* pContext */)
{}

bool setMemPoolMisuseHandler(void (* /* pHandler */)(const MemPoolMisuse& misuse, void* pContext),
                             void* /* pContext */) noexcept
{
    return false;
}

} // namespace tq_util
