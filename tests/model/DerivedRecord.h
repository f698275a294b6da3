#pragma once

#include "ModelPictureParameterSet.h"
#include "ParameterSetSyntax.h"

// What the decoder's records hold, made out of the structures of the syntax library instead of bits.

namespace h265_model {

/// The records that a set read to its end makes of records that were new. Throws Stop where the decoder
/// refuses what the syntax allows: matrices predicted from others that there are not, tiles that do not
/// cover the picture.
ModelVps deriveVps(const h265_syntax::VideoParameterSet& set);
ModelSps deriveSps(const h265_syntax::SequenceParameterSet& set, CModelHost& host);
ModelPps derivePps(const h265_syntax::PictureParameterSet& set, const ModelSps& sps, CModelHost& host);

/// Whether the decoder goes by the tables of 7.3. It has rules of its own where H.265 allows nothing: for more than
/// 16 pictures in a reference picture set, for a chroma_format_idc that is 3 in its last byte only, and for tiles of
/// which there is one.
bool isReadByTheTables(const h265_syntax::SequenceParameterSet& set);
bool isReadByTheTables(const h265_syntax::PictureParameterSet& set);

} // namespace h265_model
