#include "InputStream.h"

#include <optional>
#include <string_view>

#include "StreamLooks.h"

namespace h265ps {

std::unique_ptr<h265_stream::CByteSource> openInputStream(const std::string& file)
{
    std::unique_ptr<h265_stream::CByteSource> pSource = h265_stream::openByteSource(file);
    while (!looksSettled(pSource->head()) && pSource->growHead()) {
    }
    if (const std::optional<std::string_view> format = foreignFormat(pSource->head()))
        throw h265_stream::CSourceError("not an Annex B byte stream of H.265: it looks like " + std::string(*format),
                                        0);
    return pSource;
}

} // namespace h265ps
