#include "PictureParameterSet.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "PictureParameterSetFixture.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace picture_parameter_set_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

constexpr char SPS_NOT_FOUND[] = "WARN: sps not found!\n";

using Readers = testing::Types<CBitStreamReader, CRbspReader>;
TYPED_TEST_SUITE(ReadPPS, Readers);

TYPED_TEST(ReadPPS, StoresEachElementInItsField)
{
    // clang-format off
    const CBitWriter writer = CBitWriter()
        .bits("00100")   // pps_pic_parameter_set_id 3
        .bits("010")     // pps_seq_parameter_set_id 1
        .bits("1 0 101") // dependent slices, output flag, 5 extra bits
        .bits("0 1")     // sign data hiding, cabac_init
        .bits("011 010") // 2 and 1 reference pictures more
        .bits("00101")   // init_qp_minus26 -2
        .bits("1 0 1")   // constrained intra, transform skip, cu_qp_delta
        .bits("010")     // diff_cu_qp_delta_depth 1
        .bits("010 011") // chroma offsets 1 and -1
        .bits("0 1 0 1") // slice chroma offsets, weighted P and B, lossless
        .bits("0 1")     // tiles, wavefronts
        .bits("0 1")     // across slices, deblocking control
        .bits("1 0 010 011") // override, not disabled, beta 1, tc -1
        .bits("0 1 010") // lists, lists modification, merge level 3
        .bits("0 1 1");  // header extension, extension; stop bit
    // clang-format on
    EXPECT_EQ(this->m_decoder.template read<TypeParam>(writer), 0);
    const PPS& pps = *this->m_pps;
    EXPECT_EQ(pps.pps_pic_parameter_set_id, 3);
    EXPECT_EQ(pps.pps_seq_parameter_set_id, 1);
    EXPECT_TRUE(pps.dependent_slice_segments_enabled_flag);
    EXPECT_FALSE(pps.output_flag_present_flag);
    EXPECT_EQ(pps.num_extra_slice_header_bits, 5);
    EXPECT_FALSE(pps.sign_data_hiding_enabled_flag);
    EXPECT_TRUE(pps.cabac_init_present_flag);
    EXPECT_EQ(pps.num_ref_idx_l0_default_active_minus1, 2);
    EXPECT_EQ(pps.num_ref_idx_l1_default_active_minus1, 1);
    EXPECT_EQ(pps.init_qp_minus26, -2);
    EXPECT_TRUE(pps.constrained_intra_pred_flag);
    EXPECT_FALSE(pps.transform_skip_enabled_flag);
    EXPECT_TRUE(pps.cu_qp_delta_enabled_flag);
    EXPECT_EQ(pps.diff_cu_qp_delta_depth, 1);
    EXPECT_EQ(pps.Log2MinCuQpDeltaSize, 3);
    EXPECT_EQ(pps.pps_cb_qp_offset, 1);
    EXPECT_EQ(pps.pps_cr_qp_offset, -1);
    EXPECT_FALSE(pps.pps_slice_chroma_qp_offsets_present_flag);
    EXPECT_TRUE(pps.weighted_pred_flag);
    EXPECT_FALSE(pps.weighted_bipred_flag);
    EXPECT_TRUE(pps.transquant_bypass_enabled_flag);
    EXPECT_FALSE(pps.tiles_enabled_flag);
    EXPECT_TRUE(pps.entropy_coding_sync_enabled_flag);
    EXPECT_FALSE(pps.pps_loop_filter_across_slices_enabled_flag);
    EXPECT_TRUE(pps.deblocking_filter_control_present_flag);
    EXPECT_TRUE(pps.deblocking_filter_override_enabled_flag);
    EXPECT_FALSE(pps.pps_deblocking_filter_disabled_flag);
    EXPECT_EQ(pps.pps_beta_offset_div2, 1);
    EXPECT_EQ(pps.pps_tc_offset_div2, -1);
    EXPECT_FALSE(pps.pps_scaling_list_data_present_flag);
    EXPECT_TRUE(pps.lists_modification_present_flag);
    EXPECT_EQ(pps.Log2ParMrgLevel, 3);
    EXPECT_FALSE(pps.slice_segment_header_extension_present_flag);
    EXPECT_TRUE(pps.pps_extension_present_flag);
    EXPECT_TRUE(this->m_decoder.m_pool.calls().empty());
    EXPECT_TRUE(this->m_log.lines().empty());
}

struct FlagPair
{
    const char* pName;
    bool PpsSyntax::*pCoded;
    bool PPS::*pField;
};
constexpr FlagPair FLAGS[] = {
    {"dependent_slice_segments_enabled_flag",
     &PpsSyntax::dependent_slice_segments_enabled_flag,
     &PPS::dependent_slice_segments_enabled_flag},
    {"output_flag_present_flag", &PpsSyntax::output_flag_present_flag, &PPS::output_flag_present_flag},
    {"sign_data_hiding_enabled_flag", &PpsSyntax::sign_data_hiding_enabled_flag, &PPS::sign_data_hiding_enabled_flag},
    {"cabac_init_present_flag", &PpsSyntax::cabac_init_present_flag, &PPS::cabac_init_present_flag},
    {"constrained_intra_pred_flag", &PpsSyntax::constrained_intra_pred_flag, &PPS::constrained_intra_pred_flag},
    {"transform_skip_enabled_flag", &PpsSyntax::transform_skip_enabled_flag, &PPS::transform_skip_enabled_flag},
    {"pps_slice_chroma_qp_offsets_present_flag",
     &PpsSyntax::pps_slice_chroma_qp_offsets_present_flag,
     &PPS::pps_slice_chroma_qp_offsets_present_flag},
    {"weighted_pred_flag", &PpsSyntax::weighted_pred_flag, &PPS::weighted_pred_flag},
    {"weighted_bipred_flag", &PpsSyntax::weighted_bipred_flag, &PPS::weighted_bipred_flag},
    {"transquant_bypass_enabled_flag",
     &PpsSyntax::transquant_bypass_enabled_flag,
     &PPS::transquant_bypass_enabled_flag},
    {"entropy_coding_sync_enabled_flag",
     &PpsSyntax::entropy_coding_sync_enabled_flag,
     &PPS::entropy_coding_sync_enabled_flag},
    {"pps_loop_filter_across_slices_enabled_flag",
     &PpsSyntax::pps_loop_filter_across_slices_enabled_flag,
     &PPS::pps_loop_filter_across_slices_enabled_flag},
    {"lists_modification_present_flag",
     &PpsSyntax::lists_modification_present_flag,
     &PPS::lists_modification_present_flag},
    {"slice_segment_header_extension_present_flag",
     &PpsSyntax::slice_segment_header_extension_present_flag,
     &PPS::slice_segment_header_extension_present_flag},
    {"pps_extension_present_flag", &PpsSyntax::pps_extension_present_flag, &PPS::pps_extension_present_flag},
};

TYPED_TEST(ReadPPS, ReadsEachFlagApart)
{
    for (const FlagPair& turned : FLAGS) {
        SCOPED_TRACE(turned.pName);
        PpsSyntax s;
        s.*turned.pCoded = !(s.*turned.pCoded);
        EXPECT_EQ(this->read(s), 0);
        for (const FlagPair& each : FLAGS)
            EXPECT_EQ(this->m_pps->*each.pField, s.*each.pCoded) << each.pName;
        EXPECT_FALSE(this->m_pps->cu_qp_delta_enabled_flag);
        EXPECT_FALSE(this->m_pps->tiles_enabled_flag);
        EXPECT_FALSE(this->m_pps->deblocking_filter_control_present_flag);
        EXPECT_FALSE(this->m_pps->pps_scaling_list_data_present_flag);
    }
}

TYPED_TEST(ReadPPS, KeepsUnsignedElementsModulo256)
{
    PpsSyntax s;
    s.pps_pic_parameter_set_id = 300;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_EQ(this->m_pps->pps_pic_parameter_set_id, 44);

    s = PpsSyntax();
    s.pps_seq_parameter_set_id = 257;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_EQ(this->m_pps->pps_seq_parameter_set_id, 1);

    s = PpsSyntax();
    s.num_ref_idx_l0_default_active_minus1 = 258;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_EQ(this->m_pps->num_ref_idx_l0_default_active_minus1, 2);

    s = PpsSyntax();
    s.num_ref_idx_l1_default_active_minus1 = 511;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_EQ(this->m_pps->num_ref_idx_l1_default_active_minus1, 255);
}

TYPED_TEST(ReadPPS, CutsSignedElementsTo8Bits)
{
    struct Case
    {
        std::int64_t iCoded;
        int iField;
    };
    const Case aCases[] = {
        {127, 127},
        {-128, -128},
        {128, -128},
        {-129, 127},
        {200, -56},
        {256, 0},
        {-257, -1},
        {1000, -24},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.iCoded);
        PpsSyntax s;
        s.init_qp_minus26 = c.iCoded;
        EXPECT_EQ(this->read(s), 0);
        EXPECT_EQ(this->m_pps->init_qp_minus26, c.iField);

        s = PpsSyntax();
        s.pps_cb_qp_offset = c.iCoded;
        EXPECT_EQ(this->read(s), 0);
        EXPECT_EQ(this->m_pps->pps_cb_qp_offset, c.iField);
        EXPECT_EQ(this->m_pps->pps_cr_qp_offset, 0);

        s = PpsSyntax();
        s.pps_cr_qp_offset = c.iCoded;
        EXPECT_EQ(this->read(s), 0);
        EXPECT_EQ(this->m_pps->pps_cr_qp_offset, c.iField);

        s = PpsSyntax();
        s.deblocking.emplace();
        s.deblocking->pps_beta_offset_div2 = c.iCoded;
        EXPECT_EQ(this->read(s), 0);
        EXPECT_EQ(this->m_pps->pps_beta_offset_div2, c.iField);
        EXPECT_EQ(this->m_pps->pps_tc_offset_div2, 0);

        s.deblocking.emplace();
        s.deblocking->pps_tc_offset_div2 = c.iCoded;
        EXPECT_EQ(this->read(s), 0);
        EXPECT_EQ(this->m_pps->pps_tc_offset_div2, c.iField);
    }
}

TYPED_TEST(ReadPPS, AddsTwoToTheMergeLevelIn8Bits)
{
    struct Case
    {
        unsigned log2_parallel_merge_level_minus2;
        int Log2ParMrgLevel;
    };
    for (const Case& c : {Case{0, 2}, Case{4, 6}, Case{253, 255}, Case{254, 0}, Case{256, 2}}) {
        PpsSyntax s;
        s.log2_parallel_merge_level_minus2 = c.log2_parallel_merge_level_minus2;
        EXPECT_EQ(this->read(s), 0);
        EXPECT_EQ(this->m_pps->Log2ParMrgLevel, c.Log2ParMrgLevel);
    }
}

TYPED_TEST(ReadPPS, SubtractsTheQpDeltaDepthIn8Bits)
{
    struct Case
    {
        unsigned short CtbLog2SizeY;
        unsigned uiCoded;
        int diff_cu_qp_delta_depth;
        int Log2MinCuQpDeltaSize;
    };
    const Case aCases[] = {
        {6, 0, 0, 6},
        {6, 2, 2, 4},
        {6, 6, 6, 0},
        {6, 7, 7, 255},
        {4, 255, 255, 5},
        {6, 258, 2, 4},
        {0x105, 1, 1, 4},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.uiCoded);
        this->m_decoder.m_sps.CtbLog2SizeY = c.CtbLog2SizeY;
        PpsSyntax s;
        s.diff_cu_qp_delta_depth = c.uiCoded;
        EXPECT_EQ(this->read(s), 0);
        EXPECT_TRUE(this->m_pps->cu_qp_delta_enabled_flag);
        EXPECT_EQ(this->m_pps->diff_cu_qp_delta_depth, c.diff_cu_qp_delta_depth);
        EXPECT_EQ(this->m_pps->Log2MinCuQpDeltaSize, c.Log2MinCuQpDeltaSize);
    }
}

TYPED_TEST(ReadPPS, KeepsTheQpDeltaFieldsOfAnEarlierPPS)
{
    PpsSyntax s;
    s.diff_cu_qp_delta_depth = 2;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_EQ(this->read(PpsSyntax()), 0);
    EXPECT_FALSE(this->m_pps->cu_qp_delta_enabled_flag);
    EXPECT_EQ(this->m_pps->diff_cu_qp_delta_depth, 2);
    EXPECT_EQ(this->m_pps->Log2MinCuQpDeltaSize, 4);
}

TYPED_TEST(ReadPPS, KeepsTheDeblockingFieldsOfAnEarlierPPS)
{
    PpsSyntax s;
    s.deblocking = DeblockingSyntax{true, false, 3, -4};
    EXPECT_EQ(this->read(s), 0);

    s.deblocking = DeblockingSyntax{false, true, 0, 0};
    EXPECT_EQ(this->read(s), 0);
    EXPECT_FALSE(this->m_pps->deblocking_filter_override_enabled_flag);
    EXPECT_TRUE(this->m_pps->pps_deblocking_filter_disabled_flag);
    EXPECT_EQ(this->m_pps->pps_beta_offset_div2, 3);
    EXPECT_EQ(this->m_pps->pps_tc_offset_div2, -4);

    EXPECT_EQ(this->read(PpsSyntax()), 0);
    EXPECT_FALSE(this->m_pps->deblocking_filter_control_present_flag);
    EXPECT_TRUE(this->m_pps->pps_deblocking_filter_disabled_flag);
    EXPECT_EQ(this->m_pps->pps_beta_offset_div2, 3);
}

TYPED_TEST(ReadPPS, StoresOnlyTheIdsWhenTheSpsIsMissing)
{
    struct Case
    {
        int iLevel;
        std::vector<std::string> lines;
    };
    const Case aCases[] = {
        {0, {SPS_NOT_FOUND}},
        {1, {SPS_NOT_FOUND}},
        {2, {}},
        {3, {}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.iLevel);
        tqlog::CTQLog::m_iLogLevel = c.iLevel;
        this->m_log.forget();
        const CBitWriter rest = CBitWriter().bits("111111111111");
        CDecoder decoder;
        EXPECT_EQ(decoder.template read<TypeParam>(CBitWriter().ue(5).ue(2).append(rest)), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(decoder.m_uiBitsLeft, rest.size());
        EXPECT_EQ(decoder.m_pps->pps_pic_parameter_set_id, 5);
        EXPECT_EQ(decoder.m_pps->pps_seq_parameter_set_id, 2);
        decoder.m_pps->pps_pic_parameter_set_id = 0;
        decoder.m_pps->pps_seq_parameter_set_id = 0;
        EXPECT_TRUE(isAllZero(*decoder.m_pps));
        EXPECT_TRUE(decoder.m_pool.calls().empty());
        EXPECT_EQ(this->m_log.lines(), c.lines);
    }
}

TYPED_TEST(ReadPPS, FindsTheSpsInTheLastSlot)
{
    this->m_decoder.m_spsArray[255] = &this->m_decoder.m_sps;
    PpsSyntax s;
    s.pps_seq_parameter_set_id = 255;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_EQ(this->m_pps->pps_seq_parameter_set_id, 255);
}

TYPED_TEST(ReadPPS, IgnoresExtensionData)
{
    PpsSyntax s;
    s.pps_extension_present_flag = true;
    s.extension.bits("1010 1100 0111");
    EXPECT_EQ(this->read(s), 0);
    EXPECT_TRUE(this->m_pps->pps_extension_present_flag);
    EXPECT_TRUE(this->m_log.lines().empty());
}

TYPED_TEST(ReadPPS, SucceedsWithoutTrailingBits)
{
    PpsSyntax s;
    s.rbsp_trailing_bits = false;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_EQ(this->m_log.lines(), (std::vector<std::string>{READ_FLAG_ERROR}));
}

TYPED_TEST(ReadPPS, LeavesReservedFieldsToTheHost)
{
    this->m_pps->refCount.counter = 7;
    std::memset(this->m_pps->reserved, 0x5a, sizeof(this->m_pps->reserved));
    EXPECT_EQ(this->read(withTiles(2, 2)), 0);
    EXPECT_EQ(this->m_pps->refCount.counter, 7);
    for (const unsigned char ucByte : this->m_pps->reserved)
        EXPECT_EQ(ucByte, 0x5a);
}

TEST_F(ReadLongPPS, TakesAZeroedStoreForItsScalingLists)
{
    PpsSyntax s;
    s.scaling_list_data.emplace();
    EXPECT_EQ(read(s), 0);
    EXPECT_EQ(m_decoder.m_pool.calls(), (std::vector<PoolCall>{taken(sizeof(ScalingListData), 485)}));
    EXPECT_TRUE(m_pps->pps_scaling_list_data_present_flag);
    ASSERT_NE(m_pps->pScalingListBuf, nullptr);
    EXPECT_EQ(m_pps->pScalingList, m_pps->pScalingListBuf);
    const ScalingListData& store = *m_pps->pScalingListBuf;
    EXPECT_EQ(store.aList[1].aMatrix[3].pCoef, g_deQuantSLInterDefault8x8);
    for (const unsigned matrixId : {2U, 4U, 5U})
        EXPECT_EQ(store.aList[3].aMatrix[matrixId].pCoef, nullptr);
    for (const ScalingList& list : store.aList) {
        for (const ScalingListMatrix& matrix : list.aMatrix)
            EXPECT_TRUE(std::all_of(matrix.aucCoef, matrix.aucCoef + 1024, [](unsigned char uc) { return uc == 0; }));
    }
}

TEST_F(ReadLongPPS, TakesItsScalingListStoreOnce)
{
    PpsSyntax s;
    s.scaling_list_data.emplace();
    EXPECT_EQ(read(s), 0);
    ScalingListData* const pStore = m_pps->pScalingListBuf;
    s.scaling_list_data->matrix[0][0].scaling_list_pred_mode_flag = true;
    EXPECT_EQ(read(s), 0);
    EXPECT_EQ(m_pps->pScalingListBuf, pStore);
    EXPECT_EQ(m_pps->pScalingList, pStore);
    EXPECT_EQ(pStore->aList[0].aMatrix[0].pCoef, pStore->aList[0].aMatrix[0].aucCoef);
    EXPECT_EQ(m_decoder.m_pool.calls().size(), 1U);
}

TEST_F(ReadLongPPS, LeavesItsScalingListWhenThereAreNoOwnLists)
{
    EXPECT_EQ(read(PpsSyntax()), 0);
    EXPECT_EQ(m_pps->pScalingList, nullptr);
    PpsSyntax s;
    s.scaling_list_data.emplace();
    EXPECT_EQ(read(s), 0);
    EXPECT_EQ(read(PpsSyntax()), 0);
    EXPECT_FALSE(m_pps->pps_scaling_list_data_present_flag);
    EXPECT_EQ(m_pps->pScalingList, m_pps->pScalingListBuf);
    EXPECT_NE(m_pps->pScalingList, nullptr);
}

TEST_F(ReadLongPPS, ReturnsTheResultOfScalingListsThatFail)
{
    PpsSyntax s;
    s.scaling_list_data.emplace();
    s.scaling_list_data->matrix[1][2].scaling_list_pred_matrix_id_delta = 3;
    EXPECT_EQ(read(s), E_BS_NOT_ENOUGH_BITS);
    EXPECT_TRUE(m_log.lines().empty());
    ASSERT_NE(m_pps->pScalingList, nullptr);
    EXPECT_EQ(m_pps->pScalingList, m_pps->pScalingListBuf);
    EXPECT_EQ(m_pps->pScalingList->aList[1].aMatrix[1].pCoef, g_deQuantSLIntraDefault8x8);
    EXPECT_EQ(m_pps->pScalingList->aList[1].aMatrix[2].pCoef, nullptr);
    EXPECT_EQ(m_pps->Log2ParMrgLevel, 0); // not reached
}

TEST_F(ReadLongPPS, GoesOnBehindScalingLists)
{
    PpsSyntax s;
    s.scaling_list_data.emplace();
    for (std::vector<ScalingMatrixSyntax>& list : s.scaling_list_data->matrix) {
        for (ScalingMatrixSyntax& matrix : list)
            matrix.scaling_list_pred_mode_flag = true;
    }
    s.lists_modification_present_flag = true;
    s.log2_parallel_merge_level_minus2 = 3;
    EXPECT_EQ(read(s), 0);
    EXPECT_TRUE(m_pps->lists_modification_present_flag);
    EXPECT_EQ(m_pps->Log2ParMrgLevel, 5);
}

} // namespace
} // namespace picture_parameter_set_test
