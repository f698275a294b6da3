// The sets of the corpus, cut at every bit and with every bit turned.

#include <cstdlib>
#include <set>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "SyntaxCorpus.h"
#include "SyntaxPromises.h"

namespace parameter_set_syntax_corruption_test {

using namespace h265_test;

namespace {

using Bytes = std::vector<unsigned char>;

// Every bit of short sets; of others every so many, from another one for each set. With
// H265_SYNTAX_ALL_BITS in the environment every bit of all, which takes minutes.
std::size_t stepOf(const Bytes& set)
{
    if (std::getenv("H265_SYNTAX_ALL_BITS") != nullptr || set.size() < 24)
        return 1;
    return set.size() < 150 ? 11 : 83;
}

TEST(SyntaxCorruption, SetsThatAreCutAtAnyBitKeepThePromises)
{
    CSyntaxPromises promises;
    for (const Bytes& whole : distinctSetsOfCorpus()) {
        for (std::size_t uiBits = whole.back() % stepOf(whole); uiBits < 8 * whole.size(); uiBits += stepOf(whole)) {
            Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>((uiBits + 7) / 8));
            if (uiBits % 8 != 0)
                cut.back() = static_cast<unsigned char>(cut.back() & 0xFF00 >> uiBits % 8);
            ASSERT_STREQ(promises.check(cut), nullptr) << uiBits << " bits of " << testing::PrintToString(whole);
        }
        ASSERT_STREQ(promises.check(whole), nullptr);
    }
}

TEST(SyntaxCorruption, SetsWithAnyBitTurnedKeepThePromises)
{
    CSyntaxPromises promises;
    for (const Bytes& whole : distinctSetsOfCorpus()) {
        for (std::size_t uiBit = whole.back() % stepOf(whole); uiBit < 8 * whole.size(); uiBit += stepOf(whole)) {
            Bytes turned = whole;
            turned[uiBit / 8] = static_cast<unsigned char>(turned[uiBit / 8] ^ 0x80 >> uiBit % 8);
            ASSERT_STREQ(promises.check(turned), nullptr) << "bit " << uiBit << " of " << testing::PrintToString(whole);
        }
        ASSERT_STREQ(promises.check(whole), nullptr);
    }
}

} // namespace
} // namespace parameter_set_syntax_corruption_test
