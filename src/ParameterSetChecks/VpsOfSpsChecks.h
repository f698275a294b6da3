#pragma once

#include "Finding.h"
#include "SequenceParameterSetSyntax.h"
#include "VideoParameterSetSyntax.h"

namespace h265_syntax {

/// 7.4.3.2.1 and E.3.1: what an SPS and the VPS that it names must agree on. Elements of the SPS are blamed.
void checkVpsOfSps(const SequenceParameterSet& s, const VideoParameterSet& vps, CFindings& findings);

/// F.7.4.3.1.1: whether a layer of at least nuh_layer_id uiLowest depends on layer uiReferred, straight or through
/// others; true as well when the VPS does not tell.
[[nodiscard]] bool isReferredTo(const VideoParameterSet& vps, unsigned uiReferred, unsigned uiLowest) noexcept;

} // namespace h265_syntax
