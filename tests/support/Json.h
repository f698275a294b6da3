#pragma once

#include <filesystem>
#include <string_view>

#include <nlohmann/json.hpp>

/// JSON with its keys in the order in which they stand.
using Json = nlohmann::ordered_json;

/// Both throw nlohmann::json::parse_error where it is none.
Json parseJson(std::string_view text);
Json parseJsonFile(const std::filesystem::path& path);
