#pragma once

#include <cstdint>
#include <string>

#include "Finding.h"

// Profile, tier and level in words, and which of their flags to blame.

namespace h265_inspect {

/// "level 5.1 (general_level_idc 153)", "level_idc 7" where there is no such level.
std::string levelText(unsigned general_level_idc);

/// "0x60000000"
std::string hexText(std::uint64_t ulValue, unsigned uiDigits);

/// "High tier"
std::string tierText(bool bHigh);

/// The compatibility flags of a mask: "general_profile_compatibility_flag[1], [2]".
std::string flagsText(std::uint32_t uiFlags);

/// The first flag of a mask.
unsigned firstFlag(std::uint32_t uiFlags);
h265_syntax::Blamed blamedFlag(std::uint32_t uiFlags, bool bValue);

/// The first constraint flag of a mask of 48 bits. Those behind the first four are named by the profile.
h265_syntax::Blamed blamedConstraint(std::uint64_t ulFlags, bool bValue);
std::string constraintsText(std::uint64_t ulFlags);

} // namespace h265_inspect
