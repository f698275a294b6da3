#pragma once

#include <span>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_syntax {

/// general_profile_idc of the profiles (A.3, G.11, H.11, I.11).
enum EProfile : unsigned
{
    PROFILE_MAIN = 1,
    PROFILE_MAIN_10 = 2,
    PROFILE_MAIN_STILL_PICTURE = 3,
    PROFILE_RANGE_EXTENSIONS = 4,
    PROFILE_HIGH_THROUGHPUT = 5,
    PROFILE_MULTIVIEW_MAIN = 6,
    PROFILE_SCALABLE_MAIN = 7,
    PROFILE_3D_MAIN = 8,
    PROFILE_SCREEN_EXTENDED = 9,
    PROFILE_SCALABLE_RANGE_EXTENSIONS = 10,
    PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED = 11
};

/// The ten flags that tell the profiles of one general_profile_idc apart, as characters '0' and '1' in
/// coding order: max_14bit, max_12bit, max_10bit, max_8bit, max_422chroma, max_420chroma, max_monochrome,
/// intra, one_picture_only, lower_bit_rate.
struct ConstraintFlags
{
    char aFlags[10];
};

/// A profile, and what it makes of the levels' limits.
struct Profile
{
    EProfile general_profile_idc;
    const char* pName;
    const char* pFlags; // as in ConstraintFlags, '-' for either; null where the profile has no such flags
    unsigned uiMaxBitDepth;
    unsigned uiMaxChromaFormat; // the highest chroma_format_idc
    unsigned uiMinChromaFormat;
    unsigned CpbVclFactor; // Table A.10
    unsigned CpbNalFactor;
};

/// All profiles, each general_profile_idc's from the narrowest to the widest.
[[nodiscard]] std::span<const Profile> profiles() noexcept;

/// The narrowest profile of a general_profile_idc whose flags a stream keeps to; null where there is none.
[[nodiscard]] const Profile* findProfile(unsigned general_profile_idc, const ConstraintFlags& flags) noexcept;

/// Whether a profile of a general_profile_idc has these flags exactly. Others are reserved, although a stream with
/// them may keep to more than findProfile asks for.
[[nodiscard]] bool isListed(unsigned general_profile_idc, const ConstraintFlags& flags) noexcept;

/// The name of all profiles of a general_profile_idc ("Range Extensions"); null for a reserved value.
[[nodiscard]] const char* profileGroupName(unsigned general_profile_idc) noexcept;

/// A.4.2: how often the bit rate factors contain the CPB factors of the profile.
[[nodiscard]] unsigned hbrFactor(const Profile& profile, bool general_lower_bit_rate_constraint_flag) noexcept;

} // namespace h265_syntax
