#include "ScanProgress.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <unistd.h>

#include "FormattedText.h"

namespace h265ps {

namespace {

using namespace std::chrono_literals;

constexpr auto PATIENCE = 1s;
constexpr auto INTERVAL = 100ms;

std::string barOf(std::uint64_t ulDone, std::uint64_t ulAll)
{
    constexpr std::size_t WIDTH = 30;
    const std::size_t uiFilled = ulAll == 0 ? WIDTH : static_cast<std::size_t>(WIDTH * std::min(ulDone, ulAll) / ulAll);
    return formatted("[{:<{}}] {} of {} files", std::string(uiFilled, '#'), WIDTH, ulDone, ulAll);
}

void write(std::string_view text) noexcept
{
    (void)!::write(STDERR_FILENO, text.data(), text.size()); // it is for looking at only
}

} // namespace

CScanProgress::CScanProgress() : m_bTerminal(::isatty(STDERR_FILENO) != 0) {}

void CScanProgress::show(std::uint64_t ulDone, const std::optional<std::uint64_t>& ulAll)
{
    const Clock::time_point now = Clock::now();
    if (!m_bTerminal || now - m_begin < PATIENCE || (m_bShown && now - m_shown < INTERVAL))
        return;
    m_bShown = true;
    m_shown = now;
    write("\r\x1b[K" + (ulAll ? barOf(ulDone, *ulAll) : formatted("{} files", ulDone)));
}

void CScanProgress::hide() noexcept
{
    if (m_bShown)
        write("\r\x1b[K");
    m_bShown = false;
}

} // namespace h265ps
