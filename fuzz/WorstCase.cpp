// The most expensive payloads known of each kind. WorstCase NAME COUNT reads one of them COUNT times and
// prints its size and the picture it is for; without arguments the names are printed. fuzz/worst-case
// counts the instructions.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <vector>

#include "DecParameterSetReader.h"
#include "SyntaxWriters.h"
#include "tq_util.h"
#include "tqlog.h"

using namespace h265_codec;
using namespace h265_test;

namespace {

struct WorstCase
{
    const char* pName;
    SpsSyntax sps;
    std::optional<PpsSyntax> pps = {};   // what is read, if there is one, else the SPS
    std::optional<std::size_t> cut = {}; // bytes that are kept
    int iLogLevel = 3;
};

SpsSyntax pictureOf(unsigned uiWidth, unsigned uiHeight)
{
    SpsSyntax sps;
    sps.pic_width_in_luma_samples = uiWidth;
    sps.pic_height_in_luma_samples = uiHeight;
    return sps;
}

SpsSyntax spsOfSets(const StRefPicSetSyntax& first, const StRefPicSetSyntax& others)
{
    SpsSyntax sps = pictureOf(64, 64);
    sps.st_ref_pic_set.assign(255, others);
    sps.st_ref_pic_set[0] = first;
    return sps;
}

// 255 sets announced in a payload that ends there: each is cleared and fails.
SpsSyntax spsOfMissingSets()
{
    SpsSyntax sps = pictureOf(64, 64);
    sps.num_short_term_ref_pic_sets = 255;
    return sps;
}

SpsSyntax spsOfLists()
{
    SpsSyntax sps = pictureOf(64, 64);
    sps.scaling_list_enabled_flag = true;
    sps.scaling_list_data.emplace();
    for (std::vector<ScalingMatrixSyntax>& matrices : sps.scaling_list_data->matrix) {
        for (ScalingMatrixSyntax& matrix : matrices)
            matrix.scaling_list_pred_mode_flag = true;
    }
    return sps;
}

PpsSyntax ppsOfTiles(unsigned uiColumns, unsigned uiRows)
{
    PpsSyntax pps;
    pps.tiles = TilesSyntax{.num_tile_columns_minus1 = uiColumns - 1, .num_tile_rows_minus1 = uiRows - 1};
    return pps;
}

std::vector<WorstCase> worstCases()
{
    const StRefPicSetSyntax empty;
    const StRefPicSetSyntax emptyPredicted = {.inter_ref_pic_set_prediction_flag = true, .flags = {{false, false}}};
    const std::vector<RefPicSyntax> pics(8);
    const StRefPicSetSyntax full = {.s0 = pics, .s1 = pics};
    StRefPicSetSyntax fullPredicted = {.inter_ref_pic_set_prediction_flag = true, .delta_rps_sign = true};
    fullPredicted.flags.assign(17, {});
    fullPredicted.flags[16] = {false, false};
    const std::size_t uiCut =
        (writeSpsFormat(spsOfMissingSets()).append(writeSpsCodingTools(SpsSyntax{})).size() / 8) + 3;

    std::vector<WorstCase> cases;
    cases.push_back({"plain", pictureOf(64, 64)});
    cases.push_back({"empty-predicted-sets", spsOfSets(empty, emptyPredicted)});
    cases.push_back({"full-predicted-sets", spsOfSets(full, fullPredicted)});
    cases.push_back({"full-explicit-sets", spsOfSets(full, full)});
    cases.push_back({"missing-sets", spsOfMissingSets(), {}, uiCut});
    cases.push_back({"missing-sets-all-logged", spsOfMissingSets(), {}, uiCut, 0});
    cases.push_back({"explicit-lists", spsOfLists()});
    cases.push_back({"few-tiles-large-picture", pictureOf(65535, 65535), ppsOfTiles(2, 1)});
    cases.push_back({"most-tiles-large-picture", pictureOf(65535, 65535), ppsOfTiles(1024, 1024)});
    cases.push_back({"most-columns-wide-picture", pictureOf(65535, 64), ppsOfTiles(1U << 20, 1)});
    cases.push_back({"most-columns-one-ctb", pictureOf(64, 64), ppsOfTiles(1U << 20, 1)});
    cases.push_back({"most-rows-one-ctb", pictureOf(64, 64), ppsOfTiles(1, 1U << 20)});
    return cases;
}

CPaddedPayload payloadOf(const CBitWriter& writer, std::optional<std::size_t> cut)
{
    std::vector<unsigned char> bytes = writer.bytes();
    bytes.resize(cut.value_or(bytes.size()));
    return CPaddedPayload(std::move(bytes));
}

SPS* read(const CPaddedPayload& payload, tq_util::TMemPool* pMemPool)
{
    SPS* const sps = createSPS(pMemPool);
    auto bs = payload.reader<CRbspReader>();
    (void)readSPS(sps, &bs, pMemPool); // may be made to fail
    return sps;
}

void run(const WorstCase& worst, unsigned long ulCount)
{
    tqlog::CTQLog::m_iLogLevel = worst.iLogLevel;
    tqlog::CTQLog::m_pLogPrintf = [](const char*) {};
    tq_util::TMemPool* const pMemPool = tq_util::createMemPool();
    const CPaddedPayload spsPayload = payloadOf(write(worst.sps), worst.cut);
    const CPaddedPayload payload = worst.pps ? payloadOf(write(*worst.pps), worst.cut) : spsPayload;
    SPS* const sps = read(spsPayload, pMemPool);
    SPS* apTable[256] = {sps};
    for (unsigned long i = 0; i < ulCount; ++i) {
        if (!worst.pps) {
            destroySPS(read(payload, pMemPool));
            continue;
        }
        PPS* const pps = createPPS(pMemPool);
        auto bs = payload.reader<CRbspReader>();
        (void)readPPS(pps, apTable, &bs, pMemPool);
        destroyPPS(pps);
    }
    const std::uint64_t ulTiles =
        worst.pps ? (worst.pps->tiles->num_tile_columns_minus1 + 1) * (worst.pps->tiles->num_tile_rows_minus1 + 1) : 0;
    std::printf("%u %d %llu\n", payload.size(), sps->PicSizeInCtbsY, static_cast<unsigned long long>(ulTiles));
    destroySPS(sps);
    tq_util::destroyMemPool(pMemPool);
}

} // namespace

int main(int argc, char** argv)
{
    for (const WorstCase& worst : worstCases()) {
        if (argc != 3)
            std::printf("%s\n", worst.pName);
        else if (std::strcmp(worst.pName, argv[1]) == 0)
            run(worst, std::strtoul(argv[2], nullptr, 10));
    }
    return 0;
}
