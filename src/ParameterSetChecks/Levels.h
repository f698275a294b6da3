#pragma once

#include <cstdint>
#include <span>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

/// Main and High tier: the two columns of the tables of A.4 that depend on the tier. 0: the level has no such tier.
struct TierLimit
{
    std::uint32_t uiMain;
    std::uint32_t uiHigh;

    [[nodiscard]] constexpr std::uint32_t of(bool general_tier_flag) const noexcept
    {
        return general_tier_flag ? uiHigh : uiMain;
    }
};

/// The limits of a level: a row of Tables A.8 and A.9 together.
struct Level
{
    unsigned general_level_idc; // 30 times the level number
    const char* pName;
    std::uint32_t MaxLumaPs; // luma samples of a picture
    TierLimit MaxCPB;        // units of CpbVclFactor or CpbNalFactor bits
    unsigned MaxSliceSegmentsPerPicture;
    unsigned MaxTileRows;
    unsigned MaxTileCols;
    std::uint64_t MaxLumaSr; // luma samples a second
    TierLimit MaxBR;         // units of BrVclFactor or BrNalFactor bits a second
};

/// Level 8.5, which sets no limit to size and rate (A.4.1).
inline constexpr unsigned LEVEL_8_5_IDC = 255;

/// All levels with limits, lowest first.
[[nodiscard]] std::span<const Level> levels() noexcept;

/// The level of a general_level_idc or sub_layer_level_idc; null for 8.5 and for a reserved value.
[[nodiscard]] const Level* findLevel(unsigned level_idc) noexcept;

/// A.4.1: the largest picture width or height, in luma samples, that MaxLumaPs allows: Sqrt( MaxLumaPs * 8 ).
[[nodiscard]] std::uint32_t maxSideLength(const Level& level) noexcept;

/// A.4.2: the decoded picture buffer, in pictures, that a level grants to a picture of so many luma samples.
/// maxDpbPicBuf is 6; 7 for the screen content profiles with pps_curr_pic_ref_enabled_flag.
[[nodiscard]] unsigned maxDpbSize(std::uint64_t PicSizeInSamplesY, std::uint64_t MaxLumaPs,
                                  unsigned maxDpbPicBuf) noexcept;

} // namespace h265_syntax
