#include "EventCheck.h"

#include "NalUnit.h"

using namespace h265_stream;

namespace h265_fuzz {

namespace {

void checkResults(const ParameterSetEvent& event)
{
    check(event.iRead.has_value() != event.bPassedOver, "what is not passed over is read");
    check(event.iVerify.has_value() == (event.iRead == 0), "what is read is verified");
    check((event.ulReading == 0) == event.bPassedOver, "every reading has a number");
    check(!event.iRead || event.iRead == 0 || event.iRead == h265_codec::E_BS_NOT_ENOUGH_BITS ||
              event.iRead == h265_codec::E_NO_MEMORY,
          "a reader returns one of three results");
}

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
    std::uint64_t ulEnd = 0; // of the event before
    CPieceSource source(bytes, uiPieceBytes);
    const StreamSummary summary = stream.read(source, [&](const ParameterSetEvent& event) {
        check(event.ulOffset >= ulEnd + 3 && event.ulSize != 0, "units follow each other behind start codes");
        ulEnd = event.ulOffset + event.ulSize;
        checkResults(event);
        checkRecords(event);
        events.push_back({event.ulOffset,
                          event.ulSize,
                          event.ulReading,
                          event.bRepeat,
                          event.iRead,
                          event.iVerify,
                          {event.logLines.begin(), event.logLines.end()}});
        return true;
    });
    check(ulEnd <= bytes.size() && summary.ulBytes == bytes.size(), "the stream is read to its end");
    check(summary.ulParameterSets == events.size() && !summary.bStopped, "every event is counted");
    check(summary.ulPassedOver + summary.ulNotRead + summary.ulNotSupported <= events.size(), "each counts once");
    return events;
}

} // namespace h265_fuzz
