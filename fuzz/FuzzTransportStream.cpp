#include "ContainerCheck.h"
#include "TransportStream.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    h265_fuzz::checkContainer(
        pData, uiSize, h265_fuzz::EForward::Same, [](auto& source, const auto& options, auto& sink) {
            h265_container::readTransportStream(source, options, sink);
        });
    return 0;
}
