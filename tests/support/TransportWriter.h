#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <vector>

#include "BoxWriter.h"

namespace h265_test {

/// ITU-T H.222.0 Annex A.
inline std::uint32_t sectionCrc(const Bytes& bytes)
{
    std::uint32_t uiCrc = 0xffffffff;
    for (const unsigned char ucByte : bytes) {
        for (unsigned i = 8; i-- != 0;) {
            const bool bHigh = (uiCrc >> 31 ^ (ucByte >> i & 1U)) != 0;
            uiCrc = uiCrc << 1 ^ (bHigh ? 0x04c11db7U : 0U);
        }
    }
    return uiCrc;
}

inline Bytes section(unsigned table_id, unsigned uiId, unsigned version_number, const Bytes& body, bool bCurrent = true)
{
    const Bytes bytes = joined({be(1, table_id),
                                be(2, 0xb000 | (body.size() + 9)),
                                be(2, uiId),
                                be(1, 0xc0U | version_number << 1 | (bCurrent ? 1U : 0U)),
                                be(2, 0),
                                body});
    return joined({bytes, be(4, sectionCrc(bytes))});
}

/// Program numbers and the PIDs of their map tables.
inline Bytes patSection(const std::vector<std::pair<unsigned, unsigned>>& programs, unsigned version_number = 0)
{
    Bytes body;
    for (const auto& [uiProgram, uiPid] : programs)
        body = joined({body, be(2, uiProgram), be(2, 0xe000 | uiPid)});
    return section(0, 1, version_number, body);
}

struct StreamSyntax
{
    unsigned stream_type;
    unsigned uiPid;
    Bytes descriptors;
};

inline Bytes pmtSection(const std::vector<StreamSyntax>& streams, unsigned version_number = 0, unsigned uiProgram = 1,
                        bool bCurrent = true)
{
    Bytes body = joined({be(2, 0xffff), be(2, 0xf000)});
    for (const StreamSyntax& stream : streams)
        body = joined({body,
                       be(1, stream.stream_type),
                       be(2, 0xe000 | stream.uiPid),
                       be(2, 0xf000 | stream.descriptors.size()),
                       stream.descriptors});
    return section(2, uiProgram, version_number, body, bCurrent);
}

/// 2.4.3.6: with a time of 33 bits, or without.
inline Bytes pes(const Bytes& data, std::int64_t iTime = -1)
{
    if (iTime < 0)
        return joined({{0, 0, 1, 0xe0, 0, 0, 0x80, 0, 0}, data});
    const auto ulTime = static_cast<std::uint64_t>(iTime);
    return joined({{0, 0, 1, 0xe0, 0, 0, 0x80, 0x80, 5},
                   be(1, 0x21 | (ulTime >> 29 & 0xe)),
                   be(2, (ulTime >> 14 & 0xfffe) | 1),
                   be(2, (ulTime << 1 & 0xfffe) | 1),
                   data});
}

/// Writes packets of 188 bytes and keeps the counters.
class CTransportWriter
{
public:
    /// Data that begins in a new packet, filled up by an adaptation field.
    CTransportWriter& add(unsigned uiPid, Bytes data, bool bStart = true)
    {
        for (std::size_t i = 0; i < data.size(); bStart = false) {
            const std::size_t uiTaken = std::min<std::size_t>(m_uiMost, data.size() - i);
            packet(uiPid,
                   Bytes(data.begin() + static_cast<std::ptrdiff_t>(i),
                         data.begin() + static_cast<std::ptrdiff_t>(i + uiTaken)),
                   bStart);
            i += uiTaken;
        }
        return *this;
    }

    CTransportWriter& table(unsigned uiPid, const Bytes& bytes) { return add(uiPid, joined({{0}, bytes})); }

    /// A packet as it is.
    CTransportWriter& packet(unsigned uiPid, const Bytes& payload, bool bStart, unsigned uiFlags = 0)
    {
        const std::size_t uiStuffing = 184 - payload.size();
        Bytes bytes = {0x47};
        bytes = joined({bytes,
                        be(2, (bStart ? 0x4000U : 0U) | uiPid | uiFlags),
                        be(1, (uiStuffing != 0 ? 0x30U : 0x10U) | (m_counters[uiPid]++ & 0xfU))});
        if (uiStuffing != 0)
            bytes = joined({bytes, be(1, uiStuffing - 1)});
        if (uiStuffing > 1)
            bytes = joined({bytes, {0}, Bytes(uiStuffing - 2, 0xff)});
        m_packets.push_back(joined({bytes, payload}));
        return *this;
    }

    /// A packet without payload, whose counter may jump: it becomes uiCounter.
    CTransportWriter& jump(unsigned uiPid, unsigned uiCounter, unsigned uiFlags = 0)
    {
        m_counters[uiPid] = uiCounter + 1;
        m_packets.push_back(
            joined({{0x47}, be(2, uiPid | uiFlags), be(1, 0x20U | (uiCounter & 0xfU)), {183, 0x80}, Bytes(182, 0xff)}));
        return *this;
    }

    /// The packets, each with bytes in front and behind.
    [[nodiscard]] Bytes bytes(std::size_t uiFront = 0, std::size_t uiBehind = 0) const
    {
        Bytes all;
        for (const Bytes& packet : m_packets)
            all = joined({all, Bytes(uiFront, 0x11), packet, Bytes(uiBehind, 0x22)});
        return all;
    }

    std::size_t m_uiMost = 184; // payload of a packet
    std::vector<Bytes> m_packets;

private:
    std::map<unsigned, unsigned> m_counters;
};

} // namespace h265_test
