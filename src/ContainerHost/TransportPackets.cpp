#include "TransportPackets.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "BytesAt.h"
#include "CountedText.h"
#include "StartCodeScan.h"

namespace h265_container {

namespace {

constexpr std::size_t LARGEST_PACKET = 204;

// Sync bytes in a row that make sure behind damage.
constexpr std::size_t SURE_AGAIN_PACKETS = 3;

constexpr std::size_t BUFFER_BYTES = std::size_t{128} << 10;

// Packets that are passed over at a time: where NAL units are short, few are looked at in vain.
constexpr std::size_t MAX_PASSED_PACKETS = 32;

} // namespace

PacketHeader readPacketHeader(std::span<const unsigned char> packet)
{
    PacketHeader header{};
    header.transport_error_indicator = (packet[1] & 0x80) != 0;
    header.payload_unit_start_indicator = (packet[1] & 0x40) != 0;
    header.uiPid = static_cast<std::uint16_t>((packet[1] & 0x1fU) << 8 | packet[2]);
    header.bScrambled = (packet[3] & 0xc0) != 0;
    header.continuity_counter = packet[3] & 0xf;
    header.uiPayload = TS_HEADER_BYTES;
    if ((packet[3] & 0x20) != 0) { // adaptation_field( )
        header.uiPayload += 1U + packet[4];
        header.discontinuity_indicator = packet[4] != 0 && (packet[5] & 0x80) != 0;
    }
    header.bPayload = (packet[3] & 0x10) != 0 && header.uiPayload < packet.size();
    return header;
}

PacketMark markOf(std::span<const unsigned char> packet, const PacketHeader& header, bool bTable)
{
    PacketMark mark{header.payload_unit_start_indicator, header.uiPayload};
    const std::size_t uiLast = packet.size() - sizeof mark.ulLast;
    std::memcpy(&mark.ulFirst, packet.data() + std::min(header.uiPayload, uiLast), sizeof mark.ulFirst);
    std::memcpy(&mark.ulLast, packet.data() + uiLast, sizeof mark.ulLast);
    if (bTable) {
        constexpr std::uint64_t PRIME = 0x100000001b3;
        for (const unsigned char ucByte : packet.subspan(header.uiPayload))
            mark.ulLast = (mark.ulLast ^ ucByte) * PRIME;
    }
    return mark;
}

CTransportPackets::CTransportPackets(CRandomSource& source, CUnitOutput& output)
    : m_source(source), m_output(output), m_buffer(BUFFER_BYTES)
{}

std::span<const unsigned char> CTransportPackets::ahead() const
{
    return std::span(m_buffer).subspan(m_uiPosition, m_uiFilled - m_uiPosition);
}

std::size_t CTransportPackets::passPayload(TransportPacket& last)
{
    // Sync byte, PID and priority; what else the two bytes beside them say has to be 0.
    constexpr std::uint32_t SAME = 0xff3fff00;
    constexpr std::uint32_t PAYLOAD_ONLY = 0x10;
    const std::span<const unsigned char> ahead = this->ahead();
    const std::size_t uiMost = std::min(ahead.size() / m_uiPacketBytes, MAX_PASSED_PACKETS + 1);
    const auto header = [&](std::size_t uiPacket) { return uAt(ahead, uiPacket * m_uiPacketBytes, TS_HEADER_BYTES); };
    const std::uint64_t ulSame = (header(0) & SAME) | PAYLOAD_ONLY;
    std::size_t uiLast = 0;
    for (std::uint64_t ulCounter = header(0) + 1; uiLast + 1 < uiMost; ++uiLast, ++ulCounter) {
        const bool bEndsWithZero = ahead[(uiLast + 1) * m_uiPacketBytes + TS_PACKET_BYTES - 1] == 0;
        if (header(uiLast + 1) != (ulSame | (ulCounter & 0xf)) || bEndsWithZero)
            break;
    }
    if (uiLast == 0)
        return 0;
    // 2.4.3.2: the first byte of a header and the last one are none of a start code, so it lies in one payload.
    // What stands between packets may look like one: then the packet in front is looked at by itself.
    const unsigned char* const pFirst = ahead.data() + m_uiPacketBytes;
    const unsigned char* const pEnd = ahead.data() + uiLast * m_uiPacketBytes + TS_PACKET_BYTES;
    const unsigned char* const pStartCode = h265_stream::fastestScanForm().findStartCode(pFirst, pEnd);
    if (pStartCode != pEnd)
        uiLast = static_cast<std::size_t>(pStartCode - pFirst) / m_uiPacketBytes;
    if (uiLast == 0)
        return 0;
    m_uiPosition += uiLast * m_uiPacketBytes;
    m_ulPackets += uiLast - 1;
    last = here();
    return uiLast;
}

// Whether so many bytes lie ahead; waits for no more than these.
bool CTransportPackets::ensure(std::size_t uiBytes)
{
    while (m_uiFilled - m_uiPosition < uiBytes && !m_bEnded) {
        if (m_buffer.size() - m_uiPosition < uiBytes || m_uiPosition == m_uiFilled) {
            std::memmove(m_buffer.data(), m_buffer.data() + m_uiPosition, m_uiFilled - m_uiPosition);
            m_ulBufferOffset += m_uiPosition;
            m_uiFilled -= m_uiPosition;
            m_uiPosition = 0;
        }
        const std::size_t uiRead =
            m_source.readSome(m_ulBufferOffset + m_uiFilled, std::span(m_buffer).subspan(m_uiFilled));
        m_uiFilled += uiRead;
        m_bEnded = uiRead == 0;
    }
    return m_uiFilled - m_uiPosition >= uiBytes;
}

// Sync bytes where so many packets would have them, as far as there are bytes: two at least, or one packet
// that is the file's last.
bool CTransportPackets::isSync(std::size_t uiFirst, std::size_t uiPacket, std::size_t uiPackets) const
{
    const std::span<const unsigned char> bytes = ahead();
    std::size_t uiSeen = 0;
    for (std::size_t i = uiFirst; uiSeen < uiPackets && i < bytes.size(); i += uiPacket, ++uiSeen) {
        if (bytes[i] != TS_SYNC_BYTE)
            return false;
    }
    return uiSeen >= 2 || (uiSeen == 1 && bytes.size() - uiFirst >= TS_PACKET_BYTES);
}

void CTransportPackets::tellSkipped(std::uint64_t ulFrom, std::uint64_t ulTo)
{
    const bool bFirst = m_ulPackets == 0;
    if (bFirst && ulTo - ulFrom < LARGEST_PACKET)
        return; // the file begins inside a packet, or with a packet's time
    m_output.findingFew(FEW_SYNC_LOST,
                        {bFirst ? ESeverity::Warning : ESeverity::Error,
                         {},
                         ulFrom,
                         std::nullopt,
                         (bFirst ? "there are no packets in the first " : "the packets stop here for ") +
                             countedText(ulTo - ulFrom, "byte") + ", passed over"});
}

// Moves to the next byte that packets begin at; false when there is none.
bool CTransportPackets::synchronise()
{
    const std::uint64_t ulFrom = m_ulBufferOffset + m_uiPosition;
    // Behind damage they go on as they were. Where files are joined they can be of another size: then no packet of the
    // old one begins before the next would have to.
    const auto goesOnSoon = [&] {
        for (std::size_t i = 1; i < m_uiPacketBytes && i < ahead().size(); ++i) {
            if (ahead()[i] == TS_SYNC_BYTE && isSync(i, m_uiPacketBytes, SURE_AGAIN_PACKETS))
                return true;
        }
        return false;
    };
    const auto begins = [&](std::size_t uiPacket) {
        if (uiPacket == m_uiPacketBytes)
            return isSync(0, uiPacket, SURE_AGAIN_PACKETS);
        const bool bSure = isSync(0, uiPacket, TS_SURE_PACKETS);
        const bool bWhole = ahead().size() > (TS_SURE_PACKETS - 1) * uiPacket; // not fewer at the end
        return bSure && (m_uiPacketBytes == 0 || (bWhole && !goesOnSoon()));
    };
    while (ensure(TS_SURE_PACKETS * LARGEST_PACKET) || m_uiPosition < m_uiFilled) {
        if (ahead()[0] == TS_SYNC_BYTE) {
            for (const std::size_t uiPacket : TS_PACKET_SIZES) {
                if (!begins(uiPacket))
                    continue;
                m_uiPacketBytes = uiPacket;
                m_bSynchronised = true;
                if (m_ulBufferOffset + m_uiPosition != ulFrom)
                    tellSkipped(ulFrom, m_ulBufferOffset + m_uiPosition);
                return true;
            }
        }
        const auto bytes = ahead().subspan(1);
        m_uiPosition +=
            1 + static_cast<std::size_t>(std::find(bytes.begin(), bytes.end(), TS_SYNC_BYTE) - bytes.begin());
    }
    if (m_ulBufferOffset + m_uiPosition != ulFrom)
        m_output.finding(
            {ESeverity::Error,
             {},
             ulFrom,
             std::nullopt,
             "there are no packets in the last " + countedText(m_ulBufferOffset + m_uiPosition - ulFrom, "byte")});
    return false;
}

// The next packet, behind the one that was last.
bool CTransportPackets::search(TransportPacket& packet)
{
    if (m_ulPackets != 0 && m_bSynchronised) {
        // What stands between packets: the last one may lack it.
        (void)ensure(m_uiPacketBytes);
        m_uiPosition += std::min(m_uiPacketBytes, m_uiFilled - m_uiPosition);
    }
    if (!ensure(TS_PACKET_BYTES)) {
        const std::size_t uiLeft = m_uiFilled - m_uiPosition;
        // A time or check bytes alone are no packet.
        if (uiLeft > LARGEST_PACKET - TS_PACKET_BYTES)
            m_output.finding({ESeverity::Warning,
                              {},
                              m_ulBufferOffset + m_uiPosition,
                              std::nullopt,
                              "the last packet is cut: it has " + countedText(uiLeft, "byte")});
        return false;
    }
    if (!m_bSynchronised || ahead()[0] != TS_SYNC_BYTE) {
        m_bSynchronised = false;
        if (!synchronise())
            return false;
        if (!ensure(TS_PACKET_BYTES))
            return false;
    }
    packet = here();
    return true;
}

} // namespace h265_container
