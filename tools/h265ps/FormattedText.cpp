#define FMT_HEADER_ONLY // a static program needs no library for this one source
#include "FormattedText.h"

#include <iterator>

#include <fmt/format.h>

namespace h265ps {

void appendFormattedValues(std::string& text, fmt::string_view format, fmt::format_args values)
{
    fmt::vformat_to(std::back_inserter(text), format, values);
}

} // namespace h265ps
