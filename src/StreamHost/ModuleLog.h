#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace h265_stream {

/// Redirects the module's log for its lifetime: the lines of this thread that the level lets through go to
/// a list, without their newlines; the last message, whatever its level, is kept apart. The sink and level that were
/// set before come back at the end. The log is the whole process's, so there may be one at a time, in one thread.
class CModuleLogCapture
{
public:
    /// iLogLevel: 0 and 1 list all lines, 2 errors, 3 none. lastMessage stands without "ERROR: " or "WARN: ".
    CModuleLogCapture(int iLogLevel, std::vector<std::string>& lines, std::string& lastMessage);
    ~CModuleLogCapture();
    CModuleLogCapture(const CModuleLogCapture&) = delete;
    CModuleLogCapture& operator=(const CModuleLogCapture&) = delete;

    /// Lines that the module logged, whatever the level.
    [[nodiscard]] std::uint64_t lineCount() const noexcept { return m_ulLines; }

private:
    static void keepLine(const char* pLine);
    void keep(std::string_view line);

    const int m_iLogLevel;
    std::vector<std::string>& m_lines;
    std::string& m_lastMessage;
    int m_iLevelBefore;
    void (*m_pSinkBefore)(const char*);
    CModuleLogCapture* m_pCaptureBefore;
    std::uint64_t m_ulLines = 0;
};

} // namespace h265_stream
