#include "NalUnitFinder.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <random>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "NalUnitWriter.h"

namespace nal_unit_finder_test {

using namespace h265_stream;
using h265_test::Bytes;

namespace {

struct Unit
{
    std::uint64_t ulOffset;
    std::uint64_t ulSize;
    Bytes bytes; // as far as they are handed on

    bool operator==(const Unit&) const = default;
};

[[maybe_unused]] std::ostream& operator<<(std::ostream& out, const Unit& unit)
{
    return out << unit.ulSize << " bytes at " << unit.ulOffset << ", kept " << unit.bytes.size();
}

class CUnitList : public CNalUnitSink
{
public:
    bool onNalUnit(const NalUnit& unit) override
    {
        m_units.push_back({unit.ulOffset, unit.ulSize, Bytes(unit.bytes.begin(), unit.bytes.end())});
        m_headers.push_back(unit.header);
        return m_units.size() != m_uiLast;
    }

    std::vector<Unit> m_units;
    std::vector<NalUnitHeader> m_headers;
    std::size_t m_uiLast = 0; // ask for an end at this one
};

// Annex B as it is defined, on the whole stream: every position is looked at.
std::vector<Unit> referenceUnits(const Bytes& stream)
{
    const auto isAt = [&](std::size_t i, unsigned char ucThird) {
        return i + 2 < stream.size() && stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == ucThird;
    };
    std::vector<Unit> units;
    for (std::size_t i = 0; i < stream.size(); ++i) {
        if (!isAt(i, 1))
            continue;
        const std::size_t uiBegin = i + 3;
        std::size_t uiEnd = uiBegin;
        while (uiEnd < stream.size() && !isAt(uiEnd, 0) && !isAt(uiEnd, 1))
            ++uiEnd;
        while (uiEnd > uiBegin && stream[uiEnd - 1] == 0)
            --uiEnd;
        if (uiEnd == uiBegin)
            continue;
        const bool bSet = isParameterSet(stream[uiBegin] >> 1 & 0x3f);
        const std::size_t uiKept = bSet ? uiEnd : std::min(uiEnd, uiBegin + MAX_OTHER_UNIT_BYTES);
        units.push_back({uiBegin,
                         uiEnd - uiBegin,
                         Bytes(stream.begin() + static_cast<std::ptrdiff_t>(uiBegin),
                               stream.begin() + static_cast<std::ptrdiff_t>(uiKept))});
    }
    return units;
}

// The pieces are heap blocks of their own that are gone after feeding.
std::vector<Unit> unitsOf(const Bytes& stream, const std::vector<std::size_t>& cuts = {})
{
    CNalUnitFinder finder;
    CUnitList list;
    std::size_t uiBegin = 0;
    std::vector<std::size_t> ends = cuts;
    ends.push_back(stream.size());
    for (const std::size_t uiEnd : ends) {
        const Bytes piece(stream.begin() + static_cast<std::ptrdiff_t>(uiBegin),
                          stream.begin() + static_cast<std::ptrdiff_t>(uiEnd));
        EXPECT_TRUE(finder.feed(piece, list));
        uiBegin = uiEnd;
    }
    EXPECT_TRUE(finder.finish(list));
    return list.m_units;
}

constexpr unsigned char SLICE = 0x02;    // first header byte of nal_unit_type 1
constexpr unsigned char SPS_HEAD = 0x42; // of nal_unit_type 33

TEST(NalUnitFinder, KeepsToAnnexB)
{
    struct Case
    {
        const char* pName;
        Bytes stream;
        std::vector<Unit> units;
    };
    const Case aCases[] = {
        {"nothing", {}, {}},
        {"no start code", {1, 2, 3, 4, 0, 0, 2, 1}, {}},
        {"only zeros", Bytes(40, 0), {}},
        {"start code of three bytes", {0, 0, 1, SLICE, 1, 9}, {{3, 3, {}}}},
        {"start code of four bytes", {0, 0, 0, 1, SLICE, 1, 9}, {{4, 3, {}}}},
        {"many leading zeros", {0, 0, 0, 0, 0, 0, 1, SLICE, 1, 9}, {{7, 3, {}}}},
        {"bytes in front of the first start code", {7, 0, 7, 0, 0, 1, SLICE, 1}, {{6, 2, {}}}},
        {"two units", {0, 0, 1, SLICE, 1, 0, 0, 1, SLICE, 1, 9}, {{3, 2, {}}, {8, 3, {}}}},
        {"the fourth byte of a start code is of no unit",
         {0, 0, 1, SLICE, 1, 0, 0, 0, 1, SLICE, 1, 9},
         {{3, 2, {}}, {9, 3, {}}}},
        {"trailing zeros between units", {0, 0, 1, SLICE, 1, 0, 0, 0, 0, 0, 1, SLICE, 1}, {{3, 2, {}}, {11, 2, {}}}},
        {"one trailing zero at the end", {0, 0, 1, SLICE, 1, 0}, {{3, 2, {}}}},
        {"two trailing zeros at the end", {0, 0, 1, SLICE, 1, 0, 0}, {{3, 2, {}}}},
        {"three trailing zeros at the end", {0, 0, 1, SLICE, 1, 0, 0, 0}, {{3, 2, {}}}},
        {"what follows 00 00 00 is of no unit",
         {0, 0, 1, SLICE, 1, 0, 0, 0, 9, 9, 0, 0, 1, SLICE, 1},
         {{3, 2, {}}, {13, 2, {}}}},
        {"00 00 02 and 00 00 03 are inside", {0, 0, 1, SLICE, 1, 0, 0, 2, 0, 0, 3, 5}, {{3, 9, {}}}},
        {"zeros inside", {0, 0, 1, SLICE, 1, 0, 5, 0, 0, 5}, {{3, 7, {}}}},
        {"a start code with nothing behind it", {0, 0, 1}, {}},
        {"a start code with a zero behind it", {0, 0, 1, 0}, {}},
        {"a start code with zeros behind it", {0, 0, 1, 0, 0}, {}},
        {"two start codes in a row", {0, 0, 1, 0, 0, 1, SLICE, 1}, {{6, 2, {}}}},
        {"a header cut to one byte", {0, 0, 1, SLICE}, {{3, 1, {}}}},
        {"a header that begins with zero", {0, 0, 1, 0, 1, 5}, {{3, 3, {}}}},
        {"a parameter set", {0, 0, 1, SPS_HEAD, 1, 9}, {{3, 3, {}}}},
        {"a parameter set cut to one byte", {0, 0, 1, SPS_HEAD}, {{3, 1, {}}}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pName);
        std::vector<Unit> expected = c.units;
        for (Unit& unit : expected) {
            const auto begin = c.stream.begin() + static_cast<std::ptrdiff_t>(unit.ulOffset);
            unit.bytes.assign(begin, begin + static_cast<std::ptrdiff_t>(unit.ulSize));
        }
        EXPECT_EQ(referenceUnits(c.stream), expected);
        EXPECT_EQ(unitsOf(c.stream), expected);
        for (std::size_t i = 0; i <= c.stream.size(); ++i) {
            for (std::size_t j = i; j <= c.stream.size(); ++j) {
                ASSERT_EQ(unitsOf(c.stream, {i, j}), expected) << "cut at " << i << " and " << j;
            }
        }
    }
}

TEST(NalUnitFinder, ReadsTheHeaderAcrossPieces)
{
    const Bytes unit = h265_test::nalUnit(
        {.forbidden_zero_bit = true, .nal_unit_type = 33, .nuh_layer_id = 45, .nuh_temporal_id_plus1 = 6}, {1, 2, 3});
    const Bytes stream = h265_test::byteStream({unit});
    for (std::size_t i = 0; i <= stream.size(); ++i) {
        SCOPED_TRACE(i);
        CNalUnitFinder finder;
        CUnitList list;
        finder.feed(std::span(stream).first(i), list);
        finder.feed(std::span(stream).subspan(i), list);
        finder.finish(list);
        ASSERT_EQ(list.m_headers.size(), 1U);
        EXPECT_TRUE(list.m_headers[0].forbidden_zero_bit);
        EXPECT_EQ(list.m_headers[0].nal_unit_type, 33);
        EXPECT_EQ(list.m_headers[0].nuh_layer_id, 45);
        EXPECT_EQ(list.m_headers[0].nuh_temporal_id_plus1, 6);
    }
}

TEST(NalUnitFinder, CountsMissingHeaderBitsAsZero)
{
    CNalUnitFinder finder;
    CUnitList list;
    // The second header byte of the unit in front must not be taken for the missing one.
    finder.feed(Bytes{0, 0, 1, SPS_HEAD | 1, 0xff, 7, 0, 0, 1, SPS_HEAD | 1}, list);
    finder.finish(list);
    ASSERT_EQ(list.m_headers.size(), 2U);
    EXPECT_EQ(list.m_headers[1].nal_unit_type, 33);
    EXPECT_EQ(list.m_headers[1].nuh_layer_id, 32);
    EXPECT_EQ(list.m_headers[1].nuh_temporal_id_plus1, 0);
}

TEST(NalUnitFinder, EndsWhenTheSinkSaysSo)
{
    const Bytes stream = h265_test::byteStream({{SLICE, 1, 5}, {SPS_HEAD, 1, 6}, {SLICE, 1, 7}});
    for (const std::size_t uiPiece : {1U, 2U, 5U, 100U}) {
        CNalUnitFinder finder;
        CUnitList list;
        list.m_uiLast = 2;
        bool bGoOn = true;
        for (std::size_t i = 0; i < stream.size() && bGoOn; i += uiPiece)
            bGoOn = finder.feed(std::span(stream).subspan(i, std::min(uiPiece, stream.size() - i)), list);
        EXPECT_FALSE(bGoOn);
        EXPECT_EQ(list.m_units.size(), 2U);
    }
}

TEST(NalUnitFinder, TellsWhereTheParameterSetBeganThatAPieceCuts)
{
    const Bytes stream = {0, 0, 1, 0x42, 1, 7, 0, 0, 1, 0x26, 1, 7, 0, 0, 1, 0x44, 1, 0, 0};
    const std::optional<std::uint64_t> aOpen[] = {
        {}, {}, {}, 3, 3, 3, 3, 3, {}, {}, {}, {}, {}, {}, {}, 15, 15, 15, 15};
    CNalUnitFinder finder;
    CUnitList sink;
    for (std::size_t i = 0; i < stream.size(); ++i) {
        ASSERT_TRUE(finder.feed(std::span(stream).subspan(i, 1), sink));
        EXPECT_EQ(finder.openParameterSet(), aOpen[i]) << i;
    }
    ASSERT_TRUE(finder.finish(sink));
}

TEST(NalUnitFinder, CanBeUsedAgain)
{
    CNalUnitFinder finder;
    for (unsigned i = 0; i < 2; ++i) {
        CUnitList list;
        finder.feed(Bytes{0, 0, 0, 1, SPS_HEAD, 1, 9, 0}, list);
        finder.finish(list);
        EXPECT_EQ(list.m_units, (std::vector<Unit>{{4, 3, {SPS_HEAD, 1, 9}}}));
        finder.reset();
    }
}

TEST(NalUnitFinder, AgreesWithTheDefinitionOnRandomStreams)
{
    std::mt19937 random(265);
    for (unsigned i = 0; i < 4000; ++i) {
        Bytes stream(random() % 400);
        const std::size_t uiValues = 2 + random() % 12;
        for (unsigned char& ucByte : stream)
            ucByte = static_cast<unsigned char>(random() % uiValues == 0 ? 0x40 + random() % 6 : random() % uiValues);
        std::vector<std::size_t> cuts(random() % 12);
        for (std::size_t& uiCut : cuts)
            uiCut = random() % (stream.size() + 1);
        std::ranges::sort(cuts);
        ASSERT_EQ(unitsOf(stream, cuts), referenceUnits(stream)) << "stream " << i;
    }
}

TEST(NalUnitFinder, FindsUnitsByteForByte)
{
    std::mt19937 random(1);
    Bytes stream(3000);
    for (unsigned char& ucByte : stream)
        ucByte = static_cast<unsigned char>(random() % 4 == 0 ? 0x42 : random() % 3);
    std::vector<std::size_t> cuts(stream.size());
    for (std::size_t i = 0; i < cuts.size(); ++i)
        cuts[i] = i;
    EXPECT_EQ(unitsOf(stream, cuts), referenceUnits(stream));
}

// Fed in pieces or at once, a parameter set is handed on up to the cap and counted in full.
TEST(NalUnitFinder, CutsAParameterSetAtTheCap)
{
    constexpr std::size_t PIECE = std::size_t{1} << 20;
    const Bytes piece(PIECE, 0x77);
    const std::uint64_t ulSize = 2 + MAX_PARAMETER_SET_BYTES + PIECE;
    {
        CNalUnitFinder finder;
        CUnitList list;
        finder.feed(Bytes{0, 0, 1, SPS_HEAD, 1}, list);
        for (std::size_t i = 0; i < MAX_PARAMETER_SET_BYTES + PIECE; i += PIECE)
            finder.feed(piece, list);
        finder.finish(list);
        ASSERT_EQ(list.m_units.size(), 1U);
        EXPECT_EQ(list.m_units[0].ulSize, ulSize);
        EXPECT_EQ(list.m_units[0].bytes.size(), MAX_PARAMETER_SET_BYTES);
    }
    Bytes stream(3 + static_cast<std::size_t>(ulSize), 0x77);
    std::ranges::copy(Bytes{0, 0, 1, SPS_HEAD, 1}, stream.begin());
    CNalUnitFinder finder;
    CUnitList list;
    finder.feed(stream, list);
    finder.finish(list);
    ASSERT_EQ(list.m_units.size(), 1U);
    EXPECT_EQ(list.m_units[0].ulSize, ulSize);
    EXPECT_EQ(list.m_units[0].bytes.size(), MAX_PARAMETER_SET_BYTES);
}

} // namespace
} // namespace nal_unit_finder_test
