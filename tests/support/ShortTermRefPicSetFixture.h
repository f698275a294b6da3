#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <utility>
#include <vector>

#include "BitWriter.h"
#include "ExactBits.h"
#include "SequenceParameterSet.h"
#include "ShortTermRefPicSet.h"

namespace h265_test {

using h265_codec::MAX_REF_PICS;
using h265_codec::ShortTermRefPicSet;
using h265_codec::SPS;

/// One entry of a set: its POC delta and whether the current picture uses it.
struct Entry
{
    int iDelta;
    bool bUsed;
};

/// used_by_curr_pic_flag[ j ] and use_delta_flag[ j ], the latter coded only without the former.
struct Flags
{
    bool bUsed;
    bool bUseDelta;
};
inline constexpr Flags USED = {true, true};
inline constexpr Flags KEPT = {false, true};
inline constexpr Flags LEFT_OUT = {false, false};

inline ShortTermRefPicSet makeSet(const std::vector<int>& negative, const std::vector<int>& positive)
{
    ShortTermRefPicSet set = {};
    unsigned i = 0;
    for (const std::vector<int>* pList : {&negative, &positive}) {
        for (const int iDelta : *pList)
            set.DeltaPoc[i++] = iDelta;
    }
    set.NumNegativePics = static_cast<unsigned char>(negative.size());
    set.NumPositivePics = static_cast<unsigned char>(positive.size());
    set.NumDeltaPocs = static_cast<unsigned char>(i);
    return set;
}

/// 7.3.7 behind inter_ref_pic_set_prediction_flag, explicitly coded.
inline CBitWriter explicitSet(std::initializer_list<Entry> negative, std::initializer_list<Entry> positive)
{
    CBitWriter writer;
    writer.ue(negative.size()).ue(positive.size());
    int iPrevious = 0;
    for (const Entry& entry : negative) {
        writer.ue(static_cast<unsigned>(iPrevious - entry.iDelta - 1)).flag(entry.bUsed);
        iPrevious = entry.iDelta;
    }
    iPrevious = 0;
    for (const Entry& entry : positive) {
        writer.ue(static_cast<unsigned>(entry.iDelta - iPrevious - 1)).flag(entry.bUsed);
        iPrevious = entry.iDelta;
    }
    return writer;
}

/// 7.3.7 behind delta_idx_minus1, predicted.
inline CBitWriter predictedSet(int iDeltaRps, const std::vector<Flags>& flags)
{
    CBitWriter writer;
    writer.flag(iDeltaRps < 0).ue(static_cast<unsigned>(std::abs(iDeltaRps) - 1));
    for (const Flags& f : flags) {
        writer.flag(f.bUsed);
        if (!f.bUsed)
            writer.flag(f.bUseDelta);
    }
    return writer;
}

inline CBitWriter flagThen(bool inter_ref_pic_set_prediction_flag, const CBitWriter& rest)
{
    return CBitWriter().flag(inter_ref_pic_set_prediction_flag).append(rest);
}

inline std::vector<int> deltasOf(const ShortTermRefPicSet& set)
{
    return std::vector<int>(set.DeltaPoc, set.DeltaPoc + set.NumDeltaPocs);
}

inline std::vector<bool> usedOf(const ShortTermRefPicSet& set)
{
    return std::vector<bool>(set.UsedByCurrPic, set.UsedByCurrPic + set.NumDeltaPocs);
}

inline bool isAllZero(const bool (&aFlags)[MAX_REF_PICS])
{
    return std::none_of(std::begin(aFlags), std::end(aFlags), [](bool bFlag) { return bFlag; });
}

/// An SPS with an array of exactly uiSets sets, so that the sanitizers see each access past it.
class CSets
{
public:
    explicit CSets(std::vector<ShortTermRefPicSet> sets) : m_sets(std::move(sets))
    {
        m_sets.shrink_to_fit();
        m_sps.num_short_term_ref_pic_sets = static_cast<unsigned char>(m_sets.size());
        m_sps.pShortTermRefPicSet = m_sets.data();
    }

    ShortTermRefPicSet& operator[](std::size_t i) { return m_sets[i]; }
    [[nodiscard]] int count() const { return static_cast<int>(m_sets.size()); }

    /// Reads set stRpsIdx of the array.
    template <class TReader>
    int read(const CBitWriter& writer, int stRpsIdx)
    {
        const CExactBits bits(writer);
        TReader bs = bits.reader<TReader>();
        return read_short_term_ref_pic_set(&m_sps, &m_sets[static_cast<std::size_t>(stRpsIdx)], stRpsIdx, &bs);
    }

    /// Reads a set that follows the array, as a slice header codes it.
    template <class TReader>
    int readSlice(const CBitWriter& writer, ShortTermRefPicSet& set)
    {
        const CExactBits bits(writer);
        TReader bs = bits.reader<TReader>();
        const int iResult = read_short_term_ref_pic_set(&m_sps, &set, count(), &bs);
        m_uiBitsLeft = bitsLeft(bs);
        return iResult;
    }

    [[nodiscard]] std::size_t bitsLeftAfterSlice() const { return m_uiBitsLeft; }

private:
    SPS m_sps = {};
    std::vector<ShortTermRefPicSet> m_sets;
    std::size_t m_uiBitsLeft = 0;
};

/// {-1, -3 | 3}
inline ShortTermRefPicSet smallReference()
{
    return makeSet({-1, -3}, {3});
}

} // namespace h265_test
