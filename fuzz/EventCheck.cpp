#include "EventCheck.h"

#include <set>

#include "NalUnit.h"

using namespace h265_stream;

namespace h265_fuzz {

namespace {

void checkResults(const ParameterSetEvent& event)
{
    const bool bUnread = event.bPassedOver || event.eRefusal != ERefusal::None;
    check(event.iRead.has_value() != bUnread, "what is neither passed over nor refused is read");
    check(event.iVerify.has_value() == (event.iRead == 0), "what is read is verified");
    check((event.ulReading == 0) == bUnread, "every reading has a number");
    check(!event.iRead || event.iRead == 0 || event.iRead == h265_codec::E_BS_NOT_ENOUGH_BITS ||
              event.iRead == h265_codec::E_NO_MEMORY,
          "a reader returns one of three results");
    check(event.bCutOff == (event.ulSize == 1) && (!event.bCutOff || event.bPassedOver),
          "a unit of one byte is cut off");
    check(!event.missingSps || event.iRead.value_or(0) != 0, "a PPS without its SPS is not read");
    check(!event.refusedPps || (event.eRefusal != ERefusal::None && event.header.nal_unit_type == PPS_NUT),
          "a refused PPS has its ids");
    check(event.eRefusal != ERefusal::PictureTooLarge || (event.refusedPps && event.spsOfPps != nullptr),
          "a PPS of a picture that is too large has its SPS");
    check(!event.bWaiting, "what waits for its SPS is not delivered");
}

// firstOffsets: of the events before that no earlier set was the same as.
void checkSame(const ParameterSetEvent& event, std::set<std::uint64_t>& firstOffsets)
{
    check(!event.bRepeat || event.ulSameAs, "a repeat is the same as an earlier set");
    check(!event.bSeenBefore || event.ulSameAs, "what was seen before is the same as an earlier set");
    check(!event.ulSameAs || firstOffsets.contains(*event.ulSameAs), "the first of the same sets is one of itself");
    if (!event.ulSameAs)
        firstOffsets.insert(event.ulOffset);
}

// Events stand in stream order, but for PPSs that wait for their SPS.
class COrderCheck
{
public:
    void add(const ParameterSetEvent& event, std::size_t uiStreamSize)
    {
        check(event.ulOffset >= 3 && event.ulSize != 0 && event.ulOffset + event.ulSize <= uiStreamSize,
              "units stand in the stream");
        check(m_offsets.insert(event.ulOffset).second, "each unit has one event");
        check(!event.ulReadAt || (event.header.nal_unit_type == PPS_NUT && event.ulOffset < *event.ulReadAt &&
                                  event.ulReadAt == m_ulLastSps),
              "a PPS that waited stands behind its SPS");
        if (event.ulReadAt || event.missingSps)
            return;
        check(event.ulOffset >= m_ulEnd + 3, "units follow each other behind start codes");
        m_ulEnd = event.ulOffset + event.ulSize;
        if (event.header.nal_unit_type == SPS_NUT && event.sps != nullptr)
            m_ulLastSps = event.ulOffset;
    }

private:
    std::set<std::uint64_t> m_offsets;
    std::uint64_t m_ulEnd = 0; // of the last event in stream order
    std::optional<std::uint64_t> m_ulLastSps;
};

void checkRecords(const ParameterSetEvent& event)
{
    const unsigned char nal_unit_type = event.header.nal_unit_type;
    const bool bRead = event.iRead == 0;
    check((event.vps != nullptr) == (bRead && nal_unit_type == VPS_NUT), "a VPS that was read has its record");
    check((event.sps != nullptr) == (bRead && nal_unit_type == SPS_NUT), "an SPS that was read has its record");
    check((event.pps != nullptr) == (bRead && nal_unit_type == PPS_NUT), "a PPS that was read has its record");
    check(event.pps == nullptr || event.spsOfPps != nullptr, "a PPS that was read has its SPS");
}

} // namespace

std::vector<EventRecord> readChecked(CParameterSetStream& stream, std::span<const unsigned char> bytes,
                                     std::size_t uiPieceBytes)
{
    std::vector<EventRecord> events;
    COrderCheck order;
    std::set<std::uint64_t> firstOffsets;
    CPieceSource source(bytes, uiPieceBytes);
    const StreamSummary summary = stream.read(source, [&](const ParameterSetEvent& event) {
        order.add(event, bytes.size());
        checkResults(event);
        checkRecords(event);
        checkSame(event, firstOffsets);
        events.push_back({event.ulOffset,
                          event.ulSize,
                          event.ulReading,
                          event.bRepeat,
                          event.iRead,
                          event.iVerify,
                          event.ulSameAs,
                          event.ulReadAt,
                          {event.logLines.begin(), event.logLines.end()}});
        return true;
    });
    check(summary.ulBytes == bytes.size(), "the stream is read to its end");
    check(summary.ulParameterSets == events.size() && !summary.bStopped, "every event is counted");
    check(summary.ulPassedOver + summary.ulNotRead + summary.ulNotSupported <= events.size(), "each counts once");
    check(summary.ulVps + summary.ulSps + summary.ulPps <= events.size(), "each has one type");
    return events;
}

} // namespace h265_fuzz
