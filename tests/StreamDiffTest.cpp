// What differs between the parameter sets of two streams.

#include "StreamDiff.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EditedStream.h"
#include "ParameterSetSyntax.h"
#include "SyntaxCorpus.h"

namespace stream_diff_test {

using namespace h265_inspect;
using namespace h265_test;

namespace {

using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;

class CLines : public CDifferenceSink
{
public:
    bool onDifference(const StreamDifference& one) override
    {
        std::string line = one.set;
        if (one.nuh_layer_id != 0)
            line += " layer " + std::to_string(one.nuh_layer_id);
        if (one.uiContent != 0)
            line += " content " + std::to_string(one.uiContent);
        const auto text = [](const std::optional<std::int64_t>& value) { return value ? std::to_string(*value) : "-"; };
        switch (one.eKind) {
        case EDifference::OnlyInA:
            line += " only in a";
            break;
        case EDifference::OnlyInB:
            line += " only in b";
            break;
        case EDifference::Bytes:
            line += " bytes";
            break;
        case EDifference::Element:
            line += " " + one.structure + " " + one.element + " " + text(one.a) + " " + text(one.b);
            break;
        }
        m_lines.push_back(line);
        return m_lines.size() < m_uiLast;
    }

    Lines m_lines;
    std::size_t m_uiLast = SIZE_MAX;
};

Lines diff(const Bytes& a, const std::string& sideA, const Bytes& b, const std::string& sideB,
           std::size_t uiLast = SIZE_MAX)
{
    CPiecesSource sourceA(a, 1000);
    CPiecesSource sourceB(b, 1 << 20);
    CLines lines;
    lines.m_uiLast = uiLast;
    diffStreams(sourceA, parseDiffSide("a" + sideA), sourceB, parseDiffSide("b" + sideB), lines);
    return lines.m_lines;
}

Lines diff(const std::string& a, const std::string& sideA, const std::string& b, const std::string& sideB)
{
    return diff(syntaxStream(a).bytes, sideA, syntaxStream(b).bytes, sideB);
}

Bytes streamOf(const std::string& name)
{
    return syntaxStream(name).bytes;
}

class DiffOfCorpus : public testing::TestWithParam<std::string>
{};

TEST_P(DiffOfCorpus, FindsNothingBetweenAStreamAndItself)
{
    EXPECT_EQ(diff(GetParam(), "", GetParam(), ""), Lines{});
}

TEST_P(DiffOfCorpus, FindsWhatAnEditChanged)
{
    const Bytes before = streamOf(GetParam());
    const Bytes after = edited(before, {"vps.vps_temporal_id_nesting_flag=0", "sps.vui.video_format=1"}, true).bytes;
    const Lines lines = diff(before, "", after, "");
    EXPECT_EQ(lines.empty(), before == after);
    Lines back = diff(after, "", before, "");
    EXPECT_EQ(back.size(), lines.size());
}

INSTANTIATE_TEST_SUITE_P(Streams, DiffOfCorpus, testing::ValuesIn(syntaxStreamNames()),
                         [](const testing::TestParamInfo<std::string>& stream) { return stream.param; });

TEST(DiffStreams, NamesElementsThatDiffer)
{
    const Bytes before = streamOf("deblock_off");
    const Bytes after =
        edited(
            before, {"sps.vui.timing=30000/1001", "sps.conf_win_right_offset=4", "vps.ptl.general_level_idc=33"}, true)
            .bytes;
    EXPECT_EQ(diff(before, "", after, ""),
              (Lines{"vps[0] profile_tier_level general_level_idc 60 33",
                     "sps[0]  conformance_window_flag 0 1",
                     "sps[0]  conf_win_left_offset - 0",
                     "sps[0]  conf_win_right_offset - 4",
                     "sps[0]  conf_win_top_offset - 0",
                     "sps[0]  conf_win_bottom_offset - 0",
                     "sps[0] vui_parameters vui_num_units_in_tick 1000 1001",
                     "sps[0] vui_parameters vui_time_scale 25000 30000"}));
}

TEST(DiffStreams, NamesSetsThatOneSideHas)
{
    EXPECT_EQ(diff("hm_ids_15_15_63", "#pps63", "hm_ldb", ""), Lines{"pps[63] only in a"});
    EXPECT_EQ(diff("hm_ldb", "", "hm_ids_15_15_63", "#vps15"), Lines{"vps[15] only in b"});
    const Lines lines = diff("mv_2view", "", "hm_ldb", "");
    EXPECT_NE(std::ranges::find(lines, "sps[1] layer 1 only in a"), lines.end());
}

TEST(DiffStreams, ComparesTwoSetsWhateverTheirIds)
{
    const Lines lines = diff("hm_ids_15_15_63", "#sps15", "hm_ldb", "#sps0");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "sps[15] and sps[0]  sps_video_parameter_set_id 15 0");
}

TEST(DiffStreams, HoldsContentsOfAnIdAgainstEachOtherInOrder)
{
    const Lines lines = diff("joined_cif_then_qcif", "#sps0", "joined_cif_then_qcif", "@60#sps0");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines, Lines{"sps[0] content 2 only in a"});
}

TEST(DiffStreams, TakesTheSetsInForceAtAnOffset)
{
    const Bytes stream = streamOf("joined_cif_then_qcif");
    const Lines lines = diff(stream, "@60#sps0", stream, "@" + std::to_string(stream.size()) + "#sps0");
    EXPECT_TRUE(std::ranges::any_of(lines, [](const std::string& line) {
        return line.find("pic_width_in_luma_samples 352 176") != std::string::npos;
    })) << lines.size();
    // One that begins at the offset is not in force yet.
    const std::vector<FoundUnit> units = unitsOf(stream);
    const auto sps =
        std::ranges::find(units, h265_stream::SPS_NUT, [](const FoundUnit& unit) { return unit.header.nal_unit_type; });
    EXPECT_THROW((void)diff(stream, "@" + std::to_string(sps->ulOffset) + "#sps0", stream, ""), CDiffError);
    EXPECT_NO_THROW((void)diff(stream, "@" + std::to_string(sps->ulOffset + 1) + "#sps0", stream, ""));
}

TEST(DiffStreams, TellsBytesThatAreNoElements)
{
    // The SPS cannot be read to its end; a bit behind that differs.
    const Bytes before = streamOf("malformed_rps_in_sps");
    Bytes after = before;
    const std::vector<FoundUnit> units = unitsOf(before);
    const auto sps =
        std::ranges::find(units, h265_stream::SPS_NUT, [](const FoundUnit& unit) { return unit.header.nal_unit_type; });
    after[static_cast<std::size_t>(sps->ulOffset) + sps->bytes.size() - 1] ^= 0x40;
    EXPECT_EQ(diff(before, "", after, ""), Lines{"sps[0] bytes"});
    // Bits of an extension that is not known.
    const Bytes extension = streamOf("hm_sps_ext4");
    const std::vector<FoundUnit> its = unitsOf(extension);
    const auto extended =
        std::ranges::find(its, h265_stream::SPS_NUT, [](const FoundUnit& unit) { return unit.header.nal_unit_type; });
    h265_syntax::SequenceParameterSet set;
    ASSERT_TRUE(h265_syntax::read(set, h265_syntax::CNalUnit(extended->bytes)));
    set.sps_extension_data_flag.push_back(1);
    Bytes more = {0, 0, 1};
    Bytes rewritten;
    ASSERT_FALSE(h265_syntax::write(set, rewritten));
    more.insert(more.end(), rewritten.begin(), rewritten.end());
    EXPECT_EQ(diff(extension, "#sps0", more, ""), Lines{"sps[0] bytes"});
}

TEST(DiffStreams, TellsWhatTheHeadersOfSetsDifferIn)
{
    const Bytes before = streamOf("deblock_off");
    const std::vector<FoundUnit> units = unitsOf(before);
    const auto pps =
        std::ranges::find(units, h265_stream::PPS_NUT, [](const FoundUnit& unit) { return unit.header.nal_unit_type; });
    Bytes after = before;
    after[static_cast<std::size_t>(pps->ulOffset) + 1] = 2;
    EXPECT_EQ(diff(before, "", after, ""), Lines{"pps[0]  nuh_temporal_id_plus1 1 2"});
    Bytes damaged = before;
    damaged[static_cast<std::size_t>(pps->ulOffset)] |= 0x80;
    EXPECT_EQ(diff(before, "", damaged, ""), Lines{"pps[0]  forbidden_zero_bit 0 1"});
}

TEST(DiffStreams, PassesRepeatsOver)
{
    const Bytes once = streamOf("gop_open_repeat_headers");
    Bytes twice = once;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_EQ(diff(once, "", twice, ""), Lines{});
}

TEST(DiffStreams, EndsWhenTheSinkSaysSo)
{
    EXPECT_EQ(diff(streamOf("deblock_off"), "", streamOf("hm_ldb"), "", 1).size(), 1U);
}

std::string errorOf(const std::string& sideA, const std::string& sideB)
{
    try {
        const Bytes stream = streamOf("deblock_off");
        (void)diff(stream, sideA, sideB == "empty" ? Bytes{} : stream, sideB == "empty" ? "" : sideB);
        return "no error";
    } catch (const CDiffError& error) {
        return error.what();
    }
}

TEST(DiffStreams, SaysWhatIsNotThere)
{
    EXPECT_EQ(errorOf("#sps3", ""), "a: there is no SPS 3");
    EXPECT_EQ(errorOf("", "@2"), "b: there is no parameter set in front of byte 2");
    EXPECT_EQ(errorOf("", "@9#pps0"), "b: there is no PPS 0 in front of byte 9");
    EXPECT_EQ(errorOf("", "empty"), "b: there is no parameter set");
    EXPECT_EQ(errorOf("#sps0", "#pps0"), "sets of two types are not compared: sps[0] and pps[0]");
}

TEST(ParseDiffSide, TakesOffsetAndSet)
{
    const DiffSide side = parseDiffSide("x@y.hevc@4096#pps63");
    EXPECT_EQ(side.file, "x@y.hevc");
    EXPECT_EQ(side.ulOffset, 4096U);
    EXPECT_EQ(side.nal_unit_type, unsigned{h265_stream::PPS_NUT});
    EXPECT_EQ(side.uiId, 63U);
    EXPECT_EQ(parseDiffSide("-").file, "-");
    EXPECT_FALSE(parseDiffSide("x").ulOffset || parseDiffSide("x").nal_unit_type);
}

TEST(ParseDiffSide, SaysWhatIsWrong)
{
    for (const char* const pText : {"x#", "x#sps", "x#spx1", "x#sps-1", "x#sps1 ", "x#sps99999999999"}) {
        EXPECT_THROW((void)parseDiffSide(pText), CDiffError) << pText;
    }
    for (const char* const pText : {"x@", "x@y", "x@-1", "x@1 ", "x@1#sps0@"})
        EXPECT_THROW((void)parseDiffSide(pText), CDiffError) << pText;
}

} // namespace
} // namespace stream_diff_test
