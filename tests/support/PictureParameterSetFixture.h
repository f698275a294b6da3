#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "BitStreamReader.h"
#include "BitWriter.h"
#include "ExactBits.h"
#include "PictureParameterSet.h"
#include "SequenceParameterSet.h"
#include "SyntaxWriters.h"
#include "TestHost.h"

namespace h265_test {

using h265_codec::CRbspReader;
using h265_codec::createPPS;
using h265_codec::destroyPPS;
using h265_codec::PPS;
using h265_codec::readPPS;
using h265_codec::SPS;

using Sizes = std::vector<unsigned>;

/// A decoder with one PPS record and two SPS: number 0 of 10x6 CTBs and number 1 of 4x2.
class CDecoder
{
public:
    CDecoder() : m_pps(createPPS(m_pool.pool())), m_spsArray(256, nullptr)
    {
        m_sps.PicWidthInCtbsY = 10;
        m_sps.PicHeightInCtbsY = 6;
        m_sps.CtbLog2SizeY = 6;
        m_smallSps.PicWidthInCtbsY = 4;
        m_smallSps.PicHeightInCtbsY = 2;
        m_smallSps.CtbLog2SizeY = 4;
        m_spsArray[0] = &m_sps;
        m_spsArray[1] = &m_smallSps;
        m_pool.forgetCalls();
    }
    ~CDecoder() { destroyPPS(m_pps); }
    CDecoder(const CDecoder&) = delete;
    CDecoder& operator=(const CDecoder&) = delete;

    template <class TReader>
    int read(const CBitWriter& writer)
    {
        const CExactBits bits(writer);
        TReader bs = bits.reader<TReader>();
        const int iResult = readPPS(m_pps, m_spsArray.data(), &bs, m_pool.pool());
        m_uiBitsLeft = bitsLeft(bs);
        return iResult;
    }

    template <class TReader = CRbspReader>
    int read(const PpsSyntax& s)
    {
        return read<TReader>(write(s));
    }

    [[nodiscard]] Sizes block(const unsigned* pBlock) const
    {
        return Sizes(pBlock, pBlock + m_pool.sizeOf(pBlock) / sizeof(unsigned));
    }

    CTestPool m_pool; // outlives the record
    PPS* m_pps;
    SPS m_sps = {};
    SPS m_smallSps = {};
    std::vector<SPS*> m_spsArray;
    std::size_t m_uiBitsLeft = 0;
};

inline TilesSyntax tiles(std::uint64_t ulColumns, std::uint64_t ulRows)
{
    TilesSyntax s;
    s.num_tile_columns_minus1 = ulColumns - 1;
    s.num_tile_rows_minus1 = ulRows - 1;
    return s;
}

inline PpsSyntax withTiles(std::uint64_t ulColumns, std::uint64_t ulRows)
{
    PpsSyntax s;
    s.tiles = tiles(ulColumns, ulRows);
    return s;
}

/// Takes every block that a PPS can take.
inline PpsSyntax withEverything()
{
    PpsSyntax s = withTiles(3, 2);
    s.scaling_list_data.emplace();
    return s;
}

inline bool isAllZero(const PPS& pps)
{
    const unsigned char* const pBytes = reinterpret_cast<const unsigned char*>(&pps);
    return std::all_of(pBytes, pBytes + sizeof(pps), [](unsigned char ucByte) { return ucByte == 0; });
}

/// Payloads within one cache word, which both readers deliver alike.
template <class TReader>
class ReadPPS : public testing::Test
{
protected:
    int read(const PpsSyntax& s) { return m_decoder.read<TReader>(s); }

    CLogCatcher m_log;
    CDecoder m_decoder;
    PPS* const m_pps = m_decoder.m_pps;
};

/// Longer payloads: every bit in order.
class ReadLongPPS : public testing::Test
{
protected:
    int read(const PpsSyntax& s) { return m_decoder.read<CRbspReader>(s); }

    CLogCatcher m_log;
    CDecoder m_decoder;
    PPS* const m_pps = m_decoder.m_pps;
};

} // namespace h265_test
