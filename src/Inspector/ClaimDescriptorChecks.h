#pragma once

#include <span>

#include "ClaimFindings.h"

namespace h265_inspect {

/// The HEVC video descriptor of a program map, ITU-T H.222.0 2.6.95.
void checkDescriptor(const h265_container::Claim<h265_container::HevcDescriptorClaim>& claim, const ClaimedSps& sps,
                     CClaimFindings& findings);

/// What it claims beyond all SPSs that it stands for.
void checkWholeDescriptor(const h265_container::Claim<h265_container::HevcDescriptorClaim>& claim,
                          std::span<const ClaimedSps> spss, CClaimFindings& findings);

} // namespace h265_inspect
