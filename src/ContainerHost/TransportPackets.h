#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "UnitOutput.h"

namespace h265_container {

/// ITU-T H.222.0 2.4.3.2: bytes of a packet from its sync byte on, whatever stands between packets.
inline constexpr std::size_t TS_PACKET_BYTES = 188;

/// Of these in front of adaptation field and payload.
inline constexpr std::size_t TS_HEADER_BYTES = 4;

inline constexpr unsigned char TS_SYNC_BYTE = 0x47;

/// From one sync byte to the next: packets as they are, behind a time, or in front of check bytes.
inline constexpr std::array<std::size_t, 3> TS_PACKET_SIZES = {188, 192, 204};

/// Sync bytes in a row that make sure at the start of a file.
inline constexpr std::size_t TS_SURE_PACKETS = 5;

/// A packet with its place.
struct TransportPacket
{
    std::span<const unsigned char> bytes; // TS_PACKET_BYTES, valid until the next call
    std::uint64_t ulOffset = 0;           // of the sync byte in the file
    std::uint64_t ulNumber = 0;           // from 1
};

/// 2.4.3.2 and 2.4.3.4: what a packet's first bytes say.
struct PacketHeader
{
    bool transport_error_indicator;
    bool payload_unit_start_indicator;
    std::uint16_t uiPid;
    bool bScrambled;
    bool bPayload;
    bool discontinuity_indicator;
    unsigned continuity_counter;
    std::size_t uiPayload; // where it begins
};

[[nodiscard]] PacketHeader readPacketHeader(std::span<const unsigned char> packet);

/// What two packets have in common when the one is a duplicate of the other: 2.4.3.3, every byte but those of a
/// clock reference.
struct PacketMark
{
    bool payload_unit_start_indicator = false;
    std::size_t uiPayload = 0;
    std::uint64_t ulFirst = 0;
    std::uint64_t ulLast = 0;

    bool operator==(const PacketMark&) const = default;
};

/// Of the payload both ends say enough, unless it holds tables (bTable): those have filling behind them.
[[nodiscard]] PacketMark markOf(std::span<const unsigned char> packet, const PacketHeader& header, bool bTable);

/// The packets of a file: of 188 bytes, 192 with a time in front, 204 with check bytes behind. They may begin
/// anywhere, and are found again behind damage.
class CTransportPackets
{
public:
    CTransportPackets(CRandomSource& source, CUnitOutput& output);

    /// False at the end.
    [[nodiscard]] bool next(TransportPacket& packet)
    {
        // Nearly always: behind the packet stands the next one, and another.
        if (m_bSynchronised && m_uiPosition + 2 * m_uiPacketBytes <= m_uiFilled &&
            m_buffer[m_uiPosition + m_uiPacketBytes] == TS_SYNC_BYTE) {
            m_uiPosition += m_uiPacketBytes;
            packet = here();
            return true;
        }
        return search(packet);
    }

    /// Passes over packets that only carry on what the last one carries, as far as they are there: with the same PID
    /// and the next counters, without an adaptation field, and without a start code that lies in them or reaches out of
    /// them. Returns how many; last becomes the last of them.
    std::size_t passPayload(TransportPacket& last);

private:
    [[nodiscard]] TransportPacket here()
    {
        return {
            std::span(m_buffer).subspan(m_uiPosition, TS_PACKET_BYTES), m_ulBufferOffset + m_uiPosition, ++m_ulPackets};
    }
    [[nodiscard]] bool search(TransportPacket& packet);
    bool ensure(std::size_t uiBytes);
    [[nodiscard]] std::span<const unsigned char> ahead() const;
    [[nodiscard]] bool isSync(std::size_t uiFirst, std::size_t uiPacket, std::size_t uiPackets) const;
    bool synchronise();
    void tellSkipped(std::uint64_t ulFrom, std::uint64_t ulTo);

    CRandomSource& m_source;
    CUnitOutput& m_output;
    std::vector<unsigned char> m_buffer;
    std::size_t m_uiFilled = 0;
    std::size_t m_uiPosition = 0;
    std::uint64_t m_ulBufferOffset = 0; // of the buffer in the file
    bool m_bEnded = false;
    std::size_t m_uiPacketBytes = 0; // distance of sync bytes, 0 until it is known
    bool m_bSynchronised = false;
    std::uint64_t m_ulPackets = 0;
};

} // namespace h265_container
