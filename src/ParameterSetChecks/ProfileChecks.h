#pragma once

#include "Finding.h"
#include "PictureParameterSetSyntax.h"
#include "ProfileClaims.h"
#include "SequenceParameterSetSyntax.h"
#include "VideoParameterSetSyntax.h"

namespace h265_syntax {

/// A.3: what an SPS must be under each profile that it claims to conform to, by general_profile_idc or by a
/// general_profile_compatibility_flag, and what its sub-layers claim of themselves.
void checkProfilesOfSps(const SequenceParameterSet& s, CFindings& findings);

/// A.3: likewise of a PPS, under the profiles that its SPS claims.
void checkProfilesOfPps(const PictureParameterSet& s, const SequenceParameterSet& sps, CFindings& findings);

/// G.11, H.11, I.11: likewise of the layers of a VPS, under the profiles and levels that its output layer sets give
/// them. checks: of vps_extension( ).
void checkProfilesOfLayers(const VideoParameterSet& vps, const CChecks& checks);

/// G.11, H.11, I.11: likewise of the SPS of a layer.
void checkProfilesOfLayerSps(const SequenceParameterSet& s, const VideoParameterSet& vps, CFindings& findings);

/// G.11, H.11, I.11: likewise of the PPS of a layer.
void checkProfilesOfLayerPps(const PictureParameterSet& s, const SequenceParameterSet& sps,
                             const VideoParameterSet& vps, CFindings& findings);

// Of one claim.

/// What is blamed, bit_depth_luma_minus8 or its like, is no more than the profile has.
void checkBitDepth(const Blamed& blamed, const char* pWhat, const Claim& claim, CChecks& checks);
/// The six flags and the transform skip size that 4:4:4 and 16 bits have.
[[nodiscard]] bool hasGeneralRangeTools(const Claim& claim) noexcept;
/// Tiles of at least 256x64, and either tiles or wavefronts.
void checkParallelismOfProfile(const PictureParameterSet& s, const SequenceParameterSet& sps, const Claim& claim,
                               CChecks& checks);
/// No tools of sps_range_extension( ) and sps_scc_extension( ) that the profile lacks.
void checkToolsOfProfile(const SequenceParameterSet& s, const Claim& claim, const CChecks& checks);
/// Likewise of a PPS.
void checkToolsOfProfile(const PictureParameterSet& s, const Claim& claim, const CChecks& checks);
/// CTBs of 16, 32 or 64.
void checkCtbOfProfile(const SequenceParameterSet& s, const Claim& claim, CChecks& checks);

} // namespace h265_syntax
