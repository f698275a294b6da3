#include "SetElements.h"

namespace h265_inspect {

using namespace h265_syntax;

namespace {

class CCollect : public CElementSink
{
public:
    bool onElement(const Element& element) override
    {
        if (isExtensionData(element))
            return false;
        m_elements.push_back({pathOf(element), element.eDescriptor, element.uiBits, element.iValue});
        return true;
    }

    std::vector<SetElement> m_elements;
};

class CFind : public CElementSink
{
public:
    explicit CFind(std::string_view path) : m_path(path) {}

    bool onElement(const Element& element) override
    {
        if (isExtensionData(element))
            return false;
        if (!m_path.starts_with(element.structure) || pathOf(element) != m_path)
            return true;
        m_found = {std::string(m_path), element.eDescriptor, element.uiBits, element.iValue};
        return false;
    }

    std::optional<SetElement> m_found;

private:
    std::string_view m_path;
};

template <class TSet>
std::vector<SetElement> collect(const TSet& set)
{
    CCollect sink;
    trace(set, sink);
    return std::move(sink.m_elements);
}

template <class TSet>
std::optional<SetElement> find(const TSet& set, std::string_view path)
{
    CFind sink(path);
    trace(set, sink);
    return std::move(sink.m_found);
}

} // namespace

std::string pathOf(const Element& element)
{
    std::string path(element.structure);
    if (!path.empty())
        path += '.';
    return path += element.nameWithIndices();
}

bool isExtensionData(const Element& element)
{
    return std::string_view(element.pName).ends_with("_extension_data_flag");
}

std::vector<SetElement> elementsOf(const VideoParameterSet& set)
{
    return collect(set);
}
std::vector<SetElement> elementsOf(const SequenceParameterSet& set)
{
    return collect(set);
}
std::vector<SetElement> elementsOf(const PictureParameterSet& set)
{
    return collect(set);
}

std::optional<SetElement> elementAt(const VideoParameterSet& set, std::string_view path)
{
    return find(set, path);
}
std::optional<SetElement> elementAt(const SequenceParameterSet& set, std::string_view path)
{
    return find(set, path);
}
std::optional<SetElement> elementAt(const PictureParameterSet& set, std::string_view path)
{
    return find(set, path);
}

bool assignTo(VideoParameterSet& set, std::string_view path, std::int64_t iValue, const Context& /* context */)
{
    return assign(set, path, iValue);
}
bool assignTo(SequenceParameterSet& set, std::string_view path, std::int64_t iValue, const Context& context)
{
    return assign(set, path, iValue, context);
}
bool assignTo(PictureParameterSet& set, std::string_view path, std::int64_t iValue, const Context& /* context */)
{
    return assign(set, path, iValue);
}

} // namespace h265_inspect
