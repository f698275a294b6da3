#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "H265psProgram.h"
#include "Json.h"

// The program's JSON of every stream of the corpus against the stream's independent trace.

namespace program_corpus_test {

namespace {

namespace fs = std::filesystem;
// Elements that the records keep under their own names, as the independent trace has them. The fields
// that can hold other bits are left out where they do.
void compareSyntax(const Json& syntax, const Json& record, const std::string& type)
{
    const bool bLayerSets = type == "VPS" && record["vps_num_layer_sets_minus1"] != 0;
    const bool bTiming = type == "VPS" && record["vps_timing_info_present_flag"] == true;
    const bool bVui = type == "SPS" && record["vui_parameters_present_flag"] == true;
    bool bExtension = false; // of a VPS, with profiles of its own
    const std::regex indexed("([A-Za-z0-9_]+)\\[([0-9]+)\\]");
    for (const Json& element : syntax) {
        const std::string name = element[0];
        if (bExtension)
            break;
        bExtension = name == "vps_extension_flag";
        if ((bLayerSets && name == "vps_timing_info_present_flag") ||
            ((bLayerSets || bTiming) && name == "vps_extension_flag") || (bVui && name == "sps_extension_present_flag"))
            continue;
        std::smatch match;
        const bool bIndexed = std::regex_match(name, match, indexed);
        const std::string field = bIndexed ? match[1].str() : name;
        const Json& owner = record.contains("ptl") && record["ptl"].contains(field) ? record["ptl"] : record;
        if (!owner.contains(field))
            continue;
        if (bIndexed && std::stoul(match[2].str()) >= owner[field].size()) {
            EXPECT_EQ(owner[field].size(), 5U) << name; // sub-layers that the record drops
            continue;
        }
        const Json value = bIndexed ? owner[field].at(std::stoul(match[2].str())) : owner[field];
        if (value.is_object() || value.is_array())
            continue;
        const long long iValue =
            value.is_boolean() ? static_cast<long long>(value.get<bool>()) : value.get<long long>();
        EXPECT_EQ(iValue, element[1].get<long long>()) << name;
    }
}

void compareDerived(const Json& derived, const Json& record)
{
    for (const char* pField : {"PicWidthInCtbsY",
                               "PicHeightInCtbsY",
                               "MinCbLog2SizeY",
                               "CtbLog2SizeY",
                               "MinTbLog2SizeY",
                               "MaxTbLog2SizeY",
                               "BitDepthY",
                               "BitDepthC"}) {
        if (derived.contains(pField)) {
            EXPECT_EQ(record[pField], derived[pField]) << pField;
        }
    }
    if (derived.contains("short_term_rps")) {
        const Json& expected = derived["short_term_rps"];
        ASSERT_EQ(record["pShortTermRefPicSet"].size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            Json deltas = expected[i]["DeltaPocS0"];
            for (const Json& delta : expected[i]["DeltaPocS1"])
                deltas.push_back(delta);
            EXPECT_EQ(record["pShortTermRefPicSet"][i]["DeltaPoc"], deltas) << i;
        }
    }
    if (!derived.contains("tiles"))
        return;
    for (const char* pField : {"colWidth", "rowHeight"})
        EXPECT_EQ(record[pField], derived["tiles"][pField]) << pField;
    for (const char* pField : {"CtbAddrRsToTs", "CtbAddrTsToRs"}) {
        Json expected = derived["tiles"][pField];
        expected.push_back(0);
        EXPECT_EQ(record[pField], expected) << pField;
    }
}

// The matrices of 7.4.5 as rows against those in raster order.
void compareScaling(const Json& scaling, const Json& lists)
{
    const char* const aSizes[] = {"4x4", "8x8", "16x16", "32x32"};
    for (std::size_t sizeId = 0; sizeId < 4; ++sizeId) {
        for (std::size_t matrixId = 0; matrixId < 6; matrixId += sizeId == 3 ? 3 : 1) {
            Json coef = Json::array();
            for (const Json& row : scaling["ScalingFactor"][aSizes[sizeId]][std::to_string(matrixId)])
                coef.insert(coef.end(), row.begin(), row.end());
            EXPECT_TRUE(lists[sizeId][matrixId]["coef"] == coef) << sizeId << " " << matrixId;
        }
    }
}

TEST(H265psCorpus, JsonAgreesWithTheTraceOfEveryStream)
{
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(CORPUS)) {
        if (entry.path().extension() == ".hevc")
            names.push_back(entry.path().stem());
    }
    ASSERT_EQ(names.size(), 147U);
    std::size_t uiLists = 0;
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const Json document = parseJson(h265ps({"--json", "--tables", "--all", name + ".hevc"}).output);
        const Json trace = parseJson(contentOf(CORPUS / (name + ".json")));
        EXPECT_EQ(document["file"], name + ".hevc");
        EXPECT_EQ(document["bytes"], trace["bytes"]);
        ASSERT_EQ(document["parameter_sets"].size(), trace["sets"].size());
        for (std::size_t i = 0; i < trace["sets"].size(); ++i) {
            SCOPED_TRACE(i);
            const Json& set = document["parameter_sets"][i];
            const Json& traced = trace["sets"][i];
            EXPECT_EQ(set["type"], traced["name"]);
            for (const char* pField : {"offset", "size", "nal_unit_type", "nuh_layer_id"})
                EXPECT_EQ(set[pField], traced[pField]) << pField;
            EXPECT_EQ(set["nuh_temporal_id_plus1"], traced["temporal_id"].get<int>() + 1);
            if (traced["trace"] != "full" || traced["nuh_layer_id"] != 0)
                continue;
            ASSERT_EQ(set["read"], 0);
            compareSyntax(traced["syntax"], set["record"], set["type"]);
            if (!traced.contains("derived"))
                continue;
            compareDerived(traced["derived"], set["record"]);
            if (traced["derived"].contains("scaling")) {
                compareScaling(traced["derived"]["scaling"], set["record"]["pScalingList"]);
                ++uiLists;
            }
        }
    }
    EXPECT_GT(uiLists, 5U);
}

} // namespace
} // namespace program_corpus_test
