#include "MemoryRefusals.h"

#include <cstdlib>
#include <exception>
#include <new>
#include <utility>

#include <unistd.h>

#include <cxxabi.h>

#include "ErrorLine.h"
#include "Options.h"
#include "OutputStream.h"

namespace h265ps {

namespace {

bool g_bRefused = false;
COutputStream* g_pLastOutput = nullptr;

void noteRefusal()
{
    g_bRefused = true;
    throw std::bad_alloc();
}

[[noreturn]] void endOnTheSpot() noexcept
{
    // Another exception than that of refused memory is a fault of the program. There is none at all when the
    // memory of an exception was refused.
    if (!g_bRefused && abi::__cxa_current_exception_type() != nullptr)
        std::abort();
    if (g_pLastOutput != nullptr)
        g_pLastOutput->flush();
    writeError("out of memory, ended on the spot");
    ::_exit(EXIT_FILE_ERROR);
}

// In front of all constructors of static objects, which allocate too.
[[gnu::constructor(101)]] void watchMemory() noexcept
{
    std::set_new_handler(noteRefusal);
    std::set_terminate(endOnTheSpot);
}

} // namespace

bool wasMemoryRefused() noexcept
{
    return std::exchange(g_bRefused, false);
}

void writeAtLast(COutputStream* pOutput) noexcept
{
    g_pLastOutput = pOutput;
}

} // namespace h265ps
