#include "WorkAccount.h"

namespace h265_stream {

using h265_codec::PPS;
using h265_codec::SPS;
using h265_codec::VPS;

namespace {

constexpr std::uint64_t WORK_OF_TILE = 4;
constexpr std::uint64_t WORK_OF_REF_PIC_SET = 128; // up to 16 pictures, which each set is cleared and shown with
constexpr std::uint64_t WORK_OF_SCALING_LISTS = 4096;

} // namespace

std::uint64_t ctbsOf(const SPS& sps) noexcept
{
    return std::uint64_t{static_cast<unsigned>(sps.PicWidthInCtbsY)} * static_cast<unsigned>(sps.PicHeightInCtbsY);
}

std::uint64_t workOf(const VPS& /* vps */) noexcept
{
    return 0;
}

std::uint64_t workOf(const SPS& sps) noexcept
{
    const std::uint64_t ulSets = sps.pShortTermRefPicSet != nullptr ? sps.num_short_term_ref_pic_sets : 0;
    return ulSets * WORK_OF_REF_PIC_SET + (sps.pScalingList != nullptr ? WORK_OF_SCALING_LISTS : 0);
}

std::uint64_t workOf(const PPS& pps, const SPS& sps) noexcept
{
    std::uint64_t ulWork = pps.pScalingListBuf != nullptr ? WORK_OF_SCALING_LISTS : 0;
    if (pps.tiles_enabled_flag) // 2^20 tiles at most, the module accepts no more
        ulWork += (pps.num_tile_columns_minus1 + std::uint64_t{1}) * (pps.num_tile_rows_minus1 + std::uint64_t{1}) *
                  WORK_OF_TILE;
    if (pps.TileId != nullptr)
        ulWork += ctbsOf(sps);
    return ulWork;
}

} // namespace h265_stream
