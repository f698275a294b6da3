#pragma once

#include <string>

#include "Inspector.h"
#include "ParameterSetStream.h"
#include "SyntaxTree.h"
#include "TextStyle.h"

namespace h265ps {

/// The syntax of a set for people: a line for each element, in groups that begin with their gist, what its values
/// mean behind them, and what is wrong with it below it. With what the decoder derives from it, where it was read.
std::string syntaxText(const h265_stream::ParameterSetEvent& event, const h265_inspect::InspectedSet& set,
                       const h265_inspect::CSyntaxTree& tree, const TextStyle& style);

} // namespace h265ps
