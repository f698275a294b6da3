// instructions CASE READER N: reads one parameter set N times. bench/run counts the instructions of N
// and 2N, so that the set-up drops out. "instructions cases" lists the cases.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "CaseRecords.h"
#include "ScalingList.h"
#include "tqlog.h"

using namespace h265_bench;

namespace {

using CNaiveRbsp = CNaiveReader<CNaiveBits>;
using CPlainDecoder = CNaiveReader<CPlainDecoderBits>;

int readWith(CCaseRecords& records, std::string_view reader, unsigned uiTimes)
{
    if (reader == "rbsp")
        return records.readTimes<h265_codec::CRbspReader>(uiTimes);
    if (reader == "decoder")
        return records.readTimes<h265_codec::CBitStreamReader>(uiTimes);
    if (reader == "naive")
        return records.readTimes<CNaiveRbsp>(uiTimes);
    if (reader == "plain")
        return records.readTimes<CPlainDecoder>(uiTimes);
    throw std::runtime_error("no reader " + std::string(reader));
}

std::size_t entries(const h265_codec::SPS& sps)
{
    return static_cast<std::size_t>(sps.PicSizeInCtbsY);
}

// What two readings of a case left, as far as blocks go, which may differ by their addresses.
std::string blocksOf(CCaseRecords& records)
{
    std::string blocks;
    const auto add = [&blocks](const void* pBlock, std::size_t uiSize) {
        if (pBlock != nullptr)
            blocks.append(static_cast<const char*>(pBlock), uiSize);
    };
    h265_codec::SPS& sps = records.sps();
    h265_codec::PPS& pps = records.pps();
    add(&records.vps(), sizeof(records.vps()));
    add(&sps.ptl, sizeof(sps.ptl));
    add(&sps.PicWidthInCtbsY, sizeof(sps.PicWidthInCtbsY));
    for (unsigned i = 0; sps.pShortTermRefPicSet != nullptr && i < sps.num_short_term_ref_pic_sets; ++i)
        add(&sps.pShortTermRefPicSet[i], sizeof(h265_codec::ShortTermRefPicSet));
    for (const h265_codec::ScalingListData* const pLists : {sps.pScalingList, pps.pScalingListBuf}) {
        for (unsigned i = 0; pLists != nullptr && i < 20; ++i) {
            const h265_codec::ScalingListMatrix& matrix = pLists->aList[i / 6].aMatrix[i % 6];
            add(matrix.pCoef, std::size_t{16} << (2 * (i / 6)));
        }
    }
    if (pps.tiles_enabled_flag) {
        add(pps.CtbAddrRsToTs, entries(sps) * sizeof(unsigned));
        add(pps.CtbAddrTsToRs, entries(sps) * sizeof(unsigned));
        add(pps.TileId, entries(sps) * sizeof(unsigned));
    }
    return blocks;
}

// The baselines have to do the same work: what they read is compared with what the module reads.
void check(const Case& c, const char* pReader, const char* pBaseline)
{
    CCaseRecords byModule(c);
    CCaseRecords byBaseline(c);
    readWith(byBaseline, pReader, 1); // takes the blocks
    const int iResult = readWith(byModule, pReader, 1);
    if (iResult != readWith(byBaseline, pBaseline, 1))
        throw std::runtime_error(c.name + ": " + pBaseline + " ends otherwise than " + pReader);
    if (iResult == 0 && blocksOf(byModule) != blocksOf(byBaseline))
        throw std::runtime_error(c.name + ": " + pBaseline + " reads otherwise than " + pReader);
}

} // namespace

int main(int argc, char** argv)
{
    tqlog::CTQLog::m_iLogLevel = 3;
    try {
        if (argc == 2 && std::strcmp(argv[1], "cases") == 0) {
            for (const std::string_view name : caseNames()) {
                const Case c = makeCase(name);
                check(c, "rbsp", "naive");
                check(c, "decoder", "plain");
                std::printf("%s %zu %u\n", c.name.c_str(), c.uiUnits, c.payload.size());
            }
            return 0;
        }
        if (argc != 4) {
            std::fputs("usage: instructions CASE rbsp|decoder|naive|plain N, or: instructions cases\n", stderr);
            return 2;
        }
        const Case c = makeCase(argv[1]);
        CCaseRecords records(c);
        readWith(records, "decoder", 1); // takes the blocks that the plain form of it needs
        readWith(records, argv[2], static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10)));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "instructions: %s\n", error.what());
        return 2;
    }
}
