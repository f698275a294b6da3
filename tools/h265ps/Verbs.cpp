#include "Verbs.h"

#include <algorithm>
#include <iterator>

namespace h265ps {

namespace {

constexpr Verb VERBS[] = {
    {"show", runShow},
    {"trace", runTrace},
    {"check", runCheck},
    {"diff", runDiff},
    {"edit", runEdit},
    {"export", runExport},
    {"scan", runScan},
};

} // namespace

const Verb* findVerb(std::string_view name) noexcept
{
    const auto* const position =
        std::find_if(std::begin(VERBS), std::end(VERBS), [&](const Verb& verb) { return verb.name == name; });
    return position != std::end(VERBS) ? position : nullptr;
}

int runVerb(std::span<char* const> arguments, COutputStream& output)
{
    const Verb* const pVerb = arguments.empty() ? nullptr : findVerb(arguments.front());
    return pVerb != nullptr ? pVerb->pRun(arguments.subspan(1), output) : runShow(arguments, output);
}

} // namespace h265ps
