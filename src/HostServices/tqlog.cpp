#include "tqlog.h"

#include <cstddef>
#include <cstdio>

namespace tqlog {

namespace {

void printToStandardError(const char* pLine)
{
    std::fputs(pLine, stderr);
}

} // namespace

constinit int CTQLog::m_iLogLevel = 3;
constinit decltype(CTQLog::m_pLogPrintf) CTQLog::m_pLogPrintf = printToStandardError;

CStringStream::CStringStream(char* pBuf) noexcept : m_pBuf(pBuf), m_pEnd(pBuf + LOG_BUFFER_SIZE), m_pPos(pBuf)
{
    *m_pBuf = '\0';
}

CStringStream& CStringStream::operator<<(const char* pText) noexcept
{
    if (m_pPos < m_pEnd)
        advance(std::snprintf(m_pPos, static_cast<std::size_t>(m_pEnd - m_pPos), "%s", pText));
    return *this;
}

CStringStream& CStringStream::operator<<(char cText) noexcept
{
    if (m_pPos < m_pEnd)
        advance(std::snprintf(m_pPos, static_cast<std::size_t>(m_pEnd - m_pPos), "%c", cText));
    return *this;
}

void CStringStream::advance(int iPrinted) noexcept
{
    if (iPrinted < 0) {
        *m_pPos = '\0';
        return;
    }
    if (iPrinted >= m_pEnd - m_pPos) {
        m_pEnd[-1] = '\0';
        m_pPos = m_pEnd;
        return;
    }
    m_pPos += iPrinted;
}

} // namespace tqlog
