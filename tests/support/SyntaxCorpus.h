#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace h265_test {

/// A stream of the corpus and where its parameter sets stand.
struct SyntaxStream
{
    struct Set
    {
        std::size_t uiOffset; // of the NAL unit, behind its start code
        std::size_t uiSize;
    };

    std::vector<unsigned char> bytes;
    std::vector<Set> sets;

    [[nodiscard]] std::span<const unsigned char> nalUnit(const Set& set) const
    {
        return std::span(bytes).subspan(set.uiOffset, set.uiSize);
    }
};

SyntaxStream syntaxStream(const std::string& name);

/// The names of all of them, in alphabetical order.
std::vector<std::string> syntaxStreamNames();

/// Each set of the corpus once; the layers of a stream one after another.
const std::vector<std::vector<unsigned char>>& distinctSetsOfCorpus();

} // namespace h265_test
