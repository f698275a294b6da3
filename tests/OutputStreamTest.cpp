// The program's standard output: the linker sends its calls of write and poll here (--wrap), where a write can
// be short, take nothing, or fail.

#include "OutputStream.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/types.h>

#include <gtest/gtest.h>

namespace {

constexpr int OUR_FILE = 4711; // no descriptor: nothing of it reaches the system

std::string g_written;
std::vector<std::size_t> g_asked;   // sizes
std::deque<ssize_t> g_writeResults; // of the next writes: a number of bytes, or a negated errno; then all
std::deque<int> g_pollErrors;       // likewise of poll, 0 for an answer
unsigned g_uiPolls = 0;

template <class T>
T nextOf(std::deque<T>& results, T otherwise)
{
    if (results.empty())
        return otherwise;
    const T result = results.front();
    results.pop_front();
    return result;
}

} // namespace

// The linker fixes these names.
extern "C" {
ssize_t __real_write(int iFd, const void* pFrom, std::size_t uiSize);
int __real_poll(pollfd* aFd, nfds_t ulCount, int iTimeout);

ssize_t __wrap_write(int iFd, const void* pFrom, std::size_t uiSize)
{
    if (iFd != OUR_FILE)
        return __real_write(iFd, pFrom, uiSize);
    g_asked.push_back(uiSize);
    const ssize_t iResult =
        std::min(nextOf(g_writeResults, static_cast<ssize_t>(uiSize)), static_cast<ssize_t>(uiSize));
    if (iResult >= 0) {
        g_written.append(static_cast<const char*>(pFrom), static_cast<std::size_t>(iResult));
        return iResult;
    }
    errno = static_cast<int>(-iResult);
    return -1;
}

int __wrap_poll(pollfd* aFd, nfds_t ulCount, int iTimeout)
{
    if (ulCount != 1 || aFd->fd != OUR_FILE)
        return __real_poll(aFd, ulCount, iTimeout);
    ++g_uiPolls;
    EXPECT_EQ(aFd->events, POLLOUT);
    EXPECT_EQ(iTimeout, -1);
    errno = nextOf(g_pollErrors, 0);
    return errno == 0 ? 1 : -1;
}
}

namespace {

using h265ps::COutputStream;

class OutputStream : public testing::Test
{
protected:
    OutputStream()
    {
        g_written.clear();
        g_asked.clear();
        g_writeResults.clear();
        g_pollErrors.clear();
        g_uiPolls = 0;
    }

    std::vector<char> m_buffer = std::vector<char>(std::size_t{256} << 10);
    COutputStream m_output{OUR_FILE, m_buffer};
};

TEST_F(OutputStream, WritesNothingBeforeItsBufferIsFull)
{
    const std::string half(std::size_t{128} << 10, 'a');
    m_output.append(half);
    m_output.append(half);
    EXPECT_TRUE(g_asked.empty());
    m_output.append("b");
    EXPECT_EQ(g_asked, std::vector<std::size_t>{2 * half.size()});
    m_output.flush();
    EXPECT_EQ(g_written, half + half + "b");
    EXPECT_EQ(g_asked.size(), 2U);
}

TEST_F(OutputStream, WritesWhatIsLargerThanItsBufferBehindWhatItHolds)
{
    const std::string large((std::size_t{256} << 10) + 1, 'x');
    m_output.append("in front ");
    m_output.append(large);
    EXPECT_EQ(g_written, "in front " + large);
    EXPECT_EQ(g_asked.size(), 2U);
    m_output.append(" behind");
    m_output.flush();
    EXPECT_EQ(g_written, "in front " + large + " behind");
}

TEST_F(OutputStream, AsksForNothingWhenItHoldsNothing)
{
    m_output.flush();
    m_output.append("");
    m_output.flush();
    m_output.append("a");
    m_output.flush();
    m_output.flush();
    EXPECT_EQ(g_asked.size(), 1U);
}

TEST_F(OutputStream, GoesOnAfterShortWritesAndSignals)
{
    m_output.append("0123456789");
    g_writeResults = {3, -EINTR, 1, -EINTR, -EINTR, 2};
    m_output.flush();
    EXPECT_EQ(g_written, "0123456789");
    EXPECT_FALSE(m_output.failed());
    EXPECT_EQ(g_uiPolls, 0U);
}

TEST_F(OutputStream, IsWaitedForWhenItDoesNotBlock)
{
    m_output.append("0123456789");
    g_writeResults = {-EAGAIN, 4, -EAGAIN};
    g_pollErrors = {EINTR};
    m_output.flush();
    EXPECT_EQ(g_written, "0123456789");
    EXPECT_EQ(g_uiPolls, 2U);
    EXPECT_EQ(m_output.error(), 0);
}

TEST_F(OutputStream, FailsWhenItCannotBeWaitedFor)
{
    m_output.append("a");
    g_writeResults = {-EAGAIN};
    g_pollErrors = {ENOMEM};
    m_output.flush();
    EXPECT_EQ(m_output.error(), ENOMEM);
    EXPECT_EQ(g_written, "");
}

TEST_F(OutputStream, AWriteThatTakesNothingIsAnError)
{
    m_output.append("0123456789");
    g_writeResults = {4, 0};
    m_output.flush();
    EXPECT_TRUE(m_output.failed());
    EXPECT_EQ(m_output.error(), EIO);
    EXPECT_EQ(g_written, "0123");
    EXPECT_EQ(g_asked.size(), 2U);
}

TEST_F(OutputStream, DropsWhatComesBehindAFailure)
{
    m_output.append("0123456789");
    g_writeResults = {4, -ENOSPC};
    m_output.flush();
    EXPECT_EQ(m_output.error(), ENOSPC);
    m_output.append("more");
    m_output.append(std::string(std::size_t{1} << 20, 'x'));
    m_output.flush();
    EXPECT_EQ(m_output.error(), ENOSPC);
    EXPECT_EQ(g_written, "0123");
    EXPECT_EQ(g_asked.size(), 2U);
}

} // namespace
