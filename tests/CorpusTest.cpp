// Streams of encoders, read as a whole and compared with the values that an independent syntax trace
// found in them (corpus/MANIFEST.md).

#include "ByteSource.h"
#include "ParameterSetStream.h"
#include "Rbsp.h"
#include "Sha1.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "DecParameterSetReader.h"

using namespace h265_codec;
using namespace h265_stream;
using nlohmann::json;

namespace {

// What a record holds for a syntax element; i is the element's first index.
template <class TRecord>
using Field = std::int64_t (*)(const TRecord& r, unsigned i);
template <class TRecord>
using FieldMap = std::map<std::string, Field<TRecord>, std::less<>>;

#define HELD_AS(TRecord, name, expression)                                                                             \
    {                                                                                                                  \
        name, [](const TRecord& r, [[maybe_unused]] unsigned i) -> std::int64_t { return (expression); }               \
    }
#define HELD(TRecord, field) HELD_AS(TRecord, #field, r.field)
#define HELD_ARRAY(TRecord, field) HELD_AS(TRecord, #field, r.field[i])

// 7.3.3, of a record with a ptl
#define HELD_PROFILE_TIER_LEVEL(TRecord)                                                                               \
    HELD_AS(TRecord, "general_profile_space", r.ptl.general_profile_space),                                            \
        HELD_AS(TRecord, "general_tier_flag", r.ptl.general_tier_flag),                                                \
        HELD_AS(TRecord, "general_profile_idc", r.ptl.general_profile_idc),                                            \
        HELD_AS(TRecord, "general_profile_compatibility_flag", r.ptl.general_profile_compatibility_flag[i]),           \
        HELD_AS(TRecord, "general_progressive_source_flag", r.ptl.general_progressive_source_flag),                    \
        HELD_AS(TRecord, "general_interlaced_source_flag", r.ptl.general_interlaced_source_flag),                      \
        HELD_AS(TRecord, "general_non_packed_constraint_flag", r.ptl.general_non_packed_constraint_flag),              \
        HELD_AS(TRecord, "general_frame_only_constraint_flag", r.ptl.general_frame_only_constraint_flag),              \
        HELD_AS(TRecord, "general_level_idc", r.ptl.general_level_idc),                                                \
        HELD_AS(TRecord, "sub_layer_profile_present_flag", r.ptl.sub_layer_profile_present_flag[i]),                   \
        HELD_AS(TRecord, "sub_layer_level_present_flag", r.ptl.sub_layer_level_present_flag[i]),                       \
        HELD_AS(TRecord, "sub_layer_level_idc", r.ptl.sub_layer_level_idc[i])

// Elements of 7.3.3 that the records do not hold.
const std::set<std::string, std::less<>> NOT_HELD = {
    "general_max_12bit_constraint_flag",
    "general_max_10bit_constraint_flag",
    "general_max_8bit_constraint_flag",
    "general_max_422chroma_constraint_flag",
    "general_max_420chroma_constraint_flag",
    "general_max_monochrome_constraint_flag",
    "general_intra_constraint_flag",
    "general_one_picture_only_constraint_flag",
    "general_lower_bit_rate_constraint_flag",
    "general_inbld_flag",
    "general_reserved_zero_7bits",
    "general_reserved_zero_34bits",
    "general_reserved_zero_35bits",
    "general_reserved_zero_43bits",
    "reserved_zero_2bits",
};

// Elements that are compared by what becomes of them, the scaling matrices.
const std::set<std::string, std::less<>> COMPARED_AS_MATRICES = {
    "scaling_list_pred_mode_flag",
    "scaling_list_pred_matrix_id_delta",
    "scaling_list_dc_coef_minus8",
    "scaling_list_delta_coef",
};

const FieldMap<VPS> VPS_FIELDS = {
    HELD(VPS, vps_video_parameter_set_id),
    HELD_AS(VPS, "vps_base_layer_internal_flag", r.vps_reserved_three_2bits >> 1),
    HELD_AS(VPS, "vps_base_layer_available_flag", r.vps_reserved_three_2bits & 1),
    HELD(VPS, vps_max_layers_minus1),
    HELD(VPS, vps_max_sub_layers_minus1),
    HELD(VPS, vps_temporal_id_nesting_flag),
    HELD(VPS, vps_reserved_0xffff_16bits),
    HELD_PROFILE_TIER_LEVEL(VPS),
    HELD(VPS, vps_sub_layer_ordering_info_present_flag),
    HELD_AS(VPS, "vps_max_dec_pic_buffering_minus1", std::int64_t{r.vps_max_dec_pic_buffering[i]} - 1),
    HELD_ARRAY(VPS, vps_max_num_reorder_pics),
    HELD_ARRAY(VPS, vps_max_latency_increase_plus1),
    HELD(VPS, vps_max_layer_id),
    HELD(VPS, vps_num_layer_sets_minus1),
    HELD(VPS, vps_timing_info_present_flag),
    HELD(VPS, vps_extension_flag),
};

const FieldMap<SPS> SPS_FIELDS = {
    HELD(SPS, sps_video_parameter_set_id),
    HELD(SPS, sps_max_sub_layers_minus1),
    HELD(SPS, sps_temporal_id_nesting_flag),
    HELD_PROFILE_TIER_LEVEL(SPS),
    HELD(SPS, sps_seq_parameter_set_id),
    HELD(SPS, chroma_format_idc),
    HELD(SPS, separate_colour_plane_flag),
    HELD(SPS, pic_width_in_luma_samples),
    HELD(SPS, pic_height_in_luma_samples),
    HELD(SPS, conformance_window_flag),
    HELD(SPS, conf_win_left_offset),
    HELD(SPS, conf_win_right_offset),
    HELD(SPS, conf_win_top_offset),
    HELD(SPS, conf_win_bottom_offset),
    HELD_AS(SPS, "bit_depth_luma_minus8", r.BitDepthY - 8),
    HELD_AS(SPS, "bit_depth_chroma_minus8", r.BitDepthC - 8),
    HELD_AS(SPS, "log2_max_pic_order_cnt_lsb_minus4", std::int64_t{r.log2_max_pic_order_cnt_lsb} - 4),
    HELD(SPS, sps_sub_layer_ordering_info_present_flag),
    HELD_ARRAY(SPS, sps_max_dec_pic_buffering_minus1),
    HELD_ARRAY(SPS, sps_max_num_reorder_pics),
    HELD_ARRAY(SPS, sps_max_latency_increase_plus1),
    HELD_AS(SPS, "log2_min_luma_coding_block_size_minus3", r.MinCbLog2SizeY - 3),
    HELD_AS(SPS, "log2_diff_max_min_luma_coding_block_size", r.CtbLog2SizeY - r.MinCbLog2SizeY),
    HELD_AS(SPS, "log2_min_luma_transform_block_size_minus2", r.MinTbLog2SizeY - 2),
    HELD_AS(SPS, "log2_diff_max_min_luma_transform_block_size", r.MaxTbLog2SizeY - r.MinTbLog2SizeY),
    HELD(SPS, max_transform_hierarchy_depth_inter),
    HELD(SPS, max_transform_hierarchy_depth_intra),
    HELD(SPS, scaling_list_enabled_flag),
    HELD(SPS, sps_scaling_list_data_present_flag),
    HELD(SPS, amp_enabled_flag),
    HELD(SPS, sample_adaptive_offset_enabled_flag),
    HELD(SPS, pcm_enabled_flag),
    HELD(SPS, pcm_sample_bit_depth_luma_minus1),
    HELD(SPS, pcm_sample_bit_depth_chroma_minus1),
    HELD_AS(SPS, "log2_min_pcm_luma_coding_block_size_minus3", r.Log2MinIpcmCbSizeY - 3),
    HELD_AS(SPS, "log2_diff_max_min_pcm_luma_coding_block_size", r.Log2MaxIpcmCbSizeY - r.Log2MinIpcmCbSizeY),
    HELD(SPS, pcm_loop_filter_disabled_flag),
    HELD(SPS, num_short_term_ref_pic_sets),
    HELD(SPS, long_term_ref_pics_present_flag),
    HELD(SPS, num_long_term_ref_pics_sps),
    HELD_ARRAY(SPS, lt_ref_pic_poc_lsb_sps),
    HELD_ARRAY(SPS, used_by_curr_pic_lt_sps_flag),
    HELD(SPS, sps_temporal_mvp_enabled_flag),
    HELD(SPS, strong_intra_smoothing_enabled_flag),
    HELD(SPS, vui_parameters_present_flag),
    HELD(SPS, sps_extension_present_flag),
};

// 7.4.3.2.1 and what else the values files derive of an SPS in one number
const FieldMap<SPS> SPS_DERIVED = {
    HELD(SPS, PicWidthInCtbsY),
    HELD(SPS, PicHeightInCtbsY),
    HELD(SPS, MinCbLog2SizeY),
    HELD(SPS, CtbLog2SizeY),
    HELD(SPS, MinTbLog2SizeY),
    HELD(SPS, MaxTbLog2SizeY),
    HELD(SPS, BitDepthY),
    HELD(SPS, BitDepthC),
    HELD_AS(SPS, "ChromaArrayType", r.separate_colour_plane_flag ? 0 : r.chroma_format_idc),
    HELD_AS(SPS, "MaxPicOrderCntLsb", std::int64_t{1} << r.log2_max_pic_order_cnt_lsb),
};

// 7.3.7
const FieldMap<ShortTermRefPicSet> SHORT_TERM_FIELDS = {
    HELD(ShortTermRefPicSet, inter_ref_pic_set_prediction_flag),
    HELD_AS(ShortTermRefPicSet, "delta_rps_sign", r.deltaRps < 0 ? 1 : 0),
    HELD_AS(ShortTermRefPicSet, "abs_delta_rps_minus1", (r.deltaRps < 0 ? -r.deltaRps : r.deltaRps) - 1),
    HELD_ARRAY(ShortTermRefPicSet, used_by_curr_pic_flag),
    HELD_ARRAY(ShortTermRefPicSet, use_delta_flag),
    HELD_AS(ShortTermRefPicSet, "num_negative_pics", r.NumNegativePics),
    HELD_AS(ShortTermRefPicSet, "num_positive_pics", r.NumPositivePics),
    HELD_AS(ShortTermRefPicSet, "delta_poc_s0_minus1", (i == 0 ? 0 : r.DeltaPoc[i - 1]) - r.DeltaPoc[i] - 1),
    HELD_AS(ShortTermRefPicSet, "used_by_curr_pic_s0_flag", r.UsedByCurrPic[i]),
    HELD_AS(ShortTermRefPicSet, "delta_poc_s1_minus1",
            r.DeltaPoc[r.NumNegativePics + i] - (i == 0 ? 0 : r.DeltaPoc[r.NumNegativePics + i - 1]) - 1),
    HELD_AS(ShortTermRefPicSet, "used_by_curr_pic_s1_flag", r.UsedByCurrPic[r.NumNegativePics + i]),
};

const FieldMap<PPS> PPS_FIELDS = {
    HELD(PPS, pps_pic_parameter_set_id),
    HELD(PPS, pps_seq_parameter_set_id),
    HELD(PPS, dependent_slice_segments_enabled_flag),
    HELD(PPS, output_flag_present_flag),
    HELD(PPS, num_extra_slice_header_bits),
    HELD(PPS, sign_data_hiding_enabled_flag),
    HELD(PPS, cabac_init_present_flag),
    HELD(PPS, num_ref_idx_l0_default_active_minus1),
    HELD(PPS, num_ref_idx_l1_default_active_minus1),
    HELD(PPS, init_qp_minus26),
    HELD(PPS, constrained_intra_pred_flag),
    HELD(PPS, transform_skip_enabled_flag),
    HELD(PPS, cu_qp_delta_enabled_flag),
    HELD(PPS, diff_cu_qp_delta_depth),
    HELD(PPS, pps_cb_qp_offset),
    HELD(PPS, pps_cr_qp_offset),
    HELD(PPS, pps_slice_chroma_qp_offsets_present_flag),
    HELD(PPS, weighted_pred_flag),
    HELD(PPS, weighted_bipred_flag),
    HELD(PPS, transquant_bypass_enabled_flag),
    HELD(PPS, tiles_enabled_flag),
    HELD(PPS, entropy_coding_sync_enabled_flag),
    HELD(PPS, num_tile_columns_minus1),
    HELD(PPS, num_tile_rows_minus1),
    HELD(PPS, uniform_spacing_flag),
    HELD_AS(PPS, "column_width_minus1", std::int64_t{r.colWidth[i]} - 1),
    HELD_AS(PPS, "row_height_minus1", std::int64_t{r.rowHeight[i]} - 1),
    HELD(PPS, loop_filter_across_tiles_enabled_flag),
    HELD(PPS, pps_loop_filter_across_slices_enabled_flag),
    HELD(PPS, deblocking_filter_control_present_flag),
    HELD(PPS, deblocking_filter_override_enabled_flag),
    HELD(PPS, pps_deblocking_filter_disabled_flag),
    HELD(PPS, pps_beta_offset_div2),
    HELD(PPS, pps_tc_offset_div2),
    HELD(PPS, pps_scaling_list_data_present_flag),
    HELD(PPS, lists_modification_present_flag),
    HELD_AS(PPS, "log2_parallel_merge_level_minus2", r.Log2ParMrgLevel - 2),
    HELD(PPS, slice_segment_header_extension_present_flag),
    HELD(PPS, pps_extension_present_flag),
};

// One [name, value] pair of a values file.
struct Element
{
    std::string name; // without indices
    unsigned uiIndex; // the first, 0 without one
    std::int64_t iValue;
};

std::vector<Element> elementsOf(const json& set)
{
    std::vector<Element> elements;
    for (const json& pair : set.at("syntax")) {
        const std::string name = pair.at(0);
        const std::size_t uiBracket = name.find('[');
        const unsigned uiIndex =
            uiBracket == std::string::npos ? 0 : static_cast<unsigned>(std::stoul(name.substr(uiBracket + 1)));
        elements.push_back({name.substr(0, uiBracket), uiIndex, pair.at(1)});
    }
    return elements;
}

template <class TRecord>
void expectField(const FieldMap<TRecord>& fields, const Element& element, const TRecord& record)
{
    const auto position = fields.find(element.name);
    if (position == fields.end()) {
        EXPECT_TRUE(NOT_HELD.contains(element.name) || COMPARED_AS_MATRICES.contains(element.name))
            << element.name << " is compared with nothing";
        return;
    }
    EXPECT_EQ(position->second(record, element.uiIndex), element.iValue)
        << element.name << "[" << element.uiIndex << "]";
}

std::size_t positionOf(const std::vector<Element>& elements, std::string_view name)
{
    const auto position = std::ranges::find(elements, name, &Element::name);
    EXPECT_NE(position, elements.end()) << name;
    return static_cast<std::size_t>(position - elements.begin());
}

// The record ends before these elements, but for the names in beyondTheRecord: nothing else that it
// holds a field for may stand among them.
template <class TRecord>
void expectUnknown(const FieldMap<TRecord>& fields, std::span<const Element> elements,
                   const std::set<std::string_view>& beyondTheRecord)
{
    for (const Element& element : elements) {
        if (!beyondTheRecord.contains(element.name)) {
            EXPECT_FALSE(fields.contains(element.name)) << element.name << " is not compared";
        }
    }
}

// Layer sets and timing information are not parsed: the two flags hold the next two bits.
void compareVps(const VPS& vps, const json& set)
{
    const std::vector<Element> elements = elementsOf(set);
    const std::size_t uiLast = positionOf(elements, "vps_num_layer_sets_minus1");
    for (std::size_t i = 0; i <= uiLast; ++i)
        expectField(VPS_FIELDS, elements[i], vps);

    std::vector<bool> bits;
    for (std::size_t i = uiLast + 1; i < elements.size() && bits.size() < 2; ++i) {
        if (elements[i].name == "vps_num_units_in_tick") {
            for (unsigned uiBit = 32; uiBit-- > 0;)
                bits.push_back((elements[i].iValue >> uiBit & 1) != 0);
        } else {
            EXPECT_TRUE(elements[i].name.ends_with("_flag")) << elements[i].name;
            bits.push_back(elements[i].iValue != 0);
        }
    }
    ASSERT_GE(bits.size(), 2U);
    EXPECT_EQ(vps.vps_timing_info_present_flag, bits[0]);
    EXPECT_EQ(vps.vps_extension_flag, bits[1]);
    expectUnknown(
        VPS_FIELDS, std::span(elements).subspan(uiLast + 1), {"vps_timing_info_present_flag", "vps_extension_flag"});
}

void compareShortTermRefPicSet(const ShortTermRefPicSet& strps, const json& expected)
{
    const std::vector<int> DeltaPocS0 = expected.at("DeltaPocS0");
    const std::vector<int> DeltaPocS1 = expected.at("DeltaPocS1");
    std::vector<int> DeltaPoc = DeltaPocS0;
    DeltaPoc.insert(DeltaPoc.end(), DeltaPocS1.begin(), DeltaPocS1.end());
    std::vector<int> UsedByCurrPic = expected.at("UsedByCurrPicS0");
    const std::vector<int> UsedByCurrPicS1 = expected.at("UsedByCurrPicS1");
    UsedByCurrPic.insert(UsedByCurrPic.end(), UsedByCurrPicS1.begin(), UsedByCurrPicS1.end());

    EXPECT_EQ(strps.NumNegativePics, DeltaPocS0.size());
    EXPECT_EQ(strps.NumPositivePics, DeltaPocS1.size());
    EXPECT_EQ(strps.NumDeltaPocs, expected.at("NumDeltaPocs"));
    ASSERT_LE(strps.NumDeltaPocs, MAX_REF_PICS);
    EXPECT_EQ(std::vector<int>(strps.DeltaPoc, strps.DeltaPoc + strps.NumDeltaPocs), DeltaPoc);
    EXPECT_EQ(std::vector<int>(strps.UsedByCurrPic, strps.UsedByCurrPic + strps.NumDeltaPocs), UsedByCurrPic);
}

// The matrices of 7.4.5. A store has the 32x32 ones at matrixId 0, 1 and 3; those that 4:4:4 adds are
// not in it, and its matrixId 1 is the inter matrix.
void compareScaling(const ScalingListData& lists, const json& scaling)
{
    constexpr const char* SIZE_NAMES[] = {"4x4", "8x8", "16x16", "32x32"};
    const json& factors = scaling.at("ScalingFactor");
    ASSERT_EQ(factors.size(), 4U);
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        const unsigned uiSide = 4U << sizeId;
        unsigned uiCompared = 0;
        for (const auto& [key, rows] : factors.at(SIZE_NAMES[sizeId]).items()) {
            const unsigned matrixId = static_cast<unsigned>(std::stoul(key));
            if (sizeId == 3 && matrixId != 0 && matrixId != 3)
                continue;
            SCOPED_TRACE("matrix " + key + " of " + SIZE_NAMES[sizeId]);
            const unsigned char* const pCoef = lists.aList[sizeId].aMatrix[matrixId].pCoef;
            ASSERT_NE(pCoef, nullptr);
            ASSERT_EQ(rows.size(), uiSide);
            for (unsigned y = 0; y < uiSide; ++y) {
                const std::vector<unsigned char> row(pCoef + y * uiSide, pCoef + (y + 1) * uiSide);
                EXPECT_EQ(row, rows.at(y).get<std::vector<unsigned char>>()) << "row " << y;
            }
            ++uiCompared;
        }
        EXPECT_EQ(uiCompared, sizeId == 3 ? 2U : 6U);
    }
    const ScalingListMatrix(&aMatrix)[6] = lists.aList[3].aMatrix;
    EXPECT_TRUE(std::equal(aMatrix[1].pCoef, aMatrix[1].pCoef + 1024, aMatrix[3].pCoef));
    for (const unsigned matrixId : {2, 4, 5})
        EXPECT_EQ(aMatrix[matrixId].pCoef, nullptr);
}

void compareSpsDerived(const SPS& sps, const json& derived)
{
    for (const auto& [name, value] : derived.items()) {
        SCOPED_TRACE(name);
        if (name == "short_term_rps") {
            ASSERT_EQ(value.size(), sps.num_short_term_ref_pic_sets);
            for (std::size_t i = 0; i < value.size(); ++i)
                compareShortTermRefPicSet(sps.pShortTermRefPicSet[i], value[i]);
        } else if (name == "scaling") {
            ASSERT_NE(sps.pScalingList, nullptr);
            EXPECT_EQ(value.at("source"), sps.sps_scaling_list_data_present_flag ? "sps" : "default");
            compareScaling(*sps.pScalingList, value);
        } else if (name == "output_size") {
            const bool bHalfWidth = sps.chroma_format_idc == 1 || sps.chroma_format_idc == 2;
            const int SubWidthC = bHalfWidth ? 2 : 1;
            const int SubHeightC = sps.chroma_format_idc == 1 ? 2 : 1;
            const int iWidth =
                sps.pic_width_in_luma_samples - SubWidthC * (sps.conf_win_left_offset + sps.conf_win_right_offset);
            const int iHeight =
                sps.pic_height_in_luma_samples - SubHeightC * (sps.conf_win_top_offset + sps.conf_win_bottom_offset);
            EXPECT_EQ(value, json::array({iWidth, iHeight}));
        } else {
            const auto position = SPS_DERIVED.find(name);
            ASSERT_NE(position, SPS_DERIVED.end()) << "compared with nothing";
            EXPECT_EQ(position->second(sps, 0), value.get<std::int64_t>());
        }
    }
    EXPECT_EQ(derived.contains("scaling"), sps.scaling_list_enabled_flag);
    EXPECT_EQ(sps.PicSizeInCtbsY, sps.PicWidthInCtbsY * sps.PicHeightInCtbsY);
}

// The VUI is not parsed: with one, sps_extension_present_flag holds its first bit.
void compareSps(const SPS& sps, const json& set)
{
    const std::vector<Element> elements = elementsOf(set);
    const std::size_t uiVui = positionOf(elements, "vui_parameters_present_flag");
    int iSet = -1;
    for (std::size_t i = 0; i <= uiVui; ++i) {
        const Element& element = elements[i];
        // The first set has no inter_ref_pic_set_prediction_flag.
        if (element.name == "inter_ref_pic_set_prediction_flag")
            ++iSet;
        else if (element.name == "num_negative_pics" && iSet < 0)
            iSet = 0;
        if (SHORT_TERM_FIELDS.contains(element.name)) {
            ASSERT_LT(iSet, sps.num_short_term_ref_pic_sets);
            ASSERT_LT(element.uiIndex, MAX_REF_PICS);
            SCOPED_TRACE("short-term set " + std::to_string(iSet));
            expectField(SHORT_TERM_FIELDS, element, sps.pShortTermRefPicSet[iSet]);
        } else {
            expectField(SPS_FIELDS, element, sps);
        }
    }
    ASSERT_LT(uiVui + 1, elements.size());
    const Element& behind = elements[uiVui + 1];
    EXPECT_EQ(behind.name,
              sps.vui_parameters_present_flag ? "aspect_ratio_info_present_flag" : "sps_extension_present_flag");
    EXPECT_EQ(sps.sps_extension_present_flag, behind.iValue != 0);
    expectUnknown(SPS_FIELDS, std::span(elements).subspan(uiVui + 1), {"sps_extension_present_flag"});
    compareSpsDerived(sps, set.at("derived"));
}

// 6.5.1; the record's TileId is indexed by raster-scan address, that of the values file by tile-scan
// address.
void compareTiles(const PPS& pps, const json& tiles, std::size_t uiSize)
{
    const auto tableOf = [](const unsigned* pTable, std::size_t uiCount) {
        return std::vector<unsigned>(pTable, pTable + uiCount);
    };
    ASSERT_EQ(tiles.size(), 5U);
    EXPECT_EQ(json(tableOf(pps.colWidth, pps.num_tile_columns_minus1 + 1)), tiles.at("colWidth"));
    EXPECT_EQ(json(tableOf(pps.rowHeight, pps.num_tile_rows_minus1 + 1)), tiles.at("rowHeight"));
    EXPECT_EQ(json(tableOf(pps.CtbAddrRsToTs, uiSize)), tiles.at("CtbAddrRsToTs"));
    EXPECT_EQ(json(tableOf(pps.CtbAddrTsToRs, uiSize)), tiles.at("CtbAddrTsToRs"));
    std::vector<unsigned> TileId(uiSize);
    for (std::size_t i = 0; i < uiSize; ++i)
        TileId[pps.CtbAddrRsToTs[i]] = pps.TileId[i];
    EXPECT_EQ(json(TileId), tiles.at("TileId"));
    EXPECT_EQ(pps.CtbAddrRsToTs[uiSize], 0U);
    EXPECT_EQ(pps.CtbAddrTsToRs[uiSize], 0U);
    EXPECT_EQ(pps.TileId[uiSize], 0U);
}

void comparePps(const PPS& pps, const SPS& sps, const json& set)
{
    for (const Element& element : elementsOf(set))
        expectField(PPS_FIELDS, element, pps);
    if (pps.cu_qp_delta_enabled_flag) {
        EXPECT_EQ(pps.Log2MinCuQpDeltaSize, sps.CtbLog2SizeY - pps.diff_cu_qp_delta_depth);
    }
    EXPECT_EQ(pps.MultipleTilesFlag, pps.num_tile_columns_minus1 != 0 || pps.num_tile_rows_minus1 != 0);

    const json derived = set.value("derived", json::object());
    EXPECT_EQ(derived.contains("tiles"), pps.tiles_enabled_flag);
    EXPECT_EQ(derived.contains("scaling"), pps.pScalingList != nullptr);
    for (const auto& [name, value] : derived.items()) {
        if (name == "tiles") {
            compareTiles(pps, value, static_cast<std::size_t>(sps.PicSizeInCtbsY));
        } else if (name == "scaling") {
            ASSERT_NE(pps.pScalingList, nullptr);
            EXPECT_EQ(value.at("source"), "pps");
            compareScaling(*pps.pScalingList, value);
        } else {
            EXPECT_EQ(name, "sps_index") << "compared with nothing";
        }
    }
}

std::vector<unsigned char> bytesOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void compareNalUnit(const ParameterSetEvent& event, const json& set, std::span<const unsigned char> stream)
{
    EXPECT_EQ(event.ulOffset, set.at("offset"));
    ASSERT_EQ(event.ulSize, set.at("size"));
    EXPECT_EQ(event.header.nal_unit_type, set.at("nal_unit_type"));
    EXPECT_EQ(event.header.nuh_layer_id, set.at("nuh_layer_id"));
    EXPECT_EQ(event.header.nuh_temporal_id_plus1 - 1, set.at("temporal_id"));
    EXPECT_FALSE(event.header.forbidden_zero_bit);
    const auto payload =
        stream.subspan(static_cast<std::size_t>(event.ulOffset) + 2, static_cast<std::size_t>(event.ulSize) - 2);
    CRbspBuffer buffer;
    const auto rbsp = buffer.extract(payload);
    EXPECT_EQ(rbsp.size(), set.at("rbsp_size"));
    EXPECT_EQ(h265_test::sha1Of(rbsp), set.at("rbsp_sha1"));
    EXPECT_EQ(payload.size() - rbsp.size(), set.at("emulation_bytes"));
}

bool isSupported(const ParameterSetEvent& event)
{
    if (event.vps != nullptr)
        return event.vps->vps_max_layers_minus1 == 0;
    return event.sps == nullptr || (event.sps->chroma_format_idc == 1 && !event.sps->separate_colour_plane_flag &&
                                    event.sps->BitDepthY == 8 && event.sps->BitDepthC == 8);
}

void compareRecord(const ParameterSetEvent& event, const json& set)
{
    ASSERT_EQ(event.iRead, 0);
    EXPECT_EQ(event.iVerify == 0, isSupported(event));
    EXPECT_EQ(event.logLines.empty(), isSupported(event));
    if (event.header.nal_unit_type == VPS_NUT) {
        ASSERT_NE(event.vps, nullptr);
        compareVps(*event.vps, set);
    } else if (event.header.nal_unit_type == SPS_NUT) {
        ASSERT_NE(event.sps, nullptr);
        compareSps(*event.sps, set);
    } else {
        ASSERT_NE(event.pps, nullptr);
        ASSERT_NE(event.spsOfPps, nullptr);
        comparePps(*event.pps, *event.spsOfPps, set);
    }
}

const std::filesystem::path CORPUS = H265_TEST_CORPUS;

std::vector<std::string> corpusNames()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(CORPUS)) {
        if (entry.path().extension() == ".hevc")
            names.push_back(entry.path().stem());
    }
    std::ranges::sort(names);
    return names;
}

class Corpus : public testing::TestWithParam<std::string>
{
protected:
    [[nodiscard]] static std::filesystem::path streamPath() { return CORPUS / (GetParam() + ".hevc"); }
};

TEST_P(Corpus, HoldsTheTracedValues)
{
    std::ifstream valuesFile(CORPUS / (GetParam() + ".json"));
    const json values = json::parse(valuesFile);
    const json& sets = values.at("sets");
    const std::vector<unsigned char> stream = bytesOf(streamPath());
    const bool bMalformed = GetParam().starts_with("malformed");
    EXPECT_EQ(values.at("trace") == "full", !bMalformed);

    CParameterSetStream reader({});
    std::size_t uiSet = 0;
    const StreamSummary summary = reader.read(*openByteSource(streamPath()), [&](const ParameterSetEvent& event) {
        if (uiSet == sets.size())
            return false;
        const json& set = sets[uiSet];
        SCOPED_TRACE("set " + std::to_string(uiSet) + ", " + set.at("name").get<std::string>());
        ++uiSet;
        compareNalUnit(event, set, stream);
        if (set.at("trace") == "full" && !bMalformed)
            compareRecord(event, set);
        return true;
    });
    EXPECT_EQ(uiSet, sets.size());
    EXPECT_EQ(summary.ulParameterSets, sets.size());
    EXPECT_EQ(summary.ulBytes, values.at("bytes"));
    EXPECT_EQ(summary.ulNalUnits, values.at("nal_units"));
}

// No values to compare with: its refill leaves bits out. It must come through all the same.
TEST_P(Corpus, ComesThroughTheDecodersReader)
{
    CParameterSetStream reader({.eReader = EBitReader::Decoder});
    const StreamSummary summary =
        reader.read(*openByteSource(streamPath()), [](const ParameterSetEvent&) { return true; });
    EXPECT_GE(summary.ulParameterSets, 3U);
}

INSTANTIATE_TEST_SUITE_P(Streams, Corpus, testing::ValuesIn(corpusNames()),
                         [](const testing::TestParamInfo<std::string>& stream) { return stream.param; });

TEST(CorpusFiles, AreAllThere)
{
    EXPECT_GE(corpusNames().size(), 119U);
}

TEST(CorpusFiles, RepeatTheirHeaders)
{
    CParameterSetStream reader({});
    unsigned uiRepeats = 0;
    unsigned uiSets = 0;
    reader.read(*openByteSource(CORPUS / "gop_open_repeat_headers.hevc"), [&](const ParameterSetEvent& event) {
        uiRepeats += event.bRepeat ? 1 : 0;
        EXPECT_EQ(event.bRepeat, event.ulReading != ++uiSets);
        return true;
    });
    EXPECT_EQ(uiSets, 9U);
    EXPECT_EQ(uiRepeats, 6U);
}

TEST(Sha1, AgreesWithThePublishedValues)
{
    const std::string text = "abc";
    const std::span letters(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    EXPECT_EQ(h265_test::sha1Of(letters), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(h265_test::sha1Of({}), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

} // namespace
