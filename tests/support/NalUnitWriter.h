#pragma once

#include <cstddef>
#include <initializer_list>
#include <vector>

#include "BitWriter.h"

namespace h265_test {

using Bytes = std::vector<unsigned char>;

inline Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes result;
    for (const Bytes& part : parts)
        result.insert(result.end(), part.begin(), part.end());
    return result;
}

/// 7.3.1.2
struct NalUnitHeaderSyntax
{
    bool forbidden_zero_bit = false;
    unsigned nal_unit_type = 0;
    unsigned nuh_layer_id = 0;
    unsigned nuh_temporal_id_plus1 = 1;
};

/// 7.3.1.1: the header and the RBSP with emulation prevention.
inline Bytes nalUnit(const NalUnitHeaderSyntax& header, const Bytes& rbsp)
{
    CBitWriter writer;
    writer.flag(header.forbidden_zero_bit).u(6, header.nal_unit_type);
    Bytes result = writer.u(6, header.nuh_layer_id).u(3, header.nuh_temporal_id_plus1).bytes();
    unsigned uiZeros = 0;
    for (const unsigned char ucByte : rbsp) {
        if (uiZeros >= 2 && ucByte <= 3) {
            result.push_back(3);
            uiZeros = 0;
        }
        result.push_back(ucByte);
        uiZeros = ucByte == 0 ? uiZeros + 1 : 0;
    }
    return result;
}

inline Bytes nalUnit(unsigned nal_unit_type, const CBitWriter& rbsp)
{
    return nalUnit(NalUnitHeaderSyntax{.nal_unit_type = nal_unit_type}, rbsp.bytes());
}

/// Annex B: the NAL units behind start codes of four bytes.
inline Bytes byteStream(std::initializer_list<Bytes> nalUnits)
{
    Bytes result;
    for (const Bytes& unit : nalUnits) {
        result.insert(result.end(), {0, 0, 0, 1});
        result.insert(result.end(), unit.begin(), unit.end());
    }
    return result;
}

} // namespace h265_test
