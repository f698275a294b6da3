#pragma once

#include <cstdint>
#include <vector>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

/// What colour_mapping_octants( ) codes for one part of an octant that is not split: the elements that
/// the table indexes by idxShiftY, idxCb, idxCr, then j and c.
struct ColourMappingPart
{
    unsigned idxShiftY = 0;
    unsigned idxCb = 0;
    unsigned idxCr = 0;
    bool coded_res_flag[4] = {};
    std::uint32_t res_coeff_q[4][3] = {}; // ue(v)
    std::uint32_t res_coeff_r[4][3] = {}; // u(v)
    bool res_coeff_s[4][3] = {};
};

/// F.7.3.2.3.5 colour_mapping_table( ) with F.7.3.2.3.6 colour_mapping_octants( )
struct ColourMappingTable
{
    std::uint32_t num_cm_ref_layers_minus1 = 0; // ue(v), 0 to 61
    std::uint16_t cm_ref_layer_id[62] = {};     // u(6)
    std::uint16_t cm_octant_depth = 0;          // u(2)
    std::uint16_t cm_y_part_num_log2 = 0;       // u(2)
    std::uint32_t luma_bit_depth_cm_input_minus8 = 0;
    std::uint32_t chroma_bit_depth_cm_input_minus8 = 0;
    std::uint32_t luma_bit_depth_cm_output_minus8 = 0;
    std::uint32_t chroma_bit_depth_cm_output_minus8 = 0;
    std::uint16_t cm_res_quant_bits = 0;         // u(2)
    std::uint16_t cm_delta_flc_bits_minus1 = 0;  // u(2)
    std::int32_t cm_adapt_threshold_u_delta = 0; // se(v)
    std::int32_t cm_adapt_threshold_v_delta = 0; // se(v)

    std::vector<unsigned char> split_octant_flag; // of every octant, in coding order; 0 where it is not coded
    std::vector<ColourMappingPart> parts;         // in coding order; entries of an earlier table may follow
};

} // namespace h265_syntax
