#pragma once

#include "ClaimFindings.h"

namespace h265_inspect {

/// What a session description says of the stream beside its sets, RFC 7798 7.1. A stream that keeps to more than is
/// said is no finding.
void checkSession(const h265_container::Claim<h265_container::SessionClaim>& claim, const ClaimedSps& sps,
                  CClaimFindings& findings);

} // namespace h265_inspect
