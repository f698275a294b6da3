#include "Finding.h"

namespace h265_syntax {

void CFindings::add(Finding finding)
{
    m_bErrors = m_bErrors || finding.eSeverity == ESeverity::Error;
    if (m_findings.size() < MAX_FINDINGS)
        m_findings.push_back(std::move(finding));
    else
        ++m_uiDropped;
}

void CFindings::clear() noexcept
{
    m_findings.clear();
    m_uiDropped = 0;
    m_bErrors = false;
}

Finding* CFindings::errorOf(std::string_view element, std::string_view structure) noexcept
{
    for (Finding& finding : m_findings) {
        if (finding.eSeverity == ESeverity::Error && finding.element == element && finding.structure == structure)
            return &finding;
    }
    return nullptr;
}

void CFindings::append(CFindings other)
{
    for (Finding& finding : other.m_findings)
        add(std::move(finding));
    m_uiDropped += other.m_uiDropped;
    m_bErrors = m_bErrors || other.m_bErrors;
}

CChecks CChecks::inside(std::string_view name) const
{
    return {m_findings, m_structure.empty() ? std::string(name) : say(m_structure, ".", name)};
}

CChecks CChecks::inside(std::string_view name, unsigned i) const
{
    return inside(say(name, "[", i, "]"));
}

void CChecks::error(const Blamed& blamed, std::string_view clause, std::string allowed, std::string message)
{
    add(ESeverity::Error, blamed, clause, std::move(allowed), std::move(message));
}

void CChecks::warning(const Blamed& blamed, std::string_view clause, std::string allowed, std::string message)
{
    add(ESeverity::Warning, blamed, clause, std::move(allowed), std::move(message));
}

void CChecks::error(std::string_view clause, std::string message)
{
    add(ESeverity::Error, {}, clause, {}, std::move(message));
}

void CChecks::warning(std::string_view clause, std::string message)
{
    add(ESeverity::Warning, {}, clause, {}, std::move(message));
}

void CChecks::reserved(const Blamed& blamed, std::string_view clause, std::string allowed)
{
    std::string message = say(blamed.pName, " is ", blamed.iValue, ", which is reserved for later editions of H.265");
    add(ESeverity::Error, blamed, clause, std::move(allowed), std::move(message));
}

void CChecks::outOfRange(const Blamed& blamed, std::int64_t iMin, std::int64_t iMax, std::string_view clause)
{
    std::string allowed = iMin == iMax ? say(iMin) : iMin > iMax ? "no value" : say(iMin, " to ", iMax);
    std::string message = say(blamed.pName, " is ", blamed.iValue, ", allowed is ", allowed);
    add(ESeverity::Error, blamed, clause, std::move(allowed), std::move(message));
}

void CChecks::add(ESeverity eSeverity, const Blamed& blamed, std::string_view clause, std::string allowed,
                  std::string message)
{
    Finding finding;
    finding.eSeverity = eSeverity;
    finding.clause = clause;
    finding.structure = m_structure;
    finding.allowed = std::move(allowed);
    finding.message = std::move(message);
    if (blamed.pName != nullptr) {
        finding.element = blamed.pName;
        for (unsigned i = 0; i < blamed.uiIndices; ++i)
            finding.element += say("[", blamed.aIndex[i], "]");
        finding.iValue = blamed.iValue;
    }
    m_findings.add(std::move(finding));
}

} // namespace h265_syntax
