#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "ClaimFindings.h"
#include "ParameterSetSyntax.h"
#include "StreamGist.h"

namespace h265_inspect {

/// By type from VPS_NUT on.
inline constexpr std::string_view SET_NAMES[] = {"VPS", "SPS", "PPS"};
inline constexpr unsigned IDS_OF_VPS = 16;

/// A content by hash and size: memory stays small however many come, and a wrong guess costs one finding.
struct Content
{
    std::uint64_t ulHash = 0;
    std::size_t uiBytes = 0;
    auto operator<=>(const Content&) const = default;
};

/// 7.3.2.1: what a VPS says of the frame rate.
struct VpsTiming
{
    bool vps_timing_info_present_flag = false;
    std::uint32_t vps_num_units_in_tick = 0;
    std::uint32_t vps_time_scale = 0;
    bool vps_poc_proportional_to_timing_flag = false;
    std::uint32_t vps_num_ticks_poc_diff_one_minus1 = 0;
};

/// A set as it was read, as far as it is held against anything.
struct ReadSet
{
    Content content;
    unsigned nal_unit_type = 0;
    unsigned uiId = 0;
    bool bWhole = false;
    bool bTiles = false; // of a PPS
    bool bWavefront = false;
    VpsTiming timing;             // of a VPS
    std::optional<SpsValues> sps; // of an SPS that is whole
    SequenceGist gist;

    /// "SPS 0"
    [[nodiscard]] std::string name() const;
    [[nodiscard]] ClaimedSps claimed() const { return {*sps, gist}; }
};

Content contentOf(std::span<const unsigned char> bytes);

/// Reads a set of a type, whatever its header says. timings: of the VPSs in force, by id.
ReadSet readClaimedSet(unsigned nal_unit_type, const h265_syntax::CNalUnit& nalUnit, const Content& content,
                       std::span<const VpsTiming> timings);

} // namespace h265_inspect
