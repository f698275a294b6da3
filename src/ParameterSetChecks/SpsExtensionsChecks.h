#pragma once

#include <cstdint>

#include "Finding.h"
#include "SequenceParameterSetSyntax.h"

namespace h265_syntax {

/// F.7.4.3.2.4, I.7.4.3.2.5 and 7.4.3.2.3: the extensions of an SPS that have constraints of their own.
void checkSpsExtensions(const SequenceParameterSet& sps, const CChecks& checks);

/// 7.4.3.2.3 (7-35)
[[nodiscard]] std::uint64_t PaletteMaxPredictorSize(const SpsSccExtension& s) noexcept;

} // namespace h265_syntax
