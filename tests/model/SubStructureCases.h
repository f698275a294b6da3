#pragma once

#include "DifferentialCases.h"
#include "Twins.h"

namespace h265_model {

/// Any operations of the bit reader, chosen by ulSeed.
template <class TReader>
void runBitOperations(CTwins<TReader>& twins, const Reading& reading, std::uint64_t ulSeed);

/// Writes a structure for one of the readers other than those of whole sets, and reads it.
template <class TReader>
void runSubStructure(CTwins<TReader>& twins, CRandom& random, bool bWithGaps, Tally& tally);

/// Hands any payload to one of those readers: uiReading is an index of READING_NAMES, 3 and above.
template <class TReader>
void runSubStructureOn(CTwins<TReader>& twins, CRandom& random, unsigned uiReading, const Reading& reading,
                       Tally& tally);

} // namespace h265_model
