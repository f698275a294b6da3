#include "ContainerCheck.h"
#include "IsoBaseMedia.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    h265_fuzz::checkContainer(
        pData, uiSize, h265_fuzz::EForward::Less, [](auto& source, const auto& options, auto& sink) {
            h265_container::readIsoBaseMedia(source, options, sink);
        });
    return 0;
}
