// 7.4.3.2.1: what an SPS must be by itself.

#include "ChecksTable.h"

namespace sequence_parameter_set_checks_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

// clang-format off
const ChecksRow ROWS[] = {
    {"", ""},
    {"sps_seq_parameter_set_id=15", ""},
    {"sps_seq_parameter_set_id=16", "error sps_seq_parameter_set_id [7.4.3.2.1]"},
    {"sps_temporal_id_nesting_flag=0", "error sps_temporal_id_nesting_flag [7.4.3.2.1]"},
    {"sps_sub_layer_ordering_info_present_flag=0 sps_max_sub_layers_minus1=6 sps_temporal_id_nesting_flag=0", ""},
    {"sps_sub_layer_ordering_info_present_flag=0 sps_max_sub_layers_minus1=7", "error sps_max_sub_layers_minus1 [7.4.3.2.1]"},
    {"chroma_format_idc=0", ""},
    {"chroma_format_idc=3 separate_colour_plane_flag=0", ""},
    {"chroma_format_idc=4", "error chroma_format_idc [7.4.3.2.1]"},
    {"pic_width_in_luma_samples=8", ""},
    {"pic_width_in_luma_samples=0", "error pic_width_in_luma_samples [7.4.3.2.1]"},
    {"pic_width_in_luma_samples=420", "error pic_width_in_luma_samples [7.4.3.2.1]"},
    {"pic_height_in_luma_samples=0", "error pic_height_in_luma_samples [7.4.3.2.1]"},
    {"pic_height_in_luma_samples=241", "error pic_height_in_luma_samples [7.4.3.2.1]"},
    {"pic_height_in_luma_samples=248", ""},
    {"conformance_window_flag=1 conf_win_left_offset=100 conf_win_right_offset=107", ""},
    {"conformance_window_flag=1 conf_win_left_offset=100 conf_win_right_offset=108", "error conf_win_right_offset [7.4.3.2.1]"},
    {"conformance_window_flag=1 conf_win_left_offset=208", "error conf_win_left_offset [7.4.3.2.1]"},
    {"conformance_window_flag=1 conf_win_left_offset=4294967294 conf_win_right_offset=4294967294", "error conf_win_right_offset [7.4.3.2.1]"},
    {"conformance_window_flag=1 conf_win_left_offset=2147483648 conf_win_right_offset=2147483648", "error conf_win_right_offset [7.4.3.2.1]"},
    {"conformance_window_flag=1 conf_win_top_offset=60 conf_win_bottom_offset=59", ""},
    {"conformance_window_flag=1 conf_win_top_offset=60 conf_win_bottom_offset=60", "error conf_win_bottom_offset [7.4.3.2.1]"},
    {"conformance_window_flag=1 conf_win_top_offset=120", "error conf_win_top_offset [7.4.3.2.1]"},
    {"chroma_format_idc=2 conformance_window_flag=1 conf_win_top_offset=239 conf_win_left_offset=207", ""},
    {"chroma_format_idc=2 conformance_window_flag=1 conf_win_top_offset=240", "error conf_win_top_offset [7.4.3.2.1]"},
    {"chroma_format_idc=3 conformance_window_flag=1 conf_win_right_offset=415", ""},
    {"chroma_format_idc=0 conformance_window_flag=1 conf_win_right_offset=416", "error conf_win_right_offset [7.4.3.2.1]"},
    {"bit_depth_luma_minus8=8 bit_depth_chroma_minus8=8", ""},
    {"bit_depth_luma_minus8=9", "error bit_depth_luma_minus8 [7.4.3.2.1]"},
    {"bit_depth_chroma_minus8=9", "error bit_depth_chroma_minus8 [7.4.3.2.1]"},
    {"log2_max_pic_order_cnt_lsb_minus4=12", ""},
    {"log2_max_pic_order_cnt_lsb_minus4=13", "error log2_max_pic_order_cnt_lsb_minus4 [7.4.3.2.1]"},
    {"sps_max_dec_pic_buffering_minus1[0]=15", ""},
    {"sps_max_dec_pic_buffering_minus1[0]=16", "error sps_max_dec_pic_buffering_minus1[0] [7.4.3.2.1]"},
    {"sps_max_num_reorder_pics[0]=4", ""},
    {"sps_max_num_reorder_pics[0]=5", "error sps_max_num_reorder_pics[0] [7.4.3.2.1]"},
    {"sps_max_latency_increase_plus1[0]=4294967294", ""},
    {"sps_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=4 sps_max_num_reorder_pics[1]=2", ""},
    {"sps_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=3 sps_max_num_reorder_pics[1]=2", "error sps_max_dec_pic_buffering_minus1[1] [7.4.3.2.1]"},
    {"sps_max_sub_layers_minus1=1 sps_max_dec_pic_buffering_minus1[1]=4 sps_max_num_reorder_pics[1]=1", "error sps_max_num_reorder_pics[1] [7.4.3.2.1]"},
    {"log2_min_luma_transform_block_size_minus2=1 log2_diff_max_min_luma_transform_block_size=2", "error log2_min_luma_transform_block_size_minus2 [7.4.3.2.1]"},
    {"log2_min_luma_coding_block_size_minus3=1 log2_diff_max_min_luma_coding_block_size=2 log2_min_luma_transform_block_size_minus2=1 log2_diff_max_min_luma_transform_block_size=2", ""},
    {"log2_diff_max_min_luma_transform_block_size=4", "error log2_diff_max_min_luma_transform_block_size [7.4.3.2.1]"},
    {"profile_tier_level.general_level_idc=123 log2_diff_max_min_luma_coding_block_size=1", "error log2_diff_max_min_luma_transform_block_size [7.4.3.2.1]"},
    {"profile_tier_level.general_level_idc=123 log2_diff_max_min_luma_coding_block_size=1 log2_diff_max_min_luma_transform_block_size=2", ""},
    {"max_transform_hierarchy_depth_inter=4", ""},
    {"max_transform_hierarchy_depth_inter=5", "error max_transform_hierarchy_depth_inter [7.4.3.2.1]"},
    {"max_transform_hierarchy_depth_intra=4", ""},
    {"max_transform_hierarchy_depth_intra=5", "error max_transform_hierarchy_depth_intra [7.4.3.2.1]"},
    // PCM: 8x8 to 32x32, from the smallest coding block on.
    {"pcm_enabled_flag=1", ""},
    {"pcm_enabled_flag=1 pcm_sample_bit_depth_luma_minus1=7 pcm_sample_bit_depth_chroma_minus1=7", ""},
    {"pcm_enabled_flag=1 pcm_sample_bit_depth_luma_minus1=8", "error pcm_sample_bit_depth_luma_minus1 [7.4.3.2.1]"},
    {"pcm_enabled_flag=1 pcm_sample_bit_depth_chroma_minus1=8", "error pcm_sample_bit_depth_chroma_minus1 [7.4.3.2.1]"},
    {"pcm_enabled_flag=1 log2_min_pcm_luma_coding_block_size_minus3=2", ""},
    {"pcm_enabled_flag=1 log2_min_pcm_luma_coding_block_size_minus3=3", "error log2_min_pcm_luma_coding_block_size_minus3 [7.4.3.2.1]"},
    {"pcm_enabled_flag=1 log2_diff_max_min_pcm_luma_coding_block_size=2", ""},
    {"pcm_enabled_flag=1 log2_diff_max_min_pcm_luma_coding_block_size=3", "error log2_diff_max_min_pcm_luma_coding_block_size [7.4.3.2.1]"},
    {"pic_height_in_luma_samples=256 log2_min_luma_coding_block_size_minus3=1 log2_diff_max_min_luma_coding_block_size=2 pcm_enabled_flag=1 log2_min_pcm_luma_coding_block_size_minus3=0", "error log2_min_pcm_luma_coding_block_size_minus3 [7.4.3.2.1]"},
    {"pic_width_in_luma_samples=448 pic_height_in_luma_samples=256 log2_min_luma_coding_block_size_minus3=3 log2_diff_max_min_luma_coding_block_size=0 pcm_enabled_flag=1 log2_min_pcm_luma_coding_block_size_minus3=2", ""},
    {"pic_width_in_luma_samples=448 pic_height_in_luma_samples=256 log2_min_luma_coding_block_size_minus3=3 log2_diff_max_min_luma_coding_block_size=0 pcm_enabled_flag=1 log2_min_pcm_luma_coding_block_size_minus3=1", "error log2_min_pcm_luma_coding_block_size_minus3 [7.4.3.2.1]"},
    {"#num_short_term_ref_pic_sets=65", "error num_short_term_ref_pic_sets [7.4.3.2.1]"},
    {"num_short_term_ref_pic_sets=64", ""},
    {"long_term_ref_pics_present_flag=1 num_long_term_ref_pics_sps=32", ""},
    {"sps_extension_present_flag=1", ""},
    {"sps_extension_present_flag=1 sps_extension_4bits=1", "error sps_extension_4bits [7.4.3.2.1]"},
};
// clang-format on

TEST(SequenceParameterSetChecks, HoldEachConstraint)
{
    expectSpsRows(legalSps(), ROWS);
}

const ChecksRow LONG_TERM_ROWS[] = {
    {"#num_long_term_ref_pics_sps=33", "error num_long_term_ref_pics_sps [7.4.3.2.1]"},
};

TEST(SequenceParameterSetChecks, HoldTheCountOfLongTermPictures)
{
    expectSpsRows(with(legalSps(), "long_term_ref_pics_present_flag=1"), LONG_TERM_ROWS);
}

// What the NAL unit around a set must be.
TEST(SequenceParameterSetChecks, HoldTheHeaderAndTheEnd)
{
    struct Case
    {
        const char* pName;
        void (*pChange)(SequenceParameterSet& s);
        const char* pFound;
    };
    const Case aCases[] = {
        {"layer 62", [](SequenceParameterSet& s) { s.nal_unit_header.nuh_layer_id = 62; }, ""},
        {"layer 63", [](SequenceParameterSet& s) { s.nal_unit_header.nuh_layer_id = 63; }, "error - [7.4.2.2]"},
        {"no sub-layer",
         [](SequenceParameterSet& s) { s.nal_unit_header.nuh_temporal_id_plus1 = 0; },
         "error - [7.4.2.2]"},
        {"sub-layer 1",
         [](SequenceParameterSet& s) { s.nal_unit_header.nuh_temporal_id_plus1 = 2; },
         "error - [7.4.2.2]"},
        {"damaged", [](SequenceParameterSet& s) { s.nal_unit_header.forbidden_zero_bit = true; }, "error - [7.4.2.2]"},
        {"bits behind the end",
         [](SequenceParameterSet& s) {
             s.rbsp_trailing.bRegular = false;
             s.rbsp_trailing.uiBits = 16;
             s.rbsp_trailing.bytes = {0xc0, 0x80};
         },
         "error - [7.3.2.11]"},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pName);
        SequenceParameterSet set = legalSps();
        c.pChange(set);
        std::vector<unsigned char> bytes;
        EXPECT_FALSE(write(set, bytes));
        const CNalUnit nalUnit(bytes);
        SequenceParameterSet again;
        EXPECT_TRUE(read(again, nalUnit));
        CFindings findings;
        check(again, nalUnit, nullptr, findings);
        EXPECT_EQ(toldOf(again, findings), c.pFound);
    }
}

// 7.4.2.1: the same set, once with emulation prevention and once as some write it where no start codes are.
TEST(SequenceParameterSetChecks, HoldTheEmulationPrevention)
{
    const auto foundOf = [](std::vector<unsigned char> bytes) {
        const CNalUnit nalUnit(bytes);
        SequenceParameterSet set;
        (void)read(set, nalUnit);
        CFindings findings;
        check(set, nalUnit, nullptr, findings);
        std::string found;
        for (const Finding& finding : findings.all())
            found += finding.clause == "7.4.2.1" ? finding.message + '\n' : "";
        return found;
    };
    SequenceParameterSet set = legalSps();
    std::vector<unsigned char> bytes;
    ASSERT_FALSE(write(set, bytes));
    EXPECT_EQ(foundOf(bytes), "");
    std::vector<unsigned char> bare = bytes;
    for (std::size_t i = 2; i + 2 < bare.size(); ++i) {
        if (bare[i] == 0 && bare[i + 1] == 0 && bare[i + 2] == 3)
            bare.erase(bare.begin() + static_cast<std::ptrdiff_t>(i + 2));
    }
    ASSERT_LT(bare.size(), bytes.size());
    EXPECT_EQ(foundOf(bare),
              "from its byte 5 on the NAL unit holds 00 00 and a byte up to 03 without emulation prevention: other "
              "readers see another set, or a start code\n");
    const auto withTail = [&bytes](std::initializer_list<unsigned char> tail) {
        std::vector<unsigned char> longer = bytes;
        longer.insert(longer.end(), tail);
        return longer;
    };
    for (const unsigned char ucThird : std::vector<unsigned char>{0, 1, 2, 3})
        EXPECT_NE(foundOf(withTail({0, 0, ucThird, 4})), "") << ucThird;
    EXPECT_EQ(foundOf(withTail({0, 0, 4, 4})), "");
    EXPECT_EQ(foundOf(withTail({0, 0, 3, 3})), "");
    EXPECT_EQ(foundOf(withTail({0, 0, 3})), ""); // 7.4.2.1: behind a cabac_zero_word
    EXPECT_EQ(foundOf(withTail({0, 0, 0})), ""); // zeros are told of as what stands behind the set
}

} // namespace
} // namespace sequence_parameter_set_checks_test
