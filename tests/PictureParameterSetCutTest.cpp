#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "DamagedPayloads.h"
#include "ExactBits.h"
#include "PictureParameterSet.h"
#include "PictureParameterSetFixture.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace picture_parameter_set_cut_test {

namespace {

using namespace h265_codec;
using namespace h265_test;

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
        SCOPED_TRACE(testing::Message() << "before " << iBefore);
        forEachCutAndTheWhole(whole, [&](std::size_t uiBitCount, const CBitWriter& bits) {
            CDecoder decoder;
            for (const Element& e : elements) {
                // Counts of tiles bound blocks: none is there yet.
                e.pSet(*decoder.m_pps, e.eKind == EKind::FLAG || e.eKind == EKind::DERIVED ? iBefore != 0 : iBefore);
            }
            PPS expected = *decoder.m_pps;
            const char* const pLine = applyCut(elements, uiBitCount, expected);
            const CLogCatcher log;
            const int iResult = decoder.read<CRbspReader>(bits);
            EXPECT_EQ(iResult, uiBitCount < whole.size() ? E_BS_NOT_ENOUGH_BITS : 0);
            for (const Element& e : elements)
                EXPECT_EQ(e.pGet(*decoder.m_pps), e.pGet(expected)) << e.pName;
            EXPECT_EQ(log.lines(), (std::vector<std::string>{pLine}));
        });
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
    forEachCut(whole, [&](std::size_t, const CBitWriter& bits) {
        CDecoder decoder;
        const CLogCatcher log;
        EXPECT_EQ(decoder.read<CRbspReader>(bits), E_BS_NOT_ENOUGH_BITS);
        EXPECT_EQ(log.lines().size(), 1U);
        EXPECT_EQ(decoder.read<CRbspReader>(whole), 0);
        EXPECT_EQ(decoder.block(decoder.m_pps->colWidth), (Sizes{3, 4, 3}));
    });
}

TEST(ReadPPSOfAnyBits, FollowsTheRefillsOfTheDecodersReader)
{
    CNumbers numbers(29);
    for (int iRound = 0; iRound < 1000; ++iRound) {
        SCOPED_TRACE(iRound);
        CAlikeReaders readers(numbers.bytes(512));
        // Both ids 0, then any bits: the rest of the first word reaches the tiles.
        readers.setFirstWord(std::uint64_t{3} << 62 | std::uint64_t{numbers.below(1U << 31)} << 31 |
                             numbers.below(1U << 31));

        CDecoder one;
        CDecoder other;
        const CLogCatcher log;
        const int iResult = readPPS(one.m_pps, one.m_spsArray.data(), &readers.m_decoders, one.m_pool.pool());
        ASSERT_EQ(readPPS(other.m_pps, other.m_spsArray.data(), &readers.m_plain, other.m_pool.pool()), iResult);
        ASSERT_EQ(one.m_pool.calls(), other.m_pool.calls());
        for (const Element& e : allElements())
            ASSERT_EQ(e.pGet(*one.m_pps), e.pGet(*other.m_pps)) << e.pName;
        ASSERT_EQ(bitsLeft(readers.m_decoders), bitsLeft(readers.m_plain));
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
} // namespace picture_parameter_set_cut_test
