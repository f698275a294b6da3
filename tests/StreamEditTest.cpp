// Streams with changed parameter sets: what is written, what is refused, and what is no setting.

#include "StreamEdit.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EditedStream.h"
#include "ParameterSetSyntax.h"
#include "SyntaxCorpus.h"

namespace stream_edit_test {

using namespace h265_inspect;
using namespace h265_syntax;
using namespace h265_test;

namespace {

using Bytes = std::vector<unsigned char>;
using Settings = std::vector<std::string>;

Bytes streamOf(const std::string& name)
{
    return syntaxStream(name).bytes;
}

// What changed in the set of a NAL unit: "vui_parameters.colour_primaries 2 9", a dash for what is absent.
template <class TSet>
void addChanges(const Bytes& left, const Bytes& right, Settings& changes)
{
    TSet before;
    TSet after;
    EXPECT_TRUE(read(before, CNalUnit(left)));
    EXPECT_TRUE(read(after, CNalUnit(right)));
    const auto text = [](const std::optional<std::int64_t>& value) { return value ? std::to_string(*value) : "-"; };
    for (const Difference& difference : compare(before, after)) {
        changes.push_back((difference.structure.empty() ? "" : difference.structure + ".") + difference.name + " " +
                          text(difference.left) + " " + text(difference.right));
    }
}

Settings changesOf(const FoundUnit& left, const FoundUnit& right)
{
    Settings changes;
    if (left.header.nal_unit_type == VPS_NUT)
        addChanges<VideoParameterSet>(left.bytes, right.bytes, changes);
    else if (left.header.nal_unit_type == SPS_NUT)
        addChanges<SequenceParameterSet>(left.bytes, right.bytes, changes);
    else
        addChanges<PictureParameterSet>(left.bytes, right.bytes, changes);
    return changes;
}

// The changes of every set of a stream; its other NAL units, and what stands between them, must be the same.
Settings changesOf(const Bytes& before, const Bytes& after)
{
    const std::vector<FoundUnit> lefts = unitsOf(before);
    const std::vector<FoundUnit> rights = unitsOf(after);
    Settings changes;
    EXPECT_EQ(lefts.size(), rights.size());
    std::size_t uiLeft = 0;
    std::size_t uiRight = 0;
    for (std::size_t i = 0; i < std::min(lefts.size(), rights.size()); ++i) {
        const Bytes gapBefore(before.begin() + static_cast<std::ptrdiff_t>(uiLeft),
                              before.begin() + static_cast<std::ptrdiff_t>(lefts[i].ulOffset));
        const Bytes gapAfter(after.begin() + static_cast<std::ptrdiff_t>(uiRight),
                             after.begin() + static_cast<std::ptrdiff_t>(rights[i].ulOffset));
        EXPECT_EQ(gapBefore, gapAfter);
        uiLeft = static_cast<std::size_t>(lefts[i].ulOffset) + lefts[i].bytes.size();
        uiRight = static_cast<std::size_t>(rights[i].ulOffset) + rights[i].bytes.size();
        if (lefts[i].bytes == rights[i].bytes)
            continue;
        EXPECT_TRUE(h265_stream::isParameterSet(lefts[i].header.nal_unit_type));
        for (std::string& change : changesOf(lefts[i], rights[i]))
            changes.push_back(std::move(change));
    }
    EXPECT_EQ(Bytes(before.begin() + static_cast<std::ptrdiff_t>(uiLeft), before.end()),
              Bytes(after.begin() + static_cast<std::ptrdiff_t>(uiRight), after.end()));
    return changes;
}

Settings changesOf(const std::string& stream, const Settings& settings)
{
    const Bytes before = streamOf(stream);
    const EditedStream after = edited(before, settings);
    EXPECT_TRUE(after.outcome.refusals.empty()) << after.outcome.refusals.front().text;
    return changesOf(before, after.bytes);
}

std::string errorOf(const std::string& stream, const Settings& settings, bool bForce = false)
{
    try {
        (void)edited(streamOf(stream), settings, bForce);
        return "no error";
    } catch (const CSettingError& error) {
        return error.what();
    }
}

Settings textsOf(const std::vector<EditMessage>& messages)
{
    Settings texts;
    for (const EditMessage& message : messages)
        texts.push_back(message.text);
    return texts;
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

class EditOfCorpus : public testing::TestWithParam<std::string>
{};

TEST_P(EditOfCorpus, ChangesNothingWithoutASetting)
{
    const Bytes bytes = streamOf(GetParam());
    for (const std::size_t uiPiece : {std::size_t{1}, std::size_t{7}, std::size_t{1} << 20})
        EXPECT_EQ(edited(bytes, {}, false, uiPiece).bytes, bytes) << uiPiece;
}

TEST_P(EditOfCorpus, ChangesWhatIsNamedAndNothingElse)
{
    const Bytes bytes = streamOf(GetParam());
    const Settings settings = {"vps.timing=50/3",
                               "sps.vui.timing=50/3",
                               "sps.vui.colour_primaries=9",
                               "sps.vui.sar_width=4",
                               "sps.vui.sar_height=3"};
    const EditedStream after = edited(bytes, settings, true);
    const std::string name = GetParam();
    for (const std::string& change : changesOf(bytes, after.bytes)) {
        EXPECT_TRUE(contains(change, "timing") || contains(change, "colour") || contains(change, "matrix_coeffs") ||
                    contains(change, "transfer_characteristics") || contains(change, "vui_parameters") ||
                    contains(change, "tick") || contains(change, "time_scale") || contains(change, "alignment_bit") ||
                    contains(change, "vps_num_hrd_parameters"))
            << change;
        EXPECT_FALSE(contains(change, "alignment_bit") && change.ends_with(" 0")) << change;
    }
    EXPECT_TRUE(after.outcome.ulChanged > 1 || name.starts_with("malformed"));
    // In pieces of any size it is the same stream.
    for (const std::size_t uiPiece : {std::size_t{1}, std::size_t{3}, std::size_t{64}})
        EXPECT_EQ(edited(bytes, settings, true, uiPiece).bytes, after.bytes) << uiPiece;
    // Twice is once.
    EXPECT_EQ(edited(after.bytes, settings, true).bytes, after.bytes);
}

INSTANTIATE_TEST_SUITE_P(Streams, EditOfCorpus, testing::ValuesIn(syntaxStreamNames()),
                         [](const testing::TestParamInfo<std::string>& stream) { return stream.param; });

TEST(EditStream, GivesAnElementAValue)
{
    EXPECT_EQ(changesOf("profile_main10", {"sps.ptl.general_level_idc=93"}),
              Settings{"profile_tier_level.general_level_idc 60 93"});
}

TEST(EditStream, BringsAllThatAnElementNeeds)
{
    // The SPS has no VUI at all.
    EXPECT_EQ(changesOf("hm_ldb", {"sps.vui_parameters.colour_primaries=9"}),
              (Settings{"vui_parameters_present_flag 0 1",
                        "vui_parameters.aspect_ratio_info_present_flag - 0",
                        "vui_parameters.overscan_info_present_flag - 0",
                        "vui_parameters.video_signal_type_present_flag - 1",
                        "vui_parameters.video_format - 5",
                        "vui_parameters.video_full_range_flag - 0",
                        "vui_parameters.colour_description_present_flag - 1",
                        "vui_parameters.colour_primaries - 9",
                        "vui_parameters.transfer_characteristics - 2",
                        "vui_parameters.matrix_coeffs - 2",
                        "vui_parameters.chroma_loc_info_present_flag - 0",
                        "vui_parameters.neutral_chroma_indication_flag - 0",
                        "vui_parameters.field_seq_flag - 0",
                        "vui_parameters.frame_field_info_present_flag - 0",
                        "vui_parameters.default_display_window_flag - 0",
                        "vui_parameters.vui_timing_info_present_flag - 0",
                        "vui_parameters.bitstream_restriction_flag - 0"}));
}

TEST(EditStream, DropsWhatAFlagTakesAway)
{
    EXPECT_EQ(changesOf("deblock_off", {"sps.vui.vui_timing_info_present_flag=0"}),
              (Settings{"vui_parameters.vui_timing_info_present_flag 1 0",
                        "vui_parameters.vui_num_units_in_tick 1000 -",
                        "vui_parameters.vui_time_scale 25000 -",
                        "vui_parameters.vui_poc_proportional_to_timing_flag 0 -",
                        "vui_parameters.vui_hrd_parameters_present_flag 0 -"}));
}

TEST(EditStream, TakesTimingAsPicturesASecond)
{
    EXPECT_EQ(
        changesOf("deblock_off", {"sps[0].vui.timing=30000/1001"}),
        (Settings{"vui_parameters.vui_num_units_in_tick 1000 1001", "vui_parameters.vui_time_scale 25000 30000"}));
    EXPECT_EQ(changesOf("hm_ldb", {"vps.timing=25"}),
              (Settings{"vps_timing_info_present_flag 0 1",
                        "vps_num_units_in_tick - 1",
                        "vps_time_scale - 25",
                        "vps_poc_proportional_to_timing_flag - 0",
                        "vps_num_hrd_parameters - 0"}));
}

TEST(EditStream, FollowsSettingsOneAfterAnother)
{
    EXPECT_EQ(changesOf("deblock_off", {"sps.conf_win_right_offset=4", "sps.conf_win_right_offset=5"}),
              (Settings{"conformance_window_flag 0 1",
                        "conf_win_left_offset - 0",
                        "conf_win_right_offset - 5",
                        "conf_win_top_offset - 0",
                        "conf_win_bottom_offset - 0"}));
}

TEST(EditStream, EditsRepeatsToo)
{
    const Bytes before = streamOf("gop_open_repeat_headers");
    const EditedStream after = edited(before, {"sps.vui.video_full_range_flag=1"});
    const auto isSps = [](const FoundUnit& unit) { return unit.header.nal_unit_type == SPS_NUT; };
    const std::vector<FoundUnit> units = unitsOf(after.bytes);
    const auto iSets = std::ranges::count_if(units, isSps);
    EXPECT_GT(iSets, 1);
    EXPECT_EQ(after.outcome.ulChanged, static_cast<std::uint64_t>(iSets));
    for (const FoundUnit& unit : units) {
        if (!isSps(unit))
            continue;
        SequenceParameterSet sps;
        EXPECT_TRUE(read(sps, CNalUnit(unit.bytes)));
        EXPECT_TRUE(sps.vui_parameters.video_full_range_flag);
    }
}

TEST(EditStream, EditsOtherLayersByTheirIdOnly)
{
    const std::string change = "vui_parameters.video_full_range_flag";
    const Bytes before = streamOf("mv_2view");
    for (const char* const pSetting : {"sps.vui.video_full_range_flag=1", "sps[1].vui.video_full_range_flag=1"}) {
        const EditedStream after = edited(before, {pSetting});
        ASSERT_TRUE(after.outcome.refusals.empty()) << after.outcome.refusals.front().text;
        const std::vector<FoundUnit> lefts = unitsOf(before);
        const std::vector<FoundUnit> rights = unitsOf(after.bytes);
        for (std::size_t i = 0; i < lefts.size(); ++i) {
            const bool bLayer0 = std::string(pSetting).starts_with("sps.");
            const bool bMeant =
                lefts[i].header.nal_unit_type == SPS_NUT && (lefts[i].header.nuh_layer_id == 0) == bLayer0;
            EXPECT_EQ(lefts[i].bytes != rights[i].bytes, bMeant) << pSetting << " " << i;
        }
    }
}

TEST(EditStream, MakesEmulationPreventionAnew)
{
    // The time scale's zeros look like a start code.
    const Bytes before = streamOf("hm_ldb");
    const EditedStream after = edited(before, {"vps.timing=1/1"});
    const std::vector<FoundUnit> units = unitsOf(after.bytes);
    ASSERT_EQ(units.size(), unitsOf(before).size());
    VideoParameterSet vps;
    ASSERT_TRUE(read(vps, CNalUnit(units.front().bytes)));
    EXPECT_EQ(vps.vps_num_units_in_tick, 1U);
    EXPECT_EQ(vps.vps_time_scale, 1U);
}

TEST(EditStream, LeavesASetAloneThatSaysItAlready)
{
    const Bytes before = streamOf("deblock_off");
    const EditedStream after = edited(before, {"sps.vui.vui_time_scale=25000"});
    EXPECT_EQ(after.bytes, before);
    EXPECT_EQ(after.outcome.ulChanged, 0U);
}

struct Refused
{
    const char* pStream;
    const char* pSetting;
    const char* pReason;
};

TEST(EditStream, RefusesWhatTheSlicesAreCodedAgainst)
{
    const Refused aCases[] = {
        {"hm_ldb", "sps.pic_width_in_luma_samples=320", "against the picture size"},
        {"hm_ldb", "sps.log2_diff_max_min_luma_coding_block_size=1", "against the sizes of coding blocks"},
        {"hm_ldb", "sps.log2_min_luma_transform_block_size_minus2=1", "against the sizes of transform blocks"},
        {"hm_ldb", "sps.log2_max_pic_order_cnt_lsb_minus4=5", "against the length of slice_pic_order_cnt_lsb"},
        {"hm_ldb", "sps.num_short_term_ref_pic_sets=1", "against the reference picture sets"},
        {"hm_ldb", "sps.st_ref_pic_set[0].num_negative_pics=1", "against the reference picture sets"},
        {"hm_ldb", "sps.amp_enabled_flag=0", "against the coding tools"},
        {"hm_ldb", "sps.bit_depth_luma_minus8=2", "against the bit depth"},
        {"hm_ldb", "sps.chroma_format_idc=2", "against the chroma format"},
        {"hm_ldb", "sps.sps_seq_parameter_set_id=3", "against the id by which PPSs refer to the SPS"},
        {"hm_ldb", "sps.sps_video_parameter_set_id=3", "against the VPS that it refers to"},
        {"hm_ldb", "sps.long_term_ref_pics_present_flag=1", "against the long-term reference pictures"},
        {"hm_ldb", "sps.scaling_list_enabled_flag=1", "against the scaling lists"},
        {"hm_ldb", "sps.pcm_loop_filter_disabled_flag=1", "against the coding tools"},
        {"hm_ldb", "vps.vps_video_parameter_set_id=1", "against the id by which SPSs refer to the VPS"},
        {"mv_2view", "vps.vps_extension.view_id_len=3", "against the layers"},
        {"hm_ldb", "pps.pps_pic_parameter_set_id=1", "against the id by which slices refer to the PPS"},
        {"hm_ldb", "pps.pps_seq_parameter_set_id=1", "against the SPS that it refers to"},
        {"hm_ldb", "pps.init_qp_minus26=3", "against the quantisation"},
        {"hm_ldb", "pps.num_tile_columns_minus1=1", "against the tiles"},
        {"hm_ldb", "pps.num_extra_slice_header_bits=1", "against the syntax of slice headers"},
        {"hm_ldb", "pps.pps_beta_offset_div2=1", "against the deblocking filter"},
        {"hm_ldb", "pps.weighted_pred_flag=1", "against the coding tools"},
    };
    for (const Refused& c : aCases) {
        SCOPED_TRACE(c.pSetting);
        const EditedStream after = edited(streamOf(c.pStream), {c.pSetting});
        const Settings refusals = textsOf(after.outcome.refusals);
        ASSERT_FALSE(refusals.empty());
        EXPECT_TRUE(contains(refusals.front(), c.pReason)) << refusals.front();
        // Done all the same, and said.
        const EditedStream forced = edited(streamOf(c.pStream), {c.pSetting}, true);
        EXPECT_TRUE(forced.outcome.refusals.empty());
        EXPECT_EQ(textsOf(forced.outcome.warnings).front(), refusals.front());
        EXPECT_GT(forced.outcome.ulChanged, 0U);
    }
}

TEST(EditStream, LetsGoWhatDescribesTheStream)
{
    for (const char* const pSetting : {"sps.vui.video_format=2",
                                       "sps.vui.default_display_window_flag=1",
                                       "sps.vui.min_spatial_segmentation_idc=1",
                                       "sps.conf_win_bottom_offset=2",
                                       "sps.ptl.general_level_idc=93",
                                       "sps.ptl.general_frame_only_constraint_flag=0",
                                       "sps.sps_max_latency_increase_plus1[0]=9",
                                       "vps.vps_max_dec_pic_buffering_minus1[0]=6",
                                       "vps.ptl.general_tier_flag=0",
                                       "vps.timing=25"}) {
        const EditedStream after = edited(streamOf("hm_ldb"), {pSetting});
        EXPECT_EQ(textsOf(after.outcome.refusals), Settings{}) << pSetting;
    }
    const EditedStream hrd = edited(streamOf("deblock_off"), {"sps.vui.hrd.vcl_hrd[0].cpb_size_value_minus1[0]=9"});
    EXPECT_EQ(textsOf(hrd.outcome.refusals), Settings{});
}

TEST(EditStream, RefusesWhatBringsANewError)
{
    const Refused aCases[] = {
        {"deblock_off", "sps.vui.colour_primaries=3", "colour_primaries would be an error: "},
        {"deblock_off", "sps.conf_win_right_offset=400", "the conformance window cuts 800 columns"},
        {"deblock_off", "sps.vui.vui_num_units_in_tick=0", "vui_num_units_in_tick would be an error: "},
        {"size_4096x2160_grey", "sps.ptl.general_level_idc=30", "a picture of 4096x2160 has 8847360 luma samples"},
        // In the SPS, by what its VPS says then.
        {"deblock_off", "vps.timing=30000/1001", "sps[0].vui_parameters.vui_time_scale would be an error: "},
    };
    for (const Refused& c : aCases) {
        SCOPED_TRACE(c.pSetting);
        const Settings refusals = textsOf(edited(streamOf(c.pStream), {c.pSetting}).outcome.refusals);
        EXPECT_TRUE(std::ranges::any_of(refusals, [&c](const std::string& text) { return contains(text, c.pReason); }))
            << (refusals.empty() ? "none" : refusals.front());
        const EditedStream forced = edited(streamOf(c.pStream), {c.pSetting}, true);
        EXPECT_TRUE(forced.outcome.refusals.empty());
        EXPECT_FALSE(forced.outcome.warnings.empty());
    }
}

// Others of these bits are filled up where an extension moves.
TEST(EditStream, ChangesAnAlignmentBitThatIsNamed)
{
    const Bytes before = streamOf("syn_vps_external_base");
    const Settings settings = {"vps[1].vps_extension.vps_vui_alignment_bit_equal_to_one=0"};
    EXPECT_EQ(edited(before, settings).outcome.refusals.size(), 1U);
    const EditedStream forced = edited(before, settings, true);
    EXPECT_EQ(changesOf(before, forced.bytes), Settings{"vps_extension.vps_vui_alignment_bit_equal_to_one 1 0"});
}

TEST(EditStream, TakesAnErrorThatWasThereBefore)
{
    // Its levels are reserved ones (0), and stay so.
    EXPECT_EQ(textsOf(edited(streamOf("mv_2view"), {"sps.vui.video_format=2"}).outcome.refusals), Settings{});
    // A wrong value for another one of the same kind.
    EXPECT_EQ(textsOf(edited(streamOf("mv_2view"), {"vps.vps_extension.ptl[1].general_level_idc=1"}).outcome.refusals),
              Settings{});
}

// The NAL units of a stream with its parameter sets the other way round: PPS, SPS, VPS.
Bytes withSetsReversed(const Bytes& stream)
{
    std::vector<FoundUnit> units = unitsOf(stream);
    const auto begin = std::ranges::find_if(
        units, [](const FoundUnit& unit) { return h265_stream::isParameterSet(unit.header.nal_unit_type); });
    const auto end = std::find_if(begin, units.end(), [](const FoundUnit& unit) {
        return !h265_stream::isParameterSet(unit.header.nal_unit_type);
    });
    std::reverse(begin, end);
    Bytes bytes;
    for (const FoundUnit& unit : units) {
        bytes.insert(bytes.end(), {0, 0, 0, 1});
        bytes.insert(bytes.end(), unit.bytes.begin(), unit.bytes.end());
    }
    return bytes;
}

TEST(EditStream, HoldsSetsAgainstOnesThatComeBehindThem)
{
    const Bytes stream = withSetsReversed(streamOf("deblock_off"));
    const Settings refusals = textsOf(edited(stream, {"vps.timing=30000/1001"}).outcome.refusals);
    ASSERT_FALSE(refusals.empty());
    EXPECT_TRUE(contains(refusals.front(), "sps[0].vui_parameters.vui_num_units_in_tick would be an error"));
    // The PPS comes before the SPS whose depth its QP is measured by.
    const Settings pps = textsOf(
        edited(withSetsReversed(streamOf("profile_main10")), {"sps.bit_depth_luma_minus8=0", "pps.init_qp_minus26=-30"})
            .outcome.refusals);
    EXPECT_TRUE(std::ranges::any_of(
        pps, [](const std::string& text) { return contains(text, "pps[0].init_qp_minus26 would be an error"); }));
}

TEST(EditStream, SaysEachReasonOnce)
{
    const EditedStream after = edited(streamOf("gop_open_repeat_headers"), {"sps.vui.colour_primaries=3"});
    EXPECT_EQ(after.outcome.refusals.size(), 1U);
}

TEST(EditStream, WarnsWhereSeiMessagesAreParsedByIt)
{
    const EditedStream after = edited(streamOf("hm_ldb"), {"sps.vui.frame_field_info_present_flag=1"});
    ASSERT_EQ(after.outcome.warnings.size(), 1U);
    EXPECT_TRUE(contains(after.outcome.warnings.front().text, "SEI messages"));
    EXPECT_TRUE(edited(streamOf("hm_ldb"), {"sps.vui.timing=25"}).outcome.warnings.empty());
}

TEST(EditStream, NeverRewritesASetThatCannotBeReadWhole)
{
    const Bytes before = streamOf("malformed_rps_in_sps");
    const EditedStream refused = edited(before, {"sps.vui.video_format=2"});
    EXPECT_TRUE(refused.outcome.refusals.empty()); // which force would lift
    ASSERT_FALSE(refused.outcome.impossible.empty());
    EXPECT_TRUE(contains(refused.outcome.impossible.front().text, "sps[0] cannot be rewritten: "));
    EXPECT_TRUE(refused.bytes.empty());
    const EditedStream forced = edited(before, {"sps.vui.video_format=2"}, true);
    EXPECT_EQ(forced.bytes, before);
    EXPECT_TRUE(forced.outcome.impossible.empty());
    ASSERT_FALSE(forced.outcome.warnings.empty());
    EXPECT_TRUE(forced.outcome.warnings.front().text.ends_with("; it stays as it is"));
}

TEST(EditStream, PassesASetOverThatIsLongerThanAnyThatIsLookedAt)
{
    Bytes bytes = {0, 0, 1, 0x42, 1};
    bytes.resize(h265_stream::MAX_PARAMETER_SET_BYTES + (std::size_t{3} << 20), 0xA5);
    bytes.insert(bytes.end(), {0, 0, 1, 0x28, 1, 0x55});
    EXPECT_EQ(edited(bytes, {}, false, std::size_t{64} << 10).bytes, bytes);
    const EditedStream refused = edited(bytes, {"sps.vui.video_format=2"}, false, std::size_t{64} << 10);
    EXPECT_EQ(refused.outcome.impossible.size(), 1U);
    EXPECT_EQ(edited(bytes, {"sps.vui.video_format=2"}, true, std::size_t{64} << 10).bytes, bytes);
}

TEST(EditStream, NamesTheNearestElement)
{
    EXPECT_EQ(errorOf("hm_ldb", {"sps.vui.color_primaries=9"}),
              "sps.vui.color_primaries=9: there is no element vui_parameters.color_primaries; the nearest is "
              "vui_parameters.colour_primaries");
    const Settings aaCases[] = {
        {"sps.colour_primaries=9", "the nearest is vui_parameters.colour_primaries"},
        {"sps.vui.sar=16", "the nearest is vui_parameters.sar_"},
        {"sps.general_level=3", "the nearest is profile_tier_level.general_level_idc"},
        {"vps.time_scale=3", "the nearest is vps_time_scale"},
        {"pps.init_qp=3", "the nearest is init_qp_minus26"},
        {"sps.st_ref_pic_set[0].num_neg=3", "the nearest is st_ref_pic_set[0].num_negative_pics"},
        {"pps.timing=3", "there is no element timing"},
        {"sps.vui=1", "there is no element vui_parameters"},
        {"sps.vui.nal_hrd[0].cbr_flag[0]=1", "the nearest is vui_parameters.hrd_parameters.nal_hrd[0].cbr_flag[0]"},
    };
    for (const Settings& c : aaCases)
        EXPECT_TRUE(contains(errorOf("hm_ldb", {c[0]}), c[1])) << errorOf("hm_ldb", {c[0]});
}

TEST(EditStream, TellsAnElementThatOtherElementsDecideAbout)
{
    EXPECT_TRUE(contains(errorOf("hm_ldb", {"sps.ptl.general_max_12bit_constraint_flag=1"}),
                         "has no profile_tier_level.general_max_12bit_constraint_flag"));
    EXPECT_TRUE(
        contains(errorOf("hm_ldb", {"sps.sps_max_num_reorder_pics[5]=1"}), "has no sps_max_num_reorder_pics[5]"));
    EXPECT_TRUE(contains(errorOf("hm_sps_ext4", {"sps.sps_extension_data_flag=1"}), "stay as they are"));
}

TEST(EditStream, RefusesAValueThatDoesNotFit)
{
    const Settings aaCases[] = {
        {"sps.vui.colour_primaries=256", "u(8): 0 to 255"},
        {"sps.vui.colour_primaries=-1", "u(8): 0 to 255"},
        {"sps.vui_parameters_present_flag=2", "u(1): 0 to 1"},
        {"sps.pic_width_in_luma_samples=4294967295", "ue(v): 0 to 4294967294"},
        {"pps.init_qp_minus26=-2147483648", "se(v): -2147483647 to 2147483647"},
        {"pps.num_tile_columns_minus1=4294967294", "ue(v): 0 to 65535"},
        {"vps.vps_num_units_in_tick=4294967296", "u(32): 0 to 4294967295"},
        {"sps.num_short_term_ref_pic_sets=65", "cannot be written"},
    };
    for (const Settings& c : aaCases)
        EXPECT_TRUE(contains(errorOf("hm_ldb", {c[0]}, true), c[1])) << errorOf("hm_ldb", {c[0]}, true);
}

TEST(EditStream, TellsASettingThatNoSetIsThereFor)
{
    EXPECT_EQ(errorOf("hm_ldb", {"sps[7].vui.timing=25"}), "sps[7].vui.timing=25: the stream has no SPS of id 7");
    try {
        (void)edited({}, {"vps.timing=25"});
        ADD_FAILURE();
    } catch (const CSettingError& error) {
        EXPECT_STREQ(error.what(), "vps.timing=25: the stream has no VPS of layer 0");
    }
}

TEST(ParseEditSetting, KnowsTheShortNames)
{
    const EditSetting setting = parseEditSetting("sps[12].vui.hrd.nal_hrd[0].cbr_flag[1]=0x1");
    EXPECT_EQ(setting.nal_unit_type, SPS_NUT);
    EXPECT_EQ(setting.uiId, 12U);
    ASSERT_EQ(setting.values.size(), 1U);
    EXPECT_EQ(setting.values[0].path, "vui_parameters.hrd_parameters.nal_hrd[0].cbr_flag[1]");
    EXPECT_EQ(setting.values[0].iValue, 1);
    EXPECT_EQ(parseEditSetting("vps.hrd[2].x=-5").values[0].path, "hrd_parameters[2].x");
    EXPECT_EQ(parseEditSetting("vps.hrd[2].x=-5").values[0].iValue, -5);
    EXPECT_EQ(parseEditSetting("vps.ptl.general_level_idc=9").values[0].path, "profile_tier_level.general_level_idc");
}

TEST(ParseEditSetting, SaysWhatIsWrong)
{
    const Settings aaCases[] = {
        {"", "a setting is SET.ELEMENT=VALUE"},
        {"sps", "a setting is SET.ELEMENT=VALUE"},
        {"sps.x", "a setting is SET.ELEMENT=VALUE"},
        {"sps=1", "a setting is SET.ELEMENT=VALUE"},
        {"sps.=1", "a setting is SET.ELEMENT=VALUE"},
        {"sei.x=1", "'sei' is not one of vps, sps, pps"},
        {"sps[.x=1", "the id of a set"},
        {"sps[].x=1", "the id of a set"},
        {"sps[a].x=1", "the id of a set"},
        {"sps[-1].x=1", "the id of a set"},
        {"sps[0]y.x=1", "the id of a set"},
        {"sps.x=", "'' is not a whole number"},
        {"sps.x=9 ", "'9 ' is not a whole number"},
        {"sps.x=0x", "'0x' is not a whole number"},
        {"sps.x=0x-1", "'0x-1' is not a whole number"},
        {"sps.x=99999999999999999999", "is not a whole number"},
        {"sps.vui.timing=25/0", "timing is pictures a second"},
        {"sps.vui.timing=0", "timing is pictures a second"},
        {"sps.vui.timing=25/", "timing is pictures a second"},
        {"sps.vui.timing=25/1/1", "timing is pictures a second"},
        {"vps.timing=4294967296", "timing is pictures a second"},
    };
    for (const Settings& c : aaCases) {
        try {
            (void)parseEditSetting(c[0]);
            ADD_FAILURE() << c[0];
        } catch (const CSettingError& error) {
            EXPECT_TRUE(contains(error.what(), c[1])) << error.what();
            EXPECT_TRUE(std::string(error.what()).starts_with(c[0] + ": ")) << error.what();
        }
    }
}

} // namespace
} // namespace stream_edit_test
