#include "BlockCount.h"

namespace h265_fuzz {

std::uint64_t g_ulBlocks = 0;

} // namespace h265_fuzz

// Called at each basic block of what is compiled with -fsanitize-coverage=trace-pc.
extern "C" void __sanitizer_cov_trace_pc() // NOLINT(bugprone-reserved-identifier)
{
    ++h265_fuzz::g_ulBlocks;
}
