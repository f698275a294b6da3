#include "EditedStream.h"
#include "FuzzInput.h"

using namespace h265_fuzz;
using namespace h265_test;

// A stream with changed parameter sets: the settings as text, one a line, behind their length; then the stream.
// Without a setting it is the same stream, pieces change nothing, and no NAL unit comes or goes.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    const bool bForce = input.below(2) != 0;
    const std::size_t uiPieceBytes = 1 + input.u8();
    const std::vector<unsigned char> text = input.bytes();
    const std::vector<unsigned char> stream = input.rest();
    check(edited(stream, {}, bForce, uiPieceBytes).bytes == stream, "without a setting nothing changes");

    std::vector<std::string> settings(1);
    for (const unsigned char c : text) {
        if (c == '\n' && settings.size() < 4)
            settings.emplace_back();
        else
            settings.back() += static_cast<char>(c);
    }
    try {
        const EditedStream after = edited(stream, settings, bForce, uiPieceBytes);
        const EditedStream whole = edited(stream, settings, bForce);
        check(whole.outcome.refusals.size() == after.outcome.refusals.size(), "pieces do not change what is refused");
        check(whole.outcome.impossible.size() == after.outcome.impossible.size(), "nor what cannot be written");
        if (!after.outcome.refusals.empty() || !after.outcome.impossible.empty())
            return 0; // what was written is of no use
        check(whole.bytes == after.bytes, "pieces do not change what is written");
        check(unitsOf(after.bytes).size() == unitsOf(stream).size(), "no NAL unit comes or goes");
    } catch (const h265_inspect::CSettingError&) {
        return 0; // no setting for this stream
    }
    return 0;
}
