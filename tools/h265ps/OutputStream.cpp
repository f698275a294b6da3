#include "OutputStream.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace h265ps {

namespace {

constexpr std::size_t OUTPUT_BUFFER_SIZE = std::size_t{256} << 10;

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

} // namespace h265ps
