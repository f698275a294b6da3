#include "RecordFields.h"

#include <algorithm>
#include <array>
#include <type_traits>

namespace h265ps {

using namespace h265_codec;

namespace {

// A field's name and value, written once.
#define FIELD(RECORD, NAME) #NAME, (RECORD).NAME

constexpr FieldNote DERIVED = {.ePresence = EPresence::Derived};

constexpr FieldNote codedIf(bool bCoded)
{
    return {.ePresence = bCoded ? EPresence::Coded : EPresence::NotCoded};
}

constexpr FieldNote derivedIf(bool bDerived)
{
    return {.ePresence = bDerived ? EPresence::Derived : EPresence::NotCoded};
}

constexpr FieldNote tileField(bool tiles_enabled_flag, EPresence ePresence)
{
    return {.ePresence = tiles_enabled_flag ? ePresence : EPresence::NotApplicable};
}

constexpr FieldNote holdsIf(bool bHoldsOther, const char* pWhat)
{
    return {.pRemark = bHoldsOther ? pWhat : nullptr};
}

FieldNote withEntries(FieldNote note, unsigned uiCoded, const char* pOf)
{
    note.uiCoded = uiCoded;
    note.pOf = pOf;
    return note;
}

// The first uiCount entries of an array, as many as it has.
template <class T, std::size_t N>
std::span<const T> cut(const T (&aValues)[N], unsigned uiCount)
{
    return std::span<const T>(aValues, std::min<std::size_t>(uiCount, N));
}

// The same as numbers of one type, for the visitor.
class CNumbers
{
public:
    template <class T, std::size_t N>
    CNumbers(const T (&aValues)[N], unsigned uiCount) : m_uiCount(std::min<std::size_t>(uiCount, N))
    {
        static_assert(N <= std::tuple_size_v<decltype(m_aValues)>);
        std::copy_n(aValues, m_uiCount, m_aValues.begin());
    }

    operator std::span<const std::int64_t>() const { return {m_aValues.data(), m_uiCount}; }

private:
    std::size_t m_uiCount;
    std::array<std::int64_t, 16> m_aValues;
};

#define NUMBERS(RECORD, NAME, COUNT) #NAME, CNumbers((RECORD).NAME, COUNT)
#define FLAGS(RECORD, NAME, COUNT) #NAME, cut((RECORD).NAME, COUNT)

// What the arrays of the ordering information hold when they are not coded for every sub-layer.
const char* orderingRemark(bool sub_layer_ordering_info_present_flag, unsigned uiSubLayers)
{
    constexpr unsigned RECORD_SUB_LAYERS = std::extent_v<decltype(SPS::sps_max_num_reorder_pics)>;
    if (sub_layer_ordering_info_present_flag || uiSubLayers == 0)
        return nullptr;
    return uiSubLayers < RECORD_SUB_LAYERS ? "only the highest sub-layer's is coded"
                                           : "only the highest sub-layer's is coded, which the record has no room for";
}

// Of its arrays, whose entries are those of the sub-layers.
FieldNote orderingNote(EPresence ePresence, bool sub_layer_ordering_info_present_flag, unsigned uiSubLayers)
{
    const char* const pRemark = orderingRemark(sub_layer_ordering_info_present_flag, uiSubLayers);
    const FieldNote note = {.ePresence = ePresence, .pRemark = pRemark};
    return pRemark != nullptr ? note : withEntries(note, uiSubLayers + 1, "sub-layers");
}

} // namespace

void listFields(const profile_tile_level& ptl, unsigned uiSubLayers, CRecordVisitor& v)
{
    const auto profiles = cut(ptl.sub_layer_profile_present_flag, uiSubLayers);
    const auto levels = cut(ptl.sub_layer_level_present_flag, uiSubLayers);
    const auto note = [uiSubLayers](bool bCoded) {
        return withEntries(codedIf(bCoded), uiSubLayers, "sub-layers below the highest");
    };
    const FieldNote presence = note(uiSubLayers != 0);
    const FieldNote profile = note(std::find(profiles.begin(), profiles.end(), true) != profiles.end());
    const FieldNote level = note(std::find(levels.begin(), levels.end(), true) != levels.end());
    v.number(FIELD(ptl, general_profile_space));
    v.flag(FIELD(ptl, general_tier_flag));
    v.number(FIELD(ptl, general_profile_idc));
    v.flags(FIELD(ptl, general_profile_compatibility_flag));
    v.flag(FIELD(ptl, general_progressive_source_flag));
    v.flag(FIELD(ptl, general_interlaced_source_flag));
    v.flag(FIELD(ptl, general_non_packed_constraint_flag));
    v.flag(FIELD(ptl, general_frame_only_constraint_flag));
    v.number(FIELD(ptl, general_level_idc));
    v.flags(FLAGS(ptl, sub_layer_profile_present_flag, uiSubLayers), presence);
    v.flags(FLAGS(ptl, sub_layer_level_present_flag, uiSubLayers), presence);
    v.numbers(NUMBERS(ptl, sub_layer_profile_space, uiSubLayers), profile);
    v.flags(FLAGS(ptl, sub_layer_tier_flag, uiSubLayers), profile);
    v.numbers(NUMBERS(ptl, sub_layer_profile_idc, uiSubLayers), profile);
    v.flagRows(FLAGS(ptl, sub_layer_profile_compatibility_flag, uiSubLayers), profile);
    v.flags(FLAGS(ptl, sub_layer_progressive_source_flag, uiSubLayers), profile);
    v.flags(FLAGS(ptl, sub_layer_interlaced_source_flag, uiSubLayers), profile);
    v.flags(FLAGS(ptl, sub_layer_non_packed_constraint_flag, uiSubLayers), profile);
    v.flags(FLAGS(ptl, sub_layer_frame_only_constraint_flag, uiSubLayers), profile);
    v.numbers(NUMBERS(ptl, sub_layer_level_idc, uiSubLayers), level);
}

void listFields(const VPS& vps, CRecordVisitor& v)
{
    const unsigned uiSubLayers = vps.vps_max_sub_layers_minus1;
    const bool bAllCoded = vps.vps_sub_layer_ordering_info_present_flag;
    const FieldNote ordering = orderingNote(EPresence::Coded, bAllCoded, uiSubLayers);
    const FieldNote derivedOrdering = orderingNote(EPresence::Derived, bAllCoded, uiSubLayers);
    const bool bLayerSets = vps.vps_num_layer_sets_minus1 != 0;

    v.group(EGroup::Identity);
    v.number(FIELD(vps, vps_video_parameter_set_id));
    v.group(EGroup::Layers);
    v.number(FIELD(vps, vps_reserved_three_2bits));
    v.number(FIELD(vps, vps_max_layers_minus1));
    v.number(FIELD(vps, vps_max_sub_layers_minus1));
    v.number(FIELD(vps, vps_max_layer_id));
    v.flag(FIELD(vps, vps_temporal_id_nesting_flag));
    v.number(FIELD(vps, vps_reserved_0xffff_16bits));
    v.group(EGroup::ProfileTierLevel);
    v.profileTierLevel(FIELD(vps, ptl), uiSubLayers);
    v.group(EGroup::PresenceFlags);
    v.flag(FIELD(vps, vps_sub_layer_ordering_info_present_flag));
    v.flag(FIELD(vps, vps_timing_info_present_flag),
           holdsIf(bLayerSets, "holds a bit of the layer sets, which are not parsed"));
    v.flag(FIELD(vps, vps_extension_flag),
           bLayerSets ? holdsIf(true, "holds a bit of the layer sets or behind them")
                      : holdsIf(vps.vps_timing_info_present_flag,
                                "holds the first bit of the timing information, which is not parsed"));
    v.group(EGroup::SubLayers);
    v.numbers(NUMBERS(vps, vps_max_dec_pic_buffering, uiSubLayers + 1), derivedOrdering);
    v.numbers(NUMBERS(vps, vps_max_num_reorder_pics, uiSubLayers + 1), ordering);
    v.numbers(NUMBERS(vps, vps_max_latency_increase_plus1, uiSubLayers + 1), ordering);
    v.number(FIELD(vps, vps_num_layer_sets_minus1));
}

namespace {

void listPcm(const SPS& sps, CRecordVisitor& v)
{
    const FieldNote coded = codedIf(sps.pcm_enabled_flag);
    const FieldNote derived = derivedIf(sps.pcm_enabled_flag);
    v.group(EGroup::Pcm);
    v.flag(FIELD(sps, pcm_enabled_flag));
    v.flag(FIELD(sps, pcm_loop_filter_disabled_flag), coded);
    v.number(FIELD(sps, pcm_sample_bit_depth_luma_minus1), coded);
    v.number(FIELD(sps, pcm_sample_bit_depth_chroma_minus1), coded);
    v.number(FIELD(sps, Log2MinIpcmCbSizeY), derived);
    v.number(FIELD(sps, Log2MaxIpcmCbSizeY), derived);
    v.number(FIELD(sps, PcmCbSizeMask), DERIVED);
}

void listRefPics(const SPS& sps, CRecordVisitor& v)
{
    const FieldNote longTerm = codedIf(sps.long_term_ref_pics_present_flag);
    const unsigned uiLongTerm = sps.num_long_term_ref_pics_sps;
    const FieldNote pictures = withEntries(longTerm, uiLongTerm, "pictures");
    v.group(EGroup::ShortTermRefPicSets);
    v.number(FIELD(sps, num_short_term_ref_pic_sets));
    v.refPicSets("pShortTermRefPicSet",
                 {sps.pShortTermRefPicSet,
                  sps.pShortTermRefPicSet != nullptr ? std::size_t{sps.num_short_term_ref_pic_sets} : 0});
    v.group(EGroup::LongTermRefPics);
    v.flag(FIELD(sps, long_term_ref_pics_present_flag));
    v.number(FIELD(sps, num_long_term_ref_pics_sps), longTerm);
    v.numbers(NUMBERS(sps, lt_ref_pic_poc_lsb_sps, uiLongTerm), pictures);
    std::array<bool, std::extent_v<decltype(sps.used_by_curr_pic_lt_sps_flag)>> aUsed = {}; // the record has numbers
    std::transform(std::begin(sps.used_by_curr_pic_lt_sps_flag),
                   std::end(sps.used_by_curr_pic_lt_sps_flag),
                   aUsed.begin(),
                   [](unsigned char ucFlag) { return ucFlag != 0; });
    v.flags("used_by_curr_pic_lt_sps_flag",
            std::span<const bool>(aUsed).first(std::min<std::size_t>(uiLongTerm, aUsed.size())),
            pictures);
}

void listPicture(const SPS& sps, CRecordVisitor& v)
{
    const FieldNote window = codedIf(sps.conformance_window_flag);
    v.group(EGroup::Picture);
    v.number(FIELD(sps, pic_width_in_luma_samples));
    v.number(FIELD(sps, pic_height_in_luma_samples));
    v.flag(FIELD(sps, conformance_window_flag));
    v.number(FIELD(sps, conf_win_left_offset), window);
    v.number(FIELD(sps, conf_win_right_offset), window);
    v.number(FIELD(sps, conf_win_top_offset), window);
    v.number(FIELD(sps, conf_win_bottom_offset), window);
    v.number(FIELD(sps, BitDepthY), DERIVED);
    v.number(FIELD(sps, BitDepthC), DERIVED);
}

void listSubLayers(const SPS& sps, CRecordVisitor& v)
{
    const unsigned uiSubLayers = sps.sps_max_sub_layers_minus1;
    const FieldNote ordering =
        orderingNote(EPresence::Coded, sps.sps_sub_layer_ordering_info_present_flag, uiSubLayers);
    v.group(EGroup::SubLayers);
    v.number(FIELD(sps, log2_max_pic_order_cnt_lsb), DERIVED);
    v.flag(FIELD(sps, sps_sub_layer_ordering_info_present_flag));
    v.numbers(NUMBERS(sps, sps_max_dec_pic_buffering_minus1, uiSubLayers + 1), ordering);
    v.numbers(NUMBERS(sps, sps_max_num_reorder_pics, uiSubLayers + 1), ordering);
    v.numbers(NUMBERS(sps, sps_max_latency_increase_plus1, uiSubLayers + 1), ordering);
}

} // namespace

void listFields(const SPS& sps, CRecordVisitor& v)
{
    v.group(EGroup::Identity);
    v.number(FIELD(sps, sps_video_parameter_set_id));
    v.number(FIELD(sps, sps_max_sub_layers_minus1));
    v.flag(FIELD(sps, sps_temporal_id_nesting_flag));
    v.number(FIELD(sps, sps_seq_parameter_set_id));
    v.number(FIELD(sps, chroma_format_idc));
    v.flag(FIELD(sps, separate_colour_plane_flag), codedIf(sps.chroma_format_idc == 3));
    v.group(EGroup::ProfileTierLevel);
    v.profileTierLevel(FIELD(sps, ptl), sps.sps_max_sub_layers_minus1);
    listPicture(sps, v);
    listSubLayers(sps, v);
    v.group(EGroup::CodingBlocks);
    v.number(FIELD(sps, MinCbLog2SizeY), DERIVED);
    v.number(FIELD(sps, CtbLog2SizeY), DERIVED);
    v.number(FIELD(sps, MinTbLog2SizeY), DERIVED);
    v.number(FIELD(sps, MaxTbLog2SizeY), DERIVED);
    v.number(FIELD(sps, max_transform_hierarchy_depth_inter));
    v.number(FIELD(sps, max_transform_hierarchy_depth_intra));
    v.group(EGroup::ScalingLists);
    v.flag(FIELD(sps, scaling_list_enabled_flag));
    v.flag(FIELD(sps, sps_scaling_list_data_present_flag), codedIf(sps.scaling_list_enabled_flag));
    v.scalingLists(FIELD(sps, pScalingList));
    v.group(EGroup::Tools);
    v.flag(FIELD(sps, amp_enabled_flag));
    v.flag(FIELD(sps, sample_adaptive_offset_enabled_flag));
    listPcm(sps, v);
    listRefPics(sps, v);
    v.group(EGroup::Tools);
    v.flag(FIELD(sps, sps_temporal_mvp_enabled_flag));
    v.flag(FIELD(sps, strong_intra_smoothing_enabled_flag));
    v.group(EGroup::Extensions);
    v.flag(FIELD(sps, vui_parameters_present_flag));
    v.flag(FIELD(sps, sps_extension_present_flag),
           holdsIf(sps.vui_parameters_present_flag, "holds the first bit of the VUI, which is not parsed"));
    v.group(EGroup::DerivedSizes);
    v.number(FIELD(sps, LastCtbWidthY), DERIVED);
    v.number(FIELD(sps, LastCtbHeightY), DERIVED);
    v.number(FIELD(sps, PicWidthInCtbsY), DERIVED);
    v.number(FIELD(sps, PicHeightInCtbsY), DERIVED);
    v.number(FIELD(sps, PicSizeInCtbsY), DERIVED);
    v.number(FIELD(sps, SliceSegmentAddressBits), DERIVED);
}

namespace {

void listTiles(const PPS& pps, CRecordVisitor& v)
{
    const bool bTiles = pps.tiles_enabled_flag;
    const FieldNote coded = tileField(bTiles, EPresence::Coded);
    const FieldNote derived = tileField(bTiles, EPresence::Derived);
    const auto table = [bTiles](const unsigned* pTable, std::uint64_t ulEntries) {
        const bool bThere = bTiles && pTable != nullptr;
        return std::span<const unsigned>(bThere ? pTable : nullptr, bThere ? static_cast<std::size_t>(ulEntries) : 0);
    };
    const std::uint64_t ulAddresses = pps.uiAddressTableRoom;
    const std::uint64_t ulColumns = std::uint64_t{pps.num_tile_columns_minus1} + 1;
    const std::uint64_t ulRows = std::uint64_t{pps.num_tile_rows_minus1} + 1;

    v.group(EGroup::Tiles);
    v.flag(FIELD(pps, tiles_enabled_flag));
    v.flag(FIELD(pps, entropy_coding_sync_enabled_flag));
    v.number(FIELD(pps, num_tile_columns_minus1), coded);
    v.number(FIELD(pps, num_tile_rows_minus1), coded);
    v.flag(FIELD(pps, MultipleTilesFlag), DERIVED);
    v.flag(FIELD(pps, uniform_spacing_flag), coded);
    v.flag(FIELD(pps, loop_filter_across_tiles_enabled_flag),
           tileField(bTiles, pps.MultipleTilesFlag ? EPresence::Coded : EPresence::NotCoded));
    v.addressTable("CtbAddrTsToRs", table(pps.CtbAddrTsToRs, ulAddresses), derived);
    v.addressTable("CtbAddrRsToTs", table(pps.CtbAddrRsToTs, ulAddresses), derived);
    v.addressTable("TileId", table(pps.TileId, ulAddresses), derived);
    v.table("colWidth", table(pps.colWidth, ulColumns), derived);
    v.table("rowHeight", table(pps.rowHeight, ulRows), derived);
}

void listLoopFilters(const PPS& pps, CRecordVisitor& v)
{
    const bool bControl = pps.deblocking_filter_control_present_flag;
    const FieldNote offsets = codedIf(bControl && !pps.pps_deblocking_filter_disabled_flag);
    v.group(EGroup::LoopFilters);
    v.flag(FIELD(pps, pps_loop_filter_across_slices_enabled_flag));
    v.flag(FIELD(pps, deblocking_filter_control_present_flag));
    v.flag(FIELD(pps, deblocking_filter_override_enabled_flag), codedIf(bControl));
    v.flag(FIELD(pps, pps_deblocking_filter_disabled_flag), codedIf(bControl));
    v.number(FIELD(pps, pps_beta_offset_div2), offsets);
    v.number(FIELD(pps, pps_tc_offset_div2), offsets);
}

} // namespace

void listFields(const PPS& pps, CRecordVisitor& v)
{
    v.group(EGroup::Identity);
    v.number(FIELD(pps, pps_pic_parameter_set_id));
    v.number(FIELD(pps, pps_seq_parameter_set_id));
    v.group(EGroup::SliceHeaders);
    v.flag(FIELD(pps, dependent_slice_segments_enabled_flag));
    v.flag(FIELD(pps, output_flag_present_flag));
    v.number(FIELD(pps, num_extra_slice_header_bits));
    v.flag(FIELD(pps, sign_data_hiding_enabled_flag));
    v.flag(FIELD(pps, cabac_init_present_flag));
    v.number(FIELD(pps, num_ref_idx_l0_default_active_minus1));
    v.number(FIELD(pps, num_ref_idx_l1_default_active_minus1));
    v.group(EGroup::Quantisation);
    v.number(FIELD(pps, init_qp_minus26));
    v.flag(FIELD(pps, constrained_intra_pred_flag));
    v.flag(FIELD(pps, transform_skip_enabled_flag));
    v.flag(FIELD(pps, cu_qp_delta_enabled_flag));
    v.number(FIELD(pps, diff_cu_qp_delta_depth), codedIf(pps.cu_qp_delta_enabled_flag));
    v.number(FIELD(pps, Log2MinCuQpDeltaSize), derivedIf(pps.cu_qp_delta_enabled_flag));
    v.number(FIELD(pps, pps_cb_qp_offset));
    v.number(FIELD(pps, pps_cr_qp_offset));
    v.flag(FIELD(pps, pps_slice_chroma_qp_offsets_present_flag));
    v.group(EGroup::Tools);
    v.flag(FIELD(pps, weighted_pred_flag));
    v.flag(FIELD(pps, weighted_bipred_flag));
    v.flag(FIELD(pps, transquant_bypass_enabled_flag));
    listTiles(pps, v);
    listLoopFilters(pps, v);
    v.group(EGroup::ScalingLists);
    v.flag(FIELD(pps, pps_scaling_list_data_present_flag));
    v.scalingLists(FIELD(pps, pScalingList));
    v.scalingLists(FIELD(pps, pScalingListBuf));
    v.group(EGroup::Tools);
    v.flag(FIELD(pps, lists_modification_present_flag));
    v.number(FIELD(pps, Log2ParMrgLevel), DERIVED);
    v.flag(FIELD(pps, slice_segment_header_extension_present_flag));
    v.group(EGroup::Extensions);
    v.flag(FIELD(pps, pps_extension_present_flag));
}

void listFields(const ShortTermRefPicSet& set, const ShortTermRefPicSet* pReference, CRecordVisitor& v)
{
    const bool bPredicted = set.inter_ref_pic_set_prediction_flag && pReference != nullptr;
    const unsigned uiCodedFlags = bPredicted ? pReference->NumDeltaPocs + 1U : 0;
    v.flag(FIELD(set, inter_ref_pic_set_prediction_flag));
    v.number(FIELD(set, delta_idx));
    v.number(FIELD(set, deltaRps));
    v.number(FIELD(set, NumNegativePics));
    v.number(FIELD(set, NumPositivePics));
    v.number(FIELD(set, NumDeltaPocs));
    v.numbers(NUMBERS(set, DeltaPoc, set.NumDeltaPocs));
    v.flags(FLAGS(set, UsedByCurrPic, set.NumDeltaPocs));
    v.flags(FLAGS(set, UseDeltaFlagOfPic, set.NumDeltaPocs));
    v.flags(FLAGS(set, used_by_curr_pic_flag, uiCodedFlags));
    v.flags(FLAGS(set, use_delta_flag, uiCodedFlags));
}

#undef FLAGS
#undef NUMBERS
#undef FIELD

} // namespace h265ps
