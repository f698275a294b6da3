// Linked into the program in the place of its calls of malloc and the like (--wrap): fails the call whose number
// H265PS_FAIL_ALLOCATION gives (1: the first), and with a '+' behind it all later ones too. With the name of a
// file in H265PS_COUNT_ALLOCATIONS it writes there how many there were.

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

bool g_bStarted = false;
unsigned g_uiCalls = 0;

// The C library starts the program with allocations of its own, and ends it when they fail.
[[gnu::constructor(101)]] void start() noexcept
{
    g_bStarted = true;
}

bool failsNow() noexcept
{
    if (!g_bStarted)
        return false;
    ++g_uiCalls;
    const char* const pSetting = std::getenv("H265PS_FAIL_ALLOCATION");
    if (pSetting == nullptr)
        return false;
    unsigned uiFailing = 0;
    const char* const pEnd = std::from_chars(pSetting, pSetting + std::strlen(pSetting), uiFailing).ptr;
    const bool bFails = *pEnd == '+' ? g_uiCalls >= uiFailing : g_uiCalls == uiFailing;
    if (bFails)
        errno = ENOMEM;
    return bFails;
}

[[gnu::destructor]] void writeCount() noexcept
{
    const char* const pFile = std::getenv("H265PS_COUNT_ALLOCATIONS");
    const int iFile = pFile != nullptr ? ::open(pFile, O_WRONLY | O_CREAT | O_TRUNC, 0600) : -1;
    char acDigits[16];
    const char* const pEnd = std::to_chars(acDigits, acDigits + sizeof(acDigits), g_uiCalls).ptr;
    if (iFile >= 0 && ::write(iFile, acDigits, static_cast<std::size_t>(pEnd - acDigits)) > 0)
        ::close(iFile);
}

} // namespace

// The linker fixes these names.
extern "C" {
void* __real_malloc(std::size_t uiSize);
void* __real_calloc(std::size_t uiCount, std::size_t uiSize);
void* __real_realloc(void* pBlock, std::size_t uiSize);
void* __real_aligned_alloc(std::size_t uiAlignment, std::size_t uiSize);

void* __wrap_malloc(std::size_t uiSize)
{
    return failsNow() ? nullptr : __real_malloc(uiSize);
}

void* __wrap_calloc(std::size_t uiCount, std::size_t uiSize)
{
    return failsNow() ? nullptr : __real_calloc(uiCount, uiSize);
}

void* __wrap_realloc(void* pBlock, std::size_t uiSize)
{
    return failsNow() ? nullptr : __real_realloc(pBlock, uiSize);
}

void* __wrap_aligned_alloc(std::size_t uiAlignment, std::size_t uiSize)
{
    return failsNow() ? nullptr : __real_aligned_alloc(uiAlignment, uiSize);
}
}
