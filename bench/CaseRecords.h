#pragma once

#include <cstring>
#include <stdexcept>
#include <type_traits>

#include "DecParameterSetReader.h"
#include "Inputs.h"
#include "NaiveReader.h"
#include "NalUnit.h"
#include "tq_util.h"

namespace h265_bench {

/// The records that a case is read into, read once already, so that every block has been taken.
class CCaseRecords
{
public:
    explicit CCaseRecords(const Case& c) : m_case(c), m_pPool(tq_util::createMemPool())
    {
        std::memset(static_cast<void*>(&m_vps), 0, sizeof(m_vps)); // with its padding: records are compared
        m_sps = h265_codec::createSPS(m_pPool);
        m_pps = h265_codec::createPPS(m_pPool);
        for (h265_codec::SPS*& pSlot : m_aSps)
            pSlot = m_sps;
        h265_codec::CRbspReader bs;
        if (c.nal_unit_type == h265_stream::PPS_NUT) {
            bs.init(c.sps.data(), c.sps.size());
            if (h265_codec::readSPS(m_sps, &bs, m_pPool) != 0)
                throw std::runtime_error("the SPS of " + c.name + " cannot be read");
        }
        if (readTimes<h265_codec::CRbspReader>(1) != 0)
            throw std::runtime_error(c.name + " cannot be read");
    }
    ~CCaseRecords() { tq_util::destroyMemPool(m_pPool); }
    CCaseRecords(const CCaseRecords&) = delete;
    CCaseRecords& operator=(const CCaseRecords&) = delete;

    /// Reads the case uiTimes times and returns the last result. The loop holds the reader's set-up and
    /// the call, nothing else.
    template <class TReader>
    int readTimes(unsigned uiTimes)
    {
        constexpr bool IS_NAIVE =
            !std::is_same_v<TReader, h265_codec::CRbspReader> && !std::is_same_v<TReader, h265_codec::CBitStreamReader>;
        if (m_case.nal_unit_type == h265_stream::VPS_NUT)
            return repeat<TReader>(uiTimes, [this](TReader& bs) {
                if constexpr (IS_NAIVE)
                    return bs.readVps(m_vps);
                else
                    return h265_codec::readVPS(&m_vps, &bs);
            });
        if (m_case.nal_unit_type == h265_stream::SPS_NUT)
            return repeat<TReader>(uiTimes, [this](TReader& bs) {
                if constexpr (IS_NAIVE)
                    return bs.readSps(*m_sps);
                else
                    return h265_codec::readSPS(m_sps, &bs, m_pPool);
            });
        return repeat<TReader>(uiTimes, [this](TReader& bs) {
            if constexpr (IS_NAIVE)
                return bs.readPps(*m_pps, m_aSps);
            else
                return h265_codec::readPPS(m_pps, m_aSps, &bs, m_pPool);
        });
    }

    [[nodiscard]] const h265_codec::VPS& vps() const { return m_vps; }
    [[nodiscard]] h265_codec::SPS& sps() { return *m_sps; }
    [[nodiscard]] h265_codec::PPS& pps() { return *m_pps; }
    [[nodiscard]] tq_util::TMemPool* pool() { return m_pPool; }

private:
    template <class TReader, class TRead>
    int repeat(unsigned uiTimes, const TRead& read)
    {
        int iResult = 0;
        for (; uiTimes != 0; --uiTimes) {
            TReader bs;
            bs.init(m_case.payload.data(), m_case.payload.size());
            iResult = read(bs);
        }
        return iResult;
    }

    const Case& m_case;
    tq_util::TMemPool* m_pPool;
    h265_codec::VPS m_vps;
    h265_codec::SPS* m_sps = nullptr;
    h265_codec::PPS* m_pps = nullptr;
    h265_codec::SPS* m_aSps[256] = {};
};

} // namespace h265_bench
