#pragma once

namespace tq_util {

// Not installed.

/// Tells the handler that releaseMemBlock was given a pointer to no block in use; without H265PS_CHECK_POOL nobody.
/// The caller holds no lock: the handler may use the pool.
#ifdef H265PS_CHECK_POOL
void tellMisuse(const void* pBlock, const char* pFile, int iLine) noexcept;
#else
inline void tellMisuse(const void* /* pBlock */, const char* /* pFile */, int /* iLine */) noexcept {}
#endif

} // namespace tq_util
