#include "FindingText.h"

#include <fmt/format.h>

namespace h265ps {

std::string findingText(const h265_syntax::Finding& finding, bool bWithElement)
{
    std::string text = finding.eSeverity == h265_syntax::ESeverity::Error ? "error: " : "warning: ";
    if (bWithElement && !finding.element.empty())
        text += fmt::format("{}{}{}: ", finding.structure, finding.structure.empty() ? "" : ".", finding.element);
    text += finding.message;
    if (!finding.clause.empty())
        text += fmt::format(" [{}]", finding.clause);
    return text;
}

} // namespace h265ps
