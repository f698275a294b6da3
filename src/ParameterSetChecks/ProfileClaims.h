#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "Finding.h"
#include "ProfileTierLevelChecks.h"
#include "Profiles.h"

namespace h265_syntax {

/// A profile that a set claims to conform to: where it claims it, general_profile_idc, how a sentence names it,
/// and its clause.
struct Claim
{
    const ProfileTierLevel& ptl;
    unsigned uiProfile;
    std::string name;
    const char* pClause;
};

/// The clause of each general_profile_idc.
inline constexpr const char* PROFILE_CLAUSES[] = {
    "", "A.3.2", "A.3.3", "A.3.4", "A.3.5", "A.3.6", "G.11.1.1", "H.11.1.1", "I.11.1.1", "A.3.7", "H.11.1.2", "A.3.8"};

/// Profiles of Annex A. In a multilayer profile the base layer is what its own claims of Main or Main 10 say.
[[nodiscard]] constexpr bool isOfOneLayer(unsigned uiProfile) noexcept
{
    return uiProfile < PROFILE_MULTIVIEW_MAIN || uiProfile == PROFILE_SCREEN_EXTENDED ||
           uiProfile == PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED;
}

/// Profiles that the constraint flags tell apart.
[[nodiscard]] constexpr bool isByFlags(unsigned uiProfile) noexcept
{
    return uiProfile == PROFILE_SCALABLE_MAIN || (uiProfile >= PROFILE_RANGE_EXTENSIONS && isOfOneLayer(uiProfile)) ||
           uiProfile == PROFILE_SCALABLE_RANGE_EXTENSIONS;
}

/// Not those of one layer's Main and Main 10, nor of layers that are made of these.
[[nodiscard]] constexpr bool hasRangeTools(unsigned uiProfile) noexcept
{
    return isByFlags(uiProfile) && uiProfile != PROFILE_SCALABLE_MAIN;
}

[[nodiscard]] constexpr bool isScreenContent(unsigned uiProfile) noexcept
{
    return uiProfile == PROFILE_SCREEN_EXTENDED || uiProfile == PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED;
}

[[nodiscard]] constexpr bool isHighThroughput(unsigned uiProfile) noexcept
{
    return uiProfile == PROFILE_HIGH_THROUGHPUT || uiProfile == PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED;
}

/// What a claim allows of the pictures' format.
[[nodiscard]] unsigned maxBitDepth(const Claim& claim) noexcept;
[[nodiscard]] unsigned maxChromaFormat(const Claim& claim) noexcept; // chroma_format_idc
[[nodiscard]] unsigned minChromaFormat(const Claim& claim) noexcept;

/// Table 6-1: "4:2:0"; of chroma_format_idc 0 to 3.
[[nodiscard]] const char* nameOfChromaFormat(std::uint32_t chroma_format_idc) noexcept;

/// Calls check( claim ) for each profile of Annex A that a set claims.
template <class TCheck>
void forEachClaim(const ProfileTierLevel& ptl, TCheck check)
{
    for (unsigned uiProfile = PROFILE_MAIN; uiProfile <= PROFILE_HIGH_THROUGHPUT_SCREEN_EXTENDED; ++uiProfile) {
        if (!claims(ptl, uiProfile) || !isOfOneLayer(uiProfile))
            continue;
        std::string name = profileGroupName(uiProfile);
        if (ptl.general_profile_idc != uiProfile)
            name += say(" (by general_profile_compatibility_flag[", uiProfile, "])");
        check(Claim{ptl, uiProfile, std::move(name), PROFILE_CLAUSES[uiProfile]});
    }
}

} // namespace h265_syntax
