// syntaxInstructions vps|sps|pps N: reads one set of an encoder (1080p, with VUI and HRD) N times with
// ParameterSetSyntax, into one structure. bench/run counts the instructions of N and 2N.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "ParameterSetSyntax.h"

using namespace h265_syntax;

namespace {

constexpr std::string_view VPS_BYTES = "40010c01ffff016000000300900000030000030078959809";
constexpr std::string_view SPS_BYTES =
    "420101016000000300900000030000030078a003c08010e596566924caf01420202020800000030080"
    "00000f30d647370007a12000f42440";
constexpr std::string_view PPS_BYTES = "4401c172b46240";

std::vector<unsigned char> bytesOf(std::string_view hex)
{
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<unsigned char>(std::stoul(std::string(hex.substr(i, 2)), nullptr, 16)));
    return bytes;
}

template <class TSet>
bool readTimes(std::string_view hex, unsigned long ulTimes)
{
    const CNalUnit nalUnit(bytesOf(hex));
    TSet set;
    bool bRead = true;
    for (unsigned long i = 0; i < ulTimes; ++i)
        bRead = read(set, nalUnit) && bRead;
    return bRead;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: syntaxInstructions vps|sps|pps N\n", stderr);
        return 2;
    }
    const std::string_view name = argv[1];
    const unsigned long ulTimes = std::strtoul(argv[2], nullptr, 10);
    if (name == "vps")
        return readTimes<VideoParameterSet>(VPS_BYTES, ulTimes) ? 0 : 1;
    if (name == "sps")
        return readTimes<SequenceParameterSet>(SPS_BYTES, ulTimes) ? 0 : 1;
    return readTimes<PictureParameterSet>(PPS_BYTES, ulTimes) ? 0 : 1;
}
