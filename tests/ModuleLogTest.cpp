#include "ModuleLog.h"

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tqlog.h"

namespace module_log_test {

using namespace h265_stream;
using tqlog::CTQLog;

namespace {

using Lines = std::vector<std::string>;

TEST(ModuleLogCapture, KeepsLinesWithoutTheirNewlines)
{
    Lines lines;
    std::string lastMessage;
    const CModuleLogCapture capture(0, lines, lastMessage);
    for (const char* const pLine : {"one\n", "two", "\n", "", "two\nlines\n", "blank\n\n"})
        CTQLog::m_pLogPrintf(pLine);
    EXPECT_EQ(lines, (Lines{"one", "two", "", "", "two\nlines", "blank\n"}));
}

TEST(ModuleLogCapture, ListsTheLinesOfItsLevelAndKeepsTheLastMessageOfAny)
{
    struct Case
    {
        int iLevel;
        Lines expected;
    };
    const Case aCases[] = {
        {0, {"ERROR: an error", "WARN: a warning"}},
        {1, {"ERROR: an error", "WARN: a warning"}},
        {2, {"ERROR: an error"}},
        {3, {}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.iLevel);
        Lines lines;
        std::string lastMessage;
        const CModuleLogCapture capture(c.iLevel, lines, lastMessage);
        CTQLog::m_pLogPrintf("ERROR: an error\n");
        EXPECT_EQ(lastMessage, "an error");
        CTQLog::m_pLogPrintf("WARN: a warning\n");
        EXPECT_EQ(lastMessage, "a warning");
        EXPECT_EQ(lines, c.expected);
    }
}

TEST(ModuleLogCapture, LeavesLinesOfOtherThreadsOut)
{
    Lines lines;
    std::string lastMessage;
    const CModuleLogCapture capture(0, lines, lastMessage);
    std::thread([] { CTQLog::m_pLogPrintf("of another thread\n"); }).join();
    CTQLog::m_pLogPrintf("of this thread\n");
    EXPECT_EQ(lines, (Lines{"of this thread"}));
}

TEST(ModuleLogCapture, GivesTheLogBackToTheCaptureAroundIt)
{
    const int iLevelBefore = CTQLog::m_iLogLevel;
    const auto pSinkBefore = CTQLog::m_pLogPrintf;
    Lines outer;
    Lines inner;
    std::string lastMessage;
    {
        const CModuleLogCapture outerCapture(0, outer, lastMessage);
        {
            const CModuleLogCapture innerCapture(0, inner, lastMessage);
            CTQLog::m_pLogPrintf("inside\n");
        }
        CTQLog::m_pLogPrintf("outside\n");
    }
    EXPECT_EQ(CTQLog::m_iLogLevel, iLevelBefore);
    EXPECT_EQ(CTQLog::m_pLogPrintf, pSinkBefore);
    EXPECT_EQ(inner, (Lines{"inside"}));
    EXPECT_EQ(outer, (Lines{"outside"}));
}

} // namespace
} // namespace module_log_test
