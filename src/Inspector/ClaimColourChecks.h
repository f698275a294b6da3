#pragma once

#include "ClaimFindings.h"

namespace h265_inspect {

/// What colr or Matroska's Colour says, against the VUI.
void checkColour(const h265_container::Claim<h265_container::ColourClaim>& claim, const ClaimedSps& sps,
                 CClaimFindings& findings);

} // namespace h265_inspect
