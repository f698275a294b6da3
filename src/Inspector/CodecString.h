#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_inspect {

/// Bytes of the part of profile_tier_level( ) that names a profile and a level: from general_profile_space
/// to general_level_idc. It begins with the second byte of the RBSP of an SPS, the fifth of a VPS.
inline constexpr std::size_t GENERAL_PTL_BYTES = 12;

/// The codecs parameter of ISO/IEC 14496-15, Annex E: "hvc1.2.4.L153.B0". sampleEntry: the name in front,
/// "hvc1" where there is no container to tell. generalPtl: of an RBSP, so without emulation prevention.
std::string codecString(std::string_view sampleEntry, std::span<const unsigned char, GENERAL_PTL_BYTES> generalPtl);

} // namespace h265_inspect
