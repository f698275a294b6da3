#include "DepthLookupSyntax.h"

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

// I.7.3.2.3.8
template <class TUse>
void delta_lookup_table(TUse& use, Of<TUse, DeltaLookupTable>& s, unsigned i,
                        unsigned pps_bit_depth_for_depth_layers_minus8)
{
    const Inside inside(use, "delta_lookup_table", i);
    const unsigned uiBitDepth = pps_bit_depth_for_depth_layers_minus8 + 8;
    UV(uiBitDepth, num_val_delta_dlt);
    if (s.num_val_delta_dlt > 0) {
        if (s.num_val_delta_dlt > 1)
            UV(uiBitDepth, max_diff);
        else
            INFER(max_diff, 0); // I.7.4.3.3.8
        if (s.num_val_delta_dlt > 2 && s.max_diff > 0)
            UV(ceilLog2(s.max_diff + std::uint64_t{1}), min_diff_minus1);
        else
            INFER(min_diff_minus1, s.max_diff - 1); // I.7.4.3.3.8
        UV(uiBitDepth, delta_dlt_val0);
        const std::uint32_t minDiff = s.min_diff_minus1 + 1;
        if (s.max_diff > minDiff) {
            for (std::uint32_t k = 1; k < use.upTo(s.num_val_delta_dlt); ++k) {
                ROOM(delta_val_diff_minus_min, k);
                UV(ceilLog2(s.max_diff - minDiff + std::uint64_t{1}), delta_val_diff_minus_min, k);
            }
        }
    }
}

#define INSTANTIATE(TUse) template void delta_lookup_table(TUse&, Of<TUse, DeltaLookupTable>&, unsigned, unsigned);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
