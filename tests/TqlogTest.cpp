#include "tqlog.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "ModuleServices.h"

namespace {

using tqlog::CStringStream;
using tqlog::CTQLog;

static_assert(std::is_same_v<decltype(CTQLog::m_iLogLevel), int>);
static_assert(std::is_same_v<decltype(CTQLog::m_pLogPrintf), void (*)(const char*)>);
static_assert(std::is_same_v<decltype(std::declval<CStringStream&>() << "text" << 'c'), CStringStream&>);

// The buffer of one line with bytes around it that must stay.
class LogBuffer : public testing::Test
{
protected:
    static constexpr char UNTOUCHED = 0x5a;
    static constexpr std::size_t MARGIN = 16;

    LogBuffer() { std::memset(m_acAll, UNTOUCHED, sizeof(m_acAll)); }

    ~LogBuffer() override
    {
        for (std::size_t i = 0; i < MARGIN; ++i) {
            EXPECT_EQ(m_acAll[i], UNTOUCHED);
            EXPECT_EQ(m_acAll[sizeof(m_acAll) - 1 - i], UNTOUCHED);
        }
    }

    [[nodiscard]] char* buffer() { return m_acAll + MARGIN; }
    [[nodiscard]] std::string text() const { return m_acAll + MARGIN; }

private:
    char m_acAll[2048 + 2 * MARGIN];
};

TEST_F(LogBuffer, StartsEmpty)
{
    const CStringStream stream(buffer());
    EXPECT_EQ(text(), "");
}

TEST_F(LogBuffer, AppendsTextsAndCharactersInOrder)
{
    CStringStream stream(buffer());
    stream << "ERROR: "
           << "a message" << '\n';
    EXPECT_EQ(text(), "ERROR: a message\n");
    stream << "" << 'x';
    EXPECT_EQ(text(), "ERROR: a message\nx");
}

TEST_F(LogBuffer, TakesNoFormatFromTheText)
{
    CStringStream stream(buffer());
    stream << "100% %s %n" << '%';
    EXPECT_EQ(text(), "100% %s %n%");
}

TEST_F(LogBuffer, HoldsTextsUpTo2047Characters)
{
    CStringStream stream(buffer());
    stream << std::string(2046, 'a').c_str() << 'b';
    EXPECT_EQ(text(), std::string(2046, 'a') + 'b');
}

TEST_F(LogBuffer, CutsWhatDoesNotFit)
{
    for (const std::size_t uiLength : {2048U, 2049U, 2100U, 5000U}) {
        SCOPED_TRACE(uiLength);
        CStringStream stream(buffer());
        stream << std::string(uiLength, 'a').c_str();
        EXPECT_EQ(text(), std::string(2047, 'a'));
    }
}

TEST_F(LogBuffer, CutsTheTextThatCrossesTheEnd)
{
    CStringStream stream(buffer());
    stream << std::string(2040, 'a').c_str() << "bbbbbbbbbb";
    EXPECT_EQ(text(), std::string(2040, 'a') + "bbbbbbb");
}

TEST_F(LogBuffer, CutsACharacterThatLeavesNoRoomForTheTerminator)
{
    CStringStream stream(buffer());
    stream << std::string(2047, 'a').c_str() << 'b';
    EXPECT_EQ(text(), std::string(2047, 'a'));
}

TEST_F(LogBuffer, DropsEverythingBehindACut)
{
    CStringStream stream(buffer());
    stream << std::string(2100, 'a').c_str();
    stream << 'b' << "c"
           << "" << '\n';
    EXPECT_EQ(text(), std::string(2047, 'a'));
}

TEST_F(LogBuffer, StillTakesTextThatFitsExactlyBehindAnEmptyOne)
{
    CStringStream stream(buffer());
    stream << std::string(2047, 'a').c_str() << ""; // no room is needed, and none is left
    EXPECT_EQ(text(), std::string(2047, 'a'));
    stream << 'b';
    EXPECT_EQ(text(), std::string(2047, 'a'));
}

TEST(Log, StartsQuietWithASinkInPlace)
{
    EXPECT_EQ(CTQLog::m_iLogLevel, 3);
    ASSERT_NE(CTQLog::m_pLogPrintf, nullptr);
    testing::internal::CaptureStderr();
    CTQLog::m_pLogPrintf("a 100% line\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "a 100% line\n");
}

// The module's two log points, which stand on the log alone.
class LogPoint : public testing::Test
{
protected:
    LogPoint()
    {
        s_lines.clear();
        CTQLog::m_pLogPrintf = [](const char* pLine) { s_lines.emplace_back(pLine); };
    }

    ~LogPoint() override
    {
        CTQLog::m_iLogLevel = m_iLevelBefore;
        CTQLog::m_pLogPrintf = m_pSinkBefore;
    }

    static inline std::vector<std::string> s_lines;

private:
    int m_iLevelBefore = CTQLog::m_iLogLevel;
    void (*m_pSinkBefore)(const char*) = CTQLog::m_pLogPrintf;
};

TEST_F(LogPoint, PassesLinesAccordingToTheLevel)
{
    struct Case
    {
        int iLevel;
        bool bError;
        bool bWarning;
    };
    for (const Case& c : {Case{-1, true, true},
                          Case{0, true, true},
                          Case{1, true, true},
                          Case{2, true, false},
                          Case{3, false, false},
                          Case{4, false, false}}) {
        SCOPED_TRACE(c.iLevel);
        s_lines.clear();
        CTQLog::m_iLogLevel = c.iLevel;
        h265_codec::logError("an error");
        h265_codec::logWarning("a warning");
        std::vector<std::string> expected;
        if (c.bError)
            expected.emplace_back("ERROR: an error\n");
        if (c.bWarning)
            expected.emplace_back("WARN: a warning\n");
        EXPECT_EQ(s_lines, expected);
    }
}

TEST_F(LogPoint, NeedsNoSinkWhenQuiet)
{
    CTQLog::m_iLogLevel = 3;
    CTQLog::m_pLogPrintf = nullptr;
    h265_codec::logError("unheard");
    h265_codec::logWarning("unheard");
}

TEST_F(LogPoint, CutsALongMessageAndItsNewline)
{
    CTQLog::m_iLogLevel = 0;
    h265_codec::logError(std::string(2100, 'a').c_str());
    h265_codec::logWarning(std::string(2100, 'b').c_str());
    EXPECT_EQ(s_lines,
              (std::vector<std::string>{"ERROR: " + std::string(2040, 'a'), "WARN: " + std::string(2041, 'b')}));
}

// From a line that fits with its terminator to one that has no room for a single character more.
TEST_F(LogPoint, CutsALineOfAboutTheBuffersLengthAtItsLastByte)
{
    CTQLog::m_iLogLevel = 0;
    for (std::size_t uiLine = 2045; uiLine <= 2050; ++uiLine) { // without its newline
        SCOPED_TRACE(uiLine);
        s_lines.clear();
        h265_codec::logError(std::string(uiLine - 7, 'a').c_str());
        h265_codec::logWarning(std::string(uiLine - 6, 'b').c_str());
        const std::size_t uiKept = std::min(uiLine, std::size_t{2047});
        const std::string newline = uiLine <= 2046 ? "\n" : "";
        EXPECT_EQ(s_lines,
                  (std::vector<std::string>{"ERROR: " + std::string(uiKept - 7, 'a') + newline,
                                            "WARN: " + std::string(uiKept - 6, 'b') + newline}));
    }
}

} // namespace
