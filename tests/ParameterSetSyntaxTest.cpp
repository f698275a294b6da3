// The uses of a description: what one writes another reads.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "SyntaxCorpus.h"
#include "SyntaxGenerator.h"

namespace parameter_set_syntax_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

// How many sets of each kind are made; H265_SYNTAX_SETS in the environment says how many else.
std::uint32_t setCount()
{
    const char* const pCount = std::getenv("H265_SYNTAX_SETS");
    return pCount != nullptr ? static_cast<std::uint32_t>(std::strtoul(pCount, nullptr, 10)) : 700;
}

// What is told of a set, for comparison.
class CTraceText : public CElementSink
{
public:
    bool onElement(const Element& element) override
    {
        m_text.append(element.structure).append(".").append(element.nameWithIndices()).append("=");
        m_text.append(std::to_string(element.iValue)).append("\n");
        return true;
    }

    std::string m_text;
};

// Writes a made set, reads it, and expects what was made.
template <class TSet, class... TContext>
void roundTrip(TSet set, TSet& read_, const TContext&... context)
{
    CTraceText made;
    trace(set, made);
    std::vector<unsigned char> nalUnit;
    const Stop stop = write(set, nalUnit, context...);
    ASSERT_FALSE(stop) << stop.message() << " in " << stop.structure;
    const CNalUnit unit(nalUnit);
    ASSERT_TRUE(read(read_, unit, context...)) << read_.stop.message();
    EXPECT_TRUE(read_.rbsp_trailing.bRegular);
    CTraceText traced;
    trace(read_, traced, &unit);
    ASSERT_EQ(traced.m_text, made.m_text);
    std::vector<unsigned char> again;
    ASSERT_FALSE(write(read_, again, context...));
    ASSERT_EQ(again, nalUnit);
}

TEST(ParameterSetSyntax, ReadsVpssThatItWroteWithValuesByChance)
{
    VideoParameterSet reused;
    for (std::uint32_t i = 0; i < setCount(); ++i) {
        SCOPED_TRACE(i);
        CSyntaxGenerator generator(i);
        VideoParameterSet set = generator.vps();
        if (generator.stopped()) // by reference picture sets or layers that nothing can hold
            continue;
        roundTrip(set, reused);
        if (HasFatalFailure())
            return;
    }
}

TEST(ParameterSetSyntax, ReadsSpssThatItWroteWithValuesByChance)
{
    SequenceParameterSet reused;
    for (std::uint32_t i = 0; i < setCount(); ++i) {
        SCOPED_TRACE(i);
        CSyntaxGenerator generator(i);
        const VideoParameterSet vps = generator.vps();
        CSyntaxGenerator ofSps(i);
        Context context;
        std::ranges::fill(context.apVps, &vps);
        SequenceParameterSet set = ofSps.sps(i % 3 == 0, context);
        if (ofSps.stopped())
            continue;
        Context ofItsId;
        ofItsId.apVps[set.sps_video_parameter_set_id] = &vps;
        roundTrip(set, reused, ofItsId);
        if (HasFatalFailure())
            return;
    }
}

TEST(ParameterSetSyntax, ReadsPpssThatItWroteWithValuesByChance)
{
    PictureParameterSet reused;
    for (std::uint32_t i = 0; i < setCount(); ++i) {
        SCOPED_TRACE(i);
        CSyntaxGenerator generator(i);
        PictureParameterSet set = generator.pps();
        ASSERT_FALSE(generator.stopped()) << generator.stopped().message();
        roundTrip(set, reused);
        if (HasFatalFailure())
            return;
    }
}

// What no stream of the corpus shows must have been among the sets made above.
TEST(ParameterSetSyntax, MakesWhatNoStreamShows)
{
    for (std::uint32_t i = 0; i < 400; ++i) {
        Context context;
        const VideoParameterSet vps = CSyntaxGenerator(i).vps();
        std::ranges::fill(context.apVps, &vps);
        (void)CSyntaxGenerator(i).sps(i % 2 == 0, context);
        (void)CSyntaxGenerator(i).pps();
    }
    for (const char* const pElement : {"cprms_present_flag=0",
                                       "cprms_add_present_flag=0",
                                       "default_output_layer_idc=3",
                                       "vps_extension3_flag=1",
                                       "vps_extension_data_flag",
                                       "sps_max_sub_layers_minus1=6",
                                       "separate_colour_plane_flag=1",
                                       "bit_depth_luma_minus8=8",
                                       "log2_min_luma_transform_block_size_minus2=1",
                                       "pcm_loop_filter_disabled_flag=0",
                                       "num_long_term_ref_pics_sps=32",
                                       "colour_description_present_flag=0",
                                       "extended_precision_processing_flag=1",
                                       "palette_mode_enabled_flag=0",
                                       "log2_parallel_merge_level_minus2=3",
                                       "num_ref_loc_offsets=5",
                                       "num_cm_ref_layers_minus1=3",
                                       "pps_bit_depth_for_depth_layers_minus8",
                                       "sub_layer_max_14bit_constraint_flag",
                                       "sub_layer_reserved_zero_7bits",
                                       "general_inbld_flag=1"}) {
        if (std::string(pElement) == "vps_extension_data_flag")
            continue; // a walk adds none: see the test below
        EXPECT_TRUE(CSyntaxGenerator::seen().contains(pElement)) << pElement;
    }
}

TEST(ParameterSetSyntax, KeepsExtensionDataAsBits)
{
    PictureParameterSet made = CSyntaxGenerator(1).pps();
    made.pps_extension_present_flag = true;
    made.pps_range_extension_flag = made.pps_multilayer_extension_flag = false;
    made.pps_3d_extension_flag = made.pps_scc_extension_flag = false;
    made.pps_extension_4bits = 5;
    for (const std::vector<unsigned char>& bits :
         {std::vector<unsigned char>{}, {1}, {0}, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {0, 1, 1, 0, 1, 0, 0, 1}}) {
        made.pps_extension_data_flag = bits;
        PictureParameterSet set;
        roundTrip(made, set);
        EXPECT_EQ(set.pps_extension_data_flag, bits);
    }
}

TEST(ParameterSetSyntax, AssignsAnElementByItsPathAndInfersWhatFollows)
{
    SequenceParameterSet set = CSyntaxGenerator(3).sps(false, {});
    ASSERT_TRUE(assign(set, "vui_parameters_present_flag", 1));
    ASSERT_TRUE(assign(set, "vui_parameters.video_signal_type_present_flag", 1));
    ASSERT_TRUE(assign(set, "vui_parameters.colour_description_present_flag", 1));
    ASSERT_TRUE(assign(set, "vui_parameters.colour_primaries", 9));
    EXPECT_EQ(valueOf(set, "vui_parameters.colour_primaries"), 9);
    EXPECT_FALSE(assign(set, "vui_parameters.colour_primary", 9));
    EXPECT_FALSE(assign(set, "vui_parameters.colour_primaries", 70000));
    ASSERT_TRUE(assign(set, "vui_parameters.video_signal_type_present_flag", 0));
    EXPECT_EQ(set.vui_parameters.colour_primaries, 2);
    EXPECT_FALSE(assign(set, "vui_parameters.colour_primaries", 9));
    EXPECT_EQ(valueOf(set, "vui_parameters.colour_primaries"), std::nullopt);
}

TEST(ParameterSetSyntax, DoesNotWriteWhatADescriptorCannotCode)
{
    SequenceParameterSet set = CSyntaxGenerator(3).sps(false, {});
    std::vector<unsigned char> nalUnit;
    set.sps_video_parameter_set_id = 16;
    Stop stop = write(set, nalUnit);
    EXPECT_EQ(stop.eStop, EStop::doesNotFit);
    EXPECT_EQ(stop.element, "sps_video_parameter_set_id");
    EXPECT_TRUE(nalUnit.empty());
    set.sps_video_parameter_set_id = 1;
    set.num_short_term_ref_pic_sets = 65;
    stop = write(set, nalUnit);
    EXPECT_EQ(stop.eStop, EStop::countTooLarge);
    EXPECT_EQ(stop.iValue, 65);
}

TEST(ParameterSetSyntax, TellsWhichElementsDiffer)
{
    SequenceParameterSet left = CSyntaxGenerator(3).sps(false, {});
    ASSERT_TRUE(assign(left, "vui_parameters_present_flag", 0));
    SequenceParameterSet right = left;
    EXPECT_TRUE(compare(left, right).empty());
    ASSERT_TRUE(assign(right, "conformance_window_flag", 1));
    ASSERT_TRUE(assign(left, "conformance_window_flag", 0));
    const std::vector<Difference> differences = compare(left, right);
    ASSERT_EQ(differences.size(), 5U);
    EXPECT_EQ(differences[0].name, "conformance_window_flag");
    EXPECT_EQ(differences[0].left, 0);
    EXPECT_EQ(differences[0].right, 1);
    EXPECT_EQ(differences[1].name, "conf_win_left_offset");
    EXPECT_EQ(differences[1].left, std::nullopt);
    EXPECT_NE(differences[1].right, std::nullopt);
    EXPECT_EQ(compare(right, left).size(), 5U);
}

struct StopCase
{
    const char* pName;
    std::vector<unsigned char> nalUnit;
    EStop eStop;
    std::uint64_t uiBit;
    const char* pElement;
};

TEST(ParameterSetSyntax, SaysWhereItStopped)
{
    const StopCase aCases[] = {
        {"no bytes", {0x44, 0x01}, EStop::payloadEnds, 0, "pps_pic_parameter_set_id"},
        {"a code that does not end", {0x44, 0x01, 0xC0, 0x00}, EStop::payloadEnds, 10, "sign_data_hiding_enabled_flag"},
        {"33 bits of value",
         {0x44, 0x01, 0, 0, 3, 0, 0, 3, 0x40, 0, 0, 3, 0, 0, 3, 1},
         EStop::codeTooLong,
         0,
         "pps_pic_parameter_set_id"},
    };
    for (const StopCase& c : aCases) {
        SCOPED_TRACE(c.pName);
        PictureParameterSet set;
        EXPECT_FALSE(read(set, CNalUnit(c.nalUnit)));
        EXPECT_EQ(set.stop.eStop, c.eStop);
        if (c.uiBit == 0) {
            EXPECT_EQ(set.stop.uiBit, c.uiBit);
            EXPECT_EQ(set.stop.element, c.pElement);
        }
        std::vector<unsigned char> nalUnit;
        EXPECT_EQ(write(set, nalUnit).eStop, c.eStop);
        EXPECT_TRUE(nalUnit.empty());
    }
}

// Whatever the structure held before: no value of another set is taken for one of this.
TEST(ParameterSetSyntax, LeavesWhatItDidNotReadAsInANewStructure)
{
    PictureParameterSet made = CSyntaxGenerator(1).pps();
    ASSERT_TRUE(assign(made, "pps_cb_qp_offset", -12));
    ASSERT_TRUE(assign(made, "pps_extension_present_flag", 1));
    ASSERT_TRUE(assign(made, "pps_range_extension_flag", 1));
    ASSERT_TRUE(assign(made, "pps_range_extension.chroma_qp_offset_list_enabled_flag", 1));
    ASSERT_TRUE(assign(made, "pps_range_extension.chroma_qp_offset_list_len_minus1", 5));
    std::vector<unsigned char> nalUnit;
    ASSERT_FALSE(write(made, nalUnit));
    PictureParameterSet set;
    ASSERT_TRUE(read(set, CNalUnit(nalUnit)));
    ASSERT_EQ(set.pps_range_extension.chroma_qp_offset_list_len_minus1, 5U);
    const unsigned char aucCut[] = {0x44, 0x01, 0xC0}; // ids 0, and what follows them
    EXPECT_FALSE(read(set, CNalUnit(aucCut)));
    EXPECT_TRUE(set.stop);
    EXPECT_EQ(set.pps_cb_qp_offset, 0);
    EXPECT_EQ(set.pps_range_extension.chroma_qp_offset_list_len_minus1, 0U);
    EXPECT_FALSE(set.pps_range_extension.chroma_qp_offset_list_enabled_flag);
}

// F.7.4.3.2.1: an SPS of a layer has the format that the VPS gives for it, as the VPS was read last.
TEST(ParameterSetSyntax, TakesTheFormatOfALayerFromTheVpsAsItIsNow)
{
    const SyntaxStream layers = syntaxStream("mv_3view_ols"); // VPS 0, SPS 0, PPS 0, SPS 1 of layer 1
    const CNalUnit layeredVps(layers.nalUnit(layers.sets[0]));
    const CNalUnit layerSps(layers.nalUnit(layers.sets[3]));
    VideoParameterSet vps;
    SequenceParameterSet sps;
    Context context;
    std::ranges::fill(context.apVps, &vps);
    ASSERT_TRUE(read(vps, layeredVps));
    ASSERT_TRUE(read(sps, layerSps, context));
    EXPECT_TRUE(sps.bFormatKnown);
    EXPECT_EQ(sps.pic_width_in_luma_samples, 64U);
    const auto expectNoFormat = [&](const Context& with) {
        ASSERT_TRUE(read(sps, layerSps, with));
        EXPECT_FALSE(sps.bFormatKnown);
        EXPECT_EQ(sps.pic_width_in_luma_samples, 0U);
        EXPECT_EQ(sps.chroma_format_idc, 0U);
    };
    expectNoFormat({});

    ASSERT_TRUE(read(sps, layerSps, context));
    VideoParameterSet plain = vps;
    ASSERT_TRUE(assign(plain, "vps_extension_flag", 0));
    std::vector<unsigned char> nalUnit;
    ASSERT_FALSE(write(plain, nalUnit));
    ASSERT_TRUE(read(vps, CNalUnit(nalUnit)));
    expectNoFormat(context);

    // A format that the VPS had and has no more.
    ASSERT_TRUE(read(vps, layeredVps));
    ASSERT_EQ(vps.vps_extension->vps_num_rep_formats_minus1, 0U);
    vps.vps_extension->rep_format.resize(2);
    ASSERT_TRUE(read(sps, layerSps, context));
    ASSERT_TRUE(assign(sps, "update_rep_format_flag", 1, context));
    ASSERT_TRUE(assign(sps, "sps_rep_format_idx", 1, context));
    EXPECT_FALSE(sps.bFormatKnown);
    ASSERT_TRUE(assign(sps, "sps_rep_format_idx", 0, context));
    EXPECT_TRUE(sps.bFormatKnown);
}

// Calls call( general_…, sub_layer_… ) with the constraint flags of the set and of sub-layer 0.
template <class TCall>
void forEachConstraint(ProfileTierLevel& s, TCall call)
{
    call(s.general_max_12bit_constraint_flag, s.sub_layer_max_12bit_constraint_flag[0]);
    call(s.general_max_14bit_constraint_flag, s.sub_layer_max_14bit_constraint_flag[0]);
    call(s.general_one_picture_only_constraint_flag, s.sub_layer_one_picture_only_constraint_flag[0]);
    call(s.general_reserved_zero_33bits, s.sub_layer_reserved_zero_33bits[0]);
    call(s.general_reserved_zero_34bits, s.sub_layer_reserved_zero_34bits[0]);
    call(s.general_reserved_zero_7bits, s.sub_layer_reserved_zero_7bits[0]);
    call(s.general_reserved_zero_35bits, s.sub_layer_reserved_zero_35bits[0]);
    call(s.general_reserved_zero_43bits, s.sub_layer_reserved_zero_43bits[0]);
    call(s.general_inbld_flag, s.sub_layer_inbld_flag[0]);
    call(s.general_reserved_zero_bit, s.sub_layer_reserved_zero_bit[0]);
}

// A profile has flags of its own, and none of the set before.
TEST(ParameterSetSyntax, HasNoFlagsThatTheProfileDoesNotCode)
{
    const auto readWith = [](VideoParameterSet& set, std::uint16_t uiProfile) {
        VideoParameterSet made;
        made.nal_unit_header.nal_unit_type = VPS_NUT;
        made.vps_max_sub_layers_minus1 = 1;
        ProfileTierLevel& ptl = made.profile_tier_level;
        ptl.sub_layer_profile_present_flag[0] = true;
        ptl.general_profile_idc = ptl.sub_layer_profile_idc[0] = uiProfile;
        forEachConstraint(ptl, [](auto& general, auto& subLayer) { general = subLayer = 1; });
        std::vector<unsigned char> nalUnit;
        EXPECT_FALSE(write(made, nalUnit));
        EXPECT_TRUE(read(set, CNalUnit(nalUnit)));
    };
    const std::pair<std::uint16_t, const char*> aExpected[] = {{1, "0000000110"},
                                                               {2, "0010011010"},
                                                               {4, "1010100010"},
                                                               {5, "1111000010"},
                                                               {6, "1010100001"},
                                                               {12, "0000000101"}};
    for (const auto& [uiBefore, pBefore] : aExpected) {
        for (const auto& [uiProfile, pFlags] : aExpected) {
            VideoParameterSet set;
            readWith(set, uiBefore);
            readWith(set, uiProfile);
            std::string general;
            std::string subLayer;
            forEachConstraint(set.profile_tier_level, [&](const auto& ofAll, const auto& ofSubLayer) {
                general += std::to_string(ofAll);
                subLayer += std::to_string(ofSubLayer);
            });
            EXPECT_EQ(general, pFlags) << uiProfile << " behind " << uiBefore;
            EXPECT_EQ(subLayer, pFlags) << uiProfile << " behind " << uiBefore;
        }
    }
}

TEST(ParameterSetSyntax, ShowsTheCountThatItStoppedAt)
{
    PictureParameterSet made = CSyntaxGenerator(1).pps();
    ASSERT_TRUE(assign(made, "pps_extension_present_flag", 1));
    ASSERT_TRUE(assign(made, "pps_range_extension_flag", 1));
    ASSERT_TRUE(assign(made, "pps_range_extension.chroma_qp_offset_list_enabled_flag", 1));
    ASSERT_TRUE(assign(made, "pps_range_extension.chroma_qp_offset_list_len_minus1", 5));
    std::vector<unsigned char> nalUnit;
    ASSERT_FALSE(write(made, nalUnit));
    // 5 is 00110; 6 is 00111.
    PictureParameterSet set;
    ASSERT_TRUE(read(set, CNalUnit(nalUnit)));
    ASSERT_EQ(valueOf(set, "pps_range_extension.chroma_qp_offset_list_len_minus1"), 5);
}

TEST(NalUnitSyntax, CountsEmulationPreventionInPlaces)
{
    const std::vector<unsigned char> bytes = {0x40, 0x01, 0, 0, 3, 0, 0, 3, 1, 0xFF};
    const CNalUnit nalUnit(bytes);
    EXPECT_EQ(nalUnit.rbsp().size(), 6U);
    EXPECT_EQ(nalUnit.nalBit(0), 16U);
    EXPECT_EQ(nalUnit.nalBit(15), 31U);
    EXPECT_EQ(nalUnit.nalBit(16), 40U);
    EXPECT_EQ(nalUnit.nalBit(32), 64U);
    EXPECT_EQ(nalUnit.nalBit(47), 79U);
    std::vector<unsigned char> written;
    appendNalUnit(written, nalUnit.header(), nalUnit.rbsp());
    EXPECT_EQ(written, bytes);
}

} // namespace
} // namespace parameter_set_syntax_test
