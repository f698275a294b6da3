#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ChecksTable.h"
#include "ClaimChecks.h"
#include "NalUnitWriter.h"

// Tables of claims: a row takes a track whose claims are borne out by its sets, changes the one or the other, and says
// what is found then.

namespace h265_test {

/// Table 7-1, of the base layer.
inline constexpr unsigned char TRAIL_R = 1;

/// A track of hvc1: its claims, the sets of its hvcC, and the NAL units of its samples.
struct ClaimedTrack
{
    h265_container::ContainerClaims claims;
    h265_syntax::VideoParameterSet vps = legalVps();
    h265_syntax::SequenceParameterSet sps = legalSps();
    h265_syntax::PictureParameterSet pps = legalPps();
    std::vector<Bytes> more;    // sets of hvcC behind them
    std::vector<Bytes> samples; // sets and others in the stream
    bool bInRecord = true;      // the sets stand in hvcC
    std::string_view configuration = "hvcC";

    h265_container::DecoderConfiguration& hvcC() { return claims.hvcC->value; }
};

template <class TSet>
Bytes unitOf(TSet set)
{
    Bytes bytes;
    const h265_syntax::Stop stop = h265_syntax::write(set, bytes);
    EXPECT_FALSE(stop) << stop.message();
    return bytes;
}

/// A NAL unit that is no set.
inline Bytes sliceOf(unsigned uiTemporalId = 0)
{
    return nalUnit({.nal_unit_type = TRAIL_R, .nuh_temporal_id_plus1 = uiTemporalId + 1}, {0x80});
}

/// A track of 416x240 whose hvcC says what its sets do.
inline ClaimedTrack rightTrack()
{
    using namespace h265_container;
    ClaimedTrack track;
    DecoderConfiguration c;
    c.configurationVersion = 1;
    c.general_profile_idc = 4;
    c.general_profile_compatibility_flags = std::uint32_t{1} << (31 - 4);
    c.general_constraint_indicator_flags = std::uint64_t{1} << (47 - 10); // general_intra_constraint_flag
    c.general_level_idc = 186;
    c.chroma_format_idc = 1;
    c.numTemporalLayers = 1;
    c.temporalIdNested = true;
    c.uiFieldBits = std::size_t{23} * 8;
    c.numOfArrays = 3;
    for (unsigned char nal_unit_type = 32; nal_unit_type <= 34; ++nal_unit_type)
        c.arrays.push_back({true, nal_unit_type, 1, 0});
    track.claims.codec = "hvc1";
    track.claims.hvcC = {c, "moov/trak/mdia/minf/stbl/stsd/hvc1/hvcC", 1000};
    track.claims.entrySize = {{416, 240}, "moov/trak/mdia/minf/stbl/stsd/hvc1", 900};
    track.claims.trackSize = {{416, 240}, "moov/trak/tkhd", 100};
    return track;
}

inline void feed(h265_inspect::CClaimChecks& checks, const Bytes& bytes, std::string_view configuration,
                 std::uint64_t ulPart = 0)
{
    h265_container::UnitPlace place;
    place.ulTrack = 1;
    place.holder = "track";
    place.configuration = configuration;
    if (configuration.empty()) {
        place.part = "sample";
        place.ulPart = ulPart;
        place.time = 0.04 * static_cast<double>(ulPart - 1);
    }
    const h265_stream::NalUnitHeader header{false,
                                            static_cast<unsigned char>(bytes.at(0) >> 1 & 0x3f),
                                            static_cast<unsigned char>((bytes.at(0) & 1) << 5 | bytes.at(1) >> 3),
                                            static_cast<unsigned char>(bytes.at(1) & 7)};
    checks.onNalUnit({place, header, std::nullopt, bytes.size(), bytes});
}

/// What is found of a track.
inline std::vector<h265_inspect::ClaimFinding> foundOf(const ClaimedTrack& track)
{
    h265_inspect::CClaimChecks checks;
    checks.onClaims(track.claims);
    const std::string_view configuration = track.bInRecord ? track.configuration : std::string_view();
    for (const Bytes& bytes : {unitOf(track.vps), unitOf(track.sps), unitOf(track.pps)})
        feed(checks, bytes, configuration, 1);
    for (const Bytes& bytes : track.more)
        feed(checks, bytes, configuration, 1);
    std::uint64_t ulPart = 0;
    for (const Bytes& bytes : track.samples)
        feed(checks, bytes, {}, ++ulPart);
    checks.onEnd();
    const auto findings = checks.newFindings();
    EXPECT_TRUE(checks.newFindings().empty());
    return {findings.begin(), findings.end()};
}

struct ClaimRow
{
    const char* pName;
    void (*change)(ClaimedTrack& track);
    const char* pFound;   // "error profile_tier_level.general_level_idc [14496-15 8.3.2.1.1]", one behind the other
    const char* pMessage; // of the first; empty: not looked at
};

inline std::string toldOf(const std::vector<h265_inspect::ClaimFinding>& findings)
{
    std::string text;
    for (const auto& [finding, box, ulOffset] : findings) {
        text += text.empty() ? "" : ", ";
        text += finding.eSeverity == h265_syntax::ESeverity::Error ? "error " : "warning ";
        text += finding.element.empty()     ? "-"
                : finding.structure.empty() ? finding.element
                                            : finding.structure + "." + finding.element;
        text += " [" + finding.clause + "]";
        EXPECT_FALSE(box.empty()) << text;
        EXPECT_TRUE(ulOffset.has_value()) << text;
        EXPECT_FALSE(finding.message.ends_with('.')) << finding.message;
    }
    return text;
}

template <std::size_t N>
void expectClaims(const ClaimRow (&aRows)[N], ClaimedTrack (*base)() = rightTrack)
{
    for (const ClaimRow& row : aRows) {
        SCOPED_TRACE(row.pName);
        ClaimedTrack track = base();
        row.change(track);
        const auto findings = foundOf(track);
        EXPECT_EQ(toldOf(findings), row.pFound) << (findings.empty() ? "" : findings.front().finding.message);
        if (*row.pMessage != '\0') {
            ASSERT_FALSE(findings.empty());
            EXPECT_EQ(findings.front().finding.message, row.pMessage);
        }
    }
}

} // namespace h265_test
