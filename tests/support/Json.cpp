#include "Json.h"

template class nlohmann::basic_json<nlohmann::ordered_map>;

Json parseJson(std::string_view text)
{
    return Json::parse(text);
}
