#include "RefPicSetText.h"

#include <algorithm>
#include <iterator>

#include "FormattedText.h"

namespace h265ps {

using namespace h265_codec;

namespace {

constexpr unsigned INDENT = 6;
constexpr std::size_t PREDICTION_COLUMN = 40; // behind the index

std::string deltasText(const ShortTermRefPicSet& set)
{
    const std::size_t uiKept = std::min<std::size_t>(set.NumDeltaPocs, MAX_REF_PICS);
    std::string deltas;
    for (std::size_t k = 0; k < uiKept; ++k)
        deltas += formatted("{}{:+}{}", k == 0 ? "" : " ", set.DeltaPoc[k], set.UsedByCurrPic[k] ? "*" : "");
    if (deltas.empty())
        deltas = "empty";
    if (set.NumDeltaPocs > uiKept)
        deltas += formatted(" ({} of {} kept)", uiKept, set.NumDeltaPocs);
    return deltas;
}

std::string predictionText(const ShortTermRefPicSet& set, const ShortTermRefPicSet* pReference)
{
    const std::size_t uiCoded = pReference != nullptr ? pReference->NumDeltaPocs + 1U : 0;
    const std::size_t uiKept = std::min<std::size_t>(uiCoded, MAX_REF_PICS);
    std::string used;
    std::string kept;
    for (std::size_t j = 0; j < uiKept; ++j) {
        used += set.used_by_curr_pic_flag[j] ? '1' : '0';
        kept += set.use_delta_flag[j] ? '1' : '0';
    }
    return formatted("predicted: deltaRps {:+}, used_by_curr_pic_flag {}, use_delta_flag {}{}",
                     set.deltaRps,
                     used,
                     kept,
                     uiCoded > uiKept ? formatted(" ({} of {} kept)", uiKept, uiCoded) : "");
}

} // namespace

std::string refPicSetText(std::size_t uiIndex, const ShortTermRefPicSet& set, const ShortTermRefPicSet* pReference,
                          const TextStyle& style)
{
    const std::string deltas = deltasText(set);
    std::string line = formatted("{:{}}[{:>2}] {}", "", INDENT, uiIndex, deltas);
    if (set.inter_ref_pic_set_prediction_flag)
        appendFormatted(line,
                        "{:{}}{}  {}{}",
                        "",
                        deltas.size() < PREDICTION_COLUMN ? PREDICTION_COLUMN - deltas.size() : 0,
                        style.pFaint,
                        predictionText(set, pReference),
                        style.pEnd);
    return line + "\n";
}

} // namespace h265ps
