#include "ModelShortTermRefPicSet.h"

namespace h265_model {

namespace {

Value wrapToByte(Value value)
{
    return static_cast<std::int8_t>(static_cast<std::uint8_t>(value & 255));
}

Value wrapToInt(Value value)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value & 0xffffffff));
}

// The raw flags of a predicted set, j = 0 ... NumDeltaPocs of the reference; zero behind.
struct RawFlags
{
    std::array<Value, 512> used_by_curr_pic_flag{};
    std::array<Value, 512> use_delta_flag{};
};

void readRawFlags(ModelRps& rps, Value NumDeltaPocs, RawFlags& raw, CModelBits& bits)
{
    for (std::size_t j = 0; j <= static_cast<std::size_t>(NumDeltaPocs); ++j) {
        Value dropped = 0;
        Value& used = j < 16 ? rps.used_by_curr_pic_flag[j] : dropped;
        Value& use = j < 16 ? rps.use_delta_flag[j] : dropped;
        bits.flag(used);
        raw.used_by_curr_pic_flag[j] = used;
        use = 1;
        if (raw.used_by_curr_pic_flag[j] == 0)
            bits.flag(use);
        raw.use_delta_flag[j] = use;
    }
}

// 7.4.8 (7-61), (7-62): collects the entries in one list.
class CDerivation
{
public:
    CDerivation(ModelRps& rps, const ModelRps& ref, const RawFlags& raw)
        : m_rps(rps), m_ref(ref), m_raw(raw), m_N(ref.NumNegativePics), m_D(ref.NumDeltaPocs)
    {}

    void derive()
    {
        const Value deltaRps = m_rps.deltaRps;
        if (deltaRps < 0) {
            for (Value k = m_D - 1; k >= m_N; --k)
                fromReference(k, -1);
            append(deltaRps, m_D, -1);
        }
        for (Value k = 0; k < m_N; ++k)
            fromReference(k, -1);
        if (deltaRps > 0) {
            for (Value k = m_N - 1; k >= 0; --k)
                fromReference(k, 1);
            append(deltaRps, m_D, 1);
        }
        for (Value k = m_N; k < m_D; ++k)
            fromReference(k, 1);
        m_rps.NumDeltaPocs = (m_rps.NumNegativePics + m_rps.NumPositivePics) % 256;
    }

private:
    void fromReference(Value k, int iSign)
    {
        if (k < 16)
            append(wrapToInt(m_ref.DeltaPoc.at(static_cast<std::size_t>(k)) + m_rps.deltaRps), k, iSign);
    }

    void append(Value dPoc, Value k, int iSign)
    {
        const std::size_t uiFlag = static_cast<std::size_t>(k);
        if (dPoc * iSign <= 0 || m_raw.use_delta_flag[uiFlag] == 0)
            return;
        if (m_uiNext < 16) {
            m_rps.DeltaPoc[m_uiNext] = dPoc;
            m_rps.UsedByCurrPic[m_uiNext] = m_raw.used_by_curr_pic_flag[uiFlag];
            m_rps.UseDeltaFlagOfPic[m_uiNext] = m_raw.use_delta_flag[uiFlag];
        }
        ++m_uiNext;
        Value& count = iSign < 0 ? m_rps.NumNegativePics : m_rps.NumPositivePics;
        count = (count + 1) % 256;
    }

    ModelRps& m_rps;
    const ModelRps& m_ref;
    const RawFlags& m_raw;
    const Value m_N;
    const Value m_D;
    std::size_t m_uiNext = 0;
};

void readPredicted(const std::vector<ModelRps>& sets, Value num_short_term_ref_pic_sets, ModelRps& rps, Value stRpsIdx,
                   CModelBits& bits)
{
    Value RefRpsIdx = stRpsIdx - 1;
    if (stRpsIdx == num_short_term_ref_pic_sets) {
        rps.delta_idx = (bits.ue() + 1) % 256;
        RefRpsIdx = stRpsIdx - rps.delta_idx;
    }
    if (RefRpsIdx < 0)
        throw Stop{NOT_ENOUGH_BITS};
    const ModelRps& ref = RefRpsIdx == stRpsIdx ? rps : sets.at(static_cast<std::size_t>(RefRpsIdx));
    Value delta_rps_sign = 0;
    bits.flag(delta_rps_sign);
    const Value abs_delta_rps_minus1 = bits.ue() % 256;
    rps.deltaRps = wrapToByte((1 - 2 * delta_rps_sign) * (abs_delta_rps_minus1 + 1));
    RawFlags raw;
    CDerivation derivation(rps, ref, raw);
    readRawFlags(rps, ref.NumDeltaPocs, raw, bits);
    derivation.derive();
}

// One of the two loops of an explicit set: its index is a signed byte.
void readExplicitEntries(ModelRps& rps, Value first, Value end, int iSign, CModelBits& bits)
{
    Value previous = 0;
    for (Value i = wrapToByte(first); i < end; i = wrapToByte(i + 1)) {
        previous = wrapToInt(previous + iSign * (1 + bits.ue()));
        Value dropped = 0;
        const bool bKept = i >= 0 && i < 16;
        const std::size_t uiEntry = bKept ? static_cast<std::size_t>(i) : 0;
        (bKept ? rps.DeltaPoc[uiEntry] : dropped) = previous;
        bits.flag(bKept ? rps.UsedByCurrPic[uiEntry] : dropped);
    }
}

void readExplicit(ModelRps& rps, CModelBits& bits)
{
    rps.NumNegativePics = bits.ue() % 256;
    rps.NumPositivePics = bits.ue() % 256;
    rps.NumDeltaPocs = (rps.NumNegativePics + rps.NumPositivePics) % 256;
    readExplicitEntries(rps, 0, rps.NumNegativePics, -1, bits);
    readExplicitEntries(rps, rps.NumNegativePics, rps.NumNegativePics + rps.NumPositivePics, 1, bits);
}

} // namespace

int modelReadRps(const std::vector<ModelRps>& sets, Value num_short_term_ref_pic_sets, ModelRps& rps, Value stRpsIdx,
                 CModelBits& bits)
{
    rps = ModelRps{};
    try {
        if (stRpsIdx != 0)
            bits.flag(rps.inter_ref_pic_set_prediction_flag);
        if (rps.inter_ref_pic_set_prediction_flag != 0)
            readPredicted(sets, num_short_term_ref_pic_sets, rps, stRpsIdx, bits);
        else
            readExplicit(rps, bits);
    } catch (const Stop& stop) {
        return stop.iResult;
    }
    return 0;
}

} // namespace h265_model
