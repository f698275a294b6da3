// What the libraries do when the system refuses memory, input or formatting: the linker sends their calls
// of operator new, aligned_alloc, calloc, read, poll and snprintf here (--wrap).

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <vector>

#include <poll.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ByteSource.h"
#include "ModuleLog.h"
#include "NalUnitFinder.h"
#include "ParameterSetTables.h"
#include "PoolMisuse.h"
#include "tq_util.h"
#include "tqlog.h"

namespace {

// Lets the uiCall-th call from now on (1: the next) fail and counts.
struct Failing
{
    unsigned uiCall = 0; // 0: none
    unsigned uiCalls = 0;

    bool comesNow() noexcept { return ++uiCalls == uiCall; }
};

Failing g_new;
std::size_t g_uiLargestNew = 0; // bytes asked for at once
Failing g_nothrowNew;
Failing g_alignedAlloc;
bool g_bAlignedAllocFails = false; // each call
bool g_bCallocFails = false;       // each call
unsigned g_uiCallocs = 0;
Failing g_snprintf;

// What the next calls of read and poll give: an error, or 0 for the system's own answer.
std::deque<int> g_readErrors;
std::deque<int> g_pollErrors;

int nextOf(std::deque<int>& errors)
{
    if (errors.empty())
        return 0;
    const int iErrno = errors.front();
    errors.pop_front();
    return iErrno;
}

} // namespace

// The two operators new have the type of std::size_t in their symbols: _Znwm and _ZnwmRKSt9nothrow_t, or _Znwj...
// where it is unsigned int. These names here stand for the ones that the linker wraps.
#define H265_JOINED(A, B, C) A##B##C
#define H265_SYMBOL(PREFIX, LETTER, SUFFIX) H265_JOINED(PREFIX, LETTER, SUFFIX)
#define REAL_NEW H265_SYMBOL(__real__Znw, H265PS_SIZE_LETTER, )
#define REAL_NOTHROW_NEW H265_SYMBOL(__real__Znw, H265PS_SIZE_LETTER, RKSt9nothrow_t)
#define WRAP_NEW H265_SYMBOL(__wrap__Znw, H265PS_SIZE_LETTER, )
#define WRAP_NOTHROW_NEW H265_SYMBOL(__wrap__Znw, H265PS_SIZE_LETTER, RKSt9nothrow_t)

extern "C" {
void* REAL_NEW(std::size_t uiSize);
void* REAL_NOTHROW_NEW(std::size_t uiSize, const std::nothrow_t& tag) noexcept;
void* __real_aligned_alloc(std::size_t uiAlignment, std::size_t uiSize);
void* __real_calloc(std::size_t uiCount, std::size_t uiSize);
ssize_t __real_read(int iFd, void* pTo, std::size_t uiSize);
int __real_poll(pollfd* aFd, nfds_t ulCount, int iTimeout);

void* WRAP_NEW(std::size_t uiSize)
{
    if (g_new.comesNow())
        throw std::bad_alloc();
    g_uiLargestNew = std::max(g_uiLargestNew, uiSize);
    return REAL_NEW(uiSize);
}

void* WRAP_NOTHROW_NEW(std::size_t uiSize, const std::nothrow_t& tag) noexcept
{
    return g_nothrowNew.comesNow() ? nullptr : REAL_NOTHROW_NEW(uiSize, tag);
}

void* __wrap_aligned_alloc(std::size_t uiAlignment, std::size_t uiSize)
{
    if (g_alignedAlloc.comesNow() || g_bAlignedAllocFails)
        return nullptr;
    return __real_aligned_alloc(uiAlignment, uiSize);
}

void* __wrap_calloc(std::size_t uiCount, std::size_t uiSize)
{
    ++g_uiCallocs;
    return g_bCallocFails ? nullptr : __real_calloc(uiCount, uiSize);
}

ssize_t __wrap_read(int iFd, void* pTo, std::size_t uiSize)
{
    const int iErrno = nextOf(g_readErrors);
    if (iErrno == 0)
        return __real_read(iFd, pTo, uiSize);
    errno = iErrno;
    return -1;
}

int __wrap_snprintf(char* pTo, std::size_t uiSize, const char* pFormat, ...)
{
    va_list arguments;
    va_start(arguments, pFormat);
    const int iPrinted = std::vsnprintf(pTo, uiSize, pFormat, arguments);
    va_end(arguments);
    return g_snprintf.comesNow() ? -1 : iPrinted;
}

int __wrap_poll(pollfd* aFd, nfds_t ulCount, int iTimeout)
{
    const int iErrno = nextOf(g_pollErrors);
    if (iErrno == 0)
        return __real_poll(aFd, ulCount, iTimeout);
    errno = iErrno;
    return -1;
}
}

namespace {

using namespace h265_stream;

class NoSystemMemory : public testing::Test
{
protected:
    void TearDown() override
    {
        g_new = {};
        g_nothrowNew = {};
        g_alignedAlloc = {};
        g_bAlignedAllocFails = false;
        g_bCallocFails = false;
    }

    static void* take(tq_util::TMemPool* pPool, unsigned uiSize)
    {
        return tq_util::getMemBlock(uiSize, pPool, "taker", 1);
    }
    static void giveBack(void* pBlock) { tq_util::releaseMemBlock(pBlock, "giver", 2); }
};

struct PoolDeleter
{
    void operator()(tq_util::TMemPool* pPool) const { tq_util::destroyMemPool(pPool); }
};
using CPool = std::unique_ptr<tq_util::TMemPool, PoolDeleter>;

TEST_F(NoSystemMemory, MakesNoPool)
{
    for (const unsigned uiCall : {1U, 2U}) {
        SCOPED_TRACE(uiCall);
        g_nothrowNew = {.uiCall = uiCall};
        const CPool pPool(tq_util::createMemPool());
        EXPECT_EQ(pPool, nullptr);
        EXPECT_EQ(g_nothrowNew.uiCalls, uiCall);
    }
    g_nothrowNew = {.uiCall = 3};
    EXPECT_NE(CPool(tq_util::createMemPool()), nullptr);
}

TEST_F(NoSystemMemory, GivesNoBlockAndLeavesThePoolWhole)
{
    const CPool pPool(tq_util::createMemPool());
    void* const pKept = take(pPool.get(), 100);
    g_bAlignedAllocFails = true;
    EXPECT_EQ(take(pPool.get(), 100), nullptr);
    EXPECT_EQ(take(pPool.get(), 5000), nullptr);
    g_bAlignedAllocFails = false;
    EXPECT_EQ(pPool->apUsed[3]->pMem, pKept);
    EXPECT_EQ(pPool->apUsed[3]->pNext, nullptr);
    EXPECT_NE(take(pPool.get(), 5000), nullptr);
}

TEST_F(NoSystemMemory, IsAskedAgainAfterFreeBlocksWentBack)
{
    const CPool pPool(tq_util::createMemPool());
    void* const pFree = take(pPool.get(), 100);
    giveBack(pFree);
    g_alignedAlloc = {.uiCall = 1};
    EXPECT_NE(take(pPool.get(), 5000), nullptr);
    EXPECT_EQ(g_alignedAlloc.uiCalls, 2U);
    EXPECT_EQ(pPool->apFree[3], nullptr);
}

unsigned g_uiTold = 0;

TEST_F(NoSystemMemory, IsToldToTheNewHandlerAndTheBudgetsRefusalIsNot)
{
    const CPool pPool(tq_util::createMemPool(3000));
    g_uiTold = 0;
    for (const std::new_handler pHandler : {+[] { ++g_uiTold; },
                                            +[] {
                                                ++g_uiTold;
                                                throw std::bad_alloc();
                                            }}) {
        const std::new_handler pBefore = std::set_new_handler(pHandler);
        EXPECT_EQ(take(pPool.get(), 5000), nullptr);
        g_bAlignedAllocFails = true;
        EXPECT_EQ(take(pPool.get(), 1024), nullptr);
        g_bAlignedAllocFails = false;
        giveBack(take(pPool.get(), 1024));
        std::set_new_handler(pBefore);
    }
    EXPECT_EQ(g_uiTold, 2U);
    g_bAlignedAllocFails = true;
    EXPECT_EQ(take(pPool.get(), 100), nullptr);
}

TEST_F(NoSystemMemory, CostsTheBudgetNothing)
{
    const CPool pPool(tq_util::createMemPool(3000));
    g_bAlignedAllocFails = true;
    for (unsigned i = 0; i < 100; ++i)
        EXPECT_EQ(take(pPool.get(), 1024), nullptr);
    g_bAlignedAllocFails = false;
    EXPECT_NE(take(pPool.get(), 1024), nullptr);
    EXPECT_NE(take(pPool.get(), 1024), nullptr);
    EXPECT_EQ(take(pPool.get(), 1024), nullptr);
}

// The register of blocks grows when it can.
TEST_F(NoSystemMemory, LeavesManyBlocksFindable)
{
    for (const bool bFails : {true, false}) {
        SCOPED_TRACE(bFails);
        g_bCallocFails = bFails;
        const CPool pPool(tq_util::createMemPool());
        std::vector<void*> blocks;
        for (unsigned i = 0; i < 10000; ++i)
            blocks.push_back(take(pPool.get(), 16));
        for (void* const pBlock : blocks)
            giveBack(pBlock);
        EXPECT_EQ(pPool->apUsed[0], nullptr);
    }
}

// So do the other tests of StreamHost end, and the fuzz targets.
// Each time anew: when the last block has gone back to the system, so has what the register took.
TEST_F(NoSystemMemory, IsAskedByTheRegisterNowAndThen)
{
    for (int iPool = 0; iPool < 3; ++iPool) {
        SCOPED_TRACE(iPool);
        const CPool pPool(tq_util::createMemPool());
        g_uiCallocs = 0;
        for (unsigned i = 0; i < 20000; ++i)
            (void)take(pPool.get(), 16);
        EXPECT_GT(g_uiCallocs, 0U);
        EXPECT_LT(g_uiCallocs, 20000U / 32);
    }
}

TEST(PoolMisuseDeathTest, EndsTheProgram)
{
    if (!h265_test::g_bPoolMisuseEndsTheProgram)
        GTEST_SKIP() << "the library was built without H265PS_CHECK_POOL";
    EXPECT_DEATH(tq_util::releaseMemBlock(nullptr, "giver", 2), "misuse of the pool at giver:2");
}

TEST_F(NoSystemMemory, ThrowsWhereThereAreNoTablesWithoutAPool)
{
    g_nothrowNew = {.uiCall = 1};
    EXPECT_THROW(CParameterSetTables({}), std::bad_alloc);
}

// The module's functions are noexcept: a throw would end the process.
TEST_F(NoSystemMemory, LosesALogLineAndNoMore)
{
    std::vector<std::string> lines;
    std::string lastMessage;
    const CModuleLogCapture capture(0, lines, lastMessage);
    tqlog::CTQLog::m_pLogPrintf("a line too long to need no memory of its own\n");
    g_new = {.uiCall = 1};
    tqlog::CTQLog::m_pLogPrintf("another line too long to need no memory of its own\n");
    EXPECT_GE(g_new.uiCalls, 1U);
    tqlog::CTQLog::m_pLogPrintf("the line behind it\n");
    EXPECT_EQ(lines, (std::vector<std::string>{"a line too long to need no memory of its own", "the line behind it"}));
}

// Of a parameter set that reaches across pieces what came so far is kept: in twice its room at most, taken a few
// times only.
TEST(KeptUnits, TakeMemoryAsTheyGrow)
{
    class CNoSink : public CNalUnitSink
    {
    public:
        bool onNalUnit(const NalUnit&) override { return true; }
    };
    const unsigned char aucStart[] = {0, 0, 1, SPS_NUT << 1, 1};
    const std::vector<unsigned char> rest(std::size_t{256} << 10, 0xff);
    const struct
    {
        std::size_t uiPiece;
        unsigned uiPieces;
        std::size_t uiMost;
    } aCases[] = {{1, 1000, 2 * 1002}, {rest.size(), 70, MAX_PARAMETER_SET_BYTES}};
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.uiPiece);
        CNoSink sink;
        CNalUnitFinder finder;
        ASSERT_TRUE(finder.feed(aucStart, sink));
        g_new = {};
        g_uiLargestNew = 0;
        for (unsigned i = 0; i < c.uiPieces; ++i)
            ASSERT_TRUE(finder.feed(std::span(rest).first(c.uiPiece), sink));
        EXPECT_LE(g_uiLargestNew, c.uiMost);
        EXPECT_LE(g_new.uiCalls, 16U);
    }
}

// As snprintf does with a text of more than INT_MAX characters, of which it has printed a part by then.
TEST(NoFormatting, DropsTheText)
{
    char acLine[tqlog::LOG_BUFFER_SIZE];
    tqlog::CStringStream stream(acLine);
    stream << "in front, ";
    g_snprintf = {.uiCall = 1};
    stream << "in the middle, ";
    const unsigned uiCalls = g_snprintf.uiCalls;
    g_snprintf = {};
    if (uiCalls == 0)
        GTEST_SKIP() << "the compiler calls another function";
    EXPECT_STREQ(acLine, "in front, ");
    stream << "behind";
    EXPECT_STREQ(acLine, "in front, behind");
}

TEST(NoFormatting, DropsTheCharacter)
{
    char acLine[tqlog::LOG_BUFFER_SIZE];
    tqlog::CStringStream stream(acLine);
    stream << "in front";
    g_snprintf = {.uiCall = 1};
    stream << '!';
    const unsigned uiCalls = g_snprintf.uiCalls;
    g_snprintf = {};
    if (uiCalls == 0)
        GTEST_SKIP() << "the compiler calls another function";
    EXPECT_STREQ(acLine, "in front");
}

// Nothing is formatted behind a cut, so nothing can fail there and be ended behind the buffer.
TEST(NoFormatting, IsNotEvenTriedBehindACut)
{
    char acLine[tqlog::LOG_BUFFER_SIZE + 1];
    acLine[tqlog::LOG_BUFFER_SIZE] = 'x';
    tqlog::CStringStream stream(acLine);
    stream << std::string(tqlog::LOG_BUFFER_SIZE, 'a').c_str();
    for (int i = 0; i < 2; ++i) {
        g_snprintf = {.uiCall = 1};
        i == 0 ? stream << "behind" : stream << '!';
        EXPECT_EQ(g_snprintf.uiCalls, 0U);
    }
    g_snprintf = {};
    EXPECT_EQ(acLine[tqlog::LOG_BUFFER_SIZE], 'x');
}

// Standard input is a pipe with a few bytes in it and no writer.
class FailingInput : public testing::Test
{
protected:
    void SetUp() override
    {
        int aiPipe[2] = {};
        ASSERT_EQ(::pipe(aiPipe), 0);
        ASSERT_EQ(::write(aiPipe[1], "bytes", 5), 5);
        ::close(aiPipe[1]);
        m_iBefore = ::dup(STDIN_FILENO);
        ::dup2(aiPipe[0], STDIN_FILENO);
        ::close(aiPipe[0]);
    }
    void TearDown() override
    {
        ::dup2(m_iBefore, STDIN_FILENO);
        ::close(m_iBefore);
        g_readErrors.clear();
        g_pollErrors.clear();
    }

    static std::string readAll()
    {
        const auto pSource = openByteSource("-");
        std::string result;
        for (auto piece = pSource->next(); !piece.empty(); piece = pSource->next())
            result.append(piece.begin(), piece.end());
        return result;
    }

    static void expectError(const std::string& reason, std::uint64_t ulOffset)
    {
        try {
            (void)readAll();
            ADD_FAILURE() << "no error";
        } catch (const CSourceError& error) {
            EXPECT_EQ(error.what(), reason);
            EXPECT_EQ(error.offset(), ulOffset);
        }
    }

    int m_iBefore = -1;
};

TEST_F(FailingInput, IsReadOnAfterASignal)
{
    g_readErrors = {EINTR, EINTR, 0, EINTR};
    EXPECT_EQ(readAll(), "bytes");
    EXPECT_TRUE(g_readErrors.empty());
}

TEST_F(FailingInput, IsWaitedForWhenItHasNoBytesYet)
{
    g_readErrors = {EAGAIN, EAGAIN};
    g_pollErrors = {EINTR};
    EXPECT_EQ(readAll(), "bytes");
    EXPECT_TRUE(g_readErrors.empty());
    EXPECT_TRUE(g_pollErrors.empty());
}

TEST_F(FailingInput, HandsOutWhatItHasWhenBytesAreAnnouncedAndDoNotCome)
{
    g_readErrors = {0, EAGAIN};
    const auto pSource = openByteSource("-");
    EXPECT_EQ(pSource->next().size(), 5U);
    EXPECT_TRUE(g_readErrors.empty());
    EXPECT_TRUE(pSource->next().empty());
}

TEST_F(FailingInput, HandsOutWhatItReadInFrontOfAnError)
{
    g_readErrors = {0, EIO};
    const auto pSource = openByteSource("-");
    EXPECT_EQ(pSource->head().size(), 5U);
    EXPECT_FALSE(pSource->growHead());
    EXPECT_FALSE(pSource->stalls());
    EXPECT_EQ(pSource->next().size(), 5U);
    EXPECT_FALSE(pSource->stalls());
    EXPECT_THROW((void)pSource->next(), CSourceError);
    EXPECT_THROW((void)pSource->next(), CSourceError);
}

TEST_F(FailingInput, TellsTheReasonAndHowFarItGot)
{
    g_readErrors = {EIO};
    expectError("Input/output error", 0);
    g_readErrors = {0, EINTR, EIO};
    expectError("Input/output error", 5);
}

TEST_F(FailingInput, TellsWhyItCannotBeWaitedFor)
{
    g_readErrors = {0, EAGAIN, EAGAIN};
    g_pollErrors = {0, ENOMEM};
    expectError("Cannot allocate memory", 5);
}

TEST_F(FailingInput, TellsThatItIsClosed)
{
    ::close(STDIN_FILENO);
    expectError("Bad file descriptor", 0);
}

} // namespace
