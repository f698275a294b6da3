#include "PictureParameterSet.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "ExactBits.h"
#include "SequenceParameterSet.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace {

using namespace h265_codec;
using namespace h265_test;

using Sizes = std::vector<unsigned>;

constexpr char TAG_PATH[] = "../../../src/LibDecoder/src/DecParameterSetReader";
constexpr char SPS_NOT_FOUND[] = "WARN: sps not found!\n";

PoolCall take(std::size_t uiSize, int iLine)
{
    return {true, static_cast<unsigned>(uiSize), TAG_PATH, iLine};
}

PoolCall release(std::size_t uiSize, int iLine)
{
    return {false, static_cast<unsigned>(uiSize), TAG_PATH, iLine};
}

/// A decoder with one PPS record and two SPS: number 0 of 10x6 CTBs and number 1 of 4x2.
class CDecoder
{
public:
    CDecoder() : m_pps(createPPS(m_pool.pool())), m_spsArray(256, nullptr)
    {
        m_sps.PicWidthInCtbsY = 10;
        m_sps.PicHeightInCtbsY = 6;
        m_sps.CtbLog2SizeY = 6;
        m_smallSps.PicWidthInCtbsY = 4;
        m_smallSps.PicHeightInCtbsY = 2;
        m_smallSps.CtbLog2SizeY = 4;
        m_spsArray[0] = &m_sps;
        m_spsArray[1] = &m_smallSps;
        m_pool.forgetCalls();
    }
    ~CDecoder() { destroyPPS(m_pps); }
    CDecoder(const CDecoder&) = delete;
    CDecoder& operator=(const CDecoder&) = delete;

    template <class TReader>
    int read(const CBitWriter& writer)
    {
        const CExactBits bits(writer);
        TReader bs = bits.reader<TReader>();
        const int iResult = readPPS(m_pps, m_spsArray.data(), &bs, m_pool.pool());
        m_uiBitsLeft = bitsLeft(bs);
        return iResult;
    }

    template <class TReader = CRbspReader>
    int read(const PpsSyntax& s)
    {
        return read<TReader>(write(s));
    }

    [[nodiscard]] Sizes block(const unsigned* pBlock) const
    {
        return Sizes(pBlock, pBlock + m_pool.sizeOf(pBlock) / sizeof(unsigned));
    }

    CTestPool m_pool; // outlives the record
    PPS* m_pps;
    SPS m_sps = {};
    SPS m_smallSps = {};
    std::vector<SPS*> m_spsArray;
    std::size_t m_uiBitsLeft = 0;
};

TilesSyntax tiles(std::uint64_t ulColumns, std::uint64_t ulRows)
{
    TilesSyntax s;
    s.num_tile_columns_minus1 = ulColumns - 1;
    s.num_tile_rows_minus1 = ulRows - 1;
    return s;
}

PpsSyntax withTiles(std::uint64_t ulColumns, std::uint64_t ulRows)
{
    PpsSyntax s;
    s.tiles = tiles(ulColumns, ulRows);
    return s;
}

/// Takes every block that a PPS can take.
PpsSyntax withEverything()
{
    PpsSyntax s = withTiles(3, 2);
    s.scaling_list_data.emplace();
    return s;
}

bool isAllZero(const PPS& pps)
{
    const unsigned char* const pBytes = reinterpret_cast<const unsigned char*>(&pps);
    return std::all_of(pBytes, pBytes + sizeof(pps), [](unsigned char ucByte) { return ucByte == 0; });
}

// ---- life cycle

TEST(CreatePPS, GivesAZeroedRecord)
{
    CTestPool pool;
    PPS* const pps = createPPS(pool.pool());
    ASSERT_NE(pps, nullptr);
    EXPECT_EQ(pool.calls(), (std::vector<PoolCall>{take(sizeof(PPS), 654)}));
    EXPECT_TRUE(isAllZero(*pps));
    EXPECT_EQ(verifyPPS(pps), 0);
    destroyPPS(pps);
}

TEST(CreatePPS, GivesNullWithoutALineWhenThePoolGivesNone)
{
    const CLogCatcher log;
    CTestPool pool;
    pool.failTake(1);
    EXPECT_EQ(createPPS(pool.pool()), nullptr);
    EXPECT_EQ(pool.calls().size(), 1U);
    EXPECT_TRUE(log.lines().empty());
}

TEST(DestroyPPS, AcceptsNull)
{
    destroyPPS(nullptr);
}

TEST(DestroyPPS, ReleasesOnlyTheRecordWhenItSawNoPPS)
{
    CTestPool pool;
    PPS* const pps = createPPS(pool.pool());
    pool.forgetCalls();
    destroyPPS(pps);
    EXPECT_EQ(pool.calls(), (std::vector<PoolCall>{release(sizeof(PPS), 675)}));
    EXPECT_EQ(pool.blocksInUse(), 0U);
}

TEST(DestroyPPS, MakesSevenReleasesInOrder)
{
    CTestPool pool;
    CDecoder decoder;
    PPS* const pps = createPPS(pool.pool());
    const CExactBits bits(write(withEverything()));
    CRbspReader bs = bits.reader<CRbspReader>();
    ASSERT_EQ(readPPS(pps, decoder.m_spsArray.data(), &bs, pool.pool()), 0);
    pool.forgetCalls();
    destroyPPS(pps);
    EXPECT_EQ(pool.calls(),
              (std::vector<PoolCall>{release(sizeof(ScalingListData), 669),
                                     release(61 * 4, 670),
                                     release(61 * 4, 671),
                                     release(61 * 4, 672),
                                     release(3 * 4, 673),
                                     release(2 * 4, 674),
                                     release(sizeof(PPS), 675)}));
    EXPECT_EQ(pool.blocksInUse(), 0U);
}

TEST(DestroyPPS, ReleasesWhatThereIs)
{
    CTestPool pool;
    PPS* const pps = createPPS(pool.pool());
    pps->TileId = static_cast<unsigned*>(pool.take(8, "here", 1));
    pps->rowHeight = static_cast<unsigned*>(pool.take(12, "here", 2));
    ScalingListData foreign;
    pps->pScalingList = &foreign; // never owned
    pool.forgetCalls();
    destroyPPS(pps);
    EXPECT_EQ(pool.calls(), (std::vector<PoolCall>{release(8, 672), release(12, 674), release(sizeof(PPS), 675)}));
}

TEST(VerifyPPS, AcceptsEveryRecord)
{
    PPS pps;
    std::memset(static_cast<void*>(&pps), 0xff, sizeof(pps));
    EXPECT_EQ(verifyPPS(&pps), 0);
}

// ---- payloads within one cache word, which both readers deliver alike

template <class TReader>
class ReadPPS : public testing::Test
{
protected:
    int read(const PpsSyntax& s) { return m_decoder.read<TReader>(s); }

    CLogCatcher m_log;
    CDecoder m_decoder;
    PPS* const m_pps = m_decoder.m_pps;
};
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

// ---- tiles

TYPED_TEST(ReadPPS, BuildsTheTileGridOfItsSps)
{
    EXPECT_EQ(this->read(withTiles(3, 2)), 0);
    EXPECT_EQ(
        this->m_decoder.m_pool.calls(),
        (std::vector<PoolCall>{take(12, 451), take(8, 456), take(61 * 4, 853), take(61 * 4, 856), take(61 * 4, 859)}));
    EXPECT_TRUE(this->m_pps->tiles_enabled_flag);
    EXPECT_EQ(this->m_pps->num_tile_columns_minus1, 2U);
    EXPECT_EQ(this->m_pps->num_tile_rows_minus1, 1U);
    EXPECT_TRUE(this->m_pps->MultipleTilesFlag);
    EXPECT_TRUE(this->m_pps->uniform_spacing_flag);
    EXPECT_TRUE(this->m_pps->loop_filter_across_tiles_enabled_flag);
    EXPECT_EQ(this->m_decoder.block(this->m_pps->colWidth), (Sizes{3, 3, 4}));
    EXPECT_EQ(this->m_decoder.block(this->m_pps->rowHeight), (Sizes{3, 3}));
    EXPECT_EQ(this->m_pps->CtbAddrRsToTs[10], 3U);
    EXPECT_EQ(this->m_pps->TileId[59], 5U);
}

TYPED_TEST(ReadPPS, ReadsExplicitTileSizes)
{
    PpsSyntax s = withTiles(3, 2);
    s.tiles->uniform_spacing_flag = false;
    s.tiles->column_width_minus1 = {0, 3};
    s.tiles->row_height_minus1 = {3};
    s.tiles->loop_filter_across_tiles_enabled_flag = false;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_FALSE(this->m_pps->uniform_spacing_flag);
    EXPECT_FALSE(this->m_pps->loop_filter_across_tiles_enabled_flag);
    EXPECT_EQ(this->m_decoder.block(this->m_pps->colWidth), (Sizes{1, 4, 5}));
    EXPECT_EQ(this->m_decoder.block(this->m_pps->rowHeight), (Sizes{4, 2}));
    EXPECT_TRUE(this->m_pps->pps_loop_filter_across_slices_enabled_flag); // nothing was read too much
}

TYPED_TEST(ReadPPS, ReadsTheTileFilterFlagForColumnsOrRowsAlone)
{
    struct Case
    {
        unsigned uiColumns;
        unsigned uiRows;
    };
    for (const Case& c : {Case{2, 1}, Case{1, 2}, Case{2, 2}}) {
        for (const bool bFilter : {true, false}) {
            PpsSyntax s = withTiles(c.uiColumns, c.uiRows);
            s.tiles->loop_filter_across_tiles_enabled_flag = bFilter;
            s.pps_loop_filter_across_slices_enabled_flag = !bFilter;
            EXPECT_EQ(this->read(s), 0);
            EXPECT_TRUE(this->m_pps->MultipleTilesFlag);
            EXPECT_EQ(this->m_pps->loop_filter_across_tiles_enabled_flag, bFilter);
            EXPECT_EQ(this->m_pps->pps_loop_filter_across_slices_enabled_flag, !bFilter);
        }
    }
}

TYPED_TEST(ReadPPS, DoesNotReadTheTileFilterFlagForASingleTile)
{
    for (const bool bFilter : {true, false}) {
        PpsSyntax s = withTiles(2, 1);
        s.tiles->loop_filter_across_tiles_enabled_flag = bFilter;
        EXPECT_EQ(this->read(s), 0);
        s = withTiles(1, 1);
        s.pps_loop_filter_across_slices_enabled_flag = !bFilter;
        EXPECT_EQ(this->read(s), 0);
        EXPECT_FALSE(this->m_pps->MultipleTilesFlag);
        EXPECT_TRUE(this->m_pps->tiles_enabled_flag);
        EXPECT_EQ(this->m_pps->loop_filter_across_tiles_enabled_flag, bFilter);
        EXPECT_EQ(this->m_pps->pps_loop_filter_across_slices_enabled_flag, !bFilter);
        EXPECT_EQ(this->m_pps->TileId[59], 0U);
    }
}

TYPED_TEST(ReadPPS, KeepsTheTileFieldsWhenTilesAreOffAgain)
{
    EXPECT_EQ(this->read(withTiles(3, 2)), 0);
    const PPS before = *this->m_pps;
    const Sizes tileIds = this->m_decoder.block(before.TileId);
    this->m_decoder.m_pool.forgetCalls();
    EXPECT_EQ(this->read(PpsSyntax()), 0);
    EXPECT_TRUE(this->m_decoder.m_pool.calls().empty());
    EXPECT_FALSE(this->m_pps->tiles_enabled_flag);
    EXPECT_FALSE(this->m_pps->MultipleTilesFlag);
    EXPECT_EQ(this->m_pps->num_tile_columns_minus1, 2U);
    EXPECT_EQ(this->m_pps->num_tile_rows_minus1, 1U);
    EXPECT_TRUE(this->m_pps->uniform_spacing_flag);
    EXPECT_TRUE(this->m_pps->loop_filter_across_tiles_enabled_flag);
    EXPECT_EQ(this->m_pps->colWidth, before.colWidth);
    EXPECT_EQ(this->m_pps->rowHeight, before.rowHeight);
    EXPECT_EQ(this->m_pps->CtbAddrTsToRs, before.CtbAddrTsToRs);
    EXPECT_EQ(this->m_pps->CtbAddrRsToTs, before.CtbAddrRsToTs);
    EXPECT_EQ(this->m_pps->TileId, before.TileId);
    EXPECT_EQ(this->m_decoder.block(this->m_pps->colWidth), (Sizes{3, 3, 4}));
    EXPECT_EQ(this->m_decoder.block(this->m_pps->TileId), tileIds);
}

TYPED_TEST(ReadPPS, ReplacesTileSizesWhenTheCountOutgrowsThePreviousOne)
{
    struct Step
    {
        unsigned uiCount;
        bool bReplaced;
    };
    // 3 is more than the 2 before it, although the block once made for 4 would do.
    const Step aSteps[] = {{2, true}, {2, false}, {4, true}, {2, false}, {3, true}, {3, false}, {1, false}, {2, true}};
    unsigned uiReplaced = 0;
    for (const Step& step : aSteps) {
        SCOPED_TRACE(testing::Message() << step.uiCount << ' ' << uiReplaced);
        const unsigned* const pColumnsBefore = this->m_pps->colWidth;
        const unsigned* const pRowsBefore = this->m_pps->rowHeight;
        this->m_decoder.m_pool.forgetCalls();
        EXPECT_EQ(this->read(withTiles(step.uiCount, step.uiCount)), 0);
        std::vector<PoolCall> expected;
        if (step.bReplaced)
            expected = {take(4 * step.uiCount, 451), take(4 * step.uiCount, 456)};
        if (uiReplaced == 0)
            expected.insert(expected.end(), {take(61 * 4, 853), take(61 * 4, 856), take(61 * 4, 859)});
        EXPECT_EQ(this->m_decoder.m_pool.calls(), expected);
        EXPECT_EQ(this->m_pps->colWidth != pColumnsBefore, step.bReplaced);
        EXPECT_EQ(this->m_pps->rowHeight != pRowsBefore, step.bReplaced);
        uiReplaced += step.bReplaced ? 1 : 0;
        // The record, three tables, and every block of sizes there ever was.
        EXPECT_EQ(this->m_decoder.m_pool.blocksInUse(), 4U + 2 * uiReplaced);
    }
}

TYPED_TEST(ReadPPS, ReplacesColumnsAndRowsApart)
{
    EXPECT_EQ(this->read(withTiles(2, 3)), 0);
    this->m_decoder.m_pool.forgetCalls();
    EXPECT_EQ(this->read(withTiles(3, 2)), 0);
    EXPECT_EQ(this->m_decoder.m_pool.calls(), (std::vector<PoolCall>{take(12, 451)}));
    this->m_decoder.m_pool.forgetCalls();
    EXPECT_EQ(this->read(withTiles(3, 3)), 0);
    EXPECT_EQ(this->m_decoder.m_pool.calls(), (std::vector<PoolCall>{take(12, 456)}));
}

TYPED_TEST(ReadPPS, ReusesAddressTablesForABiggerPictureUpToTheirEnd)
{
    PpsSyntax s = withTiles(2, 1);
    s.pps_seq_parameter_set_id = 1;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_EQ(this->m_pps->uiAddressTableRoom, 9U);
    this->m_decoder.m_pool.forgetCalls();
    s.pps_seq_parameter_set_id = 0;
    EXPECT_EQ(this->read(s), 0);
    EXPECT_TRUE(this->m_decoder.m_pool.calls().empty());
    // 10x6 CTBs in two columns of 5, as far as the tables of 4x2 go.
    EXPECT_EQ(this->m_decoder.block(this->m_pps->CtbAddrTsToRs), (Sizes{0, 1, 2, 3, 4, 10, 11, 12, 13}));
    EXPECT_EQ(this->m_decoder.block(this->m_pps->CtbAddrRsToTs), (Sizes{0, 1, 2, 3, 4, 30, 31, 32, 33}));
    EXPECT_EQ(this->m_decoder.block(this->m_pps->TileId), (Sizes{0, 0, 0, 0, 0, 1, 1, 1, 1}));
}

// ---- longer payloads: every bit in order

class ReadLongPPS : public testing::Test
{
protected:
    int read(const PpsSyntax& s) { return m_decoder.read<CRbspReader>(s); }

    CLogCatcher m_log;
    CDecoder m_decoder;
    PPS* const m_pps = m_decoder.m_pps;
};

TEST_F(ReadLongPPS, RefusesTooManyTileColumnsAtTheirCount)
{
    EXPECT_EQ(read(withTiles(2, 2)), 0);
    const unsigned* const pColumns = m_pps->colWidth;
    m_decoder.m_pool.forgetCalls();
    // The last code reads as 2^32 - 1.
    for (const std::uint64_t num_tile_columns_minus1 : {1ULL << 20, 1ULL << 24, 1ULL << 31, 0x1fffffffeULL}) {
        SCOPED_TRACE(num_tile_columns_minus1);
        CBitWriter writer = writePpsFront(PpsSyntax());
        writer.cut(writer.size() - 2).bits("10").ue(num_tile_columns_minus1).bits("1"); // tiles, no wavefronts
        EXPECT_EQ(m_decoder.read<CRbspReader>(writer), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(m_decoder.m_uiBitsLeft, 1U);
        EXPECT_TRUE(m_pps->tiles_enabled_flag);
        EXPECT_EQ(m_pps->num_tile_columns_minus1, 1U);
        EXPECT_EQ(m_pps->colWidth, pColumns);
        EXPECT_FALSE(m_pps->MultipleTilesFlag);
        EXPECT_TRUE(m_decoder.m_pool.calls().empty());
        EXPECT_TRUE(m_log.lines().empty());
    }
}

TEST_F(ReadLongPPS, RefusesTooManyTileRowsOrTilesAtTheRowCount)
{
    struct Case
    {
        std::uint64_t ulColumns;
        std::uint64_t ulRows;
    };
    // The last row count reads as 2^32 - 1.
    for (const Case& c : {Case{1, (1U << 20) + 1}, Case{1024, 1025}, Case{1U << 20, 2}, Case{2, 0x1ffffffff}}) {
        SCOPED_TRACE(c.ulRows);
        CDecoder decoder;
        EXPECT_EQ(decoder.read(withTiles(c.ulColumns, c.ulRows)), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(decoder.m_pps->num_tile_columns_minus1, c.ulColumns - 1);
        EXPECT_EQ(decoder.m_pps->num_tile_rows_minus1, 0U);
        EXPECT_EQ(decoder.m_pps->rowHeight, nullptr);
        EXPECT_FALSE(decoder.m_pps->MultipleTilesFlag);
        EXPECT_EQ(decoder.m_pool.calls(),
                  (std::vector<PoolCall>{take(static_cast<std::size_t>(c.ulColumns) * 4, 451)}));
        EXPECT_TRUE(m_log.lines().empty());
        EXPECT_EQ(decoder.read(withTiles(2, 2)), 0);
    }
}

TEST_F(ReadLongPPS, JudgesTheColumnsWithoutTheRowsOfAnEarlierPPS)
{
    EXPECT_EQ(read(withTiles(1, 1024)), 0);
    EXPECT_EQ(read(withTiles(2048, 1)), 0);
    EXPECT_EQ(m_pps->num_tile_columns_minus1, 2047U);
    EXPECT_EQ(m_pps->num_tile_rows_minus1, 0U);
}

TEST_F(ReadLongPPS, AcceptsAsManyTilesAsTheLimitAllows)
{
    EXPECT_EQ(read(withTiles(1024, 1024)), 0);
    EXPECT_EQ(read(withTiles(1U << 20, 1)), 0);
    EXPECT_EQ(m_pps->num_tile_columns_minus1, (1U << 20) - 1);
}

TEST_F(ReadLongPPS, ReturnsTheResultOfATileGridThatDoesNotFit)
{
    PpsSyntax s = withTiles(2, 1);
    s.tiles->uniform_spacing_flag = false;
    s.tiles->column_width_minus1 = {10};
    EXPECT_EQ(read(s), E_BS_NOT_ENOUGH_BITS);
    EXPECT_EQ(m_pps->num_tile_columns_minus1, 1U);
    EXPECT_TRUE(m_pps->MultipleTilesFlag);
    EXPECT_EQ(m_pps->CtbAddrTsToRs, nullptr);
    EXPECT_FALSE(m_pps->pps_loop_filter_across_slices_enabled_flag); // not reached
    EXPECT_TRUE(m_log.lines().empty());
    s.tiles->column_width_minus1 = {3};
    EXPECT_EQ(read(s), 0);
}

// ---- scaling lists

TEST_F(ReadLongPPS, TakesAZeroedStoreForItsScalingLists)
{
    PpsSyntax s;
    s.scaling_list_data.emplace();
    EXPECT_EQ(read(s), 0);
    EXPECT_EQ(m_decoder.m_pool.calls(), (std::vector<PoolCall>{take(sizeof(ScalingListData), 485)}));
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

// ---- a pool that fails

TEST(ReadPPSWithFailingPool, ReportsEveryRequestThatFailsAndCanBeReadAgain)
{
    const int aLines[] = {451, 456, 853, 856, 859, 485};
    for (std::size_t uiCall = 1; uiCall <= std::size(aLines); ++uiCall) {
        SCOPED_TRACE(uiCall);
        const CLogCatcher log;
        CDecoder decoder;
        decoder.m_pool.failTake(uiCall);
        EXPECT_EQ(decoder.read(withEverything()), E_NO_MEMORY);
        EXPECT_TRUE(decoder.m_pool.hasFailed());
        EXPECT_EQ(decoder.m_pool.calls().size(), uiCall);
        EXPECT_EQ(decoder.m_pool.calls().back().iLine, aLines[uiCall - 1]);
        EXPECT_TRUE(log.lines().empty());
        const void* const aBlock[] = {decoder.m_pps->colWidth,
                                      decoder.m_pps->rowHeight,
                                      decoder.m_pps->CtbAddrTsToRs,
                                      decoder.m_pps->CtbAddrRsToTs,
                                      decoder.m_pps->TileId,
                                      decoder.m_pps->pScalingListBuf};
        for (std::size_t i = 0; i < std::size(aBlock); ++i)
            EXPECT_EQ(aBlock[i] != nullptr, i + 1 < uiCall) << i;
        EXPECT_EQ(decoder.m_pps->pScalingList, nullptr);
        EXPECT_EQ(decoder.read(withEverything()), 0);
        EXPECT_EQ(decoder.m_pool.blocksInUse(), 7U);
    }
}

TEST(ReadPPSWithFailingPool, LeavesADestroyableRecordAtEveryRequest)
{
    for (std::size_t uiCall = 1; uiCall <= 6; ++uiCall) {
        SCOPED_TRACE(uiCall);
        CTestPool pool;
        CDecoder decoder;
        PPS* const pps = createPPS(pool.pool());
        pool.failTake(uiCall);
        const CExactBits bits(write(withEverything()));
        CRbspReader bs = bits.reader<CRbspReader>();
        EXPECT_EQ(readPPS(pps, decoder.m_spsArray.data(), &bs, pool.pool()), E_NO_MEMORY);
        destroyPPS(pps);
        EXPECT_EQ(pool.blocksInUse(), 0U);
    }
}

TEST(ReadPPSWithFailingPool, LosesOutgrownSizesThatAreNotReplaced)
{
    CDecoder decoder;
    EXPECT_EQ(decoder.read(withTiles(2, 2)), 0);
    decoder.m_pool.failTake(1);
    EXPECT_EQ(decoder.read(withTiles(3, 2)), E_NO_MEMORY);
    EXPECT_EQ(decoder.m_pps->num_tile_columns_minus1, 2U);
    EXPECT_EQ(decoder.m_pps->colWidth, nullptr);
    EXPECT_NE(decoder.m_pps->rowHeight, nullptr);
    decoder.m_pool.forgetCalls();
    EXPECT_EQ(decoder.read(withTiles(2, 2)), 0);
    EXPECT_EQ(decoder.m_pool.calls(), (std::vector<PoolCall>{take(8, 451)}));
}

// ---- payloads that end early

enum class EKind
{
    FLAG,    // 0 when its read fails
    UE,      // kept
    SE,      // 0
    U,       // kept
    DERIVED, // no bits of its own
};

/// One element in the order of 7.3.2.3.1, its bits, and the value that they have.
struct Element
{
    const char* pName;
    EKind eKind;
    std::string_view bits;
    int iValue;
    int (*pGet)(const PPS& pps);
    void (*pSet)(PPS& pps, int iNew);
};

template <auto FIELD>
Element element(const char* pName, EKind eKind, std::string_view bits, int iValue)
{
    return {pName,
            eKind,
            bits,
            iValue,
            [](const PPS& pps) { return static_cast<int>(pps.*FIELD); },
            [](PPS& pps, int iNew) { pps.*FIELD = static_cast<std::remove_reference_t<decltype(pps.*FIELD)>>(iNew); }};
}

std::vector<Element> allElements()
{
    using enum EKind;
    return {
        element<&PPS::pps_pic_parameter_set_id>("pps_pic_parameter_set_id", UE, "00101", 4),
        element<&PPS::pps_seq_parameter_set_id>("pps_seq_parameter_set_id", UE, "010", 1),
        element<&PPS::dependent_slice_segments_enabled_flag>("dependent_slice_segments_enabled_flag", FLAG, "1", 1),
        element<&PPS::output_flag_present_flag>("output_flag_present_flag", FLAG, "1", 1),
        element<&PPS::num_extra_slice_header_bits>("num_extra_slice_header_bits", U, "110", 6),
        element<&PPS::sign_data_hiding_enabled_flag>("sign_data_hiding_enabled_flag", FLAG, "1", 1),
        element<&PPS::cabac_init_present_flag>("cabac_init_present_flag", FLAG, "1", 1),
        element<&PPS::num_ref_idx_l0_default_active_minus1>("num_ref_idx_l0_default_active_minus1", UE, "011", 2),
        element<&PPS::num_ref_idx_l1_default_active_minus1>("num_ref_idx_l1_default_active_minus1", UE, "00110", 5),
        element<&PPS::init_qp_minus26>("init_qp_minus26", SE, "00111", -3),
        element<&PPS::constrained_intra_pred_flag>("constrained_intra_pred_flag", FLAG, "1", 1),
        element<&PPS::transform_skip_enabled_flag>("transform_skip_enabled_flag", FLAG, "1", 1),
        element<&PPS::cu_qp_delta_enabled_flag>("cu_qp_delta_enabled_flag", FLAG, "1", 1),
        element<&PPS::diff_cu_qp_delta_depth>("diff_cu_qp_delta_depth", UE, "010", 1),
        element<&PPS::Log2MinCuQpDeltaSize>("Log2MinCuQpDeltaSize", DERIVED, "", 3),
        element<&PPS::pps_cb_qp_offset>("pps_cb_qp_offset", SE, "00100", 2),
        element<&PPS::pps_cr_qp_offset>("pps_cr_qp_offset", SE, "011", -1),
        element<&PPS::pps_slice_chroma_qp_offsets_present_flag>(
            "pps_slice_chroma_qp_offsets_present_flag", FLAG, "1", 1),
        element<&PPS::weighted_pred_flag>("weighted_pred_flag", FLAG, "1", 1),
        element<&PPS::weighted_bipred_flag>("weighted_bipred_flag", FLAG, "1", 1),
        element<&PPS::transquant_bypass_enabled_flag>("transquant_bypass_enabled_flag", FLAG, "1", 1),
        element<&PPS::tiles_enabled_flag>("tiles_enabled_flag", FLAG, "1", 1),
        element<&PPS::entropy_coding_sync_enabled_flag>("entropy_coding_sync_enabled_flag", FLAG, "1", 1),
        element<&PPS::MultipleTilesFlag>("MultipleTilesFlag before the tiles", DERIVED, "", 0),
        element<&PPS::num_tile_columns_minus1>("num_tile_columns_minus1", UE, "010", 1),
        element<&PPS::num_tile_rows_minus1>("num_tile_rows_minus1", UE, "1", 0),
        element<&PPS::MultipleTilesFlag>("MultipleTilesFlag", DERIVED, "", 1),
        element<&PPS::uniform_spacing_flag>("uniform_spacing_flag", FLAG, "1", 1),
        element<&PPS::loop_filter_across_tiles_enabled_flag>("loop_filter_across_tiles_enabled_flag", FLAG, "1", 1),
        element<&PPS::pps_loop_filter_across_slices_enabled_flag>(
            "pps_loop_filter_across_slices_enabled_flag", FLAG, "1", 1),
        element<&PPS::deblocking_filter_control_present_flag>("deblocking_filter_control_present_flag", FLAG, "1", 1),
        element<&PPS::deblocking_filter_override_enabled_flag>("deblocking_filter_override_enabled_flag", FLAG, "1", 1),
        element<&PPS::pps_deblocking_filter_disabled_flag>("pps_deblocking_filter_disabled_flag", FLAG, "0", 0),
        element<&PPS::pps_beta_offset_div2>("pps_beta_offset_div2", SE, "00110", 3),
        element<&PPS::pps_tc_offset_div2>("pps_tc_offset_div2", SE, "00101", -2),
        element<&PPS::pps_scaling_list_data_present_flag>("pps_scaling_list_data_present_flag", FLAG, "0", 0),
        element<&PPS::lists_modification_present_flag>("lists_modification_present_flag", FLAG, "1", 1),
        element<&PPS::Log2ParMrgLevel>("Log2ParMrgLevel", UE, "00100", 5),
        element<&PPS::slice_segment_header_extension_present_flag>(
            "slice_segment_header_extension_present_flag", FLAG, "1", 1),
        element<&PPS::pps_extension_present_flag>("pps_extension_present_flag", FLAG, "1", 1),
    };
}

CBitWriter bitsOf(const std::vector<Element>& elements)
{
    CBitWriter writer;
    for (const Element& e : elements)
        writer.bits(e.bits);
    return writer;
}

// What a record that held expected holds after a payload of so many bits; the line that is logged.
const char* applyCut(const std::vector<Element>& elements, std::size_t uiBitCount, PPS& expected)
{
    for (const Element& e : elements) {
        if (uiBitCount >= e.bits.size()) {
            e.pSet(expected, e.iValue);
            uiBitCount -= e.bits.size();
            continue;
        }
        if (e.eKind == EKind::FLAG || e.eKind == EKind::SE)
            e.pSet(expected, 0);
        const bool bSuffix = e.bits.substr(0, uiBitCount).find('1') != std::string_view::npos;
        return e.eKind == EKind::U || bSuffix ? READ_BITS_ERROR : READ_FLAG_ERROR;
    }
    return READ_FLAG_ERROR; // no stop bit
}

TEST(ReadPPSCutShort, KeepsEarlierValuesBehindTheElementThatFails)
{
    const std::vector<Element> elements = allElements();
    const CBitWriter whole = bitsOf(elements);
    for (const int iBefore : {0, 1, 77}) {
        for (std::size_t uiBitCount = 0; uiBitCount <= whole.size(); ++uiBitCount) {
            SCOPED_TRACE(testing::Message() << "before " << iBefore << ", bits " << uiBitCount);
            CDecoder decoder;
            for (const Element& e : elements) {
                // Counts of tiles bound blocks: none is there yet.
                e.pSet(*decoder.m_pps, e.eKind == EKind::FLAG || e.eKind == EKind::DERIVED ? iBefore != 0 : iBefore);
            }
            PPS expected = *decoder.m_pps;
            const char* const pLine = applyCut(elements, uiBitCount, expected);
            const CLogCatcher log;
            const int iResult = decoder.read<CRbspReader>(CBitWriter(whole).cut(uiBitCount));
            EXPECT_EQ(iResult, uiBitCount < whole.size() ? E_BS_NOT_ENOUGH_BITS : 0);
            for (const Element& e : elements)
                EXPECT_EQ(e.pGet(*decoder.m_pps), e.pGet(expected)) << e.pName;
            EXPECT_EQ(log.lines(), (std::vector<std::string>{pLine}));
        }
    }
}

TEST(ReadPPSCutShort, StaysReadableAndDestroyableAtEveryCut)
{
    PpsSyntax s = withEverything();
    s.tiles->uniform_spacing_flag = false;
    s.tiles->column_width_minus1 = {2, 3};
    s.tiles->row_height_minus1 = {1};
    s.deblocking.emplace();
    s.diff_cu_qp_delta_depth = 1;
    s.rbsp_trailing_bits = false;
    const CBitWriter whole = write(s);
    for (std::size_t uiBitCount = 0; uiBitCount < whole.size(); ++uiBitCount) {
        SCOPED_TRACE(uiBitCount);
        CDecoder decoder;
        const CLogCatcher log;
        EXPECT_EQ(decoder.read<CRbspReader>(CBitWriter(whole).cut(uiBitCount)), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(log.lines().size(), 1U);
        EXPECT_EQ(decoder.read<CRbspReader>(whole), 0);
        EXPECT_EQ(decoder.block(decoder.m_pps->colWidth), (Sizes{3, 4, 3}));
    }
}

TEST(ReadPPSOfAnyBits, FollowsTheRefillsOfTheDecodersReader)
{
    CNumbers numbers(29);
    for (int iRound = 0; iRound < 1000; ++iRound) {
        SCOPED_TRACE(iRound);
        std::vector<unsigned char> bytes(512);
        for (unsigned char& ucByte : bytes)
            ucByte = static_cast<unsigned char>(numbers.below(256));
        const CPaddedPayload payload(bytes);
        const CPaddedPayload delivered(deliveredByDecoderReader(bytes).bytes());
        CBitStreamReader decoders = payload.reader<CBitStreamReader>();
        CRbspReader plain = delivered.reader<CRbspReader>();
        // Both ids 0, then any bits: the rest of the first word reaches the tiles.
        decoders.m_ulCache =
            std::uint64_t{3} << 62 | std::uint64_t{numbers.below(1U << 31)} << 31 | numbers.below(1U << 31);
        plain.m_ulCache = decoders.m_ulCache;

        CDecoder one;
        CDecoder other;
        const CLogCatcher log;
        const int iResult = readPPS(one.m_pps, one.m_spsArray.data(), &decoders, one.m_pool.pool());
        ASSERT_EQ(readPPS(other.m_pps, other.m_spsArray.data(), &plain, other.m_pool.pool()), iResult);
        ASSERT_EQ(one.m_pool.calls(), other.m_pool.calls());
        for (const Element& e : allElements())
            ASSERT_EQ(e.pGet(*one.m_pps), e.pGet(*other.m_pps)) << e.pName;
        ASSERT_EQ(bitsLeft(decoders), bitsLeft(plain));
    }
}

// For the sanitizers: one record, many readings, whatever comes.
TEST(ReadPPSOfAnyBits, StaysInsideItsBlocksInAnyOrderOfReadings)
{
    CNumbers numbers(31);
    const CLogCatcher log(3);
    for (int iRecord = 0; iRecord < 50; ++iRecord) {
        CDecoder decoder;
        for (int iReading = 0; iReading < 20; ++iReading) {
            PpsSyntax s = withTiles(1 + numbers.below(12), 1 + numbers.below(8));
            s.pps_seq_parameter_set_id = numbers.below(2);
            decoder.m_sps.PicWidthInCtbsY = static_cast<int>(numbers.below(12));
            s.tiles->uniform_spacing_flag = numbers.below(2) != 0;
            for (std::uint64_t i = 0; i < s.tiles->num_tile_columns_minus1; ++i)
                s.tiles->column_width_minus1.push_back(numbers.below(3));
            for (std::uint64_t i = 0; i < s.tiles->num_tile_rows_minus1; ++i)
                s.tiles->row_height_minus1.push_back(numbers.below(2));
            if (numbers.below(3) == 0)
                s.scaling_list_data.emplace();
            if (numbers.below(4) == 0)
                decoder.m_pool.failTake(1 + numbers.below(6));
            CBitWriter writer = write(s);
            if (numbers.below(4) == 0)
                writer.cut(numbers.below(static_cast<unsigned>(writer.size())));
            const int iResult = decoder.read<CRbspReader>(writer);
            EXPECT_TRUE(iResult == 0 || iResult == E_BS_NOT_ENOUGH_BITS || iResult == E_NO_MEMORY);
            decoder.m_pool.failTake(0);
        }
    }
}

} // namespace
