#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <string_view>

#include "Descriptions.h"
#include "ParameterSetSyntax.h"

namespace h265_test {

/// Gives every element of a set a value by chance: it walks the descriptions, so that what a value lets
/// appear gets values too. The counts stay small enough for sets of some kilobytes.
class CSyntaxGenerator : public h265_syntax::CEditUse
{
public:
    explicit CSyntaxGenerator(std::uint32_t uiSeed) : m_random(uiSeed) { m_uiFlagPercent = below(4) == 0 ? 15 : 60; }

    h265_syntax::VideoParameterSet vps()
    {
        h265_syntax::VideoParameterSet set;
        set.nal_unit_header = {false, h265_syntax::VPS_NUT, 0, 1};
        h265_syntax::video_parameter_set_rbsp<h265_syntax::CEditUse>(*this, set);
        return set;
    }

    /// Of layer 0, or one that may leave its format to the VPS.
    h265_syntax::SequenceParameterSet sps(bool bFurtherLayer, const h265_syntax::Context& context)
    {
        h265_syntax::SequenceParameterSet set;
        set.nal_unit_header = {false, h265_syntax::SPS_NUT, static_cast<std::uint16_t>(bFurtherLayer ? 5 : 0), 1};
        h265_syntax::seq_parameter_set_rbsp<h265_syntax::CEditUse>(*this, set, context);
        return set;
    }

    h265_syntax::PictureParameterSet pps()
    {
        h265_syntax::PictureParameterSet set;
        set.nal_unit_header = {false, h265_syntax::PPS_NUT, 0, 1};
        h265_syntax::pic_parameter_set_rbsp<h265_syntax::CEditUse>(*this, set);
        return set;
    }

    /// Every element that had a value, without indices, and for short elements "name=value".
    static std::set<std::string, std::less<>>& seen()
    {
        static std::set<std::string, std::less<>> SEEN;
        return SEEN;
    }

protected:
    bool onElement(const h265_syntax::Element& element, std::int64_t& iValue) override
    {
        iValue = valueFor(element);
        seen().insert(element.pName);
        if (element.eDescriptor != h265_syntax::EDescriptor::u || element.uiBits <= 3)
            seen().insert(std::string(element.pName) + "=" + std::to_string(std::min<std::int64_t>(iValue, 99)));
        return true;
    }

private:
    std::uint32_t below(std::uint32_t uiBound) { return static_cast<std::uint32_t>(m_random() % uiBound); }

    // Bounds of elements that size arrays, or the lengths of others.
    static std::uint32_t boundOf(std::string_view name)
    {
        static const std::map<std::string_view, std::uint32_t> BOUNDS = {
            {"vps_max_layers_minus1", 7},
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
        const auto bound = BOUNDS.find(name);
        return bound == BOUNDS.end() ? UINT32_MAX : bound->second;
    }

    std::int64_t valueFor(const h265_syntax::Element& element)
    {
        const std::string_view name = element.pName;
        const std::uint32_t uiBound = boundOf(name);
        if (uiBound != UINT32_MAX)
            return below(below(3) == 0 ? uiBound + 1 : std::min<std::uint32_t>(uiBound, 2) + 1);
        if (name == "sps_ext_or_max_sub_layers_minus1")
            return below(2) == 0 ? 7 : below(7);
        if (name == "general_profile_compatibility_flag" || name == "sub_layer_profile_compatibility_flag")
            return below(24) == 0 ? 1 : 0;
        switch (element.eDescriptor) {
        case h265_syntax::EDescriptor::u:
            if (element.uiBits == 1)
                return below(100) < m_uiFlagPercent ? 1 : 0;
            return element.uiBits == 0 ? 0 : static_cast<std::int64_t>(m_random() >> (64 - element.uiBits));
        case h265_syntax::EDescriptor::ue:
            return below(40) == 0 ? below(UINT32_MAX) : below(6);
        default:
            return below(40) == 0 ? static_cast<std::int64_t>(below(UINT32_MAX)) - INT32_MAX
                                  : static_cast<std::int64_t>(below(13)) - 6;
        }
    }

    std::mt19937_64 m_random;
    std::uint32_t m_uiFlagPercent = 50;
};

} // namespace h265_test
