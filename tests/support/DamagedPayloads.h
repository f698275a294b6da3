#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "SyntaxWriters.h"

namespace h265_test {

/// Calls check(uiBitCount, bits) with the first bits of a payload: with none, one, two, … but not with all.
template <class TCheck>
void forEachCut(const CBitWriter& whole, const TCheck& check)
{
    for (std::size_t uiBitCount = 0; uiBitCount < whole.size() && !testing::Test::HasFatalFailure(); ++uiBitCount) {
        SCOPED_TRACE(uiBitCount);
        check(uiBitCount, CBitWriter(whole).cut(uiBitCount));
    }
}

/// The same, and the whole payload at last.
template <class TCheck>
void forEachCutAndTheWhole(const CBitWriter& whole, const TCheck& check)
{
    forEachCut(whole, check);
    SCOPED_TRACE("the whole payload");
    check(whole.size(), whole);
}

/// Calls check(payload) for each bit of a payload with that bit turned.
template <class TCheck>
void forEachTurnedBit(const std::vector<unsigned char>& whole, const TCheck& check)
{
    for (std::size_t uiBit = 0; uiBit < 8 * whole.size() && !testing::Test::HasFatalFailure(); ++uiBit) {
        SCOPED_TRACE(testing::Message() << "bit " << uiBit << " turned");
        std::vector<unsigned char> turned = whole;
        turned[uiBit / 8] = static_cast<unsigned char>(turned[uiBit / 8] ^ 0x80U >> uiBit % 8);
        check(turned);
    }
}

/// Calls attempt(uiCall) for 1, 2, 3, …: it lets that take of its pool fail and returns whether there was
/// such a take. Returns how many there were.
template <class TAttempt>
std::size_t failEachTake(const TAttempt& attempt)
{
    for (std::size_t uiCall = 1;; ++uiCall) {
        SCOPED_TRACE(testing::Message() << "take " << uiCall << " fails");
        if (!attempt(uiCall) || testing::Test::HasFailure())
            return uiCall - 1;
    }
}

/// The two readers set up so that they deliver the same bits: the decoder's over the bytes, the other over
/// what the decoder's refills make of them.
class CAlikeReaders
{
public:
    /// The bytes are a multiple of eight.
    explicit CAlikeReaders(const std::vector<unsigned char>& bytes)
        : m_payload(bytes), m_delivered(deliveredByDecoderReader(bytes).bytes()),
          m_decoders(m_payload.reader<h265_codec::CBitStreamReader>()),
          m_plain(m_delivered.reader<h265_codec::CRbspReader>())
    {}

    /// The decoder's reader begins a payload with 32 zeros; with any first word, its codes are short ones.
    void setFirstWord(std::uint64_t ulWord) { m_decoders.m_ulCache = m_plain.m_ulCache = ulWord; }

private:
    CPaddedPayload m_payload;
    CPaddedPayload m_delivered;

public:
    h265_codec::CBitStreamReader m_decoders;
    h265_codec::CRbspReader m_plain;
};

} // namespace h265_test
