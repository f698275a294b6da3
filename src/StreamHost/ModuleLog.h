#pragma once

#include <string>
#include <vector>

namespace h265_stream {

/// Redirects the module's log for its lifetime: the lines of this thread go to a list, without their
/// newlines. The sink and level that were set before come back at the end. The log is the whole
/// process's, so there may be one at a time, in one thread.
class CModuleLogCapture
{
public:
    CModuleLogCapture(int iLogLevel, std::vector<std::string>& lines);
    ~CModuleLogCapture();
    CModuleLogCapture(const CModuleLogCapture&) = delete;
    CModuleLogCapture& operator=(const CModuleLogCapture&) = delete;

private:
    int m_iLevelBefore;
    void (*m_pSinkBefore)(const char*);
    std::vector<std::string>* m_pLinesBefore;
};

} // namespace h265_stream
