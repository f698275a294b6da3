#include "FindingText.h"

#include "FormattedText.h"
#include "SetNames.h"
#include "TextOutput.h"

namespace h265ps {

using h265_syntax::ESeverity;
using h265_syntax::Finding;

namespace {

std::string sentenceOf(const Finding& finding, bool bWithElement)
{
    std::string text;
    if (bWithElement && !finding.element.empty())
        text += formatted("{}{}{}: ", finding.structure, finding.structure.empty() ? "" : ".", finding.element);
    text += finding.message;
    if (!finding.clause.empty())
        text += formatted(" [{}]", finding.clause);
    return text;
}

const char* severityOf(const Finding& finding)
{
    return finding.eSeverity == ESeverity::Error ? "error: " : "warning: ";
}

} // namespace

std::string findingText(const Finding& finding, bool bWithElement)
{
    return severityOf(finding) + sentenceOf(finding, bWithElement);
}

// Names in a file are whatever its bytes are.
std::string findingText(const h265_inspect::FileFinding& finding)
{
    std::string text = finding.bNote ? "note: " : severityOf(finding.finding);
    if (!finding.box.empty())
        text += printable(finding.box) + ": ";
    return text + printable(sentenceOf(finding.finding, true));
}

h265_inspect::FileFinding findingOf(const h265_inspect::FileSet& told, const Finding& finding)
{
    h265_inspect::FileFinding found;
    found.finding = finding;
    found.set = nameOf(told.event, told.set);
    found.ulTrack = told.place.ulTrack;
    found.ulOffset = told.place.ulOffset;
    found.place = told.place.text();
    return found;
}

} // namespace h265ps
