#include "Rbsp.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

namespace rbsp_test {

using namespace h265_stream;

namespace {

using Bytes = std::vector<unsigned char>;

Bytes extract(const Bytes& payload)
{
    CRbspBuffer buffer;
    const auto rbsp = buffer.extract(payload);
    return {rbsp.begin(), rbsp.end()};
}

TEST(Rbsp, TakesEmulationPreventionOut)
{
    struct Case
    {
        const char* pName;
        Bytes payload;
        Bytes rbsp;
    };
    const Case aCases[] = {
        {"nothing", {}, {}},
        {"nothing to take out", {1, 2, 3}, {1, 2, 3}},
        {"in front of 0", {9, 0, 0, 3, 0, 9}, {9, 0, 0, 0, 9}},
        {"in front of 1", {9, 0, 0, 3, 1, 9}, {9, 0, 0, 1, 9}},
        {"in front of 3", {9, 0, 0, 3, 3, 9}, {9, 0, 0, 3, 9}},
        {"in front of any other", {9, 0, 0, 3, 0x77}, {9, 0, 0, 0x77}},
        {"first", {0, 0, 3, 7}, {0, 0, 7}},
        {"last", {7, 0, 0, 3}, {7, 0, 0}},
        {"behind one zero it is data", {7, 0, 3, 7}, {7, 0, 3, 7}},
        {"one behind another", {0, 0, 3, 0, 0, 3, 0, 0, 3, 1}, {0, 0, 0, 0, 0, 0, 1}},
        {"zeros count anew behind it", {0, 0, 3, 0, 3}, {0, 0, 0, 3}},
        {"behind three zeros", {0, 0, 0, 3, 5}, {0, 0, 0, 5}},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pName);
        EXPECT_EQ(extract(c.payload), c.rbsp);
    }
}

TEST(Rbsp, StandsInFrontOfZeroPadding)
{
    CRbspBuffer buffer;
    for (const std::size_t uiSize : {0U, 1U, 100U, 5000U, 3U}) {
        SCOPED_TRACE(uiSize);
        const auto rbsp = buffer.extract(Bytes(uiSize, 0xff));
        EXPECT_EQ(rbsp.size(), uiSize);
        EXPECT_TRUE(std::all_of(rbsp.data() + uiSize, rbsp.data() + uiSize + RBSP_PADDING, [](unsigned char ucByte) {
            return ucByte == 0;
        }));
    }
}

TEST(Rbsp, UsesItsBufferAgain)
{
    CRbspBuffer buffer;
    const unsigned char* const pFirst = buffer.extract(Bytes(5000, 1)).data();
    EXPECT_EQ(buffer.extract(Bytes(10, 2)).data(), pFirst);
    EXPECT_EQ(buffer.extract(Bytes(5000, 3)).data(), pFirst);
}

TEST(Rbsp, GrowsWithThePayload)
{
    CRbspBuffer buffer;
    for (std::size_t uiSize = 1; uiSize < (std::size_t{1} << 22); uiSize *= 3) {
        Bytes payload(uiSize, 0x42);
        const auto rbsp = buffer.extract(payload);
        EXPECT_TRUE(std::ranges::equal(rbsp, payload));
    }
}

} // namespace
} // namespace rbsp_test
