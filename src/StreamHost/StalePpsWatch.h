#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <vector>

#include "StalePps.h"

namespace h265_stream {

/// Ids of SPSs and of PPSs: what they are kept modulo.
inline constexpr unsigned SPS_IDS = 256;
inline constexpr unsigned PPS_IDS = 256;

/// Watches whether the PPSs that were read against an SPS are sent again once it is replaced.
class CStalePpsWatch
{
public:
    using PpsIdSet = std::bitset<PPS_IDS>;

    /// An SPS took the place of another one, against which these PPSs in force were read.
    void onReplaced(unsigned uiSpsId, std::uint64_t ulSpsOffset, const PpsIdSet& ppsIds);

    /// A PPS took the place of one that referred to the SPS.
    void onSentAgain(unsigned uiSpsId, unsigned uiPpsId) noexcept { m_open[uiSpsId].ppsIds.reset(uiPpsId); }

    /// What was not sent again before the next replacement, or so far; in the order of the SPSs' offsets.
    /// Of a stream of very many, the first MAX_STALE that were found.
    [[nodiscard]] std::vector<StalePps> stale() const;

    void clear() noexcept;

    static constexpr std::size_t MAX_STALE = 1024;

private:
    struct Open
    {
        std::uint64_t ulSpsOffset = 0;
        PpsIdSet ppsIds;
    };

    static void append(std::vector<StalePps>& list, unsigned uiSpsId, const Open& open);

    std::array<Open, SPS_IDS> m_open; // since the last replacement of each SPS
    std::vector<StalePps> m_closed;   // by the replacement after it
};

} // namespace h265_stream
