#pragma once

#include <string>
#include <vector>

namespace h265_test {

/// A parameter set of the streams in tests/corpus.
struct CorpusSet
{
    std::string stream; // the file it stands in first
    unsigned char nal_unit_type;
    std::vector<unsigned char> rbsp;
    std::vector<std::vector<unsigned char>> spsRbsps; // of a PPS: the SPSs in front of it
};

/// All of them, each different one once. Throws when the streams are not there.
std::vector<CorpusSet> corpusSets();

} // namespace h265_test
