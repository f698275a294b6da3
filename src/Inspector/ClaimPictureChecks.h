#pragma once

#include <span>

#include "ClaimFindings.h"

namespace h265_inspect {

/// What boxes and elements say of the pictures of an SPS: shape, colour, samples, rate.
void checkPicture(const h265_container::ContainerClaims& claims, const ClaimedSps& sps, CClaimFindings& findings);

/// The sizes that they state for all SPSs together.
void checkSizes(const h265_container::ContainerClaims& claims, std::span<const ClaimedSps> spss,
                CClaimFindings& findings);

} // namespace h265_inspect
