#pragma once

#include "ClaimFindings.h"

namespace h265_inspect {

/// What a container says of progressive and interlaced pictures.
void checkScan(const h265_container::Claim<h265_container::ScanClaim>& claim, const ClaimedSps& sps,
               CClaimFindings& findings);

} // namespace h265_inspect
