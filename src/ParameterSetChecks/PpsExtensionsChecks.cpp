#include "PpsExtensionsChecks.h"

#include <algorithm>

#include "SequenceParameterSetChecks.h"
#include "SpsExtensionsChecks.h"
#include "VpsOfSpsChecks.h"

namespace h265_syntax {

namespace {

// 7.4.3.3.2
void checkRange(const PictureParameterSet& pps, const SequenceParameterSet* pSps, CChecks checks)
{
    const PpsRangeExtension& s = pps.pps_range_extension;
    if (s.chroma_qp_offset_list_enabled_flag) {
        RANGE(chroma_qp_offset_list_len_minus1, 0, 5, "7.4.3.3.2");
        for (unsigned i = 0; i <= std::min(s.chroma_qp_offset_list_len_minus1, 5U); ++i) {
            RANGE_1(cb_qp_offset_list, i, -12, 12, "7.4.3.3.2");
            RANGE_1(cr_qp_offset_list, i, -12, 12, "7.4.3.3.2");
        }
    }
    if (pSps == nullptr)
        return;
    const BlockSizes sizes = blockSizes(*pSps);
    const ChromaFormat format = chromaFormat(pSps->chroma_format_idc, pSps->separate_colour_plane_flag);
    RANGE(
        log2_max_transform_skip_block_size_minus2, 0, static_cast<std::int64_t>(sizes.MaxTbLog2SizeY) - 2, "7.4.3.3.2");
    SHALL(!s.cross_component_prediction_enabled_flag || format.ChromaArrayType == 3,
          BLAME(cross_component_prediction_enabled_flag),
          "7.4.3.3.2",
          "0",
          "cross-component prediction needs 4:4:4 in one picture");
    SHALL(!s.chroma_qp_offset_list_enabled_flag || format.ChromaArrayType != 0,
          BLAME(chroma_qp_offset_list_enabled_flag),
          "7.4.3.3.2",
          "0",
          "chroma QP offsets need chroma in the same picture");
    if (s.chroma_qp_offset_list_enabled_flag)
        RANGE(diff_cu_chroma_qp_offset_depth, 0, pSps->log2_diff_max_min_luma_coding_block_size, "7.4.3.3.2");
    const auto scale = [](std::uint32_t bit_depth_minus8) {
        return std::max<std::int64_t>(0, std::int64_t{bit_depth_minus8} - 2);
    };
    RANGE(log2_sao_offset_scale_luma, 0, scale(pSps->bit_depth_luma_minus8), "7.4.3.3.2");
    RANGE(log2_sao_offset_scale_chroma, 0, scale(pSps->bit_depth_chroma_minus8), "7.4.3.3.2");
}

// F.7.4.3.3.4: lists of its own are of no use to a PPS that takes another layer's.
void checkListsOfPps(const PictureParameterSet& pps, CChecks checks)
{
    const PpsMultilayerExtension& s = *pps.pps_multilayer_extension;
    SHOULD(!s.pps_infer_scaling_list_flag || !pps.pps_scaling_list_data_present_flag,
           BLAME(pps_infer_scaling_list_flag),
           "F.7.4.3.3.4",
           "0",
           "the PPS brings scaling lists, and takes those of layer ",
           s.pps_scaling_list_ref_layer_id,
           " as well");
}

// F.7.4.3.3.4
void checkMultilayer(const PpsMultilayerExtension& s, CChecks checks)
{
    constexpr std::int64_t OFFSET = 1 << 14;
    if (s.pps_infer_scaling_list_flag)
        RANGE(pps_scaling_list_ref_layer_id, 0, 62, "F.7.4.3.3.4");
    RANGE(num_ref_loc_offsets, 0, MAX_REF_LOC_OFFSETS, "F.7.4.3.3.4");
    for (unsigned i = 0; i < std::min(s.num_ref_loc_offsets, MAX_REF_LOC_OFFSETS); ++i) {
        const auto blame = [&](const char* pName, std::int64_t iValue) {
            return Blamed(pName, iValue, s.ref_loc_offset_layer_id[i]);
        };
        const auto offset = [&](const char* pName, std::int32_t iValue) {
            checks.range(blame(pName, iValue), -OFFSET, OFFSET - 1, "F.7.4.3.3.4");
        };
        RANGE_1(ref_loc_offset_layer_id, i, 0, 62, "F.7.4.3.3.4");
        if (s.scaled_ref_layer_offset_present_flag[i]) {
            offset("scaled_ref_layer_left_offset", s.scaled_ref_layer_left_offset[i]);
            offset("scaled_ref_layer_top_offset", s.scaled_ref_layer_top_offset[i]);
            offset("scaled_ref_layer_right_offset", s.scaled_ref_layer_right_offset[i]);
            offset("scaled_ref_layer_bottom_offset", s.scaled_ref_layer_bottom_offset[i]);
        }
        if (s.ref_region_offset_present_flag[i]) {
            offset("ref_region_left_offset", s.ref_region_left_offset[i]);
            offset("ref_region_top_offset", s.ref_region_top_offset[i]);
            offset("ref_region_right_offset", s.ref_region_right_offset[i]);
            offset("ref_region_bottom_offset", s.ref_region_bottom_offset[i]);
        }
        if (s.resample_phase_set_present_flag[i]) {
            checks.range(blame("phase_hor_luma", s.phase_hor_luma[i]), 0, 31, "F.7.4.3.3.4");
            checks.range(blame("phase_ver_luma", s.phase_ver_luma[i]), 0, 31, "F.7.4.3.3.4");
            checks.range(blame("phase_hor_chroma_plus8", s.phase_hor_chroma_plus8[i]), 0, 63, "F.7.4.3.3.4");
            checks.range(blame("phase_ver_chroma_plus8", s.phase_ver_chroma_plus8[i]), 0, 63, "F.7.4.3.3.4");
        }
    }
}

// F.7.4.3.3.5
void checkColourMapping(const ColourMappingTable& s, CChecks checks)
{
    RANGE(num_cm_ref_layers_minus1, 0, 61, "F.7.4.3.3.5");
    for (unsigned i = 0; i <= std::min(s.num_cm_ref_layers_minus1, 61U); ++i)
        RANGE_1(cm_ref_layer_id, i, 0, 62, "F.7.4.3.3.5");
    if (s.cm_octant_depth > 1)
        checks.reserved(BLAME(cm_octant_depth), "F.7.4.3.3.5", "0 or 1");
    else
        RANGE(cm_y_part_num_log2, 0, 3 - std::int64_t{s.cm_octant_depth}, "F.7.4.3.3.5");
    RANGE(cm_adapt_threshold_u_delta, -32768, 32767, "F.7.4.3.3.5"); // 0 where they are not coded
    RANGE(cm_adapt_threshold_v_delta, -32768, 32767, "F.7.4.3.3.5");
    RANGE(luma_bit_depth_cm_input_minus8, 0, 8, "F.7.4.3.3.5");
    RANGE(chroma_bit_depth_cm_input_minus8, 0, 8, "F.7.4.3.3.5");
    RANGE(luma_bit_depth_cm_output_minus8, 0, 8, "F.7.4.3.3.5");
    RANGE(chroma_bit_depth_cm_output_minus8, 0, 8, "F.7.4.3.3.5");
    SHALL(s.luma_bit_depth_cm_input_minus8 > 8 || s.luma_bit_depth_cm_output_minus8 >= s.luma_bit_depth_cm_input_minus8,
          BLAME(luma_bit_depth_cm_output_minus8),
          "F.7.4.3.3.5",
          say("at least ", s.luma_bit_depth_cm_input_minus8),
          "colour mapping does not lower the luma bit depth");
    SHALL(s.chroma_bit_depth_cm_input_minus8 > 8 ||
              s.chroma_bit_depth_cm_output_minus8 >= s.chroma_bit_depth_cm_input_minus8,
          BLAME(chroma_bit_depth_cm_output_minus8),
          "F.7.4.3.3.5",
          say("at least ", s.chroma_bit_depth_cm_input_minus8),
          "colour mapping does not lower the chroma bit depth");
}

// I.7.4.3.3.8; with fewer values or one distance the two are inferred.
void checkDepthLookup(const DeltaLookupTable& s, CChecks checks)
{
    if (s.num_val_delta_dlt <= 2 || s.max_diff == 0)
        return;
    RANGE(min_diff_minus1, 0, std::int64_t{s.max_diff} - 1, "I.7.4.3.3.8");
    const std::int64_t iMost = std::int64_t{s.max_diff} - s.min_diff_minus1 - 1;
    for (std::size_t k = 1; iMost > 0 && k < s.num_val_delta_dlt && k < s.delta_val_diff_minus_min.size(); ++k)
        RANGE_1(delta_val_diff_minus_min, k, 0, iMost, "I.7.4.3.3.8");
}

// I.7.4.3.3.7
void checkDepth(const Pps3dExtension& s, const CChecks& checksOfExtension)
{
    CChecks checks = checksOfExtension;
    if (!s.dlts_present_flag)
        return;
    RANGE(pps_bit_depth_for_depth_layers_minus8, 0, 8, "I.7.4.3.3.7");
    for (unsigned i = 0; i <= s.pps_depth_layers_minus1; ++i) {
        if (s.dlt_flag[i] && !s.dlt_val_flags_present_flag[i])
            checkDepthLookup(s.delta_lookup_table[i], checks.inside("delta_lookup_table", i));
    }
}

// 7.4.3.3.3
void checkPalette(const PpsSccExtension& s, const SequenceParameterSet& sps, CChecks& checks)
{
    const SpsSccExtension& scc = sps.sps_scc_extension;
    const bool bPalette = sps.sps_scc_extension_flag && scc.palette_mode_enabled_flag && scc.palette_max_size != 0;
    SHALL(bPalette,
          BLAME(pps_palette_predictor_initializers_present_flag),
          "7.4.3.3.3",
          "0",
          "the PPS brings palette entries, and its SPS has no palette");
    if (bPalette)
        RANGE(pps_num_palette_predictor_initializers,
              0,
              static_cast<std::int64_t>(PaletteMaxPredictorSize(scc)),
              "7.4.3.3.3");
    if (s.pps_num_palette_predictor_initializers == 0)
        return;
    SHALL(s.monochrome_palette_flag == (sps.chroma_format_idc == 0),
          BLAME(monochrome_palette_flag),
          "7.4.3.3.3",
          sps.chroma_format_idc == 0 ? "1" : "0",
          "the palette and the SPS differ in whether there is chroma");
    SHALL(s.luma_bit_depth_entry_minus8 == sps.bit_depth_luma_minus8,
          BLAME(luma_bit_depth_entry_minus8),
          "7.4.3.3.3",
          say(sps.bit_depth_luma_minus8),
          "the palette's luma bit depth is not the SPS's");
    SHALL(s.monochrome_palette_flag || s.chroma_bit_depth_entry_minus8 == sps.bit_depth_chroma_minus8,
          BLAME(chroma_bit_depth_entry_minus8),
          "7.4.3.3.3",
          say(sps.bit_depth_chroma_minus8),
          "the palette's chroma bit depth is not the SPS's");
}

// 7.4.3.3.3
void checkScc(const PictureParameterSet& pps, const SequenceParameterSet* pSps, CChecks checks)
{
    const PpsSccExtension& s = pps.pps_scc_extension;
    if (s.residual_adaptive_colour_transform_enabled_flag) {
        RANGE(pps_act_y_qp_offset_plus5, -7, 17, "7.4.3.3.3");
        RANGE(pps_act_cb_qp_offset_plus5, -7, 17, "7.4.3.3.3");
        RANGE(pps_act_cr_qp_offset_plus3, -9, 15, "7.4.3.3.3");
    }
    if (pSps == nullptr)
        return;
    const ChromaFormat format = chromaFormat(pSps->chroma_format_idc, pSps->separate_colour_plane_flag);
    SHALL(!s.pps_curr_pic_ref_enabled_flag ||
              (pSps->sps_scc_extension_flag && pSps->sps_scc_extension.sps_curr_pic_ref_enabled_flag),
          BLAME(pps_curr_pic_ref_enabled_flag),
          "7.4.3.3.3",
          "0",
          "the PPS refers to the current picture, which its SPS does not enable");
    SHALL(!s.residual_adaptive_colour_transform_enabled_flag || format.ChromaArrayType == 3,
          BLAME(residual_adaptive_colour_transform_enabled_flag),
          "7.4.3.3.3",
          "0",
          "the adaptive colour transform needs 4:4:4 in one picture");
    if (s.pps_palette_predictor_initializers_present_flag)
        checkPalette(s, *pSps, checks);
}

} // namespace

void checkVpsOfPps(const PictureParameterSet& pps, const VideoParameterSet& vps, CFindings& findings)
{
    if (!pps.pps_multilayer_extension_flag)
        return;
    CChecks checks(findings, "pps_multilayer_extension");
    const PpsMultilayerExtension& s = *pps.pps_multilayer_extension;
    if (s.num_ref_loc_offsets <= MAX_REF_LOC_OFFSETS) // else it is told already
        RANGE(num_ref_loc_offsets, 0, vps.vps_max_layers_minus1, "F.7.4.3.3.4");
    SHALL(!s.pps_infer_scaling_list_flag || s.pps_scaling_list_ref_layer_id > 62 ||
              isReferredTo(vps, s.pps_scaling_list_ref_layer_id, pps.nal_unit_header.nuh_layer_id),
          BLAME(pps_scaling_list_ref_layer_id),
          "F.7.4.3.3.4",
          "a reference layer",
          "the scaling lists are to be those of layer ",
          s.pps_scaling_list_ref_layer_id,
          ", which no layer that can have this PPS refers to");
}

void checkPpsExtensions(const PictureParameterSet& pps, const SequenceParameterSet* pSps, const CChecks& checks)
{
    if (pps.pps_range_extension_flag)
        checkRange(pps, pSps, checks.inside("pps_range_extension"));
    if (pps.pps_multilayer_extension_flag) {
        const CChecks inside = checks.inside("pps_multilayer_extension");
        checkMultilayer(*pps.pps_multilayer_extension, inside);
        checkListsOfPps(pps, inside);
        if (pps.pps_multilayer_extension->colour_mapping_enabled_flag)
            checkColourMapping(pps.pps_multilayer_extension->colour_mapping_table,
                               inside.inside("colour_mapping_table"));
    }
    if (pps.pps_3d_extension_flag)
        checkDepth(*pps.pps_3d_extension, checks.inside("pps_3d_extension"));
    if (pps.pps_scc_extension_flag)
        checkScc(pps, pSps, checks.inside("pps_scc_extension"));
}

} // namespace h265_syntax
