#include "ParameterSetChecks.h"

#include <algorithm>
#include <unordered_map>

#include "LevelChecks.h"
#include "PictureParameterSetChecks.h"
#include "ProfileChecks.h"
#include "SequenceParameterSetChecks.h"
#include "VideoParameterSetChecks.h"
#include "VpsOfSpsChecks.h"

namespace h265_syntax {

namespace {

// Finds where the blamed elements stand: the description is gone through once more, and only when there is
// something to tell.
class CBitFinder : public CElementSink
{
public:
    explicit CBitFinder(std::vector<Finding>& findings)
    {
        for (Finding& finding : findings) {
            if (!finding.element.empty())
                m_sought.emplace(say(finding.structure, "/", finding.element), &finding);
        }
    }

    bool onElement(const Element& element) override
    {
        const auto [begin, end] = m_sought.equal_range(say(element.structure, "/", element.nameWithIndices()));
        for (auto position = begin; position != end; ++position) {
            if (!position->second->ulBit)
                position->second->ulBit = element.uiBit;
        }
        return true;
    }

private:
    std::unordered_multimap<std::string, Finding*> m_sought;
};

// 7.3.1.2, 7.4.2.2
void checkHeader(const NalUnitHeader& s, bool bPps, CFindings& findings)
{
    CChecks checks(findings, "");
    SHALL(!s.forbidden_zero_bit, Blamed{}, "7.4.2.2", "0", "forbidden_zero_bit is set: the NAL unit is damaged");
    SHALL(s.nuh_temporal_id_plus1 != 0,
          Blamed{},
          "7.4.2.2",
          "above 0",
          "nuh_temporal_id_plus1 is 0, which no NAL unit may have");
    SHALL(bPps || s.nuh_temporal_id_plus1 <= 1,
          Blamed{},
          "7.4.2.2",
          "1",
          "the set is of sub-layer ",
          s.nuh_temporal_id_plus1 - 1,
          "; VPS and SPS are of sub-layer 0");
}

// 7.3.2.11
void checkTrailing(const RbspTrailing& trailing, const Stop& stop, CFindings& findings)
{
    if (!stop && !trailing.bRegular)
        CChecks(findings, "")
            .error("7.3.2.11",
                   say("behind its last element the set has ",
                       trailing.uiBits,
                       " bits that are not rbsp_trailing_bits( ): a 1 and zeros up to the byte"));
}

void tellStop(const Stop& stop, CFindings& findings)
{
    Finding finding;
    finding.clause = "7.3";
    finding.element = stop.element;
    finding.structure = stop.structure;
    finding.ulBit = stop.uiBit;
    if (stop.eStop == EStop::countTooLarge || stop.eStop == EStop::codeTooLong)
        finding.iValue = stop.iValue;
    finding.message = stop.message();
    findings.add(std::move(finding));
}

// Gives the findings their places. Of a set that was not read to its end, what is said of elements that were
// not read is no finding.
template <class TSet>
void finish(const TSet& set, const CNalUnit& nalUnit, CFindings& findings)
{
    std::vector<Finding>& all = findings.all();
    if (!all.empty()) {
        CBitFinder finder(all);
        trace(set, finder, &nalUnit);
    }
    if (set.stop) {
        findings.dropIf([](const Finding& finding) { return !finding.ulBit && !finding.element.empty(); });
        tellStop(set.stop, findings);
    }
    std::stable_sort(all.begin(), all.end(), [](const Finding& a, const Finding& b) {
        return a.ulBit.value_or(UINT64_MAX) < b.ulBit.value_or(UINT64_MAX);
    });
}

} // namespace

void check(const VideoParameterSet& set, const CNalUnit& nalUnit, CFindings& findings)
{
    CFindings own;
    checkHeader(set.nal_unit_header, false, own);
    checkVideoParameterSet(set, own);
    checkTrailing(set.rbsp_trailing, set.stop, own);
    finish(set, nalUnit, own);
    findings.append(std::move(own));
}

void check(const SequenceParameterSet& set, const CNalUnit& nalUnit, const VideoParameterSet* pVps, CFindings& findings)
{
    CFindings own;
    checkHeader(set.nal_unit_header, false, own);
    checkSequenceParameterSet(set, own);
    checkProfilesOfSps(set, own);
    checkLevelOfSps(set, own);
    if (pVps != nullptr && !pVps->stop)
        checkVpsOfSps(set, *pVps, own);
    checkTrailing(set.rbsp_trailing, set.stop, own);
    finish(set, nalUnit, own);
    findings.append(std::move(own));
}

void check(const PictureParameterSet& set, const CNalUnit& nalUnit, const SequenceParameterSet* pSps,
           CFindings& findings)
{
    CFindings own;
    const SequenceParameterSet* const pWhole = pSps != nullptr && !pSps->stop ? pSps : nullptr;
    checkHeader(set.nal_unit_header, true, own);
    checkPictureParameterSet(set, pWhole, own);
    if (pWhole != nullptr) {
        checkProfilesOfPps(set, *pWhole, own);
        checkLevelOfPps(set, *pWhole, own);
    }
    checkTrailing(set.rbsp_trailing, set.stop, own);
    finish(set, nalUnit, own);
    findings.append(std::move(own));
}

} // namespace h265_syntax
