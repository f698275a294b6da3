// What a decoder does with the three parameter sets at the head of a stream.

#include <cstdio>
#include <cstring>

#include "DecParameterSetReader.h"
#include "tq_util.h"
#include "tqlog.h"

namespace {

// RBSPs of a 1920x1080 stream: NAL unit headers passed, emulation prevention removed, eight readable
// bytes behind each.
constexpr unsigned char SPS_RBSP[] = {0x01, 0x01, 0x60, 0x00, 0x00, 0x00, 0x90, 0x00, 0x00, 0x00, 0x00,
                                      0x00, 0x78, 0xa0, 0x03, 0xc0, 0x80, 0x10, 0xe5, 0x96, 0x56, 0x69,
                                      0x24, 0xca, 0xe0, 0x10, 0x00, 0x00, 0x3e, 0x80, 0x00, 0x06, 0x1a,
                                      0x80, 0x80, 0,    0,    0,    0,    0,    0,    0,    0};
constexpr unsigned char PPS_RBSP[] = {0xc1, 0x72, 0xb4, 0x62, 0x40, 0, 0, 0, 0, 0, 0, 0, 0};
constexpr unsigned PADDING = 8;

} // namespace

int main()
{
    using namespace h265_codec;

    tqlog::CTQLog::m_iLogLevel = 2; // errors, to standard error
    tq_util::TMemPool* const pMemPool = tq_util::createMemPool();
    SPS* sps_array[256] = {};

    CRbspReader bs;
    SPS* const sps = createSPS(pMemPool);
    bs.init(SPS_RBSP, sizeof(SPS_RBSP) - PADDING);
    if (sps == nullptr || readSPS(sps, &bs, pMemPool) != 0 || verifySPS(sps) != 0)
        return 1;
    sps_array[sps->sps_seq_parameter_set_id] = sps;

    PPS* const pps = createPPS(pMemPool);
    bs.init(PPS_RBSP, sizeof(PPS_RBSP) - PADDING);
    if (pps == nullptr || readPPS(pps, sps_array, &bs, pMemPool) != 0 || verifyPPS(pps) != 0)
        return 1;

    std::printf("%dx%d in %dx%d CTBs of %d, QP %d\n",
                sps->pic_width_in_luma_samples,
                sps->pic_height_in_luma_samples,
                sps->PicWidthInCtbsY,
                sps->PicHeightInCtbsY,
                1 << sps->CtbLog2SizeY,
                26 + pps->init_qp_minus26);

    destroyPPS(pps);
    destroySPS(sps);
    tq_util::destroyMemPool(pMemPool);
    return 0;
}
