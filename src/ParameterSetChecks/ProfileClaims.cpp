#include "ProfileClaims.h"

namespace h265_syntax {

unsigned maxBitDepth(const Claim& claim) noexcept
{
    const ProfileTierLevel& ptl = claim.ptl;
    const unsigned uiProfile = claim.uiProfile;
    if (!isByFlags(uiProfile))
        return uiProfile == PROFILE_MAIN_10 ? 10 : 8;
    if (uiProfile == PROFILE_SCALABLE_MAIN)
        return ptl.general_max_8bit_constraint_flag ? 8 : 10;
    return ptl.general_max_8bit_constraint_flag    ? 8
           : ptl.general_max_10bit_constraint_flag ? 10
           : ptl.general_max_12bit_constraint_flag ? 12
           : isMax14Bit(ptl)                       ? 14
                                                   : 16;
}

unsigned maxChromaFormat(const Claim& claim) noexcept
{
    const ProfileTierLevel& ptl = claim.ptl;
    const unsigned uiProfile = claim.uiProfile;
    if (!isByFlags(uiProfile) || uiProfile == PROFILE_SCALABLE_MAIN)
        return 1;
    return ptl.general_max_monochrome_constraint_flag  ? 0
           : ptl.general_max_420chroma_constraint_flag ? 1
           : ptl.general_max_422chroma_constraint_flag ? 2
                                                       : 3;
}

unsigned minChromaFormat(const Claim& claim) noexcept
{
    const unsigned uiProfile = claim.uiProfile;
    return (isByFlags(uiProfile) && uiProfile != PROFILE_SCALABLE_MAIN) || uiProfile == PROFILE_3D_MAIN ? 0 : 1;
}

const char* nameOfChromaFormat(std::uint32_t chroma_format_idc) noexcept
{
    constexpr const char* NAMES[] = {"4:0:0", "4:2:0", "4:2:2", "4:4:4"};
    return NAMES[chroma_format_idc & 3U];
}

} // namespace h265_syntax
