#include "ClaimFindings.h"

#include <algorithm>
#include <utility>

namespace h265_inspect {

using namespace h265_syntax;

void CClaimFindings::add(ClaimFinding finding)
{
    if (m_findings.size() == CClaimChecks::MAX_FINDINGS ||
        !m_told.insert(finding.box + ' ' + finding.finding.message).second)
        return;
    m_findings.push_back(std::move(finding));
}

std::span<const ClaimFinding> CClaimFindings::news()
{
    const std::size_t uiBegin = std::exchange(m_uiAsked, m_findings.size());
    return std::span(m_findings).subspan(uiBegin);
}

CBoxChecks CBoxChecks::inside(std::string_view structure) const
{
    CBoxChecks checks = *this;
    checks.m_structure = structure;
    return checks;
}

std::string_view CBoxChecks::box() const
{
    const std::size_t uiSlash = m_box.rfind('/');
    return std::string_view(m_box).substr(uiSlash == std::string::npos ? 0 : uiSlash + 1);
}

void CBoxChecks::error(const Blamed& blamed, std::string_view clause, std::string allowed, std::string message) const
{
    add(h265_syntax::ESeverity::Error, blamed, clause, std::move(allowed), std::move(message));
}

void CBoxChecks::warning(const Blamed& blamed, std::string_view clause, std::string allowed, std::string message) const
{
    add(h265_syntax::ESeverity::Warning, blamed, clause, std::move(allowed), std::move(message));
}

void CBoxChecks::add(h265_syntax::ESeverity eSeverity, const Blamed& blamed, std::string_view clause,
                     std::string allowed, std::string message) const
{
    // The list of one set makes the finding of the element; box and byte are what a claim adds.
    CFindings one;
    CChecks checks(one, m_structure);
    if (eSeverity == h265_syntax::ESeverity::Error)
        checks.error(blamed, clause, std::move(allowed), std::move(message));
    else
        checks.warning(blamed, clause, std::move(allowed), std::move(message));
    m_findings.add({std::move(one.all().front()), m_box, m_ulOffset});
}

std::string ClaimedSps::name() const
{
    return say("SPS ", set.sps_seq_parameter_set_id);
}

std::string ClaimedSps::rateHolder() const
{
    return gist.frameRate && gist.frameRate->bFromVps ? "the VPS" : name() + "'s VUI";
}

Blamed ClaimedSps::timeScale() const
{
    if (gist.frameRate && gist.frameRate->bFromVps)
        return {"vps_time_scale", set.vps_time_scale};
    return {"vui_time_scale", set.vui_parameters.vui_time_scale};
}

std::string_view ClaimedSps::timeStructure() const
{
    return gist.frameRate && gist.frameRate->bFromVps ? "" : "vui_parameters";
}

bool conformsTo(const ClaimedSps& sps, unsigned general_profile_idc)
{
    return sps.set.profile_tier_level.general_profile_idc == general_profile_idc ||
           (sps.set.profile_tier_level.uiCompatibility >> (31 - general_profile_idc % 32) & 1) != 0;
}

Together together(std::span<const ClaimedSps> spss)
{
    Together all;
    for (const ClaimedSps& sps : spss) {
        const ClaimedProfile& s = sps.set.profile_tier_level;
        all.uiCompatibility &= s.uiCompatibility;
        all.ulConstraints &= s.ulConstraints;
        all.general_level_idc = std::max<unsigned>(all.general_level_idc, s.general_level_idc);
        all.general_tier_flag = all.general_tier_flag || s.general_tier_flag;
        all.uiSubLayers = std::max(all.uiSubLayers, sps.set.sps_max_sub_layers_minus1 + 1U);
    }
    return all;
}

} // namespace h265_inspect
