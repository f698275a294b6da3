#include "FuzzHost.h"

#include <cstring>

#include "tqlog.h"

namespace h265_fuzz {

namespace {

// Larger blocks are refused, so that a case takes neither much memory nor much time.
constexpr unsigned MAX_BLOCK_BYTES = 1U << 18;

constexpr int TAG_TAKE_COL_WIDTH = 451;
constexpr int TAG_TAKE_ROW_HEIGHT = 456;

CFuzzHost* g_pHost = nullptr; // releaseMemBlock is told no pool

void checkLine(const char* pLine)
{
    const std::size_t uiLength = std::strlen(pLine);
    check(uiLength < tqlog::LOG_BUFFER_SIZE, "a line fits its buffer");
    check(uiLength != 0 && std::strchr(pLine, '\n') == pLine + uiLength - 1, "a line ends with its only newline");
    check(std::strncmp(pLine, "ERROR: ", 7) == 0 || std::strncmp(pLine, "WARN: ", 6) == 0,
          "a line begins with its kind");
    check(tqlog::CTQLog::m_iLogLevel < (pLine[0] == 'E' ? 3 : 2), "the level lets a line through");
}

} // namespace

CFuzzHost::CFuzzHost(CFuzzInput& input)
{
    tqlog::CTQLog::m_iLogLevel = static_cast<int>(input.below(4));
    tqlog::CTQLog::m_pLogPrintf = checkLine;
    m_uiFailIn = input.below(16);
    g_pHost = this;
}

CFuzzHost::~CFuzzHost()
{
    for (const Block& block : m_blocks) {
        check(block.iLine == TAG_TAKE_COL_WIDTH || block.iLine == TAG_TAKE_ROW_HEIGHT, "every block goes back");
        std::free(block.pBlock);
    }
    g_pHost = nullptr;
}

bool CFuzzHost::hasRefused()
{
    const bool bRefused = m_bRefused;
    m_bRefused = false;
    return bRefused;
}

void* CFuzzHost::take(unsigned uiSize, int iLine)
{
    void* pBlock = nullptr;
    if ((m_uiFailIn != 0 && --m_uiFailIn == 0) || uiSize > MAX_BLOCK_BYTES ||
        posix_memalign(&pBlock, 32, uiSize) != 0) {
        m_bRefused = true;
        return nullptr;
    }
    m_blocks.push_back({pBlock, iLine});
    return pBlock;
}

bool CFuzzHost::release(void* pBlock)
{
    for (Block& block : m_blocks) {
        if (block.pBlock != pBlock)
            continue;
        std::free(pBlock);
        block = m_blocks.back();
        m_blocks.pop_back();
        return true;
    }
    return false;
}

} // namespace h265_fuzz

namespace tq_util {

void* getMemBlock(unsigned uiSize, TMemPool* pMemPool, const char* /* pFile */, int iLine) noexcept
{
    return reinterpret_cast<h265_fuzz::CFuzzHost*>(pMemPool)->take(uiSize, iLine);
}

void releaseMemBlock(void* pBlock, const char* /* pFile */, int /* iLine */) noexcept
{
    h265_fuzz::check(h265_fuzz::g_pHost->release(pBlock), "only blocks of the pool go back to it, once");
}

} // namespace tq_util
