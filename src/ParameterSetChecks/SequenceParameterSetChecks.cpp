#include "SequenceParameterSetChecks.h"

#include <algorithm>

#include "OrderingInfoChecks.h"
#include "ProfileTierLevelChecks.h"
#include "ScalingListDataChecks.h"
#include "SpsExtensionsChecks.h"
#include "StRefPicSetChecks.h"
#include "VuiChecks.h"

namespace h265_syntax {

namespace {

constexpr unsigned MAX_LOG2 = 31; // of a block size that sums of samples can be made with

std::uint64_t blockSide(std::uint64_t ulLog2)
{
    return std::uint64_t{1} << std::min<std::uint64_t>(ulLog2, MAX_LOG2);
}

// 7.4.3.2.1
void checkIds(const SequenceParameterSet& s, CChecks& checks)
{
    RANGE(sps_seq_parameter_set_id, 0, 15, "7.4.3.2.1");
    if (s.MultiLayerExtSpsFlag)
        return;
    RANGE(sps_max_sub_layers_minus1, 0, 6, "7.4.3.2.1");
    SHALL(s.sps_max_sub_layers_minus1 != 0 || s.sps_temporal_id_nesting_flag,
          BLAME(sps_temporal_id_nesting_flag),
          "7.4.3.2.1",
          "1",
          "a stream of one sub-layer has sps_temporal_id_nesting_flag 1");
}

// F.7.4.3.2.1: of a picture size that the VPS gives a layer, which the VPS itself cannot check.
void checkBlocksOfLayer(const SequenceParameterSet& s, CChecks& checks)
{
    const std::uint64_t MinCbSizeY = blockSide(blockSizes(s).MinCbLog2SizeY);
    SHALL(s.pic_width_in_luma_samples % MinCbSizeY == 0 && s.pic_height_in_luma_samples % MinCbSizeY == 0,
          BLAME(log2_min_luma_coding_block_size_minus3),
          "7.4.3.2.1",
          "a block that divides the picture",
          "the picture of the layer's representation format is ",
          s.pic_width_in_luma_samples,
          "x",
          s.pic_height_in_luma_samples,
          ", no multiple of its smallest coding block, ",
          MinCbSizeY);
}

// 7.4.3.2.1
void checkFormat(const SequenceParameterSet& s, CChecks& checks)
{
    RANGE(chroma_format_idc, 0, 3, "7.4.3.2.1");
    const std::uint64_t MinCbSizeY = blockSide(blockSizes(s).MinCbLog2SizeY);
    SHALL(s.pic_width_in_luma_samples != 0,
          BLAME(pic_width_in_luma_samples),
          "7.4.3.2.1",
          "above 0",
          "the picture has no width");
    SHALL(s.pic_height_in_luma_samples != 0,
          BLAME(pic_height_in_luma_samples),
          "7.4.3.2.1",
          "above 0",
          "the picture has no height");
    SHALL(s.pic_width_in_luma_samples % MinCbSizeY == 0,
          BLAME(pic_width_in_luma_samples),
          "7.4.3.2.1",
          say("a multiple of ", MinCbSizeY),
          "the picture is ",
          s.pic_width_in_luma_samples,
          " samples wide, which is no multiple of its smallest coding block, ",
          MinCbSizeY);
    SHALL(s.pic_height_in_luma_samples % MinCbSizeY == 0,
          BLAME(pic_height_in_luma_samples),
          "7.4.3.2.1",
          say("a multiple of ", MinCbSizeY),
          "the picture is ",
          s.pic_height_in_luma_samples,
          " samples high, which is no multiple of its smallest coding block, ",
          MinCbSizeY);
    RANGE(bit_depth_luma_minus8, 0, 8, "7.4.3.2.1");
    RANGE(bit_depth_chroma_minus8, 0, 8, "7.4.3.2.1");
}

// 7.4.3.2.1: the offsets count in chroma units; their sums need more than 32 bits.
void checkConformanceWindow(const SequenceParameterSet& s, CChecks& checks)
{
    const ChromaFormat format = chromaFormat(s.chroma_format_idc, s.separate_colour_plane_flag);
    const std::uint64_t ulColumns =
        format.SubWidthC * (std::uint64_t{s.conf_win_left_offset} + s.conf_win_right_offset);
    const std::uint64_t ulRows = format.SubHeightC * (std::uint64_t{s.conf_win_top_offset} + s.conf_win_bottom_offset);
    SHALL(!s.conformance_window_flag || ulColumns < s.pic_width_in_luma_samples,
          s.conf_win_right_offset != 0 ? BLAME(conf_win_right_offset) : BLAME(conf_win_left_offset),
          "7.4.3.2.1",
          say("together less than ", s.pic_width_in_luma_samples, " samples"),
          "the conformance window cuts ",
          ulColumns,
          " columns off a picture of ",
          s.pic_width_in_luma_samples,
          ": nothing is left");
    SHALL(!s.conformance_window_flag || ulRows < s.pic_height_in_luma_samples,
          s.conf_win_bottom_offset != 0 ? BLAME(conf_win_bottom_offset) : BLAME(conf_win_top_offset),
          "7.4.3.2.1",
          say("together less than ", s.pic_height_in_luma_samples, " samples"),
          "the conformance window cuts ",
          ulRows,
          " rows off a picture of ",
          s.pic_height_in_luma_samples,
          ": nothing is left");
}

// 7.4.3.2.1
void checkBlocks(const SequenceParameterSet& s, CChecks& checks)
{
    const BlockSizes sizes = blockSizes(s);
    SHALL(sizes.MinTbLog2SizeY < sizes.MinCbLog2SizeY,
          BLAME(log2_min_luma_transform_block_size_minus2),
          "7.4.3.2.1",
          say("less than ", sizes.MinCbLog2SizeY - 2),
          "the smallest transform block, 2^",
          sizes.MinTbLog2SizeY,
          ", is not smaller than the smallest coding block, 2^",
          sizes.MinCbLog2SizeY);
    const std::uint64_t ulMaxTb = std::min<std::uint64_t>(sizes.CtbLog2SizeY, 5);
    SHALL(sizes.MaxTbLog2SizeY <= ulMaxTb,
          BLAME(log2_diff_max_min_luma_transform_block_size),
          "7.4.3.2.1",
          say("a largest transform block of at most 2^", ulMaxTb),
          "the largest transform block is 2^",
          sizes.MaxTbLog2SizeY,
          ", allowed is the CTB's size up to 2^5, here 2^",
          ulMaxTb);
    if (sizes.MinTbLog2SizeY >= sizes.MinCbLog2SizeY)
        return; // told already
    const auto iDepth = static_cast<std::int64_t>(sizes.CtbLog2SizeY) - static_cast<std::int64_t>(sizes.MinTbLog2SizeY);
    RANGE(max_transform_hierarchy_depth_inter, 0, iDepth, "7.4.3.2.1");
    RANGE(max_transform_hierarchy_depth_intra, 0, iDepth, "7.4.3.2.1");
}

// 7.4.3.2.1
void checkPcm(const SequenceParameterSet& s, CChecks& checks)
{
    if (!s.pcm_enabled_flag)
        return;
    const BlockSizes sizes = blockSizes(s);
    SHALL(!isFormatKnown(s) || s.pcm_sample_bit_depth_luma_minus1 < s.bit_depth_luma_minus8 + std::uint64_t{8},
          BLAME(pcm_sample_bit_depth_luma_minus1),
          "7.4.3.2.1",
          say("at most ", s.bit_depth_luma_minus8 + std::uint64_t{7}),
          "PCM luma samples have more bits than the luma samples");
    SHALL(!isFormatKnown(s) || s.pcm_sample_bit_depth_chroma_minus1 < s.bit_depth_chroma_minus8 + std::uint64_t{8},
          BLAME(pcm_sample_bit_depth_chroma_minus1),
          "7.4.3.2.1",
          say("at most ", s.bit_depth_chroma_minus8 + std::uint64_t{7}),
          "PCM chroma samples have more bits than the chroma samples");
    const std::uint64_t ulLeast = std::min<std::uint64_t>(sizes.MinCbLog2SizeY, 5);
    const std::uint64_t ulMost = std::min<std::uint64_t>(sizes.CtbLog2SizeY, 5);
    const std::uint64_t Log2MinIpcmCbSizeY = s.log2_min_pcm_luma_coding_block_size_minus3 + std::uint64_t{3};
    const std::uint64_t Log2MaxIpcmCbSizeY = Log2MinIpcmCbSizeY + s.log2_diff_max_min_pcm_luma_coding_block_size;
    SHALL(Log2MinIpcmCbSizeY >= ulLeast && Log2MinIpcmCbSizeY <= ulMost,
          BLAME(log2_min_pcm_luma_coding_block_size_minus3),
          "7.4.3.2.1",
          say(ulLeast - 3, " to ", ulMost - 3),
          "the smallest PCM block is 2^",
          Log2MinIpcmCbSizeY,
          ", allowed is 2^",
          ulLeast,
          " to 2^",
          ulMost);
    SHALL(Log2MaxIpcmCbSizeY <= ulMost || Log2MinIpcmCbSizeY > ulMost,
          BLAME(log2_diff_max_min_pcm_luma_coding_block_size),
          "7.4.3.2.1",
          say("a largest PCM block of at most 2^", ulMost),
          "the largest PCM block is 2^",
          Log2MaxIpcmCbSizeY,
          ", allowed is at most 2^",
          ulMost);
}

// 7.4.3.2.1, 7.4.8
void checkRefPicSets(const SequenceParameterSet& s, CChecks& checks)
{
    RANGE(num_short_term_ref_pic_sets, 0, 64, "7.4.3.2.1");
    const auto uiSets =
        static_cast<unsigned>(std::min<std::size_t>(s.num_short_term_ref_pic_sets, s.st_ref_pic_set.size()));
    // F.7.4.3.2.1: with MultiLayerExtSpsFlag the VPS has the sizes of the picture buffers, by output layer set.
    const std::uint32_t uiMaxPics =
        s.MultiLayerExtSpsFlag ? MAX_NUM_PICS - 1 : s.sps_max_dec_pic_buffering_minus1[s.sps_max_sub_layers_minus1];
    for (unsigned i = 0; i < uiSets; ++i)
        checkStRefPicSet(s.st_ref_pic_set[i], uiMaxPics, checks.inside("st_ref_pic_set", i));
    RANGE(num_long_term_ref_pics_sps, 0, 32, "7.4.3.2.1");
}

} // namespace

ChromaFormat chromaFormat(std::uint32_t chroma_format_idc, bool separate_colour_plane_flag) noexcept
{
    if (chroma_format_idc == 1)
        return {2, 2, 1};
    if (chroma_format_idc == 2)
        return {2, 1, 2};
    return {1, 1, chroma_format_idc == 0 || separate_colour_plane_flag ? 0U : 3U};
}

BlockSizes blockSizes(const SequenceParameterSet& s) noexcept
{
    const std::uint64_t MinCbLog2SizeY = s.log2_min_luma_coding_block_size_minus3 + std::uint64_t{3};
    const std::uint64_t MinTbLog2SizeY = s.log2_min_luma_transform_block_size_minus2 + std::uint64_t{2};
    return {MinCbLog2SizeY,
            MinCbLog2SizeY + s.log2_diff_max_min_luma_coding_block_size,
            MinTbLog2SizeY,
            MinTbLog2SizeY + s.log2_diff_max_min_luma_transform_block_size};
}

PictureInCtbs pictureInCtbs(const SequenceParameterSet& s) noexcept
{
    const std::uint64_t CtbSizeY = blockSide(blockSizes(s).CtbLog2SizeY);
    return {(s.pic_width_in_luma_samples + CtbSizeY - 1) / CtbSizeY,
            (s.pic_height_in_luma_samples + CtbSizeY - 1) / CtbSizeY};
}

bool isFormatKnown(const SequenceParameterSet& s) noexcept
{
    return !s.MultiLayerExtSpsFlag || s.bFormatKnown;
}

void checkSequenceParameterSet(const SequenceParameterSet& s, CFindings& findings)
{
    CChecks checks(findings, "");
    checkIds(s, checks);
    if (!s.MultiLayerExtSpsFlag)
        checkProfileTierLevel(s.profile_tier_level, s.sps_max_sub_layers_minus1, checks.inside("profile_tier_level"));
    if (!s.MultiLayerExtSpsFlag) {
        checkFormat(s, checks);
        checkConformanceWindow(s, checks);
    } else if (isFormatKnown(s)) {
        checkBlocksOfLayer(s, checks);
    }
    RANGE(log2_max_pic_order_cnt_lsb_minus4, 0, 12, "7.4.3.2.1");
    if (!s.MultiLayerExtSpsFlag)
        checkOrderingInfo(
            s.sps_sub_layer_ordering_info_present_flag,
            s.sps_max_sub_layers_minus1,
            [&s](unsigned i) { return BLAME_1(sps_max_dec_pic_buffering_minus1, i); },
            [&s](unsigned i) { return BLAME_1(sps_max_num_reorder_pics, i); },
            "7.4.3.2.1",
            checks);
    checkBlocks(s, checks);
    if (s.sps_infer_scaling_list_flag)
        RANGE(sps_scaling_list_ref_layer_id, 0, 62, "F.7.4.3.2.1");
    if (s.sps_scaling_list_data_present_flag)
        checkScalingListData(*s.scaling_list_data, checks.inside("scaling_list_data"));
    checkPcm(s, checks);
    checkRefPicSets(s, checks);
    if (s.vui_parameters_present_flag)
        checkVuiParameters(s, checks.inside("vui_parameters"));
    if (s.sps_extension_4bits != 0)
        checks.reserved(BLAME(sps_extension_4bits), "7.4.3.2.1", "0");
    checkSpsExtensions(s, checks);
}

} // namespace h265_syntax
