#include "Inspector.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ByteSource.h"
#include "NalUnitWriter.h"
#include "ParameterSetStream.h"
#include "SyntaxWriters.h"

namespace inspector_test {

using namespace h265_inspect;
using namespace h265_stream;
using namespace h265_test;

namespace {

// What was inspected, as it can be kept.
struct Seen
{
    bool bSyntax;
    std::optional<unsigned> id;
    unsigned pic_width_in_luma_samples; // of an SPS
    std::uint32_t uiGistWidth;          // 0 without a gist
    std::vector<std::string> messages;
};

Bytes sps(unsigned pic_width_in_luma_samples, unsigned general_level_idc = 93, unsigned uiLayer = 0)
{
    SpsSyntax syntax;
    syntax.pic_width_in_luma_samples = pic_width_in_luma_samples;
    syntax.ptl.general_level_idc = general_level_idc;
    return nalUnit(NalUnitHeaderSyntax{.nal_unit_type = SPS_NUT, .nuh_layer_id = uiLayer}, write(syntax).bytes());
}

const Bytes VPS_UNIT = nalUnit(VPS_NUT, write(VpsSyntax{}));
const Bytes PPS_UNIT = nalUnit(PPS_NUT, write(PpsSyntax{}));
constexpr unsigned FORBIDDEN_LEVEL = 94;
const Bytes IDR = {0x26, 0x01, 0xAF, 0x00, 0x10}; // IDR_W_RADL, PPS 0

std::vector<Seen> inspect(const Bytes& stream, CInspector& inspector)
{
    CParameterSetStream reader({});
    std::vector<Seen> seen;
    reader.read(*makeByteSource(stream), [&](const ParameterSetEvent& event) {
        const InspectedSet set = inspector.onSet(event);
        Seen one{set.hasSyntax(),
                 set.id(),
                 set.sps != nullptr ? set.sps->pic_width_in_luma_samples : 0,
                 set.pGist != nullptr ? set.pGist->uiCodedWidth : 0,
                 {}};
        for (const h265_syntax::Finding& finding : set.findings)
            one.messages.push_back(finding.message);
        seen.push_back(one);
        return true;
    });
    return seen;
}

std::vector<Seen> inspect(const Bytes& stream, const InspectOptions& options = {})
{
    CInspector inspector(options);
    return inspect(stream, inspector);
}

// Errors of sets among each other: "ID.ELEMENT " each.
std::string toldOf(const Bytes& stream, const InspectOptions& options = {})
{
    CParameterSetStream reader({});
    CInspector inspector(options);
    reader.read(
        *makeByteSource(stream),
        [&](const ParameterSetEvent& event) {
            inspector.onSet(event);
            return true;
        },
        [&](const NalUnit& unit) { inspector.onOtherUnit(unit); });
    inspector.onEnd();
    std::string text;
    const std::uint64_t ulErrorsOfSets = inspector.counts().ulErrors;
    std::uint64_t ulErrors = 0;
    for (const h265_syntax::SetFinding& found : inspector.newSetFindings()) {
        if (found.finding.eSeverity == h265_syntax::ESeverity::Error) {
            text += std::to_string(found.uiId) + "." + found.finding.element + " ";
            ++ulErrors;
        }
        EXPECT_TRUE(found.finding.element.empty() || found.finding.ulBit);
    }
    EXPECT_EQ(inspector.counts().ulErrors, ulErrorsOfSets + ulErrors);
    return text;
}

TEST(Inspector, HasSyntaxAndFindingsOfEachSet)
{
    CInspector inspector({});
    const std::vector<Seen> seen = inspect(byteStream({VPS_UNIT, sps(64, FORBIDDEN_LEVEL), PPS_UNIT}), inspector);
    ASSERT_EQ(seen.size(), 3U);
    for (const Seen& set : seen) {
        EXPECT_TRUE(set.bSyntax);
        EXPECT_EQ(set.id, 0U);
    }
    EXPECT_EQ(seen[1].pic_width_in_luma_samples, 64U);
    ASSERT_FALSE(seen[1].messages.empty());
    EXPECT_EQ(seen[1].messages[0], "general_level_idc is 94, which is reserved for later editions of H.265");
    EXPECT_EQ(inspector.counts().ulErrors, 1U);
    EXPECT_EQ(inspector.counts().ulWarnings, seen[0].messages.size() + seen[1].messages.size() - 1);
    for (const std::uint64_t ulCount : inspector.counts().aulSets)
        EXPECT_EQ(ulCount, 1U);
    EXPECT_EQ(inspector.counts().ulErrors + inspector.counts().ulWarnings,
              seen[0].messages.size() + seen[1].messages.size() + seen[2].messages.size());
    EXPECT_EQ(seen[0].uiGistWidth, 0U);
    EXPECT_EQ(seen[1].uiGistWidth, 64U);
}

TEST(Inspector, PassesOverWhatIsTheSameUnlessItIsAskedFor)
{
    const Bytes stream = byteStream({VPS_UNIT, sps(64, FORBIDDEN_LEVEL), sps(64, FORBIDDEN_LEVEL), VPS_UNIT});
    CInspector inspector({});
    const std::vector<Seen> seen = inspect(stream, inspector);
    ASSERT_EQ(seen.size(), 4U);
    EXPECT_FALSE(seen[2].bSyntax);
    EXPECT_TRUE(seen[2].messages.empty());
    EXPECT_FALSE(seen[3].bSyntax);
    EXPECT_EQ(inspector.counts().aulSets[1], 1U);

    const std::vector<Seen> all = inspect(stream, {.bChecks = true, .bRepeats = true});
    EXPECT_TRUE(all[2].bSyntax);
    EXPECT_EQ(all[2].messages, all[1].messages);
    EXPECT_TRUE(inspect(stream, {.bChecks = false, .bRepeats = true})[1].messages.empty());
}

// A PPS is held against the SPS that is in force, also when that came back as a repeat.
TEST(Inspector, KnowsWhichSetIsInForce)
{
    PpsSyntax pps;
    pps.diff_cu_qp_delta_depth = 3;
    const auto ppsUnit = [&](unsigned uiId) {
        pps.pps_pic_parameter_set_id = uiId;
        return nalUnit(PPS_NUT, write(pps));
    };
    SpsSyntax deep; // CTBs of 64: three splits
    SpsSyntax flat;
    flat.log2_diff_max_min_luma_coding_block_size = 1;
    deep.log2_diff_max_min_luma_coding_block_size = 3;
    const Bytes deepUnit = nalUnit(SPS_NUT, write(deep));
    const Bytes flatUnit = nalUnit(SPS_NUT, write(flat));
    const std::vector<Seen> seen =
        inspect(byteStream({deepUnit, ppsUnit(0), flatUnit, ppsUnit(1), deepUnit, ppsUnit(2)}));
    const auto tellsOfDepth = [](const Seen& set) {
        for (const std::string& message : set.messages) {
            if (message.find("diff_cu_qp_delta_depth") != std::string::npos)
                return true;
        }
        return false;
    };
    ASSERT_EQ(seen.size(), 6U);
    EXPECT_FALSE(tellsOfDepth(seen[1]));
    EXPECT_TRUE(tellsOfDepth(seen[3]));
    EXPECT_FALSE(tellsOfDepth(seen[5]));
}

// 7.4.3.2.1: an SPS is held against the VPS that it is used with, also when that comes behind it.
TEST(Inspector, HoldsAnSpsAgainstAVpsThatComesLater)
{
    const auto vps = [](unsigned vps_max_dec_pic_buffering_minus1, unsigned uiId = 0) {
        VpsSyntax syntax;
        syntax.vps_video_parameter_set_id = uiId;
        syntax.ordering[0].max_dec_pic_buffering_minus1 = vps_max_dec_pic_buffering_minus1;
        return nalUnit(VPS_NUT, write(syntax));
    };
    const auto spsOf = [](unsigned sps_max_dec_pic_buffering_minus1, unsigned uiId = 0) {
        SpsSyntax syntax;
        syntax.sps_seq_parameter_set_id = uiId;
        syntax.ordering[0].max_dec_pic_buffering_minus1 = sps_max_dec_pic_buffering_minus1;
        return nalUnit(SPS_NUT, write(syntax));
    };
    const std::string finding = "0.sps_max_dec_pic_buffering_minus1[0] ";
    // Read with it, which is told with the set
    EXPECT_EQ(toldOf(byteStream({vps(2), spsOf(3), PPS_UNIT, IDR})), "");
    // In front of it; in a stream, and in sets alone
    EXPECT_EQ(toldOf(byteStream({spsOf(3), vps(2), PPS_UNIT, IDR, IDR})), finding);
    EXPECT_EQ(toldOf(byteStream({spsOf(3), vps(3), PPS_UNIT, IDR})), "");
    EXPECT_EQ(toldOf(byteStream({spsOf(3), vps(2)})), finding);
    EXPECT_EQ(toldOf(byteStream({spsOf(3), vps(3)})), "");
    EXPECT_EQ(toldOf(byteStream({spsOf(3), vps(2)}), {.bChecks = false}), "");
    // Of the VPSs that come, the one that the picture has
    EXPECT_EQ(toldOf(byteStream({spsOf(3), vps(2), vps(3), PPS_UNIT, IDR})), "");
    EXPECT_EQ(toldOf(byteStream({vps(3), spsOf(3), PPS_UNIT, IDR, vps(2), IDR})), finding);
    // Once, and under its own id
    const Bytes ppsOfSps1 = nalUnit(PPS_NUT, write(PpsSyntax{.pps_seq_parameter_set_id = 1}));
    EXPECT_EQ(toldOf(byteStream({vps(3), spsOf(3, 1), ppsOfSps1, IDR, vps(2), IDR, IDR})), "1" + finding.substr(1));
    // Not what was told with the SPS that came behind it
    EXPECT_EQ(toldOf(byteStream({vps(4), spsOf(3, 1), ppsOfSps1, IDR, vps(2), spsOf(4, 1), IDR})), "");
    // A repeat of the VPS changes nothing, shown again or not
    EXPECT_EQ(toldOf(byteStream({vps(2), spsOf(3), PPS_UNIT, IDR, vps(2), IDR})), "");
    EXPECT_EQ(toldOf(byteStream({vps(2), spsOf(3), PPS_UNIT, IDR, vps(2), IDR}), {.bRepeats = true}), "");
    // Not one that only comes between two sequences of other sets, or of another id
    EXPECT_EQ(toldOf(byteStream({vps(3), spsOf(3), PPS_UNIT, IDR, vps(2), spsOf(2), IDR})), "");
    EXPECT_EQ(toldOf(byteStream({vps(3), spsOf(3), PPS_UNIT, IDR, vps(2, 1), IDR})), "");
    EXPECT_EQ(toldOf(byteStream({vps(3), spsOf(3), spsOf(3, 1), PPS_UNIT, IDR, vps(2), spsOf(2), IDR})), "");
}

// 7.4.3.3.1: a PPS is held against the SPS that it is used with, also when that comes behind it.
TEST(Inspector, HoldsAPpsAgainstAnSpsThatComesLater)
{
    const auto spsOf = [](unsigned log2_diff_max_min_luma_coding_block_size, unsigned uiId = 0, unsigned uiLayer = 0) {
        SpsSyntax syntax;
        syntax.sps_seq_parameter_set_id = uiId;
        syntax.log2_diff_max_min_luma_coding_block_size = log2_diff_max_min_luma_coding_block_size;
        return nalUnit(NalUnitHeaderSyntax{.nal_unit_type = SPS_NUT, .nuh_layer_id = uiLayer}, write(syntax).bytes());
    };
    const auto ppsOf =
        [](unsigned diff_cu_qp_delta_depth, unsigned uiId = 0, unsigned uiSps = 0, unsigned uiLayer = 0) {
            PpsSyntax syntax;
            syntax.pps_pic_parameter_set_id = uiId;
            syntax.pps_seq_parameter_set_id = uiSps;
            syntax.diff_cu_qp_delta_depth = diff_cu_qp_delta_depth;
            return nalUnit(NalUnitHeaderSyntax{.nal_unit_type = PPS_NUT, .nuh_layer_id = uiLayer},
                           write(syntax).bytes());
        };
    const std::string finding = "0.diff_cu_qp_delta_depth ";
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(3), ppsOf(3), IDR, spsOf(1), IDR, IDR})), finding);
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(3), ppsOf(1), IDR, spsOf(1), IDR})), "");
    // Not without a picture, and not when the PPS is sent again: then it is told with the PPS
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(3), ppsOf(3), IDR, spsOf(1)})), "");
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(3), ppsOf(3), IDR, spsOf(1), ppsOf(3), IDR})), "");
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(3), ppsOf(3), IDR, spsOf(1), ppsOf(1), IDR})), "");
    // Of the SPSs that come, the one that the picture has
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(3), ppsOf(3), IDR, spsOf(1), spsOf(3), IDR})), "");
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(3), ppsOf(3), IDR, spsOf(3), IDR}), {.bRepeats = true}), "");
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(3), ppsOf(3), IDR, spsOf(1, 1), IDR})), "");
    // Not what was told already, and not of a PPS that no picture names
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(1), ppsOf(3), IDR, spsOf(0), IDR})), finding);
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(1), ppsOf(3), IDR, sps(128), IDR})), "");
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(3), ppsOf(1), ppsOf(3, 1), IDR, spsOf(1), IDR})), "");
    PpsSyntax broken;
    broken.pps_cb_qp_offset = 13;
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(1), nalUnit(PPS_NUT, write(broken)), IDR, spsOf(0), IDR})), "");
    // One that waits for its SPS: told with it in layer 0, here of other layers; also in sets alone
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, ppsOf(3), spsOf(1), IDR})), "");
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, ppsOf(3, 5, 1, 1), spsOf(1, 1, 1)})), "5" + finding.substr(1));
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, ppsOf(3), ppsOf(1), spsOf(1), IDR, spsOf(2), IDR})), "");
    // Without checks nothing
    EXPECT_EQ(toldOf(byteStream({VPS_UNIT, spsOf(3), ppsOf(3), IDR, spsOf(1), IDR}), {.bChecks = false}), "");
}

// Slices tell which sets are in use; a PPS that waits for its SPS is there all the same.
TEST(Inspector, TellsOfSetsThatSlicesNeed)
{
    const auto findings = [&](const Bytes& stream) {
        CParameterSetStream reader({});
        CInspector inspector({});
        std::vector<std::string> messages;
        const auto drain = [&] {
            for (const h265_syntax::SetFinding& found : inspector.newSetFindings())
                messages.push_back(found.finding.message);
        };
        reader.read(
            *makeByteSource(stream),
            [&](const ParameterSetEvent& event) {
                inspector.onSet(event);
                return true;
            },
            [&](const NalUnit& unit) { inspector.onOtherUnit(unit); });
        drain();
        EXPECT_EQ(inspector.counts().ulErrors >= messages.size(), true);
        inspector.onEnd();
        drain();
        return messages;
    };
    EXPECT_EQ(findings(byteStream({VPS_UNIT, sps(64), PPS_UNIT, IDR})), std::vector<std::string>{});
    EXPECT_EQ(findings(byteStream({VPS_UNIT, PPS_UNIT, sps(64), IDR})), std::vector<std::string>{});
    EXPECT_FALSE(findings(byteStream({VPS_UNIT, sps(64), IDR})).empty());
    // A PPS without any SPS is there for the slice.
    for (const std::string& message : findings(byteStream({VPS_UNIT, PPS_UNIT, IDR})))
        EXPECT_EQ(message.find("a slice names PPS 0"), std::string::npos) << message;
}

TEST(Inspector, LooksIntoSetsThatTheModuleDoesNotRead)
{
    Bytes forbidden = sps(64);
    forbidden[0] |= 0x80;
    const std::vector<Seen> seen = inspect(byteStream({sps(128, 93, 1), forbidden, Bytes{0x42}, sps(64)}));
    ASSERT_EQ(seen.size(), 4U);
    EXPECT_EQ(seen[0].pic_width_in_luma_samples, 128U);
    EXPECT_EQ(seen[1].pic_width_in_luma_samples, 64U);
    ASSERT_FALSE(seen[1].messages.empty());
    ASSERT_EQ(seen[2].messages.size(), 1U);
    EXPECT_EQ(seen[2].messages[0], "the payload ends in or before sps_video_parameter_set_id");
    EXPECT_EQ(seen[2].id, std::nullopt);
}

TEST(Inspector, KnowsTheIdOfACutSetWhenItWasRead)
{
    constexpr std::size_t BYTES_IN_FRONT = 15; // NAL unit header, sub-layers, profile_tier_level( )
    const Bytes whole = sps(64);
    bool bKnown = false;
    for (std::size_t uiSize = 1; uiSize < whole.size(); ++uiSize) {
        const std::vector<Seen> seen =
            inspect(byteStream({Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(uiSize))}));
        ASSERT_EQ(seen.size(), 1U);
        EXPECT_GE(seen[0].id.has_value(), bKnown) << uiSize;
        EXPECT_GE(seen[0].id.has_value(), seen[0].pic_width_in_luma_samples != 0) << uiSize;
        bKnown = seen[0].id.has_value();
        EXPECT_FALSE(bKnown && uiSize <= BYTES_IN_FRONT) << uiSize;
        EXPECT_FALSE(seen[0].messages.empty());
    }
    EXPECT_TRUE(bKnown);
}

} // namespace
} // namespace inspector_test
