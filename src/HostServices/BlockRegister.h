#pragma once

#include "PoolBlocks.h"

namespace tq_util {

// The register of every block that the pools of the process hold, free or in use. A pointer is looked up
// here before anything is read through it: what stands in front of a block that its pool has given back
// to the system may be anything. Not installed.

/// Puts a new block into the register.
void enterBlock(BlockHeader& header) noexcept;

/// Takes a block out, before it goes back to the system.
void leaveRegister(BlockHeader& header) noexcept;

/// Ends the use of the block at pBlock; null when it is no block of a living pool, or not in use. Of several
/// calls for one use of a block, one gets it.
[[nodiscard]] BlockHeader* endUse(const void* pBlock) noexcept;

#ifdef H265PS_CHECK_POOL
/// What is wrong with a pointer that endUse refused. May look at every block.
[[nodiscard]] MemPoolMisuse explainMisuse(const void* pBlock) noexcept;
#endif

} // namespace tq_util
