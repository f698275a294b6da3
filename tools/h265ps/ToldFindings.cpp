#include "ToldFindings.h"

#include <functional>
#include <string>

#include "FormattedText.h"

namespace h265ps {

// Without a byte of the file nothing says that it is the same box.
bool CToldFindings::isNew(const h265_inspect::FileFinding& finding)
{
    if (!finding.ulOffset)
        return true;
    const h265_syntax::Finding& found = finding.finding;
    const std::string key = formatted("{}\n{}\n{}\n{}\n{}\n{}\n{}\n{}\n{}",
                                      *finding.ulOffset,
                                      finding.set,
                                      finding.box,
                                      static_cast<int>(found.eSeverity),
                                      found.ulBit.value_or(0),
                                      found.structure,
                                      found.element,
                                      found.clause,
                                      found.message);
    const std::size_t uiHash = std::hash<std::string>()(key);
    return m_told.contains(uiHash) ? false : m_told.size() == MOST || m_told.insert(uiHash).second;
}

} // namespace h265ps
