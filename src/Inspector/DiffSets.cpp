#include "DiffSets.h"

#include <span>
#include <string>
#include <utility>

#include "SetElements.h"

namespace h265_inspect {

using namespace h265_syntax;

void CDiffSets::read(h265_stream::CByteSource& source)
{
    h265_stream::CNalUnitFinder finder;
    bool bMore = true;
    while (bMore) {
        const std::span<const unsigned char> piece = source.next();
        if (piece.empty())
            break;
        bMore = finder.feed(piece, *this);
    }
    if (bMore)
        (void)finder.finish(*this); // nothing follows
    m_seen.clear();
    if (m_side.nal_unit_type)
        keepOnly(*m_side.nal_unit_type, m_side.uiId);
    if (!m_sets.empty())
        return;
    std::string reason = m_side.file + ": there is no parameter set";
    if (m_side.nal_unit_type) {
        constexpr const char* NAMES[] = {"VPS ", "SPS ", "PPS "};
        reason = m_side.file + ": there is no " + NAMES[*m_side.nal_unit_type - VPS_NUT] + std::to_string(m_side.uiId);
    }
    if (m_side.ulOffset)
        reason += " in front of byte " + std::to_string(*m_side.ulOffset);
    throw CDiffError(reason);
}

void CDiffSets::keepOnly(unsigned nal_unit_type, std::uint32_t uiId)
{
    std::erase_if(m_sets, [nal_unit_type, uiId](const auto& entry) {
        return entry.first.nal_unit_type != nal_unit_type || entry.first.uiId != uiId;
    });
}

bool CDiffSets::onNalUnit(const h265_stream::NalUnit& unit)
{
    if (m_side.ulOffset && unit.ulOffset >= *m_side.ulOffset)
        return false;
    if (!h265_stream::isParameterSet(unit.header.nal_unit_type))
        return true;
    std::uint32_t uiId = 0;
    SetContent content = contentOf(unit, uiId);
    const SetKey key = {unit.header.nal_unit_type, unit.header.nuh_layer_id, uiId};
    if (m_side.ulOffset) {
        std::vector<SetContent>& inForce = m_sets[key];
        inForce.clear();
        inForce.push_back(std::move(content));
    } else if (m_seen[key].insert(content.bytes).second) {
        m_sets[key].push_back(std::move(content));
    }
    return true;
}

SetContent CDiffSets::contentOf(const h265_stream::NalUnit& unit, std::uint32_t& uiId)
{
    SetContent content{{unit.bytes.begin(), unit.bytes.end()}, nullptr};
    const CNalUnit nalUnit(unit.bytes);
    switch (unit.header.nal_unit_type) {
    case VPS_NUT: {
        auto pVps = std::make_shared<VideoParameterSet>();
        const bool bWhole = h265_syntax::read(*pVps, nalUnit);
        uiId = SetKind<VideoParameterSet>::idOf(*pVps);
        if (bWhole)
            m_apVps[uiId & 15U] = std::move(pVps);
        break;
    }
    case SPS_NUT: {
        SequenceParameterSet sps;
        Context context;
        for (std::size_t i = 0; i < std::size(m_apVps); ++i)
            context.apVps[i] = m_apVps[i].get();
        (void)h265_syntax::read(sps, nalUnit, context); // what cannot be read is not compared
        uiId = SetKind<SequenceParameterSet>::idOf(sps);
        content.pVps = m_apVps[sps.sps_video_parameter_set_id & 15U];
        break;
    }
    default: {
        PictureParameterSet pps;
        (void)h265_syntax::read(pps, nalUnit); // what cannot be read is not compared
        uiId = SetKind<PictureParameterSet>::idOf(pps);
        break;
    }
    }
    return content;
}

} // namespace h265_inspect
