#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string_view>
#include <vector>

#include "ParameterSetSyntax.h"

namespace h265_test {

/// What is told of a set, in one number for comparison; checks that elements follow one another without a gap.
class CTraceDigest : public h265_syntax::CElementSink
{
public:
    bool onElement(const h265_syntax::Element& element) override
    {
        m_bGapless = m_bGapless && element.uiBit == m_uiEnd;
        m_uiEnd = element.uiBit + element.uiBits;
        mix(std::hash<std::string_view>{}(element.structure));
        mix(reinterpret_cast<std::uintptr_t>(element.pName));
        for (const unsigned uiIndex : element.indices())
            mix(uiIndex);
        mix(static_cast<std::uint64_t>(element.iValue));
        return true;
    }

    std::uint64_t m_ulDigest = 0;
    std::uint64_t m_uiEnd = 0;
    bool m_bGapless = true;

private:
    void mix(std::uint64_t ulValue) { m_ulDigest = (std::rotl(m_ulDigest, 25) ^ ulValue) * 0x9E3779B97F4A7C15U; }
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
        CTraceDigest digest;
        CTraceDigest reusedDigest;
        trace(fresh, digest, &nalUnit);
        trace(reused, reusedDigest);
        if (digest.m_ulDigest != reusedDigest.m_ulDigest)
            return "a used structure holds what a fresh one does";
        if (!digest.m_bGapless || digest.m_uiEnd > 8 * nalUnit.rbsp().size())
            return "elements follow one another inside the payload";
        if (!compare(fresh, reused).empty())
            return "a set does not differ from itself";
        return bRead ? checkWritten(reused, nalUnit, digest.m_ulDigest, context...) : nullptr;
    }

    template <class TSet, class... TContext>
    const char* checkWritten(TSet& set, const h265_syntax::CNalUnit& nalUnit, std::uint64_t ulDigest,
                             const TContext&... context)
    {
        std::vector<unsigned char> written;
        if (write(set, written, context...))
            return "what was read can be written";
        const h265_syntax::CNalUnit again(written);
        if (!std::ranges::equal(again.rbsp(), nalUnit.rbsp()))
            return "what was read is written as it was";
        CTraceDigest after;
        trace(set, after);
        return after.m_ulDigest == ulDigest ? nullptr : "writing changes nothing";
    }

    h265_syntax::VideoParameterSet m_vps;
    h265_syntax::SequenceParameterSet m_sps;
    h265_syntax::PictureParameterSet m_pps;
    std::map<unsigned, h265_syntax::VideoParameterSet> m_vpss;
    h265_syntax::Context m_context;
};

} // namespace h265_test
