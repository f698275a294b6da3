#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "BitStreamReader.h"
#include "BitWriter.h"

namespace h265_test {

/// A payload of exactly the bits that were written, not filled up to bytes: the odd bits stand in the
/// first cache word, all others in whole words behind it. So a payload can be cut at every bit, and up
/// to 64 bits are the same to both readers.
class CExactBits
{
public:
    explicit CExactBits(const CBitWriter& writer)
        : m_uiHead(headOf(writer.size())), m_ulHead(wordOf(writer)), m_tail(tailOf(writer, m_uiHead))
    {}

    template <class TReader>
    [[nodiscard]] TReader reader() const
    {
        TReader bs;
        bs.init(m_tail.data(), m_tail.size());
        bs.m_pCurPos = m_tail.data();
        bs.m_ulCache = m_ulHead;
        bs.m_uiCachedBits = m_uiHead;
        return bs;
    }

private:
    static unsigned headOf(std::size_t uiBitCount)
    {
        const unsigned uiOdd = static_cast<unsigned>(uiBitCount % 64);
        return uiOdd == 0 && uiBitCount != 0 ? 64 : uiOdd;
    }

    static std::uint64_t wordOf(const CBitWriter& writer)
    {
        std::uint64_t ulWord = 0;
        for (unsigned i = 0; i < headOf(writer.size()); ++i)
            ulWord |= std::uint64_t{writer.allBits()[i]} << (63 - i);
        return ulWord;
    }

    static CPaddedPayload tailOf(const CBitWriter& writer, unsigned uiHead)
    {
        CBitWriter tail;
        for (std::size_t i = uiHead; i < writer.size(); ++i)
            tail.flag(writer.allBits()[i]);
        return CPaddedPayload(tail.bytes());
    }

    unsigned m_uiHead;
    std::uint64_t m_ulHead;
    CPaddedPayload m_tail;
};

/// Bits that are left in a reader.
template <class TReader>
std::size_t bitsLeft(const TReader& bs)
{
    return bs.m_uiCachedBits + 8 * static_cast<std::size_t>(bs.m_pBufEnd - bs.m_pCurPos);
}

/// Numbers that are the same in every run.
class CNumbers
{
public:
    explicit CNumbers(std::uint64_t ulSeed) : m_ulState(ulSeed * 2 + 1) {}

    /// 0 … uiBound - 1
    unsigned below(unsigned uiBound)
    {
        m_ulState = m_ulState * 6364136223846793005 + 1442695040888963407;
        return static_cast<unsigned>((m_ulState >> 33) % uiBound);
    }

    std::vector<unsigned char> bytes(std::size_t uiCount)
    {
        std::vector<unsigned char> result(uiCount);
        for (unsigned char& ucByte : result)
            ucByte = static_cast<unsigned char>(below(256));
        return result;
    }

private:
    std::uint64_t m_ulState;
};

} // namespace h265_test
