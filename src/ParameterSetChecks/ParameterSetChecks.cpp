#include "ParameterSetChecks.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "LevelChecks.h"
#include "PictureParameterSetChecks.h"
#include "PpsExtensionsChecks.h"
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
            if (finding.element.empty())
                continue;
            m_sought.emplace(say(finding.structure, "/", finding.element), &finding);
            m_names.insert(std::string_view(finding.element).substr(0, finding.element.find('[')));
        }
    }

    bool onElement(const Element& element) override
    {
        if (!m_names.contains(element.pName)) // most are not, and this needs no memory
            return true;
        const auto [begin, end] = m_sought.equal_range(say(element.structure, "/", element.nameWithIndices()));
        for (auto position = begin; position != end; ++position) {
            // Some names stand for several elements in a row: the one of this value.
            if (!position->second->ulBit && position->second->iValue == element.iValue)
                position->second->ulBit = element.uiBit;
        }
        return true;
    }

private:
    std::unordered_multimap<std::string, Finding*> m_sought;
    std::unordered_set<std::string_view> m_names; // without indices
};

// 7.3.1.2, 7.4.2.1, 7.4.2.2
void checkNalUnit(const CNalUnit& nalUnit, bool bPps, CFindings& findings)
{
    constexpr unsigned RESERVED_LAYER_ID = 63;
    const NalUnitHeader& s = nalUnit.header();
    CChecks checks(findings, "");
    SHALL(s.nuh_layer_id != RESERVED_LAYER_ID,
          Blamed{},
          "7.4.2.2",
          "0 to 62",
          "nuh_layer_id is 63, which is reserved for later editions of H.265");
    SHALL(s.nuh_layer_id == 0 || s.nal_unit_type != VPS_NUT,
          Blamed{},
          "7.4.2.2",
          "0",
          "the VPS is of layer ",
          s.nuh_layer_id,
          "; every VPS is of layer 0, and decoders ignore this one");
    SHALL(!nalUnit.forbiddenByte(),
          Blamed{},
          "7.4.2.1",
          "emulation prevention bytes",
          "from its byte ",
          *nalUnit.forbiddenByte(),
          " on the NAL unit holds 00 00 and a byte up to 03 without emulation prevention: other readers see another "
          "set, or a start code");
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

// 7.4.3.1, F.7.4.3.1.1: the bits in front of an extension that begins with a byte. How many there are, the walk knows.
class CAlignmentBits : public CElementSink
{
public:
    explicit CAlignmentBits(CFindings& findings) : m_findings(findings) {}

    bool onElement(const Element& element) override
    {
        const std::string_view name = element.pName;
        if (element.iValue != 0 ||
            (name != "vps_extension_alignment_bit_equal_to_one" && name != "vps_vui_alignment_bit_equal_to_one"))
            return true;
        if (m_findings.errorOf(element.pName, element.structure) != nullptr)
            return true;
        const bool bVui = !element.structure.empty();
        CChecks(m_findings, std::string(element.structure))
            .error(Blamed(element.pName, 0), bVui ? "F.7.4.3.1.1" : "7.4.3.1", "1", say(element.pName, " is 0, not 1"));
        return true;
    }

private:
    CFindings& m_findings;
};

// Where reading stopped. A count that is too large may have been told of as such already.
void tellStop(const Stop& stop, CFindings& findings)
{
    Finding* const pTold =
        stop.eStop == EStop::countTooLarge ? findings.errorOf(stop.element, stop.structure) : nullptr;
    if (pTold != nullptr) {
        pTold->message += "; what follows it cannot be read";
        return;
    }
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

// Gives the findings their places. What is said of elements that are not there is no finding: of a set that was
// not read to its end, or of values that a structure has from the set that it held before.
template <class TSet>
void finish(const TSet& set, const CNalUnit* pNalUnit, CFindings& findings)
{
    std::vector<Finding>& all = findings.all();
    if (!all.empty()) {
        CBitFinder finder(all);
        trace(set, finder, pNalUnit);
        findings.dropIf([](const Finding& finding) { return !finding.ulBit && !finding.element.empty(); });
    }
    if (set.stop)
        tellStop(set.stop, findings);
    std::stable_sort(all.begin(), all.end(), [](const Finding& a, const Finding& b) {
        return a.ulBit.value_or(UINT64_MAX) < b.ulBit.value_or(UINT64_MAX);
    });
}

// A PPS with what it refers to; either can be null.
void checkPpsAndOthers(const PictureParameterSet& set, const SequenceParameterSet* pSps, const VideoParameterSet* pVps,
                       CFindings& findings)
{
    const SequenceParameterSet* const pWhole = pSps != nullptr && !pSps->stop ? pSps : nullptr;
    checkPictureParameterSet(set, pWhole, findings);
    if (pWhole != nullptr) {
        checkProfilesOfPps(set, *pWhole, findings);
        checkLevelOfPps(set, *pWhole, findings);
    }
    if (pVps != nullptr && !pVps->stop) {
        checkVpsOfPps(set, *pVps, findings);
        if (pWhole != nullptr)
            checkProfilesOfLayerPps(set, *pWhole, *pVps, findings);
    }
}

} // namespace

void check(const VideoParameterSet& set, const CNalUnit& nalUnit, CFindings& findings)
{
    CFindings own;
    checkNalUnit(nalUnit, false, own);
    checkVideoParameterSet(set, own);
    if (set.vps_extension_flag) {
        CAlignmentBits alignment(own);
        trace(set, alignment);
    }
    checkTrailing(set.rbsp_trailing, set.stop, own);
    finish(set, &nalUnit, own);
    findings.append(std::move(own));
}

void check(const SequenceParameterSet& set, const CNalUnit& nalUnit, const VideoParameterSet* pVps, CFindings& findings)
{
    CFindings own;
    checkNalUnit(nalUnit, false, own);
    checkSequenceParameterSet(set, own);
    checkProfilesOfSps(set, own);
    checkLevelOfSps(set, own);
    if (pVps != nullptr && !pVps->stop) {
        checkVpsOfSps(set, *pVps, own);
        checkLevelOfVpsOfSps(set, *pVps, own);
    }
    if (pVps != nullptr)
        checkProfilesOfLayerSps(set, *pVps, own);
    checkTrailing(set.rbsp_trailing, set.stop, own);
    finish(set, &nalUnit, own);
    findings.append(std::move(own));
}

void checkWithVps(const SequenceParameterSet& set, const VideoParameterSet& vps, CFindings& findings)
{
    if (set.stop || vps.stop || set.MultiLayerExtSpsFlag)
        return;
    CFindings own;
    checkVpsOfSps(set, vps, own);
    checkLevelOfVpsOfSps(set, vps, own);
    finish(set, nullptr, own);
    findings.append(std::move(own));
}

void check(const PictureParameterSet& set, const CNalUnit& nalUnit, const SequenceParameterSet* pSps,
           CFindings& findings, const VideoParameterSet* pVps)
{
    CFindings own;
    checkNalUnit(nalUnit, true, own);
    checkPpsAndOthers(set, pSps, pVps, own);
    checkTrailing(set.rbsp_trailing, set.stop, own);
    finish(set, &nalUnit, own);
    findings.append(std::move(own));
}

void checkWithSps(const PictureParameterSet& set, const SequenceParameterSet& sps, const VideoParameterSet* pVps,
                  CFindings& findings)
{
    CFindings own;
    checkPpsAndOthers(set, &sps, pVps, own);
    finish(set, nullptr, own);
    findings.append(std::move(own));
}

} // namespace h265_syntax
