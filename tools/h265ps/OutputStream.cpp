#include "OutputStream.h"

#include <cerrno>
#include <system_error>
#include <vector>

#include <poll.h>
#include <unistd.h>

namespace h265ps {

namespace {

constexpr std::size_t OUTPUT_BUFFER_SIZE = std::size_t{256} << 10;
constexpr std::size_t SPILL_ABOVE = std::size_t{8} << 20;

} // namespace

COutputStream::COutputStream(int iFile) : m_iFile(iFile)
{
    m_buffer.reserve(OUTPUT_BUFFER_SIZE);
}

void COutputStream::append(std::string_view text)
{
    if (m_buffer.size() + text.size() > OUTPUT_BUFFER_SIZE)
        flush();
    if (text.size() > OUTPUT_BUFFER_SIZE)
        write(text);
    else
        m_buffer.append(text);
}

void COutputStream::flush()
{
    write(m_buffer);
    m_buffer.clear();
}

void COutputStream::write(std::string_view text)
{
    while (!text.empty() && m_iError == 0) {
        const ssize_t iWritten = ::write(m_iFile, text.data(), text.size());
        if (iWritten > 0)
            text.remove_prefix(static_cast<std::size_t>(iWritten));
        else if (iWritten == 0)
            m_iError = EIO; // what takes nothing would be asked for ever
        else if (errno == EAGAIN || errno == EWOULDBLOCK)
            waitForRoom();
        else if (errno != EINTR)
            m_iError = errno;
    }
}

// Standard output may have been made non-blocking by whoever shares it.
void COutputStream::waitForRoom()
{
    pollfd waiting = {.fd = m_iFile, .events = POLLOUT, .revents = 0};
    if (::poll(&waiting, 1, -1) < 0 && errno != EINTR)
        m_iError = errno;
}

void CSpillBuffer::append(std::string_view text)
{
    if (m_memory.size() + text.size() > SPILL_ABOVE)
        spill();
    m_memory.append(text);
}

void CSpillBuffer::spill()
{
    if (m_pFile == nullptr)
        m_pFile.reset(std::tmpfile());
    if (m_pFile == nullptr || std::fwrite(m_memory.data(), 1, m_memory.size(), m_pFile.get()) != m_memory.size())
        throw std::system_error(errno, std::generic_category(), "temporary file");
    m_memory.clear();
}

void CSpillBuffer::moveTo(CTextSink& sink)
{
    if (m_pFile != nullptr) {
        if (std::fflush(m_pFile.get()) != 0)
            throw std::system_error(errno, std::generic_category(), "temporary file");
        std::rewind(m_pFile.get());
        std::vector<char> aPiece(OUTPUT_BUFFER_SIZE);
        while (const std::size_t uiRead = std::fread(aPiece.data(), 1, aPiece.size(), m_pFile.get()))
            sink.append({aPiece.data(), uiRead});
        if (std::ferror(m_pFile.get()) != 0)
            throw std::system_error(errno, std::generic_category(), "temporary file");
        m_pFile.reset();
    }
    sink.append(m_memory);
    m_memory.clear();
}

} // namespace h265ps
