#include "Inspector.h"

#include <algorithm>
#include <array>
#include <utility>

#include "DecParameterSetReader.h"
#include "ParameterSetChecks.h"

namespace h265_inspect {

using namespace h265_syntax;
using h265_stream::ParameterSetEvent;

namespace {

constexpr std::size_t IDS = 256; // of any type, as the records have them
constexpr std::size_t TYPES = 3; // VPS, SPS, PPS
constexpr std::size_t VPS_IDS = 16;
constexpr std::size_t SPS_IDS = 16;
constexpr std::size_t PPS_IDS = 64;

std::size_t typeIndex(const ParameterSetEvent& event)
{
    return event.header.nal_unit_type - std::size_t{h265_stream::VPS_NUT};
}

std::optional<std::size_t> idOf(const ParameterSetEvent& event)
{
    if (event.vps != nullptr)
        return event.vps->vps_video_parameter_set_id;
    if (event.sps != nullptr)
        return event.sps->sps_seq_parameter_set_id;
    if (event.pps != nullptr)
        return event.pps->pps_pic_parameter_set_id;
    return std::nullopt;
}

// A PPS that pictures can name.
struct HeldPps
{
    PictureParameterSet set;
    std::uint64_t ulOffset = 0;
    bool bUnheld = false;          // not checked with the SPS that is in force now
    bool bWaits = false;           // it came in front of any SPS of its own
    std::vector<std::string> told; // messages of what was found, mostly none
};

} // namespace

// The sets in force, of all layers: they share their ids (F.7.4.1.4.1).
struct CInspector::Tables
{
    std::array<std::unique_ptr<VideoParameterSet>, VPS_IDS> apVps;
    std::array<std::unique_ptr<SequenceParameterSet>, SPS_IDS> apSps;
    std::array<std::unique_ptr<HeldPps>, PPS_IDS> apPps;

    // What is being read. It changes places with the set in force when it is good.
    std::unique_ptr<VideoParameterSet> pVps = std::make_unique<VideoParameterSet>();
    std::unique_ptr<SequenceParameterSet> pSps = std::make_unique<SequenceParameterSet>();
    std::unique_ptr<HeldPps> pPps = std::make_unique<HeldPps>();

    CActiveSets active;

    // SPSs that were not checked with the VPS that is in force now: a bit each. Whether the two meet, a picture tells.
    unsigned uiUnheldSps = 0;
    unsigned uiWaitingSps = 0; // of these, those that came in front of any VPS of theirs
    std::array<std::uint64_t, SPS_IDS> aulSpsOffsets{};

    // By type and id, the reading whose content is in force here; 0: none, or one of another layer.
    std::array<std::array<std::uint64_t, IDS>, TYPES> aulReadings{};

    [[nodiscard]] const SequenceParameterSet* spsOf(const PictureParameterSet& pps) const
    {
        return pps.pps_seq_parameter_set_id < SPS_IDS ? apSps[pps.pps_seq_parameter_set_id].get() : nullptr;
    }
    [[nodiscard]] const VideoParameterSet* vpsOf(const SequenceParameterSet& sps) const
    {
        return apVps[sps.sps_video_parameter_set_id % VPS_IDS].get();
    }
    [[nodiscard]] Context context() const
    {
        Context context;
        for (std::size_t i = 0; i < apVps.size(); ++i)
            context.apVps[i] = apVps[i].get();
        return context;
    }
};

std::optional<unsigned> InspectedSet::id() const noexcept
{
    if (!hasSyntax())
        return std::nullopt;
    // What was not read is 0 as well: whether the id was, the place of the stop tells.
    const auto wasRead = [&](const char* pName) {
        return !stop() || (stop().element != pName && !stop().element.empty());
    };
    if (vps != nullptr && wasRead("vps_video_parameter_set_id"))
        return vps->vps_video_parameter_set_id;
    if (pps != nullptr && wasRead("pps_pic_parameter_set_id"))
        return pps->pps_pic_parameter_set_id;
    // The id of an SPS stands behind profile_tier_level( ) and is followed by the format.
    if (sps != nullptr && (!stop() || sps->sps_seq_parameter_set_id != 0 || sps->chroma_format_idc != 0 ||
                           sps->pic_width_in_luma_samples != 0))
        return sps->sps_seq_parameter_set_id;
    return std::nullopt;
}

const Stop& InspectedSet::stop() const noexcept
{
    if (vps != nullptr)
        return vps->stop;
    return sps != nullptr ? sps->stop : pps->stop;
}

void InspectedSet::trace(CElementSink& sink) const
{
    if (vps != nullptr)
        h265_syntax::trace(*vps, sink, pNalUnit);
    else if (sps != nullptr)
        h265_syntax::trace(*sps, sink, pNalUnit);
    else if (pps != nullptr)
        h265_syntax::trace(*pps, sink, pNalUnit);
}

CInspector::CInspector(InspectOptions options) : m_options(std::move(options)), m_pTables(std::make_unique<Tables>()) {}

CInspector::~CInspector() = default;

InspectedSet CInspector::onSet(const ParameterSetEvent& event)
{
    const bool bKnown = event.bRepeat || event.bSeenBefore || event.ulSameAs.has_value();
    const bool bWanted = m_options.bRepeats || !bKnown;
    InspectedSet set;
    m_findings.clear();
    if (event.bytes.empty() || (!bWanted && isInForce(event)))
        return set;
    m_nalUnit.assign(event.bytes);
    set.pNalUnit = &m_nalUnit;
    const bool bEnter = !event.bCutOff && !event.header.forbidden_zero_bit;
    const bool bCheck = bWanted && m_options.bChecks;
    switch (event.header.nal_unit_type) {
    case VPS_NUT:
        readVps(set, event, bCheck, bEnter);
        break;
    case SPS_NUT:
        readSps(set, event, bCheck, bEnter);
        break;
    default:
        readPps(set, event, bCheck, bEnter);
        break;
    }
    noteReading(event);
    if (bEnter && m_options.bChecks)
        watch(set, event.ulOffset);
    set.findings = m_findings.all();
    set.uiMoreFindings = m_findings.dropped();
    count(set, event, bKnown);
    return bWanted ? set : InspectedSet{};
}

void CInspector::watch(const InspectedSet& set, std::uint64_t ulOffset)
{
    // A PPS that waited for its SPS was watched in its place.
    if (!set.id() || (m_ulWatched && ulOffset <= *m_ulWatched))
        return;
    m_ulWatched = ulOffset;
    if (set.vps != nullptr)
        m_pTables->active.onSet(*set.vps, m_nalUnit, ulOffset);
    else if (set.sps != nullptr)
        m_pTables->active.onSet(*set.sps, m_nalUnit, ulOffset);
    else
        m_pTables->active.onSet(*set.pps, m_nalUnit, ulOffset);
}

void CInspector::onOtherUnit(const h265_stream::NalUnit& unit)
{
    if (!m_options.bChecks)
        return;
    if (unit.header.nal_unit_type == PPS_NUT)
        return watchPps(unit);
    m_ulWatched = unit.ulOffset;
    const std::optional<PictureSets> used = m_pTables->active.onNalUnit(unit.bytes, unit.ulOffset);
    if (used && (m_pTables->uiUnheldSps >> used->uiSps & 1) != 0)
        holdAgainstVps(used->uiSps);
    if (used)
        holdAgainstSps(used->uiPps);
}

// A picture uses an SPS with a VPS that came behind it.
void CInspector::holdAgainstVps(unsigned uiSps)
{
    Tables& tables = *m_pTables;
    const SequenceParameterSet* const pSps = tables.apSps[uiSps].get();
    const VideoParameterSet* const pVps = pSps != nullptr ? tables.vpsOf(*pSps) : nullptr;
    if (pVps == nullptr)
        return;
    tables.uiUnheldSps &= ~(1U << uiSps);
    tables.uiWaitingSps &= ~(1U << uiSps);
    CFindings findings;
    checkWithVps(*pSps, *pVps, findings);
    for (const Finding& finding : findings.all())
        tables.active.add({SPS_NUT, uiSps, tables.aulSpsOffsets[uiSps], finding});
}

// A picture uses a PPS with an SPS that came behind it.
void CInspector::holdAgainstSps(unsigned uiPps)
{
    HeldPps* const pPps = m_pTables->apPps[uiPps].get();
    if (pPps == nullptr || !pPps->bUnheld)
        return;
    pPps->bUnheld = false;
    pPps->bWaits = false;
    const SequenceParameterSet* const pSps = m_pTables->spsOf(pPps->set);
    if (pSps == nullptr)
        return;
    CFindings findings;
    checkWithSps(pPps->set, *pSps, m_pTables->vpsOf(*pSps), findings);
    for (Finding& finding : findings.all()) {
        if (std::ranges::find(pPps->told, finding.message) != pPps->told.end())
            continue;
        pPps->told.push_back(finding.message);
        finding.message += say(" (with SPS ", pPps->set.pps_seq_parameter_set_id, ", which came behind the PPS)");
        m_pTables->active.add({PPS_NUT, uiPps, pPps->ulOffset, std::move(finding)});
    }
}

void CInspector::watchPps(const h265_stream::NalUnit& unit)
{
    m_nalUnit.assign(unit.bytes);
    read(m_pTables->pPps->set, m_nalUnit);
    InspectedSet set;
    set.pps = &m_pTables->pPps->set;
    set.pNalUnit = &m_nalUnit;
    watch(set, unit.ulOffset);
}

void CInspector::onEnd()
{
    if (!m_options.bChecks)
        return;
    for (unsigned i = 0; i < SPS_IDS; ++i) {
        if ((m_pTables->uiWaitingSps >> i & 1) != 0) // no picture has used it, as in sets without a stream
            holdAgainstVps(i);
    }
    for (unsigned i = 0; i < PPS_IDS; ++i) {
        if (m_pTables->apPps[i] != nullptr && m_pTables->apPps[i]->bWaits)
            holdAgainstSps(i);
    }
    m_pTables->active.onEnd();
}

std::span<const SetFinding> CInspector::newSetFindings()
{
    const std::span<const SetFinding> all = m_pTables->active.findings();
    m_fresh.clear();
    for (const SetFinding& found : all.subspan(std::min(m_uiTold, all.size()))) {
        if (m_options.bAlone && found.bNotCome)
            continue;
        ++(found.finding.eSeverity == h265_syntax::ESeverity::Error ? m_counts.ulErrors : m_counts.ulWarnings);
        m_fresh.push_back(found);
    }
    m_uiTold = all.size();
    return m_fresh;
}

// A repeat of what is in force here as well.
bool CInspector::isInForce(const ParameterSetEvent& event) const noexcept
{
    const std::optional<std::size_t> uiId = idOf(event);
    return event.bRepeat && uiId && m_pTables->aulReadings[typeIndex(event)][*uiId % IDS] == event.ulReading;
}

// A set that the module did not read may be good here, and may have taken any place.
void CInspector::noteReading(const ParameterSetEvent& event) noexcept
{
    auto& aulReadings = m_pTables->aulReadings[typeIndex(event)];
    if (const std::optional<std::size_t> uiId = idOf(event))
        aulReadings[*uiId % IDS] = event.ulReading;
    else
        aulReadings.fill(0);
}

void CInspector::readVps(InspectedSet& set, const ParameterSetEvent& event, bool bCheck, bool bEnter)
{
    std::unique_ptr<VideoParameterSet>& pVps = m_pTables->pVps;
    const bool bWhole = read(*pVps, m_nalUnit);
    if (bCheck)
        check(*pVps, m_nalUnit, m_findings);
    set.vps = pVps.get();
    if (!bWhole || !bEnter)
        return;
    const std::size_t uiId = pVps->vps_video_parameter_set_id % VPS_IDS;
    std::swap(pVps, m_pTables->apVps[uiId]);
    const bool bUnheld = bCheck && !isInForce(event);
    for (unsigned i = 0; bUnheld && i < SPS_IDS; ++i) {
        const SequenceParameterSet* const pSps = m_pTables->apSps[i].get();
        if (pSps != nullptr && pSps->sps_video_parameter_set_id == uiId)
            m_pTables->uiUnheldSps |= 1U << i;
    }
    if (pVps == nullptr)
        pVps = std::make_unique<VideoParameterSet>();
}

void CInspector::readSps(InspectedSet& set, const ParameterSetEvent& event, bool bCheck, bool bEnter)
{
    std::unique_ptr<SequenceParameterSet>& pSps = m_pTables->pSps;
    const bool bWhole = read(*pSps, m_nalUnit, m_pTables->context());
    const VideoParameterSet* const pVps = m_pTables->vpsOf(*pSps);
    if (bCheck)
        check(*pSps, m_nalUnit, pVps, m_findings);
    set.sps = pSps.get();
    if (pSps->pic_width_in_luma_samples != 0 && pSps->pic_height_in_luma_samples != 0) {
        m_gist = gistOf(*pSps, pVps, m_nalUnit.rbsp());
        if (const std::size_t uiName = m_gist.codecs.find('.'); uiName != std::string::npos)
            m_gist.codecs.replace(0, uiName, m_options.sampleEntry);
        set.pGist = &m_gist;
    }
    if (!bWhole || !bEnter || pSps->sps_seq_parameter_set_id >= SPS_IDS)
        return;
    const unsigned uiId = pSps->sps_seq_parameter_set_id;
    const bool bWaits = pVps == nullptr;
    m_pTables->uiUnheldSps &= ~(1U << uiId);
    m_pTables->uiWaitingSps = (m_pTables->uiWaitingSps & ~(1U << uiId)) | (bWaits ? 1U << uiId : 0);
    m_pTables->aulSpsOffsets[uiId] = event.ulOffset;
    for (const std::unique_ptr<HeldPps>& pPps : m_pTables->apPps) {
        if (pPps != nullptr && pPps->set.pps_seq_parameter_set_id == uiId)
            pPps->bUnheld = pPps->bUnheld || !isInForce(event);
    }
    std::swap(pSps, m_pTables->apSps[uiId]);
    if (pSps == nullptr)
        pSps = std::make_unique<SequenceParameterSet>();
}

void CInspector::readPps(InspectedSet& set, const ParameterSetEvent& event, bool bCheck, bool bEnter)
{
    std::unique_ptr<HeldPps>& pPps = m_pTables->pPps;
    PictureParameterSet& pps = pPps->set;
    const bool bWhole = read(pps, m_nalUnit);
    const SequenceParameterSet* const pSps = m_pTables->spsOf(pps);
    if (bCheck)
        check(pps, m_nalUnit, pSps, m_findings, pSps != nullptr ? m_pTables->vpsOf(*pSps) : nullptr);
    set.pps = &pps;
    if (!bWhole || !bEnter || pps.pps_pic_parameter_set_id >= PPS_IDS)
        return;
    std::unique_ptr<HeldPps>& pHeld = m_pTables->apPps[pps.pps_pic_parameter_set_id];
    if (pHeld != nullptr && pHeld->ulOffset > event.ulOffset)
        return; // it waited for its SPS, and another took its id meanwhile
    pPps->ulOffset = event.ulOffset;
    pPps->bWaits = pSps == nullptr && m_options.bChecks;
    pPps->bUnheld = pPps->bWaits;
    pPps->told.clear();
    for (const Finding& finding : m_findings.all())
        pPps->told.push_back(finding.message);
    std::swap(pPps, pHeld);
    if (pPps == nullptr)
        pPps = std::make_unique<HeldPps>();
}

void CInspector::count(const InspectedSet& set, const ParameterSetEvent& event, bool bKnown)
{
    if (bKnown)
        return;
    ++m_counts.aulSets[typeIndex(event)];
    for (const Finding& finding : set.findings)
        ++(finding.eSeverity == h265_syntax::ESeverity::Error ? m_counts.ulErrors : m_counts.ulWarnings);
    m_counts.ulErrors += set.uiMoreFindings;
}

} // namespace h265_inspect
