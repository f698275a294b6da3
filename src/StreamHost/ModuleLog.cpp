#include "ModuleLog.h"

#include <new>
#include <string_view>

#include "tqlog.h"

namespace h265_stream {

namespace {

thread_local std::vector<std::string>* g_pLines = nullptr;

void keepLine(const char* pLine)
{
    if (g_pLines == nullptr)
        return;
    std::string_view line(pLine);
    if (line.ends_with('\n'))
        line.remove_suffix(1);
    try {
        g_pLines->emplace_back(line);
    } catch (const std::bad_alloc&) {
        // The module throws nothing, and nothing may pass through it: the line is lost.
    }
}

} // namespace

CModuleLogCapture::CModuleLogCapture(int iLogLevel, std::vector<std::string>& lines)
    : m_iLevelBefore(tqlog::CTQLog::m_iLogLevel), m_pSinkBefore(tqlog::CTQLog::m_pLogPrintf), m_pLinesBefore(g_pLines)
{
    g_pLines = &lines;
    tqlog::CTQLog::m_pLogPrintf = keepLine;
    tqlog::CTQLog::m_iLogLevel = iLogLevel;
}

CModuleLogCapture::~CModuleLogCapture()
{
    tqlog::CTQLog::m_iLogLevel = m_iLevelBefore;
    tqlog::CTQLog::m_pLogPrintf = m_pSinkBefore;
    g_pLines = m_pLinesBefore;
}

} // namespace h265_stream
