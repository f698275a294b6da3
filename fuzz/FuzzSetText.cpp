#include <array>
#include <string>

#include "ContainerCheck.h"
#include "SessionDescription.h"
#include "SetText.h"

using namespace h265_container;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    h265_fuzz::checkContainer(pData, uiSize, h265_fuzz::EForward::Less, readSessionDescription);
    for (const ETextForm eForm : {ETextForm::Hex, ETextForm::Base64}) {
        h265_fuzz::checkContainer(pData, uiSize, h265_fuzz::EForward::Less, [&](auto& source, const auto&, auto& sink) {
            std::array<unsigned char, 4096> bytes{};
            const std::size_t uiRead = source.read(0, bytes);
            readSetText(std::string(bytes.begin(), bytes.begin() + uiRead), eForm, sink);
        });
    }
    return 0;
}
