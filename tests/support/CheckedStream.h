#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "ParameterSetChecks.h"

namespace h265_test {

/// The sets of a stream, read and checked one after another, each with those in front of it.
class CCheckedStream
{
public:
    /// The findings of a NAL unit; none when it is no parameter set.
    h265_syntax::CFindings take(std::span<const unsigned char> bytes)
    {
        using namespace h265_syntax;
        CFindings findings;
        const CNalUnit nalUnit(bytes);
        switch (nalUnit.header().nal_unit_type) {
        case VPS_NUT: {
            auto pVps = std::make_unique<VideoParameterSet>();
            const bool bWhole = read(*pVps, nalUnit);
            check(*pVps, nalUnit, findings);
            if (bWhole)
                keep(m_apVps[pVps->vps_video_parameter_set_id & 15U], pVps);
            break;
        }
        case SPS_NUT: {
            auto pSps = std::make_unique<SequenceParameterSet>();
            const bool bWhole = read(*pSps, nalUnit, context());
            check(*pSps, nalUnit, m_apVps[pSps->sps_video_parameter_set_id & 15U].get(), findings);
            if (bWhole && pSps->sps_seq_parameter_set_id < m_apSps.size())
                keep(m_apSps[pSps->sps_seq_parameter_set_id], pSps);
            break;
        }
        case PPS_NUT: {
            PictureParameterSet pps;
            read(pps, nalUnit);
            const SequenceParameterSet* const pSps =
                pps.pps_seq_parameter_set_id < m_apSps.size() ? m_apSps[pps.pps_seq_parameter_set_id].get() : nullptr;
            const VideoParameterSet* const pVps =
                pSps != nullptr ? m_apVps[pSps->sps_video_parameter_set_id & 15U].get() : nullptr;
            check(pps, nalUnit, pSps, findings, pVps);
            break;
        }
        default:
            break;
        }
        return findings;
    }

    [[nodiscard]] h265_syntax::Context context() const
    {
        h265_syntax::Context context;
        for (std::size_t i = 0; i < m_apVps.size(); ++i)
            context.apVps[i] = m_apVps[i].get();
        return context;
    }

private:
    template <class T>
    static void keep(std::unique_ptr<T>& pPlace, std::unique_ptr<T>& pSet)
    {
        pPlace = std::move(pSet);
    }

    std::array<std::unique_ptr<h265_syntax::VideoParameterSet>, 16> m_apVps;
    std::array<std::unique_ptr<h265_syntax::SequenceParameterSet>, 16> m_apSps;
};

/// "structure.element", as paths name it.
inline std::string pathOf(const h265_syntax::Finding& finding)
{
    return finding.structure.empty() ? finding.element : finding.structure + "." + finding.element;
}

inline std::string textOf(const h265_syntax::Finding& finding)
{
    return (finding.eSeverity == h265_syntax::ESeverity::Error ? "error: " : "warning: ") + pathOf(finding) + ": " +
           finding.message + " [" + finding.clause + "]";
}

} // namespace h265_test
