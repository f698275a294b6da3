#include "PictureParameterSetChecks.h"

#include <algorithm>

#include "PpsExtensionsChecks.h"
#include "ScalingListDataChecks.h"
#include "SequenceParameterSetChecks.h"

namespace h265_syntax {

namespace {

// 7.4.3.3.1: what the PPS alone tells.
void checkAlone(const PictureParameterSet& s, CChecks& checks)
{
    RANGE(pps_pic_parameter_set_id, 0, 63, "7.4.3.3.1");
    RANGE(pps_seq_parameter_set_id, 0, 15, "7.4.3.3.1");
    if (s.num_extra_slice_header_bits > 2)
        checks.reserved(BLAME(num_extra_slice_header_bits), "7.4.3.3.1", "0 to 2");
    RANGE(num_ref_idx_l0_default_active_minus1, 0, 14, "7.4.3.3.1");
    RANGE(num_ref_idx_l1_default_active_minus1, 0, 14, "7.4.3.3.1");
    SHALL(s.init_qp_minus26 <= 25,
          BLAME(init_qp_minus26),
          "7.4.3.3.1",
          "at most 25",
          "the initial QP is ",
          s.init_qp_minus26 + std::int64_t{26},
          ", allowed is at most 51");
    RANGE(pps_cb_qp_offset, -12, 12, "7.4.3.3.1");
    RANGE(pps_cr_qp_offset, -12, 12, "7.4.3.3.1");
    SHALL(!s.tiles_enabled_flag || s.num_tile_columns_minus1 != 0 || s.num_tile_rows_minus1 != 0,
          BLAME(num_tile_columns_minus1),
          "7.4.3.3.1",
          "more than one tile",
          "tiles are enabled, but the picture is one tile");
    RANGE(pps_beta_offset_div2, -6, 6, "7.4.3.3.1");
    RANGE(pps_tc_offset_div2, -6, 6, "7.4.3.3.1");
    if (s.pps_scaling_list_data_present_flag)
        checkScalingListData(*s.scaling_list_data, checks.inside("scaling_list_data"));
    if (s.pps_extension_4bits != 0)
        checks.reserved(BLAME(pps_extension_4bits), "7.4.3.3.1", "0");
}

std::uint64_t explicitSum(const std::vector<std::uint32_t>& sizes_minus1, std::uint64_t ulTiles)
{
    std::uint64_t ulSum = 0;
    for (std::size_t i = 0; i + 1 < ulTiles && i < sizes_minus1.size(); ++i)
        ulSum += std::uint64_t{sizes_minus1[i]} + 1;
    return ulSum;
}

// 7.4.3.3.1, 6.5.1: every tile has a CTB at least.
void checkTiles(const PictureParameterSet& s, const SequenceParameterSet& sps, CChecks& checks)
{
    if (!s.tiles_enabled_flag)
        return;
    const auto [PicWidthInCtbsY, PicHeightInCtbsY] = pictureInCtbs(sps);
    const std::uint64_t ulColumns = std::uint64_t{s.num_tile_columns_minus1} + 1;
    const std::uint64_t ulRows = std::uint64_t{s.num_tile_rows_minus1} + 1;
    SHALL(ulColumns <= PicWidthInCtbsY,
          BLAME(num_tile_columns_minus1),
          "7.4.3.3.1",
          say("less than ", PicWidthInCtbsY),
          ulColumns,
          " tile columns do not fit into a picture of ",
          PicWidthInCtbsY,
          " CTBs in width");
    SHALL(ulRows <= PicHeightInCtbsY,
          BLAME(num_tile_rows_minus1),
          "7.4.3.3.1",
          say("less than ", PicHeightInCtbsY),
          ulRows,
          " tile rows do not fit into a picture of ",
          PicHeightInCtbsY,
          " CTBs in height");
    if (s.uniform_spacing_flag || s.stop)
        return; // even, or not all there
    if (ulColumns > 1 && ulColumns <= PicWidthInCtbsY && s.column_width_minus1.size() + 1 >= ulColumns) {
        const std::uint64_t ulSum = explicitSum(s.column_width_minus1, ulColumns);
        SHALL(ulSum < PicWidthInCtbsY,
              BLAME_1(column_width_minus1, s.num_tile_columns_minus1 - 1),
              "7.4.3.3.1",
              say("widths of less than ", PicWidthInCtbsY, " CTBs together"),
              "the explicit tile columns take ",
              ulSum,
              " of the picture's ",
              PicWidthInCtbsY,
              " CTBs in width and leave nothing for the last one");
    }
    if (ulRows > 1 && ulRows <= PicHeightInCtbsY && s.row_height_minus1.size() + 1 >= ulRows) {
        const std::uint64_t ulSum = explicitSum(s.row_height_minus1, ulRows);
        SHALL(ulSum < PicHeightInCtbsY,
              BLAME_1(row_height_minus1, s.num_tile_rows_minus1 - 1),
              "7.4.3.3.1",
              say("heights of less than ", PicHeightInCtbsY, " CTBs together"),
              "the explicit tile rows take ",
              ulSum,
              " of the picture's ",
              PicHeightInCtbsY,
              " CTBs in height and leave nothing for the last one");
    }
}

// Luma samples of the largest tile, without what its CTBs have outside the picture.
std::uint64_t largestTile(const PictureParameterSet& s, const SequenceParameterSet& sps)
{
    const std::uint64_t CtbSizeY = std::uint64_t{1} << std::min<std::uint64_t>(blockSizes(sps).CtbLog2SizeY, 31);
    const auto [PicWidthInCtbsY, PicHeightInCtbsY] = pictureInCtbs(sps);
    const auto longest = [&](const std::vector<std::uint32_t>& sizes_minus1,
                             std::uint64_t ulTiles,
                             std::uint64_t ulPicCtbs,
                             std::uint64_t ulSamples) {
        std::uint64_t ulLongest = 0;
        std::uint64_t ulEnd = 0;
        for (std::uint64_t i = 0; i < ulTiles; ++i) {
            const std::uint64_t ulBegin = ulEnd;
            ulEnd += tileSize(s.uniform_spacing_flag, sizes_minus1, ulTiles, ulPicCtbs, i) * CtbSizeY;
            ulLongest = std::max(ulLongest, std::min(ulEnd, ulSamples) - std::min(ulBegin, ulSamples));
        }
        return ulLongest;
    };
    const std::uint64_t ulWidth = longest(s.column_width_minus1,
                                          std::uint64_t{s.num_tile_columns_minus1} + 1,
                                          PicWidthInCtbsY,
                                          sps.pic_width_in_luma_samples);
    return ulWidth * longest(s.row_height_minus1,
                             std::uint64_t{s.num_tile_rows_minus1} + 1,
                             PicHeightInCtbsY,
                             sps.pic_height_in_luma_samples);
}

// E.3.1: what min_spatial_segmentation_idc of the VUI promises of tiles, or of wavefronts. What it promises of
// slices, no parameter set tells.
void checkSegmentation(const PictureParameterSet& s, const SequenceParameterSet& sps, CChecks& checks)
{
    constexpr std::uint32_t MANY = 1024; // more tiles in a direction than any level allows
    const VuiParameters& vui = sps.vui_parameters;
    if (s.stop || s.num_tile_columns_minus1 >= MANY || s.num_tile_rows_minus1 >= MANY ||
        !sps.vui_parameters_present_flag || !vui.bitstream_restriction_flag || vui.min_spatial_segmentation_idc == 0)
        return;
    const auto [PicWidthInCtbsY, PicHeightInCtbsY] = pictureInCtbs(sps);
    const std::uint64_t ulWidth = sps.pic_width_in_luma_samples;
    const std::uint64_t ulHeight = sps.pic_height_in_luma_samples;
    const std::uint64_t minSpatialSegmentationTimes4 = vui.min_spatial_segmentation_idc + std::uint64_t{4};
    const std::uint64_t ulMost = 4 * ulWidth * ulHeight / minSpatialSegmentationTimes4;
    if (s.tiles_enabled_flag && !s.entropy_coding_sync_enabled_flag && s.num_tile_columns_minus1 < PicWidthInCtbsY &&
        s.num_tile_rows_minus1 < PicHeightInCtbsY)
        SHALL(largestTile(s, sps) <= ulMost,
              BLAME(num_tile_columns_minus1),
              "E.3.1",
              say("tiles of at most ", ulMost, " luma samples"),
              "the largest tile has ",
              largestTile(s, sps),
              " luma samples, min_spatial_segmentation_idc ",
              vui.min_spatial_segmentation_idc,
              " of the SPS promises at most ",
              ulMost);
    SHALL(!s.tiles_enabled_flag || !s.entropy_coding_sync_enabled_flag,
          BLAME(entropy_coding_sync_enabled_flag),
          "E.3.1",
          "0 with tiles",
          "min_spatial_segmentation_idc ",
          vui.min_spatial_segmentation_idc,
          " of the SPS promises slices, tiles or wavefronts, not tiles with wavefronts in them");
    const std::uint64_t CtbSizeY = std::uint64_t{1} << std::min<std::uint64_t>(blockSizes(sps).CtbLog2SizeY, 24);
    SHALL(!s.entropy_coding_sync_enabled_flag || s.tiles_enabled_flag || (2 * ulHeight + ulWidth) * CtbSizeY <= ulMost,
          BLAME(entropy_coding_sync_enabled_flag),
          "E.3.1",
          "0",
          "wavefronts in pictures of this size do not give what min_spatial_segmentation_idc ",
          vui.min_spatial_segmentation_idc,
          " of the SPS promises");
}

// 7.4.3.3.1: what depends on the SPS.
void checkWithSps(const PictureParameterSet& s, const SequenceParameterSet& sps, CChecks& checks)
{
    const BlockSizes sizes = blockSizes(sps);
    const std::int64_t QpBdOffsetY = std::int64_t{6} * sps.bit_depth_luma_minus8;
    SHALL(s.init_qp_minus26 >= -(26 + QpBdOffsetY),
          BLAME(init_qp_minus26),
          "7.4.3.3.1",
          say(-(26 + QpBdOffsetY), " to 25"),
          "the initial QP is ",
          s.init_qp_minus26 + std::int64_t{26},
          ", allowed with this luma bit depth is ",
          -QpBdOffsetY,
          " to 51");
    RANGE(diff_cu_qp_delta_depth, 0, sps.log2_diff_max_min_luma_coding_block_size, "7.4.3.3.1");
    checkTiles(s, sps, checks);
    checkSegmentation(s, sps, checks);
    SHALL(sps.scaling_list_enabled_flag || !s.pps_scaling_list_data_present_flag,
          BLAME(pps_scaling_list_data_present_flag),
          "7.4.3.3.1",
          "0",
          "the PPS brings scaling lists, which its SPS does not enable");
    RANGE(log2_parallel_merge_level_minus2, 0, static_cast<std::int64_t>(sizes.CtbLog2SizeY) - 2, "7.4.3.3.1");
}

} // namespace

std::uint64_t tileSize(bool uniform_spacing_flag, const std::vector<std::uint32_t>& sizes_minus1, std::uint64_t ulTiles,
                       std::uint64_t ulPicCtbs, std::uint64_t i) noexcept
{
    if (uniform_spacing_flag)
        return (i + 1) * ulPicCtbs / ulTiles - i * ulPicCtbs / ulTiles;
    if (i + 1 < ulTiles)
        return i < sizes_minus1.size() ? std::uint64_t{sizes_minus1[static_cast<std::size_t>(i)]} + 1 : 0;
    const std::uint64_t ulSum = explicitSum(sizes_minus1, ulTiles);
    return ulSum < ulPicCtbs ? ulPicCtbs - ulSum : 0;
}

void checkPictureParameterSet(const PictureParameterSet& s, const SequenceParameterSet* pSps, CFindings& findings)
{
    CChecks checks(findings, "");
    checkAlone(s, checks);
    // F.7.4.3.2.1: the format of an SPS that leaves it to a VPS that is not there is not known.
    const SequenceParameterSet* const pKnown = pSps != nullptr && isFormatKnown(*pSps) ? pSps : nullptr;
    if (pKnown != nullptr)
        checkWithSps(s, *pKnown, checks);
    checkPpsExtensions(s, pKnown, checks);
}

} // namespace h265_syntax
