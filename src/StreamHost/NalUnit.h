#pragma once

#include <cstddef>
#include <cstdint>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_stream {

/// Table 7-1, the types that this library looks into.
inline constexpr unsigned char VPS_NUT = 32;
inline constexpr unsigned char SPS_NUT = 33;
inline constexpr unsigned char PPS_NUT = 34;

/// Bytes of a parameter set that are kept and handed on. Far above what any parameter set needs.
inline constexpr std::size_t MAX_PARAMETER_SET_BYTES = std::size_t{16} << 20;

/// Bytes of any other NAL unit that are handed on: enough for what a slice segment header begins with, up to
/// slice_pic_parameter_set_id.
inline constexpr std::size_t MAX_OTHER_UNIT_BYTES = 16;

/// Bytes of the header. A unit of one byte is cut off in it: its layer and temporal id are not known.
inline constexpr std::size_t NAL_UNIT_HEADER_BYTES = 2;

/// Whether NAL units of the type are VPS, SPS or PPS.
constexpr bool isParameterSet(unsigned char nal_unit_type) noexcept
{
    return nal_unit_type >= VPS_NUT && nal_unit_type <= PPS_NUT;
}

/// 7.3.1.2 nal_unit_header( ). What a unit of one byte does not tell is 0 here.
struct NalUnitHeader
{
    bool forbidden_zero_bit;
    unsigned char nal_unit_type;         // 0 … 63
    unsigned char nuh_layer_id;          // 0 … 63
    unsigned char nuh_temporal_id_plus1; // 0 … 7; 0 is forbidden
};

/// Parses the header from the first two bytes of a NAL unit.
constexpr NalUnitHeader parseNalUnitHeader(unsigned char ucFirst, unsigned char ucSecond) noexcept
{
    const unsigned uiBits = static_cast<unsigned>(ucFirst) << 8 | ucSecond;
    return {(uiBits & 0x8000U) != 0,
            static_cast<unsigned char>(uiBits >> 9 & 0x3f),
            static_cast<unsigned char>(uiBits >> 3 & 0x3f),
            static_cast<unsigned char>(uiBits & 7)};
}

} // namespace h265_stream
