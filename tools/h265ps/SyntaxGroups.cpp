#include "SyntaxGroups.h"

#include <algorithm>
#include <span>

#include "NalUnit.h"

namespace h265ps {

namespace {

// In the order of the tables, 7.3.2.1 to 7.3.2.3.
constexpr SyntaxGroup VPS_GROUPS[] = {
    {"vps_video_parameter_set_id", "ids and layers", EGroup::Identity},
    {"profile_tier_level", "profile, tier, level", EGroup::ProfileTierLevel},
    {"vps_sub_layer_ordering_info_present_flag", "picture order and buffering", EGroup::SubLayers},
    {"vps_max_layer_id", "layer sets", EGroup::Layers},
    {"vps_timing_info_present_flag", "timing", std::nullopt},
    {"vps_extension_flag", "extensions", std::nullopt},
};
constexpr SyntaxGroup SPS_GROUPS[] = {
    {"sps_video_parameter_set_id", "ids and sub-layers", EGroup::Identity},
    {"profile_tier_level", "profile, tier, level", EGroup::ProfileTierLevel},
    {"sps_seq_parameter_set_id", "picture", EGroup::Picture},
    {"log2_max_pic_order_cnt_lsb_minus4", "picture order and buffering", EGroup::SubLayers},
    {"log2_min_luma_coding_block_size_minus3", "coding blocks", EGroup::CodingBlocks},
    {"scaling_list_enabled_flag", "scaling lists", EGroup::ScalingLists},
    {"amp_enabled_flag", "tools", EGroup::Tools},
    {"pcm_enabled_flag", "PCM", EGroup::Pcm},
    {"num_short_term_ref_pic_sets", "short-term reference picture sets", EGroup::ShortTermRefPicSets},
    {"long_term_ref_pics_present_flag", "long-term reference pictures", EGroup::LongTermRefPics},
    {"sps_temporal_mvp_enabled_flag", "inter and intra tools", std::nullopt},
    {"vui_parameters_present_flag", "VUI", std::nullopt},
    {"sps_extension_present_flag", "extensions", std::nullopt},
};
constexpr SyntaxGroup PPS_GROUPS[] = {
    {"pps_pic_parameter_set_id", "ids", EGroup::Identity},
    {"dependent_slice_segments_enabled_flag", "slices", EGroup::SliceHeaders},
    {"init_qp_minus26", "quantisation", EGroup::Quantisation},
    {"weighted_pred_flag", "tools", EGroup::Tools},
    {"tiles_enabled_flag", "tiles and wavefronts", EGroup::Tiles},
    {"pps_loop_filter_across_slices_enabled_flag", "loop filters", EGroup::LoopFilters},
    {"pps_scaling_list_data_present_flag", "scaling lists", EGroup::ScalingLists},
    {"lists_modification_present_flag", "slice headers", std::nullopt},
    {"pps_extension_present_flag", "extensions", std::nullopt},
};

} // namespace

const SyntaxGroup* groupThatBeginsWith(unsigned char nal_unit_type, std::string_view element) noexcept
{
    std::span<const SyntaxGroup> groups = PPS_GROUPS;
    if (nal_unit_type == h265_stream::VPS_NUT)
        groups = VPS_GROUPS;
    else if (nal_unit_type == h265_stream::SPS_NUT)
        groups = SPS_GROUPS;
    const auto position =
        std::find_if(groups.begin(), groups.end(), [&](const SyntaxGroup& g) { return g.firstElement == element; });
    return position != groups.end() ? &*position : nullptr;
}

} // namespace h265ps
