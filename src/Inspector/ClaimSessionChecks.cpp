#include "ClaimSessionChecks.h"

#include <string>

#include "ClaimProfileText.h"

namespace h265_inspect {

using namespace h265_syntax;
using h265_container::Claim;
using h265_container::SessionClaim;

namespace {

constexpr std::string_view SESSION_CLAUSE = "RFC 7798 7.1";
constexpr unsigned PROFILES = 32; // that have a compatibility flag

void checkProfile(const SessionClaim& c, const ClaimedSps& sps, const CBoxChecks& checks)
{
    const ClaimedProfile& s = sps.set.profile_tier_level;
    SHALL(!c.profile_space || *c.profile_space == s.general_profile_space,
          BLAME(general_profile_space),
          SESSION_CLAUSE,
          say(*c.profile_space),
          "a=fmtp says profile-space ",
          *c.profile_space,
          ", ",
          sps.name(),
          " says ",
          s.general_profile_space);
    const auto isCompatible = [&](std::uint64_t ulProfile) {
        return ulProfile == s.general_profile_idc ||
               (ulProfile < PROFILES && (s.uiCompatibility >> (PROFILES - 1 - ulProfile) & 1) != 0);
    };
    SHALL(!c.profile_id || isCompatible(*c.profile_id),
          BLAME(general_profile_idc),
          SESSION_CLAUSE,
          say(*c.profile_id),
          "a=fmtp says profile-id ",
          *c.profile_id,
          ", ",
          sps.name(),
          " says ",
          s.general_profile_idc,
          " (",
          sps.gist.profile,
          ")");
}

// Flags that are claimed, and that the sequence does not set.
void checkFlags(const SessionClaim& c, const ClaimedSps& sps, const CBoxChecks& checks)
{
    const ClaimedProfile& s = sps.set.profile_tier_level;
    const std::uint32_t uiFlags =
        static_cast<std::uint32_t>(c.profile_compatibility_indicator.value_or(0)) & ~s.uiCompatibility;
    SHALL(uiFlags == 0,
          blamedFlag(uiFlags, false),
          SESSION_CLAUSE,
          "1",
          "a=fmtp says profile-compatibility-indicator ",
          hexText(*c.profile_compatibility_indicator, 8),
          ", ",
          sps.name(),
          " says ",
          hexText(s.uiCompatibility, 8));
    const std::uint64_t ulFlags = c.interop_constraints.value_or(0) & ~s.ulConstraints;
    SHALL(ulFlags == 0,
          blamedConstraint(ulFlags, false),
          SESSION_CLAUSE,
          "1",
          "a=fmtp says interop-constraints ",
          constraintsText(*c.interop_constraints),
          ", ",
          sps.name(),
          " says ",
          constraintsText(s.ulConstraints));
}

} // namespace

void checkSession(const Claim<SessionClaim>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    const SessionClaim& c = claim.value;
    const ClaimedProfile& s = sps.set.profile_tier_level;
    const CBoxChecks checks = CBoxChecks(findings, claim).inside("profile_tier_level");
    checkProfile(c, sps, checks);
    checkFlags(c, sps, checks);
    SHALL(!c.tier_flag || *c.tier_flag != 0 || !s.general_tier_flag,
          BLAME(general_tier_flag),
          SESSION_CLAUSE,
          "0",
          "a=fmtp says ",
          tierText(false),
          ", ",
          sps.name(),
          " says ",
          tierText(true));
    SHALL(!c.level_id || *c.level_id >= s.general_level_idc,
          BLAME(general_level_idc),
          SESSION_CLAUSE,
          say("at most ", *c.level_id),
          "a=fmtp says ",
          levelText(static_cast<unsigned>(*c.level_id)),
          ", ",
          sps.name(),
          " says ",
          levelText(s.general_level_idc));
}

} // namespace h265_inspect
