#pragma once

#include <span>

#include "ClaimFindings.h"
#include "PictureParameterSetSyntax.h"

namespace h265_inspect {

/// What hvcC or CodecPrivate says of every SPS that is decoded with it, ISO/IEC 14496-15 8.3.2.1.
void checkConfiguration(const h265_container::Claim<h265_container::DecoderConfiguration>& claim, const ClaimedSps& sps,
                        CClaimFindings& findings);

/// Likewise of a PPS.
void checkConfiguration(const h265_container::Claim<h265_container::DecoderConfiguration>& claim,
                        const h265_syntax::PictureParameterSet& pps, CClaimFindings& findings);

/// What it claims beyond all of its SPSs. uiTemporalLayers: that were seen, 0 for unknown.
void checkWholeConfiguration(const h265_container::Claim<h265_container::DecoderConfiguration>& claim,
                             std::span<const ClaimedSps> spss, unsigned uiTemporalLayers, CClaimFindings& findings);

} // namespace h265_inspect
