#include "CodecString.h"

#include <array>

#include <gtest/gtest.h>

namespace codec_string_test {

using namespace h265_inspect;

namespace {

using Ptl = std::array<unsigned char, GENERAL_PTL_BYTES>;

TEST(CodecString, FollowsAnnexEOfIso14496Part15)
{
    struct Case
    {
        const char* pName;
        const char* pSampleEntry;
        Ptl ptl;
        const char* pCodecs;
    };
    const Case aCases[] = {
        {"Main", "hvc1", {0x01, 0x60, 0, 0, 0, 0x90, 0, 0, 0, 0, 0, 93}, "hvc1.1.6.L93.90"},
        {"Main 10", "hvc1", {0x02, 0x20, 0, 0, 0, 0xB0, 0, 0, 0, 0, 0, 153}, "hvc1.2.4.L153.B0"},
        {"the sample entry is told", "hev1", {0x02, 0x20, 0, 0, 0, 0xB0, 0, 0, 0, 0, 0, 153}, "hev1.2.4.L153.B0"},
        {"High tier", "hvc1", {0x22, 0x20, 0, 0, 0, 0xB0, 0, 0, 0, 0, 0, 153}, "hvc1.2.4.H153.B0"},
        {"profile spaces are letters", "hvc1", {0x41, 0x60, 0, 0, 0, 0, 0, 0, 0, 0, 0, 120}, "hvc1.A1.6.L120"},
        {"the last space is C", "hvc1", {0xC1, 0x60, 0, 0, 0, 0, 0, 0, 0, 0, 0, 120}, "hvc1.C1.6.L120"},
        {"no constraint", "hvc1", {0x01, 0x60, 0, 0, 0, 0, 0, 0, 0, 0, 0, 120}, "hvc1.1.6.L120"},
        {"no compatibility flag", "hvc1", {0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 120}, "hvc1.1.0.L120"},
        {"flag 31 is the highest digit", "hvc1", {0x04, 0x08, 0, 0, 1, 0, 0, 0, 0, 0, 0, 120}, "hvc1.4.80000010.L120"},
        {"zero bytes in front of others stay",
         "hvc1",
         {0x04, 0x08, 0, 0, 0, 0x90, 0, 0x0C, 0, 0, 0, 120},
         "hvc1.4.10.L120.90.0.C"},
        {"all six bytes", "hvc1", {0x04, 0x08, 0, 0, 0, 0x9D, 1, 2, 3, 4, 0xFF, 120}, "hvc1.4.10.L120.9D.1.2.3.4.FF"},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(c.pName);
        EXPECT_EQ(codecString(c.pSampleEntry, c.ptl), c.pCodecs);
    }
}

} // namespace
} // namespace codec_string_test
