// The sets of every stream, element by element in coding order, against the values that an independent
// trace found (corpus/MANIFEST.md), and written back.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Json.h"
#include "ParameterSetSyntax.h"
#include "SyntaxCorpus.h"

namespace parameter_set_syntax_corpus_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

using NamedValue = std::pair<std::string, std::int64_t>;

// Takes the elements as the values files abbreviate them.
class CNamedValues : public CElementSink
{
public:
    bool onElement(const Element& element) override
    {
        std::string name = element.nameWithIndices();
        if (name.ends_with("_extension_data_flag"))
            name = "extension_data";
        if (name.starts_with("reserved_zero_2bits"))
            name = "reserved_zero_2bits";
        if (name != "reserved_zero_2bits" || m_values.empty() || m_values.back().first != name)
            m_values.emplace_back(name, element.iValue);
        EXPECT_EQ(element.uiBit, m_uiNextBit) << name;
        m_uiNextBit = element.uiBit + element.uiBits;
        return true;
    }

    std::vector<NamedValue> m_values;
    std::uint64_t m_uiNextBit = 0;
};

class SyntaxCorpus : public testing::TestWithParam<std::string>
{
protected:
    template <class TSet>
    void compareWithTrace(const TSet& set, const CNalUnit& nalUnit, const Json& traced)
    {
        EXPECT_FALSE(set.stop) << set.stop.message();
        CNamedValues values;
        trace(set, values, &nalUnit);
        const std::vector<NamedValue> expected = traced.at("syntax");
        for (std::size_t i = 0; i < std::min(expected.size(), values.m_values.size()); ++i)
            ASSERT_EQ(values.m_values[i], expected[i]) << "element " << i;
        EXPECT_EQ(values.m_values.size(), expected.size());
    }

    template <class TSet, class... TContext>
    void writeBack(TSet& set, std::span<const unsigned char> bytes, const TContext&... context)
    {
        std::vector<unsigned char> written;
        const Stop stop = write(set, written, context...);
        EXPECT_FALSE(stop) << stop.message();
        EXPECT_TRUE(std::ranges::equal(written, bytes));
    }
};

TEST_P(SyntaxCorpus, IsTracedElementByElementAndWrittenBack)
{
    const SyntaxStream stream = syntaxStream(GetParam());
    const Json values = parseJsonFile(H265_TEST_CORPUS "/" + GetParam() + ".json");
    const bool bFull = values.at("trace") == "full";
    Context context;
    std::map<unsigned, VideoParameterSet> vpss;
    SequenceParameterSet sps;
    PictureParameterSet pps;
    for (std::size_t i = 0; i < stream.sets.size(); ++i) {
        const Json& traced = values.at("sets").at(i);
        SCOPED_TRACE(traced.at("name").get<std::string>() + " at " + std::to_string(traced.at("offset").get<int>()));
        const std::span<const unsigned char> bytes = stream.nalUnit(stream.sets[i]);
        const CNalUnit nalUnit(bytes);
        ASSERT_EQ(nalUnit.header().nal_unit_type, traced.at("nal_unit_type"));
        ASSERT_EQ(nalUnit.header().nuh_layer_id, traced.at("nuh_layer_id"));
        const auto check = [&](auto& set, const auto&... others) {
            if (traced.at("trace") == "full" && bFull)
                compareWithTrace(set, nalUnit, traced);
            if (!set.stop)
                writeBack(set, bytes, others...);
        };
        if (traced.at("nal_unit_type") == VPS_NUT) {
            VideoParameterSet& vps = vpss[nalUnit.rbsp()[0] >> 4];
            read(vps, nalUnit);
            check(vps);
            context.apVps[vps.vps_video_parameter_set_id] = &vps;
        } else if (traced.at("nal_unit_type") == SPS_NUT) {
            read(sps, nalUnit, context);
            check(sps, context);
        } else {
            read(pps, nalUnit);
            check(pps);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, SyntaxCorpus, testing::ValuesIn(syntaxStreamNames()),
                         [](const testing::TestParamInfo<std::string>& stream) { return stream.param; });

} // namespace
} // namespace parameter_set_syntax_corpus_test
