#include "SyntaxCorpus.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "Json.h"

namespace h265_test {

SyntaxStream syntaxStream(const std::string& name)
{
    const std::filesystem::path path = std::filesystem::path(H265_TEST_CORPUS) / name;
    std::ifstream bytes(path.string() + ".hevc", std::ios::binary);
    SyntaxStream stream{{std::istreambuf_iterator<char>(bytes), std::istreambuf_iterator<char>()}, {}};
    const Json values = parseJsonFile(path.string() + ".json");
    for (const Json& set : values.at("sets"))
        stream.sets.push_back({set.at("offset").get<std::size_t>(), set.at("size").get<std::size_t>()});
    return stream;
}

std::vector<std::string> syntaxStreamNames()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(H265_TEST_CORPUS)) {
        if (entry.path().extension() == ".hevc")
            names.push_back(entry.path().stem());
    }
    std::ranges::sort(names);
    return names;
}

const std::vector<std::vector<unsigned char>>& distinctSetsOfCorpus()
{
    static const std::vector<std::vector<unsigned char>> SETS = [] {
        std::vector<std::vector<unsigned char>> sets;
        std::set<std::vector<unsigned char>> known;
        for (const std::string& name : syntaxStreamNames()) {
            const SyntaxStream stream = syntaxStream(name);
            for (const SyntaxStream::Set& set : stream.sets) {
                const std::span<const unsigned char> unit = stream.nalUnit(set);
                const std::vector<unsigned char> bytes(unit.begin(), unit.end());
                if (known.insert(bytes).second)
                    sets.push_back(bytes);
            }
        }
        return sets;
    }();
    return SETS;
}

} // namespace h265_test
