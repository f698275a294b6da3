// A decoder's own memory behind the two functions of the pool that the module calls. createMemPool and the
// others may be the library's or the decoder's own: a pool is no more than a name here.

#include <cstdio>
#include <cstdlib>

#include "tq_util.h"

namespace tq_util {

void* getMemBlock(unsigned uiSize, TMemPool* /* pMemPool */, const char* /* pFile */, int iLine) noexcept
{
    std::printf("own block of %u bytes, taken at line %d\n", uiSize, iLine);
    const std::size_t uiWhole = (std::size_t{uiSize} + 31) / 32 * 32; // 0 bytes are asked for, too
    return std::aligned_alloc(32, uiWhole != 0 ? uiWhole : 32);
}

void releaseMemBlock(void* pBlock, const char* /* pFile */, int iLine) noexcept
{
    std::printf("own block released at line %d\n", iLine);
    std::free(pBlock);
}

} // namespace tq_util
