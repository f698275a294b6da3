#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "CheckedStream.h"

// Tables of constraints: a row takes a legal set, gives elements other values, and says what is found then.

namespace h265_test {

/// "chroma_format_idc=4 bit_depth_luma_minus8=2", applied in this order, and the findings, one behind the other:
/// "error chroma_format_idc [7.4.3.2.1]"; none where it is empty. With '#' in front, the one element is written
/// and what stands behind it in the set is left out: for counts that no set can be written with.
struct ChecksRow
{
    const char* pChanges;
    const char* pFound;
};

/// Where a trace has an element.
struct Located
{
    std::uint64_t ulBit = UINT64_MAX;
    std::int64_t iValue = 0;
};

template <class TSet>
Located locate(const TSet& set, std::string_view path, const std::optional<std::int64_t>& value)
{
    class CSink : public h265_syntax::CElementSink
    {
    public:
        CSink(std::string_view path, const std::optional<std::int64_t>& value) : m_path(path), m_value(value) {}
        bool onElement(const h265_syntax::Element& element) override
        {
            const std::string structure(element.structure);
            const std::string path =
                structure.empty() ? element.nameWithIndices() : structure + "." + element.nameWithIndices();
            if (path != m_path || (m_value && *m_value != element.iValue))
                return true;
            m_found = {element.uiBit, element.iValue};
            return false;
        }
        std::string_view m_path;
        std::optional<std::int64_t> m_value;
        Located m_found;
    };
    CSink sink(path, value);
    h265_syntax::trace(set, sink);
    return sink.m_found;
}

template <class TSet, class... TContext>
void applyChanges(TSet& set, std::string_view changes, const TContext&... context)
{
    std::istringstream words{std::string(changes)};
    for (std::string word; words >> word;) {
        const std::size_t uiEquals = word.find('=');
        const std::int64_t iValue = std::stoll(word.substr(uiEquals + 1));
        EXPECT_TRUE(h265_syntax::assign(set, word.substr(0, uiEquals), iValue, context...)) << word;
    }
}

/// The set up to an element, which gets a value as ue(v), and rbsp_trailing_bits( ) behind it.
template <class TSet, class... TContext>
std::vector<unsigned char> cutBehind(TSet set, std::string_view change, const TContext&... context)
{
    std::vector<unsigned char> nalUnit;
    EXPECT_FALSE(h265_syntax::write(set, nalUnit, context...));
    const h265_syntax::CNalUnit whole(nalUnit);
    const std::size_t uiEquals = change.find('=');
    const Located place = locate(set, change.substr(0, uiEquals), std::nullopt);
    EXPECT_NE(place.ulBit, UINT64_MAX) << change;
    std::string bits;
    for (std::size_t i = 0; i < place.ulBit && place.ulBit != UINT64_MAX; ++i)
        bits += (whole.rbsp()[i / 8] >> (7 - i % 8) & 1) != 0 ? '1' : '0';
    const std::uint64_t ulCode = std::stoull(std::string(change.substr(uiEquals + 1))) + 1;
    const auto iLength = static_cast<int>(std::bit_width(ulCode));
    bits.append(static_cast<std::size_t>(iLength - 1), '0');
    for (int i = iLength - 1; i >= 0; --i)
        bits += (ulCode >> i & 1) != 0 ? '1' : '0';
    bits += '1';
    std::vector<unsigned char> rbsp((bits.size() + 7) / 8);
    for (std::size_t i = 0; i < bits.size(); ++i)
        rbsp[i / 8] = static_cast<unsigned char>(rbsp[i / 8] | (bits[i] == '1' ? 0x80U >> i % 8 : 0U));
    std::vector<unsigned char> cut;
    h265_syntax::appendNalUnit(cut, whole.header(), rbsp);
    return cut;
}

/// "error chroma_format_idc [7.4.3.2.1]", one behind the other. Each is checked by itself, too.
template <class TSet>
std::string toldOf(const TSet& set, const h265_syntax::CFindings& findings)
{
    std::string text;
    for (const h265_syntax::Finding& finding : findings.all()) {
        text += text.empty() ? "" : ", ";
        text += finding.eSeverity == h265_syntax::ESeverity::Error ? "error " : "warning ";
        text += (finding.element.empty() ? "-" : pathOf(finding)) + " [" + finding.clause + "]";
        EXPECT_FALSE(finding.message.empty()) << text;
        EXPECT_FALSE(finding.message.ends_with('.')) << finding.message;
        if (finding.element.empty() || finding.clause == "7.3")
            continue; // of no element, or of one that could not be read
        // It stands where a trace has it, with the value that it has there.
        const Located place = locate(set, pathOf(finding), finding.iValue);
        EXPECT_NE(place.ulBit, UINT64_MAX) << textOf(finding);
        EXPECT_EQ(finding.ulBit, place.ulBit) << textOf(finding);
        EXPECT_EQ(finding.iValue, place.iValue) << textOf(finding);
    }
    return text;
}

/// Checks each row: check( set, nalUnit, findings ) is the library's for the set.
template <class TSet, std::size_t N, class TCheck, class... TContext>
void expectRows(const TSet& base, const ChecksRow (&aRows)[N], TCheck check, const TContext&... context)
{
    for (const ChecksRow& row : aRows) {
        SCOPED_TRACE(row.pChanges);
        std::vector<unsigned char> bytes;
        TSet set = base;
        if (*row.pChanges == '#') {
            bytes = cutBehind(set, row.pChanges + 1, context...);
        } else {
            applyChanges(set, row.pChanges, context...);
            const h265_syntax::Stop stop = h265_syntax::write(set, bytes, context...);
            EXPECT_FALSE(stop) << stop.message();
        }
        const h265_syntax::CNalUnit nalUnit(bytes);
        TSet again;
        EXPECT_EQ(h265_syntax::read(again, nalUnit, context...), *row.pChanges != '#');
        h265_syntax::CFindings findings;
        check(again, nalUnit, findings);
        EXPECT_EQ(toldOf(again, findings), row.pFound);
    }
}

/// A legal SPS of 416x240 samples, of the profile that allows the most (Main 4:4:4 16 Intra) and level 6.2.
inline h265_syntax::SequenceParameterSet legalSps()
{
    h265_syntax::SequenceParameterSet s;
    s.nal_unit_header.nal_unit_type = h265_syntax::SPS_NUT;
    s.sps_temporal_id_nesting_flag = true;
    s.profile_tier_level.general_profile_idc = 4;
    s.profile_tier_level.general_profile_compatibility_flag[4] = true;
    s.profile_tier_level.general_intra_constraint_flag = true;
    s.profile_tier_level.general_level_idc = 186;
    s.chroma_format_idc = 1;
    s.pic_width_in_luma_samples = 416;
    s.pic_height_in_luma_samples = 240;
    s.sps_sub_layer_ordering_info_present_flag = true;
    s.sps_max_dec_pic_buffering_minus1[0] = 4;
    s.sps_max_num_reorder_pics[0] = 2;
    s.log2_diff_max_min_luma_coding_block_size = 3;
    s.log2_diff_max_min_luma_transform_block_size = 3;
    s.max_transform_hierarchy_depth_inter = 1;
    s.max_transform_hierarchy_depth_intra = 1;
    return s;
}

/// A legal PPS of it.
inline h265_syntax::PictureParameterSet legalPps()
{
    h265_syntax::PictureParameterSet s;
    s.nal_unit_header.nal_unit_type = h265_syntax::PPS_NUT;
    s.uniform_spacing_flag = true;
    return s;
}

/// A legal VPS of it.
inline h265_syntax::VideoParameterSet legalVps()
{
    h265_syntax::VideoParameterSet s;
    s.nal_unit_header.nal_unit_type = h265_syntax::VPS_NUT;
    s.vps_temporal_id_nesting_flag = true;
    s.profile_tier_level = legalSps().profile_tier_level;
    s.vps_sub_layer_ordering_info_present_flag = true;
    s.vps_max_dec_pic_buffering_minus1[0] = 4;
    s.vps_max_num_reorder_pics[0] = 2;
    return s;
}

/// The rows of an SPS that is alone.
template <std::size_t N>
void expectSpsRows(const h265_syntax::SequenceParameterSet& base, const ChecksRow (&aRows)[N])
{
    expectRows(base, aRows, [](const auto& set, const auto& nalUnit, auto& findings) {
        h265_syntax::check(set, nalUnit, nullptr, findings);
    });
}

/// The rows of a PPS, with an SPS and its VPS or without them.
template <std::size_t N>
void expectPpsRows(const h265_syntax::PictureParameterSet& base, const ChecksRow (&aRows)[N],
                   const h265_syntax::SequenceParameterSet* pSps, const h265_syntax::VideoParameterSet* pVps = nullptr)
{
    expectRows(base, aRows, [=](const auto& set, const auto& nalUnit, auto& findings) {
        h265_syntax::check(set, nalUnit, pSps, findings, pVps);
    });
}

/// The rows of a VPS.
template <std::size_t N>
void expectVpsRows(const h265_syntax::VideoParameterSet& base, const ChecksRow (&aRows)[N])
{
    expectRows(base, aRows, [](const auto& set, const auto& nalUnit, auto& findings) {
        h265_syntax::check(set, nalUnit, findings);
    });
}

/// A legal set with other values.
template <class TSet, class... TContext>
TSet with(TSet set, std::string_view changes, const TContext&... context)
{
    applyChanges(set, changes, context...);
    return set;
}

} // namespace h265_test
