// The tables recognise repeats by a hash that whoever makes a stream can compute and aim at: sets that
// share a hash must still be told apart.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>

#include <gtest/gtest.h>

#include "DecParameterSetReader.h"
#include "NalUnitWriter.h"
#include "ParameterSetTables.h"
#include "SyntaxWriters.h"

using namespace h265_codec;
using namespace h265_stream;
using namespace h265_test;

namespace {

std::size_t hashOf(const Bytes& bytes)
{
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

// libstdc++'s hash of 64 bits: each step can be undone, so that eight bytes lead to any hash.
constexpr std::uint64_t SEED = 0xc70f6907;
constexpr std::uint64_t FACTOR = 0xc6a4a7935bd1e995;

// Its own inverse.
constexpr std::uint64_t shiftMix(std::uint64_t ulValue)
{
    return ulValue ^ (ulValue >> 47);
}

// 1 / FACTOR modulo 2^64; every round doubles the bits that are right.
constexpr std::uint64_t inverseOfFactor()
{
    std::uint64_t ulInverse = FACTOR;
    for (unsigned i = 0; i < 6; ++i)
        ulInverse *= 2 - FACTOR * ulInverse;
    return ulInverse;
}
constexpr std::uint64_t INVERSE = inverseOfFactor();
static_assert(FACTOR * INVERSE == 1);

// The set with bytes behind it, which no reader looks at, so that it has the hash.
Bytes withHash(Bytes bytes, std::size_t uiHash)
{
    bytes.resize((bytes.size() + 7) / 8 * 8, 0x55);
    std::uint64_t ulState = SEED ^ ((bytes.size() + 8) * FACTOR);
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
        std::uint64_t ulWord = 0;
        std::memcpy(&ulWord, bytes.data() + i, 8);
        ulState = (ulState ^ (shiftMix(ulWord * FACTOR) * FACTOR)) * FACTOR;
    }
    const std::uint64_t ulLastState = shiftMix(shiftMix(uiHash) * INVERSE);
    const std::uint64_t ulLastWord = shiftMix((ulState ^ (ulLastState * INVERSE)) * INVERSE) * INVERSE;
    bytes.resize(bytes.size() + 8);
    std::memcpy(bytes.data() + bytes.size() - 8, &ulLastWord, 8);
    return bytes;
}

class HashCollision : public testing::Test
{
protected:
    void SetUp() override
    {
        constexpr std::size_t HASH = static_cast<std::size_t>(0x123456789abcdef0);
        if (hashOf(withHash({1, 2, 3}, HASH)) != HASH)
            GTEST_SKIP() << "another hash than libstdc++'s of 64 bits";
    }

    static Bytes spsUnit(unsigned sps_seq_parameter_set_id, unsigned pic_width_in_luma_samples)
    {
        SpsSyntax syntax;
        syntax.sps_seq_parameter_set_id = sps_seq_parameter_set_id;
        syntax.pic_width_in_luma_samples = pic_width_in_luma_samples;
        return nalUnit(SPS_NUT, write(syntax));
    }

    CParameterSetTables m_tables{StreamOptions{}};
};

TEST_F(HashCollision, KeepsSetsOfOneIdApart)
{
    const Bytes one = spsUnit(0, 640);
    const Bytes other = withHash(spsUnit(0, 320), hashOf(one));
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_FALSE(m_tables.readNalUnit(one).bRepeat);
        EXPECT_EQ(m_tables.sps(0)->pic_width_in_luma_samples, 640);
        EXPECT_TRUE(m_tables.readNalUnit(one).bRepeat);
        EXPECT_FALSE(m_tables.readNalUnit(other).bRepeat);
        EXPECT_EQ(m_tables.sps(0)->pic_width_in_luma_samples, 320);
        EXPECT_TRUE(m_tables.readNalUnit(other).bRepeat);
    }
}

TEST_F(HashCollision, KeepsSetsOfTwoIdsApart)
{
    const Bytes one = spsUnit(0, 640);
    const Bytes other = withHash(spsUnit(1, 320), hashOf(one));
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_FALSE(m_tables.readNalUnit(one).bRepeat);
        EXPECT_FALSE(m_tables.readNalUnit(other).bRepeat);
        EXPECT_EQ(m_tables.sps(0)->pic_width_in_luma_samples, 640);
        EXPECT_EQ(m_tables.sps(1)->pic_width_in_luma_samples, 320);
    }
}

// Each type has a table of its own: none of the sets hides the other.
TEST_F(HashCollision, KeepsSetsOfTwoTypesApart)
{
    const Bytes vps = nalUnit(VPS_NUT, write(VpsSyntax{.vps_video_parameter_set_id = 3}));
    const Bytes sps = withHash(spsUnit(200, 640), hashOf(vps));
    for (unsigned i = 0; i < 3; ++i) {
        const ParameterSetEvent vpsEvent = m_tables.readNalUnit(vps);
        EXPECT_EQ(vpsEvent.bRepeat, i != 0);
        EXPECT_NE(vpsEvent.vps, nullptr);
        const ParameterSetEvent spsEvent = m_tables.readNalUnit(sps);
        EXPECT_EQ(spsEvent.bRepeat, i != 0);
        EXPECT_NE(spsEvent.sps, nullptr);
        EXPECT_EQ(m_tables.vps(3), vpsEvent.vps);
        EXPECT_EQ(m_tables.sps(200), spsEvent.sps);
    }
}

// Two sets with forbidden_zero_bit: an error line is told once for each, not for their repeats.
TEST_F(HashCollision, KeepsFailedSetsApart)
{
    Bytes one = spsUnit(0, 640);
    one[0] |= 0x80;
    Bytes other = spsUnit(0, 320);
    other[0] |= 0x80;
    other = withHash(other, hashOf(one));
    EXPECT_FALSE(m_tables.readNalUnit(one).bSeenBefore);
    EXPECT_FALSE(m_tables.readNalUnit(other).bSeenBefore);
    EXPECT_TRUE(m_tables.readNalUnit(one).bSeenBefore);
    EXPECT_TRUE(m_tables.readNalUnit(other).bSeenBefore);
}

} // namespace
