#include "PoolMisuse.h"

#include <cstdio>
#include <cstdlib>

#include "tq_util.h"

namespace h265_test {

const bool g_bPoolMisuseEndsTheProgram = tq_util::setMemPoolMisuseHandler(
    [](const tq_util::MemPoolMisuse& misuse, void* /* pContext */) {
        std::fprintf(stderr, "misuse of the pool at %s:%d\n", misuse.pFile, misuse.iLine);
        std::abort();
    },
    nullptr);

} // namespace h265_test
