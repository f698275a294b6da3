// h265ps trace, as a child process.

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "H265psStreams.h"
#include "Json.h"

namespace program_trace_test {

namespace {

using NamedValue = std::pair<std::string, std::int64_t>;

using H265psTrace = H265psFiles;

// The elements as the values files abbreviate them.
std::vector<NamedValue> namedValues(const Json& elements)
{
    std::vector<NamedValue> values;
    for (const Json& element : elements) {
        std::string name = element.at("name");
        if (name.ends_with("_extension_data_flag"))
            name = "extension_data";
        if (name.starts_with("reserved_zero_2bits"))
            name = "reserved_zero_2bits";
        if (name != "reserved_zero_2bits" || values.empty() || values.back().first != name)
            values.emplace_back(name, element.at("value"));
    }
    return values;
}

// -- the corpus

class H265psTraceOf : public testing::TestWithParam<std::string>
{};

// The values of an independent trace, element by element in coding order, and the bits without a gap.
TEST_P(H265psTraceOf, AgreesWithTheCorpusElementByElement)
{
    const Json values = parseJson(contentOf(CORPUS / (GetParam() + ".json")));
    const ChildResult result = h265ps({"trace", "--json", "--all", GetParam() + ".hevc"});
    const Json document = parseJson(result.output);
    std::size_t i = 0;
    for (const Json& expected : values.at("sets")) {
        SCOPED_TRACE(expected.at("offset"));
        ASSERT_LT(i, document.at("parameter_sets").size());
        const Json& set = document["parameter_sets"][i++];
        ASSERT_EQ(set.at("offset"), expected.at("offset"));
        EXPECT_EQ(set.at("nuh_layer_id"), expected.at("nuh_layer_id"));
        std::uint64_t uiNextBit = 0;
        for (const Json& element : set.at("elements")) {
            EXPECT_EQ(element.at("bit"), uiNextBit) << element.at("name");
            EXPECT_GE(element.at("nal_bit"), uiNextBit + 16) << element.at("name");
            uiNextBit += element.at("bits").get<std::uint64_t>();
        }
        if (values.at("trace") != "full" || expected.at("trace") != "full")
            continue;
        EXPECT_EQ(set.at("stopped"), nullptr);
        EXPECT_EQ(namedValues(set.at("elements")), expected.at("syntax").get<std::vector<NamedValue>>());
    }
    EXPECT_EQ(i, document["parameter_sets"].size());
}

std::vector<std::string> streamNames()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(CORPUS)) {
        if (entry.path().extension() == ".hevc")
            names.push_back(entry.path().stem());
    }
    return names;
}

INSTANTIATE_TEST_SUITE_P(Streams, H265psTraceOf, testing::ValuesIn(streamNames()),
                         [](const testing::TestParamInfo<std::string>& stream) { return stream.param; });

// -- the text

TEST_F(H265psTrace, WritesALineForEachElement)
{
    const ChildResult result = h265ps({"trace", "--type", "sps", "hm_vui_everything.hevc"});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(firstLines(result.output, 3),
              "SPS 0 at byte 33, 77 bytes\n"
              "    bit bits  code   element                                                        value\n"
              "      0    4  u(4)   sps_video_parameter_set_id                                     0\n");
    EXPECT_TRUE(contains(result.output,
                         "\n     96    8  u(8)   profile_tier_level.general_level_idc                           123 "
                         "(level 4.1)\n"))
        << result.output;
    EXPECT_TRUE(contains(result.output, "\n    108   15  ue(v)  pic_width_in_luma_samples "));
    EXPECT_EQ(countOf(result.output, " at byte "), 1U);
}

TEST_F(H265psTrace, CountsEmulationPreventionInTheNalUnitOnly)
{
    const Json set =
        parseJson(h265ps({"trace", "--json", "--type", "sps", "hm_vui_everything.hevc"}).output)["parameter_sets"][0];
    const Json& first = set["elements"].front();
    const Json& last = set["elements"].back();
    EXPECT_EQ(first["nal_bit"].get<int>() - first["bit"].get<int>(), 16);
    EXPECT_GT(last["nal_bit"].get<int>() - last["bit"].get<int>(), 16);
    EXPECT_LE(last["nal_bit"].get<int>() + last["bits"].get<int>(), set["size"].get<int>() * 8);
}

TEST_F(H265psTrace, CountsRepeatsAndWritesThemOutWhenAsked)
{
    const ChildResult short_ = h265ps({"trace", "gop_open_repeat_headers.hevc"});
    EXPECT_EQ(countOf(short_.output, "SPS 0 at byte"), 1U);
    EXPECT_TRUE(contains(short_.output, " repeats not shown (--all shows them)\n")) << short_.output;
    const ChildResult all = h265ps({"trace", "--all", "gop_open_repeat_headers.hevc"});
    EXPECT_GT(countOf(all.output, "SPS 0 at byte"), 1U);
    EXPECT_EQ(countOf(all.output, "SPS 0 at byte"), countOf(all.output, " sps_seq_parameter_set_id "));

    const Json document = parseJson(h265ps({"trace", "--json", "gop_open_repeat_headers.hevc"}).output);
    const Json& repeat = document["parameter_sets"].back();
    EXPECT_EQ(repeat["elements"], nullptr);
    EXPECT_TRUE(repeat["same_as"].is_number());
}

TEST_F(H265psTrace, SaysWhereASetEnds)
{
    std::vector<std::string> units = parameterSetsOf("hm_vui_everything");
    units[1].resize(20);
    const std::string file = make("cut.hevc", streamOf(units));
    const ChildResult result = h265ps({"trace", file});
    EXPECT_EQ(result.iExitCode, 1);
    EXPECT_EQ(result.error, "");
    EXPECT_TRUE(contains(result.output, "\n  at bit 108: the payload ends in or before pic_width_in_luma_samples\n"))
        << result.output;
    const Json document = parseJson(h265ps({"trace", "--json", file}).output);
    EXPECT_EQ(document["parameter_sets"][1]["stopped"], "the payload ends in or before pic_width_in_luma_samples");
}

TEST_F(H265psTrace, ShowsSetsOfOtherLayers)
{
    const ChildResult result = h265ps({"trace", "mv_2view.hevc"});
    EXPECT_TRUE(contains(result.output, "SPS 1 of layer 1 at byte ")) << result.output;
    EXPECT_TRUE(contains(result.output, "vps_extension.view_id_len"));
}

// What the decoder does not take is no error of a trace.
TEST_F(H265psTrace, DoesNotJudge)
{
    const ChildResult result = h265ps({"trace", "profile_main10.hevc"});
    EXPECT_EQ(result.iExitCode, 0);
    EXPECT_EQ(result.error, "");
}

} // namespace
} // namespace program_trace_test
