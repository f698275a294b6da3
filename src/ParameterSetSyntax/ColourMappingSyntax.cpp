#include "ColourMappingSyntax.h"

#include "Description.h"
#include "Descriptions.h"

namespace h265_syntax {

namespace {

// F.7.4.3.3.6 (F-62): the length of res_coeff_r
std::uint64_t resLsBits(const ColourMappingTable& s)
{
    const std::int64_t CMResLSBits = std::int64_t{10} + s.luma_bit_depth_cm_input_minus8 -
                                     s.luma_bit_depth_cm_output_minus8 - s.cm_res_quant_bits -
                                     (s.cm_delta_flc_bits_minus1 + 1);
    return CMResLSBits > 0 ? static_cast<std::uint64_t>(CMResLSBits) : 0;
}

// Where the next octant and the next part of the table are stored.
struct OctantPlace
{
    std::size_t uiOctant = 0;
    std::size_t uiPart = 0;
};

template <class TUse>
void codedPart(TUse& use, Of<TUse, ColourMappingPart>& s, std::uint64_t CMResLSBits, unsigned idxShiftY, unsigned idxCb,
               unsigned idxCr)
{
    INFER(idxShiftY, idxShiftY);
    INFER(idxCb, idxCb);
    INFER(idxCr, idxCr);
    for (unsigned j = 0; j < 4; ++j) {
        U_AS(1, coded_res_flag, s.coded_res_flag[j], idxShiftY, idxCb, idxCr, j);
        if (s.coded_res_flag[j]) {
            for (unsigned c = 0; c < 3; ++c) {
                UE_AS(res_coeff_q, s.res_coeff_q[j][c], idxShiftY, idxCb, idxCr, j, c);
                UV_AS(CMResLSBits, res_coeff_r, s.res_coeff_r[j][c], idxShiftY, idxCb, idxCr, j, c);
                if (s.res_coeff_q[j][c] != 0 || s.res_coeff_r[j][c] != 0)
                    U_AS(1, res_coeff_s, s.res_coeff_s[j][c], idxShiftY, idxCb, idxCr, j, c);
                else
                    use.infer(s.res_coeff_s[j][c], 0); // F.7.4.3.3.6
            }
        }
    }
}

// F.7.3.2.3.6; cm_octant_depth, of two bits, bounds the depth.
template <class TUse>
void colour_mapping_octants(TUse& use, Of<TUse, ColourMappingTable>& s, OctantPlace& place, unsigned inpDepth,
                            unsigned idxY, unsigned idxCb, unsigned idxCr, unsigned inpLength)
{
    const Inside inside(use, "colour_mapping_octants");
    const unsigned PartNumY = 1U << s.cm_y_part_num_log2;
    const std::size_t uiOctant = place.uiOctant++;
    ROOM(split_octant_flag, uiOctant);
    if (use.upTo(1) == 0)
        return;
    if (inpDepth < s.cm_octant_depth)
        U_AS(1, split_octant_flag, ENTRY(split_octant_flag, uiOctant));
    else
        INFER(split_octant_flag, 0, uiOctant); // F.7.4.3.3.6
    if (ENTRY(split_octant_flag, uiOctant) != 0) {
        for (unsigned k = 0; k < use.upTo(2); ++k) {
            for (unsigned m = 0; m < 2; ++m) {
                for (unsigned n = 0; n < 2; ++n)
                    colour_mapping_octants(use,
                                           s,
                                           place,
                                           inpDepth + 1,
                                           idxY + PartNumY * k * inpLength / 2,
                                           idxCb + m * inpLength / 2,
                                           idxCr + n * inpLength / 2,
                                           inpLength / 2);
            }
        }
    } else {
        for (unsigned i = 0; i < use.upTo(PartNumY); ++i) {
            const unsigned idxShiftY = idxY + (i << (s.cm_octant_depth - inpDepth));
            const std::size_t uiPart = place.uiPart++;
            ROOM(parts, uiPart);
            codedPart(use, ENTRY(parts, uiPart), resLsBits(s), idxShiftY, idxCb, idxCr);
        }
    }
}

} // namespace

// F.7.3.2.3.5
template <class TUse>
void colour_mapping_table(TUse& use, Of<TUse, ColourMappingTable>& s)
{
    const Inside inside(use, "colour_mapping_table");
    UE_UPTO(61, num_cm_ref_layers_minus1);
    for (unsigned i = 0; i < use.upTo(s.num_cm_ref_layers_minus1 + 1); ++i)
        U(6, cm_ref_layer_id, i);
    U(2, cm_octant_depth);
    U(2, cm_y_part_num_log2);
    UE(luma_bit_depth_cm_input_minus8);
    UE(chroma_bit_depth_cm_input_minus8);
    UE(luma_bit_depth_cm_output_minus8);
    UE(chroma_bit_depth_cm_output_minus8);
    U(2, cm_res_quant_bits);
    U(2, cm_delta_flc_bits_minus1);
    if (s.cm_octant_depth == 1) {
        SE(cm_adapt_threshold_u_delta);
        SE(cm_adapt_threshold_v_delta);
    } else {
        INFER(cm_adapt_threshold_u_delta, 0); // F.7.4.3.3.5
        INFER(cm_adapt_threshold_v_delta, 0); // F.7.4.3.3.5
    }
    OctantPlace place;
    if (use.upTo(1) != 0)
        colour_mapping_octants(use, s, place, 0, 0, 0, 0, 1U << s.cm_octant_depth);
}

#define INSTANTIATE(TUse) template void colour_mapping_table(TUse&, Of<TUse, ColourMappingTable>&);
H265_FOR_EACH_USE(INSTANTIATE)

} // namespace h265_syntax
