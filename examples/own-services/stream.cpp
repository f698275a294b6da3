// A decoder on StreamHost, whatever services it brings: hands over the NAL unit of an SPS, and one that is cut off.

#include <cstdio>
#include <span>
#include <string>

#include "ParameterSetTables.h"
#include "ScanTables.h"
#include "SequenceParameterSet.h"
#include "tqlog.h"

namespace {

// The NAL unit of a 1920x1080 stream's SPS.
constexpr unsigned char SPS_NAL_UNIT[] = {0x42, 0x01, 0x01, 0x01, 0x60, 0x00, 0x00, 0x03, 0x00, 0x90,
                                          0x00, 0x00, 0x03, 0x00, 0x00, 0x03, 0x00, 0x78, 0xa0, 0x03,
                                          0xc0, 0x80, 0x10, 0xe5, 0x96, 0x56, 0x69, 0x24, 0xca, 0xe0,
                                          0x10, 0x00, 0x00, 0x3e, 0x80, 0x00, 0x06, 0x1a, 0x80, 0x80};

} // namespace

int main()
{
    h265_stream::CParameterSetTables tables({});
    const std::span<const unsigned char> nalUnit(SPS_NAL_UNIT);
    for (const std::string& line : tables.readNalUnit(nalUnit.first(7)).logLines) // StreamHost catches the lines
        tqlog::CTQLog::m_pLogPrintf((line + '\n').c_str());
    tables.readNalUnit(nalUnit);
    const h265_codec::SPS* const sps = tables.sps(0);
    if (sps == nullptr)
        return 1;
    std::printf("%dx%d, the scan of 4x4 ends at %d\n",
                sps->pic_width_in_luma_samples,
                sps->pic_height_in_luma_samples,
                h265_codec::g_pScanIdx[0][0][15]);
    return 0;
}
