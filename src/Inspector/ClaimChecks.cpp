#include "ClaimChecks.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "ClaimConfigurationChecks.h"
#include "ClaimDescriptorChecks.h"
#include "ClaimFindings.h"
#include "ClaimPictureChecks.h"
#include "ClaimSessionChecks.h"
#include "ClaimedSets.h"
#include "ParameterSetSyntax.h"

namespace h265_inspect {

using namespace h265_syntax;
using namespace h265_container;

namespace {

using ReadSetPtr = std::shared_ptr<const ReadSet>;

// Sample entries that have no parameter sets in their samples.
bool hasSetsInEntryOnly(std::string_view codec)
{
    constexpr std::string_view CODECS[] = {"hvc1", "hvc2", "dvh1"};
    return std::ranges::find(CODECS, codec) != std::end(CODECS);
}

// Sample entries whose base layer is described by an hvcC.
bool needsRecord(std::string_view codec)
{
    return hasSetsInEntryOnly(codec) || codec == "hev1" || codec == "hev2" || codec == "dvhe";
}

// A sample description, or all of a track that has no such: what is claimed, and the sets that it is held against.
struct Described
{
    ContainerClaims claims;
    bool bClaimed = false;
    bool bSettled = false;
    unsigned uiTemporalLayers = 0;
    std::vector<ReadSetPtr> inRecord;
    std::vector<ReadSetPtr> sets; // SPSs and PPSs, each once
    bool bRepeatTold = false;
    std::set<std::pair<unsigned, unsigned>> changesTold; // by type and id

    [[nodiscard]] bool isEntryOnly() const { return claims.hvcC && hasSetsInEntryOnly(claims.codec); }
    [[nodiscard]] bool isComplete(unsigned nal_unit_type) const
    {
        return claims.hvcC && std::ranges::any_of(claims.hvcC->value.arrays, [&](const ConfigurationArray& array) {
                   return array.NAL_unit_type == nal_unit_type && array.array_completeness;
               });
    }
};

} // namespace

struct CClaimChecks::State
{
    // Sets that are kept of one track. A stream with more is made by no encoder: those are not compared.
    static constexpr std::size_t MAX_KEPT = 256;
    // A program map that changes all the time does not cost more.
    static constexpr unsigned MAX_COMPARED = 10000;

    void onSet(Described& described, const ContainerUnit& unit);
    ReadSetPtr read(const ContainerUnit& unit);
    void compare(const Described& described, const ReadSet& set);
    void compareInStream(Described& described, const ReadSet& set, const ContainerUnit& unit);
    void compareInRecord(const Described& described, const ReadSet& set);
    void lookAtArrays(const Described& described);
    void settle(Described& described);
    void settleDescriptor(Described& described);

    std::map<unsigned, Described> m_described;    // by sample description
    std::vector<ReadSetPtr> m_sets;               // of all descriptions
    std::array<VpsTiming, IDS_OF_VPS> m_aTimings; // of the VPSs in force
    CClaimFindings m_findings;
    CNalUnit m_nalUnit;
    unsigned m_uiCompared = 0;
};

namespace {

std::vector<ClaimedSps> spssOf(const Described& described)
{
    std::vector<ClaimedSps> spss;
    for (const ReadSetPtr& pSet : described.sets) {
        if (pSet->sps)
            spss.push_back(pSet->claimed());
    }
    return spss;
}

} // namespace

ReadSetPtr CClaimChecks::State::read(const ContainerUnit& unit)
{
    const Content content = contentOf(unit.bytes);
    for (const ReadSetPtr& pSet : m_sets) {
        if (pSet->content == content && pSet->nal_unit_type == unit.header.nal_unit_type)
            return pSet;
    }
    m_nalUnit.assign(unit.bytes);
    auto pSet =
        std::make_shared<const ReadSet>(readClaimedSet(unit.header.nal_unit_type, m_nalUnit, content, m_aTimings));
    if (m_sets.size() < MAX_KEPT)
        m_sets.push_back(pSet);
    return pSet;
}

void CClaimChecks::State::compare(const Described& described, const ReadSet& set)
{
    if (!described.bClaimed || !set.bWhole || ++m_uiCompared > MAX_COMPARED)
        return;
    const ContainerClaims& claims = described.claims;
    const bool bRecord = claims.hvcC && claims.hvcC->value.uiFieldBits == std::size_t{23} * 8;
    if (set.sps) {
        const ClaimedSps sps = set.claimed();
        if (bRecord)
            checkConfiguration(*claims.hvcC, sps, m_findings);
        if (claims.hevcDescriptor)
            checkDescriptor(*claims.hevcDescriptor, sps, m_findings);
        if (claims.session)
            checkSession(*claims.session, sps, m_findings);
        checkPicture(claims, sps, m_findings);
    } else if (set.nal_unit_type == PPS_NUT && bRecord) {
        PictureParameterSet pps;
        pps.pps_pic_parameter_set_id = set.uiId;
        pps.tiles_enabled_flag = set.bTiles;
        pps.entropy_coding_sync_enabled_flag = set.bWavefront;
        checkConfiguration(*claims.hvcC, pps, m_findings);
    }
}

// ISO/IEC 14496-15 8.3.2.1.3, array_completeness: where sets may stand beside the record.
void CClaimChecks::State::compareInStream(Described& described, const ReadSet& set, const ContainerUnit& unit)
{
    const bool bEntryOnly = described.isEntryOnly();
    const bool bComplete = described.isComplete(set.nal_unit_type);
    // Without any set in the record that is what is wrong.
    if ((!bEntryOnly && !bComplete) || (bEntryOnly && described.inRecord.empty()))
        return;
    const CBoxChecks checks(m_findings, *described.claims.hvcC);
    const std::string_view clause = bEntryOnly ? ENTRY_CLAUSE : FIELDS_CLAUSE;
    const Blamed blamed("array_completeness", bComplete ? 1 : 0);
    const std::string_view kind = SET_NAMES[set.nal_unit_type - VPS_NUT];
    const std::string rule = bEntryOnly ? say(described.claims.codec, " has its sets there only")
                                        : say("array_completeness 1 says that all ", kind, "s stand there");
    const std::string place = placeText(unit.place);
    const auto isTheSame = [&](const ReadSetPtr& pOther) {
        return pOther->content == set.content && pOther->nal_unit_type == set.nal_unit_type;
    };
    const auto hasItsId = [&](const ReadSetPtr& pOther) {
        return pOther->uiId == set.uiId && pOther->nal_unit_type == set.nal_unit_type;
    };
    if (std::ranges::any_of(described.inRecord, isTheSame)) {
        if (!std::exchange(described.bRepeatTold, true))
            checks.warning(blamed,
                           clause,
                           bComplete ? "0" : "",
                           say(set.name(),
                               " of ",
                               checks.box(),
                               " also stands in the stream (",
                               place,
                               "), although ",
                               rule,
                               "; it is the same, and most players read on"));
        return;
    }
    if (!described.changesTold.emplace(set.nal_unit_type, set.uiId).second)
        return;
    if (std::ranges::any_of(described.inRecord, hasItsId))
        checks.error(blamed,
                     clause,
                     bComplete ? "0" : "",
                     say(set.name(),
                         " changes in the stream (",
                         place,
                         "): ",
                         checks.box(),
                         " has another one, and ",
                         rule,
                         "; a player that goes by ",
                         checks.box(),
                         " decodes what follows with the wrong one"));
    else
        checks.error(blamed,
                     clause,
                     bComplete ? "0" : "",
                     say(set.name(),
                         " stands in the stream (",
                         place,
                         ") and in no array of ",
                         checks.box(),
                         ", although ",
                         rule));
}

// A record is handed over before any picture: of two sets with one id, one is never used.
void CClaimChecks::State::compareInRecord(const Described& described, const ReadSet& set)
{
    const auto hasItsId = [&](const ReadSetPtr& pOther) {
        return pOther->bWhole && pOther->uiId == set.uiId && pOther->nal_unit_type == set.nal_unit_type;
    };
    if (!described.claims.hvcC || !set.bWhole || std::ranges::none_of(described.inRecord, hasItsId))
        return;
    const CBoxChecks checks(m_findings, *described.claims.hvcC);
    const std::string_view kind = SET_NAMES[set.nal_unit_type - VPS_NUT];
    checks.warning(Blamed("NAL_unit_type", set.nal_unit_type),
                   FIELDS_CLAUSE,
                   "",
                   say(checks.box(),
                       " has different ",
                       kind,
                       "s with the id ",
                       set.uiId,
                       ": the one that stands last counts, and other players take the first"));
}

void CClaimChecks::State::onSet(Described& described, const ContainerUnit& unit)
{
    const ReadSetPtr pSet = read(unit);
    if (pSet->nal_unit_type == VPS_NUT && pSet->bWhole && pSet->uiId < IDS_OF_VPS)
        m_aTimings[pSet->uiId] = pSet->timing;
    const bool bKnown = std::ranges::find(described.sets, pSet) != described.sets.end();
    if (!bKnown && described.sets.size() < MAX_KEPT) {
        described.sets.push_back(pSet);
        compare(described, *pSet);
    }
    if (unit.place.configuration.empty())
        compareInStream(described, *pSet, unit);
    else if (described.inRecord.size() < MAX_KEPT &&
             std::ranges::find(described.inRecord, pSet) == described.inRecord.end()) {
        compareInRecord(described, *pSet);
        described.inRecord.push_back(pSet);
    }
}

// ISO/IEC 14496-15 8.4.1.1: what hvc1 needs of its arrays.
void CClaimChecks::State::lookAtArrays(const Described& described)
{
    const ContainerClaims& claims = described.claims;
    if (!claims.hvcC && claims.entrySize && needsRecord(claims.codec)) {
        const CBoxChecks entry(m_findings, *claims.entrySize);
        entry.error(Blamed(),
                    ENTRY_CLAUSE,
                    "",
                    say("the sample entry ", claims.codec, " has no hvcC: players cannot tell what is in it"));
    }
    if (!described.isEntryOnly())
        return;
    const CBoxChecks checks(m_findings, *described.claims.hvcC);
    const std::string& codec = described.claims.codec;
    std::array<unsigned, 3> auiUnits{};
    std::string incomplete;
    for (const ConfigurationArray& array : described.claims.hvcC->value.arrays) {
        if (array.NAL_unit_type < VPS_NUT || array.NAL_unit_type > PPS_NUT)
            continue;
        const unsigned i = array.NAL_unit_type - VPS_NUT;
        auiUnits[i] += array.numNalus;
        if (!array.array_completeness && array.numNalus != 0)
            incomplete += (incomplete.empty() ? "" : ", ") + std::string(SET_NAMES[i]);
    }
    if (!incomplete.empty())
        checks.warning(Blamed("array_completeness", 0),
                       ENTRY_CLAUSE,
                       "1",
                       say(checks.box(),
                           " says that more sets may stand in the stream (array_completeness 0 of ",
                           incomplete,
                           "), which ",
                           codec,
                           " rules out"));
    if (std::ranges::all_of(auiUnits, [](unsigned uiUnits) { return uiUnits == 0; })) {
        checks.error(Blamed("numOfArrays", described.claims.hvcC->value.numOfArrays),
                     ENTRY_CLAUSE,
                     "a VPS, an SPS and a PPS",
                     say(checks.box(),
                         " has no parameter sets, and ",
                         codec,
                         " has them there only: players find nothing to decode with"));
        return;
    }
    for (unsigned i = 0; i < auiUnits.size(); ++i) {
        if (auiUnits[i] == 0)
            checks.error(Blamed("numNalus", 0),
                         ENTRY_CLAUSE,
                         "at least 1",
                         say(checks.box(), " has no ", SET_NAMES[i], ", and ", codec, " has its sets there only"));
    }
}

// What all sets together do not bear out.
void CClaimChecks::State::settle(Described& described)
{
    described.bSettled = true;
    if (!described.bClaimed)
        return;
    const std::vector<ClaimedSps> spss = spssOf(described);
    const ContainerClaims& claims = described.claims;
    if (claims.hvcC && claims.hvcC->value.uiFieldBits == std::size_t{23} * 8)
        checkWholeConfiguration(*claims.hvcC, spss, described.uiTemporalLayers, m_findings);
    checkSizes(claims, spss, m_findings);
    settleDescriptor(described);
}

void CClaimChecks::State::settleDescriptor(Described& described)
{
    if (described.claims.hevcDescriptor && ++m_uiCompared <= MAX_COMPARED)
        checkWholeDescriptor(*described.claims.hevcDescriptor, spssOf(described), m_findings);
}

CClaimChecks::CClaimChecks() : m_pState(std::make_unique<State>()) {}
CClaimChecks::~CClaimChecks() = default;

void CClaimChecks::onClaims(const ContainerClaims& claims)
{
    Described& described = m_pState->m_described[claims.uiDescription];
    if (described.bClaimed && (described.claims.hevcDescriptor || claims.hevcDescriptor)) {
        // The map changes with the stream: what stands in front of it was held against the one before.
        m_pState->settleDescriptor(described);
        described.sets.clear();
    } else if (described.bClaimed) {
        // A second moov or Segment: its claims are those of its own sets, and the first one's are done.
        m_pState->settle(described);
        described = {};
    }
    described.claims = claims;
    described.bClaimed = true;
    m_pState->lookAtArrays(described);
    // A program map can come behind the sets.
    for (const ReadSetPtr& pSet : described.sets)
        m_pState->compare(described, *pSet);
}

void CClaimChecks::onNalUnit(const ContainerUnit& unit)
{
    Described& described = m_pState->m_described[unit.place.uiDescription];
    if (unit.header.nuh_layer_id != 0 || unit.place.configuration == "lhvC")
        return;
    const bool bInStream = unit.place.configuration.empty();
    if (bInStream && !described.bSettled && (described.isEntryOnly() || described.isComplete(SPS_NUT)))
        m_pState->settle(described);
    if (unit.header.nal_unit_type >= VPS_NUT && unit.header.nal_unit_type <= PPS_NUT)
        m_pState->onSet(described, unit);
    else if (unit.header.nal_unit_type < VPS_NUT)
        described.uiTemporalLayers = std::max<unsigned>(described.uiTemporalLayers, unit.header.nuh_temporal_id_plus1);
}

void CClaimChecks::onEnd()
{
    for (auto& [uiDescription, described] : m_pState->m_described)
        m_pState->settle(described);
}

std::span<const ClaimFinding> CClaimChecks::newFindings()
{
    return m_pState->m_findings.news();
}

} // namespace h265_inspect
