#pragma once

#include "Finding.h"

namespace h265_syntax {

/// 7.4.3.1, 7.4.3.2.1: the picture buffers and reordering of the sub-layers, which VPS and SPS have alike. buffering( i
/// ) and reordering( i ) are the elements of sub-layer i; what is inferred is that of the highest one, uiHighest.
template <class TBuffering, class TReordering>
void checkOrderingInfo(bool bOfEachSubLayer, unsigned uiHighest, TBuffering buffering, TReordering reordering,
                       const char* pClause, CChecks& checks)
{
    constexpr std::int64_t MAX_DPB_SIZE = 16; // A.4.2: of any level
    for (unsigned i = bOfEachSubLayer ? 0 : uiHighest; i <= uiHighest; ++i) {
        const Blamed buffers = buffering(i);
        const Blamed reorders = reordering(i);
        checks.range(buffers, 0, MAX_DPB_SIZE - 1, pClause);
        checks.range(reorders, 0, buffers.iValue, pClause);
        if (i == 0 || !bOfEachSubLayer)
            continue;
        SHALL(buffers.iValue >= buffering(i - 1).iValue,
              buffers,
              pClause,
              say("at least ", buffering(i - 1).iValue),
              "a higher sub-layer needs no smaller picture buffer than the one below it");
        SHALL(reorders.iValue >= reordering(i - 1).iValue,
              reorders,
              pClause,
              say("at least ", reordering(i - 1).iValue),
              "a higher sub-layer reorders no fewer pictures than the one below it");
    }
}

} // namespace h265_syntax
