#include "PoolMisuse.h"

#include "tq_util.h"

#ifdef H265PS_CHECK_POOL

#include <cstdio>
#include <mutex>

#include "BlockRegister.h"

namespace tq_util {

namespace {

// What is done until the host says something else.
void printToStandardError(const MemPoolMisuse& misuse, void* /* pContext */)
{
    std::fprintf(stderr, "releaseMemBlock at %s:%d: ", misuse.pFile, misuse.iLine);
    switch (misuse.eKind) {
    case EMemPoolMisuse::RELEASED_TWICE:
        std::fprintf(stderr, "the block was released before, at %s:%d\n", misuse.pBlockFile, misuse.iBlockLine);
        break;
    case EMemPoolMisuse::INSIDE_A_BLOCK:
        std::fprintf(
            stderr, "not the start of the block that %s:%d took or released\n", misuse.pBlockFile, misuse.iBlockLine);
        break;
    case EMemPoolMisuse::NOT_A_BLOCK:
        std::fputs("no block of a living pool\n", stderr);
        break;
    }
}

struct Handler
{
    void (*pHandler)(const MemPoolMisuse& misuse, void* pContext) = printToStandardError;
    void* pContext = nullptr;
};

constinit std::mutex g_handlerMutex;
constinit Handler g_handler;

} // namespace

bool setMemPoolMisuseHandler(void (*pHandler)(const MemPoolMisuse& misuse, void* pContext), void* pContext) noexcept
{
    const std::lock_guard<std::mutex> guard(g_handlerMutex);
    g_handler = pHandler != nullptr ? Handler{pHandler, pContext} : Handler{};
    return true;
}

void tellMisuse(const void* pBlock, const char* pFile, int iLine) noexcept
{
    MemPoolMisuse misuse = explainMisuse(pBlock);
    misuse.pFile = pFile;
    misuse.iLine = iLine;
    g_handlerMutex.lock();
    const Handler handler = g_handler;
    g_handlerMutex.unlock();
    handler.pHandler(misuse, handler.pContext);
}

} // namespace tq_util

#else

namespace tq_util {

bool setMemPoolMisuseHandler(void (* /* pHandler */)(const MemPoolMisuse& misuse, void* pContext),
                             void* /* pContext */) noexcept
{
    return false;
}

} // namespace tq_util

#endif
