#pragma once

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

/// Standard output behind a large buffer. After a failed write it drops what comes.
class COutputStream : public CTextSink
{
public:
    explicit COutputStream(int iFile);

    void append(std::string_view text) override;
    /// Writes what is buffered.
    void flush();

    /// A write failed, for whatever reason.
    [[nodiscard]] bool failed() const { return m_iError != 0; }
    /// The errno of the write that failed, 0 without one.
    [[nodiscard]] int error() const { return m_iError; }

private:
    void write(std::string_view text);
    void waitForRoom();

    int m_iFile;
    int m_iError = 0;
    std::string m_buffer;
};

} // namespace h265ps
