#pragma once

#include <cstring>
#include <vector>

#include "BitWriter.h"
#include "CorpusSets.h"
#include "DecParameterSetReader.h"
#include "NalUnit.h"
#include "SameRecord.h"
#include "TestHost.h"

namespace h265_test {

/// The table of SPSs that PPSs are read against, with a pool of its own.
class CSpsTable
{
public:
    /// Reads each RBSP; a later SPS takes the place of an earlier one of the same id.
    explicit CSpsTable(const std::vector<std::vector<unsigned char>>& spsRbsps)
    {
        for (const std::vector<unsigned char>& rbsp : spsRbsps) {
            const CPaddedPayload payload(rbsp);
            auto bs = payload.reader<h265_codec::CRbspReader>();
            h265_codec::SPS* const sps = h265_codec::createSPS(m_pool.pool());
            m_records.push_back(sps);
            if (h265_codec::readSPS(sps, &bs, m_pool.pool()) == 0)
                m_apTable[sps->sps_seq_parameter_set_id] = sps;
        }
    }
    ~CSpsTable()
    {
        for (h265_codec::SPS* const sps : m_records)
            h265_codec::destroySPS(sps);
    }
    CSpsTable(const CSpsTable&) = delete;
    CSpsTable& operator=(const CSpsTable&) = delete;

    h265_codec::SPS** table() { return m_apTable; }

private:
    CTestPool m_pool;
    std::vector<h265_codec::SPS*> m_records;
    h265_codec::SPS* m_apTable[256] = {};
};

/// A record of a set's type. isCreated is false when the pool gave none; then nothing else is allowed.
class CSetRecord
{
public:
    CSetRecord(const CorpusSet& set, CSpsTable& table, CTestPool& pool)
        : m_nal_unit_type(set.nal_unit_type), m_table(table), m_pool(pool)
    {
        std::memset(&m_vps, 0, sizeof(m_vps));
        if (m_nal_unit_type == h265_stream::SPS_NUT)
            m_sps = h265_codec::createSPS(pool.pool());
        if (m_nal_unit_type == h265_stream::PPS_NUT)
            m_pps = h265_codec::createPPS(pool.pool());
    }
    ~CSetRecord()
    {
        h265_codec::destroySPS(m_sps);
        h265_codec::destroyPPS(m_pps);
    }
    CSetRecord(const CSetRecord&) = delete;
    CSetRecord& operator=(const CSetRecord&) = delete;

    [[nodiscard]] bool isCreated() const
    {
        return m_nal_unit_type == h265_stream::VPS_NUT || m_sps != nullptr || m_pps != nullptr;
    }

    /// Reads a payload of the set's type into the record.
    template <class TReader>
    int read(TReader bs)
    {
        if (m_sps != nullptr)
            return h265_codec::readSPS(m_sps, &bs, m_pool.pool());
        if (m_pps != nullptr)
            return h265_codec::readPPS(m_pps, m_table.table(), &bs, m_pool.pool());
        return h265_codec::readVPS(&m_vps, &bs);
    }

    /// Whether both hold the same; they were read with success.
    [[nodiscard]] bool isSame(const CSetRecord& other) const
    {
        if (m_sps != nullptr)
            return isSameRecord(*m_sps, *other.m_sps);
        if (m_pps != nullptr)
            return isSameRecord(*m_pps, *other.m_pps, *m_table.table()[m_pps->pps_seq_parameter_set_id]);
        return isSameRecord(m_vps, other.m_vps);
    }

private:
    unsigned char m_nal_unit_type;
    CSpsTable& m_table;
    CTestPool& m_pool;
    h265_codec::VPS m_vps;
    h265_codec::SPS* m_sps = nullptr;
    h265_codec::PPS* m_pps = nullptr;
};

} // namespace h265_test
