// The sets of the corpus, cut at every bit and with every bit turned, and made ones of every kind.

#include <set>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ChecksPromises.h"
#include "SyntaxCorpus.h"
#include "SyntaxGenerator.h"

namespace parameter_set_checks_corruption_test {

using namespace h265_test;

namespace {

using Bytes = std::vector<unsigned char>;

// Of long sets, which are scaling lists mostly, every so many bits.
std::size_t stepOf(const Bytes& set)
{
    return set.size() < 80 ? 1 : 61;
}

TEST(ChecksCorruption, SetsThatAreCutAtAnyBitKeepThePromises)
{
    CChecksPromises promises;
    for (const Bytes& whole : distinctSetsOfCorpus()) {
        for (std::size_t uiBits = 0; uiBits < 8 * whole.size(); uiBits += stepOf(whole)) {
            Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>((uiBits + 7) / 8));
            if (uiBits % 8 != 0)
                cut.back() = static_cast<unsigned char>(cut.back() & 0xFF00 >> uiBits % 8);
            ASSERT_STREQ(promises.check(cut), nullptr) << uiBits << " bits of " << testing::PrintToString(whole);
        }
        ASSERT_STREQ(promises.check(whole), nullptr);
    }
}

TEST(ChecksCorruption, SetsWithAnyBitTurnedKeepThePromises)
{
    CChecksPromises promises;
    for (const Bytes& whole : distinctSetsOfCorpus()) {
        for (std::size_t uiBit = 0; uiBit < 8 * whole.size(); uiBit += stepOf(whole)) {
            Bytes turned = whole;
            turned[uiBit / 8] = static_cast<unsigned char>(turned[uiBit / 8] ^ 0x80 >> uiBit % 8);
            ASSERT_STREQ(promises.check(turned), nullptr) << "bit " << uiBit << " of " << testing::PrintToString(whole);
        }
        ASSERT_STREQ(promises.check(whole), nullptr);
    }
}

// What a structure keeps of the set before it, its memory, takes part in nothing.
TEST(ChecksCorruption, SetsMadeByChanceKeepThePromisesBehindOneAnother)
{
    CChecksPromises promises;
    const auto expectPromises = [&](auto set, const auto&... context) {
        Bytes nalUnit;
        if (write(set, nalUnit, context...)) // nothing can hold what was drawn
            return;
        EXPECT_STREQ(promises.check(nalUnit), nullptr) << testing::PrintToString(nalUnit);
    };
    for (std::uint32_t i = 0; i < 2000 && !HasFailure(); ++i) {
        SCOPED_TRACE(i);
        const h265_syntax::VideoParameterSet vps = CSyntaxGenerator(i).vps();
        expectPromises(vps);
        h265_syntax::Context context;
        std::ranges::fill(context.apVps, &vps);
        expectPromises(CSyntaxGenerator(i).sps(i % 3 == 0, context), context);
        expectPromises(CSyntaxGenerator(i).pps());
    }
}

} // namespace
} // namespace parameter_set_checks_corruption_test
