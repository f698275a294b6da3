#pragma once

#include <algorithm>
#include <cstdint>

#include "DecParameterSetReader.h"

namespace h265_stream {

/// What reading sets costs beyond their bytes, held against the bytes of the stream. A few bytes can announce
/// the tables of a large picture: while they are not paid for, no further set is read. One unit is what one CTB
/// of the tile tables costs to make and to show.
class CWorkAccount
{
public:
    /// Bytes that the stream went on by, of slices too.
    void payIn(std::uint64_t ulBytes) noexcept
    {
        constexpr std::uint64_t MAX_BYTES = std::uint64_t{1} << 48; // neither product nor sum can overflow
        m_lBalance += static_cast<std::int64_t>(std::min(ulBytes, MAX_BYTES)) * UNITS_PER_BYTE;
        m_lBalance = std::min(m_lBalance, MAX_BALANCE);
    }

    void charge(std::uint64_t ulUnits) noexcept { m_lBalance -= static_cast<std::int64_t>(ulUnits); }

    [[nodiscard]] bool isInDebt() const noexcept { return m_lBalance < 0; }

    void clear() noexcept { m_lBalance = START; }

    /// A coded picture has two bins for each CTB at least, cu_skip_flag and end_of_slice_segment_flag (7.3.8.2,
    /// 7.3.8.5). They take 0.029 and 0.006 bits or more (9.3.4.3.2, 9.3.4.3.5), so that one byte carries no more
    /// than 229 CTBs: a new PPS with tiles is paid for by its picture.
    static constexpr std::int64_t UNITS_PER_BYTE = 256;

    /// 64 PPSs (7.4.3.3.1) of the largest picture of any level (A.4.1) in CTBs of 16, in front of every slice.
    static constexpr std::int64_t START = std::int64_t{64} * 560'000;

private:
    static constexpr std::int64_t MAX_BALANCE = std::int64_t{1} << 60;

    std::int64_t m_lBalance = START;
};

/// What a reading costs beyond the bytes of the set, by what it left in the record, whether it failed or not.
[[nodiscard]] std::uint64_t workOf(const h265_codec::VPS& vps) noexcept;
[[nodiscard]] std::uint64_t workOf(const h265_codec::SPS& sps) noexcept;
[[nodiscard]] std::uint64_t workOf(const h265_codec::PPS& pps, const h265_codec::SPS& sps) noexcept;

/// What each line that the module logs costs.
inline constexpr std::uint64_t WORK_OF_LOG_LINE = 64;

/// CTBs of the picture, as the tile tables count them.
[[nodiscard]] std::uint64_t ctbsOf(const h265_codec::SPS& sps) noexcept;

} // namespace h265_stream
