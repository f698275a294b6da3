// The most expensive payloads known of each kind. WorstCase NAME COUNT reads one of them COUNT times and
// prints its size, the CTBs of the picture it is for and its tiles; without arguments the names are
// printed. WorstCase KIND READER COUNT HEX does the same with any payload: KIND is vps, sps or pps (for a
// picture of one CTB), with -logged behind it when every line is to be logged, READER rbsp or decoder.
// fuzz/worst-case counts the instructions.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "DecParameterSetReader.h"
#include "HexBytes.h"
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

// Reads payloads, of a PPS against one SPS. Any reading may fail: what counts is what it costs.
class CReaders
{
public:
    explicit CReaders(const CPaddedPayload& sps) { readInto<CRbspReader>(m_sps, sps); }
    ~CReaders()
    {
        destroySPS(m_sps);
        tq_util::destroyMemPool(m_pMemPool);
    }
    CReaders(const CReaders&) = delete;
    CReaders& operator=(const CReaders&) = delete;

    template <class TReader>
    void read(std::string_view kind, const CPaddedPayload& payload)
    {
        if (kind == "vps")
            readVps<TReader>(payload);
        else if (kind == "sps")
            readSps<TReader>(payload);
        else
            readPps<TReader>(payload);
    }

    [[nodiscard]] unsigned long long ctbs() const { return static_cast<unsigned long long>(m_sps->PicSizeInCtbsY); }
    [[nodiscard]] unsigned long long tiles() const { return m_ullTiles; }

private:
    template <class TReader>
    void readVps(const CPaddedPayload& payload)
    {
        VPS vps = {};
        auto bs = payload.reader<TReader>();
        (void)readVPS(&vps, &bs);
    }

    template <class TReader>
    void readSps(const CPaddedPayload& payload)
    {
        SPS* const sps = createSPS(m_pMemPool);
        readInto<TReader>(sps, payload);
        destroySPS(sps);
    }

    template <class TReader>
    void readPps(const CPaddedPayload& payload)
    {
        PPS* const pps = createPPS(m_pMemPool);
        auto bs = payload.reader<TReader>();
        (void)readPPS(pps, m_apTable, &bs, m_pMemPool);
        if (pps->tiles_enabled_flag)
            m_ullTiles = (pps->num_tile_columns_minus1 + 1ULL) * (pps->num_tile_rows_minus1 + 1ULL);
        destroyPPS(pps);
    }

    template <class TReader>
    void readInto(SPS* sps, const CPaddedPayload& payload)
    {
        auto bs = payload.reader<TReader>();
        (void)readSPS(sps, &bs, m_pMemPool);
    }

    tq_util::TMemPool* m_pMemPool = tq_util::createMemPool();
    SPS* m_sps = createSPS(m_pMemPool);
    SPS* m_apTable[256] = {m_sps};
    unsigned long long m_ullTiles = 0;
};

template <class TReader>
void run(CReaders& readers, std::string_view kind, const CPaddedPayload& payload, unsigned long ulCount)
{
    for (unsigned long i = 0; i < ulCount; ++i)
        readers.read<TReader>(kind, payload);
    std::printf("%u %llu %llu\n", payload.size(), kind == "pps" ? readers.ctbs() : 0, readers.tiles());
}

void run(const WorstCase& worst, unsigned long ulCount)
{
    tqlog::CTQLog::m_iLogLevel = worst.iLogLevel;
    const CPaddedPayload sps = payloadOf(write(worst.sps), worst.cut);
    CReaders readers(sps);
    if (worst.pps)
        run<CRbspReader>(readers, "pps", payloadOf(write(*worst.pps), worst.cut), ulCount);
    else
        run<CRbspReader>(readers, "sps", sps, ulCount);
}

void run(std::string_view kind, std::string_view reader, unsigned long ulCount, std::string_view hex)
{
    CReaders readers(payloadOf(write(pictureOf(64, 64)), {}));
    tqlog::CTQLog::m_iLogLevel = kind.ends_with("-logged") ? 0 : 3;
    kind = kind.substr(0, 3);
    if (reader == "decoder")
        run<CBitStreamReader>(readers, kind, CPaddedPayload(h265_fuzz::bytesOfHex(hex)), ulCount);
    else
        run<CRbspReader>(readers, kind, CPaddedPayload(h265_fuzz::bytesOfHex(hex)), ulCount);
}

} // namespace

int main(int argc, char** argv)
{
    tqlog::CTQLog::m_pLogPrintf = [](const char*) {};
    if (argc == 5)
        run(argv[1], argv[2], std::strtoul(argv[3], nullptr, 10), argv[4]);
    for (const WorstCase& worst : argc == 5 ? std::vector<WorstCase>() : worstCases()) {
        if (argc != 3)
            std::printf("%s\n", worst.pName);
        else if (std::strcmp(worst.pName, argv[1]) == 0)
            run(worst, std::strtoul(argv[2], nullptr, 10));
    }
    return 0;
}
