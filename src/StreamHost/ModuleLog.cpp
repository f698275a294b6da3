#include "ModuleLog.h"

#include <new>

#include "tqlog.h"

namespace h265_stream {

namespace {

thread_local CModuleLogCapture* g_pCapture = nullptr;

constexpr std::string_view WARNING = "WARN: ";
constexpr std::string_view ERROR = "ERROR: ";

} // namespace

// The module logs everything: what ended a reading is told whatever the level asked for.
CModuleLogCapture::CModuleLogCapture(int iLogLevel, std::vector<std::string>& lines, std::string& lastMessage)
    : m_iLogLevel(iLogLevel), m_lines(lines), m_lastMessage(lastMessage), m_iLevelBefore(tqlog::CTQLog::m_iLogLevel),
      m_pSinkBefore(tqlog::CTQLog::m_pLogPrintf), m_pCaptureBefore(g_pCapture)
{
    g_pCapture = this;
    tqlog::CTQLog::m_pLogPrintf = keepLine;
    tqlog::CTQLog::m_iLogLevel = 0;
}

CModuleLogCapture::~CModuleLogCapture()
{
    tqlog::CTQLog::m_iLogLevel = m_iLevelBefore;
    tqlog::CTQLog::m_pLogPrintf = m_pSinkBefore;
    g_pCapture = m_pCaptureBefore;
}

void CModuleLogCapture::keepLine(const char* pLine)
{
    if (g_pCapture == nullptr)
        return;
    ++g_pCapture->m_ulLines;
    try {
        g_pCapture->keep(pLine);
    } catch (const std::bad_alloc&) {
        // The module throws nothing, and nothing may pass through it: the line is lost.
    }
}

void CModuleLogCapture::keep(std::string_view line)
{
    if (line.ends_with('\n'))
        line.remove_suffix(1);
    const bool bWarning = line.starts_with(WARNING);
    std::string_view message = line;
    if (bWarning)
        message.remove_prefix(WARNING.size());
    else if (line.starts_with(ERROR))
        message.remove_prefix(ERROR.size());
    m_lastMessage = message;
    if (m_iLogLevel < (bWarning ? 2 : 3))
        m_lines.emplace_back(line);
}

} // namespace h265_stream
