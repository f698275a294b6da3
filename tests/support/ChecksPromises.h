#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "ActiveSets.h"
#include "ParameterSetChecks.h"

namespace h265_test {

/// What the checks promise of every input: NAL units one after another, each with those in front of it.
class CChecksPromises
{
public:
    /// The promise that a NAL unit breaks; null when it breaks none.
    const char* check(std::span<const unsigned char> bytes)
    {
        using namespace h265_syntax;
        m_nalUnit.assign(bytes);
        const std::uint64_t ulOffset = m_ulOffset;
        m_ulOffset += bytes.size();
        switch (m_nalUnit.header().nal_unit_type) {
        case VPS_NUT:
            return checkSet(m_vps, ulOffset, [this](auto& set) {
                read(set, m_nalUnit);
                return findingsOf(set);
            });
        case SPS_NUT:
            return checkSet(m_sps, ulOffset, [this](auto& set) {
                read(set, m_nalUnit, context());
                return findingsOf(set, m_apVps[set.sps_video_parameter_set_id & 15U].get());
            });
        case PPS_NUT:
            return checkSet(m_pps, ulOffset, [this](auto& set) {
                read(set, m_nalUnit);
                const auto uiSps = set.pps_seq_parameter_set_id;
                const SequenceParameterSet* const pSps = uiSps < m_apSps.size() ? m_apSps[uiSps].get() : nullptr;
                CFindings findings;
                h265_syntax::check(set,
                                   m_nalUnit,
                                   pSps,
                                   findings,
                                   pSps != nullptr ? m_apVps[pSps->sps_video_parameter_set_id & 15U].get() : nullptr);
                return findings;
            });
        default:
            m_active.onNalUnit(bytes, ulOffset);
            return nullptr;
        }
    }

private:
    template <class TSet, class... TOther>
    h265_syntax::CFindings findingsOf(const TSet& set, const TOther&... others)
    {
        h265_syntax::CFindings findings;
        h265_syntax::check(set, m_nalUnit, others..., findings);
        return findings;
    }

    template <class TSet, class TCheck>
    const char* checkSet(TSet& used, std::uint64_t ulOffset, TCheck check)
    {
        auto pFresh = std::make_unique<TSet>();
        const h265_syntax::CFindings findings = check(*pFresh);
        if (!isSame(findings, check(used)))
            return "what a structure held before changes no finding";
        if (pFresh->stop && findings.all().empty())
            return "what cannot be read is a finding";
        std::uint64_t ulBefore = 0;
        bool bErrors = findings.dropped() != 0;
        for (const h265_syntax::Finding& finding : findings.all()) {
            if (!finding.element.empty() && !finding.ulBit)
                return "an element that is blamed has its place";
            if (finding.ulBit.value_or(0) > 8 * m_nalUnit.rbsp().size())
                return "the place is in the RBSP";
            if (finding.ulBit.value_or(UINT64_MAX) < ulBefore)
                return "findings come in coding order";
            if (finding.message.empty() || finding.clause.empty())
                return "a finding has a sentence and a clause";
            ulBefore = finding.ulBit.value_or(UINT64_MAX);
            bErrors = bErrors || finding.eSeverity == h265_syntax::ESeverity::Error;
        }
        if (findings.hasErrors() && !bErrors)
            return "there are errors when there is one";
        m_active.onSet(*pFresh, m_nalUnit, ulOffset);
        if (!pFresh->stop)
            keep(std::move(pFresh));
        return nullptr;
    }

    static bool isSame(const h265_syntax::CFindings& a, const h265_syntax::CFindings& b)
    {
        return std::ranges::equal(a.all(), b.all(), [](const auto& x, const auto& y) {
            return x.eSeverity == y.eSeverity && x.clause == y.clause && x.element == y.element &&
                   x.structure == y.structure && x.ulBit == y.ulBit && x.iValue == y.iValue && x.message == y.message;
        });
    }

    [[nodiscard]] h265_syntax::Context context() const
    {
        h265_syntax::Context context;
        for (std::size_t i = 0; i < m_apVps.size(); ++i)
            context.apVps[i] = m_apVps[i].get();
        return context;
    }

    void keep(std::unique_ptr<h265_syntax::VideoParameterSet> pVps)
    {
        auto& pPlace = m_apVps[pVps->vps_video_parameter_set_id & 15U];
        pPlace = std::move(pVps);
    }
    void keep(std::unique_ptr<h265_syntax::SequenceParameterSet> pSps)
    {
        if (pSps->sps_seq_parameter_set_id >= m_apSps.size())
            return;
        auto& pPlace = m_apSps[pSps->sps_seq_parameter_set_id];
        pPlace = std::move(pSps);
    }
    void keep(std::unique_ptr<h265_syntax::PictureParameterSet>) {}

    h265_syntax::CNalUnit m_nalUnit;
    h265_syntax::VideoParameterSet m_vps;
    h265_syntax::SequenceParameterSet m_sps;
    h265_syntax::PictureParameterSet m_pps;
    std::array<std::unique_ptr<h265_syntax::VideoParameterSet>, 16> m_apVps;
    std::array<std::unique_ptr<h265_syntax::SequenceParameterSet>, 16> m_apSps;
    h265_syntax::CActiveSets m_active;
    std::uint64_t m_ulOffset = 0;
};

} // namespace h265_test
