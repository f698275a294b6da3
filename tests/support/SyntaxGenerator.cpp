#include "SyntaxGenerator.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <unordered_map>

using namespace h265_syntax;

namespace h265_test {

namespace {

// Bounds of elements that size arrays, or the lengths of others.
const std::map<std::string_view, std::uint32_t> BOUNDS = {{"vps_max_layers_minus1", 7},
                                                          {"vps_max_sub_layers_minus1", 7},
                                                          {"vps_max_layer_id", 12},
                                                          {"vps_num_layer_sets_minus1", 6},
                                                          {"vps_num_hrd_parameters", 3},
                                                          {"vps_num_add_hrd_params", 3},
                                                          {"num_add_layer_sets", 3},
                                                          {"num_add_olss", 3},
                                                          {"vps_num_profile_tier_level_minus1", 5},
                                                          {"vps_num_rep_formats_minus1", 4},
                                                          {"vps_non_vui_extension_length", 5},
                                                          {"direct_dep_type_len_minus2", 30},
                                                          {"num_sub_layer_hrd_minus1", 7},
                                                          {"num_signalled_partitioning_schemes", 3},
                                                          {"num_partitions_in_scheme_minus1", 3},
                                                          {"num_bsp_schedules_minus1", 3},
                                                          {"num_cp", 3},
                                                          {"cpb_cnt_minus1", 31},
                                                          {"num_short_term_ref_pic_sets", 64},
                                                          {"num_negative_pics", 8},
                                                          {"num_positive_pics", 8},
                                                          {"num_long_term_ref_pics_sps", 32},
                                                          {"log2_max_pic_order_cnt_lsb_minus4", 12},
                                                          {"bit_depth_luma_minus8", 8},
                                                          {"bit_depth_chroma_minus8", 8},
                                                          {"sps_num_palette_predictor_initializers_minus1", 40},
                                                          {"pps_num_palette_predictor_initializers", 40},
                                                          {"luma_bit_depth_entry_minus8", 8},
                                                          {"chroma_bit_depth_entry_minus8", 8},
                                                          {"num_tile_columns_minus1", 19},
                                                          {"num_tile_rows_minus1", 21},
                                                          {"chroma_qp_offset_list_len_minus1", 5},
                                                          {"num_ref_loc_offsets", 5},
                                                          {"num_cm_ref_layers_minus1", 5},
                                                          {"luma_bit_depth_cm_input_minus8", 8},
                                                          {"luma_bit_depth_cm_output_minus8", 8},
                                                          {"pps_depth_layers_minus1", 4},
                                                          {"pps_bit_depth_for_depth_layers_minus8", 2},
                                                          {"num_val_delta_dlt", 60},
                                                          {"abs_delta_rps_minus1", 20},
                                                          {"delta_poc_s0_minus1", 20},
                                                          {"delta_poc_s1_minus1", 20}};

// What is known of an element, by the address of its name: descriptions have each name once.
struct Kind
{
    std::string_view name;
    std::uint32_t uiBound = UINT32_MAX;
    bool bSubLayersOfLayer = false;
    bool bCompatibility = false;
    std::set<std::int64_t> seen; // up to 99
};

Kind makeKind(std::string_view name)
{
    Kind kind{.name = name, .seen = {}};
    const auto bound = BOUNDS.find(name);
    if (bound != BOUNDS.end())
        kind.uiBound = bound->second;
    kind.bSubLayersOfLayer = name == "sps_ext_or_max_sub_layers_minus1";
    kind.bCompatibility =
        name == "general_profile_compatibility_flag" || name == "sub_layer_profile_compatibility_flag";
    return kind;
}

std::unordered_map<const char*, Kind>& kinds()
{
    static std::unordered_map<const char*, Kind> s_kinds;
    return s_kinds;
}

Kind& kindOf(const char* pName)
{
    const auto known = kinds().find(pName);
    return known != kinds().end() ? known->second : kinds().emplace(pName, makeKind(pName)).first->second;
}

} // namespace

VideoParameterSet CSyntaxGenerator::vps()
{
    VideoParameterSet set;
    set.nal_unit_header = {false, VPS_NUT, 0, 1};
    video_parameter_set_rbsp<CEditUse>(*this, set);
    return set;
}

SequenceParameterSet CSyntaxGenerator::sps(bool bFurtherLayer, const Context& context)
{
    SequenceParameterSet set;
    set.nal_unit_header = {false, SPS_NUT, static_cast<std::uint16_t>(bFurtherLayer ? 5 : 0), 1};
    seq_parameter_set_rbsp<CEditUse>(*this, set, context);
    return set;
}

PictureParameterSet CSyntaxGenerator::pps()
{
    PictureParameterSet set;
    set.nal_unit_header = {false, PPS_NUT, 0, 1};
    pic_parameter_set_rbsp<CEditUse>(*this, set);
    return set;
}

const std::set<std::string, std::less<>>& CSyntaxGenerator::seen()
{
    static std::set<std::string, std::less<>> s_seen;
    for (const auto& [pName, kind] : kinds()) {
        s_seen.emplace(kind.name);
        for (const std::int64_t iValue : kind.seen)
            s_seen.insert(std::string(kind.name) + "=" + std::to_string(iValue));
    }
    return s_seen;
}

bool CSyntaxGenerator::onElement(const Element& element, std::int64_t& iValue)
{
    iValue = valueFor(element);
    if (element.eDescriptor != EDescriptor::u || element.uiBits <= 3)
        kindOf(element.pName).seen.insert(std::min<std::int64_t>(iValue, 99));
    return true;
}

std::int64_t CSyntaxGenerator::valueFor(const Element& element)
{
    const Kind& kind = kindOf(element.pName);
    if (kind.uiBound != UINT32_MAX)
        return below(below(3) == 0 ? kind.uiBound + 1 : std::min<std::uint32_t>(kind.uiBound, 2) + 1);
    if (kind.bSubLayersOfLayer)
        return below(2) == 0 ? 7 : below(7);
    if (kind.bCompatibility)
        return below(24) == 0 ? 1 : 0;
    switch (element.eDescriptor) {
    case EDescriptor::u:
        if (element.uiBits == 1)
            return below(100) < m_uiFlagPercent ? 1 : 0;
        return element.uiBits == 0 ? 0 : static_cast<std::int64_t>(m_random() >> (64 - element.uiBits));
    case EDescriptor::ue:
        return below(40) == 0 ? below(UINT32_MAX) : below(6);
    default:
        return below(40) == 0 ? static_cast<std::int64_t>(below(UINT32_MAX)) - INT32_MAX
                              : static_cast<std::int64_t>(below(13)) - 6;
    }
}

} // namespace h265_test
