// ExpensiveStream NAME BYTES: writes a byte stream of so many bytes at most that makes as much work as its kind
// can; without arguments the names are printed. ExpensiveStream KIND BYTES HEX repeats the payload of a VPS, SPS
// or PPS (KIND: vps, sps, pps) that fuzz/worst-case --search found. No two sets are the same: each has other
// bytes behind what is read, or other values. fuzz/worst-case runs h265ps on these streams.

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string_view>
#include <vector>

#include "HexBytes.h"
#include "NalUnit.h"
#include "NalUnitWriter.h"
#include "SyntaxWriters.h"

using namespace h265_stream;
using namespace h265_test;

namespace {

struct StreamKind
{
    const char* pName;
    std::vector<Bytes> first;            // units in front of the others
    std::function<Bytes(unsigned)> unit; // the i-th of the others, each unlike the ones before
};

// Bytes that no reader looks at tell the sets apart: behind rbsp_trailing_bits( ).
Bytes numbered(Bytes unit, unsigned i)
{
    for (; i != 0; i /= 200)
        unit.push_back(static_cast<unsigned char>(1 + i % 200 + 50));
    return unit;
}

Bytes spsUnit(unsigned uiWidth, unsigned uiHeight, unsigned uiLog2CtbLessMin = 3)
{
    SpsSyntax syntax;
    syntax.pic_width_in_luma_samples = uiWidth;
    syntax.pic_height_in_luma_samples = uiHeight;
    syntax.log2_diff_max_min_luma_coding_block_size = uiLog2CtbLessMin;
    return nalUnit(SPS_NUT, write(syntax));
}

PpsSyntax ppsOfTiles(unsigned uiColumns, unsigned uiRows)
{
    PpsSyntax syntax;
    syntax.tiles = TilesSyntax{.num_tile_columns_minus1 = uiColumns - 1, .num_tile_rows_minus1 = uiRows - 1};
    return syntax;
}

// Ids and an offset tell the sets apart, in as few bytes as there are.
std::function<Bytes(unsigned)> tiledSets(unsigned uiColumns, unsigned uiRows)
{
    return [=](unsigned i) {
        PpsSyntax syntax = ppsOfTiles(uiColumns, uiRows);
        syntax.pps_pic_parameter_set_id = i % 15;
        syntax.init_qp_minus26 = static_cast<int>(i / 15 % 31) - 15;
        return numbered(nalUnit(PPS_NUT, write(syntax)), i / 465);
    };
}

std::function<Bytes(unsigned)> numberedSets(const Bytes& unit)
{
    return [=](unsigned i) { return numbered(unit, i); };
}

Bytes spsOfSets(unsigned uiSets, const StRefPicSetSyntax& first, const StRefPicSetSyntax& others)
{
    SpsSyntax syntax;
    syntax.st_ref_pic_set.assign(uiSets, others);
    syntax.st_ref_pic_set[0] = first;
    return nalUnit(SPS_NUT, write(syntax));
}

// 255 sets are announced, and the payload ends there: sizes tell the sets apart.
Bytes spsOfMissingSets(unsigned i)
{
    SpsSyntax syntax;
    syntax.pic_width_in_luma_samples = 8 + i % 200;
    syntax.pic_height_in_luma_samples = 8 + i / 200;
    syntax.num_short_term_ref_pic_sets = 255;
    const std::size_t uiBits = writeSpsFormat(syntax).append(writeSpsCodingTools(syntax)).size();
    Bytes rbsp = write(syntax).bytes();
    rbsp.resize(uiBits / 8 + 3);
    return nalUnit({.nal_unit_type = SPS_NUT}, rbsp);
}

Bytes spsOfLists(bool bExplicit)
{
    SpsSyntax syntax;
    syntax.scaling_list_enabled_flag = true;
    if (bExplicit) {
        syntax.scaling_list_data.emplace();
        for (std::vector<ScalingMatrixSyntax>& matrices : syntax.scaling_list_data->matrix) {
            for (ScalingMatrixSyntax& matrix : matrices)
                matrix.scaling_list_pred_mode_flag = true;
        }
    }
    return nalUnit(SPS_NUT, write(syntax));
}

std::vector<StreamKind> setKinds()
{
    const StRefPicSetSyntax empty;
    const StRefPicSetSyntax emptyPredicted = {.inter_ref_pic_set_prediction_flag = true, .flags = {{false, false}}};
    const std::vector<RefPicSyntax> pics(8);
    const StRefPicSetSyntax full = {.s0 = pics, .s1 = pics};
    StRefPicSetSyntax fullPredicted = {.inter_ref_pic_set_prediction_flag = true, .delta_rps_sign = true};
    fullPredicted.flags.assign(17, {});
    fullPredicted.flags[16] = {false, false};
    PpsSyntax listsOfPps;
    listsOfPps.scaling_list_data.emplace();

    return {
        {"sps-plain", {}, numberedSets(spsUnit(64, 64))},
        {"sps-empty-predicted-sets", {}, numberedSets(spsOfSets(255, empty, emptyPredicted))},
        {"sps-full-predicted-sets", {}, numberedSets(spsOfSets(255, full, fullPredicted))},
        {"sps-full-explicit-sets", {}, numberedSets(spsOfSets(255, full, full))},
        {"sps-missing-sets", {}, spsOfMissingSets},
        {"sps-default-lists", {}, numberedSets(spsOfLists(false))},
        {"sps-explicit-lists", {}, numberedSets(spsOfLists(true))},
        {"pps-plain", {spsUnit(64, 64)}, numberedSets(nalUnit(PPS_NUT, write(PpsSyntax{})))},
        {"pps-lists", {spsUnit(64, 64)}, numberedSets(nalUnit(PPS_NUT, write(listsOfPps)))},
        {"vps-plain", {}, numberedSets(nalUnit(VPS_NUT, write(VpsSyntax{})))},
    };
}

std::vector<StreamKind> tileKinds()
{
    const Bytes largest = spsUnit(16384, 16384 + 1024, 1); // 1,114,112 CTBs of 16
    return {
        {"tiles-2x1-largest-picture", {largest}, tiledSets(2, 1)},
        {"tiles-20x22-largest-picture", {largest}, tiledSets(20, 22)},
        {"tiles-1024x1024-largest-picture", {largest}, tiledSets(1024, 1024)},
        {"tiles-2x1-refused-picture", {spsUnit(65528, 65528)}, tiledSets(2, 1)},
        {"tiles-1024x1024-refused-picture", {spsUnit(65528, 65528)}, tiledSets(1024, 1024)},
        {"tiles-1x2^20-refused-picture", {spsUnit(65528, 65528)}, tiledSets(1, 1U << 20)},
        {"tiles-2^20x1-one-ctb", {spsUnit(64, 64)}, tiledSets(1U << 20, 1)},
        {"tiles-1x2^20-one-ctb", {spsUnit(64, 64)}, tiledSets(1, 1U << 20)},
        {"tiles-64x64-one-ctb", {spsUnit(64, 64)}, tiledSets(64, 64)},
        {"tiles-200x1-one-ctb", {spsUnit(64, 64)}, tiledSets(200, 1)},
    };
}

std::vector<StreamKind> unitKinds()
{
    std::vector<Bytes> manyPpss = {spsUnit(64, 64)};
    for (unsigned i = 0; i < 256; ++i)
        manyPpss.push_back(nalUnit(PPS_NUT, write(PpsSyntax{.pps_pic_parameter_set_id = i})));
    const auto otherSps = [](unsigned i) { return spsUnit(64 + 8 * (i % 8000), 64); };
    return {
        {"units-of-1-byte", {}, [](unsigned) { return Bytes{SPS_NUT << 1}; }},
        {"units-of-2-bytes",
         {},
         [](unsigned) {
             return Bytes{SPS_NUT << 1, 1};
         }},
        {"units-of-another-layer", {}, numberedSets({SPS_NUT << 1, 9})},
        {"pps-of-3-bytes", {spsUnit(64, 64)}, numberedSets({PPS_NUT << 1, 1, 0xc0})},
        {"pps-without-sps", {}, numberedSets(nalUnit(PPS_NUT, write(PpsSyntax{})))},
        {"repeated-pps", {spsUnit(64, 64)}, [](unsigned) { return nalUnit(PPS_NUT, write(PpsSyntax{})); }},
        {"two-spss-in-turn", {}, [](unsigned i) { return spsUnit(64 + 8 * (i % 2), 64); }},
        {"replaced-sps-of-256-ppss", manyPpss, otherSps},
        {"slices",
         {},
         [](unsigned) {
             return Bytes{0x02, 1};
         }},
    };
}

void append(Bytes& stream, const Bytes& unit)
{
    stream.insert(stream.end(), {0, 0, 1});
    stream.insert(stream.end(), unit.begin(), unit.end());
}

int writeStream(const StreamKind& kind, std::size_t uiBytes)
{
    Bytes stream;
    for (const Bytes& unit : kind.first)
        append(stream, unit);
    for (unsigned i = 0;; ++i) {
        const Bytes unit = kind.unit(i);
        if (stream.size() + 3 + unit.size() > uiBytes)
            break;
        append(stream, unit);
    }
    return std::fwrite(stream.data(), 1, stream.size(), stdout) == stream.size() ? 0 : 1;
}

unsigned typeOf(std::string_view kind)
{
    if (kind == "vps")
        return VPS_NUT;
    return kind == "sps" ? SPS_NUT : PPS_NUT;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4) {
        const Bytes unit =
            nalUnit(NalUnitHeaderSyntax{.nal_unit_type = typeOf(argv[1])}, h265_fuzz::bytesOfHex(argv[3]));
        return writeStream({argv[1], {spsUnit(64, 64)}, numberedSets(unit)}, std::strtoul(argv[2], nullptr, 10));
    }
    for (const std::vector<StreamKind>& kinds : {setKinds(), tileKinds(), unitKinds()}) {
        for (const StreamKind& kind : kinds) {
            if (argc != 3)
                std::printf("%s\n", kind.pName);
            else if (std::string_view(kind.pName) == argv[1])
                return writeStream(kind, std::strtoul(argv[2], nullptr, 10));
        }
    }
    return argc == 3 ? 1 : 0;
}
