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

} // namespace

// The sets that others refer to, of all layers: they share their ids (F.7.4.1.4.1).
struct CInspector::Tables
{
    std::array<std::unique_ptr<VideoParameterSet>, VPS_IDS> apVps;
    std::array<std::unique_ptr<SequenceParameterSet>, SPS_IDS> apSps;

    // What is being read. It changes places with the set in force when it is good.
    std::unique_ptr<VideoParameterSet> pVps = std::make_unique<VideoParameterSet>();
    std::unique_ptr<SequenceParameterSet> pSps = std::make_unique<SequenceParameterSet>();
    PictureParameterSet pps;

    CActiveSets active;

    // SPSs that were not checked with the VPS that is in force now: a bit each. Whether the two meet, a picture tells.
    unsigned uiUnheldSps = 0;
    unsigned uiWaitingSps = 0; // of these, those that came in front of any VPS of theirs
    std::array<std::uint64_t, SPS_IDS> aulSpsOffsets{};

    // By type and id, the reading whose content is in force here; 0: none, or one of another layer.
    std::array<std::array<std::uint64_t, IDS>, TYPES> aulReadings{};

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
        readPps(set, bCheck);
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
    const std::optional<unsigned> uiSps = m_pTables->active.onNalUnit(unit.bytes, unit.ulOffset);
    if (uiSps && (m_pTables->uiUnheldSps >> *uiSps & 1) != 0)
        holdAgainstVps(*uiSps);
}

// A picture uses an SPS with a VPS that came behind it.
void CInspector::holdAgainstVps(unsigned uiSps)
{
    Tables& tables = *m_pTables;
    const SequenceParameterSet* const pSps = tables.apSps[uiSps].get();
    const VideoParameterSet* const pVps =
        pSps != nullptr ? tables.apVps[pSps->sps_video_parameter_set_id % VPS_IDS].get() : nullptr;
    if (pVps == nullptr)
        return;
    tables.uiUnheldSps &= ~(1U << uiSps);
    tables.uiWaitingSps &= ~(1U << uiSps);
    CFindings findings;
    checkWithVps(*pSps, *pVps, findings);
    for (const Finding& finding : findings.all())
        tables.active.add({SPS_NUT, uiSps, tables.aulSpsOffsets[uiSps], finding});
}

void CInspector::watchPps(const h265_stream::NalUnit& unit)
{
    m_nalUnit.assign(unit.bytes);
    read(m_pTables->pps, m_nalUnit);
    InspectedSet set;
    set.pps = &m_pTables->pps;
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
    m_pTables->active.onEnd();
}

std::span<const SetFinding> CInspector::newSetFindings()
{
    const std::span<const SetFinding> all = m_pTables->active.findings();
    const std::span<const SetFinding> fresh = all.subspan(std::min(m_uiTold, all.size()));
    m_uiTold = all.size();
    for (const SetFinding& found : fresh)
        ++(found.finding.eSeverity == ESeverity::Error ? m_counts.ulErrors : m_counts.ulWarnings);
    return fresh;
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
    if (bCheck)
        check(*pSps, m_nalUnit, m_pTables->apVps[pSps->sps_video_parameter_set_id % VPS_IDS].get(), m_findings);
    set.sps = pSps.get();
    if (pSps->pic_width_in_luma_samples != 0 && pSps->pic_height_in_luma_samples != 0) {
        m_gist = gistOf(*pSps, m_pTables->apVps[pSps->sps_video_parameter_set_id % VPS_IDS].get(), m_nalUnit.rbsp());
        if (const std::size_t uiName = m_gist.codecs.find('.'); uiName != std::string::npos)
            m_gist.codecs.replace(0, uiName, m_options.sampleEntry);
        set.pGist = &m_gist;
    }
    if (!bWhole || !bEnter || pSps->sps_seq_parameter_set_id >= SPS_IDS)
        return;
    const unsigned uiId = pSps->sps_seq_parameter_set_id;
    const bool bWaits = m_pTables->apVps[pSps->sps_video_parameter_set_id % VPS_IDS] == nullptr;
    m_pTables->uiUnheldSps &= ~(1U << uiId);
    m_pTables->uiWaitingSps = (m_pTables->uiWaitingSps & ~(1U << uiId)) | (bWaits ? 1U << uiId : 0);
    m_pTables->aulSpsOffsets[uiId] = event.ulOffset;
    std::swap(pSps, m_pTables->apSps[uiId]);
    if (pSps == nullptr)
        pSps = std::make_unique<SequenceParameterSet>();
}

void CInspector::readPps(InspectedSet& set, bool bCheck)
{
    PictureParameterSet& pps = m_pTables->pps;
    read(pps, m_nalUnit);
    if (bCheck) {
        const std::uint32_t uiSps = pps.pps_seq_parameter_set_id;
        const SequenceParameterSet* const pSps = uiSps < SPS_IDS ? m_pTables->apSps[uiSps].get() : nullptr;
        const VideoParameterSet* const pVps =
            pSps != nullptr ? m_pTables->apVps[pSps->sps_video_parameter_set_id % VPS_IDS].get() : nullptr;
        check(pps, m_nalUnit, pSps, m_findings, pVps);
    }
    set.pps = &pps;
}

void CInspector::count(const InspectedSet& set, const ParameterSetEvent& event, bool bKnown)
{
    if (bKnown)
        return;
    ++m_counts.aulSets[typeIndex(event)];
    for (const Finding& finding : set.findings)
        ++(finding.eSeverity == ESeverity::Error ? m_counts.ulErrors : m_counts.ulWarnings);
    m_counts.ulErrors += set.uiMoreFindings;
}

} // namespace h265_inspect
