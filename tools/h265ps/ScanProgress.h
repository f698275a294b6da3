#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace h265ps {

/// A line on standard error that says how far a scan is, when that is a terminal and the scan takes over a second.
class CScanProgress
{
public:
    CScanProgress();
    ~CScanProgress() { hide(); }
    CScanProgress(const CScanProgress&) = delete;
    CScanProgress& operator=(const CScanProgress&) = delete;

    [[nodiscard]] bool isWanted() const noexcept { return m_bTerminal; }

    /// Shows it, or shows it anew. ulAll: none as long as it is not known.
    void show(std::uint64_t ulDone, const std::optional<std::uint64_t>& ulAll);
    /// Takes it away, in front of other lines.
    void hide() noexcept;

private:
    using Clock = std::chrono::steady_clock;

    const bool m_bTerminal;
    const Clock::time_point m_begin = Clock::now();
    Clock::time_point m_shown;
    bool m_bShown = false;
};

} // namespace h265ps
