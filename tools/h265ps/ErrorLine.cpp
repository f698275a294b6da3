#include "ErrorLine.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "OutputStream.h"
#include "Utf8.h"

namespace h265ps {

namespace {

// Of a text that begins with a capital, but for a name in capitals: the letter that it begins with in a sentence.
char beginningOf(std::string_view text)
{
    const auto isBetween = [](char c, char cFirst, char cLast) { return c >= cFirst && c <= cLast; };
    const bool bCapital = text.size() > 1 && isBetween(text[0], 'A', 'Z') && isBetween(text[1], 'a', 'z');
    return static_cast<char>(bCapital ? text[0] - 'A' + 'a' : text[0]);
}

} // namespace

std::string inSentence(std::string reason)
{
    if (!reason.empty())
        reason[0] = beginningOf(reason);
    return reason;
}

std::string systemReason(int iErrno)
{
    return inSentence(std::strerror(iErrno));
}

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

CErrorLine& CErrorLine::systemReason(int iErrno) noexcept
{
    const std::string_view reason = std::strerror(iErrno);
    const char cFirst = beginningOf(reason);
    return *this << std::string_view(&cFirst, 1) << reason.substr(1);
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
