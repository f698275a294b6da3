#pragma once

#include <cstdint>
#include <vector>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

/// I.7.3.2.3.8 delta_lookup_table( )
struct DeltaLookupTable
{
    std::uint32_t num_val_delta_dlt = 0;                 // u(v)
    std::uint32_t max_diff = 0;                          // u(v)
    std::uint32_t min_diff_minus1 = 0;                   // u(v), 2^32 - 1 when max_diff is 0
    std::uint32_t delta_dlt_val0 = 0;                    // u(v)
    std::vector<std::uint32_t> delta_val_diff_minus_min; // u(v); entry 0 is not coded
};

} // namespace h265_syntax
