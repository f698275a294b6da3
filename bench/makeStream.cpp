// makeStream BYTES SETS [different]: writes an Annex B stream of about so many bytes, with so many parameter
// sets spread over it, to standard output. The sets are those of corpus files, repeated as encoders repeat
// them, or each different from all before it; between them stand NAL units of pseudo-random slice data.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Inputs.h"
#include "ParameterSetSyntax.h"

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

// The i-th of many sets that differ in what changes nothing else.
template <class TSet>
Bytes rewritten(const Bytes& unit, std::initializer_list<std::pair<const char*, std::int64_t>> values)
{
    TSet set;
    h265_syntax::read(set, h265_syntax::CNalUnit(unit));
    for (const auto& [pPath, iValue] : values) {
        if (!h265_syntax::assign(set, pPath, iValue))
            throw std::runtime_error(std::string("no element ") + pPath);
    }
    Bytes written;
    if (const h265_syntax::Stop stop = h265_syntax::write(set, written))
        throw std::runtime_error(stop.message());
    return written;
}

std::vector<Bytes> different(const std::vector<Bytes>& headers, std::size_t i)
{
    using namespace h265_syntax;
    const auto n = static_cast<std::int64_t>(i);
    return {rewritten<VideoParameterSet>(
                headers.at(0),
                {{"vps_timing_info_present_flag", 1}, {"vps_num_units_in_tick", n + 1}, {"vps_time_scale", 25}}),
            rewritten<SequenceParameterSet>(headers.at(1),
                                            {{"vui_parameters_present_flag", 1},
                                             {"vui_parameters.vui_timing_info_present_flag", 1},
                                             {"vui_parameters.vui_num_units_in_tick", n + 1},
                                             {"vui_parameters.vui_time_scale", 25}}),
            rewritten<PictureParameterSet>(headers.at(2),
                                           {{"num_ref_idx_l0_default_active_minus1", n % 15},
                                            {"num_ref_idx_l1_default_active_minus1", n / 15 % 15},
                                            {"init_qp_minus26", n / 225 % 50 - 25}})};
}

} // namespace

int main(int argc, char** argv)
{
    const bool bDifferent = argc == 4 && std::string_view(argv[3]) == "different";
    if (argc != 3 && !bDifferent) {
        std::fputs("usage: makeStream BYTES SETS [different]\n", stderr);
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
            const std::vector<Bytes> sets = bDifferent ? different(headers, i) : headers;
            for (std::size_t j = 0; j < sets.size() && uiSetsLeft != 0; ++j, --uiSetsLeft)
                putUnit(sets[j]);
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
