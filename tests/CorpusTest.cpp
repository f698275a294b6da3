// Streams of encoders, read as a whole and compared with the values that an independent syntax trace
// found in them (corpus/MANIFEST.md).

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "ByteSource.h"
#include "DecParameterSetReader.h"
#include "HeldElements.h"
#include "Json.h"
#include "ParameterSetStream.h"
#include "Rbsp.h"
#include "Sha1.h"

using namespace h265_codec;
using namespace h265_stream;
using namespace h265_test;

namespace {

// One [name, value] pair of a values file.
struct Element
{
    std::string name; // without indices
    unsigned uiIndex; // the first, 0 without one
    unsigned uiSecondIndex;
    std::int64_t iValue;
};

std::vector<Element> elementsOf(const Json& set)
{
    std::vector<Element> elements;
    for (const Json& pair : set.at("syntax")) {
        const std::string name = pair.at(0);
        const std::size_t uiBracket = name.find('[');
        const unsigned uiIndex =
            uiBracket == std::string::npos ? 0 : static_cast<unsigned>(std::stoul(name.substr(uiBracket + 1)));
        const std::size_t uiSecond = name.find("][");
        const unsigned uiSecondIndex =
            uiSecond == std::string::npos ? 0 : static_cast<unsigned>(std::stoul(name.substr(uiSecond + 2)));
        elements.push_back({name.substr(0, uiBracket), uiIndex, uiSecondIndex, pair.at(1)});
    }
    return elements;
}

template <class TRecord>
void expectField(const FieldMap<TRecord>& fields, const Element& element, const TRecord& record)
{
    const auto position = fields.find(element.name);
    if (position == fields.end()) {
        EXPECT_TRUE(isNotHeld(element.name) || COMPARED_AS_MATRICES.contains(element.name))
            << element.name << " is compared with nothing";
        return;
    }
    EXPECT_EQ(position->second(record, element.uiIndex), element.iValue)
        << element.name << "[" << element.uiIndex << "]";
}

// Of sub-layers above the fifth the records keep nothing.
bool isOfDroppedSubLayer(const Element& element)
{
    constexpr std::string_view ORDERING[] = {
        "vps_max_dec_pic_buffering_minus1", "vps_max_num_reorder_pics", "vps_max_latency_increase_plus1"};
    return element.uiIndex >= MAX_SUB_LAYERS &&
           (element.name.starts_with("sub_layer_") || std::ranges::find(ORDERING, element.name) != std::end(ORDERING));
}

std::size_t positionOf(const std::vector<Element>& elements, std::string_view name)
{
    const auto position = std::ranges::find(elements, name, &Element::name);
    EXPECT_NE(position, elements.end()) << name;
    return static_cast<std::size_t>(position - elements.begin());
}

// The record ends before these elements, but for the names in beyondTheRecord: nothing else that it
// holds a field for may stand among them.
template <class TRecord>
void expectUnknown(const FieldMap<TRecord>& fields, std::span<const Element> elements,
                   const std::set<std::string_view>& beyondTheRecord)
{
    for (const Element& element : elements) {
        if (!beyondTheRecord.contains(element.name)) {
            EXPECT_FALSE(fields.contains(element.name)) << element.name << " is not compared";
        }
    }
}

// Layer sets and timing information are not parsed: the two flags hold the next two bits.
void compareVps(const VPS& vps, const Json& set)
{
    const std::vector<Element> elements = elementsOf(set);
    const std::size_t uiLast = positionOf(elements, "vps_num_layer_sets_minus1");
    for (const Element& element : std::span(elements).first(uiLast + 1)) {
        if (element.name == "sub_layer_profile_compatibility_flag")
            EXPECT_EQ(vps.ptl.sub_layer_profile_compatibility_flag[element.uiIndex][element.uiSecondIndex],
                      element.iValue != 0);
        else if (!isOfDroppedSubLayer(element))
            expectField(VPS_FIELDS, element, vps);
    }

    std::vector<bool> bits;
    for (std::size_t i = uiLast + 1; i < elements.size() && bits.size() < 2; ++i) {
        if (elements[i].name == "vps_num_units_in_tick") {
            for (unsigned uiBit = 32; uiBit-- > 0;)
                bits.push_back((elements[i].iValue >> uiBit & 1) != 0);
        } else {
            EXPECT_TRUE(elements[i].name.ends_with("_flag")) << elements[i].name;
            bits.push_back(elements[i].iValue != 0);
        }
    }
    ASSERT_GE(bits.size(), 2U);
    EXPECT_EQ(vps.vps_timing_info_present_flag, bits[0]);
    EXPECT_EQ(vps.vps_extension_flag, bits[1]);
    const std::size_t uiExtension = positionOf(elements, "vps_extension_flag"); // has profiles of its own
    expectUnknown(VPS_FIELDS,
                  std::span(elements).subspan(uiLast + 1, uiExtension - uiLast),
                  {"vps_timing_info_present_flag", "vps_extension_flag"});
}

void compareShortTermRefPicSet(const ShortTermRefPicSet& strps, const Json& expected)
{
    const std::vector<int> DeltaPocS0 = expected.at("DeltaPocS0");
    const std::vector<int> DeltaPocS1 = expected.at("DeltaPocS1");
    std::vector<int> DeltaPoc = DeltaPocS0;
    DeltaPoc.insert(DeltaPoc.end(), DeltaPocS1.begin(), DeltaPocS1.end());
    std::vector<int> UsedByCurrPic = expected.at("UsedByCurrPicS0");
    const std::vector<int> UsedByCurrPicS1 = expected.at("UsedByCurrPicS1");
    UsedByCurrPic.insert(UsedByCurrPic.end(), UsedByCurrPicS1.begin(), UsedByCurrPicS1.end());

    EXPECT_EQ(strps.NumNegativePics, DeltaPocS0.size());
    EXPECT_EQ(strps.NumPositivePics, DeltaPocS1.size());
    EXPECT_EQ(strps.NumDeltaPocs, expected.at("NumDeltaPocs"));
    ASSERT_LE(strps.NumDeltaPocs, MAX_REF_PICS);
    EXPECT_EQ(std::vector<int>(strps.DeltaPoc, strps.DeltaPoc + strps.NumDeltaPocs), DeltaPoc);
    EXPECT_EQ(std::vector<int>(strps.UsedByCurrPic, strps.UsedByCurrPic + strps.NumDeltaPocs), UsedByCurrPic);
}

// The matrices of 7.4.5. A store has the 32x32 ones at matrixId 0, 1 and 3; those that 4:4:4 adds are
// not in it, and its matrixId 1 is the inter matrix.
void compareScaling(const ScalingListData& lists, const Json& scaling)
{
    constexpr const char* SIZE_NAMES[] = {"4x4", "8x8", "16x16", "32x32"};
    const Json& factors = scaling.at("ScalingFactor");
    ASSERT_EQ(factors.size(), 4U);
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        const unsigned uiSide = 4U << sizeId;
        unsigned uiCompared = 0;
        for (const auto& [key, rows] : factors.at(SIZE_NAMES[sizeId]).items()) {
            const unsigned matrixId = static_cast<unsigned>(std::stoul(key));
            if (sizeId == 3 && matrixId != 0 && matrixId != 3)
                continue;
            SCOPED_TRACE("matrix " + key + " of " + SIZE_NAMES[sizeId]);
            const unsigned char* const pCoef = lists.aList[sizeId].aMatrix[matrixId].pCoef;
            ASSERT_NE(pCoef, nullptr);
            ASSERT_EQ(rows.size(), uiSide);
            for (unsigned y = 0; y < uiSide; ++y) {
                const std::vector<unsigned char> row(pCoef + y * uiSide, pCoef + (y + 1) * uiSide);
                EXPECT_EQ(row, rows.at(y).get<std::vector<unsigned char>>()) << "row " << y;
            }
            ++uiCompared;
        }
        EXPECT_EQ(uiCompared, sizeId == 3 ? 2U : 6U);
    }
    const ScalingListMatrix(&aMatrix)[6] = lists.aList[3].aMatrix;
    EXPECT_TRUE(std::equal(aMatrix[1].pCoef, aMatrix[1].pCoef + 1024, aMatrix[3].pCoef));
    for (const unsigned matrixId : {2U, 4U, 5U})
        EXPECT_EQ(aMatrix[matrixId].pCoef, nullptr);
}

void compareSpsDerived(const SPS& sps, const Json& derived)
{
    for (const auto& [name, value] : derived.items()) {
        SCOPED_TRACE(name);
        if (name == "short_term_rps") {
            ASSERT_EQ(value.size(), sps.num_short_term_ref_pic_sets);
            for (std::size_t i = 0; i < value.size(); ++i)
                compareShortTermRefPicSet(sps.pShortTermRefPicSet[i], value[i]);
        } else if (name == "scaling") {
            ASSERT_NE(sps.pScalingList, nullptr);
            EXPECT_EQ(value.at("source"), sps.sps_scaling_list_data_present_flag ? "sps" : "default");
            compareScaling(*sps.pScalingList, value);
        } else if (name == "output_size") {
            const bool bHalfWidth = sps.chroma_format_idc == 1 || sps.chroma_format_idc == 2;
            const int SubWidthC = bHalfWidth ? 2 : 1;
            const int SubHeightC = sps.chroma_format_idc == 1 ? 2 : 1;
            const int iWidth =
                sps.pic_width_in_luma_samples - SubWidthC * (sps.conf_win_left_offset + sps.conf_win_right_offset);
            const int iHeight =
                sps.pic_height_in_luma_samples - SubHeightC * (sps.conf_win_top_offset + sps.conf_win_bottom_offset);
            EXPECT_EQ(value, Json::array({iWidth, iHeight}));
        } else {
            const auto position = SPS_DERIVED.find(name);
            ASSERT_NE(position, SPS_DERIVED.end()) << "compared with nothing";
            EXPECT_EQ(position->second(sps, 0), value.get<std::int64_t>());
        }
    }
    EXPECT_EQ(derived.contains("scaling"), sps.scaling_list_enabled_flag);
    EXPECT_EQ(sps.PicSizeInCtbsY, sps.PicWidthInCtbsY * sps.PicHeightInCtbsY);
}

// The VUI is not parsed: with one, sps_extension_present_flag holds its first bit.
void compareSps(const SPS& sps, const Json& set)
{
    const std::vector<Element> elements = elementsOf(set);
    const std::size_t uiVui = positionOf(elements, "vui_parameters_present_flag");
    int iSet = -1;
    for (std::size_t i = 0; i <= uiVui; ++i) {
        const Element& element = elements[i];
        // The first set has no inter_ref_pic_set_prediction_flag.
        if (element.name == "inter_ref_pic_set_prediction_flag")
            ++iSet;
        else if (element.name == "num_negative_pics" && iSet < 0)
            iSet = 0;
        if (SHORT_TERM_FIELDS.contains(element.name)) {
            ASSERT_LT(iSet, sps.num_short_term_ref_pic_sets);
            ASSERT_LT(element.uiIndex, MAX_REF_PICS);
            SCOPED_TRACE("short-term set " + std::to_string(iSet));
            expectField(SHORT_TERM_FIELDS, element, sps.pShortTermRefPicSet[iSet]);
        } else {
            expectField(SPS_FIELDS, element, sps);
        }
    }
    ASSERT_LT(uiVui + 1, elements.size());
    const Element& behind = elements[uiVui + 1];
    EXPECT_EQ(behind.name,
              sps.vui_parameters_present_flag ? "aspect_ratio_info_present_flag" : "sps_extension_present_flag");
    EXPECT_EQ(sps.sps_extension_present_flag, behind.iValue != 0);
    expectUnknown(SPS_FIELDS, std::span(elements).subspan(uiVui + 1), {"sps_extension_present_flag"});
    compareSpsDerived(sps, set.at("derived"));
}

// 6.5.1; the record's TileId is indexed by raster-scan address, that of the values file by tile-scan
// address.
void compareTiles(const PPS& pps, const Json& tiles, std::size_t uiSize)
{
    const auto tableOf = [](const unsigned* pTable, std::size_t uiCount) {
        return std::vector<unsigned>(pTable, pTable + uiCount);
    };
    ASSERT_EQ(tiles.size(), 5U);
    EXPECT_EQ(Json(tableOf(pps.colWidth, pps.num_tile_columns_minus1 + 1)), tiles.at("colWidth"));
    EXPECT_EQ(Json(tableOf(pps.rowHeight, pps.num_tile_rows_minus1 + 1)), tiles.at("rowHeight"));
    EXPECT_EQ(Json(tableOf(pps.CtbAddrRsToTs, uiSize)), tiles.at("CtbAddrRsToTs"));
    EXPECT_EQ(Json(tableOf(pps.CtbAddrTsToRs, uiSize)), tiles.at("CtbAddrTsToRs"));
    std::vector<unsigned> TileId(uiSize);
    for (std::size_t i = 0; i < uiSize; ++i)
        TileId[pps.CtbAddrRsToTs[i]] = pps.TileId[i];
    EXPECT_EQ(Json(TileId), tiles.at("TileId"));
    EXPECT_EQ(pps.CtbAddrRsToTs[uiSize], 0U);
    EXPECT_EQ(pps.CtbAddrTsToRs[uiSize], 0U);
    EXPECT_EQ(pps.TileId[uiSize], 0U);
}

void comparePps(const PPS& pps, const SPS& sps, const Json& set)
{
    const std::vector<Element> elements = elementsOf(set);
    const std::size_t uiEnd = positionOf(elements, "pps_extension_present_flag") + 1;
    for (const Element& element : std::span(elements).first(uiEnd))
        expectField(PPS_FIELDS, element, pps);
    expectUnknown(PPS_FIELDS, std::span(elements).subspan(uiEnd), {});
    if (pps.cu_qp_delta_enabled_flag) {
        EXPECT_EQ(pps.Log2MinCuQpDeltaSize, sps.CtbLog2SizeY - pps.diff_cu_qp_delta_depth);
    }
    EXPECT_EQ(pps.MultipleTilesFlag, pps.num_tile_columns_minus1 != 0 || pps.num_tile_rows_minus1 != 0);

    const Json derived = set.value("derived", Json::object());
    EXPECT_EQ(derived.contains("tiles"), pps.tiles_enabled_flag);
    EXPECT_EQ(derived.contains("scaling"), pps.pScalingList != nullptr);
    for (const auto& [name, value] : derived.items()) {
        if (name == "tiles") {
            compareTiles(pps, value, static_cast<std::size_t>(sps.PicSizeInCtbsY));
        } else if (name == "scaling") {
            ASSERT_NE(pps.pScalingList, nullptr);
            EXPECT_EQ(value.at("source"), "pps");
            compareScaling(*pps.pScalingList, value);
        } else {
            EXPECT_EQ(name, "sps_index") << "compared with nothing";
        }
    }
}

std::vector<unsigned char> bytesOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void compareNalUnit(const ParameterSetEvent& event, const Json& set, std::span<const unsigned char> stream)
{
    EXPECT_EQ(event.ulOffset, set.at("offset"));
    ASSERT_EQ(event.ulSize, set.at("size"));
    EXPECT_EQ(event.header.nal_unit_type, set.at("nal_unit_type"));
    EXPECT_EQ(event.header.nuh_layer_id, set.at("nuh_layer_id"));
    EXPECT_EQ(event.header.nuh_temporal_id_plus1 - 1, set.at("temporal_id"));
    EXPECT_FALSE(event.header.forbidden_zero_bit);
    const auto payload =
        stream.subspan(static_cast<std::size_t>(event.ulOffset) + 2, static_cast<std::size_t>(event.ulSize) - 2);
    CRbspBuffer buffer;
    const auto rbsp = buffer.extract(payload);
    EXPECT_EQ(rbsp.size(), set.at("rbsp_size"));
    EXPECT_EQ(sha1Of(rbsp), set.at("rbsp_sha1"));
    EXPECT_EQ(payload.size() - rbsp.size(), set.at("emulation_bytes"));
}

bool isSupported(const ParameterSetEvent& event)
{
    if (event.vps != nullptr)
        return event.vps->vps_max_layers_minus1 == 0;
    return event.sps == nullptr || (event.sps->chroma_format_idc == 1 && !event.sps->separate_colour_plane_flag &&
                                    event.sps->BitDepthY == 8 && event.sps->BitDepthC == 8);
}

void compareRecord(const ParameterSetEvent& event, const Json& set)
{
    ASSERT_EQ(event.iRead, 0);
    EXPECT_EQ(event.iVerify == 0, isSupported(event));
    EXPECT_EQ(event.logLines.empty(), isSupported(event));
    if (event.header.nal_unit_type == VPS_NUT) {
        ASSERT_NE(event.vps, nullptr);
        compareVps(*event.vps, set);
    } else if (event.header.nal_unit_type == SPS_NUT) {
        ASSERT_NE(event.sps, nullptr);
        compareSps(*event.sps, set);
    } else {
        ASSERT_NE(event.pps, nullptr);
        ASSERT_NE(event.spsOfPps, nullptr);
        comparePps(*event.pps, *event.spsOfPps, set);
    }
}

const std::filesystem::path CORPUS = H265_TEST_CORPUS;

std::vector<std::string> corpusNames()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(CORPUS)) {
        if (entry.path().extension() == ".hevc")
            names.push_back(entry.path().stem());
    }
    std::ranges::sort(names);
    return names;
}

class Corpus : public testing::TestWithParam<std::string>
{
protected:
    [[nodiscard]] static std::filesystem::path streamPath() { return CORPUS / (GetParam() + ".hevc"); }
};

TEST_P(Corpus, HoldsTheTracedValues)
{
    const Json values = parseJsonFile(CORPUS / (GetParam() + ".json"));
    const Json& sets = values.at("sets");
    const std::vector<unsigned char> stream = bytesOf(streamPath());
    const bool bMalformed = GetParam().starts_with("malformed");
    EXPECT_EQ(values.at("trace") == "full", !bMalformed);

    CParameterSetStream reader({});
    std::size_t uiSet = 0;
    const StreamSummary summary = reader.read(*openByteSource(streamPath()), [&](const ParameterSetEvent& event) {
        if (uiSet == sets.size())
            return false;
        const Json& set = sets[uiSet];
        SCOPED_TRACE("set " + std::to_string(uiSet) + ", " + set.at("name").get<std::string>());
        ++uiSet;
        compareNalUnit(event, set, stream);
        if (set.at("nuh_layer_id") != 0)
            EXPECT_TRUE(event.bPassedOver);
        else if (set.at("trace") == "full" && !bMalformed)
            compareRecord(event, set);
        return true;
    });
    EXPECT_EQ(uiSet, sets.size());
    EXPECT_EQ(summary.ulParameterSets, sets.size());
    EXPECT_EQ(summary.ulBytes, values.at("bytes"));
    EXPECT_EQ(summary.ulNalUnits, values.at("nal_units"));
}

// No values to compare with: its refill leaves bits out. It must come through all the same.
TEST_P(Corpus, ComesThroughTheDecodersReader)
{
    CParameterSetStream reader({.eReader = EBitReader::Decoder});
    const StreamSummary summary =
        reader.read(*openByteSource(streamPath()), [](const ParameterSetEvent&) { return true; });
    EXPECT_GE(summary.ulParameterSets, 3U);
}

INSTANTIATE_TEST_SUITE_P(Streams, Corpus, testing::ValuesIn(corpusNames()),
                         [](const testing::TestParamInfo<std::string>& stream) { return stream.param; });

TEST(CorpusFiles, AreAllThere)
{
    EXPECT_GE(corpusNames().size(), 147U);
}

TEST(CorpusFiles, RepeatTheirHeaders)
{
    CParameterSetStream reader({});
    unsigned uiRepeats = 0;
    unsigned uiSets = 0;
    reader.read(*openByteSource(CORPUS / "gop_open_repeat_headers.hevc"), [&](const ParameterSetEvent& event) {
        uiRepeats += event.bRepeat ? 1 : 0;
        EXPECT_EQ(event.bRepeat, event.ulReading != ++uiSets);
        return true;
    });
    EXPECT_EQ(uiSets, 9U);
    EXPECT_EQ(uiRepeats, 6U);
}

TEST(Sha1, AgreesWithThePublishedValues)
{
    const std::string text = "abc";
    const std::span letters(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    EXPECT_EQ(sha1Of(letters), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(sha1Of({}), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

} // namespace
