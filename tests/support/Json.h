#pragma once

#include <string_view>

#include <nlohmann/json.hpp>

/// JSON with its keys in the order in which they stand.
using Json = nlohmann::ordered_json;

// Compiled once, in Json.cpp: that takes seconds.
extern template class nlohmann::basic_json<nlohmann::ordered_map>;

/// Throws nlohmann::json::parse_error where it is none.
Json parseJson(std::string_view text);
