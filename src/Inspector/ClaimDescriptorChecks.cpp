#include "ClaimDescriptorChecks.h"

#include <string>

#include "ClaimProfileText.h"

namespace h265_inspect {

using namespace h265_syntax;
using h265_container::Claim;
using h265_container::HevcDescriptorClaim;

namespace {

constexpr std::string_view DESCRIPTOR_CLAUSE = "H.222.0 2.6.95";

// HDR_WCG_idc: what the VUI says, as far as it does. 3: nothing is claimed. 14 can be either: an SEI message of
// alternative transfer characteristics says 18 (HLG) beside it (D.2.38), for decoders that know no better.
void checkDynamicRange(const HevcDescriptorClaim& d, const ClaimedSps& sps, const CBoxChecks& checks)
{
    constexpr unsigned char HDR = 2;
    constexpr unsigned char UNTOLD = 3;
    constexpr std::uint16_t UNSPECIFIED = 2;
    constexpr std::uint16_t BT_2020 = 14;
    constexpr std::uint16_t PQ = 16;
    constexpr std::uint16_t HLG = 18;
    const unsigned uiTransfer = sps.gist.transfer_characteristics;
    const bool bHdr = uiTransfer == PQ || uiTransfer == HLG;
    const bool bOpen = uiTransfer == UNSPECIFIED || uiTransfer == BT_2020;
    SHOULD(bOpen || d.HDR_WCG_idc == UNTOLD || (d.HDR_WCG_idc == HDR) == bHdr,
           Blamed("transfer_characteristics", uiTransfer),
           DESCRIPTOR_CLAUSE,
           bHdr ? "no PQ and no HLG" : "14, 16 or 18",
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

// 2.6.95: the stream conforms to what is said here, and may keep to less.
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
    SHALL(conformsTo(sps, d.profile_idc),
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
          ") and is not compatible with it");
    SHALL(d.tier_flag || !s.general_tier_flag,
          BLAME(general_tier_flag),
          DESCRIPTOR_CLAUSE,
          say(d.tier_flag),
          "the descriptor says ",
          tierText(d.tier_flag),
          ", ",
          sps.name(),
          " says ",
          tierText(s.general_tier_flag));
    // A higher tier reaches further in every level.
    const bool bTierAbove = d.tier_flag && !s.general_tier_flag;
    SHALL(bTierAbove || d.level_idc >= s.general_level_idc,
          BLAME(general_level_idc),
          DESCRIPTOR_CLAUSE,
          say("at most ", d.level_idc),
          "the descriptor says ",
          levelText(d.level_idc),
          ", ",
          sps.name(),
          " says ",
          levelText(s.general_level_idc));
}

std::uint64_t constraintsOf(const HevcDescriptorClaim& d)
{
    const auto bit = [](bool bFlag, unsigned i) { return std::uint64_t{bFlag} << i; };
    return bit(d.progressive_source_flag, 47) | bit(d.interlaced_source_flag, 46) |
           bit(d.non_packed_constraint_flag, 45) | bit(d.frame_only_constraint_flag, 44) | d.copied_44bits;
}

// A flag that is set promises something, which the SPS must promise too.
void checkDescribedFlags(const HevcDescriptorClaim& d, const ClaimedSps& sps, const CBoxChecks& checks)
{
    const ClaimedProfile& s = sps.set.profile_tier_level;
    const std::uint32_t uiTooMany = d.profile_compatibility_indication & ~s.uiCompatibility;
    SHALL(uiTooMany == 0,
          blamedFlag(uiTooMany, false),
          DESCRIPTOR_CLAUSE,
          "1",
          "the descriptor says profile_compatibility_indication ",
          hexText(d.profile_compatibility_indication, 8),
          ", ",
          sps.name(),
          " says ",
          hexText(s.uiCompatibility, 8),
          ", with fewer of them set");
    const std::uint64_t ulClaimed = constraintsOf(d);
    const std::uint64_t ulTooMany = ulClaimed & ~s.ulConstraints;
    SHALL(ulTooMany == 0,
          blamedConstraint(ulTooMany, false),
          DESCRIPTOR_CLAUSE,
          "1",
          "the descriptor says constraint flags ",
          constraintsText(ulClaimed),
          ", ",
          sps.name(),
          " says ",
          constraintsText(s.ulConstraints),
          ", with fewer of them set");
}

} // namespace

void checkDescriptor(const Claim<HevcDescriptorClaim>& claim, const ClaimedSps& sps, CClaimFindings& findings)
{
    const HevcDescriptorClaim& d = claim.value;
    const CBoxChecks checks = CBoxChecks(findings, claim).inside("profile_tier_level");
    if (!d.temporal_layer_subset_flag) { // else they are those of the part that it describes
        checkDescribedProfile(d, sps, checks);
        checkDescribedFlags(d, sps, checks);
    }
    checkSubPictures(d, sps, checks.inside("vui_parameters.hrd_parameters"));
    checkDynamicRange(d, sps, checks.inside("vui_parameters"));
}

void checkWholeDescriptor(const Claim<HevcDescriptorClaim>& claim, std::span<const ClaimedSps> spss,
                          CClaimFindings& findings)
{
    const HevcDescriptorClaim& d = claim.value;
    if (spss.empty() || d.temporal_layer_subset_flag)
        return;
    const CBoxChecks checks = CBoxChecks(findings, claim).inside("profile_tier_level");
    const Together all = together(spss);
    const char* const pSays = spss.size() == 1 ? ", the SPS says " : ", no SPS says more than ";
    SHOULD(!d.tier_flag || all.general_tier_flag,
           Blamed("general_tier_flag", 0),
           DESCRIPTOR_CLAUSE,
           "1",
           "the descriptor says High tier",
           pSays,
           tierText(false));
    SHOULD(d.tier_flag != all.general_tier_flag || d.level_idc <= all.general_level_idc,
           Blamed("general_level_idc", all.general_level_idc),
           DESCRIPTOR_CLAUSE,
           say("at least ", d.level_idc),
           "the descriptor says ",
           levelText(d.level_idc),
           pSays,
           levelText(all.general_level_idc),
           "; a player that ends below the level that is claimed refuses it");
    const std::uint32_t uiLeftOut = all.uiCompatibility & ~d.profile_compatibility_indication;
    SHOULD(uiLeftOut == 0,
           blamedFlag(uiLeftOut, true),
           DESCRIPTOR_CLAUSE,
           "0",
           "the descriptor says profile_compatibility_indication ",
           hexText(d.profile_compatibility_indication, 8),
           ", every SPS sets ",
           hexText(all.uiCompatibility, 8));
    const std::uint64_t ulLeftOut = all.ulConstraints & ~constraintsOf(d);
    SHOULD(ulLeftOut == 0,
           blamedConstraint(ulLeftOut, true),
           DESCRIPTOR_CLAUSE,
           "0",
           "the descriptor says constraint flags ",
           constraintsText(constraintsOf(d)),
           ", every SPS sets ",
           constraintsText(all.ulConstraints));
}

} // namespace h265_inspect
