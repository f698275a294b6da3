#include <gtest/gtest.h>

#include "DifferentialCases.h"

namespace {

using namespace h265_model;

// A million cases in all, in parts that ctest can run side by side.
struct Part
{
    Kind kind;
    Reader reader;
    unsigned uiCases;
};

class ModuleAndModel : public testing::TestWithParam<Part>
{};

TEST_P(ModuleAndModel, AgreeOnEveryCase)
{
    Tally tally;
    for (unsigned i = 0; i < GetParam().uiCases; ++i) {
        const CaseId id{GetParam().kind, GetParam().reader, 1, i};
        const std::string differences = runCase(id, tally);
        ASSERT_EQ(differences, "") << "differential " << describe(id);
    }
}

std::vector<Part> parts()
{
    constexpr unsigned CASES[KIND_COUNT] = {80000, 120000, 50000, 60000, 70000, 60000, 20000, 10000, 30000};
    std::vector<Part> result;
    for (unsigned i = 0; i < KIND_COUNT; ++i) {
        for (const Reader reader : {Reader::Decoder, Reader::Rbsp})
            result.push_back({static_cast<Kind>(i), reader, CASES[i]});
    }
    return result;
}

INSTANTIATE_TEST_SUITE_P(Kinds, ModuleAndModel, testing::ValuesIn(parts()), [](const auto& part) {
    return std::string(KIND_NAMES[static_cast<unsigned>(part.param.kind)]) +
           (part.param.reader == Reader::Decoder ? "WithDecoderReader" : "WithRbspReader");
});

} // namespace
