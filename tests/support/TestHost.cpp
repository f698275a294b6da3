#include "TestHost.h"

#include <cstdlib>
#include <cstring>

namespace h265_test {

namespace {

constexpr char TAG_PATH[] = "../../../src/LibDecoder/src/DecParameterSetReader";

// releaseMemBlock is told no pool.
std::unordered_map<const void*, CTestPool*>& poolOfBlock()
{
    static thread_local std::unordered_map<const void*, CTestPool*> pools;
    return pools;
}

std::vector<std::string>& caughtLines()
{
    static std::vector<std::string> lines;
    return lines;
}

} // namespace

PoolCall taken(std::size_t uiSize, int iLine)
{
    return {true, static_cast<unsigned>(uiSize), TAG_PATH, iLine};
}

PoolCall released(std::size_t uiSize, int iLine)
{
    return {false, static_cast<unsigned>(uiSize), TAG_PATH, iLine};
}

CTestPool::~CTestPool()
{
    for (const auto& [pBlock, uiSize] : m_blocks) {
        poolOfBlock().erase(pBlock);
        std::free(const_cast<void*>(pBlock));
    }
}

void* CTestPool::take(unsigned uiSize, const char* pFile, int iLine)
{
    m_calls.push_back({true, uiSize, pFile, iLine});
    if (m_uiFailIn != 0 && --m_uiFailIn == 0) {
        m_bFailed = true;
        return nullptr;
    }
    void* pBlock = nullptr;
    if (posix_memalign(&pBlock, 32, uiSize) != 0)
        std::abort();
    std::memset(pBlock, 0xcd, uiSize);
    m_blocks[pBlock] = uiSize;
    poolOfBlock()[pBlock] = this;
    return pBlock;
}

void CTestPool::release(void* pBlock, const char* pFile, int iLine)
{
    m_calls.push_back({false, m_blocks.at(pBlock), pFile, iLine});
    m_blocks.erase(pBlock);
    std::free(pBlock);
}

CLogCatcher::CLogCatcher(int iLevel)
    : m_iLevelBefore(tqlog::CTQLog::m_iLogLevel), m_pSinkBefore(tqlog::CTQLog::m_pLogPrintf)
{
    caughtLines().clear();
    tqlog::CTQLog::m_iLogLevel = iLevel;
    tqlog::CTQLog::m_pLogPrintf = [](const char* pLine) { caughtLines().emplace_back(pLine); };
}

CLogCatcher::~CLogCatcher()
{
    tqlog::CTQLog::m_iLogLevel = m_iLevelBefore;
    tqlog::CTQLog::m_pLogPrintf = m_pSinkBefore;
}

const std::vector<std::string>& CLogCatcher::lines() const
{
    return caughtLines();
}

void CLogCatcher::forget()
{
    caughtLines().clear();
}

} // namespace h265_test

namespace tq_util {

void* getMemBlock(unsigned uiSize, TMemPool* pMemPool, const char* pFile, int iLine) noexcept
{
    return reinterpret_cast<h265_test::CTestPool*>(pMemPool)->take(uiSize, pFile, iLine);
}

void releaseMemBlock(void* pBlock, const char* pFile, int iLine) noexcept
{
    const auto position = h265_test::poolOfBlock().find(pBlock);
    if (position == h265_test::poolOfBlock().end())
        std::abort();
    h265_test::CTestPool* const pPool = position->second;
    h265_test::poolOfBlock().erase(position);
    pPool->release(pBlock, pFile, iLine);
}

} // namespace tq_util
