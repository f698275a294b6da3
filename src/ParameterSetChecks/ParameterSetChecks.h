#pragma once

#include "Finding.h"
#include "H265psExport.h"
#include "ParameterSetSyntax.h"

/// What H.265 demands of parameter sets: 7.4 and E.3, the layers of Annexes F to I, profiles and levels of
/// Annex A. A room beside each structure of ParameterSetSyntax, a line for each constraint.
namespace H265PS_EXPORT h265_syntax {

/// Adds what is wrong with a set, in coding order. The set was read from the NAL unit, whole or as far as it
/// went: what could not be read is a finding too, and is not looked at further.
void check(const VideoParameterSet& set, const CNalUnit& nalUnit, CFindings& findings);

/// Likewise of an SPS, alone and with the VPS that it names; null when that is not there, which is no finding
/// here: it can come later.
void check(const SequenceParameterSet& set, const CNalUnit& nalUnit, const VideoParameterSet* pVps,
           CFindings& findings);

/// Likewise of a whole SPS that was checked already what it and its VPS must agree on: of a VPS that came behind it.
/// One that leaves its format to the VPS has none, and is passed over.
void checkWithVps(const SequenceParameterSet& set, const VideoParameterSet& vps, CFindings& findings);

/// Likewise of a PPS and its SPS, and in layers the VPS that this names.
void check(const PictureParameterSet& set, const CNalUnit& nalUnit, const SequenceParameterSet* pSps,
           CFindings& findings, const VideoParameterSet* pVps = nullptr);

/// Likewise of a whole PPS with an SPS that came behind it, in layers with its VPS. What is wrong with the PPS alone
/// is told again.
void checkWithSps(const PictureParameterSet& set, const SequenceParameterSet& sps, const VideoParameterSet* pVps,
                  CFindings& findings);

} // namespace h265_syntax
