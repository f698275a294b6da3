// makeStream BYTES SETS: writes an Annex B stream of about so many bytes, with so many parameter sets
// spread over it, to standard output. The sets are those of corpus files, repeated as encoders repeat
// them; between them stand NAL units of pseudo-random slice data.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "Inputs.h"

using namespace h265_bench;

namespace {

constexpr char HEADERS_STREAM[] = "size_1920x1080.hevc";
constexpr std::size_t SLICES_BEFORE_REPEATING = std::size_t{16} << 20;

void put(const unsigned char* pBytes, std::size_t uiSize)
{
    if (std::fwrite(pBytes, 1, uiSize, stdout) != uiSize)
        std::exit(2);
}

void putUnit(const Bytes& unit)
{
    constexpr unsigned char START_CODE[] = {0, 0, 0, 1};
    put(START_CODE, sizeof(START_CODE));
    put(unit.data(), unit.size());
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: makeStream BYTES SETS\n", stderr);
        return 2;
    }
    try {
        const std::size_t uiBytes = std::strtoull(argv[1], nullptr, 10);
        const std::size_t uiSets = std::strtoull(argv[2], nullptr, 10);
        const std::vector<Bytes> headers = parameterSetsOf(HEADERS_STREAM); // VPS, SPS, PPS
        const std::size_t uiGroups = (uiSets + headers.size() - 1) / headers.size();
        const std::size_t uiPerGroup = uiBytes / (uiGroups == 0 ? 1 : uiGroups);
        const Bytes slices = makeSliceData(SLICES_BEFORE_REPEATING + uiPerGroup);
        std::size_t uiSetsLeft = uiSets;
        for (std::size_t i = 0; i < uiGroups; ++i) {
            for (std::size_t j = 0; j < headers.size() && uiSetsLeft != 0; ++j, --uiSetsLeft)
                putUnit(headers[j]);
            // A slice that ends in a stop bit, wherever it was cut.
            const std::size_t uiFirst = i * uiPerGroup % SLICES_BEFORE_REPEATING;
            const unsigned char aucHeader[] = {0, 0, 0, 1, 0x02, 0x01, 0x80}; // TRAIL_R
            const unsigned char ucStop = 0x80;
            put(aucHeader, sizeof(aucHeader));
            put(&slices[uiFirst], uiPerGroup);
            put(&ucStop, 1);
        }
        return std::fflush(stdout) == 0 ? 0 : 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "makeStream: %s\n", error.what());
        return 2;
    }
}
