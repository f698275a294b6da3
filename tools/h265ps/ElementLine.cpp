#include "ElementLine.h"

namespace h265ps {

using h265_syntax::EDescriptor;

CElementLine& CElementLine::to(std::size_t uiColumn) noexcept
{
    while (m_uiSize < uiColumn && m_uiSize < m_acText.size())
        m_acText[m_uiSize++] = ' ';
    return *this;
}

CElementLine& CElementLine::name(const h265_syntax::Element& element) noexcept
{
    *this << std::string_view(element.pName);
    for (const unsigned uiIndex : element.indices())
        *this << std::string_view("[") << uiIndex << std::string_view("]");
    return *this;
}

CElementLine& CElementLine::descriptor(const h265_syntax::Element& element) noexcept
{
    switch (element.eDescriptor) {
    case EDescriptor::ue:
        return *this << std::string_view("ue(v)");
    case EDescriptor::se:
        return *this << std::string_view("se(v)");
    default:
        return *this << std::string_view("u(") << element.uiBits << std::string_view(")");
    }
}

} // namespace h265ps
