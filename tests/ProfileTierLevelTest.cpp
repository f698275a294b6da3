#include "ProfileTierLevel.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <random>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "DamagedPayloads.h"
#include "ElementWalk.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace profile_tier_level_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

class ReadProfileTierLevel : public testing::Test
{
protected:
    ReadProfileTierLevel() { spoil(m_ptl); }

    // Reads the structure and what stands behind it; the bits consumed go to m_uiConsumed.
    int read(const CBitWriter& bits, unsigned char max_sub_layers_minus1)
    {
        const std::size_t uiTotal = bits.size() + 128;
        const CPaddedPayload payload(CBitWriter(bits).u(64, 0).u(64, 0).bytes());
        CRbspReader bs = payload.reader<CRbspReader>();
        const int iResult = read_profile_tile_level(&m_ptl, max_sub_layers_minus1, &bs);
        const std::size_t uiLeft = static_cast<std::size_t>(bs.m_pBufEnd - bs.m_pCurPos) * 8 + bs.m_uiCachedBits;
        m_uiConsumed = (uiTotal + 7) / 8 * 8 - uiLeft;
        return iResult;
    }

    profile_tile_level m_ptl;
    std::size_t m_uiConsumed = 0;
    CLogCatcher m_log;
};

// The general part, every value different from its neighbours'.
ProfileTierLevelSyntax mixedValues()
{
    ProfileTierLevelSyntax syntax;
    syntax.general_profile_space = 2;
    syntax.general_tier_flag = true;
    syntax.general_profile_idc = 21;
    syntax.general_profile_compatibility_flags = 0xa5c30f1b;
    syntax.general_progressive_source_flag = false;
    syntax.general_interlaced_source_flag = true;
    syntax.general_non_packed_constraint_flag = false;
    syntax.general_frame_only_constraint_flag = true;
    syntax.general_level_idc = 186;
    for (unsigned i = 0; i < 7; ++i) {
        SubLayerSyntax& layer = syntax.sub_layer[i];
        layer.sub_layer_profile_space = 3 - i % 4;
        layer.sub_layer_tier_flag = i % 2 == 0;
        layer.sub_layer_profile_idc = 9 + i;
        layer.sub_layer_profile_compatibility_flags = 0x5a0ff0c1U << i;
        layer.sub_layer_progressive_source_flag = i % 2 == 1;
        layer.sub_layer_interlaced_source_flag = i % 3 == 0;
        layer.sub_layer_non_packed_constraint_flag = i % 2 == 0;
        layer.sub_layer_frame_only_constraint_flag = i % 3 == 1;
        layer.sub_layer_level_idc = 150 + i;
    }
    return syntax;
}

void presentAll(ProfileTierLevelSyntax& syntax)
{
    for (SubLayerSyntax& layer : syntax.sub_layer)
        layer.sub_layer_profile_present_flag = layer.sub_layer_level_present_flag = true;
}

// 7.3.3 over the record, the reserved bits as the reader takes them.
CElementWalk walkOf(profile_tile_level& ptl, const ProfileTierLevelSyntax& s, unsigned max_sub_layers_minus1)
{
    CElementWalk walk;
    walk.u("general_profile_space", ptl.general_profile_space, 2, s.general_profile_space);
    walk.flag("general_tier_flag", ptl.general_tier_flag, s.general_tier_flag);
    walk.u("general_profile_idc", ptl.general_profile_idc, 5, s.general_profile_idc);
    for (unsigned j = 0; j < 32; ++j) {
        const bool bFlag = (s.general_profile_compatibility_flags << j & 0x80000000) != 0;
        walk.flag("general_profile_compatibility_flag", ptl.general_profile_compatibility_flag[j], bFlag);
    }
    walk.flag("general_progressive", ptl.general_progressive_source_flag, s.general_progressive_source_flag);
    walk.flag("general_interlaced", ptl.general_interlaced_source_flag, s.general_interlaced_source_flag);
    walk.flag("general_non_packed", ptl.general_non_packed_constraint_flag, s.general_non_packed_constraint_flag);
    walk.flag("general_frame_only", ptl.general_frame_only_constraint_flag, s.general_frame_only_constraint_flag);
    walk.dropped(16).dropped(16).dropped(12);
    walk.u("general_level_idc", ptl.general_level_idc, 8, s.general_level_idc);
    for (unsigned i = 0; i < max_sub_layers_minus1; ++i) {
        const SubLayerSyntax& layer = s.sub_layer[i];
        walk.flag("profile_present", ptl.sub_layer_profile_present_flag[i], layer.sub_layer_profile_present_flag);
        walk.flag("level_present", ptl.sub_layer_level_present_flag[i], layer.sub_layer_level_present_flag);
    }
    if (max_sub_layers_minus1 != 0)
        walk.dropped(2 * (8 - max_sub_layers_minus1));
    for (unsigned i = 0; i < max_sub_layers_minus1; ++i) {
        const SubLayerSyntax& layer = s.sub_layer[i];
        if (layer.sub_layer_profile_present_flag) {
            walk.u("sub_layer_profile_space", ptl.sub_layer_profile_space[i], 2, layer.sub_layer_profile_space);
            walk.flag("sub_layer_tier_flag", ptl.sub_layer_tier_flag[i], layer.sub_layer_tier_flag);
            walk.u("sub_layer_profile_idc", ptl.sub_layer_profile_idc[i], 5, layer.sub_layer_profile_idc);
            for (unsigned j = 0; j < 32; ++j) {
                const bool bFlag = (layer.sub_layer_profile_compatibility_flags << j & 0x80000000) != 0;
                walk.flag("sub_layer_compatibility", ptl.sub_layer_profile_compatibility_flag[i][j], bFlag);
            }
            walk.flag("progressive", ptl.sub_layer_progressive_source_flag[i], layer.sub_layer_progressive_source_flag);
            walk.flag("interlaced", ptl.sub_layer_interlaced_source_flag[i], layer.sub_layer_interlaced_source_flag);
            walk.flag(
                "non_packed", ptl.sub_layer_non_packed_constraint_flag[i], layer.sub_layer_non_packed_constraint_flag);
            walk.flag(
                "frame_only", ptl.sub_layer_frame_only_constraint_flag[i], layer.sub_layer_frame_only_constraint_flag);
            walk.dropped(22).dropped(22);
        }
        if (layer.sub_layer_level_present_flag)
            walk.u("sub_layer_level_idc", ptl.sub_layer_level_idc[i], 8, layer.sub_layer_level_idc);
    }
    return walk;
}

// The bytes of the record from the first sub-layer field on.
std::span<const unsigned char> subLayerBytes(const profile_tile_level& ptl)
{
    const unsigned char* const pStart = reinterpret_cast<const unsigned char*>(&ptl.sub_layer_profile_present_flag);
    return {pStart, reinterpret_cast<const unsigned char*>(&ptl + 1)};
}

bool areUntouched(std::span<const unsigned char> bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte == UNTOUCHED; });
}

TEST_F(ReadProfileTierLevel, Takes96BitsWithoutSubLayers)
{
    const ProfileTierLevelSyntax syntax = mixedValues();
    EXPECT_EQ(read(write(syntax, 0), 0), 0);
    EXPECT_EQ(m_uiConsumed, 96U);
    walkOf(m_ptl, syntax, 0).expectFields(96);
    EXPECT_TRUE(areUntouched(subLayerBytes(m_ptl)));
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(ReadProfileTierLevel, TakesEachFlagForItself)
{
    const auto setFlag = [](ProfileTierLevelSyntax& syntax, unsigned i) {
        bool* const aFlags[] = {&syntax.general_tier_flag,
                                &syntax.general_progressive_source_flag,
                                &syntax.general_interlaced_source_flag,
                                &syntax.general_non_packed_constraint_flag,
                                &syntax.general_frame_only_constraint_flag};
        for (bool* const pFlag : aFlags)
            *pFlag = false;
        *aFlags[i] = true;
    };
    for (unsigned i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        ProfileTierLevelSyntax syntax;
        setFlag(syntax, i);
        spoil(m_ptl);
        EXPECT_EQ(read(write(syntax, 0), 0), 0);
        EXPECT_EQ(m_ptl.general_tier_flag, i == 0);
        EXPECT_EQ(m_ptl.general_progressive_source_flag, i == 1);
        EXPECT_EQ(m_ptl.general_interlaced_source_flag, i == 2);
        EXPECT_EQ(m_ptl.general_non_packed_constraint_flag, i == 3);
        EXPECT_EQ(m_ptl.general_frame_only_constraint_flag, i == 4);
    }
}

TEST_F(ReadProfileTierLevel, TakesEachCompatibilityFlagForItself)
{
    for (unsigned j = 0; j < 32; ++j) {
        SCOPED_TRACE(j);
        ProfileTierLevelSyntax syntax;
        syntax.general_profile_compatibility_flags = 0x80000000U >> j;
        EXPECT_EQ(read(write(syntax, 0), 0), 0);
        for (unsigned k = 0; k < 32; ++k)
            EXPECT_EQ(m_ptl.general_profile_compatibility_flag[k], j == k);
    }
}

TEST_F(ReadProfileTierLevel, TakesExtremeValuesAsTheyAre)
{
    ProfileTierLevelSyntax syntax;
    syntax.general_profile_space = 3;
    syntax.general_profile_idc = 31;
    syntax.general_level_idc = 255;
    syntax.general_reserved_zero_44bits = 0xfffffffffff;
    EXPECT_EQ(read(write(syntax, 0), 0), 0);
    EXPECT_EQ(m_ptl.general_profile_space, 3);
    EXPECT_EQ(m_ptl.general_profile_idc, 31);
    EXPECT_EQ(m_ptl.general_level_idc, 255);
}

TEST_F(ReadProfileTierLevel, Takes112BitsForASubLayerWithNothingPresent)
{
    const ProfileTierLevelSyntax syntax = mixedValues();
    EXPECT_EQ(read(write(syntax, 1), 1), 0);
    EXPECT_EQ(m_uiConsumed, 112U);
    EXPECT_FALSE(m_ptl.sub_layer_profile_present_flag[0]);
    EXPECT_FALSE(m_ptl.sub_layer_level_present_flag[0]);
    // Only the two flags of sub-layer 0.
    EXPECT_EQ(std::ranges::count(subLayerBytes(m_ptl), UNTOUCHED), std::ssize(subLayerBytes(m_ptl)) - 2);
}

TEST_F(ReadProfileTierLevel, Takes208BitsForASubLayerWithEverythingPresent)
{
    ProfileTierLevelSyntax syntax = mixedValues();
    presentAll(syntax);
    EXPECT_EQ(read(write(syntax, 1), 1), 0);
    EXPECT_EQ(m_uiConsumed, 208U);
    walkOf(m_ptl, syntax, 1).expectFields(208);
}

TEST_F(ReadProfileTierLevel, TakesProfileAndLevelOfASubLayerApart)
{
    for (unsigned uiPresent = 0; uiPresent < 16; ++uiPresent) {
        SCOPED_TRACE(uiPresent);
        ProfileTierLevelSyntax syntax = mixedValues();
        for (unsigned i = 0; i < 2; ++i) {
            syntax.sub_layer[i].sub_layer_profile_present_flag = (uiPresent >> 2 * i & 1) != 0;
            syntax.sub_layer[i].sub_layer_level_present_flag = (uiPresent >> 2 * i & 2) != 0;
        }
        spoil(m_ptl);
        EXPECT_EQ(read(write(syntax, 2), 2), 0);
        walkOf(m_ptl, syntax, 2).expectFields(write(syntax, 2).size());
        EXPECT_EQ(m_uiConsumed, write(syntax, 2).size());
        for (unsigned i = 0; i < 2; ++i) {
            EXPECT_EQ(isUntouched(m_ptl.sub_layer_profile_idc[i]), (uiPresent >> 2 * i & 1) == 0);
            EXPECT_EQ(isUntouched(m_ptl.sub_layer_level_idc[i]), (uiPresent >> 2 * i & 2) == 0);
        }
    }
}

TEST_F(ReadProfileTierLevel, ConsumesEverySubLayerAndKeepsFive)
{
    for (unsigned char max_sub_layers_minus1 = 0; max_sub_layers_minus1 < 8; ++max_sub_layers_minus1) {
        SCOPED_TRACE(static_cast<int>(max_sub_layers_minus1));
        ProfileTierLevelSyntax syntax = mixedValues();
        presentAll(syntax);
        syntax.reserved_zero_2bits = 3; // dropped
        for (SubLayerSyntax& layer : syntax.sub_layer)
            layer.sub_layer_reserved_zero_44bits = 0x123456789ab; // likewise
        const CBitWriter bits = write(syntax, max_sub_layers_minus1);
        spoil(m_ptl);
        EXPECT_EQ(read(bits, max_sub_layers_minus1), 0);
        EXPECT_EQ(m_uiConsumed, bits.size());
        const unsigned uiKept = std::min<unsigned>(max_sub_layers_minus1, MAX_SUB_LAYERS);
        for (unsigned i = 0; i < uiKept; ++i) {
            EXPECT_EQ(m_ptl.sub_layer_profile_space[i], syntax.sub_layer[i].sub_layer_profile_space);
            EXPECT_EQ(m_ptl.sub_layer_profile_idc[i], syntax.sub_layer[i].sub_layer_profile_idc);
            EXPECT_EQ(m_ptl.sub_layer_level_idc[i], syntax.sub_layer[i].sub_layer_level_idc);
        }
        for (unsigned i = uiKept; i < MAX_SUB_LAYERS; ++i)
            EXPECT_TRUE(isUntouched(m_ptl.sub_layer_profile_present_flag[i]));
    }
}

TEST_F(ReadProfileTierLevel, LetsDroppedSubLayersSteerTheReading)
{
    for (unsigned uiPresent = 0; uiPresent < 16; ++uiPresent) {
        SCOPED_TRACE(uiPresent);
        ProfileTierLevelSyntax syntax = mixedValues();
        for (unsigned i = 0; i < 2; ++i) {
            syntax.sub_layer[5 + i].sub_layer_profile_present_flag = (uiPresent >> 2 * i & 1) != 0;
            syntax.sub_layer[5 + i].sub_layer_level_present_flag = (uiPresent >> 2 * i & 2) != 0;
        }
        EXPECT_EQ(read(write(syntax, 7), 7), 0);
        EXPECT_EQ(m_uiConsumed, write(syntax, 7).size());
    }
}

TEST_F(ReadProfileTierLevel, TakesNoAlignmentBitsForEightSubLayers)
{
    // Out of the syntax's reach, but not of a direct call's: 16 present flags, all 0.
    EXPECT_EQ(read(write(ProfileTierLevelSyntax{}, 0).u(16, 0), 8), 0);
    EXPECT_EQ(m_uiConsumed, 112U);
}

TEST_F(ReadProfileTierLevel, FailsAtTheAlignmentOfMoreThanEightSubLayers)
{
    for (const int iCount : {9, 10, 40, 128, 255}) {
        SCOPED_TRACE(iCount);
        const unsigned char max_sub_layers_minus1 = static_cast<unsigned char>(iCount);
        m_log.forget();
        spoil(m_ptl);
        CBitWriter bits = write(ProfileTierLevelSyntax{}, 0);
        for (unsigned i = 0; i < max_sub_layers_minus1; ++i)
            bits.u(2, 0);
        EXPECT_EQ(read(bits, max_sub_layers_minus1), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(m_uiConsumed, 96 + 2U * max_sub_layers_minus1);
        EXPECT_EQ(m_log.lines(), std::vector<std::string>{READ_BITS_ERROR});
        EXPECT_EQ(m_ptl.general_level_idc, 93);
        EXPECT_TRUE(isUntouched(m_ptl.sub_layer_profile_idc));
    }
}

TEST_F(ReadProfileTierLevel, KeepsWhatStoodBeforeTheEndOfThePayloadAndNothingBehind)
{
    for (const int iCount : {0, 1, 3, 5}) {
        const unsigned char max_sub_layers_minus1 = static_cast<unsigned char>(iCount);
        ProfileTierLevelSyntax syntax = mixedValues();
        presentAll(syntax);
        const CBitWriter bits = write(syntax, max_sub_layers_minus1);
        const CElementWalk walk = walkOf(m_ptl, syntax, max_sub_layers_minus1);
        ASSERT_EQ(walk.bits().allBits(), bits.allBits());
        forEachCutAndTheWhole(bits, [&](std::size_t uiBitCount, const CBitWriter& first) {
            spoil(m_ptl);
            m_log.forget();
            const CCutPayload payload(first);
            CRbspReader bs = payload.reader();
            const bool bWhole = uiBitCount == bits.size();
            EXPECT_EQ(read_profile_tile_level(&m_ptl, max_sub_layers_minus1, &bs), bWhole ? 0 : E_BS_NOT_ENOUGH_BITS);
            EXPECT_EQ(m_log.lines().size(), bWhole ? 0U : 1U);
            walk.expectFields(uiBitCount);
        });
    }
}

TEST_F(ReadProfileTierLevel, LeavesTheFlagBeingReadFalseAtTheEndOfThePayload)
{
    ProfileTierLevelSyntax syntax;
    syntax.general_profile_compatibility_flags = 0xffffffff;
    const CPaddedPayload payload(write(syntax, 0).cut(24).bytes());
    CRbspReader bs = payload.reader<CRbspReader>();
    EXPECT_EQ(read_profile_tile_level(&m_ptl, 0, &bs), E_BS_NOT_ENOUGH_BITS);
    EXPECT_TRUE(m_ptl.general_profile_compatibility_flag[15]);
    EXPECT_FALSE(m_ptl.general_profile_compatibility_flag[16]);
    EXPECT_TRUE(isUntouched(m_ptl.general_profile_compatibility_flag[17]));
    EXPECT_EQ(m_log.lines(), std::vector<std::string>{READ_FLAG_ERROR});
}

TEST_F(ReadProfileTierLevel, KeepsTheLevelWhenReservedBitsRunOut)
{
    const CPaddedPayload payload(write(ProfileTierLevelSyntax{}, 0).cut(80).bytes());
    CRbspReader bs = payload.reader<CRbspReader>();
    EXPECT_EQ(read_profile_tile_level(&m_ptl, 0, &bs), E_BS_NOT_ENOUGH_BITS);
    EXPECT_TRUE(isUntouched(m_ptl.general_level_idc));
    EXPECT_EQ(bs.m_uiCachedBits, 4U); // 44 = 16 + 16 + 12: the last read of them took nothing
    EXPECT_EQ(m_log.lines(), std::vector<std::string>{READ_BITS_ERROR});
}

TEST_F(ReadProfileTierLevel, DropsTheReservedBitsOfASubLayerInTwoReadsOf22)
{
    ProfileTierLevelSyntax syntax;
    presentAll(syntax);
    const CPaddedPayload payload(write(syntax, 1).cut(112 + 44 + 36).bytes());
    CRbspReader bs = payload.reader<CRbspReader>();
    EXPECT_EQ(read_profile_tile_level(&m_ptl, 1, &bs), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(bs.m_uiCachedBits, 14U);
    EXPECT_TRUE(isUntouched(m_ptl.sub_layer_level_idc[0]));
}

TEST_F(ReadProfileTierLevel, ReadsTheSameBitsThroughTheDecodersReader)
{
    std::mt19937 random(21);
    for (int iPayload = 0; iPayload < 300; ++iPayload) {
        std::vector<unsigned char> bytes(320); // more than the longest structure takes
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(random());
        const unsigned char max_sub_layers_minus1 = static_cast<unsigned char>(random() % 10);
        CAlikeReaders readers(bytes);
        profile_tile_level other;
        spoil(other);
        spoil(m_ptl);
        EXPECT_EQ(read_profile_tile_level(&m_ptl, max_sub_layers_minus1, &readers.m_decoders),
                  read_profile_tile_level(&other, max_sub_layers_minus1, &readers.m_plain));
        EXPECT_EQ(std::memcmp(&m_ptl, &other, sizeof(other)), 0);
        EXPECT_EQ(readers.m_decoders.m_uiCachedBits, readers.m_plain.m_uiCachedBits);
        EXPECT_EQ(readers.m_decoders.m_pCurPos - readers.m_decoders.m_pBufStart,
                  readers.m_plain.m_pCurPos - readers.m_plain.m_pBufStart);
    }
}

} // namespace
} // namespace profile_tier_level_test
