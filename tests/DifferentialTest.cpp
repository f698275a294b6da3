#include <gtest/gtest.h>

#include "DifferentialCases.h"

namespace {

using namespace h265_model;

#ifndef H265PS_CASES_DIVISOR
#define H265PS_CASES_DIVISOR 1
#endif

// A million cases in all, or a part of them where that would take too long, in parts that ctest can run side
// by side: a tenth of them (Some), and those behind them (Rest).
constexpr unsigned CASES_DIVISOR = H265PS_CASES_DIVISOR;

struct Part
{
    Kind kind;
    Reader reader;
    unsigned uiFirst;
    unsigned uiCases;
};

// What a failure message calls the part.
std::ostream& operator<<(std::ostream& out, const Part& part)
{
    return out << part.uiCases << " cases";
}

// Agreement counts only where whole sets are read, through every branch.
void expectWholeSets(const Tally& tally, unsigned uiCases, Reader reader)
{
    for (unsigned i = 0; i < 3; ++i)
        EXPECT_GT(tally.counts[i].ulGood, uiCases / 30) << READING_NAMES[i];
    for (unsigned i = 0; i < FEATURE_COUNT; ++i) {
        // To the decoder's reader the sub-layer count of an SPS is always 0.
        if (i == SUB_LAYERS_FEATURE && reader == Reader::Decoder)
            continue;
        EXPECT_GT(tally.features[i], uiCases / 60) << FEATURE_NAMES[i];
    }
}

class ModuleAndModel : public testing::TestWithParam<Part>
{};

TEST_P(ModuleAndModel, AgreeOnEveryCase)
{
    Tally tally;
    for (unsigned i = 0; i < GetParam().uiCases; ++i) {
        const CaseId id{GetParam().kind, GetParam().reader, 1, GetParam().uiFirst + i};
        const std::string differences = runCase(id, tally);
        ASSERT_EQ(differences, "") << "differential " << describe(id);
    }
    if (GetParam().kind == Kind::Rereadings)
        expectWholeSets(tally, GetParam().uiCases, GetParam().reader);
}

std::vector<Part> parts(bool bSome)
{
    constexpr unsigned CASES[KIND_COUNT] = {80000, 120000, 50000, 60000, 70000, 60000, 20000, 10000, 30000};
    std::vector<Part> result;
    for (unsigned i = 0; i < KIND_COUNT; ++i) {
        const unsigned uiAll = CASES[i] / CASES_DIVISOR;
        const unsigned uiSome = uiAll / 10;
        for (const Reader reader : {Reader::Decoder, Reader::Rbsp})
            result.push_back({static_cast<Kind>(i), reader, bSome ? 0 : uiSome, bSome ? uiSome : uiAll - uiSome});
    }
    return result;
}

std::string nameOf(const testing::TestParamInfo<Part>& part)
{
    return std::string(KIND_NAMES[static_cast<unsigned>(part.param.kind)]) +
           (part.param.reader == Reader::Decoder ? "WithDecoderReader" : "WithRbspReader");
}

INSTANTIATE_TEST_SUITE_P(Some, ModuleAndModel, testing::ValuesIn(parts(true)), nameOf);
INSTANTIATE_TEST_SUITE_P(Rest, ModuleAndModel, testing::ValuesIn(parts(false)), nameOf);

} // namespace
