#pragma once

#include "ClaimFindings.h"

namespace h265_inspect {

/// The HEVC video descriptor of a program map, ITU-T H.222.0 2.6.95.
void checkDescriptor(const h265_container::Claim<h265_container::HevcDescriptorClaim>& claim, const ClaimedSps& sps,
                     CClaimFindings& findings);

} // namespace h265_inspect
