#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "ParameterSetSyntax.h"

namespace h265_test {

/// What is told of a set, for comparison; checks that elements follow one another without a gap.
class CTraceText : public h265_syntax::CElementSink
{
public:
    bool onElement(const h265_syntax::Element& element) override
    {
        m_bGapless = m_bGapless && element.uiBit == m_uiEnd;
        m_uiEnd = element.uiBit + element.uiBits;
        m_text.append(element.structure).append(".").append(element.pName);
        for (const unsigned uiIndex : element.indices())
            m_text.append("[").append(std::to_string(uiIndex)).append("]");
        m_text.append("=").append(std::to_string(element.iValue)).append("\n");
        return true;
    }

    std::string m_text;
    std::uint64_t m_uiEnd = 0;
    bool m_bGapless = true;
};

/// Holds what the library promises of every NAL unit, whatever its bytes: reads one after another into
/// the same structures. check() returns the promise that is broken, null if none is.
class CSyntaxPromises
{
public:
    const char* check(std::span<const unsigned char> bytes)
    {
        const h265_syntax::CNalUnit nalUnit(bytes);
        switch (nalUnit.header().nal_unit_type) {
        case h265_syntax::VPS_NUT: {
            const char* const pBroken = checkSet<h265_syntax::VideoParameterSet>(m_vps, nalUnit);
            const unsigned uiId = m_vps.vps_video_parameter_set_id & 15U;
            m_vpss[uiId] = m_vps;
            m_context.apVps[uiId] = &m_vpss[uiId];
            return pBroken;
        }
        case h265_syntax::SPS_NUT:
            return checkSet<h265_syntax::SequenceParameterSet>(m_sps, nalUnit, m_context);
        case h265_syntax::PPS_NUT:
            return checkSet<h265_syntax::PictureParameterSet>(m_pps, nalUnit);
        default:
            return nullptr;
        }
    }

private:
    template <class TSet, class... TContext>
    const char* checkSet(TSet& reused, const h265_syntax::CNalUnit& nalUnit, const TContext&... context)
    {
        TSet fresh;
        const bool bRead = read(fresh, nalUnit, context...);
        if (read(reused, nalUnit, context...) != bRead)
            return "a used structure is read into like a fresh one";
        if (bRead == bool(fresh.stop) || fresh.stop.element.empty() == bool(fresh.stop))
            return "a set that was not read says where it stopped";
        CTraceText text;
        CTraceText reusedText;
        trace(fresh, text, &nalUnit);
        trace(reused, reusedText);
        if (text.m_text != reusedText.m_text)
            return "a used structure holds what a fresh one does";
        if (!text.m_bGapless || text.m_uiEnd > 8 * nalUnit.rbsp().size())
            return "elements follow one another inside the payload";
        if (!compare(fresh, reused).empty())
            return "a set does not differ from itself";
        return bRead ? checkWritten(reused, nalUnit, text.m_text, context...) : nullptr;
    }

    template <class TSet, class... TContext>
    const char* checkWritten(TSet& set, const h265_syntax::CNalUnit& nalUnit, const std::string& text,
                             const TContext&... context)
    {
        std::vector<unsigned char> written;
        if (write(set, written, context...))
            return "what was read can be written";
        const h265_syntax::CNalUnit again(written);
        if (!std::ranges::equal(again.rbsp(), nalUnit.rbsp()))
            return "what was read is written as it was";
        CTraceText after;
        trace(set, after);
        return after.m_text == text ? nullptr : "writing changes nothing";
    }

    h265_syntax::VideoParameterSet m_vps;
    h265_syntax::SequenceParameterSet m_sps;
    h265_syntax::PictureParameterSet m_pps;
    std::map<unsigned, h265_syntax::VideoParameterSet> m_vpss;
    h265_syntax::Context m_context;
};

} // namespace h265_test
