#include "H265psStreams.h"

#include <fstream>
#include <stdexcept>

#include <stdlib.h>

#include "Json.h"

H265psFiles::H265psFiles()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "h265ps-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("no temporary directory");
    m_directory = pattern;
}

H265psFiles::~H265psFiles()
{
    std::filesystem::remove_all(m_directory);
}

std::string H265psFiles::make(const std::string& name, const std::string& content) const
{
    std::ofstream(m_directory / name, std::ios::binary) << content;
    return (m_directory / name).string();
}

std::vector<std::string> parameterSetsOf(const std::string& name)
{
    const std::string stream = contentOf(CORPUS / (name + ".hevc"));
    std::vector<std::string> units;
    const Json trace = parseJson(contentOf(CORPUS / (name + ".json")));
    for (const auto& set : trace["sets"])
        units.push_back(stream.substr(set["offset"].get<std::size_t>(), set["size"].get<std::size_t>()));
    return units;
}

std::string streamOf(const std::vector<std::string>& units)
{
    std::string stream;
    for (const std::string& unit : units)
        stream += std::string("\0\0\0\1", 4) + unit;
    return stream;
}

std::size_t countOf(const std::string& text, const std::string& part)
{
    std::size_t uiCount = 0;
    for (std::size_t i = text.find(part); i != std::string::npos; i = text.find(part, i + part.size()))
        ++uiCount;
    return uiCount;
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

std::string firstLines(const std::string& text, std::size_t uiLines)
{
    std::size_t i = 0;
    for (; uiLines != 0 && i != std::string::npos; --uiLines)
        i = text.find('\n', i) == std::string::npos ? std::string::npos : text.find('\n', i) + 1;
    return text.substr(0, i);
}

std::string lastLines(const std::string& text, std::size_t uiLines)
{
    std::size_t i = text.size();
    for (; uiLines != 0 && i != 0; --uiLines)
        i = i < 2 || text.rfind('\n', i - 2) == std::string::npos ? 0 : text.rfind('\n', i - 2) + 1;
    return text.substr(i);
}
