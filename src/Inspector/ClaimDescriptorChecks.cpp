#include "ClaimDescriptorChecks.h"

#include <string>

#include "ClaimProfileText.h"

namespace h265_inspect {

using namespace h265_syntax;
using h265_container::Claim;
using h265_container::HevcDescriptorClaim;

namespace {

constexpr std::string_view DESCRIPTOR_CLAUSE = "H.222.0 2.6.95";

// HDR_WCG_idc: what the VUI says, as far as it does. 3: nothing is claimed.
void checkDynamicRange(const HevcDescriptorClaim& d, const ClaimedSps& sps, const CBoxChecks& checks)
{
    constexpr unsigned char HDR = 2;
    constexpr unsigned char UNTOLD = 3;
    constexpr std::uint16_t UNSPECIFIED = 2;
    constexpr std::uint16_t PQ = 16;
    constexpr std::uint16_t HLG = 18;
    const unsigned uiTransfer = sps.gist.transfer_characteristics;
    const bool bHdr = uiTransfer == PQ || uiTransfer == HLG;
    SHOULD(uiTransfer == UNSPECIFIED || d.HDR_WCG_idc == UNTOLD || (d.HDR_WCG_idc == HDR) == bHdr,
           Blamed("transfer_characteristics", uiTransfer),
           DESCRIPTOR_CLAUSE,
           bHdr ? "no PQ and no HLG" : "16 or 18",
           "the descriptor says HDR_WCG_idc ",
           d.HDR_WCG_idc,
           bHdr ? " (no high dynamic range)" : " (high dynamic range)",
           ", ",
           sps.name(),
           " says transfer_characteristics ",
           uiTransfer,
           " (",
           sps.gist.colour,
           ")");
}

void checkSubPictures(const HevcDescriptorClaim& d, const ClaimedSps& sps, const CBoxChecks& checks)
{
    SHALL(!d.sub_pic_hrd_params_not_present_flag || !sps.set.sub_pic_hrd_params_present_flag,
          Blamed("sub_pic_hrd_params_present_flag", 1),
          DESCRIPTOR_CLAUSE,
          "0",
          "the descriptor says sub_pic_hrd_params_not_present_flag 1, ",
          sps.name(),
          " has sub-picture HRD parameters");
}

void checkDescribedProfile(const HevcDescriptorClaim& d, const ClaimedSps& sps, const CBoxChecks& checks)
{
    const ClaimedProfile& s = sps.set.profile_tier_level;
    SHALL(d.profile_space == s.general_profile_space,
          BLAME(general_profile_space),
          DESCRIPTOR_CLAUSE,
          say(d.profile_space),
          "the descriptor says profile_space ",
          d.profile_space,
          ", ",
          sps.name(),
          " says ",
          s.general_profile_space);
    SHALL(d.profile_idc == s.general_profile_idc,
          BLAME(general_profile_idc),
          DESCRIPTOR_CLAUSE,
          say(d.profile_idc),
          "the descriptor says profile_idc ",
          d.profile_idc,
          ", ",
          sps.name(),
          " says ",
          s.general_profile_idc,
          " (",
          sps.gist.profile,
          ")");
    SHALL(d.tier_flag == s.general_tier_flag,
          BLAME(general_tier_flag),
          DESCRIPTOR_CLAUSE,
          say(d.tier_flag),
          "the descriptor says ",
          tierText(d.tier_flag),
          ", ",
          sps.name(),
          " says ",
          tierText(s.general_tier_flag));
    const std::uint32_t uiFlags = d.profile_compatibility_indication ^ sps.set.profile_tier_level.uiCompatibility;
    SHALL(uiFlags == 0,
          blamedFlag(uiFlags, (sps.set.profile_tier_level.uiCompatibility & uiFlags) >> (31 - firstFlag(uiFlags)) != 0),
          DESCRIPTOR_CLAUSE,
          (sps.set.profile_tier_level.uiCompatibility & uiFlags) >> (31 - firstFlag(uiFlags)) != 0 ? "0" : "1",
          "the descriptor says profile_compatibility_indication ",
          hexText(d.profile_compatibility_indication, 8),
          ", ",
          sps.name(),
          " says ",
          hexText(sps.set.profile_tier_level.uiCompatibility, 8));
    const auto bit = [](bool bFlag, unsigned i) { return std::uint64_t{bFlag} << i; };
    const std::uint64_t ulClaimed = bit(d.progressive_source_flag, 47) | bit(d.interlaced_source_flag, 46) |
                                    bit(d.non_packed_constraint_flag, 45) | bit(d.frame_only_constraint_flag, 44) |
                                    d.copied_44bits;
    const std::uint64_t ulFlags = ulClaimed ^ sps.set.profile_tier_level.ulConstraints;
    const bool bSet = (ulFlags & sps.set.profile_tier_level.ulConstraints) != 0;
    SHALL(ulFlags == 0,
          blamedConstraint(bSet ? ulFlags & sps.set.profile_tier_level.ulConstraints : ulFlags, bSet),
          DESCRIPTOR_CLAUSE,
          bSet ? "0" : "1",
          "the descriptor says constraint flags ",
          constraintsText(ulClaimed),
          ", ",
          sps.name(),
          " says ",
          constraintsText(sps.set.profile_tier_level.ulConstraints));
}

} // namespace

void checkDescriptor(const Claim<HevcDescriptorClaim>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    const HevcDescriptorClaim& d = claim.value;
    const ClaimedProfile& s = sps.set.profile_tier_level;
    const CBoxChecks checks = CBoxChecks(findings, claim).inside("profile_tier_level");
    if (!d.temporal_layer_subset_flag) { // else they are those of the part that it describes
        checkDescribedProfile(d, sps, checks);
        SHALL(d.level_idc >= s.general_level_idc,
              BLAME(general_level_idc),
              DESCRIPTOR_CLAUSE,
              say("at most ", d.level_idc),
              "the descriptor says ",
              levelText(d.level_idc),
              ", ",
              sps.name(),
              " says ",
              levelText(s.general_level_idc));
        SHOULD(d.level_idc <= s.general_level_idc,
               BLAME(general_level_idc),
               DESCRIPTOR_CLAUSE,
               say("at least ", d.level_idc),
               "the descriptor says ",
               levelText(d.level_idc),
               ", ",
               sps.name(),
               " says ",
               levelText(s.general_level_idc),
               " only");
    }
    checkSubPictures(d, sps, checks.inside("vui_parameters.hrd_parameters"));
    checkDynamicRange(d, sps, checks.inside("vui_parameters"));
}

} // namespace h265_inspect
