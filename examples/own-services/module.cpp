// A decoder on the module alone, whatever services it brings: reads an SPS, and one that is cut off.

#include <cstdio>

#include "DecParameterSetReader.h"
#include "ScanTables.h"
#include "tq_util.h"
#include "tqlog.h"

namespace {

// The RBSP of a 1920x1080 stream's SPS: NAL unit header passed, emulation prevention removed, eight readable
// bytes behind it.
constexpr unsigned char SPS_RBSP[] = {0x01, 0x01, 0x60, 0x00, 0x00, 0x00, 0x90, 0x00, 0x00, 0x00, 0x00,
                                      0x00, 0x78, 0xa0, 0x03, 0xc0, 0x80, 0x10, 0xe5, 0x96, 0x56, 0x69,
                                      0x24, 0xca, 0xe0, 0x10, 0x00, 0x00, 0x3e, 0x80, 0x00, 0x06, 0x1a,
                                      0x80, 0x80, 0,    0,    0,    0,    0,    0,    0,    0};
constexpr unsigned PADDING = 8;

} // namespace

int main()
{
    using namespace h265_codec;

    tqlog::CTQLog::m_iLogLevel = 2;
    tq_util::TMemPool* const pMemPool = tq_util::createMemPool();
    SPS* const sps = createSPS(pMemPool);
    if (sps == nullptr)
        return 1;

    CRbspReader bs;
    bs.init(SPS_RBSP, 5);
    if (readSPS(sps, &bs, pMemPool) == 0)
        return 1;
    bs.init(SPS_RBSP, sizeof(SPS_RBSP) - PADDING);
    if (readSPS(sps, &bs, pMemPool) != 0 || verifySPS(sps) != 0)
        return 1;
    std::printf("%dx%d, the scan of 4x4 ends at %d\n",
                sps->pic_width_in_luma_samples,
                sps->pic_height_in_luma_samples,
                g_pScanIdx[0][0][15]);

    destroySPS(sps);
    tq_util::destroyMemPool(pMemPool);
    return 0;
}
