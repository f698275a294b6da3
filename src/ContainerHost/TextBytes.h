#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "H265psExport.h"

namespace H265PS_EXPORT h265_container {

/// How bytes are written as text.
enum class ETextForm
{
    Hex,   // "4201", "42 01", "42:01", "0x42 0x01", "\x42\x01"
    Base64 // RFC 4648 clauses 4 and 5, with or without padding
};

/// What is wrong with a text, and at which of its bytes.
struct TextError
{
    std::size_t uiOffset;
    std::string message;
};

/// The bytes that a text stands for. White space in it counts for nothing; an empty one stands for none.
std::variant<std::vector<unsigned char>, TextError> bytesOfText(std::string_view text, ETextForm eForm);

} // namespace h265_container
