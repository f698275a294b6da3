#include "Json.h"

#include <fstream>

// Its parser is compiled here alone: that takes seconds.
Json parseJson(std::string_view text)
{
    return Json::parse(text);
}

Json parseJsonFile(const std::filesystem::path& path)
{
    std::ifstream file(path);
    return Json::parse(file);
}
