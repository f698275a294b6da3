#pragma once

#include "DecoderConfiguration.h"
#include "ParameterSetSyntax.h"

namespace h265_inspect {

/// What a record (ISO/IEC 14496-15 8.3.2.1) takes from a set that was read to its end, in the width that it has there.
/// nalUnit: that the SPS was read from.
h265_container::SpsForConfiguration forConfiguration(const h265_syntax::SequenceParameterSet& sps,
                                                     const h265_syntax::CNalUnit& nalUnit);
h265_container::PpsForConfiguration forConfiguration(const h265_syntax::PictureParameterSet& pps);

} // namespace h265_inspect
