#pragma once

#include "Finding.h"
#include "PictureParameterSetSyntax.h"
#include "Profiles.h"
#include "SequenceParameterSetSyntax.h"

namespace h265_syntax {

/// A.3: what an SPS must be under each profile that it claims to conform to, by general_profile_idc or by a
/// general_profile_compatibility_flag.
void checkProfilesOfSps(const SequenceParameterSet& s, CFindings& findings);

/// A.3: likewise of a PPS, under the profiles that its SPS claims.
void checkProfilesOfPps(const PictureParameterSet& s, const SequenceParameterSet& sps, CFindings& findings);

/// The profile that a set names; null for a reserved one.
[[nodiscard]] const Profile* profileOf(const ProfileTierLevel& s) noexcept;

} // namespace h265_syntax
