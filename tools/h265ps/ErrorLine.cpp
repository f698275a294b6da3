#include "ErrorLine.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "OutputStream.h"
#include "Utf8.h"

namespace h265ps {

CErrorLine::CErrorLine(std::string_view kind) noexcept
{
    put("h265ps: ");
    put(kind);
    put(": ");
}

CErrorLine::~CErrorLine()
{
    put("\n");
    write();
}

CErrorLine& CErrorLine::operator<<(std::string_view text) noexcept
{
    while (!text.empty()) {
        const PrintablePiece piece = printablePiece(text);
        put(piece.bControl ? "?" : text.substr(0, piece.uiLength));
        text.remove_prefix(piece.uiLength);
    }
    return *this;
}

CErrorLine& CErrorLine::operator<<(std::uint64_t ulNumber) noexcept
{
    char acDigits[20]; // of 2^64 - 1
    const std::to_chars_result end = std::to_chars(acDigits, acDigits + sizeof(acDigits), ulNumber);
    put({acDigits, static_cast<std::size_t>(end.ptr - acDigits)});
    return *this;
}

void CErrorLine::put(std::string_view bytes) noexcept
{
    if (m_uiSize + bytes.size() > sizeof(m_acText))
        write();
    std::memcpy(m_acText + m_uiSize, bytes.data(), bytes.size());
    m_uiSize += bytes.size();
}

// Nobody is left to be told when standard error fails.
void CErrorLine::write() noexcept
{
    std::string_view left(m_acText, m_uiSize);
    m_uiSize = 0;
    while (!left.empty()) {
        const ssize_t iWritten = ::write(STDERR_FILENO, left.data(), left.size());
        if (iWritten > 0)
            left.remove_prefix(static_cast<std::size_t>(iWritten));
        else if (iWritten == 0 || !mayWriteAgain(STDERR_FILENO))
            return;
    }
}

void writeLine(std::string_view line, COutputStream& output) noexcept
{
    if (::isatty(STDOUT_FILENO) != 0)
        output.flush();
    (void)std::fwrite(line.data(), 1, line.size(), stderr);
}

void writeError(std::string_view message) noexcept
{
    CErrorLine() << message;
}

} // namespace h265ps
