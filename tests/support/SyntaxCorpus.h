#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace h265_test {

/// A stream of the corpus and the values beside it.
struct SyntaxStream
{
    std::vector<unsigned char> bytes;
    nlohmann::json values;

    /// The NAL unit of an entry of "sets".
    [[nodiscard]] std::span<const unsigned char> nalUnit(const nlohmann::json& set) const
    {
        return std::span(bytes).subspan(set.at("offset").get<std::size_t>(), set.at("size").get<std::size_t>());
    }
};

inline SyntaxStream syntaxStream(const std::string& name)
{
    const std::filesystem::path path = std::filesystem::path(H265_TEST_CORPUS) / name;
    std::ifstream stream(path.string() + ".hevc", std::ios::binary);
    std::ifstream values(path.string() + ".json");
    return {{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()}, nlohmann::json::parse(values)};
}

inline std::vector<std::string> syntaxStreamNames()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(H265_TEST_CORPUS)) {
        if (entry.path().extension() == ".hevc")
            names.push_back(entry.path().stem());
    }
    std::ranges::sort(names);
    return names;
}

} // namespace h265_test
