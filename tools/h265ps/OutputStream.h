#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace h265ps {

/// Takes text in pieces.
class CTextSink
{
public:
    virtual ~CTextSink() = default;
    virtual void append(std::string_view text) = 0;
};

/// After a write that failed: whether it is to be tried again, because of a signal, or because there is room
/// now for what does not block. Else errno says why not.
[[nodiscard]] bool mayWriteAgain(int iFile) noexcept;

/// Standard output behind a large buffer. After a failed write it drops what comes.
class COutputStream : public CTextSink
{
public:
    /// The buffer outlives the stream: writing needs no memory of its own.
    COutputStream(int iFile, std::span<char> buffer) noexcept : m_iFile(iFile), m_buffer(buffer) {}

    void append(std::string_view text) override;
    /// Writes what is buffered.
    void flush() noexcept;

    /// A write failed, for whatever reason.
    [[nodiscard]] bool failed() const { return m_iError != 0; }
    /// The errno of the write that failed, 0 without one.
    [[nodiscard]] int error() const { return m_iError; }

private:
    void write(std::string_view text) noexcept;

    int m_iFile;
    int m_iError = 0;
    std::span<char> m_buffer;
    std::size_t m_uiHeld = 0; // bytes in it
};

} // namespace h265ps
