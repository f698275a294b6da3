#include "CodedAgainst.h"

#include <algorithm>
#include <array>
#include <span>

#include "ParameterSetSyntax.h"

namespace h265_inspect {

namespace {

// Beginnings of paths.
constexpr std::array<std::string_view, 15> FREE_IN_VPS = {"profile_tier_level.",
                                                          "vps_temporal_id_nesting_flag",
                                                          "vps_sub_layer_ordering_info_present_flag",
                                                          "vps_max_dec_pic_buffering_minus1",
                                                          "vps_max_num_reorder_pics",
                                                          "vps_max_latency_increase_plus1",
                                                          "vps_timing_info_present_flag",
                                                          "vps_num_units_in_tick",
                                                          "vps_time_scale",
                                                          "vps_poc_proportional_to_timing_flag",
                                                          "vps_num_ticks_poc_diff_one_minus1",
                                                          "vps_num_hrd_parameters",
                                                          "hrd_layer_set_idx",
                                                          "cprms_present_flag",
                                                          "hrd_parameters["};
constexpr std::array<std::string_view, 4> FREE_IN_VPS_EXTENSION = {"vps_extension.profile_tier_level[",
                                                                   "vps_extension.dpb_size.",
                                                                   "vps_extension.vps_vui",
                                                                   "vps_extension_alignment_bit_equal_to_one"};
constexpr std::array<std::string_view, 9> FREE_IN_SPS = {"profile_tier_level.",
                                                         "sps_temporal_id_nesting_flag",
                                                         "conformance_window_flag",
                                                         "conf_win_",
                                                         "sps_sub_layer_ordering_info_present_flag",
                                                         "sps_max_dec_pic_buffering_minus1",
                                                         "sps_max_num_reorder_pics",
                                                         "sps_max_latency_increase_plus1",
                                                         "vui_parameters"};

struct Subject
{
    std::string_view begin; // of paths
    std::string_view words;
};

// The first that fits.
constexpr std::array SUBJECTS = {
    Subject{"vps_video_parameter_set_id", "the id by which SPSs refer to the VPS"},
    Subject{"vps_max_sub_layers_minus1", "the number of sub-layers"},
    Subject{"vps_", "the layers"},
    Subject{"layer_id_included_flag", "the layers"},
    Subject{"sps_video_parameter_set_id", "the VPS that it refers to"},
    Subject{"sps_seq_parameter_set_id", "the id by which PPSs refer to the SPS"},
    Subject{"sps_max_sub_layers_minus1", "the number of sub-layers"},
    Subject{"sps_ext_or_max_sub_layers_minus1", "the number of sub-layers"},
    Subject{"chroma_format_idc", "the chroma format"},
    Subject{"separate_colour_plane_flag", "the chroma format"},
    Subject{"pic_", "the picture size"},
    Subject{"bit_depth_", "the bit depth"},
    Subject{"log2_max_pic_order_cnt_lsb_minus4", "the length of slice_pic_order_cnt_lsb"},
    Subject{"log2_min_luma_coding_block_size_minus3", "the sizes of coding blocks"},
    Subject{"log2_diff_max_min_luma_coding_block_size", "the sizes of coding blocks"},
    Subject{"log2_min_luma_transform_block_size_minus2", "the sizes of transform blocks"},
    Subject{"log2_diff_max_min_luma_transform_block_size", "the sizes of transform blocks"},
    Subject{"max_transform_hierarchy_depth_", "the sizes of transform blocks"},
    Subject{"scaling_list_", "the scaling lists"},
    Subject{"sps_scaling_list_", "the scaling lists"},
    Subject{"sps_infer_scaling_list_flag", "the scaling lists"},
    Subject{"pps_scaling_list_", "the scaling lists"},
    Subject{"num_short_term_ref_pic_sets", "the reference picture sets"},
    Subject{"st_ref_pic_set[", "the reference picture sets"},
    Subject{"long_term_ref_pics_present_flag", "the long-term reference pictures"},
    Subject{"num_long_term_ref_pics_sps", "the long-term reference pictures"},
    Subject{"lt_ref_pic_poc_lsb_sps", "the long-term reference pictures"},
    Subject{"used_by_curr_pic_lt_sps_flag", "the long-term reference pictures"},
    Subject{"pps_pic_parameter_set_id", "the id by which slices refer to the PPS"},
    Subject{"pps_seq_parameter_set_id", "the SPS that it refers to"},
    Subject{"num_extra_slice_header_bits", "the syntax of slice headers"},
    Subject{"output_flag_present_flag", "the syntax of slice headers"},
    Subject{"lists_modification_present_flag", "the syntax of slice headers"},
    Subject{"cabac_init_present_flag", "the syntax of slice headers"},
    Subject{"slice_segment_header_extension_present_flag", "the syntax of slice headers"},
    Subject{"pps_slice_chroma_qp_offsets_present_flag", "the syntax of slice headers"},
    Subject{"num_ref_idx_", "the sizes of reference picture lists"},
    Subject{"init_qp_minus26", "the quantisation"},
    Subject{"cu_qp_delta_enabled_flag", "the quantisation"},
    Subject{"diff_cu_qp_delta_depth", "the quantisation"},
    Subject{"pps_cb_qp_offset", "the quantisation"},
    Subject{"pps_cr_qp_offset", "the quantisation"},
    Subject{"tiles_enabled_flag", "the tiles"},
    Subject{"num_tile_", "the tiles"},
    Subject{"uniform_spacing_flag", "the tiles"},
    Subject{"column_width_minus1", "the tiles"},
    Subject{"row_height_minus1", "the tiles"},
    Subject{"loop_filter_across_tiles_enabled_flag", "the tiles"},
    Subject{"deblocking_filter_", "the deblocking filter"},
    Subject{"pps_deblocking_filter_disabled_flag", "the deblocking filter"},
    Subject{"pps_beta_offset_div2", "the deblocking filter"},
    Subject{"pps_tc_offset_div2", "the deblocking filter"},
};

bool beginsWithOneOf(std::string_view path, std::span<const std::string_view> beginnings)
{
    return std::ranges::any_of(beginnings, [path](std::string_view begin) { return path.starts_with(begin); });
}

bool isFree(unsigned nal_unit_type, std::string_view path)
{
    if (nal_unit_type == h265_syntax::VPS_NUT)
        return beginsWithOneOf(path, FREE_IN_VPS) || beginsWithOneOf(path, FREE_IN_VPS_EXTENSION);
    return nal_unit_type == h265_syntax::SPS_NUT && beginsWithOneOf(path, FREE_IN_SPS);
}

} // namespace

std::string_view codedAgainst(unsigned nal_unit_type, std::string_view path)
{
    if (isFree(nal_unit_type, path))
        return {};
    for (const Subject& subject : SUBJECTS) {
        if (path.starts_with(subject.begin))
            return subject.words;
    }
    return "the coding tools";
}

bool isSeiParsedBy(std::string_view path)
{
    constexpr std::array<std::string_view, 11> NAMES = {"frame_field_info_present_flag",
                                                        "nal_hrd_parameters_present_flag",
                                                        "vcl_hrd_parameters_present_flag",
                                                        "sub_pic_hrd_params_present_flag",
                                                        "sub_pic_cpb_params_in_pic_timing_sei_flag",
                                                        "du_cpb_removal_delay_increment_length_minus1",
                                                        "dpb_output_delay_du_length_minus1",
                                                        "initial_cpb_removal_delay_length_minus1",
                                                        "au_cpb_removal_delay_length_minus1",
                                                        "dpb_output_delay_length_minus1",
                                                        "cpb_cnt_minus1"};
    const std::string_view name = path.substr(path.rfind('.') + 1);
    return std::ranges::any_of(NAMES, [name](std::string_view one) {
        return name.starts_with(one) && (name.size() == one.size() || name[one.size()] == '[');
    });
}

} // namespace h265_inspect
