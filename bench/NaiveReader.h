#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "BitStreamReader.h"
#include "PictureParameterSet.h"
#include "ScalingList.h"
#include "ScanTables.h"
#include "SequenceParameterSet.h"
#include "ShortTermRefPicSet.h"
#include "VideoParameterSet.h"

// The baseline that the module is measured against, within the same run: the syntax written down
// straight, one bit after the other, every result tested, every table filled entry by entry. It reads
// into records that the module has read before, so it takes no block.

namespace h265_bench {

/// Bits of an RBSP, each taken from its byte.
class CNaiveBits
{
public:
    void init(const unsigned char* pBuf, unsigned uiByteCount) noexcept
    {
        m_pBuf = pBuf;
        m_ulPosition = 0;
        m_ulEnd = 8 * static_cast<std::uint64_t>(uiByteCount);
    }

    int readFlag(bool& flag) noexcept
    {
        if (m_ulPosition >= m_ulEnd)
            return h265_codec::E_BS_NOT_ENOUGH_BITS;
        flag = (m_pBuf[m_ulPosition / 8] >> (7 - m_ulPosition % 8) & 1) != 0;
        ++m_ulPosition;
        return 0;
    }

    int readBits(unsigned uiBitCount, unsigned& value) noexcept
    {
        value = 0;
        for (unsigned i = 0; i < uiBitCount; ++i) {
            bool bBit = false;
            const int iResult = readFlag(bBit);
            if (iResult != 0)
                return iResult;
            value = value << 1 | static_cast<unsigned>(bBit);
        }
        return 0;
    }

    void readTailing() noexcept { m_ulPosition = (m_ulPosition + 8) / 8 * 8; }

private:
    const unsigned char* m_pBuf = nullptr;
    std::uint64_t m_ulPosition = 0;
    std::uint64_t m_ulEnd = 0;
};

/// CBitStreamReader in its plain form: the same bits, delivered one at a time out of the cache word;
/// readBits, which is one step there as well, out of line.
class CPlainDecoderBits
{
public:
    void init(const unsigned char* pBuf, unsigned uiByteCount) noexcept
    {
        m_pCurPos = pBuf;
        m_pBufEnd = pBuf + uiByteCount;
        refill();
    }

    int readFlag(bool& flag) noexcept
    {
        flag = false;
        if (m_uiCachedBits == 0)
            return h265_codec::E_BS_NOT_ENOUGH_BITS;
        flag = (m_ulCache & std::uint64_t{1} << 63) != 0;
        m_ulCache <<= 1;
        if (--m_uiCachedBits == 0)
            refill();
        return 0;
    }

    [[gnu::noinline]] int readBits(unsigned uiBitCount, unsigned& value) noexcept
    {
        value = 0;
        if (uiBitCount == 0 || uiBitCount > 64)
            return uiBitCount == 0 ? 0 : h265_codec::E_BS_NOT_ENOUGH_BITS;
        value = static_cast<unsigned>(m_ulCache >> (64 - uiBitCount));
        if (m_uiCachedBits > uiBitCount) {
            m_ulCache <<= uiBitCount;
            m_uiCachedBits -= uiBitCount;
            return 0;
        }
        const unsigned uiNeed = uiBitCount - m_uiCachedBits;
        const std::uint64_t ulBytesLeft = static_cast<std::uint64_t>(m_pBufEnd - m_pCurPos);
        if (ulBytesLeft == 0 || 8 * ulBytesLeft < uiNeed)
            return uiNeed == 0 ? 0 : h265_codec::E_BS_NOT_ENOUGH_BITS;
        refill();
        m_uiCachedBits -= uiNeed;
        if (uiNeed == 0)
            return 0;
        value |= static_cast<unsigned>(m_ulCache >> (64 - uiNeed));
        m_ulCache = uiNeed < 64 ? m_ulCache << uiNeed : 0;
        return 0;
    }

    void readTailing() noexcept
    {
        bool bStopBit = false;
        if (readFlag(bStopBit) != 0)
            return;
        m_ulCache <<= m_uiCachedBits % 8;
        m_uiCachedBits -= m_uiCachedBits % 8;
        if (m_uiCachedBits == 0)
            refill();
    }

private:
    void refill() noexcept
    {
        const std::uint64_t ulLeft = static_cast<std::uint64_t>(m_pBufEnd - m_pCurPos);
        const unsigned uiAdvance = ulLeft < 8 ? static_cast<unsigned>(ulLeft) : 8;
        m_ulCache = h265_codec::loadBigEndian64(m_pCurPos) >> 32;
        m_pCurPos += uiAdvance;
        m_uiCachedBits = 8 * uiAdvance;
    }

    const unsigned char* m_pCurPos = nullptr;
    const unsigned char* m_pBufEnd = nullptr;
    std::uint32_t m_uiCachedBits = 0;
    std::uint64_t m_ulCache = 0;
};

/// The parameter sets, read straight through over either kind of bits.
template <class TBits>
class CNaiveReader : public TBits
{
public:
    /// 7.3.2.1
    int readVps(h265_codec::VPS& vps) noexcept
    {
        int r = 0;
        if ((r = u(4, vps.vps_video_parameter_set_id)) != 0 || (r = u(2, vps.vps_reserved_three_2bits)) != 0 ||
            (r = u(6, vps.vps_max_layers_minus1)) != 0 || (r = u(3, vps.vps_max_sub_layers_minus1)) != 0 ||
            (r = u(1, vps.vps_temporal_id_nesting_flag)) != 0 || (r = u(16, vps.vps_reserved_0xffff_16bits)) != 0)
            return r;
        (void)readProfileTierLevel(vps.ptl, vps.vps_max_sub_layers_minus1); // as the module does
        if ((r = u(1, vps.vps_sub_layer_ordering_info_present_flag)) != 0)
            return r;
        const unsigned uiHighest = vps.vps_max_sub_layers_minus1;
        for (unsigned i = vps.vps_sub_layer_ordering_info_present_flag ? 0 : uiHighest; i <= uiHighest; ++i) {
            const unsigned j = std::min(i, h265_codec::MAX_SUB_LAYERS - 1);
            if ((r = ue(vps.vps_max_dec_pic_buffering[j], 1)) != 0 || (r = ue(vps.vps_max_num_reorder_pics[j])) != 0 ||
                (r = ue(vps.vps_max_latency_increase_plus1[j])) != 0)
                return r;
        }
        if ((r = u(6, vps.vps_max_layer_id)) != 0 || (r = ue(vps.vps_num_layer_sets_minus1)) != 0 ||
            (r = u(1, vps.vps_timing_info_present_flag)) != 0 || (r = u(1, vps.vps_extension_flag)) != 0)
            return r;
        this->readTailing();
        return 0;
    }

    /// 7.3.2.2
    int readSps(h265_codec::SPS& sps) noexcept
    {
        int r = 0;
        if ((r = u(4, sps.sps_video_parameter_set_id)) != 0 || (r = u(3, sps.sps_max_sub_layers_minus1)) != 0 ||
            (r = u(1, sps.sps_temporal_id_nesting_flag)) != 0)
            return r;
        (void)readProfileTierLevel(sps.ptl, sps.sps_max_sub_layers_minus1); // as the module does
        if ((r = readFormat(sps)) != 0 || (r = readBlockSizes(sps)) != 0 || (r = readRefPics(sps)) != 0)
            return r;
        if ((r = u(1, sps.sps_temporal_mvp_enabled_flag)) != 0 ||
            (r = u(1, sps.strong_intra_smoothing_enabled_flag)) != 0 ||
            (r = u(1, sps.vui_parameters_present_flag)) != 0 || (r = u(1, sps.sps_extension_present_flag)) != 0)
            return r;
        derivePictureSize(sps);
        this->readTailing();
        return 0;
    }

    /// 7.3.2.3
    int readPps(h265_codec::PPS& pps, h265_codec::SPS* const* aSps) noexcept
    {
        int r = 0;
        if ((r = ue(pps.pps_pic_parameter_set_id)) != 0 || (r = ue(pps.pps_seq_parameter_set_id)) != 0)
            return r;
        const h265_codec::SPS* const sps = aSps[pps.pps_seq_parameter_set_id];
        if (sps == nullptr)
            return h265_codec::E_BS_NOT_ENOUGH_BITS;
        if ((r = readPpsTools(pps, *sps)) != 0)
            return r;
        pps.MultipleTilesFlag = false;
        if (pps.tiles_enabled_flag && (r = readTiles(pps, *sps)) != 0)
            return r;
        if ((r = readPpsFilters(pps)) != 0)
            return r;
        if (pps.pps_scaling_list_data_present_flag) {
            if (pps.pScalingListBuf == nullptr)
                return h265_codec::E_NO_MEMORY;
            if ((r = readScalingLists(*pps.pScalingListBuf)) != 0)
                return r;
        }
        if ((r = u(1, pps.lists_modification_present_flag)) != 0 || (r = ue(pps.Log2ParMrgLevel, 2)) != 0 ||
            (r = u(1, pps.slice_segment_header_extension_present_flag)) != 0 ||
            (r = u(1, pps.pps_extension_present_flag)) != 0)
            return r;
        this->readTailing();
        return 0;
    }

    /// 7.3.4
    int readScalingLists(h265_codec::ScalingListData& data) noexcept
    {
        for (int sizeId = 0; sizeId < 4; ++sizeId) {
            for (int matrixId = 0; matrixId < (sizeId == 3 ? 2 : 6); ++matrixId) {
                h265_codec::ScalingListMatrix* const aMatrix = data.aList[sizeId].aMatrix;
                bool scaling_list_pred_mode_flag = false;
                int r = u(1, scaling_list_pred_mode_flag);
                if (r != 0)
                    return r;
                if (scaling_list_pred_mode_flag) {
                    (void)readMatrix(aMatrix[matrixId], sizeId); // as the module does
                    continue;
                }
                unsigned char ucDelta = 0;
                if ((r = ue(ucDelta)) != 0)
                    return r;
                if (ucDelta > matrixId)
                    return h265_codec::E_BS_NOT_ENOUGH_BITS;
                if (ucDelta != 0)
                    aMatrix[matrixId].pCoef = aMatrix[matrixId - ucDelta].pCoef;
            }
        }
        data.aList[3].aMatrix[3].pCoef = data.aList[3].aMatrix[1].pCoef;
        return 0;
    }

private:
    template <class T>
    int u(unsigned uiWidth, T& field) noexcept
    {
        unsigned uiValue = 0;
        const int r = this->readBits(uiWidth, uiValue);
        field = static_cast<T>(uiValue);
        return r;
    }
    int u(unsigned /* uiWidth: 1 */, bool& field) noexcept { return this->readFlag(field); }

    int code(unsigned& uiCode) noexcept
    {
        unsigned uiLeadingZeros = 0;
        for (bool bBit = false;; ++uiLeadingZeros) {
            const int r = this->readFlag(bBit);
            if (r != 0)
                return r;
            if (bBit)
                break;
        }
        unsigned uiBits = 0;
        const int r = uiLeadingZeros == 0 ? 0 : this->readBits(uiLeadingZeros, uiBits);
        uiCode = (1U << uiLeadingZeros % 32) - 1 + uiBits;
        return r;
    }
    // Kept modulo 256 or 65536 as in the module; the fields that hold a derived variable take its base.
    template <class T>
    int ue(T& field, unsigned uiBase = 0) noexcept
    {
        unsigned uiCode = 0;
        const int r = code(uiCode);
        if (r == 0)
            field = static_cast<T>(uiCode + uiBase);
        return r;
    }
    template <class T>
    int se(T& field) noexcept
    {
        unsigned uiCode = 0;
        const int r = code(uiCode);
        field = static_cast<T>(r == 0 ? h265_codec::signedOfCode(uiCode) : 0);
        return r;
    }

    // 7.3.3; of sub-layers only as far as the inputs go: one sub-layer, or bits read and dropped.
    int readProfileTierLevel(h265_codec::profile_tile_level& ptl, unsigned uiSubLayers) noexcept
    {
        int r = 0;
        if ((r = u(2, ptl.general_profile_space)) != 0 || (r = u(1, ptl.general_tier_flag)) != 0 ||
            (r = u(5, ptl.general_profile_idc)) != 0)
            return r;
        for (bool& bFlag : ptl.general_profile_compatibility_flag) {
            if ((r = u(1, bFlag)) != 0)
                return r;
        }
        unsigned uiReserved = 0;
        if ((r = u(1, ptl.general_progressive_source_flag)) != 0 ||
            (r = u(1, ptl.general_interlaced_source_flag)) != 0 ||
            (r = u(1, ptl.general_non_packed_constraint_flag)) != 0 ||
            (r = u(1, ptl.general_frame_only_constraint_flag)) != 0 || (r = u(16, uiReserved)) != 0 ||
            (r = u(16, uiReserved)) != 0 || (r = u(12, uiReserved)) != 0 || (r = u(8, ptl.general_level_idc)) != 0)
            return r;
        bool abPresent[16] = {};
        for (unsigned i = 0; i < 2 * uiSubLayers; ++i) {
            if ((r = u(1, abPresent[i])) != 0)
                return r;
        }
        if (uiSubLayers != 0 && (r = u(16 - 2 * uiSubLayers, uiReserved)) != 0)
            return r;
        for (unsigned i = 0; i < 2 * uiSubLayers; ++i) {
            for (unsigned uiBits = !abPresent[i] ? 0 : i % 2 == 0 ? 88 : 8; uiBits != 0; uiBits -= 8) {
                if ((r = u(8, uiReserved)) != 0)
                    return r;
            }
        }
        return 0;
    }

    int readFormat(h265_codec::SPS& sps) noexcept
    {
        int r = 0;
        if ((r = ue(sps.sps_seq_parameter_set_id)) != 0 || (r = ue(sps.chroma_format_idc)) != 0)
            return r;
        if (sps.chroma_format_idc == 3 && (r = u(1, sps.separate_colour_plane_flag)) != 0)
            return r;
        if ((r = ue(sps.pic_width_in_luma_samples)) != 0 || (r = ue(sps.pic_height_in_luma_samples)) != 0 ||
            (r = u(1, sps.conformance_window_flag)) != 0)
            return r;
        if (sps.conformance_window_flag &&
            ((r = ue(sps.conf_win_left_offset)) != 0 || (r = ue(sps.conf_win_right_offset)) != 0 ||
             (r = ue(sps.conf_win_top_offset)) != 0 || (r = ue(sps.conf_win_bottom_offset)) != 0))
            return r;
        if ((r = ue(sps.BitDepthY, 8)) != 0 || (r = ue(sps.BitDepthC, 8)) != 0 ||
            (r = ue(sps.log2_max_pic_order_cnt_lsb, 4)) != 0 ||
            (r = u(1, sps.sps_sub_layer_ordering_info_present_flag)) != 0)
            return r;
        const unsigned uiHighest = sps.sps_max_sub_layers_minus1;
        for (unsigned i = sps.sps_sub_layer_ordering_info_present_flag ? 0 : uiHighest; i <= uiHighest; ++i) {
            const unsigned j = std::min(i, h265_codec::MAX_SUB_LAYERS - 1);
            if ((r = ue(sps.sps_max_dec_pic_buffering_minus1[j])) != 0 ||
                (r = ue(sps.sps_max_num_reorder_pics[j])) != 0 || (r = ue(sps.sps_max_latency_increase_plus1[j])) != 0)
                return r;
        }
        return 0;
    }

    int readBlockSizes(h265_codec::SPS& sps) noexcept
    {
        int r = 0;
        if ((r = ue(sps.MinCbLog2SizeY, 3)) != 0 || (r = ue(sps.CtbLog2SizeY, sps.MinCbLog2SizeY)) != 0 ||
            (r = ue(sps.MinTbLog2SizeY, 2)) != 0 || (r = ue(sps.MaxTbLog2SizeY, sps.MinTbLog2SizeY)) != 0 ||
            (r = ue(sps.max_transform_hierarchy_depth_inter)) != 0 ||
            (r = ue(sps.max_transform_hierarchy_depth_intra)) != 0 || (r = u(1, sps.scaling_list_enabled_flag)) != 0)
            return r;
        if (sps.scaling_list_enabled_flag) {
            if ((r = u(1, sps.sps_scaling_list_data_present_flag)) != 0)
                return r;
            if (sps.pScalingList == nullptr)
                return h265_codec::E_NO_MEMORY;
            if (sps.sps_scaling_list_data_present_flag && (r = readScalingLists(*sps.pScalingList)) != 0)
                return r;
        }
        if ((r = u(1, sps.amp_enabled_flag)) != 0 || (r = u(1, sps.sample_adaptive_offset_enabled_flag)) != 0 ||
            (r = u(1, sps.pcm_enabled_flag)) != 0)
            return r;
        if (!sps.pcm_enabled_flag)
            return 0;
        if ((r = u(4, sps.pcm_sample_bit_depth_luma_minus1)) != 0 ||
            (r = u(4, sps.pcm_sample_bit_depth_chroma_minus1)) != 0 || (r = ue(sps.Log2MinIpcmCbSizeY, 3)) != 0 ||
            (r = ue(sps.Log2MaxIpcmCbSizeY, static_cast<unsigned>(sps.Log2MinIpcmCbSizeY))) != 0 ||
            (r = u(1, sps.pcm_loop_filter_disabled_flag)) != 0)
            return r;
        return 0;
    }

    int readRefPics(h265_codec::SPS& sps) noexcept
    {
        int r = ue(sps.num_short_term_ref_pic_sets);
        if (r != 0)
            return r;
        if (sps.pShortTermRefPicSet == nullptr ||
            sps.uiShortTermRefPicSetRoomPlus1 < sps.num_short_term_ref_pic_sets + 1)
            return h265_codec::E_NO_MEMORY;
        for (unsigned i = 0; i < sps.num_short_term_ref_pic_sets; ++i)
            (void)readRefPicSet(sps.pShortTermRefPicSet, i); // as the module does
        if ((r = u(1, sps.long_term_ref_pics_present_flag)) != 0 || !sps.long_term_ref_pics_present_flag)
            return r;
        if ((r = ue(sps.num_long_term_ref_pics_sps)) != 0)
            return r;
        for (unsigned i = 0; i < sps.num_long_term_ref_pics_sps; ++i) {
            const unsigned j = std::min(i, h265_codec::MAX_LONG_TERM_REF_PICS - 1);
            if ((r = u(sps.log2_max_pic_order_cnt_lsb, sps.lt_ref_pic_poc_lsb_sps[j])) != 0 ||
                (r = u(1, sps.used_by_curr_pic_lt_sps_flag[j])) != 0)
                return r;
        }
        return 0;
    }

    // 7.3.7 of a set in an SPS, and 7.4.8
    int readRefPicSet(h265_codec::ShortTermRefPicSet* aSets, unsigned stRpsIdx) noexcept
    {
        h265_codec::ShortTermRefPicSet& set = aSets[stRpsIdx];
        set = {};
        int r = 0;
        if (stRpsIdx != 0 && (r = u(1, set.inter_ref_pic_set_prediction_flag)) != 0)
            return r;
        if (set.inter_ref_pic_set_prediction_flag)
            return readPredictedSet(set, aSets[stRpsIdx - 1]);
        if ((r = ue(set.NumNegativePics)) != 0 || (r = ue(set.NumPositivePics)) != 0)
            return r;
        const unsigned uiAll = static_cast<unsigned>(set.NumNegativePics) + set.NumPositivePics;
        set.NumDeltaPocs = static_cast<unsigned char>(uiAll);
        unsigned uiPoc = 0;
        for (unsigned i = 0; i < uiAll; ++i) {
            unsigned uiDelta = 0;
            bool bUsed = false;
            if ((r = ue(uiDelta, 1)) != 0 || (r = u(1, bUsed)) != 0)
                return r;
            if (i == set.NumNegativePics)
                uiPoc = 0;
            uiPoc = i < set.NumNegativePics ? uiPoc - uiDelta : uiPoc + uiDelta;
            if (i < h265_codec::MAX_REF_PICS) {
                set.DeltaPoc[i] = static_cast<int>(uiPoc);
                set.UsedByCurrPic[i] = bUsed;
            }
        }
        return 0;
    }

    int readPredictedSet(h265_codec::ShortTermRefPicSet& set, const h265_codec::ShortTermRefPicSet& ref) noexcept
    {
        bool delta_rps_sign = false;
        unsigned char ucAbsDeltaRps = 0;
        int r = 0;
        if ((r = u(1, delta_rps_sign)) != 0 || (r = ue(ucAbsDeltaRps, 1)) != 0)
            return r;
        set.deltaRps = static_cast<signed char>(delta_rps_sign ? -ucAbsDeltaRps : ucAbsDeltaRps);
        const unsigned uiAll = std::min<unsigned>(ref.NumDeltaPocs, h265_codec::MAX_REF_PICS - 1);
        for (unsigned j = 0; j <= uiAll; ++j) {
            set.use_delta_flag[j] = true;
            if ((r = u(1, set.used_by_curr_pic_flag[j])) != 0)
                return r;
            if (!set.used_by_curr_pic_flag[j] && (r = u(1, set.use_delta_flag[j])) != 0)
                return r;
        }
        unsigned uiEntry = 0;
        const auto append = [&](unsigned j, int iSign, unsigned char& NumPics) {
            const int dPoc = (j == uiAll ? 0 : ref.DeltaPoc[j]) + set.deltaRps;
            if (dPoc * iSign <= 0 || !set.use_delta_flag[j] || uiEntry >= h265_codec::MAX_REF_PICS)
                return;
            set.DeltaPoc[uiEntry] = dPoc;
            set.UsedByCurrPic[uiEntry] = set.used_by_curr_pic_flag[j];
            set.UseDeltaFlagOfPic[uiEntry++] = true;
            ++NumPics;
        };
        const unsigned uiNegative = ref.NumNegativePics;
        for (unsigned j = uiAll; j-- > uiNegative;)
            append(j, -1, set.NumNegativePics);
        append(uiAll, -1, set.NumNegativePics);
        for (unsigned j = 0; j < uiNegative; ++j)
            append(j, -1, set.NumNegativePics);
        for (unsigned j = uiNegative; j-- > 0;)
            append(j, 1, set.NumPositivePics);
        append(uiAll, 1, set.NumPositivePics);
        for (unsigned j = uiNegative; j < uiAll; ++j)
            append(j, 1, set.NumPositivePics);
        set.NumDeltaPocs = static_cast<unsigned char>(set.NumNegativePics + set.NumPositivePics);
        return 0;
    }

    static void derivePictureSize(h265_codec::SPS& sps) noexcept
    {
        const unsigned CtbSizeY = 1U << sps.CtbLog2SizeY % 32;
        const unsigned uiWidth = (sps.pic_width_in_luma_samples + CtbSizeY - 1) / CtbSizeY;
        const unsigned uiHeight = (sps.pic_height_in_luma_samples + CtbSizeY - 1) / CtbSizeY;
        sps.PicWidthInCtbsY = static_cast<int>(uiWidth);
        sps.PicHeightInCtbsY = static_cast<int>(uiHeight);
        sps.PicSizeInCtbsY = static_cast<int>(uiWidth * uiHeight);
        sps.SliceSegmentAddressBits = 0;
        while (1U << sps.SliceSegmentAddressBits < uiWidth * uiHeight)
            ++sps.SliceSegmentAddressBits;
        const unsigned uiLastWidth = sps.pic_width_in_luma_samples % CtbSizeY;
        const unsigned uiLastHeight = sps.pic_height_in_luma_samples % CtbSizeY;
        sps.LastCtbWidthY = static_cast<unsigned char>(uiLastWidth != 0 ? uiLastWidth : CtbSizeY);
        sps.LastCtbHeightY = static_cast<unsigned char>(uiLastHeight != 0 ? uiLastHeight : CtbSizeY);
    }

    // 7.3.4 of one matrix; each coefficient goes to every place of its block (7.4.5).
    int readMatrix(h265_codec::ScalingListMatrix& matrix, int sizeId) noexcept
    {
        int iDc = 0;
        if (sizeId > 1) {
            const int r = se(iDc);
            if (r != 0)
                return r;
        }
        const unsigned char ucDc = static_cast<unsigned char>(iDc + 8);
        matrix.pCoef = matrix.aucCoef;
        unsigned nextCoef = ucDc;
        const unsigned uiSide = 4U << sizeId;
        const unsigned uiCodedSide = sizeId == 0 ? 4 : 8;
        const unsigned uiRatio = uiSide / uiCodedSide;
        const std::int16_t* const pScan = h265_codec::g_pScanIdx[0][sizeId == 0 ? 0 : 1];
        for (unsigned i = 0; i < uiCodedSide * uiCodedSide; ++i) {
            int iDelta = 0;
            const int r = se(iDelta);
            if (r != 0)
                return r;
            nextCoef += static_cast<unsigned>(iDelta);
            const unsigned uiPlace = static_cast<unsigned>(pScan[i]);
            const unsigned uiTop = uiPlace / uiCodedSide * uiRatio;
            const unsigned uiLeft = uiPlace % uiCodedSide * uiRatio;
            for (unsigned y = uiTop; y < uiTop + uiRatio; ++y) {
                for (unsigned x = uiLeft; x < uiLeft + uiRatio; ++x)
                    matrix.aucCoef[y * uiSide + x] = static_cast<unsigned char>(nextCoef);
            }
        }
        if (sizeId > 1)
            matrix.aucCoef[0] = ucDc;
        return 0;
    }

    int readPpsTools(h265_codec::PPS& pps, const h265_codec::SPS& sps) noexcept
    {
        int r = 0;
        if ((r = u(1, pps.dependent_slice_segments_enabled_flag)) != 0 ||
            (r = u(1, pps.output_flag_present_flag)) != 0 || (r = u(3, pps.num_extra_slice_header_bits)) != 0 ||
            (r = u(1, pps.sign_data_hiding_enabled_flag)) != 0 || (r = u(1, pps.cabac_init_present_flag)) != 0 ||
            (r = ue(pps.num_ref_idx_l0_default_active_minus1)) != 0 ||
            (r = ue(pps.num_ref_idx_l1_default_active_minus1)) != 0 || (r = se(pps.init_qp_minus26)) != 0 ||
            (r = u(1, pps.constrained_intra_pred_flag)) != 0 || (r = u(1, pps.transform_skip_enabled_flag)) != 0 ||
            (r = u(1, pps.cu_qp_delta_enabled_flag)) != 0)
            return r;
        if (pps.cu_qp_delta_enabled_flag) {
            if ((r = ue(pps.diff_cu_qp_delta_depth)) != 0)
                return r;
            pps.Log2MinCuQpDeltaSize = static_cast<unsigned char>(sps.CtbLog2SizeY - pps.diff_cu_qp_delta_depth);
        }
        if ((r = se(pps.pps_cb_qp_offset)) != 0 || (r = se(pps.pps_cr_qp_offset)) != 0 ||
            (r = u(1, pps.pps_slice_chroma_qp_offsets_present_flag)) != 0 || (r = u(1, pps.weighted_pred_flag)) != 0 ||
            (r = u(1, pps.weighted_bipred_flag)) != 0 || (r = u(1, pps.transquant_bypass_enabled_flag)) != 0 ||
            (r = u(1, pps.tiles_enabled_flag)) != 0 || (r = u(1, pps.entropy_coding_sync_enabled_flag)) != 0)
            return r;
        return 0;
    }

    int readPpsFilters(h265_codec::PPS& pps) noexcept
    {
        int r = 0;
        if ((r = u(1, pps.pps_loop_filter_across_slices_enabled_flag)) != 0 ||
            (r = u(1, pps.deblocking_filter_control_present_flag)) != 0)
            return r;
        if (pps.deblocking_filter_control_present_flag) {
            if ((r = u(1, pps.deblocking_filter_override_enabled_flag)) != 0 ||
                (r = u(1, pps.pps_deblocking_filter_disabled_flag)) != 0)
                return r;
            if (!pps.pps_deblocking_filter_disabled_flag &&
                ((r = se(pps.pps_beta_offset_div2)) != 0 || (r = se(pps.pps_tc_offset_div2)) != 0))
                return r;
        }
        return u(1, pps.pps_scaling_list_data_present_flag);
    }

    int readSizes(unsigned* aSize, unsigned uiLast, unsigned uiPicture, bool bUniform) noexcept
    {
        aSize[uiLast] = uiPicture;
        for (unsigned i = 0; bUniform && i <= uiLast; ++i)
            aSize[i] = (i + 1) * uiPicture / (uiLast + 1) - i * uiPicture / (uiLast + 1);
        for (unsigned i = 0; !bUniform && i < uiLast; ++i) {
            const int r = ue(aSize[i], 1);
            if (r != 0)
                return r;
            aSize[uiLast] -= aSize[i];
        }
        return 0;
    }

    // 7.3.2.3.1, and 6.5.1 for each CTB by itself
    int readTiles(h265_codec::PPS& pps, const h265_codec::SPS& sps) noexcept
    {
        unsigned uiColumns = 0;
        unsigned uiRows = 0;
        int r = 0;
        if ((r = ue(uiColumns)) != 0 || (r = ue(uiRows)) != 0 || (r = u(1, pps.uniform_spacing_flag)) != 0)
            return r;
        if (pps.colWidth == nullptr || pps.rowHeight == nullptr || pps.TileId == nullptr ||
            uiColumns > pps.num_tile_columns_minus1 || uiRows > pps.num_tile_rows_minus1)
            return h265_codec::E_NO_MEMORY;
        pps.num_tile_columns_minus1 = uiColumns;
        pps.num_tile_rows_minus1 = uiRows;
        pps.MultipleTilesFlag = uiColumns != 0 || uiRows != 0;
        const unsigned uiPicWidth = static_cast<unsigned>(sps.PicWidthInCtbsY);
        const unsigned uiPicHeight = static_cast<unsigned>(sps.PicHeightInCtbsY);
        if ((r = readSizes(pps.colWidth, uiColumns, uiPicWidth, pps.uniform_spacing_flag)) != 0 ||
            (r = readSizes(pps.rowHeight, uiRows, uiPicHeight, pps.uniform_spacing_flag)) != 0)
            return r;
        for (unsigned uiRs = 0; uiRs < uiPicWidth * uiPicHeight; ++uiRs) {
            unsigned uiLeft = 0;
            unsigned uiTop = 0;
            unsigned tileX = 0;
            unsigned tileY = 0;
            while (uiRs % uiPicWidth >= uiLeft + pps.colWidth[tileX])
                uiLeft += pps.colWidth[tileX++];
            while (uiRs / uiPicWidth >= uiTop + pps.rowHeight[tileY])
                uiTop += pps.rowHeight[tileY++];
            const unsigned uiTs = uiTop * uiPicWidth + uiLeft * pps.rowHeight[tileY] +
                                  (uiRs / uiPicWidth - uiTop) * pps.colWidth[tileX] + uiRs % uiPicWidth - uiLeft;
            pps.CtbAddrRsToTs[uiRs] = uiTs;
            pps.CtbAddrTsToRs[uiTs] = uiRs;
            pps.TileId[uiRs] = tileY * (uiColumns + 1) + tileX;
        }
        return pps.MultipleTilesFlag ? u(1, pps.loop_filter_across_tiles_enabled_flag) : 0;
    }
};

} // namespace h265_bench
