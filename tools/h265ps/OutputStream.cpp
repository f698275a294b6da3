#include "OutputStream.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace h265ps {

bool mayWriteAgain(int iFile) noexcept
{
    if (errno == EINTR)
        return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) // coverage: one number with two names on Linux
        return false;
    // Standard output may have been made non-blocking by whoever shares it.
    pollfd waiting = {.fd = iFile, .events = POLLOUT, .revents = 0};
    return ::poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

void COutputStream::append(std::string_view text)
{
    if (text.size() > m_buffer.size() - m_uiHeld)
        flush();
    if (text.size() > m_buffer.size())
        return write(text);
    std::copy(text.begin(), text.end(), m_buffer.begin() + static_cast<std::ptrdiff_t>(m_uiHeld));
    m_uiHeld += text.size();
}

void COutputStream::flush() noexcept
{
    write({m_buffer.data(), m_uiHeld});
    m_uiHeld = 0;
}

void COutputStream::write(std::string_view text) noexcept
{
    while (!text.empty() && m_iError == 0) {
        const ssize_t iWritten = ::write(m_iFile, text.data(), text.size());
        if (iWritten > 0)
            text.remove_prefix(static_cast<std::size_t>(iWritten));
        else if (iWritten == 0)
            m_iError = EIO; // what takes nothing would be asked for ever
        else if (!mayWriteAgain(m_iFile))
            m_iError = errno;
    }
}

} // namespace h265ps
