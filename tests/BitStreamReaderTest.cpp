#include "BitStreamReader.h"

#include <gtest/gtest.h>

#include "BitWriter.h"
#include "TestHost.h"

namespace {

using namespace h265_codec;
using namespace h265_test;

TEST(RbspReader, DeliversEveryBitInOrder)
{
    CBitWriter writer;
    for (unsigned i = 0; i < 20; ++i)
        writer.u(13, i * 37);
    const CPaddedPayload payload(writer.bytes());
    CRbspReader bs = payload.reader<CRbspReader>();
    for (unsigned i = 0; i < 20; ++i) {
        unsigned value = 0;
        EXPECT_EQ(bs.readBits(13, value), 0);
        EXPECT_EQ(value, i * 37);
    }
}

} // namespace
