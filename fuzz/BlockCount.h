#pragma once

#include <cstdint>

namespace h265_fuzz {

/// Basic blocks that the module has run so far: what stands in for its instructions while payloads are
/// searched, the same in every run and on every machine.
extern std::uint64_t g_ulBlocks;

} // namespace h265_fuzz
