#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "ParameterSetEvent.h"

namespace h265_stream {

/// Where a NAL unit stands.
struct UnitPlace
{
    std::uint64_t ulOffset; // of its header in the stream
    std::uint64_t ulNumber; // of the units fed, from 1
};

/// A PPS that came before its SPS.
struct WaitingPps
{
    PpsIds ids;
    UnitPlace place;
    std::vector<unsigned char> bytes; // header included
};

/// The SPS that a PPS refers to is looked up by this: ids are kept modulo 256.
constexpr unsigned spsIndexOf(const PpsIds& ids) noexcept
{
    return ids.pps_seq_parameter_set_id % 256;
}

/// The PPSs of a stream that wait for their SPS, in stream order and bounded.
class CWaitingPpsList
{
public:
    /// False when it does not fit: MAX_UNITS of them, MAX_BYTES altogether.
    [[nodiscard]] bool keep(const PpsIds& ids, const UnitPlace& place, std::span<const unsigned char> nalUnit);

    /// The first that refers to the SPS; it waits no longer.
    std::optional<WaitingPps> takeFirstFor(unsigned uiSpsIndex);

    /// The first of all; it waits no longer.
    std::optional<WaitingPps> takeFirst();

    void clear() noexcept;

    static constexpr std::size_t MAX_UNITS = 256;
    static constexpr std::size_t MAX_BYTES = std::size_t{1} << 20;

private:
    std::optional<WaitingPps> take(const std::deque<WaitingPps>::iterator& position);

    std::deque<WaitingPps> m_units;
    std::size_t m_uiBytes = 0; // of all of them
};

} // namespace h265_stream
