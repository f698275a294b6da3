// The sets of every stream: what an independent check found forbidden (corpus/MANIFEST.md, "Streams that break
// a rule") is found, and nothing else.

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "CheckedStream.h"
#include "SyntaxCorpus.h"

namespace parameter_set_checks_corpus_test {

using namespace h265_syntax;
using namespace h265_test;

namespace {

using Names = std::set<std::string>;

const Names LEVELS = {"profile_tier_level.general_level_idc", "vps_extension.profile_tier_level.general_level_idc"};
const Names LEVELS_AND_OWN_PROFILES = {"profile_tier_level.general_level_idc",
                                       "profile_tier_level.general_profile_compatibility_flag",
                                       "vps_extension.profile_tier_level.general_level_idc",
                                       "vps_extension.profile_tier_level.general_profile_compatibility_flag"};
const Names STILL_PICTURE = {"sps_max_dec_pic_buffering_minus1"};

// All elements that have errors, without their indices.
const std::map<std::string, Names> BREAKS = {
    {"d3_2view_depth", LEVELS},
    {"d3_2view_tools", LEVELS},
    {"mv_2view", LEVELS},
    {"mv_3view_ols", LEVELS},
    {"mv_3view_vui", LEVELS},
    {"mv_nuh_ids", LEVELS},
    {"sh_2x", LEVELS_AND_OWN_PROFILES},
    {"sh_region", LEVELS_AND_OWN_PROFILES},
    {"sh_snr", LEVELS_AND_OWN_PROFILES},
    {"profile_mainstillpicture", STILL_PICTURE},
    {"size_1920x1080_ctu16", STILL_PICTURE},
    {"size_4096x2160_grey", STILL_PICTURE},
    {"tool_lossless", {"profile_tier_level.general_level_idc"}},
    {"hm_sps_ext4", {"sps_extension_4bits"}},
    {"hm_5_layers_subptl_hrd",
     {"hrd_parameters.nal_hrd.bit_rate_du_value_minus1",
      "hrd_parameters.nal_hrd.bit_rate_value_minus1",
      "hrd_parameters.nal_hrd.cpb_size_du_value_minus1",
      "hrd_parameters.nal_hrd.cpb_size_value_minus1",
      "hrd_parameters.vcl_hrd.bit_rate_du_value_minus1",
      "hrd_parameters.vcl_hrd.bit_rate_value_minus1",
      "hrd_parameters.vcl_hrd.cpb_size_du_value_minus1",
      "hrd_parameters.vcl_hrd.cpb_size_value_minus1",
      "layer_id_included_flag", // two layer sets of layer 0
      "profile_tier_level.sub_layer_level_idc",
      "vui_parameters.hrd_parameters.nal_hrd.bit_rate_value_minus1",
      "vui_parameters.hrd_parameters.nal_hrd.cpb_size_value_minus1",
      "vui_parameters.hrd_parameters.vcl_hrd.bit_rate_value_minus1",
      "vui_parameters.hrd_parameters.vcl_hrd.cpb_size_value_minus1",
      "vui_parameters.vui_num_units_in_tick",
      "vui_parameters.vui_poc_proportional_to_timing_flag",
      "vui_parameters.vui_time_scale"}},
};

std::string withoutIndices(const std::string& path)
{
    std::string plain;
    bool bIndex = false;
    for (const char c : path) {
        bIndex = bIndex || c == '[';
        if (!bIndex)
            plain += c;
        bIndex = bIndex && c != ']';
    }
    return plain;
}

class ChecksOfCorpus : public testing::TestWithParam<std::string>
{};

TEST_P(ChecksOfCorpus, FindWhatIsForbiddenAndNothingElse)
{
    const std::string name = GetParam();
    const SyntaxStream stream = syntaxStream(name);
    CCheckedStream sets;
    std::set<std::string> errors;
    std::string text;
    for (const SyntaxStream::Set& set : stream.sets) {
        const CFindings findings = sets.take(stream.nalUnit(set));
        for (const Finding& finding : findings.all()) {
            text += textOf(finding) + "\n";
            EXPECT_TRUE(finding.element.empty() || finding.ulBit) << textOf(finding);
            EXPECT_FALSE(finding.clause.empty() || finding.message.empty()) << textOf(finding);
            if (finding.eSeverity == ESeverity::Error)
                errors.insert(withoutIndices(pathOf(finding)));
        }
    }
    const auto breaks = BREAKS.find(name);
    if (breaks != BREAKS.end()) {
        EXPECT_EQ(errors, breaks->second) << text;
    } else if (!name.starts_with("syn_")) {
        EXPECT_EQ(errors.empty(), !name.starts_with("malformed")) << text;
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, ChecksOfCorpus, testing::ValuesIn(syntaxStreamNames()),
                         [](const testing::TestParamInfo<std::string>& stream) { return stream.param; });

} // namespace
} // namespace parameter_set_checks_corpus_test
