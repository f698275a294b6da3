// The sets of the corpus, cut at every bit and with every bit turned.

#include <set>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ChecksPromises.h"
#include "SyntaxCorpus.h"

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

} // namespace
} // namespace parameter_set_checks_corruption_test
