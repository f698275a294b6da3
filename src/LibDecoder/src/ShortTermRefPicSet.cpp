#include "ShortTermRefPicSet.h"

#include <cstring>

#include "SequenceParameterSet.h"
#include "SyntaxRead.h"

namespace h265_codec {

using namespace syntax;

namespace {

// In halves, for which g++ makes stores instead of a rep stos: without it a failing set costs more than
// reading it bit by bit.
void clear(ShortTermRefPicSet* strps) noexcept
{
    constexpr std::size_t HALF = offsetof(ShortTermRefPicSet, UsedByCurrPic);
    unsigned char* const pBytes = reinterpret_cast<unsigned char*>(strps);
    std::memset(pBytes, 0, HALF);
    std::memset(pBytes + HALF, 0, sizeof(*strps) - HALF);
}

// 7.4.8: sums of POC deltas wrap in 32 bits.
constexpr int addWrapping(int iLeft, int iRight) noexcept
{
    return static_cast<int>(static_cast<unsigned>(iLeft) + static_cast<unsigned>(iRight));
}

// The reference set as it stands before the derivation, which may write over it, and the flags that
// inter prediction codes for its entries: all 256 that a count can name. Where none was coded, those of
// the entries that a set keeps are 0 and the others are not looked at.
struct InterPrediction
{
    unsigned NumNegativePics;
    unsigned NumDeltaPocs;
    int DeltaPoc[MAX_REF_PICS];
    bool used_by_curr_pic_flag[256];
    bool use_delta_flag[256];
};

// Appends the entries that 7.4.8 derives to the joined list.
class CDerivedList
{
public:
    CDerivedList(ShortTermRefPicSet* strps, const InterPrediction& reference) noexcept
        : m_strps(strps), m_reference(reference)
    {}

    void appendNegative(unsigned k) noexcept
    {
        if (isCandidate(k) && dPoc(k) < 0)
            append(dPoc(k), k, m_strps->NumNegativePics);
    }

    void appendPositive(unsigned k) noexcept
    {
        if (isCandidate(k) && dPoc(k) > 0)
            append(dPoc(k), k, m_strps->NumPositivePics);
    }

    // The reference set's own picture, deltaRps away; it does not depend on a stored entry.
    void appendReferencePicture(unsigned char& NumPics) noexcept
    {
        const unsigned k = m_reference.NumDeltaPocs;
        if (m_reference.use_delta_flag[k])
            append(m_strps->deltaRps, k, NumPics);
    }

private:
    [[nodiscard]] bool isCandidate(unsigned k) const noexcept
    {
        return k < MAX_REF_PICS && m_reference.use_delta_flag[k];
    }

    [[nodiscard]] int dPoc(unsigned k) const noexcept
    {
        return addWrapping(m_reference.DeltaPoc[k], m_strps->deltaRps);
    }

    void append(int dPoc, unsigned k, unsigned char& NumPics) noexcept
    {
        ++NumPics;
        if (m_uiEntry < MAX_REF_PICS) {
            m_strps->DeltaPoc[m_uiEntry] = dPoc;
            m_strps->UsedByCurrPic[m_uiEntry] = m_reference.used_by_curr_pic_flag[k];
            m_strps->UseDeltaFlagOfPic[m_uiEntry] = true;
        }
        ++m_uiEntry;
    }

    ShortTermRefPicSet* m_strps;
    const InterPrediction& m_reference;
    unsigned m_uiEntry = 0;
};

// 7.4.8 (7-61) and (7-62)
void deriveLists(ShortTermRefPicSet* strps, const InterPrediction& reference) noexcept
{
    const unsigned uiNegative = reference.NumNegativePics;
    const unsigned uiAll = reference.NumDeltaPocs;
    CDerivedList list(strps, reference);
    if (strps->deltaRps < 0) {
        for (unsigned k = uiAll; k-- > uiNegative;)
            list.appendNegative(k);
        list.appendReferencePicture(strps->NumNegativePics);
    }
    for (unsigned k = 0; k < uiNegative; ++k)
        list.appendNegative(k);
    if (strps->deltaRps > 0) {
        for (unsigned k = uiNegative; k-- > 0;)
            list.appendPositive(k);
        list.appendReferencePicture(strps->NumPositivePics);
    }
    for (unsigned k = uiNegative; k < uiAll; ++k)
        list.appendPositive(k);
    strps->NumDeltaPocs = static_cast<unsigned char>(strps->NumNegativePics + strps->NumPositivePics);
}

// 7.3.7, inter_ref_pic_set_prediction_flag equal to 1
template <class TReader>
int readPredicted(SPS* sps, ShortTermRefPicSet* strps, int stRpsIdx, CBitWindow<TReader>& bits) noexcept
{
    int RefRpsIdx = stRpsIdx - 1;
    if (stRpsIdx == sps->num_short_term_ref_pic_sets) {
        const int iResult = read(bits, uePlus<unsigned char>(strps->delta_idx, 1));
        if (iResult != 0)
            return iResult;
        RefRpsIdx = stRpsIdx - strps->delta_idx;
        if (RefRpsIdx < 0)
            return E_BS_NOT_ENOUGH_BITS;
    }

    bool delta_rps_sign = false;
    unsigned char abs_delta_rps_minus1 = 0;
    int iResult = read(bits, flag(delta_rps_sign), ue(abs_delta_rps_minus1));
    if (iResult != 0)
        return iResult;
    // (7-60) in 8 bits, which the value can wrap: 256 becomes 0 and 128 becomes -128.
    const int iAbsDeltaRps = abs_delta_rps_minus1 + 1;
    strps->deltaRps = static_cast<signed char>(delta_rps_sign ? -iAbsDeltaRps : iAbsDeltaRps);

    // delta_idx can wrap to 0: the set being read is then its own, empty, reference.
    const ShortTermRefPicSet& ref = RefRpsIdx == stRpsIdx ? *strps : sps->pShortTermRefPicSet[RefRpsIdx];
    InterPrediction reference; // of the flags only those of stored entries are looked at uncoded
    std::memset(reference.used_by_curr_pic_flag, 0, MAX_REF_PICS);
    std::memset(reference.use_delta_flag, 0, MAX_REF_PICS);
    reference.NumNegativePics = ref.NumNegativePics;
    reference.NumDeltaPocs = ref.NumDeltaPocs;
    std::memcpy(reference.DeltaPoc, ref.DeltaPoc, sizeof(reference.DeltaPoc));

    for (unsigned j = 0; j <= reference.NumDeltaPocs; ++j) {
        bool bDropped = false;
        reference.use_delta_flag[j] = true;
        iResult = read(bits, flag(reference.used_by_curr_pic_flag[j]));
        entryOr(strps->used_by_curr_pic_flag, j, bDropped) = reference.used_by_curr_pic_flag[j];
        if (iResult != 0)
            return iResult;
        if (!reference.used_by_curr_pic_flag[j])
            iResult = read(bits, flag(reference.use_delta_flag[j]));
        entryOr(strps->use_delta_flag, j, bDropped) = reference.use_delta_flag[j];
        if (iResult != 0)
            return iResult;
    }
    deriveLists(strps, reference);
    return 0;
}

// 7.3.7, the entries iFirst … iEnd - 1 of an explicit set: delta_poc_s0_minus1 and its flag with
// iDirection -1, delta_poc_s1_minus1 and its flag with 1. The index is kept in 8 bits with a sign: at
// counts of 128 and more it wraps, and the payload ends the loop. Entries that the record has no room
// for are read and dropped.
template <class TReader>
int readEntries(ShortTermRefPicSet* strps, int iFirst, int iEnd, int iDirection, CBitWindow<TReader>& bits) noexcept
{
    int iDropped = 0;
    bool bDropped = false;
    unsigned uiPoc = 0; // wraps in 32 bits
    // NOLINTNEXTLINE(bugprone-too-small-loop-variable)
    for (signed char i = static_cast<signed char>(iFirst); i < iEnd; i = static_cast<signed char>(i + 1)) {
        unsigned delta_poc_minus1 = 0;
        int iResult = read(bits, ue(delta_poc_minus1));
        if (iResult != 0)
            return iResult;
        uiPoc += static_cast<unsigned>(iDirection) * (delta_poc_minus1 + 1);
        entryOr(strps->DeltaPoc, static_cast<unsigned>(i), iDropped) = static_cast<int>(uiPoc);
        iResult = read(bits, flag(entryOr(strps->UsedByCurrPic, static_cast<unsigned>(i), bDropped)));
        if (iResult != 0)
            return iResult;
    }
    return 0;
}

// 7.3.7, inter_ref_pic_set_prediction_flag equal to 0
template <class TReader>
int readExplicit(ShortTermRefPicSet* strps, CBitWindow<TReader>& bits) noexcept
{
    int iResult = read(bits, ue(strps->NumNegativePics), ue(strps->NumPositivePics));
    if (iResult != 0)
        return iResult;
    const int iNegative = strps->NumNegativePics;
    const int iAll = iNegative + strps->NumPositivePics;
    strps->NumDeltaPocs = static_cast<unsigned char>(iAll);

    iResult = readEntries(strps, 0, iNegative, -1, bits);
    if (iResult != 0)
        return iResult;
    return readEntries(strps, iNegative, iAll, 1, bits);
}

// 7.3.7
template <class TReader>
int readShortTermRefPicSet(SPS* sps, ShortTermRefPicSet* strps, int stRpsIdx, TReader* pBS) noexcept
{
    clear(strps);
    CBitWindow<TReader> bits(pBS);
    if (stRpsIdx != 0) {
        const int iResult = read(bits, flag(strps->inter_ref_pic_set_prediction_flag));
        if (iResult != 0)
            return iResult;
    }
    if (strps->inter_ref_pic_set_prediction_flag)
        return readPredicted(sps, strps, stRpsIdx, bits);
    return readExplicit(strps, bits);
}

} // namespace

int read_short_term_ref_pic_set(SPS* sps, ShortTermRefPicSet* strps, int stRpsIdx, CBitStreamReader* pBS) noexcept
{
    return readShortTermRefPicSet(sps, strps, stRpsIdx, pBS);
}

int read_short_term_ref_pic_set(SPS* sps, ShortTermRefPicSet* strps, int stRpsIdx, CRbspReader* pBS) noexcept
{
    return readShortTermRefPicSet(sps, strps, stRpsIdx, pBS);
}

} // namespace h265_codec
