// Two readers of the same syntax: the decoder's records, made out of the structures of the syntax library, are
// what the module reads from the same NAL units.

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "BitWriter.h"
#include "Compare.h"
#include "DerivedRecord.h"
#include "SyntaxCorpus.h"
#include "SyntaxGenerator.h"

using namespace h265_model;
using namespace h265_test;
namespace syntax = h265_syntax;

namespace {

#ifndef H265PS_CASES_DIVISOR
#define H265PS_CASES_DIVISOR 1
#endif

constexpr unsigned PARTS = 24;

// Sets of each kind in each part; H265_DERIVED_SETS in the environment says how many else.
std::uint32_t setsOfAPart()
{
    const char* const pCount = std::getenv("H265_DERIVED_SETS");
    return pCount != nullptr ? static_cast<std::uint32_t>(std::strtoul(pCount, nullptr, 10))
                             : 15500 / H265PS_CASES_DIVISOR;
}

// A NAL unit's payload as the module takes it.
CPaddedPayload payloadOf(const syntax::CNalUnit& nalUnit)
{
    return CPaddedPayload({nalUnit.rbsp().begin(), nalUnit.rbsp().end()});
}

// A record of the module and the pool that it lives on.
struct ModuleSps
{
    ModuleSps() = default;
    ~ModuleSps() { h265_codec::destroySPS(record); }
    ModuleSps(const ModuleSps&) = delete;
    ModuleSps& operator=(const ModuleSps&) = delete;

    CTestPool pool;
    h265_codec::SPS* record = h265_codec::createSPS(pool.pool());
};

struct ModulePps
{
    ModulePps() = default;
    ~ModulePps() { h265_codec::destroyPPS(record); }
    ModulePps(const ModulePps&) = delete;
    ModulePps& operator=(const ModulePps&) = delete;

    CTestPool pool;
    h265_codec::PPS* record = h265_codec::createPPS(pool.pool());
};

std::string compareVps(const syntax::VideoParameterSet& set, const syntax::CNalUnit& nalUnit)
{
    const CPaddedPayload payload = payloadOf(nalUnit);
    auto bs = payload.reader<h265_codec::CRbspReader>();
    h265_codec::VPS vps;
    std::memset(&vps, 0, sizeof(vps));
    CDifferences differences;
    differences.check("result", h265_codec::readVPS(&vps, &bs), 0);
    const CTestPool pool;
    CComparison(differences, pool).vps(vps, deriveVps(set));
    return differences.text();
}

// The result that is expected of the module, and the record when that is 0.
template <class TModel, class TDerive>
int derive(TModel& model, const TDerive& makeIt)
{
    try {
        model = makeIt();
    } catch (const Stop& stop) {
        return stop.iResult;
    }
    return 0;
}

// module: holds the record then, for the PPSs of this SPS.
std::string compareSps(const syntax::SequenceParameterSet& set, const syntax::CNalUnit& nalUnit, ModuleSps& module,
                       ModelSps& model)
{
    const CPaddedPayload payload = payloadOf(nalUnit);
    auto bs = payload.reader<h265_codec::CRbspReader>();
    CModelHost host;
    const int iExpected = derive(model, [&] { return deriveSps(set, host); });
    CDifferences differences;
    const int iResult = h265_codec::readSPS(module.record, &bs, module.pool.pool());
    differences.check("result", iResult, iExpected);
    if (iResult == 0 && iExpected == 0)
        CComparison(differences, module.pool).sps(*module.record, model);
    else
        model = {};
    return differences.text();
}

std::string comparePps(const syntax::PictureParameterSet& set, const syntax::CNalUnit& nalUnit, ModuleSps& sps,
                       const ModelSps& modelSps)
{
    const CPaddedPayload payload = payloadOf(nalUnit);
    auto bs = payload.reader<h265_codec::CRbspReader>();
    h265_codec::SPS* apTable[256] = {};
    apTable[sps.record->sps_seq_parameter_set_id] = sps.record;
    ModulePps module;
    ModelPps model;
    CModelHost host;
    const int iExpected = derive(model, [&] { return derivePps(set, modelSps, host); });
    CDifferences differences;
    const int iResult = h265_codec::readPPS(module.record, apTable, &bs, module.pool.pool());
    differences.check("result", iResult, iExpected);
    if (iResult == 0 && iExpected == 0)
        CComparison(differences, module.pool).pps(*module.record, model);
    return differences.text();
}

TEST(DerivedRecords, OfTheCorpusAreWhatTheModuleReads)
{
    unsigned uiCompared = 0;
    for (const std::string& name : syntaxStreamNames()) {
        SCOPED_TRACE(name);
        const SyntaxStream stream = syntaxStream(name);
        std::map<Value, std::pair<ModuleSps, ModelSps>> spss;
        for (const SyntaxStream::Set& set : stream.sets) {
            const syntax::CNalUnit nalUnit(stream.nalUnit(set));
            if (nalUnit.header().nuh_layer_id != 0)
                continue;
            SCOPED_TRACE(set.uiOffset);
            syntax::VideoParameterSet vps;
            syntax::SequenceParameterSet sps;
            syntax::PictureParameterSet pps;
            if (nalUnit.header().nal_unit_type == syntax::VPS_NUT && read(vps, nalUnit)) {
                EXPECT_EQ(compareVps(vps, nalUnit), "");
                ++uiCompared;
            } else if (nalUnit.header().nal_unit_type == syntax::SPS_NUT && read(sps, nalUnit) &&
                       isReadByTheTables(sps)) {
                spss.erase(sps.sps_seq_parameter_set_id);
                auto& [module, model] = spss[sps.sps_seq_parameter_set_id];
                EXPECT_EQ(compareSps(sps, nalUnit, module, model), "");
                ++uiCompared;
            } else if (nalUnit.header().nal_unit_type == syntax::PPS_NUT && read(pps, nalUnit) &&
                       isReadByTheTables(pps)) {
                const auto spsOfIt = spss.find(pps.pps_seq_parameter_set_id);
                if (spsOfIt == spss.end() || spsOfIt->second.second.iBlock == 0)
                    continue;
                EXPECT_EQ(comparePps(pps, nalUnit, spsOfIt->second.first, spsOfIt->second.second), "");
                ++uiCompared;
            }
        }
    }
    EXPECT_GT(uiCompared, 500U);
}

// Sets by chance, with pictures of a size that tables can be made for and tiles that mostly cover them.
class CChance
{
public:
    explicit CChance(std::uint32_t uiSeed) : m_generator(uiSeed), m_random(uiSeed) {}

    syntax::VideoParameterSet vps() { return m_generator.vps(); }

    syntax::SequenceParameterSet sps()
    {
        syntax::SequenceParameterSet set = m_generator.sps(false, {});
        set.pic_width_in_luma_samples = 8 * (1 + below(100));
        set.pic_height_in_luma_samples = 8 * (1 + below(100));
        set.log2_min_luma_coding_block_size_minus3 = below(3);
        set.log2_diff_max_min_luma_coding_block_size = below(5);
        return set;
    }

    syntax::PictureParameterSet pps(const syntax::SequenceParameterSet& sps, const ModelSps& record)
    {
        syntax::PictureParameterSet set = m_generator.pps();
        set.pps_seq_parameter_set_id = sps.sps_seq_parameter_set_id;
        if (!set.tiles_enabled_flag || set.uniform_spacing_flag || below(16) == 0)
            return set;
        divide(
            static_cast<std::uint32_t>(record.PicWidthInCtbsY), set.num_tile_columns_minus1, set.column_width_minus1);
        divide(static_cast<std::uint32_t>(record.PicHeightInCtbsY), set.num_tile_rows_minus1, set.row_height_minus1);
        return set;
    }

    // Reading stopped in what was made: by reference picture sets or layers that nothing can hold.
    [[nodiscard]] bool stopped() const { return static_cast<bool>(m_generator.stopped()); }

private:
    std::uint32_t below(std::uint32_t uiBound) { return static_cast<std::uint32_t>(m_random() % uiBound); }

    // Columns or rows that cover a side.
    void divide(std::uint32_t uiSide, std::uint32_t& uiLast, std::vector<std::uint32_t>& minus1)
    {
        uiLast = std::min(uiLast, uiSide - 1);
        minus1.resize(uiLast);
        for (std::uint32_t i = 0; i < uiLast; ++i) {
            const std::uint32_t uiMost = uiSide - (uiLast - i);
            minus1[i] = below(std::min(uiMost, 3U));
            uiSide -= minus1[i] + 1;
        }
    }

    CSyntaxGenerator m_generator;
    std::mt19937 m_random;
};

class DerivedRecordsByChance : public testing::TestWithParam<unsigned>
{
protected:
    // The NAL unit that the library writes, or none where a set cannot be written.
    template <class TSet>
    bool writeAndRead(TSet& set)
    {
        return !syntax::write(set, m_bytes) && (m_nalUnit.assign(m_bytes), syntax::read(set, m_nalUnit));
    }

    std::vector<unsigned char> m_bytes;
    syntax::CNalUnit m_nalUnit;
};

TEST_P(DerivedRecordsByChance, AreWhatTheModuleReads)
{
    std::uint32_t uiVps = 0;
    std::uint32_t uiSps = 0;
    std::uint32_t uiPps = 0;
    const std::uint32_t uiSets = setsOfAPart();
    for (std::uint32_t i = 0; i < uiSets; ++i) {
        const std::uint32_t uiSeed = GetParam() + PARTS * i;
        SCOPED_TRACE(uiSeed);
        CChance ofVps(uiSeed);
        syntax::VideoParameterSet vps = ofVps.vps();
        if (!ofVps.stopped() && writeAndRead(vps)) {
            ASSERT_EQ(compareVps(vps, m_nalUnit), "");
            ++uiVps;
        }
        CChance ofSps(uiSeed);
        syntax::SequenceParameterSet sps = ofSps.sps();
        if (ofSps.stopped() || !writeAndRead(sps) || !isReadByTheTables(sps))
            continue;
        ModuleSps module;
        ModelSps model;
        ASSERT_EQ(compareSps(sps, m_nalUnit, module, model), "");
        ++uiSps;
        if (model.iBlock == 0)
            continue;
        CChance ofPps(uiSeed);
        syntax::PictureParameterSet pps = ofPps.pps(sps, model);
        if (ofPps.stopped() || !writeAndRead(pps) || !isReadByTheTables(pps))
            continue;
        ASSERT_EQ(comparePps(pps, m_nalUnit, module, model), "");
        ++uiPps;
    }
    EXPECT_GT(uiVps, uiSets / 2);
    EXPECT_GT(uiSps, uiSets / 2);
    EXPECT_GT(uiPps, uiSets / 3);
    std::printf("%u VPSs, %u SPSs, %u PPSs\n", uiVps, uiSps, uiPps);
}

INSTANTIATE_TEST_SUITE_P(Some, DerivedRecordsByChance, testing::Values(0U));
INSTANTIATE_TEST_SUITE_P(Rest, DerivedRecordsByChance, testing::Range(1U, PARTS));

} // namespace
