#include "StalePpsWatch.h"

#include <algorithm>
#include <utility>

namespace h265_stream {

void CStalePpsWatch::onReplaced(unsigned uiSpsId, std::uint64_t ulSpsOffset, const PpsIdSet& ppsIds)
{
    append(m_closed, uiSpsId, m_open[uiSpsId]);
    m_open[uiSpsId] = {ulSpsOffset, ppsIds};
}

std::vector<StalePps> CStalePpsWatch::stale() const
{
    std::vector<StalePps> list = m_closed;
    for (unsigned i = 0; i < SPS_IDS; ++i)
        append(list, i, m_open[i]);
    std::ranges::stable_sort(list, {}, &StalePps::ulSpsOffset);
    return list;
}

void CStalePpsWatch::clear() noexcept
{
    m_open.fill({});
    m_closed.clear();
}

void CStalePpsWatch::append(std::vector<StalePps>& list, unsigned uiSpsId, const Open& open)
{
    if (open.ppsIds.none() || list.size() >= MAX_STALE)
        return;
    StalePps stale{uiSpsId, open.ulSpsOffset, {}};
    for (unsigned i = 0; i < PPS_IDS; ++i) {
        if (open.ppsIds.test(i))
            stale.ppsIds.push_back(i);
    }
    list.push_back(std::move(stale));
}

} // namespace h265_stream
