#pragma once

#include "Finding.h"
#include "PictureParameterSetSyntax.h"
#include "SequenceParameterSetSyntax.h"
#include "VideoParameterSetSyntax.h"

namespace h265_syntax {

/// A.4: what the level and tier of an SPS allow: size, picture buffer, and the bit rates and CPB sizes of its
/// HRD. A sentence names the lowest level that would do.
void checkLevelOfSps(const SequenceParameterSet& s, CFindings& findings);

/// A.4: likewise the HRDs of a VPS that are of its base layer, of which profile_tier_level( ) speaks.
void checkLevelOfVps(const VideoParameterSet& s, CFindings& findings);

/// 7.4.3.1: the picture buffer of a VPS and what the level of its SPS allows; no element of the SPS is to blame.
void checkLevelOfVpsOfSps(const SequenceParameterSet& s, const VideoParameterSet& vps, CFindings& findings);

/// A.4: likewise the tiles of a PPS.
void checkLevelOfPps(const PictureParameterSet& s, const SequenceParameterSet& sps, CFindings& findings);

/// A.4.1: from level 5 on, CTBs of 32 or 64.
void checkCtbOfLevel(const SequenceParameterSet& s, unsigned general_level_idc, CChecks& checks);

/// A.4.1: the tiles of a PPS by the level of its layer.
void checkTileCounts(const PictureParameterSet& s, unsigned general_level_idc, CChecks& checks);

} // namespace h265_syntax
