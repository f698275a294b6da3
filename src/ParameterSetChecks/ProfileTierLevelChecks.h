#pragma once

#include "Finding.h"
#include "ProfileTierLevelSyntax.h"
#include "Profiles.h"

namespace h265_syntax {

/// 7.4.4: what profile_tier_level( ) must be by itself. uiMaxSubLayersMinus1 as the syntax has it.
/// bGeneralProfile is profilePresentFlag.
void checkProfileTierLevel(const ProfileTierLevel& s, unsigned uiMaxSubLayersMinus1, CChecks checks,
                           bool bProfilePresent = true);

/// The profile that a set names; null for a reserved one.
[[nodiscard]] const Profile* profileOf(const ProfileTierLevel& s) noexcept;

/// The general_ flags that tell profiles of one idc apart.
[[nodiscard]] ConstraintFlags constraintFlags(const ProfileTierLevel& s) noexcept;

/// general_max_14bit_constraint_flag, where it is coded: the profiles that have it are few.
[[nodiscard]] bool isMax14Bit(const ProfileTierLevel& s) noexcept;

/// What sub-layer i says of itself, where the whole stream says it; without its level.
[[nodiscard]] ProfileTierLevel ofSubLayer(const ProfileTierLevel& s, unsigned i) noexcept;

/// 7.4.4: the level_idc of sub-layer i; one that has none of its own has that of the next higher one.
[[nodiscard]] unsigned levelOfSubLayer(const ProfileTierLevel& s, unsigned i, unsigned uiMaxSubLayersMinus1) noexcept;

/// Whether a set claims to conform to a profile: by its general_profile_idc or a compatibility flag.
[[nodiscard]] bool claims(const ProfileTierLevel& s, unsigned uiProfile) noexcept;

} // namespace h265_syntax
