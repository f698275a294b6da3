#pragma once

namespace h265_test {

/// Whether a misuse of the pool ends the program, which linking PoolMisuse.cpp asks for: false when the
/// library cannot tell (built without H265PS_CHECK_POOL).
extern const bool g_bPoolMisuseEndsTheProgram;

} // namespace h265_test
