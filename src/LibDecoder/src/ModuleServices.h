#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

#include "tq_util.h"
#include "tqlog.h"

namespace h265_codec {

// What the module asks of its host: log lines and pool blocks, each in one place. Not installed.

/// Where a block is taken or released: fixed tags, so that leak reports compare across versions.
enum EPoolTag : int
{
    TAG_TAKE_SPS_SCALING_LIST = 325,
    TAG_SPS_SHORT_TERM_REF_PIC_SETS = 361,
    TAG_TAKE_COL_WIDTH = 451,
    TAG_TAKE_ROW_HEIGHT = 456,
    TAG_TAKE_PPS_SCALING_LIST = 485,
    TAG_TAKE_SPS = 647,
    TAG_TAKE_PPS = 654,
    TAG_RELEASE_SPS_SCALING_LIST = 661,
    TAG_RELEASE_SPS_SHORT_TERM_REF_PIC_SETS = 662,
    TAG_RELEASE_SPS = 663,
    TAG_RELEASE_PPS_SCALING_LIST = 669,
    TAG_RELEASE_CTB_ADDR_TS_TO_RS = 670,
    TAG_RELEASE_CTB_ADDR_RS_TO_TS = 671,
    TAG_RELEASE_TILE_ID = 672,
    TAG_RELEASE_COL_WIDTH = 673,
    TAG_RELEASE_ROW_HEIGHT = 674,
    TAG_RELEASE_PPS = 675,
    TAG_TAKE_CTB_ADDR_TS_TO_RS = 853,
    TAG_TAKE_CTB_ADDR_RS_TO_TS = 856,
    TAG_TAKE_TILE_ID = 859,
};

inline constexpr char POOL_TAG_PATH[] = "../../../src/LibDecoder/src/DecParameterSetReader";

/// Takes room for ulCount values of type T, content unspecified; null when the pool gives none or,
/// unasked, when the size does not fit the pool's 32 bits.
template <class T>
[[nodiscard]] T* takeBlock(std::uint64_t ulCount, tq_util::TMemPool* pMemPool, EPoolTag eTag) noexcept
{
    if (ulCount > std::numeric_limits<unsigned>::max() / sizeof(T))
        return nullptr;
    const unsigned uiSize = static_cast<unsigned>(ulCount * sizeof(T));
    return static_cast<T*>(tq_util::getMemBlock(uiSize, pMemPool, POOL_TAG_PATH, eTag));
}

/// The same, with every byte zero.
template <class T>
[[nodiscard]] T* takeZeroedBlock(std::uint64_t ulCount, tq_util::TMemPool* pMemPool, EPoolTag eTag) noexcept
{
    T* const pBlock = takeBlock<T>(ulCount, pMemPool, eTag);
    if (pBlock != nullptr)
        std::memset(pBlock, 0, static_cast<std::size_t>(ulCount) * sizeof(T));
    return pBlock;
}

/// Releases the block behind an owning pointer, if there is one, and clears the pointer.
template <class T>
void releaseBlock(T*& pBlock, EPoolTag eTag) noexcept
{
    if (pBlock == nullptr)
        return;
    tq_util::releaseMemBlock(pBlock, POOL_TAG_PATH, eTag);
    pBlock = nullptr;
}

/// Sends "ERROR: " and the message, when the log's level lets errors through.
inline void logError(const char* pMessage) noexcept
{
    if (tqlog::CTQLog::m_iLogLevel >= 3)
        return;
    char acLine[tqlog::LOG_BUFFER_SIZE];
    tqlog::CStringStream(acLine) << "ERROR: " << pMessage << '\n';
    tqlog::CTQLog::m_pLogPrintf(acLine);
}

/// Sends "WARN: " and the message, when the log's level lets warnings through.
inline void logWarning(const char* pMessage) noexcept
{
    if (tqlog::CTQLog::m_iLogLevel >= 2)
        return;
    char acLine[tqlog::LOG_BUFFER_SIZE];
    tqlog::CStringStream(acLine) << "WARN: " << pMessage << '\n';
    tqlog::CTQLog::m_pLogPrintf(acLine);
}

} // namespace h265_codec
