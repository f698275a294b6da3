#include "TransportStream.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "CountedText.h"
#include "ElementaryUnits.h"
#include "ProgramTables.h"
#include "TransportPackets.h"

namespace h265_container {

namespace {

using Bytes = std::span<const unsigned char>;

constexpr std::uint16_t NULL_PID = 0x1fff;
constexpr std::size_t PIDS = 0x2000;

// Streams of H.265 that are read side by side: each can hold a parameter set.
constexpr unsigned MAX_STREAMS = 128;

// Packets behind the first slice that a head waits for tables.
constexpr std::uint64_t HEAD_PACKETS = 10000;

// What is known of a PID that carries PES packets.
struct PidStream
{
    bool bTold = false;     // as a track that is passed over
    bool bToldH265 = false; // as a track of H.265
    bool bClaimed = false;  // what the tables claim has been told
    bool bH265 = false;
    bool bOther = false; // a table says so
    unsigned stream_type = 0;
    std::vector<unsigned char> descriptors; // that claims were made of
    std::optional<unsigned> continuity;
    PacketMark mark;         // of the packet with that counter
    bool bPesHeader = false; // one is being collected
    bool bPesBroken = false; // until the next one begins
    std::vector<unsigned char> pesHeader;
    UnitPlace place; // with the time of the PES packet
    CElementaryUnits units;
};

std::string boxOf(std::uint16_t uiPid)
{
    return "PID " + std::to_string(uiPid);
}

// 2.4.3.7: presentation_time_stamp, 33 bits in three pieces.
std::optional<double> presentationTime(Bytes pes)
{
    constexpr std::size_t FIRST = 9;
    if ((pes[7] & 0x80) == 0 || pes.size() < FIRST + 5)
        return std::nullopt;
    const std::uint64_t ulTime = static_cast<std::uint64_t>(pes[FIRST] >> 1 & 7) << 30 |
                                 static_cast<std::uint64_t>(pes[FIRST + 1]) << 22 |
                                 static_cast<std::uint64_t>(pes[FIRST + 2] >> 1) << 15 |
                                 static_cast<std::uint64_t>(pes[FIRST + 3]) << 7 | pes[FIRST + 4] >> 1;
    return static_cast<double>(ulTime) / 90000;
}

// Bytes that hardly anything but H.265 has: a VPS with its sixteen ones, or an SPS with a known profile.
bool showsH265(Bytes payload)
{
    for (std::size_t i = 0; i + 9 <= payload.size(); ++i) {
        if (payload[i] != 0 || payload[i + 1] != 0 || payload[i + 2] != 1 || payload[i + 4] != 1)
            continue;
        const unsigned char* const p = payload.data() + i + 3;
        const bool bVps = p[0] == 0x40 && p[4] == 0xff && p[5] == 0xff;
        const bool bSps =
            p[0] == 0x42 && (p[2] >> 1 & 7) < 7 && (p[3] & 0xc0) == 0 && (p[3] & 0x1f) >= 1 && (p[3] & 0x1f) <= 11;
        if (bVps || bSps)
            return true;
    }
    return false;
}

class CTransportReader
{
public:
    CTransportReader(CRandomSource& source, CUnitOutput& output)
        : m_source(source), m_output(output), m_tables(output), m_streams(PIDS)
    {}

    void read();

private:
    void readPacket(const PacketHeader& header, const TransportPacket& packet);
    void passPayload(CTransportPackets& packets, const PacketHeader& header, TransportPacket& packet);
    [[nodiscard]] bool checkContinuity(PidStream& stream, const PacketHeader& header, const TransportPacket& packet);
    void readTable(const PacketHeader& header, const TransportPacket& packet);
    void readPes(PidStream& stream, const PacketHeader& header, const TransportPacket& packet);
    [[nodiscard]] Bytes takePesHeader(PidStream& stream, Bytes payload, const TransportPacket& packet,
                                      std::uint16_t uiPid);
    void cut(PidStream& stream, std::uint16_t uiPid);
    void onTable(const ProgramStream& described);
    void onOther(PidStream& stream, const ProgramStream& described);
    void onH265(PidStream& stream, const ProgramStream& described);
    void tellClaims(PidStream& stream, const ProgramStream& described);
    void lookAtUnknown(PidStream& stream, std::uint16_t uiPid, Bytes payload);
    void tellTrack(PidStream& stream, std::uint16_t uiPid, const std::string& codec, const std::string& reason);
    [[nodiscard]] bool isDone() const;
    PidStream& streamOf(std::uint16_t uiPid)
    {
        std::unique_ptr<PidStream>& pStream = m_streams[uiPid];
        if (!pStream) {
            pStream = std::make_unique<PidStream>();
            pStream->place.ulTrack = uiPid;
            pStream->place.holder = "PID";
            pStream->place.part = "packet";
        }
        return *pStream;
    }

    CRandomSource& m_source;
    CUnitOutput& m_output;
    CProgramTables m_tables;
    std::vector<std::unique_ptr<PidStream>> m_streams; // by PID
    std::vector<std::uint16_t> m_h265;                 // their PIDs
    std::uint64_t m_ulPackets = 0;
};

void CTransportReader::read()
{
    CTransportPackets packets(m_source, m_output);
    while (!m_output.isStopped() && !isDone()) {
        TransportPacket packet;
        if (!packets.next(packet))
            break;
        const PacketHeader header = readPacketHeader(packet.bytes);
        readPacket(header, packet);
        passPayload(packets, header, packet);
        m_ulPackets = packet.ulNumber;
    }
    for (const std::uint16_t uiPid : m_h265) {
        if (!m_output.isTrackDone(uiPid))
            m_streams[uiPid]->units.finish(m_output);
    }
    if (m_ulPackets == 0)
        m_output.finding({ESeverity::Error, {}, 0, std::nullopt, "there are no packets of a transport stream"});
}

bool CTransportReader::isDone() const
{
    if (!m_output.isHead())
        return false;
    const bool bAllDone = std::ranges::all_of(m_h265, [this](auto uiPid) { return m_output.isTrackDone(uiPid); });
    return bAllDone && (m_tables.isComplete() || (!m_h265.empty() && m_ulPackets > HEAD_PACKETS));
}

void CTransportReader::readPacket(const PacketHeader& header, const TransportPacket& packet)
{
    const bool bJump = header.discontinuity_indicator && !header.transport_error_indicator;
    if (header.uiPid == NULL_PID || (!header.bPayload && !bJump))
        return;
    PidStream& stream = streamOf(header.uiPid);
    if (header.transport_error_indicator) {
        m_output.findingFew(FEW_DAMAGED_PACKETS,
                            {ESeverity::Error,
                             boxOf(header.uiPid),
                             packet.ulOffset,
                             header.uiPid,
                             "packet " + std::to_string(packet.ulNumber) + " is marked as damaged; it is passed over"});
        return;
    }
    if (!checkContinuity(stream, header, packet) || !header.bPayload)
        return;
    if (header.bScrambled) {
        m_output.findingOnce(ONCE_SCRAMBLED,
                             {ESeverity::Warning,
                              boxOf(header.uiPid),
                              packet.ulOffset,
                              header.uiPid,
                              "packets are scrambled; they are passed over"});
        return;
    }
    if (m_tables.isTable(header.uiPid))
        readTable(header, packet);
    else if (!stream.bOther && !m_output.isTrackDone(header.uiPid))
        readPes(stream, header, packet);
}

// Nearly always: the packets behind carry on a slice segment whose head is there.
void CTransportReader::passPayload(CTransportPackets& packets, const PacketHeader& header, TransportPacket& packet)
{
    PidStream* const pStream = m_streams[header.uiPid].get();
    const bool bPassing = pStream != nullptr && pStream->bH265 && !pStream->bPesHeader && !pStream->bPesBroken &&
                          pStream->units.isPassing();
    if (!bPassing || pStream->continuity != header.continuity_counter || m_tables.isTable(header.uiPid) ||
        m_output.isHead())
        return;
    while (const std::size_t uiPackets = packets.passPayload(packet)) {
        const PacketHeader last = readPacketHeader(packet.bytes);
        pStream->units.pass(uiPackets * (TS_PACKET_BYTES - TS_HEADER_BYTES));
        pStream->continuity = last.continuity_counter;
        pStream->mark = markOf(packet.bytes, last, false);
    }
}

// 2.4.3.3: false of a packet that is there twice. Behind missing packets everything begins anew: where files were
// joined, the counter can be the same as before by chance. 2.4.3.5: where it may jump, that is no error; a packet
// without payload can say so, whose counter is that of the one before it (2.4.3.3).
bool CTransportReader::checkContinuity(PidStream& stream, const PacketHeader& header, const TransportPacket& packet)
{
    const auto before = std::exchange(stream.continuity, header.continuity_counter);
    if (!header.bPayload) {
        if (before && *before != header.continuity_counter)
            cut(stream, header.uiPid);
        return true;
    }
    const PacketMark mark = markOf(packet.bytes, header, m_tables.isTable(header.uiPid));
    const bool bSame = std::exchange(stream.mark, mark) == mark;
    if (!before)
        return true;
    if (*before == header.continuity_counter && bSame)
        return false;
    if (((*before + 1) & 0xf) == header.continuity_counter)
        return true;
    cut(stream, header.uiPid);
    if (stream.bH265 && !header.discontinuity_indicator)
        m_output.findingFew(FEW_LOST_PACKETS,
                            {ESeverity::Error,
                             boxOf(header.uiPid),
                             packet.ulOffset,
                             header.uiPid,
                             "packets are missing in front of packet " + std::to_string(packet.ulNumber) +
                                 ": its continuity counter is " + std::to_string(header.continuity_counter) +
                                 " behind " + std::to_string(*before) + "; the NAL unit in front of it is cut"});
    return true;
}

// What comes does not go on where the last packet ended.
void CTransportReader::cut(PidStream& stream, std::uint16_t uiPid)
{
    if (m_tables.isTable(uiPid))
        m_tables.drop(uiPid);
    stream.units.finish(m_output);
    stream.bPesHeader = false;
    stream.bPesBroken = false;
}

void CTransportReader::readTable(const PacketHeader& header, const TransportPacket& packet)
{
    m_tables.feed(header.uiPid,
                  packet.bytes.subspan(header.uiPayload),
                  header.payload_unit_start_indicator,
                  packet.ulOffset,
                  [this](const ProgramStream& described) { onTable(described); });
    for (const std::uint16_t uiPid : m_tables.takeForgotten()) {
        if (m_streams[uiPid])
            m_streams[uiPid]->continuity.reset();
    }
}

void CTransportReader::readPes(PidStream& stream, const PacketHeader& header, const TransportPacket& packet)
{
    Bytes payload = packet.bytes.subspan(header.uiPayload);
    if (header.payload_unit_start_indicator) {
        stream.bPesHeader = true;
        stream.bPesBroken = false;
        stream.pesHeader.clear();
    }
    if (stream.bPesHeader)
        payload = takePesHeader(stream, payload, packet, header.uiPid);
    if (payload.empty() || stream.bPesBroken)
        return;
    if (!stream.bH265)
        lookAtUnknown(stream, header.uiPid, payload);
    if (!stream.bH265)
        return;
    stream.place.ulPart = packet.ulNumber;
    stream.units.feed(m_output,
                      payload,
                      stream.place,
                      packet.ulOffset + static_cast<std::uint64_t>(payload.data() - packet.bytes.data()));
}

// 2.4.3.6: collects the header, which can reach over packets; what stands behind it.
Bytes CTransportReader::takePesHeader(PidStream& stream, Bytes payload, const TransportPacket& packet,
                                      std::uint16_t uiPid)
{
    constexpr std::size_t FIXED_BYTES = 9;
    const auto take = [&](std::size_t uiSize) {
        const std::size_t uiTaken = std::min(payload.size(), uiSize - std::min(uiSize, stream.pesHeader.size()));
        stream.pesHeader.insert(
            stream.pesHeader.end(), payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(uiTaken));
        payload = payload.subspan(uiTaken);
        return stream.pesHeader.size() >= uiSize;
    };
    if (!take(FIXED_BYTES))
        return {};
    const Bytes pes = stream.pesHeader;
    if (pes[0] != 0 || pes[1] != 0 || pes[2] != 1 || (pes[6] & 0xc0) != 0x80) {
        stream.bPesHeader = false;
        stream.bPesBroken = true;
        if (stream.bH265)
            m_output.findingFew(
                FEW_BAD_PES,
                {ESeverity::Error,
                 boxOf(uiPid),
                 packet.ulOffset,
                 uiPid,
                 "packet " + std::to_string(packet.ulNumber) + " begins no PES packet; its bytes are passed over"});
        return {};
    }
    if (!take(FIXED_BYTES + pes[8]))
        return {};
    stream.bPesHeader = false;
    stream.place.time = presentationTime(stream.pesHeader);
    return payload;
}

// A stream that was passed over and becomes H.265 is told again.
void CTransportReader::tellTrack(PidStream& stream, std::uint16_t uiPid, const std::string& codec,
                                 const std::string& reason)
{
    if (stream.bToldH265 || std::exchange(stream.bH265 ? stream.bToldH265 : stream.bTold, true))
        return;
    m_output.track(
        {uiPid, stream.bH265 ? ETrackKind::Video : kindOf(stream.stream_type), codec, stream.bH265, reason, "PID"});
}

void CTransportReader::onTable(const ProgramStream& described)
{
    PidStream& stream = streamOf(described.uiPid);
    if (described.pOtherwise != nullptr)
        m_output.findingOnce(ONCE_STREAM_TYPE,
                             {ESeverity::Warning,
                              "PMT of program " + std::to_string(described.uiProgram),
                              described.ulOffset,
                              described.uiPid,
                              typeText(described.stream_type) + " is not one of H.265, and " + described.pOtherwise +
                                  " says that it is: it is " + (described.bIsH265 ? "read" : "passed over") +
                                  "; players go by the one or the other [H.222.0 Table 2-34]"});
    if (described.bIsH265) {
        stream.stream_type = described.stream_type;
        onH265(stream, described);
    } else if (!m_tables.isH265(described.uiPid)) { // of no program
        stream.stream_type = described.stream_type;
        onOther(stream, described);
    }
}

void CTransportReader::onOther(PidStream& stream, const ProgramStream& described)
{
    if (stream.bH265 && !stream.bClaimed)
        return; // what has shown itself to be H.265 stays that
    stream.bOther = true;
    if (stream.bH265) {
        m_output.findingOnce(ONCE_OTHER_CODEC,
                             {ESeverity::Note,
                              boxOf(described.uiPid),
                              described.ulOffset,
                              described.uiPid,
                              "from here on it is no H.265 but " + typeText(described.stream_type) +
                                  ", says the map table of program " + std::to_string(described.uiProgram) +
                                  "; that is passed over"});
        stream.units.finish(m_output);
        stream.units = {};
        stream.bH265 = false;
        std::erase(m_h265, described.uiPid);
    }
    tellTrack(stream, described.uiPid, typeText(described.stream_type), "it is no H.265");
}

void CTransportReader::onH265(PidStream& stream, const ProgramStream& described)
{
    const std::string codec = typeText(described.stream_type);
    if (!stream.bH265 && m_h265.size() == MAX_STREAMS) {
        stream.bOther = true;
        tellTrack(stream, described.uiPid, codec, "there are more than 128 streams of H.265");
        return;
    }
    if (!std::exchange(stream.bH265, true))
        m_h265.push_back(described.uiPid);
    if (std::exchange(stream.bOther, false)) {
        // What is left of the other codec ends where a PES packet begins; nothing of H.265 is lost in front of it.
        stream.bPesHeader = false;
        stream.bPesBroken = true;
        stream.continuity.reset();
    }
    tellTrack(stream, described.uiPid, codec, {});
    tellClaims(stream, described);
}

void CTransportReader::tellClaims(PidStream& stream, const ProgramStream& described)
{
    if (std::exchange(stream.bClaimed, true) && stream.descriptors == described.descriptors)
        return;
    stream.descriptors = described.descriptors;
    const std::string box = "PMT of program " + std::to_string(described.uiProgram) + ", HEVC video descriptor";
    ContainerClaims claims;
    claims.ulTrack = described.uiPid;
    claims.codec = typeText(described.stream_type);
    if (described.hevcDescriptor)
        claims.hevcDescriptor = {*described.hevcDescriptor, box, std::nullopt};
    m_output.claims(claims);
    if (described.uiShortDescriptor != 0)
        m_output.finding({ESeverity::Error,
                          box,
                          std::nullopt,
                          described.uiPid,
                          "has " + countedText(described.uiShortDescriptor, "byte") +
                              " with its tag and length, which are too few for its fields"});
}

// A PID that no table speaks of, yet.
void CTransportReader::lookAtUnknown(PidStream& stream, std::uint16_t uiPid, Bytes payload)
{
    if (m_h265.size() == MAX_STREAMS || !showsH265(payload))
        return;
    stream.bH265 = true;
    m_h265.push_back(uiPid);
    tellTrack(stream, uiPid, "H.265", {});
    m_output.finding({ESeverity::Note,
                      boxOf(uiPid),
                      std::nullopt,
                      uiPid,
                      "no program map table so far speaks of this stream; its content is H.265"});
}

} // namespace

void readTransportStream(CRandomSource& source, const ContainerOptions& options, CContainerSink& sink)
{
    CUnitOutput output(sink, options);
    CTransportReader reader(source, output);
    reader.read();
    output.finish();
}

} // namespace h265_container
