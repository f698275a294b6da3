#pragma once

#include "JsonWriter.h"
#include "StreamGist.h"
#include "SyntaxTree.h"

namespace h265ps {

/// Writes the coded elements of a set as one JSON object.
void writeSyntax(const h265_inspect::CSyntaxTree& tree, CJsonWriter& json);

/// Writes what a stream is as one JSON object.
void writeGist(const h265_inspect::SequenceGist& gist, const h265_inspect::StreamCounts& counts, CJsonWriter& json);
/// Its keys: null what nothing is known of, with a null pGist.
void writeGistKeys(const h265_inspect::SequenceGist* pGist, CJsonWriter& json);
/// And the last one.
void writeSetCounts(const h265_inspect::StreamCounts& counts, CJsonWriter& json);

} // namespace h265ps
