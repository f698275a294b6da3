#pragma once

#include <vector>

#include "FuzzInput.h"
#include "tq_util.h"

namespace h265_fuzz {

/// The module's host in a fuzz case: a log whose lines are checked, and a pool in the place of the real
/// one. Every block is an own heap block of exactly the size asked for, with content that nobody wrote,
/// so that the sanitizers see each byte past it and each byte that is used before it is set. Uses no
/// code of the standard library's binary: the memory sanitizer knows only what was built with it.
class CFuzzHost
{
public:
    /// Takes the log level and the call of the pool that fails from the input.
    explicit CFuzzHost(CFuzzInput& input);

    /// Checks that every block went back. The tile arrays that a PPS outgrew stay with the pool.
    ~CFuzzHost();
    CFuzzHost(const CFuzzHost&) = delete;
    CFuzzHost& operator=(const CFuzzHost&) = delete;

    [[nodiscard]] tq_util::TMemPool* pool() { return reinterpret_cast<tq_util::TMemPool*>(this); }

    /// From now on the pool refuses only what is too large.
    void failNoMore() { m_uiFailIn = 0; }

    /// Whether the pool refused a block since the last question.
    [[nodiscard]] bool hasRefused();

    void* take(unsigned uiSize, int iLine);
    bool release(void* pBlock);

private:
    struct Block
    {
        void* pBlock;
        int iLine;
    };

    std::vector<Block> m_blocks;
    unsigned m_uiFailIn;
    bool m_bRefused = false;
};

} // namespace h265_fuzz
