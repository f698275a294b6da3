// A decoder's own log in the place of H265ParameterSets::DecoderLog.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "tqlog.h"

namespace tqlog {

namespace {

void print(const char* pLine)
{
    std::printf("own log: %s", pLine);
}

} // namespace

// Constant-initialised: whatever reads parameter sets while other globals are being made finds them in place.
constinit int CTQLog::m_iLogLevel = 2;
constinit decltype(CTQLog::m_pLogPrintf) CTQLog::m_pLogPrintf = print;

CStringStream::CStringStream(char* pBuf) noexcept : m_pBuf(pBuf), m_pEnd(pBuf + LOG_BUFFER_SIZE), m_pPos(pBuf)
{
    *m_pPos = '\0';
}

CStringStream& CStringStream::operator<<(const char* pText) noexcept
{
    if (m_pPos == m_pEnd)
        return *this; // behind a cut
    const std::size_t uiLength = std::strlen(pText);
    const std::size_t uiRoom = static_cast<std::size_t>(m_pEnd - m_pPos) - 1;
    std::memcpy(m_pPos, pText, std::min(uiLength, uiRoom));
    m_pPos[std::min(uiLength, uiRoom)] = '\0';
    m_pPos = uiLength <= uiRoom ? m_pPos + uiLength : m_pEnd;
    return *this;
}

CStringStream& CStringStream::operator<<(char cText) noexcept
{
    const char acText[] = {cText, '\0'};
    return *this << acText;
}

} // namespace tqlog
