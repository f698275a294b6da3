#pragma once

#include "JsonWriter.h"
#include "StreamGist.h"
#include "SyntaxTree.h"

namespace h265ps {

/// Writes the coded elements of a set as one JSON object.
void writeSyntax(const h265_inspect::CSyntaxTree& tree, CJsonWriter& json);

/// Writes what a stream is as one JSON object.
void writeGist(const h265_inspect::SequenceGist& gist, const h265_inspect::StreamCounts& counts, CJsonWriter& json);

} // namespace h265ps
