#include "SeenSets.h"

#include <utility>

namespace h265_stream {

namespace {

constexpr std::size_t MAX_SETS = 4096;
constexpr std::size_t MAX_BYTES = std::size_t{1} << 20;
constexpr std::size_t MAX_BYTES_OF_ONE = std::size_t{64} << 10;

// The same bytes, read against the same SPS to the same end, have the same record and lines: the pool's
// budget alone can end a reading somewhere else, which the result, the message or the lines' count tell.
std::string outcomeOf(const ParameterSetEvent& event, std::span<const unsigned char> nalUnit,
                      std::uint64_t ulSpsContent)
{
    std::string outcome = std::to_string(event.iRead.value_or(1)) + ' ' + std::to_string(event.iVerify.value_or(1));
    outcome.append(1, ' ').append(std::to_string(static_cast<int>(event.eRefusal)));
    outcome.append(1, ' ').append(std::to_string(event.logLines.size()));
    outcome.append(1, ' ').append(std::to_string(ulSpsContent));
    outcome.append(1, ' ').append(event.lastMessage).append(1, '\n');
    outcome.append(reinterpret_cast<const char*>(nalUnit.data()), nalUnit.size());
    return outcome;
}

} // namespace

std::optional<SeenSet> CSeenSets::note(const ParameterSetEvent& event, std::span<const unsigned char> nalUnit,
                                       std::uint64_t ulSpsContent, const SeenSet& set)
{
    if (nalUnit.size() > MAX_BYTES_OF_ONE)
        return std::nullopt;
    std::string outcome = outcomeOf(event, nalUnit, ulSpsContent);
    const auto position = m_seen.find(outcome);
    if (position != m_seen.end())
        return position->second;
    if (m_seen.size() >= MAX_SETS || m_uiBytes + outcome.size() > MAX_BYTES)
        clear();
    m_uiBytes += outcome.size();
    m_seen.emplace(std::move(outcome), set);
    return std::nullopt;
}

void CSeenSets::clear() noexcept
{
    m_seen.clear();
    m_uiBytes = 0;
}

} // namespace h265_stream
