#include <algorithm>

#include "Options.h"
#include "SetNames.h"

namespace h265ps {

bool Options::shows(const h265_stream::ParameterSetEvent& event) const
{
    const bool bType =
        types.empty() || std::find(types.begin(), types.end(), event.header.nal_unit_type) != types.end();
    return bType && (!uiId || idOf(event) == uiId);
}

} // namespace h265ps
