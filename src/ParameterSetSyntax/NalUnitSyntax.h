#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

/// 7.3.1.2 nal_unit_header( )
struct NalUnitHeader
{
    bool forbidden_zero_bit = false;
    std::uint16_t nal_unit_type = 0;         // u(6)
    std::uint16_t nuh_layer_id = 0;          // u(6)
    std::uint16_t nuh_temporal_id_plus1 = 1; // u(3)
};

/// What stands behind the last syntax element of a set. Regular: rbsp_trailing_bits( ), 7.3.2.11, and
/// nothing more; else the bits as they are.
struct RbspTrailing
{
    bool bRegular = true;
    std::uint64_t uiBits = 0;         // when not regular
    std::vector<unsigned char> bytes; // these bits, the first in the top bit of the first byte
};

/// A NAL unit taken apart: header, RBSP, and where its emulation prevention bytes were (7.3.1.1). Keeps
/// its memory for the next one.
class CNalUnit
{
public:
    CNalUnit() = default;
    explicit CNalUnit(std::span<const unsigned char> nalUnit) { assign(nalUnit); }

    /// Takes the bytes between two start codes. Fewer than two bytes: no header, an empty RBSP.
    void assign(std::span<const unsigned char> nalUnit);

    [[nodiscard]] const NalUnitHeader& header() const { return m_header; }
    /// Readable for eight more bytes, which are zero.
    [[nodiscard]] std::span<const unsigned char> rbsp() const { return {m_rbsp.data(), m_uiRbspBytes}; }
    /// The bit of the NAL unit that a bit of the RBSP stands in; the bit behind the last one is allowed.
    [[nodiscard]] std::uint64_t nalBit(std::uint64_t uiRbspBit) const;
    /// The byte of the NAL unit where bytes begin that no NAL unit may hold (7.4.2.1): emulation prevention was left
    /// out, and other readers see another set, or a start code. None where there are none but zeros at the end.
    [[nodiscard]] std::optional<std::uint64_t> forbiddenByte() const { return m_forbiddenByte; }

private:
    NalUnitHeader m_header;
    std::vector<unsigned char> m_rbsp;
    std::size_t m_uiRbspBytes = 0;
    std::optional<std::uint64_t> m_forbiddenByte;
    std::vector<std::size_t> m_preventions; // RBSP bytes in front of each emulation prevention byte
};

/// Appends a NAL unit: header, and the RBSP with emulation prevention, 7.3.1.1 and 7.4.2.1.
void appendNalUnit(std::vector<unsigned char>& out, const NalUnitHeader& header, std::span<const unsigned char> rbsp);

} // namespace h265_syntax
