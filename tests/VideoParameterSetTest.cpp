#include "VideoParameterSet.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "DamagedPayloads.h"
#include "ElementWalk.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace video_parameter_set_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

class ReadVPS : public testing::Test
{
protected:
    ReadVPS() { spoil(m_vps); }

    int read(const VpsSyntax& syntax) { return read(write(syntax)); }

    int read(const CBitWriter& bits)
    {
        const CPaddedPayload payload(bits.bytes());
        CRbspReader bs = payload.reader<CRbspReader>();
        return readVPS(&m_vps, &bs);
    }

    VPS m_vps;
    CLogCatcher m_log;
};

// Every value different from its neighbours'.
VpsSyntax mixedValues()
{
    VpsSyntax syntax;
    syntax.vps_video_parameter_set_id = 9;
    syntax.vps_reserved_three_2bits = 2;
    syntax.vps_max_layers_minus1 = 37;
    syntax.vps_max_sub_layers_minus1 = 2;
    syntax.vps_temporal_id_nesting_flag = false;
    syntax.vps_reserved_0xffff_16bits = 0xa53c;
    syntax.ptl.general_level_idc = 201;
    for (unsigned i = 0; i < 8; ++i)
        syntax.ordering[i] = {20 + i, 300 + i, 4000 + i};
    syntax.vps_max_layer_id = 42;
    syntax.vps_num_layer_sets_minus1 = 777;
    syntax.vps_timing_info_present_flag = true;
    syntax.vps_extension_flag = true;
    return syntax;
}

CElementWalk headOf(VPS& vps, const VpsSyntax& s)
{
    CElementWalk walk;
    walk.u("vps_video_parameter_set_id", vps.vps_video_parameter_set_id, 4, s.vps_video_parameter_set_id);
    walk.u("vps_reserved_three_2bits", vps.vps_reserved_three_2bits, 2, s.vps_reserved_three_2bits);
    walk.u("vps_max_layers_minus1", vps.vps_max_layers_minus1, 6, s.vps_max_layers_minus1);
    walk.u("vps_max_sub_layers_minus1", vps.vps_max_sub_layers_minus1, 3, s.vps_max_sub_layers_minus1);
    walk.flag("vps_temporal_id_nesting_flag", vps.vps_temporal_id_nesting_flag, s.vps_temporal_id_nesting_flag);
    walk.u("vps_reserved_0xffff_16bits", vps.vps_reserved_0xffff_16bits, 16, s.vps_reserved_0xffff_16bits);
    return walk;
}

// Behind the profile, tier and level.
CElementWalk tailOf(VPS& vps, const VpsSyntax& s)
{
    CElementWalk walk;
    const bool bAll = s.vps_sub_layer_ordering_info_present_flag;
    walk.flag("ordering_info_present", vps.vps_sub_layer_ordering_info_present_flag, bAll);
    for (unsigned i = bAll ? 0 : s.vps_max_sub_layers_minus1; i <= s.vps_max_sub_layers_minus1; ++i) {
        const SubLayerOrderingSyntax& ordering = s.ordering[i];
        walk.ue("buffering", vps.vps_max_dec_pic_buffering[i], ordering.max_dec_pic_buffering_minus1, 1);
        walk.ue("reorder", vps.vps_max_num_reorder_pics[i], ordering.max_num_reorder_pics);
        walk.ue("latency", vps.vps_max_latency_increase_plus1[i], ordering.max_latency_increase_plus1);
    }
    walk.u("vps_max_layer_id", vps.vps_max_layer_id, 6, s.vps_max_layer_id);
    walk.ue("vps_num_layer_sets_minus1", vps.vps_num_layer_sets_minus1, s.vps_num_layer_sets_minus1);
    walk.flag("vps_timing_info_present_flag", vps.vps_timing_info_present_flag, s.vps_timing_info_present_flag);
    walk.flag("vps_extension_flag", vps.vps_extension_flag, s.vps_extension_flag);
    return walk;
}

constexpr std::size_t HEAD_BITS = 32;

TEST_F(ReadVPS, StoresEveryElement)
{
    const VpsSyntax syntax = mixedValues();
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_vps.vps_video_parameter_set_id, 9);
    EXPECT_EQ(m_vps.vps_reserved_three_2bits, 2);
    EXPECT_EQ(m_vps.vps_max_layers_minus1, 37);
    EXPECT_EQ(m_vps.vps_max_sub_layers_minus1, 2);
    EXPECT_FALSE(m_vps.vps_temporal_id_nesting_flag);
    EXPECT_EQ(m_vps.vps_reserved_0xffff_16bits, 0xa53c);
    EXPECT_EQ(m_vps.ptl.general_level_idc, 201);
    EXPECT_TRUE(m_vps.vps_sub_layer_ordering_info_present_flag);
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_EQ(m_vps.vps_max_dec_pic_buffering[i], 21 + i);
        EXPECT_EQ(m_vps.vps_max_num_reorder_pics[i], 300 + i);
        EXPECT_EQ(m_vps.vps_max_latency_increase_plus1[i], 4000 + i);
    }
    EXPECT_EQ(m_vps.vps_max_layer_id, 42);
    EXPECT_EQ(m_vps.vps_num_layer_sets_minus1, 777U);
    EXPECT_TRUE(m_vps.vps_timing_info_present_flag);
    EXPECT_TRUE(m_vps.vps_extension_flag);
    EXPECT_TRUE(isUntouched(m_vps.reserved));
    EXPECT_TRUE(isUntouched(m_vps.vps_max_dec_pic_buffering[3]));
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(ReadVPS, StoresEachFlagForItself)
{
    bool VpsSyntax::*const apFlags[] = {
        &VpsSyntax::vps_temporal_id_nesting_flag,
        &VpsSyntax::vps_sub_layer_ordering_info_present_flag,
        &VpsSyntax::vps_timing_info_present_flag,
        &VpsSyntax::vps_extension_flag,
    };
    for (bool VpsSyntax::*const pSet : apFlags) {
        VpsSyntax syntax;
        for (bool VpsSyntax::*const pFlag : apFlags)
            syntax.*pFlag = pFlag == pSet;
        spoil(m_vps);
        EXPECT_EQ(read(syntax), 0);
        EXPECT_EQ(m_vps.vps_temporal_id_nesting_flag, syntax.vps_temporal_id_nesting_flag);
        EXPECT_EQ(m_vps.vps_sub_layer_ordering_info_present_flag, syntax.vps_sub_layer_ordering_info_present_flag);
        EXPECT_EQ(m_vps.vps_timing_info_present_flag, syntax.vps_timing_info_present_flag);
        EXPECT_EQ(m_vps.vps_extension_flag, syntax.vps_extension_flag);
    }
}

TEST_F(ReadVPS, WritesOnlyTheHighestSubLayerWhenOrderingInfoIsAbsent)
{
    VpsSyntax syntax = mixedValues();
    syntax.vps_sub_layer_ordering_info_present_flag = false;
    EXPECT_EQ(read(syntax), 0);
    for (unsigned i = 0; i < MAX_SUB_LAYERS; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(isUntouched(m_vps.vps_max_dec_pic_buffering[i]), i != 2);
        EXPECT_EQ(isUntouched(m_vps.vps_max_num_reorder_pics[i]), i != 2);
        EXPECT_EQ(isUntouched(m_vps.vps_max_latency_increase_plus1[i]), i != 2);
    }
    EXPECT_EQ(m_vps.vps_max_dec_pic_buffering[2], 23U);
    EXPECT_EQ(m_vps.vps_max_num_reorder_pics[2], 302U);
    EXPECT_EQ(m_vps.vps_max_latency_increase_plus1[2], 4002U);
}

TEST_F(ReadVPS, StoresTheBufferSizePlusOne)
{
    VpsSyntax syntax;
    syntax.ordering[0] = {4, 4, 4};
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_vps.vps_max_dec_pic_buffering[0], 5U);
    EXPECT_EQ(m_vps.vps_max_num_reorder_pics[0], 4U);
    EXPECT_EQ(m_vps.vps_max_latency_increase_plus1[0], 4U);
}

TEST_F(ReadVPS, WrapsTheBufferSizeIn32Bits)
{
    VpsSyntax syntax;
    // Codes of 32 leading zeros are their suffix.
    syntax.ordering[0] = {0x1fffffffe, 0xffffffff, 0xfffffffe};
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_vps.vps_max_dec_pic_buffering[0], 0U);
    EXPECT_EQ(m_vps.vps_max_num_reorder_pics[0], 0U);
    EXPECT_EQ(m_vps.vps_max_latency_increase_plus1[0], 0xfffffffeU);
}

TEST_F(ReadVPS, DropsTheOrderingOfSubLayersFiveAndAbove)
{
    for (unsigned uiHighest = 4; uiHighest < 8; ++uiHighest) {
        for (const bool bAll : {true, false}) {
            SCOPED_TRACE(testing::Message() << uiHighest << (bAll ? " all" : " highest only"));
            VpsSyntax syntax = mixedValues();
            syntax.vps_max_sub_layers_minus1 = uiHighest;
            syntax.vps_sub_layer_ordering_info_present_flag = bAll;
            spoil(m_vps);
            EXPECT_EQ(read(syntax), 0);
            for (unsigned i = 0; i < MAX_SUB_LAYERS; ++i) {
                EXPECT_EQ(isUntouched(m_vps.vps_max_dec_pic_buffering[i]), !bAll && i != uiHighest);
                EXPECT_EQ(isUntouched(m_vps.vps_max_latency_increase_plus1[i]), !bAll && i != uiHighest);
            }
            EXPECT_EQ(m_vps.vps_max_layer_id, 42); // so the bits were consumed
            EXPECT_EQ(m_vps.vps_num_layer_sets_minus1, 777U);
        }
    }
}

TEST_F(ReadVPS, TakesTheFirstBitOfTheTimingInfoForTheExtensionFlag)
{
    for (const bool bFirst : {false, true}) {
        VpsSyntax syntax;
        syntax.vps_timing_info_present_flag = true;
        syntax.timing_info.flag(bFirst).u(31, 1001).u(32, 30000).flag(false).ue(0);
        syntax.vps_extension_flag = !bFirst;
        EXPECT_EQ(read(syntax), 0);
        EXPECT_TRUE(m_vps.vps_timing_info_present_flag);
        EXPECT_EQ(m_vps.vps_extension_flag, bFirst);
    }
}

TEST_F(ReadVPS, TakesTheFirstLayerSetFlagsForItsLastFlags)
{
    VpsSyntax syntax;
    syntax.vps_num_layer_sets_minus1 = 1;
    syntax.layer_id_included_flags.bits("10");
    syntax.vps_timing_info_present_flag = true;
    syntax.vps_extension_flag = true;
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_vps.vps_num_layer_sets_minus1, 1U);
    EXPECT_TRUE(m_vps.vps_timing_info_present_flag);
    EXPECT_FALSE(m_vps.vps_extension_flag);
}

TEST_F(ReadVPS, LeavesExtensionDataUnread)
{
    VpsSyntax syntax;
    syntax.vps_extension_flag = true;
    syntax.extension.u(64, 0x0123456789abcdef).u(64, ~std::uint64_t{0});
    const CPaddedPayload payload(write(syntax).bytes());
    CRbspReader bs = payload.reader<CRbspReader>();
    EXPECT_EQ(readVPS(&m_vps, &bs), 0);
    EXPECT_TRUE(m_vps.vps_extension_flag);
    const std::size_t uiLeft = static_cast<std::size_t>(bs.m_pBufEnd - bs.m_pCurPos) * 8 + bs.m_uiCachedBits;
    EXPECT_GE(uiLeft, 120U);
}

TEST_F(ReadVPS, ConsumesTheTrailingBits)
{
    const CPaddedPayload payload(write(VpsSyntax{}).u(8, 0x77).bytes());
    CRbspReader bs = payload.reader<CRbspReader>();
    EXPECT_EQ(readVPS(&m_vps, &bs), 0);
    unsigned value = 0;
    EXPECT_EQ(bs.readBits(8, value), 0);
    EXPECT_EQ(value, 0x77U);
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(ReadVPS, AcceptsReservedBitsOfAnyValue)
{
    VpsSyntax syntax;
    syntax.vps_reserved_0xffff_16bits = 0;
    syntax.vps_reserved_three_2bits = 0;
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(m_vps.vps_reserved_0xffff_16bits, 0);
    EXPECT_EQ(m_vps.vps_reserved_three_2bits, 0);
    EXPECT_EQ(verifyVPS(&m_vps), 0);
}

TEST_F(ReadVPS, KeepsWhatStoodBeforeTheEndOfThePayloadAndNothingBehind)
{
    VpsSyntax syntax = mixedValues();
    syntax.rbsp_trailing_bits = false;
    for (const bool bAll : {true, false}) {
        syntax.vps_sub_layer_ordering_info_present_flag = bAll;
        const CBitWriter bits = write(syntax);
        const CElementWalk head = headOf(m_vps, syntax);
        const CElementWalk tail = tailOf(m_vps, syntax);
        const std::size_t uiPtlEnd = HEAD_BITS + write(syntax.ptl, syntax.vps_max_sub_layers_minus1).size();
        ASSERT_EQ(uiPtlEnd + tail.bits().size(), bits.size());
        forEachCutAndTheWhole(bits, [&](std::size_t uiBitCount, const CBitWriter& first) {
            spoil(m_vps);
            m_log.forget();
            const CCutPayload payload(first);
            CRbspReader bs = payload.reader();
            EXPECT_EQ(readVPS(&m_vps, &bs), uiBitCount == bits.size() ? 0 : E_BS_NOT_ENOUGH_BITS);
            head.expectFields(uiBitCount);
            EXPECT_TRUE(isUntouched(m_vps.reserved));
            if (uiBitCount < HEAD_BITS) {
                EXPECT_TRUE(isUntouched(m_vps.ptl));
            }
            // A cut profile, tier and level is followed by whatever bits are left of it.
            if (uiBitCount <= HEAD_BITS || uiBitCount >= uiPtlEnd) {
                EXPECT_EQ(m_log.lines().size(), uiBitCount == HEAD_BITS ? 2U : 1U);
            } else {
                EXPECT_EQ(m_log.lines().size(), 2U);
            }
            if (uiBitCount >= uiPtlEnd)
                tail.expectFields(uiBitCount - uiPtlEnd);
        });
    }
}

TEST_F(ReadVPS, ReadsOnFromWhereACutProfileTierLevelEnds)
{
    // 4 of the 12 last reserved bits are left: they are the flag, and then a code without an end.
    const VpsSyntax syntax;
    EXPECT_EQ(read(write(syntax).cut(HEAD_BITS + 80)), E_BS_NOT_ENOUGH_BITS);
    EXPECT_TRUE(isUntouched(m_vps.ptl.general_level_idc));
    EXPECT_FALSE(m_vps.vps_sub_layer_ordering_info_present_flag);
    EXPECT_TRUE(isUntouched(m_vps.vps_max_dec_pic_buffering));
    EXPECT_EQ(m_log.lines(), (std::vector<std::string>{READ_BITS_ERROR, READ_FLAG_ERROR}));
}

TEST_F(ReadVPS, SucceedsWithoutTrailingBitsAfterAnErrorLine)
{
    VpsSyntax syntax;
    syntax.rbsp_trailing_bits = false;
    const CBitWriter bits = write(syntax);
    const CCutPayload payload(bits);
    CRbspReader bs = payload.reader();
    EXPECT_EQ(readVPS(&m_vps, &bs), 0);
    EXPECT_FALSE(m_vps.vps_extension_flag);
    EXPECT_EQ(m_log.lines(), std::vector<std::string>{READ_FLAG_ERROR});
}

TEST_F(ReadVPS, OverwritesAnEarlierReadingAndKeepsTheRest)
{
    VpsSyntax syntax = mixedValues();
    EXPECT_EQ(read(syntax), 0);
    EXPECT_EQ(read(VpsSyntax{}), 0);
    EXPECT_EQ(m_vps.vps_video_parameter_set_id, 0);
    EXPECT_EQ(m_vps.vps_max_dec_pic_buffering[0], 5U);
    EXPECT_EQ(m_vps.vps_max_dec_pic_buffering[1], 22U);
    EXPECT_EQ(m_vps.vps_num_layer_sets_minus1, 0U);
}

TEST_F(ReadVPS, ReadsThroughTheDecodersReaderWhatItDelivers)
{
    // Laid out so that the zeros of each word fall where an element is zero or a code has leading ones.
    CBitWriter wanted;
    wanted.u(32, 0);                                    // the head
    wanted.u(2, 1).flag(true).u(5, 17).u(24, 0xabcdef); // compatibility flags 0 to 23
    wanted.u(32, 0);                                    // 24 to 31, four flags, 20 reserved bits
    wanted.u(24, 0).u(8, 93);                           // reserved bits, level
    wanted.flag(false).u(31, 0).flag(true).u(31, 5);    // max_dec_pic_buffering_minus1
    wanted.u(32, 0).flag(true).u(31, 3).flag(false);    // max_num_reorder_pics, 32 leading zeros
    wanted.u(31, 0).flag(true).u(31, 7);                // max_latency_increase_plus1
    wanted.u(6, 0).u(26, 0).flag(true).u(26, 9);        // vps_max_layer_id, vps_num_layer_sets_minus1
    wanted.flag(true).flag(false).flag(true);           // the two flags and the stop bit
    const auto bytes = layOutForDecoderReader(wanted);
    ASSERT_TRUE(bytes.has_value());
    const CPaddedPayload payload(*bytes);
    CBitStreamReader bs = payload.reader<CBitStreamReader>();
    EXPECT_EQ(readVPS(&m_vps, &bs), 0);
    EXPECT_EQ(m_vps.ptl.general_profile_space, 1);
    EXPECT_TRUE(m_vps.ptl.general_tier_flag);
    EXPECT_EQ(m_vps.ptl.general_profile_idc, 17);
    EXPECT_TRUE(m_vps.ptl.general_profile_compatibility_flag[23]);
    EXPECT_FALSE(m_vps.ptl.general_profile_compatibility_flag[24]);
    EXPECT_EQ(m_vps.ptl.general_level_idc, 93);
    EXPECT_FALSE(m_vps.vps_sub_layer_ordering_info_present_flag);
    EXPECT_EQ(m_vps.vps_max_dec_pic_buffering[0], 0x7fffffffU + 5 + 1);
    EXPECT_EQ(m_vps.vps_max_num_reorder_pics[0], 6U);
    EXPECT_EQ(m_vps.vps_max_latency_increase_plus1[0], 0x7fffffffU + 7);
    EXPECT_EQ(m_vps.vps_max_layer_id, 0);
    EXPECT_EQ(m_vps.vps_num_layer_sets_minus1, (1U << 26) - 1 + 9);
    EXPECT_TRUE(m_vps.vps_timing_info_present_flag);
    EXPECT_FALSE(m_vps.vps_extension_flag);
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(ReadVPS, ReadsTheSameBitsThroughBothReaders)
{
    std::mt19937 random(22);
    unsigned uiGood = 0;
    for (int iPayload = 0; iPayload < 500; ++iPayload) {
        std::vector<unsigned char> bytes(1000); // more than the longest structure takes
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random());
        CAlikeReaders readers(bytes);
        VPS other;
        spoil(other);
        spoil(m_vps);
        const int iResult = readVPS(&m_vps, &readers.m_decoders);
        EXPECT_EQ(iResult, readVPS(&other, &readers.m_plain));
        EXPECT_EQ(std::memcmp(&m_vps, &other, sizeof(other)), 0);
        uiGood += iResult == 0 ? 1 : 0;
    }
    EXPECT_GT(uiGood, 0U);
}

TEST(VerifyVPS, AcceptsOneLayerWhateverElseTheRecordHolds)
{
    const CLogCatcher log;
    VPS vps;
    spoil(vps);
    vps.vps_max_layers_minus1 = 0;
    EXPECT_EQ(verifyVPS(&vps), 0);
    EXPECT_TRUE(log.lines().empty());
}

TEST(VerifyVPS, RejectsMoreLayersAndLeavesTheRecordAlone)
{
    for (const int iLevel : {0, 2, 3}) {
        const CLogCatcher log(iLevel);
        for (const int iLayersMinus1 : {1, 2, 63, 255}) {
            VPS vps;
            spoil(vps);
            vps.vps_max_layers_minus1 = static_cast<unsigned char>(iLayersMinus1);
            VPS before;
            std::memcpy(&before, &vps, sizeof(vps));
            EXPECT_EQ(verifyVPS(&vps), -2147483647);
            EXPECT_EQ(std::memcmp(&before, &vps, sizeof(vps)), 0);
        }
        const std::vector<std::string> expected(iLevel < 3 ? 4 : 0, "ERROR: vps_max_layers_minus should be zero\n");
        EXPECT_EQ(log.lines(), expected);
    }
}

TEST(VerifyVPS, IsNotCalledByTheReader)
{
    const CLogCatcher log;
    VpsSyntax syntax;
    syntax.vps_max_layers_minus1 = 1;
    const CPaddedPayload payload(write(syntax).bytes());
    CRbspReader bs = payload.reader<CRbspReader>();
    VPS vps = {};
    EXPECT_EQ(readVPS(&vps, &bs), 0);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(verifyVPS(&vps), E_BS_NOT_ENOUGH_BITS);
}

} // namespace
} // namespace video_parameter_set_test
