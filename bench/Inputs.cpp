#include "Inputs.h"

#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "DecParameterSetReader.h"
#include "NalUnitFinder.h"
#include "NalUnitWriter.h"
#include "Rbsp.h"
#include "ScanTables.h"
#include "SyntaxWriters.h"
#include "tq_util.h"

namespace h265_bench {

using namespace h265_test;
using h265_stream::PPS_NUT;
using h265_stream::SPS_NUT;
using h265_stream::VPS_NUT;

namespace {

constexpr char ORDINARY_STREAM[] = "size_1920x1080.hevc";
constexpr char EXPLICIT_LISTS_STREAM[] = "slist_explicit.hevc";

Payload pad(Bytes rbsp)
{
    rbsp.insert(rbsp.end(), h265_stream::RBSP_PADDING, 0);
    return {std::move(rbsp)};
}

Payload pad(const CBitWriter& rbsp)
{
    return pad(rbsp.bytes());
}

class CParameterSetCollector : public h265_stream::CNalUnitSink
{
public:
    bool onNalUnit(const h265_stream::NalUnit& unit) override
    {
        if (!unit.bytes.empty())
            m_units.emplace_back(unit.bytes.begin(), unit.bytes.end());
        return true;
    }
    std::vector<Bytes> m_units;
};

Payload rbspOf(const std::string& file, unsigned char nal_unit_type)
{
    for (const Bytes& unit : parameterSetsOf(file)) {
        if (h265_stream::parseNalUnitHeader(unit.at(0), unit.at(1)).nal_unit_type != nal_unit_type)
            continue;
        h265_stream::CRbspBuffer buffer;
        const auto rbsp = buffer.extract(std::span(unit).subspan(2));
        return pad(Bytes(rbsp.begin(), rbsp.end()));
    }
    throw std::runtime_error(file + " has no such parameter set");
}

// The 20 lists of an SPS record, as a writer takes them.
ScalingListDataSyntax listsOf(const h265_codec::ScalingListData& data)
{
    ScalingListDataSyntax lists;
    for (unsigned sizeId = 0; sizeId < 4; ++sizeId) {
        for (std::size_t matrixId = 0; matrixId < lists.matrix[sizeId].size(); ++matrixId) {
            const unsigned char* const pCoef = data.aList[sizeId].aMatrix[matrixId].pCoef;
            const unsigned uiSide = 4U << sizeId;
            const unsigned uiCodedSide = sizeId == 0 ? 4 : 8;
            const unsigned uiRatio = uiSide / uiCodedSide;
            ScalingMatrixSyntax& matrix = lists.matrix[sizeId][matrixId];
            matrix.scaling_list_pred_mode_flag = true;
            matrix.scaling_list_dc_coef_minus8 = pCoef[0] - 8;
            int iBefore = sizeId > 1 ? pCoef[0] : 8;
            for (unsigned i = 0; i < uiCodedSide * uiCodedSide; ++i) {
                const unsigned uiPlace = static_cast<unsigned>(h265_codec::g_pScanIdx[0][sizeId == 0 ? 0 : 1][i]);
                // The right end of the coefficient's block: the DC covers the left of the first.
                const unsigned uiColumn = uiPlace % uiCodedSide * uiRatio + uiRatio - 1;
                const int iCoef = pCoef[uiPlace / uiCodedSide * uiRatio * uiSide + uiColumn];
                matrix.scaling_list_delta_coef.push_back(iCoef - iBefore);
                iBefore = iCoef;
            }
        }
    }
    return lists;
}

ScalingListDataSyntax explicitLists()
{
    const Payload payload = rbspOf(EXPLICIT_LISTS_STREAM, SPS_NUT);
    const std::unique_ptr<tq_util::TMemPool, void (*)(tq_util::TMemPool*)> pPool(
        tq_util::createMemPool(), [](tq_util::TMemPool* p) { tq_util::destroyMemPool(p); });
    h265_codec::SPS* const sps = h265_codec::createSPS(pPool.get());
    h265_codec::CRbspReader bs;
    bs.init(payload.data(), payload.size());
    if (h265_codec::readSPS(sps, &bs, pPool.get()) != 0 || sps->pScalingList == nullptr)
        throw std::runtime_error("the SPS with explicit lists cannot be read");
    return listsOf(*sps->pScalingList);
}

// 64 sets, every second one predicted from the one before it; uiElements counts what is coded.
std::vector<StRefPicSetSyntax> makeRefPicSets(std::size_t& uiElements)
{
    std::vector<StRefPicSetSyntax> sets;
    for (unsigned i = 0; i < 64; ++i) {
        StRefPicSetSyntax set;
        uiElements += i == 0 ? 0 : 1;
        if (i % 2 == 1) {
            set.inter_ref_pic_set_prediction_flag = true;
            set.delta_rps_sign = i % 4 == 1;
            set.abs_delta_rps_minus1 = i % 7;
            uiElements += 2;
            const std::size_t uiReferencePics = sets.back().s0.size() + sets.back().s1.size();
            for (std::size_t j = 0; j <= uiReferencePics; ++j) {
                const bool bUsed = (i + j) % 3 != 0;
                set.flags.push_back({.used_by_curr_pic_flag = bUsed, .use_delta_flag = j % 2 == 0});
                uiElements += bUsed ? 1 : 2;
            }
        } else {
            for (unsigned j = 0; j < 4; ++j)
                set.s0.push_back({.delta_poc_minus1 = (i + j) % 8, .used_by_curr_pic_flag = j != 2});
            for (unsigned j = 0; j < 1 + i % 3; ++j)
                set.s1.push_back({.delta_poc_minus1 = j, .used_by_curr_pic_flag = true});
            uiElements += 2 + 2 * (set.s0.size() + set.s1.size());
        }
        sets.push_back(set);
    }
    return sets;
}

Case makeSps(std::string_view name, const SpsSyntax& sps, std::size_t uiUnits = 1)
{
    return {std::string(name), SPS_NUT, pad(write(sps)), {}, uiUnits};
}

Case makePpsWithLists()
{
    PpsSyntax pps;
    pps.scaling_list_data = explicitLists();
    return {"pps_lists", PPS_NUT, pad(write(pps)), pad(write(SpsSyntax{})), 1};
}

Case makeSpsWithSets(std::string_view name, bool bWithSets)
{
    SpsSyntax sps;
    std::size_t uiElements = 0;
    std::vector<StRefPicSetSyntax> sets = makeRefPicSets(uiElements);
    if (bWithSets)
        sps.st_ref_pic_set = std::move(sets);
    return makeSps(name, sps, uiElements);
}

// Xorshift: the same bytes on every machine.
class CNoise
{
public:
    unsigned char next()
    {
        m_ulState ^= m_ulState << 13;
        m_ulState ^= m_ulState >> 7;
        m_ulState ^= m_ulState << 17;
        return static_cast<unsigned char>(m_ulState >> 32);
    }

private:
    std::uint64_t m_ulState = 0x9e3779b97f4a7c15;
};

} // namespace

std::vector<Bytes> parameterSetsOf(const std::string& file)
{
    std::ifstream stream(std::string(H265PS_CORPUS) + "/" + file, std::ios::binary);
    if (!stream)
        throw std::runtime_error("no corpus file " + file);
    const Bytes bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    CParameterSetCollector collector;
    h265_stream::CNalUnitFinder finder;
    finder.feed(bytes, collector);
    finder.finish(collector);
    return collector.m_units;
}

const std::vector<std::string_view>& caseNames()
{
    static const std::vector<std::string_view> names = {"vps",
                                                        "sps_1080p",
                                                        "pps",
                                                        "sps_lists",
                                                        "pps_lists",
                                                        "pps_tiles_4x4",
                                                        "pps_tiles_10x8",
                                                        "sps_sets_0",
                                                        "sps_sets_64"};
    return names;
}

Case makeCase(std::string_view name)
{
    if (name == "vps")
        return {"vps", VPS_NUT, rbspOf(ORDINARY_STREAM, VPS_NUT), {}, 1};
    if (name == "sps_1080p")
        return {"sps_1080p", SPS_NUT, rbspOf(ORDINARY_STREAM, SPS_NUT), {}, 1};
    if (name == "pps")
        return {"pps", PPS_NUT, rbspOf(ORDINARY_STREAM, PPS_NUT), rbspOf(ORDINARY_STREAM, SPS_NUT), 1};
    if (name == "sps_lists")
        return {"sps_lists", SPS_NUT, rbspOf(EXPLICIT_LISTS_STREAM, SPS_NUT), {}, 1};
    if (name == "pps_lists")
        return makePpsWithLists();
    if (name == "pps_tiles_4x4")
        return makeTiledPps(4, 4);
    if (name == "pps_tiles_10x8")
        return makeTiledPps(10, 8);
    if (name == "sps_sets_0" || name == "sps_sets_64")
        return makeSpsWithSets(name, name == "sps_sets_64");
    throw std::runtime_error("no case " + std::string(name));
}

Case makeTiledPps(unsigned uiColumns, unsigned uiRows)
{
    return makeTiledPps(uiColumns, uiRows, 120, 68);
}

Case makeTiledPps(unsigned uiColumns, unsigned uiRows, unsigned uiWidthInCtbs, unsigned uiHeightInCtbs)
{
    SpsSyntax sps;
    sps.pic_width_in_luma_samples = 64 * uiWidthInCtbs;
    sps.pic_height_in_luma_samples = 64 * uiHeightInCtbs;
    PpsSyntax pps;
    pps.tiles = TilesSyntax{.num_tile_columns_minus1 = uiColumns - 1, .num_tile_rows_minus1 = uiRows - 1};
    const std::string name = "pps_tiles_" + std::to_string(uiColumns) + "x" + std::to_string(uiRows);
    return {name, PPS_NUT, pad(write(pps)), pad(write(sps)), 1};
}

Case makeSpsWithLists(unsigned uiMatrices)
{
    SpsSyntax sps;
    sps.scaling_list_enabled_flag = true;
    ScalingListDataSyntax lists = explicitLists();
    std::size_t uiCoefficients = 0;
    unsigned uiMatrix = 0;
    for (unsigned sizeId = 4; sizeId-- > 0;) {
        for (ScalingMatrixSyntax& matrix : lists.matrix[sizeId]) {
            if (uiMatrix++ < uiMatrices)
                uiCoefficients += sizeId == 0 ? 16 : 64;
            else
                matrix = {};
        }
    }
    sps.scaling_list_data = lists;
    return makeSps("sps_lists_" + std::to_string(uiMatrices), sps, uiCoefficients);
}

Bytes makeSliceData(std::size_t uiSize)
{
    CNoise noise;
    Bytes data;
    data.reserve(uiSize);
    unsigned uiZeros = 0;
    while (data.size() < uiSize) {
        unsigned char ucByte = noise.next();
        if (ucByte == 0x55)
            ucByte = 0xaa;
        if (uiZeros >= 2 && ucByte <= 3)
            ucByte = 3;
        data.push_back(ucByte);
        uiZeros = ucByte == 0 ? uiZeros + 1 : 0;
    }
    if (!data.empty())
        data.back() = 0x80; // no zero byte ends a NAL unit
    return data;
}

Bytes makeParameterSetStream(std::size_t uiCount)
{
    Bytes stream;
    for (std::size_t i = 0; i < uiCount; ++i) {
        const unsigned uiVariant = static_cast<unsigned>(i / 3 % 2);
        Bytes unit;
        if (i % 3 == 0) {
            unit = nalUnit(VPS_NUT, write(VpsSyntax{.vps_max_layer_id = uiVariant}));
        } else if (i % 3 == 1) {
            unit = nalUnit(SPS_NUT, write(SpsSyntax{.log2_max_pic_order_cnt_lsb_minus4 = uiVariant}));
        } else {
            unit = nalUnit(PPS_NUT, write(PpsSyntax{.init_qp_minus26 = static_cast<int>(uiVariant)}));
        }
        stream.insert(stream.end(), {0, 0, 0, 1});
        stream.insert(stream.end(), unit.begin(), unit.end());
    }
    return stream;
}

} // namespace h265_bench
