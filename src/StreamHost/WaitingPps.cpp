#include "WaitingPps.h"

#include <algorithm>
#include <utility>

namespace h265_stream {

bool CWaitingPpsList::keep(const PpsIds& ids, const UnitPlace& place, std::span<const unsigned char> nalUnit)
{
    if (m_units.size() >= MAX_UNITS || nalUnit.size() > MAX_BYTES - m_uiBytes)
        return false;
    m_units.push_back({ids, place, {nalUnit.begin(), nalUnit.end()}});
    m_uiBytes += nalUnit.size();
    return true;
}

std::optional<WaitingPps> CWaitingPpsList::takeFirstFor(unsigned uiSpsIndex)
{
    return take(
        std::ranges::find_if(m_units, [&](const WaitingPps& unit) { return spsIndexOf(unit.ids) == uiSpsIndex; }));
}

std::optional<WaitingPps> CWaitingPpsList::takeFirst()
{
    return take(m_units.begin());
}

std::optional<WaitingPps> CWaitingPpsList::take(const std::deque<WaitingPps>::iterator& position)
{
    if (position == m_units.end())
        return std::nullopt;
    WaitingPps unit = std::move(*position);
    m_units.erase(position);
    m_uiBytes -= unit.bytes.size();
    return unit;
}

void CWaitingPpsList::clear() noexcept
{
    m_units.clear();
    m_uiBytes = 0;
}

} // namespace h265_stream
