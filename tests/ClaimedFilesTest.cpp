// What common muxers write is no error.

#include <algorithm>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "ClaimChecks.h"
#include "ContainerFiles.h"
#include "IsoBaseMedia.h"
#include "Matroska.h"
#include "RandomSource.h"
#include "TransportStream.h"

namespace claimed_files_test {

using namespace h265_container;
using namespace h265_inspect;
using namespace h265_test;

namespace {

// All tracks of a file, each with its checks.
class CClaimedFile : public CContainerSink
{
public:
    void onTrack(const ContainerTrack& /*track*/) override {}
    void onClaims(const ContainerClaims& claims) override { m_tracks[claims.ulTrack].onClaims(claims); }
    bool onNalUnit(const ContainerUnit& unit) override
    {
        m_tracks[unit.place.ulTrack].onNalUnit(unit);
        return true;
    }
    void onFinding(const ContainerFinding& /*finding*/) override {}

    /// "error general_level_idc", a line each.
    std::string told()
    {
        std::string text;
        for (auto& [ulTrack, checks] : m_tracks) {
            checks.onEnd();
            for (const ClaimFinding& found : checks.newFindings())
                text += (found.finding.eSeverity == h265_syntax::ESeverity::Error ? "error " : "warning ") +
                        found.finding.message + '\n';
        }
        return text;
    }

private:
    std::map<std::uint64_t, CClaimChecks> m_tracks;
};

std::string toldOf(const std::string& name)
{
    const Bytes bytes = containerFile(name);
    EXPECT_FALSE(bytes.empty()) << name;
    const auto pSource = makeRandomSource(bytes);
    CClaimedFile file;
    if (name.ends_with("mkv"))
        readMatroska(*pSource, {}, file);
    else if (name.ends_with("ts"))
        readTransportStream(*pSource, {}, file);
    else
        readIsoBaseMedia(*pSource, {}, file);
    return file.told();
}

struct ClaimedFile
{
    const char* pName;
    const char* pTold;
};

class ClaimedFiles : public testing::TestWithParam<ClaimedFile>
{};

TEST_P(ClaimedFiles, HaveNoErrors)
{
    EXPECT_EQ(toldOf(GetParam().pName), GetParam().pTold);
}

// Sets that are left in the stream, by muxers that say otherwise.
constexpr const char* IN_HVC1 = "warning VPS 0 of hvcC also stands in the stream (track 1, sample 1 at 0 s), although "
                                "hvc1 has its sets there only; it is the same, and most players read on\n";
constexpr const char* IN_MATROSKA =
    "warning VPS 0 of CodecPrivate also stands in the stream (track 1, frame 1 at 0 s), although array_completeness 1 "
    "says that all VPSs stand there; it is the same, and most players read on\n";

constexpr ClaimedFile FILES[] = {
    {"hvc1.mp4", IN_HVC1},
    {"faststart.mp4", ""},
    {"hev1.mov", ""},
    {"fragmented.mp4", IN_HVC1},
    {"with_sound.mp4", IN_HVC1},
    {"ffmpeg.mkv", IN_MATROSKA},
    {"live.mkv", IN_MATROSKA},
    {"mkvmerge.mkv", IN_MATROSKA},
#ifdef H265PS_WITH_ZLIB
    {"zlib.mkv", IN_MATROSKA},
#endif
    {"packets188.ts", ""},
    {"packets192.m2ts", ""},
    {"single.heic",
     "warning hvcC says that more sets may stand in the stream (array_completeness 0 of VPS, SPS, PPS), which hvc1 "
     "rules "
     "out\n"
     "warning hvcC says general_constraint_indicator_flags 0x000000000000, every SPS sets 0x900000000000\n"},
};

std::string nameOf(const testing::TestParamInfo<ClaimedFile>& info)
{
    std::string name = info.param.pName;
    std::ranges::replace(name, '.', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(, ClaimedFiles, testing::ValuesIn(FILES), nameOf);

} // namespace
} // namespace claimed_files_test
