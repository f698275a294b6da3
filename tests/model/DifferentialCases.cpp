#include "DifferentialCases.h"

#include <type_traits>

#include "ParameterSetGenerator.h"
#include "SubStructureCases.h"
#include "Twins.h"

namespace h265_model {

using namespace h265_codec;

const char* const KIND_NAMES[KIND_COUNT] = {"BitOperations",
                                            "RandomPayloads",
                                            "VpsSets",
                                            "SpsSets",
                                            "PpsSets",
                                            "DamagedSets",
                                            "Rereadings",
                                            "PoolFailures",
                                            "SubStructures"};
const char* const READING_NAMES[READING_COUNT] = {
    "VPS", "SPS", "PPS", "ptl", "rps", "scalingList", "explicitList", "tileGrid"};
const char* const FEATURE_NAMES[FEATURE_COUNT] = {"predicted RPS",
                                                  "explicit matrix in SPS",
                                                  "long-term pictures",
                                                  "PCM",
                                                  "all seven sub-layers",
                                                  "multiple tiles",
                                                  "explicit tile sizes",
                                                  "explicit matrix in PPS",
                                                  "deblocking offsets"};

namespace {

bool hasOwnMatrix(const ModelScalingLists& lists)
{
    for (const auto& row : lists.matrices) {
        for (const ModelMatrix& matrix : row) {
            if (matrix.source.kind == MatrixSource::Kind::Own)
                return true;
        }
    }
    return false;
}

bool hasPredictedSet(const ModelSps& sps)
{
    for (Value i = 0; i < sps.num_short_term_ref_pic_sets; ++i) {
        const ModelRps& rps = sps.sets[static_cast<std::size_t>(i)];
        if (rps.inter_ref_pic_set_prediction_flag != 0 && rps.NumDeltaPocs != 0)
            return true;
    }
    return false;
}

void countFeatures(const ModelSps& sps, Tally& tally)
{
    tally.features[0] += hasPredictedSet(sps);
    tally.features[1] += sps.scaling_list_enabled_flag != 0 && hasOwnMatrix(sps.store.lists);
    tally.features[2] += sps.long_term_ref_pics_present_flag != 0 && sps.num_long_term_ref_pics_sps != 0;
    tally.features[3] += sps.pcm_enabled_flag != 0;
    tally.features[SUB_LAYERS_FEATURE] += sps.sps_max_sub_layers_minus1 == 7;
}

void countFeatures(const ModelPps& pps, Tally& tally)
{
    tally.features[5] += pps.MultipleTilesFlag != 0;
    tally.features[6] += pps.MultipleTilesFlag != 0 && pps.uniform_spacing_flag == 0;
    tally.features[7] += pps.pps_scaling_list_data_present_flag != 0 && hasOwnMatrix(pps.store.lists);
    tally.features[8] +=
        pps.deblocking_filter_control_present_flag != 0 && pps.pps_deblocking_filter_disabled_flag == 0;
}

template <class TReader>
constexpr bool HAS_GAPS = std::is_same_v<TReader, CBitStreamReader>;

enum class Set
{
    Vps,
    Sps,
    Pps
};

// One case: its twins and its random choices.
template <class TReader>
class CCase
{
public:
    CCase(std::uint64_t ulSeed, Tally& tally) : m_random(ulSeed), m_twins(m_random.chance(30)), m_tally(tally) {}

    std::string run(Kind kind)
    {
        m_twins.create(kind == Kind::PoolFailures && m_random.chance(5) ? 1 + m_random.below(3) : 0);
        for (unsigned i = 0; i < m_twins.SPS_COUNT && m_twins.apSps[i] != nullptr; ++i)
            m_twins.setPicture(i, pictureSide(), pictureSide(), 3 + m_random.below(4));
        m_twins.fillTable(m_random, m_random.chance(5) ? 50 : 0);
        if (m_twins.apSps[0] != nullptr && m_twins.apSps[1] != nullptr && m_twins.pPps != nullptr)
            runKind(kind);
        m_twins.destroy();
        return m_twins.differences.text();
    }

private:
    unsigned pictureSide() { return m_random.chance(2) ? 0 : 1 + m_random.below(m_random.chance(10) ? 60 : 12); }

    void runKind(Kind kind)
    {
        switch (kind) {
        case Kind::BitOperations:
            runBitOperations(m_twins, reading(randomBytes(m_random.below(41))), m_random.next());
            return;
        case Kind::RandomPayloads:
            runRandomPayload();
            return;
        case Kind::VpsSets:
        case Kind::SpsSets:
        case Kind::PpsSets:
            runSet(static_cast<Set>(static_cast<int>(kind) - static_cast<int>(Kind::VpsSets)),
                   m_random.chance(30) ? 1 + m_random.below(4) : 0);
            return;
        case Kind::DamagedSets:
            m_bDamage = true;
            runSet(static_cast<Set>(m_random.below(3)), m_random.below(3));
            return;
        case Kind::Rereadings:
        case Kind::PoolFailures:
            runRereadings(kind == Kind::PoolFailures);
            return;
        case Kind::SubStructures:
            runSubStructure(m_twins, m_random, HAS_GAPS<TReader>, m_tally);
            return;
        }
    }

    std::vector<unsigned char> randomBytes(std::size_t uiCount)
    {
        constexpr unsigned DENSITIES[] = {128, 128, 128, 30, 60, 200, 240, 0, 256};
        const unsigned uiDensity = DENSITIES[m_random.below(9)];
        std::vector<unsigned char> bytes(uiCount);
        for (unsigned char& byte : bytes) {
            for (unsigned uiBit = 0; uiBit < 8; ++uiBit)
                byte = static_cast<unsigned char>(2 * byte + (m_random.below(256) < uiDensity ? 1 : 0));
        }
        return bytes;
    }

    Reading reading(std::vector<unsigned char> payload)
    {
        Reading result;
        result.payload = std::move(payload);
        result.ucPadding = m_random.byte();
        if (m_random.chance(2))
            result.ulTopBitMask = m_random.chance(50) ? std::uint64_t{1} << m_random.below(64) : m_random.next();
        constexpr int LEVELS[] = {1, 2, 3, 7, -5};
        if (m_random.chance(15))
            result.iLogLevel = LEVELS[m_random.below(5)];
        return result;
    }

    void runRandomPayload()
    {
        const unsigned uiLength = m_random.chance(1) ? m_random.below(4097) : m_random.below(41);
        Reading input = reading(randomBytes(uiLength));
        const unsigned uiTarget = m_random.below(8);
        if (uiTarget < 3)
            read(static_cast<Set>(uiTarget), input);
        else
            runSubStructureOn(m_twins, m_random, uiTarget, input, m_tally);
    }

    void read(Set set, const Reading& input, unsigned uiSps = 0)
    {
        Value result = 0;
        if (set == Set::Vps)
            result = m_twins.readVps(input);
        else if (set == Set::Sps)
            result = m_twins.readSps(input, uiSps);
        else
            result = m_twins.readPps(input);
        Tally::Count& count = m_tally.counts[static_cast<unsigned>(set)];
        ++count.ulDone;
        if (result != 0)
            return;
        ++count.ulGood;
        if (set == Set::Sps)
            countFeatures(m_twins.aModelSps[uiSps], m_tally);
        if (set == Set::Pps)
            countFeatures(m_twins.modelPps, m_tally);
    }

    std::vector<unsigned char> write(Set set, unsigned uiOddShare)
    {
        CPayloadWriter writer(m_random, HAS_GAPS<TReader>);
        writer.setOddShare(uiOddShare);
        const unsigned uiId = m_random.below(16);
        const ModelSps& sps = m_twins.aModelSps[uiId % m_twins.SPS_COUNT];
        if (set == Set::Vps)
            writeVps(writer, m_random);
        else if (set == Set::Sps)
            writeSps(writer, m_random);
        else
            writePps(writer,
                     m_random,
                     {static_cast<unsigned>(sps.PicWidthInCtbsY), static_cast<unsigned>(sps.PicHeightInCtbsY)},
                     uiId);
        std::vector<unsigned char> payload = writer.payload();
        if (m_bDamage)
            damage(payload);
        return payload;
    }

    void damage(std::vector<unsigned char>& payload)
    {
        const std::size_t uiBits = 8 * payload.size();
        const unsigned uiWay = m_random.below(3);
        if (uiWay != 0) {
            for (unsigned i = 0; i < 1 + m_random.below(4); ++i)
                flip(payload, m_random.below(static_cast<unsigned>(uiBits)));
        }
        if (uiWay == 1)
            return;
        const unsigned uiKept = m_random.below(static_cast<unsigned>(uiBits + 1));
        payload.resize((uiKept + 7) / 8);
        if (uiKept % 8 != 0)
            payload.back() = static_cast<unsigned char>(payload.back() & 0xff00 >> uiKept % 8);
    }

    static void flip(std::vector<unsigned char>& payload, unsigned uiBit)
    {
        payload[uiBit / 8] = static_cast<unsigned char>(payload[uiBit / 8] ^ 0x80U >> uiBit % 8);
    }

    void runSet(Set set, unsigned uiOddShare) { read(set, reading(write(set, uiOddShare))); }

    void runRereadings(bool bPoolFails)
    {
        const unsigned uiReadings = 2 + m_random.below(4);
        for (unsigned i = 0; i < uiReadings; ++i) {
            m_twins.differences.setPlace("reading " + std::to_string(i) + ": ");
            const auto set = static_cast<Set>(m_random.chance(10) ? 0 : 1 + m_random.below(2));
            m_bDamage = m_random.chance(15);
            const unsigned uiSps = m_random.below(m_twins.SPS_COUNT);
            Reading input = reading(write(set, m_random.chance(20) ? 2 : 0));
            if (bPoolFails && m_random.chance(70))
                input.uiFailTake = 1 + m_random.below(5);
            read(set, input, uiSps);
            m_twins.limitPicture(uiSps);
            if (m_random.chance(30))
                m_twins.setPicture(uiSps, pictureSide(), pictureSide(), m_random.below(300));
        }
    }

    CRandom m_random;
    CTwins<TReader> m_twins;
    Tally& m_tally;
    bool m_bDamage = false;
};

} // namespace

std::string runCase(const CaseId& id, Tally& tally)
{
    CRandom seeds(id.ulSeed);
    CRandom numbers(seeds.next() ^ id.ulNumber);
    const std::uint64_t ulSeed = numbers.next() + static_cast<std::uint64_t>(id.kind);
    if (id.reader == Reader::Decoder)
        return CCase<CBitStreamReader>(ulSeed, tally).run(id.kind);
    return CCase<CRbspReader>(ulSeed, tally).run(id.kind);
}

std::string describe(const CaseId& id)
{
    return std::string("--kind ") + KIND_NAMES[static_cast<unsigned>(id.kind)] + " --reader " +
           (id.reader == Reader::Decoder ? "decoder" : "rbsp") + " --seed " + std::to_string(id.ulSeed) + " --first " +
           std::to_string(id.ulNumber) + " --cases 1";
}

} // namespace h265_model
