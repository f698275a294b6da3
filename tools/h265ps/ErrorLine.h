#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace h265ps {

class COutputStream;

/// A line on standard error, "h265ps: error: ..." or another kind, made and written without any memory but its
/// own. Its destructor ends and writes it. Control characters stand as '?', so that no name can forge lines or
/// colours.
class CErrorLine
{
public:
    explicit CErrorLine(std::string_view kind = "error") noexcept;
    ~CErrorLine();
    CErrorLine(const CErrorLine&) = delete;
    CErrorLine& operator=(const CErrorLine&) = delete;

    CErrorLine& operator<<(std::string_view text) noexcept;
    CErrorLine& operator<<(std::uint64_t ulNumber) noexcept;
    /// What the system says of errno, as it stands behind a colon.
    CErrorLine& systemReason(int iErrno) noexcept;

private:
    void put(std::string_view bytes) noexcept;
    void write() noexcept;

    std::size_t m_uiSize = 0;
    char m_acText[4096]; // a longer line goes out in pieces
};

/// What the system says, as it stands behind a colon: "No such file or directory" begins with a small letter.
[[nodiscard]] std::string inSentence(std::string reason);
[[nodiscard]] std::string systemReason(int iErrno);

/// Writes a whole line to standard error; on a terminal behind what the output holds by now.
void writeLine(std::string_view line, COutputStream& output) noexcept;

/// Writes "h265ps: error: " and the message to standard error, on one line.
void writeError(std::string_view message) noexcept;

} // namespace h265ps
