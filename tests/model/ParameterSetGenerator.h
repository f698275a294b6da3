#pragma once

#include "PayloadWriter.h"

namespace h265_model {

/// What a PPS is written against.
struct PictureInCtbs
{
    unsigned uiWidth;
    unsigned uiHeight;
};

/// Write one syntax structure each, with every branch of its syntax table in reach. Values are valid as
/// far as the writer's odd share and the reader's gaps let them be.
void writeVps(CPayloadWriter& writer, CRandom& random);
void writeSps(CPayloadWriter& writer, CRandom& random);
void writePps(CPayloadWriter& writer, CRandom& random, PictureInCtbs picture, unsigned pps_seq_parameter_set_id);
void writePtl(CPayloadWriter& writer, CRandom& random, unsigned max_sub_layers_minus1);
void writeScalingLists(CPayloadWriter& writer, CRandom& random);
void writeExplicitMatrix(CPayloadWriter& writer, CRandom& random, unsigned uiSizeId);
/// Sizes of tiles, columns or rows: uiCount_minus1 of them.
void writeTileSizes(CPayloadWriter& writer, CRandom& random, unsigned uiCount_minus1, unsigned uiSide);

/// Entries of a short-term set as they matter to the sets predicted from it.
struct WrittenRps
{
    std::vector<int> negative; // nearest first
    std::vector<int> positive;
};

/// Writes set stRpsIdx of uiCount sets (equal: a slice header's), given the sets before it, and adds it.
void writeRps(CPayloadWriter& writer, CRandom& random, std::vector<WrittenRps>& sets, unsigned stRpsIdx,
              unsigned uiCount);

} // namespace h265_model
