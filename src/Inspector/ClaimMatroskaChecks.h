#pragma once

#include "ClaimFindings.h"

namespace h265_inspect {

/// BitsPerChannel and ChromaSubsampling of Matroska's Colour.
void checkMatroskaSamples(const h265_container::Claim<h265_container::MatroskaVideoClaim>& claim, const ClaimedSps& sps,
                          CClaimFindings& findings);

/// PixelWidth, PixelCrop and DisplayWidth, with what belongs to them.
void checkMatroskaPicture(const h265_container::Claim<h265_container::MatroskaVideoClaim>& claim, const ClaimedSps& sps,
                          CClaimFindings& findings);

} // namespace h265_inspect
