#pragma once

#include "H265psExport.h"

namespace H265PS_EXPORT tqlog {

/// Bytes of the buffer that a message is built in, terminator included.
inline constexpr unsigned LOG_BUFFER_SIZE = 2048;

/// The log's threshold and sink, shared by the whole decoder. Set both before decoding starts;
/// they are read without a lock. Both are constant-initialised, so they are in place while globals are made;
/// a decoder's own log has to do the same.
class CTQLog
{
public:
    /// Verbosity: errors pass below 3, warnings below 2. Starts at 3 (quiet).
    static int m_iLogLevel;

    /// Receives one finished, zero-terminated line at a time; it may be called from any decoding
    /// thread. Never null while m_iLogLevel is below 3. Starts as a sink that writes to standard error.
    static void (*m_pLogPrintf)(const char* pLine);
};

/// Builds one message in the caller's buffer of LOG_BUFFER_SIZE bytes and keeps it terminated.
/// Text that does not fit is cut; whatever follows a cut is dropped. Owns nothing.
class CStringStream
{
public:
    /// pBuf: LOG_BUFFER_SIZE writable bytes that outlive the stream.
    explicit CStringStream(char* pBuf) noexcept;

    /// Appends a zero-terminated text.
    CStringStream& operator<<(const char* pText) noexcept;

    /// Appends one character.
    CStringStream& operator<<(char cText) noexcept;

private:
    void advance(int iPrinted) noexcept;

    char* m_pBuf;
    char* m_pEnd;
    char* m_pPos;
};

} // namespace tqlog
