#pragma once

#include <cstdint>

namespace h265_stream {

/// Table 7-1, the types that this library looks into.
inline constexpr unsigned char VPS_NUT = 32;
inline constexpr unsigned char SPS_NUT = 33;
inline constexpr unsigned char PPS_NUT = 34;

/// 7.3.1.2 nal_unit_header( ). Bits that a unit of one byte does not have count as 0.
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
