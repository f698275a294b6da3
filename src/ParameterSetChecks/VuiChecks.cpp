#include "VuiChecks.h"

#include <numeric>

#include "ElementMeanings.h"
#include "HrdChecks.h"
#include "SequenceParameterSetChecks.h"

namespace h265_syntax {

namespace {

// Tables E.1 to E.5: what has no meaning is reserved.
void checkReserved(const Blamed& blamed, CChecks& checks)
{
    if (meaningOf(blamed.pName, blamed.iValue) == "reserved")
        checks.reserved(blamed, "E.3.1", "a value of its table");
}

void checkAspectRatio(const VuiParameters& s, CChecks& checks)
{
    checkReserved(BLAME(aspect_ratio_idc), checks);
    if (!s.aspect_ratio_info_present_flag || s.aspect_ratio_idc != EXTENDED_SAR)
        return;
    SHALL(s.sar_width == 0 || s.sar_height == 0 || std::gcd(s.sar_width, s.sar_height) == 1,
          BLAME(sar_width),
          "E.3.1",
          "no common factor with sar_height",
          "the sample aspect ratio ",
          s.sar_width,
          ":",
          s.sar_height,
          " can be reduced");
    SHOULD(s.sar_width != 0 && s.sar_height != 0,
           s.sar_width == 0 ? BLAME(sar_width) : BLAME(sar_height),
           "E.3.1",
           "above 0",
           "a sample aspect ratio with a 0 in it is unspecified, and players differ in what they make of it");
}

// matrix_coeffs 0 and 8 need chroma that is as large as luma, or nearly.
void checkMatrix(const SequenceParameterSet& sps, const VuiParameters& s, CChecks& checks)
{
    const std::uint32_t uiLuma = sps.bit_depth_luma_minus8;
    const std::uint32_t uiChroma = sps.bit_depth_chroma_minus8;
    const bool b444 = sps.chroma_format_idc == 3;
    SHALL(s.matrix_coeffs != 0 || (b444 && uiChroma == uiLuma),
          BLAME(matrix_coeffs),
          "E.3.1",
          "0 with 4:4:4 and equal bit depths only",
          "matrix_coeffs 0 (RGB) needs 4:4:4 and the same bit depth of luma and chroma");
    SHALL(s.matrix_coeffs != 8 || uiChroma == uiLuma || (b444 && uiChroma == std::uint64_t{uiLuma} + 1),
          BLAME(matrix_coeffs),
          "E.3.1",
          "8 with equal bit depths, or one bit more for chroma in 4:4:4",
          "matrix_coeffs 8 (YCgCo) does not go with these bit depths");
}

void checkSignalType(const SequenceParameterSet& sps, const VuiParameters& s, CChecks& checks)
{
    checkReserved(BLAME(video_format), checks);
    if (s.colour_description_present_flag) {
        checkReserved(BLAME(colour_primaries), checks);
        checkReserved(BLAME(transfer_characteristics), checks);
        checkReserved(BLAME(matrix_coeffs), checks);
        if (isFormatKnown(sps))
            checkMatrix(sps, s, checks);
    }
    if (!s.chroma_loc_info_present_flag)
        return;
    SHOULD(sps.chroma_format_idc == 1 || !isFormatKnown(sps),
           BLAME(chroma_loc_info_present_flag),
           "E.3.1",
           "0",
           "the place of chroma samples means something in 4:2:0 only");
    RANGE(chroma_sample_loc_type_top_field, 0, 5, "E.3.1");
    RANGE(chroma_sample_loc_type_bottom_field, 0, 5, "E.3.1");
}

// The sources that profile_tier_level( ) claims: fields need the picture timing that says so.
void checkFields(const SequenceParameterSet& sps, const VuiParameters& s, CChecks& checks)
{
    const ProfileTierLevel& ptl = sps.profile_tier_level;
    const bool bOwn = !sps.MultiLayerExtSpsFlag; // else the VPS has it
    SHALL(!bOwn || !ptl.general_frame_only_constraint_flag || !s.field_seq_flag,
          BLAME(field_seq_flag),
          "E.3.1",
          "0",
          "the pictures are fields, but general_frame_only_constraint_flag says frames only");
    const bool bMixed = bOwn && ptl.general_progressive_source_flag && ptl.general_interlaced_source_flag;
    SHALL(s.frame_field_info_present_flag || !(s.field_seq_flag || bMixed),
          BLAME(frame_field_info_present_flag),
          "E.3.1",
          "1",
          s.field_seq_flag ? "the pictures are fields, which the picture timing of each must say"
                           : "the source is progressive and interlaced, which the picture timing of each must tell");
}

// Both windows together: the default display window lies inside the conformance window.
void checkDisplayWindow(const SequenceParameterSet& sps, const VuiParameters& s, CChecks& checks)
{
    if (!s.default_display_window_flag || !isFormatKnown(sps))
        return;
    const ChromaFormat format = chromaFormat(sps.chroma_format_idc, sps.separate_colour_plane_flag);
    const std::uint64_t ulColumns = std::uint64_t{sps.conf_win_left_offset} + sps.conf_win_right_offset +
                                    s.def_disp_win_left_offset + s.def_disp_win_right_offset;
    const std::uint64_t ulRows = std::uint64_t{sps.conf_win_top_offset} + sps.conf_win_bottom_offset +
                                 s.def_disp_win_top_offset + s.def_disp_win_bottom_offset;
    SHALL(format.SubWidthC * ulColumns < sps.pic_width_in_luma_samples,
          s.def_disp_win_right_offset != 0 ? BLAME(def_disp_win_right_offset) : BLAME(def_disp_win_left_offset),
          "E.3.1",
          say("together less than ", sps.pic_width_in_luma_samples, " samples"),
          "the conformance and default display windows cut ",
          format.SubWidthC * ulColumns,
          " columns off a picture of ",
          sps.pic_width_in_luma_samples,
          ": nothing is left");
    SHALL(format.SubHeightC * ulRows < sps.pic_height_in_luma_samples,
          s.def_disp_win_bottom_offset != 0 ? BLAME(def_disp_win_bottom_offset) : BLAME(def_disp_win_top_offset),
          "E.3.1",
          say("together less than ", sps.pic_height_in_luma_samples, " samples"),
          "the conformance and default display windows cut ",
          format.SubHeightC * ulRows,
          " rows off a picture of ",
          sps.pic_height_in_luma_samples,
          ": nothing is left");
}

void checkTiming(const SequenceParameterSet& sps, const VuiParameters& s, CChecks& checks)
{
    if (!s.vui_timing_info_present_flag)
        return;
    SHALL(s.vui_num_units_in_tick != 0, BLAME(vui_num_units_in_tick), "E.3.1", "above 0", "a clock tick has no length");
    SHALL(s.vui_time_scale != 0, BLAME(vui_time_scale), "E.3.1", "above 0", "a second has no time units");
    if (s.vui_hrd_parameters_present_flag)
        checkHrdParameters(*s.hrd_parameters, sps.sps_max_sub_layers_minus1, checks.inside("hrd_parameters"));
}

void checkRestrictions(const VuiParameters& s, CChecks& checks)
{
    constexpr std::int64_t MAX_LOG2_MV = 15; // 8.5.3.2: a vector has 16 bits
    if (!s.bitstream_restriction_flag)
        return;
    RANGE(min_spatial_segmentation_idc, 0, 4095, "E.3.1");
    RANGE(max_bytes_per_pic_denom, 0, 16, "E.3.1");
    RANGE(max_bits_per_min_cu_denom, 0, 16, "E.3.1");
    RANGE(log2_max_mv_length_horizontal, 0, MAX_LOG2_MV + 1, "E.3.1");
    RANGE(log2_max_mv_length_vertical, 0, MAX_LOG2_MV + 1, "E.3.1");
    SHOULD(s.log2_max_mv_length_horizontal != MAX_LOG2_MV + 1,
           BLAME(log2_max_mv_length_horizontal),
           "E.3.1",
           "0 to 15",
           "no motion vector is longer than 2^15");
    SHOULD(s.log2_max_mv_length_vertical != MAX_LOG2_MV + 1,
           BLAME(log2_max_mv_length_vertical),
           "E.3.1",
           "0 to 15",
           "no motion vector is longer than 2^15");
}

} // namespace

void checkVuiParameters(const SequenceParameterSet& sps, CChecks checks)
{
    const VuiParameters& s = sps.vui_parameters;
    checkAspectRatio(s, checks);
    checkSignalType(sps, s, checks);
    checkFields(sps, s, checks);
    checkDisplayWindow(sps, s, checks);
    checkTiming(sps, s, checks);
    checkRestrictions(s, checks);
}

} // namespace h265_syntax
