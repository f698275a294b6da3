#include "EventCheck.h"

using namespace h265_fuzz;
using namespace h265_stream;

// The whole way of a stream: NAL units, RBSPs, tables, readers and the real pool. The same bytes in
// pieces of another size must give the same events.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    StreamOptions options;
    options.eReader = input.below(2) != 0 ? EBitReader::Decoder : EBitReader::Rbsp;
    options.iLogLevel = static_cast<int>(input.below(4));
    options.bEnterUnverified = input.below(2) != 0;
    options.ulPoolBytes = 4096 * (1 + std::uint64_t{input.u8()});
    const std::size_t uiPieceBytes = 1 + input.u8();
    const std::size_t uiOtherPieceBytes = input.u8() << 4;
    const std::vector<unsigned char> bytes = input.rest();

    CParameterSetStream stream(options);
    CParameterSetStream other(options);
    const std::vector<EventRecord> events = readChecked(stream, bytes, uiPieceBytes);
    check(readChecked(other, bytes, uiOtherPieceBytes) == events, "pieces do not change what is read");
    check(readChecked(stream, bytes, 0) == events, "an earlier stream does not change what is read");
    return 0;
}
