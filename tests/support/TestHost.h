#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "tq_util.h"
#include "tqlog.h"

namespace h265_test {

/// One call that the module made to its pool.
struct PoolCall
{
    bool bTake;      // getMemBlock, else releaseMemBlock
    unsigned uiSize; // asked for; of a release: of the block
    std::string file;
    int iLine;

    bool operator==(const PoolCall&) const = default;
};

/// The calls as the module makes them: a size, and the number that stands for the place.
[[nodiscard]] PoolCall taken(std::size_t uiSize, int iLine);
[[nodiscard]] PoolCall released(std::size_t uiSize, int iLine);

/// A pool for tests of the module, in the place of the real one: every block is an own heap block of
/// exactly the size asked for (so that the sanitizers see each byte past it), filled with garbage;
/// calls are recorded; taking can be made to fail. One thread only.
class CTestPool
{
public:
    CTestPool() = default;
    ~CTestPool();
    CTestPool(const CTestPool&) = delete;
    CTestPool& operator=(const CTestPool&) = delete;

    /// What the module is handed.
    [[nodiscard]] tq_util::TMemPool* pool() { return reinterpret_cast<tq_util::TMemPool*>(this); }

    /// Lets the uiCall-th take from now on (1: the next) fail, and only that one. 0: none.
    void failTake(std::size_t uiCall) { m_uiFailIn = uiCall; }

    /// Whether the take set up by failTake has come.
    [[nodiscard]] bool hasFailed() const { return m_bFailed; }

    [[nodiscard]] const std::vector<PoolCall>& calls() const { return m_calls; }
    void forgetCalls() { m_calls.clear(); }
    [[nodiscard]] std::size_t blocksInUse() const { return m_blocks.size(); }
    [[nodiscard]] unsigned sizeOf(const void* pBlock) const { return m_blocks.at(pBlock); }

    void* take(unsigned uiSize, const char* pFile, int iLine);
    void release(void* pBlock, const char* pFile, int iLine);

private:
    std::unordered_map<const void*, unsigned> m_blocks;
    std::vector<PoolCall> m_calls;
    std::size_t m_uiFailIn = 0;
    bool m_bFailed = false;
};

/// Catches the log lines (newline included) of its lifetime, at a level of choice. One at a time.
class CLogCatcher
{
public:
    explicit CLogCatcher(int iLevel = 0);
    ~CLogCatcher();
    CLogCatcher(const CLogCatcher&) = delete;
    CLogCatcher& operator=(const CLogCatcher&) = delete;

    [[nodiscard]] const std::vector<std::string>& lines() const;
    void forget();

private:
    int m_iLevelBefore;
    void (*m_pSinkBefore)(const char*);
};

inline constexpr char READ_FLAG_ERROR[] = "ERROR: ReadFlag() error  bs reach end when read bits, not enough bits\n";
inline constexpr char READ_BITS_ERROR[] = "ERROR: ReadBits() error  bs reach end when read bits, not enough bits\n";

} // namespace h265_test
