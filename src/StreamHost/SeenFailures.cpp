#include "SeenFailures.h"

#include <utility>

namespace h265_stream {

namespace {

constexpr std::size_t MAX_SETS = 4096;
constexpr std::size_t MAX_BYTES = std::size_t{1} << 20;
constexpr std::size_t MAX_BYTES_OF_ONE = std::size_t{64} << 10;

std::string outcomeOf(const ParameterSetEvent& event, std::span<const unsigned char> nalUnit)
{
    std::string outcome = std::to_string(event.iRead.value_or(1)) + ' ' + std::to_string(event.iVerify.value_or(1));
    outcome.append(1, ' ').append(event.lastMessage).append(1, '\n');
    outcome.append(reinterpret_cast<const char*>(nalUnit.data()), nalUnit.size());
    return outcome;
}

} // namespace

bool CSeenFailures::note(const ParameterSetEvent& event, std::span<const unsigned char> nalUnit)
{
    if (nalUnit.size() > MAX_BYTES_OF_ONE)
        return false;
    std::string outcome = outcomeOf(event, nalUnit);
    if (m_seen.contains(outcome))
        return true;
    if (m_seen.size() >= MAX_SETS || m_uiBytes + outcome.size() > MAX_BYTES)
        clear();
    m_uiBytes += outcome.size();
    m_seen.insert(std::move(outcome));
    return false;
}

void CSeenFailures::clear() noexcept
{
    m_seen.clear();
    m_uiBytes = 0;
}

} // namespace h265_stream
